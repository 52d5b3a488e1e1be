// The log files behind the print path: the old way, numbered files by size and by day with
// names to the day or the second, the restart, the removal of the oldest, every failure line,
// and no line lost between two threads. Dates come from the simulated wall clock (local time
// 2026-03-14 20:00:00 at the start of each test program, UTC+8).
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "foundation/LogSettings.h"
#include "foundation/PrintState.h"
#include "kerna/kerna3/File.h"
#include "kerna/kerna3/FileFind.h"
#include "kerna/kerna3/LogControl.h"
#include "kerna/kerna3/LogFile.h"
#include "kerna/kerna3/PrintLog.h"
#include "kerna/kerna3/testing/SimulatedClock.h"
#include "logfile/LogFileName.h"
#include "support/LogCapture.h"
#include "support/MemoryFileSystem.h"
#include "support/TempDir.h"

using namespace Tessaran::Kerna;
using KernaTest::LogCapture;
using KernaTest::MemoryFileSystem;

namespace {

void logfilter(std::initializer_list<const char*> words) {
    std::vector<std::string> copies(words.begin(), words.end());
    std::vector<char*> argv;
    for (std::string& w : copies) argv.push_back(&w[0]);
    setLogFilter(static_cast<int>(argv.size()), argv.data());
}

// A line whose whole length (with the prefix of LogCapture's options) is over 1 KB: with a
// size limit of 1 KB every such line fills a file.
std::string bigText(char c) { return std::string(1100, c); }

// Message parts of the lines of a file: the text behind each prefix's "]".
std::vector<std::string> messagesOf(const std::string& contents) {
    std::vector<std::string> out;
    std::istringstream in(contents);
    for (std::string line; std::getline(in, line);) out.push_back(line.substr(line.find(']') + 1));
    return out;
}

class LogFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        Detail::resetLogFileSettings();
        logCleanup();  // a file left open would take the first lines
        m_start = Testing::simulatedUtc();
        m_fs.addDirectory("mem:/logs");
        hookFileSystem("mem:", &m_fs);
    }
    void TearDown() override {
        Detail::resetLogFileSettings();  // first: the next lines (also the unhook's) go to no file
        logCleanup();
        hookFileSystem("mem:", nullptr);
        Testing::setSimulatedUtc(m_start);
    }
    void line(const std::string& text) { logInfo("%s\n", text.c_str()); }
    std::vector<std::string> logs() { return m_fs.list("mem:/logs"); }

    MemoryFileSystem m_fs;
    LogCapture m_capture;  // the console stays quiet; the log file gets every line
    int64_t m_start = 0;
};

TEST_F(LogFileTest, OldWayEmptiesTheOneFileAtItsLimit) {
    logfilter({"-logpath", "mem:/logs/one"});
    logfilter({"-logsize", "1"});
    line("first");
    line(bigText('a'));
    line("third");  // the file has reached 1 KB: emptied, and its earlier lines are gone
    EXPECT_EQ(logs(), std::vector<std::string>{"one"});
    EXPECT_EQ(messagesOf(m_fs.contents("mem:/logs/one")), std::vector<std::string>{"third"});
    logCleanup();  // the next line opens the file again and appends
    line("fourth");
    EXPECT_EQ(messagesOf(m_fs.contents("mem:/logs/one")),
              (std::vector<std::string>{"third", "fourth"}));
}

TEST_F(LogFileTest, BySizeKeepsAtMostMaxNumberFiles) {
    logfilter({"-logpath", "mem:/logs/app"});
    logfilter({"-logsavesetting", "bysize", "1", "3"});
    const std::vector<std::vector<std::string>> expected = {
        {"app_2026-03-14_0"},
        {"app_2026-03-14_0", "app_2026-03-14_1"},
        {"app_2026-03-14_0", "app_2026-03-14_1", "app_2026-03-14_2"},
        {"app_2026-03-14_1", "app_2026-03-14_2", "app_2026-03-14_3"},
        {"app_2026-03-14_2", "app_2026-03-14_3", "app_2026-03-14_4"}};
    for (size_t i = 0; i < expected.size(); ++i) {
        line(bigText(static_cast<char>('a' + i)));  // each line fills its file
        EXPECT_EQ(logs(), expected[i]) << "after line " << i;
        Testing::jumpSimulatedClock(1000);  // distinct modification times
    }
    EXPECT_EQ(messagesOf(m_fs.contents("mem:/logs/app_2026-03-14_4")),
              std::vector<std::string>{bigText('e')});

    logfilter({"-logsavesetting", "bysize", "1", "0"});  // maxnumber 0: nothing goes
    for (int i = 0; i < 4; ++i) line(bigText('z'));
    EXPECT_EQ(logs().size(), 7u);
}

TEST_F(LogFileTest, RestartAppendsToTheNewestFileUnderTheLimit) {
    const int64_t now = Testing::simulatedUtc() / 1000;
    m_fs.addFile("mem:/logs/app_2026-03-14_0", "zero\n", now - 20);
    m_fs.addFile("mem:/logs/app_2026-03-14_1", "one\n", now - 10);  // the newest
    m_fs.addFile("mem:/logs/app_2026-03-14_2", "two\n", now - 30);
    m_fs.addFile("mem:/logs/other", "", now);  // not a log file of this path
    logfilter({"-logpath", "mem:/logs/app"});
    logfilter({"-logsavesetting", "bysize", "1", "0"});
    logfilter({"-logsavesetting", "byday", "on", "0"});  // the newest is of today: no new file
    line("after restart");
    EXPECT_EQ(logs().size(), 4u);
    const std::vector<std::string> appended =
        messagesOf(m_fs.contents("mem:/logs/app_2026-03-14_1"));
    EXPECT_EQ(appended, (std::vector<std::string>{"one", "after restart"}));

    // The same restart with the newest at its limit: a new index behind the largest.
    logCleanup();
    line(bigText('x'));
    logCleanup();
    line("next");
    EXPECT_EQ(messagesOf(m_fs.contents("mem:/logs/app_2026-03-14_3")),
              std::vector<std::string>{"next"});
}

TEST_F(LogFileTest, ByDayStartsIndexZeroOfTheNewDate) {
    logfilter({"-logpath", "mem:/logs/day"});
    logfilter({"-logsavesetting", "bysize", "1", "0"});
    logfilter({"-logsavesetting", "byday", "on", "0"});  // leaves the size limit in force
    line("one");
    line(bigText('b'));
    line("two");  // size: index 1 of the same day
    Testing::jumpSimulatedClock(24 * 3600 * 1000LL);
    line("three");  // a new date: index 0 again, since only files of that date count
    EXPECT_EQ(logs(), (std::vector<std::string>{"day_2026-03-14_0", "day_2026-03-14_1",
                                                "day_2026-03-15_0"}));
    EXPECT_EQ(messagesOf(m_fs.contents("mem:/logs/day_2026-03-15_0")),
              std::vector<std::string>{"three"});
}

TEST_F(LogFileTest, NamesToTheSecondCountWithinTheSecond) {
    logfilter({"-logpath", "mem:/logs/sec"});
    logfilter({"-logsavesetting", "bysize", "1", "0"});
    logfilter({"-logsavesetting", "filenametime", "sec"});
    const int64_t second = 1773489605000LL;  // 2026-03-14 20:00:05 local
    for (int i = 0; i < 2; ++i) {
        Testing::setSimulatedUtc(second + 100);  // both lines within one second
        line(bigText('s'));
    }
    Testing::setSimulatedUtc(second + 1100);
    line(bigText('t'));  // the next second starts at 0 again
    EXPECT_EQ(logs(),
              (std::vector<std::string>{"sec_2026-03-14-20-00-05_0", "sec_2026-03-14-20-00-05_1",
                                        "sec_2026-03-14-20-00-06_0"}));
}

TEST_F(LogFileTest, FailuresPrintTheirLineAndTheNextLineTriesAgain) {
    logfilter({"-logpath", "mem:/missing/app"});
    logfilter({"-logsavesetting", "bysize", "1", "0"});
    testing::internal::CaptureStdout();
    line("lost");
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("]no such logpath\n"), std::string::npos) << out;
    for (const std::string& m : m_capture.messages()) {
        EXPECT_EQ(m.find("logpath"), std::string::npos);  // never to the printer or listeners
    }

    m_fs.addDirectory("mem:/missing");
    m_fs.setRefuseOpenForWriting(true);  // a directory that is not writable
    testing::internal::CaptureStdout();
    line("lost too");
    out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("] fopen failed, errno:13\n"), std::string::npos) << out;

    m_fs.setRefuseOpenForWriting(false);
    line("kept");
    m_fs.setWriteBudget(0);  // a full disk
    testing::internal::CaptureStdout();
    line("refused");
    out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("fwrite failed, expected:"), std::string::npos) << out;
    m_fs.setWriteBudget(-1);
    line("kept again");
    EXPECT_EQ(m_fs.list("mem:/missing"), std::vector<std::string>{"app_2026-03-14_0"});
    EXPECT_EQ(messagesOf(m_fs.contents("mem:/missing/app_2026-03-14_0")),
              (std::vector<std::string>{"kept", "kept again"}));

    // A disk that takes part of a line: the size counts what is in the file, so the rotation
    // comes with the first line after the file really reached the limit.
    m_fs.setWriteBudget(700);
    testing::internal::CaptureStdout();
    line(bigText('p'));
    testing::internal::GetCapturedStdout();
    m_fs.setWriteBudget(-1);
    const std::string first = "mem:/missing/app_2026-03-14_0";
    EXPECT_LT(m_fs.contents(first).size(), 1024u);
    size_t last = 0, previous = 0;
    for (int i = 0; i < 100 && m_fs.list("mem:/missing").size() == 1; ++i) {
        previous = last;
        last = m_fs.contents(first).size();
        line("filler");
    }
    EXPECT_EQ(m_fs.list("mem:/missing").size(), 2u);
    EXPECT_GE(last, 1024u);
    EXPECT_LT(previous, 1024u);
}

TEST_F(LogFileTest, OldWayOpenFailureAndRotationFailure) {
    logfilter({"-logpath", "mem:/nowhere/one"});
    testing::internal::CaptureStdout();
    line("x");
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("] open log file failed, errno: 2\n"), std::string::npos) << out;
    logfilter({"-logpath", "mem:/logs/one"});
    logfilter({"-logsize", "1"});
    line(bigText('q'));
    m_fs.setRefuseOpenForWriting(true);
    testing::internal::CaptureStdout();
    line("y");  // at the limit, and the file cannot be opened again
    out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("] fopen failed, errno:13\n"), std::string::npos) << out;
    m_fs.setRefuseOpenForWriting(false);
    line("z");
    EXPECT_EQ(messagesOf(m_fs.contents("mem:/logs/one")), std::vector<std::string>{"z"});
}

// A line cut at the end of the print buffer is handed on with the buffer's length; the file
// gets the text up to its terminator and never the terminator itself.
TEST_F(LogFileTest, WritesExactlyTheBytesOfTheLine) {
    logfilter({"-logpath", "mem:/logs/cut"});
    logInfo("%s", std::string(9000, 'c').c_str());
    logCleanup();
    std::string contents = m_fs.contents("mem:/logs/cut");
    EXPECT_EQ(contents.size(), 8191u);  // what the buffer holds in front of its terminator
    EXPECT_EQ(contents.find('\0'), std::string::npos);
    EXPECT_EQ(contents.back(), 'c');
}

// A table that prints while the writer writes (and one that closes the log file from there):
// its lines go to standard output after the writer's lock, never into the writer again.
TEST_F(LogFileTest, TableThatLogsOrCleansUpFromInsideTheWriter) {
    struct Chatty : MemoryFileSystem {
        std::atomic<bool> cleanup{false};
        size_t fwrite(const void* b, size_t s, size_t c, void* f) override {
            logWarn("table says hello\n");
            if (cleanup) logCleanup();
            return MemoryFileSystem::fwrite(b, s, c, f);
        }
    } chatty;
    chatty.addDirectory("chat:/logs");
    hookFileSystem("chat:", &chatty);
    logfilter({"-logpath", "chat:/logs/c"});
    testing::internal::CaptureStdout();
    line("one");
    chatty.cleanup = true;
    line("two");  // the file closes behind this line
    chatty.cleanup = false;
    line("three");  // opens it again and appends
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "table says hello\ntable says hello\ntable says hello\n");
    EXPECT_EQ(messagesOf(chatty.contents("chat:/logs/c")),
              (std::vector<std::string>{"one", "two", "three"}));
    EXPECT_EQ(chatty.calls("fopen"), 2);
    logfilter({"-logpath", ""});
    logCleanup();  // the table goes: no file may stay open on it
    hookFileSystem("chat:", nullptr);
}

void discard(const char*) {}

// Two threads, 100000 distinct lines each, through rotation by a small size on real files:
// every line is found exactly once, whole, across the files.
TEST(LogFileThreads, NoLineIsLostThroughRotation) {
    KernaTest::TempDir dir;
    LogCapture capture;
    setLogPrinter(TFunction1<void, const char*>(&discard));
    Detail::resetLogFileSettings();
    logCleanup();
    const std::string path = dir / "many";
    logfilter({"-logpath", path.c_str()});
    logfilter({"-logsavesetting", "bysize", "64", "0"});
    const int perThread = 100000;
    auto writer = [](int thread) {
        for (int i = 0; i < perThread; ++i) logInfo("T%d-%06d end\n", thread, i);
    };
    std::thread a(writer, 0), b(writer, 1);
    a.join();
    b.join();
    logCleanup();
    Detail::resetLogFileSettings();

    std::vector<char> seen(2 * perThread, 0);
    int files = 0;
    long bad = 0;
    CFileFind find;
    ASSERT_TRUE(find.findFile((dir / "many_*").c_str()));
    do {
        ++files;
        std::istringstream in(KernaTest::readFile(find.getFilePath()));
        for (std::string l; std::getline(in, l);) {
            const std::string m = l.substr(l.find(']') + 1);
            int t = -1, i = -1;
            char end[4] = {};
            if (sscanf(m.c_str(), "T%d-%d %3s", &t, &i, end) != 3 || strcmp(end, "end") != 0 ||
                t < 0 || t > 1 || i < 0 || i >= perThread) {
                ++bad;
                continue;
            }
            ++seen[t * perThread + i];
        }
    } while (find.findNextFile());
    EXPECT_EQ(bad, 0);
    EXPECT_GT(files, 100);  // 64 KB files
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), 2 * perThread);
}

TEST(LogFileName, FormatsAndReadsTheSuffix) {
    using Detail::LogFileStamp;
    const LogFileStamp s = {2026, 3, 4, 5, 6, 7};
    EXPECT_EQ(Detail::logFileSuffix(s, false, 12), "_2026-03-04_12");
    EXPECT_EQ(Detail::logFileSuffix(s, true, 0), "_2026-03-04-05-06-07_0");
    const LogFileStamp wide = {2026, 12, 31, 23, 59, 59};
    EXPECT_EQ(Detail::logFileSuffix(wide, true, INT32_MAX).size(), 31u);

    LogFileStamp r;
    int32_t index = -1;
    EXPECT_TRUE(Detail::parseLogFileName("./app_2026-03-04_12.bak", "./app", false, r, index));
    EXPECT_EQ(r.year * 10000 + r.month * 100 + r.day, 20260304);
    EXPECT_EQ(index, 12);
    EXPECT_TRUE(Detail::parseLogFileName("./app_2026-3-4_ 7", "./app", false, r, index));
    EXPECT_EQ(index, 7);  // as scanf reads: short fields, blanks before a number
    EXPECT_TRUE(Detail::parseLogFileName("./app_2026-03-04-05-06-07_1", "./app", true, r, index));
    EXPECT_EQ(r.hour * 10000 + r.minute * 100 + r.second, 50607);
    EXPECT_FALSE(Detail::parseLogFileName("./app_2026-03-04-05-06-07_1", "./app", false, r, index));
    EXPECT_FALSE(Detail::parseLogFileName("./app_2026-03-04_", "./app", false, r, index));
    EXPECT_FALSE(Detail::parseLogFileName("./ap_2026-03-04_1", "./app", false, r, index));
    EXPECT_FALSE(
        Detail::parseLogFileName("./app_2026-03-04_99999999999", "./app", false, r, index));
    EXPECT_FALSE(Detail::parseLogFileName("./app_20261-03-04_1", "./app", false, r, index));
}

#if GTEST_HAS_DEATH_TEST
// A thread that logs while the process exits: the exit routine closes the log file, and the
// late lines reach the console only, never freed memory (the sanitizers watch this).
TEST(LogFileDeathTest, ThreadLoggingDuringExit) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // The child runs this test again from the start: it finds the parent's directory in the
    // environment it inherits.
    const char* inherited = getenv("KERNA_TEST_EXIT_DIR");
    std::unique_ptr<KernaTest::TempDir> own;
    if (inherited == nullptr) {
        own.reset(new KernaTest::TempDir);
        setenv("KERNA_TEST_EXIT_DIR", own->path().c_str(), 1);
    }
    const std::string path = std::string(inherited ? inherited : own->path()) + "/exit";
    EXPECT_EXIT(
        {
            static std::atomic<bool> started{false};
            setLogPrinter(TFunction1<void, const char*>(&discard));
            logfilter({"-logpath", path.c_str()});
            logfilter({"-logsavesetting", "bysize", "1", "0"});
            std::thread([] {
                for (int i = 0;; ++i) {
                    logInfo("late line %d\n", i);
                    started = true;
                }
            }).detach();
            while (!started) std::this_thread::yield();
            exit(0);
        },
        ::testing::ExitedWithCode(0), "");
    unsetenv("KERNA_TEST_EXIT_DIR");
    EXPECT_NE(KernaTest::readFile(path + "_2026-03-14_0").find("late line 0\n"), std::string::npos);
}
#endif

}  // namespace

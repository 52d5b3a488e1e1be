// Tests of the print path: exact prefixes for the option combinations, continuation lines, the
// gates, the re-entry guard, listeners, module filter, statistics, bad input and the assertion
// reports.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "base/Log.h"
#include "foundation/PrintState.h"
#include "kerna/kerna3/testing/SimulatedClock.h"
#include "platform/Console.h"
#include "platform/Tls.h"
#include "support/LogCapture.h"

using namespace Tessaran::Kerna;
using KernaTest::LogCapture;

namespace {

// 2026-03-14 04:34:56.000 UTC, which the simulated zone (UTC+8) shows as 12:34:56.
const int64_t kFixedUtcMs = 1773462896000LL;

std::string tid() { return std::to_string(Detail::Platform::currentThreadId()); }

// Prints the worked example line with the given options and returns what the printer got.
std::string exampleLine(const PrintOptions& options, const char* version = "Unknown") {
    LogCapture capture;
    setPrintOptions(options);
    Testing::setSimulatedUtc(kFixedUtcMs);
    logFilter(2, "Unknown", ".\\Src\\Utils\\Md5", "Tessaran::Utils::CMd5::final", 441, version,
              "digest is NULL\n");
    std::vector<std::string> lines = capture.lines();
    return lines.size() == 1 ? lines[0] : "<" + std::to_string(lines.size()) + " lines>";
}

PrintOptions noColor() {
    PrintOptions o = {};
    o.noColor = true;
    return o;
}

std::string textOf(int t, int i) {
    return "thread " + std::to_string(t) + " line " + std::to_string(i) + "\n";
}

}  // namespace

TEST(PrintPrefix, DefaultLine) {
    EXPECT_EQ(exampleLine(noColor()), "[12:34:56 error Unknown " + tid() + " Md5:441]digest is NULL\n");
}

TEST(PrintPrefix, OptionCombinations) {
    PrintOptions o = noColor();
    o.showDate = true;
    o.showMillisecond = true;
    o.showFunction = true;
    EXPECT_EQ(exampleLine(o), "[2026-03-14T12:34:56.000 error Unknown " + tid() + " Md5:441 final]digest is NULL\n");

    o = noColor();
    o.structured = true;
    o.showFunction = true;
    EXPECT_EQ(exampleLine(o, "2.1"),
              "[|T: 12:34:56 L:error |[Unknown] [ver:2.1] tid:" + tid() + " F:Md5|l:441|f:final|m:]digest is NULL\n");

    o = noColor();
    o.noTime = o.noLevel = o.noThread = o.noFile = o.noLine = true;
    EXPECT_EQ(exampleLine(o, "2.1"), "[ Unknown:2.1 ]digest is NULL\n");

    // With noVersion one blank still follows the library name; with noModule too, none.
    o = noColor();
    o.noVersion = true;
    o.noThread = true;
    EXPECT_EQ(exampleLine(o, "2.1"), "[12:34:56 error Unknown Md5:441]digest is NULL\n");
    o.noModule = true;
    EXPECT_EQ(exampleLine(o, "2.1"), "[12:34:56 error Md5:441]digest is NULL\n");

    // Every option on at once leaves only the brackets.
    o = noColor();
    o.noTime = o.noModule = o.noLevel = o.noThread = o.noVersion = o.noFile = o.noLine = true;
    EXPECT_EQ(exampleLine(o), "[ ]digest is NULL\n");
}

TEST(PrintPrefix, VersionUnknownEmptyAndNullPrintAsOneBlank) {
    PrintOptions o = noColor();
    o.noThread = true;
    const std::string expected = "[12:34:56 error Unknown Md5:441]digest is NULL\n";
    EXPECT_EQ(exampleLine(o, "Unknown"), expected);
    EXPECT_EQ(exampleLine(o, ""), expected);
    EXPECT_EQ(exampleLine(o, nullptr), expected);
    EXPECT_EQ(exampleLine(o, "3.0"), "[12:34:56 error Unknown:3.0 Md5:441]digest is NULL\n");
}

TEST(PrintPrefix, FunctionAndFileWithoutSeparatorsPrintWhole) {
    LogCapture capture;
    PrintOptions o = noColor();
    o.noTime = o.noThread = true;
    o.showFunction = true;
    setPrintOptions(o);
    logFilter(4, "Lib", "plain", "freeFunction", 7, "", "x\n");
    logFilter(4, "Lib", "src/utils/Md5.cpp", "A::B::c", 8, "", "y\n");
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{"[ info Lib plain:7 freeFunction]x\n",
                                                         "[ info Lib Md5.cpp:8 c]y\n"}));
}

TEST(PrintPath, LevelGates) {
    LogCapture capture(5);
    EXPECT_EQ(logFilter(6, "L", "f", "g", 1, "", "debug\n"), 0);
    EXPECT_GT(logDebug("debug as trace\n"), 0);
    setPrintLogLevel(0);
    EXPECT_EQ(logFatal("nothing at print level 0\n"), 0);
    setPrintLogLevel(6);
    EXPECT_EQ(logLibName(0, "L", "x\n"), 0);
    EXPECT_EQ(logLibName(7, "L", "x\n"), 0);
    EXPECT_GT(logLibName(6, "L", "x\n"), 0);
    std::vector<std::string> lines = capture.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find(" trace Unknown"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find(" debug L "), std::string::npos) << lines[1];
    // Printing switched off by the module switch.
    Detail::g_moduleSwitch.store(Detail::moduleAllOff);
    EXPECT_EQ(logFatal("off\n"), 0);
    Detail::g_moduleSwitch.store(Detail::moduleAllOn);
    EXPECT_EQ(capture.lines().size(), 2u);
}

TEST(PrintPath, ConsoleOnlyPathPrintsLevelSixAsTrace) {
    PrintOptions o = noColor();
    o.noTime = o.noThread = true;
    setPrintOptions(o);
    setPrintLogLevel(5);
    testing::internal::CaptureStdout();
    const int n = Kerna_logFilter(6, "Lib", "dir\\file", "f", 3, "Unknown", "console\n");
    const int m = Kerna_logFilter(6, "Lib", "dir\\", "f", 4, "Unknown", "trailing separator\n");
    const std::string out = testing::internal::GetCapturedStdout();
    setPrintLogLevel(4);
    setPrintOptions(PrintOptions());
    EXPECT_EQ(out, "[ trace Lib file:3]console\n[ trace Lib dir\\:4]trailing separator\n");
    EXPECT_EQ(n, static_cast<int>(std::string("[ trace Lib file:3]console\n").size()));
    EXPECT_GT(m, 0);
}

TEST(PrintPath, ContinuationLineHasNoPrefix) {
    LogCapture capture;
    PrintOptions o = noColor();
    o.noTime = o.noThread = true;
    setPrintOptions(o);
    logFilter(4, "L", "f", "g", 1, "", "begun ");
    EXPECT_EQ(Detail::g_lineComplete.load(), 0);
    logFilter(4, "L", "f", "g", 2, "", "and ended\n");
    EXPECT_EQ(Detail::g_lineComplete.load(), 1);
    logFilter(4, "L", "f", "g", 3, "", "next\n");
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{"[ info L f:1]begun ", "and ended\n", "[ info L f:3]next\n"}));
}

// The buffer holds 8191 characters and a terminator. Before, the message got one byte too few:
// a line of exactly 8191 characters lost its closing "\n", counted as unfinished, and the next
// line was printed as its continuation, without a prefix.
TEST(PrintPath, LineOfExactly8191CharactersKeepsItsLineFeed) {
    LogCapture capture;
    PrintOptions o = noColor();
    o.noTime = o.noThread = true;
    setPrintOptions(o);
    const std::string prefix = "[ info L f:1]";
    const std::string fits(8191 - prefix.size() - 1, 'x');
    EXPECT_EQ(logFilter(4, "L", "f", "g", 1, "", "%s\n", fits.c_str()), 8191);
    EXPECT_EQ(Detail::g_lineComplete.load(), 1);
    EXPECT_EQ(logFilter(4, "L", "f", "g", 1, "", "next\n"), static_cast<int>(prefix.size()) + 5);
    // One character more is cut at 8191: the length counts 8192 and the line counts as ended.
    const std::string over = fits + "y";
    EXPECT_EQ(logFilter(4, "L", "f", "g", 1, "", "%s\n", over.c_str()), 8192);
    EXPECT_EQ(Detail::g_lineComplete.load(), 1);
    const std::string big(10000, 'z');
    EXPECT_EQ(logFilter(4, "L", "f", "g", 1, "", "%s", big.c_str()), 8192);
    EXPECT_EQ(Detail::g_lineComplete.load(), 1);
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{prefix + fits + "\n", prefix + "next\n",
                                                         prefix + fits + "y", prefix + big.substr(0, fits.size() + 1)}));
}

TEST(PrintPath, NullArgumentsDoNotCrash) {
    LogCapture capture;
    PrintOptions o = noColor();
    o.noTime = o.noThread = true;
    o.showFunction = true;
    setPrintOptions(o);
    EXPECT_EQ(logFilter(4, nullptr, nullptr, nullptr, 1, nullptr, nullptr), 0);
    EXPECT_GT(logFilter(4, nullptr, nullptr, nullptr, 1, nullptr, "text\n"), 0);
    EXPECT_EQ(logLibName(4, nullptr, nullptr), 0);
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{"[ info (null) :1 (null)]text\n"}));
}

namespace {
struct Reentrant {
    bool onLine(const char* line) {
        if (std::string(line).find("outer") == std::string::npos) return true;  // another thread's
        ++calls;
        logFilter(4, "Inner", "f", "g", 1, "", "inner %d\n", calls);
        return true;
    }
    int calls = 0;
};
}  // namespace

TEST(PrintPath, ListenerThatLogsGetsBareTextOnly) {
    LogCapture capture;
    Reentrant r;
    TFunction1<bool, const char*> listener(&Reentrant::onLine, &r);
    ASSERT_TRUE(attachPrint(listener));
    testing::internal::CaptureStdout();
    logInfo("outer\n");
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(detachPrint(listener));
    EXPECT_EQ(r.calls, 1);
    EXPECT_EQ(out, "inner 1\n");
    EXPECT_EQ(capture.messages(), std::vector<std::string>{"outer\n"});
}

namespace {
struct Counting {
    bool onLine(const char* line) {
        if (std::string(line).find("[marker]") == std::string::npos) return false;  // another thread's
        lines.push_back(line);
        if (detachSelf) detachPrint(TFunction1<bool, const char*>(&Counting::onLine, this));
        if (other) attachPrint(TFunction1<bool, const char*>(&Counting::onLine, other));
        return false;
    }
    std::vector<std::string> lines;
    bool detachSelf = false;
    Counting* other = nullptr;
};
}  // namespace

TEST(PrintPath, ListenersAttachDetachDuringCall) {
    LogCapture capture;
    Counting first, second;
    first.detachSelf = true;
    first.other = &second;
    TFunction1<bool, const char*> a(&Counting::onLine, &first);
    TFunction1<bool, const char*> b(&Counting::onLine, &second);
    EXPECT_TRUE(attachPrint(a));
    EXPECT_FALSE(attachPrint(a));
    EXPECT_FALSE(detachPrint(b));  // never attached
    logInfo("[marker] one\n");  // first sees it, detaches itself, attaches second
    logInfo("[marker] two\n");  // only second
    EXPECT_EQ(first.lines.size(), 1u);
    ASSERT_EQ(second.lines.size(), 1u);
    EXPECT_NE(second.lines[0].find("two"), std::string::npos);
    EXPECT_TRUE(detachPrint(b));
    EXPECT_FALSE(detachPrint(a));
}

TEST(PrintPath, ModuleFilter) {
    LogCapture capture;
    Detail::setModuleEnabled("a", false);
    Detail::setModuleEnabled("b", true);
    Detail::g_moduleSwitch.store(Detail::moduleFiltered);
    EXPECT_EQ(logLibName(4, "a", "silenced\n"), 0);
    EXPECT_GT(logLibName(4, "b", "b on\n"), 0);
    EXPECT_GT(logLibName(4, "c", "c not named\n"), 0);
    EXPECT_GT(logLibName(4, nullptr, "null name\n"), 0);
    Detail::g_moduleSwitch.store(Detail::moduleAllOn);
    EXPECT_GT(logLibName(4, "a", "all on\n"), 0);
    Detail::clearModules();
    EXPECT_EQ(capture.messages(),
              (std::vector<std::string>{"b on\n", "c not named\n", "null name\n", "all on\n"}));
}

TEST(PrintPath, StatisticsCountAndSaturate) {
    LogCapture capture;
    Detail::setModuleStatistics(true);
    const int n = logLibName(4, "Stat", "twelve bytes");
    logLibName(4, "", "empty names are not counted\n");
    std::map<std::string, LogModuleInfo> stats = getLogStatistics();
    ASSERT_EQ(stats.count("Stat"), 1u);
    EXPECT_EQ(stats["Stat"].bytes, static_cast<uint64_t>(n));
    EXPECT_EQ(stats.count(""), 0u);
    Detail::addStatistics("Big", 0xFFFFFFF0ull);
    Detail::addStatistics("Big", 0x0Full);
    EXPECT_EQ(getLogStatistics()["Big"].bytes, 0xFFFFFFFFull);
    Detail::addStatistics("Big", 100);
    EXPECT_EQ(getLogStatistics()["Big"].bytes, 0xFFFFFFFFull);
    Detail::addStatistics("Over", 0x1FFFFFFFFull);
    EXPECT_EQ(getLogStatistics()["Over"].bytes, 0xFFFFFFFFull);
    Detail::setModuleStatistics(false);
    EXPECT_TRUE(getLogStatistics().empty());
}

TEST(PrintPath, ManyThreadsPrintWholeLinesWhileTheOptionsChange) {
    // Two settings, flipped by a fifth thread while four threads log: every line is built from
    // one of them whole, comes once, and nothing else is printed.
    PrintOptions plain = noColor();
    plain.noTime = plain.noThread = true;
    PrintOptions labelled = plain;
    labelled.structured = true;
    labelled.noVersion = true;
    LogCapture capture;
    setPrintOptions(plain);
    const std::string plainPrefix = "[ info T:2.0 f:1]";
    const std::string labelledPrefix = "[|T:  L:info |[T] F:f|l:1|m:]";
    std::atomic<int> running{4};
    std::thread flipper([&] {
        for (int i = 0; running.load() > 0; ++i) setPrintOptions(i % 2 ? labelled : plain);
    });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &running] {
            for (int i = 0; i < 200; ++i) logFilter(4, "T", "f", "g", 1, "2.0", "thread %d line %d\n", t, i);
            running.fetch_sub(1);
        });
    }
    for (std::thread& t : threads) t.join();
    flipper.join();
    std::set<std::string> seen;
    int wrong = 0;
    for (const std::string& l : capture.lines()) {
        const bool isPlain = l.compare(0, plainPrefix.size(), plainPrefix) == 0;
        const bool isLabelled = l.compare(0, labelledPrefix.size(), labelledPrefix) == 0;
        const std::string message = l.substr(isPlain ? plainPrefix.size() : labelledPrefix.size());
        int t = -1, i = -1;
        char end = 0;
        const bool parsed = std::sscanf(message.c_str(), "thread %d line %d%c", &t, &i, &end) == 3 &&
                            end == '\n' && message == textOf(t, i);
        if (!(isPlain || isLabelled) || !parsed || !seen.insert(message).second) {
            ++wrong;
            ADD_FAILURE() << l;
        }
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(seen.size(), 800u);
}

namespace {

// Stands in for the terminal: keeps what the console writes on the test's thread, colour codes
// and text in order.
struct TerminalSeam {
    static inline std::vector<std::string> written;
    static inline std::thread::id owner;
    TerminalSeam() {
        written.clear();
        owner = std::this_thread::get_id();
        Detail::Platform::setConsoleSink(&write);
    }
    ~TerminalSeam() { Detail::Platform::setConsoleSink(nullptr); }
    static void write(const char* text) {
        if (std::this_thread::get_id() == owner) written.push_back(text);
    }
};

}  // namespace

TEST(PrintConsole, EachLevelSetsItsColourAndAnEndedLineResetsIt) {
    PrintOptions o = {};
    o.noTime = o.noThread = true;
    setPrintOptions(o);
    setPrintLogLevel(6);
    {
        TerminalSeam terminal;
        for (int level = 1; level <= 6; ++level) logFilter(level, "L", "f", "g", level, "", "x\n");
        // A line that has not ended keeps its colour until the call that ends it.
        logFilter(3, "L", "f", "g", 7, "", "begun ");
        logFilter(2, "L", "f", "g", 8, "", "ended\n");
        // With noColor nothing but the text reaches the terminal.
        o.noColor = true;
        setPrintOptions(o);
        logFilter(2, "L", "f", "g", 9, "", "plain\n");
        EXPECT_EQ(TerminalSeam::written,
                  (std::vector<std::string>{
                      "\033[35m", "[ fatal L f:1]x\n", "\033[0m",     //
                      "\033[31m", "[ error L f:2]x\n", "\033[0m",     //
                      "\033[33m", "[ warn L f:3]x\n", "\033[0m",      //
                      "\033[32m", "[ info L f:4]x\n", "\033[0m",      //
                      "\033[37m", "[ trace L f:5]x\n", "\033[0m",     //
                      "\033[36m", "[ debug L f:6]x\n", "\033[0m",     //
                      "\033[33m", "[ warn L f:7]begun ", "ended\n", "\033[0m",  //
                      "[ error L f:9]plain\n"}));
    }
    setPrintLogLevel(4);
    setPrintOptions(PrintOptions());
}

TEST(PrintOptionsRecord, CopiesAndConsoleCopy) {
    PrintOptions o = {};
    o.structured = true;
    o.noLogFile = true;
    setPrintOptions(o);
    PrintOptions back;
    EXPECT_EQ(getPrintOptions(&back), 0);
    EXPECT_TRUE(back.structured && back.noLogFile && !back.noTime);
    const PrintOptions* console = static_cast<const PrintOptions*>(Kerna_getPrintOption());
    EXPECT_TRUE(console->structured && console->noLogFile);
    EXPECT_EQ(getPrintOptions(nullptr), -1);
    setPrintOptions(PrintOptions());
}

TEST(LibraryLog, FunctionAndFileNamesFromSourcePosition) {
    char buf[256];
    EXPECT_STREQ(Detail::functionName("void Tessaran::Utils::CMd5::final(unsigned char*)", buf, sizeof buf),
                 "Tessaran::Utils::CMd5::final");
    EXPECT_STREQ(Detail::functionName("Tessaran::Kerna::RWMutexInternal::RWMutexInternal(int)", buf, sizeof buf),
                 "Tessaran::Kerna::RWMutexInternal::RWMutexInternal");
    EXPECT_STREQ(Detail::functionName("const char* A::name() const", buf, sizeof buf), "A::name");
    EXPECT_STREQ(Detail::functionName("std::map<int, int> A::f(std::pair<int, int>)", buf, sizeof buf), "A::f");
    EXPECT_STREQ(Detail::functionName("bool A::operator()(int)", buf, sizeof buf), "A::operator()");
    EXPECT_STREQ(Detail::functionName(nullptr, buf, sizeof buf), "");
    EXPECT_STREQ(Detail::functionName("void f()", buf, 3), "f");
    EXPECT_STREQ(Detail::sourceName("/a/b/src/utils/Md5.cpp", buf, sizeof buf), "Md5");
    EXPECT_STREQ(Detail::sourceName(".\\Src\\Utils\\Md5", buf, sizeof buf), "Md5");

    LogCapture capture;
    PrintOptions o = noColor();
    o.noTime = o.noThread = o.noLine = true;
    o.showFunction = true;
    setPrintOptions(o);
    KERNA_LOG(3, "this:%p hello\n", static_cast<void*>(nullptr));
    EXPECT_EQ(capture.lines(), std::vector<std::string>{"[ warn Unknown PrintLogTest: TestBody]this:(nil) hello\n"});
}

#if GTEST_HAS_DEATH_TEST
TEST(PrintPathDeathTest, AssertionReports) {
    EXPECT_DEATH(Detail::assertionFailed("m_internal", "void A::f()", "A.cpp", 12),
                 "\\*\\*\\*\\*\\* Internal Program Error - assertion \\(m_internal\\) failed in void A::f\\(\\): A.cpp\\(12\\)");
    EXPECT_DEATH(Detail::assertionFailedMsg("x > 0", "bad x", "void A::g()", "A.cpp", 13),
                 "assertion \\(x > 0\\) failed in void A::g\\(\\): A.cpp\\(13\\): bad x");
    EXPECT_DEATH(KERNA_ASSERT(1 + 1 == 3), "assertion \\(1 \\+ 1 == 3\\) failed in");
}
#endif

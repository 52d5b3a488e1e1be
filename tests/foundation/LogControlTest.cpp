// LogControlTest.cpp
//
// The logfilter commands row by row (exact switches, keywords in any case, missing words that
// must not be read), the log path rules, the size limit arithmetic, and dumpHex compared with
// text built here independently, as the printer receives it.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "foundation/LogSettings.h"
#include "foundation/PrintState.h"
#include "kerna/kerna3/LogControl.h"
#include "kerna/kerna3/PrintLog.h"
#include "support/LogCapture.h"

using namespace Tessaran::Kerna;
using KernaTest::LogCapture;

namespace {

// Runs one command with an argv of exactly argc heap words, so that a read past the last
// word is caught by the address sanitizer.
void run(std::initializer_list<const char*> words) {
    std::vector<std::unique_ptr<char[]>> storage;
    std::unique_ptr<char*[]> argv(new char*[words.size() == 0 ? 1 : words.size()]);
    int argc = 0;
    for (const char* w : words) {
        storage.emplace_back(new char[std::strlen(w) + 1]);
        std::strcpy(storage.back().get(), w);
        argv[argc++] = storage.back().get();
    }
    setLogFilter(argc, argv.get());
}

std::string runCapturingStdout(std::initializer_list<const char*> words) {
    testing::internal::CaptureStdout();
    run(words);
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

PrintOptions options() {
    PrintOptions o = {};
    getPrintOptions(&o);
    return o;
}
const PrintOptions& consoleOptions() {
    return *static_cast<const PrintOptions*>(Kerna_getPrintOption());
}

// Puts every setting a command can change back to its default.
class LogControl : public testing::Test {
protected:
    void SetUp() override { restore(); }
    void TearDown() override { restore(); }
    static void restore() {
        setPrintLogLevel(4);
        setPrintOptions(PrintOptions());
        Detail::clearModules();
        Detail::g_moduleSwitch.store(Detail::moduleAllOn);
        Detail::setModuleStatistics(false);
        Detail::resetLogFileSettings();
    }
};

const char kUsage[] =
    "logfilter command usage:\n"
    "logfilter -loglevel [levelnum](0-no printlevel, 1-fatal, 2-error, 3-warn, 4-info, 5-trace, "
    "6-debug): set log level\n"
    "logfilter -logmodule [modulename] [on/off] #turn module's log on/off\n"
    "logfilter -logmodule [on/off] #turn ALL module's log on/off\n"
    "logfilter -logpath [logpath/] #logger module's log to logpath or cancel logger(by set path to "
    ")\n"
    "logfilter -logmodulestatistics  [on/off] #turn ALL module's logstatistics func on/off\n"
    "logfiter -logsize [logsize] #log file max size limited to logsize Kbytes\n"
    "logfiter -logsavesetting bysize [logsize] [maxnumber]#(logsize-log will save as a new file if "
    "log's size reaches to logsize),(maxnumber-total log file)\n"
    "logfiter -logsavesetting byday [on/off] [maxnumber] #(on-log will save as a new file if date "
    "changes),(maxnumber-total log file)\n"
    "logfiter -logsavesetting filenametime [day/sec] #[day]:the time info of log file name "
    "includes -y-m-d, [sec]: -y-m-d-h-m-s, default: -y-m-d;\n"
    "logfiter -logsavesetting none #log file save in the old way\n";

}  // namespace

TEST_F(LogControl, UsageForNoWordsOrHelpOnly) {
    EXPECT_EQ(kUsage, runCapturingStdout({}));
    EXPECT_EQ(kUsage, runCapturingStdout({"-h"}));
    EXPECT_EQ("", runCapturingStdout({"-h", "-loglevel"}));  // two words: no usage, no row
    EXPECT_EQ("", runCapturingStdout({"-H"}));
    EXPECT_EQ(4, getPrintLogLevel());
}

TEST_F(LogControl, LogLevelReadsItsNumberWithoutRangeTest) {
    run({"-loglevel", "6"});
    EXPECT_EQ(6, getPrintLogLevel());
    run({"-loglevel", "-3"});
    EXPECT_EQ(-3, getPrintLogLevel());
    run({"-loglevel", " 12abc"});
    EXPECT_EQ(12, getPrintLogLevel());
    run({"-loglevel", "99999999999"});  // saturates instead of overflowing
    EXPECT_EQ(2147483647, getPrintLogLevel());
    run({"-loglevel"});  // missing number: no row fits
    EXPECT_EQ(2147483647, getPrintLogLevel());
    run({"-LOGLEVEL", "2"});  // switches are exact
    EXPECT_EQ(2147483647, getPrintLogLevel());
}

TEST_F(LogControl, ModuleFilterSequence) {
    LogCapture capture(6);
    auto printsFrom = [&capture](const char* lib) {
        capture.clear();
        logFilter(3, lib, "f", "g", 1, "v", "x\n");
        return capture.lines().size() == 1;
    };
    run({"-logmodule", "a", "off"});
    EXPECT_EQ(Detail::moduleFiltered, Detail::g_moduleSwitch.load());
    EXPECT_FALSE(printsFrom("a"));
    EXPECT_TRUE(printsFrom("b"));
    run({"-logmodule", "ON"});  // all on, the map is kept
    EXPECT_EQ(Detail::moduleAllOn, Detail::g_moduleSwitch.load());
    EXPECT_TRUE(printsFrom("a"));
    EXPECT_EQ(1u, Detail::moduleMap().count("a"));
    run({"-logmodule", "b", "On"});  // a named module brings the map back in force
    EXPECT_FALSE(printsFrom("a"));
    EXPECT_TRUE(printsFrom("b"));
    run({"-logmodule", "a", "maybe", "extra"});  // "3 or more": anything but "on" is off
    EXPECT_FALSE(Detail::moduleMap()["a"]);
    run({"-logmodule", "a", "oN"});
    EXPECT_TRUE(printsFrom("a"));
    run({"-logmodule", "Off"});
    EXPECT_EQ(Detail::moduleAllOff, Detail::g_moduleSwitch.load());
    EXPECT_FALSE(printsFrom("b"));
    run({"-logmodule", "whatever"});  // any other word: all on
    EXPECT_EQ(Detail::moduleAllOn, Detail::g_moduleSwitch.load());
    run({"-logmodule"});
    EXPECT_EQ(Detail::moduleAllOn, Detail::g_moduleSwitch.load());
}

TEST_F(LogControl, OptionSwitchesWriteBothRecords) {
    struct Row {
        const char* command;
        bool PrintOptions::*field;
        bool valueForOn;
    };
    const Row rows[] = {{"-logtime", &PrintOptions::noTime, false},
                        {"-logthread", &PrintOptions::noThread, false},
                        {"-logversion", &PrintOptions::noVersion, false},
                        {"-logfunction", &PrintOptions::showFunction, false}};
    for (const Row& r : rows) {
        SCOPED_TRACE(r.command);
        run({r.command, "off"});
        EXPECT_EQ(!r.valueForOn, options().*r.field);
        EXPECT_EQ(!r.valueForOn, consoleOptions().*r.field);
        run({r.command, "ON"});
        EXPECT_EQ(r.valueForOn, options().*r.field);
        EXPECT_EQ(r.valueForOn, consoleOptions().*r.field);
        run({r.command, "sideways"});  // anything but "on" counts as off
        EXPECT_EQ(!r.valueForOn, options().*r.field);
        run({r.command, "on"});
        run({r.command});  // missing word: unchanged
        EXPECT_EQ(r.valueForOn, options().*r.field);
    }
    // -logfunction off shows the function name in the prefix.
    LogCapture capture(6);
    run({"-logfunction", "off"});
    logFilter(3, "L", "F", "Ns::Class::method", 7, "v", "m\n");
    ASSERT_EQ(1u, capture.lines().size());
    EXPECT_NE(std::string::npos, capture.lines()[0].find(" method]m\n"));
}

TEST_F(LogControl, LogPathNormalisation) {
    run({"-logpath", "app"});
    Detail::LogFileSettings s = Detail::logFileSettings();
    EXPECT_EQ("./app", s.path);
    EXPECT_EQ("./", s.directory);
    EXPECT_TRUE(Detail::logFileEnabled());

    run({"-logpath", "logs/app.log", "extra"});
    s = Detail::logFileSettings();
    EXPECT_EQ("logs/app.log", s.path);
    EXPECT_EQ("logs/*", s.directory);

    run({"-logpath", "c:\\logs\\app"});
    s = Detail::logFileSettings();
    EXPECT_EQ("c:\\logs\\app", s.path);
    EXPECT_EQ("c:\\logs\\*", s.directory);

    run({"-logpath", "a\\b/c"});  // the last separator of either kind counts
    EXPECT_EQ("a\\b/*", Detail::logFileSettings().directory);

    const std::string out = runCapturingStdout({"-logpath", "logs/"});
    EXPECT_TRUE(testing::internal::RE::FullMatch(out, "\\[LogControl:[0-9]+\\]logDir is invalid\n"))
        << out;
    EXPECT_EQ("", Detail::logFileSettings().path);
    EXPECT_FALSE(Detail::logFileEnabled());

    run({"-logpath", "x"});
    EXPECT_NE(std::string::npos, runCapturingStdout({"-logpath", "d\\"}).find("logDir is invalid"));
    EXPECT_EQ("", Detail::logFileSettings().path);

    run({"-logpath", "x"});
    run({"-logpath", ""});  // cancels
    EXPECT_EQ("", Detail::logFileSettings().path);
    run({"-logpath", "kept"});
    run({"-logpath"});  // missing path: unchanged
    EXPECT_EQ("./kept", Detail::logFileSettings().path);
}

TEST_F(LogControl, SettingsSnapshotsAreConsistentWhileCommandsRun) {
    // One thread switches between two log paths and module settings while others print and
    // take snapshots: every snapshot holds a path with its own pattern, never a mix.
    LogCapture capture(6);
    run({"-logpath", "plain"});
    std::thread writer([] {
        for (int i = 0; i < 2000; ++i) {
            run({"-logpath", i % 2 ? "dir/sub/file" : "plain"});
            run({"-logmodule", i % 3 ? "m" : "n", i % 2 ? "on" : "off"});
            run({"-logmodulestatistics", i % 2 ? "on" : "off"});
        }
    });
    int mixed = 0;
    std::thread printer([] {
        for (int i = 0; i < 2000; ++i) logFilter(3, i % 2 ? "m" : "n", "f", "g", 1, "v", "x\n");
    });
    for (int i = 0; i < 4000; ++i) {
        const Detail::LogFileSettings s = Detail::logFileSettings();
        const bool plain = s.path == "./plain" && s.directory == "./";
        const bool nested = s.path == "dir/sub/file" && s.directory == "dir/sub/*";
        if (!plain && !nested) ++mixed;
    }
    writer.join();
    printer.join();
    EXPECT_EQ(0, mixed);
    EXPECT_EQ(Detail::moduleFiltered, Detail::g_moduleSwitch.load());
}

TEST_F(LogControl, LogSizeIsKilobytesShiftedAs32Bit) {
    struct Case {
        const char* kilobytes;
        int32_t bytes;
    };
    const Case cases[] = {{"1", 1024},
                          {"0", 0},
                          {"-5", 0},
                          {"abc", 0},
                          {"2097151", 2147482624},  // largest that fits
                          {"2097152", 0},           // 2^31: negative as 32 bits
                          {"4194304", 0},           // 2^32: zero as 32 bits
                          {"4194305", 1024},        // wraps to a small positive value
                          {"99999999999", 0}};      // saturated, then negative
    for (const Case& c : cases) {
        run({"-logsize", "7"});
        run({"-logsize", c.kilobytes});
        EXPECT_EQ(c.bytes, Detail::logFileSettings().maxSize) << c.kilobytes;
    }
    run({"-logsize", "3"});
    run({"-logsize"});
    EXPECT_EQ(3072, Detail::logFileSettings().maxSize);
}

TEST_F(LogControl, ModuleStatisticsNeedExactlyOneWord) {
    LogCapture capture(6);
    run({"-logmodulestatistics", "ON"});
    EXPECT_TRUE(Detail::g_moduleStatistics.load());
    const int length = logFilter(3, "stat", "f", "g", 1, "v", "counted\n");
    EXPECT_EQ(static_cast<uint64_t>(length), getLogStatistics()["stat"].bytes);
    run({"-logmodulestatistics", "off", "now"});  // three words: no row
    EXPECT_TRUE(Detail::g_moduleStatistics.load());
    run({"-logmodulestatistics", "nope"});
    EXPECT_FALSE(Detail::g_moduleStatistics.load());
    run({"-logmodulestatistics"});
    EXPECT_FALSE(Detail::g_moduleStatistics.load());
}

TEST_F(LogControl, SaveSettings) {
    run({"-logsavesetting", "ByDay", "ON", "7"});
    Detail::LogFileSettings s = Detail::logFileSettings();
    EXPECT_TRUE(s.byDay);
    EXPECT_EQ(7, s.maxNumber);
    EXPECT_FALSE(s.oldWay);
    EXPECT_EQ(0, s.maxSize);

    run({"-logsavesetting", "BYSIZE", "10", "-3"});  // leaves byDay alone
    s = Detail::logFileSettings();
    EXPECT_EQ(10240, s.maxSize);
    EXPECT_EQ(0, s.maxNumber);
    EXPECT_TRUE(s.byDay);

    run({"-logsavesetting", "byday", "off", "2"});  // leaves the size alone
    s = Detail::logFileSettings();
    EXPECT_FALSE(s.byDay);
    EXPECT_EQ(2, s.maxNumber);
    EXPECT_EQ(10240, s.maxSize);

    run({"-logsavesetting", "None"});
    EXPECT_TRUE(Detail::logFileSettings().oldWay);
    run({"-logsavesetting", "byday"});                  // two words other than "none": nothing
    run({"-logsavesetting", "byday", "on"});            // three words: not the byday row
    run({"-logsavesetting", "bysize", "1", "2", "3"});  // five words: no row
    run({"-logsavesetting"});
    s = Detail::logFileSettings();
    EXPECT_TRUE(s.oldWay);
    EXPECT_FALSE(s.byDay);
    EXPECT_EQ(10240, s.maxSize);

    run({"-logsavesetting", "FileNameTime", "SEC"});
    EXPECT_TRUE(Detail::logFileSettings().fileNameTime);
    run({"-logsavesetting", "filenametime", "hour"});  // other words do nothing
    EXPECT_TRUE(Detail::logFileSettings().fileNameTime);
    run({"-logsavesetting", "filenametime", "Day"});
    EXPECT_FALSE(Detail::logFileSettings().fileNameTime);
}

TEST_F(LogControl, NullArgumentsAreRefusedWithALine) {
    LogCapture capture(6);
    setLogFilter(2, nullptr);
    setLogFilter(-1, nullptr);
    char level[] = "-loglevel";
    char* words[] = {level, nullptr};
    setLogFilter(2, words);
    EXPECT_EQ(6, getPrintLogLevel());
    const std::vector<std::string> lines = capture.lines();
    ASSERT_EQ(3u, lines.size());
    EXPECT_NE(std::string::npos, lines[0].find(" error "));
    EXPECT_NE(std::string::npos, lines[2].find("bad command: word 1 is NULL\n"));
    dumpHex(nullptr, 4);
    EXPECT_TRUE(capture.hasMessage("data is NULL, length 4\n"));
}

// ---- dumpHex ---------------------------------------------------------------------------------

namespace {

// The text of the rows of `data` as dumpHex describes them, built without its code.
std::vector<std::string> expectedDump(const unsigned char* data, size_t length) {
    std::vector<std::string> rows;
    for (size_t offset = 0; offset < length; offset += 16) {
        char address[32];
        std::snprintf(address, sizeof(address), "%p: ", static_cast<const void*>(data + offset));
        std::string row = address;
        std::string text;
        for (size_t i = 0; i < 16; ++i) {
            if (offset + i < length) {
                char group[8];
                std::snprintf(group, sizeof(group), "%02x ", data[offset + i]);
                row += group;
                const unsigned char c = data[offset + i];
                text += (c < 32 || c > 122) ? '.' : static_cast<char>(c);
            } else {
                row += "   ";
            }
        }
        rows.push_back(row + "  " + text + "\n");
        if (offset % 512 == 496) rows.push_back("\n");
    }
    return rows;
}

std::vector<std::string> dumped(unsigned char* data, size_t length) {
    LogCapture capture(5);
    dumpHex(data, length);
    return capture.messages();
}

}  // namespace

TEST_F(LogControl, DumpHexRows) {
    std::vector<unsigned char> bytes(600);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 7 + 1);
    const char text[] = "Az{|}~ 09\x1f\x7f\x80\xff\t\n z!";  // the edges of the text part

    EXPECT_TRUE(dumped(bytes.data(), 0).empty());

    std::vector<std::string> rows =
        dumped(reinterpret_cast<unsigned char*>(const_cast<char*>(text)), 16);
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(expectedDump(reinterpret_cast<const unsigned char*>(text), 16), rows);
    EXPECT_EQ("41 7a 7b 7c 7d 7e 20 30 39 1f 7f 80 ff 09 0a 20   Az.... 09...... \n",
              rows[0].substr(rows[0].find(": ") + 2));

    rows = dumped(bytes.data(), 17);
    ASSERT_EQ(2u, rows.size());
    EXPECT_EQ(expectedDump(bytes.data(), 17), rows);
    EXPECT_EQ(": 71 " + std::string(15 * 3, ' ') + "  q\n", rows[1].substr(rows[1].find(": ")));

    rows = dumped(bytes.data(), 530);  // 34 rows and one empty line after the row at 496
    EXPECT_EQ(35u, rows.size());
    EXPECT_EQ(expectedDump(bytes.data(), 530), rows);
    EXPECT_EQ("\n", rows[32]);

    // Each row and the empty line are lines of their own, with a prefix.
    LogCapture capture(5);
    dumpHex(bytes.data(), 512);
    const std::vector<std::string> lines = capture.lines();
    ASSERT_EQ(33u, lines.size());
    EXPECT_EQ('[', lines[0][0]);
    EXPECT_EQ('[', lines[32][0]);
    EXPECT_EQ("\n", lines[32].substr(lines[32].find(']') + 1));
}

TEST_F(LogControl, DumpHexBelowTraceLevelPrintsNothing) {
    unsigned char data[20] = {};
    EXPECT_TRUE([&] {
        LogCapture capture(4);
        dumpHex(data, sizeof(data));
        return capture.lines().empty();
    }());
}

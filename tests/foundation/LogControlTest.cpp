// LogControlTest.cpp
//
// The logfilter commands row by row (exact switches, keywords in any case, missing words that
// must not be read), the log path rules, the size limit arithmetic, and dumpHex compared with
// text built here independently, as the printer receives it.
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/LogSettings.h"
#include "foundation/PrintState.h"
#include "kerna/kerna3/LogControl.h"
#include "kerna/kerna3/LogFile.h"
#include "kerna/kerna3/PrintLog.h"
#include "support/LogCapture.h"

using namespace Tessaran::Kerna;
using KernaTest::LogCapture;

namespace {

// Runs one command with an argv of exactly argc heap words, so that a read past the last
// word is caught by the address sanitizer.
void run(const std::vector<const char*>& words) {
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

std::string runCapturingStdout(const std::vector<const char*>& words) {
    testing::internal::CaptureStdout();
    run(words);
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

// The log file settings as text: [path][pattern] size number, and the switches that are on.
std::string fileState() {
    const Detail::LogFileSettings s = Detail::logFileSettings();
    return "[" + s.path + "][" + s.directory + "] " + std::to_string(s.maxSize) + " " +
           std::to_string(s.maxNumber) + (s.oldWay ? " old" : "") + (s.byDay ? " byday" : "") +
           (s.fileNameTime ? " sec" : "") + (Detail::logFileEnabled() ? " on" : "");
}

// One command and the text `state()` must give after it.
struct Step {
    std::vector<const char*> words;
    std::string state;
};

void runSteps(const std::vector<Step>& steps, const std::function<std::string()>& state) {
    for (const Step& step : steps) {
        run(step.words);
        std::string command;
        for (const char* word : step.words) command += std::string(" ") + word;
        EXPECT_EQ(step.state, state()) << "after" << command;
    }
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
        logCleanup();  // a log file that a line opened meanwhile
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
    runSteps({{{"-loglevel", "6"}, "6"},
              {{"-loglevel", "-3"}, "-3"},
              {{"-loglevel", " 12abc"}, "12"},
              {{"-loglevel", "99999999999"}, "2147483647"},  // saturates instead of overflowing
              {{"-loglevel"}, "2147483647"},                 // missing number: no row fits
              {{"-LOGLEVEL", "2"}, "2147483647"}},           // switches are exact
             [] { return std::to_string(getPrintLogLevel()); });
}

TEST_F(LogControl, ModuleFilterSequence) {
    // The module switch (0 all off, 1 filtered, 2 all on), then the modules that print.
    LogCapture capture(6);
    const auto state = [&capture] {
        std::string text = std::to_string(Detail::g_moduleSwitch.load());
        for (const char* lib : {"a", "b"}) {
            capture.clear();
            logFilter(3, lib, "f", "g", 1, "v", "x\n");
            text += capture.lines().size() == 1 ? std::string(" ") + lib : "";
        }
        return text;
    };
    runSteps({{{"-logmodule", "a", "off"}, "1 b"},  // a module not in the map prints
              {{"-logmodule", "ON"}, "2 a b"},      // all on, the map is kept ...
              {{"-logmodule", "b", "On"}, "1 b"},   // ... and a named module brings it back
              {{"-logmodule", "a", "oN"}, "1 a b"},
              {{"-logmodule", "a", "maybe", "extra"}, "1 b"},  // "3 or more": not "on" is off
              {{"-logmodule", "Off"}, "0"},
              {{"-logmodule"}, "0"},
              {{"-logmodule", "whatever"}, "2 a b"}},  // any other word: all on
             state);
}

TEST_F(LogControl, OptionSwitchesWriteBothRecords) {
    // "on" clears the field, any other word sets it (so "-logfunction off" shows the function
    // name); the setPrintOptions record and the console copy change together.
    const std::pair<const char*, bool PrintOptions::*> rows[] = {
        {"-logtime", &PrintOptions::noTime},
        {"-logthread", &PrintOptions::noThread},
        {"-logversion", &PrintOptions::noVersion},
        {"-logfunction", &PrintOptions::showFunction}};
    for (const auto& [command, field] : rows) {
        SCOPED_TRACE(command);
        runSteps({{{command, "off"}, "11"},
                  {{command, "ON"}, "00"},
                  {{command, "sideways"}, "11"},
                  {{command, "on"}, "00"},
                  {{command}, "00"}},  // missing word: unchanged
                 [f = field] {
                     PrintOptions record = {};
                     getPrintOptions(&record);
                     const auto* console = static_cast<const PrintOptions*>(Kerna_getPrintOption());
                     return std::to_string(record.*f) + std::to_string(console->*f);
                 });
    }
    LogCapture capture(6);
    run({"-logfunction", "off"});
    logFilter(3, "L", "F", "Ns::Class::method", 7, "v", "m\n");
    ASSERT_EQ(1u, capture.lines().size());
    EXPECT_NE(std::string::npos, capture.lines()[0].find(" method]m\n"));
}

TEST_F(LogControl, LogPathNormalisation) {
    runSteps({{{"-logpath", "app"}, "[./app][./] 0 0 old on"},
              {{"-logpath", "logs/app.log", "extra"}, "[logs/app.log][logs/*] 0 0 old on"},
              {{"-logpath", "c:\\logs\\app"}, "[c:\\logs\\app][c:\\logs\\*] 0 0 old on"},
              {{"-logpath", "a\\b/c"},
               "[a\\b/c][a\\b/*] 0 0 old on"},           // the last separator of either kind
              {{"-logpath", ""}, "[][a\\b/*] 0 0 old"},  // cancels; the pattern is left as it was
              {{"-logpath", "kept"}, "[./kept][./] 0 0 old on"},
              {{"-logpath"}, "[./kept][./] 0 0 old on"}},  // missing path: unchanged
             fileState);
    for (const char* bad : {"logs/", "d\\"}) {  // refused, and file logging is cancelled too
        const std::string out = runCapturingStdout({"-logpath", bad});
        EXPECT_TRUE(
            testing::internal::RE::FullMatch(out, "\\[LogControl:[0-9]+\\]logDir is invalid\n"))
            << out;
        EXPECT_EQ("[][./] 0 0 old", fileState());
        run({"-logpath", "x"});
    }
}

TEST_F(LogControl, SettingsSnapshotsAreConsistentWhileCommandsRun) {
    // One thread switches between two log paths and module settings while others print and
    // take snapshots: every snapshot holds a path with its own pattern, never a mix.
    LogCapture capture(6);
    PrintOptions options = {};
    options.noLogFile = true;  // the paths are only settings here: no file is written
    setPrintOptions(options);
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
    const std::pair<const char*, int32_t> cases[] = {
        {"1", 1024},
        {"0", 0},
        {"-5", 0},
        {"abc", 0},
        {"2097151", 2147482624},  // largest that fits
        {"2097152", 0},           // 2^31: negative as 32 bits
        {"4194304", 0},           // 2^32: zero as 32 bits
        {"4194305", 1024},        // wraps to a small positive value
        {"99999999999", 0}};      // saturated, then negative
    for (const auto& [kilobytes, bytes] : cases) {
        run({"-logsize", "7"});
        run({"-logsize", kilobytes});
        EXPECT_EQ(bytes, Detail::logFileSettings().maxSize) << kilobytes;
    }
    run({"-logsize", "3"});
    run({"-logsize"});
    EXPECT_EQ(3072, Detail::logFileSettings().maxSize);
}

TEST_F(LogControl, ModuleStatisticsNeedExactlyOneWord) {
    LogCapture capture(6);
    const auto state = [] { return std::string(Detail::g_moduleStatistics.load() ? "on" : "off"); };
    runSteps({{{"-logmodulestatistics", "ON"}, "on"}}, state);
    const int length = logFilter(3, "stat", "f", "g", 1, "v", "counted\n");
    EXPECT_EQ(static_cast<uint64_t>(length), getLogStatistics()["stat"].bytes);
    runSteps({{{"-logmodulestatistics", "off", "now"}, "on"},  // three words: no row
              {{"-logmodulestatistics", "nope"}, "off"},
              {{"-logmodulestatistics"}, "off"}},
             state);
}

TEST_F(LogControl, SaveSettings) {
    // "bysize" leaves by day alone and "byday" the size; rows need their exact word counts.
    runSteps({{{"-logsavesetting", "ByDay", "ON", "7"}, "[][] 0 7 byday"},
              {{"-logsavesetting", "BYSIZE", "10", "-3"}, "[][] 10240 0 byday"},
              {{"-logsavesetting", "byday", "off", "2"}, "[][] 10240 2"},
              {{"-logsavesetting", "None"}, "[][] 10240 2 old"},
              {{"-logsavesetting", "byday"}, "[][] 10240 2 old"},
              {{"-logsavesetting", "byday", "on"}, "[][] 10240 2 old"},
              {{"-logsavesetting", "bysize", "1", "2", "3"}, "[][] 10240 2 old"},
              {{"-logsavesetting"}, "[][] 10240 2 old"},
              {{"-logsavesetting", "FileNameTime", "SEC"}, "[][] 10240 2 old sec"},
              {{"-logsavesetting", "filenametime", "hour"}, "[][] 10240 2 old sec"},
              {{"-logsavesetting", "filenametime", "Day"}, "[][] 10240 2 old"}},
             fileState);
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
        for (size_t i = offset; i < offset + 16; ++i) {
            char group[8] = "   ";  // a missing byte
            if (i < length) {
                std::snprintf(group, sizeof(group), "%02x ", data[i]);
                text += (data[i] < 32 || data[i] > 122) ? '.' : static_cast<char>(data[i]);
            }
            row += group;
        }
        rows.push_back(row + "  " + text + "\n");
        if (offset % 512 == 496) rows.push_back("\n");
    }
    return rows;
}

std::vector<std::string> dumped(unsigned char* data, size_t length, int printLevel = 5) {
    LogCapture capture(printLevel);
    dumpHex(data, length);
    return capture.messages();
}

}  // namespace

TEST_F(LogControl, DumpHexRows) {
    std::vector<unsigned char> bytes(600);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 7 + 1);
    const char text[] = "Az{|}~ 09\x1f\x7f\x80\xff\t\n z!";  // the edges of the text part

    EXPECT_TRUE(dumped(bytes.data(), 0).empty());
    EXPECT_TRUE(dumped(bytes.data(), 20, 4).empty());  // rows are trace lines

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

// LogControl.cpp
//
// The `logfilter` command language and the hexadecimal dump. A command is matched against its
// rows in a fixed order; the first row that fits runs. Rows that need words behind the switch
// fit only when the caller gave them, so that no word is read past argv. The print-path
// settings live in PrintState; the log file settings are kept here for the log file writer.
#include "kerna/kerna3/LogControl.h"

#include <stdio.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "foundation/LogSettings.h"
#include "foundation/PrintState.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/PrintLog.h"
#include "platform/Fork.h"
#include "sync/MutexAccess.h"

namespace Tessaran {
namespace Kerna {

namespace Detail {
namespace {

struct LogSettingsState {
    CMutex lock;
    LogFileSettings settings;
    LogSettingsState() { keepLockAcrossFork<LogSettingsState>(Platform::forkRankPrint); }
    void published() {}
    void atProcessExit() {}
};
LogSettingsState& logSettingsState() { return *ProcessObject<LogSettingsState>::get(); }
std::atomic<bool> g_logFileEnabled{false};
std::atomic<uint32_t> g_generation{0};

// Runs `change` on the settings under their lock and counts the change.
template <class Change>
void changeSettings(Change change) {
    LogSettingsState& s = logSettingsState();
    CGuard guard(s.lock);
    change(s.settings);
    ++s.settings.generation;
    g_generation.store(s.settings.generation, std::memory_order_release);
    g_logFileEnabled.store(!s.settings.path.empty(), std::memory_order_relaxed);
}

}  // namespace

LogFileSettings logFileSettings() {
    LogSettingsState& s = logSettingsState();
    CGuard guard(s.lock);
    return s.settings;
}

uint32_t logFileSettingsGeneration() { return g_generation.load(std::memory_order_acquire); }

bool logFileEnabled() { return g_logFileEnabled.load(std::memory_order_relaxed); }

void resetLogFileSettings() {
    changeSettings([](LogFileSettings& s) {
        const uint32_t generation = s.generation;
        s = LogFileSettings();
        s.generation = generation;
    });
}

}  // namespace Detail

namespace {

const char usageText[] =
    "logfilter command usage:\n"
    "logfilter -loglevel [levelnum](0-no printlevel, 1-fatal, 2-error, 3-warn, 4-info, 5-trace, "
    "6-debug): set log level\n"
    "logfilter -logmodule [modulename] [on/off] #turn module's log on/off\n"
    "logfilter -logmodule [on/off] #turn ALL module's log on/off\n"
    "logfilter -logpath [logpath/] #logger module's log to logpath or cancel logger(by set path "
    "to )\n"
    "logfilter -logmodulestatistics  [on/off] #turn ALL module's logstatistics func on/off\n"
    "logfiter -logsize [logsize] #log file max size limited to logsize Kbytes\n"
    "logfiter -logsavesetting bysize [logsize] [maxnumber]#(logsize-log will save as a new file "
    "if log's size reaches to logsize),(maxnumber-total log file)\n"
    "logfiter -logsavesetting byday [on/off] [maxnumber] #(on-log will save as a new file if "
    "date changes),(maxnumber-total log file)\n"
    "logfiter -logsavesetting filenametime [day/sec] #[day]:the time info of log file name "
    "includes -y-m-d, [sec]: -y-m-d-h-m-s, default: -y-m-d;\n"
    "logfiter -logsavesetting none #log file save in the old way\n";

bool equals(const char* a, const char* b) { return std::strcmp(a, b) == 0; }

// ASCII comparison without regard to case; the keywords are plain ASCII.
bool equalsNoCase(const char* a, const char* b) {
    for (;; ++a, ++b) {
        const unsigned char ca = static_cast<unsigned char>(*a);
        const unsigned char cb = static_cast<unsigned char>(*b);
        const unsigned char la =
            (ca >= 'A' && ca <= 'Z') ? static_cast<unsigned char>(ca + 32) : ca;
        const unsigned char lb =
            (cb >= 'A' && cb <= 'Z') ? static_cast<unsigned char>(cb + 32) : cb;
        if (la != lb) return false;
        if (la == '\0') return true;
    }
}

// atoi as the library has always read numbers: leading blanks, a sign, digits; anything behind
// is ignored. A value beyond the 32-bit range saturates (as the original platform's atoi does)
// instead of being undefined.
int32_t toInt(const char* s) {
    while (*s == ' ' || (*s >= '\t' && *s <= '\r')) ++s;
    bool negative = false;
    if (*s == '+' || *s == '-') negative = (*s++ == '-');
    int64_t value = 0;
    for (; *s >= '0' && *s <= '9'; ++s) {
        value = value * 10 + (*s - '0');
        if (value > INT64_C(0x80000000)) value = INT64_C(0x80000000);  // stays saturated
    }
    if (negative) return value >= INT64_C(0x80000000) ? INT32_MIN : static_cast<int32_t>(-value);
    return value > INT32_MAX ? INT32_MAX : static_cast<int32_t>(value);
}

// Kilobytes to a byte limit: shifted left by 10 as a 32-bit value; not positive means none.
int32_t sizeLimit(const char* kilobytes) {
    const uint32_t shifted = static_cast<uint32_t>(toInt(kilobytes)) << 10;
    const int32_t bytes = static_cast<int32_t>(shifted);
    return bytes > 0 ? bytes : 0;
}

int32_t numberLimit(const char* number) {
    const int32_t n = toInt(number);
    return n > 0 ? n : 0;
}

bool isSeparator(char c) { return c == '/' || c == '\\'; }

// Sets the log path with its search pattern. An empty path cancels file logging. A path that
// ends in a separator names no file: it is refused and cancels file logging. A path without a
// separator lies in the current directory, "./"; otherwise the pattern is the path's directory
// part followed by "*".
void setLogPath(const char* path) {
    const size_t length = std::strlen(path);
    if (length == 0) {
        Detail::changeSettings([](Detail::LogFileSettings& s) { s.path.clear(); });
        return;
    }
    if (isSeparator(path[length - 1])) {
        printf("[%s:%d]logDir is invalid\n", "LogControl", __LINE__);
        fflush(stdout);
        Detail::changeSettings([](Detail::LogFileSettings& s) { s.path.clear(); });
        return;
    }
    const char* lastSeparator = nullptr;
    for (const char* p = path; *p != '\0'; ++p) {
        if (isSeparator(*p)) lastSeparator = p;
    }
    Detail::changeSettings([path, lastSeparator](Detail::LogFileSettings& s) {
        s.directory.clear();
        if (lastSeparator == nullptr) {
            s.directory = "./";
            s.path = std::string("./") + path;
        } else {
            s.directory.assign(path, static_cast<size_t>(lastSeparator - path) + 1);
            s.directory += '*';
            s.path = path;
        }
    });
}

// The switches that show or hide a part of the prefix write both option records.
void setOption(bool PrintOptions::*field, bool value) { Detail::writePrintOption(field, value); }

void runCommand(int argc, char* const* argv) {
    const char* command = argv[0];
    if (equals(command, "-loglevel")) {
        if (argc >= 2) setPrintLogLevel(toInt(argv[1]));
    } else if (equals(command, "-logmodule") && argc >= 3) {
        Detail::setModuleEnabled(argv[1], equalsNoCase(argv[2], "on"));
        Detail::g_moduleSwitch.store(Detail::moduleFiltered, std::memory_order_relaxed);
    } else if (equals(command, "-logmodule") && argc == 2) {
        Detail::g_moduleSwitch.store(
            equalsNoCase(argv[1], "off") ? Detail::moduleAllOff : Detail::moduleAllOn,
            std::memory_order_relaxed);
    } else if (equals(command, "-logtime")) {
        if (argc >= 2) setOption(&PrintOptions::noTime, !equalsNoCase(argv[1], "on"));
    } else if (equals(command, "-logthread")) {
        if (argc >= 2) setOption(&PrintOptions::noThread, !equalsNoCase(argv[1], "on"));
    } else if (equals(command, "-logversion")) {
        if (argc >= 2) setOption(&PrintOptions::noVersion, !equalsNoCase(argv[1], "on"));
    } else if (equals(command, "-logfunction")) {
        // The opposite sense of the three above: "on" hides the function name.
        if (argc >= 2) setOption(&PrintOptions::showFunction, !equalsNoCase(argv[1], "on"));
    } else if (equals(command, "-logpath") && argc >= 2) {
        setLogPath(argv[1]);
    } else if (equals(command, "-logsize")) {
        if (argc >= 2) {
            const int32_t bytes = sizeLimit(argv[1]);
            Detail::changeSettings([bytes](Detail::LogFileSettings& s) { s.maxSize = bytes; });
        }
    } else if (equals(command, "-logmodulestatistics") && argc == 2) {
        Detail::setModuleStatistics(equalsNoCase(argv[1], "on"));
    } else if (equals(command, "-logsavesetting") && argc == 2) {
        if (equalsNoCase(argv[1], "none")) {
            Detail::changeSettings([](Detail::LogFileSettings& s) { s.oldWay = true; });
        }
    } else if (equals(command, "-logsavesetting") && argc == 4 && equalsNoCase(argv[1], "byday")) {
        const bool byDay = equalsNoCase(argv[2], "on");
        const int32_t number = numberLimit(argv[3]);
        Detail::changeSettings([byDay, number](Detail::LogFileSettings& s) {
            s.byDay = byDay;
            s.maxNumber = number;
            s.oldWay = false;
        });
    } else if (equals(command, "-logsavesetting") && argc == 4 && equalsNoCase(argv[1], "bysize")) {
        const int32_t bytes = sizeLimit(argv[2]);
        const int32_t number = numberLimit(argv[3]);
        Detail::changeSettings([bytes, number](Detail::LogFileSettings& s) {
            s.maxSize = bytes;
            s.maxNumber = number;
            s.oldWay = false;
        });
    } else if (equals(command, "-logsavesetting") && argc == 3 &&
               equalsNoCase(argv[1], "filenametime")) {
        if (equalsNoCase(argv[2], "day")) {
            Detail::changeSettings([](Detail::LogFileSettings& s) { s.fileNameTime = false; });
        } else if (equalsNoCase(argv[2], "sec")) {
            Detail::changeSettings([](Detail::LogFileSettings& s) { s.fileNameTime = true; });
        }
    }
    // Anything else fits no row and does nothing.
}

}  // namespace

void setLogFilter(int argc, char* const* argv) {
    if (argc < 0 || (argc > 0 && argv == nullptr)) {
        KERNA_LOG(2, "bad command: argc %d, argv %p\n", argc, static_cast<const void*>(argv));
        return;
    }
    for (int i = 0; i < argc; ++i) {
        if (argv[i] == nullptr) {
            KERNA_LOG(2, "bad command: word %d is NULL\n", i);
            return;
        }
    }
    if (argc == 0 || (argc == 1 && equals(argv[0], "-h"))) {
        fputs(usageText, stdout);
        fflush(stdout);
        return;
    }
    if (Kerna_getPrintOption() == nullptr) {
        printf("[%s:%s:%d]Printlog Error, pPrintOption is NULL.\n", "LogControl", "setLogFilter",
               __LINE__);
        return;
    }
    runCommand(argc, argv);
}

void dumpHex(unsigned char* data, size_t length) {
    if (length == 0) return;
    if (data == nullptr) {
        KERNA_LOG(2, "data is NULL, length %zu\n", length);
        return;
    }
    if (!Detail::printWouldPass(5)) return;  // logTrace would print nothing
    static const char hex[] = "0123456789abcdef";
    for (size_t offset = 0; offset < length; offset += 16) {
        const unsigned char* row = data + offset;
        const size_t count = std::min<size_t>(16, length - offset);
        // "%p: ", 16 groups of "%02x " (three blanks for a missing byte), two blanks, the text.
        char line[128];
        int used = snprintf(line, sizeof(line), "%p: ", static_cast<const void*>(row));
        if (used < 0 || used > 40) used = 0;
        char* out = line + used;
        for (size_t i = 0; i < 16; ++i) {
            if (i < count) {
                *out++ = hex[row[i] >> 4];
                *out++ = hex[row[i] & 0x0f];
            } else {
                *out++ = ' ';
                *out++ = ' ';
            }
            *out++ = ' ';
        }
        *out++ = ' ';
        *out++ = ' ';
        for (size_t i = 0; i < count; ++i) {
            const unsigned char c = row[i];
            *out++ = (c < 32 || c >= 123) ? '.' : static_cast<char>(c);
        }
        *out++ = '\n';
        *out = '\0';
        logTrace("%s", line);
        if (offset % 512 == 496) logTrace("\n");
    }
}

}  // namespace Kerna
}  // namespace Tessaran

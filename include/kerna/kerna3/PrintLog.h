// PrintLog.h
//
// The print path through which the library and its users report: levels, the option record, the
// line prefix, the printer that replaces the console, listeners, the per-module filter and byte
// statistics, the short log functions, and the reports of failed assertions.
//
// Levels: 1 fatal, 2 error, 3 warn, 4 info, 5 trace, 6 debug; a line passes when its level is at
// most the print level (default 4). A line is built on the caller's stack (8192 bytes), handed to
// the printer or the console, then to every listener, then to the log file.
#ifndef KERNA_KERNA3_PRINTLOG_H_
#define KERNA_KERNA3_PRINTLOG_H_

#include <cstdarg>
#include <cstdint>
#include <map>
#include <string>

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/Function.h"

namespace Tessaran {
namespace Kerna {

/// The print switches: 13 one-byte booleans and 19 reserved bytes, all zero by default.
struct PrintOptions {
    bool noTime;           ///< time of day left out; one blank stands in its place
    bool noColor;          ///< console colour not changed
    bool noModule;         ///< library name left out
    bool noLevel;          ///< level name left out
    bool noThread;         ///< thread id left out
    bool noVersion;        ///< version left out
    bool showFunction;     ///< function name added
    bool noFile;           ///< source file name left out
    bool noLine;           ///< source line left out
    bool showDate;         ///< date added before the time
    bool showMillisecond;  ///< time gets milliseconds
    bool structured;       ///< prefix takes its labelled form
    bool noLogFile;        ///< lines not written to the log file
    char reserved[19];
};
static_assert(sizeof(PrintOptions) == 32, "PrintOptions is 32 bytes");

/// Byte count per library name while module statistics are on.
struct LogModuleInfo {
    uint64_t bytes;     ///< bytes logged, saturating at 0xFFFFFFFF
    char reserved[8];   ///< stays zero
};

/// The time a line was stamped with: local wall-clock fields, then reserved zeros.
struct TimeRecord {
    int32_t year;
    int32_t month;
    int32_t day;
    int32_t weekday;  ///< 0 = Sunday
    int32_t hour;
    int32_t minute;
    int32_t second;
    int32_t millisecond;
    int32_t reserved[8];
};

/// Prints one line through the whole path. `libName` and `version` name the caller's library;
/// `file`, `func` and `line` its source position (file cut behind its last "/" or "\\"). Returns
/// the length of the text (at most 8192), or 0 if nothing was printed (level above the print
/// level, printing off, module filtered, or a null `format`). Null texts other than `format`
/// print as "(null)". A printer or listener that prints again gets the bare text on standard output.
KERNA_API int logFilter(int level, const char* libName, const char* file, const char* func, int line,
                        const char* version, const char* format, ...)
    __attribute__((format(printf, 7, 8)));

/// logFilter with an argument list.
KERNA_API int logFilterEx(int level, const char* libName, const char* file, const char* func, int line,
                          const char* version, const char* format, va_list args)
    __attribute__((format(printf, 7, 0)));

/// Replaces the console by `printer` (an empty delegate brings the console back). Result 0.
/// The printer runs on the printing thread with no library lock held.
KERNA_API int setLogPrinter(TFunction1<void, const char*> printer);

/// Adds a listener at the end of the list; false, with nothing changed, if an equal one is there.
/// Listeners run on the printing thread, no lock held, and may attach and detach.
KERNA_API bool attachPrint(TFunction1<bool, const char*> proc);

/// Removes the listener equal to `proc`; true if one was found.
KERNA_API bool detachPrint(TFunction1<bool, const char*> proc);

/// Sets both copies of the print switches.
KERNA_API void setPrintOptions(PrintOptions options);
/// Copies the print switches into `*options`; returns 0 (-1 for a null pointer).
KERNA_API int getPrintOptions(PrintOptions* options);
/// Sets the print level (0 suppresses everything).
KERNA_API void setPrintLogLevel(int level);
/// The print level.
KERNA_API int getPrintLogLevel();

/// A copy of the byte counts per library name, taken under the statistics lock.
KERNA_API std::map<std::string, LogModuleInfo> getLogStatistics();

/// Short forms: level 1 to 5 (logDebug prints at level 5, as "trace "), library and file name
/// "Unknown", no function, line 0, empty version. Results as logFilterEx.
KERNA_API int logFatal(const char* format, ...) __attribute__((format(printf, 1, 2)));
KERNA_API int logError(const char* format, ...) __attribute__((format(printf, 1, 2)));
KERNA_API int logWarn(const char* format, ...) __attribute__((format(printf, 1, 2)));
KERNA_API int logInfo(const char* format, ...) __attribute__((format(printf, 1, 2)));
KERNA_API int logTrace(const char* format, ...) __attribute__((format(printf, 1, 2)));
KERNA_API int logDebug(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Prints with the caller's level and library name; a level outside 1 to 6 prints nothing, 0.
KERNA_API int logLibName(int level, const char* libName, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

namespace Detail {
/// Reports a failed assertion on standard error, logs "custom_abort" and aborts.
[[noreturn]] KERNA_API void assertionFailed(const char* expression, const char* function,
                                            const char* file, long line);
/// The same with a message.
[[noreturn]] KERNA_API void assertionFailedMsg(const char* expression, const char* message,
                                               const char* function, const char* file, long line);
}  // namespace Detail

}  // namespace Kerna
}  // namespace Tessaran

extern "C" {
/// Console-only print path: level 6 counts as 5, no module filter, no listeners, no log file.
KERNA_API int Kerna_logFilter(int level, const char* libName, const char* file, const char* func,
                              int line, const char* version, const char* format, ...)
    __attribute__((format(printf, 7, 8)));
/// Writes the line prefix into `buf` (at most `size` bytes with the terminator) and returns its
/// length; 0 while a line is still open (no prefix); -1 without console options. `now`, if given,
/// receives the time used.
KERNA_API int Kerna_logOptionControl(char* buf, int size, int level, const char* libName,
                                     const char* file, const char* func, int line,
                                     const char* version, Tessaran::Kerna::TimeRecord* now);
/// Writes `text` to standard output. `level` is not used.
KERNA_API void Kerna_print(int level, const char* text);
/// Restores the console colour after a complete line.
KERNA_API void Kerna_resetcolor();
/// The console copy of the print switches (a PrintOptions).
KERNA_API void* Kerna_getPrintOption();
}

#endif  // KERNA_KERNA3_PRINTLOG_H_

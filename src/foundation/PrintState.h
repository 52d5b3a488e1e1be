// PrintState.h
//
// The process-wide state of the print path, for the units that change it (log control, the
// switches of the logfilter language) and for the hot-path level test. The values here are
// constant-initialised, so they are valid before any start-up code runs; the maps and lists with
// their locks are process-wide objects made on first use.
#ifndef KERNA_SRC_FOUNDATION_PRINTSTATE_H_
#define KERNA_SRC_FOUNDATION_PRINTSTATE_H_

#include <atomic>
#include <cstdarg>
#include <map>
#include <string>

#include "base/Log.h"
#include "kerna/kerna3/PrintLog.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// Line state of the console layer.
extern std::atomic<int> g_lineComplete;
extern std::atomic<int> g_colorReset;
/// The record setPrintOptions and getPrintOptions work on, and the console copy (whose address
/// Kerna_getPrintOption gives). Written only through the functions below; a reader gets one
/// consistent record without a lock (a count of writes tells it to read again when a writer was
/// at work meanwhile), so a line never mixes options of two settings.
PrintOptions readPrintOptions();
/// The console copy's switches (its reserved bytes read as zero).
PrintOptions readConsoleOptions();
/// The switches of both records as they were at one moment (a line is built from one setting of
/// them); the reserved bytes read as zero.
void readOptionRecords(PrintOptions& record, PrintOptions& console);
/// The console copy's noColor switch alone.
bool consoleNoColor();
PrintOptions* consoleOptionsRecord();
/// Writes the record and the 13 used bytes of the console copy.
void writePrintOptions(const PrintOptions& options);
/// Writes one switch in both records.
void writePrintOption(bool PrintOptions::*field, bool value);
/// Module statistics on or off.
extern std::atomic<bool> g_moduleStatistics;

/// Names a module on (true) or off (false) in the module map and marks the filter as used.
void setModuleEnabled(const std::string& libName, bool on);
/// Forgets every module named so far.
void clearModules();
/// The module test: passes when the switch is not "filtered", no module was named, the name is
/// null or not in the map; else the map decides.
bool modulePasses(const char* libName);
/// A copy of the module map.
std::map<std::string, bool> moduleMap();
/// Turns module statistics on or off; turning them off forgets the counts.
void setModuleStatistics(bool on);
/// Adds `length` bytes to `libName`'s count (saturating at 0xFFFFFFFF).
void addStatistics(const char* libName, uint64_t length);

/// The log file step of a line: hands the line to the installed writer while a log path is
/// set; does nothing otherwise.
void writeLogFile(const char* line, int length, const TimeRecord& now);

/// The writer of the log files, which stands on a floor above the print path and installs
/// itself here (the start-up unit does it before anything prints). It takes the line, its
/// length and the time the line was stamped with.
typedef void (*LogFileWriterEntry)(const char* line, int length, const TimeRecord& now);
void installLogFileWriter(LogFileWriterEntry entry);

/// Keeps back what the calling thread prints while the object lives: every line printed on
/// this thread meanwhile (through logFilter and the library's own lines) is kept as bare text,
/// as a print from inside a print is, and goes to standard output when the object goes. The log
/// file writer holds its lock inside such an object, so that a line of its own (or of a file
/// table it calls) never prints under the lock, never comes back into the writer and never
/// reaches the log file. Inside another such object on the same thread, the outer one keeps the
/// lines. errno is kept across add.
class HeldLines {
public:
    HeldLines();
    ~HeldLines();
    HeldLines(const HeldLines&) = delete;
    HeldLines& operator=(const HeldLines&) = delete;
    void add(const char* format, va_list args) __attribute__((format(printf, 2, 0)));
    void addf(const char* format, ...) __attribute__((format(printf, 2, 3)));

private:
    HeldLines* m_outer;
    bool m_setFlag;
    std::string m_text;
};

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_FOUNDATION_PRINTSTATE_H_

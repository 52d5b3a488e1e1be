// LogSettings.h
//
// The log file settings that `logfilter` commands change and the log file writer reads: path
// and search pattern, size and number limits, the naming mode. Kept under one lock of their own,
// held only while the settings are copied in or out; readers take a snapshot and never hold this
// lock while they hold another one of the print path.
#ifndef KERNA_SRC_FOUNDATION_LOGSETTINGS_H_
#define KERNA_SRC_FOUNDATION_LOGSETTINGS_H_

#include <cstdint>
#include <string>

namespace Tessaran {
namespace Kerna {
namespace Detail {

struct LogFileSettings {
    std::string path;           ///< file name stem; empty: no log file
    std::string directory;      ///< search pattern for the existing log files, from the path
    int32_t maxSize = 0;        ///< bytes; 0: no limit
    int32_t maxNumber = 0;      ///< log files kept; 0: no limit
    bool oldWay = true;         ///< true: one file at the path; false: numbered files
    bool byDay = false;         ///< numbered files change with the date
    bool fileNameTime = false;  ///< false: date alone in file names; true: date and time of day
    uint32_t generation = 0;    ///< counts the changes, so a writer can notice a new setting
};

/// A copy of the settings, taken under their lock.
LogFileSettings logFileSettings();

/// The generation of the settings, read without the lock: a writer that has seen it already
/// needs no new snapshot.
uint32_t logFileSettingsGeneration();

/// True while a log path is set; a relaxed read without the lock, for the per-line test.
bool logFileEnabled();

/// Puts every setting back to its default (for tests).
void resetLogFileSettings();

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_FOUNDATION_LOGSETTINGS_H_

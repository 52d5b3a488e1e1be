// LogFileName.h
//
// Names of numbered log files: the log path followed by "_%04d-%02d-%02d_%d" (year, month, day,
// index) or, with the time of day in names, "_%04d-%02d-%02d-%02d-%02d-%02d_%d". The suffix
// has at most 31 characters.
#ifndef KERNA_SRC_LOGFILE_LOGFILENAME_H_
#define KERNA_SRC_LOGFILE_LOGFILENAME_H_

#include <cstdint>
#include <string>

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// The date (and time of day) that names a log file.
struct LogFileStamp {
    int32_t year;
    int32_t month;
    int32_t day;
    int32_t hour;
    int32_t minute;
    int32_t second;
};

/// The suffix for `stamp` and `index`, cut at 31 characters.
std::string logFileSuffix(const LogFileStamp& stamp, bool withTime, int32_t index);

/// Reads `name` as `path` followed by the suffix format, as scanf reads a number ("%04d": blanks,
/// a sign and up to four characters; "%d" up to the first non-digit); text behind the index is
/// ignored. True with stamp and index when every field was read. An index beyond 32 bits does
/// not read.
bool parseLogFileName(const char* name, const std::string& path, bool withTime, LogFileStamp& stamp,
                      int32_t& index);

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_LOGFILE_LOGFILENAME_H_

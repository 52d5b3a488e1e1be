// LogFileWriter.h
//
// The log file writer: installed into the print path's log file step by the start-up unit.
#ifndef KERNA_SRC_LOGFILE_LOGFILEWRITER_H_
#define KERNA_SRC_LOGFILE_LOGFILEWRITER_H_

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// Installs the writer into the print path. The writer itself is made at the first line that
/// reaches it.
void startLogFileWriter();

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_LOGFILE_LOGFILEWRITER_H_

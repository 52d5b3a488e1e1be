// LogFile.cpp
//
// The log file step of the print path. Lines go to a file only once a log path is set; the
// writer with rotation and dated files comes with the log-file subsystem. Until then no path can
// be set, so the step has nothing to do.
#include "foundation/PrintState.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

void writeLogFile(const char* /*line*/, int /*length*/, const TimeRecord& /*now*/) {}

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

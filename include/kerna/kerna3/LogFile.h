// LogFile.h
//
// The log files behind the print path. While a log path is set (logfilter -logpath), every line
// that the print path writes is also appended to a log file, flushed line by line: either one
// file at the log path, emptied when it reaches its size limit (-logsavesetting none, the
// default), or numbered files "<path>_yyyy-mm-dd_N" (with -logsavesetting filenametime sec,
// "<path>_yyyy-mm-dd-hh-mm-ss_N") that change when the size limit is reached (bysize) or the date
// changes (byday on), the oldest removed when there are more than the maximum number. After a
// restart, lines go on in the newest existing file unless its date or size asks for a new one.
//
// A failure of the file side prints a line on standard output (never into a log file) and the
// line is not written to the file; the next line tries again. The console, the printer and the
// listeners are not affected.
#ifndef KERNA_KERNA3_LOGFILE_H_
#define KERNA_KERNA3_LOGFILE_H_

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {

/// Closes the log file if one is open; the next line opens it again (for numbered files, the
/// newest one). Meant for the end of the program, when no other thread logs; a line that comes
/// meanwhile waits for it, and a call from a file table while it writes a line closes the file
/// after that line.
KERNA_API void logCleanup();

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_LOGFILE_H_

// LogControl.h
//
// The control side of the print path: the `logfilter` command language, which an application
// forwards word by word to setLogFilter, and a hexadecimal dump of memory through logTrace.
// The commands change the print level, the per-module filter, the module statistics, four of
// the print switches, and the settings of the log files (path, size and number limits, naming).
#ifndef KERNA_KERNA3_LOGCONTROL_H_
#define KERNA_KERNA3_LOGCONTROL_H_

#include <cstddef>

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {

/// Runs one `logfilter` command; `argv[0]` is the first switch (not the word "logfilter").
/// With no words, or the single word "-h", prints the usage text on standard output and changes
/// nothing. Switches are compared exactly, the words behind them ("on", "off", "none", "byday",
/// "bysize", "filenametime", "day", "sec") without regard to case:
///   -loglevel N                 print level N (no range test)
///   -logmodule NAME on|off      filter NAME in or out, the per-module filter in force
///   -logmodule on|off           all modules on (the module map is kept) or printing off
///   -logtime|-logthread|-logversion on|off   show or hide time, thread id, version
///   -logfunction on|off         "on" hides the function name, "off" shows it
///   -logpath PATH               log file path; "" cancels; a path ending in "/" or "\\" is
///                               refused (message on standard output) and cancels
///   -logsize KB                 maximum log file size; 0, negative or overflowing: no limit
///   -logmodulestatistics on|off byte counts per library name
///   -logsavesetting none | byday on|off N | bysize KB N | filenametime day|sec
/// A command that fits none of these (also one that lacks a word it needs) does nothing.
/// Settings are plain process-wide values: lines printed afterwards see them.
KERNA_API void setLogFilter(int argc, char* const* argv);

/// Dumps `length` bytes at `data` through logTrace, 16 bytes a row: the address, the bytes in
/// hexadecimal, then as text ("." for bytes below 32 and from 123 up). An empty line follows
/// each 512-byte block. Prints nothing for 0 bytes; a null `data` with a length is refused with
/// a line at level 2.
KERNA_API void dumpHex(unsigned char* data, size_t length);

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_LOGCONTROL_H_

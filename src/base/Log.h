// Log.h
//
// How library code reports: KERNA_LOG prints at a level with the library name and version
// "Unknown", the source file without folder and extension, the function with its namespace and
// class, and the line. Below the print level it costs two integer tests. KERNA_ASSERT and
// KERNA_ASSERT_MSG end the process through the assertion reports of the print path, naming the
// full function signature.
//
// No line is printed while a library lock is held: a printer or listener may do anything,
// including calling the library again from another thread and waiting for it. Code that may
// print under a lock opens a LinesAfterLock scope before it takes the lock; KERNA_LOG then builds each
// line (the message with its values as they are under the lock) and keeps it, and the scope
// prints the kept lines, in order, when it ends after the lock has been left.
#ifndef KERNA_SRC_BASE_LOG_H_
#define KERNA_SRC_BASE_LOG_H_

#include <atomic>
#include <cstdio>

#include "kerna/kerna3/PrintLog.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// Module switch values.
enum ModuleSwitch { moduleAllOff = 0, moduleFiltered = 1, moduleAllOn = 2 };

/// The print level and the module switch: plain process-wide values (relaxed atomics), kept
/// here so that every floor of the library can test them before it builds a line.
extern std::atomic<int> g_printLevel;
extern std::atomic<int> g_moduleSwitch;

/// The two integer tests of a print call: level within the print level and printing not off.
inline bool printWouldPass(int level) {
    return level <= g_printLevel.load(std::memory_order_relaxed) &&
           g_moduleSwitch.load(std::memory_order_relaxed) != moduleAllOff;
}

/// logFilter with the library's own name and version, the function name taken from a
/// __PRETTY_FUNCTION__ text and the file name from a __FILE__ text.
int logAt(int level, const char* file, const char* prettyFunction, int line, const char* format, ...)
    __attribute__((format(printf, 5, 6)));

struct LineAfterLock;

/// Per thread: how many LinesAfterLock scopes are open and the lines kept so far. A scope is opened
/// around every timer call, so the state sits in the initial thread-local block, reached
/// without a call (the library's thread-local data is a few dozen bytes, well within what the
/// system keeps for a library loaded later).
struct LinesAfterLockState {
    int depth;
    LineAfterLock* first;
    LineAfterLock** end;
};
extern __attribute__((tls_model("initial-exec"))) thread_local LinesAfterLockState t_linesAfterLock;

/// Prints the kept lines of the calling thread, in order.
void printLinesAfterLock();

/// Writes the kept lines of the calling thread, in order and as they are, to `stream` alone
/// (no printer, listener or log file), and forgets them: for an end of the process that must
/// not lose them and must not wait for anything.
void writeLinesAfterLock(std::FILE* stream);

/// While one lives on a thread, the library's own lines (KERNA_LOG) of that thread are kept
/// instead of printed; the outermost scope of the thread prints them, in order, when it ends.
/// Open it before taking a lock under which something may print, so that it ends after the
/// lock is left.
class LinesAfterLock {
public:
    LinesAfterLock() { ++t_linesAfterLock.depth; }
    ~LinesAfterLock() {
        if (--t_linesAfterLock.depth == 0 && t_linesAfterLock.first != nullptr) printLinesAfterLock();
    }
    LinesAfterLock(const LinesAfterLock&) = delete;
    LinesAfterLock& operator=(const LinesAfterLock&) = delete;
};

/// "Tessaran::Utils::CMd5::final" from "void Tessaran::Utils::CMd5::final(unsigned char*)":
/// without return type and parameters. Writes into `out` (always terminated) and returns it.
const char* functionName(const char* prettyFunction, char* out, unsigned size);

/// "Md5" from "/path/src/utils/Md5.cpp". Writes into `out` (always terminated) and returns it.
const char* sourceName(const char* file, char* out, unsigned size);

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#define KERNA_LOG(level, ...)                                                             \
    do {                                                                                  \
        if (::Tessaran::Kerna::Detail::printWouldPass(level))                             \
            ::Tessaran::Kerna::Detail::logAt(level, __FILE__, __PRETTY_FUNCTION__, __LINE__, \
                                             __VA_ARGS__);                                \
    } while (0)

#define KERNA_ASSERT(expr)                                                                      \
    ((expr) ? (void)0                                                                           \
            : ::Tessaran::Kerna::Detail::assertionFailed(#expr, __PRETTY_FUNCTION__, __FILE__, \
                                                         __LINE__))

#define KERNA_ASSERT_MSG(expr, message)                                                      \
    ((expr) ? (void)0                                                                        \
            : ::Tessaran::Kerna::Detail::assertionFailedMsg(#expr, message, __PRETTY_FUNCTION__, \
                                                            __FILE__, __LINE__))

#endif  // KERNA_SRC_BASE_LOG_H_

// Fork.h
//
// Private platform interface: the library's work around fork(), and the process lock.
//
// A forked child has one thread, the one that called fork(), and a copy of every lock as the
// other threads left it. So that the child can go on using the library, each subsystem registers
// handlers that run around every fork(): `prepare` in the parent before the fork takes the
// subsystem's process-wide locks (so that none is caught in the middle of a change), `parent`
// after the fork gives them back, and `child` in the child puts the subsystem right: it makes its
// locks free again (a re-enterable lock held by the forking thread can't simply be left there,
// since the thread has a new identifier) and forgets the threads that did not come along.
//
// Handlers run in the order of their rank: `prepare` from the lowest rank to the highest, which
// must be the order in which the library nests its locks (outer locks first); `parent` and
// `child` from the highest rank to the lowest. Before any handler of the child runs, the calling
// thread's cached identifier is refreshed and the process lock is free again.
//
// The process lock is the one lock under which process-wide objects are built and handlers are
// registered. A fork waits for it before anything else, so no object is half built in a child.
#ifndef KERNA_SRC_PLATFORM_FORK_H_
#define KERNA_SRC_PLATFORM_FORK_H_

#include <cstdint>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

/// Ranks of the library's fork handlers, outer locks first.
enum ForkRank {
    forkRankTimers = 200,        ///< the timer manager's lock and its worker pool
    forkRankLoadControl = 300,   ///< the load controller's lock
    forkRankRegistry = 400,      ///< the thread registry (and, in the child, the thread objects)
    forkRankPackets = 450,       ///< packet memory
    forkRankLogFile = 470,       ///< the log file writer (outside the file tables' locks)
    forkRankFiles = 480,         ///< the file tables' hook rows, the older interface's rows
    forkRankPrint = 500,         ///< the print path's locks, log settings, the message table
    forkRankWallClock = 550,     ///< a wall clock's own lock (read by the print path)
    forkRankRecursive = 600,     ///< the owners of CRecursiveMutex objects
    forkRankThreads = 900,       ///< the platform's thread records
};

using ForkStep = void (*)();

/// Registers fork handlers (any of them may be null). The library asks the system once for
/// its fork hooks, at the first registration. At most 32 registrations; false beyond.
bool addForkHandlers(int rank, ForkStep prepare, ForkStep parent, ForkStep child);

/// In a child's handlers and afterwards: the identifier the calling thread had in the parent.
/// 0 in a process that is no forked child.
uint32_t threadIdBeforeFork();

/// The process lock (re-enterable by its holder).
void enterProcessLock();
void leaveProcessLock();

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_FORK_H_

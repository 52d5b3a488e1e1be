// TimerInternal.h
//
// The timer list and its worker pool, private to the library and its tests: TimerInternal (one
// armed or idle timer, linked into the sorted list and its ordered index), CTimerThread (a
// pooled worker) and TimerManagerInternal (the manager thread, the list and the pool under one
// recursive lock).
//
// The manager is a process-wide object: built once, never freed. At process exit it stops its
// thread and its idle workers; the list stays, so that timers started or stopped by threads
// that still run go on answering (none is handed over any more). In a forked child the workers
// of the parent are gone: the pool starts empty (a worker that forked in its callback stays),
// no timer is armed (the parent's stay in the parent), and the manager's thread starts again
// when the child first arms a timer.
#ifndef KERNA_SRC_THREADS_TIMERINTERNAL_H_
#define KERNA_SRC_THREADS_TIMERINTERNAL_H_

#include <atomic>
#include <cstdint>

#include "base/ProcessObject.h"
#include "kerna/kerna3/Function.h"
#include "kerna/kerna3/RecursiveMutex.h"
#include "kerna/kerna3/Semaphore.h"
#include "kerna/kerna3/Thread.h"
#include "kerna/kerna3/Timer.h"

namespace Tessaran {
namespace Kerna {

class CTimerThread;

/// One timer. Every field but the atomics is guarded by the manager's mutex.
class TimerInternal {
public:
    uint64_t runTime = 0;   ///< microseconds spent in callbacks while statistics are on
    uint64_t nextTime = 0;  ///< next due time, in the manager's milliseconds
    uint64_t callTime = 0;  ///< manager's milliseconds at the last hand-over
    uint32_t period = 0;    ///< 0: one-shot
    uint32_t timeout = 0;   ///< watch-dog of each call; 0: none
    TFunction1<void, unsigned long> procValue;
    TFunction1<void, void*> procPointer;
    uint64_t param = 0;
    char name[32] = {};
    std::atomic<bool> started{false};
    std::atomic<bool> called{false};
    TimerInternal* prev = nullptr;
    TimerInternal* next = nullptr;
    std::atomic<CTimerThread*> thread{nullptr};
    std::atomic<bool> statEnabled{false};

    // The ordered index beside the list: a tree on (nextTime ascending, order descending) whose
    // in-order walk is the list, balanced by a heap on `priority` (a treap).
    TimerInternal* left = nullptr;
    TimerInternal* right = nullptr;
    TimerInternal* parent = nullptr;
    uint64_t order = 0;     ///< the manager's count of insertions when this one was inserted
    uint32_t priority = 0;  ///< drawn from `order`; a parent's is at least its children's
};

/// A pooled worker: sleeps on its semaphore until a timer is handed to it.
class CTimerThread : public CThread {
public:
    explicit CTimerThread(TimerManagerInternal& manager);
    ~CTimerThread() override;
    /// Asks the body to end: clears the loop flag, sets `exit` and wakes it. Does not wait.
    void finish();

    TFunction1<void, unsigned long> procValue;
    TFunction1<void, void*> procPointer;
    uint64_t param = 0;
    CSemaphore semaphore;
    CTimerThread* next = nullptr;         ///< idle link
    CTimerThread* nextWorker = nullptr;   ///< link of the list of all workers
    TimerInternal* timer = nullptr;       ///< the timer in hand, under the manager's mutex
    std::atomic<bool> exit{false};

protected:
    void threadProc() override;

private:
    TimerManagerInternal& m_manager;
};

/// The manager thread, the sorted timer list and the worker pool.
class TimerManagerInternal : public CThread {
public:
    static TimerManagerInternal* instance();
    TimerManagerInternal();
    void published() {}
    /// Stops the manager's thread and the idle workers; no timer is handed over afterwards.
    void atProcessExit();

    CTimerThread* idleHead = nullptr;
    uint64_t now;                 ///< the manager's milliseconds, read once per pass
    TimerInternal* timerHead = nullptr;
    CRecursiveMutex mutex;        ///< one lock for timers, list and pool
    int idleLimit = -1;
    int idleCount = 0;
    int runningLimit = 0;
    int runningCount = 0;
    uint64_t lostOneShots = 0;    ///< one-shot hand-overs spent without a call (previous call ran)

    /// Inserts before the first timer due at or after `timer` (newest first among equals). The
    /// place is found through the ordered index, or by walking the list from its head while the
    /// reference paths are forced (Detail::setReferencePathsOnly); both give the same list.
    void insert(TimerInternal* timer);
    void unlink(TimerInternal* timer);
    /// For tests: whether the index is in use, and if so that its in-order walk is the list and
    /// its links, order and balance hold.
    bool indexHolds() const;
    bool indexInUse() const { return m_indexed; }
    /// Steps 4 and 5 of a pass at the current `now`, under `mutex`: hands the head of the list
    /// over if it is due (strictly below `now`). True when another due timer waits and no limit
    /// holds it: the next pass then neither sleeps nor reads the clock.
    bool handDue();
    /// Hands `timer` to a worker; see the class comment of CTimer for the results.
    bool handOver(TimerInternal* timer, bool force);
    /// Starts the manager's thread again where it does not run (in a forked child), unless the
    /// process exits. Under `mutex`, inside a LinesAfterLock scope.
    void keepRunning();
    /// Puts a worker back on the idle stack and trims the stack to idleLimit. Entered with
    /// `mutex` held once; leaves it.
    void putTimerThread(CTimerThread* thread);
    bool limitReached() const { return runningLimit >= 1 && runningCount >= runningLimit; }
    void dumpTimers();

    /// For tests that start the monotonic clock again (its test seam): the manager's thread and
    /// the idle workers are replaced by new threads, which hold no reading of the old clock.
    void startAfresh();
    /// For tests: make new workers fail to start, as when the system has no thread to give.
    void failWorkerStart(bool fail) { m_failWorkerStart.store(fail); }
    /// For tests: the number of workers made so far.
    int workersMade() const { return m_workersMade.load(); }

    /// The CTimerManager object, for CTimerManager::instance.
    static CTimerManager* makeFacade();

protected:
    void threadProc() override;

private:
    CTimerThread* takeWorker();
    void forgetWorker(CTimerThread* worker);
    /// Takes every idle worker off the pool (under `mutex`); endWorkers then ends them.
    CTimerThread* takeIdleWorkers();
    static void endWorkers(CTimerThread* workers);
    static void afterForkInChild();

    std::atomic<bool> m_failWorkerStart{false};
    std::atomic<int> m_workersMade{0};
    void insertIndexed(TimerInternal* timer, TimerInternal** before, TimerInternal** after);
    void eraseIndexed(TimerInternal* timer);
    void rotateUp(TimerInternal* child);
    /// Puts `by` where `old` hung under `parent` (at the root when `parent` is null).
    void replaceChild(TimerInternal* parent, TimerInternal* old, TimerInternal* by);
    /// Leaves the index behind (the reference paths keep the list alone).
    void dropIndex();
    /// Builds the index again from the list, numbering the timers so that it keeps their order.
    void rebuildIndex();
    /// Sleeps to the next point of the manager's 10 ms grid of the monotonic clock.
    void waitForGrid();

    TimerInternal* m_root = nullptr;  ///< the index, under `mutex`
    uint64_t m_orders = 0;            ///< insertions counted, under `mutex`
    bool m_indexed = false;           ///< the index holds every timer of the list
    uint64_t m_gridNext = 0;          ///< the next wake, in counts of the platform's clock
    bool m_noWorker = false;  ///< the last hand-over found no worker: sleep before the next try
    bool m_exited = false;    ///< the exit routine has run: nothing is handed over any more
    CTimerThread* m_workers = nullptr;  ///< every worker, idle or busy, under `mutex`
};

namespace Detail {
template <>
struct ProcessObjectName<TimerManagerInternal> {
    static constexpr const char* value = "Tessaran::Kerna::TimerManagerInternal::instance";
};
}  // namespace Detail

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_THREADS_TIMERINTERNAL_H_

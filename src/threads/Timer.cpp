// Timer.cpp
//
// Timers on a pooled worker set. One manager thread wakes on a 9 ms grid of the monotonic
// clock (no more than 10 ms between two passes), reads the clock once and hands the due timer
// at the head of the sorted list to an idle worker (making one when none is idle). A backlog is
// worked off one timer per pass without a sleep, at the same `now`.
// Periodic timers stay on the grid of their first due time: missed ticks are skipped. Callbacks
// run on the worker with no library lock held, and no line is printed under the lock: each is
// built there and printed once the lock is left.
#include "kerna/kerna3/Timer.h"

#include <cstring>

#include "base/Log.h"
#include "base/ReferencePaths.h"
#include "base/ProcessObject.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/PrintLog.h"
#include "kerna/kerna3/Time.h"
#include "platform/Clock.h"
#include "platform/Fork.h"
#include "sync/MutexAccess.h"
#include "threads/TimerInternal.h"

namespace Tessaran {
namespace Kerna {

namespace {

const int managerPeriodMs = 10;
const uint64_t msTicks = Detail::Platform::monotonicFrequency / 1000;
// The manager's passes lie 9 ms apart on the clock's milliseconds, so that no two passes are
// 10 ms apart or more. A timer is due once `now` has passed its due time, and a hand-over skips
// every tick at or below `now`; a timer armed from a pass's `now` has its ticks on that pass's
// millisecond. With passes exactly 10 ms apart such a timer of 10 ms would meet a pass just on
// each tick (not yet due) and the next one 10 ms later, which skips the tick then reached: one
// tick in two lost. With at most 9 ms between passes, a timer of 10 ms or more loses no tick.
const int gridPeriodMs = 9;
const uint64_t gridTicks = gridPeriodMs * msTicks;     // the grid's period on the counter
const uint64_t gridOffsetTicks = msTicks / 10;         // where a point lies in its millisecond
const int managerWatchdogMs = 10000;
const char* const pooledName = "[Pooled]";

struct TimerManagerFacade {
    CTimerManager* facade = TimerManagerInternal::makeFacade();
    void published() {}
    void atProcessExit() {}
};

void copyName(char (&out)[32], const char* name) {
    std::memset(out, 0, sizeof out);
    if (name != nullptr) std::strncpy(out, name, sizeof out - 1);
}

bool doNothing(const char*) { return true; }

}  // namespace

namespace Detail {
template <>
struct ProcessObjectName<TimerManagerFacade> {
    static constexpr const char* value = "Tessaran::Kerna::CTimerManager::instance";
};
}  // namespace Detail

// ---- the worker ----------------------------------------------------------------------------

CTimerThread::CTimerThread(TimerManagerInternal& manager)
    : CThread(pooledName, 64, 0, 0), semaphore(0), m_manager(manager) {}

CTimerThread::~CTimerThread() {
    // The body uses the semaphore and the exit flag: it must be over before they go.
    if (!isThreadOver()) finish();
    while (!isThreadOver()) CThread::sleep(1);
}

void CTimerThread::finish() {
    cancelThread();
    exit.store(true);
    semaphore.post();
}

void CTimerThread::threadProc() {
    while (looping()) {
        semaphore.pend();
        if (exit.load()) break;
        TimerInternal* inHand = timer;  // set by the hand-over before the post
        const bool stat = inHand != nullptr && inHand->statEnabled.load();
        const unsigned long long begin = stat ? CTime::getCurrentMicroSecond() : 0;
        if (!procValue.empty()) procValue(static_cast<unsigned long>(param & 0xFFFFFFFFull));
        if (!procPointer.empty()) procPointer(reinterpret_cast<void*>(param));
        setTimeout(0);
        setThreadName(pooledName);

        Detail::LinesAfterLock held;  // lines of the return to the pool wait until the lock is left
        m_manager.mutex.enter();
        if (timer != nullptr) {
            if (stat && timer->statEnabled.load()) timer->runTime += CTime::getCurrentMicroSecond() - begin;
            timer->thread.store(nullptr);
            timer = nullptr;
        }
        m_manager.putTimerThread(this);
    }
}

// ---- the manager ---------------------------------------------------------------------------

TimerManagerInternal::TimerManagerInternal()
    : CThread("TimerManager", 1, 0, 0), now(CTime::getCurrentMilliSecond()) {
    using Steps =
        Detail::LockAroundFork<TimerManagerInternal, CRecursiveMutex, &TimerManagerInternal::mutex>;
    Detail::Platform::addForkHandlers(Detail::Platform::forkRankTimers, &Steps::prepare,
                                      &Steps::parent, &afterForkInChild);
    createThread();
}

TimerManagerInternal* TimerManagerInternal::instance() {
    return Detail::ProcessObject<TimerManagerInternal>::get();
}

void TimerManagerInternal::atProcessExit() {
    CTimerThread* idle;
    {
        Detail::LinesAfterLock held;
        CRecursiveGuard guard(mutex);
        m_exited = true;
        idle = takeIdleWorkers();
    }
    // Workers in a callback are left alone: they come back to the pool and wait there.
    if (!isThreadOver()) destroyThread();
    endWorkers(idle);
}

void TimerManagerInternal::startAfresh() {
    CTimerThread* idle;
    {
        Detail::LinesAfterLock held;
        CRecursiveGuard guard(mutex);
        idle = takeIdleWorkers();
    }
    endWorkers(idle);
    destroyThread();
    createThread();
}

CTimerThread* TimerManagerInternal::takeIdleWorkers() {
    CTimerThread* idle = idleHead;
    idleHead = nullptr;
    idleCount = 0;
    for (CTimerThread* worker = idle; worker != nullptr; worker = worker->next) forgetWorker(worker);
    return idle;
}

void TimerManagerInternal::endWorkers(CTimerThread* workers) {
    while (workers != nullptr) {
        CTimerThread* following = workers->next;
        delete workers;  // asks the body to end once, and waits for it
        workers = following;
    }
}

void TimerManagerInternal::keepRunning() {
    if (!m_exited && isThreadOver()) createThread();
}

void TimerManagerInternal::forgetWorker(CTimerThread* worker) {
    for (CTimerThread** link = &m_workers; *link != nullptr; link = &(*link)->nextWorker) {
        if (*link == worker) {
            *link = worker->nextWorker;
            worker->nextWorker = nullptr;
            return;
        }
    }
}

// The registry has already marked the threads that did not come along as over. Their workers
// go (a timer they were calling is no longer running); a worker that forked from its callback
// stays busy with it. The child starts with no timer armed: a timer armed in the parent belongs
// to the parent's threads, whose objects and stacks the child does not have (the system hands
// their stacks to the child's new threads). The manager's thread starts again at the next arming.
void TimerManagerInternal::afterForkInChild() {
    TimerManagerInternal* m = Detail::ProcessObject<TimerManagerInternal>::peek();
    if (m == nullptr) return;
    Detail::LinesAfterLock held;
    while (m->timerHead != nullptr) {
        TimerInternal* timer = m->timerHead;
        m->unlink(timer);
        timer->started.store(false);
    }
    const int self = CThread::getCurrentThreadID();
    CTimerThread* kept = nullptr;
    int busy = 0;
    CTimerThread* worker = m->m_workers;
    while (worker != nullptr) {
        CTimerThread* following = worker->nextWorker;
        if (worker->getThreadID() == self && !worker->isThreadOver()) {
            worker->nextWorker = kept;
            kept = worker;
            busy += worker->timer != nullptr ? 1 : 0;
        } else {
            if (worker->timer != nullptr) worker->timer->thread.store(nullptr);
            worker->timer = nullptr;
            delete worker;  // its thread is over: nothing to wait for
        }
        worker = following;
    }
    m->m_workers = kept;
    m->idleHead = nullptr;
    m->idleCount = 0;
    m->runningCount = busy;
    m->mutex.leave();
}

// The list is the reference: sorted by nextTime, the newest first among equal due times. The
// index beside it finds a place in logarithmic time: a tree ordered by (nextTime ascending,
// order descending), where `order` counts insertions, so that a timer inserted later stands
// before the ones due at the same time, as the walk puts it. Its in-order neighbours of a new
// leaf are the list neighbours: the last node passed on the right and the last on the left.
void TimerManagerInternal::insert(TimerInternal* timer) {
    TimerInternal* prev = nullptr;
    TimerInternal* cur = timerHead;
    if (!Detail::referencePathsOnly()) {
        if (!m_indexed) rebuildIndex();
        timer->order = ++m_orders;
        cur = nullptr;
        insertIndexed(timer, &prev, &cur);
    } else {
        dropIndex();
        while (cur != nullptr && cur->nextTime < timer->nextTime) {
            prev = cur;
            cur = cur->next;
        }
    }
    timer->prev = prev;
    timer->next = cur;
    if (cur != nullptr) cur->prev = timer;
    if (prev != nullptr) {
        prev->next = timer;
    } else {
        timerHead = timer;
    }
}

void TimerManagerInternal::unlink(TimerInternal* timer) {
    if (timer->prev == nullptr && timer->next == nullptr && timerHead != timer) return;
    if (m_indexed) {
        if (Detail::referencePathsOnly()) {
            dropIndex();
        } else {
            eraseIndexed(timer);
        }
    }
    if (timer->prev != nullptr) {
        timer->prev->next = timer->next;
    } else {
        timerHead = timer->next;
    }
    if (timer->next != nullptr) timer->next->prev = timer->prev;
    timer->prev = timer->next = nullptr;
}

namespace {

// Heap priorities: a mix of the insertion count (the finaliser of splitmix64), spread evenly
// and the same from run to run.
uint32_t priorityOf(uint64_t order) {
    uint64_t z = order * 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return static_cast<uint32_t>((z ^ (z >> 31)) >> 32);
}

// Whether `a` stands before `b` in the list.
inline bool standsBefore(const TimerInternal* a, const TimerInternal* b) {
    return a->nextTime < b->nextTime || (a->nextTime == b->nextTime && a->order > b->order);
}

}  // namespace

void TimerManagerInternal::insertIndexed(TimerInternal* timer, TimerInternal** before,
                                         TimerInternal** after) {
    timer->priority = priorityOf(timer->order);
    timer->left = timer->right = timer->parent = nullptr;
    TimerInternal** link = &m_root;
    TimerInternal* parent = nullptr;
    while (*link != nullptr) {
        parent = *link;
        if (standsBefore(timer, parent)) {
            *after = parent;
            link = &parent->left;
        } else {
            *before = parent;
            link = &parent->right;
        }
    }
    timer->parent = parent;
    *link = timer;
    while (timer->parent != nullptr && timer->parent->priority < timer->priority) rotateUp(timer);
}

void TimerManagerInternal::eraseIndexed(TimerInternal* timer) {
    while (timer->left != nullptr && timer->right != nullptr) {
        rotateUp(timer->left->priority > timer->right->priority ? timer->left : timer->right);
    }
    TimerInternal* child = timer->left != nullptr ? timer->left : timer->right;
    TimerInternal* parent = timer->parent;
    if (child != nullptr) child->parent = parent;
    replaceChild(parent, timer, child);
    timer->left = timer->right = timer->parent = nullptr;
}

void TimerManagerInternal::replaceChild(TimerInternal* parent, TimerInternal* old, TimerInternal* by) {
    if (parent == nullptr) {
        m_root = by;
    } else if (parent->left == old) {
        parent->left = by;
    } else {
        parent->right = by;
    }
}

// Turns the edge between `child` and its parent, keeping the in-order walk.
void TimerManagerInternal::rotateUp(TimerInternal* child) {
    TimerInternal* parent = child->parent;
    TimerInternal* grand = parent->parent;
    if (parent->left == child) {
        parent->left = child->right;
        if (child->right != nullptr) child->right->parent = parent;
        child->right = parent;
    } else {
        parent->right = child->left;
        if (child->left != nullptr) child->left->parent = parent;
        child->left = parent;
    }
    parent->parent = child;
    child->parent = grand;
    replaceChild(grand, parent, child);
}

void TimerManagerInternal::dropIndex() {
    m_root = nullptr;
    m_indexed = false;
}

// Numbers the timers afresh, from the head down, so that among equal due times the earlier in
// the list has the higher number, as the tree orders them; later insertions count on from there.
void TimerManagerInternal::rebuildIndex() {
    m_root = nullptr;
    uint64_t count = 0;
    for (TimerInternal* t = timerHead; t != nullptr; t = t->next) ++count;
    uint64_t order = m_orders + count;
    m_orders = order;
    for (TimerInternal* t = timerHead; t != nullptr; t = t->next) {
        t->order = order--;
        TimerInternal* before = nullptr;
        TimerInternal* after = nullptr;
        insertIndexed(t, &before, &after);
    }
    m_indexed = true;
}

bool TimerManagerInternal::indexHolds() const {
    if (!m_indexed) return m_root == nullptr;
    if (m_root != nullptr && m_root->parent != nullptr) return false;
    // In-order walk by the parent links, against the list.
    const TimerInternal* node = m_root;
    while (node != nullptr && node->left != nullptr) node = node->left;
    const TimerInternal* listed = timerHead;
    const TimerInternal* last = nullptr;
    while (node != nullptr) {
        if (node != listed) return false;
        if (last != nullptr && !standsBefore(last, node)) return false;
        for (const TimerInternal* c : {node->left, node->right}) {
            if (c != nullptr && (c->parent != node || c->priority > node->priority)) return false;
        }
        last = node;
        listed = listed->next;
        if (node->right != nullptr) {
            node = node->right;
            while (node->left != nullptr) node = node->left;
        } else {
            while (node->parent != nullptr && node->parent->right == node) node = node->parent;
            node = node->parent;
        }
    }
    return listed == nullptr;
}

CTimerThread* TimerManagerInternal::takeWorker() {
    if (idleHead != nullptr) {
        CTimerThread* worker = idleHead;
        idleHead = worker->next;
        worker->next = nullptr;
        --idleCount;
        return worker;
    }
    if (m_failWorkerStart.load()) return nullptr;
    CTimerThread* worker = new CTimerThread(*this);
    if (!worker->createThread()) {
        delete worker;
        return nullptr;
    }
    ++m_workersMade;
    worker->nextWorker = m_workers;
    m_workers = worker;
    return worker;
}

bool TimerManagerInternal::handOver(TimerInternal* timer, bool force) {
    if (m_exited) return false;  // the process exits: the timer stays as it is
    if (limitReached() && timer->thread.load() == nullptr && !force) return false;
    const uint64_t dueTime = timer->nextTime;
    unlink(timer);
    if (timer->period != 0) {
        while (timer->nextTime <= now) {
            timer->nextTime += static_cast<uint64_t>(timer->period) * ((now - timer->nextTime) / timer->period + 1);
        }
        insert(timer);
    } else {
        timer->started.store(false);
        timer->called.store(true);
    }
    if (timer->thread.load() != nullptr) {  // the previous call still runs: the tick is lost
        if (timer->period == 0) ++lostOneShots;
        return false;
    }
    timer->callTime = now;

    CTimerThread* worker = takeWorker();
    if (worker == nullptr) {
        // No thread to be had: put the tick back so that nothing is lost, and let the manager
        // sleep before it tries again.
        KERNA_LOG(2, "this:%p Timer:%s no worker thread could be started, the timer stays armed\n",
                  static_cast<void*>(timer), timer->name);
        unlink(timer);
        timer->nextTime = dueTime < now ? dueTime : now;
        insert(timer);
        timer->started.store(true);
        timer->called.store(false);
        m_noWorker = true;
        return false;
    }
    ++runningCount;
    timer->thread.store(worker);
    worker->setThreadName(timer->name);
    worker->setTimeout(static_cast<int>(timer->timeout));
    worker->procValue = timer->procValue;
    worker->procPointer = timer->procPointer;
    worker->param = timer->param;
    worker->timer = timer;
    worker->semaphore.post();
    return true;
}

void TimerManagerInternal::putTimerThread(CTimerThread* pThread) {
    KERNA_ASSERT(pThread);
    pThread->next = idleHead;
    idleHead = pThread;
    ++idleCount;
    --runningCount;
    CTimerThread* cut = nullptr;
    if (idleLimit >= 1 && idleCount > idleLimit) {
        CTimerThread* last = idleHead;
        for (int i = 1; i < idleLimit; ++i) last = last->next;
        cut = last->next;
        last->next = nullptr;
        idleCount = idleLimit;
        for (CTimerThread* worker = cut; worker != nullptr; worker = worker->next) {
            forgetWorker(worker);
        }
    }
    mutex.leave();
    endWorkers(cut);
}

// The manager's passes stand on a grid of the monotonic clock: each wake aims at an absolute
// point, so the time a pass takes and a late wake do not shift the passes after it. A point
// missed altogether (the thread got no processor for a whole period) is skipped, not made up by
// passes in a row. With the reference paths forced, the manager sleeps 10 ms after each pass
// instead, and its passes drift by the time each pass takes.
void TimerManagerInternal::threadProc() {
    // From here on `now` is read on this thread only, where the clock never falls. The value
    // taken at construction came from the loading thread.
    {
        Detail::LinesAfterLock held;  // the clock's first reading prints a line
        CRecursiveGuard guard(mutex);
        now = CTime::getCurrentMilliSecond();
    }
    // The grid's points lie a tenth of a millisecond past the start of one of the clock's
    // milliseconds: a wake up to 0.9 ms late still reads the millisecond of its point, so that
    // `now` steps by the grid's period from pass to pass. The microsecond reading, taken next to the
    // platform's counter, tells where the clock's milliseconds begin on that counter.
    const uint64_t us = CTime::getCurrentMicroSecond();
    const uint64_t ticks = Detail::Platform::monotonicTicks();
    m_gridNext = ticks + msTicks - (us % 1000) * 1000 + gridOffsetTicks;
    bool rest = true;
    for (;;) {
        if (rest) waitForGrid();
        Detail::LinesAfterLock held;  // lines of the pass (a hand-over's) print after the lock
        mutex.enter();
        bool pass = true;
        if (rest) {
            const uint64_t old = now;
            now = CTime::getCurrentMilliSecond();
            setTimeout(managerWatchdogMs, now);
            if (now == old) pass = false;
            if (now < old) Detail::assertionFailed("0", __PRETTY_FUNCTION__, __FILE__, __LINE__);
        }
        if (pass) rest = !handDue();
        mutex.leave();
        if (!looping()) break;
    }
}

bool TimerManagerInternal::handDue() {
    if (timerHead != nullptr && timerHead->nextTime < now) handOver(timerHead, false);
    const bool backlog =
        !limitReached() && !m_noWorker && timerHead != nullptr && timerHead->nextTime < now;
    m_noWorker = false;
    return backlog;
}

void TimerManagerInternal::waitForGrid() {
    if (Detail::referencePathsOnly()) {
        // Taken up again, the grid wakes at once for its last point, then moves on to the
        // first of its points after the clock, in its old phase.
        CThread::sleep(managerPeriodMs);
        return;
    }
    const uint64_t woke = Detail::Platform::sleepUntilTicks(m_gridNext);
    m_gridNext += gridTicks;
    if (m_gridNext <= woke) m_gridNext += gridTicks * ((woke - m_gridNext) / gridTicks + 1);
}

void TimerManagerInternal::dumpTimers() {
    Detail::LinesAfterLock held;  // each line is built under the lock and printed after it
    CRecursiveGuard guard(mutex);
    KERNA_LOG(4, "Timers: ( %llu Milli-Seconds Elapsed )\n", static_cast<unsigned long long>(now));
    KERNA_LOG(4, "            Name            NextTime RunningTime Period   Used/Timeout State\n");
    KERNA_LOG(4, "____________________________________________________________________________\n");
    for (TimerInternal* t = timerHead; t != nullptr; t = t->next) {
        const bool running = t->thread.load() != nullptr;
        const int used = running ? static_cast<int>(now - t->callTime) : 0;
        KERNA_LOG(4, "%24s %11llu %11llu %6u %6d/%6u %s\n", t->name,
                  static_cast<unsigned long long>(t->nextTime),
                  static_cast<unsigned long long>(t->runTime / 1000), t->period, used, t->timeout,
                  running ? "Running" : "Idle");
    }
    KERNA_LOG(4, "\n");
}

// ---- CTimerManager -------------------------------------------------------------------------

// Built under the process lock: its line is kept and printed once the object is published.
CTimerManager::CTimerManager() : m_internal(nullptr) {
    KERNA_LOG(5, "this:%p CTimerManager::CTimerManager()>>>>>>>>>\n", static_cast<void*>(this));
    // Touches the print path's listener list once, so that it exists before any timer runs.
    TFunction1<bool, const char*> nothing(&doNothing);
    attachPrint(nothing);
    detachPrint(nothing);
    m_internal = TimerManagerInternal::instance();
}

CTimerManager::~CTimerManager() {}

CTimerManager* TimerManagerInternal::makeFacade() { return new CTimerManager; }

CTimerManager* CTimerManager::instance() {
    return Detail::ProcessObject<TimerManagerFacade>::get()->facade;
}

void CTimerManager::dumpTimers() { m_internal->dumpTimers(); }

bool CTimerManager::limitIdlePooled(int limit) {
    CRecursiveGuard guard(m_internal->mutex);
    m_internal->idleLimit = limit;
    return true;
}

bool CTimerManager::setRunningThreadLimit(int limit) {
    CRecursiveGuard guard(m_internal->mutex);
    m_internal->runningLimit = limit;
    return true;
}

// ---- CTimer --------------------------------------------------------------------------------

namespace {
TimerManagerInternal& manager() { return *TimerManagerInternal::instance(); }
}  // namespace

CTimer::CTimer(const char* name) : m_internal(nullptr) {
    if (CTimerManager::instance() == nullptr) {
        KERNA_LOG(1, "CTimerManager::instance() is null\n");
        Detail::assertionFailed("0", __PRETTY_FUNCTION__, __FILE__, __LINE__);
    }
    m_internal = new TimerInternal;
    copyName(m_internal->name, name);
}

CTimer::~CTimer() {
    stopAndWait();
    CRecursiveGuard guard(manager().mutex);
    delete m_internal;
    m_internal = nullptr;
}

namespace {
bool arm(TimerInternal* t, unsigned int delay, unsigned int period, unsigned int timeout) {
    TimerManagerInternal& m = manager();
    m.keepRunning();
    t->nextTime = m.now + delay;
    t->period = period;
    t->timeout = timeout;
    t->called.store(false);
    t->statEnabled.store(false);
    if (t->started.load()) m.unlink(t);
    m.insert(t);
    t->started.store(true);
    return delay == 0 ? m.handOver(t, false) : true;
}
}  // namespace

bool CTimer::start(TFunction1<void, unsigned long> proc, unsigned int delay, unsigned int period,
                   unsigned long param, unsigned int timeout) {
    Detail::LinesAfterLock held;  // a hand-over's lines print after the lock is left
    CRecursiveGuard guard(manager().mutex);
    m_internal->procValue = proc;
    m_internal->procPointer = TFunction1<void, void*>();
    m_internal->param = param;
    return arm(m_internal, delay, period, timeout);
}

bool CTimer::start(TFunction1<void, void*> proc, unsigned int delay, unsigned int period, void* param,
                   unsigned int timeout) {
    Detail::LinesAfterLock held;
    CRecursiveGuard guard(manager().mutex);
    m_internal->procValue = TFunction1<void, unsigned long>();
    m_internal->procPointer = proc;
    m_internal->param = reinterpret_cast<uint64_t>(param);
    return arm(m_internal, delay, period, timeout);
}

bool CTimer::stop(bool callNow) {
    TimerManagerInternal& m = manager();
    Detail::LinesAfterLock held;
    CRecursiveGuard guard(m.mutex);
    if (!m_internal->started.load()) return false;
    m.unlink(m_internal);
    m_internal->started.store(false);
    if (m_internal->period == 0 && callNow) return m.handOver(m_internal, true);
    return true;
}

bool CTimer::stopAndWait() {
    stop(false);
    TimerManagerInternal& m = manager();
    m.mutex.enter();
    CTimerThread* worker = m_internal->thread.load();
    if (worker != nullptr && worker->getThreadID() != CThread::getCurrentThreadID()) {
        for (int pass = 0; m_internal->thread.load() != nullptr; ++pass) {
            // The line is made under the lock, on the first pass and every 500th (5 s), and
            // printed after leaving it: a listener may need the lock from another thread.
            char name[sizeof m_internal->name];
            const bool say = pass % 500 == 0;
            if (say) std::memcpy(name, m_internal->name, sizeof name);
            m.mutex.leave();
            if (say) {
                KERNA_LOG(4, "this:%p CTimer::Stop Timer:%s wait callback exit!\n",
                          static_cast<void*>(this), name);
            }
            CThread::sleep(managerPeriodMs);
            m.mutex.enter();
        }
    }
    m.mutex.leave();
    return true;
}

void CTimer::setPeriodTime(unsigned int period) {
    TimerManagerInternal& m = manager();
    Detail::LinesAfterLock held;
    CRecursiveGuard guard(m.mutex);
    m.keepRunning();
    const bool linked = m_internal->started.load();
    if (linked) m.unlink(m_internal);
    m_internal->nextTime = m_internal->nextTime > m_internal->period ? m_internal->nextTime - m_internal->period : 0;
    m_internal->nextTime += period;
    m_internal->period = period;
    if (linked) m.insert(m_internal);
}

void CTimer::enableStat(bool enable) { m_internal->statEnabled.store(enable); }

const char* CTimer::getName() { return m_internal->name; }

void CTimer::setName(const char* name) { copyName(m_internal->name, name); }

bool CTimer::isStarted() { return m_internal->started.load(); }

bool CTimer::isCalled() { return m_internal->called.load(); }

bool CTimer::isRunning() { return m_internal->thread.load() != nullptr; }

}  // namespace Kerna
}  // namespace Tessaran

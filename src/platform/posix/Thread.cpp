// Thread.cpp - POSIX threads for the platform thread interface.
//
// Only POSIX code; no library logic.
//
// Every thread is detached. Its ThreadHandle is shared between the creator and the thread by a
// reference count, so the record stays valid for whichever side finishes last. The done flag
// and exit code in the record play the part of a waitable thread handle.
//
// The records in use are kept in one list, so that a forked child can mark the threads that did
// not come along as ended (with fresh locks: a thread may have held one at the fork) and give
// the forking thread its new identifier.

#include "platform/Thread.h"

#include "platform/Fork.h"
#include "platform/Tls.h"

#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <time.h>

#include <atomic>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

class ThreadHandle {
public:
    ThreadHandle(ThreadEntry entryIn, void* argumentIn) : entry(entryIn), argument(argumentIn) {
        pthread_mutex_init(&mutex, nullptr);
        pthread_cond_init(&cond, nullptr);
    }
    ~ThreadHandle() {
        pthread_cond_destroy(&cond);
        pthread_mutex_destroy(&mutex);
    }
    ThreadHandle(const ThreadHandle&) = delete;
    ThreadHandle& operator=(const ThreadHandle&) = delete;

    void release();

    ThreadEntry entry;
    void* argument;
    pthread_t thread{};
    std::atomic<int> refs{2};  // the creator's and the thread's
    pthread_mutex_t mutex;
    pthread_cond_t cond;
    int tid = -1;                      // written before started is set, constant afterwards
    std::atomic<bool> started{false};  // tid published (set under mutex)
    std::atomic<bool> done{false};     // the body has ended (set under mutex)
    int creatorProcessor = -1;              // where the creator was when it started the thread
    std::atomic<int> threadProcessor{-1};  // where the thread was when it started
    unsigned int exitCode = kThreadStillActive;
    ThreadHandle* prevInUse = nullptr;  // the list of records in use, under g_inUseLock
    ThreadHandle* nextInUse = nullptr;
};

namespace {

pthread_mutex_t g_inUseLock = PTHREAD_MUTEX_INITIALIZER;
ThreadHandle* g_inUse = nullptr;
pthread_once_t g_forkHandlersOnce = PTHREAD_ONCE_INIT;

void addInUse(ThreadHandle* handle) {
    pthread_mutex_lock(&g_inUseLock);
    handle->nextInUse = g_inUse;
    if (g_inUse != nullptr) g_inUse->prevInUse = handle;
    g_inUse = handle;
    pthread_mutex_unlock(&g_inUseLock);
}

void removeInUse(ThreadHandle* handle) {
    pthread_mutex_lock(&g_inUseLock);
    if (handle->prevInUse != nullptr) {
        handle->prevInUse->nextInUse = handle->nextInUse;
    } else {
        g_inUse = handle->nextInUse;
    }
    if (handle->nextInUse != nullptr) handle->nextInUse->prevInUse = handle->prevInUse;
    pthread_mutex_unlock(&g_inUseLock);
}

void lockInUse() { pthread_mutex_lock(&g_inUseLock); }
void unlockInUse() { pthread_mutex_unlock(&g_inUseLock); }

// In the child: only the forking thread runs. Its record gets the new identifier; every other
// record tells of a thread that ended, so that nobody waits for it.
void threadsAfterForkInChild() {
    pthread_mutex_init(&g_inUseLock, nullptr);
    const int former = static_cast<int>(threadIdBeforeFork());
    for (ThreadHandle* h = g_inUse; h != nullptr; h = h->nextInUse) {
        pthread_mutex_init(&h->mutex, nullptr);
        pthread_cond_init(&h->cond, nullptr);
        if (h->started && h->tid == former && !h->done) {
            h->tid = static_cast<int>(currentThreadId());
        } else {
            h->started = true;
            h->done = true;
            h->exitCode = 0;
        }
    }
}

void registerForkHandlers() {
    addForkHandlers(forkRankThreads, lockInUse, unlockInUse, threadsAfterForkInChild);
}

// A wait for another thread's next step first busy-waits for a short while, but only when that
// thread was last seen on another processor: there the step comes within microseconds, and the
// sleep and wake-up it spares cost tens of microseconds on a loaded or virtual machine. On the
// same processor a busy wait would only keep the other thread from running, and giving up the
// time slice instead hands it to whatever else runs there (a busy process keeps it for
// milliseconds): the waiter sleeps at once.
const uint64_t kBriefWaitNs = 20000;

uint64_t monotonicNs() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000ull + static_cast<uint64_t>(ts.tv_nsec);
}

inline void relaxProcessor() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    __asm__ __volatile__("yield");
#endif
}

template <class Ready>
bool briefWait(int peerProcessor, Ready ready) {
    const int self = sched_getcpu();
    if (peerProcessor < 0 || self < 0 || peerProcessor == self) return ready();
    const uint64_t end = monotonicNs() + kBriefWaitNs;
    for (;;) {
        for (int i = 0; i < 64; ++i) {
            if (ready()) return true;
            relaxProcessor();
        }
        if (monotonicNs() > end) return ready();
    }
}

// The processor the creator of the calling thread was on when it started it, -1 if unknown.
thread_local int t_creatorProcessor = -1;

// Marks the record done when the body ends, by return or by a kill's unwind.
class DoneMark {
public:
    explicit DoneMark(ThreadHandle* handle) : m_handle(handle) {}
    DoneMark(const DoneMark&) = delete;
    DoneMark& operator=(const DoneMark&) = delete;
    ~DoneMark() {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        pthread_mutex_lock(&m_handle->mutex);
        m_handle->done = true;
        m_handle->exitCode = 0;
        pthread_cond_broadcast(&m_handle->cond);
        pthread_mutex_unlock(&m_handle->mutex);
        m_handle->release();
    }

private:
    ThreadHandle* m_handle;
};

extern "C" void* threadStart(void* argument) {
    ThreadHandle* handle = static_cast<ThreadHandle*>(argument);
    DoneMark mark(handle);
    t_creatorProcessor = handle->creatorProcessor;
    handle->threadProcessor.store(sched_getcpu(), std::memory_order_relaxed);
    pthread_mutex_lock(&handle->mutex);
    handle->tid = static_cast<int>(currentThreadId());
    handle->started = true;
    pthread_cond_broadcast(&handle->cond);
    pthread_mutex_unlock(&handle->mutex);
    handle->entry(handle->argument);
    return nullptr;
}

timespec deadlineAfter(unsigned int milliSeconds) {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    ts.tv_sec += milliSeconds / 1000;
    ts.tv_nsec += static_cast<long>(milliSeconds % 1000) * 1000000L;
    if (ts.tv_nsec >= 1000000000L) {
        ts.tv_sec += 1;
        ts.tv_nsec -= 1000000000L;
    }
    return ts;
}

int niceOfLevel(int level) {
    switch (level) {
        case 15:
            return -15;
        case 2:
            return -10;
        case 1:
            return -5;
        case 0:
            return 0;
        case -1:
            return 5;
        case -2:
            return 10;
        default:
            return 19;
    }
}

}  // namespace

void ThreadHandle::release() {
    if (refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        removeInUse(this);
        delete this;
    }
}

ThreadHandle* startThread(ThreadEntry entry, void* argument, int stackSize, int* error) {
    int err = 0;
    if (entry == nullptr || stackSize < 0) {
        err = EINVAL;
    }
    pthread_attr_t attr;
    bool haveAttr = false;
    if (err == 0) {
        err = pthread_attr_init(&attr);
        haveAttr = err == 0;
    }
    if (err == 0) {
        err = pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    }
    if (err == 0 && stackSize != 0) {
        size_t size = stackSize < kThreadMinimumStack ? kThreadMinimumStack : stackSize;
        err = pthread_attr_setstacksize(&attr, size);
    }
    ThreadHandle* handle = nullptr;
    if (err == 0) {
        pthread_once(&g_forkHandlersOnce, registerForkHandlers);
        handle = new ThreadHandle(entry, argument);
        addInUse(handle);
        handle->creatorProcessor = sched_getcpu();
        err = pthread_create(&handle->thread, &attr, threadStart, handle);
        if (err != 0) {
            removeInUse(handle);
            delete handle;
            handle = nullptr;
        }
    }
    if (haveAttr) {
        pthread_attr_destroy(&attr);
    }
    if (handle == nullptr) {
        if (error != nullptr) {
            *error = err;
        }
        errno = err;
        return nullptr;
    }
    // The new thread is just starting, perhaps on this processor: sleep until it has published
    // its identifier.
    pthread_mutex_lock(&handle->mutex);
    while (!handle->started.load(std::memory_order_relaxed)) {
        pthread_cond_wait(&handle->cond, &handle->mutex);
    }
    pthread_mutex_unlock(&handle->mutex);
    if (error != nullptr) {
        *error = 0;
    }
    return handle;
}

void retainThread(ThreadHandle* handle) {
    handle->refs.fetch_add(1, std::memory_order_relaxed);
}

void closeThread(ThreadHandle* handle) {
    if (handle != nullptr) {
        handle->release();
    }
}

int threadIdOf(const ThreadHandle* handle) {
    return handle->tid;
}

unsigned int threadExitCode(ThreadHandle* handle) {
    pthread_mutex_lock(&handle->mutex);
    unsigned int code = handle->exitCode;
    pthread_mutex_unlock(&handle->mutex);
    return code;
}

bool waitThread(ThreadHandle* handle, unsigned int milliSeconds) {
    const timespec deadline = deadlineAfter(milliSeconds);
    if (milliSeconds > 0 &&
        briefWait(handle->threadProcessor.load(std::memory_order_relaxed),
                  [handle] { return handle->done.load(std::memory_order_acquire); })) {
        return true;
    }
    pthread_mutex_lock(&handle->mutex);
    while (!handle->done.load(std::memory_order_relaxed)) {
        int rc = pthread_cond_clockwait(&handle->cond, &handle->mutex, CLOCK_MONOTONIC, &deadline);
        if (rc == ETIMEDOUT) {
            break;
        }
    }
    bool done = handle->done.load(std::memory_order_relaxed);
    pthread_mutex_unlock(&handle->mutex);
    return done;
}

int setThreadPriority(ThreadHandle* handle, int level) {
    errno = 0;
    if (setpriority(PRIO_PROCESS, static_cast<id_t>(handle->tid), niceOfLevel(level)) != 0) {
        return errno != 0 ? errno : EINVAL;
    }
    return 0;
}

int killThread(ThreadHandle* handle) {
    // A finished thread's pthread_t may already name another thread: cancel only while the
    // record says the body still runs; the body marks done under the same mutex.
    pthread_mutex_lock(&handle->mutex);
    int rc = handle->done.load(std::memory_order_relaxed) ? ESRCH : pthread_cancel(handle->thread);
    pthread_mutex_unlock(&handle->mutex);
    return rc;
}

bool briefWaitForCreator(bool (*ready)(void*), void* context) {
    return briefWait(t_creatorProcessor, [ready, context] { return ready(context); });
}

void testCancel() {
    pthread_testcancel();
}

void disableCancel() {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
}

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

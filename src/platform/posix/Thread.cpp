// Thread.cpp - POSIX threads for the platform thread interface.
//
// Only POSIX code; no library logic.
//
// Every thread is detached. Its ThreadHandle is shared between the creator and the thread by a
// reference count, so the record stays valid for whichever side finishes last. The done word in
// the record plays the part of a waitable thread handle. The two hand-overs of a thread's life
// (identifier published, body ended) are atomic words with futex waits on them: a waiter sleeps
// only while the word still holds its old value, and a waker calls the kernel only when someone
// sleeps, which keeps a start and stop to a few system calls.

#include "platform/Thread.h"

#include <errno.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdint>

#include "platform/Tls.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

class ThreadHandle {
public:
    ThreadHandle(ThreadEntry entryIn, void* argumentIn) : entry(entryIn), argument(argumentIn) {
        pthread_mutex_init(&killLock, nullptr);
    }
    ~ThreadHandle() { pthread_mutex_destroy(&killLock); }
    ThreadHandle(const ThreadHandle&) = delete;
    ThreadHandle& operator=(const ThreadHandle&) = delete;

    void release() {
        if (refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

    ThreadEntry entry;
    void* argument;
    pthread_t thread{};
    std::atomic<int> refs{2};  // the creator's and the thread's
    int tid = -1;              // written before `started`, constant afterwards
    std::atomic<uint32_t> started{0};
    std::atomic<uint32_t> done{0};     // the body has ended
    std::atomic<int> doneWaiters{0};   // threads asleep (or about to sleep) on `done`
    pthread_mutex_t killLock;          // a kill and the marking of `done` exclude each other
};

namespace {

// Sleeps while *word holds `expected`, until woken or (with a deadline) the monotonic clock
// passes it. Returns false when the deadline passed.
bool futexWait(std::atomic<uint32_t>* word, uint32_t expected, const timespec* deadline) {
    long rc = syscall(SYS_futex, reinterpret_cast<uint32_t*>(word),
                      FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, expected, deadline, nullptr,
                      FUTEX_BITSET_MATCH_ANY);
    return !(rc == -1 && errno == ETIMEDOUT);
}

void futexWakeAll(std::atomic<uint32_t>* word) {
    syscall(SYS_futex, reinterpret_cast<uint32_t*>(word), FUTEX_WAKE | FUTEX_PRIVATE_FLAG, INT_MAX,
            nullptr, nullptr, 0);
}

// Marks the record done when the body ends, by return or by a kill's unwind.
class DoneMark {
public:
    explicit DoneMark(ThreadHandle* handle) : m_handle(handle) {}
    DoneMark(const DoneMark&) = delete;
    DoneMark& operator=(const DoneMark&) = delete;
    ~DoneMark() {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        pthread_mutex_lock(&m_handle->killLock);
        m_handle->done.store(1);
        pthread_mutex_unlock(&m_handle->killLock);
        // A waiter counts itself before it tests `done`; both sides use sequentially consistent
        // operations, so either it sees `done` or this sees it counted.
        if (m_handle->doneWaiters.load() > 0) {
            futexWakeAll(&m_handle->done);
        }
        m_handle->release();
    }

private:
    ThreadHandle* m_handle;
};

extern "C" void* threadStart(void* argument) {
    ThreadHandle* handle = static_cast<ThreadHandle*>(argument);
    DoneMark mark(handle);
    handle->tid = static_cast<int>(currentThreadId());
    handle->started.store(1);
    futexWakeAll(&handle->started);
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
        handle = new ThreadHandle(entry, argument);
        err = pthread_create(&handle->thread, &attr, threadStart, handle);
        if (err != 0) {
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
    while (handle->started.load() == 0) {
        futexWait(&handle->started, 0, nullptr);
    }
    if (error != nullptr) {
        *error = 0;
    }
    return handle;
}

void retainThread(ThreadHandle* handle) { handle->refs.fetch_add(1, std::memory_order_relaxed); }

void closeThread(ThreadHandle* handle) {
    if (handle != nullptr) {
        handle->release();
    }
}

int threadIdOf(const ThreadHandle* handle) { return handle->tid; }

unsigned int threadExitCode(ThreadHandle* handle) {
    return handle->done.load() != 0 ? 0 : kThreadStillActive;
}

bool waitThread(ThreadHandle* handle, unsigned int milliSeconds) {
    timespec deadline = deadlineAfter(milliSeconds);
    handle->doneWaiters.fetch_add(1);
    while (handle->done.load() == 0) {
        if (!futexWait(&handle->done, 0, &deadline)) {
            break;
        }
    }
    handle->doneWaiters.fetch_sub(1);
    return handle->done.load() != 0;
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
    // record says the body still runs; the body marks done under the same lock.
    pthread_mutex_lock(&handle->killLock);
    int rc = handle->done.load() != 0 ? ESRCH : pthread_cancel(handle->thread);
    pthread_mutex_unlock(&handle->killLock);
    return rc;
}

void testCancel() { pthread_testcancel(); }

void disableCancel() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr); }

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

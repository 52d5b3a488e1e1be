// Lock.cpp
//
// Only POSIX code; no library logic. Locks, the manual-reset event and the counting semaphore of
// the private platform interface, on pthread mutexes, condition variables and sem_t. Timed waits
// run on CLOCK_MONOTONIC so that setting the wall clock never moves them.
#include "platform/Lock.h"

#include <errno.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <new>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

namespace {

struct EventState {
    pthread_mutex_t mutex;
    pthread_cond_t cond;
    bool signalled;
    uint64_t generation;
};

// A deadline `ms` milliseconds from now on the monotonic clock.
timespec monotonicDeadline(uint32_t ms) {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    ts.tv_sec += ms / 1000;
    ts.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
    if (ts.tv_nsec >= 1000000000L) {
        ts.tv_sec += 1;
        ts.tv_nsec -= 1000000000L;
    }
    return ts;
}

}  // namespace

static_assert(sizeof(std::atomic<int32_t>) == sizeof(int32_t) && std::atomic<int32_t>::is_always_lock_free,
              "a futex word is a plain 32-bit integer");

static_assert(sizeof(pthread_mutex_t) <= 48, "lock storage too small");
static_assert(sizeof(EventState) <= 112, "event storage too small");
static_assert(sizeof(sem_t) <= 32, "semaphore storage too small");

namespace {
void initRecursive(void* storage) {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(new (storage) pthread_mutex_t, &attr);
    pthread_mutexattr_destroy(&attr);
}
}  // namespace

// A recursive mutex records its holder by thread id: in a forked child the forking thread has
// a new one and could neither leave nor enter again a mutex it held at the fork. Initialising
// it afresh is the one way to free it; nothing else can reach it while the child has one thread.
Lock::Lock() { initRecursive(m_storage); }
void Lock::resetAfterFork() { initRecursive(m_storage); }
Lock::~Lock() { pthread_mutex_destroy(reinterpret_cast<pthread_mutex_t*>(m_storage)); }
void Lock::enter() { pthread_mutex_lock(reinterpret_cast<pthread_mutex_t*>(m_storage)); }
bool Lock::tryEnter() { return pthread_mutex_trylock(reinterpret_cast<pthread_mutex_t*>(m_storage)) == 0; }
// A recursive mutex refuses the unlock of a thread that does not hold it (EPERM).
bool Lock::leave() { return pthread_mutex_unlock(reinterpret_cast<pthread_mutex_t*>(m_storage)) == 0; }

PlainLock::PlainLock() { pthread_mutex_init(new (m_storage) pthread_mutex_t, nullptr); }
PlainLock::~PlainLock() { pthread_mutex_destroy(reinterpret_cast<pthread_mutex_t*>(m_storage)); }
void PlainLock::enter() { pthread_mutex_lock(reinterpret_cast<pthread_mutex_t*>(m_storage)); }
void PlainLock::leave() { pthread_mutex_unlock(reinterpret_cast<pthread_mutex_t*>(m_storage)); }
void PlainLock::resetAfterFork() { pthread_mutex_init(new (m_storage) pthread_mutex_t, nullptr); }

// The event keeps a generation number: a wait ends when the flag is on or the generation moved,
// so that a reset right after a set cannot strand a waiter that the set released.
ManualEvent::ManualEvent() {
    EventState* s = new (m_storage) EventState;
    pthread_mutex_init(&s->mutex, nullptr);
    pthread_condattr_t attr;
    pthread_condattr_init(&attr);
    pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
    pthread_cond_init(&s->cond, &attr);
    pthread_condattr_destroy(&attr);
    s->signalled = false;
    s->generation = 0;
}
ManualEvent::~ManualEvent() {
    EventState* s = reinterpret_cast<EventState*>(m_storage);
    pthread_cond_destroy(&s->cond);
    pthread_mutex_destroy(&s->mutex);
}
void ManualEvent::set() {
    EventState* s = reinterpret_cast<EventState*>(m_storage);
    pthread_mutex_lock(&s->mutex);
    s->signalled = true;
    ++s->generation;
    pthread_cond_broadcast(&s->cond);
    pthread_mutex_unlock(&s->mutex);
}
uint64_t ManualEvent::reset() {
    EventState* s = reinterpret_cast<EventState*>(m_storage);
    pthread_mutex_lock(&s->mutex);
    s->signalled = false;
    const uint64_t generation = s->generation;
    pthread_mutex_unlock(&s->mutex);
    return generation;
}
void ManualEvent::waitSince(uint64_t generation) {
    EventState* s = reinterpret_cast<EventState*>(m_storage);
    pthread_mutex_lock(&s->mutex);
    while (!s->signalled && s->generation == generation) pthread_cond_wait(&s->cond, &s->mutex);
    pthread_mutex_unlock(&s->mutex);
}

Semaphore::Semaphore(int32_t initialCount) {
    m_ok = initialCount >= 0 && sem_init(new (m_storage) sem_t, 0, static_cast<unsigned>(initialCount)) == 0;
}
Semaphore::~Semaphore() {
    if (m_ok) sem_destroy(reinterpret_cast<sem_t*>(m_storage));
}
bool Semaphore::wait(uint32_t timeoutMs) {
    sem_t* sem = reinterpret_cast<sem_t*>(m_storage);
    if (timeoutMs == 0) {
        int rc;
        do rc = sem_trywait(sem);
        while (rc != 0 && errno == EINTR);
        return rc == 0;
    }
    if (timeoutMs == 0xFFFFFFFFu) {
        int rc;
        do rc = sem_wait(sem);
        while (rc != 0 && errno == EINTR);
        return rc == 0;
    }
    const timespec deadline = monotonicDeadline(timeoutMs);
    int rc;
    do rc = sem_clockwait(sem, CLOCK_MONOTONIC, &deadline);
    while (rc != 0 && errno == EINTR);
    return rc == 0;
}
bool Semaphore::post() {
    // sem_post at SEM_VALUE_MAX (2147483647) fails with EOVERFLOW and changes nothing.
    return sem_post(reinterpret_cast<sem_t*>(m_storage)) == 0;
}

void sleepMs(uint32_t milliseconds) {
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    const timespec deadline = monotonicDeadline(milliseconds);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
    }
}

void yieldThread() { sched_yield(); }

// A futex of this process (FUTEX_PRIVATE_FLAG): the word never lies in shared memory. The
// limit of FUTEX_WAIT is relative and runs on CLOCK_MONOTONIC.
void waitOnWord(std::atomic<int32_t>& word, int32_t expected, uint32_t timeoutUs) {
    timespec limit;
    limit.tv_sec = timeoutUs / 1000000;
    limit.tv_nsec = static_cast<long>(timeoutUs % 1000000) * 1000L;
    syscall(SYS_futex, reinterpret_cast<int32_t*>(&word), FUTEX_WAIT_PRIVATE, expected, &limit, nullptr, 0);
}

void wakeOneOnWord(std::atomic<int32_t>& word) {
    syscall(SYS_futex, reinterpret_cast<int32_t*>(&word), FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

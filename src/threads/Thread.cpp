// Thread.cpp - CThread and CThreadLite.
//
// The state machine of a thread object. createThread starts the platform thread with the
// object's mutex held, so the new thread, which begins by entering that mutex, runs no user code
// before the start has been decided. The body enters the registry, runs threadProc and leaves
// the registry again; the leaving steps sit in a guard object so that they also run when the
// thread is killed and unwinds.

#include "kerna/kerna3/Thread.h"

#include "kerna/kerna3/Time.h"

#include <cerrno>
#include <cstring>

#include "threads/ThreadInternal.h"
#include "threads/ThreadManagerInternal.h"
#include "base/Log.h"
#include "platform/Lock.h"
#include "platform/Thread.h"
#include "platform/Tls.h"

namespace Tessaran {
namespace Kerna {

namespace Detail {

int threadPlatformLevel(int policy, int priority) {
    if (policy == 1) {
        return 15;
    }
    long long level = 15 - ((static_cast<long long>(priority) - 1) * 30) / 126;
    if (level <= -15) return -15;
    if (level <= -2) return -2;
    if (level == -1) return -1;
    if (level == 0) return 0;
    if (level >= 15) return 15;
    if (level >= 2) return 2;
    return 1;
}

}  // namespace Detail

namespace {

namespace Platform = Detail::Platform;

// Logs under a function name of our choosing rather than the compiler's.
#define KERNA_LOG_AS(level, function, ...)                                                      \
    do {                                                                                        \
        if (::Tessaran::Kerna::Detail::printWouldPass(level))                                   \
            ::Tessaran::Kerna::Detail::logAt(level, __FILE__, function, __LINE__, __VA_ARGS__); \
    } while (0)

int currentThreadId() {
    return static_cast<int>(Platform::currentThreadId());
}

// One line per process when the system refuses a thread priority for lack of privilege.
std::atomic<bool> g_priorityRefusalLogged{false};

// The steps that end a body: leave the registry, clear loop, then running. They run on return
// from threadProc and during the unwind of a killed thread. After running is 0 the object may
// be freed by its owner, so nothing here touches it afterwards.
class BodyExit {
public:
    explicit BodyExit(ThreadInternal* thread) : m_thread(thread) {}
    BodyExit(const BodyExit&) = delete;
    BodyExit& operator=(const BodyExit&) = delete;
    ~BodyExit() {
        Platform::disableCancel();
        m_thread->manager->unregisterThread(m_thread);
        if (m_thread->orphaned) {
            // The owner went on this thread; nobody waits for running to fall.
            Platform::closeThread(m_thread->handle);
            delete m_thread;
            return;
        }
        m_thread->loop.store(false);
        m_thread->running.store(0);
    }

private:
    ThreadInternal* m_thread;
};

// The body's first step waits for createThread to leave the object's mutex, a few microseconds
// after the start: briefly without sleeping where the platform finds that worth it, then on the
// lock as usual.
bool tryEnterMutex(void* mutex) { return static_cast<CMutex*>(mutex)->tryEnter(); }

void enterWhenStartDecided(CMutex& mutex) {
    if (!Platform::briefWaitForCreator(&tryEnterMutex, &mutex)) mutex.enter();
}

void InternalThreadBody(void* argument) {
    ThreadInternal* thread = static_cast<ThreadInternal*>(argument);
    enterWhenStartDecided(thread->mutex);
    thread->running.store(1);
    thread->id.store(currentThreadId());
    thread->mutex.leave();
    thread->manager->registerThread(thread);
    BodyExit exit(thread);
    int stackMark = 0;
    // The name may be changed by another thread at any time (a timer's worker is renamed for each
    // call): read it under the thread's lock.
    char name[sizeof thread->name];
    {
        CGuard guard(thread->mutex);
        std::memcpy(name, thread->name, sizeof name);
    }
    KERNA_LOG_AS(5, "`anonymous-namespace'::InternalThreadBody",
                 "ThreadBody Enter name:%s, id:%d, prior:%s%d, stack:%p\n", name,
                 thread->id.load(), thread->policy == 1 ? "R" : "N", thread->priority,
                 static_cast<void*>(&stackMark));
    thread->runOwner();
    {
        CGuard guard(thread->mutex);
        std::memcpy(name, thread->name, sizeof name);
    }
    KERNA_LOG_AS(5, "`anonymous-namespace'::InternalThreadBody",
                 "ThreadBody leave name:%s, id:%d \n", name, thread->id.load());
}

}  // namespace

ThreadInternal::ThreadInternal(CThread* ownerIn, const char* nameIn, int priorityIn, int policyIn,
                               int stackSizeIn)
    : policy(policyIn),
      priority(priorityIn),
      stackSize(stackSizeIn),
      manager(ThreadManagerInternal::instance()),
      owner(ownerIn) {
    storeName(nameIn);
    manager->objectCreated(this);
}

ThreadInternal::~ThreadInternal() {
    manager->objectDestroyed(this);
}

void ThreadInternal::storeName(const char* nameIn) {
    std::memset(name, 0, sizeof(name));
    std::strncpy(name, nameIn != nullptr ? nameIn : "Nonamed", sizeof(name) - 1);
}

CThread::CThread(const char* name, int priority, int policy, int stackSize)
    : m_internal(new ThreadInternal(this, name, priority, policy, stackSize)) {}

CThread::~CThread() {
    ThreadInternal* thread = m_internal;
    bool loop;
    {
        CGuard guard(thread->mutex);
        loop = thread->loop.load();
    }
    if (loop) {
        destroyThread();
    }
    if (thread->running.load() != 0 && thread->id.load() == currentThreadId()) {
        // Destroyed from its own body: it cannot wait for itself. The body frees the
        // implementation object when threadProc returns.
        KERNA_LOG(3, "this:%p CThread::~CThread:%s destroyed from its own thread\n", this,
                  thread->name);
        thread->owner = nullptr;
        thread->orphaned = true;
        m_internal = nullptr;
        return;
    }
    unsigned int code = thread->handle != nullptr ? Platform::threadExitCode(thread->handle) : 0;
    unsigned long long passes = 0;
    while (thread->running.load() != 0 && code == Platform::kThreadStillActive) {
        Platform::sleepMs(1);
        code = Platform::threadExitCode(thread->handle);
        ++passes;
        if (passes % 100 == 0) {
            KERNA_LOG(6, "this:%p CThread::~CThread:%s wait for thread over, times:%llu\n", this,
                      thread->name, passes);
        }
    }
    Platform::closeThread(thread->handle);
    thread->handle = nullptr;
    delete thread;
    m_internal = nullptr;
}

bool CThread::createThread() {
    ThreadInternal* thread = m_internal;
    thread->mutex.enter();
    if (thread->loop.load()) {
        thread->mutex.leave();
        KERNA_LOG(3, "this:%p CThread::CreateThread() thread:%s is still running!\n", this,
                  thread->name);
        return false;
    }
    if (thread->handle != nullptr) {
        Platform::closeThread(thread->handle);
        thread->handle = nullptr;
    }
    while (thread->running.load() != 0 && !thread->loop.load()) {
        // A previous body is still ending. On its own thread it would end only after this call.
        if (thread->id.load() == currentThreadId()) {
            thread->mutex.leave();
            KERNA_LOG(3, "this:%p CThread::CreateThread() thread:%s is still running!\n", this,
                      thread->name);
            return false;
        }
        thread->mutex.leave();
        Platform::sleepMs(1);
        thread->mutex.enter();
    }
    if (thread->loop.load()) {
        thread->mutex.leave();
        KERNA_LOG(3, "this:%p CThread::CreateThread() thread:%s is still running!\n", this,
                  thread->name);
        return false;
    }
    thread->loop.store(true);
    thread->id.store(-1);
    thread->destroyed.store(false);
    thread->expiry.store(0);

    int error = 0;
    thread->handle = Platform::startThread(InternalThreadBody, thread, thread->stackSize, &error);
    if (thread->handle == nullptr) {
        thread->loop.store(false);
        thread->mutex.leave();
        KERNA_LOG(2, "this:%p create thread failed, errno:%d\n", this, error);
        return false;
    }

    int level = Detail::threadPlatformLevel(thread->policy, thread->priority);
    error = Platform::setThreadPriority(thread->handle, level);
    if (error != 0 && error != EPERM && error != EACCES) {
        thread->loop.store(false);
        thread->mutex.leave();
        KERNA_LOG(2, "this:%p create thread failed, errno:%d\n", this, error);
        return false;
    }
    thread->running.store(thread->loop.load() ? 1 : 0);
    // Unprivileged (EPERM, EACCES): the thread keeps the priority the system allows. Said once
    // per process, after the lock is left.
    char name[sizeof thread->name];
    const bool refused = error != 0 && !g_priorityRefusalLogged.exchange(true);
    if (refused) std::memcpy(name, thread->name, sizeof name);
    thread->mutex.leave();
    if (refused) {
        KERNA_LOG(6,
                  "this:%p thread:%s priority level %d refused by the system (errno:%d), "
                  "threads keep the priority the system allows\n",
                  this, name, level, error);
    }
    return true;
}

bool CThread::destroyThread() {
    ThreadInternal* thread = m_internal;
    thread->mutex.enter();
    if (thread->destroyed.load()) {
        thread->mutex.leave();
        KERNA_LOG(3, "this:%p CThread::DestroyThread() thread:%s has been destroyed!\n", this,
                  thread->name);
        return false;
    }
    if (isThreadOver()) {
        thread->mutex.leave();
        KERNA_LOG(3, "this:%p CThread::DestroyThread() thread:%s has exited!\n", this,
                  thread->name);
        return false;
    }
    thread->loop.store(false);
    thread->destroyed.store(true);
    if (thread->handle == nullptr) {
        thread->mutex.leave();
        KERNA_LOG(3, "this:%p CThread::DestroyThread() thread handle has been invalid!\n", this);
        return false;
    }
    // A concurrent createThread may close the object's handle: wait on a reference of our own.
    Platform::ThreadHandle* handle = thread->handle;
    Platform::retainThread(handle);
    thread->mutex.leave();
    if (thread->id.load() != currentThreadId()) {
        while (thread->running.load() != 0) {
            if (Platform::waitThread(handle, 50)) {
                break;
            }
            if (!thread->destroyed.load()) {
                break;  // a new createThread has taken the object over
            }
        }
    }
    Platform::closeThread(handle);
    return true;
}

bool CThread::terminateThread() {
    destroyThread();
    ThreadInternal* thread = m_internal;
    bool killed = false;
    bool noHandle;
    {
        CGuard guard(thread->mutex);
        noHandle = thread->handle == nullptr;
        if (!noHandle) killed = Platform::killThread(thread->handle) == 0;
    }
    if (noHandle) KERNA_LOG(2, "this:%p handle is null, can't be terminated\n", this);
    return killed;
}

bool CThread::cancelThread() {
    ThreadInternal* thread = m_internal;
    {
        CGuard guard(thread->mutex);
        if (thread->loop.load()) {
            thread->loop.store(false);
            return true;
        }
    }
    KERNA_LOG(3, "this:%p CThread::cancelThread() thread:%s not exist!\n", this, thread->name);
    return false;
}

bool CThread::isThreadOver() {
    return m_internal->running.load() == 0 && !m_internal->loop.load();
}

bool CThread::looping() const {
    Platform::testCancel();
    return m_internal->loop.load();
}

int CThread::getThreadID() {
    return m_internal->id.load();
}

char const* CThread::getThreadName() {
    return m_internal->name;
}

void CThread::setThreadName(const char* name) {
    CGuard guard(m_internal->mutex);
    m_internal->storeName(name);
}

void CThread::enableStackSize() {}

void CThread::setTimeout(int milliSeconds) {
    if (milliSeconds == 0) {
        m_internal->expiry.store(0);
        return;
    }
    setTimeout(milliSeconds, CTime::getCurrentMilliSecond());
}

void CThread::setTimeout(int milliSeconds, unsigned long long now) {
    // Signed milliseconds are added with their sign; unsigned arithmetic wraps, never traps.
    m_internal->expiry.store(milliSeconds == 0 ? 0
                                               : now + static_cast<unsigned long long>(
                                                           static_cast<long long>(milliSeconds)));
}

bool CThread::isTimeout() {
    Detail::LinesAfterLock held;  // the clock's first reading prints a line
    CGuard guard(m_internal->mutex);
    unsigned long long expiry = m_internal->expiry.load();
    return expiry != 0 && expiry < CTime::getCurrentMilliSecond();
}

int CThread::shareSocket(int socket) {
    return socket;
}

int CThread::getCurrentThreadID() {
    return currentThreadId();
}

bool CThread::setCurrentTimeout(int milliSeconds) {
    ThreadInternal* thread = ThreadManagerInternal::instance()->findThread(currentThreadId());
    if (thread == nullptr) {
        return false;
    }
    // The calling thread's own object cannot leave the registry meanwhile.
    Detail::LinesAfterLock held;  // the clock's first reading prints a line
    CGuard guard(thread->mutex);
    thread->expiry.store(milliSeconds == 0 ? 0
                                           : CTime::getCurrentMilliSecond() +
                                                 static_cast<unsigned long long>(
                                                     static_cast<long long>(milliSeconds)));
    return true;
}

void CThread::sleep(int milliSeconds) {
    if (milliSeconds >= 0) {
        Platform::sleepMs(static_cast<uint32_t>(milliSeconds));
    }
}

void CThread::load(int percent) {
    if (percent < 1 || percent > 100) {
        KERNA_LOG(2, "thread load percent:%d is invalid!\n", percent);
    }
}

class ThreadLiteInternal {
public:
    explicit ThreadLiteInternal(const CThreadLite::ThreadProc& procIn) : proc(procIn) {}
    CThreadLite::ThreadProc proc;
};

CThreadLite::CThreadLite(ThreadProc proc, const char* name, int priority, int policy, int stackSize)
    : CThread(name, priority, policy, stackSize), m_internal(new ThreadLiteInternal(proc)) {}

CThreadLite::~CThreadLite() {
    if (!isThreadOver()) {
        destroyThread();
    }
    delete m_internal;
    m_internal = nullptr;
}

void CThreadLite::threadProc() {
    if (m_internal->proc.empty()) {
        KERNA_LOG(2, "this:%p CThreadLite:%s has no thread function\n", this, getThreadName());
        return;
    }
    m_internal->proc(*this);
}

}  // namespace Kerna
}  // namespace Tessaran

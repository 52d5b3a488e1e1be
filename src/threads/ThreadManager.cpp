// ThreadManager.cpp - ThreadManagerInternal, the thread registry, and its face CThreadManager.

#include "kerna/kerna3/ThreadManager.h"

#include "kerna/kerna3/Time.h"

#include <cstdio>
#include <cstring>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "platform/Fork.h"
#include "platform/Tls.h"
#include "sync/MutexAccess.h"
#include "threads/ThreadInternal.h"
#include "threads/ThreadManagerInternal.h"

namespace Tessaran {
namespace Kerna {

namespace {

struct ThreadManagerFacade {
    CThreadManager* facade = ThreadManagerInternal::makeFacade();
    void published() {}
    void atProcessExit() {}
};

}  // namespace

namespace Detail {
template <>
struct ProcessObjectName<ThreadManagerFacade> {
    static constexpr const char* value = "Tessaran::Kerna::CThreadManager::instance";
};
}  // namespace Detail

namespace {

// Fills info from thread; the caller holds the registry's mutex, this takes the thread's.
void readInfo(ThreadInternal* thread, CThreadManager::ThreadInfo& info) {
    std::memset(&info, 0, sizeof(info));
    CGuard guard(thread->mutex);
    std::memcpy(info.name, thread->name, sizeof(info.name));
    info.name[sizeof(info.name) - 1] = '\0';
    info.id = thread->id.load();
    info.stackSize = thread->stackSize;
    info.priority = static_cast<unsigned int>(thread->priority) & 127u;
    info.policy = static_cast<unsigned int>(thread->policy) & 1u;
    unsigned long long expiry = thread->expiry.load();
    info.timeout = expiry != 0 && expiry < CTime::getCurrentMilliSecond() ? 1u : 0u;
}

}  // namespace

ThreadManagerInternal* ThreadManagerInternal::instance() {
    return Detail::ProcessObject<ThreadManagerInternal>::get();
}

ThreadManagerInternal::ThreadManagerInternal() {
    using Steps = Detail::LockAroundFork<ThreadManagerInternal, CMutex, &ThreadManagerInternal::mutex>;
    Detail::Platform::addForkHandlers(Detail::Platform::forkRankRegistry, &Steps::prepare,
                                      &Steps::parent, &afterForkInChild);
}

CThreadManager* ThreadManagerInternal::makeFacade() {
    return new CThreadManager;
}

void ThreadManagerInternal::objectCreated(ThreadInternal* thread) {
    CGuard guard(mutex);
    thread->objectPrev = nullptr;
    thread->objectNext = m_objects;
    if (m_objects != nullptr) m_objects->objectPrev = thread;
    m_objects = thread;
}

void ThreadManagerInternal::objectDestroyed(ThreadInternal* thread) {
    CGuard guard(mutex);
    if (thread->objectPrev != nullptr) {
        thread->objectPrev->objectNext = thread->objectNext;
    } else {
        m_objects = thread->objectNext;
    }
    if (thread->objectNext != nullptr) thread->objectNext->objectPrev = thread->objectPrev;
}

// Before a fork the registry's lock is taken, so that no list is caught in the middle of a
// change. The objects' own locks are not (a process may have thousands of thread objects): in
// the child every object whose thread did not come along is put right as a whole below, and
// its lock, which that thread may have held, is made free.
void ThreadManagerInternal::afterForkInChild() {
    ThreadManagerInternal* registry = Detail::ProcessObject<ThreadManagerInternal>::peek();
    if (registry == nullptr) return;
    Detail::MutexAccess::resetAfterFork(registry->mutex);
    const int former = static_cast<int>(Detail::Platform::threadIdBeforeFork());
    const int self = static_cast<int>(Detail::Platform::currentThreadId());
    for (ThreadInternal* t = registry->m_objects; t != nullptr; t = t->objectNext) {
        Detail::MutexAccess::resetAfterFork(t->mutex);
        if (t->running.load() != 0 && t->id.load() == former) {
            t->id.store(self);  // the forking thread's own object
        } else if (t->running.load() != 0 || t->loop.load()) {
            registry->unlink(t);  // its thread did not come along: it is over
            t->loop.store(false);
            t->running.store(0);
        }
    }
    if (registry->mainThreadID == former) {
        registry->mainThreadID = self;
    } else if (registry->mainThreadID != -1) {
        registry->mainThreadID = -1;  // the main thread stayed in the parent
    }
}

void ThreadManagerInternal::unlink(ThreadInternal* thread) {
    if (thread->prev != nullptr) {
        thread->prev->next = thread->next;
    } else if (head == thread) {
        head = thread->next;
    }
    if (thread->next != nullptr) {
        thread->next->prev = thread->prev;
    }
    thread->prev = nullptr;
    thread->next = nullptr;
}

void ThreadManagerInternal::registerThread(ThreadInternal* thread) {
    CGuard guard(mutex);
    thread->prev = nullptr;
    thread->next = head;
    if (head != nullptr) {
        head->prev = thread;
    }
    head = thread;
}

void ThreadManagerInternal::unregisterThread(ThreadInternal* thread) {
    CGuard guard(mutex);
    unlink(thread);
}

ThreadInternal* ThreadManagerInternal::findThread(int id) {
    CGuard guard(mutex);
    for (ThreadInternal* thread = head; thread != nullptr; thread = thread->next) {
        if (thread->id.load() == id) {
            return thread;
        }
    }
    return nullptr;
}

void ThreadManagerInternal::registerMainThread() {
    CGuard guard(mutex);
    mainThreadID = static_cast<int>(Detail::Platform::currentThreadId());
}

void ThreadManagerInternal::dumpThreads() {
    KERNA_LOG(4, "Threads:\n");
    KERNA_LOG(4, "               Name            TID  Prior State\n");
    KERNA_LOG(4, "_______________________________________________________\n");
    int mainId;
    {
        CGuard guard(mutex);
        mainId = mainThreadID;
    }
    // Printed outside the lock: the print path may call a printer or listener.
    KERNA_LOG(4, "%24s   %8d  %3d  %s\n", "Main", mainId, 64, "Normal");
    std::list<CThreadManager::ThreadInfo> infos;
    getThreadsInfo(infos);
    for (const CThreadManager::ThreadInfo& info : infos) {
        KERNA_LOG(4, "%24s   %8u  %3u  %s\n", info.name, static_cast<unsigned int>(info.id),
                  static_cast<unsigned int>(info.priority), info.timeout ? "Timeout" : "Normal");
    }
    KERNA_LOG(4, "\n");
}

bool ThreadManagerInternal::getThreadsInfo(std::list<CThreadManager::ThreadInfo>& list) {
    Detail::LinesAfterLock held;  // the clock's first reading prints a line
    CGuard guard(mutex);
    if (head == nullptr) {
        return false;
    }
    for (ThreadInternal* thread = head; thread != nullptr; thread = thread->next) {
        CThreadManager::ThreadInfo info;
        readInfo(thread, info);
        list.push_back(info);
    }
    return true;
}

bool ThreadManagerInternal::getThreadNameByID(int id, String& name) {
    CGuard guard(mutex);
    for (ThreadInternal* thread = head; thread != nullptr; thread = thread->next) {
        if (thread->id.load() == id) {
            CGuard threadGuard(thread->mutex);
            name = thread->name;
            return true;
        }
    }
    return false;
}

bool ThreadManagerInternal::getTimeOutThreads(String& names) {
    Detail::LinesAfterLock held;  // the clock's first reading prints a line
    CGuard guard(mutex);
    names.clear();
    unsigned long long now = CTime::getCurrentMilliSecond();
    bool found = false;
    for (ThreadInternal* thread = head; thread != nullptr; thread = thread->next) {
        CGuard threadGuard(thread->mutex);
        unsigned long long expiry = thread->expiry.load();
        if (expiry != 0 && expiry < now) {
            char idText[15];
            std::snprintf(idText, sizeof(idText), "(%d)", thread->id.load());
            names += thread->name;
            names += idText;
            found = true;
        }
    }
    return found;
}

bool ThreadManagerInternal::hasThread(int id) {
    return findThread(id) != nullptr;
}

CThreadManager::CThreadManager() : m_internal(ThreadManagerInternal::instance()) {}

CThreadManager::~CThreadManager() = default;

CThreadManager* CThreadManager::instance() {
    return Detail::ProcessObject<ThreadManagerFacade>::get()->facade;
}

void CThreadManager::registerMainThread() {
    m_internal->registerMainThread();
}

void CThreadManager::dumpThreads() {
    m_internal->dumpThreads();
}

bool CThreadManager::getThreadsInfo(std::list<ThreadInfo>& list) {
    return m_internal->getThreadsInfo(list);
}

bool CThreadManager::getThreadNameByID(int id, String& name) {
    return m_internal->getThreadNameByID(id, name);
}

bool CThreadManager::getTimeOutThreads(String& names) {
    return m_internal->getTimeOutThreads(names);
}

bool CThreadManager::hasThread(int id) {
    return m_internal->hasThread(id);
}

}  // namespace Kerna
}  // namespace Tessaran

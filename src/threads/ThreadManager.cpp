// ThreadManager.cpp - ThreadManagerInternal, the thread registry, and its face CThreadManager.

#include "kerna/kerna3/ThreadManager.h"

#include "kerna/kerna3/Time.h"

#include <cstdio>
#include <cstring>

#include "base/ExitRoutine.h"
#include "threads/ThreadInternal.h"
#include "threads/ThreadManagerInternal.h"
#include "base/Log.h"
#include "platform/Tls.h"

namespace Tessaran {
namespace Kerna {

namespace {

std::atomic<ThreadManagerInternal*> g_registry{nullptr};
std::atomic<CThreadManager*> g_facade{nullptr};

// The creation locks are made on first use and never freed: exit routines and late threads
// may still come through instance().
CMutex& registryCreationLock() {
    static CMutex* lock = new CMutex;
    return *lock;
}

CMutex& facadeCreationLock() {
    static CMutex* lock = new CMutex;
    return *lock;
}

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
    ThreadManagerInternal* registry = g_registry.load(std::memory_order_acquire);
    if (registry == nullptr) {
        CGuard guard(registryCreationLock());
        registry = g_registry.load(std::memory_order_acquire);
        if (registry == nullptr) {
            registry = new ThreadManagerInternal;
            g_registry.store(registry, std::memory_order_release);
            if (!Detail::registerExitRoutine(&ThreadManagerInternal::resetInstance)) {
                KERNA_LOG(4, "atexit failed!\n");
            }
        }
    }
    return registry;
}

void ThreadManagerInternal::resetInstance() {
    CGuard guard(registryCreationLock());
    ThreadManagerInternal* registry = g_registry.load(std::memory_order_acquire);
    if (registry == nullptr) {
        return;
    }
    {
        CGuard listGuard(registry->mutex);
        if (registry->m_objects.load() != 0 || registry->head != nullptr) {
            return;
        }
    }
    g_registry.store(nullptr, std::memory_order_release);
    delete registry;
}

CThreadManager* ThreadManagerInternal::makeFacade() {
    return new CThreadManager;
}

void ThreadManagerInternal::resetFacade() {
    CGuard guard(facadeCreationLock());
    delete g_facade.exchange(nullptr);
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
    CThreadManager* facade = g_facade.load(std::memory_order_acquire);
    if (facade == nullptr) {
        CGuard guard(facadeCreationLock());
        facade = g_facade.load(std::memory_order_acquire);
        if (facade == nullptr) {
            facade = ThreadManagerInternal::makeFacade();
            g_facade.store(facade, std::memory_order_release);
            if (!Detail::registerExitRoutine(&ThreadManagerInternal::resetFacade)) {
                KERNA_LOG(4, "atexit failed!\n");
            }
        }
    }
    return facade;
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

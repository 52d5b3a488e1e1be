// ThreadManagerInternal.h - the process-wide registry of running CThread objects.
//
// A doubly linked list through the prev and next links of ThreadInternal, newest first. A
// thread enters and leaves it by itself, from its body; the registry owns nothing in it.
// Lock order: the registry's mutex first, then a ThreadInternal's mutex.

#ifndef KERNA_SRC_THREADS_THREADMANAGERINTERNAL_H_
#define KERNA_SRC_THREADS_THREADMANAGERINTERNAL_H_

#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/ThreadManager.h"

#include <atomic>
#include <list>

namespace Tessaran {
namespace Kerna {

class ThreadInternal;

class ThreadManagerInternal {
public:
    /// The process-wide registry, made on first use by double-checked creation.
    static ThreadManagerInternal* instance();

    /// Puts thread at the head of the list. Called from the thread's body.
    void registerThread(ThreadInternal* thread);

    /// Takes thread out of the list. Called from the thread's body.
    void unregisterThread(ThreadInternal* thread);

    /// The registered thread with identifier id, or null. The registry's lock is released
    /// before the caller uses the result: ask only about the calling thread.
    ThreadInternal* findThread(int id);

    void registerMainThread();
    void dumpThreads();
    bool getThreadsInfo(std::list<CThreadManager::ThreadInfo>& list);
    bool getThreadNameByID(int id, String& name);
    bool getTimeOutThreads(String& names);
    bool hasThread(int id);

    /// Counts the thread objects that point at this registry, so that the exit routine frees
    /// it only when none can reach it any more.
    void objectCreated() { m_objects.fetch_add(1); }
    void objectDestroyed() { m_objects.fetch_sub(1); }

    /// Exit routine of the registry: frees it unless a thread object still points at it
    /// (threads may outlive the exit routines; they keep a valid registry then).
    static void resetInstance();

    /// Exit routine of the CThreadManager object, and the maker of it for
    /// CThreadManager::instance.
    static void resetFacade();
    static CThreadManager* makeFacade();

    ThreadInternal* head = nullptr;
    CMutex mutex;
    int mainThreadID = -1;

private:
    ThreadManagerInternal() = default;
    ~ThreadManagerInternal() = default;
    ThreadManagerInternal(const ThreadManagerInternal&) = delete;
    ThreadManagerInternal& operator=(const ThreadManagerInternal&) = delete;

    std::atomic<int> m_objects{0};
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_THREADS_THREADMANAGERINTERNAL_H_

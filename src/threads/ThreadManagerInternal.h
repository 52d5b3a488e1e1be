// ThreadManagerInternal.h - the process-wide registry of running CThread objects.
//
// A doubly linked list through the prev and next links of ThreadInternal, newest first. A
// thread enters and leaves it by itself, from its body; the registry owns nothing in it. Beside
// it the registry knows every thread object, running or not, so that a forked child can put
// them right (see below). Lock order: the registry's mutex first, then a ThreadInternal's mutex.
//
// After a fork the child has only the forking thread. Its object (if it is a CThread) keeps its
// place with the thread's new identifier, as does the main thread's registration; every other
// object tells of a thread that ended: it leaves the list and reads as over, so that it can be
// started again or destroyed without waiting for a thread that is not there.

#ifndef KERNA_SRC_THREADS_THREADMANAGERINTERNAL_H_
#define KERNA_SRC_THREADS_THREADMANAGERINTERNAL_H_

#include "base/ProcessObject.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/ThreadManager.h"

#include <list>

namespace Tessaran {
namespace Kerna {

class ThreadInternal;

class ThreadManagerInternal {
public:
    /// The process-wide registry, built at the first call and kept to the end of the process.
    static ThreadManagerInternal* instance();

    ThreadManagerInternal();
    ThreadManagerInternal(const ThreadManagerInternal&) = delete;
    ThreadManagerInternal& operator=(const ThreadManagerInternal&) = delete;
    void published() {}
    void atProcessExit() {}  // the registry runs no thread of its own

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

    /// A thread object joins and leaves the set of all thread objects.
    void objectCreated(ThreadInternal* thread);
    void objectDestroyed(ThreadInternal* thread);

    /// The CThreadManager object, for CThreadManager::instance.
    static CThreadManager* makeFacade();

    ThreadInternal* head = nullptr;
    CMutex mutex;
    int mainThreadID = -1;

private:
    static void afterForkInChild();
    void unlink(ThreadInternal* thread);

    ThreadInternal* m_objects = nullptr;  // every thread object, under mutex
};

namespace Detail {
template <>
struct ProcessObjectName<ThreadManagerInternal> {
    static constexpr const char* value = "Tessaran::Kerna::ThreadManagerInternal::instance";
};
}  // namespace Detail

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_THREADS_THREADMANAGERINTERNAL_H_

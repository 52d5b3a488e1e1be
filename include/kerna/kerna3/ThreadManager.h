// ThreadManager.h - CThreadManager, the public face of the process-wide thread registry.
//
// Every CThread is in the registry while its body runs (not before the body has begun, not
// after threadProc has returned). Through CThreadManager a program lists its threads, turns a
// thread identifier into a name and asks which threads have passed their watch-dog deadline.

#ifndef KERNA_KERNA3_THREADMANAGER_H_
#define KERNA_KERNA3_THREADMANAGER_H_

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/FlexString.h"

#include <list>

namespace Tessaran {
namespace Kerna {

class ThreadManagerInternal;

/// The thread registry. Any thread may call every operation; the registry's lock is short and
/// no operation calls user code while holding it.
class KERNA_API CThreadManager {
public:
    /// The record of one registered thread.
    struct ThreadInfo {
        char name[32];              ///< at most 31 characters used, rest zero
        int id;                     ///< platform thread identifier
        int stackSize;              ///< as given to the thread's constructor
        unsigned int priority : 7;  ///< the thread's priority and 127
        unsigned int policy : 1;    ///< lowest bit of the thread's policy
        unsigned int timeout : 1;   ///< 1 when the thread's deadline is set and has passed
    };

    /// The process-wide object, made on first use (the library makes it at load time).
    static CThreadManager* instance();

    /// Remembers the calling thread as the main thread, listed first by dumpThreads.
    void registerMainThread();

    /// Prints the thread table at level 4: header, the main thread, one row per registered
    /// thread (newest first) with "Timeout" or "Normal", and an empty line.
    void dumpThreads();

    /// Appends one record per registered thread, newest first; list is not cleared first.
    /// False, with list untouched, when no thread is registered.
    bool getThreadsInfo(std::list<ThreadInfo>& list);

    /// Copies the name of the registered thread with identifier id into name. False, with name
    /// untouched, when there is none.
    bool getThreadNameByID(int id, String& name);

    /// Clears names, then appends "name(id)" for each thread past its deadline, with nothing
    /// between entries. True if there was any.
    bool getTimeOutThreads(String& names);

    /// True if a registered thread has identifier id. The main thread counts only if it runs
    /// as a CThread.
    bool hasThread(int id);

private:
    friend class ThreadManagerInternal;
    CThreadManager();
    ~CThreadManager();
    CThreadManager(const CThreadManager&) = delete;
    CThreadManager& operator=(const CThreadManager&) = delete;

    ThreadManagerInternal* m_internal;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_THREADMANAGER_H_

// Thread.h - CThread, the base of every thread the library and its users run, and CThreadLite,
// a thread that runs a delegate.
//
// A thread object is named, has a priority (1 highest to 127 lowest, 64 normal), a policy
// (1 realtime, others normal) and a stack size, can be started, asked to stop, restarted once
// its body has ended, and watched with a watch-dog deadline on CTime's monotonic clock. While its
// body runs, the thread is entered in the registry that CThreadManager shows.

#ifndef KERNA_KERNA3_THREAD_H_
#define KERNA_KERNA3_THREAD_H_

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/Function.h"

namespace Tessaran {
namespace Kerna {

class ThreadInternal;
class ThreadLiteInternal;

/// Base of every thread. A subclass supplies threadProc, tests looping() in its main loop and
/// stops the thread in its own destructor (destroyThread), before its members go.
///
/// createThread, destroyThread, cancelThread and isTimeout may be called from any thread;
/// misuse is reported by the result and a line at level 3, never by an exception.
class KERNA_API CThread {
public:
    /// Makes a thread object; starts nothing. A null name reads "Nonamed"; at most 31
    /// characters of a name are kept.
    CThread(const char* name, int priority = 64, int policy = 0, int stackSize = 0);

    /// Stops the thread if it is still asked to loop and waits until its body has ended.
    /// Must run on another thread than the object's own; from its own thread the object is
    /// released and the body ends when threadProc returns.
    virtual ~CThread();

    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    /// Starts the body on a new thread. False, with a line at level 3, while the object is
    /// still asked to loop; false, with a line at level 2 naming the error, when the platform
    /// cannot start the thread. A priority the system refuses never stops a start. The object
    /// stays restartable after a failure and can be started again once its body has ended.
    bool createThread();

    /// Asks the body to stop and waits until it has ended; from the thread itself it returns at
    /// once. True if a stop was carried through; false, with a line at level 3, when the object
    /// was destroyed already on this run, has ended, or was never started.
    bool destroyThread();

    /// destroyThread, then a kill of the thread if it still runs. Called from another thread,
    /// destroyThread has already waited for the body to end (for ever, if the body never tests
    /// looping()), so nothing is left to kill: the thread is stopped as by destroyThread and the
    /// result is false. Called from the thread itself nothing waits: the kill acts at the
    /// thread's next cancellation point (a sleep, a wait, looping()), which unwinds it, running
    /// destructors and leaving the registry, and the result is true. False, with a line at
    /// level 2, when the object was never started.
    bool terminateThread();

    /// Clears the loop flag without waiting. False, with a line at level 3, if it was not set.
    bool cancelThread();

    /// True when the body does not run and is not asked to: never started, or finished.
    bool isThreadOver();

    /// What the body should test in its main loop: true while it should go on.
    bool looping() const;

    /// The platform identifier of the thread; -1 until its body has begun.
    int getThreadID();

    /// The stored name, owned by the object.
    char const* getThreadName();

    /// Renames the object, as the constructor does.
    void setThreadName(const char* name);

    /// Kept for older callers: the stack size given at construction is always used.
    void enableStackSize();

    /// Sets the watch-dog deadline to the current milliseconds plus milliSeconds (signed);
    /// 0 clears it. A deadline only shows in isTimeout and CThreadManager; nothing is stopped.
    void setTimeout(int milliSeconds);

    /// The same from a time the caller has read already.
    void setTimeout(int milliSeconds, unsigned long long now);

    /// True when a deadline is set and lies before the current milliseconds.
    bool isTimeout();

    /// Returns socket; kept for older callers.
    int shareSocket(int socket);

    /// The platform identifier of the calling thread.
    static int getCurrentThreadID();

    /// setTimeout for the calling thread, found by identifier in the registry. False if the
    /// calling thread is no running CThread.
    static bool setCurrentTimeout(int milliSeconds);

    /// Suspends the calling thread for milliSeconds.
    static void sleep(int milliSeconds);

    /// Checks that percent lies from 1 to 100; logs at level 2 otherwise. Nothing more.
    static void load(int percent);

protected:
    /// The body. Runs on the new thread, with the object in the registry.
    virtual void threadProc() = 0;

private:
    friend class ThreadInternal;
    ThreadInternal* m_internal;
};

/// A thread that runs a delegate, given the thread object; the delegate tests looping() itself.
class KERNA_API CThreadLite : public CThread {
public:
    typedef TFunction1<void, CThreadLite&> ThreadProc;

    /// Makes a thread object that will run proc; an empty proc makes a body that logs at
    /// level 2 and returns.
    CThreadLite(ThreadProc proc, const char* name, int priority = 64, int policy = 0,
                int stackSize = 0);

    /// Stops the thread (destroyThread) if it is not over, then frees the delegate.
    ~CThreadLite() override;

protected:
    void threadProc() override;

private:
    ThreadLiteInternal* m_internal;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_THREAD_H_

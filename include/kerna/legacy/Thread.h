// Thread.h
//
// The older global CThread, IThreadManager and CThreadManager, and two loose functions. They hold
// no logic of their own: a global CThread runs on a Tessaran::Kerna::CThread that it owns (its
// bridge, which stands in the thread registry under the thread's name), and the global thread
// manager forwards to Tessaran::Kerna::CThreadManager. A source-level interface: not exported from
// libkerna.so; it comes with the static companion library kerna_source.
#ifndef KERNA_LEGACY_THREAD_H_
#define KERNA_LEGACY_THREAD_H_

class CThreadDrived;
class LegacyThreadInternal;

/// Base of older threads. A subclass supplies threadProc, tests looping() in its loop and stops
/// the thread in its own destructor (destroyThread), before its members go: the base destructor
/// stops a thread that still runs, but by then the subclass's part is gone. Every operation
/// behaves, reports and logs as the operation of the same name of Tessaran::Kerna::CThread.
class CThread {
public:
    /// A thread object (nothing starts); name, priority, policy and stack size as for
    /// Tessaran::Kerna::CThread.
    CThread(const char* name, int priority = 64, int policy = 0, int stackSize = 0);
    /// Stops the thread if it still runs and waits until its body has ended.
    virtual ~CThread();
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    void setThreadName(const char* name);
    bool createThread();
    bool destroyThread();
    bool cancelThread();
    bool terminateThread();
    bool isThreadOver();
    int getThreadID();
    int shareSocket(int socket);
    void setTimeout(int milliSeconds);
    void setTimeout(int milliSeconds, unsigned long long now);
    bool isTimeout();
    bool looping() const;

    static int getCurrentThreadID();
    static bool setCurrentTimeout(int milliSeconds);

protected:
    /// The body; runs on the new thread.
    virtual void threadProc() = 0;

private:
    friend class ::CThreadDrived;
    ::LegacyThreadInternal* m_internal;
};

/// The older face of the thread registry.
class IThreadManager {
public:
    virtual ~IThreadManager();
    /// Remembers the calling thread as the main thread of the registry's table.
    virtual void registerMainThread() = 0;
    /// Prints the registry's table at level 4.
    virtual void dumpThreads() = 0;
    /// Kept for older callers that took threads out of the registry by hand: threads leave it by
    /// themselves when their body ends, so this does nothing and returns true.
    virtual bool unregisterThread(int threadId) = 0;

    /// The one global CThreadManager, made when the library is loaded.
    static IThreadManager* instance();
};

/// The implementation of IThreadManager: forwards to Tessaran::Kerna::CThreadManager::instance().
class CThreadManager : public IThreadManager {
public:
    void registerMainThread() override;
    void dumpThreads() override;
    bool unregisterThread(int threadId) override;

private:
    friend class LegacyThreadManagerObject;
    CThreadManager();
    ~CThreadManager() override;
};

/// Starts `command` and waits for it, as Tessaran::Kerna::systemCall.
int SystemCall(const char* command);

/// Ends the calling thread at once with exit code 0; the argument is not looked at. The stack is
/// unwound (destructors run) and a thread object's body ends as when it is killed.
[[noreturn]] void ExitThread(int unused);

#endif  // KERNA_LEGACY_THREAD_H_

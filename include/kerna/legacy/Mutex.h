// Mutex.h
//
// The older global CMutex and CGuard. This CMutex is a system mutex of its own and shares
// nothing with Tessaran::Kerna::CMutex: its operations report whether they succeeded, and
// TryEnter never blocks. The older headers name their own classes with "::", so that they stay
// unambiguous after a `using namespace Tessaran::Kerna` in front of them.
#ifndef KERNA_LEGACY_MUTEX_H_
#define KERNA_LEGACY_MUTEX_H_

#include "kerna/kerna3/Defs.h"

class LegacyMutexInternal;

/// A mutex that its owner may enter again; it must then leave as often. Any thread may use it,
/// and the system orders the waiters. Not copyable.
class KERNA_API CMutex {
public:
    /// Kept for older callers; the value has no effect.
    enum Type { mutexFast = 0, mutexRecursive = 1 };

    /// A mutex that no thread owns. A system that refuses the mutex is an internal error: the
    /// process ends through the assertion "m_internal->m_handle".
    CMutex(Type type = mutexFast);
    ~CMutex();
    CMutex(const CMutex&) = delete;
    CMutex& operator=(const CMutex&) = delete;

    /// Waits without limit; true when the wait ended with the mutex owned.
    bool Enter();
    /// Does not wait: true when the mutex was free (or is the caller's already) and is now owned.
    bool TryEnter();
    /// Leaves once; false when the caller does not own the mutex (nothing changes then).
    bool Leave();

private:
    ::LegacyMutexInternal* m_internal;
};

/// Enters a global CMutex for the life of the guard.
class KERNA_API CGuard {
public:
    explicit CGuard(::CMutex& mutex) : m_mutex(mutex) { m_mutex.Enter(); }
    ~CGuard() { m_mutex.Leave(); }
    CGuard(const CGuard&) = delete;
    CGuard& operator=(const CGuard&) = delete;

private:
    ::CMutex& m_mutex;
};

#endif  // KERNA_LEGACY_MUTEX_H_

// Mutex.h
//
// CMutex, the library's plain lock, re-enterable by the thread that holds it, and CGuard, its
// scoped holder.
#ifndef KERNA_KERNA3_MUTEX_H_
#define KERNA_KERNA3_MUTEX_H_

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {

class MutexInternal;
namespace Detail {
class MutexAccess;
}

/// A lock that its holder may enter again; it must then be left as often as it was entered.
/// Other threads block. leave() must be called by the holder; it is not checked.
class KERNA_API CMutex {
public:
    CMutex();
    ~CMutex();
    CMutex(const CMutex&) = delete;
    CMutex& operator=(const CMutex&) = delete;

    /// Blocks until the lock is held; always true.
    bool enter();
    /// True if the lock was taken at once (also by its holder), false if another thread holds it.
    bool tryEnter();
    /// Leaves once; always true.
    bool leave();

private:
    friend class Detail::MutexAccess;
    MutexInternal* m_internal;
};

/// Enters a CMutex for the life of the guard.
class KERNA_API CGuard {
public:
    explicit CGuard(CMutex& mutex) : m_mutex(mutex) { m_mutex.enter(); }
    ~CGuard() { m_mutex.leave(); }
    CGuard(const CGuard&) = delete;
    CGuard& operator=(const CGuard&) = delete;

private:
    CMutex& m_mutex;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_MUTEX_H_

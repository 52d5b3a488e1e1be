// RecursiveMutex.h
//
// CRecursiveMutex, a lock whose re-entry by the holder costs only a read and an increment, and
// CRecursiveGuard, its scoped holder.
#ifndef KERNA_KERNA3_RECURSIVEMUTEX_H_
#define KERNA_KERNA3_RECURSIVEMUTEX_H_

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {

class RecursiveMutexInternal;

/// A lock with a nesting count kept by its holder. There is no tryEnter. leave() must be called by
/// the holder as often as it entered; it is not checked.
class KERNA_API CRecursiveMutex {
public:
    CRecursiveMutex();
    ~CRecursiveMutex();
    CRecursiveMutex(const CRecursiveMutex&) = delete;
    CRecursiveMutex& operator=(const CRecursiveMutex&) = delete;

    /// Always true.
    bool enter();
    /// Always true.
    bool leave();

private:
    RecursiveMutexInternal* m_internal;
};

/// Enters a CRecursiveMutex for the life of the guard.
class KERNA_API CRecursiveGuard {
public:
    explicit CRecursiveGuard(CRecursiveMutex& mutex) : m_mutex(mutex) { m_mutex.enter(); }
    ~CRecursiveGuard() { m_mutex.leave(); }
    CRecursiveGuard(const CRecursiveGuard&) = delete;
    CRecursiveGuard& operator=(const CRecursiveGuard&) = delete;

private:
    CRecursiveMutex& m_mutex;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_RECURSIVEMUTEX_H_

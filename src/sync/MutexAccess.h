// MutexAccess.h
//
// What the library's own code may do to a CMutex beyond entering and leaving it: free it in a
// forked child. The fork handlers of each subsystem take their locks before a fork; in the child
// the forking thread holds them under an identifier it no longer has, so they are made free anew.
#ifndef KERNA_SRC_SYNC_MUTEXACCESS_H_
#define KERNA_SRC_SYNC_MUTEXACCESS_H_

#include <atomic>

#include "base/ProcessObject.h"
#include "kerna/kerna3/Mutex.h"
#include "platform/Fork.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

class MutexAccess {
public:
    /// In a forked child, with no other thread about: the mutex is free again.
    static void resetAfterFork(CMutex& mutex);
};

/// The fork steps of a process-wide object's lock `T::*member` (a CMutex or a CRecursiveMutex):
/// taken before a fork if the object exists, given back after it in the parent. What the child
/// does is the object's own affair.
template <class T, class Lock, Lock T::*member>
struct LockAroundFork {
    static void prepare() {
        if (T* object = ProcessObject<T>::peek()) (object->*member).enter();
    }
    static void parent() {
        if (T* object = ProcessObject<T>::peek()) (object->*member).leave();
    }
};

/// For a process-wide object ProcessObject<T> whose state is guarded by one CMutex member
/// (`lock` unless named): registers (once per type) fork handlers that take the lock before a
/// fork if the object exists, give it back after, and make it free in the child. Call from T's
/// constructor.
template <class T, CMutex T::*member = &T::lock>
void keepLockAcrossFork(int rank) {
    static std::atomic<bool> added{false};
    if (added.exchange(true)) return;
    using Steps = LockAroundFork<T, CMutex, member>;
    Platform::addForkHandlers(rank, &Steps::prepare, &Steps::parent, [] {
        if (T* object = ProcessObject<T>::peek()) MutexAccess::resetAfterFork(object->*member);
    });
}

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_SYNC_MUTEXACCESS_H_

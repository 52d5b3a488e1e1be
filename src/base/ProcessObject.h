// ProcessObject.h
//
// The one way the library keeps a process-wide object (thread registry, timer manager, error
// table, packet managers, ...). The object is built once, by double-checked creation on a
// creation lock of its own, and is never destroyed: at process exit its exit routine quiesces it
// (stops its threads and timers, closes what must be closed) but the memory and the holder stay.
// So a thread that still runs while the exit routines run, a handle released by a static
// destructor after them, or a print listener that reaches the object during exit always finds
// the same object, and nothing is ever built a second time. The object stays reachable from its
// holder, so leak checkers count it as still reachable, not lost.
//
// A type kept this way provides:
//   - a default constructor that prints nothing (a print listener may call the library again,
//     and would find the object not yet published);
//   - void published():     runs once on the building thread right after the object is
//                           published and the creation lock is left; the place for lines about
//                           the construction;
//   - void atProcessExit(): the exit routine's work; runs at most once; must leave the object
//                           usable by late callers (a stopped timer manager still answers).
#ifndef KERNA_SRC_BASE_PROCESSOBJECT_H_
#define KERNA_SRC_BASE_PROCESSOBJECT_H_

#include <atomic>

#include "base/ExitRoutine.h"
#include "base/Log.h"
#include "kerna/kerna3/Mutex.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

template <class T>
class ProcessObject {
public:
    /// The object, built at the first call on any thread. Never null, never built twice.
    static T* get() {
        T* object = s_object.load(std::memory_order_acquire);
        return object != nullptr ? object : build();
    }

    /// The object if it has been built, else null. Builds nothing.
    static T* peek() { return s_object.load(std::memory_order_acquire); }

    /// True once the exit routine of the object has run.
    static bool exited() { return s_exited.load(std::memory_order_acquire); }

private:
    static CMutex& creationLock() {
        static CMutex* lock = new CMutex;  // never destroyed: creation may happen during exit
        return *lock;
    }

    static T* build() {
        T* object;
        bool refused;
        {
            CGuard guard(creationLock());
            object = s_object.load(std::memory_order_acquire);
            if (object != nullptr) return object;
            // The constructor runs under the creation lock; a re-entry from the same thread
            // (which the re-enterable lock would let through) would build a second object.
            KERNA_ASSERT_MSG(!s_building.load(std::memory_order_relaxed),
                             "a process-wide object is used by its own constructor");
            s_building.store(true, std::memory_order_relaxed);
            object = new T;
            s_building.store(false, std::memory_order_relaxed);
            s_object.store(object, std::memory_order_release);
            refused = !registerExitRoutine(&ProcessObject::atExit);
        }
        // Lines only now: no lock held, the object reachable by a listener that wants it.
        if (refused) KERNA_LOG(4, "atexit failed!\n");
        object->published();
        return object;
    }

    static void atExit() {
        T* object = s_object.load(std::memory_order_acquire);
        if (object == nullptr || s_exited.exchange(true, std::memory_order_acq_rel)) return;
        object->atProcessExit();
    }

    static inline std::atomic<T*> s_object{nullptr};
    static inline std::atomic<bool> s_exited{false};
    static inline std::atomic<bool> s_building{false};
};

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_BASE_PROCESSOBJECT_H_

// ProcessObject.h
//
// The one way the library keeps a process-wide object (thread registry, timer manager, error
// table, print-path state, packet managers, ...). The object is built once, by double-checked
// creation under the process lock, and is never destroyed: at process exit its exit routine
// quiesces it (stops its threads and timers, closes what must be closed) but the memory and the
// holder stay. So a thread that still runs while the exit routines run, a handle released by a
// static destructor after them, or a print listener that reaches the object during exit always
// finds the same object, and nothing is ever built a second time. The object stays reachable
// from its holder, so leak checkers count it as still reachable, not lost.
//
// All objects are built under one lock, the process lock of the platform (re-enterable, so a
// constructor may use other process-wide objects, which are then built inside it). A fork waits
// for that lock, so no child ever sees an object half built.
//
// A type kept this way provides:
//   - a default constructor, reachable by ProcessObject. Lines it prints (and lines of objects
//     built inside it) are kept and printed, in order, once the object is published and the
//     lock is left: a listener that reaches the object finds it;
//   - void published():     runs once on the building thread after the object is published,
//                           the lock is left and the constructor's lines are out;
//   - void atProcessExit(): the exit routine's work; runs at most once; must leave the object
//                           usable by late callers (a stopped timer manager still answers).
// ProcessObjectName<T> names the function that the "atexit failed!" line reports.
#ifndef KERNA_SRC_BASE_PROCESSOBJECT_H_
#define KERNA_SRC_BASE_PROCESSOBJECT_H_

#include <atomic>

#include "base/ExitRoutine.h"
#include "base/Log.h"
#include "kerna/kerna3/Mutex.h"  // for the types kept this way, which mostly hold one
#include "platform/Fork.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// The function name of the line "atexit failed!" of T's holder; specialise it per type.
template <class T>
struct ProcessObjectName {
    static constexpr const char* value = "Tessaran::Kerna::Detail::ProcessObject::get";
};

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
    class ProcessLockGuard {
    public:
        ProcessLockGuard() { Platform::enterProcessLock(); }
        ~ProcessLockGuard() { Platform::leaveProcessLock(); }
        ProcessLockGuard(const ProcessLockGuard&) = delete;
        ProcessLockGuard& operator=(const ProcessLockGuard&) = delete;
    };

    static T* build() {
        T* object;
        {
            // The constructor's lines (and those of objects built inside it) print once the
            // lock is left and the object is published, in order.
            LinesAfterLock held;
            bool refused;
            {
                ProcessLockGuard guard;
                object = s_object.load(std::memory_order_acquire);
                if (object != nullptr) return object;
                // A re-entry from the same thread (which the re-enterable lock lets through)
                // would build a second object.
                KERNA_ASSERT_MSG(!s_building.load(std::memory_order_relaxed),
                                 "a process-wide object is used by its own constructor");
                s_building.store(true, std::memory_order_relaxed);
                object = new T;
                s_building.store(false, std::memory_order_relaxed);
                s_object.store(object, std::memory_order_release);
                refused = !registerExitRoutine(&ProcessObject::atExit);
            }
            if (refused && printWouldPass(4)) {
                logAt(4, __FILE__, ProcessObjectName<T>::value, __LINE__, "atexit failed!\n");
            }
        }
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

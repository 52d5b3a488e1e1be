// ThreadInternal.h - the implementation object of CThread.
//
// Holds the state of one thread object: the platform handle, the flags of the state machine
// (Idle, Starting, Running, Stopping, Over), the watch-dog deadline and the links of the thread
// registry. loop, running, id and expiry are single words read without the lock.

#ifndef KERNA_SRC_THREADS_THREADINTERNAL_H_
#define KERNA_SRC_THREADS_THREADINTERNAL_H_

#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/Thread.h"

#include <atomic>
#include <cstdint>

namespace Tessaran {
namespace Kerna {

namespace Detail {
namespace Platform {
class ThreadHandle;
}

/// The platform level (15, 2, 1, 0, -1, -2, -15) of a priority and policy: policy 1 gives 15,
/// else 15 - ((priority - 1) * 30) / 126 put into its band.
int threadPlatformLevel(int policy, int priority);
}  // namespace Detail

class ThreadManagerInternal;

class ThreadInternal {
public:
    ThreadInternal(CThread* ownerIn, const char* nameIn, int priorityIn, int policyIn,
                   int stackSizeIn);
    ~ThreadInternal();
    ThreadInternal(const ThreadInternal&) = delete;
    ThreadInternal& operator=(const ThreadInternal&) = delete;

    /// Stores name as the constructor does ("Nonamed" for null, 31 characters at most).
    /// Caller holds mutex.
    void storeName(const char* nameIn);

    /// Calls threadProc of the owner.
    void runOwner() { owner->threadProc(); }

    Detail::Platform::ThreadHandle* handle = nullptr;
    std::atomic<int32_t> running{0};
    int policy;
    int priority;
    int stackSize;
    std::atomic<int> id{-1};
    char name[32];
    ThreadInternal* prev = nullptr;  // registry links, under the registry's mutex
    ThreadInternal* next = nullptr;
    ThreadInternal* objectPrev = nullptr;  // the registry's set of all objects, under its mutex
    ThreadInternal* objectNext = nullptr;
    std::atomic<unsigned long long> expiry{0};
    std::atomic<bool> loop{false};
    std::atomic<bool> destroyed{false};
    ThreadManagerInternal* manager;
    CThread* owner;
    CMutex mutex;
    // Set when the owner was destroyed on this very thread: the body then frees this object
    // itself once threadProc has returned. Only that thread reads or writes it.
    bool orphaned = false;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_THREADS_THREADINTERNAL_H_

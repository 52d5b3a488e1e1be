// Lock.h
//
// Private platform interface: locks, events and semaphores. Declarations only; the storage of each
// object is opaque here and sized for the platform's own object in src/platform/posix/.
#ifndef KERNA_SRC_PLATFORM_LOCK_H_
#define KERNA_SRC_PLATFORM_LOCK_H_

#include <atomic>
#include <cstdint>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

/// A lock that its holder may enter again (it must leave as often). Uncontended fast.
class Lock {
public:
    Lock();
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    void enter();
    bool tryEnter();  ///< true if taken at once, also by the holder
    bool leave();     ///< false (nothing changes) when the caller does not hold the lock
    /// In a forked child: makes the lock free, whoever held it in the parent (the holder is
    /// gone, or is the forking thread under a new identifier). Only while no other thread
    /// can touch the lock.
    void resetAfterFork();

private:
    alignas(8) unsigned char m_storage[48];
};

/// A plain, non-recursive lock.
class PlainLock {
public:
    PlainLock();
    ~PlainLock();
    PlainLock(const PlainLock&) = delete;
    PlainLock& operator=(const PlainLock&) = delete;
    void enter();
    void leave();
    /// As Lock::resetAfterFork.
    void resetAfterFork();

private:
    alignas(8) unsigned char m_storage[48];
};

/// An event that stays signalled until reset and releases every waiter when set.
class ManualEvent {
public:
    ManualEvent();
    ~ManualEvent();
    ManualEvent(const ManualEvent&) = delete;
    ManualEvent& operator=(const ManualEvent&) = delete;
    void set();
    /// Unsignals the event; returns the count of sets so far, for waitSince.
    uint64_t reset();
    /// Waits until the event is signalled or set() has been called since reset() returned
    /// `generation`: a waiter that resets and then leaves its lock before it waits is not
    /// stranded by a set() and another thread's reset() that both come in that gap.
    void waitSince(uint64_t generation);

private:
    alignas(8) unsigned char m_storage[112];
};

/// A counting semaphore; each post wakes exactly one waiter. Waits with a limit run on the
/// monotonic clock.
class Semaphore {
public:
    static const int32_t maxCount = 2147483647;
    /// ok() is false when the platform refused (for example a count out of range).
    explicit Semaphore(int32_t initialCount);
    ~Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;
    bool ok() const { return m_ok; }
    /// Waits; `timeoutMs` 0xFFFFFFFF is no limit, 0 does not wait. True if a count was taken.
    bool wait(uint32_t timeoutMs);
    /// False at the maximum (nothing changes).
    bool post();

private:
    alignas(8) unsigned char m_storage[32];
    bool m_ok;
};

/// Blocks the calling thread while `word` holds `expected`, for at most `timeoutUs`
/// microseconds of the monotonic clock. Returns after a wake, when the value differs, at the
/// limit, or spuriously: callers test their condition again. Threads of this process only.
void waitOnWord(std::atomic<int32_t>& word, int32_t expected, uint32_t timeoutUs);

/// Wakes one thread blocked in waitOnWord on `word`, if any.
void wakeOneOnWord(std::atomic<int32_t>& word);

/// Sleeps on the monotonic clock; 0 gives up the time slice.
void sleepMs(uint32_t milliseconds);
/// Gives up the time slice.
void yieldThread();

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_LOCK_H_

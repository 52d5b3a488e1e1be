// PoolLock.h
//
// The lock of the packet pool's free lists. It is held only across list work that calls
// nothing else (no line is logged, no memory operator, callback or other lock is reached), so
// its holder never enters it again and it needs none of the re-enterable lock's bookkeeping:
// taking it is one compare-and-swap, leaving it one exchange, while nobody waits. A thread that
// finds it taken spins briefly, since list work lasts tens of nanoseconds, then sleeps on the
// lock word until the holder wakes it.

#ifndef KERNA_SRC_MEMORY_POOLLOCK_H_
#define KERNA_SRC_MEMORY_POOLLOCK_H_

#include <atomic>
#include <cstdint>

#include "platform/Lock.h"

namespace Tessaran {
namespace Memory {
namespace Detail {

class PoolLock {
public:
    PoolLock() = default;
    PoolLock(const PoolLock&) = delete;
    PoolLock& operator=(const PoolLock&) = delete;

    void enter() {
        int32_t expected = stateFree;
        if (!m_state.compare_exchange_strong(expected, stateHeld, std::memory_order_acquire,
                                             std::memory_order_relaxed)) {
            enterContended();
        }
    }

    void leave() {
        if (m_state.exchange(stateFree, std::memory_order_release) == stateHeldWithSleepers) {
            Kerna::Detail::Platform::wakeOneOnWord(m_state);
        }
    }

private:
    enum : int32_t { stateFree = 0, stateHeld = 1, stateHeldWithSleepers = 2 };

    __attribute__((noinline)) void enterContended() {
        for (int spin = 0; spin < 100; ++spin) {
#if defined(__x86_64__) || defined(__i386__)
            __builtin_ia32_pause();
#endif
            int32_t seen = m_state.load(std::memory_order_relaxed);
            if (seen == stateHeldWithSleepers) break;
            if (seen == stateFree && m_state.compare_exchange_weak(seen, stateHeld, std::memory_order_acquire,
                                                                   std::memory_order_relaxed)) {
                return;
            }
        }
        // From here on the word says that someone may sleep, so that the holder wakes one.
        while (m_state.exchange(stateHeldWithSleepers, std::memory_order_acquire) != stateFree) {
            Kerna::Detail::Platform::waitOnWord(m_state, stateHeldWithSleepers);
        }
    }

    std::atomic<int32_t> m_state{stateFree};
};

/// Holds a PoolLock for its own life.
class PoolGuard {
public:
    explicit PoolGuard(PoolLock& lock) : m_lock(lock) { m_lock.enter(); }
    ~PoolGuard() { m_lock.leave(); }
    PoolGuard(const PoolGuard&) = delete;
    PoolGuard& operator=(const PoolGuard&) = delete;

private:
    PoolLock& m_lock;
};

}  // namespace Detail
}  // namespace Memory
}  // namespace Tessaran

#endif  // KERNA_SRC_MEMORY_POOLLOCK_H_

// PoolLock.h
//
// The lock of the packet pool's free lists. It is held only across list work that calls
// nothing else (no line is logged, no memory operator, callback or other lock is reached), so
// its holder never enters it again and it needs none of the re-enterable lock's bookkeeping.
// Taking it is one atomic exchange, leaving it a plain store: this is the one lock a pool
// allocation and a free pay for, so it is kept to the cheapest pair that orders them.
//
// A thread that finds the lock taken spins briefly (list work lasts tens of nanoseconds), then
// counts itself among the sleepers and sleeps on the lock word; the holder, after its store,
// wakes one sleeper when it sees any. The holder's store and its look at the sleeper count are
// not ordered against each other, so a thread that begins to sleep in that instant can miss its
// wake: every sleep is therefore bounded, and a sleeper looks at the word again at least every
// kSleepLimitUs microseconds. Exclusion never depends on the sleeps, only on the exchange.

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
        if (m_word.exchange(wordHeld, std::memory_order_acquire) != wordFree) enterContended();
    }

    void leave() {
        m_word.store(wordFree, std::memory_order_release);
        if (m_sleepers.load(std::memory_order_relaxed) != 0) Kerna::Detail::Platform::wakeOneOnWord(m_word);
    }

    /// In a forked child, whose only thread holds the lock (it was taken before the fork):
    /// free, and no sleepers (they stayed in the parent).
    void resetInChild() {
        m_sleepers.store(0, std::memory_order_relaxed);
        m_word.store(wordFree, std::memory_order_release);
    }

private:
    enum : int32_t { wordFree = 0, wordHeld = 1 };
    static const int kSpins = 100;
    static const uint32_t kSleepLimitUs = 1000;

    __attribute__((noinline)) void enterContended() {
        for (int round = 0;; ++round) {
            if (round < kSpins) {
#if defined(__x86_64__) || defined(__i386__)
                __builtin_ia32_pause();
#endif
            } else {
                m_sleepers.fetch_add(1, std::memory_order_seq_cst);
                Kerna::Detail::Platform::waitOnWord(m_word, wordHeld, kSleepLimitUs);
                m_sleepers.fetch_sub(1, std::memory_order_relaxed);
            }
            if (m_word.load(std::memory_order_relaxed) == wordFree &&
                m_word.exchange(wordHeld, std::memory_order_acquire) == wordFree) {
                return;
            }
        }
    }

    std::atomic<int32_t> m_word{wordFree};
    std::atomic<int32_t> m_sleepers{0};
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

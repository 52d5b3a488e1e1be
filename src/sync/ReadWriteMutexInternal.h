// ReadWriteMutexInternal.h
//
// The implementation object of CReadWriteMutex, private to the library and its tests.
//
// Each mode keeps its reader count in one 64-bit word beside a "someone else is about" part, so
// that a read hold can be taken and given back with one compare-and-exchange each while nobody
// else is about (the fast path), and falls back to the lock's reference steps otherwise:
//
// - priorityDefault: `readCount` holds the readers inside in its low 32 bits (signed) and the
//   writers that have announced themselves in its high 32 bits. A writer announces itself before
//   it enters `lock`, so from then on new readers pass through `lock` as the reference steps say,
//   and block while the writer keeps it.
// - priorityWriter: `state` holds the reference's 32-bit state in its low 32 bits and, in bit 32,
//   whether a reader or writer waits (`waitingWriters` or `waitingReaders` non-zero). The gate's
//   holders keep bit 32 in step with the two counters. While it is clear and no writer is inside,
//   a reader enters and leaves without the gate: no one waits, so there is no one to wake or to
//   hand over to, and `readersEvent` is reset by every reader before it waits, so its state is
//   not looked at until then.
//
// A lock made while Detail::referencePathsOnly() is set takes the reference steps on every call.
#ifndef KERNA_SRC_SYNC_READWRITEMUTEXINTERNAL_H_
#define KERNA_SRC_SYNC_READWRITEMUTEXINTERNAL_H_

#include <atomic>
#include <cstdint>

#include "base/Log.h"
#include "base/ReferencePaths.h"
#include "kerna/kerna3/ReadWriteMutex.h"
#include "platform/Lock.h"

namespace Tessaran {
namespace Kerna {

/// The value of `state` while a writer is inside.
const uint32_t rwWriterInside = 0x10000;

class RWMutexInternal {
public:
    /// One announced writer in `readCount` (priorityDefault).
    static constexpr uint64_t kWriterAnnounced = 1ull << 32;
    /// Bit 32 of `state`: a reader or a writer waits (priorityWriter).
    static constexpr uint64_t kSomeoneWaits = 1ull << 32;

    explicit RWMutexInternal(int requested)
        : priority(priorityDefault), fastPath(!Detail::referencePathsOnly()) {
        if (requested == priorityDefault || requested == priorityWriter) {
            priority = static_cast<RWPriority>(requested);
        } else {
            KERNA_LOG(3, "this:%p Input rwpriority level error, priorityDefault used!\n",
                      static_cast<void*>(this));
        }
        if (priority == priorityWriter) {
            readersEvent = new Detail::Platform::ManualEvent;
            writerSemaphore = new Detail::Platform::Semaphore(0);
        }
    }

    ~RWMutexInternal() {
        if (priority == priorityDefault) {
            const int32_t readers = readersInside();
            if (readers > 0) KERNA_LOG(2, "has lock Read count:%d, maybe err\n", readers);
            if (writing.load(std::memory_order_relaxed) == 1) {
                KERNA_LOG(2, "has lock write, maybe err\n");
                lock.leave();
            }
        }
        delete readersEvent;
        delete writerSemaphore;
    }

    RWPriority priority;
    bool fastPath;  // fixed at construction
    // priorityDefault
    std::atomic<uint64_t> readCount{0};
    std::atomic<int32_t> writing{0};
    Detail::Platform::Lock lock;
    // priorityWriter
    int32_t waitingWriters = 0;
    int32_t waitingReaders = 0;
    std::atomic<uint64_t> state{0};
    Detail::Platform::ManualEvent* readersEvent = nullptr;
    Detail::Platform::Semaphore* writerSemaphore = nullptr;
    Detail::Platform::PlainLock gate;

    // ---- priorityDefault ----

    int32_t readersInside() const {
        return static_cast<int32_t>(
            static_cast<uint32_t>(readCount.load(std::memory_order_acquire)));
    }

    /// `w` with its low 32 bits moved by `delta`, without a carry into the high half.
    static uint64_t withReaders(uint64_t w, int32_t delta) {
        return (w & ~0xFFFFFFFFull) |
               static_cast<uint32_t>(static_cast<uint32_t>(w) + static_cast<uint32_t>(delta));
    }

    /// One compare-and-exchange while no writer has announced itself; false otherwise.
    bool tryEnterReadingFast() {
        uint64_t w = 0;  // a first guess saves a load of the word; a failed exchange reads it
        while (w < kWriterAnnounced) {
            if (readCount.compare_exchange_weak(w, withReaders(w, 1), std::memory_order_acquire,
                                                std::memory_order_relaxed)) {
                return true;
            }
        }
        return false;
    }

    void enterReadingDefault() {
        if (fastPath && tryEnterReadingFast()) return;
        lock.enter();
        uint64_t w = readCount.load(std::memory_order_relaxed);
        while (!readCount.compare_exchange_weak(w, withReaders(w, 1), std::memory_order_acquire,
                                                std::memory_order_relaxed)) {
        }
        lock.leave();
    }

    void enterWritingDefault() {
        readCount.fetch_add(kWriterAnnounced, std::memory_order_relaxed);
        lock.enter();
        while (readersInside() >= 1) Detail::Platform::sleepMs(0);
        writing.store(1, std::memory_order_relaxed);
    }

    bool leaveDefault() {
        uint64_t w = 1;  // a first guess, as on entry
        while (static_cast<int32_t>(static_cast<uint32_t>(w)) >= 1) {
            if (readCount.compare_exchange_weak(w, withReaders(w, -1), std::memory_order_release,
                                                std::memory_order_relaxed)) {
                return true;
            }
        }
        if (writing.load(std::memory_order_relaxed) == 1) {
            writing.store(0, std::memory_order_relaxed);
            // The announcement goes with the lock: a thread that does not hold `lock` (a misuse)
            // leaves both in place, and readers go on waiting on `lock`.
            if (lock.leave()) readCount.fetch_sub(kWriterAnnounced, std::memory_order_release);
            return true;
        }
        KERNA_LOG(2, "No lock, maybe err\n");
        return false;
    }

    // ---- priorityWriter ----

    static uint32_t stateOf(uint64_t w) { return static_cast<uint32_t>(w); }

    /// Enters while nobody waits and no writer is inside, with room for one more reader in bits
    /// 0 to 15 (the 65536th reader takes the gate, as the reference counts it).
    bool tryEnterReadingWriterFirstFast() {
        uint64_t w = 0;  // a first guess saves a load of the word; a failed exchange reads it
        while (w < rwWriterInside - 1) {
            if (state.compare_exchange_weak(w, w + 1, std::memory_order_acquire,
                                            std::memory_order_relaxed)) {
                return true;
            }
        }
        return false;
    }

    /// Leaves a read hold while nobody waits. The reference resets `readersEvent` when the last
    /// reader leaves; with nobody waiting that reset is not looked at (see the file comment).
    bool tryLeaveReadingWriterFirstFast() {
        uint64_t w = 1;                       // a first guess, as on entry
        while (w - 1 < rwWriterInside - 1) {  // 1 to 0xFFFF, bit 32 clear
            if (state.compare_exchange_weak(w, w - 1, std::memory_order_release,
                                            std::memory_order_relaxed)) {
                return true;
            }
        }
        return false;
    }

    /// Bit 32 of `state` after a change of the waiting counters. Caller holds `gate`.
    void syncWaitersBit() {
        if (waitingWriters != 0 || waitingReaders != 0) {
            state.fetch_or(kSomeoneWaits, std::memory_order_acq_rel);
        } else {
            state.fetch_and(~kSomeoneWaits, std::memory_order_acq_rel);
        }
    }

    void enterReadingWriterFirst() {
        if (fastPath && tryEnterReadingWriterFirstFast()) return;
        bool wake = false;
        gate.enter();
        uint64_t w = state.load(std::memory_order_acquire);
        bool entered = false;
        while (waitingWriters < 1 && stateOf(w) < rwWriterInside) {
            // Readers on the fast path may move `state` meanwhile: add 1 to what it is.
            if (state.compare_exchange_weak(w, w + 1, std::memory_order_acq_rel,
                                            std::memory_order_acquire)) {
                if (stateOf(w) + 1 == 1 && waitingReaders != 0) wake = true;
                entered = true;
                break;
            }
        }
        if (!entered) {
            // A writer waits or is inside: fast-path readers leave `state` alone from here on.
            ++waitingReaders;
            syncWaitersBit();
            for (;;) {
                // The wait counts from the reset: a wake that comes between leaving the gate
                // and waiting is not lost when another reader resets the event in that gap.
                const uint64_t since = readersEvent->reset();
                gate.leave();
                readersEvent->waitSince(since);
                gate.enter();
                if (waitingWriters == 0 &&
                    stateOf(state.load(std::memory_order_acquire)) < rwWriterInside) {
                    break;
                }
            }
            --waitingReaders;
            state.fetch_add(1, std::memory_order_acq_rel);
            syncWaitersBit();
        }
        gate.leave();
        if (wake) readersEvent->set();
    }

    void enterWritingWriterFirst() {
        gate.enter();
        uint64_t w = state.load(std::memory_order_acquire);
        for (;;) {
            if (stateOf(w) == 0) {
                if (state.compare_exchange_weak(w, w | rwWriterInside, std::memory_order_acq_rel,
                                                std::memory_order_acquire)) {
                    gate.leave();
                    return;
                }
                continue;
            }
            // Readers inside: stop the fast path in the same step, so that the last of them
            // leaves through the gate and hands over.
            if ((w & kSomeoneWaits) != 0 ||
                state.compare_exchange_weak(w, w | kSomeoneWaits, std::memory_order_acq_rel,
                                            std::memory_order_acquire)) {
                break;
            }
        }
        ++waitingWriters;
        gate.leave();
        writerSemaphore->wait(0xFFFFFFFFu);
    }

    bool leaveWriterFirst() {
        if (fastPath && tryLeaveReadingWriterFirstFast()) return true;
        gate.enter();
        uint64_t w = state.load(std::memory_order_acquire);
        while (stateOf(w) != 0 && stateOf(w) < rwWriterInside) {
            if (!state.compare_exchange_weak(w, w - 1, std::memory_order_acq_rel,
                                             std::memory_order_acquire)) {
                continue;
            }
            if (stateOf(w) == 1) {
                readersEvent->reset();
                if (waitingWriters != 0) {
                    --waitingWriters;
                    state.fetch_add(rwWriterInside, std::memory_order_acq_rel);
                    syncWaitersBit();
                    writerSemaphore->post();
                }
            }
            gate.leave();
            return true;
        }
        if (stateOf(w) == rwWriterInside) {
            if (waitingWriters != 0) {
                --waitingWriters;
                syncWaitersBit();
                gate.leave();
                writerSemaphore->post();
                return true;
            }
            state.fetch_sub(rwWriterInside, std::memory_order_acq_rel);
            const bool readersWaiting = waitingReaders != 0;
            gate.leave();
            if (readersWaiting) readersEvent->set();
            return true;
        }
        gate.leave();
        return false;
    }
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_SYNC_READWRITEMUTEXINTERNAL_H_

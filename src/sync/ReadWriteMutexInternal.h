// ReadWriteMutexInternal.h
//
// The implementation object of CReadWriteMutex, private to the library and its tests.
#ifndef KERNA_SRC_SYNC_READWRITEMUTEXINTERNAL_H_
#define KERNA_SRC_SYNC_READWRITEMUTEXINTERNAL_H_

#include <atomic>
#include <cstdint>

#include "base/Log.h"
#include "kerna/kerna3/ReadWriteMutex.h"
#include "platform/Lock.h"

namespace Tessaran {
namespace Kerna {

/// The value of `state` while a writer is inside.
const uint32_t rwWriterInside = 0x10000;

class RWMutexInternal {
public:
    explicit RWMutexInternal(int requested) : priority(priorityDefault) {
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
            const int32_t readers = readCount.load();
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
    // priorityDefault
    std::atomic<int32_t> readCount{0};
    std::atomic<int32_t> writing{0};
    Detail::Platform::Lock lock;
    // priorityWriter
    int32_t waitingWriters = 0;
    int32_t waitingReaders = 0;
    uint32_t state = 0;
    Detail::Platform::ManualEvent* readersEvent = nullptr;
    Detail::Platform::Semaphore* writerSemaphore = nullptr;
    Detail::Platform::PlainLock gate;

    void enterReadingWriterFirst() {
        bool wake = false;
        gate.enter();
        if (waitingWriters < 1 && state < rwWriterInside) {
            ++state;
            if (state == 1 && waitingReaders != 0) wake = true;
        } else {
            ++waitingReaders;
            for (;;) {
                readersEvent->reset();
                gate.leave();
                readersEvent->wait();
                gate.enter();
                if (waitingWriters == 0 && state < rwWriterInside) break;
            }
            --waitingReaders;
            ++state;
        }
        gate.leave();
        if (wake) readersEvent->set();
    }

    void enterWritingWriterFirst() {
        gate.enter();
        if (state == 0) {
            state = rwWriterInside;
            gate.leave();
            return;
        }
        ++waitingWriters;
        gate.leave();
        writerSemaphore->wait(0xFFFFFFFFu);
    }

    bool leaveWriterFirst() {
        gate.enter();
        if (state != 0 && state < rwWriterInside) {
            --state;
            if (state == 0) {
                readersEvent->reset();
                if (waitingWriters != 0) {
                    --waitingWriters;
                    state = rwWriterInside;
                    writerSemaphore->post();
                }
            }
            gate.leave();
            return true;
        }
        if (state == rwWriterInside) {
            if (waitingWriters != 0) {
                --waitingWriters;
                gate.leave();
                writerSemaphore->post();
                return true;
            }
            state = 0;
            const bool readersWaiting = waitingReaders != 0;
            gate.leave();
            if (readersWaiting) readersEvent->set();
            return true;
        }
        gate.leave();
        return false;
    }

    bool leaveDefault() {
        if (readCount.load() >= 1) {
            --readCount;
            return true;
        }
        if (writing.load(std::memory_order_relaxed) == 1) {
            writing.store(0, std::memory_order_relaxed);
            lock.leave();
            return true;
        }
        KERNA_LOG(2, "No lock, maybe err\n");
        return false;
    }
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_SYNC_READWRITEMUTEXINTERNAL_H_

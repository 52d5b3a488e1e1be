// ReadWriteMutex.cpp
//
// CReadWriteMutex in its two modes.
//
// priorityDefault: readers pass `lock` once and count themselves in `readCount`; a writer enters
// `lock`, keeps it (so no new reader gets in) and yields until the readers are gone.
//
// priorityWriter: `gate` guards the counters and `state` (bits 0-15 readers inside, 0x10000 one
// writer inside) and is never held across a wait. Blocked readers wait on `readersEvent`, which
// releases them all at once; blocked writers wait on `writerSemaphore`, which hands the lock to
// exactly one of them. The releasing side sets `state` for the writer it wakes.
#include "kerna/kerna3/ReadWriteMutex.h"

#include <atomic>
#include <new>

#include "foundation/Log.h"
#include "platform/Lock.h"

namespace Tessaran {
namespace Kerna {

namespace {
const uint32_t writerInside = 0x10000;
}

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
        if (waitingWriters < 1 && state < writerInside) {
            ++state;
            if (state == 1 && waitingReaders != 0) wake = true;
        } else {
            ++waitingReaders;
            for (;;) {
                readersEvent->reset();
                gate.leave();
                readersEvent->wait();
                gate.enter();
                if (waitingWriters == 0 && state < writerInside) break;
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
            state = writerInside;
            gate.leave();
            return;
        }
        ++waitingWriters;
        gate.leave();
        writerSemaphore->wait(0xFFFFFFFFu);
    }

    bool leaveWriterFirst() {
        gate.enter();
        if (state != 0 && state < writerInside) {
            --state;
            if (state == 0) {
                readersEvent->reset();
                if (waitingWriters != 0) {
                    --waitingWriters;
                    state = writerInside;
                    writerSemaphore->post();
                }
            }
            gate.leave();
            return true;
        }
        if (state == writerInside) {
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

CReadWriteMutex::CReadWriteMutex() : m_internal(new (std::nothrow) RWMutexInternal(priorityDefault)) {
    KERNA_ASSERT(m_internal);
}

CReadWriteMutex::CReadWriteMutex(RWPriority priority)
    : m_internal(new (std::nothrow) RWMutexInternal(static_cast<int>(priority))) {
    KERNA_ASSERT(m_internal);
}

CReadWriteMutex::~CReadWriteMutex() { delete m_internal; }

bool CReadWriteMutex::enterReading() {
    if (m_internal->priority == priorityWriter) {
        m_internal->enterReadingWriterFirst();
    } else {
        m_internal->lock.enter();
        ++m_internal->readCount;
        m_internal->lock.leave();
    }
    return true;
}

bool CReadWriteMutex::enterWriting() {
    if (m_internal->priority == priorityWriter) {
        m_internal->enterWritingWriterFirst();
    } else {
        m_internal->lock.enter();
        while (m_internal->readCount.load() >= 1) Detail::Platform::sleepMs(0);
        m_internal->writing.store(1, std::memory_order_relaxed);
    }
    return true;
}

bool CReadWriteMutex::leave() {
    return m_internal->priority == priorityWriter ? m_internal->leaveWriterFirst()
                                                  : m_internal->leaveDefault();
}

}  // namespace Kerna
}  // namespace Tessaran

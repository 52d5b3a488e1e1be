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
//
// In both modes a read hold taken and given back while no one else is about costs one
// compare-and-exchange each way (see ReadWriteMutexInternal.h).
#include "kerna/kerna3/ReadWriteMutex.h"

#include <new>

#include "sync/ReadWriteMutexInternal.h"

namespace Tessaran {
namespace Kerna {

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
        m_internal->enterReadingDefault();
    }
    return true;
}

bool CReadWriteMutex::enterWriting() {
    if (m_internal->priority == priorityWriter) {
        m_internal->enterWritingWriterFirst();
    } else {
        m_internal->enterWritingDefault();
    }
    return true;
}

bool CReadWriteMutex::leave() {
    return m_internal->priority == priorityWriter ? m_internal->leaveWriterFirst()
                                                  : m_internal->leaveDefault();
}

}  // namespace Kerna
}  // namespace Tessaran

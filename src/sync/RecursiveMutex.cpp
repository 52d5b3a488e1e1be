// RecursiveMutex.cpp
//
// CRecursiveMutex: a plain platform lock with the holder's id and nesting count beside it.
// `owner` is read without the lock (only the calling thread's own id can match it) and written
// with an atomic exchange; `count` is touched only by the holder.
#include "kerna/kerna3/RecursiveMutex.h"

#include <atomic>

#include "platform/Lock.h"
#include "platform/Tls.h"

namespace Tessaran {
namespace Kerna {

class RecursiveMutexInternal {
public:
    Detail::Platform::PlainLock lock;
    int32_t count = 0;
    std::atomic<uint32_t> owner{0};
};

CRecursiveMutex::CRecursiveMutex() : m_internal(new RecursiveMutexInternal) {}

CRecursiveMutex::~CRecursiveMutex() { delete m_internal; }

bool CRecursiveMutex::enter() {
    const uint32_t self = Detail::Platform::currentThreadId();
    if (m_internal->owner.load(std::memory_order_relaxed) != self) {
        m_internal->lock.enter();
        m_internal->owner.exchange(self);
        m_internal->count = 1;
    } else {
        ++m_internal->count;
    }
    return true;
}

bool CRecursiveMutex::leave() {
    if (--m_internal->count != 0) return true;
    m_internal->owner.exchange(0);
    m_internal->lock.leave();
    return true;
}

}  // namespace Kerna
}  // namespace Tessaran

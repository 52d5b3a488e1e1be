// Semaphore.cpp
//
// CSemaphore over the platform semaphore (maximum 2147483647; timed waits on the monotonic clock).
#include "kerna/kerna3/Semaphore.h"

#include "base/Log.h"
#include "platform/Lock.h"

namespace Tessaran {
namespace Kerna {

class SemaphoreInternal {
public:
    explicit SemaphoreInternal(int initialCount) : m_handle(initialCount) {}
    Detail::Platform::Semaphore m_handle;
};

namespace {
// The platform object must exist: a semaphore that could not be made is a broken promise.
void requireHandle(const SemaphoreInternal* internal, const char* function) {
    if (internal == nullptr || !internal->m_handle.ok()) {
        Detail::assertionFailed("m_internal->m_handle", function, __FILE__, __LINE__);
    }
}
}  // namespace

CSemaphore::CSemaphore(int initialCount) : m_internal(new SemaphoreInternal(initialCount)) {
    requireHandle(m_internal, __PRETTY_FUNCTION__);
}

CSemaphore::~CSemaphore() { delete m_internal; }

int CSemaphore::pend() {
    requireHandle(m_internal, __PRETTY_FUNCTION__);
    return m_internal->m_handle.wait(0xFFFFFFFFu) ? 0 : -1;
}

int CSemaphore::pend(unsigned int timeoutMilliSeconds) {
    requireHandle(m_internal, __PRETTY_FUNCTION__);
    return m_internal->m_handle.wait(timeoutMilliSeconds) ? 0 : -1;
}

int CSemaphore::tryPend() {
    requireHandle(m_internal, __PRETTY_FUNCTION__);
    return m_internal->m_handle.wait(0) ? 0 : -1;
}

int CSemaphore::post() { return m_internal->m_handle.post() ? 0 : -1; }

}  // namespace Kerna
}  // namespace Tessaran

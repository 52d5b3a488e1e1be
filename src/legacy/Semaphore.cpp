// Semaphore.cpp
//
// The older global CSemaphore on the library's semaphore (same maximum, same refusal), giving
// results in the older form.
#include <kerna/kerna3/Semaphore.h>
#include <kerna/legacy/Semaphore.h>

class LegacySemaphoreInternal {
public:
    explicit LegacySemaphoreInternal(int initialCount) : semaphore(initialCount) {}
    Tessaran::Kerna::CSemaphore semaphore;
};

CSemaphore::CSemaphore(int initialCount) : m_internal(new LegacySemaphoreInternal(initialCount)) {}

CSemaphore::~CSemaphore() { delete m_internal; }

int CSemaphore::pend() { return m_internal->semaphore.pend(); }

int CSemaphore::post() { return m_internal->semaphore.post() == 0 ? 1 : 0; }

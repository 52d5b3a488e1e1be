// Timer.cpp
//
// The older global CTimer on a Tessaran::Kerna::CTimer of its own. The delegates of the older
// interface are the library's own, so a delegate is handed on as it is.
#include <kerna/kerna3/Timer.h>
#include <kerna/legacy/Timer.h>

#include "base/InterfaceLog.h"

class LegacyTimerInternal : public Tessaran::Kerna::CTimer {
public:
    explicit LegacyTimerInternal(const char* name) : Tessaran::Kerna::CTimer(name) {}
};

CTimer::CTimer(const char* name) : m_internal(new LegacyTimerInternal(name)) {}

CTimer::~CTimer() { delete m_internal; }

bool CTimer::start(TFunction1<void, unsigned long> proc, unsigned int delay, unsigned int period,
                   unsigned long param, unsigned int timeout) {
    return m_internal->start(proc, delay, period, param, timeout);
}

bool CTimer::start(::CObject* object, void (::CObject::*proc)(unsigned long), unsigned int delay,
                   unsigned int period, unsigned long param, unsigned int timeout) {
    if (object == nullptr || proc == nullptr) {
        KERNA_INTERFACE_LOG(2, "Timer", "CTimer::start",
                            "this:%p CTimer::start() object:%p or its function is NULL\n", this,
                            static_cast<void*>(object));
        return false;
    }
    return start(TFunction1<void, unsigned long>(proc, object), delay, period, param, timeout);
}

bool CTimer::stop(bool callNow) { return m_internal->stop(callNow); }
bool CTimer::stopAndWait() { return m_internal->stopAndWait(); }
void CTimer::setPeriodTime(unsigned int period) { m_internal->setPeriodTime(period); }
const char* CTimer::getName() { return m_internal->getName(); }
void CTimer::setName(const char* name) { m_internal->setName(name); }
bool CTimer::isStarted() { return m_internal->isStarted(); }
bool CTimer::isCalled() { return m_internal->isCalled(); }
bool CTimer::isRunning() { return m_internal->isRunning(); }

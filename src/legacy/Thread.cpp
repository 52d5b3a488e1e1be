// Thread.cpp
//
// The older global CThread on its bridge, CThreadDrived: a Tessaran::Kerna::CThread whose body
// calls the older object's threadProc, so that the older thread runs, registers and reports as
// a thread of the new class. And the two loose functions of the older interface.
#include <kerna/kerna3/Process.h>
#include <kerna/kerna3/Thread.h>
#include <kerna/legacy/Thread.h>

#include <cstddef>

#include "base/Log.h"
#include "platform/ThreadExit.h"

/// The bridge: its body is the older object's threadProc.
class CThreadDrived : public Tessaran::Kerna::CThread {
public:
    CThreadDrived(::CThread* owner, const char* name, int priority, int policy, int stackSize)
        : Tessaran::Kerna::CThread(name, priority, policy, stackSize), m_owner(owner) {
        KERNA_ASSERT(m_owner != NULL);
    }
    // A thread object stops its thread in its own destructor, while its threadProc still exists.
    ~CThreadDrived() override {
        if (!isThreadOver()) destroyThread();
    }

protected:
    void threadProc() override { m_owner->threadProc(); }

private:
    ::CThread* m_owner;
};

class LegacyThreadInternal {
public:
    ::CThreadDrived* bridge;
};

CThread::CThread(const char* name, int priority, int policy, int stackSize)
    : m_internal(new LegacyThreadInternal{nullptr}) {
    m_internal->bridge = new CThreadDrived(this, name, priority, policy, stackSize);
}

CThread::~CThread() {
    delete m_internal->bridge;
    delete m_internal;
}

void CThread::setThreadName(const char* name) { m_internal->bridge->setThreadName(name); }
bool CThread::createThread() { return m_internal->bridge->createThread(); }
bool CThread::destroyThread() { return m_internal->bridge->destroyThread(); }
bool CThread::cancelThread() { return m_internal->bridge->cancelThread(); }
bool CThread::terminateThread() { return m_internal->bridge->terminateThread(); }
bool CThread::isThreadOver() { return m_internal->bridge->isThreadOver(); }
int CThread::getThreadID() { return m_internal->bridge->getThreadID(); }
int CThread::shareSocket(int socket) { return m_internal->bridge->shareSocket(socket); }
void CThread::setTimeout(int milliSeconds) { m_internal->bridge->setTimeout(milliSeconds); }
void CThread::setTimeout(int milliSeconds, unsigned long long now) {
    m_internal->bridge->setTimeout(milliSeconds, now);
}
bool CThread::isTimeout() { return m_internal->bridge->isTimeout(); }
bool CThread::looping() const { return m_internal->bridge->looping(); }

int CThread::getCurrentThreadID() { return Tessaran::Kerna::CThread::getCurrentThreadID(); }
bool CThread::setCurrentTimeout(int milliSeconds) {
    return Tessaran::Kerna::CThread::setCurrentTimeout(milliSeconds);
}

int SystemCall(const char* command) { return Tessaran::Kerna::systemCall(command); }

void ExitThread(int) { Tessaran::Kerna::Detail::Platform::exitCurrentThread(); }

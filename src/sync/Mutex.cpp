// Mutex.cpp
//
// CMutex: one platform lock that its holder may enter again.
#include "kerna/kerna3/Mutex.h"

#include "platform/Lock.h"
#include "sync/MutexAccess.h"

namespace Tessaran {
namespace Kerna {

class MutexInternal {
public:
    Detail::Platform::Lock lock;
};

CMutex::CMutex() : m_internal(new MutexInternal) {}

CMutex::~CMutex() { delete m_internal; }

bool CMutex::enter() {
    m_internal->lock.enter();
    return true;
}

bool CMutex::tryEnter() { return m_internal->lock.tryEnter(); }

bool CMutex::leave() {
    m_internal->lock.leave();
    return true;
}

void Detail::MutexAccess::resetAfterFork(CMutex& mutex) { mutex.m_internal->lock.resetAfterFork(); }

}  // namespace Kerna
}  // namespace Tessaran

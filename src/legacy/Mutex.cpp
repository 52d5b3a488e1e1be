// Mutex.cpp
//
// The older global CMutex: a system mutex of the platform layer behind one record, and nothing
// of Tessaran::Kerna::CMutex.
#include <kerna/legacy/Mutex.h>

#include "base/Log.h"
#include "platform/SystemMutex.h"

using Tessaran::Kerna::Detail::Platform::SystemMutex;

class LegacyMutexInternal {
public:
    SystemMutex* m_handle;
};

CMutex::CMutex(Type) : m_internal(new LegacyMutexInternal{SystemMutex::create()}) {
    KERNA_ASSERT(m_internal->m_handle);
}

CMutex::~CMutex() {
    KERNA_ASSERT(m_internal->m_handle);
    delete m_internal->m_handle;
    delete m_internal;
}

bool CMutex::Enter() {
    KERNA_ASSERT(m_internal->m_handle);
    return m_internal->m_handle->enter();
}

bool CMutex::TryEnter() {
    KERNA_ASSERT(m_internal->m_handle);
    return m_internal->m_handle->tryEnter();
}

bool CMutex::Leave() {
    KERNA_ASSERT(m_internal->m_handle);
    return m_internal->m_handle->leave();
}

// ThreadSpecific.cpp
//
// CThreadSpecific over a platform slot index; 0xFFFFFFFF marks a slot that could not be had.
#include "kerna/kerna3/ThreadSpecific.h"

#include "platform/Tls.h"

namespace Tessaran {
namespace Kerna {

class ThreadSpecificInternal {
public:
    uint32_t index = Detail::Platform::tlsAlloc();
};

CThreadSpecific::CThreadSpecific() : m_internal(new ThreadSpecificInternal) {}

CThreadSpecific::~CThreadSpecific() {
    if (valid()) Detail::Platform::tlsFree(m_internal->index);
    delete m_internal;
}

bool CThreadSpecific::valid() { return m_internal->index < Detail::Platform::tlsOutOfIndexes; }

bool CThreadSpecific::setValue(const void* value) {
    return valid() && Detail::Platform::tlsSet(m_internal->index, value);
}

bool CThreadSpecific::getValue(void** value) {
    if (!valid() || value == nullptr) return false;
    *value = Detail::Platform::tlsGet(m_internal->index);
    return true;
}

}  // namespace Kerna
}  // namespace Tessaran

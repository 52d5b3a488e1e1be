// ThreadSpecific.h
//
// CThreadSpecific: one pointer-sized value per thread in a platform slot.
#ifndef KERNA_KERNA3_THREADSPECIFIC_H_
#define KERNA_KERNA3_THREADSPECIFIC_H_

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {

class ThreadSpecificInternal;

/// A thread-local slot. A thread that stored nothing reads null. Values are not destroyed when a
/// thread ends.
class KERNA_API CThreadSpecific {
public:
    CThreadSpecific();
    /// Frees the slot if it is valid.
    ~CThreadSpecific();
    CThreadSpecific(const CThreadSpecific&) = delete;
    CThreadSpecific& operator=(const CThreadSpecific&) = delete;

    /// True if the platform gave a slot.
    bool valid();
    /// False if the slot is invalid or the platform refuses.
    bool setValue(const void* value);
    /// False (and `*value` untouched) if the slot is invalid or `value` is null; else true.
    bool getValue(void** value);

private:
    ThreadSpecificInternal* m_internal;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_THREADSPECIFIC_H_

// CheckIncludeVersionInternal.h
//
// The record behind CCheckIncludeVersionInter, and the one check of the process. The check's
// code is built twice, into libkerna.so and into the static companion library kerna_source, but
// the check exists once: libkerna.so makes it and exports includeVersionCheck() for the
// companion library's copy of the code (declared in no installed header, meant for nothing
// else).
#ifndef KERNA_SRC_FOUNDATION_CHECKINCLUDEVERSIONINTERNAL_H_
#define KERNA_SRC_FOUNDATION_CHECKINCLUDEVERSIONINTERNAL_H_

#include <vector>

#include "kerna/kerna3/CheckIncludeVersion.h"
#include "kerna/kerna3/Defs.h"
#include "kerna/legacy/Mutex.h"

namespace Tessaran {
namespace Kerna {

class CheckIncludeVersionInternal {
public:
    /// A new check with no records; both flags true.
    static CCheckIncludeVersionInter* create();

    std::vector<IncludeRecord> records;  ///< one per library, in order of arrival
    ::CMutex lock;                       ///< the older global mutex; guards checkVersion
    bool m_matchFlag = true;             ///< every check so far passed
    bool m_selfFlag = true;              ///< every version text so far was a number
};

namespace Detail {

/// The check of the process, made on first use; never destroyed.
KERNA_API CCheckIncludeVersionInter* includeVersionCheck();

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_FOUNDATION_CHECKINCLUDEVERSIONINTERNAL_H_

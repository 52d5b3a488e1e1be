// LocalComSelectManager.h
//
// CLocalComSelectManager: the default class of each interface for local use, set once per
// interface for the life of the process.
#ifndef KERNA_COMPONENT_LOCALCOMSELECTMANAGER_H_
#define KERNA_COMPONENT_LOCALCOMSELECTMANAGER_H_

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/FlexString.h"

namespace Tessaran {
namespace Component {

/// Static operations; any thread.
class KERNA_API CLocalComSelectManager {
public:
    /// Stores `clsid` (null counts as "") as the default class of `iid` if it has none yet; true.
    /// False for a null `iid` or an interface that has a default already (the first one stands).
    static bool setDefaultComponent(const char* iid, const char* clsid);
    /// The default class of `iid`, "Local" if it has none; empty for a null `iid`.
    static Kerna::String getDefaultClassID(const char* iid);
};

}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_COMPONENT_LOCALCOMSELECTMANAGER_H_

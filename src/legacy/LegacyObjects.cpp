// LegacyObjects.cpp
//
// The process-wide objects of the older interface's source-level classes, kept by
// ProcessObject in libkerna.so only (this unit is not part of the companion library). The
// managers have no data: their exit routines have nothing to quiesce.
#include "legacy/LegacyObjects.h"

#include <kerna/kerna3/PrintLog.h>
#include <kerna/legacy/Thread.h>
#include <kerna/legacy/Timer.h>

#include "base/ProcessObject.h"
#include "platform/Fork.h"
#include "sync/MutexAccess.h"

class LegacyThreadManagerObject {
public:
    ::CThreadManager manager;
    void published() { Tessaran::Kerna::logTrace("CThreadManager::CThreadManager()>>>>>>>>>\n"); }
    void atProcessExit() {}
};

class LegacyTimerManagerObject {
public:
    ::CTimerManager manager;
    void published() {}
    void atProcessExit() {}
};

// The rows' lock is taken before a fork and freed in the child, like the library's own file rows.
class LegacyFileHooksObject {
public:
    LegacyFileHooksObject() {
        Tessaran::Kerna::Detail::Platform::addForkHandlers(
            Tessaran::Kerna::Detail::Platform::forkRankFiles,
            [] { if (auto* h = built()) h->lock.enter(); },
            [] { if (auto* h = built()) h->lock.leave(); },
            [] { if (auto* h = built()) Tessaran::Kerna::Detail::MutexAccess::resetAfterFork(h->lock); });
    }
    ::LegacyFileHooks hooks = {};
    void published() {}
    void atProcessExit() {}

private:
    static ::LegacyFileHooks* built();
};

namespace Tessaran {
namespace Kerna {
namespace Detail {

::IThreadManager* olderThreadManager() {
    return &ProcessObject<LegacyThreadManagerObject>::get()->manager;
}

::ITimerManager* olderTimerManager() {
    return &ProcessObject<LegacyTimerManagerObject>::get()->manager;
}

::LegacyFileHooks* olderFileHooks() { return &ProcessObject<LegacyFileHooksObject>::get()->hooks; }

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

::LegacyFileHooks* LegacyFileHooksObject::built() {
    LegacyFileHooksObject* o = Tessaran::Kerna::Detail::ProcessObject<LegacyFileHooksObject>::peek();
    return o != nullptr ? &o->hooks : nullptr;
}

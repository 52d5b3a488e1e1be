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

class LegacyFileHooksObject {
public:
    ::LegacyFileHooks hooks = {};
    void published() {}
    void atProcessExit() {}
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

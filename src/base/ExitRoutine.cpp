// ExitRoutine.cpp - registration of singleton exit routines, with a refusal switch for tests.

#include "base/ExitRoutine.h"

#include <atomic>
#include <cstdlib>

namespace Tessaran {
namespace Kerna {
namespace Detail {

namespace {
std::atomic<bool> g_refuse{false};
}

bool registerExitRoutine(void (*routine)()) {
    if (routine == nullptr || g_refuse.load()) {
        return false;
    }
    return std::atexit(routine) == 0;
}

void refuseExitRoutines(bool refuse) {
    g_refuse.store(refuse);
}

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

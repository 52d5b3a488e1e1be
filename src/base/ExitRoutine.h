// ExitRoutine.h - registration of the process-exit routines of the library's singletons.
//
// Every process-wide object is made by double-checked creation and registers the reset of its
// holder to run at process exit. Registration can be refused; the singleton then logs
// "atexit failed!" and lives on. Tests can make registration refuse, to reach that path.

#ifndef KERNA_SRC_BASE_EXITROUTINE_H_
#define KERNA_SRC_BASE_EXITROUTINE_H_

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// Registers routine to run at process exit (std::atexit). False when refused.
bool registerExitRoutine(void (*routine)());

/// Makes registerExitRoutine refuse (true) or work again (false). Only for tests.
void refuseExitRoutines(bool refuse);

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_BASE_EXITROUTINE_H_

// ThreadExit.h
//
// Private platform interface: ending the calling thread at once. Declarations only; the unit
// behind it holds no state, so that the older interface's static companion library can carry a
// copy of it.
#ifndef KERNA_SRC_PLATFORM_THREADEXIT_H_
#define KERNA_SRC_PLATFORM_THREADEXIT_H_

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

/// Ends the calling thread with exit code 0. The thread's stack is unwound (destructors run), as
/// for a killed thread; a frame that may not throw ends the process instead.
[[noreturn]] void exitCurrentThread();

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_THREADEXIT_H_

// Clock.h
//
// Private platform interface: the monotonic counter and the absolute sleep on it.
#ifndef KERNA_SRC_PLATFORM_CLOCK_H_
#define KERNA_SRC_PLATFORM_CLOCK_H_

#include <cstdint>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

/// Ticks per second of monotonicTicks().
const uint64_t monotonicFrequency = 1000000000ull;
/// The monotonic counter in nanoseconds; never moves with the wall clock.
uint64_t monotonicTicks();
/// Sleeps until monotonicTicks() reaches `deadline` (an absolute count, so that a sleep that
/// starts late still ends on time; a deadline already passed returns at once), and returns the
/// counter read on waking.
uint64_t sleepUntilTicks(uint64_t deadline);

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_CLOCK_H_

// MonotonicCounter.h - the platform's monotonic counter under CTime's monotonic clock.
//
// A counter that setting the wall clock does not move, with its frequency. Declarations only;
// the code is in posix/MonotonicCounter.cpp.

#ifndef KERNA_SRC_PLATFORM_MONOTONICCOUNTER_H_
#define KERNA_SRC_PLATFORM_MONOTONICCOUNTER_H_

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

/// Counts per second of monotonicCounter; never 0.
unsigned long long monotonicFrequency();

/// The current count of the monotonic counter (nanoseconds since an arbitrary start).
unsigned long long monotonicCounter();

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_MONOTONICCOUNTER_H_

// MonotonicClock.h - internal seam of the monotonic clock behind CTime::getCurrentMilliSecond.
//
// Lets a test put a counter of its own under the clock, to drive the first-use and per-thread
// rules with chosen counts. Not exported.

#ifndef KERNA_SRC_TIME_MONOTONICCLOCK_H_
#define KERNA_SRC_TIME_MONOTONICCLOCK_H_

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// A replacement for the platform's monotonic counter.
using MonotonicCounterSource = unsigned long long (*)();

/// Puts source (with its counts per second) under the clock, or the platform's counter back
/// when source is null, and forgets the first use: the next read starts the clock again and
/// logs its first-use line. The calling thread's readings start afresh; every other thread keeps
/// its high-water marks, so that its readings never fall (they stand still until the new counter
/// passes them). Only for tests.
void setMonotonicCounterSource(MonotonicCounterSource source, unsigned long long frequency);

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_TIME_MONOTONICCLOCK_H_

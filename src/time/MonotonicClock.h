// MonotonicClock.h - internal seam of the monotonic clock behind CTime::getCurrentMilliSecond.
//
// Lets a test put a counter of its own under the clock, to drive the first-use and per-thread
// rules with chosen counts, and turns counts into units. Not exported.

#ifndef KERNA_SRC_TIME_MONOTONICCLOCK_H_
#define KERNA_SRC_TIME_MONOTONICCLOCK_H_

#include "base/ReferencePaths.h"
#include "platform/Clock.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// Elapsed counts as units (1000 or 1000000 a second), the reference way: divided by
/// (frequency / units) in double precision, truncated.
inline unsigned long long countsToUnitsReference(unsigned long long elapsed,
                                                 unsigned long long frequency,
                                                 unsigned int unitsPerSecond) {
    return static_cast<unsigned long long>(static_cast<double>(elapsed) /
                                           (frequency / static_cast<double>(unitsPerSecond)));
}

/// The same value. On the platform's nanosecond counter, below 2^53 counts (104 days), it is the
/// integer quotient: the double of such a count is exact, and a quotient that is not whole lies
/// at least 1/10^6 (1/10^3 for microseconds) away from the next whole unit, more than half the
/// step between doubles of its size (2^-19 below 2^34 milliseconds, 2^-9 below 2^44
/// microseconds), so the rounded quotient truncates to the same unit.
inline unsigned long long countsToUnits(unsigned long long elapsed, unsigned long long frequency,
                                        unsigned int unitsPerSecond) {
    if (frequency == Platform::monotonicFrequency && elapsed < (1ull << 53) &&
        !referencePathsOnly()) {
        if (unitsPerSecond == 1000) return elapsed / 1000000u;
        if (unitsPerSecond == 1000000) return elapsed / 1000u;
    }
    return countsToUnitsReference(elapsed, frequency, unitsPerSecond);
}

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

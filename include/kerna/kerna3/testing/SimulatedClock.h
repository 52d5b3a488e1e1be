// SimulatedClock.h
//
// The test seam of the library's wall clock, meant for test programs only (the library's own and
// its users'). Everything that reads or sets the local time (the print prefix, calendar values,
// clock setting, daylight saving, dated log files) goes through one replaceable wall clock. A
// test program installs the simulated clock and forbids real setting before its first test, so
// that no test can ever change the machine's clock:
//
//     Tessaran::Kerna::Testing::installSimulatedClock(utcMs, -28800);
//     Tessaran::Kerna::Testing::forbidRealClockSet();
//
// The simulated clock runs from a base UTC instant at the pace of the monotonic clock, with a fixed
// zone bias and no daylight rules. Setting the local time moves the base.
#ifndef KERNA_KERNA3_TESTING_SIMULATEDCLOCK_H_
#define KERNA_KERNA3_TESTING_SIMULATEDCLOCK_H_

#include <cstdint>

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {
namespace Testing {

/// Installs the simulated clock, starting at `utcMilliseconds` since 1970 UTC, with
/// `biasSeconds` west of UTC (-28800 for UTC+8, as the platform reports it). Resets the set count
/// and the refusal switch.
KERNA_API void installSimulatedClock(int64_t utcMilliseconds, int32_t biasSeconds);

/// Goes back to the machine's clock.
KERNA_API void restoreRealClock();

/// From now on, setting the machine's clock aborts the process with a message.
KERNA_API void forbidRealClockSet();

/// True once forbidRealClockSet has been called in this process.
KERNA_API bool realClockSetForbidden();

/// True while the simulated clock is installed.
KERNA_API bool simulatedClockInstalled();

/// Moves the simulated clock by `deltaMilliseconds` (either way). No effect on the real clock.
KERNA_API void jumpSimulatedClock(int64_t deltaMilliseconds);

/// Sets the simulated clock to `utcMilliseconds` since 1970 UTC.
KERNA_API void setSimulatedUtc(int64_t utcMilliseconds);

/// The simulated clock's current UTC time in milliseconds since 1970.
KERNA_API int64_t simulatedUtc();

/// Changes the simulated zone bias (seconds west of UTC).
KERNA_API void setSimulatedBias(int32_t biasSeconds);

/// While `refuse` is true, setting the simulated clock fails as the platform would refuse it.
KERNA_API void refuseSimulatedSet(bool refuse);

/// How many times the simulated clock was set (successfully) since it was installed.
KERNA_API uint64_t simulatedSetCount();

}  // namespace Testing
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_TESTING_SIMULATEDCLOCK_H_

// WallClock.h
//
// Private platform interface: the replaceable wall clock. Everything that reads or sets the local
// time goes through the installed WallClock: the machine's clock by default, a simulated one in
// tests (installed through the exported Testing seam).
#ifndef KERNA_SRC_PLATFORM_WALLCLOCK_H_
#define KERNA_SRC_PLATFORM_WALLCLOCK_H_

#include <cstdint>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

/// Calendar fields of a wall-clock reading.
struct ClockFields {
    int32_t year;
    int32_t month;        ///< 1-12
    int32_t day;          ///< 1-31
    int32_t weekday;      ///< 0 = Sunday
    int32_t hour;
    int32_t minute;
    int32_t second;
    int32_t millisecond;
};

/// Last-error value of a refused clock setting.
const uint32_t clockSetRefused = 0x1000000e;

/// A source of wall-clock time.
class WallClock {
public:
    virtual ~WallClock() {}
    /// The local time.
    virtual ClockFields readLocal() = 0;
    /// UTC milliseconds since 1970.
    virtual int64_t readUtcMs() = 0;
    /// Sets the local time; false if refused.
    virtual bool setLocal(const ClockFields& local) = 0;
    /// The zone's bias in seconds west of UTC on standard time (-28800 for UTC+8).
    virtual int32_t zoneBias() = 0;
    /// Reads the platform's zone again. The machine's clock reads it once, at first use, and
    /// then only here (CTime::setTimeZone calls it); a clock without a platform zone ignores it.
    virtual void reloadZone() {}
};

/// The installed clock.
WallClock& wallClock();
/// Installs `clock` (not owned; null brings back the machine's clock).
void installWallClock(WallClock* clock);
/// After this, setting the machine's clock aborts the process.
void forbidRealClockSet();
/// True once forbidRealClockSet has been called.
bool realClockSetForbidden();

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_WALLCLOCK_H_

// LocalTime.h
//
// Private platform interface: the C library's own conversion between calendar fields of local
// time and seconds since 1970, with the platform's zone and daylight-saving rules (mktime and
// localtime_r on 64-bit time). The older global CTime stands on it; the library's own calendar
// does not. Declarations only.
#ifndef KERNA_SRC_PLATFORM_LOCALTIME_H_
#define KERNA_SRC_PLATFORM_LOCALTIME_H_

#include <cstdint>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

/// Calendar fields as the C library's broken-down time holds them, with a full year and a
/// month from 1.
struct LocalFields {
    int32_t year;
    int32_t month;  ///< 1-12 after a conversion; any value on input
    int32_t day;
    int32_t wday;  ///< 0 = Sunday; not read on input
    int32_t hour;
    int32_t minute;
    int32_t second;
};

/// Seconds since 1970 UTC of `fields` taken as local time, with the zone's daylight-saving rules
/// deciding (mktime with isdst -1); fields out of range roll over into the next ones. The zone
/// is read again from the environment, as mktime does. -1 when the C library cannot represent
/// the time (or for the second before 1970).
int64_t localToSeconds(const LocalFields& fields);

/// The local time of `seconds` (localtime_r, after reading the zone as localToSeconds does).
/// False, with `fields` untouched, when the C library cannot represent it or its full year does
/// not fit 32 bits.
bool secondsToLocal(int64_t seconds, LocalFields& fields);

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_LOCALTIME_H_

// Civil.h
//
// Proleptic Gregorian day arithmetic without any platform call: day numbers since 1970-01-01 to
// calendar dates and back (the era-based method: 400-year cycles of 146097 days).
#ifndef KERNA_SRC_FOUNDATION_CIVIL_H_
#define KERNA_SRC_FOUNDATION_CIVIL_H_

#include <cstdint>

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// Days since 1970-01-01 of year/month/day (month 1-12, day 1-31).
inline int64_t daysFromCivil(int64_t y, int64_t m, int64_t d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

/// The date of a day number since 1970-01-01; weekday 0 = Sunday.
inline void civilFromDays(int64_t z, int32_t& year, int32_t& month, int32_t& day, int32_t& weekday) {
    weekday = static_cast<int32_t>(z >= -4 ? (z + 4) % 7 : (z + 5) % 7 + 6);
    z += 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    day = static_cast<int32_t>(doy - (153 * mp + 2) / 5 + 1);
    month = static_cast<int32_t>(mp < 10 ? mp + 3 : mp - 9);
    year = static_cast<int32_t>(yoe + era * 400 + (month <= 2));
}

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_FOUNDATION_CIVIL_H_

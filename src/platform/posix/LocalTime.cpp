// LocalTime.cpp
//
// Only POSIX code; no library logic. The C library's mktime and localtime_r on the 64-bit
// time_t of this target. Both read the zone from the environment first (mktime does so itself),
// so that the two directions always use the same rules.
#include "platform/LocalTime.h"

#include <time.h>

#include <climits>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

static_assert(sizeof(time_t) == 8, "64-bit time_t expected");

int64_t localToSeconds(const LocalFields& fields) {
    // tm_year and tm_mon are ints: a year or month whose offset does not fit is not representable.
    const int64_t year = static_cast<int64_t>(fields.year) - 1900;
    const int64_t month = static_cast<int64_t>(fields.month) - 1;
    if (year < INT_MIN || month < INT_MIN) return -1;
    tm t = {};
    t.tm_year = static_cast<int>(year);
    t.tm_mon = static_cast<int>(month);
    t.tm_mday = fields.day;
    t.tm_hour = fields.hour;
    t.tm_min = fields.minute;
    t.tm_sec = fields.second;
    t.tm_isdst = -1;
    return static_cast<int64_t>(mktime(&t));
}

bool secondsToLocal(int64_t seconds, LocalFields& fields) {
    tzset();
    const time_t value = static_cast<time_t>(seconds);
    tm t;
    if (localtime_r(&value, &t) == nullptr) return false;
    if (t.tm_year > INT_MAX - 1900) return false;  // a full year that does not fit
    fields.year = t.tm_year + 1900;
    fields.month = t.tm_mon + 1;
    fields.day = t.tm_mday;
    fields.wday = t.tm_wday;
    fields.hour = t.tm_hour;
    fields.minute = t.tm_min;
    fields.second = t.tm_sec;
    return true;
}

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

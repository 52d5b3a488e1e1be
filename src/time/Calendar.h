// Calendar.h
//
// The library's own Gregorian arithmetic on broken-down fields: leap years, month lengths, the
// clamping normalisation of a date and time, and the conversion between fields and seconds since
// 1970-01-01 00:00:00 (day 0). No platform call is involved, so the results do not depend on the
// zone or on the C library. Private to the library; CTime, the clocks and the daylight-saving
// manager build on it.

#ifndef KERNA_SRC_TIME_CALENDAR_H_
#define KERNA_SRC_TIME_CALENDAR_H_

#include <cstdint>

#include "kerna/kerna3/Time.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// First and last year a normalised value can hold.
constexpr int32_t kFirstYear = 1970;
constexpr int32_t kLastYear = 2106;

constexpr int64_t kSecondsPerDay = 86400;

/// True for a year divisible by 4 and not by 100, or divisible by 400.
constexpr bool isLeapYear(int32_t year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

/// Days in `month` (1 to 12) of `year`; the caller keeps `month` in range.
constexpr int32_t monthLength(int32_t year, int32_t month) {
    constexpr int32_t kLengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeapYear(year) ? 29 : kLengths[month - 1];
}

/// Day number of a date counted from 1970-01-01 as day 0. The date must be normalised
/// (year 1970 to 2106, month 1 to 12, day within the month); the result then fits 32 bits.
/// The year is shifted to start in March, so that the leap day is the last day of a year and
/// the month lengths from March on follow the 153/5 pattern; 400 years make 146097 days.
constexpr uint32_t daysFromCivil(int32_t year, int32_t month, int32_t day) {
    const int32_t y = year - (month <= 2 ? 1 : 0);
    const int32_t era = y / 400;  // y is positive for every normalised date
    const int32_t yearOfEra = y - era * 400;
    const int32_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const int32_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    // 719468 is the day number of 1970-01-01 counted from 0000-03-01.
    return static_cast<uint32_t>(era * 146097 + dayOfEra - 719468);
}

/// Year, month and day of a day number. Every 32-bit day number has a date (the last one is in
/// the year 11761191), so the routine is total.
inline void civilFromDays(uint32_t days, int32_t& year, int32_t& month, int32_t& day) {
    const uint64_t z = static_cast<uint64_t>(days) + 719468;
    const uint64_t era = z / 146097;
    const uint32_t dayOfEra = static_cast<uint32_t>(z - era * 146097);
    const uint32_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const uint32_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const uint32_t shiftedMonth = (5 * dayOfYear + 2) / 153;
    day = static_cast<int32_t>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
    month = static_cast<int32_t>(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
    year = static_cast<int32_t>(yearOfEra + era * 400) + (month <= 2 ? 1 : 0);
}

/// Day of the week of a day number, 0 for Sunday; day 0 was a Thursday.
constexpr int32_t weekdayFromDays(uint32_t days) {
    return static_cast<int32_t>((static_cast<uint64_t>(days) + 4) % 7);
}

/// Clamps the date and time of `t` into range, step by step: year to 1970..2106, month to 1..12,
/// day to 1..length of the month (February 29 only in a leap year), an hour above 23 to
/// 23:59:59, then minute and second to 0..59. With `withWeekday` the weekday is computed too.
/// `isdst` is never touched.
inline void normaliseFields(SystemTime& t, bool withWeekday) {
    if (t.year < kFirstYear) {
        t.year = kFirstYear;
    } else if (t.year > kLastYear) {
        t.year = kLastYear;
    }
    if (t.month < 1) {
        t.month = 1;
    } else if (t.month > 12) {
        t.month = 12;
    }
    if (t.day <= 0) {
        t.day = 1;
    } else {
        const int32_t length = monthLength(t.year, t.month);
        if (t.day > length) t.day = length;
    }
    if (withWeekday) t.wday = weekdayFromDays(daysFromCivil(t.year, t.month, t.day));
    if (t.hour < 0) {
        t.hour = 0;
    } else if (t.hour > 23) {
        t.hour = 23;
        t.minute = 59;
        t.second = 59;
    }
    if (t.minute < 0) {
        t.minute = 0;
    } else if (t.minute > 59) {
        t.minute = 59;
    }
    if (t.second < 0) {
        t.second = 0;
    } else if (t.second > 59) {
        t.second = 59;
    }
}

/// Seconds since 1970 of fields that are already normalised.
inline uint64_t fieldSecondsOfNormalised(const SystemTime& t) {
    return static_cast<uint64_t>(daysFromCivil(t.year, t.month, t.day)) * kSecondsPerDay +
           static_cast<uint64_t>(t.hour * 3600 + t.minute * 60 + t.second);
}

/// Seconds since 1970 of any fields: they are clamped on a copy first.
inline uint64_t fieldSeconds(const SystemTime& t) {
    SystemTime copy = t;
    normaliseFields(copy, false);
    return fieldSecondsOfNormalised(copy);
}

/// Breaks seconds since 1970 down into year, month, day, weekday, hour, minute and second.
/// The day number has 32 bits: a count of days beyond 2^32 - 1 wraps modulo 2^32.
/// `isdst` is left as it is.
inline void breakSeconds(uint64_t seconds, SystemTime& t) {
    const uint32_t days = static_cast<uint32_t>(seconds / kSecondsPerDay);
    const int32_t rest = static_cast<int32_t>(seconds % kSecondsPerDay);
    civilFromDays(days, t.year, t.month, t.day);
    t.wday = weekdayFromDays(days);
    t.hour = rest / 3600;
    t.minute = rest / 60 % 60;
    t.second = rest % 60;
}

/// Breaks a signed count of seconds down; a count below 0 gives 1970-01-01 00:00:00.
inline void breakSignedSeconds(int64_t seconds, SystemTime& t) {
    breakSeconds(seconds > 0 ? static_cast<uint64_t>(seconds) : 0, t);
}

/// Copies year, month, day, hour, minute and second from one record to another: SystemTime,
/// SystemTimeEx, CTime or the platform's clock fields. Nothing else is touched.
template <class From, class To>
inline void copyDateTime(const From& from, To& to) {
    to.year = from.year;
    to.month = from.month;
    to.day = from.day;
    to.hour = from.hour;
    to.minute = from.minute;
    to.second = from.second;
}

/// Milliseconds since 1970 of a record: field seconds (of a clamped copy) times 1000 plus
/// `millisecond`, taken as it is. A negative sum gives 0.
inline uint64_t recordMilliseconds(const SystemTimeEx& t) {
    const SystemTime fields = {t.year, t.month, t.day, t.wday, t.hour, t.minute, t.second, -1};
    const int64_t ms =
        static_cast<int64_t>(fieldSeconds(fields)) * 1000 + static_cast<int64_t>(t.millisecond);
    return ms > 0 ? static_cast<uint64_t>(ms) : 0;
}

/// Adds `ms` milliseconds to a record through its millisecond count and breaks the sum down
/// again, the rest going to `millisecond`. `isdst` and the reserved fields are carried over;
/// a sum below 0 gives 1970-01-01 00:00:00.000.
inline void addMilliseconds(SystemTimeEx& t, int64_t ms) {
    int64_t total = 0;
    if (__builtin_add_overflow(static_cast<int64_t>(recordMilliseconds(t)), ms, &total)) {
        total = ms > 0 ? INT64_MAX : 0;  // only a huge positive count can overflow here
    }
    if (total < 0) total = 0;
    SystemTime fields = {};
    breakSeconds(static_cast<uint64_t>(total / 1000), fields);
    t.year = fields.year;
    t.month = fields.month;
    t.day = fields.day;
    t.wday = fields.wday;
    t.hour = fields.hour;
    t.minute = fields.minute;
    t.second = fields.second;
    t.millisecond = static_cast<int32_t>(total % 1000);
}

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_TIME_CALENDAR_H_

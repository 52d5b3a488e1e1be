// Time.h
//
// CTime, the library's calendar value: a Gregorian date and time from 1970 to 2106 held as
// broken-down fields (the records SystemTime and SystemTimeEx), with the conversion to and from
// seconds since 1970, arithmetic and comparison in seconds, the process-wide default text format,
// and format and parse. The same class carries the monotonic clock as static members: milliseconds
// and microseconds since its first use in the process, never falling within a thread and not moved
// by setting the wall clock; timers, watch-dogs and idle checks run on it.

#ifndef KERNA_KERNA3_TIME_H_
#define KERNA_KERNA3_TIME_H_

#include <cstdint>

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/FlexString.h"

namespace Tessaran {
namespace Kerna {

/// A date and time as eight 32-bit fields. Values built by CTime hold year 1970 to 2106, month
/// 1 to 12, day 1 to 31, wday 0 (Sunday) to 6, hour 0 to 23, minute and second 0 to 59, and
/// isdst -1.
struct SystemTime {
    int32_t year;
    int32_t month;
    int32_t day;
    int32_t wday;
    int32_t hour;
    int32_t minute;
    int32_t second;
    int32_t isdst;
};

/// The fields of SystemTime with milliseconds. `isdst` is the daylight-saving state a time-setting
/// call gives the clock; the reserved fields stay 0.
struct SystemTimeEx {
    int32_t year;
    int32_t month;
    int32_t day;
    int32_t wday;
    int32_t hour;
    int32_t minute;
    int32_t second;
    int32_t millisecond;
    int32_t isdst;
    int32_t reserved1;
    int32_t reserved2;
    int32_t reserved3;
};

/// A calendar value. Plain data: copied bytewise, no virtual operations, no lock; one value
/// belongs to one thread unless the caller locks. Field values out of range are clamped by the
/// operations that normalise, never rejected: year to 1970..2106, month to 1..12, day to the
/// month's length (February 29 only in a leap year), an hour above 23 to 23:59:59, minute and
/// second to 0..59.
class KERNA_API CTime : public SystemTime {
public:
    /// Order of year, month and day in dates.
    enum DateFormat { ymd = 0, mdy = 1, dmy = 2 };

    /// Bits of the mask of format: a set bit lets the given format string decide instead of the
    /// process-wide value. The library's own callers pass all three (7).
    enum FormatMask { formatSeparator = 1, formatDateOrder = 2, formatHour = 4 };

    /// 2000-01-01 00:00:00, the earliest time the clock is set to.
    static const CTime minTime;
    /// 2038-01-01 00:00:00, the latest time the clock is set to.
    static const CTime maxTime;

    /// All fields 0, isdst -1.
    constexpr CTime() : SystemTime{0, 0, 0, 0, 0, 0, 0, -1} {}

    /// The local time of `time` seconds since 1970 UTC: breakTime(time). isdst is -1.
    CTime(unsigned long long time);

    /// With `useZone` true as CTime(time); with false `time` is broken down as it is, with no
    /// zone. A count above 2^63 - 1 (negative as a signed number) gives 1970-01-01 00:00:00.
    CTime(unsigned long long time, bool useZone);

    /// Stores the fields, clamps them into range and computes the weekday. isdst is -1.
    CTime(int year, int month, int day, int hour, int minute, int second);

    /// Seconds since 1970 UTC of these fields taken as local time: field seconds (of a clamped
    /// copy) plus the platform bias of getTimeZone(). A sum below 1 gives 0.
    unsigned long long makeTime() const;

    /// Sets the fields and the weekday to the local time of `time` seconds since 1970 UTC: if
    /// `time`, as a signed number, is above the bias, the bias is taken off and the rest broken
    /// down; otherwise the value becomes 1970-01-01 00:00:00. The day number has 32 bits: a count
    /// of days from 2^32 on wraps. isdst is left unchanged.
    void breakTime(unsigned long long time);

    /// The platform bias: seconds to add to local time to reach UTC (negative east of
    /// Greenwich), from the wall clock's zone; 0 once disableTimezone has been called.
    static long getTimeZone();

    /// Stops the use of the platform bias for good: getTimeZone gives 0 from then on. Returns 0.
    static int disableTimezone();

    /// Seconds since 1970-01-01 00:00:00 of the fields themselves, no zone involved. Works on a
    /// clamped copy; `time` is not changed.
    static unsigned long long timeToSeconds(const SystemTime& time);

    /// Arithmetic in seconds, free of zones: the value's field seconds plus or minus `seconds`,
    /// broken down again; a result before 1970 gives 1970-01-01 00:00:00. A new value has isdst
    /// -1; += and -= keep isdst.
    CTime operator+(long long seconds) const;
    CTime operator-(long long seconds) const;
    CTime& operator+=(long long seconds);
    CTime& operator-=(long long seconds);
    /// Difference of the field seconds of the two values.
    long long operator-(const CTime& other) const;

    /// Comparison of year, month, day, hour, minute and second in that order, as signed numbers;
    /// wday and isdst never count.
    bool operator==(const CTime& other) const;
    bool operator!=(const CTime& other) const;
    bool operator<(const CTime& other) const;
    bool operator>(const CTime& other) const;
    bool operator<=(const CTime& other) const;
    bool operator>=(const CTime& other) const;

    /// Writes the text of this value for `format` with its terminator to `buf`. Letters: runs of
    /// "y", "M", "d" are the date parts (order from the process or, with formatDateOrder, from
    /// `format`; at most three, a fourth writes nothing), a run of "h"/"H" the hour (1 to 12 in
    /// twelve-hour mode), "m" the minute, "s" the second, "t" AM/PM in twelve-hour mode and in
    /// 24-hour mode the removal of blanks written just before it; "-", "." and "/" write the
    /// process-wide separator (with formatSeparator themselves); every other character itself.
    /// There is no size argument, and nothing is written past the text's terminator: for a value
    /// with fields in range the text needs at most 2 * strlen(format) + 3 bytes, for any field
    /// values 11 * strlen(format) + 1.
    /// A null `buf` logs at level 2 and writes nothing; a null `format` logs at level 2 and
    /// writes the empty text. Thread-safe for distinct buffers.
    void format(char* buf, const char* format, int mask) const;

    /// Reads six numbers from `buf` (runs of digits, everything else skipped): year, month and
    /// day in the order that `format` declares, then hour, minute and second. A `format` with
    /// "h" reads a twelve-hour clock: "PM" or "AM" must stand somewhere in `buf`. On success the
    /// fields are clamped, the weekday computed, and the result is true. On failure (fewer than
    /// six numbers, an hour above 12 or no AM/PM in twelve-hour mode, a null argument) a line is
    /// logged at level 2, year, month, day, hour, minute and second are 0 and the result is
    /// false. `mask` has no effect. wday (on failure) and isdst are left alone.
    bool parse(const char* buf, const char* format, int mask);

    /// Sets the process-wide default format: stores the text (null stores the empty text), takes
    /// the separator from it ("." before "/" before "-"; with none "-" and a line at level 2),
    /// the twelve-hour flag (the text holds "h") and the date order (from the first "y", "M"
    /// and "d"; another arrangement gives ymd and a line at level 2). The settings are read and
    /// written without a lock: set them at start-up.
    static void setFormatString(const char* format);
    /// As setFormatString with the text of `format`.
    static void setFormat(const String& format);
    /// The stored default format, initially "yyyy-MM-dd HH:mm:ss".
    static String getFormat();
    /// The process-wide date order, initially ymd.
    static DateFormat getDateFormat();
    /// The process-wide twelve-hour flag, initially false.
    static bool get12Hour();
    /// The process-wide date separator, initially '-'.
    static char getSeparator();

    /// Monotonic milliseconds since the clock's first use in the process; never falls within a
    /// thread and is not moved by setting the wall clock.
    static unsigned long long getCurrentMilliSecond();
    /// The same clock in microseconds.
    static unsigned long long getCurrentMicroSecond();

private:
    struct RawFields {};
    constexpr CTime(RawFields, int y, int mo, int d, int wd, int h, int mi, int s)
        : SystemTime{y, mo, d, wd, h, mi, s, -1} {}
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_TIME_H_

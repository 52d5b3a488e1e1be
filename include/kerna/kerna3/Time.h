// Time.h
//
// CTime, the library's calendar value: a Gregorian date and time from 1970 to 2106 held as
// broken-down fields (the records SystemTime and SystemTimeEx), with the conversion to and from
// seconds since 1970, arithmetic and comparison in seconds, the process-wide default text format,
// and format and parse. The same class carries the monotonic clock as static members: milliseconds
// and microseconds since its first use in the process, never falling within a thread and not moved
// by setting the wall clock; timers, watch-dogs and idle checks run on it.
//
// Also static on CTime: the wall clock (local time as the platform keeps it) and the platform's
// UTC clock; the library's configured time zone and its table of zones; the setting of the wall
// clock through replaceable hooks, with verification and notification of the change; conversion
// between local seconds, UTC seconds and ISO text; and the daylight-saving manager, which moves
// the wall clock an hour forward and back by itself at the instants of a start and an end rule.

#ifndef KERNA_KERNA3_TIME_H_
#define KERNA_KERNA3_TIME_H_

#include <cstdint>

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/FlexString.h"
#include "kerna/kerna3/Function.h"

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

/// Who changes the time: stored per thread before a setting call, so that the procs told of the
/// change (which run on that thread) can read it back. Never null once read back.
struct ModifyTimeClientInfo {
    const char* clientName;
    const char* clientAddress;
    const char* clientType;
    int32_t reserved1;
    int32_t reserved2;
};

/// A daylight-saving rule: the day and time of the year at which daylight saving starts (the
/// clock goes forward) or ends (the clock goes back), in the local time then in force.
struct DstConfigInfo {
    int32_t month;   ///< 1 to 12
    int32_t day;     ///< with week 0 a date 1 to 31, else a weekday 0 (Sunday) to 6
    int32_t week;    ///< 0: `day` is a date; 1 to 4: the week-th such weekday; -1: the last one
    int32_t hour;    ///< 0 to 23
    int32_t minute;  ///< 0 to 59
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

    // ---- clocks --------------------------------------------------------------------------

    /// A UTC instant with the zone and daylight-saving state it was derived with.
    struct UTCTimeDef {
        uint64_t utc;      ///< seconds since 1970 UTC
        int32_t timeZone;  ///< seconds east of Greenwich
        int32_t dst;       ///< 1 in daylight saving, 0 not
    };

    /// The wall clock (local time as the platform keeps it), whole seconds; isdst -1.
    static CTime getCurrentTime();
    /// The wall clock with milliseconds; isdst and the reserved fields are 0.
    static SystemTimeEx getCurrentTimeEx();
    /// The same as getCurrentTime.
    static CTime getCurTimeForPrint();
    /// The same as getCurrentTimeEx; the argument has no effect.
    static SystemTimeEx getCurTimeExForPrint(unsigned long long unused);
    /// The platform's UTC clock in seconds since 1970 (0 for a clock before 1970).
    static unsigned long long getCurrentUTCtime();
    /// The platform's UTC clock in milliseconds since 1970 (0 for a clock before 1970).
    static unsigned long long getCurrentUTCMilliSecond();
    /// The same value as getCurrentUTCMilliSecond.
    static unsigned long long getCurrentRealUTC();
    /// UTC derived from the wall clock and the library's own zone and daylight-saving state (not
    /// from the platform's UTC clock): the wall clock's field seconds less the configured zone,
    /// less 3600 more in daylight saving (0 if that is negative). False, with nothing written,
    /// while the zone is not set (setTimeZone) or the daylight-saving state is not known.
    static bool getUTCForEmbed(UTCTimeDef& time);

    // ---- zones ---------------------------------------------------------------------------

    /// Configures the library's zone, seconds east of Greenwich from -43200 to 50400 (both
    /// included); false and no change outside. A successful call also makes the wall clock read
    /// the platform's zone again (the platform's zone is read once, at first use, and then only
    /// here).
    static bool setTimeZone(int seconds);
    /// The configured zone; false and no write while it is not set. A null pointer gives false
    /// and a line at level 2.
    static bool getTimeZone(int* seconds);
    /// Seconds east of Greenwich of row `zoneIndex` (0 to 39) of the zone table; another index
    /// logs at level 2 and gives 0.
    static int getTimeZonefromTable(int zoneIndex);

    // ---- setting the wall clock ----------------------------------------------------------
    //
    // Every setting path first asks the verify hook, if one is attached: when it returns false a
    // line is logged at level 2 and nothing else happens (no hook, no proc; the bool forms return
    // false). `tolerance` is in seconds: 0 always sets; otherwise the clock is left alone, as a
    // success, when it is already within that distance. The default setter clamps the time to
    // minTime .. maxTime, sets the platform wall clock and tells the modify procs; a refusal of
    // the platform leaves 0x1000000e as the calling thread's last error and tells no proc. A
    // setting path that goes ahead first clears 0x1000000e or 0x1000000f left in the last error
    // by an earlier set (other codes stay), so that its result speaks of this call only; the bool
    // forms return false when one of the two codes is set afterwards. Procs and hooks run on the
    // setting thread with no library lock held and may call the library again. Any thread;
    // concurrent setters are not ordered.

    /// Sets the wall clock to the normalised `time`. The result is not reported.
    static void setCurrentTime(const CTime& time, int tolerance);
    /// The same; false if refused or failed.
    static bool setCurrentTimeEx(const CTime& time, int tolerance);
    /// Sets the wall clock with milliseconds; false if refused or failed.
    static bool setCurrentTime(const SystemTimeEx& time, int tolerance);
    /// Sets the wall clock from UTC milliseconds: with the configured zone (0, and a line at
    /// level 3, while it is not set) and an hour more when the daylight-saving manager finds the
    /// local time inside its period, which also becomes the daylight-saving state. The manager
    /// is paused meanwhile. With a UTC hook attached the hook does all of it instead (the real
    /// UTC procs are told when it returns true and notify is on) and the result is true.
    static bool setCurrentRealUTC(unsigned long long utcMilliSeconds, int tolerance);

    // ---- hooks and procs -----------------------------------------------------------------

    /// Appends a proc told after each change of the wall clock (result not looked at). Procs are
    /// never removed. True.
    static bool attachModifyProc(TFunction1<bool, SystemTime> proc);
    /// Appends a proc told with the old and new UTC milliseconds after a UTC hook. True.
    static bool attachModifyRealUTCProc(
        TFunction2<void, unsigned long long, unsigned long long> proc);
    /// Replaces the hook through which a CTime reaches the clock; returns the old one (at first
    /// the default setter, which tells the procs itself: installing it again counts as not
    /// replaced).
    static TFunction2<void, const CTime&, int> attachSetCurrentTimeHook(
        TFunction2<void, const CTime&, int> hook);
    /// The same, and with `notify` true the procs are told after a replaced hook, with the
    /// normalised time.
    static TFunction2<void, const CTime&, int> attachSetCurrentTimeHook(
        TFunction2<void, const CTime&, int> hook, bool notify);
    /// Replaces the hook through which a SystemTimeEx reaches the clock; returns the old one.
    static TFunction2<void, const SystemTimeEx&, int> attachSetCurrentTimeHookEx(
        TFunction2<void, const SystemTimeEx&, int> hook);
    /// The same, with the notify flag of attachSetCurrentTimeHook.
    static TFunction2<void, const SystemTimeEx&, int> attachSetCurrentTimeHookEx(
        TFunction2<void, const SystemTimeEx&, int> hook, bool notify);
    /// Stores a hook that replaces the whole of setCurrentRealUTC (empty: none), and whether
    /// the real UTC procs are told after it returns true.
    static void attachSetCurrentRealUTCHook(TFunction2<bool, unsigned long long, int> hook,
                                            bool notify);
    /// Stores the hook that may refuse every change of the clock (empty: none).
    static void attachModifyTimeVerifyHook(TFunction0<bool> hook);

    /// Stores a copy of `info` for the calling thread (a null text as the empty text),
    /// replacing its former copy.
    static void setModifyTimeClientInfo(const ModifyTimeClientInfo& info);
    /// The calling thread's stored info; valid until the thread stores another. A thread with
    /// none gets three empty texts and a line at level 2.
    static ModifyTimeClientInfo getModifyTimeClientInfo();

    // ---- conversion ----------------------------------------------------------------------

    /// ISO text "yyyy-MM-ddTHH:mm:ss" with an optional offset "+hh:mm"/"-hh:mm" (six or eight
    /// numbers; with eight a sign must stand in the text, and the last sign counts) to UTC
    /// seconds. False with a line at level 2 for a null argument, too few numbers or an offset
    /// outside -12:00 .. +14:00; `*utcSec` is 0 then (unless null).
    static bool convertTZtoUTC(const char* buf, unsigned long long* utcSec);
    /// UTC seconds to "yyyy-MM-ddTHH:mm:ssZ" (20 characters and the terminator for years up to
    /// 9999; never more than `size` bytes). Writes nothing, with a line at level 2, when
    /// `addOffset` is true (not supported), `buf` is null or `size` is below 21.
    static void convertUTCtoTZ(unsigned long long utcSec, char* buf, int size, bool addOffset);
    /// Local field seconds to UTC seconds: less `*offset`, or with a null `offset` less the
    /// configured zone and an hour in daylight saving. A negative result logs at level 2 and
    /// gives 0.
    static unsigned long long makeUTC(unsigned long long localSec, const int* offset);
    /// UTC seconds to local field seconds with the configured zone and the daylight-saving
    /// manager's period; `*offset` gets the seconds added. The result is clamped to minTime ..
    /// maxTime (`*offset` stays). Null pointers log at level 2 and write nothing.
    static void makeLocal(unsigned long long utcSec, unsigned long long* localSec, int* offset);

    // ---- daylight saving -----------------------------------------------------------------
    //
    // The daylight-saving manager checks the wall clock once a second on a timer named
    // "DstManager". From 2 seconds before the start instant of the current year it sets the
    // clock an hour forward, from 2 seconds before the end instant an hour back, each once,
    // through the setting path above (verification, hooks, procs). A period may cross the new
    // year (southern rules).

    /// With `enable` true (re)starts the manager with the two rules: false, with a line at level
    /// 2, for a rule out of range, for this year's end less than or up to one hour after its
    /// start, or when the timer does not start. With false stops it (an hour back first if the
    /// clock stands in daylight saving) and returns true.
    static bool setDstConfig(const DstConfigInfo& start, const DstConfigInfo& end, bool enable);
    /// The start and end instants of `year` (start in standard local time, end in daylight
    /// local time); false while the manager does not run.
    static bool getDstConfig(int year, CTime& start, CTime& end);
    /// Gives the daylight-saving state its starting value before the manager starts (true: the
    /// clock already stands in daylight saving). False while the manager runs.
    static bool setInitDst(bool dst);
    /// Replaces the callback told the new daylight-saving state at each change, on the thread of
    /// the change, with no library lock held (before the modify procs).
    static void attachConvertDstCallback(TFunction1<void, bool> proc);
    /// Stores the daylight-saving state; tells the callback first when it changes. True.
    static bool setDst(bool dst);
    /// The daylight-saving state: -1 not known, 0 out, 1 in.
    static int getDst();

private:
    struct RawFields {};
    constexpr CTime(RawFields, int y, int mo, int d, int wd, int h, int mi, int s)
        : SystemTime{y, mo, d, wd, h, mi, s, -1} {}
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_TIME_H_

// Time.h
//
// The older global CTime, a calendar value with the fields of SystemTime that stands on the C
// library's mktime and localtime (64-bit time) rather than on the library's own calendar: the
// platform's zone and daylight-saving rules apply, and fields out of range roll over into the
// next ones (February 31 becomes a day of March) instead of being clamped. Its text format
// settings are its own, apart from those of Tessaran::Kerna::CTime, and it has no parsing, zone
// or hook operations. Beside it, CTimeRecord, a small aid that times the steps of a piece of
// code.
#ifndef KERNA_LEGACY_TIME_H_
#define KERNA_LEGACY_TIME_H_

#include <string>

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/Time.h"
#include "kerna/legacy/LogShortForms.h"

using Tessaran::Kerna::SystemTime;

/// An older calendar value. Plain data, no lock; the process-wide format settings are read and
/// written without a lock (set them at start-up).
class KERNA_API CTime : public SystemTime {
public:
    /// 2000-01-01 00:00:00.
    static const ::CTime minTime;
    /// 2038-01-01 00:00:00.
    static const ::CTime maxTime;

    /// All fields 0, isdst -1.
    CTime();
    /// The local time of `time` seconds since 1970 UTC (breakTime); isdst -1.
    CTime(unsigned long long time);
    /// Copies all eight fields as they are, unchecked.
    CTime(const SystemTime& time);
    /// Stores the fields with isdst -1, then breakTime(makeTime()): values out of range roll
    /// over, as the C library's mktime normalises them.
    CTime(int year, int month, int day, int hour, int minute, int second);

    /// Seconds since 1970 UTC of the fields taken as local time (mktime, the zone's rules
    /// deciding daylight saving); 0 when the result would be negative or the C library cannot
    /// represent the time.
    unsigned long long makeTime() const;
    /// Sets year, month, day, wday, hour, minute and second to the local time of `time`
    /// (localtime); isdst stays. A time the C library cannot represent logs
    /// "this:%p CTime::breakTime overflowed!" at level 2 and changes nothing.
    void breakTime(unsigned long long time);

    /// The wall clock of Tessaran::Kerna::CTime, as an older value built from its six fields.
    static ::CTime getCurrentTime();
    /// Sets the wall clock through Tessaran::Kerna::CTime::setCurrentTime (its hooks,
    /// verification and procs all apply) to a new value of the six fields of `time`.
    static void setCurrentTime(const ::CTime& time, int tolerance);
    /// The monotonic clock of Tessaran::Kerna::CTime, in milliseconds and microseconds.
    static unsigned long long getCurrentMilliSecond();
    static unsigned long long getCurrentMicroSecond();
    /// Suspends the calling thread, as Tessaran::Kerna::CThread::sleep.
    static void sleep(int milliSeconds);

    /// Sets this class's default format as Tessaran::Kerna::CTime::setFormatString does: the
    /// text, the separator, the twelve-hour flag and the date order it declares; the two
    /// complaints go out through logError.
    static void setFormat(std::string format);
    /// The stored format text, initially "yyyy-MM-dd HH:mm:ss".
    static std::string getFormat();
    /// The date order (0 ymd, 1 mdy, 2 dmy; setFormat with numbers stores any value).
    static int getDateFormat();
    /// The twelve-hour flag.
    static bool get12Hour();
    /// The date separator, initially '-'.
    static char getSpliter();
    /// Stores `dateFormat` as it is; `separator` 0, 1 or 2 gives ".", "-" or "/" (another value
    /// keeps the separator); `timeFormat` 0 gives 24 hours, 1 twelve (another value keeps it).
    static void setFormat(int dateFormat, int separator, int timeFormat);
    /// 1 in twelve-hour mode, else 0.
    static int getTimeFormat();
    /// 0 for ".", 1 for "-", 2 for "/".
    static int getDateSeparator();

    /// Writes the text of this value for `format` into `buf` as Tessaran::Kerna::CTime::format
    /// does with the mask 0, so date order, separator and hour mode come from this class's
    /// settings; numbers are written as sprintf's "%04d", "%02d" and "%d" write them. A null
    /// `buf` or `format` logs "buf is NULL!!" or "format is NULL!!" through logError and writes
    /// nothing. `buf` must hold the text (see Tessaran::Kerna::CTime::format).
    void format(char* buf, const char* format) const;

    /// Arithmetic in seconds through makeTime and breakTime: the zone's rules apply.
    ::CTime operator+(long long seconds) const;
    ::CTime operator-(long long seconds) const;
    ::CTime& operator+=(long long seconds);
    ::CTime& operator-=(long long seconds);
    /// makeTime() - other.makeTime().
    long long operator-(const ::CTime& other) const;

    /// Comparison of makeTime() of both sides: values that stand for one instant are equal.
    bool operator==(const ::CTime& other) const;
    bool operator!=(const ::CTime& other) const;
    bool operator<(const ::CTime& other) const;
    bool operator>(const ::CTime& other) const;
    bool operator<=(const ::CTime& other) const;
    bool operator>=(const ::CTime& other) const;

private:
    struct RawFields {};
    constexpr CTime(RawFields, int y, int mo, int d, int wd)
        : SystemTime{y, mo, d, wd, 0, 0, 0, -1} {}
};

/// Times the steps of a piece of code on the monotonic clock: mark() after each step, report()
/// at the end. Up to 31 marks are kept (later ones are dropped), and report()'s own closing mark
/// always has room (a later report replaces it). One object belongs to one thread.
class CTimeRecord {
public:
    static constexpr int capacity = 32;

    /// One mark: its label and the monotonic time in microseconds.
    struct Mark {
        const char* label;
        unsigned long long time;
    };

    explicit CTimeRecord(const char* recordName) : name(recordName), markCount(0) {}

    /// Stores `label` with the current monotonic microseconds.
    void mark(const char* label) {
        if (markCount < capacity - 1) store(label);
    }

    /// Closes with a mark of its own. Unless `threshold` is not 0 and the time from the first
    /// mark to that one is below `threshold` microseconds, logs through logInfo one line per
    /// step, "<name>-<label of the mark before> : <microseconds> us".
    void report(unsigned int threshold) {
        if (markCount == capacity) --markCount;  // the closing mark of an earlier report
        store(nullptr);
        if (threshold != 0 && marks[markCount - 1].time - marks[0].time < threshold) return;
        for (int i = 1; i < markCount; ++i) {
            ::logInfo("%s-%s : %d us\n", name, marks[i - 1].label,
                      static_cast<int>(marks[i].time - marks[i - 1].time));
        }
    }

    Mark marks[capacity];
    const char* name;
    int markCount;

private:
    void store(const char* label) {
        marks[markCount].label = label;
        marks[markCount].time = ::CTime::getCurrentMicroSecond();
        ++markCount;
    }
};

#endif  // KERNA_LEGACY_TIME_H_

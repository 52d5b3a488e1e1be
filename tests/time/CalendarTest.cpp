// CalendarTest.cpp
//
// The library's Gregorian routine against the C library's timegm and gmtime_r as oracle: every
// day from 1970 to 2106, random seconds over the whole range and over the whole 32-bit day
// number, the clamping of out-of-range fields, arithmetic and comparison.

#include <gtest/gtest.h>
#include <kerna/kerna3/Time.h>

#include <cstdint>
#include <ctime>
#include <random>

#include "time/Calendar.h"

using Tessaran::Kerna::CTime;
using Tessaran::Kerna::SystemTime;
using Tessaran::Kerna::SystemTimeEx;

namespace {

// 2106-12-31 23:59:59, the last second a normalised value can hold.
constexpr uint64_t kLastSecond = 4323283199ULL;

struct Fields {
    int year, month, day, wday, hour, minute, second;
};

Fields oracleBreak(uint64_t seconds) {
    const time_t t = static_cast<time_t>(seconds);
    struct tm tm = {};
    EXPECT_NE(gmtime_r(&t, &tm), nullptr);
    return {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_wday,
            tm.tm_hour,        tm.tm_min,     tm.tm_sec};
}

int64_t oracleSeconds(int year, int month, int day, int hour, int minute, int second) {
    struct tm tm = {};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    return static_cast<int64_t>(timegm(&tm));
}

// Days in a month by the oracle: day 0 of the next month is the last day of this one.
int oracleMonthLength(int year, int month) {
    struct tm tm = {};
    tm.tm_year = year - 1900;
    tm.tm_mon = month;  // the next month, zero-based
    tm.tm_mday = 0;
    timegm(&tm);
    return tm.tm_mday;
}

::testing::AssertionResult sameFields(const SystemTime& t, const Fields& f) {
    if (t.year == f.year && t.month == f.month && t.day == f.day && t.wday == f.wday &&
        t.hour == f.hour && t.minute == f.minute && t.second == f.second) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "got " << t.year << "-" << t.month << "-" << t.day << " w" << t.wday << " " << t.hour
           << ":" << t.minute << ":" << t.second << ", oracle " << f.year << "-" << f.month << "-"
           << f.day << " w" << f.wday << " " << f.hour << ":" << f.minute << ":" << f.second;
}

}  // namespace

TEST(Calendar, EveryDayFrom1970To2106MatchesTheCLibrary) {
    const uint64_t lastDay = kLastSecond / 86400;
    ASSERT_EQ(lastDay, 50037u);
    for (uint64_t day = 0; day <= lastDay; ++day) {
        const uint64_t seconds = day * 86400 + (day * 7919) % 86400;
        const Fields expected = oracleBreak(seconds);
        const CTime broken(seconds, false);
        ASSERT_TRUE(sameFields(broken, expected)) << "seconds " << seconds;
        ASSERT_EQ(broken.isdst, -1);

        const CTime built(expected.year, expected.month, expected.day, expected.hour,
                          expected.minute, expected.second);
        ASSERT_TRUE(sameFields(built, expected));
        ASSERT_EQ(CTime::timeToSeconds(built), seconds);
    }
}

TEST(Calendar, RandomSecondsOverTheWholeRangeRoundTrip) {
    std::mt19937_64 random(20240601);
    std::uniform_int_distribution<uint64_t> inRange(0, kLastSecond);
    for (int i = 0; i < 1000000; ++i) {
        const uint64_t seconds = inRange(random);
        const CTime broken(seconds, false);
        ASSERT_TRUE(sameFields(broken, oracleBreak(seconds))) << "seconds " << seconds;
        ASSERT_EQ(CTime::timeToSeconds(broken), seconds);
    }
}

TEST(Calendar, EveryThirtyTwoBitDayNumberBreaksDownLikeTheCLibrary) {
    // Beyond 2106 a value is only broken down, never built; the routine still has to be right for
    // every day number it can meet.
    std::mt19937_64 random(7);
    std::uniform_int_distribution<uint64_t> anyDay(0, (uint64_t{1} << 32) * 86400 - 1);
    for (int i = 0; i < 200000; ++i) {
        const uint64_t seconds = anyDay(random);
        ASSERT_TRUE(sameFields(CTime(seconds, false), oracleBreak(seconds))) << seconds;
    }
    const uint64_t lastDaySecond = (uint64_t{1} << 32) * 86400 - 1;
    EXPECT_TRUE(sameFields(CTime(lastDaySecond, false), oracleBreak(lastDaySecond)));
    EXPECT_EQ(CTime(lastDaySecond, false).year, 11761191);
}

TEST(Calendar, DayNumberIsThirtyTwoBitsWide) {
    // Day 2^32 wraps to day 0.
    const CTime wrapped((uint64_t{1} << 32) * 86400 + 5, false);
    EXPECT_TRUE(sameFields(wrapped, {1970, 1, 1, 4, 0, 0, 5}));
    // A count that is negative as a signed number breaks down as 0.
    EXPECT_TRUE(sameFields(CTime(~0ULL, false), {1970, 1, 1, 4, 0, 0, 0}));
}

TEST(Calendar, LeapYears) {
    EXPECT_TRUE(Tessaran::Kerna::Detail::isLeapYear(2000));
    EXPECT_FALSE(Tessaran::Kerna::Detail::isLeapYear(2100));
    EXPECT_TRUE(Tessaran::Kerna::Detail::isLeapYear(2104));
    EXPECT_FALSE(Tessaran::Kerna::Detail::isLeapYear(2023));

    const CTime leap2000(2000, 2, 29, 12, 0, 0);
    EXPECT_EQ(leap2000.day, 29);
    EXPECT_EQ(CTime::timeToSeconds(leap2000), oracleSeconds(2000, 2, 29, 12, 0, 0));
    const CTime notLeap2100(2100, 2, 29, 12, 0, 0);
    EXPECT_EQ(notLeap2100.month, 2);
    EXPECT_EQ(notLeap2100.day, 28);
    EXPECT_EQ(CTime(2100, 3, 1, 0, 0, 0) - CTime(2100, 2, 28, 0, 0, 0), 86400);
    EXPECT_EQ(CTime(2000, 3, 1, 0, 0, 0) - CTime(2000, 2, 28, 0, 0, 0), 2 * 86400);
    EXPECT_EQ(CTime(2024, 2, 29, 0, 0, 0).day, 29);
    EXPECT_EQ(CTime(2023, 2, 29, 0, 0, 0).day, 28);
    EXPECT_TRUE(sameFields(CTime(2106, 12, 31, 23, 59, 59), oracleBreak(kLastSecond)));
}

TEST(Calendar, OutOfRangeFieldsAreClampedStepByStep) {
    EXPECT_TRUE(sameFields(CTime(2023, 2, 31, 25, 70, -1), {2023, 2, 28, 2, 23, 59, 59}));
    EXPECT_TRUE(sameFields(CTime(1969, 13, 0, 0, 0, 0), {1970, 12, 1, 2, 0, 0, 0}));
    EXPECT_EQ(CTime(3000, 6, 15, 0, 0, 0).year, 2106);
    EXPECT_TRUE(sameFields(CTime(1970, 1, 1, 0, 0, 0), {1970, 1, 1, 4, 0, 0, 0}));
    EXPECT_TRUE(sameFields(CTime(INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN),
                           {1970, 1, 1, 4, 0, 0, 0}));
    EXPECT_TRUE(sameFields(CTime(INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX),
                           {2106, 12, 31, 5, 23, 59, 59}));
    // An hour of 24 or more is 23:59:59 even with minute and second in range.
    EXPECT_TRUE(sameFields(CTime(2023, 3, 4, 24, 0, 0), {2023, 3, 4, 6, 23, 59, 59}));
    EXPECT_TRUE(sameFields(CTime(2023, 3, 4, -5, 60, 60), {2023, 3, 4, 6, 0, 59, 59}));
}

TEST(Calendar, RandomOutOfRangeFieldsAgreeWithTheOracleOfTheClampedValue) {
    std::mt19937 random(99);
    std::uniform_int_distribution<int> year(1900, 2200), month(-3, 16), day(-3, 35), hour(-3, 27),
        minute(-3, 63);
    for (int i = 0; i < 200000; ++i) {
        const int y = year(random), mo = month(random), d = day(random), h = hour(random),
                  mi = minute(random), s = minute(random);
        // The expected value, by the clamping rules, with the month length from the oracle.
        int ey = y < 1970 ? 1970 : y > 2106 ? 2106 : y;
        int em = mo < 1 ? 1 : mo > 12 ? 12 : mo;
        const int length = oracleMonthLength(ey, em);
        int ed = d <= 0 ? 1 : d > length ? length : d;
        int eh = h, emi = mi, es = s;
        if (eh < 0) eh = 0;
        if (eh > 23) eh = 23, emi = 59, es = 59;
        emi = emi < 0 ? 0 : emi > 59 ? 59 : emi;
        es = es < 0 ? 0 : es > 59 ? 59 : es;
        const int64_t seconds = oracleSeconds(ey, em, ed, eh, emi, es);

        const CTime value(y, mo, d, h, mi, s);
        ASSERT_TRUE(sameFields(value, oracleBreak(static_cast<uint64_t>(seconds))))
            << y << "-" << mo << "-" << d << " " << h << ":" << mi << ":" << s;
        // timeToSeconds clamps a copy of raw fields the same way and leaves them alone.
        SystemTime raw = {y, mo, d, 77, h, mi, s, 5};
        ASSERT_EQ(CTime::timeToSeconds(raw), static_cast<uint64_t>(seconds));
        ASSERT_EQ(raw.year, y);
        ASSERT_EQ(raw.wday, 77);
    }
}

TEST(Calendar, ArithmeticAgreesWithTheOracle) {
    std::mt19937_64 random(3);
    std::uniform_int_distribution<uint64_t> inRange(0, kLastSecond);
    std::uniform_int_distribution<int64_t> delta(-4000000000LL, 4000000000LL);
    for (int i = 0; i < 100000; ++i) {
        const uint64_t start = inRange(random);
        const int64_t step = delta(random);
        CTime value(start, false);
        value.isdst = 1;
        const int64_t target = static_cast<int64_t>(start) + step;
        const Fields expected = oracleBreak(target > 0 ? static_cast<uint64_t>(target) : 0);

        const CTime sum = value + step;
        ASSERT_TRUE(sameFields(sum, expected));
        ASSERT_EQ(sum.isdst, -1);
        ASSERT_TRUE(sameFields(value - (-step), expected));
        ASSERT_EQ(value - CTime(start + 1, false), -1);

        CTime moved = value;
        moved += step;
        ASSERT_TRUE(sameFields(moved, expected));
        ASSERT_EQ(moved.isdst, 1);
        moved = value;
        moved -= -step;
        ASSERT_TRUE(sameFields(moved, expected));
        if (target >= 0 && target <= static_cast<int64_t>(kLastSecond)) {
            ASSERT_EQ(sum - value, step);
        }
    }
    // Far beyond either end of the 64-bit range: defined results, no overflow.
    const CTime start(2000, 1, 1, 0, 0, 0);
    EXPECT_TRUE(sameFields(start - INT64_MAX, {1970, 1, 1, 4, 0, 0, 0}));
    EXPECT_TRUE(sameFields(start + INT64_MIN, {1970, 1, 1, 4, 0, 0, 0}));
    EXPECT_EQ((start + INT64_MAX).isdst, -1);
}

TEST(Calendar, ComparisonUsesTheSixFieldsOnly) {
    CTime a(2023, 3, 4, 5, 6, 7);
    CTime b = a;
    b.wday = 0;
    b.isdst = 1;
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);
    EXPECT_TRUE(a <= b && a >= b && !(a < b) && !(a > b));

    std::mt19937_64 random(11);
    std::uniform_int_distribution<uint64_t> inRange(0, kLastSecond);
    for (int i = 0; i < 20000; ++i) {
        const CTime x(inRange(random), false);
        const CTime y = i % 4 == 0 ? x : CTime(inRange(random), false);
        const long long diff = x - y;
        ASSERT_EQ(x < y, diff < 0);
        ASSERT_EQ(x > y, diff > 0);
        ASSERT_EQ(x == y, diff == 0);
        ASSERT_EQ(x <= y, diff <= 0);
        ASSERT_EQ(x >= y, diff >= 0);
        ASSERT_EQ(x != y, diff != 0);
    }
    // Raw fields compare as signed numbers in field order, not as instants.
    CTime raw;
    raw.year = 2023;
    raw.month = -1;
    EXPECT_TRUE(raw < CTime(2023, 1, 1, 0, 0, 0));
}

TEST(Calendar, MinAndMaxTime) {
    EXPECT_TRUE(sameFields(CTime::minTime, {2000, 1, 1, 6, 0, 0, 0}));
    EXPECT_TRUE(sameFields(CTime::maxTime, {2038, 1, 1, 5, 0, 0, 0}));
    EXPECT_EQ(CTime::minTime.isdst, -1);
    EXPECT_EQ(CTime::timeToSeconds(CTime::minTime), 946684800u);
    EXPECT_EQ(CTime::timeToSeconds(CTime::maxTime), 2145916800u);
    const CTime empty;
    EXPECT_TRUE(sameFields(empty, {0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(empty.isdst, -1);
}

TEST(Calendar, MillisecondRecords) {
    using Tessaran::Kerna::Detail::addMilliseconds;
    using Tessaran::Kerna::Detail::recordMilliseconds;
    SystemTimeEx record = {2023, 12, 31, 0, 23, 59, 59, 999, 1, 0, 0, 0};
    EXPECT_EQ(recordMilliseconds(record),
              static_cast<uint64_t>(oracleSeconds(2023, 12, 31, 23, 59, 59)) * 1000 + 999);
    addMilliseconds(record, 1);
    EXPECT_EQ(record.year, 2024);
    EXPECT_EQ(record.month, 1);
    EXPECT_EQ(record.day, 1);
    EXPECT_EQ(record.wday, 1);
    EXPECT_EQ(record.hour, 0);
    EXPECT_EQ(record.second, 0);
    EXPECT_EQ(record.millisecond, 0);
    EXPECT_EQ(record.isdst, 1);
    addMilliseconds(record, -1500);
    EXPECT_EQ(record.year, 2023);
    EXPECT_EQ(record.second, 58);
    EXPECT_EQ(record.millisecond, 500);
    addMilliseconds(record, INT64_MIN);
    EXPECT_EQ(recordMilliseconds(record), 0u);
    addMilliseconds(record, INT64_MAX);  // no overflow; the day number wraps as for seconds
    EXPECT_EQ(record.isdst, 1);
}

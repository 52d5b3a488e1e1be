// CalendarTest.cpp
//
// The library's Gregorian routine against the C library's timegm and gmtime_r as oracle: every
// day from 1970 to 2106, random seconds over the whole range and over the whole 32-bit day
// number, the clamping of out-of-range fields, arithmetic and comparison.

#include <gtest/gtest.h>
#include <kerna/kerna3/Time.h>

#include <array>
#include <cstdint>
#include <ctime>
#include <random>
#include <vector>

#include "time/Calendar.h"

using Tessaran::Kerna::CTime;
using Tessaran::Kerna::SystemTime;
using Tessaran::Kerna::SystemTimeEx;

namespace {

// 2106-12-31 23:59:59, the last second a normalised value can hold.
constexpr uint64_t kLastSecond = 4323283199ULL;

// year, month, day, wday, hour, minute, second
typedef std::array<int, 7> Fields;

Fields fields(const SystemTime& t) { return {t.year, t.month, t.day, t.wday, t.hour, t.minute, t.second}; }

Fields oracleBreak(uint64_t seconds) {
    const time_t t = static_cast<time_t>(seconds);
    struct tm tm = {};
    EXPECT_NE(gmtime_r(&t, &tm), nullptr);
    return {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_wday, tm.tm_hour, tm.tm_min, tm.tm_sec};
}

int64_t oracleSeconds(int year, int month, int day, int hour, int minute, int second) {
    struct tm tm = {second, minute, hour, day, month - 1, year - 1900, 0, 0, 0, 0, nullptr};
    return static_cast<int64_t>(timegm(&tm));
}

// Days in a month by the oracle: day 0 of the next month is the last day of this one.
int oracleMonthLength(int year, int month) {
    struct tm tm = {0, 0, 0, 0, month, year - 1900, 0, 0, 0, 0, nullptr};
    timegm(&tm);
    return tm.tm_mday;
}

}  // namespace

TEST(Calendar, EveryDayFrom1970To2106AndRandomSecondsMatchTheCLibrary) {
    const uint64_t lastDay = kLastSecond / 86400;
    ASSERT_EQ(lastDay, 50037u);
    std::mt19937_64 random(20240601);
    std::uniform_int_distribution<uint64_t> inRange(0, kLastSecond);
    for (uint64_t i = 0; i <= 20 * lastDay; ++i) {
        // Every day once (with a second that moves through the day), then random seconds.
        const uint64_t seconds = i <= lastDay ? i * 86400 + (i * 7919) % 86400 : inRange(random);
        const Fields expected = oracleBreak(seconds);
        const CTime broken(seconds, false);
        ASSERT_EQ(fields(broken), expected) << "seconds " << seconds;
        ASSERT_EQ(broken.isdst, -1);
        ASSERT_EQ(CTime::timeToSeconds(broken), seconds);
        const CTime built(expected[0], expected[1], expected[2], expected[4], expected[5], expected[6]);
        ASSERT_EQ(fields(built), expected);
    }
}

TEST(Calendar, EveryThirtyTwoBitDayNumberBreaksDownLikeTheCLibrary) {
    // Beyond 2106 a value is only broken down, never built; the routine still has to be right for
    // every day number it can meet.
    const uint64_t lastDaySecond = (uint64_t{1} << 32) * 86400 - 1;
    std::mt19937_64 random(7);
    std::uniform_int_distribution<uint64_t> anyDay(0, lastDaySecond);
    for (int i = 0; i < 200000; ++i) {
        const uint64_t seconds = i == 0 ? lastDaySecond : anyDay(random);
        ASSERT_EQ(fields(CTime(seconds, false)), oracleBreak(seconds)) << seconds;
    }
    EXPECT_EQ(CTime(lastDaySecond, false).year, 11761191);
    // Day 2^32 wraps to day 0; a count that is negative as a signed number breaks down as 0.
    EXPECT_EQ(fields(CTime(lastDaySecond + 6, false)), (Fields{1970, 1, 1, 4, 0, 0, 5}));
    EXPECT_EQ(fields(CTime(~0ULL, false)), (Fields{1970, 1, 1, 4, 0, 0, 0}));
}

TEST(Calendar, OutOfRangeFieldsAreClampedStepByStep) {
    EXPECT_EQ(fields(CTime(2023, 2, 31, 25, 70, -1)), (Fields{2023, 2, 28, 2, 23, 59, 59}));
    EXPECT_EQ(fields(CTime(2100, 2, 29, 12, 0, 0)), (Fields{2100, 2, 28, 0, 12, 0, 0}));  // no leap day
    EXPECT_EQ(fields(CTime(1969, 13, 0, 0, 0, 0)), (Fields{1970, 12, 1, 2, 0, 0, 0}));
    EXPECT_EQ(CTime(3000, 6, 15, 0, 0, 0).year, 2106);
    EXPECT_EQ(fields(CTime(1970, 1, 1, 0, 0, 0)), (Fields{1970, 1, 1, 4, 0, 0, 0}));
    const int lo = INT32_MIN, hi = INT32_MAX;
    EXPECT_EQ(fields(CTime(lo, lo, lo, lo, lo, lo)), (Fields{1970, 1, 1, 4, 0, 0, 0}));
    EXPECT_EQ(fields(CTime(hi, hi, hi, hi, hi, hi)), (Fields{2106, 12, 31, 5, 23, 59, 59}));
    // An hour of 24 or more is 23:59:59 even with minute and second in range.
    EXPECT_EQ(fields(CTime(2023, 3, 4, 24, 0, 0)), (Fields{2023, 3, 4, 6, 23, 59, 59}));
    EXPECT_EQ(fields(CTime(2023, 3, 4, -5, 60, 60)), (Fields{2023, 3, 4, 6, 0, 59, 59}));
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
        ASSERT_EQ(fields(value), oracleBreak(static_cast<uint64_t>(seconds)))
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
        ASSERT_EQ(fields(sum), expected);
        ASSERT_EQ(sum.isdst, -1);
        ASSERT_EQ(fields(value - (-step)), expected);
        ASSERT_EQ(value - CTime(start + 1, false), -1);

        CTime moved = value;
        moved += step;
        ASSERT_EQ(fields(moved), expected);
        ASSERT_EQ(moved.isdst, 1);
        moved = value;
        moved -= -step;
        ASSERT_EQ(fields(moved), expected);
        if (target >= 0 && target <= static_cast<int64_t>(kLastSecond)) {
            ASSERT_EQ(sum - value, step);
        }
    }
    // Far beyond either end of the 64-bit range: defined results, no overflow.
    const CTime start(2000, 1, 1, 0, 0, 0);
    EXPECT_EQ(fields(start - INT64_MAX), (Fields{1970, 1, 1, 4, 0, 0, 0}));
    EXPECT_EQ(fields(start + INT64_MIN), (Fields{1970, 1, 1, 4, 0, 0, 0}));
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
        const long long d = x - y;
        ASSERT_EQ((std::array<bool, 6>{x < y, x > y, x == y, x <= y, x >= y, x != y}),
                  (std::array<bool, 6>{d < 0, d > 0, d == 0, d <= 0, d >= 0, d != 0}));
    }
    // Raw fields compare as signed numbers in field order, not as instants.
    CTime raw;
    raw.year = 2023;
    raw.month = -1;
    EXPECT_TRUE(raw < CTime(2023, 1, 1, 0, 0, 0));
}

TEST(Calendar, MinAndMaxTime) {
    EXPECT_EQ(fields(CTime::minTime), (Fields{2000, 1, 1, 6, 0, 0, 0}));
    EXPECT_EQ(fields(CTime::maxTime), (Fields{2038, 1, 1, 5, 0, 0, 0}));
    EXPECT_EQ(CTime::minTime.isdst, -1);
    EXPECT_EQ(CTime::timeToSeconds(CTime::minTime), 946684800u);
    EXPECT_EQ(CTime::timeToSeconds(CTime::maxTime), 2145916800u);
    const CTime empty;
    EXPECT_EQ(fields(empty), (Fields{0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(empty.isdst, -1);
}

TEST(Calendar, MillisecondRecords) {
    using Tessaran::Kerna::Detail::addMilliseconds;
    using Tessaran::Kerna::Detail::recordMilliseconds;
    SystemTimeEx record = {2023, 12, 31, 0, 23, 59, 59, 999, 1, 0, 0, 0};
    EXPECT_EQ(recordMilliseconds(record),
              static_cast<uint64_t>(oracleSeconds(2023, 12, 31, 23, 59, 59)) * 1000 + 999);
    auto all = [](const SystemTimeEx& r) {
        return std::vector<int>{r.year, r.month, r.day, r.wday, r.hour, r.minute, r.second, r.millisecond, r.isdst};
    };
    addMilliseconds(record, 1);
    EXPECT_EQ(all(record), (std::vector<int>{2024, 1, 1, 1, 0, 0, 0, 0, 1}));
    addMilliseconds(record, -1500);
    EXPECT_EQ(all(record), (std::vector<int>{2023, 12, 31, 0, 23, 59, 58, 500, 1}));
    addMilliseconds(record, INT64_MIN);
    EXPECT_EQ(recordMilliseconds(record), 0u);
    addMilliseconds(record, INT64_MAX);  // no overflow; the day number wraps as for seconds
    EXPECT_EQ(record.isdst, 1);
}

// TimeTest.cpp
//
// CTime with the platform zone bias: makeTime, breakTime and the zone-free forms, read through
// the simulated wall clock that every test program installs (UTC+8, bias -28800).

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <random>

#include "kerna/kerna3/Time.h"
#include "kerna/kerna3/testing/SimulatedClock.h"

using Tessaran::Kerna::CTime;
namespace Testing = Tessaran::Kerna::Testing;

namespace {

uint64_t utcSeconds(int year, int month, int day, int hour, int minute, int second) {
    struct tm tm = {second, minute, hour, day, month - 1, year - 1900, 0, 0, 0, 0, nullptr};
    return static_cast<uint64_t>(timegm(&tm));
}

}  // namespace

TEST(CTimeZone, MakeTimeAndBreakTimeUseTheBias) {
    EXPECT_EQ(CTime::getTimeZone(), -28800);
    const CTime local(2023, 3, 4, 5, 6, 7);
    // UTC+8: 05:06:07 local is 21:06:07 UTC of the day before.
    EXPECT_EQ(local.makeTime(), utcSeconds(2023, 3, 3, 21, 6, 7));
    CTime back(utcSeconds(2023, 3, 3, 21, 6, 7));
    EXPECT_TRUE(back == local);
    EXPECT_EQ(back.wday, 6);
    EXPECT_EQ(back.isdst, -1);
    // The zone-free forms ignore the bias.
    EXPECT_TRUE(CTime(utcSeconds(2023, 3, 4, 5, 6, 7), false) == local);
    EXPECT_TRUE(CTime(utcSeconds(2023, 3, 4, 5, 6, 7), true) == CTime(2023, 3, 4, 13, 6, 7));
    EXPECT_EQ(CTime::timeToSeconds(local), utcSeconds(2023, 3, 4, 5, 6, 7));

    // East of Greenwich the first local hours of 1970 lie before the epoch: 0, never negative.
    EXPECT_EQ(CTime(1970, 1, 1, 0, 0, 0).makeTime(), 0u);
    EXPECT_EQ(CTime(1970, 1, 1, 7, 59, 59).makeTime(), 0u);
    EXPECT_EQ(CTime(1970, 1, 1, 8, 0, 1).makeTime(), 1u);

    // breakTime leaves isdst as it was.
    CTime t;
    t.isdst = 1;
    t.breakTime(0);
    EXPECT_TRUE(t == CTime(1970, 1, 1, 8, 0, 0));
    EXPECT_EQ(t.isdst, 1);
    // A count that is negative as a signed number is compared with the bias as such: -1 is above
    // -28800 and stands for 07:59:59 local.
    t.breakTime(~0ULL);
    EXPECT_TRUE(t == CTime(1970, 1, 1, 7, 59, 59));
}

TEST(CTimeZone, WestOfGreenwichCountsAtOrBelowTheBiasGiveTheEpoch) {
    Testing::setSimulatedBias(18000);  // UTC-5
    EXPECT_EQ(CTime::getTimeZone(), 18000);
    EXPECT_TRUE(CTime(18000ULL) == CTime(1970, 1, 1, 0, 0, 0));
    EXPECT_TRUE(CTime(17999ULL) == CTime(1970, 1, 1, 0, 0, 0));
    EXPECT_TRUE(CTime(18001ULL) == CTime(1970, 1, 1, 0, 0, 1));
    EXPECT_EQ(CTime(1970, 1, 1, 0, 0, 0).makeTime(), 18000u);
    Testing::setSimulatedBias(-28800);
}

TEST(CTimeZone, MakeTimeInvertsBreakTimeOverTheRange) {
    std::mt19937_64 random(17);
    std::uniform_int_distribution<uint64_t> inRange(28800, 4323283199ULL - 28800);
    for (int i = 0; i < 100000; ++i) {
        const uint64_t seconds = inRange(random);
        ASSERT_EQ(CTime(seconds).makeTime(), seconds);
    }
}

// disableTimezone is for good in the process, so it runs in a child of its own: before, it ran in
// the test program's process and every zone test shuffled behind it failed.
TEST(CTimeZone, DisableTimezoneIsForGood) {
    EXPECT_EXIT(
        {
            bool ok = CTime::disableTimezone() == 0 && CTime::getTimeZone() == 0;
            Testing::setSimulatedBias(3600);
            ok = ok && CTime::getTimeZone() == 0;
            const CTime local(2023, 3, 4, 5, 6, 7);
            ok = ok && local.makeTime() == CTime::timeToSeconds(local) && CTime(local.makeTime()) == local;
            std::_Exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(CTime::getTimeZone(), -28800);
}

// ClockTest.cpp
//
// The clocks and the setting of the wall clock, on the simulated wall clock: readings, the
// configured zone and the zone table, every setting path with verification, tolerance, clamping,
// replaced hooks, platform refusal and the procs, the per-thread client record, and the
// conversions between local seconds, UTC seconds and ISO text.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "support/LogCapture.h"
#include "time/ClockTestSupport.h"

using namespace KernaTest;
using Tessaran::Kerna::getLastError;
using Tessaran::Kerna::ModifyTimeClientInfo;
using Tessaran::Kerna::setLastError;
using Tessaran::Kerna::TFunction0;
using Tessaran::Kerna::TFunction1;
using Tessaran::Kerna::TFunction2;
using ::testing::ElementsAre;

namespace {

using ClockSetting = ClockFixture;
using ClockConversion = ClockFixture;

const char kVerifyRefused[] = "verification failed when modifying time!\n";

// Field seconds of the simulated wall clock now.
long long localNow() { return static_cast<long long>(CTime::timeToSeconds(CTime::getCurrentTime())); }

long long localSeconds(int year, int month, int day, int hour, int minute, int second) {
    return utcSeconds(year, month, day, hour, minute, second);
}

// A hook that records what reaches it instead of the clock.
class HookRecorder {
public:
    void onTime(const CTime& t, int tolerance) {
        events.push_back("hook " + text(t) + " tol " + std::to_string(tolerance));
    }
    void onRecord(const SystemTimeEx& t, int tolerance) {
        events.push_back("hookEx " + text(CTime(t.year, t.month, t.day, t.hour, t.minute, t.second)) +
                         "." + std::to_string(t.millisecond) + " wday " + std::to_string(t.wday) +
                         " isdst " + std::to_string(t.isdst) + " tol " + std::to_string(tolerance));
    }
    bool onRealUtc(unsigned long long ms, int tolerance) {
        events.push_back("utc " + std::to_string(ms) + " tol " + std::to_string(tolerance));
        return result;
    }
    void onRealUtcProc(unsigned long long oldMs, unsigned long long newMs) {
        events.push_back("utcproc " + std::to_string(newMs) + (oldMs > 0 ? " old>0" : " old=0"));
    }
    bool verify() {
        ++verifications;
        return allow;
    }
    std::vector<std::string> events;
    bool result = true;
    bool allow = true;
    int verifications = 0;
};

}  // namespace

TEST_F(ClockSetting, ReadsTheWallClockAndThePlatformUtcClock) {
    Testing::setSimulatedUtc(utcSeconds(2023, 3, 4, 5, 6, 7) * 1000 + 250);
    const SystemTimeEx ex = CTime::getCurrentTimeEx();
    const long long sinceSet = localSeconds(ex.year, ex.month, ex.day, ex.hour, ex.minute, ex.second) -
                               localSeconds(2023, 3, 4, 13, 6, 7);
    EXPECT_TRUE(sinceSet >= 0 && sinceSet < 5) << sinceSet;  // the clock runs on meanwhile
    EXPECT_EQ(ex.isdst, 0);
    EXPECT_EQ(ex.reserved1 | ex.reserved2 | ex.reserved3, 0);
    EXPECT_TRUE(ex.millisecond >= 0 && ex.millisecond < 1000);
    const CTime now = CTime::getCurrentTime();
    EXPECT_EQ(now.isdst, -1);
    EXPECT_LE(now - CTime::getCurTimeForPrint(), 0);

    const unsigned long long utcMs = CTime::getCurrentUTCMilliSecond();
    EXPECT_GE(utcMs, static_cast<unsigned long long>(utcSeconds(2023, 3, 4, 5, 6, 7) * 1000 + 250));
    EXPECT_LT(utcMs, static_cast<unsigned long long>(utcSeconds(2023, 3, 4, 5, 6, 12) * 1000));
    EXPECT_GE(CTime::getCurrentRealUTC(), utcMs);
    EXPECT_GE(CTime::getCurrentUTCtime(), utcMs / 1000);

    // A platform clock before 1970 reads as 0, never as a huge unsigned count.
    Testing::setSimulatedUtc(-86400000);
    EXPECT_EQ(CTime::getCurrentUTCMilliSecond(), 0u);
    EXPECT_EQ(CTime::getCurrentUTCtime(), 0u);
}

TEST_F(ClockSetting, TimeZoneRangeAndTable) {
    LogCapture capture(6, true);  // lines of this thread only
    int seconds = 12345;
    EXPECT_FALSE(CTime::getTimeZone(&seconds));
    EXPECT_EQ(seconds, 12345);
    EXPECT_FALSE(CTime::getTimeZone(nullptr));
    EXPECT_FALSE(CTime::setTimeZone(50401));
    EXPECT_FALSE(CTime::setTimeZone(-43201));
    EXPECT_FALSE(CTime::getTimeZone(&seconds));
    EXPECT_TRUE(CTime::setTimeZone(50400));
    EXPECT_TRUE(CTime::getTimeZone(&seconds));
    EXPECT_EQ(seconds, 50400);
    EXPECT_TRUE(CTime::setTimeZone(-43200));
    EXPECT_TRUE(CTime::getTimeZone(&seconds));
    EXPECT_EQ(seconds, -43200);

    // Each row's seconds against its name, read independently.
    const char* const names[40] = {
        "GMT+00:00", "GMT+01:00", "GMT+02:00", "GMT+03:00", "GMT+03:30", "GMT+04:00", "GMT+04:30",
        "GMT+05:00", "GMT+05:30", "GMT+05:45", "GMT+06:00", "GMT+06:30", "GMT+07:00", "GMT+08:00",
        "GMT+09:00", "GMT+09:30", "GMT+10:00", "GMT+11:00", "GMT+12:00", "GMT+13:00", "GMT-01:00",
        "GMT-02:00", "GMT-03:00", "GMT-03:30", "GMT-04:00", "GMT-05:00", "GMT-06:00", "GMT-07:00",
        "GMT-08:00", "GMT-09:00", "GMT-10:00", "GMT-11:00", "GMT-12:00", "GMT-4:30",  "GMT+10:30",
        "GMT+14:00", "GMT-09:30", "GMT+08:30", "GMT+08:45", "GMT+12:45"};
    for (int i = 0; i < 40; ++i) {
        int hours = 0, minutes = 0;
        ASSERT_EQ(sscanf(names[i] + 4, "%d:%d", &hours, &minutes), 2);
        const int sign = names[i][3] == '-' ? -1 : 1;
        EXPECT_EQ(CTime::getTimeZonefromTable(i), sign * (hours * 3600 + minutes * 60)) << i;
    }
    EXPECT_EQ(CTime::getTimeZonefromTable(33), -16200);
    capture.clear();
    EXPECT_EQ(CTime::getTimeZonefromTable(40), 0);
    EXPECT_EQ(CTime::getTimeZonefromTable(-1), 0);
    EXPECT_THAT(capture.messages(),
                ElementsAre("CTime::getTimeZonefromTable, zoneIndex error:40\n",
                            "CTime::getTimeZonefromTable, zoneIndex error:-1\n"));
}

TEST_F(ClockSetting, UtcForEmbedComesFromTheWallClockZoneAndDst) {
    CTime::UTCTimeDef def = {7, 7, 7};
    EXPECT_FALSE(CTime::getUTCForEmbed(def));  // no zone
    CTime::setTimeZone(3600);
    EXPECT_FALSE(CTime::getUTCForEmbed(def));  // daylight-saving state not known
    EXPECT_EQ(def.utc, 7u);
    CTime::setDst(true);
    // The library's zone, not the simulated clock's: wall 2026-03-14 20:00 less 1 h less 1 h.
    ASSERT_TRUE(CTime::getUTCForEmbed(def));
    const long long expected = localSeconds(2026, 3, 14, 18, 0, 0);
    EXPECT_TRUE(static_cast<long long>(def.utc) - expected >= 0 &&
                static_cast<long long>(def.utc) - expected < 5);
    EXPECT_EQ(def.timeZone, 3600);
    EXPECT_EQ(def.dst, 1);
}

TEST_F(ClockSetting, VerificationRefusalStopsEveryPath) {
    HookRecorder hooks;
    EventLog procs;
    hooks.allow = false;
    CTime::attachModifyTimeVerifyHook(TFunction0<bool>(&HookRecorder::verify, &hooks));
    CTime::attachModifyProc(TFunction1<bool, SystemTime>(&EventLog::onModify, &procs));
    CTime::attachModifyRealUTCProc(
        TFunction2<void, unsigned long long, unsigned long long>(&HookRecorder::onRealUtcProc, &hooks));
    LogCapture capture;
    const SystemTimeEx record = {2030, 1, 2, 0, 3, 4, 5, 6, 1, 0, 0, 0};
    CTime::setCurrentTime(CTime(2030, 1, 2, 3, 4, 5), 0);
    EXPECT_FALSE(CTime::setCurrentTimeEx(CTime(2030, 1, 2, 3, 4, 5), 0));
    EXPECT_FALSE(CTime::setCurrentTime(record, 0));
    EXPECT_FALSE(Tessaran::Kerna::Kerna_setCurrentTimeInternal(record, 0));
    EXPECT_FALSE(CTime::setCurrentRealUTC(1900000000000ULL, 0));
    CTime::attachSetCurrentRealUTCHook(
        TFunction2<bool, unsigned long long, int>(&HookRecorder::onRealUtc, &hooks), true);
    EXPECT_FALSE(CTime::setCurrentRealUTC(1900000000000ULL, 0));

    EXPECT_EQ(hooks.verifications, 6);
    EXPECT_TRUE(hooks.events.empty());
    EXPECT_EQ(procs.count(), 0u);
    EXPECT_EQ(Testing::simulatedSetCount(), 0u);
    EXPECT_EQ(CTime::getDst(), -1);
    int refusals = 0;
    for (const std::string& m : capture.messages()) refusals += m == kVerifyRefused;
    EXPECT_EQ(refusals, 6);
}

TEST_F(ClockSetting, DefaultSetterClampsToTheRangeAndTellsTheProcs) {
    {
        LogCapture capture;
        CTime::setCurrentTime(CTime(2030, 6, 7, 8, 9, 10), 0);
        EXPECT_TRUE(capture.hasMessage("CTime::setCurrentTime() success without callback function\n"));
    }
    EventLog procs;
    CTime::attachModifyProc(TFunction1<bool, SystemTime>(&EventLog::onModify, &procs));
    CTime::setCurrentTime(CTime(2040, 5, 6, 7, 8, 9), 0);
    const long long afterHigh = localNow();
    EXPECT_TRUE(CTime::setCurrentTimeEx(CTime(1995, 5, 6, 7, 8, 9), 0));
    const long long afterLow = localNow();
    const SystemTimeEx late = {2050, 1, 1, 0, 0, 0, 0, 999, 0, 0, 0, 0};
    EXPECT_TRUE(CTime::setCurrentTime(late, 0));
    const long long afterLate = localNow();

    EXPECT_EQ(Testing::simulatedSetCount(), 4u);
    EXPECT_THAT(procs.events(), ElementsAre("proc 2038-01-01 00:00:00", "proc 2000-01-01 00:00:00",
                                            "proc 2038-01-01 00:00:00"));
    const long long maxSeconds = localSeconds(2038, 1, 1, 0, 0, 0);
    EXPECT_TRUE(afterHigh - maxSeconds >= 0 && afterHigh - maxSeconds < 5);
    EXPECT_TRUE(afterLow - localSeconds(2000, 1, 1, 0, 0, 0) < 5);
    // The clamped time is a whole second: the record's 999 ms do not carry the clock past it.
    EXPECT_TRUE(afterLate - maxSeconds >= 0 && afterLate - maxSeconds < 5);
}

TEST_F(ClockSetting, ToleranceHoldsBackASmallChangeAsASuccess) {
    EventLog procs;
    CTime::attachModifyProc(TFunction1<bool, SystemTime>(&EventLog::onModify, &procs));
    const CTime now = CTime::getCurrentTime();
    EXPECT_TRUE(CTime::setCurrentTimeEx(now + 3, 5));
    EXPECT_TRUE(CTime::setCurrentTimeEx(now - 3, 5));
    const CTime ahead = now + 3;
    const SystemTimeEx record = {ahead.year, ahead.month, ahead.day, 0, ahead.hour, ahead.minute,
                                 ahead.second, 500, 0, 0, 0, 0};
    EXPECT_TRUE(CTime::setCurrentTime(record, 5));
    EXPECT_EQ(Testing::simulatedSetCount(), 0u);
    EXPECT_EQ(procs.count(), 0u);
    EXPECT_EQ(getLastError(), 0);

    EXPECT_TRUE(CTime::setCurrentTimeEx(now + 60, 5));
    EXPECT_EQ(Testing::simulatedSetCount(), 1u);
    EXPECT_EQ(procs.count(), 1u);
}

TEST_F(ClockSetting, ReplacedHooksNotifyOnlyWhenAsked) {
    HookRecorder hooks;
    EventLog procs;
    CTime::attachModifyProc(TFunction1<bool, SystemTime>(&EventLog::onModify, &procs));
    const TFunction2<void, const CTime&, int> recorder(&HookRecorder::onTime, &hooks);

    // With notify the procs follow the hook, with the normalised time.
    const TFunction2<void, const CTime&, int> original = CTime::attachSetCurrentTimeHook(recorder, true);
    EXPECT_FALSE(original.empty());
    CTime raw;
    raw.year = 2023, raw.month = 2, raw.day = 31, raw.hour = 25, raw.minute = 70, raw.second = -1;
    CTime::setCurrentTime(raw, 3);
    // attachSetCurrentTimeHook without the flag keeps it.
    EXPECT_TRUE(CTime::attachSetCurrentTimeHook(recorder) == recorder);
    EXPECT_TRUE(CTime::setCurrentTimeEx(CTime(2024, 1, 2, 3, 4, 5), 0));
    // Without notify nobody is told.
    CTime::attachSetCurrentTimeHook(recorder, false);
    CTime::setCurrentTime(CTime(2024, 6, 1, 0, 0, 0), 0);
    EXPECT_THAT(hooks.events, ElementsAre("hook 2023-02-28 23:59:59 tol 3", "hook 2024-01-02 03:04:05 tol 0",
                                          "hook 2024-06-01 00:00:00 tol 0"));
    EXPECT_THAT(procs.events(), ElementsAre("proc 2023-02-28 23:59:59", "proc 2024-01-02 03:04:05"));
    EXPECT_EQ(Testing::simulatedSetCount(), 0u);

    // The default installed again counts as not replaced: the procs hear once, from the default.
    EXPECT_TRUE(CTime::attachSetCurrentTimeHook(original, true) == recorder);
    CTime::setCurrentTime(CTime(2025, 1, 1, 0, 0, 0), 0);
    EXPECT_EQ(procs.count(), 3u);
    EXPECT_EQ(Testing::simulatedSetCount(), 1u);

    // The same for the record form; the procs get the fields as a normalised value.
    const TFunction2<void, const SystemTimeEx&, int> recorderEx(&HookRecorder::onRecord, &hooks);
    const TFunction2<void, const SystemTimeEx&, int> originalEx =
        CTime::attachSetCurrentTimeHookEx(recorderEx, true);
    const SystemTimeEx record = {2023, 3, 4, 0, 5, 6, 7, 89, 1, 9, 9, 9};
    EXPECT_TRUE(CTime::setCurrentTime(record, 2));
    EXPECT_TRUE(Tessaran::Kerna::Kerna_setCurrentTimeInternal(record, 0));
    CTime::attachSetCurrentTimeHookEx(recorderEx, false);
    EXPECT_TRUE(CTime::setCurrentTime(record, 0));
    EXPECT_THAT(std::vector<std::string>(hooks.events.begin() + 3, hooks.events.end()),
                ElementsAre("hookEx 2023-03-04 05:06:07.89 wday 6 isdst 0 tol 2",
                            "hookEx 2023-03-04 05:06:07.89 wday 6 isdst 1 tol 0",
                            "hookEx 2023-03-04 05:06:07.89 wday 6 isdst 0 tol 0"));
    const std::vector<std::string> told = procs.events();
    EXPECT_THAT(std::vector<std::string>(told.begin() + 3, told.end()),
                ElementsAre("proc 2023-03-04 05:06:07", "proc 2023-03-04 05:06:07"));
    EXPECT_TRUE(CTime::attachSetCurrentTimeHookEx(originalEx, true) == recorderEx);
    EXPECT_TRUE(CTime::setCurrentTime(record, 0));
    EXPECT_EQ(procs.count(), 6u);
    EXPECT_EQ(Testing::simulatedSetCount(), 2u);
}

// A refused set must not poison the ones after it: the thread's last error kept 0x1000000e from
// the refusal, so every later successful set on that thread reported a failure.
TEST_F(ClockSetting, ARefusedSetDoesNotPoisonTheNextOnes) {
    EventLog procs;
    CTime::attachModifyProc(TFunction1<bool, SystemTime>(&EventLog::onModify, &procs));
    const SystemTimeEx record = {2030, 1, 2, 0, 3, 4, 5, 6, 0, 0, 0, 0};
    Testing::refuseSimulatedSet(true);
    EXPECT_FALSE(CTime::setCurrentTimeEx(CTime(2030, 1, 2, 3, 4, 5), 0));
    EXPECT_EQ(getLastError(), 0x1000000e);
    EXPECT_FALSE(CTime::setCurrentTime(record, 0));
    EXPECT_FALSE(Tessaran::Kerna::Kerna_setCurrentTimeInternal(record, 0));
    EXPECT_EQ(procs.count(), 0u);
    EXPECT_EQ(Testing::simulatedSetCount(), 0u);

    Testing::refuseSimulatedSet(false);
    EXPECT_TRUE(CTime::setCurrentTimeEx(CTime(2030, 1, 2, 3, 4, 5), 0));
    EXPECT_EQ(getLastError(), 0);
    Testing::refuseSimulatedSet(true);
    CTime::setCurrentTime(CTime(2030, 1, 2, 3, 4, 5), 0);
    Testing::refuseSimulatedSet(false);
    EXPECT_TRUE(CTime::setCurrentTime(record, 0));
    EXPECT_EQ(procs.count(), 2u);

    // Another code in the last error is not the setting's business: it stays.
    setLastError(0x10000003);
    EXPECT_TRUE(CTime::setCurrentTimeEx(CTime(2030, 1, 2, 3, 4, 5), 0));
    EXPECT_EQ(getLastError(), 0x10000003);
    // A hook may report a failure with 0x1000000f.
    struct FailingHook {
        void set(const CTime&, int) { setLastError(0x1000000f); }
    } failing;
    CTime::attachSetCurrentTimeHook(TFunction2<void, const CTime&, int>(&FailingHook::set, &failing));
    EXPECT_FALSE(CTime::setCurrentTimeEx(CTime(2030, 1, 2, 3, 4, 5), 0));
}

TEST_F(ClockSetting, ProcsMayAttachProcsAndSetTheClockAgain) {
    struct Procs {
        EventLog log;
        int depth = 0;
        ModifyTimeClientInfo seen = {};
        bool first(SystemTime t) {
            log.add("first " + text(t));
            seen = CTime::getModifyTimeClientInfo();
            if (log.count() == 1) {
                CTime::attachModifyProc(TFunction1<bool, SystemTime>(&Procs::second, this));
                // A proc may call the library again, the setting included.
                ++depth;
                CTime::setCurrentTime(CTime(2031, 1, 1, 0, 0, 0), 0);
                --depth;
            }
            return false;  // not looked at
        }
        bool second(SystemTime t) {
            log.add("second " + text(t));
            return true;
        }
    } procs;
    CTime::attachModifyProc(TFunction1<bool, SystemTime>(&Procs::first, &procs));
    const ModifyTimeClientInfo info = {"console", nullptr, "local", 0, 0};
    CTime::setModifyTimeClientInfo(info);
    CTime::setCurrentTime(CTime(2030, 1, 1, 0, 0, 0), 0);
    // The inner set told both (the list was copied again); the outer round had copied one.
    EXPECT_THAT(procs.log.events(), ElementsAre("first 2030-01-01 00:00:00", "first 2031-01-01 00:00:00",
                                                "second 2031-01-01 00:00:00"));
    EXPECT_STREQ(procs.seen.clientName, "console");
    EXPECT_STREQ(procs.seen.clientAddress, "");
    EXPECT_STREQ(procs.seen.clientType, "local");
}

TEST_F(ClockSetting, ClientInfoIsPerThread) {
    LogCapture capture(6, true);
    char name[16] = "operator";
    const ModifyTimeClientInfo info = {name, "10.0.0.7", nullptr, 0, 0};
    CTime::setModifyTimeClientInfo(info);
    name[0] = 'X';  // the stored copy is the library's own
    ModifyTimeClientInfo back = CTime::getModifyTimeClientInfo();
    EXPECT_STREQ(back.clientName, "operator");
    EXPECT_STREQ(back.clientAddress, "10.0.0.7");
    EXPECT_STREQ(back.clientType, "");

    ModifyTimeClientInfo other = {nullptr, nullptr, nullptr, 0, 0};
    std::thread([&] { other = CTime::getModifyTimeClientInfo(); }).join();
    EXPECT_STREQ(other.clientName, "");
    EXPECT_STREQ(other.clientType, "");
    EXPECT_TRUE(capture.messages().empty());  // the other thread's line is not this thread's

    const ModifyTimeClientInfo again = {"second", "b", "c", 0, 0};
    CTime::setModifyTimeClientInfo(again);
    EXPECT_STREQ(CTime::getModifyTimeClientInfo().clientName, "second");
}

TEST_F(ClockSetting, ClientInfoOfAThreadWithoutOneIsEmptyWithALine) {
    LogCapture capture;
    ModifyTimeClientInfo info = {nullptr, nullptr, nullptr, 0, 0};
    std::thread([&] { info = CTime::getModifyTimeClientInfo(); }).join();
    EXPECT_STREQ(info.clientName, "");
    EXPECT_STREQ(info.clientAddress, "");
    EXPECT_TRUE(capture.hasMessage("get thread specific failed!\n"));
}

TEST_F(ClockSetting, RealUtcWithTheConfiguredZone) {
    EventLog procs;
    CTime::attachModifyProc(TFunction1<bool, SystemTime>(&EventLog::onModify, &procs));
    {
        LogCapture capture;
        EXPECT_TRUE(CTime::setCurrentRealUTC(utcSeconds(2030, 5, 6, 7, 8, 9) * 1000, 0));
        EXPECT_TRUE(capture.hasMessage("the time zone is not set.\n"));
        EXPECT_TRUE(capture.hasMessage("dstmanager has been paused.\n"));
        EXPECT_TRUE(capture.hasMessage("resume dstmanager.\n"));
    }
    CTime::setTimeZone(-18000);
    EXPECT_TRUE(CTime::setCurrentRealUTC(utcSeconds(2030, 5, 6, 7, 8, 9) * 1000, 0));
    EXPECT_THAT(procs.events(), ElementsAre("proc 2030-05-06 07:08:09", "proc 2030-05-06 02:08:09"));
    EXPECT_EQ(CTime::getDst(), -1);  // no manager: the state is kept

    LogCapture capture;
    EXPECT_FALSE(CTime::setCurrentRealUTC(17999 * 1000, 0));
    EXPECT_TRUE(capture.hasMessage("invalid time!\n"));
    EXPECT_EQ(Testing::simulatedSetCount(), 2u);
}

TEST_F(ClockSetting, RealUtcHookReplacesTheWholePath) {
    HookRecorder hooks;
    CTime::attachModifyRealUTCProc(
        TFunction2<void, unsigned long long, unsigned long long>(&HookRecorder::onRealUtcProc, &hooks));
    const TFunction2<bool, unsigned long long, int> hook(&HookRecorder::onRealUtc, &hooks);
    CTime::attachSetCurrentRealUTCHook(hook, true);
    EXPECT_TRUE(CTime::setCurrentRealUTC(1900000000123ULL, 4));
    hooks.result = false;  // the result is true whatever the hook says, but nobody is told
    EXPECT_TRUE(CTime::setCurrentRealUTC(1900000000456ULL, 0));
    hooks.result = true;
    CTime::attachSetCurrentRealUTCHook(hook, false);
    EXPECT_TRUE(CTime::setCurrentRealUTC(1900000000789ULL, 0));
    EXPECT_THAT(hooks.events, ElementsAre("utc 1900000000123 tol 4", "utcproc 1900000000123 old>0",
                                          "utc 1900000000456 tol 0", "utc 1900000000789 tol 0"));
    EXPECT_EQ(Testing::simulatedSetCount(), 0u);
}

TEST_F(ClockSetting, InternalEntryCarriesTheDstStateAndTellsTheCallbackFirst) {
    EventLog events;
    CTime::attachModifyProc(TFunction1<bool, SystemTime>(&EventLog::onModify, &events));
    CTime::attachConvertDstCallback(TFunction1<void, bool>(&EventLog::onDst, &events));
    SystemTimeEx record = {2030, 7, 1, 0, 12, 0, 0, 0, 1, 0, 0, 0};
    EXPECT_TRUE(Tessaran::Kerna::Kerna_setCurrentTimeInternal(record, 0));
    EXPECT_EQ(CTime::getDst(), 1);
    EXPECT_TRUE(Tessaran::Kerna::Kerna_setCurrentTimeInternal(record, 0));  // same state: no callback
    Testing::refuseSimulatedSet(true);
    record.isdst = 0;
    EXPECT_FALSE(Tessaran::Kerna::Kerna_setCurrentTimeInternal(record, 0));
    EXPECT_EQ(CTime::getDst(), 1);
    Testing::refuseSimulatedSet(false);
    EXPECT_TRUE(Tessaran::Kerna::Kerna_setCurrentTimeInternal(record, 0));
    EXPECT_THAT(events.events(), ElementsAre("dst 1", "proc 2030-07-01 12:00:00", "proc 2030-07-01 12:00:00",
                                             "dst 0", "proc 2030-07-01 12:00:00"));
    // setDst tells the callback only of a change.
    EXPECT_TRUE(CTime::setDst(false));
    EXPECT_TRUE(CTime::setDst(true));
    EXPECT_EQ(events.events().back(), "dst 1");
    EXPECT_EQ(events.count(), 6u);
}

TEST_F(ClockConversion, IsoTextToUtc) {
    LogCapture capture(6, true);  // lines of this thread only
    struct Case {
        const char* text;
        long long utc;
    };
    const Case accepted[] = {
        {"2023-03-04T05:06:07+08:00", utcSeconds(2023, 3, 3, 21, 6, 7)},
        {"2023-03-04T05:06:07Z", utcSeconds(2023, 3, 4, 5, 6, 7)},
        {"2023-03-04T05:06:07-00:00", utcSeconds(2023, 3, 4, 5, 6, 7)},
        {"2023-03-04T23:06:07-05:30", utcSeconds(2023, 3, 5, 4, 36, 7)},
        {"2023-03-04 05:06:07 01:00", utcSeconds(2023, 3, 4, 6, 6, 7)},  // the date's "-" counts
        {"2023-02-31T05:06:07Z", utcSeconds(2023, 2, 28, 5, 6, 7)},      // clamped, not rejected
        {"2023-03-04T05:06:07+14:00", utcSeconds(2023, 3, 3, 15, 6, 7)},
    };
    unsigned long long utc = 99;
    for (const Case& c : accepted) {
        EXPECT_TRUE(CTime::convertTZtoUTC(c.text, &utc)) << c.text;
        EXPECT_EQ(utc, static_cast<unsigned long long>(c.utc)) << c.text;
    }
    capture.clear();

    EXPECT_FALSE(CTime::convertTZtoUTC("2023-03-04T05:06:07+08", &utc));
    EXPECT_EQ(utc, 0u);
    EXPECT_FALSE(CTime::convertTZtoUTC("2023/03/04 05:06:07 08 00", &utc));  // eight, no sign
    EXPECT_FALSE(CTime::convertTZtoUTC("2023-03-04T05:06:07+14:01", &utc));
    EXPECT_FALSE(CTime::convertTZtoUTC("2023-03-04T05:06:07-12:01", &utc));
    EXPECT_FALSE(CTime::convertTZtoUTC(nullptr, &utc));
    EXPECT_FALSE(CTime::convertTZtoUTC("2023-03-04T05:06:07Z", nullptr));
    const char kNotEnough[] = "convert TZ to UTC, input information is not enough.\n";
    EXPECT_THAT(capture.messages(),
                ElementsAre(kNotEnough, kNotEnough, "invalid timezone!\n", "invalid timezone!\n",
                            "buf or utcSec is NULL!!\n", "buf or utcSec is NULL!!\n"));
}

TEST_F(ClockConversion, UtcToIsoText) {
    LogCapture capture(6, true);  // lines of this thread only
    char buf[32];
    memset(buf, '#', sizeof buf);
    CTime::convertUTCtoTZ(utcSeconds(2023, 3, 4, 5, 6, 7), buf, 20, false);
    EXPECT_EQ(buf[0], '#');
    CTime::convertUTCtoTZ(utcSeconds(2023, 3, 4, 5, 6, 7), buf, 21, true);
    EXPECT_EQ(buf[0], '#');
    CTime::convertUTCtoTZ(0, nullptr, 64, false);
    CTime::convertUTCtoTZ(utcSeconds(2023, 3, 4, 5, 6, 7), buf, 21, false);
    EXPECT_STREQ(buf, "2023-03-04T05:06:07Z");
    EXPECT_EQ(buf[21], '#');
    EXPECT_THAT(capture.messages(),
                ElementsAre("buf space is not large enough\n", "addOffset is temporarily not supported.\n",
                            "buf space is not large enough\n"));
    // A year beyond four digits is cut at the buffer, never written past it.
    memset(buf, '#', sizeof buf);
    CTime::convertUTCtoTZ(utcSeconds(9999, 12, 31, 23, 59, 59) + 1, buf, 21, false);
    EXPECT_EQ(strlen(buf), 20u);
    EXPECT_EQ(buf[21], '#');
}

TEST_F(ClockConversion, MakeUtcAndMakeLocal) {
    LogCapture capture(6, true);  // lines of this thread only
    const unsigned long long local = localSeconds(2030, 1, 2, 3, 4, 5);
    EXPECT_EQ(CTime::makeUTC(local, nullptr), local);  // no zone, no state
    EXPECT_THAT(capture.messages(), ElementsAre("the time zone is not set.\n", "the dst manager is not set.\n"));
    const int offset = -3600;
    EXPECT_EQ(CTime::makeUTC(local, &offset), local + 3600);
    const int east = 7200;
    EXPECT_EQ(CTime::makeUTC(7199, &east), 0u);
    CTime::setTimeZone(28800);
    CTime::setDst(true);
    EXPECT_EQ(CTime::makeUTC(local, nullptr), local - 28800 - 3600);
    capture.clear();
    EXPECT_EQ(CTime::makeUTC(28800 + 3599, nullptr), 0u);
    EXPECT_THAT(capture.messages(), ElementsAre("invalid local time!\n"));

    // No manager runs: the state decides, 1 here.
    unsigned long long localSec = 0;
    int used = 0;
    CTime::makeLocal(local, &localSec, &used);
    EXPECT_EQ(localSec, local + 28800 + 3600);
    EXPECT_EQ(used, 28800 + 3600);
    CTime::setDst(false);
    Tessaran::Kerna::setPrintLogLevel(5);  // without the manager's level 6 line
    capture.clear();
    CTime::makeLocal(localSeconds(2040, 1, 1, 0, 0, 0), &localSec, &used);
    EXPECT_EQ(localSec, static_cast<unsigned long long>(localSeconds(2038, 1, 1, 0, 0, 0)));
    EXPECT_EQ(used, 28800);  // the offset stays
    CTime::makeLocal(0, &localSec, &used);
    EXPECT_EQ(localSec, static_cast<unsigned long long>(localSeconds(2000, 1, 1, 0, 0, 0)));
    CTime::makeLocal(0, nullptr, &used);
    EXPECT_THAT(capture.messages(),
                ElementsAre("this time exceeds the maximum time.\n", "this time exceeds the minimum time.\n",
                            "input is NULL!!\n"));
    CTime::setTimeZone(-28800);
    CTime::makeLocal(100, &localSec, &used);
    EXPECT_EQ(localSec, 100u);
    EXPECT_EQ(used, 0);
    EXPECT_EQ(capture.messages().back(), "invalid local time!\n");
}

TEST(ClockZone, ThePlatformZoneIsReadOnceAndAgainOnSetTimeZone) {
    // The machine's clock is read here, never set (setting stays forbidden in test programs).
    const char* saved = getenv("TZ");
    const std::string savedTz = saved ? saved : "";
    Testing::restoreRealClock();
    setenv("TZ", "UTC0", 1);
    CTime::setTimeZone(0);
    EXPECT_EQ(CTime::getTimeZone(), 0);
    setenv("TZ", "CST-8", 1);
    EXPECT_EQ(CTime::getTimeZone(), 0);  // the environment is not read again
    const CTime before = CTime::getCurrentTime();
    EXPECT_TRUE(CTime::setTimeZone(28800));
    EXPECT_EQ(CTime::getTimeZone(), -28800);
    const long long shift = CTime::getCurrentTime() - before;
    EXPECT_TRUE(shift >= 28800 && shift < 28810) << shift;
    if (saved) {
        setenv("TZ", savedTz.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
    CTime::setTimeZone(0);
    Tessaran::Kerna::Detail::resetTimeStateForTests();
    Testing::installSimulatedClock(1773489600000LL, -28800);
}

#if GTEST_HAS_DEATH_TEST
TEST(ClockSettingDeathTest, SettingWithoutTheSimulatedClockAborts) {
    ASSERT_TRUE(Testing::realClockSetForbidden());
    EXPECT_DEATH(
        {
            if (!Testing::realClockSetForbidden()) std::_Exit(0);  // never reach the machine's clock
            Testing::restoreRealClock();
            CTime::setCurrentTime(CTime::getCurrentTime(), 0);
        },
        "setting the machine's clock is forbidden in this process");
}
#endif

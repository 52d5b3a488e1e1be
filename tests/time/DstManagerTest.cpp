// DstManagerTest.cpp
//
// The daylight-saving manager: the instants of rules (against the C library's calendar for every
// year 2000-2037), the checks of rules and periods, and the manager at work on the simulated wall
// clock over northern and southern periods: the clock moved exactly once at each boundary, a
// refusal retried until the platform accepts, pause around setCurrentRealUTC, the turn of the
// year, and the hour given back when the manager stops.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

#include "time/ClockTestSupport.h"
#include "time/DstRule.h"

using namespace KernaTest;
using Tessaran::Kerna::DstConfigInfo;
using Tessaran::Kerna::ModifyTimeClientInfo;
using Tessaran::Kerna::TFunction0;
using Tessaran::Kerna::TFunction1;
using ::testing::ElementsAre;

namespace {

// Northern rules: the second Sunday of March at 02:00 to the first Sunday of November at 03:00
// (2026: March 8 and November 1).
const DstConfigInfo kNorthStart = {3, 0, 2, 2, 0, 0, 0, 0};
const DstConfigInfo kNorthEnd = {11, 0, 1, 3, 0, 0, 0, 0};
// Southern rules, across the new year: the first Sunday of October at 02:00 to the first Sunday
// of April at 03:00 (2026: October 4 and April 5).
const DstConfigInfo kSouthStart = {10, 0, 1, 2, 0, 0, 0, 0};
const DstConfigInfo kSouthEnd = {4, 0, 1, 3, 0, 0, 0, 0};

int weekdayByC(int year, int month, int day) {
    const time_t t = static_cast<time_t>(utcSeconds(year, month, day, 12, 0, 0));
    struct tm out;
    gmtime_r(&t, &out);
    return out.tm_wday;
}

int monthLengthByC(int year, int month) {
    const time_t t = static_cast<time_t>(utcSeconds(year, month + 1, 0, 12, 0, 0));  // day 0: last
    struct tm out;
    gmtime_r(&t, &out);
    return out.tm_mday;
}

// The day a rule names, worked out by walking the month with the C library's weekdays.
int ruleDayByC(const DstConfigInfo& rule, int year) {
    const int length = monthLengthByC(year, rule.month);
    if (rule.week == 0) return rule.day < length ? rule.day : length;
    if (rule.week == -1) {
        for (int d = length;; --d) {
            if (weekdayByC(year, rule.month, d) == rule.day) return d;
        }
    }
    int seen = 0;
    for (int d = 1;; ++d) {
        if (weekdayByC(year, rule.month, d) == rule.day && ++seen == rule.week) return d;
    }
}

CTime instant(const DstConfigInfo& rule, int year) {
    CTime t;
    EXPECT_TRUE(Tessaran::Kerna::Detail::dstRuleInstant(rule, year, t));
    return t;
}

// Records what a proc sees of the setter, and what the clock read when the set was verified.
class Observer : public EventLog {
public:
    bool onModifyWithClient(SystemTime t) {
        const ModifyTimeClientInfo info = CTime::getModifyTimeClientInfo();
        add("proc " + text(t) + " by " + info.clientName + "/" + info.clientAddress + "/" +
            info.clientType);
        return true;
    }
    bool verify() {
        std::lock_guard<std::mutex> guard(m_lock);
        m_verifiedAt.push_back(CTime::getCurrentTime());
        return true;
    }
    std::vector<CTime> verifiedAt() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_verifiedAt;
    }
    void attach() {
        CTime::attachConvertDstCallback(TFunction1<void, bool>(&EventLog::onDst, this));
        CTime::attachModifyProc(TFunction1<bool, SystemTime>(&Observer::onModifyWithClient, this));
        CTime::attachModifyTimeVerifyHook(TFunction0<bool>(&Observer::verify, this));
    }

private:
    std::mutex m_lock;
    std::vector<CTime> m_verifiedAt;
};

// The observer outlives the manager's work: it is a member, gone only after the manager stopped.
class DstManagerTest : public ClockFixture {
protected:
    Observer observer;
};

bool waitForSets(uint64_t count) {
    return waitFor([count] { return Testing::simulatedSetCount() >= count; });
}

// Lets the manager check a few more times; nothing it does may change the count of sets.
void letTheManagerCheckAgain() { Tessaran::Kerna::CThread::sleep(2500); }

// The clock has been set `count` times and stays so while the manager checks again.
::testing::AssertionResult setExactly(uint64_t count) {
    if (!waitForSets(count)) {
        return ::testing::AssertionFailure() << Testing::simulatedSetCount() << " sets, waited for " << count;
    }
    letTheManagerCheckAgain();
    const uint64_t sets = Testing::simulatedSetCount();
    if (sets != count) return ::testing::AssertionFailure() << sets << " sets, expected " << count;
    return ::testing::AssertionSuccess();
}

int countMessages(LogCapture& capture, const std::string& message) {
    int n = 0;
    for (const std::string& m : capture.messages()) n += m == message;
    return n;
}

}  // namespace

TEST(DstRule, KnownInstants) {
    EXPECT_EQ(text(instant({3, 0, 2, 2, 0, 0, 0, 0}, 2023)), "2023-03-12 02:00:00");
    EXPECT_EQ(text(instant({10, 0, -1, 3, 30, 0, 0, 0}, 2023)), "2023-10-29 03:30:00");
    EXPECT_EQ(text(instant({4, 31, 0, 1, 0, 0, 0, 0}, 2023)), "2023-04-30 01:00:00");
    EXPECT_EQ(text(instant({2, 29, 0, 1, 0, 0, 0, 0}, 2024)), "2024-02-29 01:00:00");
    EXPECT_EQ(text(instant({2, 6, -1, 0, 0, 0, 0, 0}, 2024)), "2024-02-24 00:00:00");
    CTime untouched(2001, 1, 1, 0, 0, 0);
    const DstConfigInfo bad = {13, 0, 1, 0, 0, 0, 0, 0};
    EXPECT_FALSE(Tessaran::Kerna::Detail::dstRuleInstant(bad, 2023, untouched));
    EXPECT_EQ(text(untouched), "2001-01-01 00:00:00");
}

TEST(DstRule, EveryRuleOf2000To2037AgainstTheCLibrary) {
    for (int year = 2000; year <= 2037; ++year) {
        for (int month = 1; month <= 12; ++month) {
            for (int week = -1; week <= 4; ++week) {
                for (int day = week == 0 ? 1 : 0; day <= (week == 0 ? 31 : 6); ++day) {
                    const DstConfigInfo rule = {month, day, week, 2, 30, 0, 0, 0};
                    const CTime t = instant(rule, year);
                    ASSERT_EQ(t.year, year);
                    ASSERT_EQ(t.month, month);
                    ASSERT_EQ(t.day, ruleDayByC(rule, year)) << year << "/" << month << " week " << week
                                                             << " day " << day;
                    ASSERT_EQ(t.wday, weekdayByC(year, month, t.day));
                    ASSERT_EQ(t.hour * 100 + t.minute + t.second, 230);
                }
            }
        }
    }
}

TEST_F(DstManagerTest, ChecksRulesAndPeriods) {
    LogCapture& capture = logCapture(true);  // lines of this thread only
    CTime start, end;
    EXPECT_FALSE(CTime::getDstConfig(2026, start, end));
    EXPECT_TRUE(capture.messages().empty());  // stopped: false and not a word

    const DstConfigInfo bad[] = {
        {3, 0, 5, 2, 0, 0, 0, 0},  {3, 0, -2, 2, 0, 0, 0, 0}, {3, 0, 0, 2, 0, 0, 0, 0},
        {3, 7, 1, 2, 0, 0, 0, 0},  {3, 32, 0, 2, 0, 0, 0, 0}, {13, 0, 1, 2, 0, 0, 0, 0},
        {0, 0, 1, 2, 0, 0, 0, 0},  {3, 0, 1, 24, 0, 0, 0, 0}, {3, 0, 1, 2, 60, 0, 0, 0},
        {3, 0, 1, -1, 0, 0, 0, 0},
    };
    for (const DstConfigInfo& rule : bad) {
        capture.clear();
        EXPECT_FALSE(CTime::setDstConfig(rule, kNorthEnd, true));
        EXPECT_FALSE(CTime::setDstConfig(kNorthStart, rule, true));
        EXPECT_THAT(capture.messages(), ElementsAre("DST config time invalid!\n", "start dst manager failed!\n",
                                                    "DST config time invalid!\n", "start dst manager failed!\n"));
    }
    // An end up to an hour after the start is refused; one before it is a southern period.
    capture.clear();
    const DstConfigInfo sameTime = {3, 0, 2, 2, 0, 0, 0, 0};
    const DstConfigInfo hourLater = {3, 0, 2, 3, 0, 0, 0, 0};
    EXPECT_FALSE(CTime::setDstConfig(kNorthStart, sameTime, true));
    EXPECT_FALSE(CTime::setDstConfig(kNorthStart, hourLater, true));
    EXPECT_THAT(capture.messages(),
                ElementsAre("invalid dst config, start time: 2026-03-08 02:00:00, end time: 2026-03-08 02:00:00\n",
                            "start dst manager failed!\n",
                            "invalid dst config, start time: 2026-03-08 02:00:00, end time: 2026-03-08 03:00:00\n",
                            "start dst manager failed!\n"));
    EXPECT_FALSE(CTime::getDstConfig(2026, start, end));
    EXPECT_EQ(CTime::getDst(), -1);

    // Started: the instants of any year, the same as the rules give.
    capture.clear();
    EXPECT_TRUE(CTime::setInitDst(true));
    EXPECT_TRUE(CTime::setDstConfig(kSouthStart, kSouthEnd, true));
    EXPECT_FALSE(CTime::setInitDst(false));
    EXPECT_THAT(capture.messages(), ElementsAre("init dst, dst flag is 1.\n",
                                                "dst config, start time: 2026-10-04 02:00:00, end time: "
                                                "2026-04-05 03:00:00\n",
                                                "start dst manager ok!\n", "dst manager has been started!\n"));
    for (int year = 2000; year <= 2037; ++year) {
        ASSERT_TRUE(CTime::getDstConfig(year, start, end));
        EXPECT_TRUE(start == instant(kSouthStart, year) && end == instant(kSouthEnd, year)) << year;
    }
    EXPECT_EQ(CTime::getDst(), 1);
}

TEST_F(DstManagerTest, MovesTheClockForwardOnceFromTwoSecondsBeforeTheStart) {
    observer.attach();
    LogCapture& capture = logCapture();
    setLocalClock(2026, 3, 8, 1, 59, 56, 500);
    ASSERT_TRUE(CTime::setDstConfig(kNorthStart, kNorthEnd, true));
    ASSERT_TRUE(setExactly(1));
    EXPECT_EQ(CTime::getDst(), 1);

    // Never before 01:59:58; one hour plus the two seconds added back, so the clock reads 03:00
    // and a few seconds (exactly 03:00:00 when the check came at 01:59:58).
    const std::vector<CTime> verified = observer.verifiedAt();
    ASSERT_EQ(verified.size(), 1u);
    EXPECT_GE(verified[0], CTime(2026, 3, 8, 1, 59, 58));
    const std::vector<std::string> events = observer.events();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[0], "dst 0");  // the state left "not known" at the start
    EXPECT_EQ(events[1], "dst 1");  // the callback before the procs
    CTime movedTo;
    ASSERT_TRUE(movedTo.parse(events[2].c_str() + 5, "yyyy-MM-dd HH:mm:ss", 7));
    EXPECT_EQ(events[2].substr(24), " by DstManager/127.0.0.1/local");
    const long long moved = movedTo - verified[0];
    EXPECT_TRUE(moved >= 3600 && moved <= 3602) << moved;
    EXPECT_EQ(countMessages(capture, "change dst, dst flag is 1.\n"), 1);
    EXPECT_TRUE(capture.hasMessage("DstManager init dst, dst flag is 0.\n"));
}

TEST_F(DstManagerTest, MovesTheClockBackOnceAndNeverTwiceInTheRepeatedHour) {
    observer.attach();
    LogCapture& capture = logCapture();
    EXPECT_TRUE(CTime::setInitDst(true));
    setLocalClock(2026, 11, 1, 2, 59, 58, 300);
    ASSERT_TRUE(CTime::setDstConfig(kNorthStart, kNorthEnd, true));
    ASSERT_TRUE(setExactly(1));
    // From 02:59:58 back to the start of the repeated hour; the manager then leaves the hour be.
    EXPECT_EQ(CTime::getDst(), 0);
    const std::vector<std::string> events = observer.events();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0], "dst 0");
    EXPECT_EQ(events[1].substr(0, 16), "proc 2026-11-01 ");
    EXPECT_GE(observer.verifiedAt()[0], CTime(2026, 11, 1, 2, 59, 58));
    EXPECT_EQ(countMessages(capture, "change dst, dst flag is 0.\n"), 1);

    // Stopped outside daylight saving the clock is left alone.
    capture.clear();
    EXPECT_TRUE(CTime::setDstConfig(kNorthStart, kNorthEnd, false));
    EXPECT_EQ(Testing::simulatedSetCount(), 1u);
    EXPECT_TRUE(capture.hasMessage("stop dst manager.\n"));
}

TEST_F(DstManagerTest, SouthernPeriodAcrossTheNewYear) {
    observer.attach();
    // In January, with the state not known: inside the period, so forward at the first check.
    setLocalClock(2026, 1, 15, 12, 0, 0, 0);
    ASSERT_TRUE(CTime::setDstConfig(kSouthStart, kSouthEnd, true));
    ASSERT_TRUE(waitForSets(1));
    EXPECT_EQ(CTime::getDst(), 1);
    // The end in April, from two seconds before it.
    setLocalClock(2026, 4, 5, 2, 59, 58, 300);
    ASSERT_TRUE(setExactly(2));
    EXPECT_EQ(CTime::getDst(), 0);
    // And the start in October.
    setLocalClock(2026, 10, 4, 1, 59, 58, 300);
    ASSERT_TRUE(setExactly(3));
    EXPECT_EQ(CTime::getDst(), 1);
    const std::vector<std::string> events = observer.events();
    ASSERT_EQ(events.size(), 7u);
    EXPECT_THAT(std::vector<std::string>({events[0], events[1], events[3], events[5]}),
                ElementsAre("dst 0", "dst 1", "dst 0", "dst 1"));
    EXPECT_EQ(events[4].substr(0, 19), "proc 2026-04-05 02:");
    EXPECT_EQ(events[6].substr(0, 19), "proc 2026-10-04 03:");
}

// A refused set must not poison the ones after it: with the last error of the refusal kept, the
// manager took its later successful set for a failure and moved the clock again every second.
TEST_F(DstManagerTest, ARefusalAtABoundaryIsRetriedAndTheClockMovesOnce) {
    observer.attach();
    LogCapture& capture = logCapture();
    Testing::refuseSimulatedSet(true);
    setLocalClock(2026, 3, 8, 1, 59, 58, 300);
    ASSERT_TRUE(CTime::setDstConfig(kNorthStart, kNorthEnd, true));
    ASSERT_TRUE(waitFor([&] { return countMessages(capture, "dst manager set time failed!\n") >= 2; }));
    EXPECT_EQ(CTime::getDst(), 0);
    EXPECT_EQ(Testing::simulatedSetCount(), 0u);

    Testing::refuseSimulatedSet(false);
    ASSERT_TRUE(waitForSets(1));
    const int failures = countMessages(capture, "dst manager set time failed!\n");
    letTheManagerCheckAgain();
    EXPECT_EQ(Testing::simulatedSetCount(), 1u);
    EXPECT_EQ(CTime::getDst(), 1);
    EXPECT_EQ(countMessages(capture, "dst manager set time failed!\n"), failures);
    EXPECT_EQ(countMessages(capture, "change dst, dst flag is 1.\n"), 1);
    const std::vector<std::string> events = observer.events();
    EXPECT_EQ(std::count(events.begin(), events.end(), "dst 1"), 1);
}

TEST_F(DstManagerTest, PausedAroundRealUtcWhichCarriesTheState) {
    observer.attach();
    LogCapture& capture = logCapture();
    CTime::setTimeZone(28800);
    setLocalClock(2026, 2, 1, 12, 0, 0, 0);
    ASSERT_TRUE(CTime::setDstConfig(kNorthStart, kNorthEnd, true));
    // July 1 04:00 UTC is 12:00 standard time, inside the period: 13:00 with daylight saving.
    ASSERT_TRUE(CTime::setCurrentRealUTC(utcSeconds(2026, 7, 1, 4, 0, 0) * 1000, 0));
    EXPECT_EQ(CTime::getDst(), 1);
    letTheManagerCheckAgain();
    // December 1: outside, back to standard time.
    ASSERT_TRUE(CTime::setCurrentRealUTC(utcSeconds(2026, 12, 1, 4, 0, 0) * 1000, 0));
    EXPECT_EQ(CTime::getDst(), 0);
    letTheManagerCheckAgain();
    EXPECT_EQ(Testing::simulatedSetCount(), 2u);
    const std::vector<std::string> events = observer.events();
    ASSERT_EQ(events.size(), 5u);
    EXPECT_EQ(events[1], "dst 1");
    EXPECT_EQ(events[2].substr(0, 24), "proc 2026-07-01 13:00:00");
    EXPECT_EQ(events[3], "dst 0");
    EXPECT_EQ(events[4].substr(0, 24), "proc 2026-12-01 12:00:00");
    EXPECT_EQ(countMessages(capture, "set real UTC, change dst: 1\n"), 1);
    EXPECT_EQ(countMessages(capture, "set real UTC, change dst: 0\n"), 1);
    EXPECT_EQ(countMessages(capture, "dstmanager has been paused.\n"), 2);
    EXPECT_EQ(countMessages(capture, "resume dstmanager.\n"), 2);
}

TEST_F(DstManagerTest, AProcOnTheManagersThreadMaySetTheClockAgain) {
    // The proc calls setCurrentRealUTC, which pauses the manager from inside the manager's own
    // check: the pause must not wait for itself.
    struct Proc {
        std::atomic<int> calls{0};
        bool onModify(SystemTime) {
            if (calls.fetch_add(1) == 0) CTime::setCurrentRealUTC(CTime::getCurrentRealUTC(), 0);
            return true;
        }
    } proc;
    CTime::attachModifyProc(TFunction1<bool, SystemTime>(&Proc::onModify, &proc));
    CTime::setTimeZone(28800);
    setLocalClock(2026, 3, 8, 1, 59, 58, 300);
    ASSERT_TRUE(CTime::setDstConfig(kNorthStart, kNorthEnd, true));
    ASSERT_TRUE(setExactly(2));
    EXPECT_EQ(proc.calls.load(), 2);
    EXPECT_EQ(CTime::getDst(), 1);
    Tessaran::Kerna::DstManager::instance().resetForTests();  // before the proc goes
}

TEST_F(DstManagerTest, NewInstantsAtTheTurnOfTheYear) {
    LogCapture& capture = logCapture();
    setLocalClock(2026, 12, 31, 23, 59, 58, 500);
    ASSERT_TRUE(CTime::setDstConfig(kNorthStart, kNorthEnd, true));
    const std::string line =
        "year changed, increasing time: 2027-03-14 02:00:00, decreasing time: 2027-11-07 03:00:00.\n";
    ASSERT_TRUE(waitFor([&] { return capture.hasMessage(line); }));
    CTime start, end;
    ASSERT_TRUE(CTime::getDstConfig(2027, start, end));
    EXPECT_EQ(text(start), "2027-03-14 02:00:00");
    EXPECT_EQ(Testing::simulatedSetCount(), 0u);
    EXPECT_EQ(countMessages(capture, line), 1);
}

TEST_F(DstManagerTest, StartedInSummerAlreadyInDaylightSavingAndStoppedThere) {
    observer.attach();
    LogCapture& capture = logCapture(true);  // lines of this thread only
    EXPECT_TRUE(CTime::setInitDst(true));
    setLocalClock(2026, 7, 1, 12, 0, 0, 0);
    ASSERT_TRUE(CTime::setDstConfig(kNorthStart, kNorthEnd, true));
    letTheManagerCheckAgain();
    EXPECT_EQ(Testing::simulatedSetCount(), 0u);  // the hour is not added twice

    EXPECT_TRUE(CTime::setDstConfig(kNorthStart, kNorthEnd, false));
    EXPECT_EQ(Testing::simulatedSetCount(), 1u);
    EXPECT_EQ(CTime::getDst(), 0);
    const std::vector<std::string> events = observer.events();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0], "dst 0");
    EXPECT_EQ(events[1].substr(0, 19), "proc 2026-07-01 11:");
    EXPECT_TRUE(capture.hasMessage("out dst, dst flag is 0.\n"));
    CTime start, end;
    EXPECT_FALSE(CTime::getDstConfig(2026, start, end));
    capture.clear();
    EXPECT_TRUE(CTime::setDstConfig(kNorthStart, kNorthEnd, false));
    EXPECT_THAT(capture.messages(), ElementsAre("dst manager not started.\n", "stop dst manager.\n"));
}

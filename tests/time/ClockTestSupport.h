// ClockTestSupport.h
//
// Shared by the clock-setting and daylight-saving tests: a fixture that starts each test on the
// simulated wall clock (UTC+8) with the setting state and the daylight-saving manager at their
// defaults and puts them back afterwards (with a capture of printed lines that outlives the
// manager's work), a recorder of modify procs and callbacks that keeps the
// order of events across threads, and bounded waits.
#ifndef KERNA_TESTS_TIME_CLOCKTESTSUPPORT_H_
#define KERNA_TESTS_TIME_CLOCKTESTSUPPORT_H_

#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kerna/kerna3/Error.h"
#include "kerna/kerna3/Thread.h"
#include "kerna/kerna3/Time.h"
#include "kerna/kerna3/testing/SimulatedClock.h"
#include "support/LogCapture.h"
#include "time/DstManager.h"
#include "time/TimeState.h"

namespace KernaTest {

using Tessaran::Kerna::CTime;
using Tessaran::Kerna::SystemTime;
using Tessaran::Kerna::SystemTimeEx;
namespace Testing = Tessaran::Kerna::Testing;

/// Seconds since 1970 of a UTC date, by the C library.
inline long long utcSeconds(int year, int month, int day, int hour, int minute, int second) {
    struct tm tm = {second, minute, hour, day, month - 1, year - 1900, 0, 0, 0, 0, nullptr};
    return static_cast<long long>(timegm(&tm));
}

/// The simulated zone: UTC+8 (a bias of -28800 seconds west).
constexpr long long kZoneEast = 28800;

/// Puts the simulated wall clock at a local time of the simulated zone.
inline void setLocalClock(int year, int month, int day, int hour, int minute, int second,
                          int millisecond = 0) {
    Testing::setSimulatedUtc((utcSeconds(year, month, day, hour, minute, second) - kZoneEast) * 1000 +
                             millisecond);
}

inline std::string text(const SystemTime& t) {
    char buf[64];
    snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", t.year, t.month, t.day, t.hour,
             t.minute, t.second);
    return buf;
}

/// Waits up to `seconds` for `condition`; false if it never held.
inline bool waitFor(const std::function<bool()>& condition, int seconds = 10) {
    for (int i = 0; i < seconds * 100; ++i) {
        if (condition()) return true;
        Tessaran::Kerna::CThread::sleep(10);
    }
    return condition();
}

/// Keeps what modify procs, hooks and the daylight-saving callback were told, in order.
class EventLog {
public:
    bool onModify(SystemTime t) {
        add("proc " + text(t));
        return true;
    }
    void onDst(bool dst) { add(dst ? "dst 1" : "dst 0"); }
    void add(const std::string& event) {
        std::lock_guard<std::mutex> guard(m_lock);
        m_events.push_back(event);
    }
    std::vector<std::string> events() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_events;
    }
    size_t count() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_events.size();
    }

private:
    std::mutex m_lock;
    std::vector<std::string> m_events;
};

/// Every test starts at 2026-03-14 20:00:00 local (UTC+8) on the simulated clock, with default
/// hooks, no procs, no zone, the daylight-saving state not known and the manager stopped.
class ClockFixture : public ::testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }

    /// A capture of the printed lines that lives until the manager has been stopped after the
    /// test, so that the manager's thread never prints while the capture goes.
    LogCapture& logCapture(bool ownThreadOnly = false) {
        if (!m_capture) m_capture.reset(new LogCapture(6, ownThreadOnly));
        return *m_capture;
    }

    static void reset() {
        Tessaran::Kerna::DstManager::instance().resetForTests();
        Tessaran::Kerna::Detail::resetTimeStateForTests();
        Testing::installSimulatedClock(1773489600000LL, -28800);
        Tessaran::Kerna::setLastError(0);
    }

private:
    std::unique_ptr<LogCapture> m_capture;
};

}  // namespace KernaTest

#endif  // KERNA_TESTS_TIME_CLOCKTESTSUPPORT_H_

// Testing.cpp
//
// The simulated wall clock of the exported test seam: a base UTC instant advanced by the
// monotonic clock, a fixed zone bias, no daylight rules. Setting the local time moves the base;
// tests can jump it, make it refuse a setting and count the settings.
#include "kerna/kerna3/testing/SimulatedClock.h"

#include <atomic>
#include <mutex>

#include "time/Calendar.h"
#include "platform/Clock.h"
#include "platform/Fork.h"
#include "platform/WallClock.h"

namespace Tessaran {
namespace Kerna {
namespace Testing {

namespace {

using Detail::Platform::ClockFields;

class SimulatedClock : public Detail::Platform::WallClock {
public:
    void start(int64_t utcMs, int32_t bias) {
        std::lock_guard<std::mutex> guard(m_lock);
        m_baseUtcMs = utcMs;
        m_baseTicks = Detail::Platform::monotonicTicks();
        m_bias = bias;
        m_refuse = false;
        m_sets = 0;
    }

    int64_t nowUtc() {
        std::lock_guard<std::mutex> guard(m_lock);
        return nowLocked();
    }

    void setUtc(int64_t utcMs) {
        std::lock_guard<std::mutex> guard(m_lock);
        m_baseUtcMs = utcMs;
        m_baseTicks = Detail::Platform::monotonicTicks();
    }

    void jump(int64_t deltaMs) {
        std::lock_guard<std::mutex> guard(m_lock);
        m_baseUtcMs += deltaMs;
    }

    void setBias(int32_t bias) {
        std::lock_guard<std::mutex> guard(m_lock);
        m_bias = bias;
    }

    void refuse(bool on) {
        std::lock_guard<std::mutex> guard(m_lock);
        m_refuse = on;
    }

    uint64_t sets() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_sets;
    }

    ClockFields readLocal() override {
        int64_t localMs;
        {
            std::lock_guard<std::mutex> guard(m_lock);
            localMs = nowLocked() - static_cast<int64_t>(m_bias) * 1000;
        }
        return fieldsOf(localMs);
    }

    int64_t readUtcMs() override { return nowUtc(); }

    bool setLocal(const ClockFields& local) override {
        std::lock_guard<std::mutex> guard(m_lock);
        if (m_refuse) return false;
        const int64_t days = Detail::daysFromCivil(local.year, local.month, local.day);  // 1970 on
        const int64_t localMs =
            ((days * 24 + local.hour) * 60 + local.minute) * 60000 + local.second * 1000 + local.millisecond;
        m_baseUtcMs = localMs + static_cast<int64_t>(m_bias) * 1000;
        m_baseTicks = Detail::Platform::monotonicTicks();
        ++m_sets;
        return true;
    }

    int32_t zoneBias() override {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_bias;
    }

    // Around a fork: every line's prefix reads this clock, so a child must not find its lock
    // held by a thread that did not come along.
    void lockForFork() { m_lock.lock(); }
    void unlockAfterFork() { m_lock.unlock(); }

private:
    int64_t nowLocked() const {
        const uint64_t elapsed = Detail::Platform::monotonicTicks() - m_baseTicks;
        return m_baseUtcMs + static_cast<int64_t>(elapsed / 1000000);
    }

    static ClockFields fieldsOf(int64_t ms) {
        int64_t days = ms / 86400000;
        int64_t rest = ms % 86400000;
        if (rest < 0) {
            rest += 86400000;
            --days;
        }
        ClockFields f;
        Detail::civilFromDays(static_cast<uint32_t>(days), f.year, f.month, f.day);
        f.weekday = static_cast<int32_t>((days + 4) % 7);  // 1970-01-01 was a Thursday
        f.hour = static_cast<int32_t>(rest / 3600000);
        f.minute = static_cast<int32_t>(rest / 60000 % 60);
        f.second = static_cast<int32_t>(rest / 1000 % 60);
        f.millisecond = static_cast<int32_t>(rest % 1000);
        return f;
    }

    std::mutex m_lock;
    int64_t m_baseUtcMs = 0;
    uint64_t m_baseTicks = 0;
    int32_t m_bias = 0;
    bool m_refuse = false;
    uint64_t m_sets = 0;
};

SimulatedClock& simulated();

void lockSimulatedForFork() { simulated().lockForFork(); }
void unlockSimulatedAfterFork() { simulated().unlockAfterFork(); }

SimulatedClock& simulated() {
    static SimulatedClock* clock = [] {
        // A plain mutex, held by the forking thread itself: the child may leave it as it is.
        Detail::Platform::addForkHandlers(Detail::Platform::forkRankWallClock,
                                          &lockSimulatedForFork, &unlockSimulatedAfterFork,
                                          &unlockSimulatedAfterFork);
        return new SimulatedClock;  // never freed: readers may still hold it
    }();
    return *clock;
}

std::atomic<bool> g_installed{false};

}  // namespace

void installSimulatedClock(int64_t utcMilliseconds, int32_t biasSeconds) {
    simulated().start(utcMilliseconds, biasSeconds);
    Detail::Platform::installWallClock(&simulated());
    g_installed.store(true);
}

void restoreRealClock() {
    Detail::Platform::installWallClock(nullptr);
    g_installed.store(false);
}

void forbidRealClockSet() { Detail::Platform::forbidRealClockSet(); }

bool realClockSetForbidden() { return Detail::Platform::realClockSetForbidden(); }

bool simulatedClockInstalled() { return g_installed.load(); }

void jumpSimulatedClock(int64_t deltaMilliseconds) { simulated().jump(deltaMilliseconds); }

void setSimulatedUtc(int64_t utcMilliseconds) { simulated().setUtc(utcMilliseconds); }

int64_t simulatedUtc() { return simulated().nowUtc(); }

void setSimulatedBias(int32_t biasSeconds) { simulated().setBias(biasSeconds); }

void refuseSimulatedSet(bool refuse) { simulated().refuse(refuse); }

uint64_t simulatedSetCount() { return simulated().sets(); }

}  // namespace Testing
}  // namespace Kerna
}  // namespace Tessaran

// WallClock.cpp
//
// Only POSIX code; no library logic. The machine's wall clock: CLOCK_REALTIME read through
// localtime_r, set through timegm, localtime_r and clock_settime. The zone (TZ or the system's
// zone file) is read by tzset() once, at the first use, and again only when the library is told
// that it changed (reloadZone); localtime_r and timegm never read it again, so no reading or
// setting looks at the environment. Setting can be forbidden for test programs, after which an
// attempt aborts the process.
#include "platform/WallClock.h"

#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include <atomic>
#include <mutex>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

namespace {

class SystemWallClock : public WallClock {
public:
    // Converting to local time takes the C library's zone lock, which costs more than a log
    // line should. Each thread keeps its last conversion and reuses it within the same second
    // while the zone has not been read again.
    ClockFields readLocal() override {
        const uint32_t generation = zoneGeneration();
        timespec ts;
        clock_gettime(CLOCK_REALTIME, &ts);
        struct Cache {
            time_t second = -1;
            uint32_t generation = 0;
            ClockFields fields = {};
        };
        static thread_local Cache cache;
        if (ts.tv_sec != cache.second || generation != cache.generation) {
            tm t;
            localtime_r(&ts.tv_sec, &t);
            cache.second = ts.tv_sec;
            cache.generation = generation;
            ClockFields& f = cache.fields;
            f.year = t.tm_year + 1900;
            f.month = t.tm_mon + 1;
            f.day = t.tm_mday;
            f.weekday = t.tm_wday;
            f.hour = t.tm_hour;
            f.minute = t.tm_min;
            f.second = t.tm_sec;
        }
        ClockFields f = cache.fields;
        f.millisecond = static_cast<int32_t>(ts.tv_nsec / 1000000);
        return f;
    }

    int64_t readUtcMs() override {
        timespec ts;
        clock_gettime(CLOCK_REALTIME, &ts);
        return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
    }

    bool setLocal(const ClockFields& local) override;

    int32_t zoneBias() override {
        zoneGeneration();
        return m_bias.load(std::memory_order_acquire);
    }

    void reloadZone() override {
        std::lock_guard<std::mutex> guard(m_zoneLock);
        loadZoneLocked();
    }

private:
    // The generation of the zone in use (1 after the first reading); reads the zone at first use.
    uint32_t zoneGeneration() {
        const uint32_t generation = m_generation.load(std::memory_order_acquire);
        if (generation != 0) return generation;
        std::lock_guard<std::mutex> guard(m_zoneLock);
        if (m_generation.load(std::memory_order_relaxed) == 0) loadZoneLocked();
        return m_generation.load(std::memory_order_relaxed);
    }

    void loadZoneLocked() {
        tzset();
        m_bias.store(static_cast<int32_t>(timezone), std::memory_order_relaxed);
        m_generation.store(m_generation.load(std::memory_order_relaxed) + 1,
                           std::memory_order_release);
    }

    std::mutex m_zoneLock;
    std::atomic<uint32_t> m_generation{0};
    std::atomic<int32_t> m_bias{0};
};

SystemWallClock g_system;
std::atomic<WallClock*> g_installed{nullptr};
std::atomic<bool> g_setForbidden{false};

bool SystemWallClock::setLocal(const ClockFields& local) {
    if (g_setForbidden.load()) {
        fputs("***** kerna: setting the machine's clock is forbidden in this process\n", stderr);
        abort();
    }
    zoneGeneration();
    tm t = {};
    t.tm_year = local.year - 1900;
    t.tm_mon = local.month - 1;
    t.tm_mday = local.day;
    t.tm_hour = local.hour;
    t.tm_min = local.minute;
    t.tm_sec = local.second;
    // The local fields read as UTC, then moved by the zone's offset at that instant; a second
    // round settles an instant whose offset differs (near a change of the zone's offset).
    const time_t asUtc = timegm(&t);
    if (asUtc == static_cast<time_t>(-1)) return false;
    time_t seconds = asUtc;
    for (int round = 0; round < 2; ++round) {
        tm offsetAt;
        if (localtime_r(&seconds, &offsetAt) == nullptr) return false;
        seconds = asUtc - offsetAt.tm_gmtoff;
    }
    timespec ts;
    ts.tv_sec = seconds;
    ts.tv_nsec = static_cast<long>(local.millisecond) * 1000000L;
    return clock_settime(CLOCK_REALTIME, &ts) == 0;
}

}  // namespace

WallClock& wallClock() {
    WallClock* c = g_installed.load(std::memory_order_acquire);
    return c ? *c : g_system;
}

void installWallClock(WallClock* clock) { g_installed.store(clock, std::memory_order_release); }

void forbidRealClockSet() { g_setForbidden.store(true); }

bool realClockSetForbidden() { return g_setForbidden.load(); }

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

// WallClock.cpp
//
// Only POSIX code; no library logic. The machine's wall clock: CLOCK_REALTIME read through
// localtime_r, set through mktime and clock_settime, zone bias from tzset's `timezone`. Readers
// call tzset() first because localtime_r does not re-read the zone. Setting can be forbidden for
// test programs, after which an attempt aborts the process.
#include "platform/WallClock.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <atomic>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

namespace {

class SystemWallClock : public WallClock {
public:
    // Converting to local time takes the zone lock and tzset() looks at the zone file, which
    // together cost far more than a log line should. Each thread keeps the last conversion and
    // reuses it within the same second while TZ is unchanged.
    ClockFields readLocal() override {
        timespec ts;
        clock_gettime(CLOCK_REALTIME, &ts);
        struct Cache {
            time_t second = -1;
            bool tzSet = false;
            char tz[128] = {};
            ClockFields fields = {};
        };
        static thread_local Cache cache;
        const char* tz = getenv("TZ");
        const bool sameZone = (tz != nullptr) == cache.tzSet &&
                              (tz == nullptr || strncmp(tz, cache.tz, sizeof cache.tz) == 0);
        if (ts.tv_sec != cache.second || !sameZone || (tz && strlen(tz) >= sizeof cache.tz)) {
            tzset();
            tm t;
            localtime_r(&ts.tv_sec, &t);
            cache.second = ts.tv_sec;
            cache.tzSet = tz != nullptr;
            if (tz) strncpy(cache.tz, tz, sizeof cache.tz - 1);
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
        tzset();
        return static_cast<int32_t>(timezone);
    }
};

SystemWallClock g_system;
std::atomic<WallClock*> g_installed{nullptr};
std::atomic<bool> g_setForbidden{false};

bool SystemWallClock::setLocal(const ClockFields& local) {
    if (g_setForbidden.load()) {
        fputs("***** kerna: setting the machine's clock is forbidden in this process\n", stderr);
        abort();
    }
    tm t = {};
    t.tm_year = local.year - 1900;
    t.tm_mon = local.month - 1;
    t.tm_mday = local.day;
    t.tm_hour = local.hour;
    t.tm_min = local.minute;
    t.tm_sec = local.second;
    t.tm_isdst = -1;
    const time_t seconds = mktime(&t);
    if (seconds == static_cast<time_t>(-1)) return false;
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

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

// Clock.cpp
//
// The reading side of CTime's clocks: the wall clock and the platform's UTC clock (both through
// the replaceable platform wall clock), the library's configured zone and its table of zones, the
// UTC derived from the wall clock for embedded use, and the conversions between local seconds,
// UTC seconds and ISO text.
#include <cstdio>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "platform/WallClock.h"
#include "time/Calendar.h"
#include "time/TimeFormat.h"
#include "time/TimeState.h"

namespace Tessaran {
namespace Kerna {

namespace {

// The zone table: seconds east of Greenwich by index. Rows 33 and up were added behind the
// others, so the table is not sorted by offset.
const int kZoneTable[40] = {
    0,      3600,   7200,   10800,  12600,  14400,  16200,  18000,  19800,  20700,
    21600,  23400,  25200,  28800,  32400,  34200,  36000,  39600,  43200,  46800,
    -3600,  -7200,  -10800, -12600, -14400, -18000, -21600, -25200, -28800, -32400,
    -36000, -39600, -43200, -16200, 37800,  50400,  -34200, 30600,  31500,  45900,
};

const int kZoneMin = -43200;
const int kZoneMax = 50400;

// A reading of the wall clock as a record; whatever the record has beyond it stays as given.
template <class Record>
Record fromWallClock(const Detail::Platform::ClockFields& f, Record t) {
    Detail::copyDateTime(f, t);
    t.wday = f.weekday;
    return t;
}

// `value` - `minus` for the conversions: false when the result would be negative (or beyond the
// signed range), which the callers report as an invalid time.
bool subtractSeconds(long long value, long long minus, long long& result) {
    return !__builtin_sub_overflow(value, minus, &result) && result >= 0;
}

}  // namespace

namespace Detail {

TimeState::TimeState()
    : setTimeHook(&setSysCurrentTime), setTimeHookEx(&setSysCurrentTimeEx) {}

TimeState& timeState() { return *ProcessObject<TimeState>::get(); }

}  // namespace Detail

// ---- reading ------------------------------------------------------------------------------

CTime CTime::getCurrentTime() {
    return fromWallClock(Detail::Platform::wallClock().readLocal(), CTime());
}

SystemTimeEx CTime::getCurrentTimeEx() {
    const Detail::Platform::ClockFields f = Detail::Platform::wallClock().readLocal();
    SystemTimeEx t = fromWallClock(f, SystemTimeEx());
    t.millisecond = f.millisecond;
    return t;
}

CTime CTime::getCurTimeForPrint() { return getCurrentTime(); }

SystemTimeEx CTime::getCurTimeExForPrint(unsigned long long /*unused*/) { return getCurrentTimeEx(); }

unsigned long long CTime::getCurrentUTCtime() { return getCurrentUTCMilliSecond() / 1000; }

unsigned long long CTime::getCurrentUTCMilliSecond() {
    const int64_t ms = Detail::Platform::wallClock().readUtcMs();
    return ms > 0 ? static_cast<unsigned long long>(ms) : 0;
}

unsigned long long CTime::getCurrentRealUTC() { return getCurrentUTCMilliSecond(); }

bool CTime::getUTCForEmbed(UTCTimeDef& time) {
    Detail::TimeState& state = Detail::timeState();
    const int zone = state.timeZone.load();
    const int dst = state.dstState.load();
    if (zone == Detail::kZoneNotSet || dst == -1) return false;
    long long utc = static_cast<long long>(Detail::fieldSeconds(getCurrentTime())) - zone;
    if (dst == 1) utc -= 3600;
    time.utc = utc > 0 ? static_cast<uint64_t>(utc) : 0;
    time.timeZone = zone;
    time.dst = dst;
    return true;
}

// ---- zones --------------------------------------------------------------------------------

bool CTime::setTimeZone(int seconds) {
    if (seconds < kZoneMin || seconds > kZoneMax) return false;
    Detail::timeState().timeZone.store(seconds);
    Detail::Platform::wallClock().reloadZone();
    return true;
}

bool CTime::getTimeZone(int* seconds) {
    if (seconds == nullptr) {
        KERNA_LOG(2, "seconds is NULL!!\n");
        return false;
    }
    const int zone = Detail::timeState().timeZone.load();
    if (zone == Detail::kZoneNotSet) return false;
    *seconds = zone;
    return true;
}

int CTime::getTimeZonefromTable(int zoneIndex) {
    if (zoneIndex < 0 || zoneIndex >= 40) {
        KERNA_LOG(2, "CTime::getTimeZonefromTable, zoneIndex error:%d\n", zoneIndex);
        return 0;
    }
    return kZoneTable[zoneIndex];
}

// ---- conversion ---------------------------------------------------------------------------

bool CTime::convertTZtoUTC(const char* buf, unsigned long long* utcSec) {
    if (buf == nullptr || utcSec == nullptr) {
        KERNA_LOG(2, "buf or utcSec is NULL!!\n");
        return false;
    }
    *utcSec = 0;
    int32_t numbers[8] = {};
    int sign = 0;
    const size_t count = Detail::readNumbers(buf, numbers, 8, &sign);
    if ((count != 6 && count != 8) || (count == 8 && sign == 0)) {
        KERNA_LOG(2, "convert TZ to UTC, input information is not enough.\n");
        return false;
    }
    long long offset = 0;
    if (count == 8) {
        offset = (static_cast<long long>(numbers[6]) * 3600 + static_cast<long long>(numbers[7]) * 60) *
                 sign;
        if (offset < kZoneMin || offset > kZoneMax) {
            KERNA_LOG(2, "invalid timezone!\n");
            return false;
        }
    }
    CTime t;
    t.year = numbers[0];
    t.month = numbers[1];
    t.day = numbers[2];
    t.hour = numbers[3];
    t.minute = numbers[4];
    t.second = numbers[5];
    t -= offset;
    *utcSec = timeToSeconds(t);
    return true;
}

void CTime::convertUTCtoTZ(unsigned long long utcSec, char* buf, int size, bool addOffset) {
    if (addOffset) {
        KERNA_LOG(2, "addOffset is temporarily not supported.\n");
        return;
    }
    if (buf == nullptr || size < 21) {
        KERNA_LOG(2, "buf space is not large enough\n");
        return;
    }
    const CTime t(utcSec, false);
    std::snprintf(buf, static_cast<size_t>(size), "%04d-%02d-%02dT%02d:%02d:%02dZ", t.year, t.month,
                  t.day, t.hour, t.minute, t.second);
}

unsigned long long CTime::makeUTC(unsigned long long localSec, const int* offset) {
    long long utc = static_cast<long long>(localSec);
    if (offset != nullptr) {
        if (!subtractSeconds(utc, *offset, utc)) {
            KERNA_LOG(2, "invalid local time!\n");
            return 0;
        }
        return static_cast<unsigned long long>(utc);
    }
    Detail::TimeState& state = Detail::timeState();
    const int zone = state.timeZone.load();
    if (zone != Detail::kZoneNotSet) {
        if (!subtractSeconds(utc, zone, utc)) {
            KERNA_LOG(2, "invalid local time!\n");
            return 0;
        }
    } else {
        KERNA_LOG(6, "the time zone is not set.\n");
    }
    const int dst = state.dstState.load();
    if (dst == -1) {
        KERNA_LOG(6, "the dst manager is not set.\n");
    } else if (dst != 0 && !subtractSeconds(utc, 3600, utc)) {
        KERNA_LOG(2, "invalid local time!\n");
        return 0;
    }
    return static_cast<unsigned long long>(utc);
}

void CTime::makeLocal(unsigned long long utcSec, unsigned long long* localSec, int* offset) {
    if (localSec == nullptr || offset == nullptr) {
        KERNA_LOG(2, "input is NULL!!\n");
        return;
    }
    *localSec = utcSec;
    *offset = 0;
    const int zone = Detail::timeState().timeZone.load();
    if (zone != Detail::kZoneNotSet) {
        long long local;
        if (__builtin_add_overflow(static_cast<long long>(utcSec), static_cast<long long>(zone),
                                   &local) ||
            local < 0) {
            KERNA_LOG(2, "invalid local time!\n");
            return;
        }
        *localSec = static_cast<unsigned long long>(local);
        *offset = zone;
    } else {
        KERNA_LOG(3, "the time zone is not set.\n");
    }
    if (isLocalTimeInDst(*localSec) == 1) {
        *localSec += 3600;
        *offset += 3600;
    }
    const unsigned long long maxSeconds = timeToSeconds(maxTime);
    const unsigned long long minSeconds = timeToSeconds(minTime);
    if (*localSec > maxSeconds) {
        *localSec = maxSeconds;
        KERNA_LOG(3, "this time exceeds the maximum time.\n");
    } else if (*localSec < minSeconds) {
        *localSec = minSeconds;
        KERNA_LOG(3, "this time exceeds the minimum time.\n");
    }
}

}  // namespace Kerna
}  // namespace Tessaran

// Time.cpp
//
// CTime: construction, the conversion between fields and seconds, arithmetic, comparison, the
// process-wide default format, and format and parse. The calendar arithmetic is the library's
// own (time/Calendar.h); only the zone bias comes from the platform wall clock.

#include "kerna/kerna3/Time.h"

#include <atomic>
#include <cstring>
#include <string>

#include "base/Log.h"
#include "kerna/kerna3/Mutex.h"
#include "platform/WallClock.h"
#include "time/Calendar.h"
#include "time/TimeFormat.h"

namespace Tessaran {
namespace Kerna {

const CTime CTime::minTime(CTime::RawFields{}, 2000, 1, 1, 6, 0, 0, 0);
const CTime CTime::maxTime(CTime::RawFields{}, 2038, 1, 1, 5, 0, 0, 0);

namespace {

const char kDefaultFormat[] = "yyyy-MM-dd HH:mm:ss";

// The process-wide default format. The three settings that format() reads are atomics, so that
// threads that format while another sets them read a recent value without a lock; the text
// itself is only read by getFormat() and sits behind a lock of its own, made on first use and
// kept to the end of the process (it may still be read from exit handlers).
std::atomic<int> g_dateOrder{CTime::ymd};
std::atomic<char> g_separator{'-'};
std::atomic<bool> g_twelveHour{false};
std::atomic<bool> g_zoneEnabled{true};

struct FormatText {
    CMutex lock;
    std::string text{kDefaultFormat};
};

FormatText& formatText() {
    static FormatText* const text = new FormatText();
    return *text;
}

Detail::FormatSettings currentSettings() {
    return {g_dateOrder.load(std::memory_order_relaxed),
            g_separator.load(std::memory_order_relaxed),
            g_twelveHour.load(std::memory_order_relaxed)};
}

// Breaks `seconds` down with no zone; a negative count (after arithmetic) gives 1970-01-01.
void breakWithoutZone(SystemTime& t, long long seconds) { Detail::breakSignedSeconds(seconds, t); }

}  // namespace

CTime::CTime(unsigned long long time) : CTime() { breakTime(time); }

CTime::CTime(unsigned long long time, bool useZone) : CTime() {
    if (useZone) {
        breakTime(time);
    } else {
        breakWithoutZone(*this, static_cast<long long>(time));
    }
}

CTime::CTime(int year_, int month_, int day_, int hour_, int minute_, int second_)
    : SystemTime{year_, month_, day_, 0, hour_, minute_, second_, -1} {
    Detail::normaliseFields(*this, true);
}

unsigned long long CTime::makeTime() const {
    const long long sum =
        static_cast<long long>(Detail::fieldSeconds(*this)) + static_cast<long long>(getTimeZone());
    return sum < 1 ? 0 : static_cast<unsigned long long>(sum);
}

void CTime::breakTime(unsigned long long time) {
    const long long bias = getTimeZone();
    const long long signedTime = static_cast<long long>(time);
    // With signedTime > bias the difference lies in 1 .. 2^64 - 1; unsigned arithmetic gives
    // it exactly where the signed subtraction could overflow.
    Detail::breakSeconds(signedTime > bias ? static_cast<unsigned long long>(signedTime) -
                                                 static_cast<unsigned long long>(bias)
                                           : 0,
                         *this);
}

long CTime::getTimeZone() {
    if (!g_zoneEnabled.load(std::memory_order_relaxed)) return 0;
    return Detail::Platform::wallClock().zoneBias();
}

int CTime::disableTimezone() {
    g_zoneEnabled.store(false, std::memory_order_relaxed);
    return 0;
}

unsigned long long CTime::timeToSeconds(const SystemTime& time) {
    return Detail::fieldSeconds(time);
}

CTime CTime::operator+(long long seconds) const {
    CTime result;
    // Field seconds stay below 2^33, so the sum wraps only for counts near the ends of the
    // 64-bit range; it is done unsigned to keep that defined.
    breakWithoutZone(result, static_cast<long long>(Detail::fieldSeconds(*this) +
                                                    static_cast<unsigned long long>(seconds)));
    return result;
}

CTime CTime::operator-(long long seconds) const {
    CTime result;
    breakWithoutZone(result, static_cast<long long>(Detail::fieldSeconds(*this) -
                                                    static_cast<unsigned long long>(seconds)));
    return result;
}

CTime& CTime::operator+=(long long seconds) {
    breakWithoutZone(*this, static_cast<long long>(Detail::fieldSeconds(*this) +
                                                   static_cast<unsigned long long>(seconds)));
    return *this;
}

CTime& CTime::operator-=(long long seconds) {
    breakWithoutZone(*this, static_cast<long long>(Detail::fieldSeconds(*this) -
                                                   static_cast<unsigned long long>(seconds)));
    return *this;
}

long long CTime::operator-(const CTime& other) const {
    return static_cast<long long>(Detail::fieldSeconds(*this)) -
           static_cast<long long>(Detail::fieldSeconds(other));
}

bool CTime::operator==(const CTime& other) const {
    return year == other.year && month == other.month && day == other.day && hour == other.hour &&
           minute == other.minute && second == other.second;
}

bool CTime::operator!=(const CTime& other) const { return !(*this == other); }

bool CTime::operator<(const CTime& other) const {
    if (year != other.year) return year < other.year;
    if (month != other.month) return month < other.month;
    if (day != other.day) return day < other.day;
    if (hour != other.hour) return hour < other.hour;
    if (minute != other.minute) return minute < other.minute;
    return second < other.second;
}

bool CTime::operator>(const CTime& other) const { return other < *this; }

bool CTime::operator<=(const CTime& other) const { return !(*this > other); }

bool CTime::operator>=(const CTime& other) const { return !(*this < other); }

void CTime::format(char* buf, const char* format, int mask) const {
    if (buf == nullptr) {
        KERNA_LOG(2, "buf is NULL!!\n");
        return;
    }
    if (format == nullptr) {
        KERNA_LOG(2, "format is NULL!!\n");
        buf[0] = '\0';
        return;
    }
    const Detail::FormatResult result =
        Detail::formatFieldsUnbounded(*this, format, mask, currentSettings(), buf);
    if (result.dateOrderInvalid) {
        KERNA_LOG(2, "setFormat dateFormat is invalid,set default separator: ymd \n");
    }
}

bool CTime::parse(const char* buf, const char* format, int /*mask*/) {
    Detail::ParseStatus status;
    if (buf == nullptr || format == nullptr) {
        KERNA_LOG(2, "this:%p buf or format is NULL!!\n", static_cast<void*>(this));
        year = month = day = hour = minute = second = 0;
        return false;
    }
    status = Detail::parseFields(buf, format, *this);
    switch (status) {
        case Detail::ParseStatus::ok:
            return true;
        case Detail::ParseStatus::notEnough:
            KERNA_LOG(2, "this:%p CTime parser input information is not enough.\n",
                      static_cast<void*>(this));
            break;
        case Detail::ParseStatus::hourTooLarge:
            KERNA_LOG(2,
                      "this:%p CTime parser input hour format is not accord with real value "
                      "format.\n",
                      static_cast<void*>(this));
            break;
        case Detail::ParseStatus::noMeridiem:
            KERNA_LOG(2, "this:%p 12 hours time point is unclear.\n", static_cast<void*>(this));
            break;
    }
    return false;
}

void CTime::setFormatString(const char* format) {
    const char* text = format ? format : "";
    {
        FormatText& stored = formatText();
        CGuard guard(stored.lock);
        stored.text = text;
    }
    const Detail::DeclaredSettings declared = Detail::settingsOf(text);
    g_separator.store(declared.settings.separator, std::memory_order_relaxed);
    if (!declared.separatorValid) {
        KERNA_LOG(2, "setFormat separator is invalid,set default separator: - \n");
    }
    g_twelveHour.store(declared.settings.twelveHour, std::memory_order_relaxed);
    g_dateOrder.store(declared.settings.dateOrder, std::memory_order_relaxed);
    if (!declared.orderValid) {
        KERNA_LOG(2, "setFormat dateFormat is invalid,set default separator: ymd \n");
    }
}

void CTime::setFormat(const String& format) { setFormatString(format.c_str()); }

String CTime::getFormat() {
    FormatText& stored = formatText();
    CGuard guard(stored.lock);
    return String(stored.text.c_str(), stored.text.size());
}

CTime::DateFormat CTime::getDateFormat() {
    return static_cast<DateFormat>(g_dateOrder.load(std::memory_order_relaxed));
}

bool CTime::get12Hour() { return g_twelveHour.load(std::memory_order_relaxed); }

char CTime::getSeparator() { return g_separator.load(std::memory_order_relaxed); }

}  // namespace Kerna
}  // namespace Tessaran

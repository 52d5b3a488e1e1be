// Time.cpp
//
// The older global CTime: fields to seconds and back through the C library (platform layer),
// arithmetic and comparison through those two, its own format settings, and the format walk of
// Tessaran::Kerna::CTime with the mask 0 and printf-style numbers.
#include <kerna/kerna3/Mutex.h>
#include <kerna/kerna3/Thread.h>
#include <kerna/legacy/Time.h>

#include <atomic>

#include "platform/LocalTime.h"
#include "time/TimeFormat.h"

namespace Kerna = Tessaran::Kerna;
namespace Platform = Tessaran::Kerna::Detail::Platform;

const CTime CTime::minTime(CTime::RawFields{}, 2000, 1, 1, 6);
const CTime CTime::maxTime(CTime::RawFields{}, 2038, 1, 1, 5);

namespace {

const char kDefaultFormat[] = "yyyy-MM-dd HH:mm:ss";

// This class's format settings, apart from those of Tessaran::Kerna::CTime. The three that
// format() reads are atomics; the text sits behind a lock of its own, made on first use and
// kept to the end of the process.
std::atomic<int> g_dateFormat{0};
std::atomic<char> g_separator{'-'};
std::atomic<bool> g_twelveHour{false};

struct FormatText {
    Kerna::CMutex lock;
    std::string text{kDefaultFormat};
};

FormatText& formatText() {
    static FormatText* const text = new FormatText();
    return *text;
}

}  // namespace

CTime::CTime() : SystemTime{0, 0, 0, 0, 0, 0, 0, -1} {}

CTime::CTime(unsigned long long time) : SystemTime{0, 0, 0, 0, 0, 0, 0, -1} { breakTime(time); }

CTime::CTime(const SystemTime& time) : SystemTime(time) {}

CTime::CTime(int y, int mo, int d, int h, int mi, int s) : SystemTime{y, mo, d, 0, h, mi, s, -1} {
    breakTime(makeTime());
}

unsigned long long CTime::makeTime() const {
    const Platform::LocalFields fields = {year, month, day, wday, hour, minute, second};
    const int64_t seconds = Platform::localToSeconds(fields);
    return seconds < 0 ? 0 : static_cast<unsigned long long>(seconds);
}

void CTime::breakTime(unsigned long long time) {
    // time_t has 64 bits here, so every argument reaches the C library unchanged; a time it
    // cannot represent as a date is the overflow of a narrower type elsewhere.
    Platform::LocalFields fields;
    if (!Platform::secondsToLocal(static_cast<int64_t>(time), fields)) {
        ::logError("this:%p CTime::breakTime overflowed!\n", static_cast<void*>(this));
        return;
    }
    year = fields.year;
    month = fields.month;
    day = fields.day;
    wday = fields.wday;
    hour = fields.hour;
    minute = fields.minute;
    second = fields.second;
}

CTime CTime::getCurrentTime() {
    const Kerna::CTime now = Kerna::CTime::getCurrentTime();
    return CTime(now.year, now.month, now.day, now.hour, now.minute, now.second);
}

void CTime::setCurrentTime(const CTime& time, int tolerance) {
    Kerna::CTime::setCurrentTime(
        Kerna::CTime(time.year, time.month, time.day, time.hour, time.minute, time.second),
        tolerance);
}

unsigned long long CTime::getCurrentMilliSecond() { return Kerna::CTime::getCurrentMilliSecond(); }

unsigned long long CTime::getCurrentMicroSecond() { return Kerna::CTime::getCurrentMicroSecond(); }

void CTime::sleep(int milliSeconds) { Kerna::CThread::sleep(milliSeconds); }

void CTime::setFormat(std::string format) {
    {
        FormatText& stored = formatText();
        Kerna::CGuard guard(stored.lock);
        stored.text = format;
    }
    const Kerna::Detail::DeclaredSettings declared = Kerna::Detail::settingsOf(format.c_str());
    g_separator.store(declared.settings.separator, std::memory_order_relaxed);
    if (!declared.separatorValid)
        ::logError("setFormat separator is invalid,set default separator: - \n");
    g_twelveHour.store(declared.settings.twelveHour, std::memory_order_relaxed);
    g_dateFormat.store(declared.settings.dateOrder, std::memory_order_relaxed);
    if (!declared.orderValid)
        ::logError("setFormat dateFormat is invalid,set default separator: ymd \n");
}

std::string CTime::getFormat() {
    FormatText& stored = formatText();
    Kerna::CGuard guard(stored.lock);
    return stored.text;
}

int CTime::getDateFormat() { return g_dateFormat.load(std::memory_order_relaxed); }

bool CTime::get12Hour() { return g_twelveHour.load(std::memory_order_relaxed); }

char CTime::getSpliter() { return g_separator.load(std::memory_order_relaxed); }

void CTime::setFormat(int dateFormat, int separator, int timeFormat) {
    g_dateFormat.store(dateFormat, std::memory_order_relaxed);
    static const char kSeparators[] = {'.', '-', '/'};
    if (separator >= 0 && separator <= 2) {
        g_separator.store(kSeparators[separator], std::memory_order_relaxed);
    }
    if (timeFormat == 0 || timeFormat == 1) {
        g_twelveHour.store(timeFormat == 1, std::memory_order_relaxed);
    }
}

int CTime::getTimeFormat() { return get12Hour() ? 1 : 0; }

int CTime::getDateSeparator() {
    switch (getSpliter()) {
        case '-':
            return 1;
        case '/':
            return 2;
        default:
            return 0;
    }
}

void CTime::format(char* buf, const char* format) const {
    if (buf == nullptr) {
        ::logError("buf is NULL!!\n");
        return;
    }
    if (format == nullptr) {
        ::logError("format is NULL!!\n");
        return;
    }
    Kerna::Detail::FormatSettings settings = {g_dateFormat.load(std::memory_order_relaxed),
                                              g_separator.load(std::memory_order_relaxed),
                                              g_twelveHour.load(std::memory_order_relaxed)};
    settings.printfDigits = true;
    Kerna::Detail::formatFieldsUnbounded(*this, format, 0, settings, buf);
}

CTime CTime::operator+(long long seconds) const {
    CTime result;
    result.breakTime(makeTime() + static_cast<unsigned long long>(seconds));
    return result;
}

CTime CTime::operator-(long long seconds) const {
    CTime result;
    result.breakTime(makeTime() - static_cast<unsigned long long>(seconds));
    return result;
}

CTime& CTime::operator+=(long long seconds) {
    breakTime(makeTime() + static_cast<unsigned long long>(seconds));
    return *this;
}

CTime& CTime::operator-=(long long seconds) {
    breakTime(makeTime() - static_cast<unsigned long long>(seconds));
    return *this;
}

long long CTime::operator-(const CTime& other) const {
    return static_cast<long long>(makeTime() - other.makeTime());
}

bool CTime::operator==(const CTime& other) const { return makeTime() == other.makeTime(); }
bool CTime::operator!=(const CTime& other) const { return makeTime() != other.makeTime(); }
bool CTime::operator<(const CTime& other) const { return makeTime() < other.makeTime(); }
bool CTime::operator>(const CTime& other) const { return makeTime() > other.makeTime(); }
bool CTime::operator<=(const CTime& other) const { return makeTime() <= other.makeTime(); }
bool CTime::operator>=(const CTime& other) const { return makeTime() >= other.makeTime(); }

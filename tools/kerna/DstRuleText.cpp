// DstRuleText.cpp
//
// Reading and writing the text forms of `kerna dst`.
#include "DstRuleText.h"

#include <stdio.h>

namespace KernaTool {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// An optionally signed decimal number of 1 to 9 digits at `p`; moves `p` past it.
bool readInt(const char*& p, int& value, bool allowSign) {
    int sign = 1;
    if (allowSign && (*p == '+' || *p == '-')) sign = *p++ == '-' ? -1 : 1;
    int digits = 0;
    long long v = 0;
    for (; isDigit(*p); ++p) {
        if (++digits > 9) return false;
        v = v * 10 + (*p - '0');
    }
    if (digits == 0) return false;
    value = static_cast<int>(v * sign);
    return true;
}

const char* const kMonths[12] = {"January", "February", "March",     "April",   "May",      "June",
                                 "July",    "August",   "September", "October", "November", "December"};
const char* const kWeekdays[7] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday",
                                  "Saturday"};
const char* const kOrdinals[4] = {"1st", "2nd", "3rd", "4th"};

}  // namespace

bool parseDstRule(const char* text, Tessaran::Kerna::DstConfigInfo& rule) {
    if (text == nullptr) return false;
    int fields[5];
    const char* p = text;
    for (int i = 0; i < 5; ++i) {
        if (i > 0 && *p++ != ',') return false;
        if (!readInt(p, fields[i], true)) return false;
    }
    if (*p != '\0') return false;
    rule = Tessaran::Kerna::DstConfigInfo{fields[0], fields[1], fields[2], fields[3], fields[4], 0, 0, 0};
    return true;
}

bool parseZoneOffset(const char* text, int& seconds) {
    if (text == nullptr || *text == '\0') return false;
    const char* p = text;
    long long value;
    if (*p == '+' || *p == '-') {
        const int sign = *p++ == '-' ? -1 : 1;
        int hours = 0, minutes = 0;
        const char* start = p;
        if (!readInt(p, hours, false)) return false;
        const long digits = p - start;
        if (*p == ':') {
            ++p;
            const char* minuteStart = p;
            if (digits > 2 || !readInt(p, minutes, false) || p - minuteStart != 2) return false;
        } else if (digits == 4) {  // "+0545"
            minutes = hours % 100;
            hours /= 100;
        } else if (digits > 2) {
            return false;
        }
        if (*p != '\0' || minutes > 59) return false;
        value = sign * (hours * 3600LL + minutes * 60LL);
    } else {
        int plain = 0;
        if (!readInt(p, plain, false) || *p != '\0') return false;
        value = plain;
    }
    if (value < -43200 || value > 50400) return false;
    seconds = static_cast<int>(value);
    return true;
}

bool parseYearRange(const char* text, int& first, int& last) {
    if (text == nullptr) return false;
    const char* p = text;
    int a = 0, b = 0;
    if (!readInt(p, a, false)) return false;
    b = a;
    if (*p == '-') {
        ++p;
        if (!readInt(p, b, false)) return false;
    }
    if (*p != '\0' || a < 1970 || b > 2106 || a > b) return false;
    first = a;
    last = b;
    return true;
}

std::string describeDstRule(const Tessaran::Kerna::DstConfigInfo& rule) {
    char buf[96];
    if (rule.week == 0) {
        snprintf(buf, sizeof buf, "%s %d at %02d:%02d", kMonths[rule.month - 1], rule.day, rule.hour,
                 rule.minute);
    } else {
        snprintf(buf, sizeof buf, "the %s %s of %s at %02d:%02d",
                 rule.week < 0 ? "last" : kOrdinals[rule.week - 1], kWeekdays[rule.day],
                 kMonths[rule.month - 1], rule.hour, rule.minute);
    }
    return buf;
}

std::string zoneText(int seconds) {
    const int magnitude = seconds < 0 ? -seconds : seconds;
    char buf[16];
    snprintf(buf, sizeof buf, "%c%02d:%02d", seconds < 0 ? '-' : '+', magnitude / 3600,
             magnitude / 60 % 60);
    return buf;
}

}  // namespace KernaTool

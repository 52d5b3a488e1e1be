// LogFileName.cpp
//
// Formatting and reading the suffix of numbered log files. Reading follows scanf's "%Nd" (white
// space skipped, then a sign and digits within the width), without its undefined overflow: a
// number is read into 64 bits and saturates, and an index that does not fit 32 bits is refused.
#include "logfile/LogFileName.h"

#include <cstdio>
#include <cstring>

namespace Tessaran {
namespace Kerna {
namespace Detail {

namespace {

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// One "%<width>d" (width 0: no limit) at `p`; moves `p` behind it.
bool readNumber(const char*& p, int width, int64_t& value) {
    while (isSpace(*p)) ++p;
    int used = 0;
    bool negative = false;
    if (*p == '+' || *p == '-') {
        if (width != 0 && width < 2) return false;  // no room for a digit behind the sign
        negative = *p == '-';
        ++p;
        ++used;
    }
    int digits = 0;
    int64_t v = 0;
    while (isDigit(*p) && (width == 0 || used < width)) {
        if (v < INT64_C(1000000000000)) v = v * 10 + (*p - '0');
        ++p;
        ++used;
        ++digits;
    }
    if (digits == 0) return false;
    value = negative ? -v : v;
    return true;
}

bool readLiteral(const char*& p, char c) {
    if (*p != c) return false;
    ++p;
    return true;
}

bool readField(const char*& p, char separator, int width, int32_t& field) {
    int64_t value;
    if (!readLiteral(p, separator) || !readNumber(p, width, value)) return false;
    field = static_cast<int32_t>(value);  // at most four digits and a sign: always fits
    return true;
}

}  // namespace

std::string logFileSuffix(const LogFileStamp& s, bool withTime, int32_t index) {
    char suffix[32];
    if (withTime) {
        std::snprintf(suffix, sizeof suffix, "_%04d-%02d-%02d-%02d-%02d-%02d_%d", s.year, s.month,
                      s.day, s.hour, s.minute, s.second, index);
    } else {
        std::snprintf(suffix, sizeof suffix, "_%04d-%02d-%02d_%d", s.year, s.month, s.day, index);
    }
    return suffix;
}

bool parseLogFileName(const char* name, const std::string& path, bool withTime, LogFileStamp& stamp,
                      int32_t& index) {
    if (name == nullptr || std::strncmp(name, path.c_str(), path.size()) != 0) return false;
    const char* p = name + path.size();
    LogFileStamp s = {};
    if (!readField(p, '_', 4, s.year) || !readField(p, '-', 2, s.month) ||
        !readField(p, '-', 2, s.day)) {
        return false;
    }
    if (withTime && (!readField(p, '-', 2, s.hour) || !readField(p, '-', 2, s.minute) ||
                     !readField(p, '-', 2, s.second))) {
        return false;
    }
    int64_t value;
    if (!readLiteral(p, '_') || !readNumber(p, 0, value) || value < INT32_MIN ||
        value > INT32_MAX) {
        return false;
    }
    stamp = s;
    index = static_cast<int32_t>(value);
    return true;
}

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

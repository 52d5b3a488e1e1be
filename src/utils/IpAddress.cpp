// IpAddress.cpp
//
// IPv4 addresses to and from dotted text. The reader follows sscanf with "%d.%d.%d.%d" step by
// step (blanks before a number, an optional sign, decimal digits, a literal "." between numbers,
// an out-of-range number saturated to the range of long and then cut to int, as the C library
// does), but without the undefined behaviour sscanf has for numbers out of range.
#include "kerna/utils/IpAddress.h"

#include <climits>

#include "base/Log.h"
#include "kerna/utils/StringUtil.h"

namespace Tessaran {
namespace Utils {

namespace {

inline bool isBlank(unsigned char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
inline bool isDigit(unsigned char c) { return c >= '0' && c <= '9'; }

// Reads one "%d" at `p`. Returns false, with `p` where the conversion failed, if there is no
// number; else stores the number as the C library's %d would.
bool readNumber(const unsigned char*& p, int& number) {
    while (isBlank(*p)) ++p;
    bool negative = false;
    if (*p == '+' || *p == '-') {
        negative = *p == '-';
        ++p;
    }
    if (!isDigit(*p)) return false;
    // Magnitude up to 2^63, which is LONG_MIN's; beyond that the value saturates.
    const unsigned long long limit =
        negative ? static_cast<unsigned long long>(LONG_MAX) + 1 : static_cast<unsigned long long>(LONG_MAX);
    unsigned long long magnitude = 0;
    bool saturated = false;
    for (; isDigit(*p); ++p) {
        const unsigned digit = *p - '0';
        if (!saturated) {
            if (magnitude > (limit - digit) / 10) {
                saturated = true;
                magnitude = limit;
            } else {
                magnitude = magnitude * 10 + digit;
            }
        }
    }
    // The long is cut to the int the conversion stores: its low 32 bits, taken modulo 2^32.
    const unsigned long long asLong = negative ? 0ULL - magnitude : magnitude;
    number = static_cast<int>(static_cast<unsigned int>(asLong & 0xFFFFFFFFULL));
    return true;
}

}  // namespace

char* ipToString(IpAddress ip, char* dst, size_t size) {
    if (dst == nullptr || size == 0) {
        KERNA_LOG(2, "dst:%p size:%zu is invalid\n", static_cast<void*>(dst), size);
        return nullptr;
    }
    const int room = size > static_cast<size_t>(INT_MAX) ? INT_MAX : static_cast<int>(size);
    snprintf_x(dst, room, "%d.%d.%d.%d", static_cast<int>(ip.value & 0xFF),
               static_cast<int>((ip.value >> 8) & 0xFF), static_cast<int>((ip.value >> 16) & 0xFF),
               static_cast<int>(ip.value >> 24));
    return dst;
}

IpAddress stringToIp(const char* text) {
    IpAddress ip;
    ip.value = 0;
    if (text == nullptr) {
        KERNA_LOG(3, "param str %s is invalid\n", "(null)");
        return ip;
    }
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
    int read = 0;
    for (; read < 4; ++read) {
        if (read > 0) {
            if (*p != '.') break;
            ++p;
        }
        int number = 0;
        if (!readNumber(p, number)) break;
        ip.value |= (static_cast<uint32_t>(number) & 0xFFu) << (8 * read);
    }
    if (read < 4) KERNA_LOG(3, "param str %s is invalid\n", text);
    return ip;
}

}  // namespace Utils
}  // namespace Tessaran

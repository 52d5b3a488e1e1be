// Base16.cpp
//
// Base16 encoding: upper-case digits out, either case in.
#include "kerna/utils/Base16.h"

#include <cstring>

#include "base/Log.h"

namespace Tessaran {
namespace Utils {

namespace {

const char kUpperDigits[] = "0123456789ABCDEF";

// Value of a hexadecimal digit, or -1.
inline int hexValue(unsigned char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

size_t base16Encode(const unsigned char* src, size_t srcLength, char* dst, size_t dstLength) {
    if (src == nullptr) {
        KERNA_LOG(3, "The source data is NULL\n");
        return 0;
    }
    // srcLength above half of SIZE_MAX cannot have a buffer; the test below stays free of
    // overflow by comparing the halves.
    if (dst == nullptr || srcLength == 0 || dstLength == 0 || (dstLength - 1) / 2 < srcLength) {
        KERNA_LOG(3, "dst space is not enough or NULL\n");
        return 0;
    }
    std::memset(dst, 0, dstLength);
    for (size_t i = 0; i < srcLength; ++i) {
        dst[2 * i] = kUpperDigits[src[i] >> 4];
        dst[2 * i + 1] = kUpperDigits[src[i] & 0x0F];
    }
    return 2 * srcLength + 1;
}

size_t base16Decode(const char* src, size_t srcLength, unsigned char* dst, size_t dstLength) {
    if (src == nullptr) {
        KERNA_LOG(3, "The source data is NULL\n");
        return 0;
    }
    if (srcLength == 0 || (srcLength & 1) != 0) {
        KERNA_LOG(3, "The source data length is wrong\n");
        return 0;
    }
    if (dst == nullptr || dstLength < srcLength / 2) {
        KERNA_LOG(3, "dst space is not enough or NULL\n");
        return 0;
    }
    std::memset(dst, 0, dstLength);
    const unsigned char* in = reinterpret_cast<const unsigned char*>(src);
    for (size_t i = 0; i < srcLength; i += 2) {
        const int high = hexValue(in[i]);
        const int low = hexValue(in[i + 1]);
        if (high < 0 || low < 0) {
            KERNA_LOG(3, "The source data is not base16 encoding\n");
            std::memset(dst, 0, dstLength);
            KERNA_LOG(3, "base16 decode failed\n");
            return 0;
        }
        dst[i / 2] = static_cast<unsigned char>((high << 4) | low);
    }
    return srcLength / 2;
}

}  // namespace Utils
}  // namespace Tessaran

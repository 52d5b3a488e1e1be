// Base64.cpp
//
// Base64 of RFC 4648 (standard alphabet, "=" fill, no line breaks). The encoder turns 12 input
// bits into two characters with one table look-up; the decoder reads one table per position of
// the 4-character group, whose entries are already shifted into place and flag characters outside
// the alphabet.
#include "kerna/utils/Base64.h"

#include <climits>
#include <cstdint>
#include <cstring>

#include "base/Log.h"

namespace Tessaran {
namespace Utils {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Two characters for each 12-bit value, as they lie in memory.
struct PairTable {
    uint16_t c[4096];
};

constexpr PairTable makePairTable() {
    PairTable t = {};
    for (int v = 0; v < 4096; ++v) {
        const unsigned first = static_cast<unsigned char>(kAlphabet[v >> 6]);
        const unsigned second = static_cast<unsigned char>(kAlphabet[v & 63]);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
        t.c[v] = static_cast<uint16_t>((first << 8) | second);
#else
        t.c[v] = static_cast<uint16_t>(first | (second << 8));
#endif
    }
    return t;
}

constexpr PairTable kPairs = makePairTable();

// The value of each byte: 0 to 63 for the alphabet, 64 for the 192 other bytes.
struct ValueTable {
    unsigned char v[256];
};

constexpr ValueTable makeValueTable() {
    ValueTable t = {};
    for (int i = 0; i < 256; ++i) t.v[i] = 64;
    for (int i = 0; i < 64; ++i) t.v[static_cast<unsigned char>(kAlphabet[i])] = static_cast<unsigned char>(i);
    return t;
}

constexpr ValueTable kValues = makeValueTable();

// The value of a character at position `pos` of a group, shifted into its place of the 24 bits,
// or kBad for a character outside the alphabet.
constexpr uint32_t kBad = 0x80000000u;

struct GroupTable {
    uint32_t d[4][256];
};

constexpr GroupTable makeGroupTable() {
    GroupTable t = {};
    for (int pos = 0; pos < 4; ++pos) {
        for (int i = 0; i < 256; ++i) {
            const unsigned v = kValues.v[i];
            t.d[pos][i] = v < 64 ? (static_cast<uint32_t>(v) << (18 - 6 * pos)) : kBad;
        }
    }
    return t;
}

constexpr GroupTable kGroups = makeGroupTable();

// Number of leading alphabet characters of `src`, looking at no more than `limit`.
size_t countAlphabet(const unsigned char* src, size_t limit) {
    size_t n = 0;
    while (n < limit && kValues.v[src[n]] < 64) ++n;
    return n;
}

// Decodes the leading alphabet characters of `src` (at most `limit`) into `dst` and terminates.
size_t decode(char* dst, const unsigned char* src, size_t limit) {
    unsigned char* out = reinterpret_cast<unsigned char*>(dst);
    size_t i = 0;
    size_t o = 0;
    size_t tail = 0;  // characters of the last, incomplete group
    for (;;) {
        if (limit - i < 4) {
            const size_t left = limit - i;
            while (tail < left && kValues.v[src[i + tail]] < 64) ++tail;
            break;
        }
        // One character at a time: the text may end at any of them, and nothing behind the
        // first character outside the alphabet is read.
        const uint32_t a = kGroups.d[0][src[i]];
        if (a & kBad) break;
        const uint32_t b = kGroups.d[1][src[i + 1]];
        if (b & kBad) {
            tail = 1;
            break;
        }
        const uint32_t c = kGroups.d[2][src[i + 2]];
        if (c & kBad) {
            tail = 2;
            break;
        }
        const uint32_t d = kGroups.d[3][src[i + 3]];
        if (d & kBad) {
            tail = 3;
            break;
        }
        const uint32_t v = a | b | c | d;
        out[o] = static_cast<unsigned char>(v >> 16);
        out[o + 1] = static_cast<unsigned char>(v >> 8);
        out[o + 2] = static_cast<unsigned char>(v);
        o += 3;
        i += 4;
    }
    if (tail >= 2) {
        const uint32_t v = kGroups.d[0][src[i]] | kGroups.d[1][src[i + 1]] |
                           (tail == 3 ? kGroups.d[2][src[i + 2]] : 0u);
        out[o++] = static_cast<unsigned char>(v >> 16);
        if (tail == 3) out[o++] = static_cast<unsigned char>(v >> 8);
    }
    // A single last character carries only 6 bits and gives no byte.
    out[o] = 0;
    return o;
}

}  // namespace

size_t base64EncodeLenEx(size_t length) { return (length / 3 + (length % 3 != 0)) * 4 + 1; }

size_t base64EncodeEx(char* dst, const char* src, size_t length) {
    if (dst == nullptr) {
        KERNA_LOG(3, "dst space is not enough or NULL\n");
        return 0;
    }
    if (src == nullptr && length != 0) {
        KERNA_LOG(3, "The source data is NULL\n");
        return 0;
    }
    const unsigned char* in = reinterpret_cast<const unsigned char*>(src);
    char* out = dst;
    size_t i = 0;
    // Six bytes give eight characters: four table look-ups and one 8-byte store.
    for (; length - i >= 6; i += 6) {
        const uint32_t v = (static_cast<uint32_t>(in[i]) << 16) |
                           (static_cast<uint32_t>(in[i + 1]) << 8) | in[i + 2];
        const uint32_t w = (static_cast<uint32_t>(in[i + 3]) << 16) |
                           (static_cast<uint32_t>(in[i + 4]) << 8) | in[i + 5];
        const uint64_t chars = static_cast<uint64_t>(kPairs.c[v >> 12]) |
                               (static_cast<uint64_t>(kPairs.c[v & 0xFFF]) << 16) |
                               (static_cast<uint64_t>(kPairs.c[w >> 12]) << 32) |
                               (static_cast<uint64_t>(kPairs.c[w & 0xFFF]) << 48);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
        const uint16_t pieces[4] = {kPairs.c[v >> 12], kPairs.c[v & 0xFFF], kPairs.c[w >> 12], kPairs.c[w & 0xFFF]};
        std::memcpy(out, pieces, 8);
        (void)chars;
#else
        std::memcpy(out, &chars, 8);
#endif
        out += 8;
    }
    for (; length - i >= 3; i += 3) {
        const uint32_t v = (static_cast<uint32_t>(in[i]) << 16) |
                           (static_cast<uint32_t>(in[i + 1]) << 8) | in[i + 2];
        std::memcpy(out, &kPairs.c[v >> 12], 2);
        std::memcpy(out + 2, &kPairs.c[v & 0xFFF], 2);
        out += 4;
    }
    const size_t rest = length - i;
    if (rest == 1) {
        out[0] = kAlphabet[in[i] >> 2];
        out[1] = kAlphabet[(in[i] & 0x03) << 4];
        out[2] = '=';
        out[3] = '=';
        out += 4;
    } else if (rest == 2) {
        out[0] = kAlphabet[in[i] >> 2];
        out[1] = kAlphabet[((in[i] & 0x03) << 4) | (in[i + 1] >> 4)];
        out[2] = kAlphabet[(in[i + 1] & 0x0F) << 2];
        out[3] = '=';
        out += 4;
    }
    *out++ = '\0';
    return static_cast<size_t>(out - dst);
}

size_t base64DecodeLenEx(const char* src) {
    if (src == nullptr) {
        KERNA_LOG(3, "The source data is NULL\n");
        return 0;
    }
    const size_t n = countAlphabet(reinterpret_cast<const unsigned char*>(src), SIZE_MAX);
    return (n + 3) / 4 * 3 + 1;
}

size_t base64DecodeEx(char* dst, const char* src) {
    if (src == nullptr) {
        KERNA_LOG(3, "The source data is NULL\n");
        return 0;
    }
    if (dst == nullptr) {
        KERNA_LOG(3, "dst space is not enough or NULL\n");
        return 0;
    }
    return decode(dst, reinterpret_cast<const unsigned char*>(src), SIZE_MAX);
}

size_t base64DecodeLenEx2(const char* src, size_t length) {
    if (src == nullptr) {
        KERNA_LOG(3, "The source data is NULL\n");
        return 0;
    }
    const size_t n = countAlphabet(reinterpret_cast<const unsigned char*>(src), length);
    return (n + 3) / 4 * 3 + 1;
}

size_t base64DecodeEx2(char* dst, const char* src, size_t length) {
    if (src == nullptr) {
        KERNA_LOG(3, "The source data is NULL\n");
        return 0;
    }
    if (dst == nullptr) {
        KERNA_LOG(3, "dst space is not enough or NULL\n");
        return 0;
    }
    return decode(dst, reinterpret_cast<const unsigned char*>(src), length);
}

int base64EncodeLen(int length) {
    if (length < 0) {
        KERNA_LOG(3, "length:%d is invalid\n", length);
        return 0;
    }
    const size_t size = base64EncodeLenEx(static_cast<size_t>(length));
    if (size > INT_MAX) {
        KERNA_LOG(3, "length:%d is invalid\n", length);
        return 0;
    }
    return static_cast<int>(size);
}

int base64Encode(char* dst, const char* src, int length) {
    if (length < 1) return 0;
    if (base64EncodeLenEx(static_cast<size_t>(length)) > INT_MAX) {
        KERNA_LOG(3, "length:%d is invalid\n", length);
        return 0;
    }
    return static_cast<int>(base64EncodeEx(dst, src, static_cast<size_t>(length)));
}

int base64DecodeLen(const char* src) {
    const size_t size = base64DecodeLenEx(src);
    if (size > INT_MAX) {
        KERNA_LOG(3, "decoded size %zu is too large\n", size);
        return 0;
    }
    return static_cast<int>(size);
}

int base64Decode(char* dst, const char* src) {
    if (src == nullptr) {
        KERNA_LOG(3, "The source data is NULL\n");
        return 0;
    }
    if (dst == nullptr) {
        KERNA_LOG(3, "dst space is not enough or NULL\n");
        return 0;
    }
    // The result must fit an int: a text longer than this many characters is refused before
    // anything is written, as base64DecodeLen refused to size it.
    const size_t maxChars = static_cast<size_t>(INT_MAX - 1) / 3 * 4;
    const unsigned char* in = reinterpret_cast<const unsigned char*>(src);
    const size_t n = countAlphabet(in, maxChars + 1);
    if (n > maxChars) {
        KERNA_LOG(3, "decoded size of more than %zu characters is too large\n", maxChars);
        return 0;
    }
    return static_cast<int>(decode(dst, in, n));
}

}  // namespace Utils
}  // namespace Tessaran

// Crc.cpp
//
// CRC-16/ARC and CRC-32/ISO-HDLC. Both tables are computed at compile time from their reflected
// polynomials; entry i is the running value after one byte i from a running value of 0.
#include "kerna/utils/Crc.h"

#include <cstdint>
#include <cstring>

#include "base/Log.h"
#include "utils/Accel.h"
#include "utils/CrcInternal.h"

namespace Tessaran {
namespace Utils {

namespace {

struct Crc16Table {
    uint16_t t[256];
};

constexpr Crc16Table makeCrc16Table() {
    Crc16Table table = {};
    for (unsigned i = 0; i < 256; ++i) {
        unsigned v = i;
        for (int bit = 0; bit < 8; ++bit) v = (v & 1) ? (v >> 1) ^ 0xA001u : v >> 1;
        table.t[i] = static_cast<uint16_t>(v);
    }
    return table;
}

constexpr Crc16Table kCrc16 = makeCrc16Table();

// t[0] is the table of the reference path; t[k] is t[0] followed by k zero bytes, for slicing.
struct Crc32Tables {
    uint32_t t[8][256];
};

constexpr Crc32Tables makeCrc32Tables() {
    Crc32Tables tables = {};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t v = i;
        for (int bit = 0; bit < 8; ++bit) v = (v & 1) ? (v >> 1) ^ 0xEDB88320u : v >> 1;
        tables.t[0][i] = v;
    }
    for (int k = 1; k < 8; ++k) {
        for (int i = 0; i < 256; ++i) {
            const uint32_t prev = tables.t[k - 1][i];
            tables.t[k][i] = (prev >> 8) ^ tables.t[0][prev & 0xFF];
        }
    }
    return tables;
}

constexpr Crc32Tables kCrc32 = makeCrc32Tables();

// The two-argument form counts its length in 32 bits.
constexpr size_t kMaxPlainLength = 0xFFFFFFFFu;

}  // namespace

namespace Detail {

uint32_t crc32Reference(uint32_t running, const unsigned char* data, size_t length) {
    for (size_t i = 0; i < length; ++i) running = kCrc32.t[0][(running ^ data[i]) & 0xFF] ^ (running >> 8);
    return running;
}

uint32_t crc32Slice8(uint32_t running, const unsigned char* data, size_t length) {
    while (length >= 8) {
        uint64_t v;
        std::memcpy(&v, data, 8);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
        v = __builtin_bswap64(v);
#endif
        v ^= running;
        running = kCrc32.t[7][v & 0xFF] ^ kCrc32.t[6][(v >> 8) & 0xFF] ^
                  kCrc32.t[5][(v >> 16) & 0xFF] ^ kCrc32.t[4][(v >> 24) & 0xFF] ^
                  kCrc32.t[3][(v >> 32) & 0xFF] ^ kCrc32.t[2][(v >> 40) & 0xFF] ^
                  kCrc32.t[1][(v >> 48) & 0xFF] ^ kCrc32.t[0][v >> 56];
        data += 8;
        length -= 8;
    }
    return crc32Reference(running, data, length);
}

uint32_t crc32Update(uint32_t running, const unsigned char* data, size_t length) {
    if (referenceOnly()) return crc32Reference(running, data, length);
    if (length >= 64 && useClmul()) return crc32Clmul(running, data, length);
    return crc32Slice8(running, data, length);
}

}  // namespace Detail

unsigned short crc16(unsigned short crc, const unsigned char* data, size_t length) {
    if (data == nullptr && length != 0) {
        KERNA_LOG(2, "data is NULL, length:%zu\n", length);
        return crc;
    }
    unsigned running = crc;
    for (size_t i = 0; i < length; ++i) running = kCrc16.t[(running ^ data[i]) & 0xFF] ^ (running >> 8);
    return static_cast<unsigned short>(running);
}

unsigned int crc32(const unsigned char* data, size_t length) {
    if (length > kMaxPlainLength) {
        KERNA_LOG(2, "length:%zu is too long\n", length);
        return 0;
    }
    if (data == nullptr && length != 0) {
        KERNA_LOG(2, "data is NULL, length:%zu\n", length);
        return 0;
    }
    return Detail::crc32Update(0xFFFFFFFFu, data, length) ^ 0xFFFFFFFFu;
}

unsigned int crc32(unsigned int crc, const unsigned char* data, size_t length) {
    if (data == nullptr && length != 0) {
        KERNA_LOG(2, "data is NULL, length:%zu\n", length);
        return crc;
    }
    return Detail::crc32Update(crc ^ 0xFFFFFFFFu, data, length) ^ 0xFFFFFFFFu;
}

}  // namespace Utils
}  // namespace Tessaran

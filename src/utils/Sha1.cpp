// Sha1.cpp
//
// SHA-1 of FIPS 180. The record keeps the bit count, the running hash, the bytes waiting for a
// whole block, and the digest once the message is finished. Blocks go through the CPU's SHA
// instructions where it has them, else through the portable block function.
#include "kerna/utils/Sha1.h"

#include <cstdint>
#include <cstring>
#include <new>

#include "base/Log.h"
#include "utils/Accel.h"
#include "utils/Sha1Blocks.h"

namespace Tessaran {
namespace Utils {

class Sha1Internal {
public:
    uint64_t totalLength;  // bits
    uint32_t hash[5];
    uint32_t blockLength;  // bytes waiting in block
    unsigned char block[64];
    unsigned char digest[20];
    bool finalized;
};

namespace Detail {

namespace {

inline uint32_t rotl(uint32_t v, int s) { return (v << s) | (v >> (32 - s)); }

inline uint32_t loadBe32(const unsigned char* p) {
    return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
           (static_cast<uint32_t>(p[2]) << 8) | static_cast<uint32_t>(p[3]);
}

}  // namespace

// Sixteen message words kept in a ring; w(i) for i >= 16 is computed in place.
#define KERNA_SHA1_W(i) \
    (w[(i) & 15] = rotl(w[((i) + 13) & 15] ^ w[((i) + 8) & 15] ^ w[((i) + 2) & 15] ^ w[(i) & 15], 1))
#define KERNA_SHA1_R0(v, x, y, z, u, i) \
    u += ((x & (y ^ z)) ^ z) + w[i] + 0x5A827999u + rotl(v, 5); x = rotl(x, 30)
#define KERNA_SHA1_R1(v, x, y, z, u, i) \
    u += ((x & (y ^ z)) ^ z) + KERNA_SHA1_W(i) + 0x5A827999u + rotl(v, 5); x = rotl(x, 30)
#define KERNA_SHA1_R2(v, x, y, z, u, i) \
    u += (x ^ y ^ z) + KERNA_SHA1_W(i) + 0x6ED9EBA1u + rotl(v, 5); x = rotl(x, 30)
#define KERNA_SHA1_R3(v, x, y, z, u, i) \
    u += (((x | y) & z) | (x & y)) + KERNA_SHA1_W(i) + 0x8F1BBCDCu + rotl(v, 5); x = rotl(x, 30)
#define KERNA_SHA1_R4(v, x, y, z, u, i) \
    u += (x ^ y ^ z) + KERNA_SHA1_W(i) + 0xCA62C1D6u + rotl(v, 5); x = rotl(x, 30)

void sha1BlocksReference(uint32_t hash[5], const unsigned char* data, size_t blocks) {
    for (; blocks != 0; --blocks, data += 64) {
        uint32_t w[16];
        for (int i = 0; i < 16; ++i) w[i] = loadBe32(data + 4 * i);
        uint32_t a = hash[0], b = hash[1], c = hash[2], d = hash[3], e = hash[4];

        KERNA_SHA1_R0(a, b, c, d, e, 0);  KERNA_SHA1_R0(e, a, b, c, d, 1);
        KERNA_SHA1_R0(d, e, a, b, c, 2);  KERNA_SHA1_R0(c, d, e, a, b, 3);
        KERNA_SHA1_R0(b, c, d, e, a, 4);  KERNA_SHA1_R0(a, b, c, d, e, 5);
        KERNA_SHA1_R0(e, a, b, c, d, 6);  KERNA_SHA1_R0(d, e, a, b, c, 7);
        KERNA_SHA1_R0(c, d, e, a, b, 8);  KERNA_SHA1_R0(b, c, d, e, a, 9);
        KERNA_SHA1_R0(a, b, c, d, e, 10); KERNA_SHA1_R0(e, a, b, c, d, 11);
        KERNA_SHA1_R0(d, e, a, b, c, 12); KERNA_SHA1_R0(c, d, e, a, b, 13);
        KERNA_SHA1_R0(b, c, d, e, a, 14); KERNA_SHA1_R0(a, b, c, d, e, 15);
        KERNA_SHA1_R1(e, a, b, c, d, 16); KERNA_SHA1_R1(d, e, a, b, c, 17);
        KERNA_SHA1_R1(c, d, e, a, b, 18); KERNA_SHA1_R1(b, c, d, e, a, 19);

        KERNA_SHA1_R2(a, b, c, d, e, 20); KERNA_SHA1_R2(e, a, b, c, d, 21);
        KERNA_SHA1_R2(d, e, a, b, c, 22); KERNA_SHA1_R2(c, d, e, a, b, 23);
        KERNA_SHA1_R2(b, c, d, e, a, 24); KERNA_SHA1_R2(a, b, c, d, e, 25);
        KERNA_SHA1_R2(e, a, b, c, d, 26); KERNA_SHA1_R2(d, e, a, b, c, 27);
        KERNA_SHA1_R2(c, d, e, a, b, 28); KERNA_SHA1_R2(b, c, d, e, a, 29);
        KERNA_SHA1_R2(a, b, c, d, e, 30); KERNA_SHA1_R2(e, a, b, c, d, 31);
        KERNA_SHA1_R2(d, e, a, b, c, 32); KERNA_SHA1_R2(c, d, e, a, b, 33);
        KERNA_SHA1_R2(b, c, d, e, a, 34); KERNA_SHA1_R2(a, b, c, d, e, 35);
        KERNA_SHA1_R2(e, a, b, c, d, 36); KERNA_SHA1_R2(d, e, a, b, c, 37);
        KERNA_SHA1_R2(c, d, e, a, b, 38); KERNA_SHA1_R2(b, c, d, e, a, 39);

        KERNA_SHA1_R3(a, b, c, d, e, 40); KERNA_SHA1_R3(e, a, b, c, d, 41);
        KERNA_SHA1_R3(d, e, a, b, c, 42); KERNA_SHA1_R3(c, d, e, a, b, 43);
        KERNA_SHA1_R3(b, c, d, e, a, 44); KERNA_SHA1_R3(a, b, c, d, e, 45);
        KERNA_SHA1_R3(e, a, b, c, d, 46); KERNA_SHA1_R3(d, e, a, b, c, 47);
        KERNA_SHA1_R3(c, d, e, a, b, 48); KERNA_SHA1_R3(b, c, d, e, a, 49);
        KERNA_SHA1_R3(a, b, c, d, e, 50); KERNA_SHA1_R3(e, a, b, c, d, 51);
        KERNA_SHA1_R3(d, e, a, b, c, 52); KERNA_SHA1_R3(c, d, e, a, b, 53);
        KERNA_SHA1_R3(b, c, d, e, a, 54); KERNA_SHA1_R3(a, b, c, d, e, 55);
        KERNA_SHA1_R3(e, a, b, c, d, 56); KERNA_SHA1_R3(d, e, a, b, c, 57);
        KERNA_SHA1_R3(c, d, e, a, b, 58); KERNA_SHA1_R3(b, c, d, e, a, 59);

        KERNA_SHA1_R4(a, b, c, d, e, 60); KERNA_SHA1_R4(e, a, b, c, d, 61);
        KERNA_SHA1_R4(d, e, a, b, c, 62); KERNA_SHA1_R4(c, d, e, a, b, 63);
        KERNA_SHA1_R4(b, c, d, e, a, 64); KERNA_SHA1_R4(a, b, c, d, e, 65);
        KERNA_SHA1_R4(e, a, b, c, d, 66); KERNA_SHA1_R4(d, e, a, b, c, 67);
        KERNA_SHA1_R4(c, d, e, a, b, 68); KERNA_SHA1_R4(b, c, d, e, a, 69);
        KERNA_SHA1_R4(a, b, c, d, e, 70); KERNA_SHA1_R4(e, a, b, c, d, 71);
        KERNA_SHA1_R4(d, e, a, b, c, 72); KERNA_SHA1_R4(c, d, e, a, b, 73);
        KERNA_SHA1_R4(b, c, d, e, a, 74); KERNA_SHA1_R4(a, b, c, d, e, 75);
        KERNA_SHA1_R4(e, a, b, c, d, 76); KERNA_SHA1_R4(d, e, a, b, c, 77);
        KERNA_SHA1_R4(c, d, e, a, b, 78); KERNA_SHA1_R4(b, c, d, e, a, 79);

        hash[0] += a;
        hash[1] += b;
        hash[2] += c;
        hash[3] += d;
        hash[4] += e;
    }
}

#undef KERNA_SHA1_W
#undef KERNA_SHA1_R0
#undef KERNA_SHA1_R1
#undef KERNA_SHA1_R2
#undef KERNA_SHA1_R3
#undef KERNA_SHA1_R4

}  // namespace Detail

namespace {

const char kLowerDigits[] = "0123456789abcdef";

void startMessage(Sha1Internal& r) {
    std::memset(&r, 0, sizeof r);
    r.hash[0] = 0x67452301u;
    r.hash[1] = 0xEFCDAB89u;
    r.hash[2] = 0x98BADCFEu;
    r.hash[3] = 0x10325476u;
    r.hash[4] = 0xC3D2E1F0u;
}

void runBlocks(uint32_t hash[5], const unsigned char* data, size_t blocks) {
    if (Detail::useShaNi())
        Detail::sha1BlocksShaNi(hash, data, blocks);
    else
        Detail::sha1BlocksReference(hash, data, blocks);
}

// Overwrites at least `bytes` bytes of the stack below the caller with zeros, 128 at a time, so
// that message words and working values of the block function do not stay behind.
__attribute__((noinline)) void clearStack(int bytes) {
    unsigned char area[128];
    Detail::secureZero(area, sizeof area);
    bytes -= static_cast<int>(sizeof area);
    if (bytes > 0) clearStack(bytes);
    // Keeps the recursive call from becoming a jump that would reuse this frame.
    __asm__ __volatile__("" : : "r"(area) : "memory");
}

// Adds input to an open message; returns whether a block was hashed.
bool absorb(Sha1Internal& r, const unsigned char* data, uint32_t length) {
    r.totalLength += static_cast<uint64_t>(length) * 8;
    bool hashed = false;
    if (r.blockLength != 0) {
        const uint32_t take = 64 - r.blockLength < length ? 64 - r.blockLength : length;
        std::memcpy(r.block + r.blockLength, data, take);
        r.blockLength += take;
        data += take;
        length -= take;
        if (r.blockLength < 64) return false;
        runBlocks(r.hash, r.block, 1);
        r.blockLength = 0;
        hashed = true;
    }
    if (length >= 64) {
        runBlocks(r.hash, data, length / 64);
        data += length / 64 * 64;
        length %= 64;
        hashed = true;
    }
    std::memcpy(r.block, data, length);
    r.blockLength = length;
    return hashed;
}

void finish(Sha1Internal& r) {
    if (r.finalized) return;
    const uint64_t bits = r.totalLength;
    r.block[r.blockLength++] = 0x80;
    if (r.blockLength > 56) {
        std::memset(r.block + r.blockLength, 0, 64 - r.blockLength);
        runBlocks(r.hash, r.block, 1);
        r.blockLength = 0;
    }
    std::memset(r.block + r.blockLength, 0, 56 - r.blockLength);
    for (int i = 0; i < 8; ++i) r.block[56 + i] = static_cast<unsigned char>(bits >> (56 - 8 * i));
    runBlocks(r.hash, r.block, 1);
    r.blockLength = 0;
    for (int i = 0; i < 20; ++i) r.digest[i] = static_cast<unsigned char>(r.hash[i / 4] >> (24 - 8 * (i % 4)));
    r.finalized = true;
}

}  // namespace

CSha1::CSha1() : m_internal(new (std::nothrow) Sha1Internal()) {
    if (m_internal == nullptr) {
        KERNA_LOG(2, "this:%p out of memory\n", static_cast<void*>(this));
        return;
    }
    startMessage(*m_internal);
}

CSha1::~CSha1() { delete m_internal; }

void CSha1::update(const unsigned char* data, size_t length) {
    if (data == nullptr || length == 0) return;
    if (m_internal == nullptr) {
        KERNA_LOG(2, "this:%p m_internal is NULL\n", static_cast<void*>(this));
        return;
    }
    if (length > 0xFFFFFFFFu) {
        KERNA_LOG(2, "this:%p length:%zu is too long\n", static_cast<void*>(this), length);
        return;
    }
    if (m_internal->finalized) startMessage(*m_internal);
    if (absorb(*m_internal, data, static_cast<uint32_t>(length))) clearStack(388);
}

void CSha1::final(unsigned char* hash, size_t length) {
    if (hash == nullptr) {
        KERNA_LOG(2, "hash is NULL!\n");
        return;
    }
    if (length < 20) {
        KERNA_LOG(2, "len:%u is invalid!\n", static_cast<unsigned>(length));
        return;
    }
    if (m_internal == nullptr) {
        KERNA_LOG(2, "this:%p m_internal is NULL\n", static_cast<void*>(this));
        return;
    }
    finish(*m_internal);
    std::memcpy(hash, m_internal->digest, 20);
}

void CSha1::hex(char* str, size_t length) {
    if (str == nullptr) {
        KERNA_LOG(2, "str is NULL!\n");
        return;
    }
    if (length < 40) {
        KERNA_LOG(2, "len:%u is invalid!\n", static_cast<unsigned>(length));
        return;
    }
    if (m_internal == nullptr) {
        KERNA_LOG(2, "this:%p m_internal is NULL\n", static_cast<void*>(this));
        return;
    }
    finish(*m_internal);
    for (int i = 0; i < 20; ++i) {
        str[2 * i] = kLowerDigits[m_internal->digest[i] >> 4];
        str[2 * i + 1] = kLowerDigits[m_internal->digest[i] & 0x0F];
    }
    if (length > 40) str[40] = '\0';
}

}  // namespace Utils
}  // namespace Tessaran

// Md5.cpp
//
// MD5 of RFC 1321. The block function is the four rounds of sixteen steps written out; the
// record keeps the running hash, the bit count (two 32-bit words, low first), the input not yet
// hashed, and the digest once the message is finished.
#include "kerna/utils/Md5.h"

#include <cstdint>
#include <cstring>
#include <new>

#include "base/Log.h"

namespace Tessaran {
namespace Utils {

class Md5Internal {
public:
    uint32_t state[4];
    uint32_t count[2];
    unsigned char block[64];
    unsigned char digest[16];
    bool finalized;
};

namespace {

const char kLowerDigits[] = "0123456789abcdef";

inline uint32_t rotl(uint32_t v, int s) { return (v << s) | (v >> (32 - s)); }

inline uint32_t loadLe32(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

inline void storeLe32(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
    p[2] = static_cast<unsigned char>(v >> 16);
    p[3] = static_cast<unsigned char>(v >> 24);
}

#define KERNA_MD5_F(x, y, z) ((z) ^ ((x) & ((y) ^ (z))))
#define KERNA_MD5_G(x, y, z) ((y) ^ ((z) & ((x) ^ (y))))
#define KERNA_MD5_H(x, y, z) ((x) ^ (y) ^ (z))
#define KERNA_MD5_I(x, y, z) ((y) ^ ((x) | ~(z)))
#define KERNA_MD5_STEP(f, a, b, c, d, x, t, s) \
    (a) += f((b), (c), (d)) + (x) + (t);       \
    (a) = rotl((a), (s));                      \
    (a) += (b)

void md5Blocks(uint32_t state[4], const unsigned char* data, size_t blocks) {
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
    for (; blocks != 0; --blocks, data += 64) {
        uint32_t x[16];
        for (int i = 0; i < 16; ++i) x[i] = loadLe32(data + 4 * i);
        const uint32_t a0 = a, b0 = b, c0 = c, d0 = d;

        KERNA_MD5_STEP(KERNA_MD5_F, a, b, c, d, x[0], 0xd76aa478u, 7);
        KERNA_MD5_STEP(KERNA_MD5_F, d, a, b, c, x[1], 0xe8c7b756u, 12);
        KERNA_MD5_STEP(KERNA_MD5_F, c, d, a, b, x[2], 0x242070dbu, 17);
        KERNA_MD5_STEP(KERNA_MD5_F, b, c, d, a, x[3], 0xc1bdceeeu, 22);
        KERNA_MD5_STEP(KERNA_MD5_F, a, b, c, d, x[4], 0xf57c0fafu, 7);
        KERNA_MD5_STEP(KERNA_MD5_F, d, a, b, c, x[5], 0x4787c62au, 12);
        KERNA_MD5_STEP(KERNA_MD5_F, c, d, a, b, x[6], 0xa8304613u, 17);
        KERNA_MD5_STEP(KERNA_MD5_F, b, c, d, a, x[7], 0xfd469501u, 22);
        KERNA_MD5_STEP(KERNA_MD5_F, a, b, c, d, x[8], 0x698098d8u, 7);
        KERNA_MD5_STEP(KERNA_MD5_F, d, a, b, c, x[9], 0x8b44f7afu, 12);
        KERNA_MD5_STEP(KERNA_MD5_F, c, d, a, b, x[10], 0xffff5bb1u, 17);
        KERNA_MD5_STEP(KERNA_MD5_F, b, c, d, a, x[11], 0x895cd7beu, 22);
        KERNA_MD5_STEP(KERNA_MD5_F, a, b, c, d, x[12], 0x6b901122u, 7);
        KERNA_MD5_STEP(KERNA_MD5_F, d, a, b, c, x[13], 0xfd987193u, 12);
        KERNA_MD5_STEP(KERNA_MD5_F, c, d, a, b, x[14], 0xa679438eu, 17);
        KERNA_MD5_STEP(KERNA_MD5_F, b, c, d, a, x[15], 0x49b40821u, 22);

        KERNA_MD5_STEP(KERNA_MD5_G, a, b, c, d, x[1], 0xf61e2562u, 5);
        KERNA_MD5_STEP(KERNA_MD5_G, d, a, b, c, x[6], 0xc040b340u, 9);
        KERNA_MD5_STEP(KERNA_MD5_G, c, d, a, b, x[11], 0x265e5a51u, 14);
        KERNA_MD5_STEP(KERNA_MD5_G, b, c, d, a, x[0], 0xe9b6c7aau, 20);
        KERNA_MD5_STEP(KERNA_MD5_G, a, b, c, d, x[5], 0xd62f105du, 5);
        KERNA_MD5_STEP(KERNA_MD5_G, d, a, b, c, x[10], 0x02441453u, 9);
        KERNA_MD5_STEP(KERNA_MD5_G, c, d, a, b, x[15], 0xd8a1e681u, 14);
        KERNA_MD5_STEP(KERNA_MD5_G, b, c, d, a, x[4], 0xe7d3fbc8u, 20);
        KERNA_MD5_STEP(KERNA_MD5_G, a, b, c, d, x[9], 0x21e1cde6u, 5);
        KERNA_MD5_STEP(KERNA_MD5_G, d, a, b, c, x[14], 0xc33707d6u, 9);
        KERNA_MD5_STEP(KERNA_MD5_G, c, d, a, b, x[3], 0xf4d50d87u, 14);
        KERNA_MD5_STEP(KERNA_MD5_G, b, c, d, a, x[8], 0x455a14edu, 20);
        KERNA_MD5_STEP(KERNA_MD5_G, a, b, c, d, x[13], 0xa9e3e905u, 5);
        KERNA_MD5_STEP(KERNA_MD5_G, d, a, b, c, x[2], 0xfcefa3f8u, 9);
        KERNA_MD5_STEP(KERNA_MD5_G, c, d, a, b, x[7], 0x676f02d9u, 14);
        KERNA_MD5_STEP(KERNA_MD5_G, b, c, d, a, x[12], 0x8d2a4c8au, 20);

        KERNA_MD5_STEP(KERNA_MD5_H, a, b, c, d, x[5], 0xfffa3942u, 4);
        KERNA_MD5_STEP(KERNA_MD5_H, d, a, b, c, x[8], 0x8771f681u, 11);
        KERNA_MD5_STEP(KERNA_MD5_H, c, d, a, b, x[11], 0x6d9d6122u, 16);
        KERNA_MD5_STEP(KERNA_MD5_H, b, c, d, a, x[14], 0xfde5380cu, 23);
        KERNA_MD5_STEP(KERNA_MD5_H, a, b, c, d, x[1], 0xa4beea44u, 4);
        KERNA_MD5_STEP(KERNA_MD5_H, d, a, b, c, x[4], 0x4bdecfa9u, 11);
        KERNA_MD5_STEP(KERNA_MD5_H, c, d, a, b, x[7], 0xf6bb4b60u, 16);
        KERNA_MD5_STEP(KERNA_MD5_H, b, c, d, a, x[10], 0xbebfbc70u, 23);
        KERNA_MD5_STEP(KERNA_MD5_H, a, b, c, d, x[13], 0x289b7ec6u, 4);
        KERNA_MD5_STEP(KERNA_MD5_H, d, a, b, c, x[0], 0xeaa127fau, 11);
        KERNA_MD5_STEP(KERNA_MD5_H, c, d, a, b, x[3], 0xd4ef3085u, 16);
        KERNA_MD5_STEP(KERNA_MD5_H, b, c, d, a, x[6], 0x04881d05u, 23);
        KERNA_MD5_STEP(KERNA_MD5_H, a, b, c, d, x[9], 0xd9d4d039u, 4);
        KERNA_MD5_STEP(KERNA_MD5_H, d, a, b, c, x[12], 0xe6db99e5u, 11);
        KERNA_MD5_STEP(KERNA_MD5_H, c, d, a, b, x[15], 0x1fa27cf8u, 16);
        KERNA_MD5_STEP(KERNA_MD5_H, b, c, d, a, x[2], 0xc4ac5665u, 23);

        KERNA_MD5_STEP(KERNA_MD5_I, a, b, c, d, x[0], 0xf4292244u, 6);
        KERNA_MD5_STEP(KERNA_MD5_I, d, a, b, c, x[7], 0x432aff97u, 10);
        KERNA_MD5_STEP(KERNA_MD5_I, c, d, a, b, x[14], 0xab9423a7u, 15);
        KERNA_MD5_STEP(KERNA_MD5_I, b, c, d, a, x[5], 0xfc93a039u, 21);
        KERNA_MD5_STEP(KERNA_MD5_I, a, b, c, d, x[12], 0x655b59c3u, 6);
        KERNA_MD5_STEP(KERNA_MD5_I, d, a, b, c, x[3], 0x8f0ccc92u, 10);
        KERNA_MD5_STEP(KERNA_MD5_I, c, d, a, b, x[10], 0xffeff47du, 15);
        KERNA_MD5_STEP(KERNA_MD5_I, b, c, d, a, x[1], 0x85845dd1u, 21);
        KERNA_MD5_STEP(KERNA_MD5_I, a, b, c, d, x[8], 0x6fa87e4fu, 6);
        KERNA_MD5_STEP(KERNA_MD5_I, d, a, b, c, x[15], 0xfe2ce6e0u, 10);
        KERNA_MD5_STEP(KERNA_MD5_I, c, d, a, b, x[6], 0xa3014314u, 15);
        KERNA_MD5_STEP(KERNA_MD5_I, b, c, d, a, x[13], 0x4e0811a1u, 21);
        KERNA_MD5_STEP(KERNA_MD5_I, a, b, c, d, x[4], 0xf7537e82u, 6);
        KERNA_MD5_STEP(KERNA_MD5_I, d, a, b, c, x[11], 0xbd3af235u, 10);
        KERNA_MD5_STEP(KERNA_MD5_I, c, d, a, b, x[2], 0x2ad7d2bbu, 15);
        KERNA_MD5_STEP(KERNA_MD5_I, b, c, d, a, x[9], 0xeb86d391u, 21);

        a += a0;
        b += b0;
        c += c0;
        d += d0;
    }
    state[0] = a;
    state[1] = b;
    state[2] = c;
    state[3] = d;
}

#undef KERNA_MD5_F
#undef KERNA_MD5_G
#undef KERNA_MD5_H
#undef KERNA_MD5_I
#undef KERNA_MD5_STEP

void resetMessage(Md5Internal& r) {
    r.state[0] = 0x67452301u;
    r.state[1] = 0xefcdab89u;
    r.state[2] = 0x98badcfeu;
    r.state[3] = 0x10325476u;
    r.count[0] = 0;
    r.count[1] = 0;
    std::memset(r.digest, 0, sizeof r.digest);
    r.finalized = false;
}

// Adds input to an open message.
void absorb(Md5Internal& r, const unsigned char* data, uint32_t length) {
    const uint32_t index = (r.count[0] >> 3) & 63;
    const uint32_t bits = length << 3;
    r.count[0] += bits;
    if (r.count[0] < bits) ++r.count[1];
    r.count[1] += length >> 29;

    uint32_t used = 0;
    const uint32_t room = 64 - index;
    if (length >= room) {
        std::memcpy(r.block + index, data, room);
        md5Blocks(r.state, r.block, 1);
        used = room;
        const uint32_t whole = (length - used) / 64;
        md5Blocks(r.state, data + used, whole);
        used += whole * 64;
        std::memcpy(r.block, data + used, length - used);
    } else {
        std::memcpy(r.block + index, data, length);
    }
}

void finish(Md5Internal& r) {
    if (r.finalized) return;
    unsigned char bits[8];
    storeLe32(bits, r.count[0]);
    storeLe32(bits + 4, r.count[1]);
    static const unsigned char kPadding[64] = {0x80};
    const uint32_t index = (r.count[0] >> 3) & 63;
    absorb(r, kPadding, index < 56 ? 56 - index : 120 - index);
    absorb(r, bits, 8);
    for (int i = 0; i < 4; ++i) storeLe32(r.digest + 4 * i, r.state[i]);
    // The working values are no longer needed; nothing of the message stays behind them.
    std::memset(r.state, 0, sizeof r.state);
    std::memset(r.count, 0, sizeof r.count);
    std::memset(r.block, 0, sizeof r.block);
    r.finalized = true;
}

}  // namespace

CMd5::CMd5() : m_internal(new (std::nothrow) Md5Internal()) {
    if (m_internal == nullptr) {
        KERNA_LOG(2, "this:%p out of memory\n", static_cast<void*>(this));
        return;
    }
    resetMessage(*m_internal);
}

CMd5::~CMd5() { delete m_internal; }

void CMd5::init() {
    if (m_internal == nullptr) {
        KERNA_LOG(2, "this:%p m_internal is NULL\n", static_cast<void*>(this));
        return;
    }
    resetMessage(*m_internal);
}

void CMd5::update(const unsigned char* data, size_t length) {
    if (data == nullptr || length == 0) return;
    if (m_internal == nullptr) {
        KERNA_LOG(2, "this:%p m_internal is NULL\n", static_cast<void*>(this));
        return;
    }
    if (length > 0xFFFFFFFFu) {
        KERNA_LOG(2, "this:%p length:%zu is too long\n", static_cast<void*>(this), length);
        return;
    }
    if (m_internal->finalized) resetMessage(*m_internal);
    absorb(*m_internal, data, static_cast<uint32_t>(length));
}

void CMd5::final(unsigned char* digest) {
    if (digest == nullptr) {
        KERNA_LOG(2, "digest is NULL\n");
        return;
    }
    if (m_internal == nullptr) {
        KERNA_LOG(2, "this:%p m_internal is NULL\n", static_cast<void*>(this));
        return;
    }
    finish(*m_internal);
    std::memcpy(digest, m_internal->digest, sizeof m_internal->digest);
}

void CMd5::hex(char* hash) {
    if (hash == nullptr) {
        KERNA_LOG(2, "hash is NULL\n");
        return;
    }
    if (m_internal == nullptr) {
        KERNA_LOG(2, "this:%p m_internal is NULL\n", static_cast<void*>(this));
        return;
    }
    finish(*m_internal);
    for (int i = 0; i < 16; ++i) {
        hash[2 * i] = kLowerDigits[m_internal->digest[i] >> 4];
        hash[2 * i + 1] = kLowerDigits[m_internal->digest[i] & 0x0F];
    }
}

}  // namespace Utils
}  // namespace Tessaran

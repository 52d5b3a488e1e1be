// AesCore.cpp
//
// Table-driven AES. The S-box, its inverse and the eight round tables are computed at compile
// time from the field arithmetic of GF(2^8): Te0[x] is the column (2*S[x], S[x], S[x], 3*S[x])
// as a big-endian word and Td0[x] the column (14, 9, 13, 11)*InvS[x]; Te1..Te3 and Td1..Td3 are
// the same words rotated by 8, 16 and 24 bits. One round of a column is then four look-ups and
// four XORs.
#include "utils/AesCore.h"

#include <cstring>

#include "utils/Accel.h"

namespace Tessaran {
namespace Utils {
namespace Detail {

namespace {

constexpr uint8_t xtime(uint8_t x) { return static_cast<uint8_t>((x << 1) ^ ((x & 0x80) ? 0x1B : 0)); }

constexpr uint8_t gmul(uint8_t a, uint8_t b) {
    uint8_t r = 0;
    while (b != 0) {
        if (b & 1) r ^= a;
        a = xtime(a);
        b >>= 1;
    }
    return r;
}

constexpr uint8_t rotl8(uint8_t x, int s) { return static_cast<uint8_t>((x << s) | (x >> (8 - s))); }

constexpr uint32_t rotr32(uint32_t x, int s) { return (x >> s) | (x << (32 - s)); }

struct AesTables {
    uint8_t sbox[256];
    uint8_t inverseSbox[256];
    uint32_t te[4][256];
    uint32_t td[4][256];
};

constexpr AesTables makeAesTables() {
    AesTables t = {};
    // Walk the multiplicative group with generator 3: p runs through 3^k and q through 3^-k, so
    // q is the inverse of p; the affine map of the S-box is applied to q.
    uint8_t p = 1, q = 1;
    do {
        p = static_cast<uint8_t>(p ^ (p << 1) ^ ((p & 0x80) ? 0x1B : 0));
        q = static_cast<uint8_t>(q ^ (q << 1));
        q = static_cast<uint8_t>(q ^ (q << 2));
        q = static_cast<uint8_t>(q ^ (q << 4));
        if (q & 0x80) q ^= 0x09;
        const uint8_t x = static_cast<uint8_t>(q ^ rotl8(q, 1) ^ rotl8(q, 2) ^ rotl8(q, 3) ^ rotl8(q, 4));
        t.sbox[p] = static_cast<uint8_t>(x ^ 0x63);
    } while (p != 1);
    t.sbox[0] = 0x63;
    for (int i = 0; i < 256; ++i) t.inverseSbox[t.sbox[i]] = static_cast<uint8_t>(i);
    for (int i = 0; i < 256; ++i) {
        const uint8_t s = t.sbox[i];
        const uint32_t e = (static_cast<uint32_t>(gmul(s, 2)) << 24) | (static_cast<uint32_t>(s) << 16) |
                           (static_cast<uint32_t>(s) << 8) | gmul(s, 3);
        const uint8_t v = t.inverseSbox[i];
        const uint32_t d = (static_cast<uint32_t>(gmul(v, 14)) << 24) |
                           (static_cast<uint32_t>(gmul(v, 9)) << 16) |
                           (static_cast<uint32_t>(gmul(v, 13)) << 8) | gmul(v, 11);
        for (int k = 0; k < 4; ++k) {
            t.te[k][i] = k == 0 ? e : rotr32(e, 8 * k);
            t.td[k][i] = k == 0 ? d : rotr32(d, 8 * k);
        }
    }
    return t;
}

constexpr AesTables kAes = makeAesTables();

constexpr uint32_t kRcon[10] = {0x01000000u, 0x02000000u, 0x04000000u, 0x08000000u, 0x10000000u,
                                0x20000000u, 0x40000000u, 0x80000000u, 0x1B000000u, 0x36000000u};

inline uint32_t loadBe32(const unsigned char* p) {
    return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
           (static_cast<uint32_t>(p[2]) << 8) | static_cast<uint32_t>(p[3]);
}

inline void storeBe32(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v >> 24);
    p[1] = static_cast<unsigned char>(v >> 16);
    p[2] = static_cast<unsigned char>(v >> 8);
    p[3] = static_cast<unsigned char>(v);
}

inline uint32_t subWord(uint32_t w) {
    return (static_cast<uint32_t>(kAes.sbox[w >> 24]) << 24) |
           (static_cast<uint32_t>(kAes.sbox[(w >> 16) & 0xFF]) << 16) |
           (static_cast<uint32_t>(kAes.sbox[(w >> 8) & 0xFF]) << 8) | kAes.sbox[w & 0xFF];
}

void fillBytes(AesSchedule& s) {
    for (int i = 0; i < 4 * (s.rounds + 1); ++i) storeBe32(s.bytes + 4 * i, s.words[i]);
}

}  // namespace

bool aesSetEncryptKey(const unsigned char* key, int bits, AesSchedule& s) {
    secureZero(&s, sizeof s);
    if (key == nullptr || (bits != 128 && bits != 192 && bits != 256)) return false;
    const int nk = bits / 32;
    s.rounds = nk + 6;
    const int total = 4 * (s.rounds + 1);
    for (int i = 0; i < nk; ++i) s.words[i] = loadBe32(key + 4 * i);
    for (int i = nk; i < total; ++i) {
        uint32_t temp = s.words[i - 1];
        if (i % nk == 0)
            temp = subWord((temp << 8) | (temp >> 24)) ^ kRcon[i / nk - 1];
        else if (nk > 6 && i % nk == 4)
            temp = subWord(temp);
        s.words[i] = s.words[i - nk] ^ temp;
    }
    fillBytes(s);
    return true;
}

void aesMakeDecryptKey(const AesSchedule& e, AesSchedule& d) {
    secureZero(&d, sizeof d);
    d.rounds = e.rounds;
    const int nr = e.rounds;
    for (int j = 0; j < 4; ++j) {
        d.words[j] = e.words[4 * nr + j];
        d.words[4 * nr + j] = e.words[j];
    }
    for (int r = 1; r < nr; ++r) {
        for (int j = 0; j < 4; ++j) {
            const uint32_t w = e.words[4 * (nr - r) + j];
            d.words[4 * r + j] = kAes.td[0][kAes.sbox[w >> 24]] ^ kAes.td[1][kAes.sbox[(w >> 16) & 0xFF]] ^
                                 kAes.td[2][kAes.sbox[(w >> 8) & 0xFF]] ^ kAes.td[3][kAes.sbox[w & 0xFF]];
        }
    }
    fillBytes(d);
}

void aesEncryptBlock(const AesSchedule& k, const unsigned char* in, unsigned char* out) {
    const uint32_t* rk = k.words;
    uint32_t s0 = loadBe32(in) ^ rk[0];
    uint32_t s1 = loadBe32(in + 4) ^ rk[1];
    uint32_t s2 = loadBe32(in + 8) ^ rk[2];
    uint32_t s3 = loadBe32(in + 12) ^ rk[3];
    const auto& te = kAes.te;
    for (int r = 1; r < k.rounds; ++r) {
        rk += 4;
        const uint32_t t0 = te[0][s0 >> 24] ^ te[1][(s1 >> 16) & 0xFF] ^ te[2][(s2 >> 8) & 0xFF] ^ te[3][s3 & 0xFF] ^ rk[0];
        const uint32_t t1 = te[0][s1 >> 24] ^ te[1][(s2 >> 16) & 0xFF] ^ te[2][(s3 >> 8) & 0xFF] ^ te[3][s0 & 0xFF] ^ rk[1];
        const uint32_t t2 = te[0][s2 >> 24] ^ te[1][(s3 >> 16) & 0xFF] ^ te[2][(s0 >> 8) & 0xFF] ^ te[3][s1 & 0xFF] ^ rk[2];
        const uint32_t t3 = te[0][s3 >> 24] ^ te[1][(s0 >> 16) & 0xFF] ^ te[2][(s1 >> 8) & 0xFF] ^ te[3][s2 & 0xFF] ^ rk[3];
        s0 = t0;
        s1 = t1;
        s2 = t2;
        s3 = t3;
    }
    rk += 4;
    const uint8_t* sb = kAes.sbox;
    storeBe32(out, ((static_cast<uint32_t>(sb[s0 >> 24]) << 24) | (static_cast<uint32_t>(sb[(s1 >> 16) & 0xFF]) << 16) |
                    (static_cast<uint32_t>(sb[(s2 >> 8) & 0xFF]) << 8) | sb[s3 & 0xFF]) ^ rk[0]);
    storeBe32(out + 4, ((static_cast<uint32_t>(sb[s1 >> 24]) << 24) | (static_cast<uint32_t>(sb[(s2 >> 16) & 0xFF]) << 16) |
                        (static_cast<uint32_t>(sb[(s3 >> 8) & 0xFF]) << 8) | sb[s0 & 0xFF]) ^ rk[1]);
    storeBe32(out + 8, ((static_cast<uint32_t>(sb[s2 >> 24]) << 24) | (static_cast<uint32_t>(sb[(s3 >> 16) & 0xFF]) << 16) |
                        (static_cast<uint32_t>(sb[(s0 >> 8) & 0xFF]) << 8) | sb[s1 & 0xFF]) ^ rk[2]);
    storeBe32(out + 12, ((static_cast<uint32_t>(sb[s3 >> 24]) << 24) | (static_cast<uint32_t>(sb[(s0 >> 16) & 0xFF]) << 16) |
                         (static_cast<uint32_t>(sb[(s1 >> 8) & 0xFF]) << 8) | sb[s2 & 0xFF]) ^ rk[3]);
}

void aesDecryptBlock(const AesSchedule& k, const unsigned char* in, unsigned char* out) {
    const uint32_t* rk = k.words;
    uint32_t s0 = loadBe32(in) ^ rk[0];
    uint32_t s1 = loadBe32(in + 4) ^ rk[1];
    uint32_t s2 = loadBe32(in + 8) ^ rk[2];
    uint32_t s3 = loadBe32(in + 12) ^ rk[3];
    const auto& td = kAes.td;
    for (int r = 1; r < k.rounds; ++r) {
        rk += 4;
        const uint32_t t0 = td[0][s0 >> 24] ^ td[1][(s3 >> 16) & 0xFF] ^ td[2][(s2 >> 8) & 0xFF] ^ td[3][s1 & 0xFF] ^ rk[0];
        const uint32_t t1 = td[0][s1 >> 24] ^ td[1][(s0 >> 16) & 0xFF] ^ td[2][(s3 >> 8) & 0xFF] ^ td[3][s2 & 0xFF] ^ rk[1];
        const uint32_t t2 = td[0][s2 >> 24] ^ td[1][(s1 >> 16) & 0xFF] ^ td[2][(s0 >> 8) & 0xFF] ^ td[3][s3 & 0xFF] ^ rk[2];
        const uint32_t t3 = td[0][s3 >> 24] ^ td[1][(s2 >> 16) & 0xFF] ^ td[2][(s1 >> 8) & 0xFF] ^ td[3][s0 & 0xFF] ^ rk[3];
        s0 = t0;
        s1 = t1;
        s2 = t2;
        s3 = t3;
    }
    rk += 4;
    const uint8_t* ib = kAes.inverseSbox;
    storeBe32(out, ((static_cast<uint32_t>(ib[s0 >> 24]) << 24) | (static_cast<uint32_t>(ib[(s3 >> 16) & 0xFF]) << 16) |
                    (static_cast<uint32_t>(ib[(s2 >> 8) & 0xFF]) << 8) | ib[s1 & 0xFF]) ^ rk[0]);
    storeBe32(out + 4, ((static_cast<uint32_t>(ib[s1 >> 24]) << 24) | (static_cast<uint32_t>(ib[(s0 >> 16) & 0xFF]) << 16) |
                        (static_cast<uint32_t>(ib[(s3 >> 8) & 0xFF]) << 8) | ib[s2 & 0xFF]) ^ rk[1]);
    storeBe32(out + 8, ((static_cast<uint32_t>(ib[s2 >> 24]) << 24) | (static_cast<uint32_t>(ib[(s1 >> 16) & 0xFF]) << 16) |
                        (static_cast<uint32_t>(ib[(s0 >> 8) & 0xFF]) << 8) | ib[s3 & 0xFF]) ^ rk[2]);
    storeBe32(out + 12, ((static_cast<uint32_t>(ib[s3 >> 24]) << 24) | (static_cast<uint32_t>(ib[(s2 >> 16) & 0xFF]) << 16) |
                         (static_cast<uint32_t>(ib[(s1 >> 8) & 0xFF]) << 8) | ib[s0 & 0xFF]) ^ rk[3]);
}

void aesIncrementCounter(unsigned char* counter) {
    for (int i = 15; i >= 0; --i) {
        if (++counter[i] != 0) break;
    }
}

}  // namespace Detail
}  // namespace Utils
}  // namespace Tessaran

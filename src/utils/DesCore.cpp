// DesCore.cpp
//
// DES with its tables computed at compile time from the standard's permutations and S-boxes.
// IP and FP go through eight 256-entry tables each (one per input byte). The round works on the
// right half rotated right by 1 and by 5 bits, which brings the eight 6-bit groups of the
// expansion E to the shifts 26, 18, 10 and 2 of two words; each group indexes a table that holds
// its S-box output already permuted by P. The round keys are packed to match: the even groups in
// the first word, the odd groups in the second.
#include "utils/DesCore.h"

namespace Tessaran {
namespace Utils {
namespace Detail {

namespace {

constexpr unsigned char kIp[64] = {58, 50, 42, 34, 26, 18, 10, 2,  60, 52, 44, 36, 28, 20, 12, 4,
                                   62, 54, 46, 38, 30, 22, 14, 6,  64, 56, 48, 40, 32, 24, 16, 8,
                                   57, 49, 41, 33, 25, 17, 9,  1,  59, 51, 43, 35, 27, 19, 11, 3,
                                   61, 53, 45, 37, 29, 21, 13, 5,  63, 55, 47, 39, 31, 23, 15, 7};

constexpr unsigned char kP[32] = {16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10,
                                  2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25};

constexpr unsigned char kPc1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                                    10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                                    63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                                    14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};

constexpr unsigned char kPc2[48] = {14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10,
                                    23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,
                                    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48,
                                    44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};

constexpr unsigned char kShifts[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

constexpr unsigned char kSbox[8][64] = {
    {14, 4,  13, 1, 2,  15, 11, 8,  3,  10, 6,  12, 5,  9,  0, 7,  0, 15, 7,  4,  14, 2,
     13, 1,  10, 6, 12, 11, 9,  5,  3,  8,  4,  1,  14, 8,  13, 6, 2,  11, 15, 12, 9,  7,
     3,  10, 5,  0, 15, 12, 8,  2,  4,  9,  1,  7,  5,  11, 3,  14, 10, 0, 6,  13},
    {15, 1,  8,  14, 6,  11, 3,  4,  9,  7, 2,  13, 12, 0, 5,  10, 3, 13, 4,  7, 15, 2,
     8,  14, 12, 0,  1,  10, 6,  9,  11, 5, 0,  14, 7,  11, 10, 4, 13, 1,  5, 8,  12, 6,
     9,  3,  2,  15, 13, 8,  10, 1,  3,  15, 4, 2,  11, 6,  7,  12, 0,  5,  14, 9},
    {10, 0,  9,  14, 6, 3,  15, 5,  1,  13, 12, 7,  11, 4,  2,  8,  13, 7, 0,  9,  3,  4,
     6,  10, 2,  8,  5, 14, 12, 11, 15, 1,  13, 6,  4,  9,  8,  15, 3,  0, 11, 1,  2,  12,
     5,  10, 14, 7,  1, 10, 13, 0,  6,  9,  8,  7,  4,  15, 14, 3,  11, 5, 2,  12},
    {7,  13, 14, 3, 0,  6,  9,  10, 1,  2, 8, 5,  11, 12, 4,  15, 13, 8,  11, 5, 6,  15,
     0,  3,  4,  7, 2,  12, 1,  10, 14, 9, 10, 6, 9,  0,  12, 11, 7,  13, 15, 1, 3,  14,
     5,  2,  8,  4, 3,  15, 0,  6,  10, 1, 13, 8, 9,  4,  5,  11, 12, 7,  2,  14},
    {2,  12, 4,  1,  7,  10, 11, 6,  8,  5,  3,  15, 13, 0, 14, 9,  14, 11, 2,  12, 4,  7,
     13, 1,  5,  0,  15, 10, 3,  9,  8,  6,  4,  2,  1,  11, 10, 13, 7,  8, 15, 9,  12, 5,
     6,  3,  0,  14, 11, 8,  12, 7,  1,  14, 2,  13, 6,  15, 0,  9,  10, 4, 5,  3},
    {12, 1,  10, 15, 9, 2,  6,  8,  0,  13, 3,  4,  14, 7,  5,  11, 10, 15, 4,  2,  7,  12,
     9,  5,  6,  1,  13, 14, 0,  11, 3,  8,  9,  14, 15, 5,  2,  8,  12, 3,  7,  0,  4,  10,
     1,  13, 11, 6,  4,  3,  2,  12, 9,  5,  15, 10, 11, 14, 1,  7,  6,  0,  8,  13},
    {4,  11, 2,  14, 15, 0,  8,  13, 3,  12, 9, 7,  5,  10, 6, 1,  13, 0,  11, 7,  4,  9,
     1,  10, 14, 3,  5,  12, 2,  15, 8,  6,  1, 4,  11, 13, 12, 3, 7,  14, 10, 15, 6,  8,
     0,  5,  9,  2,  6,  11, 13, 8,  1,  4,  10, 7, 9,  5,  0,  15, 14, 2,  3,  12},
    {13, 2,  8,  4,  6,  15, 11, 1,  10, 9,  3,  14, 5,  0,  12, 7,  1,  15, 13, 8,  10, 3,
     7,  4,  12, 5,  6,  11, 0,  14, 9,  2,  7,  11, 4,  1,  9,  12, 14, 2,  0,  6,  10, 13,
     15, 3,  5,  8,  2,  1,  14, 7,  4,  10, 8,  13, 15, 12, 9,  0,  3,  5,  6,  11}};

struct DesTables {
    uint64_t ip[8][256];
    uint64_t fp[8][256];
    uint32_t sp[8][64];
};

// Bit `k` (1 = most significant) of a 64-bit word.
constexpr uint64_t bit64(int k) { return 1ULL << (64 - k); }

constexpr DesTables makeDesTables() {
    DesTables t = {};
    unsigned char fp[64] = {};
    for (int k = 0; k < 64; ++k) fp[kIp[k] - 1] = static_cast<unsigned char>(k + 1);
    for (int b = 0; b < 8; ++b) {
        for (int v = 0; v < 256; ++v) {
            const uint64_t x = static_cast<uint64_t>(v) << (56 - 8 * b);
            uint64_t ip = 0, inverse = 0;
            for (int k = 1; k <= 64; ++k) {
                if (x & bit64(kIp[k - 1])) ip |= bit64(k);
                if (x & bit64(fp[k - 1])) inverse |= bit64(k);
            }
            t.ip[b][v] = ip;
            t.fp[b][v] = inverse;
        }
    }
    for (int s = 0; s < 8; ++s) {
        for (int v = 0; v < 64; ++v) {
            const int row = ((v >> 4) & 2) | (v & 1);
            const int column = (v >> 1) & 15;
            const uint32_t raw = static_cast<uint32_t>(kSbox[s][16 * row + column]) << (28 - 4 * s);
            uint32_t permuted = 0;
            for (int k = 1; k <= 32; ++k) {
                if (raw & (1u << (32 - kP[k - 1]))) permuted |= 1u << (32 - k);
            }
            t.sp[s][v] = permuted;
        }
    }
    return t;
}

constexpr DesTables kDes = makeDesTables();

inline uint32_t rotr(uint32_t v, int s) { return (v >> s) | (v << (32 - s)); }

inline uint64_t permute(const uint64_t (&table)[8][256], uint64_t x) {
    return table[0][x >> 56] | table[1][(x >> 48) & 0xFF] | table[2][(x >> 40) & 0xFF] |
           table[3][(x >> 32) & 0xFF] | table[4][(x >> 24) & 0xFF] | table[5][(x >> 16) & 0xFF] |
           table[6][(x >> 8) & 0xFF] | table[7][x & 0xFF];
}

inline uint32_t feistel(uint32_t r, uint32_t keyEven, uint32_t keyOdd) {
    const uint32_t a = rotr(r, 1) ^ keyEven;
    const uint32_t b = rotr(r, 5) ^ keyOdd;
    return kDes.sp[0][(a >> 26) & 63] | kDes.sp[2][(a >> 18) & 63] | kDes.sp[4][(a >> 10) & 63] |
           kDes.sp[6][(a >> 2) & 63] | kDes.sp[7][(b >> 26) & 63] | kDes.sp[1][(b >> 18) & 63] |
           kDes.sp[3][(b >> 10) & 63] | kDes.sp[5][(b >> 2) & 63];
}

}  // namespace

void desSetKey(const unsigned char* key, bool decrypt, DesSchedule& schedule) {
    uint64_t k = 0;
    for (int i = 0; i < 8; ++i) k = (k << 8) | key[i];
    // C and D, 28 bits each, in the low bits of two words.
    uint32_t c = 0, d = 0;
    for (int i = 0; i < 28; ++i) {
        c = (c << 1) | static_cast<uint32_t>((k >> (64 - kPc1[i])) & 1);
        d = (d << 1) | static_cast<uint32_t>((k >> (64 - kPc1[28 + i])) & 1);
    }
    for (int round = 0; round < 16; ++round) {
        const int s = kShifts[round];
        c = ((c << s) | (c >> (28 - s))) & 0x0FFFFFFFu;
        d = ((d << s) | (d >> (28 - s))) & 0x0FFFFFFFu;
        const uint64_t cd = (static_cast<uint64_t>(c) << 28) | d;
        uint32_t groups[8] = {};
        for (int j = 0; j < 48; ++j) {
            const uint32_t bit = static_cast<uint32_t>((cd >> (56 - kPc2[j])) & 1);
            groups[j / 6] = (groups[j / 6] << 1) | bit;
        }
        const uint32_t even = (groups[0] << 26) | (groups[2] << 18) | (groups[4] << 10) | (groups[6] << 2);
        const uint32_t odd = (groups[7] << 26) | (groups[1] << 18) | (groups[3] << 10) | (groups[5] << 2);
        const int slot = decrypt ? 15 - round : round;
        schedule.k[2 * slot] = even;
        schedule.k[2 * slot + 1] = odd;
    }
}

void desInitialPermutation(const unsigned char* in, uint32_t& left, uint32_t& right) {
    uint64_t x = 0;
    for (int i = 0; i < 8; ++i) x = (x << 8) | in[i];
    const uint64_t y = permute(kDes.ip, x);
    left = static_cast<uint32_t>(y >> 32);
    right = static_cast<uint32_t>(y);
}

void desFinalPermutation(uint32_t left, uint32_t right, unsigned char* out) {
    const uint64_t y = permute(kDes.fp, (static_cast<uint64_t>(left) << 32) | right);
    for (int i = 0; i < 8; ++i) out[i] = static_cast<unsigned char>(y >> (56 - 8 * i));
}

void desRounds(const DesSchedule& schedule, uint32_t& left, uint32_t& right) {
    uint32_t l = left, r = right;
    const uint32_t* k = schedule.k;
    for (int round = 0; round < 16; round += 2, k += 4) {
        l ^= feistel(r, k[0], k[1]);
        r ^= feistel(l, k[2], k[3]);
    }
    left = r;
    right = l;
}

void desBlock(const DesSchedule& schedule, const unsigned char* in, unsigned char* out) {
    uint32_t l, r;
    desInitialPermutation(in, l, r);
    desRounds(schedule, l, r);
    desFinalPermutation(l, r, out);
}

}  // namespace Detail
}  // namespace Utils
}  // namespace Tessaran

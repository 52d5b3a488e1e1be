// AesNi.cpp
//
// AES on the CPU's AES instructions, over the byte round keys of AesSchedule. Modes whose blocks
// are independent (ECB, CBC decryption, CTR) run eight blocks at once to hide the latency of
// aesenc; CBC encryption chains block by block.
#include <immintrin.h>

#include <cstring>

#include "utils/AesCore.h"

namespace Tessaran {
namespace Utils {
namespace Detail {

namespace {

#define KERNA_AESNI_FN __attribute__((target("aes,sse4.1,ssse3")))
#define KERNA_AESNI_INLINE __attribute__((target("aes,sse4.1,ssse3"), always_inline)) inline

constexpr int kLanes = 8;

KERNA_AESNI_INLINE __m128i load(const unsigned char* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

KERNA_AESNI_INLINE void store(unsigned char* p, __m128i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

KERNA_AESNI_INLINE __m128i encryptOne(const __m128i* rk, int rounds, __m128i b) {
    b = _mm_xor_si128(b, rk[0]);
    for (int r = 1; r < rounds; ++r) b = _mm_aesenc_si128(b, rk[r]);
    return _mm_aesenclast_si128(b, rk[rounds]);
}

KERNA_AESNI_INLINE __m128i decryptOne(const __m128i* rk, int rounds, __m128i b) {
    b = _mm_xor_si128(b, rk[0]);
    for (int r = 1; r < rounds; ++r) b = _mm_aesdec_si128(b, rk[r]);
    return _mm_aesdeclast_si128(b, rk[rounds]);
}

KERNA_AESNI_INLINE void encryptLanes(const __m128i* rk, int rounds, __m128i (&b)[kLanes]) {
    for (int i = 0; i < kLanes; ++i) b[i] = _mm_xor_si128(b[i], rk[0]);
    for (int r = 1; r < rounds; ++r) {
        const __m128i key = rk[r];
        for (int i = 0; i < kLanes; ++i) b[i] = _mm_aesenc_si128(b[i], key);
    }
    for (int i = 0; i < kLanes; ++i) b[i] = _mm_aesenclast_si128(b[i], rk[rounds]);
}

KERNA_AESNI_INLINE void decryptLanes(const __m128i* rk, int rounds, __m128i (&b)[kLanes]) {
    for (int i = 0; i < kLanes; ++i) b[i] = _mm_xor_si128(b[i], rk[0]);
    for (int r = 1; r < rounds; ++r) {
        const __m128i key = rk[r];
        for (int i = 0; i < kLanes; ++i) b[i] = _mm_aesdec_si128(b[i], key);
    }
    for (int i = 0; i < kLanes; ++i) b[i] = _mm_aesdeclast_si128(b[i], rk[rounds]);
}

// The counter block of (high, low), then one added to the counter.
KERNA_AESNI_INLINE __m128i nextCounter(unsigned long long& high, unsigned long long& low) {
    const __m128i block = _mm_set_epi64x(static_cast<long long>(__builtin_bswap64(low)),
                                         static_cast<long long>(__builtin_bswap64(high)));
    if (++low == 0) ++high;
    return block;
}

KERNA_AESNI_INLINE const __m128i* roundKeys(const AesSchedule& k) {
    return reinterpret_cast<const __m128i*>(k.bytes);
}

}  // namespace

KERNA_AESNI_FN void aesNiEncryptBlocks(const AesSchedule& k, unsigned char* out,
                                       const unsigned char* in, size_t blocks) {
    const __m128i* rk = roundKeys(k);
    for (; blocks >= kLanes; blocks -= kLanes, in += 16 * kLanes, out += 16 * kLanes) {
        __m128i b[kLanes];
        for (int i = 0; i < kLanes; ++i) b[i] = load(in + 16 * i);
        encryptLanes(rk, k.rounds, b);
        for (int i = 0; i < kLanes; ++i) store(out + 16 * i, b[i]);
    }
    for (; blocks != 0; --blocks, in += 16, out += 16) store(out, encryptOne(rk, k.rounds, load(in)));
}

KERNA_AESNI_FN void aesNiDecryptBlocks(const AesSchedule& k, unsigned char* out,
                                       const unsigned char* in, size_t blocks) {
    const __m128i* rk = roundKeys(k);
    for (; blocks >= kLanes; blocks -= kLanes, in += 16 * kLanes, out += 16 * kLanes) {
        __m128i b[kLanes];
        for (int i = 0; i < kLanes; ++i) b[i] = load(in + 16 * i);
        decryptLanes(rk, k.rounds, b);
        for (int i = 0; i < kLanes; ++i) store(out + 16 * i, b[i]);
    }
    for (; blocks != 0; --blocks, in += 16, out += 16) store(out, decryptOne(rk, k.rounds, load(in)));
}

KERNA_AESNI_FN void aesNiCbcEncrypt(const AesSchedule& k, unsigned char* iv, unsigned char* out,
                                    const unsigned char* in, size_t blocks) {
    const __m128i* rk = roundKeys(k);
    __m128i chain = load(iv);
    for (; blocks != 0; --blocks, in += 16, out += 16) {
        chain = encryptOne(rk, k.rounds, _mm_xor_si128(load(in), chain));
        store(out, chain);
    }
    store(iv, chain);
}

KERNA_AESNI_FN void aesNiCbcDecrypt(const AesSchedule& k, unsigned char* iv, unsigned char* out,
                                    const unsigned char* in, size_t blocks) {
    const __m128i* rk = roundKeys(k);
    __m128i chain = load(iv);
    for (; blocks >= kLanes; blocks -= kLanes, in += 16 * kLanes, out += 16 * kLanes) {
        __m128i c[kLanes];
        __m128i b[kLanes];
        for (int i = 0; i < kLanes; ++i) b[i] = c[i] = load(in + 16 * i);
        decryptLanes(rk, k.rounds, b);
        store(out, _mm_xor_si128(b[0], chain));
        for (int i = 1; i < kLanes; ++i) store(out + 16 * i, _mm_xor_si128(b[i], c[i - 1]));
        chain = c[kLanes - 1];
    }
    for (; blocks != 0; --blocks, in += 16, out += 16) {
        const __m128i c = load(in);
        store(out, _mm_xor_si128(decryptOne(rk, k.rounds, c), chain));
        chain = c;
    }
    store(iv, chain);
}

KERNA_AESNI_FN void aesNiCtr(const AesSchedule& k, unsigned char* counter, unsigned char* out,
                             const unsigned char* in, size_t blocks) {
    const __m128i* rk = roundKeys(k);
    // The counter as two host-order halves of one 128-bit big-endian number.
    unsigned long long high, low;
    std::memcpy(&high, counter, 8);
    std::memcpy(&low, counter + 8, 8);
    high = __builtin_bswap64(high);
    low = __builtin_bswap64(low);
    for (; blocks >= kLanes; blocks -= kLanes, in += 16 * kLanes, out += 16 * kLanes) {
        __m128i b[kLanes];
        for (int i = 0; i < kLanes; ++i) b[i] = nextCounter(high, low);
        encryptLanes(rk, k.rounds, b);
        for (int i = 0; i < kLanes; ++i) store(out + 16 * i, _mm_xor_si128(b[i], load(in + 16 * i)));
    }
    for (; blocks != 0; --blocks, in += 16, out += 16)
        store(out, _mm_xor_si128(encryptOne(rk, k.rounds, nextCounter(high, low)), load(in)));
    high = __builtin_bswap64(high);
    low = __builtin_bswap64(low);
    std::memcpy(counter, &high, 8);
    std::memcpy(counter + 8, &low, 8);
}

#undef KERNA_AESNI_FN
#undef KERNA_AESNI_INLINE

}  // namespace Detail
}  // namespace Utils
}  // namespace Tessaran

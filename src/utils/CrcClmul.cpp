// CrcClmul.cpp
//
// CRC-32 by folding with carry-less multiplication (PCLMULQDQ). A 16-byte block X, read
// little-endian, holds the bit-reflected polynomial of those bytes. Moving X forward by D bits is
// X * x^D mod P; split X into its first and second 8 bytes and multiply each by a 32-bit constant
// x^(D+32) mod P and x^(D-32) mod P (bit-reflected and shifted left by one, which makes the
// reflected product come out aligned). Four blocks fold in parallel 64 bytes ahead; at the end
// they fold into one, and the last 16 bytes plus the tail go through the byte table. The folding
// only ever replaces a block by another with the same checksum contribution, so the result equals
// the table's for every input.
#include <immintrin.h>

#include <cstdint>

#include "utils/CrcInternal.h"

namespace Tessaran {
namespace Utils {
namespace Detail {

namespace {

// x^n mod P for the CRC-32 polynomial P = 0x104C11DB7, in plain (not reflected) bit order.
constexpr uint32_t xPowModP(unsigned n) {
    uint64_t r = 1;
    for (unsigned i = 0; i < n; ++i) {
        r <<= 1;
        if (r & 0x100000000ULL) r ^= 0x104C11DB7ULL;
    }
    return static_cast<uint32_t>(r);
}

constexpr uint32_t reflect32(uint32_t v) {
    uint32_t r = 0;
    for (int i = 0; i < 32; ++i) r |= ((v >> i) & 1u) << (31 - i);
    return r;
}

// The folding constant for an exponent: reflected, shifted left by one (33 bits).
constexpr uint64_t foldConstant(unsigned n) { return static_cast<uint64_t>(reflect32(xPowModP(n))) << 1; }

// Distance 512 bits (four blocks ahead) and 128 bits (one block ahead).
constexpr uint64_t kFold512High = foldConstant(512 + 32);  // multiplies the first 8 bytes
constexpr uint64_t kFold512Low = foldConstant(512 - 32);   // multiplies the second 8 bytes
constexpr uint64_t kFold128High = foldConstant(128 + 32);
constexpr uint64_t kFold128Low = foldConstant(128 - 32);

__attribute__((target("pclmul,sse4.1"), always_inline)) inline __m128i fold(__m128i x, __m128i k) {
    const __m128i a = _mm_clmulepi64_si128(x, k, 0x00);
    const __m128i b = _mm_clmulepi64_si128(x, k, 0x11);
    return _mm_xor_si128(a, b);
}

}  // namespace

__attribute__((target("pclmul,sse4.1"))) uint32_t crc32Clmul(uint32_t running,
                                                             const unsigned char* data,
                                                             size_t length) {
    if (length < 64) return crc32Slice8(running, data, length);

    const __m128i k512 = _mm_set_epi64x(static_cast<long long>(kFold512Low),
                                        static_cast<long long>(kFold512High));
    const __m128i k128 = _mm_set_epi64x(static_cast<long long>(kFold128Low),
                                        static_cast<long long>(kFold128High));

    __m128i x0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data));
    __m128i x1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 16));
    __m128i x2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 32));
    __m128i x3 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 48));
    // The running value enters as an XOR over the first four bytes.
    x0 = _mm_xor_si128(x0, _mm_cvtsi32_si128(static_cast<int>(running)));
    data += 64;
    length -= 64;

    while (length >= 64) {
        x0 = _mm_xor_si128(fold(x0, k512), _mm_loadu_si128(reinterpret_cast<const __m128i*>(data)));
        x1 = _mm_xor_si128(fold(x1, k512), _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 16)));
        x2 = _mm_xor_si128(fold(x2, k512), _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 32)));
        x3 = _mm_xor_si128(fold(x3, k512), _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 48)));
        data += 64;
        length -= 64;
    }

    __m128i x = _mm_xor_si128(fold(x0, k128), x1);
    x = _mm_xor_si128(fold(x, k128), x2);
    x = _mm_xor_si128(fold(x, k128), x3);
    while (length >= 16) {
        x = _mm_xor_si128(fold(x, k128), _mm_loadu_si128(reinterpret_cast<const __m128i*>(data)));
        data += 16;
        length -= 16;
    }

    alignas(16) unsigned char last[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(last), x);
    const uint32_t folded = crc32Slice8(0, last, sizeof last);
    return crc32Slice8(folded, data, length);
}

}  // namespace Detail
}  // namespace Utils
}  // namespace Tessaran

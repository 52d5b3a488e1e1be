// Sha1ShaNi.cpp
//
// The SHA-1 block function on the CPU's SHA extensions. Each sha1rnds4 runs four rounds; the
// message schedule is built four words at a time with sha1msg1, XOR and sha1msg2, and sha1nexte
// derives the E input of each group of four rounds from the A of the group before.
#include <immintrin.h>

#include <cstdint>
#include <utility>

#include "utils/Sha1Blocks.h"

namespace Tessaran {
namespace Utils {
namespace Detail {

namespace {

#define KERNA_SHANI __attribute__((target("sha,sse4.1,ssse3"), always_inline)) inline

// The four-round group `J` (0 to 19): rounds 4J to 4J+3 on message words W[J % 4], while the
// schedule prepares the words of later groups. E alternates between e0 (even J) and e1 (odd J).
template <int J>
KERNA_SHANI void group(__m128i& abcd, __m128i& e0, __m128i& e1, __m128i (&msg)[4]) {
    constexpr int kFunction = J / 5;
    __m128i& e = (J % 2 == 0) ? e0 : e1;
    __m128i& other = (J % 2 == 0) ? e1 : e0;
    if (J == 0)
        e = _mm_add_epi32(e, msg[0]);
    else
        e = _mm_sha1nexte_epu32(e, msg[J % 4]);
    other = abcd;
    if (J >= 3 && J + 1 <= 19) msg[(J + 1) % 4] = _mm_sha1msg2_epu32(msg[(J + 1) % 4], msg[J % 4]);
    abcd = _mm_sha1rnds4_epu32(abcd, e, kFunction);
    if (J >= 1 && J + 3 <= 19) msg[(J + 3) % 4] = _mm_sha1msg1_epu32(msg[(J + 3) % 4], msg[J % 4]);
    if (J >= 2 && J + 2 <= 19) msg[(J + 2) % 4] = _mm_xor_si128(msg[(J + 2) % 4], msg[J % 4]);
}

template <int... J>
KERNA_SHANI void allGroups(__m128i& abcd, __m128i& e0, __m128i& e1, __m128i (&msg)[4],
                           std::integer_sequence<int, J...>) {
    (group<J>(abcd, e0, e1, msg), ...);
}

}  // namespace

__attribute__((target("sha,sse4.1,ssse3"))) void sha1BlocksShaNi(uint32_t hash[5],
                                                                 const unsigned char* data,
                                                                 size_t blocks) {
    const __m128i byteSwap = _mm_set_epi64x(0x0001020304050607LL, 0x08090a0b0c0d0e0fLL);
    __m128i abcd = _mm_loadu_si128(reinterpret_cast<const __m128i*>(hash));
    abcd = _mm_shuffle_epi32(abcd, 0x1B);
    __m128i e0 = _mm_set_epi32(static_cast<int>(hash[4]), 0, 0, 0);

    for (; blocks != 0; --blocks, data += 64) {
        const __m128i abcdSaved = abcd;
        const __m128i eSaved = e0;
        __m128i e1;
        __m128i msg[4];
        for (int i = 0; i < 4; ++i)
            msg[i] = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 16 * i)),
                                      byteSwap);
        allGroups(abcd, e0, e1, msg, std::make_integer_sequence<int, 20>());
        // e0 holds the A of the last group's input: it becomes E, plus the saved E.
        e0 = _mm_sha1nexte_epu32(e0, eSaved);
        abcd = _mm_add_epi32(abcd, abcdSaved);
    }

    abcd = _mm_shuffle_epi32(abcd, 0x1B);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(hash), abcd);
    hash[4] = static_cast<uint32_t>(_mm_extract_epi32(e0, 3));
}

#undef KERNA_SHANI

}  // namespace Detail
}  // namespace Utils
}  // namespace Tessaran

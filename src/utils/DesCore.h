// DesCore.h
//
// The DES block function of FIPS 46-3 for CTripleDes: key schedules, the initial and final
// permutations, and the sixteen rounds. A block is handled as two 32-bit halves between IP and
// FP, so that the passes of Triple DES can run back to back without the permutations in between.
#ifndef KERNA_SRC_UTILS_DESCORE_H_
#define KERNA_SRC_UTILS_DESCORE_H_

#include <cstdint>

namespace Tessaran {
namespace Utils {
namespace Detail {

/// Sixteen round keys, two words each, in the order the rounds use them.
struct DesSchedule {
    uint32_t k[32];
};

/// The schedule of the 8-byte `key` (parity bits ignored) for encryption or decryption.
void desSetKey(const unsigned char* key, bool decrypt, DesSchedule& schedule);

/// IP of an 8-byte block into its halves, and FP of the halves back into 8 bytes.
void desInitialPermutation(const unsigned char* in, uint32_t& left, uint32_t& right);
void desFinalPermutation(uint32_t left, uint32_t right, unsigned char* out);

/// Sixteen rounds and the exchange of the halves: the output of one call is the input of the
/// next DES operation, as FP followed by IP is no permutation at all.
void desRounds(const DesSchedule& schedule, uint32_t& left, uint32_t& right);

/// One whole DES operation on 8 bytes; `in` may equal `out`.
void desBlock(const DesSchedule& schedule, const unsigned char* in, unsigned char* out);

}  // namespace Detail
}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_SRC_UTILS_DESCORE_H_

// Sha1Blocks.h
//
// The SHA-1 block functions behind CSha1: both add `blocks` 64-byte blocks to the running hash
// and give the same hash for every input.
#ifndef KERNA_SRC_UTILS_SHA1BLOCKS_H_
#define KERNA_SRC_UTILS_SHA1BLOCKS_H_

#include <cstddef>
#include <cstdint>

namespace Tessaran {
namespace Utils {
namespace Detail {

/// The portable block function of FIPS 180.
void sha1BlocksReference(uint32_t hash[5], const unsigned char* data, size_t blocks);
/// The block function on the CPU's SHA instructions; needs useShaNi().
void sha1BlocksShaNi(uint32_t hash[5], const unsigned char* data, size_t blocks);

}  // namespace Detail
}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_SRC_UTILS_SHA1BLOCKS_H_

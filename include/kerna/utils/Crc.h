// Crc.h
//
// CRC-16/ARC and CRC-32/ISO-HDLC checksums. Both are the reflected, table-driven algorithms with
// one table of 256 entries; where the CPU offers carry-less multiplication, CRC-32 folds long
// input with it instead, with the same result for every input. No state: any thread may call.
#ifndef KERNA_UTILS_CRC_H_
#define KERNA_UTILS_CRC_H_

#include <cstddef>

#include <kerna/kerna3/Defs.h>

namespace Tessaran {
namespace Utils {

/// Continues the running value `crc` over `data` with the reflected polynomial 0xA001, with no
/// inversion on either side: seed 0 gives CRC-16/ARC. A null `data` with a non-zero `length` is
/// refused with an error line and `crc` comes back unchanged.
KERNA_API unsigned short crc16(unsigned short crc, const unsigned char* data, size_t length);

/// CRC-32/ISO-HDLC (zlib's crc32) of `data`: starts at 0xFFFFFFFF, inverts at the end. `length`
/// counts in 32 bits: a length of 2^32 or more, or a null `data` with a non-zero `length`, is
/// refused with an error line and gives 0, the checksum of no bytes.
KERNA_API unsigned int crc32(const unsigned char* data, size_t length);

/// Continues a finished CRC-32: `crc` is inverted on entry and the running value at the end, so
/// crc32(crc32(a), b) is the checksum of a followed by b, and `crc` 0 gives the plain checksum.
/// A null `data` with a non-zero `length` is refused with an error line and returns `crc`.
KERNA_API unsigned int crc32(unsigned int crc, const unsigned char* data, size_t length);

}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_UTILS_CRC_H_

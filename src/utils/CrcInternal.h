// CrcInternal.h
//
// The CRC-32 update paths behind crc32(): all continue a raw running value (no inversion) over
// `length` bytes and give the same value for every input. The reference path is the one-table,
// byte-at-a-time loop; slicing-by-8 reads eight bytes per step through eight tables; the
// carry-less multiply path folds 64 bytes per step and finishes with the table.
#ifndef KERNA_SRC_UTILS_CRCINTERNAL_H_
#define KERNA_SRC_UTILS_CRCINTERNAL_H_

#include <cstddef>
#include <cstdint>

namespace Tessaran {
namespace Utils {
namespace Detail {

uint32_t crc32Reference(uint32_t running, const unsigned char* data, size_t length);
uint32_t crc32Slice8(uint32_t running, const unsigned char* data, size_t length);
/// Needs a CPU with PCLMULQDQ and SSE4.1 (useClmul()).
uint32_t crc32Clmul(uint32_t running, const unsigned char* data, size_t length);
/// The path the switch and the CPU allow.
uint32_t crc32Update(uint32_t running, const unsigned char* data, size_t length);

}  // namespace Detail
}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_SRC_UTILS_CRCINTERNAL_H_

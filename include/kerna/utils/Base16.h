// Base16.h
//
// Base16 (hexadecimal) text encoding of binary data on caller buffers. The encoder writes
// upper-case digits, the decoder reads both cases. Neither allocates nor keeps state, so both can
// run on any thread at once. Failures are warnings on the print path and a result of 0.
#ifndef KERNA_UTILS_BASE16_H_
#define KERNA_UTILS_BASE16_H_

#include <cstddef>

#include <kerna/kerna3/Defs.h>

namespace Tessaran {
namespace Utils {

/// Writes two upper-case digits per byte of `src`, high nibble first, into `dst`, after clearing
/// all `dstLength` bytes of `dst` (the cleared buffer supplies the terminator).
/// Returns 2 * `srcLength` + 1, the text length with its terminator. Returns 0 and warns
/// "The source data is NULL" for a null `src`, and "dst space is not enough or NULL" for a null
/// `dst`, a `dstLength` below 2 * `srcLength` + 1 or a `srcLength` of 0.
KERNA_API size_t base16Encode(const unsigned char* src, size_t srcLength, char* dst,
                              size_t dstLength);

/// Decodes `srcLength` hexadecimal digits (either case) into `srcLength` / 2 bytes of `dst`,
/// after clearing all `dstLength` bytes. Adds no terminator of its own; the result may hold zero
/// bytes. Returns `srcLength` / 2, or 0 with a warning for a null `src`, a `srcLength` of 0 or
/// odd, a null or too short `dst`, or a character that is not a hexadecimal digit (then `dst` is
/// left cleared and a second warning "base16 decode failed" follows).
KERNA_API size_t base16Decode(const char* src, size_t srcLength, unsigned char* dst,
                              size_t dstLength);

}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_UTILS_BASE16_H_

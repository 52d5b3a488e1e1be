// Base64.h
//
// Base64 text encoding (RFC 4648 alphabet A-Z a-z 0-9 + /, "=" as fill) on caller buffers. The
// encoder writes no line breaks. The decoder reads up to the first byte outside the alphabet
// ("=", a terminator, a blank or a line end included), decodes what it read and never fails; the
// URL-safe alphabet is not accepted. The buffer sizes come from the length functions; the
// functions themselves do not test buffers. Nothing allocates or keeps state.
//
// The Ex forms take 64-bit lengths; the forms without Ex are the same operations on int. A null
// pointer is refused with a warning and a result of 0, and so is a negative or too large int.
#ifndef KERNA_UTILS_BASE64_H_
#define KERNA_UTILS_BASE64_H_

#include <cstddef>

#include <kerna/kerna3/Defs.h>

namespace Tessaran {
namespace Utils {

/// (`length` + 2) / 3 * 4 + 1: the buffer size for the text of `length` bytes with its terminator.
KERNA_API size_t base64EncodeLenEx(size_t length);

/// Encodes `length` bytes of `src` into `dst` and terminates the text. Returns the bytes written,
/// the terminator included: 1 for a `length` of 0.
KERNA_API size_t base64EncodeEx(char* dst, const char* src, size_t length);

/// (n + 3) / 4 * 3 + 1, with n the number of leading alphabet characters of the terminated `src`:
/// the buffer size for base64DecodeEx.
KERNA_API size_t base64DecodeLenEx(const char* src);

/// Decodes the leading alphabet characters of the terminated `src` into `dst` and writes a
/// terminator behind them. Returns the decoded bytes, the terminator not included. A last group
/// of one character gives no byte.
KERNA_API size_t base64DecodeEx(char* dst, const char* src);

/// As base64DecodeLenEx, looking at no more than `length` characters (no terminator needed).
KERNA_API size_t base64DecodeLenEx2(const char* src, size_t length);

/// As base64DecodeEx, reading no more than `length` characters (no terminator needed).
KERNA_API size_t base64DecodeEx2(char* dst, const char* src, size_t length);

/// As base64EncodeLenEx. 0 with a warning for a negative `length` or a size above INT_MAX.
KERNA_API int base64EncodeLen(int length);

/// As base64EncodeEx, but returns 0 and writes nothing when `length` is below 1 (or the text
/// would be longer than INT_MAX).
KERNA_API int base64Encode(char* dst, const char* src, int length);

/// As base64DecodeLenEx. 0 with a warning when the size exceeds INT_MAX.
KERNA_API int base64DecodeLen(const char* src);

/// As base64DecodeEx. 0 with a warning, nothing written, when the size exceeds INT_MAX.
KERNA_API int base64Decode(char* dst, const char* src);

}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_UTILS_BASE64_H_

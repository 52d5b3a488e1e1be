// Charset.h: conversions between UTF-8, UCS-4, 16-bit Unicode values, GBK and code pages.
//
// Free functions on caller buffers; none keeps state, and any temporary memory comes from the
// heap. A 16-bit Unicode value is an `unsigned short`; no function handles surrogate pairs.
// GBK is code page 936 as a whole (the functions say "Gb2312" for historical reasons).
// The functions fall into four families with different result conventions:
//  - UCS-4 (lengths in bytes, characters of 32 bits in host byte order): logs at level 3;
//  - GBK: counts of values or bytes, -1 at a value without mapping;
//  - UTF-8 to and from 16-bit values: counts, -1 for a refused sequence;
//  - code pages: 0 on success, -1 for a refused argument.
// Only the UCS-4 family logs; the others report through their result or skip silently where
// documented. Every function refuses null pointers with its failure result.

#ifndef KERNA_UTILS_CHARSET_H_
#define KERNA_UTILS_CHARSET_H_

#include <kerna/kerna3/Defs.h>

namespace Tessaran {
namespace Utils {

// ---- UCS-4 family ------------------------------------------------------------------------

/// Encodes `ucs4Len` bytes of 32-bit characters as UTF-8 (1 to 6 bytes per character by value;
/// characters of 0x80000000 and above are skipped silently). Returns the bytes written, whole
/// characters only, no terminator. Returns 0 with a level 3 line for a null pointer or a
/// `ucs4Len` that is not a multiple of 4; stops with a level 3 line where the next character
/// doesn't fit in `utf8Size`.
KERNA_API int UCS4ToUtf8(char* ucs4, int ucs4Len, unsigned char* utf8, int utf8Size);

/// Decodes `utf8Len` bytes of UTF-8 into 32-bit characters at `ucs4` (room for `ucs4Len` bytes).
/// The lead byte alone gives the length: below 0x80 one byte, else three if its bit 0x20 is set,
/// else two; continuation bytes aren't checked. Returns the bytes written (4 per character).
/// Stops with a level 3 line when `ucs4Len` can't take the next character or the sequence runs
/// past `utf8Len`; returns 0 with a level 3 line for a null pointer.
KERNA_API int utf8ToUCS4(char* utf8, int utf8Len, unsigned char* ucs4, int ucs4Len);

// ---- GBK family --------------------------------------------------------------------------

/// Converts the zero-terminated GBK text `gb` to UTF-8 in `utf8`, which is cleared over
/// `utf8Size` bytes first (so a shorter result stays terminated). Returns the bytes written;
/// 0 for null pointers, an empty text or no memory. A pair without mapping is left out.
KERNA_API int Gb2312TUtf8(char* gb, unsigned char* utf8, int utf8Size);

/// Converts the zero-terminated UTF-8 text `utf8` (at most `utf8Len` bytes of it) to GBK in
/// `gb`, which must have room for `gbLen` + 1 bytes: the text is terminated. Returns the number
/// of Unicode values converted, -1 at a value without mapping (what came before stays), 0 for
/// null pointers, an empty text or no memory. Invalid UTF-8 bytes are skipped.
KERNA_API int utf8TGb2312(unsigned char* utf8, char* gb, int utf8Len, int gbLen);

/// Decodes the zero-terminated GBK text `gb` into at most `uniLen` values. `uni` is cleared over
/// `uniLen` values and terminated by a 0 value if room is left. Returns the values written;
/// 0 for null pointers. A pair whose lead has a row but which has no mapping is skipped: both
/// bytes when the trail is a GBK trail byte (0x40-0x7E, 0x80-0xFE), else the lead alone.
KERNA_API int Gb2312ToUni(char* gb, unsigned short* uni, int uniLen);

/// Encodes the values of `uni` (up to a 0 value or `uniLen`) as GBK in `gb`, which must have room
/// for `gbLen` + 1 bytes (cleared over `gbLen`; the text is terminated). Returns the values
/// converted; stops before a value whose bytes don't fit; -1 at a value without mapping (what
/// came before stays); 0 for null pointers.
KERNA_API int UniTGb2312(unsigned short* uni, int uniLen, char* gb, int gbLen);

/// Encodes one value as GBK into `out`, which has room for `boundLen` bytes. U+0001-U+00FF give
/// the single byte of the same value; U+20AC has no mapping. Returns the bytes written (1 or 2),
/// or -1 (no mapping, no room, null `out`).
KERNA_API int uni2char(unsigned short uni, unsigned char* out, int boundLen);

/// Decodes one GBK character from `raw` (at most `boundLen` bytes) into `*uni`. A lone byte, a
/// byte other than a lead, or a lead before a zero byte decodes through the single-byte table
/// (0x80 gives U+20AC). Returns the bytes used (1 or 2), or -1 for a pair without mapping
/// (`*uni` set to 0), a `boundLen` below 1 or a null pointer.
KERNA_API int char2uni(const unsigned char* raw, int boundLen, unsigned short* uni);

// ---- UTF-8 and 16-bit values -------------------------------------------------------------

/// Decodes one UTF-8 sequence of at most `length` bytes into `*out` (cut to 16 bits for the
/// 4-byte to 6-byte forms). Returns the bytes used, or -1 for an invalid, overlong or cut
/// sequence, a `length` below 1 or a null pointer.
KERNA_API int utf8_mbtowc(unsigned short* out, const unsigned char* s, int length);

/// Decodes UTF-8 up to a zero byte or `length` bytes into `out`, which must hold one value for
/// each source byte. An invalid sequence is skipped by one byte. Returns the values written, no
/// terminator; 0 for a null pointer.
KERNA_API int utf8_mbstowcs(unsigned short* out, const unsigned char* s, int length);

/// Encodes one value as UTF-8 into at most `maxLength` bytes at `s`. Returns the bytes written,
/// -1 when they don't fit, 0 with `s` null.
KERNA_API int utf8_wctomb(unsigned char* s, unsigned short value, int maxLength);

/// Encodes the values up to a 0 value as UTF-8 into at most `maxLength` bytes. A value that
/// doesn't fit is skipped and uses up one byte of `maxLength`. Returns the bytes written, no
/// terminator; 0 for a null pointer.
KERNA_API int utf8_wcstombs(unsigned char* s, const unsigned short* values, int maxLength);

/// Reads one UTF-8 character of 1 to 3 bytes from the zero-terminated text `s`. `*length` gets
/// the sequence length from the lead byte (1, 2 or 3), or 0 for a lead byte from 0xF0 or a
/// continuation byte. Returns the value; 0 at a zero byte (cut sequence). A lead or ASCII byte
/// inside a sequence stops it with the value gathered so far. Returns 0 for a null pointer.
KERNA_API unsigned short GetUnicodeFromUtf8(const char* s, int* length);

// ---- Code pages --------------------------------------------------------------------------

/// Converts `srcLen` bytes of Windows-1252 to UTF-8. The first undefined byte (0x81, 0x8D, 0x8F,
/// 0x90, 0x9D) stops the conversion, and it and every byte behind it give a zero byte. Returns
/// 0 when the whole result was copied to `dst` (no terminator); the bytes needed, with `dst`
/// untouched, when they exceed `dstSize` (so `dstSize` 0 asks for the size); -1 for a null `src`
/// or `srcLen` below 1, or a null `dst` that would be written.
KERNA_API int cp1252_to_utf8(unsigned char* dst, int dstSize, const unsigned char* src, int srcLen);

/// Converts `srcLen` bytes of UTF-8 to Windows-1252; a character not in the table is dropped
/// silently, a stray continuation byte, a broken or cut sequence ends the conversion. Writes at
/// most `dstSize` bytes (each character gives at most one, so `srcLen` bytes always suffice).
/// Returns the bytes written; 0 for a null pointer.
KERNA_API int utf8_to_cp1252(const unsigned char* src, int srcLen, unsigned char* dst, int dstSize);

/// The code page family: each converts `srcLen` bytes of its page at `src` to UTF-8 in `dst`
/// (room for `dstLen` bytes, which must be at least `srcLen`). Bytes without mapping, byte 0x00
/// among them, are skipped silently; the conversion stops at a character that doesn't fit.
/// Returns 0 with `srcLen` set to the bytes read and `dstLen` to the bytes written (no
/// terminator); -1 with both unchanged for a null pointer, `srcLen` below 1 or `dstLen` below
/// `srcLen`.
KERNA_API int cp862_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen);
/// Windows-874, byte 0x80 unmapped. See `cp862_to_utf8`.
KERNA_API int cp874_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen);
/// Windows-1250. See `cp862_to_utf8`.
KERNA_API int cp1250_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                             int& srcLen);
/// Windows-1251. See `cp862_to_utf8`.
KERNA_API int cp1251_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                             int& srcLen);
/// ISO 8859-1. See `cp862_to_utf8`.
KERNA_API int iso8859_1_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);
/// ISO 8859-2. See `cp862_to_utf8`.
KERNA_API int iso8859_2_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);
/// ISO 8859-3. See `cp862_to_utf8`.
KERNA_API int iso8859_3_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);
/// ISO 8859-4. See `cp862_to_utf8`.
KERNA_API int iso8859_4_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);
/// ISO 8859-5. See `cp862_to_utf8`.
KERNA_API int iso8859_5_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);
/// ISO 8859-6 with bytes 0x30-0x39 as the Arabic-Indic digits U+0660-U+0669. See
/// `cp862_to_utf8`.
KERNA_API int iso8859_6_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);
/// ISO 8859-7 in its 1987 form: 0xA1 is U+02BD, 0xA2 is U+02BC, and 0xA4, 0xA5 and 0xAA are
/// unmapped. See `cp862_to_utf8`.
KERNA_API int iso8859_7_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);
/// ISO 8859-8. See `cp862_to_utf8`.
KERNA_API int iso8859_8_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);
/// ISO 8859-9. See `cp862_to_utf8`.
KERNA_API int iso8859_9_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                int& srcLen);
/// ISO 8859-10. See `cp862_to_utf8`.
KERNA_API int iso8859_10_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                 int& srcLen);
/// ISO 8859-13. See `cp862_to_utf8`.
KERNA_API int iso8859_13_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                 int& srcLen);
/// ISO 8859-14. See `cp862_to_utf8`.
KERNA_API int iso8859_14_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                 int& srcLen);
/// ISO 8859-15. See `cp862_to_utf8`.
KERNA_API int iso8859_15_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                 int& srcLen);
/// ISO 8859-16. See `cp862_to_utf8`.
KERNA_API int iso8859_16_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src,
                                 int& srcLen);

}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_UTILS_CHARSET_H_

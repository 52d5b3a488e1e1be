// Charset.cpp: UTF-8, UCS-4, 16-bit Unicode, GBK and code page conversions.
//
// Every routine works on caller buffers and keeps no state. The tables are the constant data of
// CharsetTables.cpp, indexed directly; the only search is the one of utf8_to_cp1252 over the
// 32 entries 0x80-0x9F of Windows-1252.

#include <kerna/utils/Charset.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <new>

#include "base/Log.h"
#include "utils/CharsetTables.h"

namespace Tessaran {
namespace Utils {

namespace {

using Detail::gbkPageTable;
using Detail::gbkReverseTable;
using Detail::gbkSingleTable;

// One row per UTF-8 sequence length, shared by the 16-bit encoder and decoder. A row with cmask
// 0 ends the table.
struct Utf8Row {
    unsigned int cmask;  // mask of the lead byte's marker bits
    unsigned int cval;   // marker bits of a lead byte of this length
    int shift;           // bits of the value behind the lead byte
    unsigned int lmask;  // largest value of this length
    unsigned int lval;   // smallest value of this length (below it: overlong)
};

const Utf8Row utf8Table[] = {
    {0x80, 0x00, 0 * 6, 0x7F, 0},                // 1 byte
    {0xE0, 0xC0, 1 * 6, 0x7FF, 0x80},            // 2 bytes
    {0xF0, 0xE0, 2 * 6, 0xFFFF, 0x800},          // 3 bytes
    {0xF8, 0xF0, 3 * 6, 0x1FFFFF, 0x10000},      // 4 bytes
    {0xFC, 0xF8, 4 * 6, 0x3FFFFFF, 0x200000},    // 5 bytes
    {0xFE, 0xFC, 5 * 6, 0x7FFFFFFF, 0x4000000},  // 6 bytes
    {0, 0, 0, 0, 0},                             // end
};

// True when all eight bytes at p are ASCII.
inline bool allAscii8(const unsigned char* p) {
    uint64_t word;
    std::memcpy(&word, p, sizeof word);
    return (word & 0x8080808080808080ULL) == 0;
}

// utf8_mbtowc without the argument checks; length >= 1.
inline int decodeUtf8(unsigned short* out, const unsigned char* s, int length) {
    const unsigned int c0 = s[0];
    uint32_t value = c0;  // unsigned: the shifts of the long forms may wrap, harmlessly
    int used = 0;
    for (const Utf8Row* row = utf8Table; row->cmask != 0; ++row) {
        ++used;
        if ((c0 & row->cmask) == row->cval) {
            value &= row->lmask;
            if (value < row->lval) {
                return -1;  // overlong form
            }
            *out = static_cast<unsigned short>(value);
            return used;
        }
        if (length <= used) {
            return -1;  // cut sequence
        }
        const unsigned int c = (s[used] ^ 0x80u) & 0xFFu;
        if ((c & 0xC0u) != 0) {
            return -1;  // not a continuation byte
        }
        value = (value << 6) | c;
    }
    return -1;
}

// Writes the UTF-8 form of a 16-bit value (1 to 3 bytes); the caller has checked the room.
inline int putUtf8(unsigned char* s, unsigned int value) {
    if (value < 0x80) {
        s[0] = static_cast<unsigned char>(value);
        return 1;
    }
    if (value < 0x800) {
        s[0] = static_cast<unsigned char>(0xC0 | (value >> 6));
        s[1] = static_cast<unsigned char>(0x80 | (value & 0x3F));
        return 2;
    }
    s[0] = static_cast<unsigned char>(0xE0 | (value >> 12));
    s[1] = static_cast<unsigned char>(0x80 | ((value >> 6) & 0x3F));
    s[2] = static_cast<unsigned char>(0x80 | (value & 0x3F));
    return 3;
}

// utf8_wctomb without the null check. The walk over the table's rows, unrolled for 16-bit
// values (rows 1 to 3): each row passed uses up one byte of maxLength, so a value of k bytes
// needs maxLength >= k.
inline int encodeUtf8(unsigned char* s, unsigned short value, int maxLength) {
    const int needed = value < 0x80 ? 1 : value < 0x800 ? 2 : 3;
    if (maxLength < needed) {
        return -1;
    }
    return putUtf8(s, value);
}

// char2uni without the argument checks; boundLen >= 1.
inline int decodeGbk(const unsigned char* raw, int boundLen, unsigned short* uni) {
    const unsigned char lead = raw[0];
    const unsigned short* row = gbkPageTable[lead];
    if (boundLen == 1 || row == nullptr || raw[1] == 0) {
        *uni = gbkSingleTable[lead];
        return 1;
    }
    *uni = row[raw[1]];
    return *uni != 0 ? 2 : -1;
}

// uni2char without the null check.
inline int encodeGbk(unsigned short uni, unsigned char* out, int boundLen) {
    if (boundLen < 1) {
        return -1;
    }
    const unsigned short* row = gbkReverseTable[uni >> 8];
    if (row != nullptr) {
        if (boundLen < 2) {
            return -1;
        }
        const unsigned short pair = row[uni & 0xFF];
        out[0] = static_cast<unsigned char>(pair >> 8);
        out[1] = static_cast<unsigned char>(pair & 0xFF);
        return pair != 0 ? 2 : -1;
    }
    if (uni > 0xFF || (uni & 0xFF) == 0) {
        return -1;
    }
    out[0] = static_cast<unsigned char>(uni);
    return 1;
}

// A GBK trail byte: the second byte of a code position, assigned or not.
inline bool isGbkTrail(unsigned char c) { return c >= 0x40 && c <= 0xFE && c != 0x7F; }

// One routine for all single-byte code pages to UTF-8.
int codePageToUtf8(const unsigned short* table, unsigned char* dst, int& dstLen,
                   const unsigned char* src, int& srcLen) {
    if (dst == nullptr || src == nullptr || srcLen < 1 || dstLen < srcLen) {
        return -1;
    }
    const int inEnd = srcLen;
    const int outEnd = dstLen;
    int in = 0;
    int out = 0;
    for (; in < inEnd; ++in) {
        const unsigned short value = table[src[in]];
        if (value == 0) {
            continue;  // no mapping: skipped silently
        }
        const int n = encodeUtf8(dst + out, value, outEnd - out);
        if (n < 0) {
            break;  // dst is full
        }
        out += n;
    }
    srcLen = in;
    dstLen = out;
    return 0;
}

// The UTF-8 length of a 32-bit value, 0 for values from 0x80000000.
inline int ucs4Utf8Length(uint32_t value) {
    if (value < 0x80) return 1;
    if (value <= 0x7FF) return 2;
    if (value <= 0xFFFF) return 3;
    if (value <= 0x1FFFFF) return 4;
    if (value <= 0x3FFFFFF) return 5;
    if (value <= 0x7FFFFFFF) return 6;
    return 0;
}

}  // namespace

// ---- UCS-4 family ------------------------------------------------------------------------

int UCS4ToUtf8(char* ucs4, int ucs4Len, unsigned char* utf8, int utf8Size) {
    if (ucs4 == nullptr) {
        KERNA_LOG(3, "ucs4 is invalid\n");
        return 0;
    }
    if (utf8 == nullptr) {
        KERNA_LOG(3, "utf8 is invalid\n");
        return 0;
    }
    if (ucs4Len % 4 != 0) {
        KERNA_LOG(3, "UCS4ToUtf8 ucs4Len error\n");
        return 0;
    }
    static const unsigned char leadMark[7] = {0, 0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
    int written = 0;
    for (int pos = 0; pos < ucs4Len; pos += 4) {
        uint32_t value;
        std::memcpy(&value, ucs4 + pos, sizeof value);
        const int length = ucs4Utf8Length(value);
        if (length == 0) {
            continue;  // beyond 31 bits: nothing to write
        }
        if (length > utf8Size - written) {
            KERNA_LOG(3, "UCS4ToUtf8 utf8Size error\n");
            return written;
        }
        unsigned char* out = utf8 + written;
        for (int i = length - 1; i > 0; --i) {
            out[i] = static_cast<unsigned char>(0x80 | (value & 0x3F));
            value >>= 6;
        }
        out[0] = static_cast<unsigned char>(leadMark[length] | value);
        written += length;
    }
    return written;
}

int utf8ToUCS4(char* utf8, int utf8Len, unsigned char* ucs4, int ucs4Len) {
    if (utf8 == nullptr) {
        KERNA_LOG(3, "utf8 is invalid\n");
        return 0;
    }
    if (ucs4 == nullptr) {
        KERNA_LOG(3, "UCS4 is invalid\n");
        return 0;
    }
    const unsigned char* in = reinterpret_cast<const unsigned char*>(utf8);
    int written = 0;
    int pos = 0;
    while (pos < utf8Len) {
        if (ucs4Len - written < 4) {
            const long long suggested = 4LL * utf8Len;
            KERNA_LOG(3, "ucs4Len too short, suggest set:%d bytes",
                      static_cast<int>(suggested < INT_MAX ? suggested : INT_MAX));
            return written;
        }
        const unsigned int lead = in[pos];
        const int length = lead < 0x80 ? 1 : ((lead & 0x20) != 0 ? 3 : 2);
        if (length > utf8Len - pos) {
            const long long needed = static_cast<long long>(pos) + length;
            KERNA_LOG(3, "utf8 read overflow, need utf8Len:%d", static_cast<int>(needed));
            return written;
        }
        uint32_t value;
        if (length == 1) {
            value = lead;
        } else if (length == 2) {
            value = ((lead & 0x1Fu) << 6) | (in[pos + 1] & 0x3Fu);
        } else {
            value = ((lead & 0x0Fu) << 12) | ((in[pos + 1] & 0x3Fu) << 6) | (in[pos + 2] & 0x3Fu);
        }
        std::memcpy(ucs4 + written, &value, sizeof value);
        written += 4;
        pos += length;
    }
    return written;
}

// ---- GBK family --------------------------------------------------------------------------

int char2uni(const unsigned char* raw, int boundLen, unsigned short* uni) {
    if (raw == nullptr || uni == nullptr || boundLen < 1) {
        return -1;
    }
    return decodeGbk(raw, boundLen, uni);
}

int uni2char(unsigned short uni, unsigned char* out, int boundLen) {
    if (out == nullptr) {
        return -1;
    }
    return encodeGbk(uni, out, boundLen);
}

int Gb2312ToUni(char* gb, unsigned short* uni, int uniLen) {
    if (gb == nullptr || uni == nullptr) {
        return 0;
    }
    if (uniLen <= 0) {
        return 0;
    }
    std::memset(uni, 0, sizeof(unsigned short) * static_cast<size_t>(uniLen));
    const unsigned char* text = reinterpret_cast<const unsigned char*>(gb);
    const size_t length = std::strlen(gb);
    size_t pos = 0;
    int written = 0;
    while (pos < length && written < uniLen) {
        // Runs of ASCII go eight bytes at a time.
        while (length - pos >= 8 && uniLen - written >= 8 && allAscii8(text + pos)) {
            for (int i = 0; i < 8; ++i) {
                uni[written + i] = text[pos + i];
            }
            pos += 8;
            written += 8;
        }
        if (pos >= length || written >= uniLen) {
            break;
        }
        const size_t remaining = length - pos;
        const int bound =
            remaining < static_cast<size_t>(INT_MAX) ? static_cast<int>(remaining) : INT_MAX;
        unsigned short value;
        const int used = decodeGbk(text + pos, bound, &value);
        if (used < 0) {
            // A lead byte with a row but no mapping for this pair: skip the code position (both
            // bytes) when the second byte is a trail byte, else only the lead, so that an ASCII
            // byte behind a stray lead is kept.
            pos += isGbkTrail(text[pos + 1]) ? 2 : 1;
            continue;
        }
        uni[written++] = value;
        pos += static_cast<size_t>(used);
    }
    if (written < uniLen) {
        uni[written] = 0;
    }
    return written;
}

int UniTGb2312(unsigned short* uni, int uniLen, char* gb, int gbLen) {
    if (uni == nullptr || gb == nullptr) {
        return 0;
    }
    if (gbLen > 0) {
        std::memset(gb, 0, static_cast<size_t>(gbLen));
    }
    unsigned char* out = reinterpret_cast<unsigned char*>(gb);
    int written = 0;
    int count = 0;
    for (; count < uniLen && uni[count] != 0; ++count) {
        const unsigned short value = uni[count];
        if (value < 0x80) {
            // No reverse row for high byte 0: ASCII always gives its own byte.
            if (written >= gbLen) {
                break;
            }
            out[written++] = static_cast<unsigned char>(value);
            continue;
        }
        unsigned char bytes[2];
        const int n = encodeGbk(value, bytes, 2);
        if (n < 0) {
            count = -1;
            break;
        }
        if (n > gbLen - written) {
            break;
        }
        out[written] = bytes[0];
        if (n == 2) {
            out[written + 1] = bytes[1];
        }
        written += n;
    }
    if (written > 0) {
        out[written] = 0;  // the terminator of the appended text; gb has gbLen + 1 bytes
    }
    return count;  // or -1 at a value without mapping
}

// Gb2312ToUni into a temporary array, then utf8_wcstombs bounded by utf8Size, done in one pass
// without the array: decoding is pure, so each value can be encoded as soon as it is read.
int Gb2312TUtf8(char* gb, unsigned char* utf8, int utf8Size) {
    if (gb == nullptr || utf8 == nullptr) {
        return 0;
    }
    const unsigned char* text = reinterpret_cast<const unsigned char*>(gb);
    const size_t length = std::strlen(gb);
    if (length == 0) {
        return 0;
    }
    size_t pos = 0;
    int written = 0;
    int room = utf8Size;  // utf8_wcstombs's maxLength
    while (pos < length && room > 0) {
        const unsigned char c = text[pos];
        if (c < 0x80) {
            if (length - pos >= 8 && room >= 8 && allAscii8(text + pos)) {
                std::memcpy(utf8 + written, text + pos, 8);  // a run of ASCII
                pos += 8;
                written += 8;
                room -= 8;
            } else {
                utf8[written++] = c;
                --room;
                ++pos;
            }
            continue;
        }
        // char2uni with the rest of the text as bound: a lead byte with a row and a byte behind
        // it (never 0 inside the text) is a pair; anything else goes through the single table.
        unsigned short value;
        const unsigned short* row = gbkPageTable[c];
        if (row != nullptr && pos + 1 < length) {
            value = row[text[pos + 1]];
            if (value == 0) {
                pos += isGbkTrail(text[pos + 1]) ? 2 : 1;  // skipped as Gb2312ToUni does
                continue;
            }
            pos += 2;
        } else {
            value = gbkSingleTable[c];
            ++pos;
        }
        const int n =
            room >= 3 ? putUtf8(utf8 + written, value) : encodeUtf8(utf8 + written, value, room);
        if (n < 0) {
            --room;  // the value is dropped and uses up one byte of the bound
        } else {
            written += n;
            room -= n;
        }
    }
    // utf8 is cleared over utf8Size bytes: behind the text, everything is 0.
    if (utf8Size > written) {
        std::memset(utf8 + written, 0, static_cast<size_t>(utf8Size - written));
    }
    return written;
}

// utf8_mbstowcs bounded by utf8Len into a temporary array, then UniTGb2312 bounded by gbLen, done
// in one pass without the array.
int utf8TGb2312(unsigned char* utf8, char* gb, int utf8Len, int gbLen) {
    if (utf8 == nullptr || gb == nullptr) {
        return 0;
    }
    const size_t textLength = std::strlen(reinterpret_cast<const char*>(utf8));
    if (textLength == 0) {
        return 0;
    }
    // utf8_mbstowcs stops at the terminator and at utf8Len.
    const size_t limit = utf8Len <= 0                                ? 0
                         : textLength < static_cast<size_t>(utf8Len) ? textLength
                                                                     : static_cast<size_t>(utf8Len);
    unsigned char* out = reinterpret_cast<unsigned char*>(gb);
    size_t pos = 0;
    int written = 0;
    int count = 0;
    int result = 0;
    for (;;) {
        if (pos >= limit) {
            result = count;
            break;
        }
        if (limit - pos >= 8 && gbLen - written >= 8 && allAscii8(utf8 + pos)) {
            std::memcpy(out + written, utf8 + pos, 8);
            pos += 8;
            written += 8;
            count += 8;
            continue;
        }
        unsigned short value;
        const unsigned char c = utf8[pos];
        if (c < 0x80) {
            value = c;
            ++pos;
        } else if ((c & 0xF0) == 0xE0 && limit - pos >= 3 && (utf8[pos + 1] & 0xC0) == 0x80 &&
                   (utf8[pos + 2] & 0xC0) == 0x80 && (c != 0xE0 || utf8[pos + 1] >= 0xA0)) {
            // A valid 3-byte form (not overlong), as utf8_mbtowc reads it.
            value = static_cast<unsigned short>(((c & 0x0F) << 12) | ((utf8[pos + 1] & 0x3F) << 6) |
                                                (utf8[pos + 2] & 0x3F));
            pos += 3;
        } else {
            const int used =
                decodeUtf8(&value, utf8 + pos,
                           static_cast<int>(limit - pos < static_cast<size_t>(INT_MAX) ? limit - pos
                                                                                       : INT_MAX));
            if (used < 0) {
                ++pos;  // skipped, as utf8_mbstowcs does
                continue;
            }
            pos += static_cast<size_t>(used);
        }
        if (value == 0) {
            result = count;  // a long form cut to 0: UniTGb2312 ends at a 0 value
            break;
        }
        unsigned char bytes[2];
        const int n = value < 0x80 ? (bytes[0] = static_cast<unsigned char>(value), 1)
                                   : encodeGbk(value, bytes, 2);
        if (n < 0) {
            result = -1;
            break;
        }
        if (n > gbLen - written) {
            result = count;
            break;
        }
        out[written] = bytes[0];
        if (n == 2) {
            out[written + 1] = bytes[1];
        }
        written += n;
        ++count;
    }
    // gb is cleared over gbLen bytes; the appended text carries its terminator (gbLen + 1).
    if (gbLen > written) {
        std::memset(out + written, 0, static_cast<size_t>(gbLen - written));
    }
    if (written > 0) {
        out[written] = 0;
    }
    return result;
}

// ---- UTF-8 and 16-bit values -------------------------------------------------------------

int utf8_mbtowc(unsigned short* out, const unsigned char* s, int length) {
    if (out == nullptr || s == nullptr || length < 1) {
        return -1;
    }
    return decodeUtf8(out, s, length);
}

int utf8_mbstowcs(unsigned short* out, const unsigned char* s, int length) {
    if (out == nullptr || s == nullptr || length < 1) {
        return 0;
    }
    int pos = 0;
    int written = 0;
    // Byte by byte: `length` may run past the terminator, and nothing behind it may be read.
    while (pos < length && s[pos] != 0) {
        const unsigned char c = s[pos];
        if (c < 0x80) {
            out[written++] = c;
            ++pos;
            continue;
        }
        const int used = decodeUtf8(out + written, s + pos, length - pos);
        if (used < 0) {
            ++pos;  // skip the byte that starts no valid sequence
        } else {
            pos += used;
            ++written;
        }
    }
    return written;
}

int utf8_wctomb(unsigned char* s, unsigned short value, int maxLength) {
    if (s == nullptr) {
        return 0;
    }
    return encodeUtf8(s, value, maxLength);
}

int utf8_wcstombs(unsigned char* s, const unsigned short* values, int maxLength) {
    if (s == nullptr || values == nullptr) {
        return 0;
    }
    int written = 0;
    for (const unsigned short* in = values; *in != 0 && maxLength > 0; ++in) {
        const unsigned short value = *in;
        if (value < 0x80) {
            s[written++] = static_cast<unsigned char>(value);
            --maxLength;
            continue;
        }
        const int n = encodeUtf8(s + written, value, maxLength);
        if (n < 0) {
            --maxLength;  // the value is dropped and uses up one byte of the bound
        } else {
            written += n;
            maxLength -= n;
        }
    }
    return written;
}

unsigned short GetUnicodeFromUtf8(const char* s, int* length) {
    if (s == nullptr || length == nullptr) {
        return 0;
    }
    const unsigned char* in = reinterpret_cast<const unsigned char*>(s);
    *length = 0;
    const unsigned int lead = in[0];
    if (lead == 0) {
        return 0;
    }
    if (lead < 0x80) {
        *length = 1;
        return static_cast<unsigned short>(lead);
    }
    unsigned int value;
    int count;
    if (lead >= 0xC0 && lead <= 0xDF) {
        *length = 2;
        value = lead & 0x1F;
        count = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        *length = 3;
        value = lead & 0x0F;
        count = 3;
    } else {
        return 0;  // a continuation byte first, or a lead of a longer form
    }
    for (int i = 1; i < count; ++i) {
        const unsigned int c = in[i];
        if (c == 0) {
            return 0;  // cut sequence; *length keeps the length announced by the lead
        }
        if (c < 0x80 || c >= 0xC0) {
            break;  // an ASCII or lead byte inside the sequence: the value so far
        }
        value = (value << 6) | (c & 0x3F);
    }
    return static_cast<unsigned short>(value);
}

// ---- Code pages --------------------------------------------------------------------------

namespace {

// Writes the UTF-8 of src up to its first undefined byte, then one zero byte for each position
// from that byte on, into [out, end), which has room for all of it.
void writeCp1252(unsigned char* out, unsigned char* end, const unsigned char* src, int srcLen) {
    using Detail::cp1252Utf8Table;
    int pos = 0;
    // While 4 bytes of room are left, each character is stored as one 32-bit word (its bytes
    // and stray ones behind, without a branch on its length). The next character's word covers
    // the stray bytes; the fast loop leaves at least 3 source bytes, each giving at least one
    // output byte, to cover those of its last character.
    const int fastEnd = srcLen - 3;
    while (pos < fastEnd && end - out >= 8) {
        if (srcLen - pos >= 8 && allAscii8(src + pos)) {
            std::memcpy(out, src + pos, 8);
            out += 8;
            pos += 8;
            continue;
        }
        for (const int stop = fastEnd - pos < 8 ? fastEnd : pos + 8; pos < stop; ++pos) {
            if (end - out < 4) {
                break;
            }
            const unsigned int packed = cp1252Utf8Table[src[pos]];
            if (packed == 0) {
                goto stopped;  // undefined byte: the copying stops
            }
            out[0] = static_cast<unsigned char>(packed);
            out[1] = static_cast<unsigned char>(packed >> 8);
            out[2] = static_cast<unsigned char>(packed >> 16);
            out[3] = static_cast<unsigned char>(packed >> 24);
            out += packed >> 24;
        }
    }
    for (; pos < srcLen; ++pos) {
        const unsigned int packed = cp1252Utf8Table[src[pos]];
        if (packed == 0) {
            break;
        }
        const unsigned int length = packed >> 24;
        for (unsigned int i = 0; i < length; ++i) {
            out[i] = static_cast<unsigned char>(packed >> (8 * i));
        }
        out += length;
    }
stopped:
    if (srcLen > pos) {
        std::memset(out, 0, static_cast<size_t>(srcLen - pos));
    }
}

// The position of the first undefined byte (srcLen if none) and the UTF-8 bytes before it.
int scanCp1252(const unsigned char* src, int srcLen, long long* bytes) {
    using Detail::cp1252Utf8Table;
    long long total = 0;
    int pos = 0;
    while (pos < srcLen) {
        if (srcLen - pos >= 8 && allAscii8(src + pos)) {
            pos += 8;
            total += 8;
            continue;
        }
        const unsigned int length = cp1252Utf8Table[src[pos]] >> 24;
        if (length == 0) {
            break;
        }
        total += length;
        ++pos;
    }
    *bytes = total;
    return pos;
}

}  // namespace

int cp1252_to_utf8(unsigned char* dst, int dstSize, const unsigned char* src, int srcLen) {
    if (src == nullptr || srcLen < 1) {
        return -1;
    }
    // Each byte gives at most 3 bytes: with that much room the result fits whatever it is, and
    // one pass does. Else count first, so that dst stays untouched when it is too small.
    if (dst != nullptr && dstSize / 3 >= srcLen) {
        writeCp1252(dst, dst + dstSize, src, srcLen);
        return 0;
    }
    long long total = 0;
    const int stop = scanCp1252(src, srcLen, &total);
    total += srcLen - stop;  // one zero byte for each position from the stop on
    if (total > dstSize) {
        return total < INT_MAX ? static_cast<int>(total) : INT_MAX;
    }
    if (dst == nullptr) {
        return -1;
    }
    writeCp1252(dst, dst + total, src, srcLen);
    return 0;
}

int utf8_to_cp1252(const unsigned char* src, int srcLen, unsigned char* dst, int dstSize) {
    using Detail::cp1252Table;
    if (src == nullptr || dst == nullptr) {
        return 0;
    }
    static const unsigned int leadMask[7] = {0, 0x7F, 0x1F, 0x0F, 0x07, 0x03, 0x01};
    int pos = 0;
    int written = 0;
    while (pos < srcLen && written < dstSize) {
        const unsigned int lead = src[pos];
        int length;
        if (lead < 0x80) {
            length = 1;
        } else if (lead < 0xC0) {
            break;  // a continuation byte where a character should start
        } else if (lead < 0xE0) {
            length = 2;
        } else if (lead < 0xF0) {
            length = 3;
        } else if (lead < 0xF8) {
            length = 4;
        } else if (lead < 0xFC) {
            length = 5;
        } else {
            length = 6;
        }
        if (length > srcLen - pos) {
            break;  // a cut sequence ends the conversion
        }
        uint32_t value = lead & leadMask[length];
        int i = 1;
        for (; i < length; ++i) {
            const unsigned int c = src[pos + i];
            if ((c & 0xC0) != 0x80) {
                break;
            }
            value = (value << 6) | (c & 0x3F);
        }
        if (i < length) {
            break;  // not a continuation byte
        }
        pos += length;
        // The table holds each value once: the identity for 0x00-0x7F, 0xA0-0xFF and the five
        // undefined bytes, other values only at 0x80-0x9F. So the first match of a search over
        // all 256 entries is found by this test and a search of 0x80-0x9F.
        if (value < 0x100 && cp1252Table[value] == value) {
            dst[written++] = static_cast<unsigned char>(value);
            continue;
        }
        for (unsigned int b = 0x80; b < 0xA0; ++b) {
            if (cp1252Table[b] == value) {
                dst[written++] = static_cast<unsigned char>(b);
                break;
            }
        }
        // Not in the table: the character is dropped.
    }
    return written;
}

#define KERNA_CODE_PAGE_TO_UTF8(name)                                                            \
    int name##_to_utf8(unsigned char* dst, int& dstLen, const unsigned char* src, int& srcLen) { \
        return codePageToUtf8(Detail::name##Table, dst, dstLen, src, srcLen);                    \
    }

KERNA_CODE_PAGE_TO_UTF8(cp862)
KERNA_CODE_PAGE_TO_UTF8(cp874)
KERNA_CODE_PAGE_TO_UTF8(cp1250)
KERNA_CODE_PAGE_TO_UTF8(cp1251)
KERNA_CODE_PAGE_TO_UTF8(iso8859_1)
KERNA_CODE_PAGE_TO_UTF8(iso8859_2)
KERNA_CODE_PAGE_TO_UTF8(iso8859_3)
KERNA_CODE_PAGE_TO_UTF8(iso8859_4)
KERNA_CODE_PAGE_TO_UTF8(iso8859_5)
KERNA_CODE_PAGE_TO_UTF8(iso8859_6)
KERNA_CODE_PAGE_TO_UTF8(iso8859_7)
KERNA_CODE_PAGE_TO_UTF8(iso8859_8)
KERNA_CODE_PAGE_TO_UTF8(iso8859_9)
KERNA_CODE_PAGE_TO_UTF8(iso8859_10)
KERNA_CODE_PAGE_TO_UTF8(iso8859_13)
KERNA_CODE_PAGE_TO_UTF8(iso8859_14)
KERNA_CODE_PAGE_TO_UTF8(iso8859_15)
KERNA_CODE_PAGE_TO_UTF8(iso8859_16)

#undef KERNA_CODE_PAGE_TO_UTF8

}  // namespace Utils
}  // namespace Tessaran

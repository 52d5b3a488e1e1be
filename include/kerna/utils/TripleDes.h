// TripleDes.h
//
// CTripleDes, DES (FIPS 46-3) with one key, or Triple DES (SP 800-67) with two or three keys,
// in ECB or, when an initial vector is given, CBC, without padding. A wide form enciphers
// 16-byte blocks as two DES halves that exchange a word between the three passes. Every call is a
// fresh run from the constructor's vector: nothing carries over from call to call. Calls on
// different objects, or on one object from several threads, may run at once.
#ifndef KERNA_UTILS_TRIPLEDES_H_
#define KERNA_UTILS_TRIPLEDES_H_

#include <cstddef>

#include <kerna/kerna3/Defs.h>

namespace Tessaran {
namespace Utils {

class TripleDesInternal;

class KERNA_API CTripleDes {
public:
    /// blockType16 selects the wide 16-byte block for keys longer than 8 bytes.
    enum BlockType { blockType8 = 0, blockType16 = 1 };

    /// Keeps `length` bytes of `key` (at most 24; 1 to 8 bytes make single DES, 9 to 16 two-key
    /// and 17 to 24 three-key Triple DES, shorter keys filled with zeros) and, when `iv` is not
    /// null, one block of `iv`, which selects CBC. The block is 8 bytes, or 16 with blockType16
    /// and a key longer than 8 bytes. A null `key` makes a key of length 0, which every call
    /// refuses.
    CTripleDes(const unsigned char* key, size_t length, BlockType type, const unsigned char* iv);

    /// Overwrites the key material with zeros and frees it.
    ~CTripleDes();

    CTripleDes(const CTripleDes&) = delete;
    CTripleDes& operator=(const CTripleDes&) = delete;

    /// Encrypts the whole blocks of `size` bytes from `src` into `dst` (which may equal `src`).
    /// True when `size` is a multiple of the block size; otherwise the whole blocks are still
    /// processed, a line is logged at level 2 and the result is false. A key of length 0 or a
    /// `size` of 2^31 or more is refused with a line at level 2 and false. A null `src` or `dst`
    /// logs a line at level 2 and processes nothing, the result staying as described.
    bool encrypt(unsigned char* dst, const unsigned char* src, size_t size);

    /// Decrypts as encrypt does.
    bool decrypt(unsigned char* dst, const unsigned char* src, size_t size);

private:
    TripleDesInternal* m_internal;
};

}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_UTILS_TRIPLEDES_H_

// Aes.h
//
// CAes, the AES block cipher (FIPS 197) in five modes of operation (SP 800-38A): ECB, CBC, CFB8,
// CFB128 and CTR, with 128, 192 or 256-bit keys and no padding. The stream state of a mode (the
// chaining vector, the CFB and CTR position, the counter) lives on from call to call for the whole
// life of the object, so a message may be fed in pieces; a new object starts a new stream. The
// rounds are table driven; where the CPU has AES instructions the object uses them, with the same
// results. An object has no lock: it belongs to one thread at a time.
#ifndef KERNA_UTILS_AES_H_
#define KERNA_UTILS_AES_H_

#include <cstddef>

#include <kerna/kerna3/Defs.h>

namespace Tessaran {
namespace Utils {

class AesInternal;

class KERNA_API CAes {
public:
    /// The mode of operation, with its length rule and the state kept between calls.
    enum EncMode {
        modeECB = 0,     ///< whole blocks of 16 bytes; no state
        modeCBC = 1,     ///< whole blocks; the chaining vector (shared by encrypt and decrypt)
        modeCFB8 = 2,    ///< any length; the shift register
        modeCFB128 = 3,  ///< any length; the position in the block and the feedback block
        modeCTR = 4      ///< any length; the position, the 128-bit big-endian counter, the key stream
    };

    /// The key length in bits.
    enum KeyBits { keyBits128 = 128, keyBits192 = 192, keyBits256 = 256 };

    /// Builds the cipher of `mode` with `keyBits` bits of `key` and 16 bytes of `iv` (all zeros
    /// when `iv` is null; ECB ignores it). Failure shows in the later calls: a mode outside the
    /// table, no memory or a key length outside the table make every call log "aes init failed."
    /// at level 2 and return false; a null key also logs "Aes<mode> key is NULL" here.
    CAes(EncMode mode, const unsigned char* key, KeyBits keyBits, const unsigned char* iv);

    /// Overwrites the key schedules with zeros and frees them.
    ~CAes();

    CAes(const CAes&) = delete;
    CAes& operator=(const CAes&) = delete;

    /// Encrypts `length` bytes from `src` into `dst` (which may equal `src`). True when all
    /// `length` bytes were processed; false, with nothing changed, for a length that is not a
    /// multiple of 16 in ECB and CBC, or null pointers with a non-zero length.
    bool encrypt(unsigned char* dst, const unsigned char* src, size_t length);

    /// Decrypts as encrypt does. In CTR it is the same operation and advances the same stream.
    bool decrypt(unsigned char* dst, const unsigned char* src, size_t length);

private:
    AesInternal* m_internal;
};

}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_UTILS_AES_H_

// AesCore.h
//
// The AES block cipher of FIPS 197 under the modes of CAes: key schedules and single blocks on
// the table-driven reference path, and the bulk operations on the CPU's AES instructions. Both
// paths read the same schedules and give the same bytes for every input.
#ifndef KERNA_SRC_UTILS_AESCORE_H_
#define KERNA_SRC_UTILS_AESCORE_H_

#include <cstddef>
#include <cstdint>

namespace Tessaran {
namespace Utils {
namespace Detail {

/// A key schedule: the round keys as big-endian words for the table-driven rounds, and the same
/// round keys as bytes for the AES instructions. A decryption schedule holds the round keys of the
/// equivalent inverse cipher (reversed, InvMixColumns applied to the inner ones), as both paths
/// use them.
struct AesSchedule {
    uint32_t words[60];
    alignas(16) unsigned char bytes[240];
    int rounds;  // 10, 12 or 14; 0 when no key was set
};

/// Builds the encryption schedule of `bits` (128, 192 or 256) bits of `key`. False, with
/// `schedule` cleared, for any other length.
bool aesSetEncryptKey(const unsigned char* key, int bits, AesSchedule& schedule);
/// Builds the decryption schedule from an encryption schedule.
void aesMakeDecryptKey(const AesSchedule& encrypt, AesSchedule& decrypt);

/// The table-driven rounds on one 16-byte block; `in` may equal `out`.
void aesEncryptBlock(const AesSchedule& schedule, const unsigned char* in, unsigned char* out);
void aesDecryptBlock(const AesSchedule& schedule, const unsigned char* in, unsigned char* out);

/// Adds one to a 16-byte big-endian counter, wrapping from all 0xFF bytes to all zeros.
void aesIncrementCounter(unsigned char* counter);

// The same on the AES instructions (only where useAesNi() is true). Blocks of 16 bytes; `in` may
// equal `out`. CBC updates `iv` to the last ciphertext block, CTR advances `counter` by `blocks`.
void aesNiEncryptBlocks(const AesSchedule& k, unsigned char* out, const unsigned char* in, size_t blocks);
void aesNiDecryptBlocks(const AesSchedule& k, unsigned char* out, const unsigned char* in, size_t blocks);
void aesNiCbcEncrypt(const AesSchedule& k, unsigned char* iv, unsigned char* out,
                     const unsigned char* in, size_t blocks);
void aesNiCbcDecrypt(const AesSchedule& k, unsigned char* iv, unsigned char* out,
                     const unsigned char* in, size_t blocks);
void aesNiCtr(const AesSchedule& k, unsigned char* counter, unsigned char* out,
              const unsigned char* in, size_t blocks);

}  // namespace Detail
}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_SRC_UTILS_AESCORE_H_

// Md5.h
//
// CMd5, the MD5 message digest of RFC 1321. The object keeps one heap record with the running
// hash, the bit count, the unhashed input and the finished digest. After final or hex the digest
// stays readable until the next update with data, which starts a new message by itself. An object
// has no lock: it belongs to one thread at a time.
#ifndef KERNA_UTILS_MD5_H_
#define KERNA_UTILS_MD5_H_

#include <cstddef>

#include <kerna/kerna3/Defs.h>

namespace Tessaran {
namespace Utils {

class Md5Internal;

class KERNA_API CMd5 {
public:
    /// Makes the record and starts a message.
    CMd5();
    /// Frees the record.
    ~CMd5();

    CMd5(const CMd5&) = delete;
    CMd5& operator=(const CMd5&) = delete;

    /// Starts a new message: drops input given so far and any finished digest.
    void init();

    /// Adds `length` bytes of `data`. A null `data` or a `length` of 0 does nothing at all. On a
    /// finished object the call first starts a new message. One call takes less than 2^32 bytes;
    /// a longer `length` is refused with an error line and changes nothing.
    void update(const unsigned char* data, size_t length);

    /// Finishes the message if it is not yet finished and copies the 16 digest bytes to `digest`.
    /// A null `digest` logs "digest is NULL" at level 2 and leaves the message open.
    void final(unsigned char* digest);

    /// Finishes as final does and writes the digest as 32 lower-case hexadecimal characters to
    /// `hash`, without a terminator. A null `hash` logs "hash is NULL" and leaves the message open.
    void hex(char* hash);

private:
    Md5Internal* m_internal;
};

}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_UTILS_MD5_H_

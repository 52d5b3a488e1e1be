// Sha1.h
//
// CSha1, the SHA-1 message digest of FIPS 180. The object keeps one heap record with the bit
// count, the running hash, the unhashed input and the finished digest. After final or hex the
// digest stays readable until the next update with data, which starts a new message by itself.
// Where the CPU has SHA instructions the blocks run through them, with the same digest. An object
// has no lock: it belongs to one thread at a time.
#ifndef KERNA_UTILS_SHA1_H_
#define KERNA_UTILS_SHA1_H_

#include <cstddef>

#include <kerna/kerna3/Defs.h>

namespace Tessaran {
namespace Utils {

class Sha1Internal;

class KERNA_API CSha1 {
public:
    /// Makes the record and starts a message.
    CSha1();
    /// Frees the record.
    ~CSha1();

    CSha1(const CSha1&) = delete;
    CSha1& operator=(const CSha1&) = delete;

    /// Adds `length` bytes of `data`. A null `data` or a `length` of 0 does nothing at all. On a
    /// finished object the call first starts a new message. One call takes less than 2^32 bytes;
    /// a longer `length` is refused with an error line and changes nothing. A call that hashed a
    /// block clears the stack below it that the block function used.
    void update(const unsigned char* data, size_t length);

    /// Finishes the message if it is not yet finished and copies the 20 digest bytes to `hash`,
    /// which has room for `length` bytes. A null `hash` ("hash is NULL!") or a `length` below 20
    /// ("len:%u is invalid!") logs at level 2, writes nothing and leaves the message open.
    void final(unsigned char* hash, size_t length);

    /// Finishes as final does and writes the digest as 40 lower-case hexadecimal characters to
    /// `str`, which has room for `length` bytes; a terminator follows only if `length` is above 40.
    /// A null `str` ("str is NULL!") or a `length` below 40 ("len:%u is invalid!") logs at level 2,
    /// writes nothing and leaves the message open.
    void hex(char* str, size_t length);

private:
    Sha1Internal* m_internal;
};

}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_UTILS_SHA1_H_

// IpAddress.h
//
// Tessaran::IpAddress, a 32-bit IPv4 address, and its conversion to and from dotted text. The
// first dotted number sits in the least significant byte of `value` and the fourth in the most
// significant byte, whatever the host's byte order; on a little-endian host the bytes lie in
// memory in the order of the text, which is network order.
#ifndef KERNA_UTILS_IPADDRESS_H_
#define KERNA_UTILS_IPADDRESS_H_

#include <cstddef>
#include <cstdint>

#include <kerna/kerna3/Defs.h>

namespace Tessaran {

/// A 32-bit IPv4 address, passed by value. `value` & 0xFF is the first dotted number.
union IpAddress {
    uint32_t value;
    unsigned char bytes[4];  // bytes[0] is the first number on a little-endian host
};

namespace Utils {

/// Writes `ip` as "%d.%d.%d.%d" into `dst` of `size` bytes through snprintf_x (cut, and always
/// terminated, when it does not fit). Returns `dst`; null, with an error line, for a null `dst`
/// or a `size` of 0.
KERNA_API char* ipToString(IpAddress ip, char* dst, size_t size);

/// Reads four decimal numbers separated by "." as sscanf with "%d.%d.%d.%d" would (blanks before
/// each number are skipped, a sign is accepted). Each number goes into its byte cut to 8 bits,
/// without a range test, so 300 gives 44. A null `text`, or fewer than four numbers, logs the
/// warning "param str %s is invalid"; the numbers that were read stay in the result, the others
/// are 0.
KERNA_API IpAddress stringToIp(const char* text);

}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_UTILS_IPADDRESS_H_

// Commands.cpp
//
// The table of the kerna tool's subcommands.
#include "Commands.h"

namespace KernaTool {

const Command commands[] = {
    {"version", cmdVersion, "print the library version"},
    {"demo", cmdDemo, "show the library at work"},
    {"iconv", cmdIconv, "convert text between UTF-8, GBK, UCS-4 and code pages"},
    {"md5sum", cmdMd5sum, "print or check MD5 checksums (as coreutils md5sum)"},
    {"sha1sum", cmdSha1sum, "print or check SHA-1 checksums (as coreutils sha1sum)"},
    {"crc32", cmdCrc32, "print CRC-32 checksums of files"},
    {"base64", cmdBase64, "Base64 encode or decode (as coreutils base64)"},
    {"base16", cmdBase16, "Base16 encode or decode (as coreutils basenc --base16)"},
    {"aes", cmdAes, "AES encryption in ECB, CBC, CFB8, CFB128 or CTR, no padding"},
    {"des", cmdDes, "DES and Triple DES encryption in ECB or CBC, no padding"},
    {"dst", cmdDst, "print the daylight-saving instants of a rule, year by year"},
    {nullptr, nullptr, nullptr},
};

}  // namespace KernaTool

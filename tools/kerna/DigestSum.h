// DigestSum.h
//
// The engine of `kerna md5sum` and `kerna sha1sum`: print or check digests of files with the
// output and the checking rules of coreutils' md5sum and sha1sum.
#ifndef KERNA_TOOLS_KERNA_DIGESTSUM_H_
#define KERNA_TOOLS_KERNA_DIGESTSUM_H_

#include <string>

#include "ToolSupport.h"

namespace KernaTool {

struct DigestAlgorithm {
    const char* command;    // "md5sum"
    const char* tag;        // "MD5", as in BSD-style lines
    size_t hexLength;       // 32
    const char* bits;       // "128-bit", for the help text
    const char* standard;   // "RFC 1321", for the help text
    /// Reads `in` to its end and gives the digest in lower-case hexadecimal; false on a read
    /// error (errno set).
    bool (*digest)(Input& in, std::string& hex);
};

int runDigestCommand(const DigestAlgorithm& algorithm, int argc, char** argv);

}  // namespace KernaTool

#endif  // KERNA_TOOLS_KERNA_DIGESTSUM_H_

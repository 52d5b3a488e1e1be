// Sha1sum.cpp
//
// `kerna sha1sum`: SHA-1 digests of files, printed or checked as coreutils' sha1sum does.
#include "Commands.h"
#include "DigestSum.h"
#include "kerna/utils/Sha1.h"

namespace KernaTool {

namespace {

bool sha1OfInput(Input& in, std::string& hex) {
    Tessaran::Utils::CSha1 sha1;
    static unsigned char buffer[1 << 16];
    size_t n;
    while ((n = in.read(buffer, sizeof buffer)) > 0) sha1.update(buffer, n);
    if (in.failed()) return false;
    char text[41];
    sha1.hex(text, sizeof text);
    hex.assign(text, 40);
    return true;
}

}  // namespace

int cmdSha1sum(int argc, char** argv) {
    static const DigestAlgorithm kSha1 = {"sha1sum", "SHA1", 40, "160-bit", "FIPS-180-1", &sha1OfInput};
    return runDigestCommand(kSha1, argc, argv);
}

}  // namespace KernaTool

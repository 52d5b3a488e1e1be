// Md5sum.cpp
//
// `kerna md5sum`: MD5 digests of files, printed or checked as coreutils' md5sum does.
#include "Commands.h"
#include "DigestSum.h"
#include "kerna/utils/Md5.h"

namespace KernaTool {

namespace {

bool md5OfInput(Input& in, std::string& hex) {
    Tessaran::Utils::CMd5 md5;
    static unsigned char buffer[1 << 16];
    size_t n;
    while ((n = in.read(buffer, sizeof buffer)) > 0) md5.update(buffer, n);
    if (in.failed()) return false;
    char text[32];
    md5.hex(text);
    hex.assign(text, 32);
    return true;
}

}  // namespace

int cmdMd5sum(int argc, char** argv) {
    static const DigestAlgorithm kMd5 = {"md5sum", "MD5", 32, "128-bit", "RFC 1321", &md5OfInput};
    return runDigestCommand(kMd5, argc, argv);
}

}  // namespace KernaTool

// Base16Cmd.cpp
//
// `kerna base16`: upper-case hexadecimal as coreutils' basenc --base16 writes it; reading
// accepts either case.
#include <ctype.h>

#include "Commands.h"
#include "TextCodec.h"
#include "kerna/utils/Base16.h"

namespace KernaTool {

namespace {

bool inAlphabet(unsigned char c) { return isxdigit(c) != 0; }

void encodeBlock(const unsigned char* data, size_t size, std::string& text) {
    if (size == 0) return;
    std::string out(2 * size + 1, '\0');
    Tessaran::Utils::base16Encode(data, size, &out[0], out.size());
    text.append(out.data(), 2 * size);
}

bool decodeText(std::string& text, bool final, std::string& bytes) {
    size_t valid = 0;
    while (valid < text.size() && inAlphabet(static_cast<unsigned char>(text[valid]))) ++valid;
    const bool stopped = valid < text.size();  // a character outside the alphabet
    const size_t pairs = valid / 2 * 2;
    if (pairs != 0) {
        std::string out(pairs / 2, '\0');
        Tessaran::Utils::base16Decode(text.data(), pairs, reinterpret_cast<unsigned char*>(&out[0]), out.size());
        bytes += out;
    }
    if (stopped || (final && pairs != text.size())) {
        text.clear();
        return false;
    }
    text.erase(0, pairs);
    return true;
}

}  // namespace

int cmdBase16(int argc, char** argv) {
    static const TextCodec kBase16 = {"base16", "Base16 (upper-case hexadecimal)", &encodeBlock, &decodeText,
                                      &inAlphabet};
    return runTextCodec(kBase16, argc, argv);
}

}  // namespace KernaTool

// Base64Cmd.cpp
//
// `kerna base64`: Base64 of RFC 4648 as coreutils' base64 writes and reads it.
#include <string.h>

#include "Commands.h"
#include "TextCodec.h"
#include "kerna/utils/Base64.h"

namespace KernaTool {

namespace {

bool inAlphabet(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

void encodeBlock(const unsigned char* data, size_t size, std::string& text) {
    std::string out(Tessaran::Utils::base64EncodeLenEx(size), '\0');
    const size_t n = Tessaran::Utils::base64EncodeEx(&out[0], reinterpret_cast<const char*>(data), size);
    text.append(out.data(), n - 1);
}

// Decodes `length` characters at `p`: whole groups, the last of which may end in fill.
void decodeRun(const char* p, size_t length, std::string& bytes) {
    std::string out(Tessaran::Utils::base64DecodeLenEx2(p, length), '\0');
    const size_t n = Tessaran::Utils::base64DecodeEx2(&out[0], p, length);
    bytes.append(out.data(), n);
}

size_t alphabetPrefix(const std::string& text, size_t at, size_t limit) {
    size_t n = 0;
    while (n < limit && at + n < text.size() && inAlphabet(static_cast<unsigned char>(text[at + n]))) ++n;
    return n;
}

bool decodeText(std::string& text, bool final, std::string& bytes) {
    size_t i = 0;
    bool ok = true;
    while (text.size() - i >= 4) {
        size_t j = i;
        while (text.size() - j >= 4 && alphabetPrefix(text, j, 4) == 4) j += 4;
        if (j > i) {
            decodeRun(text.data() + i, j - i, bytes);
            i = j;
            continue;
        }
        const size_t valid = alphabetPrefix(text, i, 4);
        const bool padded = (valid == 2 && text[i + 2] == '=' && text[i + 3] == '=') ||
                            (valid == 3 && text[i + 3] == '=');
        decodeRun(text.data() + i, valid, bytes);  // a prefix of 2 or 3 characters still gives bytes
        i += 4;
        if (!padded) {
            ok = false;
            break;
        }
    }
    if (ok && final && i < text.size()) {
        decodeRun(text.data() + i, alphabetPrefix(text, i, 3), bytes);
        ok = false;
    }
    text.erase(0, ok ? i : text.size());
    return ok;
}

}  // namespace

int cmdBase64(int argc, char** argv) {
    static const TextCodec kBase64 = {"base64", "Base64", &encodeBlock, &decodeText, &inAlphabet};
    return runTextCodec(kBase64, argc, argv);
}

}  // namespace KernaTool

// TextCodec.h
//
// The engine of `kerna base64` and `kerna base16`: encode with lines wrapped at a column, or
// decode ignoring line ends, as coreutils' base64 and basenc do.
#ifndef KERNA_TOOLS_KERNA_TEXTCODEC_H_
#define KERNA_TOOLS_KERNA_TEXTCODEC_H_

#include <string>

namespace KernaTool {

struct TextCodec {
    const char* command;      // "base64"
    const char* description;  // for the help text
    /// Encodes `size` bytes (whole units of the encoding except at the end) and appends the text.
    void (*encode)(const unsigned char* data, size_t size, std::string& text);
    /// Decodes the characters of `text` that form whole units and appends the bytes; leaves the
    /// characters of an incomplete unit in `text`. False at a character that cannot be decoded,
    /// after appending what came before it.
    bool (*decode)(std::string& text, bool final, std::string& bytes);
    /// Whether a character belongs to the encoding (for --ignore-garbage).
    bool (*inAlphabet)(unsigned char c);
};

int runTextCodec(const TextCodec& codec, int argc, char** argv);

}  // namespace KernaTool

#endif  // KERNA_TOOLS_KERNA_TEXTCODEC_H_

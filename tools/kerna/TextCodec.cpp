// TextCodec.cpp
//
// Encoding reads the input in blocks that are whole units, encodes each block and cuts the text
// into lines of the wrap width (76 by default, 0 for none); a last line end follows any text.
// Decoding drops line ends (and, with --ignore-garbage, every byte outside the alphabet), decodes
// whole units as they come, and stops with "invalid input" at the first unit it cannot decode,
// after writing what came before.
#include "TextCodec.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "ToolSupport.h"

namespace KernaTool {

namespace {

enum OptionId { optDecode = 1, optIgnoreGarbage, optWrap, optHelp };

const OptionDef kOptions[] = {
    {"decode", 'd', false, optDecode}, {"ignore-garbage", 'i', false, optIgnoreGarbage},
    {"wrap", 'w', true, optWrap},      {"help", 0, false, optHelp},
    {nullptr, 0, false, 0},
};

void printHelp(const TextCodec& c) {
    printf("Usage: kerna %s [OPTION]... [FILE]\n", c.command);
    printf("%s encode or decode FILE, or standard input, to standard output.\n\n", c.description);
    printf("With no FILE, or when FILE is -, read standard input.\n\n"
           "  -d, --decode          decode data\n"
           "  -i, --ignore-garbage  when decoding, ignore non-alphabet characters\n"
           "  -w, --wrap=COLS       wrap encoded lines after COLS character (default 76).\n"
           "                          Use 0 to disable line wrapping\n"
           "      --help        display this help and exit\n\n"
           "When decoding, the input may contain newlines in addition to the bytes of\n"
           "the alphabet. Use --ignore-garbage to attempt to recover from any other\n"
           "non-alphabet bytes in the encoded stream.\n\n"
           "Exit status: 0 if all went well, 1 if the input could not be read or decoded,\n"
           "2 if the command line is wrong.\n");
}

int encode(const TextCodec& c, Input& in, size_t wrap) {
    // 3 * 19 * 1024 bytes: whole units for both codecs.
    static unsigned char buffer[57 * 1024];
    std::string text, out;
    size_t column = 0;
    size_t n;
    while ((n = in.read(buffer, sizeof buffer)) > 0) {
        text.clear();
        c.encode(buffer, n, text);
        out.clear();
        if (wrap == 0) {
            out = text;
        } else {
            for (size_t at = 0; at < text.size();) {
                const size_t take = std::min(wrap - column, text.size() - at);
                out.append(text, at, take);
                at += take;
                column += take;
                if (column == wrap) {
                    out += '\n';
                    column = 0;
                }
            }
        }
        if (!writeOut(out.data(), out.size())) return -1;
    }
    if (in.failed()) return 1;
    if (wrap != 0 && column != 0 && !writeOut("\n", 1)) return -1;
    return 0;
}

int decode(const TextCodec& c, Input& in, bool ignoreGarbage) {
    static unsigned char buffer[1 << 16];
    std::string text, bytes;
    size_t n;
    bool more = true;
    while (more) {
        n = in.read(buffer, sizeof buffer);
        more = n > 0;
        for (size_t i = 0; i < n; ++i) {
            const unsigned char ch = buffer[i];
            if (ch == '\n') continue;
            if (ignoreGarbage && !c.inAlphabet(ch) && ch != '=') continue;
            text += static_cast<char>(ch);
        }
        bytes.clear();
        const bool ok = c.decode(text, !more, bytes);
        if (!writeOut(bytes.data(), bytes.size())) return -1;
        if (!ok) return 2;
    }
    return in.failed() ? 1 : 0;
}

}  // namespace

int runTextCodec(const TextCodec& c, int argc, char** argv) {
    std::vector<ParsedOption> options;
    std::vector<std::string> files;
    if (!parseOptions(c.command, argc, argv, kOptions, options, files)) return 2;
    bool decoding = false, ignoreGarbage = false;
    size_t wrap = 76;
    for (const ParsedOption& o : options) {
        if (o.id == optHelp) {
            printHelp(c);
            return 0;
        }
        if (o.id == optDecode) decoding = true;
        if (o.id == optIgnoreGarbage) ignoreGarbage = true;
        if (o.id == optWrap) {
            char* end = nullptr;
            errno = 0;
            const long long w = strtoll(o.argument.c_str(), &end, 10);
            if (o.argument.empty() || *end != '\0' || w < 0 || errno != 0) {
                fprintf(stderr, "kerna %s: invalid wrap size: %s\n", c.command, quoteName(o.argument).c_str());
                return 2;
            }
            wrap = static_cast<size_t>(w);
        }
    }
    if (files.size() > 1) {
        fprintf(stderr, "kerna %s: extra operand %s\n", c.command, quoteName(files[1]).c_str());
        tryHelp(c.command);
        return 2;
    }
    const std::string name = files.empty() ? "-" : files[0];
    Input in;
    if (!in.open(name)) {
        fprintf(stderr, "kerna %s: %s: %s\n", c.command, quoteName(name).c_str(), strerror(errno));
        return 1;
    }
    const int result = decoding ? decode(c, in, ignoreGarbage) : encode(c, in, wrap);
    if (fflush(stdout) != 0 || result < 0) {
        fprintf(stderr, "kerna %s: write error: %s\n", c.command, strerror(errno));
        return 1;
    }
    if (result == 1) {
        fprintf(stderr, "kerna %s: %s: %s\n", c.command, quoteName(name).c_str(), strerror(errno));
        return 1;
    }
    if (result == 2) {
        fprintf(stderr, "kerna %s: invalid input\n", c.command);
        return 1;
    }
    return 0;
}

}  // namespace KernaTool

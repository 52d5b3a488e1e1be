// Iconv.cpp: `kerna iconv`, converts a file or standard input with the library's charset
// functions.
//
//   kerna iconv -f FROM -t TO [FILE]
//   kerna iconv -l
//
// The directions are those the library offers: UTF-8 with GBK, UCS-4 (host byte order) and
// Windows-1252 both ways, and each code page to UTF-8. Where the library cannot map a character,
// the text converted before it is written, a message names the character and its input offset,
// and the exit status is 1. Usage errors exit with 2.

#include <kerna/utils/Charset.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "Commands.h"

namespace {

using namespace Tessaran::Utils;

typedef int (*CodePageFunction)(unsigned char*, int&, const unsigned char*, int&);

enum class Kind { Utf8, Gbk, Ucs4, Cp1252, CodePage };

struct Encoding {
    const char* name;     // the name listed, as glibc iconv knows it
    const char* aliases;  // other accepted names, separated by blanks
    Kind kind;
    CodePageFunction toUtf8;  // code pages only
};

// Characters of UCS-4 are 32 bits in host byte order.
bool littleEndianHost() {
    const uint32_t one = 1;
    unsigned char first;
    std::memcpy(&first, &one, 1);
    return first == 1;
}

const Encoding kEncodings[] = {
    {"UTF-8", "UTF8", Kind::Utf8, nullptr},
    {"GBK", "CP936 MS936 WINDOWS-936", Kind::Gbk, nullptr},
    {"UCS-4LE", "", Kind::Ucs4, nullptr},  // renamed UCS-4BE on a big-endian host
    {"WINDOWS-1252", "CP1252 MS-ANSI", Kind::Cp1252, nullptr},
    {"CP862", "IBM862 862", Kind::CodePage, cp862_to_utf8},
    {"CP874", "WINDOWS-874 IBM874", Kind::CodePage, cp874_to_utf8},
    {"WINDOWS-1250", "CP1250 MS-EE", Kind::CodePage, cp1250_to_utf8},
    {"WINDOWS-1251", "CP1251 MS-CYRL", Kind::CodePage, cp1251_to_utf8},
    {"ISO-8859-1", "ISO8859-1 ISO_8859-1 LATIN1 L1", Kind::CodePage, iso8859_1_to_utf8},
    {"ISO-8859-2", "ISO8859-2 ISO_8859-2 LATIN2 L2", Kind::CodePage, iso8859_2_to_utf8},
    {"ISO-8859-3", "ISO8859-3 ISO_8859-3 LATIN3 L3", Kind::CodePage, iso8859_3_to_utf8},
    {"ISO-8859-4", "ISO8859-4 ISO_8859-4 LATIN4 L4", Kind::CodePage, iso8859_4_to_utf8},
    {"ISO-8859-5", "ISO8859-5 ISO_8859-5 CYRILLIC", Kind::CodePage, iso8859_5_to_utf8},
    {"ISO-8859-6", "ISO8859-6 ISO_8859-6 ARABIC", Kind::CodePage, iso8859_6_to_utf8},
    {"ISO-8859-7", "ISO8859-7 ISO_8859-7 GREEK", Kind::CodePage, iso8859_7_to_utf8},
    {"ISO-8859-8", "ISO8859-8 ISO_8859-8 HEBREW", Kind::CodePage, iso8859_8_to_utf8},
    {"ISO-8859-9", "ISO8859-9 ISO_8859-9 LATIN5 L5", Kind::CodePage, iso8859_9_to_utf8},
    {"ISO-8859-10", "ISO8859-10 ISO_8859-10 LATIN6 L6", Kind::CodePage, iso8859_10_to_utf8},
    {"ISO-8859-13", "ISO8859-13 ISO_8859-13 LATIN7 L7", Kind::CodePage, iso8859_13_to_utf8},
    {"ISO-8859-14", "ISO8859-14 ISO_8859-14 LATIN8 L8", Kind::CodePage, iso8859_14_to_utf8},
    {"ISO-8859-15", "ISO8859-15 ISO_8859-15 LATIN-9", Kind::CodePage, iso8859_15_to_utf8},
    {"ISO-8859-16", "ISO8859-16 ISO_8859-16 LATIN10 L10", Kind::CodePage, iso8859_16_to_utf8},
};

std::string displayName(const Encoding& e) {
    if (e.kind == Kind::Ucs4 && !littleEndianHost()) return "UCS-4BE";
    return e.name;
}

std::string upper(const char* text) {
    std::string s(text);
    for (char& c : s)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    // glibc accepts a trailing "//" (and options behind it); so do we, ignoring them.
    const size_t slashes = s.find("//");
    if (slashes != std::string::npos) s.erase(slashes);
    return s;
}

const Encoding* findEncoding(const char* name) {
    const std::string wanted = upper(name);
    for (const Encoding& e : kEncodings) {
        if (wanted == displayName(e)) return &e;
        const std::string aliases = std::string(" ") + e.aliases + " ";
        if (!wanted.empty() && aliases.find(" " + wanted + " ") != std::string::npos) return &e;
    }
    return nullptr;
}

bool supported(const Encoding& from, const Encoding& to) {
    if (from.kind == Kind::Utf8)
        return to.kind == Kind::Gbk || to.kind == Kind::Ucs4 || to.kind == Kind::Cp1252;
    return to.kind == Kind::Utf8;
}

void listDirections() {
    for (const Encoding& e : kEncodings) {
        if (e.kind == Kind::Utf8) continue;
        if (e.kind != Kind::CodePage) {
            std::printf("UTF-8 -> %s\n", displayName(e).c_str());
        }
        std::printf("%s -> UTF-8\n", displayName(e).c_str());
    }
}

void usage(std::FILE* out) {
    std::fprintf(out,
                 "usage: kerna iconv -f FROM -t TO [FILE]\n"
                 "       kerna iconv -l\n"
                 "Converts FILE (or standard input) to standard output.\n");
}

bool readAll(std::FILE* in, std::vector<unsigned char>* data) {
    unsigned char buffer[65536];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, in)) > 0) {
        data->insert(data->end(), buffer, buffer + n);
    }
    return !std::ferror(in);
}

// The result of one conversion: the output so far and, on failure, a message.
struct Result {
    std::vector<unsigned char> out;
    std::string error;
};

__attribute__((format(printf, 1, 2))) std::string format(const char* fmt, ...) {
    char text[256];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    return text;
}

// The length of the valid UTF-8 sequence at `p` and its 16-bit value, or an error message.
// Sequences of 4 bytes and more carry values beyond 16 bits, which the library's 16-bit and
// UCS-4 readers can't take.
bool nextUtf8(const std::vector<unsigned char>& in, size_t pos, const char* target,
              unsigned short* value, int* length, std::string* error) {
    const unsigned char* p = in.data() + pos;
    const size_t left = in.size() - pos;
    if (p[0] < 0x80) {
        *value = p[0];
        *length = 1;
        return true;
    }
    const int n = utf8_mbtowc(value, p, left < 8 ? static_cast<int>(left) : 8);
    if (n < 0) {
        *error = format("invalid or incomplete UTF-8 sequence at offset %zu", pos);
        return false;
    }
    if (n > 3) {
        *error = format(
            "cannot convert the %d-byte UTF-8 sequence at offset %zu to %s: "
            "beyond U+FFFF",
            n, pos, target);
        return false;
    }
    *length = n;
    return true;
}

void utf8ToGbk(const std::vector<unsigned char>& in, Result* r) {
    for (size_t pos = 0; pos < in.size();) {
        unsigned short value;
        int length;
        if (!nextUtf8(in, pos, "GBK", &value, &length, &r->error)) return;
        unsigned char bytes[2];
        const int n = uni2char(value, bytes, 2);
        if (n < 0) {
            r->error = format("cannot convert U+%04X at offset %zu to GBK", value, pos);
            return;
        }
        r->out.insert(r->out.end(), bytes, bytes + n);
        pos += static_cast<size_t>(length);
    }
}

void gbkToUtf8(const std::vector<unsigned char>& in, Result* r) {
    for (size_t pos = 0; pos < in.size();) {
        const size_t left = in.size() - pos;
        unsigned short value;
        const int used = char2uni(in.data() + pos, left < 2 ? static_cast<int>(left) : 2, &value);
        if (used < 0) {
            r->error = format("cannot convert the GBK pair 0x%02X 0x%02X at offset %zu", in[pos],
                              in[pos + 1], pos);
            return;
        }
        unsigned char bytes[3];
        const int n = utf8_wctomb(bytes, value, 3);
        r->out.insert(r->out.end(), bytes, bytes + n);
        pos += static_cast<size_t>(used);
    }
}

void utf8ToUcs4(const std::vector<unsigned char>& in, const char* target, Result* r) {
    // Check the sequences first: the library's reader takes the length from the lead byte alone.
    size_t valid = 0;
    while (valid < in.size()) {
        unsigned short value;
        int length;
        if (!nextUtf8(in, valid, target, &value, &length, &r->error)) break;
        valid += static_cast<size_t>(length);
    }
    for (size_t pos = 0; pos < valid;) {
        // In pieces, so that every length fits an int.
        size_t piece = valid - pos < (1u << 26) ? valid - pos : (1u << 26);
        while (piece < valid - pos && (in[pos + piece] & 0xC0) == 0x80) --piece;
        const size_t start = r->out.size();
        r->out.resize(start + 4 * piece);
        const int written =
            utf8ToUCS4(reinterpret_cast<char*>(const_cast<unsigned char*>(in.data() + pos)),
                       static_cast<int>(piece), r->out.data() + start, static_cast<int>(4 * piece));
        r->out.resize(start + static_cast<size_t>(written));
        pos += piece;
    }
}

void ucs4ToUtf8(const std::vector<unsigned char>& in, Result* r) {
    const size_t whole = in.size() / 4 * 4;
    size_t valid = 0;
    for (; valid < whole; valid += 4) {
        uint32_t value;
        std::memcpy(&value, in.data() + valid, 4);
        if (value >= 0x80000000u) {
            r->error = format("cannot convert the UCS-4 value 0x%08X at offset %zu",
                              static_cast<unsigned int>(value), valid);
            break;
        }
    }
    for (size_t pos = 0; pos < valid;) {
        const size_t piece = valid - pos < (1u << 24) ? valid - pos : (1u << 24);
        const size_t start = r->out.size();
        r->out.resize(start + piece / 4 * 6);
        const int written = UCS4ToUtf8(
            reinterpret_cast<char*>(const_cast<unsigned char*>(in.data() + pos)),
            static_cast<int>(piece), r->out.data() + start, static_cast<int>(piece / 4 * 6));
        r->out.resize(start + static_cast<size_t>(written));
        pos += piece;
    }
    if (r->error.empty() && whole != in.size()) {
        r->error = format("incomplete UCS-4 character at offset %zu", whole);
    }
}

void utf8ToCp1252(const std::vector<unsigned char>& in, Result* r) {
    for (size_t pos = 0; pos < in.size();) {
        unsigned short value;
        int length;
        if (!nextUtf8(in, pos, "WINDOWS-1252", &value, &length, &r->error)) return;
        unsigned char byte;
        if (utf8_to_cp1252(in.data() + pos, length, &byte, 1) != 1) {
            r->error = format("cannot convert U+%04X at offset %zu to WINDOWS-1252", value, pos);
            return;
        }
        r->out.push_back(byte);
        pos += static_cast<size_t>(length);
    }
}

// Which bytes a single-byte conversion maps: asks the library once per byte value.
void mappedBytes(Kind kind, CodePageFunction toUtf8, bool mapped[256]) {
    for (unsigned int b = 0; b < 256; ++b) {
        const unsigned char src = static_cast<unsigned char>(b);
        unsigned char dst[8];
        if (kind == Kind::Cp1252) {
            // An undefined byte stops the conversion and comes out as a zero byte.
            mapped[b] = cp1252_to_utf8(dst, sizeof dst, &src, 1) == 0 && (b == 0 || dst[0] != 0);
        } else {
            int dstLen = sizeof dst;
            int srcLen = 1;
            mapped[b] = toUtf8(dst, dstLen, &src, srcLen) == 0 && dstLen > 0;
        }
    }
}

void singleByteToUtf8(const std::vector<unsigned char>& in, const Encoding& from, Result* r) {
    bool mapped[256];
    mappedBytes(from.kind, from.toUtf8, mapped);
    size_t valid = 0;
    while (valid < in.size() && mapped[in[valid]]) ++valid;
    for (size_t pos = 0; pos < valid;) {
        const size_t piece = valid - pos < (1u << 24) ? valid - pos : (1u << 24);
        const size_t start = r->out.size();
        int srcLen = static_cast<int>(piece);
        int dstLen = static_cast<int>(piece * 3);
        if (from.kind == Kind::Cp1252) {
            // With a bound of 0 the result is the number of bytes needed.
            dstLen = cp1252_to_utf8(nullptr, 0, in.data() + pos, srcLen);
            r->out.resize(start + static_cast<size_t>(dstLen));
            cp1252_to_utf8(r->out.data() + start, dstLen, in.data() + pos, srcLen);
        } else {
            r->out.resize(start + static_cast<size_t>(dstLen));
            from.toUtf8(r->out.data() + start, dstLen, in.data() + pos, srcLen);
            r->out.resize(start + static_cast<size_t>(dstLen));
        }
        pos += piece;
    }
    if (valid < in.size()) {
        r->error = format("cannot convert byte 0x%02X at offset %zu from %s", in[valid], valid,
                          displayName(from).c_str());
    }
}

}  // namespace

namespace KernaTool {

int cmdIconv(int argc, char** argv) {
    const char* fromName = nullptr;
    const char* toName = nullptr;
    const char* file = nullptr;
    bool list = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "-l" || arg == "--list") {
            list = true;
        } else if (arg == "-h" || arg == "--help") {
            usage(stdout);
            return 0;
        } else if ((arg == "-f" || arg == "-t") && i + 1 < argc) {
            (arg == "-f" ? fromName : toName) = argv[++i];
        } else if (arg.compare(0, 2, "-f") == 0 && arg.size() > 2) {
            fromName = argv[i] + 2;
        } else if (arg.compare(0, 2, "-t") == 0 && arg.size() > 2) {
            toName = argv[i] + 2;
        } else if (arg != "-" && !arg.empty() && arg[0] == '-') {
            std::fprintf(stderr, "kerna iconv: unknown option %s\n", arg.c_str());
            usage(stderr);
            return 2;
        } else if (file == nullptr) {
            file = argv[i];
        } else {
            std::fprintf(stderr, "kerna iconv: one input file at most\n");
            usage(stderr);
            return 2;
        }
    }
    if (list) {
        listDirections();
        return 0;
    }
    if (fromName == nullptr || toName == nullptr) {
        usage(stderr);
        return 2;
    }
    const Encoding* from = findEncoding(fromName);
    const Encoding* to = findEncoding(toName);
    if (from == nullptr || to == nullptr) {
        std::fprintf(stderr, "kerna iconv: unknown encoding %s (kerna iconv -l lists them)\n",
                     from == nullptr ? fromName : toName);
        return 2;
    }
    if (!supported(*from, *to)) {
        std::fprintf(stderr,
                     "kerna iconv: no conversion from %s to %s (kerna iconv -l lists them)\n",
                     displayName(*from).c_str(), displayName(*to).c_str());
        return 2;
    }

    std::vector<unsigned char> input;
    const bool fromStdin = file == nullptr || std::strcmp(file, "-") == 0;
    std::FILE* in = fromStdin ? stdin : std::fopen(file, "rb");
    if (in == nullptr) {
        std::fprintf(stderr, "kerna iconv: cannot open %s: %s\n", file, std::strerror(errno));
        return 1;
    }
    const bool readOk = readAll(in, &input);
    if (!fromStdin) std::fclose(in);
    if (!readOk) {
        std::fprintf(stderr, "kerna iconv: cannot read %s\n", fromStdin ? "standard input" : file);
        return 1;
    }

    Result result;
    const std::string target = displayName(*to);
    if (from->kind == Kind::Utf8) {
        if (to->kind == Kind::Gbk) utf8ToGbk(input, &result);
        if (to->kind == Kind::Ucs4) utf8ToUcs4(input, target.c_str(), &result);
        if (to->kind == Kind::Cp1252) utf8ToCp1252(input, &result);
    } else if (from->kind == Kind::Gbk) {
        gbkToUtf8(input, &result);
    } else if (from->kind == Kind::Ucs4) {
        ucs4ToUtf8(input, &result);
    } else {
        singleByteToUtf8(input, *from, &result);
    }

    if (!result.out.empty() &&
        std::fwrite(result.out.data(), 1, result.out.size(), stdout) != result.out.size()) {
        std::fprintf(stderr, "kerna iconv: cannot write the output\n");
        return 1;
    }
    if (std::fflush(stdout) != 0) {
        std::fprintf(stderr, "kerna iconv: cannot write the output\n");
        return 1;
    }
    if (!result.error.empty()) {
        std::fprintf(stderr, "kerna iconv: %s\n", result.error.c_str());
        return 1;
    }
    return 0;
}

}  // namespace KernaTool

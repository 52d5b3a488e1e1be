// CharsetTest.cpp: the character-set conversions, exhaustively against glibc iconv and at their
// boundaries.
//
// glibc iconv is the oracle: the tables are generated from Python's codecs, so the two sources
// check each other. Where Kerna differs from the published mappings on purpose, the difference
// is listed here explicitly; every other entry must agree.

#include <gtest/gtest.h>
#include <kerna/utils/Charset.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "IconvOracle.h"
#include "support/LogCapture.h"

namespace Tessaran {
namespace Utils {
namespace {

using KernaTest::IconvOracle;

std::string bytes(std::initializer_list<unsigned int> list) {
    std::string s;
    for (unsigned int b : list) s.push_back(static_cast<char>(b));
    return s;
}

std::string str(const unsigned char* p, int n) {
    return std::string(reinterpret_cast<const char*>(p), n > 0 ? n : 0);
}

const unsigned char* uc(const char* s) { return reinterpret_cast<const unsigned char*>(s); }

std::string utf16le(unsigned int value) { return bytes({value & 0xFF, value >> 8}); }

// UTF-8 of a 16-bit value, written out here so as not to test the encoder with itself.
std::string utf8Of(unsigned int v) {
    if (v < 0x80) return bytes({v});
    if (v < 0x800) return bytes({0xC0 | (v >> 6), 0x80 | (v & 0x3F)});
    return bytes({0xE0 | (v >> 12), 0x80 | ((v >> 6) & 0x3F), 0x80 | (v & 0x3F)});
}

// A buffer with guard bytes behind `size` usable bytes, to catch writes past the size given.
struct Guarded {
    explicit Guarded(size_t n, unsigned char f = 0xA5) : size(n), fill(f), buffer(n + 16, f) {}
    unsigned char* data() { return buffer.data(); }
    char* chars() { return reinterpret_cast<char*>(buffer.data()); }
    std::string str(size_t n) const { return std::string(buffer.begin(), buffer.begin() + n); }
    bool guardIntact() const { return std::count(buffer.begin() + size, buffer.end(), fill) == 16; }
    size_t size;
    unsigned char fill;
    std::vector<unsigned char> buffer;
};

// ---- GBK against iconv -------------------------------------------------------------------

// Every single byte and every pair decodes as glibc's GBK does, except where the single-byte
// table decides: a lone 0x81-0xFF (and a lead before a zero byte) stands for the value of the
// same number, which glibc refuses as incomplete or invalid. Then all mapped pairs in one text,
// each lead's row ending in a line: Gb2312TUtf8 gives glibc's UTF-8 of it, and utf8TGb2312
// brings that back, where the 20 pairs of the Latin-1 range turn into single bytes.
TEST(CharsetGbk, EveryByteAndPairDecodesAsIconv) {
    IconvOracle gbk("GBK", "UTF-16LE");
    ASSERT_TRUE(gbk.ok());
    bool ok;
    for (unsigned int b = 0; b < 256; ++b) {
        const unsigned char raw[1] = {static_cast<unsigned char>(b)};
        unsigned short u = 0xFFFF;
        ASSERT_EQ(char2uni(raw, 1, &u), 1) << b;
        const std::string expected = gbk(bytes({b}), &ok);
        EXPECT_EQ(ok, b < 0x81) << b;
        EXPECT_EQ(utf16le(u), b < 0x81 ? expected : utf16le(b)) << b;  // 0x80 is U+20AC in both
    }
    int pairs = 0;
    std::string text;
    std::string textBack;
    for (unsigned int lead = 0x81; lead <= 0xFE; ++lead) {
        for (unsigned int trail = 0; trail < 256; ++trail) {
            const unsigned char raw[2] = {static_cast<unsigned char>(lead),
                                          static_cast<unsigned char>(trail)};
            const std::string pair = bytes({lead, trail});
            unsigned short u = 0xFFFF;
            const int used = char2uni(raw, 2, &u);
            std::string expected = gbk(pair, &ok);
            // A lead before a zero byte goes alone through the single-byte table.
            if (trail == 0 || !ok) expected = utf16le(trail == 0 ? lead : 0);
            ASSERT_EQ(used, trail == 0 ? 1 : ok ? 2 : -1) << std::hex << lead << " " << trail;
            EXPECT_EQ(utf16le(u), expected) << std::hex << lead << " " << trail;
            if (used != 2) continue;
            ++pairs;
            text += pair;
            textBack += u < 0x100 ? bytes({u}) : pair;
        }
        text += "line\n";
        textBack += "line\n";
    }
    EXPECT_EQ(pairs, 21791);  // the whole of code page 936, not only GB 2312

    std::string utf8 = IconvOracle("GBK", "UTF-8")(text, &ok);
    ASSERT_TRUE(ok);
    const int size = static_cast<int>(utf8.size());
    Guarded out(utf8.size() + 1, 0xEE);
    EXPECT_EQ(Gb2312TUtf8(&text[0], out.data(), size + 1), size);
    EXPECT_EQ(out.str(utf8.size() + 1), utf8 + '\0');
    Guarded back(text.size() + 1, 0xEE);
    EXPECT_EQ(utf8TGb2312(reinterpret_cast<unsigned char*>(&utf8[0]), back.chars(), size + 1,
                          static_cast<int>(text.size())),
              21791 + 126 * 5);
    EXPECT_EQ(std::string(back.chars()), textBack);
    EXPECT_EQ(textBack.size(), text.size() - 20);
    EXPECT_TRUE(out.guardIntact() && back.guardIntact());
}

// Every value U+0000-U+FFFF encodes as glibc's GBK does, except U+0080-U+00FF (always the
// single byte of the same value: there is no reverse row for high byte 0, so the 20 pairs that
// decode into that range don't come back), and U+0000 and U+20AC (no mapping; glibc gives 0x00
// and 0x80). A pair needs a bound of 2, a single byte a bound of 1.
TEST(CharsetGbk, EveryValueEncodesAsIconv) {
    IconvOracle gbk("UTF-16LE", "GBK");
    ASSERT_TRUE(gbk.ok());
    int mapped = 0;
    int glibcPairsInLatin1 = 0;
    for (unsigned int v = 0; v <= 0xFFFF; ++v) {
        const unsigned short value = static_cast<unsigned short>(v);
        unsigned char out[2] = {0xEE, 0xEE};
        const int n = uni2char(value, out, 2);
        bool ok;
        std::string expected = gbk(utf16le(v), &ok);
        if (v >= 0x80 && v <= 0xFF) {
            glibcPairsInLatin1 += ok ? 1 : 0;
            expected = bytes({v});
        } else if (v == 0 || v == 0x20AC) {
            EXPECT_EQ(expected, bytes({v ? 0x80u : 0u}));
            expected.clear();
        } else if (ok) {
            ++mapped;
        }
        ASSERT_EQ(n, expected.empty() ? -1 : static_cast<int>(expected.size())) << std::hex << v;
        EXPECT_EQ(str(out, n), expected) << std::hex << v;
        EXPECT_EQ(uni2char(value, out, 1), n == 2 ? -1 : n) << std::hex << v;
    }
    EXPECT_EQ(glibcPairsInLatin1, 20);
    EXPECT_EQ(mapped, 127 + 21791 - 20);
}

TEST(CharsetGbk, ArraysAndTextsAtTheirBounds) {
    unsigned short u = 0;
    EXPECT_EQ(char2uni(uc("\x80\x41"), 2, &u), 1);  // 0x80 is a single byte before anything
    EXPECT_EQ(u, 0x20AC);

    // Gb2312ToUni of "啊A中": the terminator follows and the rest of uni is cleared; a full
    // array gets no terminator. A pair without mapping is skipped whole, a lead before a
    // non-trail byte alone.
    char gb[] = {'\xB0', '\xA1', 'A', '\xD6', '\xD0', 0};
    std::vector<unsigned short> uni(8, 0xEEEE);
    EXPECT_EQ(Gb2312ToUni(gb, uni.data(), 8), 3);
    EXPECT_EQ(uni, (std::vector<unsigned short>{0x554A, 0x41, 0x4E2D, 0, 0, 0, 0, 0}));
    uni.assign(8, 0xEEEE);
    EXPECT_EQ(Gb2312ToUni(gb, uni.data(), 2), 2);
    EXPECT_EQ(uni[2], 0xEEEE);
    char holes[] = {'\xA1', '\x40', 'x', '\xB0', '1', 0};
    EXPECT_EQ(Gb2312ToUni(holes, uni.data(), 8), 2);
    EXPECT_EQ(uni, (std::vector<unsigned short>{'x', '1', 0, 0, 0, 0, 0, 0}));

    // UniTGb2312: gb has gbLen + 1 bytes, gbLen of them cleared. It stops before a value that
    // doesn't fit and at a 0 value; a value without mapping gives -1 and what came before stays,
    // with its terminator in the extra byte when it fills gbLen.
    const auto toGb = [](unsigned short* values, int count, int gbLen) {
        Guarded out(static_cast<size_t>(gbLen) + 1);
        const int result = UniTGb2312(values, count, out.chars(), gbLen);
        EXPECT_TRUE(out.guardIntact());
        return std::make_pair(result, out.str(out.size));
    };
    unsigned short text[] = {0x554A, 0x41, 0x4E2D, 0};
    EXPECT_EQ(toGb(text, 3, 4), std::make_pair(2, bytes({0xB0, 0xA1, 0x41, 0, 0xA5})));
    EXPECT_EQ(toGb(text, 10, 5), std::make_pair(3, bytes({0xB0, 0xA1, 0x41, 0xD6, 0xD0, 0})));
    unsigned short euro[] = {0x41, 0x20AC, 0x42, 0};
    EXPECT_EQ(toGb(euro, 3, 8), std::make_pair(-1, bytes({0x41, 0, 0, 0, 0, 0, 0, 0, 0xA5})));
    EXPECT_EQ(toGb(euro, 2, 1), std::make_pair(-1, bytes({0x41, 0})));

    // utf8TGb2312 cuts a 4-byte form to 16 bits: U+10000 becomes 0, where the conversion ends.
    unsigned char astral[] = {'a', 0xF0, 0x90, 0x80, 0x80, 'b', 0};
    char gbOut[8];
    EXPECT_EQ(utf8TGb2312(astral, gbOut, 6, 7), 1);
    EXPECT_STREQ(gbOut, "a");
}

// Gb2312TUtf8 and utf8TGb2312 are defined as compositions of the public primitives (a temporary
// array through Gb2312ToUni and utf8_wcstombs; utf8_mbstowcs and UniTGb2312). The library does
// each in one pass; over random texts and bounds the results must be those of the compositions,
// byte for byte, with nothing written past the bounds. Each random text goes through both, as
// GBK and as UTF-8; it is a heap block of its own size, so that AddressSanitizer sees any read
// past its terminator.
TEST(CharsetGbk, TextConversionsEqualTheirDefinition) {
    // clang-format off
    static const char* const pieces[] = {
        "A", "z", " ", "\xB0\xA1", "\xD6\xD0", "\x81\x40", "\xA1\xA4", "\xA1\x40", "\xB0",
        "\x80", "\xFF", "\xC3\xA9", "\xE4\xB8\xAD", "\xE2\x82\xAC", "\xF0\x90\x80\x80",
        "\xF0\x9F\x98\x80", "\xC0\x80", "\xE4\xB8", "\xCE\xB1", "\xE0\x80\xAF", "\xE0\xA0\x80",
        "\xED\xA0\x80"};
    // clang-format on
    std::mt19937 random(2024);
    std::uniform_int_distribution<int> count(0, 24);
    std::uniform_int_distribution<int> pick(0, 21);
    std::uniform_int_distribution<int> bound(-1, 40);
    for (int round = 0; round < 10000; ++round) {
        std::string text;
        for (int n = count(random); n > 0; --n) text += pieces[pick(random)];
        std::vector<char> source(text.begin(), text.end());
        source.push_back(0);
        unsigned char* in = reinterpret_cast<unsigned char*>(source.data());
        std::vector<unsigned short> values(source.size());
        const int size = bound(random);
        const int utf8Len = bound(random);
        const size_t room = (size > 0 ? static_cast<size_t>(size) : 0) + 1;
        // utf8 gets utf8Size bytes cleared, unless the text is empty; the byte behind stays.
        Guarded expected(room, 0x5A);
        Guarded actual(room, 0x5A);
        Gb2312ToUni(source.data(), values.data(), static_cast<int>(values.size()));
        if (!text.empty()) std::memset(expected.data(), 0, room - 1);
        int result = text.empty() ? 0 : utf8_wcstombs(expected.data(), values.data(), size);
        ASSERT_EQ(Gb2312TUtf8(source.data(), actual.data(), size), result) << round;
        ASSERT_EQ(actual.str(room), expected.str(room)) << round;
        // gb has gbLen + 1 bytes.
        Guarded expectedGb(room, 0x5A);
        Guarded actualGb(room, 0x5A);
        const int read = utf8_mbstowcs(values.data(), in, utf8Len);
        result = text.empty() ? 0 : UniTGb2312(values.data(), read, expectedGb.chars(), size);
        ASSERT_EQ(utf8TGb2312(in, actualGb.chars(), utf8Len, size), result) << round;
        ASSERT_EQ(actualGb.str(room), expectedGb.str(room)) << round;
        ASSERT_TRUE(actual.guardIntact() && actualGb.guardIntact()) << round;
    }
}

// ---- UTF-8 and 16-bit values -------------------------------------------------------------

// utf8_wctomb writes what glibc writes for every value; the one difference is the surrogate
// range, which has no meaning for 16-bit values here and encodes as plain 3-byte forms
// (glibc refuses lone surrogates). utf8_mbtowc reads each form back.
TEST(CharsetUtf8, EveryValueEncodesAndDecodesAsIconv) {
    IconvOracle toUtf8("UTF-16LE", "UTF-8");
    for (unsigned int v = 1; v <= 0xFFFF; ++v) {
        unsigned char out[3];
        const int n = utf8_wctomb(out, static_cast<unsigned short>(v), 3);
        bool ok;
        const std::string expected = toUtf8(utf16le(v), &ok);
        const bool surrogate = v >= 0xD800 && v <= 0xDFFF;
        EXPECT_EQ(ok, !surrogate) << std::hex << v;
        ASSERT_EQ(str(out, n), surrogate ? utf8Of(v) : expected) << std::hex << v;
        unsigned short back = 0;
        ASSERT_EQ(utf8_mbtowc(&back, out, n), n);
        EXPECT_EQ(back, v);
        if (n > 1) {  // one byte short: -1 for both directions
            EXPECT_EQ(utf8_wctomb(out, static_cast<unsigned short>(v), n - 1), -1);
            EXPECT_EQ(utf8_mbtowc(&back, out, n - 1), -1);
        }
    }
}

TEST(CharsetUtf8, SequenceEdges) {
    // utf8_mbtowc refuses overlong, broken, stray and cut forms; it reads the 4-byte to 6-byte
    // forms and cuts their value to 16 bits.
    const auto read = [](const char* in, int length) {
        unsigned short u = 0;
        const int result = utf8_mbtowc(&u, uc(in), length);
        return std::make_pair(result, result > 0 ? u : 0);
    };
    EXPECT_EQ(read("\xC0\x80", 2), std::make_pair(-1, 0));
    EXPECT_EQ(read("\xE0\x9F\xBF", 3), std::make_pair(-1, 0));
    EXPECT_EQ(read("\xE4\x41\xAD", 3), std::make_pair(-1, 0));
    EXPECT_EQ(read("\x80", 1), std::make_pair(-1, 0));
    EXPECT_EQ(read("\xFF\x80\x80\x80\x80\x80\x80\x80", 8), std::make_pair(-1, 0));
    EXPECT_EQ(read("\xC3\xA9", 1), std::make_pair(-1, 0));
    EXPECT_EQ(read("\xF0\x9F\x98\x80", 4), std::make_pair(4, 0xF600));          // U+1F600
    EXPECT_EQ(read("\xFD\xBF\xBF\xBF\xBF\xBF", 6), std::make_pair(6, 0xFFFF));  // 0x7FFFFFFF

    // utf8_mbstowcs drops a stray 0xFF and goes on; it stops at a zero byte; a sequence cut by
    // the length is skipped byte by byte.
    const unsigned char text[] = {'a', 0xFF, 0xE4, 0xB8, 0xAD, 'b', 0, 'c'};
    std::vector<unsigned short> values(8, 0);
    EXPECT_EQ(utf8_mbstowcs(values.data(), text, 8), 3);
    EXPECT_EQ(values, (std::vector<unsigned short>{'a', 0x4E2D, 'b', 0, 0, 0, 0, 0}));
    EXPECT_EQ(utf8_mbstowcs(values.data(), text, 4), 1);

    // utf8_wcstombs: a value that doesn't fit uses up one byte of the bound.
    const unsigned short wide[] = {0x4E2D, 'x', 'y', 0};
    Guarded bounded(2);
    EXPECT_EQ(utf8_wcstombs(bounded.data(), wide, 2), 1);
    EXPECT_EQ(bounded.str(1), "x");
    EXPECT_TRUE(bounded.guardIntact());
}

// utf8_mbstowcs read eight bytes at a time and so past the terminator of a text whose `length`
// runs beyond it (utf8TGb2312 passes such lengths); found by fuzzing under AddressSanitizer, which
// reports this test's read past the 3-byte heap block.
TEST(CharsetUtf8, MbstowcsLengthPastTerminatorBug) {
    std::unique_ptr<unsigned char[]> text(new unsigned char[3]{'a', 'b', 0});
    unsigned short values[4] = {0, 0, 0, 0};
    EXPECT_EQ(utf8_mbstowcs(values, text.get(), 100), 2);
    EXPECT_EQ(values[1], 'b');
}

// The value and the length of the form; a cut form gives the value so far.
TEST(CharsetUtf8, GetUnicodeFromUtf8) {
    const struct {
        const char* in;
        unsigned short value;
        int length;
    } cases[] = {
        {"\xE4\xB8\xAD", 0x4E2D, 3}, {"\xC3\xA9", 0xE9, 2}, {"A", 'A', 1},  {"", 0, 0},
        {"\xF0\x9F\x98\x80", 0, 0},  {"\x80", 0, 0},        {"\xE4", 0, 3}, {"\xE4\x41", 0x4, 3},
        {"\xE4\xB8\xC3", 0x138, 3},
    };
    for (const auto& c : cases) {
        int length = -1;
        EXPECT_EQ(GetUnicodeFromUtf8(c.in, &length), c.value) << "row " << &c - cases;
        EXPECT_EQ(length, c.length) << "row " << &c - cases;
    }
}

// ---- UCS-4 -------------------------------------------------------------------------------

// UCS4ToUtf8 of every Unicode scalar value gives glibc's UTF-8, in one call.
TEST(CharsetUcs4, EveryScalarValueEncodesAsIconv) {
    std::vector<uint32_t> values;
    for (uint32_t v = 1; v <= 0x10FFFF; v = v == 0xD7FF ? 0xE000 : v + 1) values.push_back(v);
    std::string ucs4(reinterpret_cast<const char*>(values.data()), values.size() * 4);
    bool ok;
    const std::string expected = IconvOracle("UCS-4LE", "UTF-8")(ucs4, &ok);
    ASSERT_TRUE(ok);
    std::vector<unsigned char> out(expected.size());
    EXPECT_EQ(UCS4ToUtf8(&ucs4[0], static_cast<int>(ucs4.size()), out.data(),
                         static_cast<int>(out.size())),
              static_cast<int>(expected.size()));
    EXPECT_TRUE(std::string(out.begin(), out.end()) == expected);

    // utf8ToUCS4 reads the 1-byte to 3-byte forms back.
    std::string bmp = expected.substr(0, expected.find("\xF0"));
    std::vector<unsigned char> wide(4 * bmp.size());
    const int written = utf8ToUCS4(&bmp[0], static_cast<int>(bmp.size()), wide.data(),
                                   static_cast<int>(wide.size()));
    ASSERT_EQ(written, (0xFFFF - 0x800) * 4);
    EXPECT_EQ(std::memcmp(wide.data(), ucs4.data(), written), 0);
}

// Results at the bounds, and the failures: 0, or what was written before a bound stopped the
// conversion, and a warn line (level 3) with these exact texts. A conversion that succeeds, or
// only passes over a value beyond 31 bits, says nothing.
TEST(CharsetUcs4, BoundsAndExactWarnLines) {
    KernaTest::LogCapture capture;
    uint32_t chars[3] = {0x41, 0x20AC, 0x80000000u};
    char* in = reinterpret_cast<char*>(chars);
    Guarded out(8);
    EXPECT_EQ(UCS4ToUtf8(in + 4, 4, out.data(), 3), 3);
    EXPECT_EQ(out.str(3), "\xE2\x82\xAC");
    EXPECT_EQ(UCS4ToUtf8(in + 8, 4, out.data(), 8), 0);  // beyond 31 bits: nothing to write
    EXPECT_EQ(UCS4ToUtf8(in, 12, out.data(), 3), 1);     // whole characters only
    uint32_t big[2] = {0x7FFFFFFF, 0x4000000};
    EXPECT_EQ(UCS4ToUtf8(reinterpret_cast<char*>(big), 8, out.data(), 8), 6);
    EXPECT_EQ(out.str(6), bytes({0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF}));
    EXPECT_TRUE(out.guardIntact());
    char utf8[] = "A\xC3\xA9\xE4\xB8\xAD";
    std::vector<uint32_t> values(4, 0);
    unsigned char* wide = reinterpret_cast<unsigned char*>(values.data());
    EXPECT_EQ(utf8ToUCS4(utf8, 6, wide, 9), 8);  // room for two
    EXPECT_EQ(utf8ToUCS4(utf8, 6, wide, 16), 12);
    EXPECT_EQ(values, (std::vector<uint32_t>{0x41, 0xE9, 0x4E2D, 0}));

    EXPECT_EQ(UCS4ToUtf8(nullptr, 4, out.data(), 8), 0);
    EXPECT_EQ(UCS4ToUtf8(in, 4, nullptr, 8), 0);
    EXPECT_EQ(UCS4ToUtf8(in, 6, out.data(), 8), 0);  // not a multiple of 4
    EXPECT_EQ(UCS4ToUtf8(in + 4, 4, out.data(), 2), 0);
    EXPECT_EQ(utf8ToUCS4(nullptr, 3, wide, 8), 0);
    EXPECT_EQ(utf8ToUCS4(utf8, 3, nullptr, 8), 0);
    EXPECT_EQ(utf8ToUCS4(utf8, 3, wide, 3), 0);      // no room for one character
    EXPECT_EQ(utf8ToUCS4(utf8 + 1, 1, wide, 8), 0);  // 2-byte form, 1 byte given
    const std::vector<std::string> expected = {
        "UCS4ToUtf8 utf8Size error\n",
        "UCS4ToUtf8 utf8Size error\n",
        "ucs4Len too short, suggest set:24 bytes",
        "ucs4 is invalid\n",
        "utf8 is invalid\n",
        "UCS4ToUtf8 ucs4Len error\n",
        "UCS4ToUtf8 utf8Size error\n",
        "utf8 is invalid\n",
        "UCS4 is invalid\n",
        "ucs4Len too short, suggest set:12 bytes",
        "utf8 read overflow, need utf8Len:2",
    };
    EXPECT_EQ(capture.messages(), expected);
    // Three of the texts end without a line feed, so the line after each continues without a
    // prefix; all others carry the warn prefix.
    const std::vector<std::string> lines = capture.lines();
    ASSERT_EQ(lines.size(), expected.size());
    for (size_t i = 0; i < lines.size(); ++i) {
        const bool continues = i > 0 && expected[i - 1].back() != '\n';
        EXPECT_EQ(lines[i].find(" warn Unknown ") != std::string::npos, !continues) << lines[i];
        EXPECT_EQ(lines[i].find(" Charset:") != std::string::npos, !continues) << lines[i];
    }
    Tessaran::Kerna::logInfo("\n");  // end the open line
}

// The other families (the code pages are checked with their tests) refuse a missing or empty
// argument, and fail, with their error result and without a line.
TEST(Charset, OtherFamiliesRefuseSilently) {
    KernaTest::LogCapture capture;
    unsigned short u = 0;
    int length = 0;
    unsigned char out[8];
    char gb[8];
    const unsigned char pair[] = {0xA1, 0x40};
    unsigned short euro[] = {0x20AC, 0};
    EXPECT_EQ(char2uni(pair, 0, &u), -1);
    EXPECT_EQ(char2uni(nullptr, 2, &u), -1);
    EXPECT_EQ(char2uni(pair, 2, nullptr), -1);
    EXPECT_EQ(char2uni(pair, 2, &u), -1);  // a pair without mapping
    EXPECT_EQ(uni2char(0x41, out, 0), -1);
    EXPECT_EQ(uni2char(0x41, nullptr, 2), -1);
    EXPECT_EQ(uni2char(0x20AC, out, 2), -1);
    EXPECT_EQ(Gb2312ToUni(nullptr, &u, 1), 0);
    EXPECT_EQ(Gb2312TUtf8(nullptr, out, 8), 0);
    EXPECT_EQ(utf8TGb2312(nullptr, gb, 8, 8), 0);
    EXPECT_EQ(UniTGb2312(euro, 1, gb, 3), -1);
    EXPECT_EQ(utf8_mbtowc(&u, pair, 2), -1);  // a stray continuation byte
    EXPECT_EQ(utf8_mbtowc(&u, pair, 0), -1);
    EXPECT_EQ(utf8_mbtowc(nullptr, uc("A"), 1), -1);
    EXPECT_EQ(utf8_wctomb(out, 0x4E2D, 1), -1);
    EXPECT_EQ(utf8_wctomb(out, 0x41, 0), -1);
    EXPECT_EQ(utf8_wctomb(nullptr, 0x41, 3), 0);
    EXPECT_EQ(GetUnicodeFromUtf8(nullptr, &length), 0);
    EXPECT_EQ(cp1252_to_utf8(nullptr, 8, pair, 2), -1);
    EXPECT_EQ(cp1252_to_utf8(out, 8, nullptr, 2), -1);
    EXPECT_EQ(cp1252_to_utf8(out, 8, pair, 0), -1);
    EXPECT_EQ(utf8_to_cp1252(nullptr, 8, out, 8), 0);
    EXPECT_TRUE(capture.lines().empty());
}

// ---- Code pages against iconv ------------------------------------------------------------

struct CodePage {
    const char* name;  // glibc's name is made from it: "cp1250" "CP1250", "iso8859_2" "ISO-8859-2"
    int (*convert)(unsigned char*, int&, const unsigned char*, int&);
};

#define KERNA_CODE_PAGE(page) \
    CodePage { #page, page##_to_utf8 }
const CodePage kCodePages[] = {
    KERNA_CODE_PAGE(cp862),      KERNA_CODE_PAGE(cp874),      KERNA_CODE_PAGE(cp1250),
    KERNA_CODE_PAGE(cp1251),     KERNA_CODE_PAGE(iso8859_1),  KERNA_CODE_PAGE(iso8859_2),
    KERNA_CODE_PAGE(iso8859_3),  KERNA_CODE_PAGE(iso8859_4),  KERNA_CODE_PAGE(iso8859_5),
    KERNA_CODE_PAGE(iso8859_6),  KERNA_CODE_PAGE(iso8859_7),  KERNA_CODE_PAGE(iso8859_8),
    KERNA_CODE_PAGE(iso8859_9),  KERNA_CODE_PAGE(iso8859_10), KERNA_CODE_PAGE(iso8859_13),
    KERNA_CODE_PAGE(iso8859_14), KERNA_CODE_PAGE(iso8859_15), KERNA_CODE_PAGE(iso8859_16)};
#undef KERNA_CODE_PAGE

// The deliberate differences from the published mappings (as glibc has them). An entry with
// value 0 is unmapped in Kerna. Byte 0x00 is unmapped in every page.
const struct Deviation {
    const char* page;
    unsigned int byte;
    unsigned int value;
} kDeviations[] = {
    {"cp874", 0x80, 0},  // no euro sign
    {"iso8859_6", 0x30, 0x0660}, {"iso8859_6", 0x31, 0x0661}, {"iso8859_6", 0x32, 0x0662},
    {"iso8859_6", 0x33, 0x0663}, {"iso8859_6", 0x34, 0x0664}, {"iso8859_6", 0x35, 0x0665},
    {"iso8859_6", 0x36, 0x0666}, {"iso8859_6", 0x37, 0x0667}, {"iso8859_6", 0x38, 0x0668},
    {"iso8859_6", 0x39, 0x0669},  // Arabic-Indic digits
    {"iso8859_7", 0xA1, 0x02BD}, {"iso8859_7", 0xA2, 0x02BC}, {"iso8859_7", 0xA4, 0},
    {"iso8859_7", 0xA5, 0},      {"iso8859_7", 0xAA, 0},  // the 1987 form
};

class CharsetCodePage : public ::testing::TestWithParam<CodePage> {};

// Each byte alone as glibc converts it, but for the deviations. All 256 bytes in one call, into
// exactly the room they need, give the same text; with one byte less room the conversion stops
// before the last byte that has a text (srcLen and dstLen tell how far it came), and nothing is
// written past dstLen. Refused calls leave both lengths as they were. Nothing is logged.
TEST_P(CharsetCodePage, EveryByteAsIconv) {
    KernaTest::LogCapture capture;
    const CodePage& page = GetParam();
    const std::string name = page.name;
    const std::string glibcName =
        name[0] == 'c' ? "CP" + name.substr(2) : "ISO-8859-" + name.substr(8);
    IconvOracle oracle(glibcName.c_str(), "UTF-8");
    ASSERT_TRUE(oracle.ok());
    const auto run = [&](unsigned char* dst, int dstLen, const unsigned char* src, int srcLen) {
        const int result = page.convert(dst, dstLen, src, srcLen);
        return std::make_tuple(result, dstLen, srcLen);
    };
    std::string all;
    size_t beforeLast = 0;  // the size of `all` before the last byte with a text
    int last = 0;
    unsigned char every[256];
    for (unsigned int b = 0; b < 256; ++b) {
        every[b] = static_cast<unsigned char>(b);
        Guarded dst(4);
        const auto one = run(dst.data(), 4, every + b, 1);
        ASSERT_EQ(one, std::make_tuple(0, std::get<1>(one), 1));
        const std::string mine = dst.str(std::get<1>(one));
        if (!mine.empty()) {
            beforeLast = all.size();
            last = static_cast<int>(b);
        }
        all += mine;
        bool ok;
        std::string expected = oracle(bytes({b}), &ok);
        if (b == 0) {
            EXPECT_EQ(expected, std::string(1, '\0'));
            expected.clear();
        }
        for (const Deviation& d : kDeviations) {
            if (d.page != name || d.byte != b) continue;
            EXPECT_NE(mine, expected) << name << " " << b;
            expected = d.value ? utf8Of(d.value) : "";
        }
        EXPECT_EQ(mine, expected) << name << " byte " << b;
    }
    const int size = static_cast<int>(all.size());
    Guarded whole(all.size());
    Guarded less(all.size() - 1);
    EXPECT_EQ(run(whole.data(), size, every, 256), std::make_tuple(0, size, 256));
    EXPECT_EQ(whole.str(all.size()), all);
    EXPECT_EQ(run(less.data(), size - 1, every, 256),
              std::make_tuple(0, static_cast<int>(beforeLast), last));
    EXPECT_EQ(less.str(beforeLast), all.substr(0, beforeLast));
    EXPECT_TRUE(whole.guardIntact() && less.guardIntact());

    unsigned char out[8];
    EXPECT_EQ(run(out, 1, every, 2), std::make_tuple(-1, 1, 2));  // dstLen below srcLen
    EXPECT_EQ(run(out, 8, every, 0), std::make_tuple(-1, 8, 0));
    EXPECT_EQ(run(nullptr, 8, every, 3), std::make_tuple(-1, 8, 3));
    EXPECT_EQ(run(out, 8, nullptr, 3), std::make_tuple(-1, 8, 3));
    EXPECT_TRUE(capture.lines().empty());
}

INSTANTIATE_TEST_SUITE_P(AllPages, CharsetCodePage, ::testing::ValuesIn(kCodePages),
                         [](const ::testing::TestParamInfo<CodePage>& param) {
                             return std::string(param.param.name);
                         });

// ---- Windows-1252 ------------------------------------------------------------------------

bool isCp1252Undefined(unsigned int b) {
    return b == 0x81 || b == 0x8D || b == 0x8F || b == 0x90 || b == 0x9D;
}

// Every value U+0001-U+FFFF back to Windows-1252 as glibc, except the five undefined bytes'
// own values, which the table holds and glibc doesn't.
TEST(CharsetCp1252, EveryValueEncodesAsIconv) {
    IconvOracle oracle("UTF-8", "CP1252");
    int mapped = 0;
    for (unsigned int v = 1; v <= 0xFFFF; ++v) {
        const std::string in = utf8Of(v);
        unsigned char out[4] = {0, 0, 0, 0};
        const int n = utf8_to_cp1252(uc(in.c_str()), static_cast<int>(in.size()), out, 4);
        bool ok;
        std::string expected = oracle(in, &ok);
        if (isCp1252Undefined(v)) {
            EXPECT_FALSE(ok);
            expected = bytes({v});
        } else if (ok) {
            ++mapped;
        }
        ASSERT_EQ(n, static_cast<int>(expected.size())) << std::hex << v;
        EXPECT_EQ(str(out, n), expected) << std::hex << v;
    }
    EXPECT_EQ(mapped, 255 - 5);
}

// Every byte alone (each with both kinds of room), then random texts, against a reference built
// from glibc byte by byte: up to the first undefined byte each byte's UTF-8, then one zero byte
// per position; glibc refuses exactly the five undefined bytes. Room to spare stays untouched;
// one byte less room than needed, or none, asks for the size and writes nothing.
TEST(CharsetCp1252, EveryByteAndRandomTextsAsIconv) {
    IconvOracle oracle("CP1252", "UTF-8");
    std::string perByte[256];
    for (unsigned int b = 0; b < 256; ++b) {
        bool ok;
        perByte[b] = oracle(bytes({b}), &ok);
        ASSERT_EQ(ok, !isCp1252Undefined(b)) << b;
    }
    std::mt19937 random(1252);
    std::uniform_int_distribution<int> length(1, 64);
    std::uniform_int_distribution<int> kind(0, 9);
    std::uniform_int_distribution<int> any(0, 255);
    for (int round = 0; round < 512 + 20000; ++round) {
        std::string src = round < 512 ? bytes({static_cast<unsigned int>(round / 2)}) : "";
        for (int n = round < 512 ? 0 : length(random); n > 0; --n) {
            const int k = kind(random);
            src.push_back(static_cast<char>(k < 6 ? 'a' + k : any(random)));
        }
        std::string expected;
        size_t i = 0;
        for (; i < src.size() && !isCp1252Undefined(static_cast<unsigned char>(src[i])); ++i)
            expected += perByte[static_cast<unsigned char>(src[i])];
        expected += std::string(src.size() - i, '\0');
        const int srcLen = static_cast<int>(src.size());
        const int size = static_cast<int>(expected.size());
        const int room = round % 2 ? size : 3 * srcLen + 5;
        Guarded dst(room, 0xEE);
        ASSERT_EQ(cp1252_to_utf8(dst.data(), room, uc(src.c_str()), srcLen), 0);
        ASSERT_EQ(dst.str(room), expected + std::string(room - size, '\xEE')) << round;
        ASSERT_TRUE(dst.guardIntact());
        Guarded small(size - 1, 0xEE);
        ASSERT_EQ(cp1252_to_utf8(small.data(), size - 1, uc(src.c_str()), srcLen), size);
        ASSERT_EQ(small.str(size - 1), std::string(size - 1, '\xEE')) << round;
        ASSERT_EQ(cp1252_to_utf8(nullptr, 0, uc(src.c_str()), srcLen), size) << round;
    }
}

// utf8_to_cp1252 drops a value without a byte, and ends at a stray continuation byte, at a cut
// sequence and at dstSize.
TEST(CharsetCp1252, Utf8TextEnds) {
    unsigned char dst[8];
    EXPECT_EQ(utf8_to_cp1252(uc("\xE2\x82\xAC\xC3\xBF\xC4\x80\x7A"), 8, dst, 8), 3);
    EXPECT_EQ(str(dst, 3), "\x80\xFF\x7A");
    EXPECT_EQ(utf8_to_cp1252(uc("a\xBF\x62"), 3, dst, 8), 1);
    EXPECT_EQ(utf8_to_cp1252(uc("a\xC3"), 2, dst, 8), 1);
    EXPECT_EQ(utf8_to_cp1252(uc("\xE2\x82\xAC\xC3\xBF"), 5, dst, 1), 1);
}

}  // namespace
}  // namespace Utils
}  // namespace Tessaran

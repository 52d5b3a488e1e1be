// Base64Test.cpp
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "kerna/utils/Base64.h"
#include "support/LogCapture.h"
#include "utils/UtilsTestSupport.h"

#if KERNA_TEST_HAVE_OPENSSL
#include <openssl/evp.h>
#endif

using namespace Tessaran::Utils;
using KernaTest::Bytes;
using KernaTest::LogCapture;

namespace {

std::string encode(const std::string& in) {
    std::string out(base64EncodeLenEx(in.size()), 'x');
    const size_t n = base64EncodeEx(&out[0], in.data(), in.size());
    EXPECT_EQ(n, out.size());
    EXPECT_EQ(out.back(), '\0');
    out.pop_back();
    return out;
}

std::string decode(const std::string& in) {
    const size_t room = base64DecodeLenEx(in.c_str());
    std::string out(room, 'x');
    const size_t n = base64DecodeEx(&out[0], in.c_str());
    EXPECT_LT(n, room);
    EXPECT_EQ(out[n], '\0');
    out.resize(n);
    return out;
}

}  // namespace

TEST(Base64, Rfc4648Vectors) {
    const char* const vectors[][2] = {{"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},
                                      {"foo", "Zm9v"},  {"foob", "Zm9vYg=="},  {"fooba", "Zm9vYmE="},
                                      {"foobar", "Zm9vYmFy"}};
    for (const auto& v : vectors) {
        EXPECT_EQ(encode(v[0]), v[1]);
        EXPECT_EQ(decode(v[1]), v[0]);
    }
    EXPECT_EQ(encode(std::string("\xfb\xff\xbf", 3)), "+/+/");
}

TEST(Base64, LengthsAndTheIntForms) {
    EXPECT_EQ(base64EncodeLenEx(0), 1u);
    EXPECT_EQ(base64EncodeLenEx(1), 5u);
    EXPECT_EQ(base64EncodeLenEx(3), 5u);
    EXPECT_EQ(base64EncodeLenEx(4), 9u);
    EXPECT_EQ(base64DecodeLenEx("YQ=="), 4u);  // two alphabet characters
    EXPECT_EQ(base64DecodeLenEx(""), 1u);
    EXPECT_EQ(base64DecodeLenEx("YWJjZA"), 7u);
    EXPECT_EQ(base64DecodeLenEx2("YWJjZGVm", 5), 7u);

    char dst[16];
    std::memset(dst, 'x', sizeof dst);
    EXPECT_EQ(base64EncodeEx(dst, "abc", 0), 1u);  // the terminator alone
    EXPECT_EQ(dst[0], '\0');
    std::memset(dst, 'x', sizeof dst);
    EXPECT_EQ(base64Encode(dst, "abc", 0), 0);  // nothing written
    EXPECT_EQ(dst[0], 'x');
    EXPECT_EQ(base64Encode(dst, "abc", 3), 5);
    EXPECT_STREQ(dst, "YWJj");
    EXPECT_EQ(base64EncodeLen(2), 5);
    EXPECT_EQ(base64DecodeLen("YWJj"), 4);
    EXPECT_EQ(base64Decode(dst, "YWI="), 2);
    EXPECT_STREQ(dst, "ab");

    LogCapture log;
    EXPECT_EQ(base64EncodeLen(-1), 0);
    EXPECT_EQ(base64EncodeLen(0x7FFFFFFF), 0);  // the text would not fit an int
    EXPECT_EQ(base64Encode(dst, "abc", -5), 0);
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"length:-1 is invalid\n", "length:2147483647 is invalid\n"}));
}

TEST(Base64, EncodeTails) {
    char dst[8];
    EXPECT_EQ(base64EncodeEx(dst, "abc", 3), 5u);
    EXPECT_STREQ(dst, "YWJj");
    EXPECT_EQ(base64EncodeEx(dst, "ab", 2), 5u);
    EXPECT_STREQ(dst, "YWI=");
    EXPECT_EQ(base64EncodeEx(dst, "a", 1), 5u);
    EXPECT_STREQ(dst, "YQ==");
}

TEST(Base64, DecoderStopsAtTheFirstByteOutsideTheAlphabet) {
    char dst[32];
    EXPECT_EQ(base64DecodeEx(dst, "YQ=="), 1u);
    EXPECT_STREQ(dst, "a");
    EXPECT_EQ(base64DecodeEx(dst, "YWJj"), 3u);
    std::memset(dst, 'x', sizeof dst);
    EXPECT_EQ(base64DecodeEx(dst, ""), 0u);
    EXPECT_EQ(dst[0], '\0');
    // A blank after the second character: "YW" gives one byte and the rest is not looked at.
    EXPECT_EQ(base64DecodeEx(dst, "YW JjZA=="), 1u);
    EXPECT_EQ(dst[0], 'a');
    // No white space is skipped, line ends included, and "=" ends the text even mid-way.
    EXPECT_EQ(base64DecodeEx(dst, "YWJj\nZGVm"), 3u);
    EXPECT_EQ(base64DecodeEx(dst, "YQ==YWJj"), 1u);
    // URL-safe characters are outside the alphabet.
    EXPECT_EQ(base64DecodeEx(dst, "YWJj-_"), 3u);
    // A single last character carries no byte; three give two.
    EXPECT_EQ(base64DecodeEx(dst, "YWJjZ"), 3u);
    EXPECT_EQ(base64DecodeEx(dst, "YWJjZGU"), 5u);
    EXPECT_STREQ(dst, "abcde");
    // Ex2 reads no more than its length.
    EXPECT_EQ(base64DecodeEx2(dst, "YWJjZGVm", 4), 3u);
    EXPECT_STREQ(dst, "abc");
    EXPECT_EQ(base64DecodeEx2(dst, "YWJjZGVm", 6), 4u);
    EXPECT_STREQ(dst, "abcd");
    EXPECT_EQ(base64DecodeEx2(dst, "YWJjZGVm", 0), 0u);
}

TEST(Base64, Ex2NeverReadsPastItsLength) {
    // Heap blocks of exactly `length` bytes and no terminator: AddressSanitizer reports any read
    // beyond them.
    std::mt19937 rng(642);
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (size_t length = 0; length <= 40; ++length) {
        std::unique_ptr<char[]> text(new char[length == 0 ? 1 : length]);
        for (size_t i = 0; i < length; ++i) text[i] = alphabet[rng() % 64];
        const size_t room = base64DecodeLenEx2(text.get(), length);
        ASSERT_EQ(room, (length + 3) / 4 * 3 + 1);
        std::unique_ptr<char[]> out(new char[room]);
        const size_t n = base64DecodeEx2(out.get(), text.get(), length);
        const size_t tailBytes[4] = {0, 0, 1, 2};  // a last group of 1 character gives nothing
        ASSERT_EQ(n, length / 4 * 3 + tailBytes[length % 4]);
        ASSERT_EQ(out[n], '\0');
    }
}

TEST(Base64, NullPointersAreRefused) {
    LogCapture log;
    char dst[8];
    EXPECT_EQ(base64EncodeEx(nullptr, "a", 1), 0u);
    EXPECT_EQ(base64EncodeEx(dst, nullptr, 1), 0u);
    EXPECT_EQ(base64DecodeLenEx(nullptr), 0u);
    EXPECT_EQ(base64DecodeEx(dst, nullptr), 0u);
    EXPECT_EQ(base64DecodeEx(nullptr, "YQ=="), 0u);
    EXPECT_EQ(base64DecodeEx2(dst, nullptr, 4), 0u);
    EXPECT_EQ(base64Decode(nullptr, "YQ=="), 0);
    EXPECT_EQ(base64DecodeLen(nullptr), 0);
    const std::vector<std::string> expected = {
        "dst space is not enough or NULL\n", "The source data is NULL\n", "The source data is NULL\n",
        "The source data is NULL\n",         "dst space is not enough or NULL\n",
        "The source data is NULL\n",         "dst space is not enough or NULL\n",
        "The source data is NULL\n"};
    EXPECT_EQ(log.messages(), expected);
}

TEST(Base64, RoundTripOfRandomData) {
    std::mt19937 rng(64);
    for (size_t n : KernaTest::testLengths()) {
        const Bytes src = KernaTest::randomBytes(rng, n);
        std::string text(base64EncodeLenEx(n), '\0');
        ASSERT_EQ(base64EncodeEx(&text[0], reinterpret_cast<const char*>(src.data()), n), text.size());
        std::string back(base64DecodeLenEx(text.c_str()), '\0');
        const size_t m = base64DecodeEx(&back[0], text.c_str());
        ASSERT_EQ(m, n);
        ASSERT_EQ(back.substr(0, n), std::string(src.begin(), src.end())) << n;
    }
}

TEST(Base64, DecodingACutTextEqualsDecodingItsPrefix) {
    // A byte outside the alphabet at a random place ends the text there.
    std::mt19937 rng(77);
    for (int round = 0; round < 500; ++round) {
        const Bytes src = KernaTest::randomBytes(rng, rng() % 90);
        std::string text(base64EncodeLenEx(src.size()), '\0');
        base64EncodeEx(&text[0], reinterpret_cast<const char*>(src.data()), src.size());
        text.pop_back();
        const size_t cut = text.empty() ? 0 : rng() % text.size();
        std::string damaged = text;
        const char stoppers[] = {' ', '\n', '=', '-', '_', '\x80', '.', '\t'};
        if (!damaged.empty()) damaged[cut] = stoppers[rng() % sizeof stoppers];
        const std::string prefix = damaged.substr(0, damaged.empty() ? 0 : cut);
        ASSERT_EQ(decode(damaged), decode(prefix)) << damaged;
    }
}

#if KERNA_TEST_HAVE_OPENSSL
TEST(Base64, MatchesOpenSsl) {
    std::mt19937 rng(4648);
    for (size_t n : KernaTest::testLengths()) {
        const Bytes src = KernaTest::randomBytes(rng, n);
        std::string ours(base64EncodeLenEx(n), '\0');
        base64EncodeEx(&ours[0], reinterpret_cast<const char*>(src.data()), n);
        std::string theirs(4 * ((n + 2) / 3) + 1, '\0');
        const int len = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&theirs[0]), src.data(), static_cast<int>(n));
        ASSERT_EQ(static_cast<size_t>(len) + 1, ours.size());
        ASSERT_EQ(ours, theirs) << n;
        // OpenSSL's decoder counts the fill characters as zero bytes; ours does not.
        std::string decoded(base64DecodeLenEx(ours.c_str()), '\0');
        const size_t m = base64DecodeEx(&decoded[0], ours.c_str());
        Bytes reference(3 * ((n + 2) / 3) + 1);
        const int r = EVP_DecodeBlock(reference.data(), reinterpret_cast<const unsigned char*>(ours.data()), len);
        ASSERT_GE(r, 0);
        ASSERT_EQ(static_cast<size_t>(r), m + (3 - n % 3) % 3);
        ASSERT_EQ(std::memcmp(decoded.data(), reference.data(), m), 0);
    }
}
#else
TEST(Base64, MatchesOpenSsl) { GTEST_SKIP() << "OpenSSL's libcrypto was not found when building"; }
#endif

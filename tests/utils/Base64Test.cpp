// Base64Test.cpp
#include <gtest/gtest.h>

#include <memory>

#include "kerna/utils/Base64.h"
#include "support/LogCapture.h"
#include "utils/UtilsTestSupport.h"

#if KERNA_TEST_HAVE_OPENSSL
#include <openssl/evp.h>
#endif

using namespace Tessaran::Utils;
using namespace KernaTest;

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
    // (The encoded lengths are checked with every vector above.)
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

TEST(Base64, DecoderStopsAtTheFirstByteOutsideTheAlphabet) {
    // No white space is skipped (line ends included), "=" ends the text even mid-way, URL-safe
    // characters are outside the alphabet, and a single last character carries no byte.
    const char* const cases[][2] = {{"YW JjZA==", "a"}, {"YWJj\nZGVm", "abc"}, {"YQ==YWJj", "a"},
                                    {"YWJj-_", "abc"},  {"YWJjZ", "abc"},       {"YWJjZGU", "abcde"}};
    for (const auto& c : cases) EXPECT_EQ(decode(c[0]), c[1]) << c[0];
    // Ex2 reads no more than its length.
    char dst[8];
    for (size_t length : {0, 4, 6}) {
        std::memset(dst, 'x', sizeof dst);
        const size_t n = base64DecodeEx2(dst, "YWJjZGVm", length);
        EXPECT_EQ(std::string(dst, n + 1), std::string("abcd", n) + '\0') << length;
        EXPECT_EQ(n, length == 0 ? 0u : length == 4 ? 3u : 4u);
    }
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
    const std::string dst_ = "dst space is not enough or NULL\n", src = "The source data is NULL\n";
    EXPECT_EQ(log.messages(), (std::vector<std::string>{dst_, src, src, src, dst_, src, dst_, src}));
}

TEST(Base64, DecodingACutTextEqualsDecodingItsPrefix) {
    // A byte outside the alphabet at a random place ends the text there.
    std::mt19937 rng(77);
    for (int round = 0; round < 500; ++round) {
        const Bytes src = randomBytes(rng, 1 + rng() % 90);
        std::string damaged = encode(std::string(src.begin(), src.end()));
        const size_t cut = rng() % damaged.size();
        const char stoppers[] = {' ', '\n', '=', '-', '_', '\x80', '.', '\t'};
        damaged[cut] = stoppers[rng() % sizeof stoppers];
        ASSERT_EQ(decode(damaged), decode(damaged.substr(0, cut))) << damaged;
    }
}

#if KERNA_TEST_HAVE_OPENSSL
TEST(Base64, MatchesOpenSsl) {
    std::mt19937 rng(4648);
    for (size_t n : testLengths()) {
        const Bytes src = randomBytes(rng, n);
        const std::string data(src.begin(), src.end()), ours = encode(data);
        std::string theirs(4 * ((n + 2) / 3), '\0');
        const int len = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&theirs[0]), src.data(), static_cast<int>(n));
        ASSERT_EQ(static_cast<size_t>(len), ours.size());
        ASSERT_EQ(ours, theirs) << n;
        // OpenSSL's decoder counts the fill characters as zero bytes; ours does not.
        const std::string decoded = decode(ours);
        ASSERT_EQ(decoded, data) << n;
        Bytes reference(3 * ((n + 2) / 3) + 1);
        const int r = EVP_DecodeBlock(reference.data(), reinterpret_cast<const unsigned char*>(ours.data()), len);
        ASSERT_EQ(r, static_cast<int>(decoded.size() + (3 - n % 3) % 3));
        ASSERT_EQ(std::memcmp(decoded.data(), reference.data(), decoded.size()), 0);
    }
}
#else
TEST(Base64, MatchesOpenSsl) { GTEST_SKIP() << "OpenSSL's libcrypto was not found when building"; }
#endif

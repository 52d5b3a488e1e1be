// Sha1Test.cpp
#include <gtest/gtest.h>

#include "kerna/utils/Sha1.h"
#include "support/LogCapture.h"
#include "utils/Sha1Blocks.h"
#include "utils/UtilsTestSupport.h"

#if KERNA_TEST_HAVE_OPENSSL
#include <openssl/evp.h>
#endif

using namespace Tessaran::Utils;
using namespace KernaTest;

namespace {

std::string hexOf(CSha1& sha) {
    char text[41];
    sha.hex(text, sizeof text);
    return text;
}

std::string sha1Of(const std::string& message) {
    CSha1 sha;
    sha.update(u8(message.data()), message.size());
    return hexOf(sha);
}

const std::string kAbc = "a9993e364706816aba3e25717850c26c9cd0d89d";

}  // namespace

TEST(CSha1, Fips180Examples) {
    for (bool reference : {false, true}) {
        ReferenceOnly mode(reference);
        EXPECT_EQ(sha1Of("abc"), kAbc);
        EXPECT_EQ(sha1Of("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
                  "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
        EXPECT_EQ(sha1Of(""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
        CSha1 sha;
        const std::string thousand(1000, 'a');
        for (int i = 0; i < 1000; ++i) sha.update(u8(thousand.data()), 1000);
        EXPECT_EQ(hexOf(sha), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");  // one million "a"
    }
}

TEST(CSha1, OutputRoomRulesAndTheFinishedDigest) {
    LogCapture log;
    CSha1 sha;
    sha.update(u8("ab"), 2);
    unsigned char digest[24];
    std::memset(digest, 0xEE, sizeof digest);
    sha.final(digest, 19);
    EXPECT_EQ(digest[0], 0xEE);  // nothing written, the message still open
    sha.final(nullptr, 20);
    char text[48];
    std::memset(text, 'x', sizeof text);
    sha.hex(text, 39);
    sha.hex(nullptr, 41);
    EXPECT_EQ(text[0], 'x');
    sha.update(u8("c"), 1);
    sha.update(u8("c"), size_t(1) << 32);  // refused, not read
    sha.hex(text, 40);
    EXPECT_EQ(std::string(text, 40), kAbc);
    EXPECT_EQ(text[40], 'x');  // no terminator with a length of 40
    sha.hex(text, 41);
    EXPECT_EQ(text[40], '\0');
    std::vector<std::string> messages = log.messages();
    ASSERT_EQ(messages.size(), 5u);
    EXPECT_NE(messages[4].find("length:4294967296 is too long"), std::string::npos);
    messages.pop_back();
    EXPECT_EQ(messages, (std::vector<std::string>{"len:19 is invalid!\n", "hash is NULL!\n", "len:39 is invalid!\n",
                                                 "str is NULL!\n"}));
    // The finished digest stays until new input, which starts a new message from scratch.
    sha.final(digest, sizeof digest);
    EXPECT_EQ(toHex(digest, 20), kAbc);
    EXPECT_EQ(digest[20], 0xEE);  // exactly 20 bytes
    sha.update(nullptr, 5);
    sha.update(digest, 0);
    EXPECT_EQ(hexOf(sha), kAbc);
    sha.update(u8("abc"), 3);
    EXPECT_EQ(hexOf(sha), kAbc);
}

TEST(CSha1, ShaInstructionsAgreeWithTheReferenceBlocks) {
    if (!Detail::useShaNi()) GTEST_SKIP() << "this CPU has no SHA instructions";
    std::mt19937 rng(180);
    for (int round = 0; round < 300; ++round) {
        const size_t blocks = 1 + rng() % 20;
        const Bytes data = randomBytes(rng, 64 * blocks);
        uint32_t a[5], b[5];
        for (int i = 0; i < 5; ++i) a[i] = b[i] = rng();
        Detail::sha1BlocksReference(a, data.data(), blocks);
        Detail::sha1BlocksShaNi(b, data.data(), blocks);
        ASSERT_EQ(std::memcmp(a, b, sizeof a), 0);
    }
}

#if KERNA_TEST_HAVE_OPENSSL
TEST(CSha1, MatchesOpenSslInRandomPieces) {
    std::mt19937 rng(1801);
    for (bool reference : {false, true}) {
        ReferenceOnly mode(reference);
        CSha1 sha;
        for (size_t n : testLengths()) {
            const Bytes data = randomBytes(rng, n);
            unsigned char expected[20];
            unsigned int len = 0;
            ASSERT_EQ(EVP_Digest(data.data(), n, expected, &len, EVP_sha1(), nullptr), 1);
            CSha1 fresh;
            CSha1& target = n == 0 ? fresh : sha;  // no update would not restart a finished object
            feedInPieces(rng, n, [&](size_t at, size_t piece) { target.update(data.data() + at, piece); });
            unsigned char digest[20];
            target.final(digest, sizeof digest);
            ASSERT_EQ(toHex(digest, 20), toHex(expected, 20)) << n;
        }
    }
}
#else
TEST(CSha1, MatchesOpenSslInRandomPieces) { GTEST_SKIP() << "OpenSSL's libcrypto was not found when building"; }
#endif

// Md5Test.cpp
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "kerna/utils/Md5.h"
#include "support/LogCapture.h"
#include "utils/UtilsTestSupport.h"

#if KERNA_TEST_HAVE_OPENSSL
#include <openssl/evp.h>
#endif

using namespace Tessaran::Utils;
using KernaTest::Bytes;
using KernaTest::LogCapture;

namespace {

std::string hexOf(CMd5& md5) {
    char text[33];
    std::memset(text, 'x', sizeof text);
    md5.hex(text);
    EXPECT_EQ(text[32], 'x');  // no terminator of its own
    return std::string(text, 32);
}

std::string md5Of(const std::string& message) {
    CMd5 md5;
    md5.update(reinterpret_cast<const unsigned char*>(message.data()), message.size());
    return hexOf(md5);
}

}  // namespace

TEST(CMd5, Rfc1321Suite) {
    EXPECT_EQ(md5Of(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(md5Of("a"), "0cc175b9c0f1b6a831c399e269772661");
    EXPECT_EQ(md5Of("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(md5Of("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(md5Of("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
    EXPECT_EQ(md5Of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
              "d174ab98d277d9f5a5611c2c9f419d9f");
    std::string eightTimes;
    for (int i = 0; i < 8; ++i) eightTimes += "1234567890";
    EXPECT_EQ(md5Of(eightTimes), "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(CMd5, FinishedDigestStaysUntilNewInput) {
    CMd5 md5;
    EXPECT_EQ(hexOf(md5), "d41d8cd98f00b204e9800998ecf8427e");  // no update at all
    md5.update(reinterpret_cast<const unsigned char*>("abc"), 3);
    unsigned char digest[16];
    md5.final(digest);
    EXPECT_EQ(KernaTest::toHex(digest, 16), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(hexOf(md5), "900150983cd24fb0d6963f7d28e17f72");
    md5.final(digest);
    EXPECT_EQ(KernaTest::toHex(digest, 16), "900150983cd24fb0d6963f7d28e17f72");

    // Calls without data change nothing; the next byte starts a new message from scratch.
    md5.update(nullptr, 5);
    md5.update(reinterpret_cast<const unsigned char*>("abc"), 0);
    EXPECT_EQ(hexOf(md5), "900150983cd24fb0d6963f7d28e17f72");
    md5.update(reinterpret_cast<const unsigned char*>("a"), 1);
    EXPECT_EQ(hexOf(md5), "0cc175b9c0f1b6a831c399e269772661");
}

TEST(CMd5, InitDropsPartialInput) {
    CMd5 md5;
    const std::string dropped(60, 'g');
    md5.update(reinterpret_cast<const unsigned char*>(dropped.data()), dropped.size());
    md5.init();
    md5.update(reinterpret_cast<const unsigned char*>("abc"), 3);
    EXPECT_EQ(hexOf(md5), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(CMd5, NullOutputLeavesTheMessageOpen) {
    LogCapture log;
    CMd5 md5;
    md5.update(reinterpret_cast<const unsigned char*>("ab"), 2);
    md5.final(nullptr);
    md5.hex(nullptr);
    // Refused: longer than one call may take. The data is not read.
    md5.update(reinterpret_cast<const unsigned char*>("x"), size_t(1) << 32);
    md5.update(reinterpret_cast<const unsigned char*>("c"), 1);
    EXPECT_EQ(hexOf(md5), "900150983cd24fb0d6963f7d28e17f72");
    const std::vector<std::string> messages = log.messages();
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_EQ(messages[0], "digest is NULL\n");
    EXPECT_EQ(messages[1], "hash is NULL\n");
    EXPECT_NE(messages[2].find("length:4294967296 is too long"), std::string::npos);
}

#if KERNA_TEST_HAVE_OPENSSL
TEST(CMd5, MatchesOpenSslInRandomPieces) {
    std::mt19937 rng(1321);
    CMd5 md5;  // one object for all messages: each hex finishes, the next update restarts
    for (size_t n : KernaTest::testLengths()) {
        const Bytes data = KernaTest::randomBytes(rng, n);
        unsigned char expected[16];
        unsigned int len = 0;
        ASSERT_EQ(EVP_Digest(data.data(), n, expected, &len, EVP_md5(), nullptr), 1);
        size_t at = 0;
        for (size_t piece : KernaTest::randomSplit(rng, n)) {
            md5.update(data.data() + at, piece);
            at += piece;
        }
        if (n == 0) md5.init();  // no update would restart a finished object
        unsigned char digest[16];
        md5.final(digest);
        ASSERT_EQ(KernaTest::toHex(digest, 16), KernaTest::toHex(expected, 16)) << n;
    }
}
#else
TEST(CMd5, MatchesOpenSslInRandomPieces) { GTEST_SKIP() << "OpenSSL's libcrypto was not found when building"; }
#endif

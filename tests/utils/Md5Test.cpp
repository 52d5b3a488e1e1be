// Md5Test.cpp
#include <gtest/gtest.h>

#include "kerna/utils/Md5.h"
#include "support/LogCapture.h"
#include "utils/UtilsTestSupport.h"

#if KERNA_TEST_HAVE_OPENSSL
#include <openssl/evp.h>
#endif

using namespace Tessaran::Utils;
using namespace KernaTest;

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
    md5.update(u8(message.data()), message.size());
    return hexOf(md5);
}

}  // namespace

TEST(CMd5, Rfc1321Suite) {
    const char* const vectors[][2] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"}};
    for (const auto& v : vectors) EXPECT_EQ(md5Of(v[0]), v[1]) << v[0];
}

TEST(CMd5, FinishedDigestStaysUntilNewInputAndInitDropsInput) {
    CMd5 md5;
    EXPECT_EQ(hexOf(md5), "d41d8cd98f00b204e9800998ecf8427e");  // no update at all
    const std::string dropped(60, 'g');
    md5.update(u8(dropped.data()), dropped.size());
    md5.init();
    md5.update(u8("abc"), 3);
    unsigned char digest[16];
    for (int twice = 0; twice < 2; ++twice) {
        md5.final(digest);
        EXPECT_EQ(toHex(digest, 16), "900150983cd24fb0d6963f7d28e17f72");
    }
    // Calls without data change nothing; the next byte starts a new message from scratch.
    md5.update(nullptr, 5);
    md5.update(u8("abc"), 0);
    EXPECT_EQ(hexOf(md5), "900150983cd24fb0d6963f7d28e17f72");
    md5.update(u8("a"), 1);
    EXPECT_EQ(hexOf(md5), "0cc175b9c0f1b6a831c399e269772661");
}

TEST(CMd5, NullOutputLeavesTheMessageOpen) {
    LogCapture log;
    CMd5 md5;
    md5.update(u8("ab"), 2);
    md5.final(nullptr);
    md5.hex(nullptr);
    // Refused: longer than one call may take. The data is not read.
    md5.update(u8("x"), size_t(1) << 32);
    md5.update(u8("c"), 1);
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
    for (size_t n : testLengths()) {
        const Bytes data = randomBytes(rng, n);
        unsigned char expected[16];
        unsigned int len = 0;
        ASSERT_EQ(EVP_Digest(data.data(), n, expected, &len, EVP_md5(), nullptr), 1);
        feedInPieces(rng, n, [&](size_t at, size_t piece) { md5.update(data.data() + at, piece); });
        if (n == 0) md5.init();  // no update would restart a finished object
        unsigned char digest[16];
        md5.final(digest);
        ASSERT_EQ(toHex(digest, 16), toHex(expected, 16)) << n;
    }
}
#else
TEST(CMd5, MatchesOpenSslInRandomPieces) { GTEST_SKIP() << "OpenSSL's libcrypto was not found when building"; }
#endif

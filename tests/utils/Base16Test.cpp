// Base16Test.cpp
#include <gtest/gtest.h>

#include "kerna/utils/Base16.h"
#include "support/LogCapture.h"
#include "utils/UtilsTestSupport.h"

using namespace Tessaran::Utils;
using namespace KernaTest;

namespace {

const std::string kNoRoom = "dst space is not enough or NULL\n", kNullSrc = "The source data is NULL\n";

std::string encode(const std::string& in) {
    std::string out(2 * in.size() + 1, 'x');
    const size_t n = base16Encode(reinterpret_cast<const unsigned char*>(in.data()), in.size(), &out[0], out.size());
    EXPECT_EQ(n, 2 * in.size() + 1);
    return std::string(out.c_str());
}

}  // namespace

TEST(Base16, Rfc4648Vectors) {
    const std::string foobar = "foobar", hex = "666F6F626172";
    for (size_t n = 1; n <= 6; ++n) EXPECT_EQ(encode(foobar.substr(0, n)), hex.substr(0, 2 * n));

    unsigned char out[8];
    ASSERT_EQ(base16Decode("666F6F626172", 12, out, sizeof out), 6u);
    EXPECT_EQ(std::memcmp(out, "foobar\0\0", 8), 0);  // the rest of dst is cleared
    ASSERT_EQ(base16Decode("666f6f626172", 12, out, 6), 6u);
    EXPECT_EQ(std::memcmp(out, "foobar", 6), 0);
}

TEST(Base16, EncodeNeedsRoomForTheTerminator) {
    LogCapture log;
    const unsigned char src[] = {0xAB, 0x01};
    char dst[8];
    std::memset(dst, 'x', sizeof dst);
    EXPECT_EQ(base16Encode(src, 2, dst, 5), 5u);
    EXPECT_STREQ(dst, "AB01");
    EXPECT_EQ(dst[5], 'x');  // only dstLength bytes are cleared

    std::memset(dst, 'x', sizeof dst);
    EXPECT_EQ(base16Encode(src, 2, dst, 4), 0u);
    EXPECT_EQ(dst[0], 'x');
    EXPECT_EQ(base16Encode(src, 0, dst, 4), 0u);
    EXPECT_EQ(base16Encode(src, 2, nullptr, 5), 0u);
    EXPECT_EQ(base16Encode(nullptr, 2, dst, 5), 0u);
    EXPECT_EQ(base16Encode(src, SIZE_MAX / 2 + 1, dst, 5), 0u);  // no overflow in the size test
    EXPECT_EQ(log.messages(), (std::vector<std::string>{kNoRoom, kNoRoom, kNoRoom, kNullSrc, kNoRoom}));
}

TEST(Base16, DecodeAcceptsBothCasesAndRefusesBadInput) {
    LogCapture log;
    unsigned char dst[4];
    EXPECT_EQ(base16Decode("aB01", 4, dst, 4), 2u);
    EXPECT_EQ(std::memcmp(dst, "\xAB\x01\0\0", 4), 0);
    EXPECT_TRUE(log.messages().empty());

    // A bad pair after a good one: the warnings, and dst cleared again.
    std::memset(dst, 0x55, sizeof dst);
    EXPECT_EQ(base16Decode("AB0G", 4, dst, 4), 0u);
    EXPECT_EQ(dst[0] | dst[1] | dst[2] | dst[3], 0);
    EXPECT_EQ(base16Decode("0G", 2, dst, 4), 0u);
    const std::string bad = "The source data is not base16 encoding\n", failed = "base16 decode failed\n";
    EXPECT_EQ(log.messages(), (std::vector<std::string>{bad, failed, bad, failed}));
    log.clear();

    std::memset(dst, 0x55, sizeof dst);
    EXPECT_EQ(base16Decode("ABC", 3, dst, 4), 0u);
    EXPECT_EQ(base16Decode("", 0, dst, 4), 0u);
    EXPECT_EQ(base16Decode("ABCD", 4, dst, 1), 0u);
    EXPECT_EQ(base16Decode("ABCD", 4, nullptr, 4), 0u);
    EXPECT_EQ(base16Decode(nullptr, 4, dst, 4), 0u);
    EXPECT_EQ(dst[0], 0x55);  // refused before anything was cleared
    const std::string length = "The source data length is wrong\n";
    EXPECT_EQ(log.messages(), (std::vector<std::string>{length, length, kNoRoom, kNoRoom, kNullSrc}));
}

TEST(Base16, RoundTripOfEveryByteAndRandomData) {
    std::mt19937 rng(16);
    for (size_t n = 1; n <= 300; ++n) {
        Bytes src = randomBytes(rng, n);
        if (n == 256)
            for (size_t i = 0; i < n; ++i) src[i] = static_cast<unsigned char>(i);
        std::string text(2 * n + 1, '\0');
        ASSERT_EQ(base16Encode(src.data(), n, &text[0], text.size()), 2 * n + 1);
        // Mixed case decodes the same.
        for (size_t i = 0; i < 2 * n; i += 3) text[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
        Bytes back(n);
        ASSERT_EQ(base16Decode(text.data(), 2 * n, back.data(), n), n);
        ASSERT_EQ(back, src) << n;
    }
}

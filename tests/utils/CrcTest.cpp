// CrcTest.cpp
#include <gtest/gtest.h>

#include "kerna/utils/Crc.h"
#include "support/LogCapture.h"
#include "utils/CrcInternal.h"
#include "utils/UtilsTestSupport.h"

#if KERNA_TEST_HAVE_ZLIB
#include <zlib.h>
#endif

using namespace Tessaran::Utils;
using namespace KernaTest;

namespace {

const unsigned char kCheck[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

}  // namespace

TEST(Crc, CheckValuesAndRunningValues) {
    EXPECT_EQ(crc16(0, kCheck, 9), 0xBB3D);  // CRC-16/ARC
    EXPECT_EQ(crc32(kCheck, 9), 0xCBF43926u);  // CRC-32/ISO-HDLC
    EXPECT_EQ(crc32(0u, kCheck, 9), 0xCBF43926u);
    {
        ReferenceOnly reference(true);
        EXPECT_EQ(crc32(kCheck, 9), 0xCBF43926u);
    }
    EXPECT_EQ(crc16(crc16(0, kCheck, 4), kCheck + 4, 5), 0xBB3D);
    EXPECT_EQ(crc32(crc32(kCheck, 4), kCheck + 4, 5), 0xCBF43926u);
    // No bytes: the seed comes back; the plain form gives 0.
    EXPECT_EQ(crc16(0x1234, kCheck, 0), 0x1234);
    EXPECT_EQ(crc32(0xDEADBEEFu, kCheck, 0), 0xDEADBEEFu);
    EXPECT_EQ(crc32(kCheck, 0), 0u);
    EXPECT_EQ(crc32(nullptr, 0), 0u);
    // crc16 has no inversion: a seed is the running value itself.
    EXPECT_EQ(crc16(0xFFFF, kCheck, 9), 0x4B37);  // CRC-16/MODBUS
}

TEST(Crc, BadArgumentsAreRefused) {
    LogCapture log;
    EXPECT_EQ(crc16(0x55, nullptr, 3), 0x55);
    EXPECT_EQ(crc32(nullptr, 3), 0u);
    EXPECT_EQ(crc32(0x1234u, nullptr, 3), 0x1234u);
    // The two-argument form counts in 32 bits; the data is not read when the length is refused.
    EXPECT_EQ(crc32(kCheck, size_t(1) << 32), 0u);
    const std::string null = "data is NULL, length:3\n";
    EXPECT_EQ(log.messages(), (std::vector<std::string>{null, null, null, "length:4294967296 is too long\n"}));
}

TEST(Crc, AllPathsAgreeWithTheOneTableReference) {
    std::mt19937 rng(32);
    const bool clmul = Detail::useClmul();
    if (!clmul) std::printf("note: no carry-less multiply on this CPU; comparing slicing-by-8 only\n");
    for (size_t n : testLengths()) {
        // Random offsets make the reads start at every alignment.
        const Bytes buffer = randomBytes(rng, n + 16);
        const size_t offset = rng() % 16;
        const unsigned char* p = buffer.data() + offset;
        const uint32_t seed = rng();
        const uint32_t expected = Detail::crc32Reference(seed, p, n);
        ASSERT_EQ(Detail::crc32Slice8(seed, p, n), expected) << n;
        if (clmul) {
            ASSERT_EQ(Detail::crc32Clmul(seed, p, n), expected) << n;
        }
    }
}

TEST(Crc, Crc16PiecesGiveTheChecksumOfTheWhole) {
    // (crc32 in pieces is compared with zlib below.)
    std::mt19937 rng(9);
    for (int round = 0; round < 200; ++round) {
        const Bytes data = randomBytes(rng, rng() % 3000);
        unsigned short c16 = 0;
        feedInPieces(rng, data.size(), [&](size_t at, size_t piece) { c16 = crc16(c16, data.data() + at, piece); });
        ASSERT_EQ(c16, crc16(0, data.data(), data.size()));
    }
}

#if KERNA_TEST_HAVE_ZLIB
TEST(Crc, MatchesZlib) {
    std::mt19937 rng(1952);
    for (bool reference : {false, true}) {
        ReferenceOnly mode(reference);
        for (size_t n : testLengths()) {
            const Bytes data = randomBytes(rng, n);
            const uLong expected = ::crc32(0L, data.data(), static_cast<uInt>(n));
            ASSERT_EQ(crc32(data.data(), n), expected) << n;
            // Fed in random pieces through the seeded form, as zlib's running value.
            uint32_t c = 0;
            feedInPieces(rng, n, [&](size_t at, size_t piece) { c = crc32(c, data.data() + at, piece); });
            ASSERT_EQ(c, expected) << n;
        }
    }
}
#else
TEST(Crc, MatchesZlib) { GTEST_SKIP() << "zlib was not found when building"; }
#endif

// IpAddressTest.cpp
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>

#include "kerna/utils/IpAddress.h"
#include "support/LogCapture.h"

using namespace Tessaran;
using namespace Tessaran::Utils;
using KernaTest::LogCapture;

TEST(IpAddress, FirstNumberInTheLeastSignificantByte) {
    const IpAddress ip = stringToIp("192.168.1.20");
    EXPECT_EQ(ip.value, 0x1401A8C0u);
    EXPECT_EQ(ip.bytes[0], 192);  // little-endian host: network order in memory
    char text[16];
    EXPECT_EQ(ipToString(ip, text, sizeof text), text);
    EXPECT_STREQ(text, "192.168.1.20");
    IpAddress top;
    top.value = 0xFFFFFFFFu;
    EXPECT_STREQ(ipToString(top, text, sizeof text), "255.255.255.255");
    EXPECT_STREQ(ipToString(top, text, 8), "255.255");  // cut by snprintf_x
}

TEST(IpAddress, NumbersAreCutTo8BitsWithoutARangeTest) {
    LogCapture log;
    EXPECT_EQ(stringToIp("300.1.2.3").value, 0x0302012Cu);  // 300 & 0xFF = 44
    EXPECT_EQ(stringToIp("-1.0.0.256").value, 0x000000FFu);
    EXPECT_EQ(stringToIp(" 1. 2.\t3.+4junk").value, 0x04030201u);
    // strtol saturates at LONG_MAX / LONG_MIN; the low byte of those is 0xFF / 0x00.
    EXPECT_EQ(stringToIp("99999999999999999999999.4294967297.-99999999999999999999.1").value, 0x010001FFu);
    EXPECT_TRUE(log.messages().empty());
}

TEST(IpAddress, MissingNumbersWarnAndKeepWhatWasRead) {
    LogCapture log;
    EXPECT_EQ(stringToIp("10.20.30").value, 0x001E140Au);
    EXPECT_EQ(stringToIp("10 .20.30.40").value, 0x0000000Au);
    EXPECT_EQ(stringToIp("").value, 0u);
    EXPECT_EQ(stringToIp(nullptr).value, 0u);
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"param str 10.20.30 is invalid\n",
                                                       "param str 10 .20.30.40 is invalid\n",
                                                       "param str  is invalid\n",
                                                       "param str (null) is invalid\n"}));
    log.clear();
    char small[4];
    EXPECT_EQ(ipToString(stringToIp("1.2.3.4"), nullptr, 16), nullptr);
    EXPECT_EQ(ipToString(stringToIp("1.2.3.4"), small, 0), nullptr);
    EXPECT_EQ(log.messages().size(), 2u);
}

TEST(IpAddress, ReadsAsSscanfDoes) {
    // glibc's sscanf is the oracle (numbers beyond long saturate there as here).
    std::mt19937 rng(4);
    const char pieces[] = "0123456789. +-\tx";
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        const size_t length = rng() % 20;
        for (size_t i = 0; i < length; ++i) text += pieces[rng() % (sizeof pieces - 1)];
        int n[4] = {0, 0, 0, 0};
        const int read = std::sscanf(text.c_str(), "%d.%d.%d.%d", &n[0], &n[1], &n[2], &n[3]);
        uint32_t expected = 0;
        for (int i = 0; i < 4; ++i) expected |= (static_cast<uint32_t>(n[i]) & 0xFFu) << (8 * i);
        LogCapture log;
        ASSERT_EQ(stringToIp(text.c_str()).value, expected) << "'" << text << "'";
        ASSERT_EQ(log.messages().size(), read == 4 ? 0u : 1u) << "'" << text << "'";
    }
}

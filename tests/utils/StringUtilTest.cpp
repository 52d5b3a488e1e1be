// StringUtilTest.cpp
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "kerna/utils/StringUtil.h"
#include "support/LogCapture.h"

namespace U = Tessaran::Utils;
using KernaTest::LogCapture;

TEST(StringUtil, StrncpyCutsTerminatesAndZeroFills) {
    char dst[8];
    std::memset(dst, 'x', sizeof dst);
    EXPECT_EQ(U::strncpy(dst, 4, "0123456789", 10), 3u);
    EXPECT_STREQ(dst, "012");
    EXPECT_EQ(dst[4], 'x');  // nothing beyond dstSize

    std::memset(dst, 'x', sizeof dst);
    EXPECT_EQ(U::strncpy(dst, 8, "ab", 6), 2u);
    EXPECT_EQ(std::memcmp(dst, "ab\0\0\0\0\0x", 8), 0);  // zero filled up to count, then terminated

    std::memset(dst, 'x', sizeof dst);
    EXPECT_EQ(U::strncpy(dst, 8, "abcdef", 3), 3u);
    EXPECT_EQ(std::memcmp(dst, "abc\0xxxx", 8), 0);

    EXPECT_EQ(U::strncpy(dst, 1, "abc", 3), 0u);
    EXPECT_EQ(dst[0], '\0');

    LogCapture log;
    std::memset(dst, 'x', sizeof dst);
    EXPECT_EQ(U::strncpy(dst, 0, "abc", 3), 0u);
    EXPECT_EQ(U::strncpy(nullptr, 4, "abc", 3), 0u);
    EXPECT_EQ(U::strncpy(dst, 4, nullptr, 3), 0u);
    EXPECT_EQ(dst[0], 'x');
    EXPECT_EQ(log.messages().size(), 3u);
}

TEST(StringUtil, StrncatReturnsTheAllowedRoom) {
    char dst[8] = "abcde";
    EXPECT_EQ(U::strncat(dst, 8, "0123456789", 10), 2u);
    EXPECT_STREQ(dst, "abcde01");

    char dst2[8] = "abcde";
    EXPECT_EQ(U::strncat(dst2, 8, "Z", 10), 2u);  // one byte appended, the room is still 2
    EXPECT_STREQ(dst2, "abcdeZ");
    EXPECT_EQ(dst2[7], '\0');

    char dst3[8] = "ab";
    EXPECT_EQ(U::strncat(dst3, 8, "0123456789", 3), 3u);
    EXPECT_STREQ(dst3, "ab012");

    char full[4] = "abc";
    EXPECT_EQ(U::strncat(full, 4, "x", 1), 0u);
    EXPECT_STREQ(full, "abc");

    LogCapture log;
    char unterminated[4] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(U::strncat(unterminated, 4, "x", 1), 0u);
    EXPECT_EQ(std::memcmp(unterminated, "abcd", 4), 0);  // not touched
    EXPECT_EQ(U::strncat(nullptr, 4, "x", 1), 0u);
    EXPECT_EQ(U::strncat(full, 0, "x", 1), 0u);
    EXPECT_EQ(log.messages().size(), 3u);
    EXPECT_EQ(log.messages()[0], "dst is not terminated within dstSize:4\n");
}

TEST(StringUtil, SnprintfXCutsAndReportsTheTextLength) {
    char dst[8];
    EXPECT_EQ(U::snprintf_x(dst, 4, "%s", "abcd"), 3);
    EXPECT_STREQ(dst, "abc");
    EXPECT_EQ(U::snprintf_x(dst, 4, "%d", 12345678), 3);
    EXPECT_STREQ(dst, "123");
    EXPECT_EQ(U::snprintf_x(dst, 4, "%s", "abc"), 3);
    EXPECT_STREQ(dst, "abc");
    EXPECT_EQ(U::snprintf_x(dst, 8, "%d-%s", 7, "x"), 3);
    EXPECT_STREQ(dst, "7-x");
    EXPECT_EQ(U::snprintf_x(dst, 1, "%s", "abc"), 0);
    EXPECT_STREQ(dst, "");

    LogCapture log;
    EXPECT_EQ(U::snprintf_x(dst, 0, "%s", "abc"), 0);
    EXPECT_EQ(U::snprintf_x(nullptr, 4, "%s", "abc"), 0);
    EXPECT_EQ(log.messages().size(), 2u);
}

TEST(StringUtil, ExportedPointersAreTheRunTimeLibrarysFunctions) {
    char dst[8];
    // snprintf always terminates and returns the whole length.
    EXPECT_EQ(U::snprintf(dst, 4, "%s", "abcdef"), 6);
    EXPECT_STREQ(dst, "abc");
    EXPECT_EQ(U::stricmp("Hello", "hELLO"), 0);
    EXPECT_LT(U::stricmp("abc", "ABD"), 0);
    EXPECT_GT(U::stricmp("b", "A"), 0);
}

// TimeFormatTest.cpp
//
// The text forms of CTime: every letter and mask bit of format against exact text, parse and its
// failures, the process-wide default format, and parse(format(x)) == x for every default setting.

#include <gtest/gtest.h>
#include <kerna/kerna3/Time.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "time/TimeFormat.h"

using KernaTest::LogCapture;
using Tessaran::Kerna::CTime;

namespace {

std::string formatted(const CTime& t, const char* format, int mask) {
    char buf[256];
    std::memset(buf, 'Z', sizeof(buf));
    t.format(buf, format, mask);
    return buf;
}

typedef std::vector<std::string> Lines;
const int kAll = CTime::formatSeparator | CTime::formatDateOrder | CTime::formatHour;

std::string pointerText(const void* p) {
    char text[32];
    std::snprintf(text, sizeof(text), "%p", p);
    return text;
}

// The default format is process-wide: it goes back when the test ends, however it ends.
struct DefaultFormatAgain {
    ~DefaultFormatAgain() { CTime::setFormatString("yyyy-MM-dd HH:mm:ss"); }
};

}  // namespace

TEST(CTimeFormat, KnownTextsOfEveryLetter) {
    const CTime t(2023, 3, 4, 5, 6, 7), pm(2023, 11, 24, 17, 8, 9);
    EXPECT_EQ(formatted(t, "yyyy-MM-dd HH:mm:ss", kAll), "2023-03-04 05:06:07");
    EXPECT_EQ(formatted(t, "yy/M/d H:m:s", kAll), "23/3/4 5:6:7");
    EXPECT_EQ(formatted(CTime(2023, 3, 4, 0, 0, 0), "hh:mm tt", kAll), "12:00 AM");
    EXPECT_EQ(formatted(CTime(2023, 3, 4, 12, 0, 0), "hh:mm tt", kAll), "12:00 PM");
    EXPECT_EQ(formatted(CTime(2023, 3, 4, 13, 0, 0), "hh:mm tt", kAll), "01:00 PM");
    EXPECT_EQ(formatted(CTime(2023, 3, 4, 11, 59, 0), "h:mm t", kAll), "11:59 AM");
    // 24-hour mode: "t" writes nothing and takes back every blank before it.
    EXPECT_EQ(formatted(t, "HH:mm tt", kAll), "05:06");
    EXPECT_EQ(formatted(t, "HH:mm   t:ss", kAll), "05:06:07");
    EXPECT_EQ(formatted(t, "t HH", kAll), " 05");
    // Year: more than two letters give four digits, one or two the last two digits.
    EXPECT_EQ(formatted(pm, "y", kAll), "23");
    EXPECT_EQ(formatted(pm, "yy", kAll), "23");
    EXPECT_EQ(formatted(pm, "yyy", kAll), "2023");
    EXPECT_EQ(formatted(CTime(2005, 1, 1, 0, 0, 0), "yy", kAll), "05");
    // Month and day: two digits with two or more letters (counted over the whole format) or a
    // value of 10 or more.
    EXPECT_EQ(formatted(t, "M d", kAll), "3 4");
    EXPECT_EQ(formatted(t, "yyyy M/M d", kAll), "2023 03/4 ");
    EXPECT_EQ(formatted(pm, "M/d", kAll), "11/24");
    // Hour runs mix "h" and "H"; minute and second by the same digit rule.
    EXPECT_EQ(formatted(pm, "H", kAll), "17");
    EXPECT_EQ(formatted(pm, "hH tt", kAll), "05 PM");
    EXPECT_EQ(formatted(pm, "h", kAll), "5");
    EXPECT_EQ(formatted(pm, "HHH:m:s", kAll), "17:8:9");
    EXPECT_EQ(formatted(pm, "mm ss mmm", kAll), "08 09 08");
    // Other characters stand for themselves, the letters of the walk included: the "t" of "at"
    // takes back blanks in 24-hour mode.
    EXPECT_EQ(formatted(pm, "[yyyy] @ HH:mm, Q!", kAll), "[2023] @ 17:08, Q!");
    EXPECT_EQ(formatted(pm, "at HH", kAll), "a 17");
    EXPECT_EQ(formatted(pm, "", kAll), "");
    // A fourth date part has no text.
    EXPECT_EQ(formatted(t, "yyyy-MM-dd-yy", kAll), "2023-03-04-");
}

TEST(CTimeFormat, EachMaskBitHandsOneDecisionToTheFormat) {
    const CTime t(2023, 3, 4, 17, 6, 7);
    const char* full = "yyyy-MM-dd HH:mm:ss";
    CTime::setFormatString(full);
    // The letter only marks a place: with the process order the parts come year, month, day.
    EXPECT_EQ(formatted(t, "dd.MM.yyyy", 0), "2023-03-04");
    // A missing first part lets the other two move up; a missing second lets the third move.
    EXPECT_EQ(formatted(t, "MM-dd", 0), "03-04");
    EXPECT_EQ(formatted(t, "yyyy-dd", 0), "2023-04");
    // Only one step of moving: a lone day in the order ymd finds the (empty) month first.
    EXPECT_EQ(formatted(t, "dd", 0), "");

    CTime::setFormatString("dd.MM.yyyy hh:mm");
    EXPECT_EQ(formatted(t, full, 0), "04.03.2023 05:06:07");
    EXPECT_EQ(formatted(t, full, CTime::formatSeparator), "04-03-2023 05:06:07");
    EXPECT_EQ(formatted(t, full, CTime::formatDateOrder), "2023.03.04 05:06:07");
    EXPECT_EQ(formatted(t, full, CTime::formatHour), "04.03.2023 17:06:07");
    EXPECT_EQ(formatted(t, full, kAll), "2023-03-04 17:06:07");

    CTime::setFormatString("MM/dd/yyyy HH:mm");
    EXPECT_EQ(formatted(t, "yyyy-MM-dd hh:mm tt", 0), "03/04/2023 17:06");
    EXPECT_EQ(formatted(t, "yyyy-MM-dd hh:mm tt", CTime::formatHour), "03/04/2023 05:06 PM");
    EXPECT_EQ(formatted(t, "dd.MM.yyyy", CTime::formatDateOrder), "04/03/2023");
    EXPECT_EQ(formatted(t, "MM.dd.yy", kAll), "03.04.23");
    CTime::setFormatString(full);
}

TEST(CTimeFormat, InvalidDateOrderInTheFormatLogsAndUsesYmd) {
    CTime::setFormatString("yyyy-MM-dd HH:mm:ss");
    LogCapture log;
    const CTime t(2023, 3, 4, 5, 6, 7);
    EXPECT_EQ(formatted(t, "MM-yyyy-dd", kAll), "2023-03-04");
    EXPECT_EQ(log.messages(), Lines{"setFormat dateFormat is invalid,set default separator: ymd \n"});
    EXPECT_NE(log.lines()[0].find(" error Unknown "), std::string::npos);  // level 2, the library's
    // Under the process order the format's letters are not looked at.
    log.clear();
    EXPECT_EQ(formatted(t, "MM-yyyy-dd", 0), "2023-03-04");
    EXPECT_TRUE(log.lines().empty());
}

TEST(CTimeFormat, NullArgumentsAreRefused) {
    LogCapture log;
    const CTime t(2023, 3, 4, 5, 6, 7);
    t.format(nullptr, "yyyy", kAll);
    char buf[8] = "keep";
    t.format(buf, nullptr, kAll);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(log.messages(), (Lines{"buf is NULL!!\n", "format is NULL!!\n"}));
}

TEST(CTimeFormat, TextFitsTheDocumentedBound) {
    // For values in range a format needs at most 2 * strlen(format) + 3 bytes; for any field
    // values 11 * strlen(format) + 1. The bounded walk reports the length it needs.
    using Tessaran::Kerna::Detail::formatFields;
    using Tessaran::Kerna::Detail::FormatSettings;
    const char alphabet[] = "yMdhHmst-./ :x";
    std::mt19937 random(5);
    std::uniform_int_distribution<int> letter(0, sizeof(alphabet) - 2), length(0, 40), mask(0, 7),
        anyInt(INT32_MIN, INT32_MAX);
    const FormatSettings settings = {CTime::mdy, '/', true};
    for (int i = 0; i < 50000; ++i) {
        std::string format(static_cast<size_t>(length(random)), ' ');
        for (char& c : format) c = alphabet[letter(random)];
        const CTime inRange(anyInt(random), anyInt(random), anyInt(random), anyInt(random),
                            anyInt(random), anyInt(random));
        CTime raw = inRange;
        raw.year = anyInt(random), raw.hour = anyInt(random), raw.day = anyInt(random);
        const int m = mask(random);
        const size_t inRangeLength =
            formatFields(inRange, format.c_str(), m, settings, nullptr, 0).length;
        ASSERT_LE(inRangeLength + 1, 2 * format.size() + 3) << format;
        const size_t rawLength = formatFields(raw, format.c_str(), m, settings, nullptr, 0).length;
        ASSERT_LE(rawLength + 1, 11 * format.size() + 1) << format;
        // A cut-off walk writes a prefix of the whole text and terminates it.
        std::vector<char> whole(rawLength + 1), cut(rawLength / 2 + 1);
        formatFields(raw, format.c_str(), m, settings, whole.data(), whole.size());
        formatFields(raw, format.c_str(), m, settings, cut.data(), cut.size());
        ASSERT_EQ(std::string(whole.data()).substr(0, cut.size() - 1), std::string(cut.data()));
    }
}

TEST(CTimeParse, KnownTexts) {
    // Plain texts of every default format, 12 AM and 12 PM included, are covered by the round
    // trip below, whose format side is pinned by the known texts above.
    CTime t;
    EXPECT_TRUE(t.parse("04.03.2023 11:00:00 AM", "dd.MM.yyyy hh:mm:ss", 0));
    EXPECT_TRUE(t == CTime(2023, 3, 4, 11, 0, 0));
    // Numbers are runs of digits; everything else separates them. An empty run at the start
    // counts as a number 0.
    EXPECT_TRUE(t.parse("2023y3m4d 5h6m7s and more 8 9", "yyyy-MM-dd", 0));
    EXPECT_TRUE(t == CTime(2023, 3, 4, 5, 6, 7));
    EXPECT_TRUE(t.parse("x2023-03-04 05:06:07", "yyyy-MM-dd HH:mm:ss", 0));
    EXPECT_TRUE(t == CTime(1970, 12, 3, 4, 5, 6));
    // Values are clamped; a run of digits beyond 32 bits does not overflow.
    EXPECT_TRUE(t.parse("99999999999999999999-13-40 30:00:00", "yyyy-MM-dd HH:mm:ss", 0));
    EXPECT_TRUE(t == CTime(2106, 12, 31, 23, 59, 59));
    // An order that is none of the three keeps the date fields.
    t = CTime(2001, 2, 3, 0, 0, 0);
    EXPECT_TRUE(t.parse("2023-03-04 05:06:07", "MM-yyyy-dd HH:mm:ss", 0));
    EXPECT_TRUE(t == CTime(2001, 2, 3, 5, 6, 7));
    // "AM" and "PM" only in capitals.
    EXPECT_FALSE(t.parse("03/04/2023 01:00:00 pm", "MM/dd/yyyy hh:mm:ss tt", 0));
}

TEST(CTimeParse, FailuresLogZeroTheFieldsAndKeepWdayAndIsdst) {
    LogCapture log;
    CTime t(2023, 3, 4, 5, 6, 7);
    t.isdst = 1;
    EXPECT_FALSE(t.parse("2023-03-04 05:06", "yyyy-MM-dd HH:mm:ss", kAll));
    EXPECT_TRUE(t == CTime());
    EXPECT_EQ(t.year + t.month + t.day + t.hour + t.minute + t.second, 0);
    EXPECT_EQ(t.wday, 6);
    EXPECT_EQ(t.isdst, 1);
    EXPECT_FALSE(t.parse("03/04/2023 13:00:00 PM", "MM/dd/yyyy hh:mm:ss tt", 0));
    EXPECT_FALSE(t.parse("03/04/2023 01:00:00", "MM/dd/yyyy hh:mm:ss tt", 0));
    const std::string self = "this:" + pointerText(&t);
    EXPECT_EQ(log.messages(),
              (Lines{self + " CTime parser input information is not enough.\n",
                     self + " CTime parser input hour format is not accord with real value format.\n",
                     self + " 12 hours time point is unclear.\n"}));

    EXPECT_FALSE(t.parse("", "yyyy", 0));
    EXPECT_FALSE(t.parse(nullptr, "yyyy", 0));
    EXPECT_FALSE(t.parse("2023-03-04 05:06:07", nullptr, 0));
    EXPECT_EQ(t.year, 0);
}

// Before, the test left the empty format behind, and its own second run in a repeated shuffled
// run found "" where it checks the default.
TEST(CTimeFormatString, SettingsFollowTheText) {
    DefaultFormatAgain restore;
    LogCapture log;
    EXPECT_EQ(std::string(CTime::getFormat().c_str()), "yyyy-MM-dd HH:mm:ss");
    EXPECT_EQ(CTime::getDateFormat(), CTime::ymd);
    EXPECT_EQ(CTime::getSeparator(), '-');
    EXPECT_FALSE(CTime::get12Hour());

    // Each order, separator and hour mode alone is checked by the round trip below.
    CTime::setFormat("MM/dd-yyyy.HH");  // "." wins over "/" and "-"
    EXPECT_EQ(CTime::getDateFormat(), CTime::mdy);
    EXPECT_EQ(CTime::getSeparator(), '.');
    EXPECT_FALSE(CTime::get12Hour());
    CTime::setFormatString("yyyy/MM-dd");
    EXPECT_EQ(CTime::getSeparator(), '/');
    EXPECT_TRUE(log.lines().empty());

    const std::string badSeparator = "setFormat separator is invalid,set default separator: - \n";
    const std::string badOrder = "setFormat dateFormat is invalid,set default separator: ymd \n";
    CTime::setFormatString("yyyy MM dd");
    EXPECT_EQ(CTime::getSeparator(), '-');
    CTime::setFormatString("MM-yyyy-dd");
    EXPECT_EQ(CTime::getDateFormat(), CTime::ymd);
    EXPECT_EQ(log.messages(), (Lines{badSeparator, badOrder}));

    log.clear();
    CTime::setFormatString(nullptr);
    EXPECT_EQ(std::string(CTime::getFormat().c_str()), "");
    EXPECT_EQ(CTime::getSeparator(), '-');
    EXPECT_FALSE(CTime::get12Hour());
    EXPECT_EQ(CTime::getDateFormat(), CTime::ymd);
    EXPECT_EQ(log.messages(), (Lines{badSeparator, badOrder}));
}

// parse(format(x)) gives x back for every default format setting: three orders, three
// separators, twelve or 24 hours.
class CTimeRoundTrip : public ::testing::TestWithParam<std::tuple<int, char, bool>> {};

TEST_P(CTimeRoundTrip, ParseOfFormatGivesTheValueBack) {
    const int order = std::get<0>(GetParam());
    const char separator = std::get<1>(GetParam());
    const bool twelve = std::get<2>(GetParam());
    const char* dates[] = {"yyyy@MM@dd", "MM@dd@yyyy", "dd@MM@yyyy"};
    std::string format = dates[order];
    for (char& c : format) {
        if (c == '@') c = separator;
    }
    format += twelve ? " hh:mm:ss tt" : " HH:mm:ss";
    // Before, a test behind this one in a shuffled run found this test's format.
    DefaultFormatAgain restore;
    CTime::setFormatString(format.c_str());
    ASSERT_EQ(CTime::getDateFormat(), order);
    ASSERT_EQ(CTime::getSeparator(), separator);
    ASSERT_EQ(CTime::get12Hour(), twelve);

    std::mt19937_64 random(static_cast<uint64_t>(order * 100 + separator + twelve));
    std::uniform_int_distribution<uint64_t> inRange(0, 4323283199ULL);
    const std::string text = CTime::getFormat().c_str();
    for (int i = 0; i < 20000; ++i) {
        const CTime value(i < 2 ? (i == 0 ? 0 : 4323283199ULL) : inRange(random), false);
        char buf[64];
        value.format(buf, text.c_str(), 0);
        CTime back;
        ASSERT_TRUE(back.parse(buf, text.c_str(), 0)) << buf;
        ASSERT_TRUE(back == value) << buf;
        ASSERT_EQ(back.wday, value.wday) << buf;
    }
}

INSTANTIATE_TEST_SUITE_P(AllDefaults, CTimeRoundTrip,
                         ::testing::Combine(::testing::Values(0, 1, 2),
                                            ::testing::Values('-', '.', '/'), ::testing::Bool()));

// Found by the fuzzer: blanks that a later "t" takes back were first written into the caller's
// buffer, so a buffer sized for the final text was overrun by the blanks before the "t".
TEST(CTimeFormat, BlanksTakenBackNeverPassTheEndOfTheText) {
    const CTime t(2023, 3, 4, 5, 6, 7);
    const char* format = "ss    tt";
    // Three bytes hold "07" and its terminator; the guard bytes behind them must stay.
    std::vector<char> buffer(3 + 8, '\x7f');
    t.format(buffer.data(), format, kAll);
    EXPECT_STREQ(buffer.data(), "07");
    EXPECT_EQ(std::string(buffer.begin() + 3, buffer.end()), std::string(8, '\x7f'));
}

// VersionTest.cpp
//
// CVersion and its older form, the library's own record, and the include-version check with its
// report. The check is one object per process that keeps every record, so each of its tests
// runs in a fresh child.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "foundation/VersionInternal.h"
#include "kerna/kerna3/CheckIncludeVersion.h"
#include "kerna/kerna3/Version.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"

using KernaTest::LogCapture;
using Tessaran::Kerna::CCheckIncludeVersionInter;
using Tessaran::Kerna::CCheckIncludeVersionOff;
using Tessaran::Kerna::CTime;
using Tessaran::Kerna::CVersion;
using Tessaran::Kerna::IncludeItem;
using Tessaran::Kerna::SystemTime;
using testing::ElementsAre;
typedef std::vector<std::string> Lines;

namespace {

std::string textf(const char* format, const void* p) {
    char buf[256];
    std::snprintf(buf, sizeof buf, format, p);
    return buf;
}

// Every line the library prints also goes to standard error, where a death test reads it.
void linesToStandardError() {
    Tessaran::Kerna::PrintOptions options = {};
    options.noColor = true;
    Tessaran::Kerna::setPrintOptions(options);
    Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>(
        +[](const char* line) { std::fputs(line, stderr); }));
}

}  // namespace

TEST(CVersion, RevisionNameAndDateAsWrittenByTheCompiler) {
    const CVersion keyword("Lib", 1, 2, 3, "$Revision: 1234 $", "Feb  9 2021");
    EXPECT_EQ(keyword.svn, 1234);
    EXPECT_EQ(keyword.date.year, 2021);
    EXPECT_EQ(keyword.date.month, 2);
    EXPECT_EQ(keyword.date.day, 9);
    EXPECT_EQ(keyword.date.hour, 0);
    EXPECT_EQ(CVersion("Lib", 0, 0, 0, "1234", "Jul 22 2025").svn, 1234);
    EXPECT_EQ(CVersion("Lib", 0, 0, 0, "Win32", "Jul 22 2025").svn, 32);  // letters, then a number
    EXPECT_EQ(CVersion("Lib", 0, 0, 0, "abc", "Jul 22 2025").svn, 0);
    EXPECT_EQ(CVersion("Lib", 0, 0, 0, nullptr, "Jul 22 2025").svn, 0);

    const CVersion unknown("Lib", 0, 0, 0, "1", "Foo 3 1999");
    EXPECT_EQ(unknown.date.month, 13);
    EXPECT_EQ(unknown.date.day, 3);
    EXPECT_EQ(unknown.date.year, 1999);
    const CVersion shortDate(nullptr, 0, 0, 0, "1", "De");
    EXPECT_EQ(shortDate.date.month, 13);
    EXPECT_EQ(shortDate.date.year, 0);
    EXPECT_STREQ(shortDate.name, "");
    EXPECT_EQ(CVersion("Lib", 0, 0, 0, "1", nullptr).date.month, 13);

    const std::string forty(40, 'n');
    const CVersion longName(forty.c_str(), 0, 0, 0, "1", "Dec 31 2030");
    EXPECT_EQ(std::string(longName.name), forty.substr(0, 31));
    EXPECT_EQ(longName.date.month, 12);

    CVersion copy = unknown;
    copy = keyword;
    EXPECT_EQ(copy.svn, 1234);
    EXPECT_STREQ(copy.name, "Lib");
}

TEST(CVersion, PrintsOneLine) {
    LogCapture log(4, true);
    CVersion("Lib", 1, 2, 3, "$Rev: 1234 $", "Feb  9 2021").print();
    EXPECT_THAT(log.messages(), ElementsAre("[*] Lib 1.2.3.1234 Built in 2021/ 2/ 9 [*]\n"));
}

TEST(CVersion, AppDateStartsAtMinTimeAndTakesADate) {
    const SystemTime saved = CVersion::appDate;
    EXPECT_EQ(0,
              std::memcmp(&saved, static_cast<const SystemTime*>(&CTime::minTime), sizeof saved));
    CVersion::setAppDate("Oct  5 2024");
    EXPECT_EQ(CVersion::appDate.year, 2024);
    EXPECT_EQ(CVersion::appDate.month, 10);
    EXPECT_EQ(CVersion::appDate.day, 5);
    EXPECT_EQ(CVersion::appDate.wday, saved.wday);  // only the date
    CVersion::appDate = saved;
}

TEST(CVersion, OlderRecordsReadTheRevisionBehindTheColon) {
    const CVersion& own = Tessaran::Kerna::Detail::libraryLegacyVersion();
    EXPECT_STREQ(own.name, "Kerna2");
    EXPECT_EQ(own.major, 1);
    EXPECT_EQ(own.minor, 0);
    EXPECT_EQ(own.revision, 0);
    EXPECT_EQ(own.svn, 0);  // the older form reads "Win32" from its start: no number
    EXPECT_GE(own.date.year, 2025);
    EXPECT_LE(own.date.month, 12);

    const int before = Tessaran::Kerna::Detail::legacyVersionCount();
    EXPECT_GE(before, 1);  // the library's own, stated at load
    LogCapture log(4, true);
    const CVersion modified =
        Tessaran::Kerna::Detail::makeLegacyVersion("Mod", 2, 3, 4, "$Rev: 77M", "Jan  1 2020");
    EXPECT_EQ(modified.svn, 77);
    EXPECT_THAT(log.messages(), ElementsAre("Some [Mod] files are not commit to SVN server. It "
                                            "compied wtih local modified files.\n"));
    EXPECT_EQ(
        Tessaran::Kerna::Detail::makeLegacyVersion("Plain", 1, 1, 1, "345", "Jan  1 2020").svn,
        345);
    EXPECT_EQ(Tessaran::Kerna::Detail::legacyVersionCount(), before + 2);
    Tessaran::Kerna::setPrintLogLevel(3);  // below 4 the "M" line is not printed
    log.clear();
    Tessaran::Kerna::Detail::makeLegacyVersion("Quiet", 1, 1, 1, "12M", "Jan  1 2020");
    EXPECT_TRUE(log.messages().empty());
}

TEST(CCheckIncludeVersionInter, MatchingRecordsPass) {
    KERNA_IN_CHILD({
        CCheckIncludeVersionInter* check = CCheckIncludeVersionInter::instance();
        const IncludeItem a[] = {{"http://svn/inc/x.h", "12"}, {"http://svn/inc/y.h", "5"}};
        const IncludeItem b[] = {{"http://svn/inc/x.h", "12"}, {"http://svn/inc/z.h", "9"}};
        LogCapture log(4, true);
        EXPECT_TRUE(check->checkVersion("LibA", a, 2));
        EXPECT_TRUE(check->checkVersion("LibB", b, 2));        // z.h stands in one record only
        EXPECT_TRUE(check->checkVersion("LibC", nullptr, 0));  // no items: an empty record
        check->checkResult();
        EXPECT_THAT(log.messages(),
                    ElementsAre("check include version:LibA\n", "http://svn/inc/x.h 12\n",
                                "http://svn/inc/y.h 5\n", "check include version:LibB\n",
                                "http://svn/inc/x.h 12\n", "http://svn/inc/z.h 9\n",
                                "check include version:LibC\n",
                                "CCheckIncludeVersionInter::checkResult successful\n"));
    });
}

TEST(CCheckIncludeVersionInter, VersionsCompareAsText) {
    KERNA_IN_CHILD({
        CCheckIncludeVersionInter* check = CCheckIncludeVersionInter::instance();
        const IncludeItem a[] = {{"http://svn/inc/x.h", "12"}};
        const IncludeItem b[] = {{"http://svn/inc/x.h", "012"}};
        EXPECT_TRUE(check->checkVersion("LibA", a, 1));
        LogCapture log(2, true);
        EXPECT_FALSE(check->checkVersion("LibB", b, 1));
        EXPECT_THAT(log.messages(),
                    ElementsAre(textf("this:%p check include version failed\n", check),
                                textf("this:%p LibA http://svn/inc/x.h 12\n", check),
                                textf("this:%p LibB http://svn/inc/x.h 012\n", check)));
        log.clear();
        EXPECT_FALSE(check->checkVersion("LibC", nullptr, 1));  // refused, nothing recorded
        EXPECT_FALSE(check->checkVersion("LibD", a, -1));
        EXPECT_EQ(log.messages().size(), 2u);
    });
}

TEST(CCheckIncludeVersionInterDeathTest, EqualNumbersAreBothOkBeforeTheAssertion) {
    // 12 and 012 differ as text but are the same number: both libraries are reported ok, and
    // the failed check still ends the process.
    KERNA_CHILD_DIES(
        "checkResult error:match error.*include version all start.*http://svn/inc/x.h 12\n"
        ".*check include report start.*\\[LibA\\], include is ok.*\\[LibB\\], include is ok"
        ".*check include report end.*m_matchFlag",
        {
            linesToStandardError();
            CCheckIncludeVersionInter* check = CCheckIncludeVersionInter::instance();
            static const IncludeItem a[] = {{"http://svn/inc/x.h", "12"}};
            static const IncludeItem b[] = {{"http://svn/inc/x.h", "012"}};
            check->checkVersion("LibA", a, 1);
            check->checkVersion("LibB", b, 1);
            check->checkResult();
        });
}

TEST(CCheckIncludeVersionInterDeathTest, OlderLibrariesAreToldWhichRevisionsToTake) {
    KERNA_CHILD_DIES(
        "\\[LibA\\], include version suggest:.*\n"
        "x.h -r11 http://svn/inc/x.h\ny.h -r5 http://svn/inc/y.h\nnull -r3 \\(null\\)\n"
        ".*-----\n.*\\[LibB\\], include is ok.*m_matchFlag",
        {
            linesToStandardError();
            CCheckIncludeVersionInter* check = CCheckIncludeVersionInter::instance();
            static const IncludeItem a[] = {
                {"http://svn/inc/x.h", "10"}, {"http://svn/inc/y.h", "5"}, {"local", "3"}};
            static const IncludeItem b[] = {{"http://svn/inc/x.h", "11"}};
            check->checkVersion("LibA", a, 3);
            check->checkVersion("LibB", b, 1);
            check->checkResult();
        });
}

TEST(CCheckIncludeVersionInterDeathTest, ABadVersionStopsLaterComparisons) {
    KERNA_CHILD_DIES(
        "checkResult error:self error.*check include report start.*"
        "libname:LibA, url:http://svn/inc/y.h version:\n.*libname:LibA, url:\\(null\\) version:4\n"
        ".*check include report end.*m_matchFlag",
        {
            linesToStandardError();
            CCheckIncludeVersionInter* check = CCheckIncludeVersionInter::instance();
            static const IncludeItem a[] = {
                {"http://svn/inc/x.h", "12"}, {"http://svn/inc/y.h", ""}, {nullptr, "4"}};
            static const IncludeItem b[] = {{"http://svn/inc/x.h", "13"}};
            if (check->checkVersion("LibA", a, 3)) std::abort();
            if (!check->checkVersion("LibB", b, 1)) std::abort();  // not compared any more
            check->checkResult();
        });
}

TEST(CCheckIncludeVersionOff, OnlyLogs) {
    LogCapture log(4, true);
    const IncludeItem a[] = {{"http://svn/inc/x.h", "bad"}};
    EXPECT_TRUE(CCheckIncludeVersionOff::instance()->checkVersion("Lib", a, 1));
    CCheckIncludeVersionOff::instance()->checkResult();
    EXPECT_THAT(log.messages(), ElementsAre("CheckIncludeVersion is turned off.\n",
                                            "CheckIncludeVersion is turned off.\n"));
}

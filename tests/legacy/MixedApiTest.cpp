// MixedApiTest.cpp
//
// A program that includes <kerna/kerna.h> and <kerna/legacy.h> together and mixes both
// interfaces: the older classes forward to the new ones (an older thread stands in the registry,
// an older timer in the timer list, an older packet shares the new packet's block), and each
// keeps the differences of its own (results, settings, the header size of packets, the pool
// configuration of IPacketManager::config). It links libkerna.so and the companion library.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kerna/kerna.h>
#include <kerna/legacy.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>
#include <vector>

#include "legacy/LegacyTestSupport.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"

namespace Kerna = Tessaran::Kerna;
namespace Memory = Tessaran::Memory;
using KernaTest::LogCapture;
using LegacyTest::eventually;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

bool anyContains(const std::vector<std::string>& lines, const std::string& part) {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& l) { return l.find(part) != std::string::npos; });
}

class Spinner : public ::CThread {
public:
    Spinner() : ::CThread("MixedSpinner") {}
    ~Spinner() override {
        if (!isThreadOver()) destroyThread();
    }
    std::atomic<bool> started{false};

protected:
    void threadProc() override {
        started = true;
        while (looping()) ::CTime::sleep(1);
    }
};

void nothing(unsigned long) {}

}  // namespace

TEST(MixedThreads, AnOlderThreadStandsInTheRegistryUnderItsName) {
    Spinner spinner;
    ASSERT_TRUE(spinner.createThread());
    ASSERT_TRUE(eventually([&] { return spinner.started.load(); }));
    Kerna::String name;
    ASSERT_TRUE(Kerna::CThreadManager::instance()->getThreadNameByID(spinner.getThreadID(), name));
    EXPECT_EQ(name, "MixedSpinner");
    EXPECT_TRUE(Kerna::CThreadManager::instance()->hasThread(spinner.getThreadID()));
    {
        LogCapture log(4);
        IThreadManager::instance()->dumpThreads();  // the registry's table
        EXPECT_EQ(log.messages().front(), "Threads:\n");
        EXPECT_TRUE(anyContains(log.messages(), "MixedSpinner"));
    }
    EXPECT_TRUE(spinner.destroyThread());
    EXPECT_FALSE(Kerna::CThreadManager::instance()->hasThread(spinner.getThreadID()));
}

TEST(MixedThreads, SemaphoresDifferInTheirPostResults) {
    Kerna::CSemaphore newer(0);
    ::CSemaphore older(0);
    EXPECT_EQ(newer.post(), 0);
    EXPECT_EQ(older.post(), 1);
    EXPECT_EQ(newer.pend(), 0);
    EXPECT_EQ(older.pend(), 0);
}

TEST(MixedTimers, AnOlderTimerStandsInTheTimerList) {
    ::CTimer timer("MixedTimer");
    ASSERT_TRUE(timer.start(TFunction1<void, unsigned long>(&nothing), 60000, 0, 0, 0));
    LogCapture log(4);
    ITimerManager::instance()->dumpTimers();
    const std::vector<std::string> older = log.messages();
    log.clear();
    Kerna::CTimerManager::instance()->dumpTimers();
    const std::vector<std::string> newer = log.messages();
    EXPECT_TRUE(anyContains(older, "MixedTimer"));
    ASSERT_EQ(older.size(), newer.size());
    for (size_t i = 1; i < older.size(); ++i)
        EXPECT_EQ(older[i], newer[i]);  // line 0: elapsed time
    EXPECT_TRUE(timer.stop(false));
}

TEST(MixedTime, FebruaryThirtyFirstRollsOverOrIsClamped) {
    const ::CTime older(2023, 2, 31, 0, 0, 0);
    const Kerna::CTime newer(2023, 2, 31, 0, 0, 0);
    EXPECT_EQ(older.month, 3);
    EXPECT_EQ(older.day, 3);
    EXPECT_EQ(newer.month, 2);
    EXPECT_EQ(newer.day, 28);
    // Both are SystemTime records: an older value copies the fields of a new one unchecked.
    const ::CTime copied(newer);
    EXPECT_EQ(copied.day, 28);
    EXPECT_EQ(copied.makeTime(), Kerna::CTime::timeToSeconds(newer));  // in UTC: field seconds
}

TEST(MixedTime, FormatSettingsAreSeparate) {
    struct Restore {
        ~Restore() {
            Kerna::CTime::setFormatString("yyyy-MM-dd HH:mm:ss");
            ::CTime::setFormat(std::string("yyyy-MM-dd HH:mm:ss"));
        }
    } restore;
    Kerna::CTime::setFormatString("dd/MM/yyyy hh:mm");
    EXPECT_EQ(::CTime::getFormat(), "yyyy-MM-dd HH:mm:ss");
    EXPECT_EQ(::CTime::getDateFormat(), 0);
    EXPECT_EQ(::CTime::getSpliter(), '-');
    EXPECT_FALSE(::CTime::get12Hour());
    ::CTime::setFormat(std::string("MM.dd.yyyy HH:mm"));
    EXPECT_EQ(Kerna::CTime::getFormat(), "dd/MM/yyyy hh:mm");
    EXPECT_EQ(Kerna::CTime::getDateFormat(), Kerna::CTime::dmy);
    EXPECT_EQ(Kerna::CTime::getSeparator(), '/');
    EXPECT_TRUE(Kerna::CTime::get12Hour());
    char buf[64];
    ::CTime(2023, 3, 4, 5, 6, 7).format(buf, "yyyy-MM-dd HH:mm:ss");
    EXPECT_STREQ(buf, "03.04.2023 05:06:07");
    Kerna::CTime(2023, 3, 4, 5, 6, 7).format(buf, "yyyy-MM-dd HH:mm:ss", 0);
    EXPECT_STREQ(buf, "04/03/2023 05:06:07");
}

TEST(MixedTime, WallClockReadAndSetThroughTheNewClass) {
    const int64_t saved = Kerna::Testing::simulatedUtc();
    // The older value is built from the six fields of the new reading.
    for (int attempt = 0; attempt < 5; ++attempt) {
        const Kerna::CTime before = Kerna::CTime::getCurrentTime();
        const ::CTime older = ::CTime::getCurrentTime();
        if (before.second != older.second) continue;  // a second passed between the two reads
        EXPECT_EQ(older.year, before.year);
        EXPECT_EQ(older.month, before.month);
        EXPECT_EQ(older.day, before.day);
        EXPECT_EQ(older.hour, before.hour);
        EXPECT_EQ(older.minute, before.minute);
        break;
    }
    // Setting goes through the new class's setting path: the simulated clock is set once.
    const uint64_t sets = Kerna::Testing::simulatedSetCount();
    ::CTime::setCurrentTime(::CTime(2030, 1, 2, 3, 4, 5), 0);
    EXPECT_EQ(Kerna::Testing::simulatedSetCount(), sets + 1);
    const Kerna::CTime now = Kerna::CTime::getCurrentTime();
    EXPECT_EQ(now.year, 2030);
    EXPECT_EQ(now.month, 1);
    EXPECT_EQ(now.day, 2);
    EXPECT_EQ(now.hour, 3);
    Kerna::Testing::setSimulatedUtc(saved);
}

TEST(MixedTime, BreakTimeOfAnUnrepresentableTimeChangesNothing) {
    ::CTime t(2023, 3, 4, 5, 6, 7);
    LogCapture log(6, true);
    t.breakTime(0x7FFFFFFFFFFFFFFFull);
    char expected[64];
    std::snprintf(expected, sizeof expected, "this:%p CTime::breakTime overflowed!\n",
                  static_cast<void*>(&t));
    EXPECT_THAT(log.messages(), ElementsAre(expected));
    EXPECT_EQ(t.year, 2023);
    EXPECT_EQ(t.second, 7);
    // A time the C library breaks down into a year that no longer fits 32 bits once 1900 is
    // added. Before, the addition overflowed (found by the fuzz target under UBSan).
    const SystemTime last = {2147483647, 13, 1, 0, 0, 0, 0, -1};  // one month past the last year
    const unsigned long long far = ::CTime(last).makeTime();
    ASSERT_NE(far, 0u);
    log.clear();
    t.breakTime(far);
    EXPECT_THAT(log.messages(), ElementsAre(expected));
    EXPECT_EQ(t.year, 2023);
}

TEST(MixedTime, TimeRecordReportsEachStep) {
    LogCapture log(4, true);
    ::CTimeRecord record("Rec");
    record.mark("a");
    record.mark("b");
    record.report(0xFFFFFFFFu);  // below the threshold: nothing
    EXPECT_TRUE(log.messages().empty());
    ::CTimeRecord steps("Rec");
    steps.mark("a");
    ::CTime::sleep(2);
    steps.mark("b");
    steps.report(0);
    EXPECT_THAT(log.messages(), ElementsAre(MatchesRegex("Rec-a : [0-9]+ us\n"),
                                            MatchesRegex("Rec-b : [0-9]+ us\n")));
    ::CTimeRecord full("Full");
    for (int i = 0; i < 40; ++i) full.mark("m");
    log.clear();
    full.report(0);
    EXPECT_EQ(full.markCount, ::CTimeRecord::capacity);
    EXPECT_EQ(log.messages().size(), static_cast<size_t>(::CTimeRecord::capacity - 1));
    full.report(0);  // the closing mark is replaced
    EXPECT_EQ(full.markCount, ::CTimeRecord::capacity);
}

TEST(MixedPackets, AnOlderPacketSharesTheBlockOfANewOne) {
    Memory::CPacket newer(32, 8);
    ASSERT_TRUE(newer.valid());
    const ::CPacket older(newer);
    EXPECT_EQ(older.GetBuffer(), newer.getBuffer());
    EXPECT_EQ(older.GetHeaderSize(), 8u);  // the new packet's extra data
    const Memory::CPacket back = older;
    EXPECT_EQ(back.getBuffer(), newer.getBuffer());
    EXPECT_TRUE(::CPacket(Memory::CPacket()).Invalid());
    EXPECT_FALSE(static_cast<Memory::CPacket>(::CPacket()).valid());
}

TEST(MixedPackets, ConfigBeforeTheFirstPacketPutsPayloadsInThePool) {
    KERNA_IN_CHILD({
        IPacketManager::config(8192, 1024, 32);
        std::vector<::CPacket> packets;
        for (int i = 0; i < 8; ++i) packets.emplace_back(100);
        unsigned char* low = packets[0].GetBuffer();
        for (const ::CPacket& p : packets) {
            ASSERT_TRUE(p.Valid());
            EXPECT_EQ(p.GetHeaderSize(), 32u);
            EXPECT_EQ(p.GetSize(), 1024u);  // a whole chunk
            low = std::min(low, p.GetBuffer());
        }
        // Eight chunks fill the pool: the payloads cover it, the headers are elsewhere.
        for (const ::CPacket& p : packets) {
            EXPECT_LT(p.GetBuffer(), low + 8192);
            EXPECT_TRUE(p.GetHeader() < low || p.GetHeader() >= low + 8192);
        }
        EXPECT_EQ(IPacketManager::instance()->GetBufferSize(), 8192u);
        EXPECT_EQ(IPacketManager::instance()->GetFreeSize(), 0u);
        EXPECT_EQ(IPacketManager::instance()->GetBufferSize(),
                  Memory::CPacketManager::instance()->getBufferSize());
        LogCapture log(2);
        EXPECT_TRUE(::CPacket(100).Invalid());  // the pool is full
        packets.clear();
        EXPECT_EQ(IPacketManager::instance()->GetFreeSize(), 8192u);
    });
}

TEST(MixedPackets, ConfigAfterTheFirstPacketChangesOnlyTheHeaderSize) {
    KERNA_IN_CHILD({
        const ::CPacket first(10);
        ASSERT_TRUE(first.Valid());
        EXPECT_EQ(first.GetHeaderSize(), 128u);
        LogCapture log(6, true);
        IPacketManager::config(8192, 1024, 32);
        EXPECT_THAT(
            log.messages(),
            ElementsAre(
                "PacketManagerInternal::config() failured: Packet Manager has been configured!\n"));
        const ::CPacket later(100);
        EXPECT_EQ(later.GetHeaderSize(), 32u);
        EXPECT_EQ(later.GetSize(), 100u);  // still the system policy
        EXPECT_EQ(IPacketManager::instance()->GetBufferSize(), 0u);
    });
}

TEST(MixedPackets, TheFailCallbackOfTheCompanionLibraryReachesTheLibrary) {
    KERNA_IN_CHILD({
        static std::atomic<int> status{0};
        IPacketManager::config(4096, 1024, 16);
        Memory::setPacketFailCallback(Kerna::TFunction1<void, int>(+[](int s) { status = s; }));
        LogCapture log(2);
        EXPECT_TRUE(::CPacket(8192).Invalid());  // larger than the pool
        EXPECT_EQ(status, 0x1000000d);
    });
}

TEST(MixedVersion, TheIncludeCheckOfTheCompanionLibraryIsTheLibrarysOne) {
    KERNA_IN_CHILD({
        Kerna::CCheckIncludeVersionInter* check = Kerna::CCheckIncludeVersionInter::instance();
        EXPECT_EQ(check, Kerna::CCheckIncludeVersionInter::instance());
        const Kerna::IncludeItem items[] = {{"http://svn/inc/a.h", "12"}};
        LogCapture log(4, true);
        EXPECT_TRUE(check->checkVersion("Mixed", items, 1));
        check->checkResult();
        EXPECT_TRUE(log.hasMessage("CCheckIncludeVersionInter::checkResult successful\n"));
    });
}

// ---- files --------------------------------------------------------------------------------

namespace Mem = LegacyTest::MemoryFiles;

TEST(MixedFiles, AClosedFileReadsZeroWhereTheNewOneGivesMinusOne) {
    char buf[4];
    ::CFile older;
    Kerna::CFile newer;
    EXPECT_EQ(older.read(buf, 4), 0u);
    EXPECT_EQ(newer.read(buf, 4), -1);
    EXPECT_EQ(older.write(buf, 4), 0u);
    EXPECT_EQ(newer.write(buf, 4), -1);
}

TEST(MixedFiles, ALongPrefixIsHookedWholeButCannotBeFoundAgain) {
    KERNA_IN_CHILD({
        const ::FileSystemTable table = Mem::table();
        const char* const longPrefix = "legacy:/a/prefix/of/more/than/31/characters/";
        Mem::files()[std::string(longPrefix) + "f"] = "x";
        hookFileSystemTable(longPrefix, &table);
        EXPECT_TRUE(Kerna::CFile::access((std::string(longPrefix) + "f").c_str(), 0));
        hookFileSystemTable(longPrefix, nullptr);  // compared over 32 characters: not found
        EXPECT_TRUE(Kerna::CFile::access((std::string(longPrefix) + "f").c_str(), 0));
        // The row's own text finds it, and the library's hook goes with it. An unhook passed on
        // with the cut text would find nothing in the library's table and leave it with the
        // freed CFSOperation (the next access read freed memory).
        hookFileSystemTable(std::string(longPrefix).substr(0, 31).c_str(), nullptr);
        EXPECT_FALSE(Kerna::CFile::access((std::string(longPrefix) + "f").c_str(), 0));
    });
}

TEST(MixedFiles, OlderHooksTakePlacesOfTheLibrarysThirtyOne) {
    KERNA_IN_CHILD({
        const ::FileSystemTable table = Mem::table();
        char prefix[16];
        for (int i = 1; i <= 31; ++i) {
            std::snprintf(prefix, sizeof prefix, "old%02d:", i);
            hookFileSystemTable(prefix, &table);
            Mem::files()[std::string(prefix) + "f"] = "x";
        }
        EXPECT_TRUE(Kerna::CFile::access("old31:f", 0));
        Mem::files()["new:f"] = "x";
        Mem::files()["old32:f"] = "x";
        Kerna::hookFileSystem("new:", new CFSOperation(table));  // no place left on either side
        hookFileSystemTable("old32:", &table);
        EXPECT_FALSE(Kerna::CFile::access("new:f", 0));
        EXPECT_FALSE(Kerna::CFile::access("old32:f", 0));
        hookFileSystemTable("old07:", nullptr);  // frees a row and a place
        EXPECT_FALSE(Kerna::CFile::access("old07:f", 0));
        hookFileSystemTable("old32:", &table);
        EXPECT_TRUE(Kerna::CFile::access("old32:f", 0));
    });
}

namespace {

// A listener that unhooks the prefix being hooked, from the hook's own line: the unhook comes
// while the hook is on its way to the library's table, on the same thread.
std::atomic<int> g_reentries{0};
bool unhookFromTheHooksLine(const char* line) {
    if (std::strstr(line, "hookFileSystem called!") != nullptr && g_reentries++ == 0) {
        hookFileSystemTable("reenter:", nullptr);
    }
    return true;
}

}  // namespace

TEST(MixedFiles, AnUnhookFromTheHooksOwnLineIsMadeAfterTheHook) {
    KERNA_IN_CHILD({
        const ::FileSystemTable table = Mem::table();
        Mem::files()["reenter:f"] = "x";
        const Kerna::TFunction1<bool, const char*> listener(&unhookFromTheHooksLine);
        Kerna::attachPrint(listener);
        hookFileSystemTable("reenter:", &table);
        Kerna::detachPrint(listener);
        EXPECT_GE(g_reentries, 1);
        EXPECT_FALSE(Kerna::CFile::access("reenter:f", 0));  // unhooked on the library's side too
        hookFileSystemTable("reenter:", &table);             // and the row is free again
        EXPECT_TRUE(Kerna::CFile::access("reenter:f", 0));
        hookFileSystemTable("reenter:", nullptr);
    });
}

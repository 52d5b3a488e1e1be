// LegacyApiTest.cpp
//
// A program written against the older global-namespace interface alone (<kerna/legacy.h>), as
// older code is: locks, semaphores, threads, timers, packets and time. It links libkerna.so and
// the companion library kerna_source as such a program does. The behaviour shared with the
// Tessaran:: classes is tested on those; here: that the calls arrive, and what the older
// interface does differently. Legacy time runs in the zone TZ=UTC0 (LegacyTestSupport.h).

#include <gtest/gtest.h>
#include <kerna/legacy.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "legacy/LegacyTestSupport.h"

using LegacyTest::eventually;

namespace {

// A count that tests wait on, with a generous bound.
class Latch {
public:
    void add() {
        std::lock_guard<std::mutex> guard(m_lock);
        ++m_count;
        m_changed.notify_all();
    }
    bool waitFor(int count) {
        std::unique_lock<std::mutex> guard(m_lock);
        return m_changed.wait_for(guard, std::chrono::seconds(20),
                                  [&] { return m_count >= count; });
    }
    int count() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_count;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    int m_count = 0;
};

}  // namespace

// ---- locks -------------------------------------------------------------------------------

// A Leave from a thread that does not own the mutex is refused. Before, the refusal came from
// pthread_mutex_unlock called on the wrong thread, which ThreadSanitizer reported as an error.
TEST(LegacyCMutex, OwnerEntersAgainOthersNeitherEnterNorLeave) {
    CMutex mutex;
    ASSERT_TRUE(mutex.Enter());
    EXPECT_TRUE(mutex.TryEnter());  // the owner enters again
    bool otherTry = true, otherLeave = true;
    std::thread([&] {
        otherTry = mutex.TryEnter();  // does not wait
        otherLeave = mutex.Leave();   // not the owner
    }).join();
    EXPECT_FALSE(otherTry);
    EXPECT_FALSE(otherLeave);
    EXPECT_TRUE(mutex.Leave());
    EXPECT_TRUE(mutex.Leave());
    EXPECT_FALSE(mutex.Leave());  // left as often as entered: no longer owned
    std::thread([&] {
        otherTry = mutex.TryEnter();
        otherLeave = mutex.Leave();
    }).join();
    EXPECT_TRUE(otherTry);
    EXPECT_TRUE(otherLeave);
}

TEST(LegacyCMutex, GuardHoldsForItsScope) {
    CMutex mutex(CMutex::mutexRecursive);
    int counter = 0;
    auto work = [&] {
        for (int i = 0; i < 2000; ++i) {
            CGuard guard(mutex);
            ++counter;
        }
    };
    std::thread a(work), b(work);
    a.join();
    b.join();
    EXPECT_EQ(counter, 4000);
    {
        CGuard guard(mutex);
        bool taken = true;
        std::thread([&] { taken = mutex.TryEnter(); }).join();
        EXPECT_FALSE(taken);
    }
}

TEST(LegacyCSemaphore, PostGivesNonZeroPendGivesZero) {
    CSemaphore semaphore(1);
    EXPECT_EQ(semaphore.pend(), 0);
    EXPECT_NE(semaphore.post(), 0);
    EXPECT_NE(semaphore.post(), 0);
    EXPECT_EQ(semaphore.pend(), 0);
    EXPECT_EQ(semaphore.pend(), 0);
    int pended = -1;
    std::thread waiter([&] { pended = semaphore.pend(); });
    EXPECT_NE(semaphore.post(), 0);
    waiter.join();
    EXPECT_EQ(pended, 0);
    CSemaphore full(2147483647);
    EXPECT_EQ(full.post(), 0);  // at the maximum
}

// ---- threads ------------------------------------------------------------------------------

namespace {

class Worker : public CThread {
public:
    explicit Worker(const char* name) : CThread(name, 64, 0, 0) {}
    ~Worker() override {
        if (!isThreadOver()) destroyThread();
    }
    std::atomic<int> loops{0};
    std::atomic<int> idInBody{-1};
    std::atomic<bool> timeoutSet{false};
    std::atomic<bool> exitEarly{false};
    std::atomic<bool> afterExit{false};

protected:
    void threadProc() override {
        idInBody = CThread::getCurrentThreadID();
        timeoutSet = CThread::setCurrentTimeout(60000);
        if (exitEarly) {
            ExitThread(7);
            afterExit = true;  // never reached
        }
        while (looping()) {
            ++loops;
            CTime::sleep(1);
        }
    }
};

}  // namespace

TEST(LegacyCThread, RunsStopsAndRestartsThroughItsBridge) {
    Worker worker("LegacyWorker");
    EXPECT_TRUE(worker.isThreadOver());
    EXPECT_EQ(worker.getThreadID(), -1);
    ASSERT_TRUE(worker.createThread());
    ASSERT_TRUE(eventually([&] { return worker.loops > 2; }));
    EXPECT_EQ(worker.getThreadID(), worker.idInBody.load());
    EXPECT_NE(worker.getThreadID(), CThread::getCurrentThreadID());
    EXPECT_TRUE(worker.timeoutSet);
    EXPECT_FALSE(worker.isTimeout());
    worker.setTimeout(-1);  // a deadline in the past
    EXPECT_TRUE(worker.isTimeout());
    worker.setTimeout(0);
    EXPECT_FALSE(worker.isTimeout());
    EXPECT_FALSE(worker.createThread());  // still running
    EXPECT_EQ(worker.shareSocket(42), 42);
    EXPECT_TRUE(worker.destroyThread());
    EXPECT_TRUE(worker.isThreadOver());
    EXPECT_FALSE(worker.destroyThread());  // ended already

    worker.setThreadName("LegacyWorker2");
    const int before = worker.loops;
    ASSERT_TRUE(worker.createThread());
    ASSERT_TRUE(eventually([&] { return worker.loops > before + 2; }));
    EXPECT_TRUE(worker.cancelThread());
    EXPECT_TRUE(eventually([&] { return worker.isThreadOver(); }));
    EXPECT_FALSE(CThread::setCurrentTimeout(1000));  // the test's thread is no CThread
}

TEST(LegacyCThread, ExitThreadEndsTheBodyAtOnce) {
    Worker worker("LegacyExit");
    worker.exitEarly = true;
    ASSERT_TRUE(worker.createThread());
    EXPECT_TRUE(eventually([&] { return worker.isThreadOver(); }));
    EXPECT_FALSE(worker.afterExit);
    EXPECT_EQ(worker.loops, 0);
    // The object is restartable afterwards, as after a kill.
    worker.exitEarly = false;
    ASSERT_TRUE(worker.createThread());
    EXPECT_TRUE(eventually([&] { return worker.loops > 0; }));
    EXPECT_TRUE(worker.destroyThread());
}

TEST(LegacyCThread, ManagerAndSystemCall) {
    IThreadManager* manager = IThreadManager::instance();
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(manager, IThreadManager::instance());
    EXPECT_TRUE(manager->unregisterThread(12345));
    manager->registerMainThread();
    EXPECT_EQ(SystemCall("true"), 0);
    EXPECT_EQ(SystemCall(nullptr), 1);
    EXPECT_EQ(SystemCall("/nonexistent/program"), -1);
}

// ---- timers -------------------------------------------------------------------------------

namespace {

class Receiver : public CObject {
public:
    void onTimer(unsigned long param) {
        last = param;
        calls.add();
    }
    std::atomic<unsigned long> last{0};
    Latch calls;
};

Latch g_plainCalls;
void plainTimerProc(unsigned long param) {
    if (param == 77) g_plainCalls.add();
}

}  // namespace

TEST(LegacyCTimer, MemberFunctionOfACObjectRunsWithTheParam) {
    Receiver receiver;
    CTimer timer("LegacyTimer");
    EXPECT_STREQ(timer.getName(), "LegacyTimer");
    ASSERT_TRUE(timer.start(&receiver,
                            static_cast<void (CObject::*)(unsigned long)>(&Receiver::onTimer), 5, 5,
                            0x12345678, 0));
    EXPECT_TRUE(timer.isStarted());
    ASSERT_TRUE(receiver.calls.waitFor(3));  // periodic
    EXPECT_EQ(receiver.last, 0x12345678ul);
    EXPECT_TRUE(timer.stopAndWait());
    EXPECT_FALSE(timer.isStarted());
    EXPECT_FALSE(timer.isRunning());
    const int calls = receiver.calls.count();
    CTime::sleep(30);
    EXPECT_EQ(receiver.calls.count(), calls);  // stopped

    // A null object or function is refused.
    EXPECT_FALSE(timer.start(
        nullptr, static_cast<void (CObject::*)(unsigned long)>(&Receiver::onTimer), 5, 0, 1, 0));
    EXPECT_FALSE(timer.start(&receiver, nullptr, 5, 0, 1, 0));
    EXPECT_FALSE(timer.isStarted());
}

TEST(LegacyCTimer, PlainFunctionOnceAndRenamed) {
    CTimer timer(nullptr);
    EXPECT_STREQ(timer.getName(), "");
    timer.setName("LegacyOnce");
    EXPECT_STREQ(timer.getName(), "LegacyOnce");
    const int before = g_plainCalls.count();
    ASSERT_TRUE(timer.start(TFunction1<void, unsigned long>(&plainTimerProc), 5, 0, 77, 0));
    ASSERT_TRUE(g_plainCalls.waitFor(before + 1));
    EXPECT_TRUE(eventually([&] { return timer.isCalled() && !timer.isStarted(); }));
    EXPECT_FALSE(timer.stop());  // a one-shot timer that has fired is out of the list
    ITimerManager* manager = ITimerManager::instance();
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(manager, ITimerManager::instance());
}

// ---- packets ------------------------------------------------------------------------------

TEST(LegacyCPacket, InvalidPacketGivesZerosAndNulls) {
    CPacket packet;
    EXPECT_TRUE(packet.Invalid());
    EXPECT_FALSE(packet.Valid());
    EXPECT_EQ(packet.GetBuffer(), nullptr);
    EXPECT_EQ(packet.GetHeader(), nullptr);
    EXPECT_EQ(packet.GetLeft(), 0u);
    EXPECT_EQ(packet.GetSize(), 0u);
    EXPECT_EQ(packet.GetLength(), 0u);
    EXPECT_EQ(packet.GetHeaderSize(), 0u);
    char data[4] = {1, 2, 3, 4};
    EXPECT_EQ(packet.PutBuffer(data, 4), 0u);
    EXPECT_EQ(packet.SetLength(0), 0u);
    packet.ClearHeader();
}

TEST(LegacyCPacket, FreshPacketIsFullUntilItsLengthIsLowered) {
    CPacket packet(100);
    ASSERT_TRUE(packet.Valid());
    EXPECT_EQ(packet.GetHeaderSize(), 128u);
    EXPECT_EQ(packet.GetLength(), 100u);
    EXPECT_EQ(packet.GetSize(), 100u);
    EXPECT_EQ(packet.GetLeft(), 0u);
    char data[40];
    std::memset(data, 0x5A, sizeof data);
    EXPECT_EQ(packet.PutBuffer(data, sizeof data), 0u);  // full
    EXPECT_EQ(packet.SetLength(101), 0u);                // above the size: nothing changes
    EXPECT_EQ(packet.GetLength(), 100u);
    EXPECT_EQ(packet.SetLength(0), 1u);
    EXPECT_EQ(packet.PutBuffer(data, sizeof data), 40u);
    EXPECT_EQ(packet.GetLength(), 40u);
    EXPECT_EQ(packet.GetLeft(), 60u);
    EXPECT_EQ(packet.GetBuffer()[39], 0x5A);

    // ClearHeader zeroes the header and leaves the payload alone.
    std::memset(packet.GetHeader(), 0xEE, packet.GetHeaderSize());
    packet.ClearHeader();
    for (uint32_t i = 0; i < packet.GetHeaderSize(); ++i) ASSERT_EQ(packet.GetHeader()[i], 0) << i;
    EXPECT_EQ(packet.GetBuffer()[0], 0x5A);
}

TEST(LegacyCPacket, CopiesAndAssignmentsShareOrDropTheBlock) {
    CPacket a(16);
    ASSERT_TRUE(a.Valid());
    a.GetBuffer()[0] = 'a';
    CPacket copy(a);
    EXPECT_EQ(copy.GetBuffer(), a.GetBuffer());

    CPacket empty;
    empty = a;  // valid into invalid: a wrapper of its own that shares the block
    EXPECT_TRUE(empty.Valid());
    EXPECT_EQ(empty.GetBuffer(), a.GetBuffer());
    empty = empty;  // self-assignment keeps it
    EXPECT_EQ(empty.GetBuffer(), a.GetBuffer());

    CPacket b(16);
    b = a;  // valid into valid: b's own block goes, the shared one stays
    EXPECT_EQ(b.GetBuffer(), a.GetBuffer());

    a = CPacket();  // invalid into valid
    EXPECT_TRUE(a.Invalid());
    EXPECT_EQ(copy.GetBuffer()[0], 'a');  // the others still hold the block
    CPacket invalidCopy(a);
    EXPECT_TRUE(invalidCopy.Invalid());
}

namespace {

struct Released {
    void* arg = nullptr;
    size_t size = 0;
    int calls = 0;
    void onRelease(void* a, size_t s) {
        arg = a;
        size = s;
        ++calls;
    }
};

}  // namespace

TEST(LegacyCPacket, AttachedPacketCallsBackWhenTheLastWrapperGoes) {
    Released released;
    char buffer[64];
    {
        CPacket packet(64, TFunction2<void, void*, size_t>(&Released::onRelease, &released),
                       buffer);
        ASSERT_TRUE(packet.Valid());
        EXPECT_EQ(packet.GetHeaderSize(), 128u);
        EXPECT_EQ(packet.GetBuffer(), nullptr);  // no buffer until one is put
        EXPECT_EQ(packet.PutBuffer(buffer, 64), 64u);
        EXPECT_EQ(packet.GetBuffer(), reinterpret_cast<unsigned char*>(buffer));
        CPacket second(packet);
        packet = CPacket();
        EXPECT_EQ(released.calls, 0);
    }
    EXPECT_EQ(released.calls, 1);
    EXPECT_EQ(released.arg, buffer);
    EXPECT_EQ(released.size, 64u);
}

TEST(LegacyIPacketManager, SizesUnderTheDefaultPolicy) {
    IPacketManager* manager = IPacketManager::instance();
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(manager, IPacketManager::instance());
    EXPECT_EQ(manager->GetBufferSize(), 0u);  // no pool under the system policy
    EXPECT_EQ(manager->GetFreeSize(), 0u);
}

// ---- time ---------------------------------------------------------------------------------

namespace {

std::string text(const CTime& t, const char* format) {
    char buf[128];
    t.format(buf, format);
    return buf;
}

void expectFields(const SystemTime& t, int y, int mo, int d, int wd, int h, int mi, int s) {
    EXPECT_EQ(t.year, y);
    EXPECT_EQ(t.month, mo);
    EXPECT_EQ(t.day, d);
    EXPECT_EQ(t.wday, wd);
    EXPECT_EQ(t.hour, h);
    EXPECT_EQ(t.minute, mi);
    EXPECT_EQ(t.second, s);
}

// Puts the class's default format back, so that the tests run in any order.
struct DefaultFormat {
    ~DefaultFormat() {
        CTime::setFormat(std::string("yyyy-MM-dd HH:mm:ss"));
        CTime::setFormat(0, 1, 0);
    }
};

}  // namespace

TEST(LegacyCTime, FieldsRollOverThroughTheCLibrary) {
    const CTime march(2023, 2, 31, 0, 0, 0);  // February 31 is March 3
    expectFields(march, 2023, 3, 3, 5, 0, 0, 0);
    EXPECT_EQ(march.isdst, -1);
    expectFields(CTime(2023, 12, 31, 23, 59, 60), 2024, 1, 1, 1, 0, 0, 0);
    expectFields(CTime(2024, 3, 0, 0, 0, 0), 2024, 2, 29, 4, 0, 0, 0);

    EXPECT_EQ(CTime(1970, 1, 1, 0, 0, 0).makeTime(), 0u);
    EXPECT_EQ(CTime::minTime.makeTime(), 946684800u);
    EXPECT_EQ(CTime::maxTime.makeTime(), 2145916800u);
    expectFields(CTime::minTime, 2000, 1, 1, 6, 0, 0, 0);
    expectFields(CTime(946684800ull), 2000, 1, 1, 6, 0, 0, 0);
    SystemTime before1970 = {1969, 12, 31, 0, 23, 59, 58, -1};
    EXPECT_EQ(CTime(before1970).makeTime(), 0u);  // negative: 0

    // Raw fields are copied unchecked, and compare by the instant they stand for.
    SystemTime raw = {2023, 2, 31, 9, 0, 0, 0, 4};
    const CTime copied(raw);
    EXPECT_EQ(copied.month, 2);
    EXPECT_EQ(copied.day, 31);
    EXPECT_EQ(copied.wday, 9);
    EXPECT_EQ(copied.isdst, 4);
    EXPECT_TRUE(copied == march);
    EXPECT_FALSE(copied != march);

    const CTime empty;
    expectFields(empty, 0, 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(empty.isdst, -1);
}

TEST(LegacyCTime, ArithmeticAndComparisonGoThroughSeconds) {
    const CTime t(2024, 2, 28, 23, 0, 0);
    const CTime next = t + 3600;
    expectFields(next, 2024, 2, 29, 4, 0, 0, 0);
    EXPECT_EQ(next.isdst, -1);
    expectFields(next - 86400, 2024, 2, 28, 3, 0, 0, 0);
    EXPECT_EQ(next - t, 3600);
    EXPECT_EQ(t - next, -3600);
    EXPECT_TRUE(t < next && next > t && t <= t && t >= t && t != next);

    CTime moved = t;
    moved.isdst = 0;
    moved += 86400 * 2;
    expectFields(moved, 2024, 3, 1, 5, 23, 0, 0);
    EXPECT_EQ(moved.isdst, 0);  // += keeps isdst
    moved -= 86400;
    expectFields(moved, 2024, 2, 29, 4, 23, 0, 0);
}

TEST(LegacyCTime, FormatSettingsOfTheirOwn) {
    DefaultFormat restore;
    const CTime t(2023, 3, 4, 13, 6, 7);
    EXPECT_EQ(CTime::getFormat(), "yyyy-MM-dd HH:mm:ss");
    EXPECT_EQ(text(t, "yyyy-MM-dd HH:mm:ss"), "2023-03-04 13:06:07");
    EXPECT_EQ(text(t, "yy/M/d H:m:s"),
              "23-3-4 13:6:7");  // the mask is 0: the separator is the class's

    CTime::setFormat(0, 2, 1);
    EXPECT_EQ(CTime::getDateFormat(), 0);
    EXPECT_EQ(CTime::getSpliter(), '/');
    EXPECT_EQ(CTime::getDateSeparator(), 2);
    EXPECT_TRUE(CTime::get12Hour());
    EXPECT_EQ(CTime::getTimeFormat(), 1);
    EXPECT_EQ(text(t, "yyyy-MM-dd HH:mm:ss tt"), "2023/03/04 01:06:07 PM");

    CTime::setFormat(1, 9, 9);  // the date order only
    EXPECT_EQ(CTime::getDateFormat(), 1);
    EXPECT_EQ(CTime::getDateSeparator(), 2);
    EXPECT_EQ(CTime::getTimeFormat(), 1);
    EXPECT_EQ(text(t, "yyyy-MM-dd"), "03/04/2023");
    CTime::setFormat(7, 0, 0);
    EXPECT_EQ(CTime::getDateFormat(), 7);  // stored as it is; written as ymd
    EXPECT_EQ(CTime::getSpliter(), '.');
    EXPECT_EQ(text(t, "yyyy-MM-dd HH:mm tt"), "2023.03.04 13:06");

    CTime::setFormat(std::string("dd.MM.yyyy hh:mm"));
    EXPECT_EQ(CTime::getFormat(), "dd.MM.yyyy hh:mm");
    EXPECT_EQ(CTime::getDateFormat(), 2);
    EXPECT_EQ(CTime::getSpliter(), '.');
    EXPECT_TRUE(CTime::get12Hour());
    CTime::setFormat(std::string("abc"));  // neither separator nor order: "-" and ymd
    EXPECT_EQ(CTime::getSpliter(), '-');
    EXPECT_EQ(CTime::getDateFormat(), 0);
    EXPECT_FALSE(CTime::get12Hour());
}

TEST(LegacyCTime, NumbersAreWrittenAsSprintfWritesThem) {
    DefaultFormat restore;
    const int values[][7] = {{2023, 3, 4, 5, 6, 7, 0},
                             {-2023, -3, -4, -5, -6, -7, 0},
                             {-5, 12, 31, 23, 59, 59, 0},
                             {123456, 100, -10, 99, -1, 1000, 0},
                             {-1, 0, 0, 0, 0, 0, 0}};
    for (const auto& v : values) {
        const SystemTime fields = {v[0], v[1], v[2], 0, v[3], v[4], v[5], -1};
        const CTime t(fields);
        char expected[128];
        std::snprintf(expected, sizeof expected, "%04d-%02d-%02d %02d:%02d:%02d", v[0], v[1], v[2],
                      v[3], v[4], v[5]);
        EXPECT_EQ(text(t, "yyyy-MM-dd HH:mm:ss"), expected);
        std::snprintf(expected, sizeof expected, "%02d-%d-%d %d:%d:%d", v[0] % 100, v[1], v[2],
                      v[3], v[4], v[5]);
        EXPECT_EQ(text(t, "yy-M-d H:m:s"), expected);
    }
}

TEST(LegacyCTime, NullArgumentsWriteNothing) {
    char buf[16] = "untouched";
    CTime::minTime.format(buf, nullptr);
    EXPECT_STREQ(buf, "untouched");
    CTime::minTime.format(nullptr, "yyyy");
}

TEST(LegacyCTime, ClocksForwardToTheLibrary) {
    // The test main's simulated wall clock stands near 2026-03-14 20:00 local time.
    const CTime now = CTime::getCurrentTime();
    EXPECT_EQ(now.year, 2026);
    EXPECT_EQ(now.isdst, -1);
    const unsigned long long ms = CTime::getCurrentMilliSecond();
    const unsigned long long us = CTime::getCurrentMicroSecond();
    CTime::sleep(10);
    EXPECT_GE(CTime::getCurrentMilliSecond(), ms + 10);
    EXPECT_GE(CTime::getCurrentMicroSecond(), us + 10000);
}

// ---- files --------------------------------------------------------------------------------

namespace {

// A directory of its own under the system's temporary directory, removed with its files.
class TempDir {
public:
    TempDir() {
        char name[64];
        std::snprintf(name, sizeof name, "kerna-legacy-%llu-%d",
                      static_cast<unsigned long long>(CTime::getCurrentMicroSecond()), std::rand());
        m_path = (std::filesystem::temp_directory_path() / name).string();
        EXPECT_TRUE(CFile::makeDirectory(m_path.c_str()));
    }
    ~TempDir() { std::filesystem::remove_all(m_path); }
    std::string path(const char* name) const { return m_path + "/" + name; }
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

}  // namespace

TEST(LegacyCFile, ReadWriteSeekAndLoadThroughTheNewFile) {
    TempDir dir;
    const std::string a = dir.path("a.txt");
    CFile file;
    EXPECT_FALSE(file.isOpen());
    char buf[32] = "";
    EXPECT_EQ(file.read(buf, 4), 0u);  // a closed file reads nothing
    EXPECT_EQ(file.write("x", 1), 0u);
    ASSERT_TRUE(file.open(a.c_str(), openReadWrite | openCreate));
    EXPECT_EQ(file.write("hello\nworld\n", 12), 12u);
    EXPECT_EQ(file.write("x", -1), 0u);  // a refused size
    EXPECT_EQ(file.getLength(), 12u);
    EXPECT_EQ(file.getPosition(), 12u);
    EXPECT_EQ(file.seek(6, seekBegin), 6u);
    EXPECT_EQ(file.read(buf, 5), 5u);
    EXPECT_EQ(std::string(buf, 5), "world");
    file.seek(0, seekBegin);
    ASSERT_NE(file.gets(buf, sizeof buf), nullptr);
    EXPECT_STREQ(buf, "hello\n");
    file.seek(0, seekEnd);
    EXPECT_GE(file.puts("!"), 0);
    file.flush();
    file.close();
    EXPECT_FALSE(file.isOpen());

    const char* text = file.load(a.c_str());
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "hello\nworld\n!");
    file.unload();

    FileInfo info;
    ASSERT_TRUE(CFile::stat(a.c_str(), info));
    EXPECT_EQ(info.size, 13);
    EXPECT_TRUE(CFile::access(a.c_str(), 0));
    uint64_t free = 0, total = 0, totalFree = 0;
    EXPECT_TRUE(CFile::statFS(dir.path().c_str(), free, total, totalFree));
    EXPECT_GT(total, 0u);
    const std::string b = dir.path("b.txt");
    EXPECT_TRUE(CFile::rename(a.c_str(), b.c_str()));
    EXPECT_FALSE(CFile::access(a.c_str(), 0));
    const std::string sub = dir.path("sub");
    EXPECT_TRUE(CFile::makeDirectory(sub.c_str()));

    // The search sees both entries, sorted, with "." and "..".
    CFileFind find;
    ASSERT_TRUE(find.findFile(dir.path("*").c_str()));
    std::string names;
    do {
        names += find.getFileName() + (find.isDirectory() ? "/ " : " ");
        if (find.getFileName() == "b.txt") {
            EXPECT_EQ(find.getLength(), 13);
            EXPECT_TRUE(find.isNormal());
            EXPECT_FALSE(find.isHidden());
            EXPECT_FALSE(find.isReadOnly());
            EXPECT_EQ(find.getFilePath(), b);
        }
    } while (find.findNextFile());
    find.close();
    EXPECT_EQ(names, "./ ../ b.txt sub/ ");

    EXPECT_TRUE(CFile::removeDirectory(sub.c_str()));
    EXPECT_TRUE(CFile::remove(b.c_str()));
    EXPECT_FALSE(CFile::remove(b.c_str()));
}

TEST(LegacyFileSystemTable, HookedFunctionsServeTheirPrefixUntilUnhooked) {
    namespace Mem = LegacyTest::MemoryFiles;
    const ::FileSystemTable table = Mem::table();
    hookFileSystemTable("legacymem:", &table);
    const int before = Mem::calls();
    {
        CFile file;
        ASSERT_TRUE(file.open("legacymem:/one", openWrite));
        EXPECT_EQ(file.write("abc", 3), 3u);
        file.close();
        ASSERT_TRUE(file.open("legacymem:/one", openRead));
        char buf[4] = "";
        EXPECT_EQ(file.read(buf, 3), 3u);
        EXPECT_STREQ(buf, "abc");
        file.close();
    }
    EXPECT_TRUE(CFile::access("legacymem:/one", 0));
    EXPECT_GT(Mem::calls(), before + 5);
    EXPECT_FALSE(CFile::makeDirectory("legacymem:/dir"));  // no mkdir in the table: it fails

    hookFileSystemTable("legacymem:", nullptr);
    const int after = Mem::calls();
    EXPECT_FALSE(CFile::access("legacymem:/one", 0));  // the system's table now
    EXPECT_EQ(Mem::calls(), after);
    hookFileSystemTable("legacymem:", nullptr);  // not hooked any more: nothing happens
    hookFileSystemTable(nullptr, &table);        // refused
    hookFileSystemTable("", &table);             // refused
}

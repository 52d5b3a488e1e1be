// ThreadTest.cpp - CThread and CThreadLite: the state machine, its log lines, watch-dogs,
// names, priorities, and forced termination.

#include "kerna/kerna3/Thread.h"
#include "kerna/kerna3/ThreadManager.h"
#include "kerna/kerna3/Time.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <string>

#include "ThreadTestSupport.h"
#include "concurrency/ThreadInternal.h"
#include "support/LogCapture.h"
#include "time/MonotonicClock.h"

using Tessaran::Kerna::CThread;
using Tessaran::Kerna::CThreadLite;
using Tessaran::Kerna::CThreadManager;
using Tessaran::Kerna::CTime;

namespace {

std::string withThis(const char* format, const void* object, const char* name = nullptr) {
    char text[256];
    if (name != nullptr) {
        std::snprintf(text, sizeof(text), format, object, name);
    } else {
        std::snprintf(text, sizeof(text), format, object);
    }
    return text;
}

}  // namespace

TEST(CThread, PriorityBandsAndPolicy) {
    using Tessaran::Kerna::Detail::threadPlatformLevel;
    struct Row {
        int priority;
        int level;
    };
    const Row rows[] = {{INT_MIN, 15}, {0, 15},   {1, 15},    {5, 15},     {6, 2},        {59, 2},
                        {60, 1},       {63, 1},   {64, 0},    {68, 0},     {69, -1},      {72, -1},
                        {73, -2},      {126, -2}, {127, -15}, {1000, -15}, {INT_MAX, -15}};
    for (const Row& row : rows) {
        EXPECT_EQ(row.level, threadPlatformLevel(0, row.priority)) << "priority " << row.priority;
        EXPECT_EQ(row.level, threadPlatformLevel(2, row.priority)) << "priority " << row.priority;
        EXPECT_EQ(15, threadPlatformLevel(1, row.priority)) << "priority " << row.priority;
    }
}

TEST(CThread, NamesAreCutAndDefaulted) {
    ProbeThread unnamed(nullptr, ProbeThread::loopUntilStopped);
    EXPECT_STREQ("Nonamed", unnamed.getThreadName());

    const char* forty = "0123456789012345678901234567890123456789";
    ProbeThread longName(forty, ProbeThread::loopUntilStopped);
    EXPECT_STREQ("0123456789012345678901234567890", longName.getThreadName());

    longName.setThreadName("short");
    EXPECT_STREQ("short", longName.getThreadName());
    longName.setThreadName(nullptr);
    EXPECT_STREQ("Nonamed", longName.getThreadName());
    EXPECT_EQ(-1, longName.getThreadID());
    EXPECT_TRUE(longName.isThreadOver());
    EXPECT_FALSE(longName.looping());
    EXPECT_EQ(7, longName.shareSocket(7));
}

TEST(CThread, StartRestartAndDoubleDestroy) {
    KernaTest::LogCapture log(4);
    ProbeThread thread("Worker", ProbeThread::loopUntilStopped);
    ASSERT_TRUE(thread.createThread());
    EXPECT_FALSE(thread.isThreadOver());
    ASSERT_TRUE(waitUntil([&] { return thread.getThreadID() != -1; }));
    int id = thread.getThreadID();
    EXPECT_EQ(id, thread.seenId.load());
    EXPECT_TRUE(CThreadManager::instance()->hasThread(id));

    log.clear();
    EXPECT_FALSE(thread.createThread());
    EXPECT_EQ(1, countMessages(
                     log, withThis("this:%p CThread::CreateThread() thread:%s is still running!\n",
                                   &thread, "Worker")));

    EXPECT_TRUE(thread.destroyThread());
    EXPECT_TRUE(thread.isThreadOver());
    EXPECT_FALSE(CThreadManager::instance()->hasThread(id));

    log.clear();
    EXPECT_FALSE(thread.destroyThread());
    EXPECT_EQ(
        std::vector<std::string>{withThis(
            "this:%p CThread::DestroyThread() thread:%s has been destroyed!\n", &thread, "Worker")},
        log.messages());

    // From Over the object starts again, as a new platform thread.
    ASSERT_TRUE(thread.createThread());
    ASSERT_TRUE(waitUntil([&] { return thread.runs.load() == 2; }));
    EXPECT_TRUE(thread.destroyThread());
    EXPECT_TRUE(thread.isThreadOver());
}

TEST(CThread, BodyLinesNameTheThread) {
    KernaTest::LogCapture log(5);
    showFunctionNames();
    ProbeThread thread(
        "Traced", [](ProbeThread&) {}, 70, 1);
    ASSERT_TRUE(thread.createThread());
    ASSERT_TRUE(waitUntil([&] { return thread.isThreadOver(); }));
    int id = thread.getThreadID();
    char enter[128];
    std::snprintf(enter, sizeof(enter),
                  " InternalThreadBody]ThreadBody Enter name:Traced, id:%d, prior:R70, stack:0x",
                  id);
    bool found = false;
    for (const std::string& line : log.lines()) {
        found = found || line.find(enter) != std::string::npos;
    }
    EXPECT_TRUE(found) << enter;
    char leave[128];
    std::snprintf(leave, sizeof(leave),
                  " InternalThreadBody]ThreadBody leave name:Traced, id:%d \n", id);
    EXPECT_TRUE(hasLineEndingWith(log, leave)) << leave;
}

TEST(CThread, BodyThatReturnsAtOnceEndsOverAndRestartClearsDeadline) {
    FakeClock clock(500);
    KernaTest::LogCapture log(4);
    ProbeThread thread("Quick", [](ProbeThread&) {});
    ASSERT_TRUE(thread.createThread());
    ASSERT_TRUE(waitUntil([&] { return thread.isThreadOver(); }));
    EXPECT_EQ(1, thread.runs.load());

    log.clear();
    EXPECT_FALSE(thread.destroyThread());
    EXPECT_EQ(std::vector<std::string>{withThis(
                  "this:%p CThread::DestroyThread() thread:%s has exited!\n", &thread, "Quick")},
              log.messages());

    thread.setTimeout(1, 0);  // deadline at 1 ms, long past
    EXPECT_TRUE(thread.isTimeout());
    ASSERT_TRUE(thread.createThread());
    EXPECT_FALSE(thread.isTimeout());
    ASSERT_TRUE(waitUntil([&] { return thread.isThreadOver() && thread.runs.load() == 2; }));
}

TEST(CThread, CancelIdleAndRunning) {
    KernaTest::LogCapture log(4);
    ProbeThread thread("Cancelled", ProbeThread::loopUntilStopped);
    EXPECT_FALSE(thread.cancelThread());
    EXPECT_EQ(std::vector<std::string>{withThis(
                  "this:%p CThread::cancelThread() thread:%s not exist!\n", &thread, "Cancelled")},
              log.messages());

    ASSERT_TRUE(thread.createThread());
    ASSERT_TRUE(waitUntil([&] { return thread.entered.load(); }));
    EXPECT_TRUE(thread.cancelThread());
    EXPECT_FALSE(thread.looping());
    // cancelThread does not wait; the body ends by itself.
    ASSERT_TRUE(waitUntil([&] { return thread.isThreadOver(); }));
    log.clear();
    EXPECT_FALSE(thread.destroyThread());
    EXPECT_EQ(
        1, countMessages(log, withThis("this:%p CThread::DestroyThread() thread:%s has exited!\n",
                                       &thread, "Cancelled")));
}

TEST(CThread, DestroyFromInsideThreadProcDoesNotWait) {
    std::atomic<int> result{-1};
    std::atomic<bool> loopAfter{true};
    std::atomic<int> restart{-1};
    ProbeThread thread("SelfStop", [&](ProbeThread& self) {
        result.store(self.destroyThread() ? 1 : 0);
        loopAfter.store(self.looping());
        // Restarting from inside the ending body would wait for itself: refused.
        restart.store(self.createThread() ? 1 : 0);
    });
    ASSERT_TRUE(thread.createThread());
    ASSERT_TRUE(waitUntil([&] { return thread.isThreadOver(); }));
    EXPECT_EQ(1, result.load());
    EXPECT_FALSE(loopAfter.load());
    EXPECT_EQ(0, restart.load());

    KernaTest::LogCapture log(4);
    EXPECT_FALSE(thread.destroyThread());
    EXPECT_EQ(1,
              countMessages(
                  log, withThis("this:%p CThread::DestroyThread() thread:%s has been destroyed!\n",
                                &thread, "SelfStop")));
}

TEST(CThread, TerminateNeverStartedLogsBothLines) {
    KernaTest::LogCapture log(4);
    ProbeThread thread("Never", ProbeThread::loopUntilStopped);
    EXPECT_FALSE(thread.terminateThread());
    EXPECT_EQ(
        (std::vector<std::string>{
            withThis("this:%p CThread::DestroyThread() thread:%s has exited!\n", &thread, "Never"),
            withThis("this:%p handle is null, can't be terminated\n", &thread)}),
        log.messages());
}

namespace {

struct UnwindMark {
    std::atomic<bool>& flag;
    ~UnwindMark() { flag.store(true); }
};

}  // namespace

TEST(CThread, TerminateUnwindsTheBodyAndLeavesTheRegistry) {
    std::atomic<bool> unwound{false};
    std::atomic<int> terminated{-1};
    std::atomic<bool> survived{false};
    ProbeThread thread("Doomed", [&](ProbeThread& self) {
        UnwindMark mark{unwound};
        terminated.store(self.terminateThread() ? 1 : 0);
        // The kill acts at the next cancellation point: looping() is one.
        self.looping();
        survived.store(true);
    });
    ASSERT_TRUE(thread.createThread());
    ASSERT_TRUE(waitUntil([&] { return thread.isThreadOver(); }, 20000));
    EXPECT_EQ(1, terminated.load());
    EXPECT_TRUE(unwound.load());
    EXPECT_FALSE(survived.load());
    EXPECT_FALSE(CThreadManager::instance()->hasThread(thread.seenId.load()));

    // A killed object restarts like any other; terminating an ended thread kills nothing.
    ProbeThread quick("Ended", [](ProbeThread&) {});
    ASSERT_TRUE(quick.createThread());
    ASSERT_TRUE(waitUntil([&] { return quick.isThreadOver(); }));
    EXPECT_FALSE(quick.terminateThread());
}

TEST(CThread, TerminateActsInsideASleep) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "AddressSanitizer's runtime cannot unwind a kill out of its sleep interceptor";
#endif
    std::atomic<bool> unwound{false};
    std::atomic<bool> survived{false};
    ProbeThread thread("Sleeper", [&](ProbeThread& self) {
        UnwindMark mark{unwound};
        self.terminateThread();
        for (int i = 0; i < 1000; ++i) {  // 10 s at most if the kill never acted
            CThread::sleep(10);
        }
        survived.store(true);
    });
    ASSERT_TRUE(thread.createThread());
    ASSERT_TRUE(waitUntil([&] { return thread.isThreadOver(); }, 20000));
    EXPECT_TRUE(unwound.load());
    EXPECT_FALSE(survived.load());
}

TEST(CThread, FailedStartLeavesObjectRestartable) {
    KernaTest::LogCapture log(4);
    ProbeThread thread("BadStack", ProbeThread::loopUntilStopped, 64, 0, -1);
    EXPECT_FALSE(thread.createThread());
    EXPECT_EQ(1, countMessages(log, withThis("this:%p create thread failed, errno:22\n", &thread)));
    EXPECT_TRUE(thread.isThreadOver());
    EXPECT_FALSE(thread.createThread());  // still refused, still no "is still running"
    EXPECT_EQ(2, countMessages(log, withThis("this:%p create thread failed, errno:22\n", &thread)));
}

TEST(CThread, EveryPriorityAndPolicyStarts) {
    // Whatever the process may do with priorities, no thread fails to start over one.
    const int priorities[] = {1, 5, 30, 62, 64, 70, 100, 127};
    for (int policy = 0; policy < 2; ++policy) {
        for (int priority : priorities) {
            ProbeThread thread("Prio", ProbeThread::loopUntilStopped, priority, policy, 65536);
            ASSERT_TRUE(thread.createThread()) << priority << "/" << policy;
            ASSERT_TRUE(waitUntil([&] { return thread.entered.load(); }));
            EXPECT_TRUE(thread.destroyThread());
        }
    }
}

TEST(CThread, WatchDogBoundariesOnTheClock) {
    FakeClock clock(100);
    ProbeThread thread("Dog", ProbeThread::loopUntilStopped);
    thread.setTimeout(5);  // expiry 105
    clock.set(105);
    EXPECT_FALSE(thread.isTimeout());
    clock.set(106);
    EXPECT_TRUE(thread.isTimeout());
    thread.setTimeout(0);
    EXPECT_FALSE(thread.isTimeout());

    thread.setTimeout(10, 50);  // expiry 60, from the caller's time
    EXPECT_TRUE(thread.isTimeout());
    thread.setTimeout(-5, 200);  // signed: expiry 195
    clock.set(195);
    EXPECT_FALSE(thread.isTimeout());
    clock.set(196);
    EXPECT_TRUE(thread.isTimeout());
}

TEST(CThread, SetCurrentTimeoutOnlyForRegisteredThreads) {
    FakeClock clock(1000);
    EXPECT_FALSE(CThread::setCurrentTimeout(10));  // the test's thread is no CThread

    std::atomic<int> result{-1};
    std::atomic<bool> proceed{false};
    ProbeThread thread("Current", [&](ProbeThread& self) {
        result.store(CThread::setCurrentTimeout(20) ? 1 : 0);  // expiry 1020
        while (self.looping() && !proceed.load()) {
            CThread::sleep(1);
        }
    });
    ASSERT_TRUE(thread.createThread());
    ASSERT_TRUE(waitUntil([&] { return result.load() != -1; }));
    EXPECT_EQ(1, result.load());
    clock.set(1020);
    EXPECT_FALSE(thread.isTimeout());
    clock.set(1021);
    EXPECT_TRUE(thread.isTimeout());
    proceed.store(true);
    EXPECT_TRUE(thread.destroyThread());
}

TEST(CThread, LoadChecksItsRange) {
    KernaTest::LogCapture log(4);
    CThread::load(1);
    CThread::load(100);
    EXPECT_TRUE(log.messages().empty());
    CThread::load(0);
    CThread::load(101);
    EXPECT_EQ((std::vector<std::string>{"thread load percent:0 is invalid!\n",
                                        "thread load percent:101 is invalid!\n"}),
              log.messages());
}

namespace {

std::atomic<int> g_liteCalls{0};

void liteBody(CThreadLite& self) {
    g_liteCalls.fetch_add(1);
    while (self.looping()) {
        CThread::sleep(1);
    }
}

std::atomic<bool> g_selfDeleted{false};

void deleteSelf(CThreadLite& self) {
    delete &self;  // the owner goes on its own thread; the body must still end cleanly
    g_selfDeleted.store(true);
}

}  // namespace

TEST(CThreadLite, RunsDelegateAndStopsInDestructor) {
    g_liteCalls.store(0);
    int id = -1;
    {
        CThreadLite lite(CThreadLite::ThreadProc(&liteBody), "Lite");
        ASSERT_TRUE(lite.createThread());
        ASSERT_TRUE(waitUntil([&] { return g_liteCalls.load() == 1; }));
        ASSERT_TRUE(waitUntil([&] { return lite.getThreadID() != -1; }));
        id = lite.getThreadID();
        EXPECT_TRUE(CThreadManager::instance()->hasThread(id));
    }  // the destructor stops the running thread
    EXPECT_FALSE(CThreadManager::instance()->hasThread(id));

    KernaTest::LogCapture log(4);
    {
        CThreadLite empty(CThreadLite::ThreadProc(), "Empty");
        ASSERT_TRUE(empty.createThread());
        ASSERT_TRUE(waitUntil([&] { return empty.isThreadOver(); }));
        EXPECT_EQ(1, countMessages(log, withThis("this:%p CThreadLite:%s has no thread function\n",
                                                 &empty, "Empty")));
    }
}

TEST(CThreadLite, DeletedFromItsOwnThread) {
    KernaTest::LogCapture log(4);
    g_selfDeleted.store(false);
    CThreadLite* lite = new CThreadLite(CThreadLite::ThreadProc(&deleteSelf), "Orphan");
    ASSERT_TRUE(lite->createThread());
    ASSERT_TRUE(waitUntil([&] { return g_selfDeleted.load(); }));
    EXPECT_EQ(1, countMessages(
                     log, withThis("this:%p CThread::~CThread:%s destroyed from its own thread\n",
                                   lite, "Orphan")));
    // The body ends after the owner went, and leaves the registry.
    std::list<CThreadManager::ThreadInfo> infos;
    ASSERT_TRUE(waitUntil([&] {
        infos.clear();
        CThreadManager::instance()->getThreadsInfo(infos);
        for (const auto& info : infos) {
            if (std::string(info.name) == "Orphan") {
                return false;
            }
        }
        return true;
    }));
}

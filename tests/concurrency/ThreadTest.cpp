// ThreadTest.cpp - CThread and CThreadLite: the state machine, its log lines, watch-dogs,
// names, priorities, and forced termination.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "ThreadTestSupport.h"
#include "platform/Lock.h"
#include "platform/Thread.h"
#include "platform/Tls.h"
#include "threads/ThreadInternal.h"
#include "kerna/kerna3/Thread.h"

using Tessaran::Kerna::CThread;
using Tessaran::Kerna::CThreadLite;
using Tessaran::Kerna::CThreadManager;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

const char kExited[] = "this:%p CThread::DestroyThread() thread:%s has exited!\n";
const char kDestroyed[] = "this:%p CThread::DestroyThread() thread:%s has been destroyed!\n";

}  // namespace

TEST(CThread, PriorityBandsAndPolicyAndEveryOneStarts) {
    using Tessaran::Kerna::Detail::threadPlatformLevel;
    // {priority, level} at the edges of the bands of policies 0 and 2; policy 1 is always 15.
    const int rows[][2] = {{INT_MIN, 15}, {0, 15},       {1, 15},  {5, 15},   {6, 2},
                           {59, 2},       {60, 1},       {63, 1},  {64, 0},   {68, 0},
                           {69, -1},      {72, -1},      {73, -2}, {126, -2}, {127, -15},
                           {1000, -15},   {INT_MAX, -15}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row[0]);
        EXPECT_EQ(row[1], threadPlatformLevel(0, row[0]));
        EXPECT_EQ(row[1], threadPlatformLevel(2, row[0]));
        EXPECT_EQ(15, threadPlatformLevel(1, row[0]));
    }
    // Whatever the process may do with priorities, no thread fails to start over one.
    for (int policy = 0; policy < 2; ++policy) {
        for (int priority : {1, 5, 30, 62, 64, 70, 100, 127}) {
            ProbeThread thread("Prio", ProbeThread::loopUntilStopped, priority, policy, 65536);
            ASSERT_TRUE(thread.createThread()) << priority << "/" << policy;
            ASSERT_TRUE(waitUntil([&] { return thread.runs.load() == 1; }));
            EXPECT_TRUE(thread.destroyThread());
        }
    }
}

// The whole life of one object: idle, running, destroyed, restarted, cancelled; each refused
// step logs its line (with the name cut to 31 characters).
TEST(CThread, StateMachineWalk) {
    KernaTest::LogCapture log(4);
    ProbeThread thread("Worker-0123456789012345678901234", ProbeThread::loopUntilStopped);
    const char* const name = "Worker-012345678901234567890123";
    EXPECT_STREQ(name, thread.getThreadName());
    EXPECT_EQ(-1, thread.getThreadID());  // never started: over and not looping
    EXPECT_TRUE(thread.isThreadOver());
    EXPECT_FALSE(thread.looping());
    EXPECT_FALSE(thread.cancelThread());
    EXPECT_FALSE(thread.terminateThread());  // the line of a refused stop, then its own
    EXPECT_THAT(
        log.messages(),
        ElementsAre(textf("this:%p CThread::cancelThread() thread:%s not exist!\n", &thread, name),
                    textf(kExited, &thread, name),
                    textf("this:%p handle is null, can't be terminated\n", &thread)));

    ASSERT_TRUE(thread.createThread());
    EXPECT_FALSE(thread.isThreadOver());
    // The body sets the identifier a few steps before threadProc runs: wait for threadProc.
    ASSERT_TRUE(waitUntil([&] { return thread.runs.load() == 1; }));
    const int id = thread.getThreadID();
    EXPECT_EQ(id, thread.seenId.load());
    EXPECT_TRUE(CThreadManager::instance()->hasThread(id));
    log.clear();
    EXPECT_FALSE(thread.createThread());
    EXPECT_THAT(log.messages(),
                ElementsAre(textf("this:%p CThread::CreateThread() thread:%s is still running!\n",
                                  &thread, name)));
    EXPECT_TRUE(thread.destroyThread());
    EXPECT_TRUE(thread.isThreadOver());
    EXPECT_FALSE(CThreadManager::instance()->hasThread(id));
    log.clear();
    EXPECT_FALSE(thread.destroyThread());
    EXPECT_THAT(log.messages(), ElementsAre(textf(kDestroyed, &thread, name)));

    // From Over the object starts again, as a new platform thread; cancelThread does not wait,
    // the body ends by itself.
    ASSERT_TRUE(thread.createThread());
    ASSERT_TRUE(waitUntil([&] { return thread.runs.load() == 2; }));
    EXPECT_TRUE(thread.cancelThread());
    EXPECT_FALSE(thread.looping());
    ASSERT_TRUE(waitUntil([&] { return thread.isThreadOver(); }));
    log.clear();
    EXPECT_FALSE(thread.destroyThread());
    EXPECT_THAT(log.messages(), ElementsAre(textf(kExited, &thread, name)));

    thread.setThreadName("short");
    EXPECT_STREQ("short", thread.getThreadName());
    thread.setThreadName(nullptr);
    EXPECT_STREQ("Nonamed", thread.getThreadName());
    EXPECT_STREQ("Nonamed", ProbeThread(nullptr, ProbeThread::loopUntilStopped).getThreadName());
}

TEST(CThread, BodyThatReturnsAtOnceLogsEndsOverAndRestartClearsDeadline) {
    FakeClock clock(500);
    KernaTest::LogCapture log(5);
    showFunctionNames();
    ProbeThread thread(
        "Quick", [](ProbeThread&) {}, 70, 1);
    ASSERT_TRUE(thread.createThread());
    ASSERT_TRUE(waitUntil([&] { return thread.isThreadOver(); }));
    EXPECT_EQ(1, thread.runs.load());
    const int id = thread.getThreadID();
    EXPECT_THAT(log.lines(), Contains(HasSubstr(textf(" InternalThreadBody]ThreadBody Enter "
                                                      "name:Quick, id:%d, prior:R70, stack:0x",
                                                      id))));
    EXPECT_THAT(
        log.lines(),
        Contains(EndsWith(textf(" InternalThreadBody]ThreadBody leave name:Quick, id:%d \n", id))));
    Tessaran::Kerna::setPrintLogLevel(4);
    log.clear();
    EXPECT_FALSE(thread.destroyThread());
    EXPECT_THAT(log.messages(), ElementsAre(textf(kExited, &thread, "Quick")));

    thread.setTimeout(1, 0);  // deadline at 1 ms, long past
    EXPECT_TRUE(thread.isTimeout());
    ASSERT_TRUE(thread.createThread());
    EXPECT_FALSE(thread.isTimeout());
    ASSERT_TRUE(waitUntil([&] { return thread.isThreadOver() && thread.runs.load() == 2; }));
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
    EXPECT_THAT(log.messages(), ElementsAre(textf(kDestroyed, &thread, "SelfStop")));
}

namespace {

struct UnwindMark {
    std::atomic<bool>& flag;
    ~UnwindMark() { flag.store(true); }
};

// A body terminates its own thread, then reaches a cancellation point: the kill must act there,
// unwinding the body (its destructors run), and the thread must leave the registry.
void expectKilledAt(const char* name, void (*cancellationPoint)(ProbeThread&)) {
    std::atomic<bool> unwound{false};
    std::atomic<bool> survived{false};
    std::atomic<int> terminated{-1};
    ProbeThread thread(name, [&](ProbeThread& self) {
        UnwindMark mark{unwound};
        terminated.store(self.terminateThread() ? 1 : 0);
        cancellationPoint(self);
        survived.store(true);
    });
    ASSERT_TRUE(thread.createThread());
    ASSERT_TRUE(waitUntil([&] { return thread.isThreadOver(); }, 20000));
    EXPECT_EQ(1, terminated.load());
    EXPECT_TRUE(unwound.load());
    EXPECT_FALSE(survived.load());
    EXPECT_FALSE(CThreadManager::instance()->hasThread(thread.seenId.load()));
}

}  // namespace

TEST(CThread, TerminateUnwindsTheBodyAndLeavesTheRegistry) {
    expectKilledAt("Doomed", [](ProbeThread& self) { self.looping(); });
#if !defined(__SANITIZE_ADDRESS__)  // ASan's runtime cannot unwind a kill out of its sleep
    expectKilledAt("Sleeper", [](ProbeThread&) {
        for (int i = 0; i < 1000; ++i) CThread::sleep(10);  // 10 s at most if the kill never acted
    });
#endif
    // From another thread terminateThread first waits, as destroyThread does, for the body to
    // end: the body returns normally, nothing is left to kill, and the result is false.
    std::atomic<bool> unwound{false};
    std::atomic<bool> returned{false};
    ProbeThread stopped("Stopped", [&](ProbeThread& self) {
        UnwindMark mark{unwound};
        while (self.looping()) CThread::sleep(1);
        returned.store(true);
    });
    ASSERT_TRUE(stopped.createThread());
    ASSERT_TRUE(waitUntil([&] { return CThreadManager::instance()->hasThread(stopped.seenId.load()); }));
    EXPECT_FALSE(stopped.terminateThread());
    EXPECT_TRUE(returned.load());
    EXPECT_TRUE(unwound.load());
    EXPECT_TRUE(stopped.isThreadOver());
    EXPECT_FALSE(CThreadManager::instance()->hasThread(stopped.seenId.load()));
    // Terminating an ended thread kills nothing.
    ProbeThread quick("Ended", [](ProbeThread&) {});
    ASSERT_TRUE(quick.createThread());
    ASSERT_TRUE(waitUntil([&] { return quick.isThreadOver(); }));
    EXPECT_FALSE(quick.terminateThread());
}

TEST(CThread, FailedStartLeavesObjectRestartable) {
    KernaTest::LogCapture log(4);
    ProbeThread thread("BadStack", ProbeThread::loopUntilStopped, 64, 0, -1);
    const std::string failed = textf("this:%p create thread failed, errno:22\n", &thread);
    EXPECT_FALSE(thread.createThread());
    EXPECT_TRUE(thread.isThreadOver());
    EXPECT_FALSE(thread.createThread());  // refused the same way again, not as "still running"
    EXPECT_THAT(log.messages(), ElementsAre(failed, failed));
}

TEST(CThread, WatchDogBoundariesOnTheClock) {
    FakeClock clock(100);
    EXPECT_FALSE(CThread::setCurrentTimeout(10));  // the test's thread is no CThread
    std::atomic<int> result{-1};
    ProbeThread thread("Dog", [&](ProbeThread& self) {
        result.store(CThread::setCurrentTimeout(5) ? 1 : 0);  // expiry 105
        ProbeThread::loopUntilStopped(self);
    });
    ASSERT_TRUE(thread.createThread());
    ASSERT_TRUE(waitUntil([&] { return result.load() != -1; }));
    EXPECT_EQ(1, result.load());
    clock.set(105);
    EXPECT_FALSE(thread.isTimeout());
    clock.set(106);
    EXPECT_TRUE(thread.isTimeout());
    thread.setTimeout(0);
    EXPECT_FALSE(thread.isTimeout());
    thread.setTimeout(5);  // expiry 111
    clock.set(111);
    EXPECT_FALSE(thread.isTimeout());
    clock.set(112);
    EXPECT_TRUE(thread.isTimeout());

    thread.setTimeout(10, 50);  // expiry 60, from the caller's time
    EXPECT_TRUE(thread.isTimeout());
    thread.setTimeout(-5, 200);  // signed: expiry 195
    clock.set(195);
    EXPECT_FALSE(thread.isTimeout());
    clock.set(196);
    EXPECT_TRUE(thread.isTimeout());
    EXPECT_TRUE(thread.destroyThread());
}

TEST(CThread, LoadChecksItsRange) {
    KernaTest::LogCapture log(4);
    for (int percent : {1, 100, 0, 101}) CThread::load(percent);
    EXPECT_THAT(log.messages(), ElementsAre("thread load percent:0 is invalid!\n",
                                            "thread load percent:101 is invalid!\n"));
}

namespace {

std::atomic<int> g_liteCalls{0};
std::atomic<bool> g_selfDeleted{false};

}  // namespace

TEST(CThreadLite, RunsDelegateAndStopsInDestructor) {
    g_liteCalls.store(0);
    int id = -1;
    {
        CThreadLite lite(CThreadLite::ThreadProc(+[](CThreadLite& self) {
                             g_liteCalls.fetch_add(1);
                             while (self.looping()) CThread::sleep(1);
                         }),
                         "Lite");
        ASSERT_TRUE(lite.createThread());
        ASSERT_TRUE(waitUntil([&] { return g_liteCalls.load() == 1 && lite.getThreadID() != -1; }));
        id = lite.getThreadID();
        EXPECT_TRUE(CThreadManager::instance()->hasThread(id));
    }  // the destructor stops the running thread
    EXPECT_FALSE(CThreadManager::instance()->hasThread(id));

    KernaTest::LogCapture log(4);
    CThreadLite empty(CThreadLite::ThreadProc(), "Empty");
    ASSERT_TRUE(empty.createThread());
    ASSERT_TRUE(waitUntil([&] { return empty.isThreadOver(); }));
    EXPECT_THAT(log.messages(), ElementsAre(textf("this:%p CThreadLite:%s has no thread function\n",
                                                  &empty, "Empty")));
}

TEST(CThreadLite, DeletedFromItsOwnThread) {
    g_selfDeleted.store(false);
    KernaTest::LogCapture log(4);
    CThreadLite* lite = new CThreadLite(CThreadLite::ThreadProc(+[](CThreadLite& self) {
                                            delete &self;  // the body must still end cleanly
                                            g_selfDeleted.store(true);
                                        }),
                                        "Orphan");
    ASSERT_TRUE(lite->createThread());
    ASSERT_TRUE(waitUntil([&] { return g_selfDeleted.load(); }));
    EXPECT_THAT(log.messages(),
                Contains(textf("this:%p CThread::~CThread:%s destroyed from its own thread\n", lite,
                               "Orphan"))
                    .Times(1));
    // The body ends after the owner went, and leaves the registry.
    EXPECT_TRUE(waitUntil([] { return !registryHasName("Orphan"); }));
}

namespace {

std::atomic<int> g_entryTid{0};
std::atomic<bool> g_entryRelease{false};

void recordTidAndWait(void*) {
    g_entryTid.store(static_cast<int>(Tessaran::Kerna::Detail::Platform::currentThreadId()));
    while (!g_entryRelease.load()) Tessaran::Kerna::Detail::Platform::sleepMs(1);
}

}  // namespace

// The platform start returns only once the new thread has published its identifier, which
// createThread needs at once to set the priority; the record then reports the body running until
// it ends.
TEST(PlatformThread, StartPublishesTheIdentifierBeforeItReturns) {
    namespace Platform = Tessaran::Kerna::Detail::Platform;
    g_entryTid.store(0);
    g_entryRelease.store(false);
    int error = -1;
    Platform::ThreadHandle* handle = Platform::startThread(&recordTidAndWait, nullptr, 0, &error);
    ASSERT_NE(nullptr, handle);
    EXPECT_EQ(0, error);
    const int tid = Platform::threadIdOf(handle);  // read at once, without waiting
    EXPECT_GT(tid, 0);
    ASSERT_TRUE(waitUntil([] { return g_entryTid.load() != 0; }));
    EXPECT_EQ(tid, g_entryTid.load());
    EXPECT_FALSE(Platform::waitThread(handle, 1));  // still running: the wait times out
    EXPECT_EQ(Platform::kThreadStillActive, Platform::threadExitCode(handle));
    g_entryRelease.store(true);
    EXPECT_TRUE(Platform::waitThread(handle, 10000));
    EXPECT_EQ(0u, Platform::threadExitCode(handle));
    Platform::closeThread(handle);
}

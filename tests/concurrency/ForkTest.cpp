// ForkTest.cpp - a forked child is a full user of the library: its thread has its own id (in
// line prefixes, the registry and lock owners), the threads that stayed in the parent read as
// over, timers armed in the child fire, the locks other threads held are free, and the child
// exits cleanly. Each child reports by its exit code, which the parent reads with a bounded wait.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "ThreadTestSupport.h"
#include "foundation/LogSettings.h"
#include "kerna/kerna3/FileSystem.h"
#include "kerna/kerna3/LogControl.h"
#include "kerna/kerna3/LogFile.h"
#include "kerna/kerna3/Error.h"
#include "kerna/kerna3/RecursiveMutex.h"
#include "kerna/kerna3/Semaphore.h"
#include "kerna/kerna3/Timer.h"
#include "support/MemoryFileSystem.h"

// ThreadSanitizer cannot follow a thread started in a child of a multi-threaded process (the
// child's new threads take over the parent's thread records, "dup thread with used id"): under
// it the children start no thread, and the tests whose point is a thread started in the child
// are skipped. Its checks of the fork handlers in the parent, and of the children's other work,
// remain.
#if defined(__SANITIZE_THREAD__)
#define KERNA_CHILD_THREADS 0
#else
#define KERNA_CHILD_THREADS 1
#endif

// AddressSanitizer's allocator (this compiler's runtime) takes no lock around a fork: a child
// whose parent had other threads allocating may hang in malloc. The test that forks while other
// threads work hard is skipped under it.
#if defined(__SANITIZE_ADDRESS__)
#define KERNA_FORK_UNDER_LOAD 0
#else
#define KERNA_FORK_UNDER_LOAD 1
#endif

namespace {
// Set in a child forked while other threads of the test held objects of their own: the child
// does not have those threads' stacks, so what only they referred to can be reached no more,
// and LeakSanitizer would count it at the child's exit. The leak check is the parent's.
std::atomic<bool> g_orphansInChild{false};
}  // namespace

extern "C" int __lsan_is_turned_off() { return g_orphansInChild.load() ? 1 : 0; }

using namespace Tessaran::Kerna;

namespace {

// Counts failed checks in a child and names them on its standard error stream.
struct ChildChecks {
    int failed = 0;
    void check(bool ok, const char* what) {
        if (!ok) {
            ++failed;
            std::fprintf(stderr, "child check failed: %s\n", what);
        }
    }
};

// Forks; the child runs body and leaves through exit() with its result (so the library's exit
// routines run in the child too). The parent waits at most limitMs for the child and returns its
// exit code, or -1 if it had to kill it (it is never left behind). With `orphans`, other threads
// of the parent own objects the child cannot reach (see g_orphansInChild).
int runInChild(const std::function<int()>& body, bool orphans = false, int limitMs = 20000) {
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t child = fork();
    if (child == 0) {
        // A printer of the parent's test may hold a lock of its own that another thread of the
        // parent held at the fork: the child prints to the console.
        setLogPrinter(TFunction1<void, const char*>());
        g_orphansInChild.store(orphans);
        std::exit(body());
    }
    if (child < 0) return -2;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
    int status = 0;
    for (;;) {
        const pid_t done = waitpid(child, &status, WNOHANG);
        if (done == child) return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        if (std::chrono::steady_clock::now() > end) {
            kill(child, getenv("KERNA_FORK_TEST_ABORT") ? SIGABRT : SIGKILL);
            waitpid(child, &status, 0);
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void post(void* semaphore) { static_cast<CSemaphore*>(semaphore)->post(); }

}  // namespace

// Before, the child's thread kept the parent's cached id: line prefixes, the registry's main
// thread and CRecursiveMutex's owner all named a thread of the parent.
TEST(Fork, TheChildsThreadHasItsOwnIdEverywhere) {
    CThreadManager::instance()->registerMainThread();
    const int parentId = CThread::getCurrentThreadID();
    CRecursiveMutex held;
    held.enter();  // held by this thread across the fork
    ProbeThread running("Parent", ProbeThread::loopUntilStopped);
    ASSERT_TRUE(running.createThread());
    ASSERT_TRUE(waitUntil([&] { return CThreadManager::instance()->hasThread(running.seenId.load()); }));

    const int code = runInChild([&] {
        ChildChecks c;
        const int self = CThread::getCurrentThreadID();
        c.check(self == static_cast<int>(getpid()), "the id is the child's thread's");
        c.check(self != parentId, "the id differs from the parent's");
        {
            KernaTest::LogCapture log(4);
            PrintOptions options = {};
            options.noColor = options.noTime = true;
            setPrintOptions(options);
            logInfo("from the child\n");
            CThreadManager::instance()->dumpThreads();
            const std::vector<std::string> lines = log.lines();
            const std::string id = std::to_string(self);
            c.check(!lines.empty() && lines[0] == "[ info Unknown " + id + " Unknown:0]from the child\n",
                    "the prefix names the child's thread");
            bool mainRow = false;
            for (const std::string& l : lines) {
                mainRow |= l.find(textf("%24s   %8d  %3d  %s\n", "Main", self, 64, "Normal")) != std::string::npos;
                c.check(l.find("Parent") == std::string::npos, "a parent's thread is listed");
            }
            c.check(mainRow, "the main row names the child's thread");
        }
        // The parent's thread did not come along: its object reads as over and goes at once.
        c.check(running.isThreadOver(), "the parent's thread reads as over");
        c.check(!CThreadManager::instance()->hasThread(running.seenId.load()), "still registered");
        // The mutex this thread held at the fork is still its own: entered again, left twice.
        held.enter();
        held.leave();
        held.leave();
#if KERNA_CHILD_THREADS
        std::atomic<bool> taken{false};
        std::thread other([&] {
            held.enter();
            taken = true;
            held.leave();
        });
        other.join();
        c.check(taken.load(), "another thread of the child takes the mutex");
#endif
        return c.failed;
    });
    held.leave();
    EXPECT_EQ(code, 0);
    EXPECT_TRUE(running.destroyThread());
}

// Before, the library's threads were gone in the child: a timer armed there never fired, and the
// child then hung in its exit work. The parent's armed timers are not armed in the child: their
// callbacks belong to the parent's threads.
TEST(Fork, TimerArmedInTheChildFiresAndTheChildExits) {
#if !KERNA_CHILD_THREADS
    GTEST_SKIP() << "the child's timers run on threads started in the child";
#endif
    CSemaphore fired;
    CTimer parentTimer("parentTimer");
    ASSERT_TRUE(parentTimer.start(TFunction1<void, void*>(&post), 0, 0, &fired, 0));
    ASSERT_EQ(fired.pend(10000), 0);  // the parent's pool has a worker now
    CTimer armed("armedInParent");
    ASSERT_TRUE(armed.start(TFunction1<void, void*>(&post), 600000, 0, &fired, 0));
    const int code = runInChild([&armed] {
        ChildChecks c;
        CSemaphore inChild;
        // The parent's timers stay in the parent; the child may arm the object again.
        c.check(!armed.isStarted(), "a timer of the parent is armed in the child");
        c.check(armed.start(TFunction1<void, void*>(&post), 1, 0, &inChild, 0), "re-armed");
        c.check(inChild.pend(10000) == 0, "the re-armed timer fired");
        CTimer oneShot("childOneShot");
        c.check(oneShot.start(TFunction1<void, void*>(&post), 20, 0, &inChild, 0), "armed");
        c.check(inChild.pend(10000) == 0, "the one-shot fired");
        CTimer now("childNow");
        c.check(now.start(TFunction1<void, void*>(&post), 0, 0, &inChild, 0), "handed over");
        c.check(inChild.pend(10000) == 0, "the zero-delay timer ran");
        CTimer periodic("childPeriodic");
        periodic.start(TFunction1<void, void*>(&post), 5, 5, &inChild, 0);
        for (int i = 0; i < 3; ++i) c.check(inChild.pend(10000) == 0, "a periodic tick came");
        periodic.stopAndWait();
        return c.failed;  // the exit routines stop the manager's thread and the pool
    });
    EXPECT_EQ(code, 0);
    EXPECT_TRUE(armed.isStarted());
    armed.stop(false);
    parentTimer.stopAndWait();
}

// Other threads log, set errors, arm timers and start threads while this one forks: whatever
// lock a fork catches, the child finds it free and does the same work, and exits.
TEST(Fork, ChildrenWorkWhateverTheOtherThreadsWereDoing) {
#if !KERNA_FORK_UNDER_LOAD
    GTEST_SKIP() << "the sanitizer's allocator may be caught locked by the fork";
#endif
    std::atomic<bool> stop{false};
    KernaTest::LogCapture log(4);
    std::vector<std::thread> busy;
    for (int t = 0; t < 3; ++t) {
        busy.emplace_back([t, &stop] {
            CSemaphore ticks;
            CTimer timer("busy");
            for (int i = 0; !stop.load(); ++i) {
                logInfo("busy %d %d\n", t, i);
                setErrMsg(0x30000000 + t, "busy row");
                getErrMsg(0x30000000 + t);
                timer.start(TFunction1<void, void*>(&post), i % 2, 0, &ticks, 0);
                if (i % 16 == 0) {
                    CThreadLite lite(CThreadLite::ThreadProc(+[](CThreadLite&) {}), "busyLite");
                    lite.createThread();
                }
                std::list<CThreadManager::ThreadInfo> infos;
                CThreadManager::instance()->getThreadsInfo(infos);
            }
            timer.stopAndWait();
        });
    }
    int failedChildren = 0;
    for (int round = 0; round < 20; ++round) {
        const int code = runInChild([round] {
            ChildChecks c;
            CSemaphore ticks;
            CTimer timer("child");
            logInfo("child %d\n", round);
            setErrMsg(0x30000010, "child row");
            c.check(std::string(getErrMsg(0x30000010)) == "child row", "the error table works");
            std::list<CThreadManager::ThreadInfo> infos;
            c.check(!CThreadManager::instance()->getThreadsInfo(infos), "a parent's thread is listed");
            CThreadManager::instance()->dumpThreads();
            CTimerManager::instance()->dumpTimers();
#if KERNA_CHILD_THREADS
            c.check(timer.start(TFunction1<void, void*>(&post), 1, 0, &ticks, 0), "armed");
            c.check(ticks.pend(10000) == 0, "the timer fired");
            CThreadLite lite(CThreadLite::ThreadProc(+[](CThreadLite&) {}), "childLite");
            c.check(lite.createThread(), "a thread starts");
            c.check(waitUntil([&] { return lite.isThreadOver(); }), "the thread ends");
#endif
            return c.failed;
        }, true);
        if (code != 0) {
            ++failedChildren;
            ADD_FAILURE() << "round " << round << ": child exit code " << code;
        }
    }
    stop.store(true);
    for (std::thread& thread : busy) thread.join();
    EXPECT_EQ(failedChildren, 0);
}

// The forking thread may be a CThread: in the child its object keeps its place in the registry
// under the new id and ends normally.
TEST(Fork, AThreadObjectThatForksKeepsItsPlace) {
    std::atomic<int> code{-3};
    ProbeThread forker("Forker", [&code](ProbeThread& self) {
        code = runInChild([&self] {
            ChildChecks c;
            const int id = CThread::getCurrentThreadID();
            c.check(self.getThreadID() == id, "the object carries the new id");
            String name;
            c.check(CThreadManager::instance()->getThreadNameByID(id, name) && name == "Forker",
                    "the registry knows it by the new id");
            c.check(CThread::setCurrentTimeout(1000), "it is found as the calling thread");
            c.check(!self.isThreadOver(), "it still runs");
            return c.failed;
        }, true);
    });
    ASSERT_TRUE(forker.createThread());
    ASSERT_TRUE(waitUntil([&] { return code.load() != -3; }, 30000));
    EXPECT_EQ(code.load(), 0);
}

// Before, a fork while another thread was writing a line to the log file left the child the log
// file writer's lock, held by a thread the child does not have: the child's first line hung.
// Here the parent's line is held inside the file table's write while this thread forks; the fork
// waits for the line, and the child writes its own.
TEST(Fork, AChildForkedWhileALineGoesToTheLogFileWritesItsOwn) {
    class HeldWrites : public KernaTest::MemoryFileSystem {
    public:
        using MemoryFileSystem::MemoryFileSystem;
        std::atomic<bool> holdNext{false};
        CSemaphore entered;
        CSemaphore release;
        size_t fwrite(const void* buffer, size_t size, size_t count, void* file) override {
            if (holdNext.exchange(false)) {
                entered.post();
                release.pend(10000);
            }
            return MemoryFileSystem::fwrite(buffer, size, count, file);
        }
    };
    KernaTest::LogCapture log(4);
    HeldWrites fs("forkmem:");
    hookFileSystem("forkmem:", &fs);
    char option[] = "-logpath";
    char path[] = "forkmem:/one";
    char* argv[] = {option, path};
    setLogFilter(2, argv);

    fs.holdNext.store(true);
    std::thread writer([] { logInfo("the parent's line\n"); });
    ASSERT_EQ(fs.entered.pend(10000), 0);
    std::thread releaser([&fs] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        fs.release.post();
    });
    const int code = runInChild([&fs] {
        logInfo("the child's line\n");
        const std::string contents = fs.contents("forkmem:/one");
        const bool both = contents.find("the parent's line") != std::string::npos &&
                          contents.find("the child's line") != std::string::npos;
        return both ? 0 : 1;
    }, true, 10000);
    releaser.join();
    writer.join();
    EXPECT_EQ(code, 0);

    Detail::resetLogFileSettings();
    logCleanup();
    hookFileSystem("forkmem:", nullptr);
}

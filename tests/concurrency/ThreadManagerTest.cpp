// ThreadManagerTest.cpp - the thread registry: its table, look-ups, time-outs, the singletons,
// churn from many threads, and CThreadLoadingController's counters.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ThreadTestSupport.h"
#include "base/ExitRoutine.h"
#include "base/ProcessObject.h"
#include "threads/ThreadLoadingController.h"
#include "threads/ThreadManagerInternal.h"
#include "kerna/kerna3/ThreadManager.h"

using Tessaran::Kerna::CThread;
using Tessaran::Kerna::CThreadLite;
using Tessaran::Kerna::CThreadLoadingController;
using Tessaran::Kerna::CThreadManager;
using Tessaran::Kerna::String;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

std::string row(const char* name, int id, int priority, const char* state) {
    return textf("%24s   %8d  %3d  %s\n", name, id, priority, state);
}

// Runs dumpThreads and checks its fixed lines; returns the main row and the thread rows, without
// the threads the library itself may run in a test process.
std::vector<std::string> dump() {
    const char* const head[] = {"Threads:\n", "               Name            TID  Prior State\n",
                                "_______________________________________________________\n"};
    KernaTest::LogCapture log(4);
    CThreadManager::instance()->dumpThreads();
    const std::vector<std::string> lines = log.messages();
    std::vector<std::string> rows;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (i < 3) {
            EXPECT_EQ(head[i], lines[i]);
        } else if (i + 1 == lines.size()) {
            EXPECT_EQ("\n", lines[i]);
        } else if (lines[i].find(" TimerManager ") == std::string::npos &&
                   lines[i].find(" [Pooled] ") == std::string::npos) {
            rows.push_back(lines[i]);
        }
    }
    return rows;
}

}  // namespace

TEST(CThreadManager, DumpBeforeAndAfterRegisterMainThread) {
    CThreadManager* manager = CThreadManager::instance();
    {
        KernaTest::LogCapture log(4);
        showFunctionNames();
        manager->dumpThreads();
        EXPECT_THAT(log.lines(), Contains(EndsWith(" dumpThreads]Threads:\n")));
        EXPECT_THAT(log.lines(), Contains(EndsWith(" dumpThreads]\n")));
    }
    // Before registerMainThread the main row shows -1, always with 64 and "Normal" (the test
    // puts the registry back to that state, which another test may have left).
    {
        Tessaran::Kerna::ThreadManagerInternal* registry =
            Tessaran::Kerna::ThreadManagerInternal::instance();
        Tessaran::Kerna::CGuard guard(registry->mutex);
        registry->mainThreadID = -1;
    }
    EXPECT_THAT(dump(), ElementsAre("                    Main         -1   64  Normal\n"));
    manager->registerMainThread();
    const int mainId = CThread::getCurrentThreadID();
    EXPECT_THAT(dump(), ElementsAre(row("Main", mainId, 64, "Normal")));
    EXPECT_FALSE(manager->hasThread(mainId));  // the main thread is no CThread
}

TEST(CThreadManager, TableNamesAndTimeouts) {
    FakeClock clock(5000);
    CThreadManager* manager = CThreadManager::instance();
    ProbeThread first("Twin", ProbeThread::loopUntilStopped, 200, 3, 65536);
    ProbeThread second("Twin", ProbeThread::loopUntilStopped, 10, 0, 0);
    ProbeThread slow("Slow", ProbeThread::loopUntilStopped, 127, 1, 0);
    for (ProbeThread* thread : {&first, &second, &slow}) {  // started in this order
        ASSERT_TRUE(thread->createThread());
        ASSERT_TRUE(waitUntil([&] { return manager->hasThread(thread->seenId.load()); }));
    }
    const int firstId = first.getThreadID();
    const int secondId = second.getThreadID();
    const int slowId = slow.getThreadID();

    // Records, newest first; called twice with one list, each thread appears twice. Priority
    // keeps 7 bits and policy 1.
    std::list<CThreadManager::ThreadInfo> infos;
    ASSERT_TRUE(manager->getThreadsInfo(infos));
    ASSERT_TRUE(manager->getThreadsInfo(infos));
    std::vector<std::string> mine;
    for (const auto& i : infos) {
        if (i.id == firstId || i.id == secondId || i.id == slowId) {
            mine.push_back(textf("%s/%d/%u/%u/%d/%u", i.name, i.id, unsigned{i.priority},
                                 unsigned{i.policy}, i.stackSize, unsigned{i.timeout}));
        }
    }
    const std::string s = textf("Slow/%d/127/1/0/0", slowId);
    const std::string t2 = textf("Twin/%d/10/0/0/0", secondId);
    const std::string t1 = textf("Twin/%d/72/1/65536/0", firstId);
    EXPECT_THAT(mine, ElementsAre(s, t2, t1, s, t2, t1));

    // Same names, told apart by identifier.
    String name("untouched");
    EXPECT_TRUE(manager->getThreadNameByID(firstId, name));
    EXPECT_STREQ("Twin", name.c_str());
    second.setThreadName("Twin-B");
    EXPECT_TRUE(manager->getThreadNameByID(secondId, name));
    EXPECT_STREQ("Twin-B", name.c_str());
    name = "untouched";
    EXPECT_FALSE(manager->getThreadNameByID(-7, name));
    EXPECT_STREQ("untouched", name.c_str());
    EXPECT_FALSE(manager->hasThread(-7));

    // Deadlines: Slow's has passed, Twin's is exactly now (not yet passed).
    slow.setTimeout(10);   // 5010
    first.setTimeout(20);  // 5020
    clock.set(5020);
    String names("stale text");
    EXPECT_TRUE(manager->getTimeOutThreads(names));
    EXPECT_EQ(textf("Slow(%d)", slowId), names.c_str());

    EXPECT_THAT(dump(), ElementsAre(testing::_, row("Slow", slowId, 127, "Timeout"),
                                    row("Twin-B", secondId, 10, "Normal"),
                                    row("Twin", firstId, 72, "Normal")));

    clock.set(5021);
    EXPECT_TRUE(manager->getTimeOutThreads(names));
    EXPECT_EQ(textf("Slow(%d)Twin(%d)", slowId, firstId), names.c_str());
    EXPECT_FALSE(slow.isThreadOver());  // time-outs only report; the threads still run
    EXPECT_FALSE(first.isThreadOver());
    slow.setTimeout(0);
    first.setTimeout(0);
    EXPECT_FALSE(manager->getTimeOutThreads(names));
    EXPECT_STREQ("", names.c_str());
}

TEST(CThreadManager, RegistryUnderConcurrentChurn) {
    CThreadManager* manager = CThreadManager::instance();
    std::atomic<bool> stop{false};
    std::atomic<long> reads{0};
    KernaTest::LogCapture log(4);  // keeps the dumps off the console
    std::thread reader([&] {
        while (!stop.load()) {
            std::list<CThreadManager::ThreadInfo> infos;
            manager->getThreadsInfo(infos);
            for (const auto& info : infos) {
                String name;
                manager->getThreadNameByID(info.id, name);
                manager->hasThread(info.id);
            }
            String names;
            manager->getTimeOutThreads(names);
            manager->dumpThreads();
            log.clear();
            reads.fetch_add(1);
        }
    });
    std::atomic<int> failures{0};
    std::vector<std::thread> workers;
    for (int w = 0; w < 3; ++w) {
        workers.emplace_back([&, w] {
            for (int i = 0; i < 150; ++i) {
                ProbeThread thread(w == 0 ? "ChurnA" : "ChurnB", [i](ProbeThread& self) {
                    self.setTimeout(i % 2 == 0 ? -1 : 0);
                    CThread::setCurrentTimeout(1);
                    while (self.looping()) CThread::sleep(0);
                });
                if (!thread.createThread()) {
                    failures.fetch_add(1);
                } else if (i % 3 == 0) {
                    thread.cancelThread();
                    waitUntil([&] { return thread.isThreadOver(); });
                } else if (!thread.destroyThread()) {
                    failures.fetch_add(1);
                }
            }
        });
    }
    for (std::thread& worker : workers) worker.join();
    stop.store(true);
    reader.join();
    EXPECT_EQ(0, failures.load());
    EXPECT_GT(reads.load(), 0);
    EXPECT_FALSE(registryHasName("Churn"));
}

namespace {

void emptyLiteBody(CThreadLite&) {}

}  // namespace

TEST(CThreadManager, StressTwoThreadsTenThousandLiteObjects) {
    constexpr int kPerThread = 5000;
    std::atomic<int> started{0};
    std::atomic<int> destroyed{0};
    auto churn = [&] {
        for (int i = 0; i < kPerThread; ++i) {
            std::unique_ptr<CThreadLite> lite(
                new CThreadLite(CThreadLite::ThreadProc(&emptyLiteBody), "Stress"));
            if (lite->createThread()) started.fetch_add(1);
            // Half are stopped explicitly (or found over), half by the destructor.
            if (i % 2 == 0) lite->destroyThread();
            lite.reset();
            destroyed.fetch_add(1);
        }
    };
    KernaTest::LogCapture log(4);  // "has exited" lines of bodies that ended first stay quiet
    std::thread a(churn);
    std::thread b(churn);
    a.join();
    b.join();
    EXPECT_EQ(2 * kPerThread, started.load());
    EXPECT_EQ(2 * kPerThread, destroyed.load());
    EXPECT_FALSE(registryHasName("Stress"));
}

namespace {

// A process-wide object of the test's own: it may be built at any point of the program.
struct RefusedProbe {
    RefusedProbe() { KERNA_LOG(4, "probe built\n"); }
    void published() { ++publishedCalls; }
    void atProcessExit() {}
    int publishedCalls = 0;
};

}  // namespace

namespace Tessaran {
namespace Kerna {
namespace Detail {
template <>
struct ProcessObjectName<RefusedProbe> {
    static constexpr const char* value = "KernaTest::RefusedProbe::instance";
};
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#if GTEST_HAS_DEATH_TEST
namespace {

std::atomic<bool> g_probeFoundWhenPrinted{false};

bool lookForTheProbe(const char* line) {
    if (std::string(line).find("probe built") != std::string::npos) {
        g_probeFoundWhenPrinted.store(
            Tessaran::Kerna::Detail::ProcessObject<RefusedProbe>::peek() != nullptr);
    }
    return true;
}

// Builds the probe with exit routines refused; returns the number of failed checks and names
// them, with the lines printed, on the standard error stream.
int buildTheProbe() {
    using Tessaran::Kerna::Detail::ProcessObject;
    const Tessaran::Kerna::TFunction1<bool, const char*> listener(&lookForTheProbe);
    std::vector<std::string> lines;
    int failed = 0;
    {
        KernaTest::LogCapture log(4);
        showFunctionNames();
        Tessaran::Kerna::attachPrint(listener);
        Tessaran::Kerna::Detail::refuseExitRoutines(true);
        RefusedProbe* probe = ProcessObject<RefusedProbe>::get();
        Tessaran::Kerna::Detail::refuseExitRoutines(false);
        Tessaran::Kerna::detachPrint(listener);
        if (probe != ProcessObject<RefusedProbe>::get()) failed += fputs("built twice\n", stderr) >= 0;
        if (probe->publishedCalls != 1) failed += fputs("published() not once\n", stderr) >= 0;
        lines = log.lines();
    }
    // A listener that looks for the object when the constructor's line reaches it finds it.
    if (!g_probeFoundWhenPrinted.load()) failed += fputs("not found when printed\n", stderr) >= 0;
    // The constructor's line, then the refusal.
    if (lines.size() != 2 || lines[0].find("]probe built\n") == std::string::npos ||
        lines[1].find(" instance]atexit failed!\n") == std::string::npos) {
        failed += fputs("lines differ\n", stderr) >= 0;
    }
    for (const std::string& line : lines) fputs(line.c_str(), stderr);
    return failed;
}

}  // namespace

// An object is built once in a process, so the building runs in a child of its own (the parent
// never builds the probe); the child's exit code counts the failed checks.
TEST(ProcessObject, BuiltOncePublishedBeforeItsLinesAndLogsARefusedExitRoutine) {
    EXPECT_EXIT(std::_Exit(buildTheProbe()), testing::ExitedWithCode(0), "");
    EXPECT_EQ(nullptr, Tessaran::Kerna::Detail::ProcessObject<RefusedProbe>::peek());
}
#endif

TEST(CThreadLoadingController, CountersFollowTheShares) {
    CThreadLoadingController* controller = CThreadLoadingController::instance();
    KernaTest::LogCapture log(4);
    EXPECT_FALSE(controller->addEntry(9, 1, 0));
    EXPECT_FALSE(controller->addEntry(9, -1, 1));
    EXPECT_EQ(2u, log.messages().size());
    EXPECT_TRUE(controller->isThreadOver());

    // An entry under a used key replaces the record; the last removal stops the thread.
    CThreadLoadingController::Entry entry{};
    ASSERT_TRUE(controller->addEntry(8, 1, 1));
    EXPECT_FALSE(controller->isThreadOver());
    ASSERT_TRUE(controller->addEntry(8, 4, 2));
    ASSERT_TRUE(controller->getEntry(8, entry));
    EXPECT_EQ(4, entry.runShare);
    EXPECT_EQ(2, entry.stopShare);
    EXPECT_TRUE(controller->removeEntry(8));
    EXPECT_FALSE(controller->removeEntry(8));
    EXPECT_FALSE(controller->getEntry(8, entry));
    EXPECT_TRUE(controller->isThreadOver());

    // The running thread ticks on its own; then hold it still and step by hand through the
    // cycle of shares (3, 1): (0,1) (1,1) (2,1) and back to (0,0), a tie going to stopTicks.
    ASSERT_TRUE(controller->addEntry(7, 3, 1));
    ASSERT_TRUE(waitUntil([&] {
        return controller->getEntry(7, entry) && (entry.runTicks != 0 || entry.stopTicks != 0);
    }));
    EXPECT_TRUE(controller->destroyThread());
    std::string walk;
    for (int step = 0; step <= 8; ++step) {
        if (step != 0) controller->tick();
        ASSERT_TRUE(controller->getEntry(7, entry));
        walk += textf("(%d,%d)", entry.runTicks, entry.stopTicks);
    }
    // Nine readings, from wherever the thread left the entry, follow the cycle.
    const std::string cycle = "(0,1)(1,1)(2,1)(0,0)";
    EXPECT_THAT(cycle + cycle + cycle, HasSubstr(walk));
    EXPECT_TRUE(controller->removeEntry(7));
    EXPECT_TRUE(controller->isThreadOver());
}

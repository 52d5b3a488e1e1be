// ThreadManagerTest.cpp - the thread registry: its table, look-ups, time-outs, the singletons,
// churn from many threads, and CThreadLoadingController's counters.

#include "kerna/kerna3/ThreadManager.h"

#include "kerna/kerna3/Thread.h"
#include "kerna/kerna3/Time.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ThreadTestSupport.h"
#include "concurrency/ExitRoutine.h"
#include "concurrency/ThreadLoadingController.h"
#include "concurrency/ThreadManagerInternal.h"
#include "support/LogCapture.h"
#include "time/MonotonicClock.h"

using Tessaran::Kerna::CThread;
using Tessaran::Kerna::CThreadLite;
using Tessaran::Kerna::CThreadLoadingController;
using Tessaran::Kerna::CThreadManager;
using Tessaran::Kerna::CTime;
using Tessaran::Kerna::String;
using Tessaran::Kerna::ThreadManagerInternal;

namespace {

const char* const kHeader[] = {
    "Threads:\n",
    "               Name            TID  Prior State\n",
    "_______________________________________________________\n",
};

// Threads the library itself may run in a test process.
bool isLibraryThread(const std::string& row) {
    return row.find(" TimerManager ") != std::string::npos ||
           row.find(" [Pooled] ") != std::string::npos;
}

std::string row(const char* name, int id, int priority, const char* state) {
    char text[128];
    std::snprintf(text, sizeof(text), "%24s   %8u  %3u  %s\n", name, static_cast<unsigned>(id),
                  static_cast<unsigned>(priority), state);
    return text;
}

// Splits a dumpThreads capture into its thread rows (without the library's own threads),
// checking the fixed lines around them.
std::vector<std::string> threadRows(const std::vector<std::string>& lines, const char* mainRow) {
    std::vector<std::string> rows;
    EXPECT_GE(lines.size(), 5u);
    if (lines.size() < 5) {
        return rows;
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(kHeader[i], lines[i]);
    }
    EXPECT_EQ(mainRow, lines[3]);
    EXPECT_EQ("\n", lines.back());
    for (size_t i = 4; i + 1 < lines.size(); ++i) {
        if (!isLibraryThread(lines[i])) {
            rows.push_back(lines[i]);
        }
    }
    return rows;
}

}  // namespace

TEST(CThreadManager, DumpBeforeAndAfterRegisterMainThread) {
    CThreadManager* manager = CThreadManager::instance();
    ASSERT_NE(nullptr, manager);
    KernaTest::LogCapture log(4);
    showFunctionNames();
    manager->dumpThreads();
    EXPECT_TRUE(hasLineEndingWith(log, " dumpThreads]Threads:\n"));
    EXPECT_TRUE(hasLineEndingWith(log, " dumpThreads]\n"));
    // Before registerMainThread the main row shows -1, always with 64 and "Normal" (this needs
    // a process in which no test has registered a main thread yet, as CTest gives each test).
    EXPECT_TRUE(
        threadRows(log.messages(), "                    Main         -1   64  Normal\n").empty());

    manager->registerMainThread();
    int mainId = CThread::getCurrentThreadID();
    log.clear();
    manager->dumpThreads();
    char mainRow[128];
    std::snprintf(mainRow, sizeof(mainRow), "%24s   %8d  %3d  %s\n", "Main", mainId, 64, "Normal");
    EXPECT_TRUE(threadRows(log.messages(), mainRow).empty());
    // The main thread is no CThread.
    EXPECT_FALSE(manager->hasThread(mainId));
}

TEST(CThreadManager, TableNamesAndTimeouts) {
    FakeClock clock(5000);
    CThreadManager* manager = CThreadManager::instance();
    std::list<CThreadManager::ThreadInfo> before;
    manager->getThreadsInfo(before);

    ProbeThread first("Twin", ProbeThread::loopUntilStopped, 200, 3, 65536);
    ProbeThread second("Twin", ProbeThread::loopUntilStopped, 10, 0, 0);
    ProbeThread slow("Slow", ProbeThread::loopUntilStopped, 127, 1, 0);
    ASSERT_TRUE(first.createThread());
    ASSERT_TRUE(waitUntil([&] { return manager->hasThread(first.seenId.load()); }));
    ASSERT_TRUE(second.createThread());
    ASSERT_TRUE(waitUntil([&] { return manager->hasThread(second.seenId.load()); }));
    ASSERT_TRUE(slow.createThread());
    ASSERT_TRUE(waitUntil([&] { return manager->hasThread(slow.seenId.load()); }));
    int firstId = first.getThreadID();
    int secondId = second.getThreadID();
    int slowId = slow.getThreadID();

    // Records, newest first; called twice with one list, each thread appears twice.
    std::list<CThreadManager::ThreadInfo> infos;
    ASSERT_TRUE(manager->getThreadsInfo(infos));
    ASSERT_TRUE(manager->getThreadsInfo(infos));
    std::vector<CThreadManager::ThreadInfo> mine;
    for (const auto& info : infos) {
        if (info.id == firstId || info.id == secondId || info.id == slowId) {
            mine.push_back(info);
        }
    }
    ASSERT_EQ(6u, mine.size());
    for (int pass = 0; pass < 2; ++pass) {
        const auto& s = mine[pass * 3];
        const auto& t2 = mine[pass * 3 + 1];
        const auto& t1 = mine[pass * 3 + 2];
        EXPECT_STREQ("Slow", s.name);
        EXPECT_EQ(slowId, s.id);
        EXPECT_EQ(127u, s.priority);
        EXPECT_EQ(1u, s.policy);
        EXPECT_EQ(secondId, t2.id);
        EXPECT_EQ(10u, t2.priority);
        EXPECT_EQ(0, t2.stackSize);
        EXPECT_EQ(firstId, t1.id);
        EXPECT_STREQ("Twin", t1.name);
        EXPECT_EQ(200u & 127u, t1.priority);
        EXPECT_EQ(1u, t1.policy);
        EXPECT_EQ(65536, t1.stackSize);
        EXPECT_EQ(0u, t1.timeout);
    }

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
    char expected[64];
    std::snprintf(expected, sizeof(expected), "Slow(%d)", slowId);
    EXPECT_STREQ(expected, names.c_str());

    KernaTest::LogCapture log(4);
    manager->dumpThreads();
    std::vector<std::string> rows =
        threadRows(log.messages(), log.messages().size() > 3 ? log.messages()[3].c_str() : "");
    EXPECT_EQ((std::vector<std::string>{row("Slow", slowId, 127, "Timeout"),
                                        row("Twin-B", secondId, 10, "Normal"),
                                        row("Twin", firstId, 72, "Normal")}),
              rows);

    clock.set(5021);
    EXPECT_TRUE(manager->getTimeOutThreads(names));
    std::snprintf(expected, sizeof(expected), "Slow(%d)Twin(%d)", slowId, firstId);
    EXPECT_STREQ(expected, names.c_str());
    // Time-outs only report; the threads still run.
    EXPECT_FALSE(slow.isThreadOver());
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
    constexpr int kWorkers = 3;
    constexpr int kRounds = 150;
    std::vector<std::thread> workers;
    std::atomic<int> failures{0};
    for (int w = 0; w < kWorkers; ++w) {
        workers.emplace_back([&, w] {
            for (int i = 0; i < kRounds; ++i) {
                ProbeThread thread(w == 0 ? "ChurnA" : "ChurnB", [i](ProbeThread& self) {
                    self.setTimeout(i % 2 == 0 ? -1 : 0);
                    CThread::setCurrentTimeout(1);
                    while (self.looping()) {
                        CThread::sleep(0);
                    }
                });
                if (!thread.createThread()) {
                    failures.fetch_add(1);
                    continue;
                }
                if (i % 3 == 0) {
                    thread.cancelThread();
                    waitUntil([&] { return thread.isThreadOver(); });
                } else if (!thread.destroyThread()) {
                    failures.fetch_add(1);
                }
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    stop.store(true);
    reader.join();
    EXPECT_EQ(0, failures.load());
    EXPECT_GT(reads.load(), 0);
    std::list<CThreadManager::ThreadInfo> infos;
    manager->getThreadsInfo(infos);
    for (const auto& info : infos) {
        EXPECT_NE(0, std::string(info.name).compare(0, 5, "Churn")) << info.name;
    }
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
            if (lite->createThread()) {
                started.fetch_add(1);
            }
            if (i % 2 == 0) {
                // Half are stopped explicitly (or found over), half by the destructor.
                lite->destroyThread();
            }
            lite.reset();
            destroyed.fetch_add(1);
        }
    };
    KernaTest::LogCapture log(
        4);  // "has exited" lines of bodies that ended first stay off the console
    std::thread a(churn);
    std::thread b(churn);
    a.join();
    b.join();
    EXPECT_EQ(2 * kPerThread, started.load());
    EXPECT_EQ(2 * kPerThread, destroyed.load());
    std::list<CThreadManager::ThreadInfo> infos;
    CThreadManager::instance()->getThreadsInfo(infos);
    for (const auto& info : infos) {
        EXPECT_STRNE("Stress", info.name);
    }
}

TEST(CThreadManager, SingletonsLogWhenExitRegistrationIsRefused) {
    KernaTest::LogCapture log(4);
    CThreadManager* first = CThreadManager::instance();
    EXPECT_EQ(first, CThreadManager::instance());
    EXPECT_TRUE(log.messages().empty());

    showFunctionNames();
    Tessaran::Kerna::Detail::refuseExitRoutines(true);
    ThreadManagerInternal::resetFacade();
    CThreadManager* again = CThreadManager::instance();
    CThreadLoadingController::resetInstance();
    CThreadLoadingController* controller = CThreadLoadingController::instance();
    Tessaran::Kerna::Detail::refuseExitRoutines(false);

    ASSERT_NE(nullptr, again);
    ASSERT_NE(nullptr, controller);
    EXPECT_EQ(again, CThreadManager::instance());
    EXPECT_EQ((std::vector<std::string>{"atexit failed!\n", "atexit failed!\n"}), log.messages());
    EXPECT_TRUE(hasLineEndingWith(log, " instance]atexit failed!\n"));
    EXPECT_STREQ("ThreadLoadingControl", controller->getThreadName());
    EXPECT_TRUE(controller->isThreadOver());  // runs only while it holds entries
}

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
    const std::pair<int, int> cycle[] = {{0, 1}, {1, 1}, {2, 1}, {0, 0}};
    ASSERT_TRUE(controller->getEntry(7, entry));
    int at = -1;
    for (int i = 0; i < 4; ++i) {
        if (cycle[i] == std::make_pair(entry.runTicks, entry.stopTicks)) {
            at = i;
        }
    }
    ASSERT_NE(-1, at) << entry.runTicks << "," << entry.stopTicks;
    for (int step = 1; step <= 8; ++step) {
        controller->tick();
        ASSERT_TRUE(controller->getEntry(7, entry));
        const auto& want = cycle[(at + step) % 4];
        EXPECT_EQ(want.first, entry.runTicks) << "step " << step;
        EXPECT_EQ(want.second, entry.stopTicks) << "step " << step;
    }
    EXPECT_TRUE(controller->removeEntry(7));
    EXPECT_TRUE(controller->isThreadOver());
}

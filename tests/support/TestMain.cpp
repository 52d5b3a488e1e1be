// TestMain.cpp
//
// The main of every test program: the simulated wall clock is installed and setting the real
// clock is forbidden before the first test, so that no test can change the machine's clock. The
// library's permanent "TimerManager" thread starts at load and prints its start line (at level 5)
// when it begins: the first test waits until it has, so that the line cannot fall into a test.
// The client list's idle check ("ClientCheck", every 60 ms on a pooled worker) is the library's
// only timer of its own; programs other than the component tests stop it before the first test,
// so that the timers, workers and lines a test sees are its own.
#include <gtest/gtest.h>

#include <list>

#include "component/FactoryUnknown.h"
#include "kerna/kerna3/PrintLog.h"
#include "kerna/kerna3/Thread.h"
#include "kerna/kerna3/ThreadManager.h"
#include "kerna/kerna3/testing/SimulatedClock.h"

namespace {

bool timerManagerRunning() {
    std::list<Tessaran::Kerna::CThreadManager::ThreadInfo> threads;
    Tessaran::Kerna::CThreadManager::instance()->getThreadsInfo(threads);
    for (const auto& t : threads) {
        if (std::string(t.name) == "TimerManager") return true;
    }
    return false;
}

}  // namespace

// The CTest check "test_programs_use_test_main" runs this test alone in every test program: it
// proves that the program was made with this main and that setting the real clock is forbidden
// in it. Every test must also leave the simulated clock installed behind it.
TEST(KernaTestMain, ClockIsSimulatedAndRealSettingForbidden) {
    EXPECT_TRUE(Tessaran::Kerna::Testing::realClockSetForbidden());
    EXPECT_TRUE(Tessaran::Kerna::Testing::simulatedClockInstalled());
}

int main(int argc, char** argv) {
    // 2026-03-14 12:00:00 UTC, zone UTC+8 (the platform reports the bias as seconds west).
    Tessaran::Kerna::Testing::installSimulatedClock(1773489600000LL, -28800);
    Tessaran::Kerna::Testing::forbidRealClockSet();
    for (int i = 0; i < 5000 && !timerManagerRunning(); ++i) Tessaran::Kerna::CThread::sleep(1);
    Tessaran::Kerna::CThread::sleep(10);  // its start line follows its registration at once
#ifndef KERNA_TEST_KEEP_CLIENT_CHECK
    Tessaran::Kerna::setPrintLogLevel(3);  // its line must not reach the test list on stdout
    Kerna_uninitComponentFactory();
    Tessaran::Kerna::setPrintLogLevel(4);
#endif
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

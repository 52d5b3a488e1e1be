// TestMain.cpp
//
// The main of every test program: the simulated wall clock is installed and setting the real
// clock is forbidden before the first test, so that no test can change the machine's clock.
#include <gtest/gtest.h>

#include "kerna/kerna3/testing/SimulatedClock.h"

int main(int argc, char** argv) {
    // 2026-03-14 12:00:00 UTC, zone UTC+8 (the platform reports the bias as seconds west).
    Tessaran::Kerna::Testing::installSimulatedClock(1773489600000LL, -28800);
    Tessaran::Kerna::Testing::forbidRealClockSet();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

// MonotonicClockTest.cpp - CTime's monotonic clock: first use, units, and the per-thread rule
// that a reading never falls within a thread.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "ThreadTestSupport.h"
#include "kerna/kerna3/Time.h"
#include "kerna/kerna3/testing/SimulatedClock.h"

using Tessaran::Kerna::CTime;
using testing::ElementsAre;
using testing::EndsWith;

TEST(CTimeMonotonic, FirstUseLogsFrequencyAndBaseAndStartsAtZero) {
    // The capture is set up before the seam and ends before it: once the seam goes, the next
    // reading (perhaps on the library's timer thread) logs again, and must not meet the capture
    // putting the print options back.
    auto log = std::make_unique<KernaTest::LogCapture>(4);
    showFunctionNames();
    CounterSeam seam(5000000, 1000000);  // a microsecond counter at 5 s
    EXPECT_EQ(0u, CTime::getCurrentMilliSecond());
    CounterSeam::value.store(5001999);
    EXPECT_EQ(1u, CTime::getCurrentMilliSecond());  // truncated, not rounded
    EXPECT_EQ(1999u, CTime::getCurrentMicroSecond());
    CounterSeam::value.store(5000000 + 3600000000ULL);
    EXPECT_EQ(3600000u, CTime::getCurrentMilliSecond());
    EXPECT_EQ(3600000000u, CTime::getCurrentMicroSecond());
    // Logged once, at the first use.
    EXPECT_THAT(log->lines(), ElementsAre(EndsWith(" initPerformanceQueryCount]init freq: 1000000, "
                                                   "base time: 5000000\n")));
    EXPECT_THAT(log->messages(), ElementsAre("init freq: 1000000, base time: 5000000\n"));
    log.reset();
}

TEST(CTimeMonotonic, HighWaterMarkIsPerThread) {
    CounterSeam seam(1000, 1000);  // a millisecond counter
    EXPECT_EQ(0u, CTime::getCurrentMilliSecond());
    CounterSeam::value.store(1500);
    EXPECT_EQ(500u, CTime::getCurrentMilliSecond());
    // The counter steps back: this thread keeps its mark ...
    CounterSeam::value.store(1200);
    EXPECT_EQ(500u, CTime::getCurrentMilliSecond());
    EXPECT_EQ(500000u, CTime::getCurrentMicroSecond());
    // ... while a thread that never read sees the counter as it is, and one below the base 0.
    unsigned long long other = 0;
    std::thread([&] { other = CTime::getCurrentMilliSecond(); }).join();
    EXPECT_EQ(200u, other);
    CounterSeam::value.store(900);
    std::thread([&] { other = CTime::getCurrentMilliSecond(); }).join();
    EXPECT_EQ(0u, other);
    CounterSeam::value.store(1501);
    EXPECT_EQ(501u, CTime::getCurrentMilliSecond());
}

TEST(CTimeMonotonic, NeverFallsWithinAThreadWhileTheCounterJitters) {
    // A microsecond counter that a driver moves forward, and back by up to 3 ms on every other
    // step, while eight threads read: within each thread no reading falls, and a microsecond
    // reading taken after a millisecond reading is at least as far (both units come from one
    // per-thread high-water mark of the counter).
    CounterSeam seam(1000000, 1000000);
    CTime::getCurrentMilliSecond();
    std::atomic<bool> stop{false};
    std::thread driver([&] {
        unsigned long long top = 1000000;
        for (unsigned i = 0; !stop.load(); ++i) {
            top += 700;
            CounterSeam::value.store(i % 2 == 0 ? top : top - 3000);
            std::this_thread::yield();
        }
    });
    std::atomic<int> falls{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&] {
            unsigned long long previousMs = CTime::getCurrentMilliSecond();
            unsigned long long previousUs = CTime::getCurrentMicroSecond();
            int myFalls = 0;
            for (int i = 0; i < 20000; ++i) {
                const unsigned long long ms = CTime::getCurrentMilliSecond();
                const unsigned long long us = CTime::getCurrentMicroSecond();
                myFalls += (ms < previousMs) + (us < previousUs) + (us / 1000 < ms);
                previousMs = ms;
                previousUs = us;
            }
            falls += myFalls;
        });
    }
    for (std::thread& thread : threads) thread.join();
    stop.store(true);
    driver.join();
    EXPECT_EQ(0, falls.load());
}

TEST(CTimeMonotonic, SettingTheWallClockDoesNotMoveIt) {
    const unsigned long long ms = CTime::getCurrentMilliSecond();
    const unsigned long long us = CTime::getCurrentMicroSecond();
    Tessaran::Kerna::Testing::jumpSimulatedClock(3600000);
    const unsigned long long msAfterJump = CTime::getCurrentMilliSecond();
    Tessaran::Kerna::Testing::jumpSimulatedClock(-7200000);
    const unsigned long long usAfterJump = CTime::getCurrentMicroSecond();
    // An hour either way on the wall clock; the monotonic readings move only by the time the
    // calls took (allowed generously: a minute).
    EXPECT_GE(msAfterJump, ms);
    EXPECT_LT(msAfterJump - ms, 60000u);
    EXPECT_GE(usAfterJump, us);
    EXPECT_LT(usAfterJump - us, 60000000u);
}

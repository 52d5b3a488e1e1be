// MonotonicClockTest.cpp - CTime's monotonic clock: first use, units, and the per-thread rule
// that a reading never falls within a thread.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <random>
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

// The integer units of the nanosecond counter against the double-precision reference: at the
// edges of whole units, where rounding would first reach the next unit, near 2^53 counts where
// the integer path stops, and at random.
TEST(CTimeMonotonic, IntegerUnitsMatchTheDoubleReference) {
    using Tessaran::Kerna::Detail::countsToUnits;
    using Tessaran::Kerna::Detail::countsToUnitsReference;
    const unsigned long long ns = 1000000000ULL;
    const unsigned long long top = 1ULL << 53;
    std::vector<unsigned long long> counts = {0, 1, 999, 1000, 999999, 1000000, 1000001,
                                              top - 1, top, top + 1, ~0ULL};
    for (unsigned long long perUnit : {1000ULL, 1000000ULL}) {
        for (unsigned long long k = top / perUnit - 3; k <= top / perUnit + 3; ++k) {
            counts.push_back(k * perUnit - 1);
            counts.push_back(k * perUnit);
        }
    }
    std::mt19937_64 random(13);
    for (int i = 0; i < 200000; ++i) counts.push_back(random() >> (random() % 40));
    for (unsigned long long c : counts) {
        ASSERT_EQ(countsToUnitsReference(c, ns, 1000), countsToUnits(c, ns, 1000)) << c;
        ASSERT_EQ(countsToUnitsReference(c, ns, 1000000), countsToUnits(c, ns, 1000000)) << c;
    }
    // Just above 2^53 the double rounds up to the next unit where the integer quotient does not:
    // the reference's result stands there.
    EXPECT_EQ(9007199255ULL, countsToUnits(9007199254999999ULL, ns, 1000));
    EXPECT_EQ(9007199254741ULL, countsToUnits(9007199254740999ULL, ns, 1000000));
}

// The whole clock on a nanosecond counter gives the same readings with the reference path
// forced and without.
TEST(CTimeMonotonic, ReferencePathGivesTheSameReadings) {
    CounterSeam seam(1000, 1000000000);
    EXPECT_EQ(0u, CTime::getCurrentMilliSecond());
    for (unsigned long long elapsed : {999999ULL, 1000000ULL, 123456789012ULL, (1ULL << 53) - 1,
                                       1ULL << 53, (1ULL << 60) + 999999}) {
        CounterSeam::value.store(1000 + elapsed);
        const unsigned long long ms = CTime::getCurrentMilliSecond();
        const unsigned long long us = CTime::getCurrentMicroSecond();
        Tessaran::Kerna::Detail::setReferencePathsOnly(true);
        EXPECT_EQ(ms, CTime::getCurrentMilliSecond()) << elapsed;
        EXPECT_EQ(us, CTime::getCurrentMicroSecond()) << elapsed;
        Tessaran::Kerna::Detail::setReferencePathsOnly(false);
        EXPECT_EQ(static_cast<unsigned long long>(elapsed / 1e6), ms) << elapsed;
    }
}

// MonotonicClock.cpp - CTime::getCurrentMilliSecond and getCurrentMicroSecond.
//
// The clock counts from the first read in the process. Its frequency and base count are set
// once, by compare-and-exchange from 0; each thread keeps its own high-water count, so a reading
// never falls within a thread even where the counter differs a little between processors.
// Readers take no lock.

#include "kerna/kerna3/Time.h"

#include <atomic>

#include "base/Log.h"
#include "platform/Clock.h"
#include "time/MonotonicClock.h"

namespace Tessaran {
namespace Kerna {

namespace {

std::atomic<unsigned long long> g_frequency{0};
std::atomic<unsigned long long> g_baseCounter{0};
std::atomic<Detail::MonotonicCounterSource> g_source{nullptr};
std::atomic<unsigned long long> g_sourceFrequency{0};
// Per thread: the high-water count, and what the thread was last given in milliseconds and
// microseconds, so that a reading never falls within a thread, also across a change of the
// counter under the clock (a test's seam), which moves the base. The timer manager's thread
// relies on it. The record sits in the static thread storage of the process (initial-exec), so
// that a read reaches it with one instruction rather than a call per look-up, as a shared
// library's thread storage otherwise needs.
struct ThreadMarks {
    unsigned long long lastCounter;
    unsigned long long lastMs;
    unsigned long long lastUs;
};
thread_local ThreadMarks t_marks __attribute__((tls_model("initial-exec"))) = {0, 0, 0};

inline unsigned long long readCounter() {
    Detail::MonotonicCounterSource source = g_source.load(std::memory_order_acquire);
    return source != nullptr ? source() : Detail::Platform::monotonicTicks();
}

// First use: fixes the base, then the frequency (readers test the frequency, so the base must
// be in place before it is seen), and logs them once.
__attribute__((noinline)) unsigned long long startClock() {
    unsigned long long frequency = g_source.load(std::memory_order_acquire) != nullptr
                                       ? g_sourceFrequency.load(std::memory_order_relaxed)
                                       : Detail::Platform::monotonicFrequency;
    unsigned long long expected = 0;
    g_baseCounter.compare_exchange_strong(expected, readCounter(), std::memory_order_acq_rel);
    t_marks.lastCounter = 0;
    expected = 0;
    if (g_frequency.compare_exchange_strong(expected, frequency, std::memory_order_acq_rel)) {
        if (Detail::printWouldPass(4)) {
            // Named as the routine that every read goes through.
            Detail::logAt(
                4, __FILE__, "`anonymous-namespace'::initPerformanceQueryCount", __LINE__,
                "init freq: %lu, base time: %lu\n", static_cast<unsigned long>(frequency),
                static_cast<unsigned long>(g_baseCounter.load(std::memory_order_acquire)));
        }
        return frequency;
    }
    return expected;
}

// Counts elapsed since the base for the calling thread, with the clock's frequency.
inline unsigned long long initPerformanceQueryCount(ThreadMarks& marks, unsigned long long& frequency) {
    frequency = g_frequency.load(std::memory_order_acquire);
    if (frequency == 0) {
        frequency = startClock();
    }
    unsigned long long counter = readCounter();
    unsigned long long last = marks.lastCounter;
    if (counter > last) {
        marks.lastCounter = counter;
        last = counter;
    }
    unsigned long long base = g_baseCounter.load(std::memory_order_relaxed);
    return last > base ? last - base : 0;
}

}  // namespace

unsigned long long CTime::getCurrentMilliSecond() {
    unsigned long long frequency;
    ThreadMarks& marks = t_marks;
    const unsigned long long elapsed = initPerformanceQueryCount(marks, frequency);
    unsigned long long ms = Detail::countsToUnits(elapsed, frequency, 1000);
    if (ms < marks.lastMs) ms = marks.lastMs;
    marks.lastMs = ms;
    return ms;
}

unsigned long long CTime::getCurrentMicroSecond() {
    unsigned long long frequency;
    ThreadMarks& marks = t_marks;
    const unsigned long long elapsed = initPerformanceQueryCount(marks, frequency);
    unsigned long long us = Detail::countsToUnits(elapsed, frequency, 1000000);
    if (us < marks.lastUs) us = marks.lastUs;
    marks.lastUs = us;
    return us;
}

namespace Detail {

void setMonotonicCounterSource(MonotonicCounterSource source, unsigned long long frequency) {
    g_sourceFrequency.store(frequency, std::memory_order_relaxed);
    g_source.store(source, std::memory_order_release);
    g_frequency.store(0, std::memory_order_release);
    g_baseCounter.store(0, std::memory_order_release);
    // The calling (test) thread starts afresh; every other thread keeps what it was given.
    t_marks.lastMs = 0;
    t_marks.lastUs = 0;
}

}  // namespace Detail

}  // namespace Kerna
}  // namespace Tessaran

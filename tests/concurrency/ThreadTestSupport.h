// ThreadTestSupport.h - small helpers of the thread tests: bounded waits, a thread object that
// runs a test-supplied body, and a counter the clock can be driven by.

#ifndef KERNA_TESTS_CONCURRENCY_THREADTESTSUPPORT_H_
#define KERNA_TESTS_CONCURRENCY_THREADTESTSUPPORT_H_

#include "kerna/kerna3/Thread.h"
#include "kerna/kerna3/Time.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "support/LogCapture.h"
#include "time/MonotonicClock.h"

/// Polls pred every millisecond for at most limitMs; returns its last value.
template <class Pred>
bool waitUntil(Pred pred, int limitMs = 10000) {
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
    while (!pred()) {
        if (std::chrono::steady_clock::now() > end) {
            return pred();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// How many captured messages equal text.
inline int countMessages(KernaTest::LogCapture& log, const std::string& text) {
    int n = 0;
    for (const std::string& message : log.messages()) {
        n += message == text ? 1 : 0;
    }
    return n;
}

/// True if some captured line (with its prefix) ends with suffix.
inline bool hasLineEndingWith(KernaTest::LogCapture& log, const std::string& suffix) {
    for (const std::string& line : log.lines()) {
        if (line.size() >= suffix.size() &&
            line.compare(line.size() - suffix.size(), suffix.size(), suffix) == 0) {
            return true;
        }
    }
    return false;
}

/// Print options that put the function name right before the closing bracket of the prefix.
inline void showFunctionNames() {
    Tessaran::Kerna::PrintOptions options = {};
    options.noColor = true;
    options.noLine = true;
    options.showFunction = true;
    Tessaran::Kerna::setPrintOptions(options);
}

/// A CThread whose body is a test-supplied function; records what the body saw.
class ProbeThread : public Tessaran::Kerna::CThread {
public:
    using Body = std::function<void(ProbeThread&)>;

    ProbeThread(const char* name, Body body, int priority = 64, int policy = 0, int stackSize = 0)
        : CThread(name, priority, policy, stackSize), m_body(std::move(body)) {}

    ~ProbeThread() override {
        if (!isThreadOver()) {
            destroyThread();
        }
    }

    /// Body that runs until asked to stop.
    static void loopUntilStopped(ProbeThread& self) {
        while (self.looping()) {
            Tessaran::Kerna::CThread::sleep(1);
        }
    }

    std::atomic<int> runs{0};
    std::atomic<int> seenId{-1};
    std::atomic<bool> entered{false};

protected:
    void threadProc() override {
        seenId.store(getCurrentThreadID());
        runs.fetch_add(1);
        entered.store(true);
        m_body(*this);
    }

private:
    Body m_body;
};

/// A counter for the monotonic clock's seam, set by the test.
struct FakeCounter {
    static inline std::atomic<unsigned long long> value{0};
    static unsigned long long read() { return value.load(); }
};

/// Puts a millisecond counter under the monotonic clock for the life of the object; the clock
/// starts again at 0 and is then moved to startMs.
class FakeClock {
public:
    explicit FakeClock(unsigned long long startMs) {
        FakeCounter::value.store(1000);
        Tessaran::Kerna::Detail::setMonotonicCounterSource(&FakeCounter::read, 1000);
        Tessaran::Kerna::CTime::getCurrentMilliSecond();  // first use: count 1000 is 0 ms
        FakeCounter::value.store(1000 + startMs);
    }
    ~FakeClock() { Tessaran::Kerna::Detail::setMonotonicCounterSource(nullptr, 0); }
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;
    void set(unsigned long long ms) { FakeCounter::value.store(1000 + ms); }
};

#endif  // KERNA_TESTS_CONCURRENCY_THREADTESTSUPPORT_H_

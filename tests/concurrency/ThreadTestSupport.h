// ThreadTestSupport.h - small helpers of the thread tests: bounded waits, expected text built
// with printf, a thread object that runs a test-supplied body, and counters the monotonic clock
// can be driven by.

#ifndef KERNA_TESTS_CONCURRENCY_THREADTESTSUPPORT_H_
#define KERNA_TESTS_CONCURRENCY_THREADTESTSUPPORT_H_

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <list>
#include <string>
#include <thread>

#include "kerna/kerna3/Thread.h"
#include "kerna/kerna3/ThreadManager.h"
#include "kerna/kerna3/Time.h"
#include "support/LogCapture.h"
#include "threads/TimerInternal.h"
#include "time/MonotonicClock.h"

/// Polls pred every millisecond for at most limitMs; returns its last value.
template <class Pred>
bool waitUntil(Pred pred, int limitMs = 10000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
    while (!pred()) {
        if (std::chrono::steady_clock::now() > end) return pred();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// The text printf would make of pattern and its arguments.
__attribute__((format(printf, 1, 2))) inline std::string textf(const char* pattern, ...) {
    char text[256];
    va_list args;
    va_start(args, pattern);
    std::vsnprintf(text, sizeof(text), pattern, args);
    va_end(args);
    return text;
}

/// True if some registered thread's name starts with prefix.
inline bool registryHasName(const std::string& prefix) {
    std::list<Tessaran::Kerna::CThreadManager::ThreadInfo> infos;
    Tessaran::Kerna::CThreadManager::instance()->getThreadsInfo(infos);
    for (const auto& info : infos) {
        if (std::string(info.name).compare(0, prefix.size(), prefix) == 0) return true;
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
    // Stops the thread while the body it runs still exists.
    ~ProbeThread() override {
        if (!isThreadOver()) destroyThread();
    }

    /// Body that runs until asked to stop.
    static void loopUntilStopped(ProbeThread& self) {
        while (self.looping()) Tessaran::Kerna::CThread::sleep(1);
    }

    std::atomic<int> runs{0};
    std::atomic<int> seenId{-1};

protected:
    void threadProc() override {
        seenId.store(getCurrentThreadID());
        runs.fetch_add(1);
        m_body(*this);
    }

private:
    Body m_body;
};

/// Puts a counter the test sets (`value`) under the monotonic clock for the life of the object;
/// the clock's next reading is its first use.
///
/// When the seam goes, the clock starts again from 0, while each thread keeps the highest
/// reading it was given: the timer manager's thread would see no time pass (and fire no timer)
/// until the clock is back there, and a pooled worker would read times out of step with the
/// others. So the timer threads are started afresh: a new thread has no mark.
class CounterSeam {
public:
    static inline std::atomic<unsigned long long> value{0};
    CounterSeam(unsigned long long start, unsigned long long frequency) {
        value.store(start);
        Tessaran::Kerna::Detail::setMonotonicCounterSource(&read, frequency);
    }
    ~CounterSeam() {
        Tessaran::Kerna::Detail::setMonotonicCounterSource(nullptr, 0);
        Tessaran::Kerna::TimerManagerInternal::instance()->startAfresh();
    }
    CounterSeam(const CounterSeam&) = delete;
    CounterSeam& operator=(const CounterSeam&) = delete;

private:
    static unsigned long long read() { return value.load(); }
};

/// A millisecond counter under the clock, read once at 0 ms and then moved to startMs.
class FakeClock : public CounterSeam {
public:
    explicit FakeClock(unsigned long long startMs) : CounterSeam(1000, 1000) {
        Tessaran::Kerna::CTime::getCurrentMilliSecond();  // first use: count 1000 is 0 ms
        set(startMs);
    }
    void set(unsigned long long ms) { value.store(1000 + ms); }
};

#endif  // KERNA_TESTS_CONCURRENCY_THREADTESTSUPPORT_H_

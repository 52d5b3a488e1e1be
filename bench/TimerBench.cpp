// Timers against what a user would do instead: firing lateness and lost ticks of a 10 ms
// periodic timer with a 1 ms callback beside a plain clock_nanosleep loop, the cost of
// start+stop as the list grows (beside a std::multimap under a std::mutex, and beside the sorted
// walk alone), and callbacks per second through the worker pool.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <time.h>
#include <vector>

#include "base/ReferencePaths.h"
#include "kerna/kerna3/Semaphore.h"
#include "kerna/kerna3/Time.h"
#include "kerna/kerna3/Timer.h"
#include "threads/TimerInternal.h"

using namespace Tessaran::Kerna;

namespace {

uint64_t nowNs() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000ull + static_cast<uint64_t>(ts.tv_nsec);
}

const uint64_t tickNs = 10000000ull;
const int firings = 1000;

// Works for about 1 ms, as a callback that does something would.
void work1ms() {
    const uint64_t until = nowNs() + 1000000ull;
    while (nowNs() < until) {
    }
}

struct LateReport {
    std::vector<double> lateMs;
    uint64_t lost = 0;
    void report(benchmark::State& state) {
        std::vector<double> sorted = lateMs;
        std::sort(sorted.begin(), sorted.end());
        state.counters["p50_ms"] = sorted[sorted.size() / 2];
        state.counters["p99_ms"] = sorted[sorted.size() * 99 / 100];
        state.counters["max_ms"] = sorted.back();
        state.counters["lost_ticks"] = static_cast<double>(lost);
    }
};

// Each firing against the tick it stands for, on the library's monotonic clock: the timer's
// ticks lie 10 ms apart from its first due time (the manager's `now` at arming plus 10). The
// callback reads the `now` of the pass that handed it over; the tick it fires is the first one
// not yet fired, and the ticks from there up to that `now` are skipped (lost).
struct Lateness {
    LateReport out;
    uint64_t pendingMs = 0;
    int count = 0;
    CSemaphore done;
    void on(unsigned long) {
        const uint64_t firedUs = CTime::getCurrentMicroSecond();
        uint64_t passNow;
        {
            CRecursiveGuard g(TimerManagerInternal::instance()->mutex);
            passNow = TimerManagerInternal::instance()->now;
        }
        if (count >= firings) return;
        out.lateMs.push_back((static_cast<double>(firedUs) - static_cast<double>(pendingMs) * 1000.0) / 1000.0);
        const uint64_t skipped = (passNow - pendingMs) / 10;
        out.lost += skipped;
        pendingMs += 10 * (skipped + 1);
        work1ms();
        if (++count == firings) done.post();
    }
};

void BM_TimerLateness10ms(benchmark::State& state) {
    Detail::setReferencePathsOnly(state.range(0) != 0);
    for (auto _ : state) {
        Lateness l;
        l.out.lateMs.reserve(firings + 8);
        CTimer timer("lateness");
        {
            CRecursiveGuard g(TimerManagerInternal::instance()->mutex);  // no pass in between
            l.pendingMs = TimerManagerInternal::instance()->now + 10;
            timer.start(TFunction1<void, unsigned long>(&Lateness::on, &l), 10, 10, 0, 0);
        }
        l.done.pend();
        timer.stopAndWait();
        l.out.report(state);
    }
    Detail::setReferencePathsOnly(false);
}
// 0: passes on the manager's grid; 1: the reference paths forced (a 10 ms sleep after each pass).
BENCHMARK(BM_TimerLateness10ms)->Arg(0)->Arg(1)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// The loop a user would write: sleep to each absolute 10 ms point, then work 1 ms. A wake more
// than a period late counts the points passed as lost.
void BM_ClockNanosleepLoop10ms(benchmark::State& state) {
    for (auto _ : state) {
        LateReport out;
        const uint64_t start = nowNs();
        uint64_t due = start;
        for (int i = 1; i <= firings; ++i) {
            due += tickNs;
            timespec ts = {static_cast<time_t>(due / 1000000000ull), static_cast<long>(due % 1000000000ull)};
            clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &ts, nullptr);
            const uint64_t woke = nowNs();
            out.lateMs.push_back(static_cast<double>(woke - due) / 1e6);
            out.lost += (woke - due) / tickNs;
            due += tickNs * ((woke - due) / tickNs);
            work1ms();
        }
        out.report(state);
    }
}
BENCHMARK(BM_ClockNanosleepLoop10ms)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void noop(unsigned long) {}

// start+stop of one timer while `armed` others are armed. Its due time is behind every armed
// timer (the longest walk of the sorted list) or, in the second variant, among them.
void timerStartStop(benchmark::State& state, bool middle, bool walk) {
    const int armed = static_cast<int>(state.range(0));
    std::vector<std::unique_ptr<CTimer>> others;
    for (int i = 0; i < armed; ++i) {
        others.emplace_back(new CTimer("armed"));
        others.back()->start(TFunction1<void, unsigned long>(&noop), 3600000 + static_cast<unsigned>(i), 0, 0, 0);
    }
    Detail::setReferencePathsOnly(walk);
    CTimer t("probe");
    const unsigned delay = middle ? 3600000 + static_cast<unsigned>(armed / 2) : 7200000;
    for (auto _ : state) {
        t.start(TFunction1<void, unsigned long>(&noop), delay, 0, 0, 0);
        t.stop(false);
    }
    for (auto& o : others) o->stop(false);
    Detail::setReferencePathsOnly(false);
}

void BM_TimerStartStop(benchmark::State& state) { timerStartStop(state, false, false); }
BENCHMARK(BM_TimerStartStop)->Arg(10)->Arg(1000)->Arg(10000)->Arg(100000);
void BM_TimerStartStopMiddle(benchmark::State& state) { timerStartStop(state, true, false); }
BENCHMARK(BM_TimerStartStopMiddle)->Arg(10)->Arg(1000)->Arg(10000)->Arg(100000);
// The sorted walk alone (the reference path), for how it grows.
void BM_TimerStartStopWalk(benchmark::State& state) { timerStartStop(state, false, true); }
BENCHMARK(BM_TimerStartStopWalk)->Arg(10)->Arg(1000)->Arg(10000);

void multimapInsertErase(benchmark::State& state, bool middle) {
    const int armed = static_cast<int>(state.range(0));
    std::multimap<uint64_t, void*> list;
    std::mutex lock;
    for (int i = 0; i < armed; ++i) list.emplace(3600000 + static_cast<uint64_t>(i), nullptr);
    const uint64_t due = middle ? 3600000 + static_cast<uint64_t>(armed / 2) : 7200000;
    for (auto _ : state) {
        std::lock_guard<std::mutex> g(lock);
        auto it = list.emplace(due, nullptr);
        list.erase(it);
    }
}

void BM_MultimapInsertErase(benchmark::State& state) { multimapInsertErase(state, false); }
BENCHMARK(BM_MultimapInsertErase)->Arg(10)->Arg(1000)->Arg(10000)->Arg(100000);
void BM_MultimapInsertEraseMiddle(benchmark::State& state) { multimapInsertErase(state, true); }
BENCHMARK(BM_MultimapInsertEraseMiddle)->Arg(10)->Arg(1000)->Arg(10000)->Arg(100000);

// Callbacks per second: 8 timers due at once again and again, on up to 8 workers.
struct Counter {
    std::atomic<int> calls{0};
    CSemaphore done;
    int target = 0;
    void on(unsigned long) {
        if (++calls == target) done.post();
    }
};

void BM_PoolCallbacksPerSecond(benchmark::State& state) {
    const int rounds = 2000;
    std::vector<std::unique_ptr<CTimer>> timers;
    for (int i = 0; i < 8; ++i) timers.emplace_back(new CTimer("pool"));
    int total = 0;
    for (auto _ : state) {
        Counter c;
        c.target = rounds * 8;
        for (int r = 0; r < rounds; ++r) {
            for (auto& t : timers) {
                while (!t->start(TFunction1<void, unsigned long>(&Counter::on, &c), 0, 0, 0, 0)) {
                    std::this_thread::yield();  // previous call of this timer still runs
                }
            }
        }
        c.done.pend();
        total += c.target;
    }
    for (auto& t : timers) t->stopAndWait();
    state.counters["callbacks_per_s"] = benchmark::Counter(total, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_PoolCallbacksPerSecond)->Unit(benchmark::kMillisecond)->UseRealTime();

// 1,000 periodic timers of 10 ms, due at spread times, for 2 s: at most 100,000 callbacks a
// second can come; the counter says how many did.
struct Tally {
    std::atomic<uint64_t> calls{0};
    void on(unsigned long) { calls.fetch_add(1, std::memory_order_relaxed); }
};

void BM_Pool1000PeriodicTimers(benchmark::State& state) {
    uint64_t total = 0;
    double seconds = 0;
    for (auto _ : state) {
        Tally tally;
        std::vector<std::unique_ptr<CTimer>> timers;
        for (int i = 0; i < 1000; ++i) timers.emplace_back(new CTimer("pool1000"));
        for (int i = 0; i < 1000; ++i) {
            timers[i]->start(TFunction1<void, unsigned long>(&Tally::on, &tally), 1 + i % 10, 10, 0, 0);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the pool fills up
        const uint64_t before = tally.calls.load();
        const uint64_t begin = nowNs();
        std::this_thread::sleep_for(std::chrono::seconds(2));
        total += tally.calls.load() - before;
        seconds += static_cast<double>(nowNs() - begin) / 1e9;
        for (auto& t : timers) t->stopAndWait();
    }
    state.counters["callbacks_per_s"] = static_cast<double>(total) / seconds;
    state.counters["of_ideal"] = static_cast<double>(total) / seconds / 100000.0;
}
BENCHMARK(BM_Pool1000PeriodicTimers)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

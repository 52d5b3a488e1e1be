// Timers against what a user would do instead: firing lateness of a 10 ms periodic timer beside
// a plain clock_nanosleep loop, the cost of start+stop as the list grows (beside a std::multimap
// under a std::mutex), and callbacks per second through the worker pool.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <time.h>
#include <vector>

#include "kerna/kerna3/Semaphore.h"
#include "kerna/kerna3/Time.h"
#include "kerna/kerna3/Timer.h"

using namespace Tessaran::Kerna;

namespace {

uint64_t nowNs() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000ull + static_cast<uint64_t>(ts.tv_nsec);
}

void report(benchmark::State& state, std::vector<double>& lateMs) {
    std::sort(lateMs.begin(), lateMs.end());
    state.counters["p50_ms"] = lateMs[lateMs.size() / 2];
    state.counters["p99_ms"] = lateMs[lateMs.size() * 99 / 100];
    state.counters["max_ms"] = lateMs.back();
}

const int firings = 1000;

// Lateness of each firing against the grid point it fires for. A periodic timer skips the grid
// points that passed while it was late, so a firing stands for the first grid point after the
// previous firing.
struct Lateness {
    std::vector<double> lateMs;
    uint64_t start = 0;
    uint64_t last = 0;
    int count = 0;
    CSemaphore done;
    void on(unsigned long) {
        const uint64_t t = nowNs();
        const uint64_t tick = 10000000ull;
        const uint64_t due = start + tick * ((last - start) / tick + 1);
        lateMs.push_back((static_cast<double>(t) - static_cast<double>(due)) / 1e6);
        last = t;
        if (++count == firings) done.post();
    }
};

void BM_TimerLateness10ms(benchmark::State& state) {
    for (auto _ : state) {
        Lateness l;
        l.lateMs.reserve(firings + 8);
        CTimer timer("lateness");
        l.start = l.last = nowNs();
        timer.start(TFunction1<void, unsigned long>(&Lateness::on, &l), 10, 10, 0, 0);
        l.done.pend();
        timer.stopAndWait();
        l.lateMs.resize(firings);
        report(state, l.lateMs);
    }
}
BENCHMARK(BM_TimerLateness10ms)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ClockNanosleepLoop10ms(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<double> lateMs;
        const uint64_t start = nowNs();
        for (int i = 1; i <= firings; ++i) {
            const uint64_t due = start + 10000000ull * static_cast<uint64_t>(i);
            timespec ts = {static_cast<time_t>(due / 1000000000ull), static_cast<long>(due % 1000000000ull)};
            clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &ts, nullptr);
            lateMs.push_back((static_cast<double>(nowNs()) - static_cast<double>(due)) / 1e6);
        }
        report(state, lateMs);
    }
}
BENCHMARK(BM_ClockNanosleepLoop10ms)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void noop(unsigned long) {}

void BM_TimerStartStop(benchmark::State& state) {
    const int armed = static_cast<int>(state.range(0));
    std::vector<std::unique_ptr<CTimer>> others;
    for (int i = 0; i < armed; ++i) {
        others.emplace_back(new CTimer("armed"));
        others.back()->start(TFunction1<void, unsigned long>(&noop), 3600000 + static_cast<unsigned>(i), 0, 0, 0);
    }
    CTimer t("probe");
    for (auto _ : state) {
        // Due behind every armed timer: the sorted insert walks the whole list.
        t.start(TFunction1<void, unsigned long>(&noop), 7200000, 0, 0, 0);
        t.stop(false);
    }
    for (auto& o : others) o->stop(false);
}
BENCHMARK(BM_TimerStartStop)->Arg(10)->Arg(1000)->Arg(10000);

void BM_MultimapInsertErase(benchmark::State& state) {
    const int armed = static_cast<int>(state.range(0));
    std::multimap<uint64_t, void*> list;
    std::mutex lock;
    for (int i = 0; i < armed; ++i) list.emplace(3600000 + static_cast<uint64_t>(i), nullptr);
    for (auto _ : state) {
        std::lock_guard<std::mutex> g(lock);
        auto it = list.emplace(7200000, nullptr);
        list.erase(it);
    }
}
BENCHMARK(BM_MultimapInsertErase)->Arg(10)->Arg(1000)->Arg(10000);

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

}  // namespace

// Threads and the monotonic clock against what a user would pick instead: a CThreadLite that is
// created, runs an empty body and is destroyed (its destructor waits for the body, as join
// does), beside std::thread create + join; and CTime::getCurrentMilliSecond beside
// clock_gettime(CLOCK_MONOTONIC).
#include <benchmark/benchmark.h>

#include <time.h>

#include <thread>

#include "kerna/kerna3/Thread.h"
#include "kerna/kerna3/Time.h"

using namespace Tessaran::Kerna;

namespace {

void emptyBody(CThreadLite&) {}

void BM_CThreadLiteCreateRunDestroy(benchmark::State& state) {
    for (auto _ : state) {
        CThreadLite thread(CThreadLite::ThreadProc(&emptyBody), "Bench");
        thread.createThread();
    }
}
BENCHMARK(BM_CThreadLiteCreateRunDestroy)->UseRealTime();

void BM_StdThreadCreateJoin(benchmark::State& state) {
    for (auto _ : state) {
        std::thread thread([] {});
        thread.join();
    }
}
BENCHMARK(BM_StdThreadCreateJoin)->UseRealTime();

void BM_GetCurrentMilliSecond(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(CTime::getCurrentMilliSecond());
    }
}
BENCHMARK(BM_GetCurrentMilliSecond)->Threads(1)->Threads(2);

void BM_ClockGettimeMonotonic(benchmark::State& state) {
    for (auto _ : state) {
        timespec ts;
        clock_gettime(CLOCK_MONOTONIC, &ts);
        benchmark::DoNotOptimize(ts);
    }
}
BENCHMARK(BM_ClockGettimeMonotonic)->Threads(1)->Threads(2);

}  // namespace

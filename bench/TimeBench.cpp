// TimeBench.cpp
//
// The calendar value beside the C library in the same run: fields to seconds against timegm,
// seconds to fields against gmtime_r, and format against strftime of the same fields. Each
// benchmark walks the same 4096 prepared values, so the ratio of items per second is the ratio
// of throughput. Then the clock readings on the machine's wall clock (read, never set):
// getCurrentTime and getCurrentUTCMilliSecond against clock_gettime with localtime_r, the
// reading a user would write, and against clock_gettime alone.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <ctime>
#include <random>
#include <vector>

#include "kerna/kerna3/Time.h"

using Tessaran::Kerna::CTime;
using Tessaran::Kerna::SystemTime;

namespace {

constexpr size_t kValues = 4096;

const std::vector<uint64_t>& seconds() {
    static const std::vector<uint64_t> values = [] {
        std::mt19937_64 random(42);
        std::uniform_int_distribution<uint64_t> inRange(0, 4323283199ULL);
        std::vector<uint64_t> v(kValues);
        for (uint64_t& s : v) s = inRange(random);
        return v;
    }();
    return values;
}

const std::vector<CTime>& values() {
    static const std::vector<CTime> v = [] {
        std::vector<CTime> out;
        for (uint64_t s : seconds()) out.emplace_back(s, false);
        return out;
    }();
    return v;
}

const std::vector<struct tm>& tms() {
    static const std::vector<struct tm> v = [] {
        std::vector<struct tm> out(kValues);
        for (size_t i = 0; i < kValues; ++i) {
            const time_t t = static_cast<time_t>(seconds()[i]);
            gmtime_r(&t, &out[i]);
        }
        return out;
    }();
    return v;
}

void BM_FieldsToSeconds_Kerna(benchmark::State& state) {
    const std::vector<CTime>& in = values();
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(CTime::timeToSeconds(in[i]));
        i = (i + 1) % kValues;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_FieldsToSeconds_timegm(benchmark::State& state) {
    std::vector<struct tm> in = tms();
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(timegm(&in[i]));
        i = (i + 1) % kValues;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_SecondsToFields_Kerna(benchmark::State& state) {
    const std::vector<uint64_t>& in = seconds();
    size_t i = 0;
    for (auto _ : state) {
        CTime t(in[i], false);
        benchmark::DoNotOptimize(t);
        i = (i + 1) % kValues;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_SecondsToFields_gmtime_r(benchmark::State& state) {
    const std::vector<uint64_t>& in = seconds();
    size_t i = 0;
    struct tm out;
    for (auto _ : state) {
        const time_t t = static_cast<time_t>(in[i]);
        benchmark::DoNotOptimize(gmtime_r(&t, &out));
        benchmark::ClobberMemory();
        i = (i + 1) % kValues;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Format_Kerna(benchmark::State& state) {
    const std::vector<CTime>& in = values();
    char buf[64];
    size_t i = 0;
    for (auto _ : state) {
        in[i].format(buf, "yyyy-MM-dd HH:mm:ss", 7);
        benchmark::DoNotOptimize(buf);
        benchmark::ClobberMemory();
        i = (i + 1) % kValues;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Format_strftime(benchmark::State& state) {
    const std::vector<struct tm>& in = tms();
    char buf[64];
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(strftime(buf, sizeof(buf), "%Y-%m-%d %H:%M:%S", &in[i]));
        benchmark::ClobberMemory();
        i = (i + 1) % kValues;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_GetCurrentTime_Kerna(benchmark::State& state) {
    for (auto _ : state) {
        CTime now = CTime::getCurrentTime();
        benchmark::DoNotOptimize(now);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_GetCurrentUTCMilliSecond_Kerna(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(CTime::getCurrentUTCMilliSecond());
    state.SetItemsProcessed(state.iterations());
}

void BM_ClockGettime_localtime_r(benchmark::State& state) {
    struct tm out;
    for (auto _ : state) {
        timespec ts;
        clock_gettime(CLOCK_REALTIME, &ts);
        benchmark::DoNotOptimize(localtime_r(&ts.tv_sec, &out));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_ClockGettime(benchmark::State& state) {
    for (auto _ : state) {
        timespec ts;
        clock_gettime(CLOCK_REALTIME, &ts);
        benchmark::DoNotOptimize(static_cast<uint64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000);
    }
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BM_FieldsToSeconds_Kerna);
BENCHMARK(BM_FieldsToSeconds_timegm);
BENCHMARK(BM_SecondsToFields_Kerna);
BENCHMARK(BM_SecondsToFields_gmtime_r);
BENCHMARK(BM_Format_Kerna);
BENCHMARK(BM_Format_strftime);
BENCHMARK(BM_GetCurrentTime_Kerna);
BENCHMARK(BM_GetCurrentUTCMilliSecond_Kerna);
BENCHMARK(BM_ClockGettime_localtime_r);
BENCHMARK(BM_ClockGettime);

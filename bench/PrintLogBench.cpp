// The print path against its peers: a call below the print level, and an enabled line to a
// printer that discards it, beside spdlog's null sink (or vsnprintf alone without spdlog).
#include <benchmark/benchmark.h>

#include <cstdarg>
#include <cstdio>

#include "base/Log.h"
#include "kerna/kerna3/PrintLog.h"

#ifdef KERNA_BENCH_HAVE_SPDLOG
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>
#endif

using namespace Tessaran::Kerna;

namespace {

void discard(const char* line) { benchmark::DoNotOptimize(line); }

void BM_LogFilterBelowLevel(benchmark::State& state) {
    setPrintLogLevel(4);
    for (auto _ : state) {
        benchmark::DoNotOptimize(logFilter(5, "Bench", "f", "g", 1, "v", "value %d\n", 42));
    }
}
BENCHMARK(BM_LogFilterBelowLevel);

void BM_LibraryLogBelowLevel(benchmark::State& state) {
    setPrintLogLevel(4);
    for (auto _ : state) {
        KERNA_LOG(5, "value %d\n", 42);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_LibraryLogBelowLevel);

void BM_LogFilterEnabledDiscarded(benchmark::State& state) {
    PrintOptions o = {};
    o.noColor = true;
    setPrintOptions(o);
    setPrintLogLevel(4);
    setLogPrinter(TFunction1<void, const char*>(&discard));
    for (auto _ : state) {
        benchmark::DoNotOptimize(logFilter(4, "Bench", "Bench.cpp", "g", 1, "v", "value %d %s\n", 42, "text"));
    }
    setLogPrinter(TFunction1<void, const char*>());
}
BENCHMARK(BM_LogFilterEnabledDiscarded);

#ifdef KERNA_BENCH_HAVE_SPDLOG
void BM_SpdlogNullSink(benchmark::State& state) {
    auto logger = spdlog::create<spdlog::sinks::null_sink_st>("null");
    logger->set_level(spdlog::level::info);
    for (auto _ : state) logger->info("value {} {}", 42, "text");
    spdlog::drop("null");
}
BENCHMARK(BM_SpdlogNullSink);

void BM_SpdlogBelowLevel(benchmark::State& state) {
    auto logger = spdlog::create<spdlog::sinks::null_sink_st>("null2");
    logger->set_level(spdlog::level::info);
    for (auto _ : state) logger->debug("value {}", 42);
    spdlog::drop("null2");
}
BENCHMARK(BM_SpdlogBelowLevel);
#endif

__attribute__((format(printf, 2, 3))) int format(char* buf, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const int n = vsnprintf(buf, 8192, fmt, args);
    va_end(args);
    return n;
}

void BM_VsnprintfAlone(benchmark::State& state) {
    char buf[8192];
    for (auto _ : state) {
        benchmark::DoNotOptimize(format(buf, "[%02d:%02d:%02d %s%s %d %s:%d]value %d %s\n", 12, 34, 56,
                                        "info ", "Bench", 1234, "Bench.cpp", 1, 42, "text"));
    }
}
BENCHMARK(BM_VsnprintfAlone);

}  // namespace

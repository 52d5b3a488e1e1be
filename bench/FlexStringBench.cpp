// FlexStringBench.cpp
//
// String against std::string on the operations that dominate the library's own use: building
// short texts by appending, and copying them. Each benchmark runs for both types in the same
// binary, so their times can be read as a ratio.
#include <benchmark/benchmark.h>

#include <string>

#include "kerna/kerna3/FlexString.h"

namespace {

using Tessaran::Kerna::String;

// Builds a text of `pieces` times 5 characters by appending to an empty string.
template <class S>
void BM_SmallAppend(benchmark::State& state) {
    const int pieces = static_cast<int>(state.range(0));
    for (auto _ : state) {
        S s;
        for (int i = 0; i < pieces; ++i) s.append("abcde", 5);
        benchmark::DoNotOptimize(s.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK_TEMPLATE(BM_SmallAppend, String)->Arg(2)->Arg(4)->Arg(6);
BENCHMARK_TEMPLATE(BM_SmallAppend, std::string)->Arg(2)->Arg(4)->Arg(6);

// Copies a text of the given length.
template <class S>
void BM_Copy(benchmark::State& state) {
    const S source(static_cast<std::size_t>(state.range(0)), 'x');
    for (auto _ : state) {
        S copy(source);
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK_TEMPLATE(BM_Copy, String)->Arg(10)->Arg(20)->Arg(31)->Arg(100);
BENCHMARK_TEMPLATE(BM_Copy, std::string)->Arg(10)->Arg(20)->Arg(31)->Arg(100);

// Character by character up to the given length: exact growth reallocates at every character
// past 31, std::string grows geometrically. Shows the price of exact growth.
template <class S>
void BM_PushBack(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        S s;
        for (int i = 0; i < n; ++i) s.push_back('y');
        benchmark::DoNotOptimize(s.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK_TEMPLATE(BM_PushBack, String)->Arg(31)->Arg(100);
BENCHMARK_TEMPLATE(BM_PushBack, std::string)->Arg(31)->Arg(100);

}  // namespace

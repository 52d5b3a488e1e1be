// CIntervalSet beside std::set<int>: adding and removing single values at random, and whole
// ranges (a std::set<int> takes them value by value).
#include <benchmark/benchmark.h>

#include <random>
#include <set>
#include <vector>

#include "kerna/utils/IntervalSet.h"

using Tessaran::Utils::CIntervalSet;

namespace {

// Values drawn from [0, domain), the same for both sides; even steps add, odd steps remove.
std::vector<int> values(int domain) {
    std::mt19937 random(7);
    std::uniform_int_distribution<int> pick(0, domain - 1);
    std::vector<int> v(1 << 16);
    for (int& x : v) x = pick(random);
    return v;
}

void BM_SingleValues_CIntervalSet(benchmark::State& state) {
    const std::vector<int> v = values(static_cast<int>(state.range(0)));
    CIntervalSet set;
    size_t i = 0;
    for (auto _ : state) {
        const int x = v[i & 0xFFFF];
        if (i & 1) {
            set.erase({x, x + 1});
        } else {
            set.insert({x, x + 1});
        }
        ++i;
    }
    state.counters["intervals"] = static_cast<double>(set.size());
}
BENCHMARK(BM_SingleValues_CIntervalSet)->Arg(1 << 10)->Arg(1 << 16);

void BM_SingleValues_StdSet(benchmark::State& state) {
    const std::vector<int> v = values(static_cast<int>(state.range(0)));
    std::set<int> set;
    size_t i = 0;
    for (auto _ : state) {
        const int x = v[i & 0xFFFF];
        if (i & 1) {
            set.erase(x);
        } else {
            set.insert(x);
        }
        ++i;
    }
    state.counters["values"] = static_cast<double>(set.size());
}
BENCHMARK(BM_SingleValues_StdSet)->Arg(1 << 10)->Arg(1 << 16);

void BM_Ranges64_CIntervalSet(benchmark::State& state) {
    const std::vector<int> v = values(1 << 16);
    CIntervalSet set;
    size_t i = 0;
    for (auto _ : state) {
        const int x = v[i & 0xFFFF];
        if (i & 1) {
            set.erase({x, x + 64});
        } else {
            set.insert({x, x + 64});
        }
        ++i;
    }
}
BENCHMARK(BM_Ranges64_CIntervalSet);

void BM_Ranges64_StdSet(benchmark::State& state) {
    const std::vector<int> v = values(1 << 16);
    std::set<int> set;
    size_t i = 0;
    for (auto _ : state) {
        const int x = v[i & 0xFFFF];
        if (i & 1) {
            set.erase(set.lower_bound(x), set.lower_bound(x + 64));
        } else {
            for (int k = x; k < x + 64; ++k) set.insert(set.end(), k);
        }
        ++i;
    }
}
BENCHMARK(BM_Ranges64_StdSet);

}  // namespace

// The older interface beside what it stands on and what a user would pick instead: the older
// CMutex beside std::recursive_mutex, an older CPacket (a wrapper with a heap handle) beside a
// Tessaran::Memory::CPacket and glibc malloc of the same bytes, the older CTime's field
// constructor (mktime and localtime_r) beside the library's own calendar and the bare C library
// calls, and its format beside strftime. Runs in TZ=UTC0.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <ctime>
#include <mutex>

#include "kerna/kerna3/Time.h"
#include "kerna/legacy/Mutex.h"
#include "kerna/legacy/Packet.h"
#include "kerna/legacy/Time.h"
#include "kerna/memory/Packet.h"

namespace {

const bool g_utc = setenv("TZ", "UTC0", 1) == 0;

::CMutex g_legacyMutex;
std::recursive_mutex g_stdRecursive;

void BM_LegacyCMutexEnterLeave(benchmark::State& state) {
    for (auto _ : state) {
        g_legacyMutex.Enter();
        g_legacyMutex.Leave();
    }
}
BENCHMARK(BM_LegacyCMutexEnterLeave)->Threads(1)->Threads(2);

void BM_StdRecursiveMutexLockUnlock(benchmark::State& state) {
    for (auto _ : state) {
        g_stdRecursive.lock();
        g_stdRecursive.unlock();
    }
}
BENCHMARK(BM_StdRecursiveMutexLockUnlock)->Threads(1)->Threads(2);

void BM_LegacyCPacket100(benchmark::State& state) {
    for (auto _ : state) {
        ::CPacket packet(100);
        benchmark::DoNotOptimize(packet.GetBuffer());
    }
}
BENCHMARK(BM_LegacyCPacket100);

void BM_MemoryCPacket100(benchmark::State& state) {
    for (auto _ : state) {
        Tessaran::Memory::CPacket packet(100, 128);
        benchmark::DoNotOptimize(packet.getBuffer());
    }
}
BENCHMARK(BM_MemoryCPacket100);

void BM_Malloc228(benchmark::State& state) {
    for (auto _ : state) {
        void* p = std::malloc(228);
        benchmark::DoNotOptimize(p);
        std::free(p);
    }
}
BENCHMARK(BM_Malloc228);

void BM_LegacyCTimeFields(benchmark::State& state) {
    benchmark::DoNotOptimize(g_utc);
    int day = 0;
    for (auto _ : state) {
        ::CTime t(2023, 3, 1 + (day++ & 15), 5, 6, 7);
        benchmark::DoNotOptimize(t.wday);
    }
}
BENCHMARK(BM_LegacyCTimeFields);

void BM_CTimeFields(benchmark::State& state) {
    int day = 0;
    for (auto _ : state) {
        Tessaran::Kerna::CTime t(2023, 3, 1 + (day++ & 15), 5, 6, 7);
        benchmark::DoNotOptimize(t.wday);
    }
}
BENCHMARK(BM_CTimeFields);

void BM_LibcMktimeLocaltime(benchmark::State& state) {
    int day = 0;
    for (auto _ : state) {
        std::tm t = {};
        t.tm_year = 123;
        t.tm_mon = 2;
        t.tm_mday = 1 + (day++ & 15);
        t.tm_hour = 5;
        t.tm_min = 6;
        t.tm_sec = 7;
        t.tm_isdst = -1;
        const std::time_t seconds = std::mktime(&t);
        std::tm back;
        localtime_r(&seconds, &back);
        benchmark::DoNotOptimize(back.tm_wday);
    }
}
BENCHMARK(BM_LibcMktimeLocaltime);

void BM_LegacyCTimeFormat(benchmark::State& state) {
    const ::CTime t(2023, 3, 4, 5, 6, 7);
    char buf[64];
    for (auto _ : state) {
        t.format(buf, "yyyy-MM-dd HH:mm:ss");
        benchmark::DoNotOptimize(buf);
    }
}
BENCHMARK(BM_LegacyCTimeFormat);

void BM_Strftime(benchmark::State& state) {
    std::tm t = {};
    t.tm_year = 123;
    t.tm_mon = 2;
    t.tm_mday = 4;
    t.tm_hour = 5;
    t.tm_min = 6;
    t.tm_sec = 7;
    char buf[64];
    for (auto _ : state) {
        std::strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S", &t);
        benchmark::DoNotOptimize(buf);
    }
}
BENCHMARK(BM_Strftime);

}  // namespace

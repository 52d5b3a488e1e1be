// The locks against the standard library's: CMutex enter+leave beside std::recursive_mutex,
// CReadWriteMutex read holds beside std::shared_mutex, uncontended and with threads.
#include <benchmark/benchmark.h>

#include <mutex>
#include <shared_mutex>

#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/ReadWriteMutex.h"
#include "kerna/kerna3/RecursiveMutex.h"

using namespace Tessaran::Kerna;

namespace {

CMutex g_mutex;
std::recursive_mutex g_stdRecursive;
CRecursiveMutex g_recursive;
CReadWriteMutex g_rwDefault;
CReadWriteMutex g_rwWriter(priorityWriter);
std::shared_mutex g_shared;

void BM_CMutexEnterLeave(benchmark::State& state) {
    for (auto _ : state) {
        g_mutex.enter();
        g_mutex.leave();
    }
}
BENCHMARK(BM_CMutexEnterLeave)->Threads(1)->Threads(2);

void BM_StdRecursiveMutexLockUnlock(benchmark::State& state) {
    for (auto _ : state) {
        g_stdRecursive.lock();
        g_stdRecursive.unlock();
    }
}
BENCHMARK(BM_StdRecursiveMutexLockUnlock)->Threads(1)->Threads(2);

void BM_CRecursiveMutexReenter(benchmark::State& state) {
    g_recursive.enter();
    for (auto _ : state) {
        g_recursive.enter();
        g_recursive.leave();
    }
    g_recursive.leave();
}
BENCHMARK(BM_CRecursiveMutexReenter);

void BM_CReadWriteMutexReadDefault(benchmark::State& state) {
    for (auto _ : state) {
        g_rwDefault.enterReading();
        g_rwDefault.leave();
    }
}
BENCHMARK(BM_CReadWriteMutexReadDefault)->Threads(1)->Threads(2);

void BM_CReadWriteMutexReadWriterFirst(benchmark::State& state) {
    for (auto _ : state) {
        g_rwWriter.enterReading();
        g_rwWriter.leave();
    }
}
BENCHMARK(BM_CReadWriteMutexReadWriterFirst)->Threads(1)->Threads(2);

void BM_StdSharedMutexRead(benchmark::State& state) {
    for (auto _ : state) {
        g_shared.lock_shared();
        g_shared.unlock_shared();
    }
}
BENCHMARK(BM_StdSharedMutexRead)->Threads(1)->Threads(2);

}  // namespace

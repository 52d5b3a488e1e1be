// MemoryBench.cpp
//
// Packet memory beside what a user would pick instead, in the same run: the pool manager's
// malloc/free against glibc malloc/free, CPacket against std::shared_ptr<std::vector>, a handle
// copy against a shared_ptr copy, CMemPool against malloc/free of the same item size. The
// manager is one per process: this program runs under the policy it was built for
// (KERNA_BENCH_POLICY, 2 = pool, 1 = system), configured before the first use.

#include <benchmark/benchmark.h>

#include <kerna/memory/MemPool.h>
#include <kerna/memory/Packet.h>
#include <kerna/memory/PacketManager.h>

#include <cstdlib>
#include <memory>
#include <vector>

using Tessaran::Memory::CPacket;
using Tessaran::Memory::CPacketManager;

#ifndef KERNA_BENCH_POLICY
#define KERNA_BENCH_POLICY 2
#endif

namespace {

CPacketManager* manager() {
    static CPacketManager* m = [] {
        CPacketManager::PoolParameter param;
        param.totalSize = 64ull * 1024 * 1024;  // room for 2 threads x 256 x 64 KiB
        param.chunkSize = 1024;
        CPacketManager::config(static_cast<CPacketManager::Policy>(KERNA_BENCH_POLICY), nullptr, &param);
        return CPacketManager::instance();
    }();
    return m;
}

// ---- single allocation and free ----------------------------------------------------------

void BM_PoolMallocFree(benchmark::State& state) {
    CPacketManager* m = manager();
    const size_t size = size_t(state.range(0));
    for (auto _ : state) {
        void* p = m->malloc(size);
        benchmark::DoNotOptimize(p);
        m->free(p);
    }
}

// The same with one block of the size held for the whole run: the block handed out and given
// back is then the held block's buddy, which can't merge (a pool in use, with live packets, is
// in this state; an idle pool is in the one above, where a request splits the top block). In
// both, the free of the block just taken finds its list writes still deferred and writes none.
void BM_PoolMallocFreeWarm(benchmark::State& state) {
    CPacketManager* m = manager();
    const size_t size = size_t(state.range(0));
    void* held = m->malloc(size);
    for (auto _ : state) {
        void* p = m->malloc(size);
        benchmark::DoNotOptimize(p);
        m->free(p);
    }
    m->free(held);
}

void BM_GlibcMallocFree(benchmark::State& state) {
    manager();
    const size_t size = size_t(state.range(0));
    for (auto _ : state) {
        void* p = std::malloc(size);
        benchmark::DoNotOptimize(p);
        std::free(p);
    }
}

// ---- a batch of 256 allocations, then 256 frees --------------------------------------------

void BM_PoolBatch256(benchmark::State& state) {
    CPacketManager* m = manager();
    const size_t size = size_t(state.range(0));
    void* blocks[256];
    for (auto _ : state) {
        for (void*& p : blocks) {
            p = m->malloc(size);
            static_cast<char*>(p)[0] = 1;  // touch the block, as a user would
        }
        benchmark::ClobberMemory();
        for (void* p : blocks) m->free(p);
    }
    state.SetItemsProcessed(state.iterations() * 256);
}

void BM_GlibcBatch256(benchmark::State& state) {
    manager();
    const size_t size = size_t(state.range(0));
    void* blocks[256];
    for (auto _ : state) {
        for (void*& p : blocks) {
            p = std::malloc(size);
            static_cast<char*>(p)[0] = 1;
        }
        benchmark::ClobberMemory();
        for (void* p : blocks) std::free(p);
    }
    state.SetItemsProcessed(state.iterations() * 256);
}

// ---- packets -------------------------------------------------------------------------------

void BM_PacketCreateDestroy(benchmark::State& state) {
    manager();
    const size_t size = size_t(state.range(0));
    CPacket held(size, 16);  // a live packet of the same size, as in a running stream
    for (auto _ : state) {
        CPacket p(size, 16);
        benchmark::DoNotOptimize(p.getBuffer());
    }
}

void BM_SharedVectorCreateDestroy(benchmark::State& state) {
    manager();
    const size_t size = size_t(state.range(0));
    for (auto _ : state) {
        // A payload without clearing, like a fresh packet, and room for 16 bytes of extra data.
        auto p = std::make_shared<std::vector<char>>();
        p->reserve(size + 16);
        benchmark::DoNotOptimize(p->data());
    }
}

void BM_PacketHandleCopy(benchmark::State& state) {
    manager();
    CPacket p(1500, 0);
    for (auto _ : state) {
        CPacket copy(p);
        benchmark::DoNotOptimize(copy.getBuffer());
    }
}

void BM_SharedPtrCopy(benchmark::State& state) {
    auto p = std::make_shared<std::vector<char>>(1500);
    for (auto _ : state) {
        std::shared_ptr<std::vector<char>> copy(p);
        benchmark::DoNotOptimize(copy.get());
    }
}

// ---- fixed pool ----------------------------------------------------------------------------

void BM_MemPoolGetPut(benchmark::State& state) {
    static Tessaran::Memory::Detail::CMemPool pool(48, 256);
    for (auto _ : state) {
        void* p = pool.malloc();
        benchmark::DoNotOptimize(p);
        pool.free(p);
    }
}

void BM_GlibcGetPut48(benchmark::State& state) {
    for (auto _ : state) {
        void* p = std::malloc(48);
        benchmark::DoNotOptimize(p);
        std::free(p);
    }
}

}  // namespace

#if KERNA_BENCH_POLICY == 2
BENCHMARK(BM_PoolMallocFree)->Arg(64)->Arg(1500)->Arg(65536);
BENCHMARK(BM_PoolMallocFreeWarm)->Arg(64)->Arg(1500)->Arg(65536);
BENCHMARK(BM_GlibcMallocFree)->Arg(64)->Arg(1500)->Arg(65536);
BENCHMARK(BM_PoolBatch256)->Arg(1500)->Arg(65536);
BENCHMARK(BM_GlibcBatch256)->Arg(1500)->Arg(65536);
BENCHMARK(BM_PoolBatch256)->Arg(1500)->Arg(65536)->Threads(2)->UseRealTime();
BENCHMARK(BM_GlibcBatch256)->Arg(1500)->Arg(65536)->Threads(2)->UseRealTime();
BENCHMARK(BM_MemPoolGetPut);
BENCHMARK(BM_GlibcGetPut48);
#endif
BENCHMARK(BM_PacketCreateDestroy)->Arg(1500)->Arg(65536);
BENCHMARK(BM_SharedVectorCreateDestroy)->Arg(1500)->Arg(65536);
BENCHMARK(BM_PacketHandleCopy);
BENCHMARK(BM_SharedPtrCopy);

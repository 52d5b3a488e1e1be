// PacketThreadTest.cpp
//
// Packets crossing threads: handles copied and dropped on different threads, views holding
// parents that other threads created, one release callback for a record shared by all.
// Bounded: fixed counts, a bounded queue, joins; the invariants are checked at the end.

#include <kerna/memory/Packet.h>
#include <kerna/memory/PacketManager.h>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "memory/MemoryTestSupport.h"

using Tessaran::Kerna::TFunction2;
using Tessaran::Memory::CPacket;
using Tessaran::Memory::CPacketManager;

namespace {

// At most 32 packets in flight; pop gives false once closed and drained.
struct BoundedQueue {
    std::mutex lock;
    std::condition_variable changed;
    std::deque<CPacket> items;
    bool closed = false;
    void push(const CPacket& p) {
        std::unique_lock<std::mutex> g(lock);
        changed.wait(g, [this] { return items.size() < 32; });
        items.push_back(p);
        changed.notify_all();
    }
    bool pop(CPacket& out) {
        std::unique_lock<std::mutex> g(lock);
        changed.wait(g, [this] { return !items.empty() || closed; });
        if (items.empty()) return false;
        out = items.front();
        items.pop_front();
        changed.notify_all();
        return true;
    }
    void close() {
        std::lock_guard<std::mutex> g(lock);
        closed = true;
        changed.notify_all();
    }
};

// Payload byte i of a packet holds (unsigned char)(seq + i), with `seq` in its extra data.
void stamp(CPacket& p, uint32_t seq) {
    std::memcpy(p.getExtraData(), &seq, sizeof seq);
    for (size_t i = 0; i < p.size(); ++i) p.getBuffer()[i] = (unsigned char)(seq + i);
}

bool checkStamp(const CPacket& p) {
    uint32_t seq;
    std::memcpy(&seq, p.getExtraData(), sizeof seq);
    for (size_t i = 0; i < p.size(); ++i) {
        if (p.getBuffer()[i] != (unsigned char)(seq + i)) return false;
    }
    return true;
}

}  // namespace

TEST(CPacketThreads, PoolPacketsCrossThreads) {
    KERNA_IN_CHILD({
        CPacketManager* m = MemoryTest::configured(CPacketManager::policyPool, 1024 * 1024);
        BoundedQueue queue;
        std::atomic<int> received{0}, bad{0};
        const int kProducers = 2, kConsumers = 2, kPerProducer = 1500;
        std::vector<std::thread> threads;
        for (int t = 0; t < kProducers; ++t) {
            threads.emplace_back([&, t] {
                std::mt19937 rng(100 + t);
                for (int i = 0; i < kPerProducer; ++i) {
                    CPacket p(16 + rng() % 4000, 8);
                    ASSERT_TRUE(p.valid());
                    const uint32_t seq = uint32_t(t * kPerProducer + i);
                    stamp(p, seq);
                    if (i % 2 == 0) {
                        // A view whose parent this thread drops right away.
                        const size_t off = p.size() / 3;
                        CPacket view(p, off, p.size() - off, 8);
                        const uint32_t viewSeq = seq + uint32_t(off);
                        std::memcpy(view.getExtraData(), &viewSeq, sizeof viewSeq);
                        p.reset();
                        queue.push(view);
                    } else {
                        queue.push(p);
                    }
                }
            });
        }
        for (int t = 0; t < kConsumers; ++t) {
            threads.emplace_back([&] {
                CPacket p;
                while (queue.pop(p)) {
                    if (!checkStamp(p)) ++bad;
                    CPacket copy(p);
                    p.reset();
                    ++received;
                }
            });
        }
        for (int t = 0; t < kProducers; ++t) threads[t].join();
        queue.close();
        for (int t = kProducers; t < kProducers + kConsumers; ++t) threads[t].join();

        EXPECT_EQ(received.load(), kProducers * kPerProducer);
        EXPECT_EQ(bad.load(), 0);
        EXPECT_EQ(m->getFreeSize(), 1024u * 1024u);
    });
}

TEST(CPacketThreads, LastHandleOnAnyThreadCallsBackOnce) {
    // System policy in this process: records on the heap, counts shared by many threads.
    const int kThreads = 4;
    for (int round = 0; round < 200; ++round) {
        std::atomic<int> calls{0};
        struct Counter {
            std::atomic<int>* calls;
            void onRelease(void*, size_t) { ++*calls; }
        } counter{&calls};
        char buffer[16];
        CPacket packet(buffer, sizeof buffer, TFunction2<void, void*, size_t>(&Counter::onRelease, &counter));
        CPacket view(packet, 2, 4, 0);
        std::vector<std::thread> threads;
        std::atomic<bool> go{false};
        for (int t = 0; t < kThreads; ++t) {
            CPacket handed = (t % 2) ? packet : view;
            threads.emplace_back([handed, &go]() mutable {
                while (!go.load()) std::this_thread::yield();
                for (int i = 0; i < 20; ++i) {
                    CPacket c(handed);
                    c = handed;
                }
                handed.reset();
            });
        }
        packet.reset();
        view.reset();
        go = true;
        for (std::thread& t : threads) t.join();
        ASSERT_EQ(calls.load(), 1) << "round " << round;
    }
}

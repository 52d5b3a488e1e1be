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

class BoundedQueue {
public:
    explicit BoundedQueue(size_t limit) : m_limit(limit) {}
    void push(const CPacket& p) {
        std::unique_lock<std::mutex> g(m_lock);
        m_notFull.wait(g, [this] { return m_items.size() < m_limit; });
        m_items.push_back(p);
        m_notEmpty.notify_one();
    }
    // False once closed and drained.
    bool pop(CPacket& out) {
        std::unique_lock<std::mutex> g(m_lock);
        m_notEmpty.wait(g, [this] { return !m_items.empty() || m_closed; });
        if (m_items.empty()) return false;
        out = m_items.front();
        m_items.pop_front();
        m_notFull.notify_one();
        return true;
    }
    void close() {
        std::lock_guard<std::mutex> g(m_lock);
        m_closed = true;
        m_notEmpty.notify_all();
    }

private:
    std::mutex m_lock;
    std::condition_variable m_notFull;
    std::condition_variable m_notEmpty;
    std::deque<CPacket> m_items;
    size_t m_limit;
    bool m_closed = false;
};

std::atomic<int> g_released{0};
std::atomic<size_t> g_releasedSize{0};
void onRelease(void*, size_t n) {
    g_releasedSize = n;
    ++g_released;
}

// Fills a packet's payload and extra data with a pattern derived from `seq`.
void stamp(CPacket& p, uint32_t seq) {
    std::memcpy(p.getExtraData(), &seq, sizeof seq);
    unsigned char* b = p.getBuffer();
    for (size_t i = 0; i < p.size(); ++i) b[i] = (unsigned char)(seq + i);
}

bool checkStamp(const CPacket& p, size_t offset) {
    uint32_t seq;
    std::memcpy(&seq, p.getExtraData(), sizeof seq);
    const unsigned char* b = p.getBuffer();
    for (size_t i = 0; i < p.size(); ++i) {
        if (b[i] != (unsigned char)(seq + offset + i)) return false;
    }
    return true;
}

}  // namespace

TEST(CPacketThreads, PoolPacketsCrossThreads) {
    KERNA_IN_CHILD({
        CPacketManager::PoolParameter param;
        param.totalSize = 1024 * 1024;
        CPacketManager::config(CPacketManager::policyPool, nullptr, &param);
        CPacketManager* m = CPacketManager::instance();
        char shared[256];
        CPacket external(shared, sizeof shared, TFunction2<void, void*, size_t>(&onRelease));

        BoundedQueue queue(32);
        std::atomic<int> received{0};
        std::atomic<int> bad{0};
        std::atomic<int> failed{0};
        const int kProducers = 2;
        const int kConsumers = 2;
        const int kPerProducer = 1500;
        std::vector<std::thread> threads;
        for (int t = 0; t < kProducers; ++t) {
            threads.emplace_back([&, t] {
                std::mt19937 rng(100 + t);
                CPacket mine = external;  // copied on this thread, dropped at its end
                for (int i = 0; i < kPerProducer; ++i) {
                    CPacket p(16 + rng() % 4000, 8);
                    if (!p.valid()) {
                        ++failed;
                        continue;
                    }
                    stamp(p, uint32_t(t * kPerProducer + i));
                    if (i % 2 == 0) {
                        // A view whose parent this thread drops right away.
                        size_t off = p.size() / 3;
                        CPacket view(p, off, p.size() - off, 8);
                        std::memcpy(view.getExtraData(), p.getExtraData(), 4);
                        uint32_t seq;
                        std::memcpy(&seq, p.getExtraData(), 4);
                        seq += uint32_t(off);
                        std::memcpy(view.getExtraData(), &seq, 4);
                        p.reset();
                        queue.push(view);
                    } else {
                        queue.push(p);
                    }
                    CPacket again = mine;
                }
            });
        }
        for (int t = 0; t < kConsumers; ++t) {
            threads.emplace_back([&] {
                CPacket p;
                CPacket holdExternal = external;
                while (queue.pop(p)) {
                    if (!checkStamp(p, 0)) ++bad;
                    CPacket copy(p);
                    p.reset();
                    ++received;
                }
            });
        }
        for (int t = 0; t < kProducers; ++t) threads[t].join();
        queue.close();
        for (int t = kProducers; t < kProducers + kConsumers; ++t) threads[t].join();

        EXPECT_EQ(failed.load(), 0);
        EXPECT_EQ(received.load(), kProducers * kPerProducer);
        EXPECT_EQ(bad.load(), 0);
        EXPECT_EQ(m->getFreeSize(), 1024u * 1024u);
        EXPECT_EQ(g_released.load(), 0);
        ASSERT_TRUE(external.resize(7));
        external.reset();
        EXPECT_EQ(g_released.load(), 1);
        EXPECT_EQ(g_releasedSize.load(), 7u);
    });
}

TEST(CPacketThreads, LastHandleOnAnyThreadCallsBackOnce) {
    // System policy in this process: records on the heap, counts shared by many threads.
    const int kRounds = 200;
    const int kThreads = 4;
    for (int round = 0; round < kRounds; ++round) {
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

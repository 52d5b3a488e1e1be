// BuddyAllocatorTest.cpp
//
// The pool's block bookkeeping against an independent reference model (free lists per order
// as plain containers), driven by long random sequences, plus the worked layouts of small
// pools.

#include "memory/BuddyAllocator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <random>
#include <vector>

using Tessaran::Memory::Detail::BufferList;
using Tessaran::Memory::Detail::BuddyAllocator;
using Tessaran::Memory::Detail::ChunkNode;

namespace {

const uint32_t kShift = 10;  // chunks of 1024 bytes
const uint64_t kChunk = 1024;

// The reference: each order's free list is a deque whose front is the list head's side.
// Blocks are chunk numbers; allocated blocks are kept with their order.
class Model {
public:
    explicit Model(int blockCount) : m_blockCount(blockCount) {
        m_orders = 1;
        while ((int64_t(1) << m_orders) <= blockCount) ++m_orders;
        m_lists.resize(m_orders);
        int chunk = 0;
        for (int k = m_orders - 1; k >= 0; --k) {
            if (blockCount & (1 << k)) {
                m_lists[k].push_front(chunk);
                chunk += 1 << k;
            }
        }
    }

    int orders() const { return m_orders; }

    // Smallest order whose block holds `size` bytes, -1 if none can (also for 0).
    int orderFor(uint64_t size) const {
        if (size == 0) return -1;
        for (int k = 0; k < 40; ++k) {
            if ((uint64_t(1) << k) * kChunk >= size) return k;
        }
        return -1;
    }

    // -1 when no block fits.
    int allocate(int order) {
        if (order < 0 || order >= m_orders) return -1;
        int k = order;
        while (k < m_orders && m_lists[k].empty()) ++k;
        if (k == m_orders) return -1;
        int chunk = m_lists[k].front();
        m_lists[k].pop_front();
        while (k > order) {
            --k;
            m_lists[k].push_front(chunk);  // lower half stays free
            chunk += 1 << k;
        }
        m_allocated[chunk] = order;
        return chunk;
    }

    void release(int chunk) {
        int order = m_allocated.at(chunk);
        m_allocated.erase(chunk);
        while (order + 1 < m_orders) {
            int buddy = chunk ^ (1 << order);
            if (buddy >= m_blockCount) break;
            auto& list = m_lists[order];
            auto it = std::find(list.begin(), list.end(), buddy);
            if (it == list.end()) break;
            list.erase(it);
            chunk = std::min(chunk, buddy);
            ++order;
        }
        m_lists[order].push_front(chunk);
    }

    uint64_t freeBytes() const {
        uint64_t chunks = 0;
        for (int k = 0; k < m_orders; ++k) chunks += m_lists[k].size() << k;
        return chunks * kChunk;
    }

    const std::deque<int>& list(int k) const { return m_lists[k]; }
    const std::map<int, int>& allocated() const { return m_allocated; }

private:
    int m_blockCount;
    int m_orders;
    std::vector<std::deque<int>> m_lists;
    std::map<int, int> m_allocated;
};

// The chunk numbers of one real list, head side first, checking the links both ways.
std::vector<int> realList(const BuddyAllocator& a, int k) {
    std::vector<int> out;
    const BufferList* head = &a.lists()[k];
    const ChunkNode* prev = head;
    for (const ChunkNode* n = head->next; n != head; n = n->next) {
        EXPECT_EQ(n->pre, prev);
        EXPECT_EQ(n->order, k + 1);
        out.push_back(n->realIdx);
        prev = n;
        if (out.size() > size_t(a.blockCount())) {
            ADD_FAILURE() << "list " << k << " does not close";
            break;
        }
    }
    EXPECT_EQ(head->pre, prev);
    EXPECT_EQ(head->order, k + 1);
    return out;
}

void expectSameLists(const BuddyAllocator& a, const Model& m, const char* when) {
    ASSERT_EQ(a.orderCount(), m.orders()) << when;
    for (int k = 0; k < m.orders(); ++k) {
        std::vector<int> expected(m.list(k).begin(), m.list(k).end());
        ASSERT_EQ(realList(a, k), expected) << when << ", order " << k;
    }
    ASSERT_EQ(a.freeBytes(), m.freeBytes()) << when;
}

struct Pool {
    explicit Pool(int blockCount) : region((size_t(blockCount) + 1) * kChunk) {
        uintptr_t raw = reinterpret_cast<uintptr_t>(region.data());
        uintptr_t aligned = (raw + kChunk - 1) & ~uintptr_t(kChunk - 1);
        base = region.data() + (aligned - raw);
        EXPECT_EQ(alloc.init(base, blockCount, kShift), BuddyAllocator::initOk);
    }
    std::vector<unsigned char> region;
    unsigned char* base;
    BuddyAllocator alloc;
};

int take(Pool& p, uint64_t size) {
    int32_t chunk = p.alloc.allocate(BuddyAllocator::orderOf(size, kShift));
    if (chunk >= 0) {
        int32_t id = -1;
        EXPECT_EQ(p.alloc.lookup(p.base + (uint64_t(chunk) << kShift), id), BuddyAllocator::lookupBlock);
    }
    return chunk;
}

void give(Pool& p, int chunk) {
    int32_t id = -1;
    ASSERT_EQ(p.alloc.lookup(p.base + (uint64_t(chunk) << kShift), id), BuddyAllocator::lookupBlock);
    ASSERT_EQ(id, chunk);
    p.alloc.release(id);
}

}  // namespace

TEST(BuddyAllocator, OrderOfRequest) {
    EXPECT_EQ(BuddyAllocator::orderOf(1, kShift), 0);
    EXPECT_EQ(BuddyAllocator::orderOf(1024, kShift), 0);
    EXPECT_EQ(BuddyAllocator::orderOf(1025, kShift), 1);
    EXPECT_EQ(BuddyAllocator::orderOf(2048, kShift), 1);
    EXPECT_EQ(BuddyAllocator::orderOf(2049, kShift), 2);
    EXPECT_EQ(BuddyAllocator::orderOf(0, kShift), 31);
    EXPECT_EQ(BuddyAllocator::orderOf(uint64_t(1) << 31, kShift), 21);
    // Beyond 32 bits of shifted value: no wrap to a small order.
    EXPECT_EQ(BuddyAllocator::orderOf((uint64_t(1) << 41) + 1, kShift), 31);
    EXPECT_EQ(BuddyAllocator::orderOf(4096, 12), 0);
    EXPECT_EQ(BuddyAllocator::orderOf(4097, 12), 1);
}

TEST(BuddyAllocator, EightChunksSplitFromTheTop) {
    Pool p(8);
    EXPECT_EQ(p.alloc.orderCount(), 4);
    EXPECT_EQ(realList(p.alloc, 3), std::vector<int>{0});
    EXPECT_EQ(take(p, 1), 7);
    EXPECT_EQ(realList(p.alloc, 2), std::vector<int>{0});
    EXPECT_EQ(realList(p.alloc, 1), std::vector<int>{4});
    EXPECT_EQ(realList(p.alloc, 0), std::vector<int>{6});
    EXPECT_TRUE(realList(p.alloc, 3).empty());
    EXPECT_EQ(p.alloc.nodes()[7].addr, p.base + 7 * kChunk);
    EXPECT_EQ(take(p, 1024), 6);
    EXPECT_EQ(p.alloc.freeBytes(), 6 * kChunk);
    give(p, 7);
    give(p, 6);
    EXPECT_EQ(realList(p.alloc, 3), std::vector<int>{0});
    EXPECT_EQ(p.alloc.freeBytes(), 8 * kChunk);
}

TEST(BuddyAllocator, TwelveChunksNeverMergeAcrossTheSeedBlocks) {
    Pool p(12);
    EXPECT_EQ(p.alloc.orderCount(), 4);
    EXPECT_EQ(realList(p.alloc, 3), std::vector<int>{0});
    EXPECT_EQ(realList(p.alloc, 2), std::vector<int>{8});
    // Take everything in single chunks, give it back, and the seed layout returns.
    std::vector<int> chunks;
    for (int i = 0; i < 12; ++i) chunks.push_back(take(p, 1));
    EXPECT_EQ(take(p, 1), -1);
    std::vector<int> sorted = chunks;
    std::sort(sorted.begin(), sorted.end());
    for (int i = 0; i < 12; ++i) EXPECT_EQ(sorted[i], i);
    std::mt19937 rng(5);
    std::shuffle(chunks.begin(), chunks.end(), rng);
    for (int c : chunks) give(p, c);
    EXPECT_EQ(realList(p.alloc, 3), std::vector<int>{0});
    EXPECT_EQ(realList(p.alloc, 2), std::vector<int>{8});
    EXPECT_TRUE(realList(p.alloc, 1).empty());
    EXPECT_TRUE(realList(p.alloc, 0).empty());
    // A request for 16 chunks has no list at all; one for 8 takes the low block.
    EXPECT_EQ(take(p, 16 * kChunk), -1);
    EXPECT_EQ(take(p, 8 * kChunk), 0);
}

TEST(BuddyAllocator, ThreeChunks) {
    Pool p(3);
    EXPECT_EQ(p.alloc.orderCount(), 2);
    EXPECT_EQ(take(p, 1), 2);  // the order-0 seed block, no split
    EXPECT_EQ(realList(p.alloc, 1), std::vector<int>{0});
    EXPECT_EQ(take(p, 3 * kChunk), -1);  // order 2: largest order held is 1
    give(p, 2);
    EXPECT_EQ(take(p, 3 * kChunk), -1);
}

TEST(BuddyAllocator, DefaultsGiveTwelveOrders) {
    Pool p(2048);
    EXPECT_EQ(p.alloc.orderCount(), 12);
    EXPECT_EQ(p.alloc.freeBytes(), 2097152u);
    EXPECT_EQ(realList(p.alloc, 11), std::vector<int>{0});
    EXPECT_EQ(p.alloc.managementBytes(), 2048 * sizeof(ChunkNode) + 12 * sizeof(BufferList));
}

TEST(BuddyAllocator, EmptyPoolRefusesEverything) {
    Pool p(0);
    EXPECT_EQ(p.alloc.orderCount(), 1);
    EXPECT_EQ(take(p, 1), -1);
    EXPECT_EQ(p.alloc.freeBytes(), 0u);
}

TEST(BuddyAllocator, LookupRefusesWhatIsNotAnAllocatedBlock) {
    Pool p(8);
    int32_t id = 0;
    EXPECT_EQ(p.alloc.lookup(p.base - 1, id), BuddyAllocator::lookupBelowBase);
    EXPECT_EQ(p.alloc.lookup(p.base + 8 * kChunk, id), BuddyAllocator::lookupOutside);
    EXPECT_EQ(p.alloc.lookup(p.base, id), BuddyAllocator::lookupNotABlock);  // free block
    int c = take(p, 2048);  // chunks 6..7
    EXPECT_EQ(c, 6);
    EXPECT_EQ(p.alloc.lookup(p.base + 7 * kChunk, id), BuddyAllocator::lookupNotABlock);
    EXPECT_EQ(p.alloc.lookup(p.base + 6 * kChunk + 8, id), BuddyAllocator::lookupNotABlock);
    give(p, 6);
    // Second free of the same block: it merged away and is no longer a block.
    EXPECT_EQ(p.alloc.lookup(p.base + 6 * kChunk, id), BuddyAllocator::lookupNotABlock);
    // A chunk that was a block's head and got merged into a lower buddy is no block either.
    EXPECT_EQ(take(p, 1), 7);
    EXPECT_EQ(take(p, 1), 6);
    give(p, 7);
    give(p, 6);
    EXPECT_EQ(p.alloc.lookup(p.base + 7 * kChunk, id), BuddyAllocator::lookupNotABlock);
    EXPECT_EQ(realList(p.alloc, 3), std::vector<int>{0});
}

class BuddyModel : public ::testing::TestWithParam<std::tuple<int, unsigned>> {};

TEST_P(BuddyModel, AgreesWithReferenceAfterEveryStep) {
    const int blockCount = std::get<0>(GetParam());
    const unsigned seed = std::get<1>(GetParam());
    Pool p(blockCount);
    Model m(blockCount);
    expectSameLists(p.alloc, m, "fresh");
    Model fresh(blockCount);

    std::mt19937 rng(seed);
    const uint64_t maxSize = (uint64_t(blockCount) + 2) * kChunk;
    std::vector<int> live;
    const int steps = 20000;
    for (int step = 0; step < steps; ++step) {
        bool doAlloc = live.empty() || (rng() % 100) < 55;
        if (doAlloc) {
            uint64_t size;
            switch (rng() % 8) {
                case 0: size = 0; break;
                case 1: size = 1 + rng() % kChunk; break;
                case 2: size = (uint64_t(1) << (rng() % 8)) * kChunk; break;
                default: size = 1 + rng() % (maxSize / 4 + 1); break;
            }
            int expected = m.allocate(m.orderFor(size));
            int got = take(p, size);
            ASSERT_EQ(got, expected) << "step " << step << " size " << size;
            if (got >= 0) {
                int order = m.allocated().at(got);
                // Inside the region, and no overlap with any other live block.
                ASSERT_LE(int64_t(got) + (int64_t(1) << order), blockCount);
                auto it = m.allocated().find(got);
                if (it != m.allocated().begin()) {
                    auto prev = std::prev(it);
                    ASSERT_LE(prev->first + (1 << prev->second), got);
                }
                auto next = std::next(it);
                if (next != m.allocated().end()) {
                    ASSERT_LE(got + (1 << order), next->first);
                }
                ASSERT_EQ(p.alloc.nodes()[got].addr, p.base + (uint64_t(got) << kShift));
                live.push_back(got);
            }
        } else {
            size_t i = rng() % live.size();
            int chunk = live[i];
            live[i] = live.back();
            live.pop_back();
            m.release(chunk);
            give(p, chunk);
            // A second free of the same address is never taken for a block again, unless
            // the chunk was handed out anew in between (it was not: nothing ran since).
            int32_t id;
            ASSERT_NE(p.alloc.lookup(p.base + (uint64_t(chunk) << kShift), id),
                      BuddyAllocator::lookupBlock);
        }
        expectSameLists(p.alloc, m, "step");
    }
    std::shuffle(live.begin(), live.end(), rng);
    for (int c : live) {
        m.release(c);
        give(p, c);
        expectSameLists(p.alloc, m, "drain");
    }
    expectSameLists(p.alloc, fresh, "drained");
    EXPECT_EQ(p.alloc.freeBytes(), uint64_t(blockCount) * kChunk);
}

INSTANTIATE_TEST_SUITE_P(Pools, BuddyModel,
                         ::testing::Combine(::testing::Values(1, 3, 8, 12, 13, 64, 100, 255, 256),
                                            ::testing::Values(1u, 7u, 2024u, 99991u)));

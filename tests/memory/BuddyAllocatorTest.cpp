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
typedef std::vector<std::vector<int>> Layout;  // chunk numbers per order, list head side first

// The reference: each order's free list is a deque whose front is the list head's side.
// Blocks are chunk numbers; allocated blocks are kept with their order.
class Model {
public:
    explicit Model(int blockCount) : m_blockCount(blockCount) {
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

    // Smallest order whose block holds `size` bytes, -1 if none can (also for 0).
    static int orderFor(uint64_t size) {
        for (int k = 0; size != 0 && k < 40; ++k) {
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
        allocated[chunk] = order;
        return chunk;
    }

    void release(int chunk) {
        int order = allocated.at(chunk);
        allocated.erase(chunk);
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

    Layout layout() const {
        Layout out;
        for (const auto& list : m_lists) out.emplace_back(list.begin(), list.end());
        return out;
    }

    std::map<int, int> allocated;

private:
    int m_blockCount;
    int m_orders = 1;
    std::vector<std::deque<int>> m_lists;
};

// The chunk numbers of every real list, checking the links both ways and the orders.
Layout realLayout(const BuddyAllocator& a) {
    Layout out(a.orderCount());
    for (int k = 0; k < a.orderCount(); ++k) {
        const BufferList* head = &a.lists()[k];
        const ChunkNode* prev = head;
        for (const ChunkNode* n = head->next; n != head; n = n->next) {
            EXPECT_EQ(n->pre, prev);
            EXPECT_EQ(n->order, k + 1);
            out[k].push_back(n->realIdx);
            prev = n;
            if (out[k].size() > size_t(a.blockCount())) {
                ADD_FAILURE() << "list " << k << " does not close";
                break;
            }
        }
        EXPECT_EQ(head->pre, prev);
        EXPECT_EQ(head->order, k + 1);
    }
    return out;
}

uint64_t freeBytes(const Layout& layout) {
    uint64_t chunks = 0;
    for (size_t k = 0; k < layout.size(); ++k) chunks += layout[k].size() << k;
    return chunks * kChunk;
}

struct Pool {
    explicit Pool(int blockCount) : region((size_t(blockCount) + 1) * kChunk) {
        uintptr_t raw = reinterpret_cast<uintptr_t>(region.data());
        base = region.data() + (((raw + kChunk - 1) & ~uintptr_t(kChunk - 1)) - raw);
        EXPECT_EQ(alloc.init(base, blockCount, kShift), BuddyAllocator::initOk);
    }
    unsigned char* at(int chunk) { return base + (uint64_t(chunk) << kShift); }
    int take(uint64_t size) {
        int32_t chunk = alloc.allocate(BuddyAllocator::orderOf(size, kShift)), id = -1;
        if (chunk >= 0) {
            EXPECT_EQ(alloc.lookup(at(chunk), id), BuddyAllocator::lookupBlock);
        }
        return chunk;
    }
    void give(int chunk) {
        int32_t id = -1;
        ASSERT_EQ(alloc.lookup(at(chunk), id), BuddyAllocator::lookupBlock);
        ASSERT_EQ(id, chunk);
        alloc.release(id);
    }
    std::vector<unsigned char> region;
    unsigned char* base;
    BuddyAllocator alloc;
};

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
    EXPECT_EQ(realLayout(p.alloc), (Layout{{}, {}, {}, {0}}));
    EXPECT_EQ(p.take(1), 7);
    EXPECT_EQ(realLayout(p.alloc), (Layout{{6}, {4}, {0}, {}}));
    EXPECT_EQ(p.alloc.nodes()[7].addr, p.at(7));
    EXPECT_EQ(p.take(1024), 6);
    EXPECT_EQ(p.alloc.freeBytes(), 6 * kChunk);
    p.give(7);
    p.give(6);
    EXPECT_EQ(realLayout(p.alloc), (Layout{{}, {}, {}, {0}}));
    EXPECT_EQ(p.alloc.freeBytes(), 8 * kChunk);
}

TEST(BuddyAllocator, TwelveEmptyAndDefaultPools) {
    // Twelve chunks: two seed blocks that never merge, even with everything given back.
    Pool twelve(12);
    const Layout seed = {{}, {}, {8}, {0}};
    EXPECT_EQ(realLayout(twelve.alloc), seed);
    std::vector<int> chunks;
    for (int i = 0; i < 12; ++i) chunks.push_back(twelve.take(1));
    EXPECT_EQ(twelve.take(1), -1);
    std::mt19937 rng(5);
    std::shuffle(chunks.begin(), chunks.end(), rng);
    for (int c : chunks) twelve.give(c);
    EXPECT_EQ(realLayout(twelve.alloc), seed);
    EXPECT_EQ(twelve.take(16 * kChunk), -1);  // no list of that order at all

    Pool empty(0);
    EXPECT_EQ(empty.alloc.orderCount(), 1);
    EXPECT_EQ(empty.take(1), -1);
    EXPECT_EQ(empty.alloc.freeBytes(), 0u);

    Pool defaults(2048);
    EXPECT_EQ(defaults.alloc.orderCount(), 12);
    EXPECT_EQ(defaults.alloc.freeBytes(), 2097152u);
    EXPECT_EQ(realLayout(defaults.alloc)[11], std::vector<int>{0});
    EXPECT_EQ(defaults.alloc.managementBytes(), 2048 * sizeof(ChunkNode) + 12 * sizeof(BufferList));
}

TEST(BuddyAllocator, LookupRefusesWhatIsNotAnAllocatedBlock) {
    Pool p(8);
    int32_t id = 0;
    EXPECT_EQ(p.alloc.lookup(p.base - 1, id), BuddyAllocator::lookupBelowBase);
    EXPECT_EQ(p.alloc.lookup(p.at(8), id), BuddyAllocator::lookupOutside);
    EXPECT_EQ(p.alloc.lookup(p.base, id), BuddyAllocator::lookupNotABlock);  // free block
    EXPECT_EQ(p.take(2048), 6);  // chunks 6..7
    EXPECT_EQ(p.alloc.lookup(p.at(7), id), BuddyAllocator::lookupNotABlock);
    EXPECT_EQ(p.alloc.lookup(p.at(6) + 8, id), BuddyAllocator::lookupNotABlock);
    p.give(6);
    // Second free of the same block: it merged away and is no longer a block.
    EXPECT_EQ(p.alloc.lookup(p.at(6), id), BuddyAllocator::lookupNotABlock);
    // A chunk that was a block's head and got merged into a lower buddy is no block either.
    EXPECT_EQ(p.take(1), 7);
    EXPECT_EQ(p.take(1), 6);
    p.give(7);
    p.give(6);
    EXPECT_EQ(p.alloc.lookup(p.at(7), id), BuddyAllocator::lookupNotABlock);
    EXPECT_EQ(realLayout(p.alloc), (Layout{{}, {}, {}, {0}}));
}

class BuddyModel : public ::testing::TestWithParam<std::tuple<int, unsigned>> {};

TEST_P(BuddyModel, AgreesWithReferenceAfterEveryStep) {
    const int blockCount = std::get<0>(GetParam());
    Pool p(blockCount);
    Model m(blockCount);
    const Layout fresh = m.layout();
    ASSERT_EQ(realLayout(p.alloc), fresh);

    std::mt19937 rng(std::get<1>(GetParam()));
    const uint64_t maxSize = (uint64_t(blockCount) + 2) * kChunk;
    std::vector<int> live;
    for (int step = 0; step < 20000; ++step) {
        if (live.empty() || (rng() % 100) < 55) {
            uint64_t size;
            switch (rng() % 8) {
                case 0: size = 0; break;
                case 1: size = 1 + rng() % kChunk; break;
                case 2: size = (uint64_t(1) << (rng() % 8)) * kChunk; break;
                default: size = 1 + rng() % (maxSize / 4 + 1); break;
            }
            const int got = p.take(size);
            ASSERT_EQ(got, m.allocate(Model::orderFor(size))) << "step " << step << " size " << size;
            if (got >= 0) {
                // Inside the region, and no overlap with any other live block.
                auto it = m.allocated.find(got);
                ASSERT_LE(int64_t(got) + (int64_t(1) << it->second), blockCount);
                if (it != m.allocated.begin()) {
                    ASSERT_LE(std::prev(it)->first + (1 << std::prev(it)->second), got);
                }
                if (std::next(it) != m.allocated.end()) {
                    ASSERT_LE(got + (1 << it->second), std::next(it)->first);
                }
                ASSERT_EQ(p.alloc.nodes()[got].addr, p.at(got));
                live.push_back(got);
            }
        } else {
            size_t i = rng() % live.size();
            const int chunk = live[i];
            live[i] = live.back();
            live.pop_back();
            m.release(chunk);
            p.give(chunk);
            // A second free of the same address is never taken for a block again.
            int32_t id;
            ASSERT_NE(p.alloc.lookup(p.at(chunk), id), BuddyAllocator::lookupBlock);
        }
        const Layout layout = realLayout(p.alloc);
        ASSERT_EQ(layout, m.layout()) << "step " << step;
        ASSERT_EQ(p.alloc.freeBytes(), freeBytes(layout)) << "step " << step;
    }
    std::shuffle(live.begin(), live.end(), rng);
    for (int c : live) {
        m.release(c);
        p.give(c);
        ASSERT_EQ(realLayout(p.alloc), m.layout()) << "drain";
    }
    EXPECT_EQ(realLayout(p.alloc), fresh);
    EXPECT_EQ(p.alloc.freeBytes(), uint64_t(blockCount) * kChunk);
}

INSTANTIATE_TEST_SUITE_P(Pools, BuddyModel,
                         ::testing::Combine(::testing::Values(1, 3, 8, 12, 13, 64, 100, 255, 256),
                                            ::testing::Values(1u, 7u, 2024u, 99991u)));

namespace {

// Every node's order code, then every list in chunk numbers (the links checked both ways).
std::pair<std::vector<int>, Layout> fullState(const BuddyAllocator& a) {
    std::vector<int> codes;
    for (int i = 0; i < a.blockCount(); ++i) codes.push_back(a.nodes()[i].order);
    return {codes, realLayout(a)};
}

}  // namespace

// The fast path (mask of non-empty orders, running free count, splits written at the next call)
// against the reference path on the same random calls. Observations are made only now and
// then, because each one writes a deferred split: in between, a block given back right after it
// was taken takes the undo of its split, and the next observation must still agree.
TEST(BuddyAllocator, FastPathAgreesWithTheReferencePath) {
    for (int blockCount : {1, 5, 8, 12, 100, 256, 1000}) {
        BuddyAllocator::setReferencePath(true);
        Pool ref(blockCount);
        BuddyAllocator::setReferencePath(false);
        Pool fast(blockCount);
        ASSERT_TRUE(ref.alloc.usesReferencePath());
        ASSERT_FALSE(fast.alloc.usesReferencePath());
        std::mt19937 rng{unsigned(blockCount)};
        std::vector<int> live;
        const int maxOrder = ref.alloc.orderCount();
        for (int step = 0; step < 20000; ++step) {
            const unsigned action = rng() % 10;
            if (live.empty() || action < 5) {
                const uint64_t size = (uint64_t(1) << (rng() % (maxOrder + 1))) * kChunk - rng() % kChunk;
                const int got = fast.take(size);
                ASSERT_EQ(got, ref.take(size)) << blockCount << " step " << step;
                if (got < 0) continue;
                if (action == 0) {  // straight back: the deferred split is undone
                    fast.give(got);
                    ref.give(got);
                } else {
                    live.push_back(got);
                }
            } else {
                const size_t i = action < 8 ? live.size() - 1 : rng() % live.size();
                fast.give(live[i]);
                ref.give(live[i]);
                live.erase(live.begin() + long(i));
            }
            ASSERT_EQ(fast.alloc.freeBytes(), ref.alloc.freeBytes()) << blockCount << " step " << step;
            if (rng() % 7 == 0) {
                ASSERT_EQ(fullState(fast.alloc), fullState(ref.alloc)) << blockCount << " step " << step;
            }
        }
        for (int c : live) {
            fast.give(c);
            ref.give(c);
        }
        EXPECT_EQ(fullState(fast.alloc), fullState(ref.alloc));
        EXPECT_EQ(fast.alloc.freeBytes(), uint64_t(blockCount) * kChunk);
    }
}

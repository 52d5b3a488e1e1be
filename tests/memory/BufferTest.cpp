// BufferTest.cpp
//
// CBuffer's growth rules with and without a step, and its failure lines; CMemPool's chunks,
// order of hand-out and reuse.

#include <kerna/memory/Buffer.h>
#include <kerna/memory/MemPool.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "memory/MemoryTestSupport.h"

using MemoryTest::LogCapture;
using Tessaran::Memory::CBuffer;
using Tessaran::Memory::Detail::CMemPool;

namespace {
typedef std::vector<size_t> State;
State state(const CBuffer& b) { return {b.size(), b.capacity()}; }  // {size, capacity}
}  // namespace

TEST(CBuffer, GrowthWithoutAStep) {
    CBuffer b;
    EXPECT_EQ(state(b), (State{0, 0}));
    b.reserve(100);
    EXPECT_EQ(state(b), (State{0, 100}));
    EXPECT_EQ(b.getBuffer(), nullptr);  // null while the size is 0

    unsigned char data[70];
    for (int i = 0; i < 70; ++i) data[i] = (unsigned char)i;
    CBuffer c;
    EXPECT_EQ(c.putBuffer(data, 10), 10u);
    EXPECT_EQ(state(c), (State{10, 10}));
    // Growth without a step: exactly what is needed, contents kept.
    EXPECT_EQ(c.putBuffer(data + 10, 5), 5u);
    EXPECT_EQ(state(c), (State{15, 15}));
    EXPECT_EQ(std::memcmp(c.getBuffer(), data, 15), 0);
    c.reserve(10);  // smaller: nothing
    EXPECT_EQ(state(c), (State{15, 15}));
    c.reserve(40);
    EXPECT_EQ(state(c), (State{15, 40}));
    EXPECT_EQ(std::memcmp(c.getBuffer(), data, 15), 0);

    CBuffer z;
    z.resize(0);
    EXPECT_EQ(state(z), (State{0, 0}));
    EXPECT_EQ(z.putBuffer(data, 3), 3u);
    EXPECT_EQ(state(z), (State{3, 3}));
}

// An append of the buffer's own bytes: growth freed the old block before the copy read from
// it (a heap-use-after-free under AddressSanitizer). A part that reaches behind the size
// overlaps its destination, which a plain memcpy may not be given.
TEST(CBuffer, AppendOfItsOwnBytes) {
    unsigned char text[] = "abcdefgh";
    CBuffer b;
    b.putBuffer(text, 8);
    ASSERT_EQ(state(b), (State{8, 8}));
    EXPECT_EQ(b.putBuffer(b.getBuffer(), b.size()), 8u);  // grows
    EXPECT_EQ(state(b), (State{16, 16}));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(b.getBuffer()), b.size()), "abcdefghabcdefgh");

    b.reserve(64);
    b.resize(20);
    std::memcpy(b.getBuffer() + 16, "WXYZ", 4);
    b.resize(16);
    EXPECT_EQ(b.putBuffer(b.getBuffer() + 8, 12), 12u);  // bytes 8..19 onto 16..27
    EXPECT_EQ(std::string(reinterpret_cast<char*>(b.getBuffer()), b.size()), "abcdefghabcdefghabcdefghWXYZ");
}

TEST(CBuffer, GrowthStep) {
    unsigned char data[70] = {0};
    CBuffer b;
    b.setIncreasedSize(64);
    EXPECT_EQ(state(b), (State{0, 64}));
    EXPECT_EQ(b.getBuffer(), nullptr);
    EXPECT_EQ(b.putBuffer(data, 10), 10u);
    EXPECT_EQ(state(b), (State{10, 64}));
    EXPECT_EQ(b.putBuffer(data, 60), 60u);
    EXPECT_EQ(state(b), (State{70, 128}));

    CBuffer r;
    r.setIncreasedSize(64);
    r.resize(100);
    EXPECT_EQ(state(r), (State{128, 128}));  // the size set is the raised value
    r.resize(50);
    EXPECT_EQ(state(r), (State{50, 128}));
    r.reserve(200);  // the step plays no part in reserve
    EXPECT_EQ(state(r), (State{50, 200}));
    r.reset();
    EXPECT_EQ(state(r), (State{0, 0}));
    r.putBuffer(data, 10);
    r.putBuffer(data, 10);
    EXPECT_EQ(state(r), (State{20, 20}));  // reset forgot the step

    // A first block from putBuffer or resize has no step.
    CBuffer s;
    s.resize(10);
    s.resize(11);
    EXPECT_EQ(state(s), (State{11, 11}));
}

TEST(CBuffer, FailuresLeaveTheBufferAsItWas) {
    LogCapture log;
    unsigned char data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const size_t huge = SIZE_MAX - 4;
    CBuffer b;
    EXPECT_EQ(b.putBuffer(data, huge), 0u);
    b.resize(huge);
    b.reserve(huge);
    b.setIncreasedSize(huge);
    EXPECT_EQ(state(b), (State{0, 0}));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{" CBuffer putbuffer Malloc fail:\n",
                                                         " CBuffer resize Malloc fail:\n",
                                                         " CBuffer reserve Malloc fail:\n",
                                                         " CBuffer setIncreasedSize Malloc fail:\n"}));
    log.clear();
    EXPECT_EQ(b.putBuffer(data, 8), 8u);
    EXPECT_EQ(b.putBuffer(data, huge), 0u);
    b.resize(huge);
    b.reserve(huge);
    EXPECT_EQ(state(b), (State{8, 8}));
    EXPECT_EQ(std::memcmp(b.getBuffer(), data, 8), 0);
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"CBuffer putbuffer ReMalloc fail:\n",
                                                         " CBuffer resize ReMalloc fail:\n",
                                                         " CBuffer reserve Malloc fail:\n"}));
    log.clear();
    EXPECT_EQ(b.putBuffer(nullptr, 3), 0u);
    EXPECT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(b.putBuffer(nullptr, 0), 0u);
    EXPECT_EQ(b.size(), 8u);
}

TEST(CMemPool, ChunksAndOrder) {
    CMemPool small(4, 16);
    unsigned char* a = static_cast<unsigned char*>(small.malloc());
    EXPECT_EQ(static_cast<unsigned char*>(small.malloc()) - a, 8);  // items of at least 8 bytes

    CMemPool pool(13, 2);
    unsigned char* x = static_cast<unsigned char*>(pool.malloc());
    unsigned char* y = static_cast<unsigned char*>(pool.malloc());
    EXPECT_EQ(y - x, 13);  // same chunk, ascending, no alignment added
    unsigned char* z = static_cast<unsigned char*>(pool.malloc());
    EXPECT_TRUE(z < x || z >= y + 13);  // a second chunk
    pool.free(x);
    EXPECT_EQ(pool.malloc(), x);  // freed last, handed out next
    pool.free(y);
    pool.free(z);
    EXPECT_EQ(pool.malloc(), z);
    EXPECT_EQ(pool.malloc(), y);
    std::memset(x, 0xff, 13);
    std::memset(y, 0xff, 13);
    pool.free(nullptr);
    // Destruction with items still out frees the chunks (checked by the leak sanitizer).
}

TEST(CMemPool, ItemsStayDistinctAcrossThreads) {
    CMemPool pool(24, 7);
    const int kThreads = 4;
    std::vector<std::vector<void*>> kept(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&pool, &kept, t] {
            std::vector<void*>& mine = kept[t];
            for (int i = 0; i < 2000; ++i) {
                mine.push_back(pool.malloc());
                std::memset(mine.back(), t, 24);
                if (i % 3 == 2) {
                    unsigned char* back = static_cast<unsigned char*>(mine[mine.size() / 2]);
                    for (int k = 0; k < 24; ++k) ASSERT_EQ(back[k], (unsigned char)t);
                    mine.erase(mine.begin() + long(mine.size() / 2));
                    pool.free(back);
                }
            }
        });
    }
    for (std::thread& t : threads) t.join();
    std::set<void*> all;
    for (int t = 0; t < kThreads; ++t) {
        for (void* p : kept[t]) {
            EXPECT_TRUE(all.insert(p).second);
            for (int k = 0; k < 24; ++k) ASSERT_EQ(static_cast<unsigned char*>(p)[k], (unsigned char)t);
        }
    }
}

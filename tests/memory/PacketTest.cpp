// PacketTest.cpp
//
// Packets: layouts and capacities under each policy, reference counts and callbacks of every
// kind, views keeping their parents alive, and every failure path with its line.

#include <kerna/memory/Packet.h>
#include <kerna/memory/PacketManager.h>
#include <kerna/memory/SharePacketHelper.h>

#include <atomic>
#include <cstring>
#include <vector>

#include "memory/MemoryTestSupport.h"

using MemoryTest::configured;
using MemoryTest::format;
using MemoryTest::LogCapture;
using Tessaran::Kerna::TFunction1;
using Tessaran::Kerna::TFunction2;
using Tessaran::Memory::CPacket;
using Tessaran::Memory::CPacketManager;
using Tessaran::Memory::CSharePacketHelper;
typedef std::vector<std::string> Lines;

namespace {

typedef TFunction2<void, void*, size_t> Callback;
typedef std::vector<std::pair<void*, size_t>> CallList;
typedef std::vector<size_t> Shape;

// Records every call of a release or attach callback.
struct Calls {
    CallList calls;
    void onRelease(void* p, size_t n) { calls.emplace_back(p, n); }
    Callback callback() { return Callback(&Calls::onRelease, this); }
};

std::atomic<int> g_failStatus{0};
std::atomic<int> g_failCalls{0};
void onFail(int status) {
    g_failStatus = status;
    ++g_failCalls;
}

// {size, capacity, extra size} of a packet.
Shape shape(const CPacket& p) { return {p.size(), p.capacity(), p.getExtraSize()}; }

}  // namespace

TEST(CPacket, InvalidPacketGivesNothing) {
    CPacket p, q(p);
    q = p;
    EXPECT_EQ(shape(q), (Shape{0, 0, 0}));
    EXPECT_EQ(q.getBuffer(), nullptr);
    EXPECT_EQ(q.getExtraData(), nullptr);
    char data[4] = "abc";
    EXPECT_EQ(q.putBuffer(data, 3), 0u);
    EXPECT_FALSE(q.resize(0));
    EXPECT_FALSE(q.valid());
}

TEST(CPacket, SystemPolicyLayout) {
    KERNA_IN_CHILD({
        CPacket a(100, 0), b(101, 0), d(10, 6);
        EXPECT_EQ(shape(a), (Shape{100, 100, 0}));
        EXPECT_EQ(a.getExtraData(), nullptr);
        EXPECT_EQ(shape(b), (Shape{101, 104, 0}));
        // putBuffer appends behind the size and never grows.
        char data[10] = "012345678";
        EXPECT_EQ(b.putBuffer(data, 10), 3u);
        EXPECT_EQ(b.size(), 104u);
        EXPECT_EQ(b.putBuffer(data, 10), 0u);
        EXPECT_EQ(std::memcmp(b.getBuffer() + 101, "012", 3), 0);
        EXPECT_TRUE(a.resize(a.capacity()));
        EXPECT_FALSE(a.resize(a.capacity() + 1));
        EXPECT_EQ(a.size(), 100u);
        EXPECT_TRUE(a.resize(0));
        EXPECT_EQ(a.putBuffer(data, 10), 10u);
        EXPECT_EQ(std::memcmp(a.getBuffer(), data, 10), 0);
        // Extra data sits right behind the capacity, in the same block.
        EXPECT_EQ(shape(d), (Shape{10, 12, 6}));
        EXPECT_EQ(d.getExtraData(), d.getBuffer() + 12);
        std::memset(d.getBuffer(), 0xa5, 12 + 6);
        CPacket e(0, 0);
        EXPECT_TRUE(e.valid());
        EXPECT_EQ(e.putBuffer(data, 1), 0u);
    });
}

TEST(CPacket, PoolPolicyGivesTheWholeBlock) {
    KERNA_IN_CHILD({
        CPacketManager* m = configured(CPacketManager::policyPool, 8192);
        unsigned char* base = MemoryTest::aligned();
        CPacket a(100, 0);
        EXPECT_EQ(a.getBuffer(), base + 7 * 1024);
        const size_t control = 1024 - a.capacity();  // alignUp(extraSize + R) for extraSize 0
        EXPECT_EQ(a.size(), 100u);
        EXPECT_GT(a.capacity(), 100u);
        EXPECT_EQ(control % 4, 0u);
        EXPECT_EQ(m->getFreeSize(), 7168u);

        CPacket b(100, 16);
        EXPECT_EQ(b.getBuffer(), base + 6 * 1024);
        EXPECT_EQ(shape(b), (Shape{100, 1024 - control - 16, 16}));
        EXPECT_EQ(b.getExtraData(), b.getBuffer() + b.capacity());
        // Payload and control together above one chunk: a two-chunk block.
        CPacket c(1024 - control + 1, 0);
        EXPECT_EQ(c.capacity(), 2048 - control);
        EXPECT_EQ(c.getBuffer(), base + 4 * 1024);
        EXPECT_EQ(m->getFreeSize(), 8192u - 4096u);

        // Copies share the block; the block goes back with the last handle.
        CPacket copy = a;
        EXPECT_EQ(copy.getBuffer(), a.getBuffer());
        a.reset();
        EXPECT_EQ(m->getFreeSize(), 4096u);
        copy.reset();
        b.reset();
        c.reset();
        EXPECT_EQ(m->getFreeSize(), 8192u);
    });
}

TEST(CPacket, PoolDataPolicyKeepsOnlyPayloadInThePool) {
    KERNA_IN_CHILD({
        CPacketManager* m = configured(CPacketManager::policyPoolData, 8192);
        CPacket empty(0, 0);
        EXPECT_TRUE(empty.valid());
        EXPECT_EQ(empty.getBuffer(), nullptr);
        EXPECT_EQ(m->getFreeSize(), 8192u);

        CPacket a(100, 32);
        EXPECT_EQ(shape(a), (Shape{100, 1024, 32}));
        EXPECT_EQ(a.getBuffer(), MemoryTest::aligned() + 7 * 1024);
        const unsigned char* extra = static_cast<unsigned char*>(a.getExtraData());
        EXPECT_TRUE(extra < MemoryTest::aligned() || extra >= MemoryTest::aligned() + 8192);  // heap
        std::memset(a.getExtraData(), 1, 32);
        EXPECT_EQ(m->getFreeSize(), 7168u);
        EXPECT_EQ(m->getBufferSize(), 8192u);
        LogCapture log;
        m->dumpNodes();  // dumps as the system policy, though the pool counts
        a.reset();
        EXPECT_EQ(m->getFreeSize(), 8192u);

        // The auxiliary block can't exist: the payload already taken goes back.
        EXPECT_FALSE(CPacket(10, size_t(-1) - 8).valid());
        EXPECT_EQ(log.messages(), (Lines{"CPacketManager dump: SYS Policy\n",
                                         "PacketInternal::create(): malloc failured! size:4294967295\n"}));
        EXPECT_EQ(m->getFreeSize(), 8192u);
    });
}

TEST(CPacket, FullPoolFailsWithLinesAndStatus) {
    KERNA_IN_CHILD({
        configured(CPacketManager::policyPool, 4096);
        LogCapture log;
        Tessaran::Memory::setPacketFailCallback(TFunction1<void, int>(&onFail));
        EXPECT_EQ(log.messages(), Lines{"set MallocFailStatus callback success!\n"});
        std::vector<CPacket> held;
        for (int i = 0; i < 4; ++i) held.push_back(CPacket(10, 0));
        for (const CPacket& p : held) EXPECT_TRUE(p.valid());
        log.clear();
        EXPECT_FALSE(CPacket(10, 0).valid());
        EXPECT_EQ(log.messages(),
                  (Lines{"CPacket No Free Space, totalSize:4096, freeSize:0 \n",
                         "PacketInternal::create(): NO enough, need size:10 ext:0\n"}));
        EXPECT_EQ(g_failCalls.load(), 1);
        EXPECT_EQ(g_failStatus.load(), 0x1000000d);
        // Sizes in the messages are 32 bits wide.
        log.clear();
        EXPECT_FALSE(CPacket((size_t(1) << 32) + 5, 7).valid());
        EXPECT_EQ(log.messages().back(), "PacketInternal::create(): NO enough, need size:5 ext:7\n");
        EXPECT_EQ(g_failCalls.load(), 2);
        held.clear();
        EXPECT_EQ(CPacketManager::instance()->getFreeSize(), 4096u);
    });
    KERNA_IN_CHILD({
        configured(CPacketManager::policyPoolData, 2048);
        Tessaran::Memory::setPacketFailCallback(TFunction1<void, int>(&onFail));
        CPacket a(2048, 0);
        EXPECT_TRUE(a.valid());
        LogCapture log;
        EXPECT_FALSE(CPacket(1, 3).valid());
        EXPECT_EQ(log.messages(),
                  (Lines{"CPacket No Free Space, totalSize:2048, freeSize:0 \n",
                         "PacketInternal::create(): 2 NO enough, need size:1 ext:3\n"}));
        EXPECT_EQ(g_failCalls.load(), 1);
    });
}

// A fail callback that asks for an alarm packet while the pool is exhausted: the alarm's own
// failure raised the callback again, without end, until the stack ran out. The inner failure
// now logs its lines and gives an invalid packet, without a second call.
TEST(CPacket, FailCallbackThatAllocates) {
    KERNA_IN_CHILD({
        configured(CPacketManager::policyPool, 2048);
        CPacket whole(1500, 0);  // the whole pool
        ASSERT_TRUE(whole.valid());
        Tessaran::Memory::setPacketFailCallback(TFunction1<void, int>(+[](int status) {
            ++g_failCalls;
            g_failStatus = status;
            EXPECT_FALSE(CPacket(32, 0).valid());
        }));
        LogCapture log;
        EXPECT_FALSE(CPacket(10, 0).valid());
        const char* full = "CPacket No Free Space, totalSize:2048, freeSize:0 \n";
        EXPECT_EQ(log.messages(), (Lines{full, "PacketInternal::create(): NO enough, need size:10 ext:0\n", full,
                                         "PacketInternal::create(): NO enough, need size:32 ext:0\n"}));
        EXPECT_EQ(g_failCalls.load(), 1);
        EXPECT_EQ(g_failStatus.load(), 0x1000000d);
        EXPECT_FALSE(CPacket(10, 0).valid());  // a later failure raises it again
        EXPECT_EQ(g_failCalls.load(), 2);
    });
}

TEST(CPacket, ReferenceCountsAssignmentAndTheShareHelper) {
    CSharePacketHelper* helper = CSharePacketHelper::instance();
    Calls calls;
    char buffer[64];
    {
        CPacket b(buffer, sizeof buffer, calls.callback());
        {
            CPacket a;
            a = b;
            EXPECT_EQ(a.getBuffer(), b.getBuffer());
        }
        b = b;  // self-assignment changes nothing
        CPacket c = helper->toOriginalPacket(helper->toDescribePacket(b));  // handles on b's record
        EXPECT_EQ(c.getBuffer(), b.getBuffer());
        c = b;  // already shared: nothing
        CPacket d(buffer, 8, calls.callback());
        c = d;  // c leaves b's record for d's
        EXPECT_TRUE(calls.calls.empty());
        d.reset();
        c.reset();
        EXPECT_EQ(calls.calls, (CallList{{buffer, 8}}));
        EXPECT_TRUE(b.valid());
    }
    EXPECT_EQ(calls.calls, (CallList{{buffer, 8}, {buffer, 64}}));
    EXPECT_FALSE(helper->initSharePacket(nullptr));
}

TEST(CPacket, ExternalCallsBackWithTheSizeOfThatMoment) {
    Calls calls;
    char buffer[100];
    {
        CPacket p(buffer, 100, calls.callback());
        EXPECT_EQ(shape(p), (Shape{100, 100, 0}));
        EXPECT_EQ(p.getExtraData(), nullptr);
        EXPECT_TRUE(p.resize(10));
        CPacket q = p;
        p.reset();
        EXPECT_TRUE(calls.calls.empty());
    }
    {
        CPacket p(buffer, 100, 24, calls.callback());
        EXPECT_EQ(p.getExtraSize(), 24u);
        ASSERT_NE(p.getExtraData(), nullptr);
        std::memset(p.getExtraData(), 0, 24);
        EXPECT_EQ(CPacket(buffer, 100, 0, Callback()).getExtraData(), nullptr);
    }
    EXPECT_EQ(calls.calls, (CallList{{buffer, 10}, {buffer, 100}}));

    LogCapture log;
    EXPECT_FALSE(CPacket(nullptr, 10, calls.callback()).valid());
    EXPECT_EQ(log.messages(), Lines{"PacketInternal::create(): external buffer is NULL! size:10\n"});
    EXPECT_EQ(calls.calls.size(), 2u);
}

TEST(CPacket, AttachedCallsBackOnlyWithABuffer) {
    Calls calls;
    int arg = 0;
    {
        CPacket p(100u, calls.callback(), &arg, 0);
        EXPECT_TRUE(p.valid());
        EXPECT_EQ(p.getBuffer(), nullptr);
        EXPECT_EQ(shape(p), (Shape{100, 100, 0}));
    }
    EXPECT_TRUE(calls.calls.empty());

    char first[50], second[40];
    {
        CPacket p(100u, calls.callback(), &arg, 16);
        EXPECT_EQ(p.getExtraSize(), 16u);
        ASSERT_NE(p.getExtraData(), nullptr);
        EXPECT_EQ(p.putBuffer(first, 50), 50u);
        EXPECT_EQ(p.getBuffer(), reinterpret_cast<unsigned char*>(first));
        EXPECT_EQ(p.size(), 50u);
        EXPECT_EQ(p.putBuffer(second, 40), 40u);  // replaces; the first gets no callback
        EXPECT_EQ(p.getBuffer(), reinterpret_cast<unsigned char*>(second));
        EXPECT_FALSE(p.resize(101));
        EXPECT_TRUE(p.resize(100));
        CPacket copy(p);
    }
    EXPECT_EQ(calls.calls, (CallList{{&arg, 100}}));  // the constructor's size, not putBuffer's
}

TEST(CPacket, ViewsKeepTheirParentAlive) {
    Calls calls;
    char buffer[100];
    CPacket view, viewOfView;
    {
        CPacket parent(buffer, 100, calls.callback());
        view = CPacket(parent, 10, 50, 8);
        EXPECT_EQ(view.getBuffer(), reinterpret_cast<unsigned char*>(buffer) + 10);
        EXPECT_EQ(shape(view), (Shape{50, 50, 8}));
        ASSERT_NE(view.getExtraData(), nullptr);
        std::memset(view.getExtraData(), 0, 8);
        char data[4] = "xyz";
        EXPECT_EQ(view.putBuffer(data, 4), 0u);  // full until resized smaller
        ASSERT_TRUE(view.resize(0));
        EXPECT_EQ(view.putBuffer(data, 4), 4u);
        EXPECT_STREQ(buffer + 10, "xyz");  // a view writes into its parent's memory
        ASSERT_TRUE(view.resize(50));
        viewOfView = CPacket(view, 40, 10, 0);
        EXPECT_EQ(viewOfView.getBuffer(), reinterpret_cast<unsigned char*>(buffer) + 50);
        // The parent's later resize doesn't reach the view.
        EXPECT_TRUE(parent.resize(5));
        EXPECT_EQ(view.size(), 50u);
    }
    EXPECT_TRUE(calls.calls.empty());
    view.reset();
    EXPECT_TRUE(calls.calls.empty());  // the view of the view still holds the chain
    viewOfView.reset();
    EXPECT_EQ(calls.calls, (CallList{{buffer, 5}}));
}

TEST(CPacket, ViewRangesAreChecked) {
    char buffer[100];
    CPacket parent(buffer, 100, Callback());
    LogCapture log;
    const char* fmt =
        "PacketInternal::create() offset or size is invalid!! huge_size:%lu, offset:%lu, size:%lu\n";
    EXPECT_FALSE(CPacket(parent, 100, 0, 0).valid());
    EXPECT_FALSE(CPacket(parent, 60, 41, 0).valid());
    EXPECT_FALSE(CPacket(parent, 1, size_t(-1), 0).valid());  // no wrap of offset + size
    EXPECT_FALSE(CPacket(CPacket(), 0, 0, 0).valid());
    EXPECT_TRUE(CPacket(parent, 60, 40, 0).valid());
    EXPECT_TRUE(CPacket(parent, 99, 0, 0).valid());
    EXPECT_EQ(log.messages(), (Lines{format(fmt, 100ul, 100ul, 0ul), format(fmt, 100ul, 60ul, 41ul),
                                     format(fmt, 100ul, 1ul, 4294967295ul), format(fmt, 0ul, 0ul, 0ul)}));
}

TEST(CPacket, PutBufferRefusesNullData) {
    CPacket p(16, 0);
    ASSERT_TRUE(p.resize(0));
    LogCapture log;
    EXPECT_EQ(p.putBuffer(nullptr, 4), 0u);
    EXPECT_EQ(p.size(), 0u);
    Lines msgs = log.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].rfind("this:0x", 0), 0u);
    EXPECT_EQ(msgs[0].substr(msgs[0].find(' ')), " putBuffer data is NULL\n");
}

TEST(CPacket, ExternalPacketsFreezeTheConfiguration) {
    KERNA_IN_CHILD({
        char buffer[8];
        CPacket p(buffer, 8, Callback());
        LogCapture log;
        CPacketManager::PoolParameter param = MemoryTest::pool(8192);
        CPacketManager::config(CPacketManager::policyPool, nullptr, &param);
        EXPECT_EQ(log.messages(),
                  Lines{"PacketManagerInternal::config() failured: Packet Manager has been configured!\n"});
    });
}

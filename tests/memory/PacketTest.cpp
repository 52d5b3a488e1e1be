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
#include "memory/PacketManagerInternal.h"

using MemoryTest::LogCapture;
using Tessaran::Kerna::TFunction1;
using Tessaran::Kerna::TFunction2;
using Tessaran::Memory::CPacket;
using Tessaran::Memory::CPacketManager;
using Tessaran::Memory::CSharePacketHelper;
using Tessaran::Memory::PacketManagerInternal;

namespace {

typedef TFunction2<void, void*, size_t> Callback;

// Records every call of a release or attach callback.
struct Calls {
    struct Call {
        void* pointer;
        size_t size;
    };
    std::vector<Call> calls;
    void onRelease(void* p, size_t n) { calls.push_back({p, n}); }
    Callback callback() { return Callback(&Calls::onRelease, this); }
};

std::atomic<int> g_failStatus{0};
std::atomic<int> g_failCalls{0};
void onFail(int status) {
    g_failStatus = status;
    ++g_failCalls;
}

void configure(CPacketManager::Policy policy, uint64_t total, uint64_t align = 4) {
    CPacketManager::PoolParameter p;
    p.totalSize = total;
    p.chunkSize = 1024;
    p.alignSize = align;
    CPacketManager::config(policy, nullptr, &p);
}

bool inPool(const void* p) {
    const unsigned char* base = PacketManagerInternal::instance()->alignedBuffer();
    const unsigned char* q = static_cast<const unsigned char*>(p);
    return base != nullptr && q >= base && q < base + CPacketManager::instance()->getBufferSize();
}

}  // namespace

TEST(CPacket, InvalidPacketGivesNothing) {
    CPacket p;
    EXPECT_FALSE(p.valid());
    EXPECT_EQ(p.size(), 0u);
    EXPECT_EQ(p.capacity(), 0u);
    EXPECT_EQ(p.getBuffer(), nullptr);
    EXPECT_EQ(p.getExtraData(), nullptr);
    EXPECT_EQ(p.getExtraSize(), 0u);
    char data[4] = "abc";
    EXPECT_EQ(p.putBuffer(data, 3), 0u);
    EXPECT_FALSE(p.resize(0));
    p.reset();
    EXPECT_FALSE(p.valid());
    CPacket q(p);
    EXPECT_FALSE(q.valid());
    q = p;
    EXPECT_FALSE(q.valid());
}

TEST(CPacket, SystemPolicyLayout) {
    KERNA_IN_CHILD({
        CPacket a(100, 0);
        ASSERT_TRUE(a.valid());
        EXPECT_EQ(a.size(), 100u);
        EXPECT_EQ(a.capacity(), 100u);
        EXPECT_EQ(a.getExtraData(), nullptr);
        EXPECT_EQ(a.getExtraSize(), 0u);

        CPacket b(101, 0);
        EXPECT_EQ(b.size(), 101u);
        EXPECT_EQ(b.capacity(), 104u);
        // putBuffer appends behind the size and never grows.
        char data[10] = "012345678";
        EXPECT_EQ(b.putBuffer(data, 10), 3u);
        EXPECT_EQ(b.size(), 104u);
        EXPECT_EQ(b.putBuffer(data, 10), 0u);
        EXPECT_EQ(std::memcmp(b.getBuffer() + 101, "012", 3), 0);

        CPacket c(100, 0);
        ASSERT_TRUE(c.resize(96));
        EXPECT_EQ(c.putBuffer(data, 10), 4u);
        EXPECT_EQ(c.size(), 100u);
        EXPECT_TRUE(c.resize(c.capacity()));
        EXPECT_FALSE(c.resize(c.capacity() + 1));
        EXPECT_EQ(c.size(), 100u);
        EXPECT_TRUE(c.resize(0));
        EXPECT_EQ(c.putBuffer(data, 10), 10u);
        EXPECT_EQ(std::memcmp(c.getBuffer(), data, 10), 0);

        // Extra data sits right behind the capacity, in the same block.
        CPacket d(10, 6);
        EXPECT_EQ(d.capacity(), 12u);
        EXPECT_EQ(d.getExtraSize(), 6u);
        EXPECT_EQ(d.getExtraData(), d.getBuffer() + 12);
        std::memset(d.getExtraData(), 0x5a, 6);
        std::memset(d.getBuffer(), 0xa5, d.capacity());
        EXPECT_EQ(static_cast<unsigned char*>(d.getExtraData())[5], 0x5a);

        CPacket e(0, 0);
        EXPECT_TRUE(e.valid());
        EXPECT_EQ(e.capacity(), 0u);
        EXPECT_EQ(e.putBuffer(data, 1), 0u);
    });
}

TEST(CPacket, PoolPolicyGivesTheWholeBlock) {
    KERNA_IN_CHILD({
        configure(CPacketManager::policyPool, 8192);
        CPacketManager* m = CPacketManager::instance();
        unsigned char* base = PacketManagerInternal::instance()->alignedBuffer();
        CPacket a(100, 0);
        ASSERT_TRUE(a.valid());
        EXPECT_EQ(a.getBuffer(), base + 7 * 1024);
        EXPECT_EQ(a.size(), 100u);
        const size_t control = 1024 - a.capacity();  // alignUp(extraSize + R) for extraSize 0
        EXPECT_GT(a.capacity(), 100u);
        EXPECT_EQ(control % 4, 0u);
        EXPECT_EQ(m->getFreeSize(), 7168u);

        CPacket b(100, 16);
        EXPECT_EQ(b.getBuffer(), base + 6 * 1024);
        EXPECT_EQ(b.capacity(), 1024 - control - 16);
        EXPECT_EQ(b.getExtraData(), b.getBuffer() + b.capacity());
        EXPECT_TRUE(inPool(b.getExtraData()));

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
        configure(CPacketManager::policyPoolData, 8192);
        CPacketManager* m = CPacketManager::instance();
        CPacket empty(0, 0);
        EXPECT_TRUE(empty.valid());
        EXPECT_EQ(empty.getBuffer(), nullptr);
        EXPECT_EQ(empty.capacity(), 0u);
        EXPECT_EQ(m->getFreeSize(), 8192u);

        CPacket a(100, 32);
        EXPECT_EQ(a.size(), 100u);
        EXPECT_EQ(a.capacity(), 1024u);
        EXPECT_TRUE(inPool(a.getBuffer()));
        EXPECT_EQ(a.getExtraSize(), 32u);
        EXPECT_FALSE(inPool(a.getExtraData()));
        std::memset(a.getExtraData(), 1, 32);
        EXPECT_EQ(m->getFreeSize(), 7168u);
        a.reset();
        EXPECT_EQ(m->getFreeSize(), 8192u);

        // The auxiliary block can't exist: the payload already taken goes back.
        LogCapture log;
        CPacket huge(10, size_t(-1) - 8);
        EXPECT_FALSE(huge.valid());
        EXPECT_EQ(log.messages(),
                  std::vector<std::string>{"PacketInternal::create(): malloc failured! size:4294967295\n"});
        EXPECT_EQ(m->getFreeSize(), 8192u);
    });
}

TEST(CPacket, FullPoolFailsWithLinesAndStatus) {
    KERNA_IN_CHILD({
        configure(CPacketManager::policyPool, 4096);
        LogCapture log;
        Tessaran::Memory::setPacketFailCallback(TFunction1<void, int>(&onFail));
        EXPECT_EQ(log.messages(), std::vector<std::string>{"set MallocFailStatus callback success!\n"});
        std::vector<CPacket> held;
        for (int i = 0; i < 4; ++i) held.push_back(CPacket(10, 0));
        for (const CPacket& p : held) EXPECT_TRUE(p.valid());
        log.clear();
        CPacket none(10, 0);
        EXPECT_FALSE(none.valid());
        EXPECT_EQ(log.messages(),
                  (std::vector<std::string>{"CPacket No Free Space, totalSize:4096, freeSize:0 \n",
                                            "PacketInternal::create(): NO enough, need size:10 ext:0\n"}));
        EXPECT_EQ(g_failCalls.load(), 1);
        EXPECT_EQ(g_failStatus.load(), 0x1000000d);
        // Sizes in the messages are 32 bits wide.
        log.clear();
        CPacket big((size_t(1) << 32) + 5, 7);
        EXPECT_FALSE(big.valid());
        EXPECT_EQ(log.count("PacketInternal::create(): NO enough, need size:5 ext:7\n"), 1);
        EXPECT_EQ(g_failCalls.load(), 2);
        held.clear();
        EXPECT_EQ(CPacketManager::instance()->getFreeSize(), 4096u);
    });
    KERNA_IN_CHILD({
        configure(CPacketManager::policyPoolData, 2048);
        Tessaran::Memory::setPacketFailCallback(TFunction1<void, int>(&onFail));
        CPacket a(2048, 0);
        EXPECT_TRUE(a.valid());
        LogCapture log;
        CPacket b(1, 3);
        EXPECT_FALSE(b.valid());
        EXPECT_EQ(log.messages(),
                  (std::vector<std::string>{"CPacket No Free Space, totalSize:2048, freeSize:0 \n",
                                            "PacketInternal::create(): 2 NO enough, need size:1 ext:3\n"}));
        EXPECT_EQ(g_failCalls.load(), 1);
    });
}

TEST(CPacket, ReferenceCountsAndAssignment) {
    Calls calls;
    char buffer[64];
    {
        CPacket b(buffer, sizeof buffer, calls.callback());
        {
            CPacket a;
            a = b;
            EXPECT_EQ(a.getBuffer(), b.getBuffer());
            a.reset();
            EXPECT_TRUE(b.valid());
        }
        b = b;  // self-assignment changes nothing
        CPacket c(b);
        c = b;  // already shared: nothing
        CPacket d(buffer, 8, calls.callback());
        c = d;  // c leaves b's record for d's
        EXPECT_TRUE(calls.calls.empty());
        d.reset();
        c.reset();
        ASSERT_EQ(calls.calls.size(), 1u);
        EXPECT_EQ(calls.calls[0].size, 8u);
        EXPECT_TRUE(b.valid());
    }
    ASSERT_EQ(calls.calls.size(), 2u);
    EXPECT_EQ(calls.calls[1].pointer, buffer);
    EXPECT_EQ(calls.calls[1].size, 64u);
}

TEST(CPacket, ExternalCallsBackWithTheSizeOfThatMoment) {
    Calls calls;
    char buffer[100];
    {
        CPacket p(buffer, 100, calls.callback());
        EXPECT_EQ(p.size(), 100u);
        EXPECT_EQ(p.capacity(), 100u);
        EXPECT_EQ(p.getExtraData(), nullptr);
        EXPECT_TRUE(p.resize(10));
        CPacket q = p;
        p.reset();
        EXPECT_TRUE(calls.calls.empty());
    }
    ASSERT_EQ(calls.calls.size(), 1u);
    EXPECT_EQ(calls.calls[0].pointer, buffer);
    EXPECT_EQ(calls.calls[0].size, 10u);

    {
        CPacket p(buffer, 100, 24, calls.callback());
        EXPECT_EQ(p.getExtraSize(), 24u);
        ASSERT_NE(p.getExtraData(), nullptr);
        std::memset(p.getExtraData(), 0, 24);
        CPacket noExtra(buffer, 100, 0, Callback());
        EXPECT_EQ(noExtra.getExtraData(), nullptr);
    }
    EXPECT_EQ(calls.calls.size(), 2u);

    LogCapture log;
    CPacket nullBuffer(nullptr, 10, calls.callback());
    EXPECT_FALSE(nullBuffer.valid());
    EXPECT_EQ(log.messages(),
              std::vector<std::string>{"PacketInternal::create(): external buffer is NULL! size:10\n"});
    EXPECT_EQ(calls.calls.size(), 2u);
}

TEST(CPacket, AttachedCallsBackOnlyWithABuffer) {
    Calls calls;
    int arg = 0;
    {
        CPacket p(100u, calls.callback(), &arg, 0);
        EXPECT_TRUE(p.valid());
        EXPECT_EQ(p.getBuffer(), nullptr);
        EXPECT_EQ(p.size(), 100u);
        EXPECT_EQ(p.capacity(), 100u);
    }
    EXPECT_TRUE(calls.calls.empty());

    char first[50];
    char second[40];
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
    ASSERT_EQ(calls.calls.size(), 1u);
    EXPECT_EQ(calls.calls[0].pointer, &arg);
    EXPECT_EQ(calls.calls[0].size, 100u);  // the constructor's size, not the putBuffer length
}

TEST(CPacket, ViewsKeepTheirParentAlive) {
    Calls calls;
    char buffer[100];
    for (int i = 0; i < 100; ++i) buffer[i] = char(i);
    CPacket view;
    CPacket viewOfView;
    {
        CPacket parent(buffer, 100, calls.callback());
        view = CPacket(parent, 10, 50, 8);
        ASSERT_TRUE(view.valid());
        EXPECT_EQ(view.getBuffer(), reinterpret_cast<unsigned char*>(buffer) + 10);
        EXPECT_EQ(view.size(), 50u);
        EXPECT_EQ(view.capacity(), 50u);
        EXPECT_EQ(view.getExtraSize(), 8u);
        ASSERT_NE(view.getExtraData(), nullptr);
        std::memset(view.getExtraData(), 0, 8);
        char data[4] = "xyz";
        EXPECT_EQ(view.putBuffer(data, 4), 0u);  // full until resized smaller
        ASSERT_TRUE(view.resize(0));
        EXPECT_EQ(view.putBuffer(data, 4), 4u);
        EXPECT_STREQ(buffer + 10, "xyz");  // a view writes into its parent's memory
        ASSERT_TRUE(view.resize(50));
        viewOfView = CPacket(view, 40, 10, 0);
        ASSERT_TRUE(viewOfView.valid());
        EXPECT_EQ(viewOfView.getBuffer(), reinterpret_cast<unsigned char*>(buffer) + 50);
        // The parent's later resize doesn't reach the view.
        EXPECT_TRUE(parent.resize(5));
        EXPECT_EQ(view.size(), 50u);
        EXPECT_EQ(view.getBuffer(), reinterpret_cast<unsigned char*>(buffer) + 10);
    }
    EXPECT_TRUE(calls.calls.empty());
    view.reset();
    EXPECT_TRUE(calls.calls.empty());  // the view of the view still holds the chain
    viewOfView.reset();
    ASSERT_EQ(calls.calls.size(), 1u);
    EXPECT_EQ(calls.calls[0].size, 5u);
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
    std::vector<std::string> expected = {LogCapture::format(fmt, 100ul, 100ul, 0ul),
                                         LogCapture::format(fmt, 100ul, 60ul, 41ul),
                                         LogCapture::format(fmt, 100ul, 1ul, 4294967295ul),
                                         LogCapture::format(fmt, 0ul, 0ul, 0ul)};
    EXPECT_EQ(log.messages(), expected);
}

TEST(CPacket, PutBufferRefusesNullData) {
    CPacket p(16, 0);
    ASSERT_TRUE(p.resize(0));
    LogCapture log;
    EXPECT_EQ(p.putBuffer(nullptr, 4), 0u);
    EXPECT_EQ(p.size(), 0u);
    std::vector<std::string> msgs = log.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].rfind("this:0x", 0), 0u);
    EXPECT_EQ(msgs[0].substr(msgs[0].find(' ')), " putBuffer data is NULL\n");
}

TEST(CPacket, ShareHelperCopiesHandles) {
    CSharePacketHelper* helper = CSharePacketHelper::instance();
    EXPECT_EQ(helper, CSharePacketHelper::instance());
    Calls calls;
    char buffer[8];
    {
        CPacket p(buffer, 8, calls.callback());
        CPacket d = helper->toDescribePacket(p);
        CPacket o = helper->toOriginalPacket(d);
        EXPECT_EQ(d.getBuffer(), p.getBuffer());
        EXPECT_EQ(o.getBuffer(), p.getBuffer());
        p.reset();
        d.reset();
        EXPECT_TRUE(calls.calls.empty());
    }
    EXPECT_EQ(calls.calls.size(), 1u);
    EXPECT_FALSE(helper->initSharePacket(nullptr));
}

TEST(CPacket, ExternalPacketsFreezeTheConfiguration) {
    KERNA_IN_CHILD({
        char buffer[8];
        CPacket p(buffer, 8, Callback());
        LogCapture log;
        configure(CPacketManager::policyPool, 8192);
        EXPECT_EQ(log.messages(), std::vector<std::string>{"PacketManagerInternal::config() failured: Packet "
                                                           "Manager has been configured!\n"});
    });
}

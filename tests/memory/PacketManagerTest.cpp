// PacketManagerTest.cpp
//
// The pool manager under each policy, each test in a fresh child that configures before the
// first use: region and seeding of a pool, order of hand-out, refusals with their lines, the
// copy operation's routing, statistics by thread, the dumps.

#include <kerna/memory/Packet.h>
#include <kerna/memory/PacketManager.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "memory/MemoryTestSupport.h"
#include "memory/PacketManagerInternal.h"
#include "platform/Tls.h"

using MemoryTest::LogCapture;
using Tessaran::Kerna::TFunction1;
using Tessaran::Kerna::TFunction3;
using Tessaran::Memory::CPacket;
using Tessaran::Memory::CPacketManager;
using Tessaran::Memory::PacketManagerInternal;

namespace {

std::atomic<int> g_mallocCalls{0};
std::atomic<size_t> g_lastMallocSize{0};
std::atomic<void*> g_lastMalloc{nullptr};
std::atomic<int> g_freeCalls{0};
std::atomic<int> g_memcpyCalls{0};

void* countingMalloc(size_t n) {
    ++g_mallocCalls;
    g_lastMallocSize = n;
    void* p = std::malloc(n);
    g_lastMalloc = p;
    return p;
}
void countingFree(void* p) {
    ++g_freeCalls;
    std::free(p);
}
void* countingMemcpy(void* d, const void* s, size_t n) {
    ++g_memcpyCalls;
    return std::memcpy(d, s, n);
}
void* refusingMalloc(size_t) { return nullptr; }

CPacketManager::MemoryOperator countingOperators() {
    CPacketManager::MemoryOperator op;
    op.malloc = TFunction1<void*, size_t>(&countingMalloc);
    op.free = TFunction1<void, void*>(&countingFree);
    op.memcpy = TFunction3<void*, void*, const void*, size_t>(&countingMemcpy);
    return op;
}

CPacketManager::PoolParameter pool(uint64_t total, uint64_t chunk = 1024, uint64_t align = 4) {
    CPacketManager::PoolParameter p;
    p.totalSize = total;
    p.chunkSize = chunk;
    p.alignSize = align;
    return p;
}

void configurePool(CPacketManager::Policy policy, uint64_t total) {
    CPacketManager::PoolParameter p = pool(total);
    CPacketManager::config(policy, nullptr, &p);
}

unsigned char* aligned() { return PacketManagerInternal::instance()->alignedBuffer(); }

std::vector<int> freeList(int order) {
    const Tessaran::Memory::Detail::BuddyAllocator& b = PacketManagerInternal::instance()->buddy();
    std::vector<int> out;
    const Tessaran::Memory::Detail::BufferList* head = &b.lists()[order];
    for (auto* n = head->next; n != head; n = n->next) out.push_back(n->realIdx);
    return out;
}

const char* const kRefusal =
    "PacketManagerInternal::config() failured: Packet Manager has been configured!\n";

}  // namespace

TEST(CPacketManager, SystemPolicyByDefault) {
    KERNA_IN_CHILD({
        LogCapture log;
        CPacketManager::Policy policy;
        CPacketManager::PoolParameter param;
        CPacketManager::getConfig(policy, param);
        EXPECT_EQ(policy, CPacketManager::policySystem);
        EXPECT_EQ(param.totalSize, 2097152u);
        EXPECT_EQ(param.chunkSize, 1024u);
        EXPECT_EQ(param.alignSize, 4u);

        CPacketManager* m = CPacketManager::instance();
        EXPECT_EQ(m, CPacketManager::instance());
        EXPECT_EQ(log.messages(), std::vector<std::string>{"CPacketManager: System Policy\n"});
        EXPECT_EQ(m->getBufferSize(), 0u);
        EXPECT_EQ(m->getFreeSize(), 0u);
        EXPECT_EQ(m->getPoolBuffer(), nullptr);

        log.clear();
        m->dumpNodes();
        EXPECT_EQ(log.messages(), std::vector<std::string>{"CPacketManager dump: SYS Policy\n"});

        // Frozen: a later config is refused and changes nothing.
        log.clear();
        CPacketManager::PoolParameter p = pool(8192);
        CPacketManager::config(CPacketManager::policyPool, nullptr, &p);
        EXPECT_EQ(log.messages(), std::vector<std::string>{kRefusal});
        CPacketManager::getConfig(policy, param);
        EXPECT_EQ(policy, CPacketManager::policySystem);
        EXPECT_EQ(param.totalSize, 2097152u);

        log.clear();
        EXPECT_FALSE(m->advisePacket());
        EXPECT_EQ(log.messages(), std::vector<std::string>{"USE_PACKET_ADVISE mode is not used!\n"});

        void* p1 = m->malloc(100);
        ASSERT_NE(p1, nullptr);
        EXPECT_EQ(m->memcpy(p1, "abc", 4), p1);
        EXPECT_STREQ(static_cast<char*>(p1), "abc");
        m->free(p1);
        m->free(nullptr);
    });
}

TEST(CPacketManager, SystemPolicyGoesThroughTheOperators) {
    KERNA_IN_CHILD({
        CPacketManager::MemoryOperator op = countingOperators();
        CPacketManager::config(CPacketManager::policyKeep, &op, nullptr);
        CPacketManager* m = CPacketManager::instance();
        EXPECT_EQ(g_mallocCalls.load(), 0);  // no region under the system policy
        void* p = m->malloc(333);
        EXPECT_EQ(g_mallocCalls.load(), 1);
        EXPECT_EQ(g_lastMallocSize.load(), 333u);
        char local[8] = "xyz";
        m->memcpy(p, local, 4);
        EXPECT_EQ(g_memcpyCalls.load(), 1);
        m->free(p);
        EXPECT_EQ(g_freeCalls.load(), 1);
    });
}

TEST(CPacketManager, ConfigOverlaysGroupsBeforeFirstUse) {
    KERNA_IN_CHILD({
        LogCapture log;
        CPacketManager::config(CPacketManager::policyKeep, nullptr, nullptr);
        CPacketManager::Policy policy;
        CPacketManager::PoolParameter param;
        CPacketManager::getConfig(policy, param);
        EXPECT_EQ(policy, CPacketManager::policySystem);
        EXPECT_EQ(param.totalSize, 2097152u);
        EXPECT_TRUE(log.messages().empty());

        CPacketManager::config(CPacketManager::policyPoolData, nullptr, nullptr);
        CPacketManager::PoolParameter p = pool(8192, 1024, 6);
        CPacketManager::config(CPacketManager::policyKeep, nullptr, &p);
        CPacketManager::getConfig(policy, param);
        EXPECT_EQ(policy, CPacketManager::policyPoolData);
        EXPECT_EQ(param.totalSize, 8192u);
        EXPECT_EQ(param.alignSize, 6u);
        // An alignSize of 6 acts as 4.
        PacketManagerInternal* internal = PacketManagerInternal::instance();
        EXPECT_EQ(internal->alignUp(5), 8u);
        EXPECT_EQ(internal->alignUp(8), 8u);
        EXPECT_EQ(internal->alignUp(0), 0u);
        EXPECT_EQ(CPacketManager::instance()->getBufferSize(), 8192u);
    });
}

TEST(CPacketManager, PoolWithDefaults) {
    KERNA_IN_CHILD({
        LogCapture log;
        CPacketManager::MemoryOperator op = countingOperators();
        CPacketManager::config(CPacketManager::policyPool, &op, nullptr);
        CPacketManager* m = CPacketManager::instance();
        EXPECT_EQ(g_mallocCalls.load(), 1);
        EXPECT_EQ(g_lastMallocSize.load(), 2098176u);
        EXPECT_EQ(m->getPoolBuffer(), g_lastMalloc.load());
        unsigned char* base = aligned();
        EXPECT_EQ(reinterpret_cast<uintptr_t>(base) % 1024, 0u);
        EXPECT_LT(size_t(base - m->getPoolBuffer()), 1024u);
        EXPECT_EQ(PacketManagerInternal::instance()->buddy().orderCount(), 12);
        EXPECT_EQ(m->getBufferSize(), 2097152u);
        EXPECT_EQ(m->getFreeSize(), 2097152u);
        const unsigned long management = 2048 * sizeof(Tessaran::Memory::Detail::ChunkNode) +
                                         12 * sizeof(Tessaran::Memory::Detail::BufferList);
        std::vector<std::string> expected = {
            LogCapture::format("CPacketManager: malloc total:2097152 pagesize:1024blockCount:2048 "
                               "ManagermentSize:%lu\n",
                               management),
            LogCapture::format("AddrRange:%p/%p)\n", static_cast<void*>(base),
                               static_cast<void*>(base + 2097152))};
        EXPECT_EQ(log.messages(), expected);
        // A 1025-byte request takes a whole 2048-byte block.
        void* p = m->malloc(1025);
        EXPECT_EQ(m->getFreeSize(), 2097152u - 2048u);
        m->free(p);
        EXPECT_EQ(m->getFreeSize(), 2097152u);
    });
}

TEST(CPacketManager, EightChunksHandOutFromTheTop) {
    KERNA_IN_CHILD({
        LogCapture log;
        configurePool(CPacketManager::policyPool, 8192);
        CPacketManager* m = CPacketManager::instance();
        unsigned char* base = aligned();
        void* a = m->malloc(1);
        EXPECT_EQ(a, base + 7 * 1024);
        EXPECT_EQ(freeList(2), std::vector<int>{0});
        EXPECT_EQ(freeList(1), std::vector<int>{4});
        EXPECT_EQ(freeList(0), std::vector<int>{6});
        void* b = m->malloc(1024);  // exactly one chunk: order 0
        EXPECT_EQ(b, base + 6 * 1024);
        void* c = m->malloc(1025);  // order 1
        EXPECT_EQ(c, base + 4 * 1024);
        EXPECT_EQ(m->getFreeSize(), 4096u);

        log.clear();
        EXPECT_EQ(m->malloc(0), nullptr);
        EXPECT_EQ(m->malloc(4097), nullptr);
        EXPECT_EQ(log.count("CPacket No Free Space, totalSize:8192, freeSize:4096 \n"), 2);
        EXPECT_EQ(log.messages().size(), 2u);
        EXPECT_EQ(m->getFreeSize(), 4096u);

        m->free(b);
        m->free(a);
        m->free(c);
        EXPECT_EQ(m->getFreeSize(), 8192u);
        EXPECT_EQ(freeList(3), std::vector<int>{0});
        EXPECT_TRUE(freeList(0).empty() && freeList(1).empty() && freeList(2).empty());
    });
}

TEST(CPacketManager, FreeOfWhatIsNotABlockIsRefused) {
    KERNA_IN_CHILD({
        configurePool(CPacketManager::policyPool, 8192);
        CPacketManager* m = CPacketManager::instance();
        void* internal = PacketManagerInternal::instance();
        unsigned char* base = aligned();
        void* a = m->malloc(2048);  // chunks 6..7
        ASSERT_EQ(a, base + 6 * 1024);
        LogCapture log;
        unsigned char* interior = base + 6 * 1024 + 16;
        unsigned char* secondChunk = base + 7 * 1024;
        unsigned char* beyond = base + 8192;
        unsigned char* freeBlock = base;
        m->free(interior);
        m->free(secondChunk);
        m->free(beyond);
        m->free(freeBlock);
        const char* fmt = "this:%p Pool_Free() %p is not a block of the pool!\n";
        std::vector<std::string> expected = {
            LogCapture::format(fmt, internal, static_cast<void*>(interior)),
            LogCapture::format(fmt, internal, static_cast<void*>(secondChunk)),
            LogCapture::format(fmt, internal, static_cast<void*>(beyond)),
            LogCapture::format(fmt, internal, static_cast<void*>(freeBlock))};
        EXPECT_EQ(log.messages(), expected);
        EXPECT_EQ(m->getFreeSize(), 6144u);
        m->free(a);
        EXPECT_EQ(m->getFreeSize(), 8192u);
        log.clear();
        m->free(a);  // second free
        EXPECT_EQ(log.messages(), std::vector<std::string>{LogCapture::format(fmt, internal, a)});
        EXPECT_EQ(m->getFreeSize(), 8192u);
        EXPECT_EQ(freeList(3), std::vector<int>{0});
        EXPECT_EQ(m->malloc(1), base + 7 * 1024);
    });
}

TEST(CPacketManager, SmallPools) {
    KERNA_IN_CHILD({
        configurePool(CPacketManager::policyPool, 3 * 1024);
        CPacketManager* m = CPacketManager::instance();
        EXPECT_EQ(m->malloc(1), aligned() + 2 * 1024);  // served without a split
        EXPECT_EQ(freeList(1), std::vector<int>{0});
        EXPECT_EQ(m->malloc(3 * 1024), nullptr);
    });
    KERNA_IN_CHILD({
        configurePool(CPacketManager::policyPool, 12 * 1024);
        EXPECT_EQ(freeList(3), std::vector<int>{0});
        EXPECT_EQ(freeList(2), std::vector<int>{8});
        EXPECT_EQ(CPacketManager::instance()->getFreeSize(), 12288u);
    });
}

TEST(CPacketManager, PoolCopyReachesTheOperatorOnlyInsideTheRegion) {
    KERNA_IN_CHILD({
        CPacketManager::MemoryOperator op = countingOperators();
        CPacketManager::PoolParameter p = pool(8192);
        CPacketManager::config(CPacketManager::policyPool, &op, &p);
        CPacketManager* m = CPacketManager::instance();
        char* a = static_cast<char*>(m->malloc(1));
        char* b = static_cast<char*>(m->malloc(1));
        char local[16] = "outside";
        std::strcpy(b, "inside");
        m->memcpy(a, b, 7);
        EXPECT_EQ(g_memcpyCalls.load(), 1);
        EXPECT_STREQ(a, "inside");
        m->memcpy(a, local, 8);
        m->memcpy(local, b, 7);
        EXPECT_EQ(g_memcpyCalls.load(), 1);
        EXPECT_STREQ(a, "outside");
        EXPECT_STREQ(local, "inside");
        m->free(a);
        m->free(b);
        EXPECT_EQ(g_freeCalls.load(), 0);  // pool frees never reach the operator
    });
}

TEST(CPacketManager, PrintNodeInfoLines) {
    KERNA_IN_CHILD({
        configurePool(CPacketManager::policyPool, 8192);
        CPacketManager* m = CPacketManager::instance();
        void* a = m->malloc(1);
        LogCapture log;
        m->dumpNodes();
        const auto& b = PacketManagerInternal::instance()->buddy();
        std::vector<std::string> expected = {"CPacketManager: dump FreeList\n"};
        for (int k = 0; k < 4; ++k) {
            const auto* head = &b.lists()[k];
            expected.push_back(LogCapture::format("BufferList id:%d, order:%d, head:%p, headpre:%p, next:%p\n", k,
                                                  k + 1, (const void*)head, (const void*)head->pre,
                                                  (const void*)head->next));
            for (auto* n = head->next; n != head; n = n->next) {
                expected.push_back(LogCapture::format(
                    "bufflist:%d, id:%d, realIdx:%d, self:%p, order:%d, pre:%p, next:%p\n", k, 0, n->realIdx,
                    (const void*)n, n->order, (const void*)n->pre, (const void*)n->next));
            }
        }
        ASSERT_EQ(expected.size(), 8u);  // four heads, three free blocks
        EXPECT_EQ(expected[2], LogCapture::format("bufflist:0, id:0, realIdx:6, self:%p, order:1, pre:%p, next:%p\n",
                                                  (const void*)&b.nodes()[6], (const void*)&b.lists()[0],
                                                  (const void*)&b.lists()[0]));
        EXPECT_EQ(log.messages(), expected);
        m->free(a);
    });
}

TEST(CPacketManager, NodeStatisticsByThread) {
    KERNA_IN_CHILD({
        configurePool(CPacketManager::policyPool, 64 * 1024);
        CPacketManager* m = CPacketManager::instance();
        m->enableNodesStatistics(true);
        LogCapture log(4);
        m->dumpNodes();
        std::vector<std::string> msgs = log.messages();
        ASSERT_GE(msgs.size(), 2u);
        EXPECT_EQ(msgs[0], "Total  unfree count = 0 packetUsed(K) 0\n");
        EXPECT_EQ(msgs[1], "CPacketManager: dump FreeList\n");

        uint32_t mainId = Tessaran::Kerna::Detail::Platform::currentThreadId();
        uint32_t otherId = 0;
        void* a = m->malloc(1);
        void* b = m->malloc(100);
        void* c = nullptr;
        void* d = nullptr;
        std::thread t([&] {
            otherId = Tessaran::Kerna::Detail::Platform::currentThreadId();
            c = m->malloc(2048);
            d = m->malloc(3000);  // 4096 bytes
        });
        t.join();
        log.clear();
        m->dumpNodes();
        msgs = log.messages();
        std::string mainLine = "ThreadID " + std::to_string(int(mainId)) + "  nodes= 2  size(K)= 2\n";
        std::string otherLine = "ThreadID " + std::to_string(int(otherId)) + "  nodes= 2  size(K)= 6\n";
        ASSERT_GE(msgs.size(), 3u);
        EXPECT_EQ(msgs[0], mainId < otherId ? mainLine : otherLine);
        EXPECT_EQ(msgs[1], mainId < otherId ? otherLine : mainLine);
        EXPECT_EQ(msgs[2], "Total  unfree count = 4 packetUsed(K) 8\n");

        // A failure with statistics on dumps after its own line.
        log.clear();
        EXPECT_EQ(m->malloc(128 * 1024), nullptr);
        msgs = log.messages();
        ASSERT_GE(msgs.size(), 4u);
        EXPECT_EQ(msgs[0], "CPacket No Free Space, totalSize:65536, freeSize:57344 \n");
        EXPECT_EQ(msgs[3], "Total  unfree count = 4 packetUsed(K) 8\n");

        m->free(a);
        log.clear();
        m->dumpNodes();
        EXPECT_EQ(log.count("Total  unfree count = 3 packetUsed(K) 7\n"), 1);

        // Switching off forgets the live blocks; freeing them later leaves the map alone.
        m->enableNodesStatistics(false);
        m->enableNodesStatistics(true);
        m->free(b);
        m->free(c);
        void* e = m->malloc(1);
        m->free(d);
        log.clear();
        m->dumpNodes();
        msgs = log.messages();
        ASSERT_GE(msgs.size(), 2u);
        EXPECT_EQ(msgs[0], "ThreadID " + std::to_string(int(mainId)) + "  nodes= 1  size(K)= 1\n");
        EXPECT_EQ(msgs[1], "Total  unfree count = 1 packetUsed(K) 1\n");
        m->free(e);
        EXPECT_EQ(m->getFreeSize(), 65536u);
    });
}

TEST(CPacketManager, PoolDataPolicyDumpsAsSystemButCounts) {
    KERNA_IN_CHILD({
        configurePool(CPacketManager::policyPoolData, 8192);
        CPacketManager* m = CPacketManager::instance();
        void* a = m->malloc(1);
        EXPECT_EQ(a, aligned() + 7 * 1024);
        EXPECT_EQ(m->getFreeSize(), 7168u);
        EXPECT_EQ(m->getBufferSize(), 8192u);
        LogCapture log;
        m->dumpNodes();
        EXPECT_EQ(log.messages(), std::vector<std::string>{"CPacketManager dump: SYS Policy\n"});
        m->free(a);
    });
}

TEST(CPacketManager, ExternalPolicyHasNoOwnMemory) {
    KERNA_IN_CHILD({
        LogCapture log;
        CPacketManager::config(CPacketManager::policyExternal, nullptr, nullptr);
        CPacketManager* m = CPacketManager::instance();
        EXPECT_TRUE(log.messages().empty());  // no construction line
        EXPECT_EQ(m->getBufferSize(), 0u);
        EXPECT_EQ(m->getFreeSize(), 0u);
        EXPECT_EQ(m->getPoolBuffer(), nullptr);
        m->dumpNodes();
        EXPECT_TRUE(log.messages().empty());
        CPacket owned(100, 0);
        EXPECT_FALSE(owned.valid());
        EXPECT_EQ(log.messages(), std::vector<std::string>{"tracepoint:\n"});
        char buffer[32];
        CPacket external(buffer, sizeof buffer, Tessaran::Kerna::TFunction2<void, void*, size_t>());
        EXPECT_TRUE(external.valid());
        EXPECT_EQ(external.getBuffer(), reinterpret_cast<unsigned char*>(buffer));
    });
}

TEST(CPacketManager, UnknownPolicyBuildsARegionButNoPackets) {
    KERNA_IN_CHILD({
        LogCapture log;
        CPacketManager::PoolParameter p = pool(8192);
        CPacketManager::config(static_cast<CPacketManager::Policy>(7), nullptr, &p);
        EXPECT_EQ(log.messages(), std::vector<std::string>{"PacketManagerInternal::config() unknown policy:7\n"});
        CPacketManager* m = CPacketManager::instance();
        EXPECT_NE(m->getPoolBuffer(), nullptr);
        EXPECT_EQ(m->getBufferSize(), 0u);
        log.clear();
        CPacket owned(10, 0);
        EXPECT_FALSE(owned.valid());
        EXPECT_EQ(log.messages(), std::vector<std::string>{"tracepoint:\n"});
        void* q = m->malloc(10);  // the system operations stay in the slots
        EXPECT_NE(q, nullptr);
        m->free(q);
    });
}

#if GTEST_HAS_DEATH_TEST
TEST(CPacketManagerDeathTest, FreeBelowTheRegionAsserts) {
    KERNA_CHILD_DIES(
        "assertion \\(id >= 0\\) failed",
        {
            configurePool(CPacketManager::policyPool, 8192);
            CPacketManager::instance()->free(aligned() - 1);
        });
}

TEST(CPacketManagerDeathTest, BadParametersAssert) {
    KERNA_CHILD_DIES(
        "assertion \\(param->chunkSize >= 1024 && param->chunkSize > 0 && param->totalSize % "
        "param->chunkSize == 0\\) failed",
        {
            CPacketManager::PoolParameter p = pool(8192, 512);
            CPacketManager::config(CPacketManager::policyPool, nullptr, &p);
        });
    KERNA_CHILD_DIES(
        "param->totalSize % param->chunkSize == 0",
        {
            CPacketManager::PoolParameter p = pool(3000);
            CPacketManager::config(CPacketManager::policyPool, nullptr, &p);
        });
    KERNA_CHILD_DIES(
        "assertion \\(param->alignSize >= 4\\) failed",
        {
            CPacketManager::PoolParameter p = pool(8192, 1024, 3);
            CPacketManager::config(CPacketManager::policyPool, nullptr, &p);
        });
    KERNA_CHILD_DIES(
        "assertion \\(!memop->malloc.empty\\(\\) && !memop->free.empty\\(\\) && "
        "!memop->memcpy.empty\\(\\)\\) failed",
        {
            CPacketManager::MemoryOperator op;
            op.free = TFunction1<void, void*>();
            CPacketManager::config(CPacketManager::policyPool, &op, nullptr);
        });
}

TEST(CPacketManagerDeathTest, RegionNotObtainableStops) {
    KERNA_CHILD_DIES(
        "sm_param.chunkSize malloc failed!",
        {
            Tessaran::Kerna::setLogPrinter(TFunction1<void, const char*>(&MemoryTest::printToStderr));
            CPacketManager::MemoryOperator op;
            op.malloc = TFunction1<void*, size_t>(&refusingMalloc);
            CPacketManager::config(CPacketManager::policyPool, &op, nullptr);
            CPacketManager::instance();
        });
}
#endif

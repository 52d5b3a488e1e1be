// PacketManagerTest.cpp
//
// The pool manager under each policy, each test in a fresh child that configures before the
// first use: region of a pool, order of hand-out, refusals with their lines, the copy
// operation's routing, statistics by thread, the dumps.

#include <kerna/memory/Packet.h>
#include <kerna/memory/PacketManager.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "memory/MemoryTestSupport.h"
#include "memory/PacketManagerInternal.h"
#include "platform/Tls.h"

using MemoryTest::aligned;
using MemoryTest::configured;
using MemoryTest::format;
using MemoryTest::LogCapture;
using MemoryTest::pool;
using Tessaran::Kerna::TFunction1;
using Tessaran::Kerna::TFunction3;
using Tessaran::Memory::CPacket;
using Tessaran::Memory::CPacketManager;
using Tessaran::Memory::PacketManagerInternal;
typedef std::vector<std::string> Lines;

namespace {

std::atomic<int> g_mallocCalls{0};
std::atomic<size_t> g_lastMallocSize{0};
std::atomic<void*> g_lastMalloc{nullptr};
std::atomic<int> g_freeCalls{0};
std::atomic<int> g_memcpyCalls{0};

CPacketManager::MemoryOperator countingOperators() {
    CPacketManager::MemoryOperator op;
    op.malloc = TFunction1<void*, size_t>(+[](size_t n) {
        ++g_mallocCalls;
        g_lastMallocSize = n;
        return g_lastMalloc = std::malloc(n);
    });
    op.free = TFunction1<void, void*>(+[](void* p) {
        ++g_freeCalls;
        std::free(p);
    });
    op.memcpy = TFunction3<void*, void*, const void*, size_t>(+[](void* d, const void* s, size_t n) {
        ++g_memcpyCalls;
        return std::memcpy(d, s, n);
    });
    return op;
}

std::atomic<int> g_refusals{0};
void countRefusals(const char* line) {
    if (std::strstr(line, "is not a block of the pool") != nullptr) ++g_refusals;
}

// Made before the manager's first use and so destroyed after its exit routine, as a static
// packet of a program is: releases its packet then, and checks that the one region built took
// the block back. Any other outcome ends the process with status 3.
struct LatePacket {
    CPacket packet;
    ~LatePacket() {
        packet.reset();
        const uint64_t freeSize = CPacketManager::instance()->getFreeSize();
        if (g_mallocCalls.load() != 1 || freeSize != 8192 || g_refusals.load() != 0) {
            std::fprintf(stderr, "regions: %d, free: %lu, refusals: %d\n", g_mallocCalls.load(),
                         (unsigned long)freeSize, g_refusals.load());
            std::_Exit(3);
        }
    }
};

// A print listener that puts every line of the test's thread in a packet.
std::vector<CPacket>* g_shipped = nullptr;
std::thread::id g_shipper;
bool shipLine(const char* line) {
    if (g_shipped == nullptr || std::this_thread::get_id() != g_shipper) return true;
    CPacket packet(std::strlen(line), 0);
    if (packet.valid()) std::memcpy(packet.getBuffer(), line, packet.size());
    g_shipped->push_back(packet);
    return true;
}

}  // namespace

TEST(CPacketManager, SystemPolicyByDefaultGoesThroughTheOperatorsAndFreezes) {
    KERNA_IN_CHILD({
        LogCapture log;
        CPacketManager::MemoryOperator op = countingOperators();
        CPacketManager::config(CPacketManager::policyKeep, &op, nullptr);
        CPacketManager* m = CPacketManager::instance();
        EXPECT_EQ(g_mallocCalls.load(), 0);  // no region under the system policy
        EXPECT_EQ(m->getBufferSize(), 0u);
        EXPECT_EQ(m->getFreeSize(), 0u);
        EXPECT_EQ(m->getPoolBuffer(), nullptr);
        m->dumpNodes();
        // A later config is refused and changes nothing.
        CPacketManager::PoolParameter p = pool(8192, 2048, 8), param;
        CPacketManager::config(CPacketManager::policyPool, nullptr, &p);
        CPacketManager::Policy policy;
        CPacketManager::getConfig(policy, param);
        EXPECT_EQ(policy, CPacketManager::policySystem);
        EXPECT_EQ(param.totalSize, 2097152u);
        EXPECT_EQ(param.chunkSize, 1024u);
        EXPECT_EQ(param.alignSize, 4u);
        EXPECT_FALSE(m->advisePacket());
        EXPECT_EQ(log.messages(),
                  (Lines{"CPacketManager: System Policy\n", "CPacketManager dump: SYS Policy\n",
                         "PacketManagerInternal::config() failured: Packet Manager has been configured!\n",
                         "USE_PACKET_ADVISE mode is not used!\n"}));
        char* p1 = static_cast<char*>(m->malloc(333));
        EXPECT_EQ(g_mallocCalls.load(), 1);
        EXPECT_EQ(g_lastMallocSize.load(), 333u);
        EXPECT_EQ(m->memcpy(p1, "abc", 4), p1);
        EXPECT_STREQ(p1, "abc");
        EXPECT_EQ(g_memcpyCalls.load(), 1);
        m->free(p1);
        EXPECT_EQ(g_freeCalls.load(), 1);
    });
}

TEST(CPacketManager, ConfigOverlaysGroupsBeforeFirstUse) {
    KERNA_IN_CHILD({
        LogCapture log;
        CPacketManager::Policy policy;
        CPacketManager::PoolParameter param;
        CPacketManager::config(CPacketManager::policyKeep, nullptr, nullptr);
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
        EXPECT_EQ(log.messages(),
                  (Lines{format("CPacketManager: malloc total:2097152 pagesize:1024blockCount:2048 "
                                "ManagermentSize:%lu\n", management),
                         format("AddrRange:%p/%p)\n", (void*)base, (void*)(base + 2097152))}));
    });
}

TEST(CPacketManager, EightChunkPoolRefusesWithLinesAndDumpsItsLists) {
    KERNA_IN_CHILD({
        CPacketManager* m = configured(CPacketManager::policyPool, 8192);
        void* internal = PacketManagerInternal::instance();
        unsigned char* base = aligned();
        void* a = m->malloc(1025);  // order 1: chunks 6..7
        ASSERT_EQ(a, base + 6 * 1024);
        LogCapture log;
        EXPECT_EQ(m->malloc(0), nullptr);
        EXPECT_EQ(m->malloc(6145), nullptr);
        const char* full = "CPacket No Free Space, totalSize:8192, freeSize:6144 \n";
        const char* fmt = "this:%p Pool_Free() %p is not a block of the pool!\n";
        Lines expected = {full, full};
        // Interior of a block, its second chunk, beyond the region, a free block.
        for (unsigned char* p : {base + 6 * 1024 + 16, base + 7 * 1024, base + 8192, base}) {
            m->free(p);
            expected.push_back(format(fmt, internal, (void*)p));
        }
        EXPECT_EQ(log.messages(), expected);
        EXPECT_EQ(m->getFreeSize(), 6144u);
        m->free(a);
        EXPECT_EQ(m->getFreeSize(), 8192u);
        log.clear();
        m->free(a);  // second free
        EXPECT_EQ(log.messages(), Lines{format(fmt, internal, a)});
        void* all = m->malloc(8192);  // merged back into one block
        EXPECT_EQ(all, base);
        m->free(all);

        EXPECT_EQ(m->malloc(1024), base + 7 * 1024);  // exactly one chunk: order 0, from the top
        log.clear();
        m->dumpNodes();
        const auto& b = PacketManagerInternal::instance()->buddy();
        expected = {"CPacketManager: dump FreeList\n"};
        const int freeChunk[] = {6, 4, 0, -1};
        for (int k = 0; k < 4; ++k) {
            const void* head = &b.lists()[k];
            const void* node = freeChunk[k] < 0 ? head : &b.nodes()[freeChunk[k]];
            expected.push_back(format("BufferList id:%d, order:%d, head:%p, headpre:%p, next:%p\n",
                                      k, k + 1, head, node, node));
            if (freeChunk[k] >= 0) {
                expected.push_back(format("bufflist:%d, id:0, realIdx:%d, self:%p, order:%d, "
                                          "pre:%p, next:%p\n",
                                          k, freeChunk[k], node, k + 1, head, head));
            }
        }
        EXPECT_EQ(log.messages(), expected);
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
        m->memcpy(a, b, 0);  // a region-to-region copy of nothing still reaches the operator
        EXPECT_EQ(g_memcpyCalls.load(), 2);
        m->memcpy(local, a, 0);
        EXPECT_EQ(g_memcpyCalls.load(), 2);
        m->free(a);
        m->free(b);
        EXPECT_EQ(g_freeCalls.load(), 0);  // pool frees never reach the operator

        // A packet appending its own bytes: copied by the operator; a part that reaches behind
        // the size overlaps its destination and is moved instead (a memcpy may not overlap).
        CPacket packet(8, 0);
        std::memcpy(packet.getBuffer(), "abcdefgh", 8);
        EXPECT_EQ(packet.putBuffer(packet.getBuffer(), 8), 8u);
        EXPECT_EQ(g_memcpyCalls.load(), 3);
        std::memcpy(packet.getBuffer() + 16, "WXYZ", 4);
        EXPECT_EQ(packet.putBuffer(packet.getBuffer() + 8, 12), 12u);
        EXPECT_EQ(g_memcpyCalls.load(), 3);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(packet.getBuffer()), packet.size()),
                  "abcdefghabcdefghabcdefghWXYZ");
    });
}

// A packet released after the manager's exit routine (a static packet assigned in main): the
// routine destroyed the manager, and the release built a second one with a second region,
// which refused the block. The manager and its region now stay to the end of the process.
TEST(CPacketManager, PacketReleasedAfterTheExitRoutine) {
    ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            static LatePacket late;
            Tessaran::Kerna::setLogPrinter(TFunction1<void, const char*>(&countRefusals));
            CPacketManager::MemoryOperator op = countingOperators();
            CPacketManager::PoolParameter p = pool(8192);
            CPacketManager::config(CPacketManager::policyPool, &op, &p);
            late.packet = CPacket(100, 0);
            if (!late.packet.valid()) std::_Exit(4);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

// A listener that ships lines in packets, attached before the manager's first use: the manager
// printed its construction lines under its creation lock before it was published, so the
// listener's packets built a second manager with a region of its own. A dump with the listener
// attached must not print under the pool lock either (the listener takes blocks meanwhile).
TEST(CPacketManager, ListenerMakesPacketsAtTheFirstUse) {
    KERNA_IN_CHILD({
        LogCapture log;
        std::vector<CPacket> shipped;
        g_shipped = &shipped;
        g_shipper = std::this_thread::get_id();
        CPacketManager::MemoryOperator op = countingOperators();
        CPacketManager::PoolParameter p = pool(64 * 1024);
        CPacketManager::config(CPacketManager::policyPool, &op, &p);
        const TFunction1<bool, const char*> listener(&shipLine);
        Tessaran::Kerna::attachPrint(listener);
        CPacketManager* m = CPacketManager::instance();
        EXPECT_EQ(shipped.size(), 2u);  // the two construction lines
        m->dumpNodes();
        Tessaran::Kerna::detachPrint(listener);
        g_shipped = nullptr;
        const auto lines = log.lines();
        ASSERT_EQ(shipped.size(), lines.size());
        for (size_t i = 0; i < lines.size(); ++i) {
            ASSERT_TRUE(shipped[i].valid());
            EXPECT_EQ(std::string(reinterpret_cast<char*>(shipped[i].getBuffer()), shipped[i].size()), lines[i]);
        }
        EXPECT_EQ(g_mallocCalls.load(), 1);  // one region
        shipped.clear();
        EXPECT_EQ(m->getFreeSize(), 64u * 1024);
    });
}

TEST(CPacketManager, NodeStatisticsByThread) {
    KERNA_IN_CHILD({
        CPacketManager* m = configured(CPacketManager::policyPool, 64 * 1024);
        m->enableNodesStatistics(true);
        LogCapture log(4);
        // The lines logged up to the free-list part of a dump.
        auto statistics = [&](bool dump) {
            if (dump) m->dumpNodes();
            Lines lines = log.messages();
            log.clear();
            return Lines(lines.begin(), std::find(lines.begin(), lines.end(), "CPacketManager: dump FreeList\n"));
        };
        EXPECT_EQ(statistics(true), Lines{"Total  unfree count = 0 packetUsed(K) 0\n"});

        const uint32_t mainId = Tessaran::Kerna::Detail::Platform::currentThreadId();
        uint32_t otherId = 0;
        void *a = m->malloc(1), *b = m->malloc(100), *c = nullptr, *d = nullptr;
        std::thread t([&] {
            otherId = Tessaran::Kerna::Detail::Platform::currentThreadId();
            c = m->malloc(2048);
            d = m->malloc(3000);  // 4096 bytes
        });
        t.join();
        const std::string mainLine = "ThreadID " + std::to_string(int(mainId)) + "  nodes= 2  size(K)= 2\n";
        const std::string otherLine = "ThreadID " + std::to_string(int(otherId)) + "  nodes= 2  size(K)= 6\n";
        Lines expected = mainId < otherId ? Lines{mainLine, otherLine} : Lines{otherLine, mainLine};
        expected.push_back("Total  unfree count = 4 packetUsed(K) 8\n");
        EXPECT_EQ(statistics(true), expected);
        // A failure with statistics on dumps after its own line.
        EXPECT_EQ(m->malloc(128 * 1024), nullptr);
        expected.insert(expected.begin(), "CPacket No Free Space, totalSize:65536, freeSize:57344 \n");
        EXPECT_EQ(statistics(false), expected);

        m->free(a);
        Lines afterFree = statistics(true);
        ASSERT_EQ(afterFree.size(), 3u);
        EXPECT_EQ(afterFree[2], "Total  unfree count = 3 packetUsed(K) 7\n");

        // Switching off forgets the live blocks; freeing them later leaves the map alone.
        m->enableNodesStatistics(false);
        m->enableNodesStatistics(true);
        m->free(b);
        m->free(c);
        void* e = m->malloc(1);
        m->free(d);
        EXPECT_EQ(statistics(true), (Lines{"ThreadID " + std::to_string(int(mainId)) + "  nodes= 1  size(K)= 1\n",
                                           "Total  unfree count = 1 packetUsed(K) 1\n"}));
        m->free(e);
        EXPECT_EQ(m->getFreeSize(), 65536u);
    });
}

TEST(CPacketManager, ExternalPolicyHasNoOwnMemory) {
    KERNA_IN_CHILD({
        LogCapture log;
        CPacketManager::config(CPacketManager::policyExternal, nullptr, nullptr);
        CPacketManager* m = CPacketManager::instance();
        EXPECT_EQ(m->getBufferSize(), 0u);
        EXPECT_EQ(m->getFreeSize(), 0u);
        EXPECT_EQ(m->getPoolBuffer(), nullptr);
        m->dumpNodes();
        EXPECT_TRUE(log.messages().empty());  // no construction line, no dump
        EXPECT_FALSE(CPacket(100, 0).valid());
        EXPECT_EQ(log.messages(), Lines{"tracepoint:\n"});
        char buffer[32];
        CPacket external(buffer, sizeof buffer, Tessaran::Kerna::TFunction2<void, void*, size_t>());
        EXPECT_EQ(external.getBuffer(), reinterpret_cast<unsigned char*>(buffer));
    });
}

TEST(CPacketManager, UnknownPolicyBuildsARegionButNoPackets) {
    KERNA_IN_CHILD({
        LogCapture log;
        CPacketManager::PoolParameter p = pool(8192);
        CPacketManager::config(static_cast<CPacketManager::Policy>(7), nullptr, &p);
        EXPECT_EQ(log.messages(), Lines{"PacketManagerInternal::config() unknown policy:7\n"});
        CPacketManager* m = CPacketManager::instance();
        EXPECT_NE(m->getPoolBuffer(), nullptr);
        EXPECT_EQ(m->getBufferSize(), 0u);
        log.clear();
        EXPECT_FALSE(CPacket(10, 0).valid());
        EXPECT_EQ(log.messages(), Lines{"tracepoint:\n"});
        void* q = m->malloc(10);  // the system operations stay in the slots
        EXPECT_NE(q, nullptr);
        m->free(q);
    });
}

// A fork while another thread is inside the pool's list work: the child's lock stayed taken by
// a thread that does not exist there, and its first allocation never returned. The fork now
// waits for the list work to end, and the child finds a free lock and whole lists.
TEST(CPacketManager, ForkWhileAnotherThreadHoldsThePool) {
    KERNA_IN_CHILD({
        CPacketManager* m = configured(CPacketManager::policyPool, 8192);
        void* live = m->malloc(1);
        Tessaran::Memory::Detail::PoolLock& lock = PacketManagerInternal::instance()->poolLock();
        std::atomic<bool> held{false};
        std::thread holder([&] {
            lock.enter();
            held = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            lock.leave();
        });
        while (!held) std::this_thread::yield();
        const pid_t child = fork();
        if (child == 0) {
            void* p = m->malloc(1);
            m->free(p);
            m->free(live);
            _exit(p != nullptr && m->getFreeSize() == 8192 ? 0 : 1);
        }
        holder.join();
        ASSERT_GT(child, 0);
        int status = 0;
        pid_t done = 0;
        for (int i = 0; i < 1000 && (done = waitpid(child, &status, WNOHANG)) == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        if (done == 0) {  // still blocked after 10 s
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
        }
        EXPECT_EQ(done, child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        m->free(live);
        EXPECT_EQ(m->getFreeSize(), 8192u);
    });
}

#if GTEST_HAS_DEATH_TEST
TEST(CPacketManagerDeathTest, FreeBelowTheRegionAsserts) {
    KERNA_CHILD_DIES("assertion \\(id >= 0\\) failed", {
        configured(CPacketManager::policyPool, 8192)->free(aligned() - 1);
    });
}

TEST(CPacketManagerDeathTest, BadParametersAssert) {
    const struct {
        const char* regex;
        CPacketManager::PoolParameter param;
    } cases[] = {
        {"assertion \\(param->chunkSize >= 1024 && param->chunkSize > 0 && param->totalSize % "
         "param->chunkSize == 0\\) failed",
         pool(8192, 512)},
        {"param->totalSize % param->chunkSize == 0", pool(3000)},
        {"assertion \\(param->alignSize >= 4\\) failed", pool(8192, 1024, 3)}};
    for (auto c : cases) {
        KERNA_CHILD_DIES(c.regex, CPacketManager::config(CPacketManager::policyPool, nullptr, &c.param));
    }
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
    KERNA_CHILD_DIES("sm_param.chunkSize malloc failed!", {
        Tessaran::Kerna::setLogPrinter(
            TFunction1<void, const char*>(+[](const char* line) { std::fputs(line, stderr); }));
        CPacketManager::MemoryOperator op;
        op.malloc = TFunction1<void*, size_t>(+[](size_t) -> void* { return nullptr; });
        CPacketManager::config(CPacketManager::policyPool, &op, nullptr);
        CPacketManager::instance();
    });
}
#endif

// PacketManager.cpp
//
// CPacketManager and PacketManagerInternal: configuration before first use, the operation
// slots per policy, the region with its buddy allocator, statistics of live blocks by
// allocating thread, and the dumps.

#include <kerna/memory/PacketManager.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <new>

#include "base/Log.h"
#include "memory/PacketManagerInternal.h"
#include "platform/Fork.h"
#include "platform/Tls.h"

namespace Tessaran {
namespace Memory {

using Kerna::CGuard;
using Kerna::CMutex;

namespace {

int32_t floorLog2(uint64_t v) {
    int32_t r = 0;
    while (v > 1) {
        v >>= 1;
        ++r;
    }
    return r;
}

uint32_t callingThreadId() { return uint32_t(Kerna::Detail::Platform::currentThreadId()); }

struct NodeInfo {
    uint32_t threadId;
    uint64_t size;
};

// The statistics: the flag's lock, and a map of live blocks by chunk number behind a second
// lock (the flag itself is PacketManagerInternal::sm_statisticsOn). Made on first use and never
// destroyed, so that a block freed during process exit still finds them.
struct NodeStatistics {
    CMutex flagLock;
    CMutex mapLock;
    std::map<int32_t, NodeInfo> nodes;
};

NodeStatistics& statistics() {
    static NodeStatistics* s = new NodeStatistics();
    return *s;
}

// The manager whose pool lock this thread took before its fork, for the routines after it.
thread_local PacketManagerInternal* t_lockedForFork = nullptr;

}  // namespace

// ---- class-wide settings ----------------------------------------------------------------

int PacketManagerInternal::sm_policy = CPacketManager::policySystem;
CPacketManager::PoolParameter PacketManagerInternal::sm_param = {2097152, 1024, 4};
std::atomic<bool> PacketManagerInternal::sm_configurable{true};
std::atomic<bool> PacketManagerInternal::sm_statisticsOn{false};

PacketManagerInternal::MemoryOperator& PacketManagerInternal::storedMemop() {
    static MemoryOperator* m = new MemoryOperator();
    return *m;
}

void PacketManagerInternal::config(Policy policy, MemoryOperator* memop, PoolParameter* param) {
    if (!sm_configurable.load(std::memory_order_acquire)) {
        KERNA_LOG(3, "PacketManagerInternal::config() failured: Packet Manager has been configured!\n");
        return;
    }
    if (policy != CPacketManager::policyKeep) {
        if (policy < CPacketManager::policySystem || policy > CPacketManager::policyExternal) {
            // Stored as asked: such a manager keeps the system operations, builds a region,
            // and creates no owned packet.
            KERNA_LOG(3, "PacketManagerInternal::config() unknown policy:%d\n", int(policy));
        }
        sm_policy = policy;
    }
    if (param != nullptr) {
        KERNA_ASSERT(param->chunkSize >= 1024 && param->chunkSize > 0 && param->totalSize % param->chunkSize == 0);
        KERNA_ASSERT(param->alignSize >= 4);
        sm_param = *param;
    }
    if (memop != nullptr) {
        KERNA_ASSERT(!memop->malloc.empty() && !memop->free.empty() && !memop->memcpy.empty());
        storedMemop() = *memop;
    }
}

void PacketManagerInternal::getConfig(Policy& policy, PoolParameter& param) {
    policy = static_cast<Policy>(sm_policy);
    param = sm_param;
}

// ---- life ---------------------------------------------------------------------------------

// Everything is built here, and nothing is printed: the object is not published yet, and a
// print listener that makes a packet would not find it. published() prints afterwards. When
// the region or an array can't be had, the object still comes out sound (an empty pool that
// refuses every request) and published() stops the process.
PacketManagerInternal::PacketManagerInternal()
    : m_facade(this),
      m_poolBuffer(nullptr),
      m_alignedBuffer(nullptr),
      m_alignment(0),
      m_totalSize(0),
      m_policy(sm_policy),
      m_buildFailure(builtOk),
      m_mallocSlot(&PacketManagerInternal::sysMalloc),
      m_freeSlot(&PacketManagerInternal::sysFree),
      m_memcpySlot(&PacketManagerInternal::sysMemcpy) {
    sm_configurable.store(false, std::memory_order_release);
    m_alignment = uint64_t(1) << floorLog2(sm_param.alignSize);

    if (m_policy == CPacketManager::policySystem || m_policy == CPacketManager::policyExternal) return;
    if (m_policy == CPacketManager::policyPool || m_policy == CPacketManager::policyPoolData) {
        m_mallocSlot = &PacketManagerInternal::Pool_Malloc;
        m_freeSlot = &PacketManagerInternal::Pool_Free;
        m_memcpySlot = &PacketManagerInternal::poolMemcpy;
        // Refused only beyond the platform's count of registrations; a process that forks while
        // another thread is in list work could then leave its child a locked pool.
        Kerna::Detail::Platform::addForkHandlers(Kerna::Detail::Platform::forkRankPackets, &beforeFork,
                                                 &afterForkInParent, &afterForkInChild);
    }

    const uint64_t chunkSize = sm_param.chunkSize;
    const uint64_t blocks = sm_param.totalSize / chunkSize;
    m_totalSize = sm_param.totalSize;
    // A block count beyond 31 bits, or a region size beyond 64 bits, is a region that can't
    // be had, like one the operator refuses.
    if (blocks <= uint64_t(INT32_MAX) && blocks + 1 <= UINT64_MAX / chunkSize) {
        m_poolBuffer = static_cast<unsigned char*>(storedMemop().malloc(size_t((blocks + 1) * chunkSize)));
    }
    if (m_poolBuffer == nullptr) {
        m_buildFailure = noRegion;
        return;
    }
    const uintptr_t raw = reinterpret_cast<uintptr_t>(m_poolBuffer);
    const uintptr_t rest = raw % chunkSize;
    m_alignedBuffer = m_poolBuffer + (rest == 0 ? 0 : chunkSize - rest);

    switch (m_buddy.init(m_alignedBuffer, int32_t(blocks), uint32_t(floorLog2(chunkSize)))) {
        case Detail::BuddyAllocator::initNoNodes:
            m_buildFailure = noChunkNodes;
            break;
        case Detail::BuddyAllocator::initNoLists:
            m_buildFailure = noListHeads;
            break;
        case Detail::BuddyAllocator::initOk:
            break;
    }
}

void PacketManagerInternal::published() {
    switch (m_buildFailure) {
        case noRegion:
            KERNA_LOG(1, "sm_param.chunkSize malloc failed!\n");
            KERNA_ASSERT_MSG(m_poolBuffer != nullptr, "the packet pool has no region");
            return;
        case noChunkNodes:
            KERNA_LOG(1, "ChunkNode malloc failed!\n");
            KERNA_ASSERT_MSG(m_buddy.nodes() != nullptr, "the packet pool has no chunk nodes");
            return;
        case noListHeads:
            KERNA_LOG(1, "BufferList malloc failed!\n");
            KERNA_ASSERT_MSG(m_buddy.lists() != nullptr, "the packet pool has no list heads");
            return;
        case builtOk:
            break;
    }
    if (m_policy == CPacketManager::policySystem) {
        KERNA_LOG(4, "CPacketManager: System Policy\n");
        return;
    }
    if (m_policy == CPacketManager::policyExternal) return;
    KERNA_LOG(4, "CPacketManager: malloc total:%lu pagesize:%lublockCount:%d ManagermentSize:%lu\n",
              (unsigned long)m_totalSize, (unsigned long)sm_param.chunkSize, int(m_buddy.blockCount()),
              (unsigned long)m_buddy.managementBytes());
    KERNA_LOG(4, "AddrRange:%p/%p)\n", static_cast<void*>(m_alignedBuffer),
              static_cast<void*>(m_alignedBuffer + m_totalSize));
}

void PacketManagerInternal::beforeFork() {
    // A manager not yet published has no list work under way.
    PacketManagerInternal* manager = Kerna::Detail::ProcessObject<PacketManagerInternal>::peek();
    if (manager == nullptr) return;
    manager->m_poolLock.enter();
    t_lockedForFork = manager;
}

void PacketManagerInternal::afterForkInParent() {
    if (t_lockedForFork == nullptr) return;
    t_lockedForFork->m_poolLock.leave();
    t_lockedForFork = nullptr;
}

void PacketManagerInternal::afterForkInChild() {
    if (t_lockedForFork == nullptr) return;
    t_lockedForFork->m_poolLock.resetInChild();
    t_lockedForFork = nullptr;
}

// ---- operations -------------------------------------------------------------------------

void* PacketManagerInternal::sysMalloc(size_t& size) { return storedMemop().malloc(size); }

void PacketManagerInternal::sysFree(void* p) { storedMemop().free(p); }

void* PacketManagerInternal::sysMemcpy(void* dst, const void* src, size_t n) {
    return storedMemop().memcpy(dst, src, n);
}

// The rare ends of Pool_Malloc and Pool_Free live apart, so that the common path stays a short
// function: the order, the lock, the list work, the address.

void* PacketManagerInternal::Pool_Malloc(size_t& size) {
    const int32_t order = Detail::BuddyAllocator::orderOf(size, m_buddy.chunkShift());
    int32_t chunk;
    {
        Detail::PoolGuard guard(m_poolLock);
        chunk = m_buddy.allocate(order);
    }
    if (chunk < 0) {
        refuseMalloc();
        return nullptr;
    }
    size = size_t(m_buddy.blockBytes(order));
    if (nodesStatisticsEnabled()) recordBlock(chunk, uint64_t(size));
    return m_buddy.addressOf(chunk);
}

void PacketManagerInternal::refuseMalloc() {
    KERNA_LOG(3, "CPacket No Free Space, totalSize:%u, freeSize:%u \n", unsigned(getBufferSize()),
              unsigned(getFreeSize()));
    if (nodesStatisticsEnabled()) CPacketManager::instance()->dumpNodes();
}

void PacketManagerInternal::recordBlock(int32_t chunk, uint64_t size) {
    NodeStatistics& s = statistics();
    CGuard guard(s.mapLock);
    s.nodes[chunk] = NodeInfo{callingThreadId(), size};
}

void PacketManagerInternal::Pool_Free(void* p) {
    if (p == nullptr) return;
    // The chunk number of p, signed: a pointer below the base is the caller's error.
    const int64_t id =
        int64_t(reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(m_alignedBuffer)) >>
        m_buddy.chunkShift();
    KERNA_ASSERT(id >= 0);
    int32_t chunk = 0;
    Detail::BuddyAllocator::Lookup where;
    {
        Detail::PoolGuard guard(m_poolLock);
        where = m_buddy.lookup(p, chunk);
        if (where == Detail::BuddyAllocator::lookupBlock) m_buddy.release(chunk);
    }
    if (where != Detail::BuddyAllocator::lookupBlock) {
        refuseFree(p);
        return;
    }
    if (nodesStatisticsEnabled()) forgetBlock(chunk);
}

void PacketManagerInternal::refuseFree(void* p) {
    // Not the start of a live block (beyond the region, inside a block, or freed already):
    // refused, so that the free lists stay sound.
    KERNA_LOG(2, "this:%p Pool_Free() %p is not a block of the pool!\n", static_cast<void*>(this), p);
}

void PacketManagerInternal::forgetBlock(int32_t chunk) {
    NodeStatistics& s = statistics();
    CGuard guard(s.mapLock);
    s.nodes.erase(chunk);
}

void* PacketManagerInternal::poolMemcpy(void* dst, const void* src, size_t n) {
    const uintptr_t lo = reinterpret_cast<uintptr_t>(m_alignedBuffer);
    const uintptr_t hi = lo + m_totalSize;
    const uintptr_t d = reinterpret_cast<uintptr_t>(dst);
    const uintptr_t s = reinterpret_cast<uintptr_t>(src);
    // Every region-to-region copy reaches the operator, also one of 0 bytes.
    if (d >= lo && d < hi && s >= lo && s < hi) return storedMemop().memcpy(dst, src, n);
    return n == 0 ? dst : std::memcpy(dst, src, n);
}

uint64_t PacketManagerInternal::getBufferSize() {
    if (m_policy == CPacketManager::policyPool || m_policy == CPacketManager::policyPoolData) {
        return m_totalSize;
    }
    return 0;
}

uint64_t PacketManagerInternal::getFreeSize() {
    if (m_policy == CPacketManager::policyPool || m_policy == CPacketManager::policyPoolData) {
        Detail::PoolGuard guard(m_poolLock);
        return m_buddy.freeBytes();
    }
    return 0;
}

// ---- statistics and dumps -----------------------------------------------------------------

void PacketManagerInternal::enableNodesStatistics(bool enable) {
    NodeStatistics& s = statistics();
    CGuard guard(s.flagLock);
    sm_statisticsOn.store(enable, std::memory_order_release);
    if (!enable) {
        CGuard mapGuard(s.mapLock);
        s.nodes.clear();
    }
}

void PacketManagerInternal::dumpStatistics() {
    struct Used {
        int count;
        uint64_t size;
    };
    std::map<uint32_t, Used> threadUsedInfo;
    uint64_t total = 0;
    size_t entries;
    {
        // Summed under the map's lock, printed after it.
        NodeStatistics& s = statistics();
        CGuard guard(s.mapLock);
        for (const auto& entry : s.nodes) {
            total += entry.second.size;
            Used& u = threadUsedInfo[entry.second.threadId];
            u.count += 1;
            u.size += entry.second.size;
        }
        entries = s.nodes.size();
    }
    for (const auto& entry : threadUsedInfo) {
        KERNA_LOG(4, "ThreadID %d  nodes= %d  size(K)= %ld\n", int(entry.first), entry.second.count,
                  long(entry.second.size >> 10));
    }
    KERNA_LOG(4, "Total  unfree count = %ld packetUsed(K) %d\n", long(entries), int(total / 1024));
}

void PacketManagerInternal::dumpNodes() {
    if (m_policy == CPacketManager::policySystem || m_policy == CPacketManager::policyPoolData) {
        KERNA_LOG(4, "CPacketManager dump: SYS Policy\n");
        return;
    }
    if (m_policy == CPacketManager::policyExternal) return;
    KERNA_LOG(4, "CPacketManager: dump FreeList\n");
    PrintNodeInfo();
}

void PacketManagerInternal::PrintNodeInfo() {
    // The lists are copied under the pool lock and printed after it: a line may reach a
    // listener that makes packets.
    struct Entry {
        int32_t order;  // list of the entry
        bool head;
        int32_t realIdx;
        int32_t code;
        const void* self;
        const void* pre;
        const void* next;
    };
    // At most every chunk once and every head once; taken before the lock.
    const size_t room = size_t(m_buddy.blockCount()) + size_t(m_buddy.orderCount());
    std::unique_ptr<Entry[]> entries(new (std::nothrow) Entry[room]);
    if (entries == nullptr) return;
    size_t count = 0;
    {
        Detail::PoolGuard guard(m_poolLock);
        const Detail::BufferList* lists = m_buddy.lists();
        for (int32_t k = 0; k < m_buddy.orderCount(); ++k) {
            const Detail::BufferList* head = &lists[k];
            entries[count++] = Entry{k, true, 0, head->order, head, head->pre, head->next};
            for (const Detail::ChunkNode* n = head->next; n != head && count < room; n = n->next) {
                entries[count++] = Entry{k, false, n->realIdx, n->order, n, n->pre, n->next};
            }
        }
    }
    for (size_t i = 0; i < count; ++i) {
        const Entry& e = entries[i];
        if (e.head) {
            KERNA_LOG(4, "BufferList id:%d, order:%d, head:%p, headpre:%p, next:%p\n", int(e.order), int(e.code),
                      e.self, e.pre, e.next);
        } else {
            KERNA_LOG(4, "bufflist:%d, id:%d, realIdx:%d, self:%p, order:%d, pre:%p, next:%p\n", int(e.order), 0,
                      int(e.realIdx), e.self, int(e.code), e.pre, e.next);
        }
    }
}

// ---- the facade ---------------------------------------------------------------------------

CPacketManager::CPacketManager(PacketManagerInternal* internal) : m_internal(internal) {}

CPacketManager::~CPacketManager() { m_internal = nullptr; }

void CPacketManager::config(Policy policy, MemoryOperator* memop, PoolParameter* param) {
    PacketManagerInternal::config(policy, memop, param);
}

void CPacketManager::getConfig(Policy& policy, PoolParameter& param) {
    PacketManagerInternal::getConfig(policy, param);
}

CPacketManager* CPacketManager::instance() { return PacketManagerInternal::instance()->facade(); }

unsigned char* CPacketManager::getPoolBuffer() { return m_internal->getPoolBuffer(); }

void* CPacketManager::malloc(size_t size) { return m_internal->malloc(size); }

void CPacketManager::free(void* p) { m_internal->free(p); }

void* CPacketManager::memcpy(void* dst, const void* src, size_t size) {
    return m_internal->memcpy(dst, src, size);
}

uint64_t CPacketManager::getBufferSize() { return m_internal->getBufferSize(); }

uint64_t CPacketManager::getFreeSize() { return m_internal->getFreeSize(); }

void CPacketManager::enableNodesStatistics(bool enable) { PacketManagerInternal::enableNodesStatistics(enable); }

void CPacketManager::dumpNodes() {
    if (PacketManagerInternal::nodesStatisticsEnabled()) PacketManagerInternal::dumpStatistics();
    m_internal->dumpNodes();
}

bool CPacketManager::advisePacket() {
    KERNA_LOG(2, "USE_PACKET_ADVISE mode is not used!\n");
    return false;
}

}  // namespace Memory
}  // namespace Tessaran

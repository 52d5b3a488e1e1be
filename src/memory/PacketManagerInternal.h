// PacketManagerInternal.h
//
// The one process-wide object behind CPacketManager: the class-wide settings that config()
// fills before first use, the three operation slots chosen from the policy, the region and its
// buddy allocator, and the live-block statistics. It is kept by ProcessObject: built at the
// first use, its lines printed after it is published, never freed, so that a packet released
// at any time up to the end of the process finds it and its region.

#ifndef KERNA_SRC_MEMORY_PACKETMANAGERINTERNAL_H_
#define KERNA_SRC_MEMORY_PACKETMANAGERINTERNAL_H_

#include <kerna/memory/PacketManager.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "base/ProcessObject.h"
#include "memory/BuddyAllocator.h"
#include "memory/PoolLock.h"

namespace Tessaran {
namespace Memory {

class PacketManagerInternal {
public:
    typedef CPacketManager::Policy Policy;
    typedef CPacketManager::PoolParameter PoolParameter;
    typedef CPacketManager::MemoryOperator MemoryOperator;

    /// The process-wide object, created on first call; ends the configurable phase.
    static PacketManagerInternal* instance() { return Kerna::Detail::ProcessObject<PacketManagerInternal>::get(); }

    /// The facade that CPacketManager::instance() hands out; part of this object.
    CPacketManager* facade() { return &m_facade; }

    /// ProcessObject: the lines about the construction (and, when the pool could not be built,
    /// the fatal line and the stop), printed once the object is published and no lock is held.
    void published();
    /// ProcessObject: nothing to stop; the region stays for the packets still alive.
    void atProcessExit() {}

    static void config(Policy policy, MemoryOperator* memop, PoolParameter* param);
    static void getConfig(Policy& policy, PoolParameter& param);
    static Policy getPolicy() { return static_cast<Policy>(sm_policy); }

    /// `size` raised to a multiple of the alignment step. Sizes that would wrap come back
    /// as UINT64_MAX, which no allocation satisfies.
    uint64_t alignUp(uint64_t size) const {
        if (size > UINT64_MAX - (m_alignment - 1)) return UINT64_MAX;
        return (size + m_alignment - 1) & ~(m_alignment - 1);
    }

    /// The allocation slot. `size` is in and out: a pool block replaces it by its real size.
    void* malloc(size_t& size) { return (this->*m_mallocSlot)(size); }
    void free(void* p) { (this->*m_freeSlot)(p); }
    void* memcpy(void* dst, const void* src, size_t n) { return (this->*m_memcpySlot)(dst, src, n); }

    unsigned char* getPoolBuffer() const { return m_poolBuffer; }
    uint64_t getBufferSize();
    uint64_t getFreeSize();

    /// The free-list part of CPacketManager::dumpNodes.
    void dumpNodes();

    /// Live-block statistics, process-wide.
    static void enableNodesStatistics(bool enable);
    static bool nodesStatisticsEnabled() { return sm_statisticsOn.load(std::memory_order_acquire); }
    /// Logs the live blocks by thread (the first half of CPacketManager::dumpNodes).
    static void dumpStatistics();

    /// For tests: the allocator's bookkeeping, its lock and the aligned base.
    const Detail::BuddyAllocator& buddy() const { return m_buddy; }
    Detail::PoolLock& poolLock() { return m_poolLock; }
    unsigned char* alignedBuffer() const { return m_alignedBuffer; }

private:
    friend class Kerna::Detail::ProcessObject<PacketManagerInternal>;
    // Prints nothing (see published()); never destroyed.
    PacketManagerInternal();
    PacketManagerInternal(const PacketManagerInternal&) = delete;
    PacketManagerInternal& operator=(const PacketManagerInternal&) = delete;

    enum BuildFailure { builtOk = 0, noRegion = 1, noChunkNodes = 2, noListHeads = 3 };

    static MemoryOperator& storedMemop();
    // Around a fork: the pool lock is taken before it and left after it in both processes, so
    // that the child's lists are whole and its lock free, whatever other threads were doing.
    static void beforeFork();
    static void afterForkInParent();
    static void afterForkInChild();

    void* sysMalloc(size_t& size);
    void sysFree(void* p);
    void* sysMemcpy(void* dst, const void* src, size_t n);
    void* Pool_Malloc(size_t& size);
    void Pool_Free(void* p);
    __attribute__((noinline)) void refuseMalloc();
    __attribute__((noinline)) void recordBlock(int32_t chunk, uint64_t size);
    __attribute__((noinline)) void refuseFree(void* p);
    __attribute__((noinline)) void forgetBlock(int32_t chunk);
    void* poolMemcpy(void* dst, const void* src, size_t n);
    void PrintNodeInfo();

    static int sm_policy;
    static PoolParameter sm_param;
    static std::atomic<bool> sm_configurable;
    // The statistics flag, read by every Pool_Malloc and Pool_Free without a lock; written
    // under its own lock (enableNodesStatistics).
    static std::atomic<bool> sm_statisticsOn;

    CPacketManager m_facade;
    unsigned char* m_poolBuffer;
    unsigned char* m_alignedBuffer;
    Detail::BuddyAllocator m_buddy;  // chunk nodes, list heads, chunkShift, counts
    // Guards the allocator. Held only across list work, never while anything else runs.
    Detail::PoolLock m_poolLock;
    uint64_t m_alignment;
    uint64_t m_totalSize;
    int m_policy;
    BuildFailure m_buildFailure;
    void* (PacketManagerInternal::*m_mallocSlot)(size_t&);
    void (PacketManagerInternal::*m_freeSlot)(void*);
    void* (PacketManagerInternal::*m_memcpySlot)(void*, const void*, size_t);
};

}  // namespace Memory
}  // namespace Tessaran

#endif  // KERNA_SRC_MEMORY_PACKETMANAGERINTERNAL_H_

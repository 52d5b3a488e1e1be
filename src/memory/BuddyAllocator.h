// BuddyAllocator.h
//
// The block bookkeeping of the packet pool: one node per chunk of the region and one list head
// per order, free blocks linked in circular doubly linked lists, requests served best fit by
// order with splits from the top, frees merged with their buddies. The class takes no lock and
// writes no log: PacketManagerInternal holds the lock around allocate/release and does the
// reporting. The region itself is never touched, only addresses into it are computed.

#ifndef KERNA_SRC_MEMORY_BUDDYALLOCATOR_H_
#define KERNA_SRC_MEMORY_BUDDYALLOCATOR_H_

#include <cstddef>
#include <cstdint>

namespace Tessaran {
namespace Memory {
namespace Detail {

/// One chunk of the region, or (same shape) the head of the free list of one order.
/// `order`: 0 = not the first chunk of any block; k + 1 = first chunk of a free block of
/// order k; -(k + 1) = first chunk of an allocated block of order k.
struct ChunkNode {
    int32_t realIdx;
    int32_t order;
    unsigned char* addr;
    ChunkNode* pre;
    ChunkNode* next;
};

/// List heads have the shape of a chunk node so that heads and nodes link to each other.
typedef ChunkNode BufferList;

class BuddyAllocator {
public:
    enum InitResult { initOk = 0, initNoNodes = 1, initNoLists = 2 };

    BuddyAllocator();
    ~BuddyAllocator();
    BuddyAllocator(const BuddyAllocator&) = delete;
    BuddyAllocator& operator=(const BuddyAllocator&) = delete;

    /// Builds the node and head arrays (run-time heap) for `blockCount` chunks of
    /// 2^`chunkShift` bytes starting at `alignedBase`, and seeds the free lists: one free
    /// block per set bit of `blockCount`, the largest at the lowest chunk numbers.
    /// On failure nothing is kept and the result names the array that could not be had.
    InitResult init(unsigned char* alignedBase, int32_t blockCount, uint32_t chunkShift);

    /// Smallest order k for which 2^k chunks of 2^`chunkShift` bytes hold `size` bytes.
    /// 0 wraps to all ones and so yields an order above every pool.
    static int32_t orderOf(uint64_t size, uint32_t chunkShift);

    /// Takes a block of `order` from the smallest non-empty list at or above it, splitting
    /// from the top. Returns the chunk number of the block, or -1 when none fits.
    int32_t allocate(int32_t order);

    /// What a pointer given to release is, before any list work.
    enum Lookup { lookupBlock = 0, lookupBelowBase = 1, lookupOutside = 2, lookupNotABlock = 3 };

    /// Finds the chunk of `p`. lookupBlock only when `p` is the start address of an
    /// allocated block (the first chunk of a block handed out by allocate and not yet freed).
    Lookup lookup(const void* p, int32_t& id) const;

    /// Gives back the allocated block whose first chunk is `id` (lookup said lookupBlock),
    /// merging it with its free buddies for as long as they are free and whole.
    void release(int32_t id);

    /// Bytes in free blocks, by walking the lists.
    uint64_t freeBytes() const;

    /// Number of free blocks in the list of `order`.
    int32_t listLength(int32_t order) const;

    unsigned char* base() const { return m_base; }
    int32_t blockCount() const { return m_blockCount; }
    int32_t orderCount() const { return m_orderCount; }
    uint32_t chunkShift() const { return m_chunkShift; }
    const ChunkNode* nodes() const { return m_nodes; }
    const BufferList* lists() const { return m_lists; }
    /// Bytes of both management arrays together.
    uint64_t managementBytes() const;
    /// Real size in bytes of a block of `order`.
    uint64_t blockBytes(int32_t order) const { return (uint64_t(1) << order) << m_chunkShift; }

private:
    void insert(int32_t order, ChunkNode* node);
    static void unlink(ChunkNode* node);
    void clear();

    unsigned char* m_base;
    ChunkNode* m_nodes;
    uint32_t m_chunkShift;
    BufferList* m_lists;
    int32_t m_blockCount;
    int32_t m_orderCount;
};

}  // namespace Detail
}  // namespace Memory
}  // namespace Tessaran

#endif  // KERNA_SRC_MEMORY_BUDDYALLOCATOR_H_

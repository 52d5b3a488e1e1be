// BuddyAllocator.h
//
// The block bookkeeping of the packet pool: one node per chunk of the region and one list head
// per order, free blocks linked in circular doubly linked lists, requests served best fit by
// order with splits from the top, frees merged with their buddies. The class takes no lock and
// writes no log: PacketManagerInternal holds the lock around every call and does the reporting.
// The region itself is never touched, only addresses into it are computed.
//
// Two paths give the same blocks, lists and counts. The reference path does each step as it is
// told: a walk up the lists for the first non-empty order, every split written at once, free
// bytes counted by walking the lists. The fast path (the default) keeps a bitmask of non-empty
// orders and a running free count, and defers the list writes of a split: the lower halves go
// into their lists at the start of the next call of any kind (an accessor of the lists or nodes
// included), or, when that next call gives the same block back, the split is simply undone and
// the block merges as it would have. Between two calls the lists are always the specified ones.

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

    /// Makes allocators built from now on take the reference path (true) or the fast path
    /// (false, the default). An allocator keeps the path it was built with.
    static void setReferencePath(bool reference);
    static bool referencePath();

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

    /// Bytes in free blocks: the running count, or (reference path) a walk of the lists.
    uint64_t freeBytes() const;

    /// Number of free blocks in the list of `order`.
    int32_t listLength(int32_t order) const;

    unsigned char* base() const { return m_base; }
    int32_t blockCount() const { return m_blockCount; }
    int32_t orderCount() const { return m_orderCount; }
    uint32_t chunkShift() const { return m_chunkShift; }
    bool usesReferencePath() const { return m_reference; }
    /// The node and head arrays, with every list write done.
    const ChunkNode* nodes() const {
        settle();
        return m_nodes;
    }
    const BufferList* lists() const {
        settle();
        return m_lists;
    }
    /// Start address of chunk `id` (fixed at init; needs no list work).
    unsigned char* addressOf(int32_t id) const { return m_nodes[id].addr; }
    /// Bytes of both management arrays together.
    uint64_t managementBytes() const;
    /// Real size in bytes of a block of `order`.
    uint64_t blockBytes(int32_t order) const { return (uint64_t(1) << order) << m_chunkShift; }

private:
    void insert(int32_t order, ChunkNode* node) const;
    void unlink(ChunkNode* node) const;
    void clear();
    /// Writes the lower halves of a deferred split into their lists.
    void settle() const {
        if (m_pendingChunk >= 0) writeSplit();
    }
    void writeSplit() const;
    /// Merges the free block of code `code` (order + 1) at `id` with its free buddies and
    /// links the result.
    void mergeAndInsert(int32_t id, int32_t code);

    unsigned char* m_base;
    ChunkNode* m_nodes;
    uint32_t m_chunkShift;
    BufferList* m_lists;
    int32_t m_blockCount;
    int32_t m_orderCount;
    bool m_reference;
    // Fast path: bit k set while list k is not empty; chunks in free blocks. Both follow every
    // list write (a deferred split counts as written for the free count, and in the mask only
    // once written).
    mutable uint32_t m_nonEmpty;
    uint64_t m_freeChunks;
    // The deferred split: the block of order m_pendingFrom at m_pendingStart was cut down to
    // the allocated block of order m_pendingTo at m_pendingChunk (-1: nothing deferred).
    mutable int32_t m_pendingChunk;
    int32_t m_pendingStart;
    int32_t m_pendingFrom;
    int32_t m_pendingTo;
};

}  // namespace Detail
}  // namespace Memory
}  // namespace Tessaran

#endif  // KERNA_SRC_MEMORY_BUDDYALLOCATOR_H_

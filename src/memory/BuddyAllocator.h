// BuddyAllocator.h
//
// The block bookkeeping of the packet pool: one node per chunk of the region and one list head
// per order, free blocks linked in circular doubly linked lists, requests served best fit by
// order with splits from the top, frees merged with their buddies. The class takes no lock and
// writes no log: PacketManagerInternal holds the lock around every call and does the reporting.
// The region itself is never touched, only addresses into it are computed.
//
// Two paths give the same blocks, lists and counts. The reference path does each step as it is
// told: a walk up the lists for the first non-empty order, the unlink and every split written
// at once, free bytes counted by walking the lists. The fast path (the default) keeps a mask of
// non-empty orders and a running free count, and defers the list writes of an allocation: the
// block stays at the head of its list and its lower halves stay unwritten until the next call
// of any kind (an accessor of the lists or nodes included) writes them. When that next call
// gives the same block back, nothing is written at all: unlinking the block, splitting it and
// merging it back would leave every list as it was. Between two calls the lists, the codes of
// the nodes and the counts are those of the reference path.

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
    static int32_t orderOf(uint64_t size, uint32_t chunkShift) {
        // (size - 1) >> (chunkShift - 1): 0 and 1 are order 0, 2 and 3 order 1, and so on
        // (chunkShift is at least 10: chunks of 1024 bytes or more). The order is taken on 32
        // bits; a shifted value beyond them (size 0 wraps to all ones, or a huge request) is
        // order 31, which no pool holds (blockCount is a signed 32-bit number, so at most 31
        // orders, 0 to 30), instead of a small order from the low bits.
        const uint64_t shifted = (size - 1) >> (chunkShift - 1);
        if (shifted > 0xFFFFFFFFu) return 31;
        return shifted == 0 ? 0 : 31 - __builtin_clz(uint32_t(shifted));
    }

    /// Takes a block of `order` from the smallest non-empty list at or above it, splitting
    /// from the top. Returns the chunk number of the block, or -1 when none fits.
    int32_t allocate(int32_t order) {
        if (m_reference || order < 0 || order >= m_orderCount) return allocateReference(order);
        settle();
        const uint32_t fits = m_nonEmpty & (~uint32_t(0) << order);
        if (fits == 0) return -1;
        const int32_t found = __builtin_ctz(fits);
        // The head block of list `found`, cut down to its top block of `order`; the list
        // writes wait for the next call.
        const int32_t start = m_lists[found].next->realIdx;
        const int32_t chunk = start + (int32_t(1) << found) - (int32_t(1) << order);
        m_pendingStart = start;
        m_pendingFrom = found;
        m_pendingTo = order;
        m_pendingChunk = chunk;
        m_nodes[chunk].order = -(order + 1);
        m_freeChunks -= uint64_t(1) << order;
        return chunk;
    }

    /// What a pointer given to release is, before any list work.
    enum Lookup { lookupBlock = 0, lookupBelowBase = 1, lookupOutside = 2, lookupNotABlock = 3 };

    /// Finds the chunk of `p`. lookupBlock only when `p` is the start address of an
    /// allocated block (the first chunk of a block handed out by allocate and not yet freed).
    Lookup lookup(const void* p, int32_t& id) const {
        // Integer arithmetic on the addresses: p may lie anywhere. Deferred writes need no
        // settling first: the block taken already carries its allocated code, and the other
        // chunks they would touch read as free or as no block's first chunk either way.
        const int64_t chunk =
            int64_t(reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(m_base)) >> m_chunkShift;
        id = int32_t(chunk);
        if (chunk < 0) return lookupBelowBase;
        if (chunk >= m_blockCount) return lookupOutside;
        const ChunkNode& n = m_nodes[chunk];
        if (n.order >= 0 || n.addr != p) return lookupNotABlock;
        return lookupBlock;
    }

    /// Gives back the allocated block whose first chunk is `id` (lookup said lookupBlock),
    /// merging it with its free buddies for as long as they are free and whole.
    void release(int32_t id) {
        if (id != m_pendingChunk) {
            releaseSettled(id);
            return;
        }
        // The block taken by the last call comes back before anything else happened. Written
        // out, the take and this release would unlink the head block of its list, split it,
        // merge it back and link it at the head again, each chunk that stopped being first
        // left at code 0: the lists end as they were, and so do the codes, but for the block's
        // own chunk, which is either that head block again or one of its inner chunks. The
        // merge stops where it began, since two free buddies are never both in a list.
        m_nodes[id].order = id == m_pendingStart ? m_pendingFrom + 1 : 0;
        m_freeChunks += uint64_t(1) << m_pendingTo;
        m_pendingChunk = -1;
    }

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
    int32_t allocateReference(int32_t order);
    void releaseSettled(int32_t id);
    // The list writes are const because a const accessor may have to do the deferred ones
    // first; they change the arrays (behind the pointers) and the mutable mask only.
    void insert(int32_t order, ChunkNode* node) const;
    /// Takes `node` out of the list of `order`; its code becomes 0.
    void unlink(ChunkNode* node, int32_t order) const;
    void clear();
    /// Does the list writes of the last allocation, if they still wait.
    void settle() const {
        if (m_pendingChunk >= 0) writeTake();
    }
    void writeTake() const;

    unsigned char* m_base;
    ChunkNode* m_nodes;
    uint32_t m_chunkShift;
    BufferList* m_lists;
    int32_t m_blockCount;
    int32_t m_orderCount;
    bool m_reference;
    // Fast path: bit k set while list k is not empty (as written; a block whose unlink waits
    // is still in its list); chunks in free blocks (the block taken is already counted out).
    mutable uint32_t m_nonEmpty;
    uint64_t m_freeChunks;
    // The allocation whose list writes wait: the head block of list m_pendingFrom, first chunk
    // m_pendingStart, cut down to the block of order m_pendingTo at m_pendingChunk (-1: none).
    mutable int32_t m_pendingChunk;
    int32_t m_pendingStart;
    int32_t m_pendingFrom;
    int32_t m_pendingTo;
};

}  // namespace Detail
}  // namespace Memory
}  // namespace Tessaran

#endif  // KERNA_SRC_MEMORY_BUDDYALLOCATOR_H_

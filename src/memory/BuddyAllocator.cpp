// BuddyAllocator.cpp
//
// Free-list work of the packet pool. Every operation is bounded by the number of orders: no
// search through blocks, no heap call after init.

#include "memory/BuddyAllocator.h"

#include <atomic>
#include <cstdlib>

namespace Tessaran {
namespace Memory {
namespace Detail {

namespace {

// floor(log2(v)), with log2 of 0 taken as 0.
int32_t floorLog2(uint64_t v) { return v == 0 ? 0 : 63 - __builtin_clzll(v); }

std::atomic<bool> s_referencePath{false};

}  // namespace

void BuddyAllocator::setReferencePath(bool reference) { s_referencePath.store(reference); }

bool BuddyAllocator::referencePath() { return s_referencePath.load(); }

BuddyAllocator::BuddyAllocator()
    : m_base(nullptr),
      m_nodes(nullptr),
      m_chunkShift(0),
      m_lists(nullptr),
      m_blockCount(0),
      m_orderCount(0),
      m_reference(false),
      m_nonEmpty(0),
      m_freeChunks(0),
      m_pendingChunk(-1),
      m_pendingStart(0),
      m_pendingFrom(0),
      m_pendingTo(0) {}

BuddyAllocator::~BuddyAllocator() { clear(); }

void BuddyAllocator::clear() {
    std::free(m_lists);
    std::free(m_nodes);
    m_lists = nullptr;
    m_nodes = nullptr;
    m_base = nullptr;
    m_blockCount = 0;
    m_orderCount = 0;
    m_nonEmpty = 0;
    m_freeChunks = 0;
    m_pendingChunk = -1;
}

int32_t BuddyAllocator::orderOf(uint64_t size, uint32_t chunkShift) {
    // (size - 1) >> (chunkShift - 1): 0 and 1 are order 0, 2 and 3 order 1, and so on
    // (chunkShift is at least 10: chunks of 1024 bytes or more). The order is taken on 32
    // bits; a shifted value beyond them (size 0 wraps to all ones, or a huge request) is
    // order 31, which no pool holds (blockCount is a signed 32-bit number, so at most 31
    // orders, 0 to 30), instead of a small order from the low bits.
    uint64_t shifted = (size - 1) >> (chunkShift - 1);
    if (shifted > 0xFFFFFFFFu) return 31;
    return floorLog2(shifted);
}

BuddyAllocator::InitResult BuddyAllocator::init(unsigned char* alignedBase, int32_t blockCount,
                                                uint32_t chunkShift) {
    clear();
    if (blockCount < 0) blockCount = 0;
    int32_t orderCount = floorLog2(uint64_t(blockCount)) + 1;
    // At least one entry each, so that an empty pool still has valid (empty) arrays.
    size_t nodeEntries = blockCount > 0 ? size_t(blockCount) : 1;
    ChunkNode* nodes = static_cast<ChunkNode*>(std::malloc(nodeEntries * sizeof(ChunkNode)));
    if (nodes == nullptr) return initNoNodes;
    BufferList* lists = static_cast<BufferList*>(std::malloc(size_t(orderCount) * sizeof(BufferList)));
    if (lists == nullptr) {
        std::free(nodes);
        return initNoLists;
    }
    m_base = alignedBase;
    m_nodes = nodes;
    m_lists = lists;
    m_chunkShift = chunkShift;
    m_blockCount = blockCount;
    m_orderCount = orderCount;
    m_reference = s_referencePath.load();

    for (int32_t i = 0; i < blockCount; ++i) {
        ChunkNode& n = m_nodes[i];
        n.realIdx = i;
        n.order = 0;
        n.addr = alignedBase + (uint64_t(i) << chunkShift);
        n.pre = nullptr;
        n.next = nullptr;
    }
    // Seed from the top order down: one block per set bit of blockCount, the largest first.
    int64_t remaining = blockCount;
    int64_t chunk = 0;
    for (int32_t k = orderCount - 1; k >= 0; --k) {
        BufferList& head = m_lists[k];
        head.realIdx = 0;
        head.order = k + 1;
        head.addr = nullptr;
        head.pre = &head;
        head.next = &head;
        int64_t span = int64_t(1) << k;
        int64_t take = remaining / span;
        remaining %= span;
        if (take != 0) {
            insert(k, &m_nodes[chunk]);
            m_freeChunks += uint64_t(span);
            chunk += span;
        }
    }
    return initOk;
}

void BuddyAllocator::insert(int32_t order, ChunkNode* node) const {
    BufferList* head = &m_lists[order];
    node->order = order + 1;
    node->pre = head;
    node->next = head->next;
    head->next->pre = node;
    head->next = node;
    m_nonEmpty |= uint32_t(1) << order;
}

void BuddyAllocator::unlink(ChunkNode* node) const {
    const int32_t order = node->order - 1;  // a listed node's code is its order + 1
    node->pre->next = node->next;
    node->next->pre = node->pre;
    node->order = 0;
    if (m_lists[order].next == &m_lists[order]) m_nonEmpty &= ~(uint32_t(1) << order);
}

int32_t BuddyAllocator::allocate(int32_t order) {
    if (order < 0 || order >= m_orderCount) return -1;
    settle();
    int32_t found;
    if (m_reference) {
        found = order;
        while (found < m_orderCount && m_lists[found].next == &m_lists[found]) ++found;
        if (found >= m_orderCount) return -1;
    } else {
        const uint32_t fits = m_nonEmpty & (~uint32_t(0) << order);
        if (fits == 0) return -1;
        found = __builtin_ctz(fits);
    }

    ChunkNode* node = m_lists[found].next;
    unlink(node);
    int32_t chunk = node->realIdx;
    if (m_reference) {
        // Keep the lower half free, go on with the upper half: a block comes from the top.
        while (found > order) {
            --found;
            insert(found, &m_nodes[chunk]);
            chunk += int32_t(1) << found;
        }
    } else if (found > order) {
        // The same block, the top one of the run; the lower halves are written later.
        m_pendingStart = chunk;
        m_pendingFrom = found;
        m_pendingTo = order;
        chunk += (int32_t(1) << found) - (int32_t(1) << order);
        m_pendingChunk = chunk;
    }
    m_nodes[chunk].order = -(order + 1);
    m_freeChunks -= uint64_t(1) << order;
    return chunk;
}

void BuddyAllocator::writeSplit() const {
    int32_t chunk = m_pendingStart;
    for (int32_t k = m_pendingFrom; k > m_pendingTo;) {
        --k;
        insert(k, &m_nodes[chunk]);
        chunk += int32_t(1) << k;
    }
    m_pendingChunk = -1;
}

BuddyAllocator::Lookup BuddyAllocator::lookup(const void* p, int32_t& id) const {
    // Integer arithmetic on the addresses: p may lie anywhere. A deferred split needs no
    // writing first: its lower halves' first chunks read 0 now and a free code once written,
    // and both mean "no allocated block here".
    int64_t diff = int64_t(reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(m_base));
    int64_t chunk = diff >> m_chunkShift;
    id = int32_t(chunk);
    if (chunk < 0) return lookupBelowBase;
    if (chunk >= m_blockCount) return lookupOutside;
    const ChunkNode& n = m_nodes[chunk];
    if (n.order >= 0 || n.addr != p) return lookupNotABlock;
    return lookupBlock;
}

void BuddyAllocator::release(int32_t id) {
    if (id == m_pendingChunk) {
        // The block of the deferred split comes back before anything else happened: written
        // out, its lower halves would now merge with it one by one, each leaving the chunk
        // that stops being first at order 0. Those chunks were never written, so they are 0
        // already; the block goes on merging from the order it was taken at.
        m_pendingChunk = -1;
        m_nodes[id].order = 0;
        m_freeChunks += uint64_t(1) << m_pendingTo;
        mergeAndInsert(m_pendingStart, m_pendingFrom + 1);
        return;
    }
    settle();
    const int32_t code = -m_nodes[id].order;
    m_freeChunks += uint64_t(1) << (code - 1);
    mergeAndInsert(id, code);
}

void BuddyAllocator::mergeAndInsert(int32_t id, int32_t code) {
    while (code < m_orderCount) {
        int32_t buddy = id ^ (int32_t(1) << (code - 1));
        if (buddy >= m_blockCount || m_nodes[buddy].order != code) break;
        unlink(&m_nodes[buddy]);
        int32_t merged = id & ~(int32_t(1) << (code - 1));
        // The chunk that stops being a block's first chunk forgets its order, so that a
        // second free of it is recognised as not a block.
        if (merged != id) m_nodes[id].order = 0;
        id = merged;
        ++code;
    }
    insert(code - 1, &m_nodes[id]);
}

int32_t BuddyAllocator::listLength(int32_t order) const {
    settle();
    int32_t count = 0;
    const BufferList* head = &m_lists[order];
    for (const ChunkNode* n = head->next; n != head; n = n->next) ++count;
    return count;
}

uint64_t BuddyAllocator::freeBytes() const {
    if (!m_reference) return m_freeChunks << m_chunkShift;
    uint64_t chunks = 0;
    for (int32_t k = 0; k < m_orderCount; ++k) chunks += uint64_t(listLength(k)) << k;
    return chunks << m_chunkShift;
}

uint64_t BuddyAllocator::managementBytes() const {
    return uint64_t(m_blockCount) * sizeof(ChunkNode) + uint64_t(m_orderCount) * sizeof(BufferList);
}

}  // namespace Detail
}  // namespace Memory
}  // namespace Tessaran

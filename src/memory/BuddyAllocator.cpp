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

void BuddyAllocator::unlink(ChunkNode* node, int32_t order) const {
    node->pre->next = node->next;
    node->next->pre = node->pre;
    node->order = 0;
    if (m_lists[order].next == &m_lists[order]) m_nonEmpty &= ~(uint32_t(1) << order);
}

int32_t BuddyAllocator::allocateReference(int32_t order) {
    if (order < 0 || order >= m_orderCount) return -1;
    settle();
    int32_t found = order;
    while (found < m_orderCount && m_lists[found].next == &m_lists[found]) ++found;
    if (found >= m_orderCount) return -1;

    ChunkNode* node = m_lists[found].next;
    unlink(node, found);
    int32_t chunk = node->realIdx;
    // Keep the lower half free, go on with the upper half: a block comes from the top.
    while (found > order) {
        --found;
        insert(found, &m_nodes[chunk]);
        chunk += int32_t(1) << found;
    }
    m_nodes[chunk].order = -(order + 1);
    m_freeChunks -= uint64_t(1) << order;
    return chunk;
}

void BuddyAllocator::writeTake() const {
    // The steps of allocateReference from the unlink on, for the block found then.
    const int32_t taken = m_pendingChunk;
    m_pendingChunk = -1;
    unlink(&m_nodes[m_pendingStart], m_pendingFrom);
    int32_t chunk = m_pendingStart;
    for (int32_t k = m_pendingFrom; k > m_pendingTo;) {
        --k;
        insert(k, &m_nodes[chunk]);
        chunk += int32_t(1) << k;
    }
    m_nodes[taken].order = -(m_pendingTo + 1);
}

void BuddyAllocator::releaseSettled(int32_t id) {
    settle();
    int32_t code = -m_nodes[id].order;
    m_freeChunks += uint64_t(1) << (code - 1);
    while (code < m_orderCount) {
        int32_t buddy = id ^ (int32_t(1) << (code - 1));
        if (buddy >= m_blockCount || m_nodes[buddy].order != code) break;
        unlink(&m_nodes[buddy], code - 1);
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

// MemPool.cpp
//
// Fixed-size items in chunks. A chunk is one block from new: a header of two pointers (its
// first item, the chunk before it) followed by the items. A free item keeps the link to the
// next free item in its first 8 bytes; items are not aligned, so links are read and written
// bytewise.

#include <kerna/memory/MemPool.h>

#include <kerna/kerna3/Mutex.h>

#include <cstdint>
#include <cstring>

namespace Tessaran {
namespace Memory {
namespace Detail {

namespace {

struct ChunkHeader {
    unsigned char* data;
    ChunkHeader* next;
};

inline void* readLink(const void* item) {
    void* next;
    std::memcpy(&next, item, sizeof(next));
    return next;
}

inline void writeLink(void* item, void* next) { std::memcpy(item, &next, sizeof(next)); }

}  // namespace

class MemPoolInternal {
public:
    MemPoolInternal(unsigned int size, unsigned int perChunk)
        : chunks(nullptr),
          itemSize(size < 8 ? 8 : size),
          itemsPerChunk(perChunk < 1 ? 1 : perChunk),
          freeList(nullptr) {}

    ChunkHeader* chunks;
    uint32_t itemSize;
    uint32_t itemsPerChunk;
    void* freeList;
    Kerna::CMutex mutex;
};

CMemPool::CMemPool(unsigned int itemSize, unsigned int itemsPerChunk)
    : m_internal(new MemPoolInternal(itemSize, itemsPerChunk)) {}

CMemPool::~CMemPool() {
    ChunkHeader* c = m_internal->chunks;
    while (c != nullptr) {
        ChunkHeader* next = c->next;
        delete[] reinterpret_cast<unsigned char*>(c);
        c = next;
    }
    delete m_internal;
}

void* CMemPool::malloc() {
    MemPoolInternal& m = *m_internal;
    Kerna::CGuard guard(m.mutex);
    if (m.freeList == nullptr) {
        const size_t items = size_t(m.itemSize) * m.itemsPerChunk;
        unsigned char* block = new unsigned char[sizeof(ChunkHeader) + items];
        ChunkHeader* chunk = reinterpret_cast<ChunkHeader*>(block);
        chunk->data = block + sizeof(ChunkHeader);
        chunk->next = m.chunks;
        m.chunks = chunk;
        // Link the items in ascending address order, the last one with a null link.
        for (uint32_t i = 0; i < m.itemsPerChunk; ++i) {
            unsigned char* item = chunk->data + size_t(i) * m.itemSize;
            writeLink(item, i + 1 < m.itemsPerChunk ? item + m.itemSize : nullptr);
        }
        m.freeList = chunk->data;
    }
    void* item = m.freeList;
    m.freeList = readLink(item);
    return item;
}

void CMemPool::free(void* item) {
    if (item == nullptr) return;
    MemPoolInternal& m = *m_internal;
    Kerna::CGuard guard(m.mutex);
    writeLink(item, m.freeList);
    m.freeList = item;
}

}  // namespace Detail
}  // namespace Memory
}  // namespace Tessaran

// MemPool.h
//
// Detail::CMemPool: a thread-safe pool of fixed-size items that grows in chunks and gives
// nothing back to the heap until it is destroyed.

#ifndef KERNA_MEMORY_MEMPOOL_H_
#define KERNA_MEMORY_MEMPOOL_H_

#include <kerna/kerna3/Defs.h>

namespace Tessaran {
namespace Memory {
namespace Detail {

class MemPoolInternal;

/// malloc and free may be called from any thread: one lock, constant time, a heap call only
/// when a chunk is added. Items are not aligned beyond what their size gives.
class KERNA_API CMemPool {
public:
    /// Items of `itemSize` bytes (below 8 becomes 8), `itemsPerChunk` to a chunk (0 becomes
    /// 1). No memory is taken yet.
    CMemPool(unsigned int itemSize, unsigned int itemsPerChunk);

    /// Frees every chunk, also with items still out.
    ~CMemPool();

    CMemPool(const CMemPool&) = delete;
    CMemPool& operator=(const CMemPool&) = delete;

    /// One item: the one freed last, else the next of a fresh chunk in ascending address
    /// order. A chunk comes from new, so running out of memory is new's failure.
    void* malloc();

    /// Gives back an item that came from this pool's malloc; null is ignored.
    void free(void* item);

private:
    MemPoolInternal* m_internal;
};

}  // namespace Detail
}  // namespace Memory
}  // namespace Tessaran

#endif  // KERNA_MEMORY_MEMPOOL_H_

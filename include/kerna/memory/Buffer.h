// Buffer.h
//
// CBuffer: a growable byte buffer with an optional growth step. The data live in one heap
// block that starts with a small header; growing takes a new block, copies, frees the old.

#ifndef KERNA_MEMORY_BUFFER_H_
#define KERNA_MEMORY_BUFFER_H_

#include <kerna/kerna3/Defs.h>

#include <cstddef>

namespace Tessaran {
namespace Memory {

/// No lock: a buffer belongs to one thread at a time. An allocation failure leaves the
/// buffer as it was and logs at level 4.
class KERNA_API CBuffer {
public:
    /// Empty, no memory.
    CBuffer();
    /// Frees the block.
    ~CBuffer();

    CBuffer(const CBuffer&) = delete;
    CBuffer& operator=(const CBuffer&) = delete;

    /// Appends `length` bytes; grows to size + length, raised to a multiple of the growth
    /// step if one is set. Returns `length`, or 0 on failure (or for a null `data` with a
    /// non-zero length, logged).
    size_t putBuffer(unsigned char* data, size_t length);

    /// The data start; null without a block or while the size is 0.
    unsigned char* getBuffer() const;

    /// Bytes in use; 0 without a block.
    size_t size() const;

    /// Bytes the block holds; 0 without a block.
    size_t capacity() const;

    /// Sets the size, growing when needed (raised to a multiple of the step, and the size
    /// set is then the raised value). New bytes are not cleared; a smaller size keeps the
    /// block and its bytes.
    void resize(size_t size);

    /// Grows the capacity to exactly `capacity` when it is larger; leaves the size.
    void reserve(size_t capacity);

    /// Sets the growth step (0: none). Without a block, first takes one of `step` bytes.
    void setIncreasedSize(size_t step);

    /// Frees the block; everything is back to the start state, including the step.
    void reset();

private:
    void* m_internal;
};

}  // namespace Memory
}  // namespace Tessaran

#endif  // KERNA_MEMORY_BUFFER_H_

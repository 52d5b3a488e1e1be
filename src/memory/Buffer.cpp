// Buffer.cpp
//
// CBuffer keeps one malloc block: a header (base, size, capacity, growth step) followed by
// the data. Growing takes a new block, copies header and data bytes in use, frees the old.

#include <kerna/memory/Buffer.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/Log.h"

namespace Tessaran {
namespace Memory {

namespace {

struct BufferHeader {
    void* base;
    uint64_t size;
    uint64_t capacity;
    uint64_t increasedSize;
};

inline BufferHeader* header(void* internal) { return static_cast<BufferHeader*>(internal); }

inline unsigned char* dataOf(BufferHeader* h) { return reinterpret_cast<unsigned char*>(h + 1); }

// A block for `capacity` data bytes; null when the heap refuses or the size can't exist.
BufferHeader* allocateBlock(uint64_t capacity) {
    if (capacity > SIZE_MAX - sizeof(BufferHeader)) return nullptr;
    void* p = std::malloc(sizeof(BufferHeader) + size_t(capacity));
    if (p == nullptr) return nullptr;
    BufferHeader* h = static_cast<BufferHeader*>(p);
    h->base = p;
    h->size = 0;
    h->capacity = capacity;
    h->increasedSize = 0;
    return h;
}

// A copy of `old` (header and the bytes in use) in a block of `capacity` data bytes. The old
// block stays: the caller frees it once nothing reads from it any more (the bytes to append
// may lie in it). Null on failure.
BufferHeader* grownCopy(BufferHeader* old, uint64_t capacity) {
    BufferHeader* h = allocateBlock(capacity);
    if (h == nullptr) return nullptr;
    h->size = old->size;
    h->increasedSize = old->increasedSize;
    if (old->size != 0) std::memcpy(dataOf(h), dataOf(old), size_t(old->size));
    return h;
}

// `v` raised to the next multiple of `step` (no change for step 0); UINT64_MAX if it wraps.
uint64_t roundUp(uint64_t v, uint64_t step) {
    if (step == 0) return v;
    uint64_t rest = v % step;
    if (rest == 0) return v;
    if (v > UINT64_MAX - (step - rest)) return UINT64_MAX;
    return v + (step - rest);
}

}  // namespace

CBuffer::CBuffer() : m_internal(nullptr) {}

CBuffer::~CBuffer() { reset(); }

size_t CBuffer::putBuffer(unsigned char* data, size_t length) {
    if (data == nullptr && length != 0) {
        KERNA_LOG(2, "this:%p CBuffer putbuffer data is NULL\n", static_cast<void*>(this));
        return 0;
    }
    BufferHeader* h = header(m_internal);
    BufferHeader* old = nullptr;  // a block left behind by growth, freed after the copy
    if (h == nullptr) {
        h = allocateBlock(length);
        if (h == nullptr) {
            KERNA_LOG(4, " CBuffer putbuffer Malloc fail:\n");
            return 0;
        }
        m_internal = h;
    } else if (h->capacity - h->size < length) {
        uint64_t wanted = length > UINT64_MAX - h->size ? UINT64_MAX : h->size + length;
        BufferHeader* grown = wanted == UINT64_MAX ? nullptr : grownCopy(h, roundUp(wanted, h->increasedSize));
        if (grown == nullptr) {
            KERNA_LOG(4, "CBuffer putbuffer ReMalloc fail:\n");
            return 0;
        }
        old = h;
        h = grown;
        m_internal = h;
    }
    // `data` may point into this buffer's own bytes (an append of itself, or of a part that
    // reaches behind the end): memmove, and the old block goes only after the copy.
    if (length != 0) std::memmove(dataOf(h) + h->size, data, length);
    h->size += length;
    if (old != nullptr) std::free(old->base);
    return length;
}

unsigned char* CBuffer::getBuffer() const {
    BufferHeader* h = header(m_internal);
    if (h == nullptr || h->size == 0) return nullptr;
    return dataOf(h);
}

size_t CBuffer::size() const { return m_internal == nullptr ? 0 : size_t(header(m_internal)->size); }

size_t CBuffer::capacity() const { return m_internal == nullptr ? 0 : size_t(header(m_internal)->capacity); }

void CBuffer::resize(size_t size) {
    BufferHeader* h = header(m_internal);
    uint64_t value = size;
    if (h == nullptr) {
        h = allocateBlock(value);
        if (h == nullptr) {
            KERNA_LOG(4, " CBuffer resize Malloc fail:\n");
            return;
        }
        m_internal = h;
    } else if (h->capacity < value && value != 0) {
        value = roundUp(value, h->increasedSize);
        BufferHeader* grown = value == UINT64_MAX ? nullptr : grownCopy(h, value);
        if (grown == nullptr) {
            KERNA_LOG(4, " CBuffer resize ReMalloc fail:\n");
            return;
        }
        std::free(h->base);
        h = grown;
        m_internal = h;
    }
    h->size = value;
}

void CBuffer::reserve(size_t capacity) {
    BufferHeader* h = header(m_internal);
    if (h == nullptr) {
        h = allocateBlock(capacity);
        if (h == nullptr) {
            KERNA_LOG(4, " CBuffer reserve Malloc fail:\n");
            return;
        }
        m_internal = h;
        return;
    }
    if (capacity != 0 && capacity > h->capacity) {
        BufferHeader* grown = grownCopy(h, capacity);
        if (grown == nullptr) {
            KERNA_LOG(4, " CBuffer reserve Malloc fail:\n");
            return;
        }
        std::free(h->base);
        m_internal = grown;
    }
}

void CBuffer::setIncreasedSize(size_t step) {
    BufferHeader* h = header(m_internal);
    if (h == nullptr) {
        h = allocateBlock(step);
        if (h == nullptr) {
            KERNA_LOG(4, " CBuffer setIncreasedSize Malloc fail:\n");
            return;
        }
        m_internal = h;
    }
    h->increasedSize = step;
}

void CBuffer::reset() {
    BufferHeader* h = header(m_internal);
    if (h != nullptr) std::free(h->base);
    m_internal = nullptr;
}

}  // namespace Memory
}  // namespace Tessaran

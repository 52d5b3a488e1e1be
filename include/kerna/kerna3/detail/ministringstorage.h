// ministringstorage.h
//
// MiniStringStorage: a heap storage policy of flex_string that calls malloc, realloc and free
// directly instead of an allocator. Same block layout as AllocatorStringStorage (end pointer,
// capacity-end pointer, characters; capacity + 24 bytes for char), one pointer as the whole
// object. Capacity 0 is a null pointer, which every accessor reads as an empty string.
// `reserve` grows the block in place with realloc. A failed malloc or realloc ends the process
// through the assertion `0`.
#ifndef KERNA_KERNA3_DETAIL_MINISTRINGSTORAGE_H_
#define KERNA_KERNA3_DETAIL_MINISTRINGSTORAGE_H_

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>

namespace Tessaran {
namespace Kerna {

/// Heap storage for flex_string on malloc/realloc/free. `A` only names the allocator type that
/// `get_allocator` reports; it is never used to allocate. Not thread-safe.
template <typename E, class A = std::allocator<E> >
class MiniStringStorage {
public:
    typedef E value_type;
    typedef E* iterator;
    typedef const E* const_iterator;
    typedef A allocator_type;
    typedef std::size_t size_type;
    typedef std::ptrdiff_t difference_type;

    /// Header in front of the characters, as in AllocatorStringStorage.
    struct StringBlock {
        E* end_;
        E* capacityEnd_;
        E chars_[1];
    };

    /// Empty storage: a null block; allocates nothing.
    explicit MiniStringStorage(const A& = A()) : block_(0) {}

    /// A copy with capacity exactly `rhs.size()`.
    MiniStringStorage(const MiniStringStorage& rhs) : block_(0) {
        init(rhs.size(), rhs.size());
        std::copy(rhs.begin(), rhs.end(), begin());
    }

    /// `len` characters from `s`, capacity exactly `len`.
    MiniStringStorage(const E* s, size_type len, const A&) : block_(0) {
        init(len, len);
        std::copy(s, s + len, begin());
    }

    /// `len` copies of `c`, capacity exactly `len`.
    MiniStringStorage(size_type len, E c, const A&) : block_(0) {
        init(len, len);
        std::fill(begin(), end(), c);
    }

    /// Replaces the contents, reusing the block when it is large enough.
    MiniStringStorage& operator=(const MiniStringStorage& rhs) {
        if (&rhs == this) return *this;
        const size_type n = rhs.size();
        reserve(n);
        std::copy(rhs.begin(), rhs.end(), begin());
        setSize(n);
        return *this;
    }

    ~MiniStringStorage() {
        assert(begin() <= end());
        std::free(block_);
    }

    iterator begin() { return block_ ? chars(block_) : 0; }
    const_iterator begin() const { return block_ ? chars(block_) : 0; }
    iterator end() { return block_ ? block_->end_ : 0; }
    const_iterator end() const { return block_ ? block_->end_ : 0; }

    size_type size() const { return block_ ? static_cast<size_type>(end() - begin()) : 0; }
    size_type capacity() const {
        return block_ ? static_cast<size_type>(block_->capacityEnd_ - begin()) : 0;
    }
    size_type max_size() const {
        return (std::numeric_limits<size_type>::max() / 2 - sizeof(StringBlock)) / sizeof(E);
    }

    /// Grows the block in place to exactly `res_arg` characters with realloc; never shrinks.
    void reserve(size_type res_arg) {
        if (res_arg <= capacity()) return;
        if (block_ == 0) {
            init(0, res_arg);
            return;
        }
        const size_type sz = size();
        void* p = std::realloc(block_, blockBytes(res_arg));
        if (p == 0) failed();
        StringBlock* b = static_cast<StringBlock*>(p);
        // end_ only changes when the block moved; it is derived from the new block either way,
        // since the old pointer value may not be compared once realloc has run.
        b->end_ = chars(b) + sz;
        b->capacityEnd_ = chars(b) + res_arg;
        block_ = b;
    }

    /// Appends [b, e), growing the block to exactly the new size. When the block must grow the
    /// range must not lie in this storage: flex_string::append moves such ranges out of the way.
    template <class ForwardIterator>
    void append(ForwardIterator b, ForwardIterator e) {
        const size_type sz = static_cast<size_type>(std::distance(b, e));
        if (sz == 0) return;
        const size_type neededCapacity = size() + sz;
        if (capacity() < neededCapacity) {
            assert(!(le(begin(), &*b) && le(&*b, end())));
            reserve(neededCapacity);
        }
        std::copy(b, e, end());
        block_->end_ += sz;
    }

    /// Sets the size to `n`, growing to exactly `n` if needed, filling new positions with `c`.
    void resize(size_type n, E c) {
        if (n > capacity()) reserve(n);
        if (n > size()) std::fill(end(), begin() + n, c);
        setSize(n);
    }

    void swap(MiniStringStorage& rhs) { std::swap(block_, rhs.block_); }

    /// The characters with a terminator behind them; for a null block a constant empty text.
    const E* c_str() const {
        if (block_ == 0) return emptyText();
        *block_->end_ = E();
        return begin();
    }

    /// The characters; for a null block a constant empty text, never null.
    const E* data() const { return block_ ? begin() : emptyText(); }

    A get_allocator() const { return A(); }

private:
    static E* chars(StringBlock* b) {
        return reinterpret_cast<E*>(reinterpret_cast<char*>(b) + offsetof(StringBlock, chars_));
    }
    static const E* chars(const StringBlock* b) { return chars(const_cast<StringBlock*>(b)); }

    static size_type blockBytes(size_type cap) { return sizeof(StringBlock) + cap * sizeof(E); }

    static const E* emptyText() {
        static const E empty[1] = {E()};
        return empty;
    }

    [[noreturn]] static void failed() {
        assert(0);
        std::abort();  // also without assertions: never go on without memory
    }

    // Allocates a block of capacity `cap` holding `size` (uninitialised) characters; block_ must
    // be null. Capacity 0 stays null.
    void init(size_type size, size_type capacity) {
        assert(size <= capacity);
        if (capacity == 0) return;
        void* p = std::malloc(blockBytes(capacity));
        if (p == 0) failed();
        StringBlock* b = static_cast<StringBlock*>(p);
        b->end_ = chars(b) + size;
        b->capacityEnd_ = chars(b) + capacity;
        block_ = b;
    }

    void setSize(size_type n) {
        if (block_ == 0) return;  // n is 0
        block_->end_ = begin() + n;
    }

    template <class P, class Q>
    static bool le(P a, Q b) {
        return !std::less<const E*>()(static_cast<const E*>(b), static_cast<const E*>(a));
    }

    StringBlock* block_;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_DETAIL_MINISTRINGSTORAGE_H_

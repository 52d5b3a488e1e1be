// allocatorstringstorage.h
//
// AllocatorStringStorage: the heap storage policy of flex_string. The object is one pointer,
// `block_`, to a block that begins with a StringBlock header (end pointer, capacity-end pointer)
// followed by the characters. A block of capacity `cap` takes sizeof(StringBlock) + cap
// characters from the allocator (cap + 24 bytes for char): the header and room for the
// terminator. Capacity 0 allocates nothing and points at the shared constant `emptyBlock_`,
// which is never written. Growth is exact: a block is never larger than what was asked for.
#ifndef KERNA_KERNA3_DETAIL_ALLOCATORSTRINGSTORAGE_H_
#define KERNA_KERNA3_DETAIL_ALLOCATORSTRINGSTORAGE_H_

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <new>

namespace Tessaran {
namespace Kerna {

/// Heap storage for flex_string: one pointer to a block allocated through `A` (rebound to
/// bytes). Not thread-safe; `c_str` writes the terminator into the block.
template <typename E, class A = std::allocator<E> >
class AllocatorStringStorage : private A {
public:
    typedef E value_type;
    typedef E* iterator;
    typedef const E* const_iterator;
    typedef A allocator_type;
    typedef typename std::allocator_traits<A>::size_type size_type;
    typedef typename std::allocator_traits<A>::difference_type difference_type;

    /// Header in front of the characters. `chars_` is the first character; the block continues
    /// behind it with the rest of the capacity and one terminator position.
    struct StringBlock {
        E* end_;          ///< one past the last character
        E* capacityEnd_;  ///< one past the last usable character
        E chars_[1];      ///< the characters
    };

    /// The block of every storage with capacity 0; constant, never written or freed.
    static const StringBlock emptyBlock_;

    /// An empty storage on `emptyBlock_`; allocates nothing.
    explicit AllocatorStringStorage(const A& a = A()) : A(a), block_(emptyBlock()) {}

    /// A copy with capacity exactly `rhs.size()`.
    AllocatorStringStorage(const AllocatorStringStorage& rhs)
        : A(rhs.get_allocator()), block_(emptyBlock()) {
        init(rhs.size(), rhs.size());
        std::copy(rhs.begin(), rhs.end(), begin());
    }

    /// `len` characters from `s`, capacity exactly `len`.
    AllocatorStringStorage(const E* s, size_type len, const A& a) : A(a), block_(emptyBlock()) {
        init(len, len);
        std::copy(s, s + len, begin());
    }

    /// `len` copies of `c`, capacity exactly `len`.
    AllocatorStringStorage(size_type len, E c, const A& a) : A(a), block_(emptyBlock()) {
        init(len, len);
        std::fill(begin(), end(), c);
    }

    /// Replaces the contents, reusing the block when it is large enough.
    AllocatorStringStorage& operator=(const AllocatorStringStorage& rhs) {
        if (&rhs == this) return *this;
        const size_type n = rhs.size();
        if (capacity() >= n) {
            std::copy(rhs.begin(), rhs.end(), begin());
            setSize(n);
        } else {
            AllocatorStringStorage(rhs).swap(*this);
        }
        return *this;
    }

    ~AllocatorStringStorage() { release(block_); }

    iterator begin() { return chars(block_); }
    const_iterator begin() const { return chars(block_); }
    iterator end() { return block_->end_; }
    const_iterator end() const { return block_->end_; }

    size_type size() const { return static_cast<size_type>(end() - begin()); }
    size_type capacity() const { return static_cast<size_type>(block_->capacityEnd_ - begin()); }
    size_type max_size() const {
        return (std::allocator_traits<ByteAllocator>::max_size(ByteAllocator(get_allocator())) -
                sizeof(StringBlock)) /
               sizeof(E);
    }

    /// Makes room for `res_arg` characters: a new block of capacity exactly `res_arg` if the
    /// current one is smaller; never shrinks.
    void reserve(size_type res_arg) {
        if (res_arg <= capacity()) return;
        AllocatorStringStorage newStorage(get_allocator());
        newStorage.init(size(), res_arg);
        std::copy(begin(), end(), newStorage.begin());
        swap(newStorage);
    }

    /// Appends [b, e). When the block must grow the range must not lie in this storage (the
    /// old block is freed): flex_string::append moves such ranges out of the way first.
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

    /// Sets the size to `n`, growing the block to exactly `n` if needed and filling new
    /// positions with `c`.
    void resize(size_type n, E c) {
        if (n > capacity()) reserve(n);
        if (n > size()) std::fill(end(), begin() + n, c);
        setSize(n);
    }

    void swap(AllocatorStringStorage& rhs) { std::swap(block_, rhs.block_); }

    /// The characters with a terminator behind them. The terminator is written into the block,
    /// except for capacity 0, whose shared block already holds one.
    const E* c_str() const {
        if (block_->capacityEnd_ != chars(block_)) *block_->end_ = E();
        return begin();
    }

    const E* data() const { return begin(); }

    A get_allocator() const { return *this; }

private:
    typedef typename std::allocator_traits<A>::template rebind_alloc<char> ByteAllocator;

    static StringBlock* emptyBlock() { return const_cast<StringBlock*>(&emptyBlock_); }

    // The characters of a block, addressed from the block's start so that indexing past
    // chars_[0] stays inside the allocated bytes.
    static E* chars(StringBlock* b) {
        return reinterpret_cast<E*>(reinterpret_cast<char*>(b) + offsetof(StringBlock, chars_));
    }
    static const E* chars(const StringBlock* b) { return chars(const_cast<StringBlock*>(b)); }

    static size_type blockBytes(size_type cap) { return sizeof(StringBlock) + cap * sizeof(E); }

    // Points block_ at a new block of capacity `cap` holding `size` (uninitialised) characters.
    // The old block is not freed: callers start from emptyBlock_.
    void init(size_type size, size_type cap) {
        assert(size <= cap);
        if (cap == 0) {
            block_ = emptyBlock();
            return;
        }
        ByteAllocator bytes(get_allocator());
        char* raw = std::allocator_traits<ByteAllocator>::allocate(bytes, blockBytes(cap));
        StringBlock* b = reinterpret_cast<StringBlock*>(raw);
        b->end_ = chars(b) + size;
        b->capacityEnd_ = chars(b) + cap;
        block_ = b;
    }

    void release(StringBlock* b) {
        const size_type cap = static_cast<size_type>(b->capacityEnd_ - chars(b));
        if (cap == 0) return;  // emptyBlock_ (or its copy in another module): never freed
        ByteAllocator bytes(get_allocator());
        std::allocator_traits<ByteAllocator>::deallocate(bytes, reinterpret_cast<char*>(b),
                                                         blockBytes(cap));
    }

    void setSize(size_type n) {
        if (capacity() == 0) return;  // n is 0; emptyBlock_ is never written
        block_->end_ = begin() + n;
    }

    template <class P, class Q>
    static bool le(P a, Q b) {
        return !std::less<const E*>()(static_cast<const E*>(b), static_cast<const E*>(a));
    }

    StringBlock* block_;
};

template <typename E, class A>
const typename AllocatorStringStorage<E, A>::StringBlock AllocatorStringStorage<E, A>::emptyBlock_ =
    {const_cast<E*>(AllocatorStringStorage<E, A>::emptyBlock_.chars_),
     const_cast<E*>(AllocatorStringStorage<E, A>::emptyBlock_.chars_),
     {E()}};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_DETAIL_ALLOCATORSTRINGSTORAGE_H_

// smallstringopt.h
//
// SmallStringOpt: a storage policy of flex_string that wraps a heap storage policy and keeps
// short strings inline. The object is one buffer `buf_` of maxSmallString + 1 characters (32
// bytes for <AllocatorStringStorage<char>, 31, char*>). Its last character is the
// discriminator: 0 to maxSmallString means small mode, the characters live in `buf_` and the
// size is maxSmallString minus that value (a full small string gets its terminator for free);
// `magic` (maxSmallString + 1) means large mode, the first bytes of `buf_` hold a constructed
// heap storage object. Every string of maxSmallString characters or fewer can be held without
// allocation; a large string always has a capacity above maxSmallString.
#ifndef KERNA_KERNA3_DETAIL_SMALLSTRINGOPT_H_
#define KERNA_KERNA3_DETAIL_SMALLSTRINGOPT_H_

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>

namespace Tessaran {
namespace Kerna {

/// Small-string storage over the heap policy `Storage`: strings of up to `threshold` characters
/// (at least as many as fit over a Storage object or an `Align`) live in the object itself.
/// `Align` sets the object's alignment. Not thread-safe; `c_str` writes into the object.
template <class Storage, unsigned int threshold, typename Align = typename Storage::value_type*>
class SmallStringOpt {
public:
    typedef typename Storage::value_type value_type;
    typedef value_type* iterator;
    typedef const value_type* const_iterator;
    typedef typename Storage::allocator_type allocator_type;
    typedef typename std::allocator_traits<allocator_type>::size_type size_type;

private:
    enum {
        bytesForThreshold = threshold * sizeof(value_type),
        bytesForStorage = sizeof(Storage) > sizeof(Align) ? sizeof(Storage) : sizeof(Align),
        bytesNeeded = bytesForThreshold > bytesForStorage ? bytesForThreshold : bytesForStorage
    };

public:
    /// Longest string kept inline; also the discriminator value of an empty small string.
    enum { maxSmallString = (bytesNeeded + sizeof(value_type) - 1) / sizeof(value_type) };
    /// Discriminator value of large mode.
    enum { magic = maxSmallString + 1 };

    /// An empty small string.
    explicit SmallStringOpt(const allocator_type& = allocator_type()) { setSmallSize(0); }

    /// A copy. A source that fits inline is copied inline, also from large mode, so that copying
    /// a short string never allocates; a longer one gets a heap copy of exactly its size.
    SmallStringOpt(const SmallStringOpt& rhs) {
        if (rhs.Small()) {
            std::memcpy(buf_, rhs.buf_, sizeof(buf_));
        } else if (rhs.size() <= maxSmallString) {
            std::copy(rhs.begin(), rhs.end(), buf_);
            setSmallSize(rhs.size());
        } else {
            new (buf_) Storage(rhs.GetStorage());
            buf_[maxSmallString] = value_type(magic);
        }
    }

    /// `len` characters from `s`: inline if they fit, else on the heap with capacity `len`.
    SmallStringOpt(const value_type* s, size_type len, const allocator_type& a) {
        if (len <= maxSmallString) {
            std::copy(s, s + len, buf_);
            setSmallSize(len);
        } else {
            new (buf_) Storage(s, len, a);
            buf_[maxSmallString] = value_type(magic);
        }
    }

    /// `len` copies of `c`: inline if they fit, else on the heap with capacity `len`.
    SmallStringOpt(size_type len, value_type c, const allocator_type& a) {
        if (len <= maxSmallString) {
            std::fill(buf_, buf_ + len, c);
            setSmallSize(len);
        } else {
            new (buf_) Storage(len, c, a);
            buf_[maxSmallString] = value_type(magic);
        }
    }

    /// Replaces the contents. A source of more than maxSmallString characters goes into the
    /// existing block if this object's capacity exceeds its size; otherwise a small source
    /// replaces the whole object (freeing any block) and a large one is copied and swapped in.
    SmallStringOpt& operator=(const SmallStringOpt& rhs) {
        if (&rhs == this) return *this;
        const size_type n = rhs.size();
        if (n > maxSmallString && capacity() > n) {
            Storage& s = GetStorage();
            s.resize(n, value_type());
            std::copy(rhs.begin(), rhs.end(), s.begin());
        } else if (rhs.Small()) {
            destroy();
            std::memcpy(buf_, rhs.buf_, sizeof(buf_));
        } else {
            SmallStringOpt temp(rhs);
            temp.swap(*this);
        }
        return *this;
    }

    ~SmallStringOpt() { destroy(); }

    iterator begin() { return Small() ? buf_ : &*GetStorage().begin(); }
    const_iterator begin() const { return Small() ? buf_ : &*GetStorage().begin(); }
    iterator end() { return Small() ? buf_ + smallSize() : &*GetStorage().end(); }
    const_iterator end() const { return Small() ? buf_ + smallSize() : &*GetStorage().end(); }

    size_type size() const {
        assert(!Small() || maxSmallString >= buf_[maxSmallString]);
        return Small() ? smallSize() : GetStorage().size();
    }

    size_type max_size() const { return Storage(get_allocator()).max_size(); }

    size_type capacity() const {
        return Small() ? size_type(maxSmallString) : GetStorage().capacity();
    }

    /// Makes room for `res_arg` characters without ever shrinking: a small string asked for more
    /// than maxSmallString moves to a heap block of capacity exactly `res_arg`.
    void reserve(size_type res_arg) {
        if (Small()) {
            if (res_arg <= maxSmallString) return;
            Storage temp(get_allocator());
            temp.reserve(res_arg);
            temp.append(buf_, buf_ + smallSize());
            becomeLarge(temp);
        } else {
            GetStorage().reserve(res_arg);
        }
        assert(capacity() >= res_arg);
    }

    /// Appends [b, e), which must not lie in this string when it has to grow (flex_string
    /// takes care of that). Growth is exact; a small string that overflows moves to the heap.
    template <class FwdIterator>
    void append(FwdIterator b, FwdIterator e) {
        if (!Small()) {
            GetStorage().append(b, e);
            return;
        }
        const size_type sz = smallSize();
        const size_type n = static_cast<size_type>(std::distance(b, e));
        if (sz + n <= maxSmallString) {
            std::copy(b, e, buf_ + sz);
            buf_[maxSmallString] = value_type(buf_[maxSmallString] - value_type(n));
        } else {
            Storage temp(get_allocator());
            temp.reserve(sz + n);
            temp.append(buf_, buf_ + sz);
            temp.append(b, e);
            becomeLarge(temp);
        }
    }

    /// Sets the size to `n`, filling new positions with `c`. At maxSmallString or below the
    /// string always ends in small mode, freeing a block it held; above, it ends in large mode.
    void resize(size_type n, value_type c) {
        if (Small()) {
            if (n > maxSmallString) {
                Storage temp(get_allocator());
                temp.reserve(n);
                temp.append(buf_, buf_ + smallSize());
                temp.resize(n, c);
                becomeLarge(temp);
            } else {
                const size_type sz = smallSize();
                if (n > sz) std::fill(buf_ + sz, buf_ + n, c);
                setSmallSize(n);
            }
        } else if (n > maxSmallString) {
            GetStorage().resize(n, c);
        } else {
            assert(capacity() > n);
            const size_type keep = std::min(n, size());
            SmallStringOpt small(&*GetStorage().begin(), keep, get_allocator());
            small.resize(n, c);
            small.swap(*this);
        }
    }

    /// Two small strings swap their bytes, two large ones their storage; a mixed pair moves the
    /// large storage across through a temporary so that both end in the right mode.
    void swap(SmallStringOpt& rhs) {
        if (Small()) {
            if (rhs.Small()) {
                value_type temp[maxSmallString + 1];
                std::memcpy(temp, rhs.buf_, sizeof(buf_));
                std::memcpy(rhs.buf_, buf_, sizeof(buf_));
                std::memcpy(buf_, temp, sizeof(buf_));
            } else {
                value_type small[maxSmallString + 1];
                std::memcpy(small, buf_, sizeof(buf_));
                Storage temp(get_allocator());
                temp.swap(rhs.GetStorage());  // rhs now holds an empty storage
                becomeLarge(temp);
                rhs.destroy();
                std::memcpy(rhs.buf_, small, sizeof(buf_));
            }
        } else if (rhs.Small()) {
            rhs.swap(*this);
        } else {
            GetStorage().swap(rhs.GetStorage());
        }
    }

    /// The characters with a terminator. In small mode the terminator goes at index `size()`
    /// (for a full string that is the discriminator, already 0).
    const value_type* c_str() const {
        if (!Small()) return &*GetStorage().c_str();
        buf_[smallSize()] = value_type();
        return buf_;
    }

    const value_type* data() const { return Small() ? buf_ : &*GetStorage().data(); }

    allocator_type get_allocator() const { return allocator_type(); }

private:
    bool Small() const { return buf_[maxSmallString] != value_type(magic); }

    // The size in small mode. The discriminator is 0 to maxSmallString here; saying so lets the
    // compiler bound every access to buf_ (it would otherwise assume a negative byte).
    size_type smallSize() const {
        const value_type d = buf_[maxSmallString];
        if (!(d >= 0 && d <= value_type(maxSmallString))) __builtin_unreachable();
        return size_type(maxSmallString) - static_cast<size_type>(d);
    }

    void setSmallSize(size_type n) { buf_[maxSmallString] = value_type(maxSmallString - n); }

    Storage& GetStorage() {
        assert(buf_[maxSmallString] == magic);
        return *std::launder(reinterpret_cast<Storage*>(buf_));
    }
    const Storage& GetStorage() const {
        assert(buf_[maxSmallString] == magic);
        return *std::launder(reinterpret_cast<const Storage*>(buf_));
    }

    // Ends large mode (destroying the storage object); the buffer is then undefined.
    void destroy() {
        if (!Small()) GetStorage().~Storage();
    }

    // Moves `temp`'s block into this object, which must not hold a block, and enters large mode.
    void becomeLarge(Storage& temp) {
        new (buf_) Storage(get_allocator());
        buf_[maxSmallString] = value_type(magic);
        GetStorage().swap(temp);
    }

    static_assert(sizeof(Storage) <= maxSmallString * sizeof(value_type),
                  "the heap storage object must leave the discriminator free");

    union {
        mutable value_type buf_[maxSmallString + 1];
        Align align_;
    };
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_DETAIL_SMALLSTRINGOPT_H_

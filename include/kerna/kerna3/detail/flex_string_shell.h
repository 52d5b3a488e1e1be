// flex_string_shell.h
//
// flex_string: the library's string class template. Every operation is written against a
// storage policy (AllocatorStringStorage, MiniStringStorage, SmallStringOpt over one of them),
// which alone knows where the characters live; the shell adds the usual string interface on
// top of the policy's few primitives (begin, end, size, capacity, reserve, append, resize,
// swap, c_str, data).
//
// Growth is exact: a string that has to grow gets exactly the capacity it needs, never more.
// Source ranges that lie inside the string itself (appending, inserting or replacing with a
// piece of the same string) are handled here, before the storage may move its characters.
// Violated preconditions (iterators outside the string, reversed ranges) are programming
// errors, checked with assert(); out-of-range positions throw std::out_of_range as with
// std::basic_string, and lengths beyond max_size() throw std::length_error.
#ifndef KERNA_KERNA3_DETAIL_FLEX_STRING_SHELL_H_
#define KERNA_KERNA3_DETAIL_FLEX_STRING_SHELL_H_

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "kerna/kerna3/detail/allocatorstringstorage.h"

namespace Tessaran {
namespace Kerna {

/// A string of `E` with traits `T` over the storage policy `Storage`. The interface follows
/// std::basic_string; differences: growth is exact (no geometric growth), a null `const E*`
/// argument counts as an empty text, and shrinking a SmallStringOpt string to a length that
/// fits inline moves it back inline. Not thread-safe: even `c_str` writes into the object.
template <typename E, class T = std::char_traits<E>, class A = std::allocator<E>,
          class Storage = AllocatorStringStorage<E, A> >
class flex_string : private Storage {
public:
    typedef T traits_type;
    typedef typename T::char_type value_type;
    typedef A allocator_type;
    typedef typename std::allocator_traits<A>::size_type size_type;
    typedef typename std::allocator_traits<A>::difference_type difference_type;
    typedef E& reference;
    typedef const E& const_reference;
    typedef E* pointer;
    typedef const E* const_pointer;
    typedef typename Storage::iterator iterator;
    typedef typename Storage::const_iterator const_iterator;
    typedef std::reverse_iterator<iterator> reverse_iterator;
    typedef std::reverse_iterator<const_iterator> const_reverse_iterator;

    static constexpr size_type npos = size_type(-1);

private:
    // Admits this string's iterators only. Since the iterators are plain pointers, a literal 0
    // would otherwise fit both a position and an iterator; this way it is always a position.
    template <class It>
    using EnableIfIterator = typename std::enable_if<
        std::is_same<It, iterator>::value || std::is_same<It, const_iterator>::value, int>::type;

    iterator mutableIterator(const_iterator p) { return begin() + (p - cbegin()); }

public:
    // ---- construction ------------------------------------------------------------------

    /// An empty string; allocates nothing.
    explicit flex_string(const A& a = A()) : Storage(a) {}

    flex_string(const flex_string& str) : Storage(str) {}

    /// Takes `str`'s characters; `str` is left empty.
    flex_string(flex_string&& str) noexcept : Storage(str.get_allocator()) { swap(str); }

    /// At most `n` characters of `str` from `pos`; throws std::out_of_range if pos > size.
    flex_string(const flex_string& str, size_type pos, size_type n = npos, const A& a = A())
        : Storage(a) {
        assign(str, pos, n);
    }

    /// The text `s` (null: empty).
    flex_string(const value_type* s, const A& a = A()) : Storage(s, lengthOf(s), a) {}

    /// `n` characters from `s` (a null `s` gives an empty string).
    flex_string(const value_type* s, size_type n, const A& a = A()) : Storage(s, s ? n : 0, a) {}

    /// `n` copies of `c`.
    flex_string(size_type n, value_type c, const A& a = A()) : Storage(n, c, a) {}

    /// The characters of [first, last); two integers mean (count, character).
    template <class InputIterator>
    flex_string(InputIterator first, InputIterator last, const A& a = A()) : Storage(a) {
        append(first, last);
    }

    flex_string(std::initializer_list<E> il, const A& a = A())
        : Storage(il.begin(), il.size(), a) {}

    /// The characters of a string view (so also of a std::basic_string).
    explicit flex_string(std::basic_string_view<E, T> sv, const A& a = A())
        : Storage(sv.data(), sv.size(), a) {}

    ~flex_string() {}

    flex_string& operator=(const flex_string& str) {
        Storage& s = *this;
        s = str;
        return *this;
    }

    /// Takes `str`'s characters; `str` is left empty.
    flex_string& operator=(flex_string&& str) noexcept {
        if (this != &str) {
            swap(str);
            str.clear();
        }
        return *this;
    }

    flex_string& operator=(const value_type* s) { return assign(s); }
    flex_string& operator=(value_type c) { return assign(size_type(1), c); }
    flex_string& operator=(std::initializer_list<E> il) { return assign(il.begin(), il.size()); }

    // ---- iterators ---------------------------------------------------------------------

    iterator begin() { return Storage::begin(); }
    const_iterator begin() const { return Storage::begin(); }
    const_iterator cbegin() const { return Storage::begin(); }
    iterator end() { return Storage::end(); }
    const_iterator end() const { return Storage::end(); }
    const_iterator cend() const { return Storage::end(); }
    reverse_iterator rbegin() { return reverse_iterator(end()); }
    const_reverse_iterator rbegin() const { return const_reverse_iterator(end()); }
    reverse_iterator rend() { return reverse_iterator(begin()); }
    const_reverse_iterator rend() const { return const_reverse_iterator(begin()); }

    // ---- size and capacity -------------------------------------------------------------

    size_type size() const { return Storage::size(); }
    size_type length() const { return size(); }
    size_type max_size() const { return Storage::max_size(); }
    size_type capacity() const { return Storage::capacity(); }
    bool empty() const { return size() == 0; }

    /// Sets the size to `n`, filling new positions with `c`; growth is to exactly `n`.
    void resize(size_type n, value_type c) {
        if (n > max_size()) throw std::length_error("flex_string::resize");
        Storage::resize(n, c);
    }
    void resize(size_type n) { resize(n, value_type()); }

    /// Makes room for `res_arg` characters: capacity becomes exactly `res_arg` if it was less;
    /// never shrinks. Throws std::length_error above max_size().
    void reserve(size_type res_arg = 0) {
        if (res_arg > max_size()) throw std::length_error("flex_string::reserve");
        Storage::reserve(res_arg);
    }

    void clear() { resize(0); }

    // ---- element access ----------------------------------------------------------------

    /// Character `pos`; `pos == size()` gives the terminator, which must not be changed.
    const_reference operator[](size_type pos) const {
        return pos == size() ? *(c_str() + pos) : *(begin() + pos);
    }
    reference operator[](size_type pos) {
        return pos == size() ? const_cast<reference>(*(c_str() + pos)) : *(begin() + pos);
    }

    /// Character `n`; throws std::out_of_range if n >= size().
    const_reference at(size_type n) const {
        if (n >= size()) throw std::out_of_range("flex_string::at");
        return *(begin() + n);
    }
    reference at(size_type n) {
        if (n >= size()) throw std::out_of_range("flex_string::at");
        return *(begin() + n);
    }

    reference front() { return *begin(); }
    const_reference front() const { return *begin(); }
    reference back() { return *(end() - 1); }
    const_reference back() const { return *(end() - 1); }

    // ---- append ------------------------------------------------------------------------

    flex_string& operator+=(const flex_string& str) { return append(str); }
    flex_string& operator+=(const value_type* s) { return append(s); }
    flex_string& operator+=(value_type c) {
        push_back(c);
        return *this;
    }

    /// Appends `str`, which may be this string itself.
    flex_string& append(const flex_string& str) { return appendPointers(str.data(), str.size()); }

    flex_string& append(const flex_string& str, size_type pos, size_type n) {
        const size_type sz = str.size();
        if (pos > sz) throw std::out_of_range("flex_string::append");
        return appendPointers(str.data() + pos, std::min(n, sz - pos));
    }

    /// Appends `n` characters from `s`, which may point into this string.
    flex_string& append(const value_type* s, size_type n) { return appendPointers(s, s ? n : 0); }
    flex_string& append(const value_type* s) { return appendPointers(s, lengthOf(s)); }

    /// Appends `n` copies of `c`.
    flex_string& append(size_type n, value_type c) {
        appendFill(n, c);
        return *this;
    }

    /// Appends [first, last), which may lie in this string; two integers mean (count,
    /// character).
    template <class InputIterator>
    flex_string& append(InputIterator first, InputIterator last) {
        if constexpr (std::is_integral<InputIterator>::value) {
            appendFill(static_cast<size_type>(first), static_cast<value_type>(last));
        } else if constexpr (isCharPointer<InputIterator>()) {
            appendPointers(first, static_cast<size_type>(last - first));
        } else {
            appendRange(first, last,
                        typename std::iterator_traits<InputIterator>::iterator_category());
        }
        return *this;
    }

    flex_string& append(std::initializer_list<E> il) { return append(il.begin(), il.size()); }

    /// Appends `c`. The character is a copy, so it never aliases the string.
    void push_back(value_type c) { Storage::append(&c, &c + 1); }

    /// Removes the last character; the string must not be empty.
    void pop_back() { resize(size() - 1); }

    // ---- assign ------------------------------------------------------------------------

    flex_string& assign(const flex_string& str) { return *this = str; }

    flex_string& assign(const flex_string& str, size_type pos, size_type n) {
        const size_type sz = str.size();
        if (pos > sz) throw std::out_of_range("flex_string::assign");
        return assign(str.data() + pos, std::min(n, sz - pos));
    }

    /// Replaces the contents by `n` characters from `s`, which may point into this string.
    flex_string& assign(const value_type* s, size_type n) {
        if (!s) n = 0;
        if (IsAliasedRange(s, s + n)) {
            // A piece of ourselves: move it to the front, then cut behind it.
            E* b = &*begin();
            T::move(b, s, n);
            resize(n);
            return *this;
        }
        const size_type sz = size();
        if (n <= sz) {
            T::copy(&*begin(), s, n);
            resize(n);
        } else {
            T::copy(&*begin(), s, sz);
            appendPointers(s + sz, n - sz);
        }
        return *this;
    }

    flex_string& assign(const value_type* s) { return assign(s, lengthOf(s)); }

    flex_string& assign(size_type n, value_type c) {
        const size_type sz = size();
        std::fill(begin(), begin() + std::min(n, sz), c);
        if (n > sz) {
            appendFill(n - sz, c);
        } else {
            resize(n, c);
        }
        return *this;
    }

    template <class InputIterator>
    flex_string& assign(InputIterator first, InputIterator last) {
        return replace(begin(), end(), first, last);
    }

    flex_string& assign(std::initializer_list<E> il) { return assign(il.begin(), il.size()); }

    // ---- insert ------------------------------------------------------------------------

    flex_string& insert(size_type pos1, const flex_string& str) {
        return insert(pos1, str.data(), str.size());
    }

    flex_string& insert(size_type pos1, const flex_string& str, size_type pos2, size_type n) {
        const size_type sz = str.size();
        if (pos2 > sz) throw std::out_of_range("flex_string::insert");
        return insert(pos1, str.data() + pos2, std::min(n, sz - pos2));
    }

    /// Inserts `n` characters from `s` (which may point into this string) before `pos`;
    /// throws std::out_of_range if pos > size().
    flex_string& insert(size_type pos, const value_type* s, size_type n) {
        if (pos > size()) throw std::out_of_range("flex_string::insert");
        if (!s) n = 0;
        insertRange(begin() + pos, s, s + n, std::random_access_iterator_tag());
        return *this;
    }

    flex_string& insert(size_type pos, const value_type* s) { return insert(pos, s, lengthOf(s)); }

    flex_string& insert(size_type pos, size_type n, value_type c) {
        if (pos > size()) throw std::out_of_range("flex_string::insert");
        insertFill(pos, n, c);
        return *this;
    }

    /// Inserts `c` before `p`; returns an iterator to the inserted character.
    template <class It, EnableIfIterator<It> = 0>
    iterator insert(It p, value_type c) {
        return insert(p, size_type(1), c);
    }

    /// Inserts `n` copies of `c` before `p`; returns an iterator to the first inserted one.
    template <class It, EnableIfIterator<It> = 0>
    iterator insert(It p, size_type n, value_type c) {
        const size_type pos = static_cast<size_type>(p - cbegin());
        assert(pos <= size());
        insertFill(pos, n, c);
        return begin() + pos;
    }

    /// Inserts [first, last) before `p`; the range may lie in this string. Returns an iterator
    /// to the first inserted character.
    template <class It, class InputIterator, EnableIfIterator<It> = 0>
    iterator insert(It p, InputIterator first, InputIterator last) {
        const size_type pos = static_cast<size_type>(p - cbegin());
        if constexpr (std::is_integral<InputIterator>::value) {
            insert(p, static_cast<size_type>(first), static_cast<value_type>(last));
        } else {
            insertRange(mutableIterator(p), first, last,
                        typename std::iterator_traits<InputIterator>::iterator_category());
        }
        return begin() + pos;
    }

    // ---- erase -------------------------------------------------------------------------

    /// Removes at most `n` characters from `pos`; throws std::out_of_range if pos > size().
    flex_string& erase(size_type pos = 0, size_type n = npos) {
        const size_type sz = size();
        if (pos > sz) throw std::out_of_range("flex_string::erase");
        n = std::min(n, sz - pos);
        if (n == 0) return *this;
        E* b = &*begin();
        T::move(b + pos, b + pos + n, sz - pos - n);
        resize(sz - n);
        return *this;
    }

    /// Removes the character at `position`; returns an iterator to the one behind it.
    template <class It, EnableIfIterator<It> = 0>
    iterator erase(It position) {
        const size_type pos = static_cast<size_type>(position - cbegin());
        erase(pos, 1);
        return begin() + pos;
    }

    /// Removes [first, last); returns an iterator to the character behind them.
    template <class It1, class It2, EnableIfIterator<It1> = 0, EnableIfIterator<It2> = 0>
    iterator erase(It1 first, It2 last) {
        const size_type pos = static_cast<size_type>(first - cbegin());
        erase(pos, static_cast<size_type>(const_iterator(last) - const_iterator(first)));
        return begin() + pos;
    }

    // ---- replace -----------------------------------------------------------------------

    flex_string& replace(size_type pos1, size_type n1, const flex_string& str) {
        return replace(pos1, n1, str.data(), str.size());
    }

    flex_string& replace(size_type pos1, size_type n1, const flex_string& str, size_type pos2,
                         size_type n2) {
        const size_type sz = str.size();
        if (pos2 > sz) throw std::out_of_range("flex_string::replace");
        return replace(pos1, n1, str.data() + pos2, std::min(n2, sz - pos2));
    }

    /// Replaces at most `n1` characters from `pos` by `n2` characters from `s`, which may point
    /// into this string; throws std::out_of_range if pos > size().
    flex_string& replace(size_type pos, size_type n1, const value_type* s, size_type n2) {
        const size_type sz = size();
        if (pos > sz) throw std::out_of_range("flex_string::replace");
        if (!s) n2 = 0;
        const iterator b = begin() + pos;
        return replace(b, b + std::min(n1, sz - pos), s, s + n2);
    }

    flex_string& replace(size_type pos, size_type n1, const value_type* s) {
        return replace(pos, n1, s, lengthOf(s));
    }

    flex_string& replace(size_type pos, size_type n1, size_type n2, value_type c) {
        const size_type sz = size();
        if (pos > sz) throw std::out_of_range("flex_string::replace");
        const iterator b = begin() + pos;
        return replace(b, b + std::min(n1, sz - pos), n2, c);
    }

    template <class It1, class It2, EnableIfIterator<It1> = 0, EnableIfIterator<It2> = 0>
    flex_string& replace(It1 i1, It2 i2, const flex_string& str) {
        return replace(i1, i2, str.data(), str.data() + str.size());
    }

    template <class It1, class It2, EnableIfIterator<It1> = 0, EnableIfIterator<It2> = 0>
    flex_string& replace(It1 i1, It2 i2, const value_type* s, size_type n) {
        return replace(i1, i2, s, s + (s ? n : 0));
    }

    template <class It1, class It2, EnableIfIterator<It1> = 0, EnableIfIterator<It2> = 0>
    flex_string& replace(It1 i1, It2 i2, const value_type* s) {
        return replace(i1, i2, s, s + lengthOf(s));
    }

    /// Replaces [i1, i2) by `n2` copies of `c`.
    template <class It1, class It2, EnableIfIterator<It1> = 0, EnableIfIterator<It2> = 0>
    flex_string& replace(It1 i1, It2 i2, size_type n2, value_type c) {
        return replaceFill(mutableIterator(i1), mutableIterator(i2), n2, c);
    }

    /// Replaces [i1, i2) by [j1, j2), which may lie in this string; two integers mean (count,
    /// character).
    template <class It1, class It2, class InputIterator, EnableIfIterator<It1> = 0,
              EnableIfIterator<It2> = 0>
    flex_string& replace(It1 i1, It2 i2, InputIterator j1, InputIterator j2) {
        if constexpr (std::is_integral<InputIterator>::value) {
            return replaceFill(mutableIterator(i1), mutableIterator(i2), static_cast<size_type>(j1),
                               static_cast<value_type>(j2));
        } else {
            return replaceRange(mutableIterator(i1), mutableIterator(i2), j1, j2,
                                typename std::iterator_traits<InputIterator>::iterator_category());
        }
    }

    // ---- other operations --------------------------------------------------------------

    /// Copies at most `n` characters from `pos` to `s` (no terminator); returns the count.
    size_type copy(value_type* s, size_type n, size_type pos = 0) const {
        const size_type sz = size();
        if (pos > sz) throw std::out_of_range("flex_string::copy");
        const size_type rlen = std::min(n, sz - pos);
        T::copy(s, data() + pos, rlen);
        return rlen;
    }

    void swap(flex_string& rhs) noexcept {
        Storage& srhs = rhs;
        Storage::swap(srhs);
    }

    /// The characters followed by a terminator, valid until the next change of the string.
    /// Writes the terminator into the string's own buffer.
    const value_type* c_str() const { return Storage::c_str(); }

    /// The characters, not necessarily terminated; never null.
    const value_type* data() const { return Storage::data(); }

    allocator_type get_allocator() const { return Storage::get_allocator(); }

    operator std::basic_string_view<E, T>() const noexcept {
        return std::basic_string_view<E, T>(data(), size());
    }

    // ---- search ------------------------------------------------------------------------

    size_type find(const flex_string& str, size_type pos = 0) const {
        return find(str.data(), pos, str.size());
    }
    size_type find(const value_type* s, size_type pos, size_type n) const {
        const size_type sz = size();
        if (n == 0) return pos <= sz ? pos : npos;
        if (n > sz || pos > sz - n) return npos;
        const E* d = data();
        for (size_type i = pos; i <= sz - n; ++i) {
            if (T::eq(d[i], s[0]) && T::compare(d + i + 1, s + 1, n - 1) == 0) return i;
        }
        return npos;
    }
    size_type find(const value_type* s, size_type pos = 0) const {
        return find(s, pos, lengthOf(s));
    }
    size_type find(value_type c, size_type pos = 0) const { return find(&c, pos, 1); }

    size_type rfind(const flex_string& str, size_type pos = npos) const {
        return rfind(str.data(), pos, str.size());
    }
    size_type rfind(const value_type* s, size_type pos, size_type n) const {
        const size_type sz = size();
        if (n > sz) return npos;
        const E* d = data();
        size_type i = std::min(sz - n, pos);
        for (;;) {
            if (T::compare(d + i, s, n) == 0) return i;
            if (i == 0) return npos;
            --i;
        }
    }
    size_type rfind(const value_type* s, size_type pos = npos) const {
        return rfind(s, pos, lengthOf(s));
    }
    size_type rfind(value_type c, size_type pos = npos) const { return rfind(&c, pos, 1); }

    size_type find_first_of(const flex_string& str, size_type pos = 0) const {
        return find_first_of(str.data(), pos, str.size());
    }
    size_type find_first_of(const value_type* s, size_type pos, size_type n) const {
        return findFirst(s, pos, n, true);
    }
    size_type find_first_of(const value_type* s, size_type pos = 0) const {
        return find_first_of(s, pos, lengthOf(s));
    }
    size_type find_first_of(value_type c, size_type pos = 0) const {
        return find_first_of(&c, pos, 1);
    }

    size_type find_last_of(const flex_string& str, size_type pos = npos) const {
        return find_last_of(str.data(), pos, str.size());
    }
    size_type find_last_of(const value_type* s, size_type pos, size_type n) const {
        return findLast(s, pos, n, true);
    }
    size_type find_last_of(const value_type* s, size_type pos = npos) const {
        return find_last_of(s, pos, lengthOf(s));
    }
    size_type find_last_of(value_type c, size_type pos = npos) const {
        return find_last_of(&c, pos, 1);
    }

    size_type find_first_not_of(const flex_string& str, size_type pos = 0) const {
        return find_first_not_of(str.data(), pos, str.size());
    }
    size_type find_first_not_of(const value_type* s, size_type pos, size_type n) const {
        return findFirst(s, pos, n, false);
    }
    size_type find_first_not_of(const value_type* s, size_type pos = 0) const {
        return find_first_not_of(s, pos, lengthOf(s));
    }
    size_type find_first_not_of(value_type c, size_type pos = 0) const {
        return find_first_not_of(&c, pos, 1);
    }

    size_type find_last_not_of(const flex_string& str, size_type pos = npos) const {
        return find_last_not_of(str.data(), pos, str.size());
    }
    size_type find_last_not_of(const value_type* s, size_type pos, size_type n) const {
        return findLast(s, pos, n, false);
    }
    size_type find_last_not_of(const value_type* s, size_type pos = npos) const {
        return find_last_not_of(s, pos, lengthOf(s));
    }
    size_type find_last_not_of(value_type c, size_type pos = npos) const {
        return find_last_not_of(&c, pos, 1);
    }

    /// At most `n` characters from `pos`; throws std::out_of_range if pos > size().
    flex_string substr(size_type pos = 0, size_type n = npos) const {
        const size_type sz = size();
        if (pos > sz) throw std::out_of_range("flex_string::substr");
        return flex_string(data() + pos, std::min(n, sz - pos));
    }

    // ---- comparison --------------------------------------------------------------------

    int compare(const flex_string& str) const {
        return compareRaw(data(), size(), str.data(), str.size());
    }
    int compare(size_type pos1, size_type n1, const flex_string& str) const {
        return compare(pos1, n1, str.data(), str.size());
    }
    int compare(size_type pos1, size_type n1, const flex_string& str, size_type pos2,
                size_type n2) const {
        const size_type sz = str.size();
        if (pos2 > sz) throw std::out_of_range("flex_string::compare");
        return compare(pos1, n1, str.data() + pos2, std::min(n2, sz - pos2));
    }
    int compare(const value_type* s) const {
        if (!s) return empty() ? 0 : 1;  // a null text compares as an empty one
        return compareRaw(data(), size(), s, T::length(s));
    }
    int compare(size_type pos1, size_type n1, const value_type* s) const {
        return compare(pos1, n1, s, lengthOf(s));
    }
    int compare(size_type pos1, size_type n1, const value_type* s, size_type n2) const {
        const size_type sz = size();
        if (pos1 > sz) throw std::out_of_range("flex_string::compare");
        return compareRaw(data() + pos1, std::min(n1, sz - pos1), s, s ? n2 : 0);
    }

private:
    template <class It>
    static constexpr bool isCharPointer() {
        return std::is_pointer<It>::value &&
               std::is_same<typename std::remove_cv<typename std::remove_pointer<It>::type>::type,
                            E>::value;
    }

    static size_type lengthOf(const value_type* s) { return s ? T::length(s) : 0; }

    static bool less(const E* a, const E* b) { return std::less<const E*>()(a, b); }

    static int compareRaw(const E* a, size_type na, const E* b, size_type nb) {
        const size_type common = std::min(na, nb);
        const int r = common ? T::compare(a, b, common) : 0;
        if (r != 0) return r;
        return na < nb ? -1 : (na > nb ? 1 : 0);
    }

    void checkGrowth(size_type n) const {
        if (n > max_size() - size()) throw std::length_error("flex_string: too long");
    }

    // True when [s1, s2) starts inside this string's characters. An empty range or an empty
    // string never counts as aliased. Ranges of other iterator types are judged by the address
    // of their first element.
    template <class FwdIterator>
    bool IsAliasedRange(FwdIterator s1, FwdIterator s2) const {
        if (s1 == s2 || empty()) return false;
        const E* first = std::addressof(*s1);
        return !less(first, data()) && less(first, data() + size());
    }

    // Appends n characters from s: a range inside this string is found again from its offset
    // once the exact new capacity is reserved, since reserving may move the characters.
    flex_string& appendPointers(const E* s, size_type n) {
        if (n == 0) return *this;
        checkGrowth(n);
        if (IsAliasedRange(s, s + n)) {
            const size_type offset = static_cast<size_type>(s - data());
            reserve(size() + n);
            s = data() + offset;
        }
        Storage::append(s, s + n);
        return *this;
    }

    void appendFill(size_type n, value_type c) {
        if (n == 0) return;
        checkGrowth(n);
        reserve(size() + n);
        E chunk[64];
        std::fill(chunk, chunk + 64, c);
        while (n > 0) {
            const size_type k = std::min<size_type>(n, 64);
            Storage::append(chunk, chunk + k);
            n -= k;
        }
    }

    template <class InputIterator>
    void appendRange(InputIterator first, InputIterator last, std::input_iterator_tag) {
        const std::vector<E> temp(first, last);
        appendPointers(temp.data(), temp.size());
    }

    // A forward range of another iterator type may point into this string (reverse iterators,
    // for instance): when the storage has to grow, the result is built in a new string.
    template <class FwdIterator>
    void appendRange(FwdIterator first, FwdIterator last, std::forward_iterator_tag) {
        const size_type n = static_cast<size_type>(std::distance(first, last));
        if (n == 0) return;
        checkGrowth(n);
        if (size() + n <= capacity()) {
            Storage::append(first, last);
            return;
        }
        flex_string temp(get_allocator());
        temp.reserve(size() + n);
        temp.Storage::append(begin(), end());
        temp.Storage::append(first, last);
        swap(temp);
    }

    // Inserts n copies of c at pos: appended behind, then rotated into place.
    void insertFill(size_type pos, size_type n, value_type c) {
        if (n == 0) return;
        const size_type oldSize = size();
        appendFill(n, c);
        E* b = &*begin();
        std::rotate(b + pos, b + oldSize, b + oldSize + n);
    }

    template <class InputIterator>
    void insertRange(iterator p, InputIterator first, InputIterator last, std::input_iterator_tag) {
        const std::vector<E> temp(first, last);
        InsertImpl(p, temp.data(), temp.data() + temp.size());
    }

    // A range that lies in this string is copied out before the insertion.
    template <class FwdIterator>
    void insertRange(iterator p, FwdIterator s1, FwdIterator s2, std::forward_iterator_tag) {
        if (IsAliasedRange(s1, s2)) {
            const size_type pos = static_cast<size_type>(p - begin());
            flex_string temp(get_allocator());
            temp.Storage::append(s1, s2);
            InsertImpl(begin() + pos, temp.data(), temp.data() + temp.size());
        } else {
            InsertImpl(p, s1, s2);
        }
    }

    // Inserts the forward range [s1, s2), which does not lie in this string, before p. After
    // the exact capacity is reserved, the string is extended by appending (either its own last
    // n2 characters, or the part of the new range that reaches past the old end followed by the
    // old tail), which never reallocates, and the rest is shifted or copied into place.
    template <class FwdIterator>
    void InsertImpl(iterator p, FwdIterator s1, FwdIterator s2) {
        const size_type pos = static_cast<size_type>(p - begin());
        const typename std::iterator_traits<FwdIterator>::difference_type n2 =
            std::distance(s1, s2);
        assert(n2 >= 0);
        assert(pos <= size());
        assert(!IsAliasedRange(s1, s2));
        if (n2 == 0) return;
        checkGrowth(static_cast<size_type>(n2));
        const size_type oldSize = size();
        const size_type n = static_cast<size_type>(n2);
        if (capacity() - oldSize < n) reserve(oldSize + n);
        if (pos + n <= oldSize) {
            const E* tail = data() + oldSize - n;
            Storage::append(tail, tail + n);
            E* b = &*begin();
            T::move(b + pos + n, b + pos, oldSize - n - pos);
            std::copy(s1, s2, b + pos);
        } else {
            FwdIterator t = s1;
            std::advance(t, oldSize - pos);
            assert(std::distance(t, s2) >= 0);
            Storage::append(t, s2);
            const E* d = data();
            Storage::append(d + pos, d + oldSize);
            std::copy(s1, t, &*begin() + pos);
        }
    }

    flex_string& replaceFill(iterator i1, iterator i2, size_type n2, value_type c) {
        checkReplaceRange(i1, i2);
        const size_type pos = static_cast<size_type>(i1 - begin());
        const size_type n1 = static_cast<size_type>(i2 - i1);
        if (n1 >= n2) {
            std::fill(i1, i1 + n2, c);
            erase(pos + n2, n1 - n2);
        } else {
            std::fill(i1, i2, c);
            insertFill(pos + n1, n2 - n1, c);
        }
        return *this;
    }

    void checkReplaceRange(iterator i1, iterator i2) const {
        assert(i1 <= i2);
        assert(begin() <= i1 && i1 <= end());
        assert(begin() <= i2 && i2 <= end());
        (void)i1;
        (void)i2;
    }

    template <class InputIterator>
    flex_string& replaceRange(iterator i1, iterator i2, InputIterator j1, InputIterator j2,
                              std::input_iterator_tag) {
        const std::vector<E> temp(j1, j2);
        return replaceRange(i1, i2, temp.data(), temp.data() + temp.size(),
                            std::random_access_iterator_tag());
    }

    // Replaces [i1, i2) by [s1, s2). A source inside this string gets the whole result built
    // in a new string of exactly the final size, which is then swapped in.
    template <class FwdIterator>
    flex_string& replaceRange(iterator i1, iterator i2, FwdIterator s1, FwdIterator s2,
                              std::forward_iterator_tag) {
        assert(i1 <= i2);
        assert(begin() <= i1 && i1 <= end());
        assert(begin() <= i2 && i2 <= end());
        const difference_type n1 = i2 - i1;
        assert(n1 >= 0);
        const typename std::iterator_traits<FwdIterator>::difference_type n2 =
            std::distance(s1, s2);
        assert(n2 >= 0);
        const size_type count1 = static_cast<size_type>(n1);
        const size_type count2 = static_cast<size_type>(n2);
        if (count2 > count1) checkGrowth(count2 - count1);
        if (IsAliasedRange(s1, s2)) {
            flex_string temp(get_allocator());
            temp.reserve(size() - count1 + count2);
            temp.Storage::append(begin(), i1);
            temp.Storage::append(s1, s2);
            temp.Storage::append(i2, end());
            swap(temp);
        } else if (count1 >= count2) {
            std::copy(s1, s2, i1);
            erase(static_cast<size_type>(i1 - begin()) + count2, count1 - count2);
        } else {
            FwdIterator m = s1;
            std::advance(m, n1);
            std::copy(s1, m, i1);
            InsertImpl(i2, m, s2);
        }
        return *this;
    }

    size_type findFirst(const value_type* s, size_type pos, size_type n, bool in) const {
        const size_type sz = size();
        const E* d = data();
        for (size_type i = pos; i < sz; ++i) {
            if ((T::find(s, n, d[i]) != 0) == in) return i;
        }
        return npos;
    }

    size_type findLast(const value_type* s, size_type pos, size_type n, bool in) const {
        const size_type sz = size();
        if (sz == 0) return npos;
        const E* d = data();
        size_type i = std::min(pos, sz - 1);
        for (;;) {
            if ((T::find(s, n, d[i]) != 0) == in) return i;
            if (i == 0) return npos;
            --i;
        }
    }
};

// ---- concatenation -------------------------------------------------------------------------

template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(const flex_string<E, T, A, S>& lhs,
                                  const flex_string<E, T, A, S>& rhs) {
    flex_string<E, T, A, S> result;
    result.reserve(lhs.size() + rhs.size());
    result.append(lhs).append(rhs);
    return result;
}

template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(const typename flex_string<E, T, A, S>::value_type* lhs,
                                  const flex_string<E, T, A, S>& rhs) {
    flex_string<E, T, A, S> result;
    const typename flex_string<E, T, A, S>::size_type len = lhs ? T::length(lhs) : 0;
    result.reserve(len + rhs.size());
    result.append(lhs, len).append(rhs);
    return result;
}

template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(typename flex_string<E, T, A, S>::value_type lhs,
                                  const flex_string<E, T, A, S>& rhs) {
    flex_string<E, T, A, S> result;
    result.reserve(1 + rhs.size());
    result.push_back(lhs);
    result.append(rhs);
    return result;
}

template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(const flex_string<E, T, A, S>& lhs,
                                  const typename flex_string<E, T, A, S>::value_type* rhs) {
    flex_string<E, T, A, S> result;
    const typename flex_string<E, T, A, S>::size_type len = rhs ? T::length(rhs) : 0;
    result.reserve(lhs.size() + len);
    result.append(lhs).append(rhs, len);
    return result;
}

template <typename E, class T, class A, class S>
flex_string<E, T, A, S> operator+(const flex_string<E, T, A, S>& lhs,
                                  typename flex_string<E, T, A, S>::value_type rhs) {
    flex_string<E, T, A, S> result;
    result.reserve(lhs.size() + 1);
    result.append(lhs);
    result.push_back(rhs);
    return result;
}

// ---- comparison ----------------------------------------------------------------------------

template <typename E, class T, class A, class S>
bool operator==(const flex_string<E, T, A, S>& lhs, const flex_string<E, T, A, S>& rhs) {
    return lhs.size() == rhs.size() && lhs.compare(rhs) == 0;
}
template <typename E, class T, class A, class S>
bool operator==(const typename flex_string<E, T, A, S>::value_type* lhs,
                const flex_string<E, T, A, S>& rhs) {
    return rhs.compare(lhs) == 0;
}
template <typename E, class T, class A, class S>
bool operator==(const flex_string<E, T, A, S>& lhs,
                const typename flex_string<E, T, A, S>::value_type* rhs) {
    return lhs.compare(rhs) == 0;
}

template <typename E, class T, class A, class S>
bool operator!=(const flex_string<E, T, A, S>& lhs, const flex_string<E, T, A, S>& rhs) {
    return !(lhs == rhs);
}
template <typename E, class T, class A, class S>
bool operator!=(const typename flex_string<E, T, A, S>::value_type* lhs,
                const flex_string<E, T, A, S>& rhs) {
    return !(lhs == rhs);
}
template <typename E, class T, class A, class S>
bool operator!=(const flex_string<E, T, A, S>& lhs,
                const typename flex_string<E, T, A, S>::value_type* rhs) {
    return !(lhs == rhs);
}

template <typename E, class T, class A, class S>
bool operator<(const flex_string<E, T, A, S>& lhs, const flex_string<E, T, A, S>& rhs) {
    return lhs.compare(rhs) < 0;
}
template <typename E, class T, class A, class S>
bool operator<(const typename flex_string<E, T, A, S>::value_type* lhs,
               const flex_string<E, T, A, S>& rhs) {
    return rhs.compare(lhs) > 0;
}
template <typename E, class T, class A, class S>
bool operator<(const flex_string<E, T, A, S>& lhs,
               const typename flex_string<E, T, A, S>::value_type* rhs) {
    return lhs.compare(rhs) < 0;
}

template <typename E, class T, class A, class S>
bool operator>(const flex_string<E, T, A, S>& lhs, const flex_string<E, T, A, S>& rhs) {
    return rhs < lhs;
}
template <typename E, class T, class A, class S>
bool operator>(const typename flex_string<E, T, A, S>::value_type* lhs,
               const flex_string<E, T, A, S>& rhs) {
    return rhs < lhs;
}
template <typename E, class T, class A, class S>
bool operator>(const flex_string<E, T, A, S>& lhs,
               const typename flex_string<E, T, A, S>::value_type* rhs) {
    return rhs < lhs;
}

template <typename E, class T, class A, class S>
bool operator<=(const flex_string<E, T, A, S>& lhs, const flex_string<E, T, A, S>& rhs) {
    return !(rhs < lhs);
}
template <typename E, class T, class A, class S>
bool operator<=(const typename flex_string<E, T, A, S>::value_type* lhs,
                const flex_string<E, T, A, S>& rhs) {
    return !(rhs < lhs);
}
template <typename E, class T, class A, class S>
bool operator<=(const flex_string<E, T, A, S>& lhs,
                const typename flex_string<E, T, A, S>::value_type* rhs) {
    return !(rhs < lhs);
}

template <typename E, class T, class A, class S>
bool operator>=(const flex_string<E, T, A, S>& lhs, const flex_string<E, T, A, S>& rhs) {
    return !(lhs < rhs);
}
template <typename E, class T, class A, class S>
bool operator>=(const typename flex_string<E, T, A, S>::value_type* lhs,
                const flex_string<E, T, A, S>& rhs) {
    return !(lhs < rhs);
}
template <typename E, class T, class A, class S>
bool operator>=(const flex_string<E, T, A, S>& lhs,
                const typename flex_string<E, T, A, S>::value_type* rhs) {
    return !(lhs < rhs);
}

template <typename E, class T, class A, class S>
void swap(flex_string<E, T, A, S>& lhs, flex_string<E, T, A, S>& rhs) noexcept {
    lhs.swap(rhs);
}

template <typename E, class T, class A, class S>
std::basic_ostream<E, T>& operator<<(std::basic_ostream<E, T>& os,
                                     const flex_string<E, T, A, S>& str) {
    return os << std::basic_string_view<E, T>(str.data(), str.size());
}

}  // namespace Kerna
}  // namespace Tessaran

namespace std {
/// Hashes like the equal std::basic_string_view, so flex_string can key unordered containers.
template <typename E, class T, class A, class S>
struct hash<Tessaran::Kerna::flex_string<E, T, A, S> > {
    size_t operator()(const Tessaran::Kerna::flex_string<E, T, A, S>& s) const noexcept {
        return hash<basic_string_view<E, T> >()(basic_string_view<E, T>(s.data(), s.size()));
    }
};
}  // namespace std

#endif  // KERNA_KERNA3_DETAIL_FLEX_STRING_SHELL_H_

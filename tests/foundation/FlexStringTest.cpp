// FlexStringTest.cpp
//
// flex_string and its storage policies: the 32-byte layout and discriminator byte, exact
// growth measured through a counting allocator, the mode changes of the small-string policy,
// the shared empty block, and a differential test against std::string over long random
// operation sequences (aliased appends, inserts and replaces included) for every policy.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <list>
#include <random>
#include <sstream>
#include <string>
#include <utility>

#include "kerna/kerna3/FlexString.h"

namespace {

using Tessaran::Kerna::AllocatorStringStorage;
using Tessaran::Kerna::flex_string;
using Tessaran::Kerna::MiniString;
using Tessaran::Kerna::MiniStringStorage;
using Tessaran::Kerna::SmallStringOpt;
using Tessaran::Kerna::String;

typedef AllocatorStringStorage<char> Heap;
typedef flex_string<char, std::char_traits<char>, std::allocator<char>, Heap> HeapString;
typedef flex_string<char, std::char_traits<char>, std::allocator<char>,
                    SmallStringOpt<MiniStringStorage<char>, 31, char*> >
    SmallMiniString;

// ---- layout ------------------------------------------------------------------------------

static_assert(sizeof(Heap) == sizeof(void*), "AllocatorStringStorage is one pointer");
static_assert(offsetof(Heap::StringBlock, end_) == 0, "end_ first");
static_assert(offsetof(Heap::StringBlock, capacityEnd_) == 8, "capacityEnd_ second");
static_assert(offsetof(Heap::StringBlock, chars_) == 16, "characters behind a 16-byte header");
static_assert(sizeof(Heap::StringBlock) == 24, "a block of capacity cap takes cap + 24 bytes");
static_assert(sizeof(MiniStringStorage<char>::StringBlock) == 24, "same block layout");
static_assert(SmallStringOpt<Heap, 31, char*>::maxSmallString == 31, "31 inline characters");
static_assert(SmallStringOpt<Heap, 31, char*>::magic == 32, "large-mode discriminator");

// The discriminator: the object's last byte.
template <class S>
signed char lastByte(const S& s) {
    return reinterpret_cast<const signed char*>(&s)[31];
}

// ---- counting allocator ------------------------------------------------------------------

std::size_t g_allocCalls = 0;
std::size_t g_lastBytes = 0;
std::ptrdiff_t g_liveBytes = 0;

template <class T>
struct CountingAllocator : std::allocator<T> {
    template <class U>
    struct rebind {
        typedef CountingAllocator<U> other;
    };
    CountingAllocator() = default;
    template <class U>
    CountingAllocator(const CountingAllocator<U>&) {}
    T* allocate(std::size_t n) {
        ++g_allocCalls;
        g_lastBytes = n * sizeof(T);
        g_liveBytes += static_cast<std::ptrdiff_t>(n * sizeof(T));
        return std::allocator<T>::allocate(n);
    }
    void deallocate(T* p, std::size_t n) {
        g_liveBytes -= static_cast<std::ptrdiff_t>(n * sizeof(T));
        std::allocator<T>::deallocate(p, n);
    }
};

typedef CountingAllocator<char> CA;
typedef flex_string<char, std::char_traits<char>, CA,
                    SmallStringOpt<AllocatorStringStorage<char, CA>, 31, char*> >
    CountedString;

// ---- small and large mode ----------------------------------------------------------------

// The discriminator's agreement with size and capacity is checked by the differential test
// below, after every operation; here, where the characters and the block are.
TEST(FlexString, SmallAndLargeModeLayout) {
    String s("abc");
    EXPECT_EQ(reinterpret_cast<const char*>(&s), s.c_str());  // the characters live in the object
    EXPECT_EQ(0, std::memcmp(&s, "abc", 4));
    s.assign(31, 'a');
    EXPECT_EQ(0, lastByte(s));  // the size byte is the terminator
    EXPECT_EQ(reinterpret_cast<const char*>(&s), s.c_str());

    s.push_back('b');  // one more goes large: the object starts with the block's address
    const Heap::StringBlock* b;
    std::memcpy(&b, &s, sizeof(b));
    const char* chars = reinterpret_cast<const char*>(b) + 16;
    EXPECT_EQ(chars, s.data());
    EXPECT_EQ(chars + 32, b->end_);
    EXPECT_EQ(chars + 32, b->capacityEnd_);
    EXPECT_EQ(std::string(31, 'a') + "b", s.c_str());
}

TEST(FlexString, GrowthIsExactAndBlocksAreCapPlus24Bytes) {
    g_allocCalls = 0;
    g_liveBytes = 0;
    {
        CountedString s;
        for (int i = 0; i < 31; ++i) s.push_back('x');
        EXPECT_EQ(0u, g_allocCalls);  // up to 31 characters never allocate
        for (std::size_t n = 32; n <= 100; ++n) {
            s.push_back('y');
            ASSERT_EQ(n, s.capacity());
            ASSERT_EQ(n + 24, g_lastBytes);
        }
        EXPECT_EQ(69u, g_allocCalls);  // one exact block per character past 31
        s.reserve(500);
        EXPECT_EQ(524u, g_lastBytes);
        s.reserve(10);  // never shrinks
        EXPECT_EQ(500u, s.capacity());
        CountedString copy(s);
        EXPECT_EQ(100u, copy.capacity());  // a copy holds exactly the characters
    }
    EXPECT_EQ(0, g_liveBytes);
}

TEST(FlexString, ShrinkingToSmallSizesFreesTheBlock) {
    g_liveBytes = 0;
    CountedString s;
    s.reserve(32);  // large even while empty: one block of 32 + 24 bytes
    EXPECT_EQ(32, lastByte(s));
    EXPECT_EQ(56, g_liveBytes);
    s.resize(5, 'x');
    EXPECT_EQ(26, lastByte(s));
    EXPECT_EQ(31u, s.capacity());
    EXPECT_STREQ("xxxxx", s.c_str());
    EXPECT_EQ(0, g_liveBytes);

    // A large string cut to 31 or fewer characters by erase comes back inline, too.
    s.assign(40, 'z');
    s.erase(10);
    EXPECT_EQ(21, lastByte(s));
    EXPECT_EQ(std::string(10, 'z'), s.c_str());
    EXPECT_EQ(0, g_liveBytes);

    // A short string in a large block is copied into small mode, without allocating.
    CountedString large;
    large.reserve(64);
    large = "short";
    EXPECT_EQ(64u, large.capacity());
    const std::size_t callsBefore = g_allocCalls;
    CountedString copy(large);
    EXPECT_EQ(callsBefore, g_allocCalls);
    EXPECT_EQ(31u, copy.capacity());
    EXPECT_EQ("short", copy);
}

TEST(FlexString, AssignmentReusesOnlyABiggerBlockAndSwapMovesBlocks) {
    String target(100, 't');
    const char* block = target.data();
    const String source(64, 's');
    target = source;
    EXPECT_EQ(block, target.data());  // capacity 100 exceeds 64: characters copied in place
    EXPECT_EQ(100u, target.capacity());
    EXPECT_EQ(std::string(64, 's'), target.c_str());
    String exact(64, 'e');
    exact = source;  // capacity equal to the size: a new copy is swapped in
    EXPECT_EQ(64u, exact.capacity());
    EXPECT_EQ(source, exact);
    target = String("tiny");  // a small source returns the object to small mode
    EXPECT_EQ(27, lastByte(target));
    const String& same = target;
    target = same;  // self-assignment changes nothing
    EXPECT_EQ("tiny", target);

    // Swapping exchanges modes and hands over the block itself.
    block = exact.data();
    target.swap(exact);
    EXPECT_EQ(block, target.data());
    EXPECT_EQ(32, lastByte(target));
    EXPECT_EQ(27, lastByte(exact));
    EXPECT_EQ("tiny", exact);
    swap(exact, target);
    EXPECT_EQ(block, exact.data());
    EXPECT_EQ("tiny", target);
}

TEST(FlexString, EmptyStoragesAllocateNothing) {
    // Capacity 0 uses the shared constant block, which a write would fault on.
    const Heap::StringBlock& empty = Heap::emptyBlock_;
    HeapString s;
    EXPECT_EQ(0u, s.capacity());
    EXPECT_EQ(empty.chars_, s.c_str());
    EXPECT_STREQ("", s.c_str());
    HeapString copy(s);
    copy.resize(0);
    copy.append("", 0);
    copy.clear();
    EXPECT_EQ(empty.chars_, copy.c_str());
    copy = "now allocated";
    EXPECT_EQ(13u, copy.capacity());
    EXPECT_STREQ("now allocated", copy.c_str());

    // MiniString is a null pointer until it needs a block, then grows in place.
    MiniString mini;
    void* raw;
    std::memcpy(&raw, &mini, sizeof(raw));
    EXPECT_EQ(nullptr, raw);
    EXPECT_EQ(0u, mini.capacity());
    EXPECT_EQ(nullptr, mini.begin());
    EXPECT_EQ(nullptr, mini.end());
    EXPECT_STREQ("", mini.c_str());
    EXPECT_NE(nullptr, mini.data());
    mini.reserve(10);
    EXPECT_EQ(10u, mini.capacity());
    mini = "0123456789";
    for (std::size_t n = 11; n <= 200; ++n) {
        mini.push_back('x');
        ASSERT_EQ(n, mini.capacity());
        ASSERT_EQ(n, mini.size());
    }
    EXPECT_EQ(0, std::memcmp(mini.c_str(), "0123456789xxx", 13));
    EXPECT_EQ(200u, MiniString(mini).capacity());
}

TEST(FlexString, NullTextsAreEmptyAndBadPositionsThrow) {
    const char* none = nullptr;
    String s(none);
    s.append(none).insert(0, none);
    s += none;
    EXPECT_TRUE(s.empty());
    EXPECT_TRUE(s == none);
    s = "abc";
    EXPECT_THROW(s.substr(4), std::out_of_range);
    EXPECT_THROW(s.insert(4, "x"), std::out_of_range);
    EXPECT_THROW(s.erase(4), std::out_of_range);
    EXPECT_THROW(s.at(3), std::out_of_range);
    EXPECT_THROW(s.reserve(s.max_size() + 1), std::length_error);
    EXPECT_THROW(s.append(s.max_size(), 'x'), std::length_error);
    EXPECT_EQ("abc", s);
    EXPECT_EQ('\0', s[3]);
}

TEST(FlexString, LiteralZeroIsAPositionAndConstIteratorsWork) {
    // The iterators are pointers, so 0 could name either; the calls below must compile and
    // treat it as a position.
    String s("hello");
    s.erase(0, 1);
    s.insert(0, 2, 'x');
    s.replace(0, 0, "ab");
    s.replace(0, 0, 1, 'c');
    EXPECT_EQ("cabxxello", s);
    s.erase(0);
    EXPECT_TRUE(s.empty());
    s = "0123456789";
    EXPECT_EQ(s.begin(), s.erase(s.cbegin()));
    EXPECT_EQ(s.begin() + 2, s.insert(s.cbegin() + 2, 'q'));
    EXPECT_EQ(s.begin() + 1, s.insert(s.cbegin() + 1, s.cbegin() + 3, s.cbegin() + 5));
    EXPECT_EQ("1342q3456789", s);
    s.replace(s.cbegin(), s.cend() - 2, "-");
    EXPECT_EQ("-89", s);
}

// ---- differential test against std::string ----------------------------------------------

template <class S>
void expectSame(const S& s, const std::string& ref) {
    ASSERT_EQ(ref, std::string(s.data(), s.size()));
    ASSERT_EQ(0, std::memcmp(s.c_str(), ref.c_str(), ref.size() + 1));
    ASSERT_GE(s.capacity(), s.size());
    if (std::is_same<S, String>::value) {  // the discriminator agrees with size and capacity
        const signed char d = lastByte(s);
        if (d == 32) {
            ASSERT_GE(s.capacity(), 32u);
        } else {
            ASSERT_LE(0, d);
            ASSERT_EQ(31u - static_cast<unsigned>(d), ref.size());
            ASSERT_EQ(31u, s.capacity());
        }
    }
}

int sign(int v) { return (v > 0) - (v < 0); }

// Applies one random operation to (s, ref), possibly using the second pair (o, oref); returns
// the operation, or minus it if a result differed. Operations written once run on both
// strings; those whose source aliases the target give std::string a copy.
template <class S>
int randomOp(std::mt19937& rng, S& s, std::string& ref, S& o, std::string& oref) {
    auto pick = [&rng](std::size_t hi) {  // uniform in [0, hi]
        return std::uniform_int_distribution<std::size_t>(0, hi)(rng);
    };
    const std::size_t sz = ref.size();
    const std::size_t pos = pick(sz), pos2 = pos + pick(sz - pos), n = pos2 - pos;
    const std::size_t a = pick(sz), b = a + pick(sz - a), len = pick(sz + 40), cap = pick(sz + 60);
    const char c = static_cast<char>('A' + rng() % 26);
    std::string text(pick(rng() % 8 == 0 ? 80 : 20), ' ');
    for (char& ch : text) ch = static_cast<char>('a' + rng() % 26);
    const std::string piece = ref.substr(pos, n);
    auto both = [&](auto f) {
        f(s);
        f(ref);
    };
    const int op = static_cast<int>(rng() % 30);
    // clang-format off
    switch (op) {  // one operation a row
        case 0: both([&](auto& x) { x.append(text.c_str()); }); break;
        case 1: s.append(s); ref.append(std::string(ref)); break;
        case 2: s.append(s.data() + pos, n); ref.append(piece); break;
        case 3: s.append(s.begin() + pos, s.begin() + pos2); ref.append(piece); break;
        case 4: both([&](auto& x) { x.append(n % 40, c); }); break;
        case 5: both([&](auto& x) { x.push_back(c); }); break;
        case 6: both([&](auto& x) { x.insert(pos, text.c_str()); }); break;
        case 7:
            s.insert(s.begin() + a, s.begin() + pos, s.begin() + pos2);
            ref.insert(a, piece);
            break;
        case 8: both([&](auto& x) { x.insert(pos, n % 40, c); }); break;
        case 9: both([&](auto& x) { x.replace(pos, n, text.c_str()); }); break;
        case 10:
            s.replace(s.begin() + a, s.begin() + b, s.begin() + pos, s.begin() + pos2);
            ref.replace(a, b - a, piece);
            break;
        case 11: s.replace(a, n, s.data() + pos, n); ref.replace(a, n, piece); break;
        case 12: both([&](auto& x) { x.replace(pos, n, n % 7 + pos % 40, c); }); break;
        case 13: both([&](auto& x) { x.erase(pos, n); }); break;
        case 14: both([&](auto& x) { x.resize(len, c); }); break;
        case 15: {  // reserve grows exactly and never shrinks
            const std::size_t before = s.capacity();
            s.reserve(cap);
            if (s.capacity() != std::max(before, cap)) return -op;
            break;
        }
        case 16: s = o; ref = oref; break;
        case 17: s.assign(s.data() + pos, n); ref = piece; break;
        case 18: s.swap(o); ref.swap(oref); break;
        case 19: {
            S copy(s);
            S moved(std::move(copy));
            if (!copy.empty() || moved != s) return -op;
            o = std::move(moved);
            oref = ref;
            break;
        }
        case 20: if (pos % 5 == 0) both([](auto& x) { x.clear(); }); break;
        case 21: if (sz != 0) both([](auto& x) { x.pop_back(); }); break;
        case 22:  // reverse iterators into the string itself
            both([&](auto& x) { x.append(x.rbegin() + (sz - pos2), x.rbegin() + (sz - pos)); });
            break;
        case 23: {  // a non-pointer forward range and a single-pass input range
            const std::list<char> l(text.begin(), text.end());
            s.insert(s.begin() + pos, l.begin(), l.end());
            ref.insert(pos, text);
            std::istringstream in(text);
            s.replace(s.begin(), s.begin() + pos, std::istreambuf_iterator<char>(in),
                      std::istreambuf_iterator<char>());
            ref.replace(0, pos, text);
            break;
        }
        case 24: {  // searches
            const std::string needle = rng() % 2 ? ref.substr(pos, n % 5) : text.substr(0, 2);
            const S sn(needle.c_str());
            if (s.find(sn, pos / 2) != ref.find(needle, pos / 2) ||
                s.rfind(needle.c_str(), pos2) != ref.rfind(needle, pos2) ||
                s.find(c, pos) != ref.find(c, pos) || s.rfind(c) != ref.rfind(c) ||
                s.find_first_of(needle.c_str(), pos) != ref.find_first_of(needle, pos) ||
                s.find_last_of(sn, pos2) != ref.find_last_of(needle, pos2) ||
                s.find_first_not_of(needle.c_str(), pos) != ref.find_first_not_of(needle, pos) ||
                s.find_last_not_of(sn) != ref.find_last_not_of(needle))
                return -op;
            break;
        }
        case 25:  // comparisons, substr, concatenation
            if (s.substr(pos, n) != S(piece.c_str()) ||
                sign(s.compare(o)) != sign(ref.compare(oref)) || (s < o) != (ref < oref) ||
                (s == o) != (ref == oref) ||
                sign(s.compare(pos, n, text.c_str())) != sign(ref.compare(pos, n, text)) ||
                std::string((s + o).c_str()) != ref + oref ||
                std::string((c + s + text.c_str()).c_str()) != c + ref + text)
                return -op;
            break;
        case 26: s.replace(pos, n, s); ref.replace(pos, n, std::string(ref)); break;
        case 27: s.insert(pos, s); ref.insert(pos, std::string(ref)); break;
        case 28: o.assign(text.c_str()); oref = text; break;
        default: s.assign(s.begin() + pos, s.begin() + pos2); ref = piece; break;
    }
    // clang-format on
    if (ref.size() > 400) {  // keep strings short so that small mode is visited often
        both([](auto& x) { x.erase(0, 350); });
    }
    return op;
}

template <class S>
class FlexStringDifferential : public ::testing::Test {};

typedef ::testing::Types<String, HeapString, MiniString, SmallMiniString> AllPolicies;
TYPED_TEST_SUITE(FlexStringDifferential, AllPolicies);

TYPED_TEST(FlexStringDifferential, RandomOperationsMatchStdString) {
    for (unsigned seed = 1; seed <= 4; ++seed) {
        std::mt19937 rng(seed);
        TypeParam s, o;
        std::string ref, oref;
        for (int i = 0; i < 6000; ++i) {
            const int op = randomOp(rng, s, ref, o, oref);
            ASSERT_GE(op, 0) << "seed " << seed << " step " << i << " op " << -op;
            expectSame(s, ref);
            expectSame(o, oref);
            if (::testing::Test::HasFatalFailure()) {
                FAIL() << "seed " << seed << " step " << i << " op " << op;
            }
        }
    }
}

// ---- assertions ----------------------------------------------------------------------------

#if GTEST_HAS_DEATH_TEST

// glibc reports a failed assert() as "... Assertion `<condition>' failed."
TEST(FlexStringDeathTest, IteratorsAndSourcesAreChecked) {
#ifdef NDEBUG
    GTEST_SKIP() << "assertions are compiled out";
#else
    String s;
    s.reserve(64);
    s.assign(10, 'a');  // characters 10 to 63 are capacity, inside the block
    EXPECT_DEATH(s.replace(s.begin() + 5, s.begin() + 2, "x"), "Assertion `i1 <= i2' failed");
    EXPECT_DEATH(s.replace(s.begin() + 20, s.begin() + 25, "x"),
                 "Assertion `begin\\(\\) <= i1 && i1 <= end\\(\\)' failed");
    EXPECT_DEATH(s.replace(s.begin() + 5, s.begin() + 20, 3, 'y'),
                 "Assertion `begin\\(\\) <= i2 && i2 <= end\\(\\)' failed");
    const char text[] = "xyz";
    EXPECT_DEATH(s.insert(s.begin() + 20, text, text + 3), "Assertion `pos <= size\\(\\)' failed");
    EXPECT_DEATH(s.insert(s.begin() + 11, 'q'), "Assertion `pos <= size\\(\\)' failed");
    // The storage itself refuses to grow from its own characters.
    Heap storage("abcdef", 6, std::allocator<char>());
    EXPECT_DEATH(
        storage.append(storage.begin() + 1, storage.end()),
        "Assertion `!\\(le\\(begin\\(\\), &\\*b\\) && le\\(&\\*b, end\\(\\)\\)\\)' failed");
#endif
}

#endif  // GTEST_HAS_DEATH_TEST

}  // namespace

// IntervalSet.cpp: CIntervalSet, canonical half-open intervals in one sorted vector of bounds.
//
// keys holds an even number of strictly rising values; keys[2i] opens interval i and
// keys[2i + 1] closes it (excluded). A value v lies in the set when the number of keys not above
// v is odd. One update does two binary searches and at most one move of the vector's tail.

#include <kerna/utils/IntervalSet.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "base/Log.h"

namespace Tessaran {
namespace Utils {

class IntervalSetInternal {
public:
    std::vector<int> keys;
};

namespace {

// Adds (insert true) or removes the values of [range.first, range.second) by working on the
// parity of the positions around the range's bounds.
void insert_erase_range(std::vector<int>& keys, const std::pair<int, int>& range, bool insert) {
    const int a = range.first;
    const int b = range.second;
    if (!(a < b)) {
        return;
    }
    // A position x is active when x % 2 == p: for an insert the point before it lies outside all
    // intervals, for an erase inside one.
    const size_t p = insert ? 0 : 1;
    size_t lo = static_cast<size_t>(std::lower_bound(keys.begin(), keys.end(), a) - keys.begin());
    size_t hi = static_cast<size_t>(
        std::lower_bound(keys.begin() + static_cast<std::ptrdiff_t>(lo), keys.end(), b) -
        keys.begin());
    const size_t end = keys.size();
    if (lo == hi) {
        // No key lies in [a, b).
        if (lo % 2 != p) {
            return;
        }
        if (lo != end && keys[lo] == b) {
            keys[lo] = a;  // extend the next interval down to a, or pull the current end back
        } else {
            const int bounds[2] = {a, b};
            keys.insert(keys.begin() + static_cast<std::ptrdiff_t>(lo), bounds, bounds + 2);
        }
    } else {
        if (lo % 2 == p) {
            keys[lo] = a;
            ++lo;
        }
        if (hi % 2 == p) {
            if (hi == end || b < keys[hi]) {
                --hi;
                keys[hi] = b;
            } else {
                ++hi;  // keys[hi] == b: the touching bound goes too
            }
        }
        keys.erase(keys.begin() + static_cast<std::ptrdiff_t>(lo),
                   keys.begin() + static_cast<std::ptrdiff_t>(hi));
    }
    KERNA_ASSERT(keys.size() % 2 == 0);
}

}  // namespace

CIntervalSet::CIntervalSet() : m_internal(new IntervalSetInternal) {}

CIntervalSet::CIntervalSet(const CIntervalSet& other)
    : m_internal(new IntervalSetInternal(*other.m_internal)) {}

CIntervalSet& CIntervalSet::operator=(const CIntervalSet& other) {
    if (this != &other) {
        m_internal->keys = other.m_internal->keys;
    }
    return *this;
}

CIntervalSet::~CIntervalSet() { delete m_internal; }

void CIntervalSet::swap(CIntervalSet& other) { std::swap(m_internal, other.m_internal); }

void CIntervalSet::insert(const std::pair<int, int>& range) {
    insert_erase_range(m_internal->keys, range, true);
}

void CIntervalSet::erase(const std::pair<int, int>& range) {
    insert_erase_range(m_internal->keys, range, false);
}

void CIntervalSet::clear() { m_internal->keys.clear(); }

bool CIntervalSet::empty() const { return m_internal->keys.empty(); }

size_t CIntervalSet::size() const { return m_internal->keys.size() / 2; }

std::pair<int, int> CIntervalSet::get(int position) const {
    // 64-bit arithmetic, so that no index overflows; a negative index wraps to a huge size_t.
    const int64_t index = position;
    KERNA_ASSERT(size_t(index * 2 + 1) < m_internal->keys.size());
    return std::pair<int, int>(m_internal->keys[static_cast<size_t>(index * 2)],
                               m_internal->keys[static_cast<size_t>(index * 2 + 1)]);
}

}  // namespace Utils
}  // namespace Tessaran

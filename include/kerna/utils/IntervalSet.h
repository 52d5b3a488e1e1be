// IntervalSet.h: a set of int values held as disjoint half-open intervals.
//
// CIntervalSet keeps its intervals in canonical form at all times: sorted, disjoint and not
// touching, so [5, 10) and [10, 12) are stored as [5, 12). Adding a range merges it with what it
// touches; removing a range cuts or splits what it covers. Each update costs two binary searches
// and at most one move of the tail of one vector.
//
// A source-level interface: the class is not exported from libkerna.so; it comes with the static
// companion library kerna_source (CMake target Kerna::kerna_source, pkg-config kerna_source).

#ifndef KERNA_UTILS_INTERVALSET_H_
#define KERNA_UTILS_INTERVALSET_H_

#include <cstddef>
#include <utility>

namespace Tessaran {
namespace Utils {

class IntervalSetInternal;

/// A set of int values as canonical half-open intervals. An object has no lock and belongs to
/// one thread at a time.
class CIntervalSet {
public:
    /// An empty set.
    CIntervalSet();
    /// A deep copy of `other`.
    CIntervalSet(const CIntervalSet& other);
    /// Replaces the contents with a deep copy of `other`.
    CIntervalSet& operator=(const CIntervalSet& other);
    ~CIntervalSet();

    /// Exchanges the contents of the two sets.
    void swap(CIntervalSet& other);

    /// Adds the values from `range.first` up to, not including, `range.second`. An empty or
    /// inverted range (first >= second) changes nothing.
    void insert(const std::pair<int, int>& range);

    /// Removes the values from `range.first` up to, not including, `range.second`. An empty or
    /// inverted range changes nothing.
    void erase(const std::pair<int, int>& range);

    /// Removes all intervals.
    void clear();

    /// True when the set holds no value.
    bool empty() const;

    /// The number of intervals.
    size_t size() const;

    /// Interval `index` in ascending order, as first value and excluded bound. An index outside
    /// [0, size()) is a caller error: it fails an assertion, which ends the process.
    std::pair<int, int> get(int index) const;

private:
    IntervalSetInternal* m_internal;
};

}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_UTILS_INTERVALSET_H_

// IntervalSetTest.cpp: CIntervalSet at its merge and split boundaries, and against a
// std::set<int> model over long random sequences.

#include <gtest/gtest.h>
#include <kerna/utils/IntervalSet.h>

#include <climits>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace Tessaran {
namespace Utils {
namespace {

typedef std::vector<std::pair<int, int>> Intervals;

Intervals intervalsOf(const CIntervalSet& set) {
    Intervals out;
    for (size_t i = 0; i < set.size(); ++i) out.push_back(set.get(static_cast<int>(i)));
    return out;
}

// One known answer for each rule; the model test below runs the same rules at random.
TEST(CIntervalSet, MergesAndSplitsExactly) {
    const struct {
        Intervals before;
        bool insert;
        std::pair<int, int> range;
        Intervals after;
    } steps[] = {
        {{}, true, {5, 5}, {}},                            // empty range
        {{{5, 10}}, true, {7, 3}, {{5, 10}}},              // inverted range
        {{{5, 10}}, false, {9, 6}, {{5, 10}}},             // inverted range
        {{{5, 10}, {20, 30}}, true, {10, 20}, {{5, 30}}},  // touching on both sides
        {{{5, 10}, {20, 30}}, true, {11, 19}, {{5, 10}, {11, 19}, {20, 30}}},
        {{{1, 2}, {4, 5}, {7, 8}}, true, {3, 6}, {{1, 2}, {3, 6}, {7, 8}}},
        {{{5, 10}}, false, {6, 7}, {{5, 6}, {7, 10}}},  // split
        {{{5, 10}}, false, {10, 12}, {{5, 10}}},        // touching only
        {{{5, 10}, {20, 30}}, false, {6, 25}, {{5, 6}, {25, 30}}},
        {{{INT_MIN, 0}}, true, {0, INT_MAX}, {{INT_MIN, INT_MAX}}},
        {{{INT_MIN, INT_MAX}}, false, {-1, 1}, {{INT_MIN, -1}, {1, INT_MAX}}},
    };
    for (const auto& step : steps) {
        CIntervalSet set;
        for (const auto& range : step.before) set.insert(range);
        ASSERT_EQ(intervalsOf(set), step.before);
        step.insert ? set.insert(step.range) : set.erase(step.range);
        EXPECT_EQ(intervalsOf(set), step.after)
            << (step.insert ? "insert [" : "erase [") << step.range.first << ", "
            << step.range.second << ")";
        EXPECT_EQ(set.empty(), step.after.empty());
    }
}

// Same intervals as a std::set<int> after every step. The intervals rebuilt from the model are
// sorted, disjoint, non-empty and not touching, so equality checks those invariants too. Now and
// then the contents go through a copy, an assignment, a swap and a self-assignment, each source
// cleared behind it: a copy that is not deep, or a swap that is not whole, loses them.
void runAgainstModel(unsigned int seed, int domain, int maxWidth, int steps, int checkEvery) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> start(-domain / 2, domain / 2);
    std::uniform_int_distribution<int> width(-2, maxWidth);
    std::uniform_int_distribution<int> coin(0, 99);
    CIntervalSet set;
    std::set<int> model;
    for (int i = 0; i < steps; ++i) {
        const int a = start(random);
        const int b = a + width(random);
        const bool insert = coin(random) < 55;
        insert ? set.insert({a, b}) : set.erase({a, b});
        for (int v = a; v < b; ++v) insert ? void(model.insert(v)) : void(model.erase(v));
        if (coin(random) == 0) {
            CIntervalSet copy(set);
            set.clear();
            CIntervalSet other;
            other = copy;
            copy.clear();
            set.swap(other);  // the contents back in `set`, the cleared set in `other`
            ASSERT_TRUE(other.empty());
            ASSERT_EQ(other.size(), 0u);
            set = set;
        }
        if (i % checkEvery != 0 && i + 1 != steps) continue;
        Intervals expected;
        for (int v : model) {
            if (expected.empty() || expected.back().second != v) expected.push_back({v, v});
            ++expected.back().second;
        }
        ASSERT_EQ(intervalsOf(set), expected) << "seed " << seed << " step " << i;
        ASSERT_EQ(set.empty(), expected.empty());
    }
}

TEST(CIntervalSet, MatchesSetModelOverRandomSequences) {
    runAgainstModel(1, 60, 6, 20000, 1);        // dense: constant merging and splitting
    runAgainstModel(2, 400, 40, 20000, 1);      // mid
    runAgainstModel(3, 20000, 300, 20000, 97);  // sparse, many intervals
}

#if GTEST_HAS_DEATH_TEST
TEST(CIntervalSetDeathTest, GetOutOfRangeAsserts) {
    CIntervalSet set;
    set.insert({1, 2});
    EXPECT_EQ(set.get(0), std::make_pair(1, 2));
    EXPECT_DEATH(set.get(1), "size_t\\(index \\* 2 \\+ 1\\) < m_internal->keys.size\\(\\)");
    EXPECT_DEATH(set.get(-1), "size_t\\(index \\* 2 \\+ 1\\) < m_internal->keys.size\\(\\)");
    EXPECT_DEATH(set.get(INT_MAX), "size_t\\(index \\* 2 \\+ 1\\)");
}
#endif

}  // namespace
}  // namespace Utils
}  // namespace Tessaran

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

CIntervalSet setOf(const Intervals& intervals) {
    CIntervalSet set;
    for (const auto& range : intervals) set.insert(range);
    return set;
}

struct Step {
    Intervals before;
    bool insert;
    std::pair<int, int> range;
    Intervals after;
};

TEST(CIntervalSet, MergesAndSplitsExactly) {
    const Step steps[] = {
        {{}, true, {5, 10}, {{5, 10}}},
        {{}, true, {5, 5}, {}},
        {{{5, 10}}, true, {7, 3}, {{5, 10}}},
        {{{5, 10}}, false, {9, 6}, {{5, 10}}},
        {{{5, 10}}, false, {7, 7}, {{5, 10}}},
        {{{5, 10}}, true, {10, 12}, {{5, 12}}},
        {{{5, 12}}, true, {3, 5}, {{3, 12}}},
        {{{5, 10}}, true, {6, 7}, {{5, 10}}},
        {{{5, 10}, {20, 30}}, true, {1, 100}, {{1, 100}}},
        {{{1, 2}, {4, 5}, {7, 8}}, true, {3, 6}, {{1, 2}, {3, 6}, {7, 8}}},
        {{{5, 10}, {20, 30}}, true, {8, 20}, {{5, 30}}},
        {{{5, 10}, {20, 30}}, true, {10, 20}, {{5, 30}}},
        {{{5, 10}, {20, 30}}, true, {11, 19}, {{5, 10}, {11, 19}, {20, 30}}},
        {{{5, 10}}, false, {6, 7}, {{5, 6}, {7, 10}}},
        {{{5, 10}}, false, {6, 10}, {{5, 6}}},
        {{{5, 10}}, false, {5, 7}, {{7, 10}}},
        {{{5, 10}}, false, {5, 10}, {}},
        {{{5, 10}}, false, {10, 12}, {{5, 10}}},
        {{{5, 10}}, false, {3, 5}, {{5, 10}}},
        {{{5, 10}, {20, 30}}, false, {6, 25}, {{5, 6}, {25, 30}}},
        {{{5, 10}, {20, 30}}, false, {0, 40}, {}},
        {{{INT_MIN, 0}}, true, {0, INT_MAX}, {{INT_MIN, INT_MAX}}},
        {{{INT_MIN, INT_MAX}}, false, {-1, 1}, {{INT_MIN, -1}, {1, INT_MAX}}},
    };
    for (const Step& step : steps) {
        CIntervalSet set = setOf(step.before);
        ASSERT_EQ(intervalsOf(set), step.before);
        if (step.insert) {
            set.insert(step.range);
        } else {
            set.erase(step.range);
        }
        EXPECT_EQ(intervalsOf(set), step.after)
            << (step.insert ? "insert [" : "erase [") << step.range.first << ", "
            << step.range.second << ")";
        EXPECT_EQ(set.empty(), step.after.empty());
    }
}

TEST(CIntervalSet, CopyAssignSwapClear) {
    CIntervalSet a = setOf({{1, 3}, {7, 9}});
    CIntervalSet b(a);
    b.insert({3, 7});
    EXPECT_EQ(intervalsOf(a), (Intervals{{1, 3}, {7, 9}}));  // deep copy
    EXPECT_EQ(intervalsOf(b), (Intervals{{1, 9}}));
    CIntervalSet c;
    c = a;
    c.erase({1, 2});
    EXPECT_EQ(intervalsOf(a), (Intervals{{1, 3}, {7, 9}}));
    c = c;
    EXPECT_EQ(intervalsOf(c), (Intervals{{2, 3}, {7, 9}}));
    a.swap(b);
    EXPECT_EQ(intervalsOf(a), (Intervals{{1, 9}}));
    EXPECT_EQ(intervalsOf(b), (Intervals{{1, 3}, {7, 9}}));
    b.clear();
    EXPECT_TRUE(b.empty());
    EXPECT_EQ(b.size(), 0u);
}

// Same membership as a std::set<int> after every step, and the intervals always sorted,
// disjoint, non-empty and not touching.
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
        if (insert) {
            set.insert({a, b});
            for (int v = a; v < b; ++v) model.insert(v);
        } else {
            set.erase({a, b});
            for (int v = a; v < b; ++v) model.erase(v);
        }
        if (coin(random) == 0) {  // now and then, go on from a copy
            CIntervalSet copy(set);
            set.clear();
            set = copy;
        }
        if (i % checkEvery != 0 && i + 1 != steps) continue;
        // Rebuild the model's intervals and compare them whole.
        Intervals expected;
        for (int v : model) {
            if (!expected.empty() && expected.back().second == v) {
                expected.back().second = v + 1;
            } else {
                expected.push_back({v, v + 1});
            }
        }
        const Intervals actual = intervalsOf(set);
        for (size_t k = 0; k < actual.size(); ++k) {
            ASSERT_LT(actual[k].first, actual[k].second);
            if (k > 0) {
                ASSERT_LT(actual[k - 1].second, actual[k].first);  // not touching
            }
        }
        ASSERT_EQ(actual, expected) << "seed " << seed << " step " << i;
    }
}

TEST(CIntervalSet, MatchesSetModelOverRandomSequences) {
    runAgainstModel(1, 60, 6, 20000, 1);        // dense: constant merging and splitting
    runAgainstModel(2, 400, 40, 20000, 1);      // mid
    runAgainstModel(3, 20000, 300, 20000, 97);  // sparse, many intervals
}

#if GTEST_HAS_DEATH_TEST
TEST(CIntervalSetDeathTest, GetOutOfRangeAsserts) {
    CIntervalSet set = setOf({{1, 2}});
    EXPECT_EQ(set.get(0), std::make_pair(1, 2));
    EXPECT_DEATH(set.get(1), "size_t\\(index \\* 2 \\+ 1\\) < m_internal->keys.size\\(\\)");
    EXPECT_DEATH(set.get(-1), "size_t\\(index \\* 2 \\+ 1\\) < m_internal->keys.size\\(\\)");
    EXPECT_DEATH(set.get(INT_MAX), "size_t\\(index \\* 2 \\+ 1\\)");
}
#endif

}  // namespace
}  // namespace Utils
}  // namespace Tessaran

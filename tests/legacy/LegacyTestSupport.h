// LegacyTestSupport.h
//
// Helpers of the programs that test the older interface: a bounded wait, and the zone. Legacy
// time follows the platform's zone (the C library's mktime and localtime), so these programs run
// in UTC without daylight saving: the environment below sets TZ=UTC0 before the first test. No
// other test program sets TZ.
#ifndef KERNA_TESTS_LEGACY_LEGACYTESTSUPPORT_H_
#define KERNA_TESTS_LEGACY_LEGACYTESTSUPPORT_H_

#include <kerna/legacy/Time.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

namespace LegacyTest {

/// Polls `condition` every millisecond for up to 20 seconds; its last value.
inline bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 20000; ++i) {
        if (condition()) return true;
        ::CTime::sleep(1);
    }
    return condition();
}

class UtcZone : public ::testing::Environment {
public:
    void SetUp() override { setenv("TZ", "UTC0", 1); }
};

inline const ::testing::Environment* const g_utcZone =
    ::testing::AddGlobalTestEnvironment(new UtcZone);

}  // namespace LegacyTest

#endif  // KERNA_TESTS_LEGACY_LEGACYTESTSUPPORT_H_

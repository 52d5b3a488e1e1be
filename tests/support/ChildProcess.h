// ChildProcess.h
//
// Runs a test's statements in a fresh child process: the child re-executes this program
// (death-test "threadsafe" style), so it starts with the library as it is at load, even when the
// parent has made process-wide objects or changed process-wide settings already. The child's
// failed expectations are written to its standard error, which the parent shows.
#ifndef KERNA_TESTS_SUPPORT_CHILDPROCESS_H_
#define KERNA_TESTS_SUPPORT_CHILDPROCESS_H_

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

namespace KernaTest {

/// Runs `body`, writes each failed expectation to the standard error stream (which the parent
/// shows) and ends the process: status 0 if all passed.
[[noreturn]] inline void runAndExit(const std::function<void()>& body) {
    ::testing::TestPartResultArray results;
    {
        ::testing::ScopedFakeTestPartResultReporter reporter(
            ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &results);
        body();
    }
    int failures = 0;
    for (int i = 0; i < results.size(); ++i) {
        const ::testing::TestPartResult& r = results.GetTestPartResult(i);
        if (!r.failed()) continue;
        ++failures;
        std::fprintf(stderr, "%s:%d: %s\n", r.file_name() ? r.file_name() : "?", r.line_number(),
                     r.message());
    }
    std::fflush(stdout);
    std::fflush(stderr);
    std::_Exit(failures == 0 ? 0 : 1);
}

}  // namespace KernaTest

/// Runs the statements in a fresh child process; the test fails unless all its checks passed.
#define KERNA_IN_CHILD(...)                                                                      \
    do {                                                                                         \
        ::testing::GTEST_FLAG(death_test_style) = "threadsafe";                                  \
        EXPECT_EXIT(::KernaTest::runAndExit([&] { __VA_ARGS__; }), ::testing::ExitedWithCode(0), \
                    "");                                                                         \
    } while (0)

/// Runs the statements in a fresh child that must die with `regex` on its standard error.
#define KERNA_CHILD_DIES(regex, ...)                            \
    do {                                                        \
        ::testing::GTEST_FLAG(death_test_style) = "threadsafe"; \
        EXPECT_DEATH(([&] { __VA_ARGS__; })(), regex);          \
    } while (0)

#endif  // KERNA_TESTS_SUPPORT_CHILDPROCESS_H_

// MemoryTestSupport.h
//
// Helpers of the memory tests. The packet manager is one per process and frozen at its first
// use, so a test of a configured policy runs its body in a fresh child, which configures before
// the first use. The child re-executes this program (death-test "threadsafe" style), so it
// starts without a manager even when the parent already has one.

#ifndef KERNA_TESTS_MEMORY_MEMORYTESTSUPPORT_H_
#define KERNA_TESTS_MEMORY_MEMORYTESTSUPPORT_H_

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "memory/PacketManagerInternal.h"
#include "support/LogCapture.h"

namespace MemoryTest {

using KernaTest::LogCapture;
using Tessaran::Memory::CPacketManager;

inline CPacketManager::PoolParameter pool(uint64_t total, uint64_t chunk = 1024, uint64_t align = 4) {
    CPacketManager::PoolParameter p;
    p.totalSize = total;
    p.chunkSize = chunk;
    p.alignSize = align;
    return p;
}

/// Configures `policy` with a region of `total` bytes in chunks of 1024 and makes the manager.
inline CPacketManager* configured(CPacketManager::Policy policy, uint64_t total) {
    CPacketManager::PoolParameter p = pool(total);
    CPacketManager::config(policy, nullptr, &p);
    return CPacketManager::instance();
}

/// The chunk-aligned start of the manager's region.
inline unsigned char* aligned() { return Tessaran::Memory::PacketManagerInternal::instance()->alignedBuffer(); }

inline std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
inline std::string format(const char* fmt, ...) {
    char buf[512];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(buf, sizeof buf, fmt, args);
    va_end(args);
    return buf;
}

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

}  // namespace MemoryTest

/// Runs the statements in a fresh child process; the test fails unless all its checks passed.
#define KERNA_IN_CHILD(...)                                              \
    do {                                                                 \
        ::testing::GTEST_FLAG(death_test_style) = "threadsafe";          \
        EXPECT_EXIT(::MemoryTest::runAndExit([&] { __VA_ARGS__; }),      \
                    ::testing::ExitedWithCode(0), "");                   \
    } while (0)

/// Runs the statements in a fresh child that must die with `regex` on its standard error.
#define KERNA_CHILD_DIES(regex, ...)                                     \
    do {                                                                 \
        ::testing::GTEST_FLAG(death_test_style) = "threadsafe";          \
        EXPECT_DEATH(([&] { __VA_ARGS__; })(), regex);                   \
    } while (0)

#endif  // KERNA_TESTS_MEMORY_MEMORYTESTSUPPORT_H_

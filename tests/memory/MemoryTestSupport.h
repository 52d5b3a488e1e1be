// MemoryTestSupport.h
//
// Helpers of the memory tests: a capture of the lines of the print path, and a way to run a
// test body in a fresh process. The packet manager is one per process and frozen at its first
// use, so every test of a configured policy runs in its own child, which configures before the
// first use. The child re-executes this program (death-test "threadsafe" style), so it starts
// without a manager even when the parent already has one.

#ifndef KERNA_TESTS_MEMORY_MEMORYTESTSUPPORT_H_
#define KERNA_TESTS_MEMORY_MEMORYTESTSUPPORT_H_

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <kerna/kerna3/PrintLog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace MemoryTest {

/// Collects every line of the print path while it lives.
class LogCapture {
public:
    explicit LogCapture(int level = 6) {
        std::lock_guard<std::mutex> g(lock());
        lines().clear();
        m_oldLevel = Tessaran::Kerna::getPrintLogLevel();
        Tessaran::Kerna::setPrintLogLevel(level);
        Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>(&LogCapture::print));
    }
    ~LogCapture() {
        Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>());
        Tessaran::Kerna::setPrintLogLevel(m_oldLevel);
    }

    /// The message parts (behind the prefix, which ends in "]") of the captured lines.
    std::vector<std::string> messages() const {
        std::lock_guard<std::mutex> g(lock());
        std::vector<std::string> out;
        for (const std::string& line : lines()) {
            size_t cut = line.find(']');
            out.push_back(cut == std::string::npos ? line : line.substr(cut + 1));
        }
        return out;
    }

    /// How many captured messages equal `text` exactly.
    int count(const std::string& text) const {
        int n = 0;
        for (const std::string& m : messages()) n += (m == text);
        return n;
    }

    void clear() {
        std::lock_guard<std::mutex> g(lock());
        lines().clear();
    }

    static std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2))) {
        char buf[512];
        va_list args;
        va_start(args, fmt);
        vsnprintf(buf, sizeof buf, fmt, args);
        va_end(args);
        return buf;
    }

private:
    static void print(const char* line) {
        std::lock_guard<std::mutex> g(lock());
        lines().push_back(line);
    }
    static std::mutex& lock() {
        static std::mutex m;
        return m;
    }
    static std::vector<std::string>& lines() {
        static std::vector<std::string> v;
        return v;
    }
    int m_oldLevel;
};

/// Sends the print path to the standard error stream, where a death test looks.
inline void printToStderr(const char* line) { std::fputs(line, stderr); }

}  // namespace MemoryTest

namespace MemoryTest {

/// Runs `body`, collecting its expectations' results, writes each failure to the standard
/// error stream (which the parent shows) and ends the process: status 0 if all passed.
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
        std::fprintf(stderr, "%s:%d: %s\n", r.file_name() ? r.file_name() : "?", r.line_number(), r.message());
    }
    std::fflush(stdout);
    std::fflush(stderr);
    std::_Exit(failures == 0 ? 0 : 1);
}

/// Runs `body` in a fresh child process; the test fails unless the child's own expectations
/// all passed (their messages show in the output).
inline void runInChild(const std::function<void()>& body) {
    ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        runAndExit(body),
        ::testing::ExitedWithCode(0), "");
}

/// Runs `body` in a fresh child process that must die with `regex` on its standard error.
inline void runInDyingChild(const char* regex, const std::function<void()>& body) {
    ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_DEATH(body(), regex);
}

}  // namespace MemoryTest

/// Runs the statements given as arguments in a fresh child process (see runInChild).
#define KERNA_IN_CHILD(...) ::MemoryTest::runInChild([&] { __VA_ARGS__; })

/// Runs the statements behind `regex` in a fresh child that must die with `regex` on stderr.
#define KERNA_CHILD_DIES(regex, ...) ::MemoryTest::runInDyingChild(regex, [&] { __VA_ARGS__; })

#endif  // KERNA_TESTS_MEMORY_MEMORYTESTSUPPORT_H_

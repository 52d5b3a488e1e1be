// LogCapture.h - collects the lines of the print path for exact comparison.
//
// Installs a printer through setLogPrinter for the life of the object. Each captured line is
// kept without its prefix: the text behind the prefix's closing bracket.

#ifndef KERNA_TESTS_CONCURRENCY_LOGCAPTURE_H_
#define KERNA_TESTS_CONCURRENCY_LOGCAPTURE_H_

#include <mutex>
#include <string>
#include <vector>

class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// The messages captured so far, in order.
    std::vector<std::string> messages() const;

    /// Forgets what was captured.
    void clear();

    /// Number of captured messages equal to text.
    int count(const std::string& text) const;

private:
    static void onLine(const char* line);
};

#endif  // KERNA_TESTS_CONCURRENCY_LOGCAPTURE_H_

// LogLines.h
//
// Test helper of utils_test: takes the place of the console through setLogPrinter and keeps the
// message part (behind the prefix's closing "]") of every line; puts the print settings back to
// their defaults when it goes.
#ifndef KERNA_TESTS_UTILS_LOGLINES_H_
#define KERNA_TESTS_UTILS_LOGLINES_H_

#include <mutex>
#include <string>
#include <vector>

#include "kerna/kerna3/PrintLog.h"

namespace KernaTest {

class LogLines {
public:
    LogLines() {
        Tessaran::Kerna::PrintOptions options = {};
        options.noColor = true;
        Tessaran::Kerna::setPrintOptions(options);
        Tessaran::Kerna::setPrintLogLevel(6);
        Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>(&LogLines::onLine, this));
    }
    ~LogLines() {
        Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>());
        Tessaran::Kerna::setPrintOptions(Tessaran::Kerna::PrintOptions());
        Tessaran::Kerna::setPrintLogLevel(4);
    }
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

    /// The message of every line so far, in order, with its line end.
    std::vector<std::string> messages() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_messages;
    }
    void clear() {
        std::lock_guard<std::mutex> guard(m_lock);
        m_messages.clear();
    }

private:
    void onLine(const char* line) {
        const std::string text(line);
        const size_t close = text.find(']');
        std::lock_guard<std::mutex> guard(m_lock);
        m_messages.push_back(close == std::string::npos ? text : text.substr(close + 1));
    }

    std::mutex m_lock;
    std::vector<std::string> m_messages;
};

using LogCapture = LogLines;

}  // namespace KernaTest

#endif  // KERNA_TESTS_UTILS_LOGLINES_H_

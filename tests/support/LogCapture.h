// LogCapture.h
//
// Test helper: takes the place of the console through setLogPrinter and keeps the lines printed
// (on every thread, or only on the thread that made it), and puts the print settings back to
// their defaults when it goes. Lines of the library's permanent "TimerManager" thread, which may
// print at any time (its start line can come after a test has begun), are never kept.
#ifndef KERNA_TESTS_SUPPORT_LOGCAPTURE_H_
#define KERNA_TESTS_SUPPORT_LOGCAPTURE_H_

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "kerna/kerna3/PrintLog.h"
#include "kerna/kerna3/Thread.h"
#include "kerna/kerna3/ThreadManager.h"

namespace KernaTest {

class LogCapture {
public:
    explicit LogCapture(int printLevel = 6, bool ownThreadOnly = false)
        : m_owner(std::this_thread::get_id()), m_ownThreadOnly(ownThreadOnly) {
        Tessaran::Kerna::PrintOptions options = {};
        options.noColor = true;
        Tessaran::Kerna::setPrintOptions(options);
        Tessaran::Kerna::setPrintLogLevel(printLevel);
        Tessaran::Kerna::setLogPrinter(
            Tessaran::Kerna::TFunction1<void, const char*>(&LogCapture::onLine, this));
    }
    ~LogCapture() {
        Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>());
        Tessaran::Kerna::setPrintOptions(Tessaran::Kerna::PrintOptions());
        Tessaran::Kerna::setPrintLogLevel(4);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// Every line so far, in order.
    std::vector<std::string> lines() {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_lines;
    }
    /// The message part of every line (behind the prefix's closing "]").
    std::vector<std::string> messages() {
        std::vector<std::string> out;
        for (const std::string& l : lines()) {
            const size_t close = l.find(']');
            out.push_back(close == std::string::npos ? l : l.substr(close + 1));
        }
        return out;
    }
    /// True if some line's message equals `text`.
    bool hasMessage(const std::string& text) {
        for (const std::string& m : messages()) {
            if (m == text) return true;
        }
        return false;
    }
    void clear() {
        std::lock_guard<std::mutex> guard(m_lock);
        m_lines.clear();
    }

private:
    void onLine(const char* line) {
        if (m_ownThreadOnly && std::this_thread::get_id() != m_owner) return;
        Tessaran::Kerna::String name;
        if (std::this_thread::get_id() != m_owner &&
            Tessaran::Kerna::CThreadManager::instance()->getThreadNameByID(
                Tessaran::Kerna::CThread::getCurrentThreadID(), name) &&
            name == "TimerManager") {
            return;
        }
        std::lock_guard<std::mutex> guard(m_lock);
        m_lines.push_back(line);
    }
    std::thread::id m_owner;
    bool m_ownThreadOnly;
    std::mutex m_lock;
    std::vector<std::string> m_lines;
};

}  // namespace KernaTest

#endif  // KERNA_TESTS_SUPPORT_LOGCAPTURE_H_

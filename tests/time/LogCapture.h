// LogCapture.h
//
// Collects the lines of the print path while an object of it lives, through the printer seam, so
// that tests can check the exact text a call logged. One capture at a time per process.

#ifndef KERNA_TESTS_TIME_LOGCAPTURE_H_
#define KERNA_TESTS_TIME_LOGCAPTURE_H_

#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "kerna/kerna3/Function.h"
#include "kerna/kerna3/PrintLog.h"

class LogCapture {
public:
    LogCapture() {
        clear();
        Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>(&record));
    }
    ~LogCapture() {
        Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>());
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    void clear() {
        std::lock_guard<std::mutex> guard(lock());
        lines().clear();
    }
    size_t size() const {
        std::lock_guard<std::mutex> guard(lock());
        return lines().size();
    }
    /// Lines whose message (the end of the line) is `message`.
    size_t count(const std::string& message) const { return countEndingWith(message); }
    size_t countEndingWith(const std::string& tail) const {
        std::lock_guard<std::mutex> guard(lock());
        size_t n = 0;
        for (const std::string& line : lines()) {
            if (line.size() >= tail.size() &&
                line.compare(line.size() - tail.size(), tail.size(), tail) == 0) {
                ++n;
            }
        }
        return n;
    }
    bool containsText(const std::string& text) const {
        std::lock_guard<std::mutex> guard(lock());
        for (const std::string& line : lines()) {
            if (line.find(text) != std::string::npos) return true;
        }
        return false;
    }
    std::vector<std::string> all() const {
        std::lock_guard<std::mutex> guard(lock());
        return lines();
    }
    static std::string pointerText(const void* p) {
        char text[32];
        std::snprintf(text, sizeof(text), "%p", p);
        return text;
    }

private:
    static void record(const char* line) {
        std::lock_guard<std::mutex> guard(lock());
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
};

#endif  // KERNA_TESTS_TIME_LOGCAPTURE_H_

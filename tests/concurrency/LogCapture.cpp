// LogCapture.cpp - the printer behind LogCapture.

#include "LogCapture.h"

#include <kerna/kerna3/PrintLog.h>

#include <cstring>

namespace {

std::mutex g_mutex;
std::vector<std::string> g_lines;

}  // namespace

LogCapture::LogCapture()
{
    clear();
    Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>(&onLine));
}

LogCapture::~LogCapture()
{
    Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>());
}

void LogCapture::onLine(const char* line)
{
    const char* text = std::strchr(line, ']');
    text = text != nullptr ? text + 1 : line;
    std::lock_guard<std::mutex> lock(g_mutex);
    g_lines.emplace_back(text);
}

std::vector<std::string> LogCapture::messages() const
{
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_lines;
}

void LogCapture::clear()
{
    std::lock_guard<std::mutex> lock(g_mutex);
    g_lines.clear();
}

int LogCapture::count(const std::string& text) const
{
    std::lock_guard<std::mutex> lock(g_mutex);
    int n = 0;
    for (const std::string& line : g_lines) {
        n += line == text ? 1 : 0;
    }
    return n;
}

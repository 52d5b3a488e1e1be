// Console.cpp
//
// Only POSIX code; no library logic. Console colours as ANSI codes written straight to standard
// output, and only when it is a terminal (checked at each change). Attribute bits 0-2 (blue,
// green, red) map to the codes 30-37 and bit 3 (bright) adds 60.
#include "platform/Console.h"

#include <stdio.h>
#include <unistd.h>

#include <atomic>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

namespace {
std::atomic<int> g_attribute{consoleDefaultAttribute};
std::atomic<void (*)(const char*)> g_sink{nullptr};
const int ansiColour[8] = {30, 34, 32, 36, 31, 35, 33, 37};
}  // namespace

int consoleAttribute() { return g_attribute.load(std::memory_order_relaxed); }

void setConsoleAttribute(int attribute) {
    g_attribute.store(attribute, std::memory_order_relaxed);
    void (*sink)(const char*) = g_sink.load(std::memory_order_acquire);
    if (sink == nullptr && !isatty(fileno(stdout))) return;
    char code[16];
    if (attribute == consoleDefaultAttribute) {
        snprintf(code, sizeof code, "\033[0m");
    } else {
        snprintf(code, sizeof code, "\033[%dm", ansiColour[attribute & 7] + ((attribute & 8) ? 60 : 0));
    }
    if (sink != nullptr) {
        sink(code);
    } else {
        fputs(code, stdout);
    }
}

void flushConsole() {
    if (g_sink.load(std::memory_order_acquire) == nullptr) fflush(stdout);
}

void writeConsole(const char* text) {
    void (*sink)(const char*) = g_sink.load(std::memory_order_acquire);
    if (sink != nullptr) {
        sink(text);
    } else {
        fputs(text, stdout);
    }
}

void setConsoleSink(void (*sink)(const char* text)) { g_sink.store(sink, std::memory_order_release); }

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

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
const int ansiColour[8] = {30, 34, 32, 36, 31, 35, 33, 37};
}  // namespace

int consoleAttribute() { return g_attribute.load(std::memory_order_relaxed); }

void setConsoleAttribute(int attribute) {
    g_attribute.store(attribute, std::memory_order_relaxed);
    if (!isatty(fileno(stdout))) return;
    if (attribute == consoleDefaultAttribute) {
        fputs("\033[0m", stdout);
    } else {
        fprintf(stdout, "\033[%dm", ansiColour[attribute & 7] + ((attribute & 8) ? 60 : 0));
    }
}

void flushConsole() { fflush(stdout); }

void writeConsole(const char* text) { fputs(text, stdout); }

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

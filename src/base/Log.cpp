// Log.cpp
//
// The library's own log call: the source position of KERNA_LOG turned into the file and function
// texts of a line, and the lines a thread keeps while it holds a library lock.
#include "base/Log.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace Tessaran {
namespace Kerna {
namespace Detail {

std::atomic<int> g_printLevel{4};
std::atomic<int> g_moduleSwitch{moduleAllOn};

const char* functionName(const char* pretty, char* out, unsigned size) {
    if (size == 0) return "";
    out[0] = '\0';
    if (pretty == nullptr) return out;
    const size_t len = strlen(pretty);
    // The parameter list is the last balanced "(...)"; a trailing qualifier (const, noexcept)
    // may follow it.
    size_t end = len;
    int depth = 0;
    for (size_t i = len; i-- > 0;) {
        if (pretty[i] == ')') {
            ++depth;
        } else if (pretty[i] == '(') {
            if (--depth == 0) {
                end = i;
                break;
            }
        }
    }
    // The name starts behind the last blank outside template brackets before the parameters
    // (the return type stands in front of it).
    size_t begin = 0;
    int angle = 0;
    for (size_t i = end; i-- > 0;) {
        const char c = pretty[i];
        if (c == '>') ++angle;
        else if (c == '<') --angle;
        else if (c == ' ' && angle == 0 && !(i >= 8 && strncmp(pretty + i - 8, "operator", 8) == 0)) {
            begin = i + 1;
            break;
        }
    }
    // Drop a leading '*' or '&' of a return type written without a blank.
    while (begin < end && (pretty[begin] == '*' || pretty[begin] == '&')) ++begin;
    size_t n = end - begin;
    if (n >= size) n = size - 1;
    memcpy(out, pretty + begin, n);
    out[n] = '\0';
    return out;
}

const char* sourceName(const char* file, char* out, unsigned size) {
    if (size == 0) return "";
    out[0] = '\0';
    if (file == nullptr) return out;
    const char* base = file;
    for (const char* p = file; *p; ++p) {
        if (*p == '/' || *p == '\\') base = p + 1;
    }
    const char* dot = strrchr(base, '.');
    size_t n = dot ? static_cast<size_t>(dot - base) : strlen(base);
    if (n >= size) n = size - 1;
    memcpy(out, base, n);
    out[n] = '\0';
    return out;
}

// One kept line: its position and its whole message, already formatted.
struct LineAfterLock {
    LineAfterLock* next;
    int level;
    const char* file;            // __FILE__ texts and function names are literals
    const char* prettyFunction;
    int line;
    char text[1];                // the message, as long as it needs to be
};

__attribute__((tls_model("initial-exec"))) thread_local LinesAfterLockState t_linesAfterLock = {0, nullptr, nullptr};

namespace {

int print(int level, const char* file, const char* prettyFunction, int line, const char* format,
          va_list args) {
    char fileText[128];
    char functionText[256];
    return logFilterEx(level, "Unknown", sourceName(file, fileText, sizeof fileText),
                       functionName(prettyFunction, functionText, sizeof functionText), line,
                       "Unknown", format, args);
}

int printText(int level, const char* file, const char* prettyFunction, int line, const char* format,
              ...) {
    va_list args;
    va_start(args, format);
    const int n = print(level, file, prettyFunction, line, format, args);
    va_end(args);
    return n;
}

void hold(int level, const char* file, const char* prettyFunction, int line, const char* format,
          va_list args) {
    va_list measure;
    va_copy(measure, args);
    const int length = vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    if (length < 0) return;  // the formatter refuses: nothing would be printed either
    LineAfterLock* held = static_cast<LineAfterLock*>(malloc(sizeof(LineAfterLock) + static_cast<size_t>(length)));
    if (held == nullptr) return;
    vsnprintf(held->text, static_cast<size_t>(length) + 1, format, args);
    held->next = nullptr;
    held->level = level;
    held->file = file;
    held->prettyFunction = prettyFunction;
    held->line = line;
    LineAfterLock** end = t_linesAfterLock.end != nullptr ? t_linesAfterLock.end : &t_linesAfterLock.first;
    *end = held;
    t_linesAfterLock.end = &held->next;
}

// Takes the thread's held lines first (a printer or listener may log, or open a scope of its
// own), then hands each to `emit` and frees it.
template <class Emit>
void drainLinesAfterLock(Emit emit) {
    LinesAfterLockState& state = t_linesAfterLock;
    LineAfterLock* held = state.first;
    state.first = nullptr;
    state.end = nullptr;
    while (held != nullptr) {
        LineAfterLock* next = held->next;
        emit(*held);
        free(held);
        held = next;
    }
}

}  // namespace

void printLinesAfterLock() {
    drainLinesAfterLock([](const LineAfterLock& held) {
        printText(held.level, held.file, held.prettyFunction, held.line, "%s", held.text);
    });
}

void writeLinesAfterLock(std::FILE* stream) {
    drainLinesAfterLock([stream](const LineAfterLock& held) { std::fputs(held.text, stream); });
}

int logAt(int level, const char* file, const char* prettyFunction, int line, const char* format, ...) {
    if (!printWouldPass(level)) return 0;
    va_list args;
    va_start(args, format);
    int n = 0;
    if (t_linesAfterLock.depth > 0) {
        hold(level, file, prettyFunction, line, format, args);
    } else {
        n = print(level, file, prettyFunction, line, format, args);
    }
    va_end(args);
    return n;
}

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

// PrintLog.cpp
//
// The print path: the level and module tests, the line prefix, the console with its colours,
// the printer and the listeners, the log file step and the statistics. A line is built in a
// buffer on the caller's stack and handed whole to each output. The listener lock is held only to
// take a snapshot of the printer and the listeners, never while one of them runs.
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <vector>

#include "base/ProcessObject.h"
#include "foundation/PrintState.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/legacy/LogShortForms.h"
#include "platform/Console.h"
#include "platform/Fork.h"
#include "platform/Tls.h"
#include "platform/WallClock.h"
#include "sync/MutexAccess.h"

namespace Tessaran {
namespace Kerna {

namespace {

using Detail::g_colorReset;
using Detail::g_lineComplete;
using Detail::ProcessObject;

const int lineBufferSize = 8192;

struct LevelInfo {
    const char* name;
    int attribute;
};
const LevelInfo levelTable[7] = {{"", 0},      {"fatal ", 5}, {"error ", 4}, {"warn ", 6},
                                 {"info ", 2}, {"trace ", 7}, {"debug ", 3}};

typedef TFunction1<void, const char*> Printer;
typedef TFunction1<bool, const char*> Listener;

// What a line is handed to: replaced as a whole under the listener lock, so that the output
// stage copies one pointer instead of the list.
struct Outputs {
    Printer printer;
    std::vector<Listener> listeners;
};

struct OutputState {
    CMutex lock;
    std::shared_ptr<const Outputs> outputs = std::make_shared<Outputs>();
    OutputState() { Detail::keepLockAcrossFork<OutputState>(Detail::Platform::forkRankPrint); }
    void published() {}
    void atProcessExit() {}
};
OutputState& outputState() { return *ProcessObject<OutputState>::get(); }

std::shared_ptr<const Outputs> snapshotOutputs() {
    OutputState& s = outputState();
    CGuard guard(s.lock);
    return s.outputs;
}

// Set while the thread is inside logFilterEx. A plain thread-local in the process's static
// thread storage: the flag is read and written twice on every line, and needs no key, no
// allocation and no clean-up when the thread ends.
__attribute__((tls_model("initial-exec"))) thread_local bool t_insidePrint = false;

// The object that keeps the thread's lines while it is inside the log file writer, or null.
__attribute__((tls_model("initial-exec"))) thread_local Detail::HeldLines* t_heldLines = nullptr;

class ReentryGuard {
public:
    ReentryGuard() : m_wasSet(t_insidePrint) { t_insidePrint = true; }
    ~ReentryGuard() {
        if (!m_wasSet) t_insidePrint = false;
    }
    bool wasSet() const { return m_wasSet; }
    /// The lines kept back on this thread, or null.
    Detail::HeldLines* heldLines() const { return t_heldLines; }

private:
    bool m_wasSet;
};

// Writes the prefix piece by piece into the room that remains, each piece cut where the room
// ends and the text always terminated, as printf-style formatting of each piece would. Numbers
// are written by hand: a line's prefix has up to a dozen pieces, and a formatted call per piece
// would cost more than the rest of the line.
class PrefixWriter {
public:
    PrefixWriter(char* buf, int size) : m_buf(buf), m_size(size), m_pos(0) { m_buf[0] = '\0'; }

    void text(const char* s) {
        while (*s && m_pos < m_size - 1) m_buf[m_pos++] = *s++;
        m_buf[m_pos] = '\0';
    }
    /// A decimal number of at least `width` characters, zero-padded, as "%0<width>d" writes it.
    void number(int value, int width = 0) {
        char digits[16];
        int n = 0;
        unsigned v = value < 0 ? 0u - static_cast<unsigned>(value) : static_cast<unsigned>(value);
        do {
            digits[n++] = static_cast<char>('0' + v % 10);
            v /= 10;
        } while (v != 0);
        char out[24];
        int k = 0;
        if (value < 0) out[k++] = '-';
        for (int pad = width - n - (value < 0 ? 1 : 0); pad > 0; --pad) out[k++] = '0';
        while (n > 0) out[k++] = digits[--n];
        out[k] = '\0';
        text(out);
    }
    int length() const { return m_pos; }

private:
    char* m_buf;
    int m_size;
    int m_pos;
};

const char* orNull(const char* text) { return text ? text : "(null)"; }

// The text behind the last ':' of a function name, or all of it.
const char* shortFunction(const char* func) {
    if (func == nullptr) return "(null)";
    const char* colon = strrchr(func, ':');
    return colon ? colon + 1 : func;
}

// The text behind the last '\\' or '/' of a file name (only a separator that is not the last
// character counts when `keepTrailing` is set).
const char* cutFile(const char* file, bool keepTrailing) {
    if (file == nullptr) return nullptr;
    const char* cut = nullptr;
    for (const char* p = file; *p; ++p) {
        if (*p == '\\' || *p == '/') cut = p;
    }
    if (cut == nullptr) return file;
    if (keepTrailing && cut[1] == '\0') return file;
    return cut + 1;
}

void setLevelColour(int level) {
    Detail::Platform::flushConsole();
    const int attribute = (level >= 0 && level <= 6) ? levelTable[level].attribute : 7;
    Detail::Platform::setConsoleAttribute(attribute);
}

// Saved console attribute, read before each colour change and restored by Kerna_resetcolor.
std::atomic<int> g_savedAttribute{Detail::Platform::consoleDefaultAttribute};

void outputLine(int level, const char* line) {
    std::shared_ptr<const Outputs> outputs = snapshotOutputs();
    if (outputs->printer.empty()) {
        Kerna_print(level, line);
    } else {
        outputs->printer(line);
    }
    for (const Listener& listener : outputs->listeners) listener(line);
}

// Formats the message behind the prefix, filling at most the first 8191 bytes of the buffer (the
// last one stays a terminator); returns the full length the whole line needs.
int formatMessage(char* buf, int prefixLength, const char* format, va_list args) {
    const int room = lineBufferSize - prefixLength;  // characters up to byte 8190, then the terminator
    int length = prefixLength;
    if (room > 1) {
        const int n = vsnprintf(buf + prefixLength, static_cast<size_t>(room), format, args);
        if (n > 0) length += n;
    }
    return length;
}

// A line that was cut counts as complete; one that fits (8191 characters at most) is complete when
// its last character is a line feed.
void updateLineComplete(const char* buf, int length) {
    const bool complete =
        length >= lineBufferSize || (length >= 1 && buf[length - 1] == '\n');
    g_lineComplete.store(complete ? 1 : 0, std::memory_order_relaxed);
}

int shortForm(int level, const char* format, va_list args) {
    return logFilterEx(level, "Unknown", "Unknown", "", 0, "", format, args);
}

int buildPrefix(const PrintOptions& options, char* buf, int size, int level, const char* libName,
                const char* file, const char* func, int line, const char* version, TimeRecord* now);

}  // namespace

int logFilterEx(int level, const char* libName, const char* file, const char* func, int line,
                const char* version, const char* format, va_list args) {
    if (!Detail::printWouldPass(level)) return 0;
    if (format == nullptr) return 0;

    ReentryGuard guard;
    if (guard.wasSet()) {
        // A print from inside a printer or listener: the bare text only, no recursion. Inside
        // the log file writer the text is kept until the writer has left its lock.
        if (Detail::modulePasses(libName)) {
            if (Detail::HeldLines* held = guard.heldLines()) {
                held->add(format, args);
            } else {
                vprintf(format, args);
            }
        }
        return 0;
    }
    if (!Detail::modulePasses(libName)) return 0;

    const char* fileName = cutFile(file, false);
    if (Kerna_getPrintOption() == nullptr) {
        printf("[%s:%s:%d]Printlog Error, pPrintOption is NULL.\n", orNull(fileName), orNull(func), line);
        return 0;
    }
    // One setting of both option records for the whole line.
    PrintOptions options;
    PrintOptions console;
    Detail::readOptionRecords(options, console);
    const char* printedVersion = (!options.noVersion && version) ? version : "";

    // The prefix and the message are each terminated as they are written, so the buffer needs
    // no clearing beyond its first byte.
    char buf[lineBufferSize];
    buf[0] = '\0';
    TimeRecord now;
    const int prefix = buildPrefix(console, buf, lineBufferSize - 1, level, libName, fileName, func,
                                   line, printedVersion, &now);
    if (prefix < 0) return 0;
    int length = formatMessage(buf, prefix, format, args);
    updateLineComplete(buf, length);

    outputLine(level, buf);
    Kerna_resetcolor();

    if (length >= lineBufferSize) {
        buf[lineBufferSize - 1] = '\0';
        length = lineBufferSize;
    }
    if (!options.noLogFile) Detail::writeLogFile(buf, length, now);
    if (Detail::g_moduleStatistics.load(std::memory_order_relaxed)) {
        Detail::addStatistics(libName, static_cast<uint64_t>(length));
    }
    return length;
}

int logFilter(int level, const char* libName, const char* file, const char* func, int line,
              const char* version, const char* format, ...) {
    if (!Detail::printWouldPass(level)) return 0;
    va_list args;
    va_start(args, format);
    const int n = logFilterEx(level, libName, file, func, line, version, format, args);
    va_end(args);
    return n;
}

int setLogPrinter(TFunction1<void, const char*> printer) {
    OutputState& s = outputState();
    CGuard guard(s.lock);
    std::shared_ptr<Outputs> next = std::make_shared<Outputs>(*s.outputs);
    next->printer = printer;
    s.outputs = next;
    return 0;
}

bool attachPrint(TFunction1<bool, const char*> proc) {
    OutputState& s = outputState();
    CGuard guard(s.lock);
    for (const Listener& l : s.outputs->listeners) {
        if (l == proc) return false;
    }
    std::shared_ptr<Outputs> next = std::make_shared<Outputs>(*s.outputs);
    next->listeners.push_back(proc);
    s.outputs = next;
    return true;
}

bool detachPrint(TFunction1<bool, const char*> proc) {
    OutputState& s = outputState();
    CGuard guard(s.lock);
    const std::vector<Listener>& current = s.outputs->listeners;
    for (size_t i = 0; i < current.size(); ++i) {
        if (current[i] == proc) {
            std::shared_ptr<Outputs> next = std::make_shared<Outputs>(*s.outputs);
            next->listeners.erase(next->listeners.begin() + static_cast<std::ptrdiff_t>(i));
            s.outputs = next;
            return true;
        }
    }
    return false;
}

void setPrintOptions(PrintOptions options) { Detail::writePrintOptions(options); }

int getPrintOptions(PrintOptions* options) {
    if (options == nullptr) return -1;
    *options = Detail::readPrintOptions();
    return 0;
}

void setPrintLogLevel(int level) { Detail::g_printLevel.store(level, std::memory_order_relaxed); }

int getPrintLogLevel() { return Detail::g_printLevel.load(std::memory_order_relaxed); }

#define KERNA_SHORT_FORM(name, level)                   \
    int name(const char* format, ...) {                 \
        if (!Detail::printWouldPass(level)) return 0;   \
        va_list args;                                   \
        va_start(args, format);                         \
        const int n = shortForm(level, format, args);   \
        va_end(args);                                   \
        return n;                                       \
    }

KERNA_SHORT_FORM(logFatal, 1)
KERNA_SHORT_FORM(logError, 2)
KERNA_SHORT_FORM(logWarn, 3)
KERNA_SHORT_FORM(logInfo, 4)
KERNA_SHORT_FORM(logTrace, 5)
KERNA_SHORT_FORM(logDebug, 5)

int logLibName(int level, const char* libName, const char* format, ...) {
    if (level < 1 || level > 6) return 0;
    if (!Detail::printWouldPass(level)) return 0;
    va_list args;
    va_start(args, format);
    const int n = logFilterEx(level, libName, "Unknown", "", 0, "", format, args);
    va_end(args);
    return n;
}

namespace Detail {

void assertionFailed(const char* expression, const char* function, const char* file, long line) {
    writeLinesAfterLock(stderr);  // what a lock held back is not lost with the process
    fprintf(stderr, "***** Internal Program Error - assertion (%s) failed in %s: %s(%ld)\n",
            orNull(expression), orNull(function), orNull(file), line);
    logInfo("custom_abort");
    abort();
}

void assertionFailedMsg(const char* expression, const char* message, const char* function,
                        const char* file, long line) {
    writeLinesAfterLock(stderr);
    fprintf(stderr, "***** Internal Program Error - assertion (%s) failed in %s: %s(%ld): %s\n",
            orNull(expression), orNull(function), orNull(file), line, orNull(message));
    logInfo("custom_abort");
    abort();
}

}  // namespace Detail

namespace Detail {

// Inside logFilterEx (the usual case: the writer runs in a line's log file step) the reentry flag
// is set already, and only the thread's holder changes; elsewhere (logCleanup, the exit routine)
// the flag is set too, so that the thread's prints are taken for prints from inside a print.
HeldLines::HeldLines() : m_outer(t_heldLines), m_setFlag(false) {
    if (m_outer != nullptr) return;  // the outer one keeps them all
    t_heldLines = this;
    if (!t_insidePrint) {
        t_insidePrint = true;
        m_setFlag = true;
    }
}

HeldLines::~HeldLines() {
    if (m_outer != nullptr) return;
    t_heldLines = nullptr;
    if (m_setFlag) t_insidePrint = false;
    if (m_text.empty()) return;
    const int error = errno;
    fputs(m_text.c_str(), stdout);
    fflush(stdout);
    errno = error;
}

void HeldLines::add(const char* format, va_list args) {
    if (m_outer != nullptr) {
        m_outer->add(format, args);
        return;
    }
    const int error = errno;  // callers report errno after the line that may come between
    char text[1024];
    va_list copy;
    va_copy(copy, args);
    const int n = vsnprintf(text, sizeof text, format, copy);
    va_end(copy);
    if (n > 0 && static_cast<size_t>(n) < sizeof text) {
        m_text.append(text, static_cast<size_t>(n));
    } else if (n > 0) {
        std::vector<char> longer(static_cast<size_t>(n) + 1);
        vsnprintf(longer.data(), longer.size(), format, args);
        m_text.append(longer.data(), static_cast<size_t>(n));
    }
    errno = error;
}

void HeldLines::addf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    add(format, args);
    va_end(args);
}

}  // namespace Detail

}  // namespace Kerna
}  // namespace Tessaran

using namespace Tessaran::Kerna;

extern "C" {

int Kerna_logOptionControl(char* buf, int size, int level, const char* libName, const char* file,
                           const char* func, int line, const char* version, TimeRecord* now) {
    if (Kerna_getPrintOption() == nullptr) {
        printf("[%s:%s:%d]Printlog Error, pPrintOption is NULL.\n", orNull(file), orNull(func), line);
        return -1;
    }
    return buildPrefix(Detail::readConsoleOptions(), buf, size, level, libName, file, func, line,
                       version, now);
}

}  // extern "C"

namespace Tessaran {
namespace Kerna {
namespace {

// The prefix of a line under one setting of the console options.
int buildPrefix(const PrintOptions& options, char* buf, int size, int level, const char* libName,
                const char* file, const char* func, int line, const char* version, TimeRecord* now) {
    const PrintOptions* o = &options;
    const Detail::Platform::ClockFields t = Detail::Platform::wallClock().readLocal();
    if (now != nullptr) {
        memset(now, 0, sizeof *now);
        now->year = t.year;
        now->month = t.month;
        now->day = t.day;
        now->weekday = t.weekday;
        now->hour = t.hour;
        now->minute = t.minute;
        now->second = t.second;
        now->millisecond = t.millisecond;
    }
    if (g_lineComplete.load(std::memory_order_relaxed) == 0) return 0;
    if (buf == nullptr || size <= 0) return 0;

    if (!o->noColor) {
        // Remember what the console showed, then take the level's colour.
        g_savedAttribute.store(Detail::Platform::consoleAttribute(), std::memory_order_relaxed);
        setLevelColour(level);
        g_colorReset.store(0, std::memory_order_relaxed);
    }
    const bool structured = o->structured;
    PrefixWriter w(buf, size);
    w.text("[");
    if (structured) w.text("|T: ");
    if (o->showDate) {
        w.number(t.year, 4);
        w.text("-");
        w.number(t.month, 2);
        w.text("-");
        w.number(t.day, 2);
        w.text("T");
    }
    if (o->noTime) {
        w.text(" ");
    } else {
        w.number(t.hour, 2);
        w.text(":");
        w.number(t.minute, 2);
        w.text(":");
        w.number(t.second, 2);
        if (o->showMillisecond) {
            w.text(".");
            w.number(t.millisecond, 3);
        }
        w.text(" ");
    }
    if (!o->noLevel) {
        if (structured) w.text("L:");
        w.text((level >= 0 && level <= 6) ? levelTable[level].name : "");
        if (structured) w.text("|");
    }
    if (!o->noModule) {
        if (structured) w.text("[");
        w.text(orNull(libName));
        if (structured) w.text("] ");
    }
    if (!o->noVersion) {
        if (structured) {
            w.text("[ver:");
            w.text(orNull(version));
            w.text("] ");
        } else if (version != nullptr && *version != '\0' && strcmp(version, "Unknown") != 0) {
            w.text(":");
            w.text(version);
            w.text(" ");
        } else {
            w.text(" ");
        }
    } else if (!o->noModule && !structured) {
        w.text(" ");
    }
    if (!o->noThread) {
        if (structured) w.text("tid:");
        w.number(static_cast<int>(Detail::Platform::currentThreadId()));
        w.text(" ");
    }
    if (!o->noFile) {
        if (structured) w.text("F:");
        w.text(file ? file : "");
        w.text(structured ? "|" : ":");
    }
    if (!o->noLine) {
        if (structured) w.text("l:");
        w.number(line);
        if (structured) w.text("|");
    }
    if (o->showFunction) {
        w.text(structured ? "f:" : " ");
        w.text(shortFunction(func));
        if (structured) w.text("|");
    }
    if (structured) w.text("m:");
    w.text("]");
    return w.length();
}

}  // namespace
}  // namespace Kerna
}  // namespace Tessaran

extern "C" {

void Kerna_print(int /*level*/, const char* text) {
    if (text != nullptr) Detail::Platform::writeConsole(text);
}

void Kerna_resetcolor() {
    if (Kerna_getPrintOption() == nullptr) {
        printf("[%s:%s:%d]Printlog Error, pPrintOption is NULL.\n", "PrintLog", "Kerna_resetcolor", __LINE__);
        return;
    }
    if (g_lineComplete.load(std::memory_order_relaxed) == 0) return;
    if (Detail::consoleNoColor() && g_colorReset.load(std::memory_order_relaxed) == 1) return;
    Detail::Platform::flushConsole();
    Detail::Platform::setConsoleAttribute(g_savedAttribute.load(std::memory_order_relaxed));
    g_colorReset.store(1, std::memory_order_relaxed);
}

void* Kerna_getPrintOption() { return Detail::consoleOptionsRecord(); }

int Kerna_logFilter(int level, const char* libName, const char* file, const char* func, int line,
                    const char* version, const char* format, ...) {
    if (level == 6) level = 5;
    if (!Detail::printWouldPass(level)) return 0;
    if (format == nullptr) return 0;
    const char* fileName = cutFile(file, true);
    char buf[lineBufferSize];
    buf[0] = '\0';
    const int prefix = Kerna_logOptionControl(buf, lineBufferSize - 1, level, libName, fileName, func,
                                              line, version, nullptr);
    if (prefix < 0) return 0;
    va_list args;
    va_start(args, format);
    const int length = formatMessage(buf, prefix, format, args);
    va_end(args);
    updateLineComplete(buf, length);
    Kerna_print(level, buf);
    Kerna_resetcolor();
    return length;
}

}  // extern "C"

// The same short forms in the global namespace, for older callers.
KERNA_SHORT_FORM(logFatal, 1)
KERNA_SHORT_FORM(logError, 2)
KERNA_SHORT_FORM(logWarn, 3)
KERNA_SHORT_FORM(logInfo, 4)
KERNA_SHORT_FORM(logTrace, 5)
KERNA_SHORT_FORM(logDebug, 5)

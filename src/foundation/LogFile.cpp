// LogFile.cpp
//
// The log file step of the print path: a line goes to the log file writer only while a log path
// is set. The writer stands on a floor above the print path and installs itself here.
#include <atomic>

#include "foundation/LogSettings.h"
#include "foundation/PrintState.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

namespace {
std::atomic<LogFileWriterEntry> g_writer{nullptr};
}  // namespace

void installLogFileWriter(LogFileWriterEntry entry) {
    g_writer.store(entry, std::memory_order_release);
}

void writeLogFile(const char* line, int length, const TimeRecord& now) {
    if (!logFileEnabled()) return;
    const LogFileWriterEntry writer = g_writer.load(std::memory_order_acquire);
    if (writer != nullptr) writer(line, length, now);
}

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

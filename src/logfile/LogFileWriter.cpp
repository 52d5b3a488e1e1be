// LogFileWriter.cpp
//
// The log file writer behind the print path: one file emptied at its size limit (the old way),
// or numbered files that change with size or date, the oldest removed beyond a maximum number.
// It works from a snapshot of the log file settings, taken before its lock whenever their
// generation has moved.
//
// One lock guards the open file, its size and its date. Nothing prints under it: while the
// writer works, the thread's lines (the writer's own failure lines and whatever the file table
// reports) are kept back and go to standard output as bare text once the lock is left. They
// never come back into the writer and never reach the log file, which has just failed.
//
// The writer is a process-wide object, never freed. At process exit it closes the file and
// writes no more: a thread that still logs then reaches the console only.
#include "logfile/LogFileWriter.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>

#include "base/ProcessObject.h"
#include "foundation/LogSettings.h"
#include "foundation/PrintState.h"
#include "kerna/kerna3/File.h"
#include "kerna/kerna3/FileFind.h"
#include "kerna/kerna3/LogFile.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/Time.h"
#include "logfile/LogFileName.h"
#include "platform/Fork.h"
#include "sync/MutexAccess.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

namespace {

// The unit named by the failure lines, which print with printf's source position.
const char unitName[] = "LogFileWriter";

LogFileStamp stampOf(const TimeRecord& t) {
    return LogFileStamp{t.year, t.month, t.day, t.hour, t.minute, t.second};
}

}  // namespace

class LogFileWriter {
public:
    // A fork waits for a line being written; the child finds the writer free.
    LogFileWriter() { keepLockAcrossFork<LogFileWriter, &LogFileWriter::m_lock>(Platform::forkRankLogFile); }

    void write(const char* line, int length, const TimeRecord& now);
    void cleanup();

    void published() {}
    void atProcessExit();

private:
    void refreshSettings();
    void writeOldWay(HeldLines& held, const char* line, size_t length);
    void writeNumbered(HeldLines& held, const char* line, size_t length, const TimeRecord& now);
    bool findLogFile(HeldLines& held, bool newest, std::string& found, int32_t& count);
    std::string nextFileName(HeldLines& held, const TimeRecord& now);
    void removeOldest(HeldLines& held);
    size_t writeAndFlush(const char* line, size_t length);

    CMutex m_lock;
    std::atomic<uint32_t> m_generation{0};  // of m_settings, readable without the lock
    LogFileSettings m_settings;
    CFile m_file;
    std::string m_openPath;         // the numbered file being written
    uint64_t m_oldWaySize = 0;      // size of the one file of the old way
    uint32_t m_numberedSize = 0;    // size of the numbered file being written
    LogFileStamp m_date = {};       // date of the numbered file; year 0: none
    bool m_busy = false;            // a line is being written (a table may call logCleanup)
    bool m_closeAfterLine = false;  // logCleanup came while a line was being written
    bool m_exited = false;
};

void LogFileWriter::refreshSettings() {
    const uint32_t generation = logFileSettingsGeneration();
    if (generation == m_generation.load(std::memory_order_acquire)) return;
    LogFileSettings settings = logFileSettings();  // the settings' own lock, not ours
    CGuard guard(m_lock);
    // Two threads may bring snapshots in either order: only a newer one replaces.
    if (static_cast<int32_t>(settings.generation - m_settings.generation) > 0) {
        m_settings = std::move(settings);
        m_generation.store(m_settings.generation, std::memory_order_release);
    }
}

void LogFileWriter::write(const char* line, int length, const TimeRecord& now) {
    // The bytes of the line are its text up to the terminator: a line cut at the buffer's end
    // is handed on with the buffer's length, and its last byte is the terminator.
    const size_t bytes = length > 0 ? strnlen(line, static_cast<size_t>(length)) : 0;
    refreshSettings();
    HeldLines held;  // prints what it keeps after the guard below is gone
    CGuard guard(m_lock);
    if (m_exited || m_busy) return;
    m_busy = true;
    if (m_settings.oldWay) {
        writeOldWay(held, line, bytes);
    } else {
        writeNumbered(held, line, bytes, now);
    }
    m_busy = false;
    if (m_closeAfterLine) {
        m_closeAfterLine = false;
        m_file.close();
    }
}

size_t LogFileWriter::writeAndFlush(const char* line, size_t length) {
    const int32_t written = m_file.write(line, static_cast<int32_t>(length));
    m_file.flush();
    return written > 0 ? static_cast<size_t>(written) : 0;
}

void LogFileWriter::writeOldWay(HeldLines& held, const char* line, size_t length) {
    const std::string& path = m_settings.path;
    if (path.empty()) return;
    if (!m_file.isOpen()) {
        if (!m_file.open(path.c_str(), openReadWrite | openCreate | openKeep)) {
            held.addf("[%s:%d] open log file failed, errno: %d\n", unitName, __LINE__, errno);
            return;
        }
        FileInfo info;
        m_oldWaySize = CFile::stat(path.c_str(), info) ? static_cast<uint64_t>(info.size) : 0;
    }
    if (m_settings.maxSize > 0 && m_oldWaySize >= static_cast<uint64_t>(m_settings.maxSize)) {
        m_file.close();
        if (!m_file.open(path.c_str(), openReadWrite | openCreate)) {
            held.addf("[%s:%d] fopen failed, errno:%d\n", unitName, __LINE__, errno);
            return;
        }
        m_oldWaySize = 0;
    }
    m_oldWaySize += writeAndFlush(line, length);
}

void LogFileWriter::writeNumbered(HeldLines& held, const char* line, size_t length,
                                  const TimeRecord& now) {
    const std::string& path = m_settings.path;
    if (path.empty()) return;
    bool rotate = false;
    if (!m_file.isOpen()) {
        // After a start, logCleanup or a failed open: go on with the newest file.
        std::string newest;
        int32_t count = 0;
        if (!findLogFile(held, true, newest, count)) return;
        if (newest.empty()) {
            rotate = true;
        } else {
            if (!m_file.open(newest.c_str(), openReadWrite | openCreate | openKeep)) {
                const int error = errno;
                held.addf("[%s:%d]fopen faild,errno:%d, errmesg:%s\n", unitName, __LINE__, error,
                          std::strerror(error));
                return;
            }
            m_openPath = newest;
            FileInfo info;
            if (CFile::stat(newest.c_str(), info)) {
                const CTime modified(static_cast<unsigned long long>(info.timeWrite));
                m_date = LogFileStamp{modified.year, modified.month,  modified.day,
                                      modified.hour, modified.minute, modified.second};
                m_numberedSize = static_cast<uint32_t>(info.size);
            } else {
                m_date = LogFileStamp();
                m_numberedSize = 0;
            }
        }
    }
    if (m_settings.byDay && m_date.year != 0 &&
        (m_date.year != now.year || m_date.month != now.month || m_date.day != now.day)) {
        rotate = true;
    }
    if (m_settings.maxSize > 0 && m_numberedSize >= static_cast<uint32_t>(m_settings.maxSize)) {
        rotate = true;
    }
    if (rotate) {
        m_file.close();
        const std::string name = nextFileName(held, now);
        if (!m_file.open(name.c_str(), openReadWrite | openCreate)) {
            held.addf("[%s:%d] fopen failed, errno:%d\n", unitName, __LINE__, errno);
            return;
        }
        m_openPath = name;
        m_date = stampOf(now);
        m_numberedSize = 0;
        removeOldest(held);
    }
    m_numberedSize += static_cast<uint32_t>(writeAndFlush(line, length));
}

// Walks the log directory over the entries whose path holds the log path: counts them, and
// keeps the one with the newest (or oldest) modification time; among equal times the first
// found stays. The file being written is never the oldest: it was made just now. False (with
// its line) when the directory cannot be searched.
bool LogFileWriter::findLogFile(HeldLines& held, bool newest, std::string& found, int32_t& count) {
    found.clear();
    count = 0;
    CFileFind find;
    if (!find.findFile(m_settings.directory.c_str())) {
        held.addf("[%s:%d]no such logpath\n", unitName, __LINE__);
        return false;
    }
    bool haveTime = false;
    int64_t kept = 0;
    do {
        const std::string entry = find.getFilePath();
        if (entry.find(m_settings.path) == std::string::npos) continue;
        ++count;
        if (!newest && entry == m_openPath) continue;
        FileInfo info;
        if (!CFile::stat(entry.c_str(), info)) continue;
        if (!haveTime || (newest ? info.timeWrite > kept : info.timeWrite < kept)) {
            haveTime = true;
            kept = info.timeWrite;
            found = entry;
        }
    } while (find.findNextFile());
    find.close();
    return true;
}

// The log path with the suffix of the line's date (and time) and the next free index: one more
// than the largest index among the files of that date, or 0.
std::string LogFileWriter::nextFileName(HeldLines& held, const TimeRecord& now) {
    const bool withTime = m_settings.fileNameTime;
    const LogFileStamp today = stampOf(now);
    int32_t largest = -1;
    CFileFind find;
    if (!find.findFile(m_settings.directory.c_str())) {
        held.addf("[%s:%d]no such logpath\n", unitName, __LINE__);
    } else {
        do {
            const std::string entry = find.getFilePath();
            if (entry.find(m_settings.path) == std::string::npos) continue;
            LogFileStamp stamp;
            int32_t index;
            if (!parseLogFileName(entry.c_str(), m_settings.path, withTime, stamp, index)) continue;
            const bool sameDate =
                stamp.year == today.year && stamp.month == today.month && stamp.day == today.day;
            const bool sameTime =
                !withTime || (stamp.hour == today.hour && stamp.minute == today.minute &&
                              stamp.second == today.second);
            if (sameDate && sameTime && index > largest && index < INT32_MAX) largest = index;
        } while (find.findNextFile());
        find.close();
    }
    return m_settings.path + logFileSuffix(today, withTime, largest + 1);
}

void LogFileWriter::removeOldest(HeldLines& held) {
    if (m_settings.maxNumber == 0) return;
    std::string oldest;
    int32_t count = 0;
    if (!findLogFile(held, false, oldest, count)) return;
    if (!oldest.empty() && count > m_settings.maxNumber) CFile::remove(oldest.c_str());
}

void LogFileWriter::cleanup() {
    HeldLines held;
    CGuard guard(m_lock);
    if (m_busy) {
        // Called by a file table while it writes a line for the writer: close after the line.
        m_closeAfterLine = true;
        return;
    }
    m_file.close();
}

void LogFileWriter::atProcessExit() {
    HeldLines held;
    CGuard guard(m_lock);
    m_exited = true;
    if (m_busy) {
        m_closeAfterLine = true;
        return;
    }
    m_file.close();
}

namespace {

void writeLogFileLine(const char* line, int length, const TimeRecord& now) {
    ProcessObject<LogFileWriter>::get()->write(line, length, now);
}

}  // namespace

void startLogFileWriter() { installLogFileWriter(&writeLogFileLine); }

}  // namespace Detail

void logCleanup() {
    if (Detail::LogFileWriter* writer = Detail::ProcessObject<Detail::LogFileWriter>::peek()) {
        writer->cleanup();
    }
}

}  // namespace Kerna
}  // namespace Tessaran

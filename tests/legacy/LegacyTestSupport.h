// LegacyTestSupport.h
//
// Helpers of the programs that test the older interface: a bounded wait, a file system of plain
// functions kept in memory, and the zone. Legacy time follows the platform's zone (the C
// library's mktime and localtime), so these programs run in UTC without daylight saving: the
// environment below sets TZ=UTC0 before the first test. No other test program sets TZ.
#ifndef KERNA_TESTS_LEGACY_LEGACYTESTSUPPORT_H_
#define KERNA_TESTS_LEGACY_LEGACYTESTSUPPORT_H_

#include <gtest/gtest.h>
#include <kerna/legacy/FileSystem.h>
#include <kerna/legacy/Time.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace LegacyTest {

/// Polls `condition` every millisecond for up to 20 seconds; its last value.
inline bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 20000; ++i) {
        if (condition()) return true;
        ::CTime::sleep(1);
    }
    return condition();
}

/// A file system of plain functions, kept in memory: files are texts by path, and every call is
/// counted. Only what CFile's open, read, write, seek, close and access need is written out; the
/// other entries stay null (their operations fail).
namespace MemoryFiles {

struct OpenFile {
    std::string* text;
    size_t position;
};

inline std::mutex& lock() {
    static std::mutex m;
    return m;
}
inline std::map<std::string, std::string>& files() {
    static std::map<std::string, std::string> f;
    return f;
}
inline std::atomic<int>& calls() {
    static std::atomic<int> n{0};
    return n;
}

inline void* fopen(const char* path, const char* mode) {
    ++calls();
    std::lock_guard<std::mutex> guard(lock());
    auto found = files().find(path);
    if (mode[0] == 'r' && found == files().end()) return nullptr;
    std::string& text = files()[path];
    if (mode[0] == 'w') text.clear();
    return new OpenFile{&text, mode[0] == 'a' ? text.size() : 0};
}
inline int fclose(void* file) {
    ++calls();
    delete static_cast<OpenFile*>(file);
    return 0;
}
inline size_t fread(void* buffer, size_t size, size_t count, void* file) {
    ++calls();
    std::lock_guard<std::mutex> guard(lock());
    OpenFile& f = *static_cast<OpenFile*>(file);
    const size_t left = f.position < f.text->size() ? f.text->size() - f.position : 0;
    const size_t items = size == 0 ? 0 : std::min(count, left / size);
    std::memcpy(buffer, f.text->data() + f.position, items * size);
    f.position += items * size;
    return items;
}
inline size_t fwrite(const void* buffer, size_t size, size_t count, void* file) {
    ++calls();
    std::lock_guard<std::mutex> guard(lock());
    OpenFile& f = *static_cast<OpenFile*>(file);
    f.text->replace(f.position,
                    std::min(size * count, f.text->size() - std::min(f.position, f.text->size())),
                    static_cast<const char*>(buffer), size * count);
    f.position += size * count;
    return count;
}
inline int fflush(void*) {
    ++calls();
    return 0;
}
inline int fseek(void* file, int32_t offset, int whence) {
    ++calls();
    std::lock_guard<std::mutex> guard(lock());
    OpenFile& f = *static_cast<OpenFile*>(file);
    const int64_t base = whence == 0   ? 0
                         : whence == 1 ? int64_t(f.position)
                                       : int64_t(f.text->size());
    if (base + offset < 0) return -1;
    f.position = static_cast<size_t>(base + offset);
    return 0;
}
inline int32_t ftell(void* file) {
    ++calls();
    return static_cast<int32_t>(static_cast<OpenFile*>(file)->position);
}
inline int access(const char* path, int) {
    ++calls();
    std::lock_guard<std::mutex> guard(lock());
    return files().count(path) != 0 ? 0 : -1;
}

inline ::FileSystemTable table() {
    ::FileSystemTable t = {};
    t.fopen = &fopen;
    t.fclose = &fclose;
    t.fread = &fread;
    t.fwrite = &fwrite;
    t.fflush = &fflush;
    t.fseek = &fseek;
    t.ftell = &ftell;
    t.access = &access;
    return t;
}

}  // namespace MemoryFiles

class UtcZone : public ::testing::Environment {
public:
    void SetUp() override { setenv("TZ", "UTC0", 1); }
};

inline const ::testing::Environment* const g_utcZone =
    ::testing::AddGlobalTestEnvironment(new UtcZone);

}  // namespace LegacyTest

#endif  // KERNA_TESTS_LEGACY_LEGACYTESTSUPPORT_H_

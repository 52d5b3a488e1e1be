// DefaultFileTable.cpp
//
// The default tables of file operations over the system. Streams are C library streams opened
// through the platform with flags formed from the mode letters and given a 16384-byte buffer.
// Paths may use "\\" as separator: each operation works on a copy with "/" in its place. A
// search takes a snapshot of the matching names of its directory, sorted bytewise, and reads the
// status of each entry when it hands it out; the snapshot lives in the table's search map under
// a 32-bit id. The map's lock is held only for the map, never across a system call.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "file/FileTables.h"
#include "kerna/kerna3/Mutex.h"
#include "platform/File.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

namespace {

const size_t streamBufferSize = 16384;
const size_t maxSearches = 0x7FFFFFFF;

// A path with "\\" turned into "/"; copies only when there is something to turn.
class SystemPath {
public:
    explicit SystemPath(const char* path) : m_path(path) {
        if (path != nullptr && std::strchr(path, '\\') != nullptr) {
            m_copy = path;
            std::replace(m_copy.begin(), m_copy.end(), '\\', '/');
            m_path = m_copy.c_str();
        }
    }
    const char* get() const { return m_path; }

private:
    const char* m_path;
    std::string m_copy;
};

// Copies at most 259 characters and always terminates.
void copyName(char (&name)[260], const char* text) {
    std::strncpy(name, text, sizeof name - 1);
    name[sizeof name - 1] = '\0';
}

// The snapshot of one search: the matching names of its directory, sorted, and the next one to
// hand out. Several threads may advance one search; each entry goes to one of them.
struct Search {
    std::string directory;  // with its final "/"
    std::vector<std::string> names;
    std::atomic<size_t> next{0};

    // Fills `info` with the next entry whose status can be read (an entry removed since the
    // snapshot was taken is passed over); false at the end.
    bool advance(FileInfo* info) {
        for (;;) {
            const size_t i = next.fetch_add(1, std::memory_order_relaxed);
            if (i >= names.size()) return false;
            const std::string path = directory + names[i];
            Platform::PathStatus st;
            if (Platform::statEntry(path.c_str(), st) != 0) continue;
            uint16_t attrib = 0;
            if (st.directory) attrib |= fileAttributeDirectory;
            if (!st.ownerWritable) attrib |= fileAttributeReadOnly;
            if (names[i][0] == '.') attrib |= fileAttributeHidden;
            info->attrib = attrib;
            info->timeCreate = st.changeTime;
            info->timeAccess = st.accessTime;
            info->timeWrite = st.writeTime;
            info->size = st.size;
            copyName(info->name, names[i].c_str());
            return true;
        }
    }
};

}  // namespace

// The default table. Failures are reported by the result and, where noted, a line at level 3
// with errno and its text.
class FileDefaultOpt : public IFileSystem2 {
public:
    void* fopen(const char* path, const char* mode) override;
    int fclose(void* file) override;
    size_t fread(void* buffer, size_t size, size_t count, void* file) override;
    size_t fwrite(const void* buffer, size_t size, size_t count, void* file) override;
    int fflush(void* file) override;
    int fseek(void* file, int32_t offset, int whence) override;
    int32_t ftell(void* file) override;
    char* fgets(char* buffer, int size, void* file) override;
    int fputs(const char* text, void* file) override;
    int rename(const char* oldPath, const char* newPath) override;
    int remove(const char* path) override;
    int32_t findfirst(const char* pattern, FileInfo* info) override;
    int findnext(int32_t id, FileInfo* info) override;
    int findclose(int32_t id) override;
    int mkdir(const char* path) override;
    int rmdir(const char* path) override;
    int statfs(const char* path, uint64_t* freeToCaller, uint64_t* total,
               uint64_t* totalFree) override;
    int access(const char* path, int mode) override;
    int stat(const char* path, FileInfo* info) override;
    int64_t reservedOp(int, void*, int) override { return -1; }
    int fseek64(void* file, int64_t offset, int whence) override;
    int64_t ftell64(void* file) override;
    int64_t writev(void*, const io_vec*, int) override { return -1; }
    bool setvbuf(void* file, char* buffer, int mode, size_t size) override;
    bool fallocate(void* file, int mode, int64_t offset, int64_t length) override;
    bool fstat(void* file, FileInfoEx* info) override;

    // Kept as a process-wide object: nothing to say when made, nothing to stop at exit (open
    // streams and searches stay usable).
    void published() {}
    void atProcessExit() {}

private:
    std::shared_ptr<Search> findSearch(int32_t id);

    CMutex m_searchLock;
    std::map<int32_t, std::shared_ptr<Search>> m_searches;
};

// The table for UTF-8 paths. The system's file names are UTF-8 already, so there is nothing to
// convert: it is the default table with a search map of its own.
class FileDefaultOptUTF8toWchar : public FileDefaultOpt {};

namespace {

std::atomic<bool> g_countPositions{true};

// An open stream of the default table: the C library's stream with its 16384-byte buffer, and
// the position as the table counts it. The C library asks the system for the position at every
// ftell; a stream that does not append counts it along instead, from 0 at the open, by every
// byte read or written and from the target of a seek from the start. After anything it cannot
// count (fgets, another seek, an error) the next ftell asks the system once, and counting goes
// on from there. An appending stream always asks: the end of the file decides each write.
struct Stream {
    FILE* file;
    bool append;
    bool known;
    int64_t position;
    char buffer[streamBufferSize];
};

Stream* stream(void* file) { return static_cast<Stream*>(file); }

int64_t tellStream(Stream* s) {
    if (s->known && g_countPositions.load(std::memory_order_relaxed)) return s->position;
    const int64_t position = Platform::tellStream64(s->file);
    s->known = position >= 0 && !s->append;
    s->position = position;
    return position;
}

void countBytes(Stream* s, size_t bytes, bool failed) {
    if (failed || s->append) {
        s->known = false;
    } else {
        s->position += static_cast<int64_t>(bytes);
    }
}

int seekStream(Stream* s, int64_t offset, int whence) {
    const int result = Platform::seekStream64(s->file, offset, whence);
    s->known = result == 0 && whence == 0 && !s->append;
    s->position = offset;
    return result;
}

const char* errorText(int error) { return std::strerror(error); }

// A null path is refused as the system refuses a bad address.
int refuseNullPath() {
    errno = EFAULT;
    return -1;
}

// The warning of a failed operation, with errno and its text, in the name of the operation's
// own function; errno is kept. No warning for a result of 0 or for errno `quietError`.
int warnIfFailed(const void* table, int result, const char* function, int line,
                 const char* operation, int quietError) {
    if (result == 0) return result;
    const int error = errno;
    if (error != quietError && printWouldPass(3)) {
        logAt(3, __FILE__, function, line, "this:%p %s failed, errno:%d, errmsg:%s\n", table,
              operation, error, errorText(error));
    }
    errno = error;
    return result;
}

#define KERNA_WARN_IF_FAILED(result, operation, quietError) \
    warnIfFailed(this, result, __PRETTY_FUNCTION__, __LINE__, operation, quietError)

}  // namespace

void* FileDefaultOpt::fopen(const char* path, const char* mode) {
    KERNA_ASSERT(mode != NULL);
    const size_t len = std::strlen(mode);
    KERNA_ASSERT(len > 0);
    const bool read = std::strchr(mode, 'r') != nullptr;
    const bool write = std::strchr(mode, 'w') != nullptr;
    const bool plus = std::strchr(mode, '+') != nullptr;
    const bool append = std::strchr(mode, 'a') != nullptr;
    unsigned flags = 0;
    if (append) flags |= Platform::fileAppend;
    if (!read) flags |= Platform::fileCreate;
    if (plus) flags |= Platform::fileReadWrite;
    if (write) flags |= Platform::fileTruncate;
    if (!plus && !read && (write || append)) flags |= Platform::fileWriteOnly;
    if (std::strchr(mode, 'b') != nullptr) flags |= Platform::fileBinary;
    if (std::strchr(mode, 'e') != nullptr) flags |= Platform::fileNoInherit;

    // The stream gets the mode without "e" and "d" (the first of each), which only the open
    // flags know.
    std::string cleaned(mode, len);
    for (const char letter : {'e', 'd'}) {
        const size_t at = cleaned.find(letter);
        if (at != std::string::npos) cleaned.erase(at, 1);
    }

    Platform::OpenStep failed = Platform::openStepOpen;
    void* opened = nullptr;
    if (path == nullptr) {
        refuseNullPath();
    } else {
        const SystemPath systemPath(path);
        opened = Platform::openFileStream(systemPath.get(), flags, cleaned.c_str(), failed);
    }
    if (opened == nullptr) {
        const int error = errno;
        if (failed == Platform::openStepStream) {
            KERNA_LOG(3, "this:%p _fdopen get error, errno:%d, errmsg:%s\n", this, error,
                      errorText(error));
        } else {
            KERNA_LOG(3, "this:%p _open get error, errno:%d, errmsg:%s\n", this, error,
                      errorText(error));
        }
        errno = error;
        return nullptr;
    }
    Stream* s = new Stream;
    s->file = static_cast<FILE*>(opened);
    s->append = append;
    s->known = !append;
    s->position = 0;
    setvbuf(s, s->buffer, ioFullBuffered, streamBufferSize);
    return s;
}

int FileDefaultOpt::fclose(void* file) {
    if (file == nullptr) return refuseNullPath();
    Stream* s = stream(file);
    const int result = std::fclose(s->file);
    delete s;
    return result;
}

void countStreamPositions(bool on) { g_countPositions.store(on, std::memory_order_relaxed); }

size_t FileDefaultOpt::fread(void* buffer, size_t size, size_t count, void* file) {
    if (file == nullptr || (buffer == nullptr && size != 0 && count != 0)) {
        errno = EFAULT;
        return 0;
    }
    Stream* s = stream(file);
    bool failed = false;
    const size_t n = Platform::readStream(s->file, buffer, size, count, failed);
    countBytes(s, n * size, failed);
    if (failed) {
        const int error = errno;
        KERNA_LOG(3,
                  "this:%p fread failed or file is ending, expected:%lu, actual:%lu, errno:%d, "
                  "errmsg:%s\n",
                  this, static_cast<unsigned long>(count), static_cast<unsigned long>(n), error,
                  errorText(error));
        errno = error;
    }
    return n;
}

size_t FileDefaultOpt::fwrite(const void* buffer, size_t size, size_t count, void* file) {
    if (file == nullptr || (buffer == nullptr && size != 0 && count != 0)) {
        errno = EFAULT;
        return 0;
    }
    Stream* s = stream(file);
    bool failed = false;
    const size_t n = Platform::writeStream(s->file, buffer, size, count, failed);
    countBytes(s, n * size, failed);
    if (failed) {
        const int error = errno;
        KERNA_LOG(3, "this:%p fwrite failed, expected:%lu, actual:%lu, errno:%d, errmsg:%s\n", this,
                  static_cast<unsigned long>(count), static_cast<unsigned long>(n), error,
                  errorText(error));
        errno = error;
    }
    return n;
}

int FileDefaultOpt::fflush(void* file) {
    if (file == nullptr) return refuseNullPath();
    return std::fflush(stream(file)->file);
}

int FileDefaultOpt::fseek(void* file, int32_t offset, int whence) {
    if (file == nullptr) return refuseNullPath();
    return seekStream(stream(file), offset, whence);
}

int32_t FileDefaultOpt::ftell(void* file) {
    if (file == nullptr) return refuseNullPath();
    const int64_t position = tellStream(stream(file));
    if (position > INT32_MAX) {
        errno = EOVERFLOW;
        return -1;
    }
    return static_cast<int32_t>(position);
}

char* FileDefaultOpt::fgets(char* buffer, int size, void* file) {
    if (file == nullptr || buffer == nullptr) {
        errno = EFAULT;
        return nullptr;
    }
    Stream* s = stream(file);
    std::clearerr(s->file);
    char* result = std::fgets(buffer, size, s->file);
    s->known = false;  // a line may hold a zero byte: its length does not tell what was read
    KERNA_WARN_IF_FAILED(std::ferror(s->file) ? -1 : 0, "fgets", 0);
    return result;
}

int FileDefaultOpt::fputs(const char* text, void* file) {
    int result;
    if (file == nullptr || text == nullptr) {
        result = refuseNullPath();
    } else {
        Stream* s = stream(file);
        result = std::fputs(text, s->file);
        countBytes(s, std::strlen(text), result == EOF);
    }
    return result == EOF ? KERNA_WARN_IF_FAILED(-1, "fputs", 0) : result;
}

int FileDefaultOpt::rename(const char* oldPath, const char* newPath) {
    int result;
    if (oldPath == nullptr || newPath == nullptr) {
        result = refuseNullPath();
    } else {
        result = Platform::renamePath(SystemPath(oldPath).get(), SystemPath(newPath).get());
    }
    return KERNA_WARN_IF_FAILED(result, "rename", 0);
}

int FileDefaultOpt::remove(const char* path) {
    const int result =
        path == nullptr ? refuseNullPath() : Platform::removeFile(SystemPath(path).get());
    return KERNA_WARN_IF_FAILED(result, "remove", ENOENT);
}

int FileDefaultOpt::mkdir(const char* path) {
    const int result =
        path == nullptr ? refuseNullPath() : Platform::makeDirectory(SystemPath(path).get());
    return KERNA_WARN_IF_FAILED(result, "mkdir", EEXIST);
}

int FileDefaultOpt::rmdir(const char* path) {
    const int result =
        path == nullptr ? refuseNullPath() : Platform::removeDirectory(SystemPath(path).get());
    return KERNA_WARN_IF_FAILED(result, "rmdir", 0);
}

int FileDefaultOpt::statfs(const char* path, uint64_t* freeToCaller, uint64_t* total,
                           uint64_t* totalFree) {
    uint64_t available = 0, all = 0, free = 0;
    const int result =
        path == nullptr ? refuseNullPath()
                        : Platform::fileSystemSpace(SystemPath(path).get(), available, all, free);
    if (KERNA_WARN_IF_FAILED(result, "statfs", 0) != 0) return -1;
    if (freeToCaller != nullptr) *freeToCaller = available;
    if (total != nullptr) *total = all;
    if (totalFree != nullptr) *totalFree = free;
    return 0;
}

int FileDefaultOpt::access(const char* path, int mode) {
    return path == nullptr ? refuseNullPath() : Platform::accessPath(SystemPath(path).get(), mode);
}

int FileDefaultOpt::stat(const char* path, FileInfo* info) {
    Platform::PathStatus st;
    int result;
    if (path == nullptr || info == nullptr) {
        result = refuseNullPath();
    } else {
        result = Platform::statPath(SystemPath(path).get(), st);
    }
    if (KERNA_WARN_IF_FAILED(result, "stat", 0) != 0) return -1;
    copyName(info->name, path);
    info->attrib = static_cast<uint16_t>(st.mode);
    info->timeCreate = st.changeTime;
    info->timeAccess = st.accessTime;
    info->timeWrite = st.writeTime;
    info->size = st.size;
    return 0;
}

int FileDefaultOpt::fseek64(void* file, int64_t offset, int whence) {
    if (file == nullptr) return refuseNullPath();
    return seekStream(stream(file), offset, whence);
}

int64_t FileDefaultOpt::ftell64(void* file) {
    if (file == nullptr) return refuseNullPath();
    return tellStream(stream(file));
}

bool FileDefaultOpt::setvbuf(void* file, char* buffer, int mode, size_t size) {
    int cMode = mode;
    switch (mode) {
        case ioFullBuffered:
            cMode = _IOFBF;
            break;
        case ioLineBuffered:
            cMode = _IOLBF;
            break;
        case ioUnbuffered:
            cMode = _IONBF;
            break;
        default:
            break;  // handed on as it comes; the C library refuses what it does not know
    }
    if (file == nullptr || std::setvbuf(stream(file)->file, buffer, cMode, size) != 0) {
        KERNA_LOG(3, "FileDefaultOpt::setvbuf failed\n");
        return false;
    }
    return true;
}

bool FileDefaultOpt::fallocate(void*, int, int64_t, int64_t) {
    KERNA_LOG(2, "this platform FileDefaultOpt::fallocate not support.\n");
    return false;
}

bool FileDefaultOpt::fstat(void*, FileInfoEx*) {
    KERNA_LOG(2, "this platform CLfsFile::fstat not support.\n");
    return false;
}

int32_t FileDefaultOpt::findfirst(const char* pattern, FileInfo* info) {
    if (pattern == nullptr || pattern[0] == '\0' || info == nullptr) return -1;

    // Directory part and name part, cut at the last separator: "logs/*" lists "logs", "./" the
    // current directory, "/x" the root, "name" the current directory.
    std::string text(pattern);
    std::replace(text.begin(), text.end(), '\\', '/');
    const size_t cut = text.rfind('/');
    std::string directory, name;
    if (cut == std::string::npos) {
        directory = ".";
        name = text;
    } else {
        directory = cut == 0 ? "/" : text.substr(0, cut);
        name = text.substr(cut + 1);
    }
    if (name.empty()) name = "*";

    std::shared_ptr<Search> search = std::make_shared<Search>();
    search->directory = directory == "/" ? directory : directory + "/";
    std::vector<std::string> names;
    int result = Platform::listDirectory(directory.c_str(), names);
    if (result == 0) {
        for (std::string& entry : names) {
            if (matchFilePattern(name.c_str(), entry.c_str())) search->names.push_back(entry);
        }
        std::sort(search->names.begin(), search->names.end());
        if (!search->advance(info)) {
            errno = ENOENT;
            result = -1;
        }
    }
    if (result != 0) {
        const int error = errno;
        KERNA_LOG(3, "this:%p _findfirst failed, errno:%d, errmsg:%s\n", this, error,
                  errorText(error));
        errno = error;
        return -1;
    }

    int32_t id = 0;
    {
        CGuard guard(m_searchLock);
        if (m_searches.size() >= maxSearches) {
            id = -1;
        } else {
            // The smallest id not in use: the map is ordered, so the first gap.
            for (const auto& entry : m_searches) {
                if (entry.first != id) break;
                ++id;
            }
            m_searches.emplace(id, search);
        }
    }
    if (id < 0) {
        std::printf("[%s:%d] Kerna FileDefaultOpt::findfirst fail!\n", "DefaultFileTable",
                    __LINE__);
        std::fflush(stdout);
    }
    return id;
}

std::shared_ptr<Search> FileDefaultOpt::findSearch(int32_t id) {
    CGuard guard(m_searchLock);
    const auto it = m_searches.find(id);
    return it == m_searches.end() ? nullptr : it->second;
}

int FileDefaultOpt::findnext(int32_t id, FileInfo* info) {
    const std::shared_ptr<Search> search = findSearch(id);
    if (search == nullptr) {
        std::printf("[%s:%d] Kerna FileDefaultOpt::findnext fail!\n", "DefaultFileTable", __LINE__);
        std::fflush(stdout);
        return -1;
    }
    if (info == nullptr || !search->advance(info)) {
        errno = ENOENT;
        return -1;
    }
    return 0;
}

int FileDefaultOpt::findclose(int32_t id) {
    std::shared_ptr<Search> search;
    {
        CGuard guard(m_searchLock);
        const auto it = m_searches.find(id);
        if (it != m_searches.end()) {
            search = it->second;
            m_searches.erase(it);
        }
    }
    if (search == nullptr) {
        std::printf("[%s:%d] Kerna FileDefaultOpt::findclose fail\n", "DefaultFileTable", __LINE__);
        std::fflush(stdout);
        return -1;
    }
    return 0;  // the snapshot goes with the last reference, outside the lock
}

IFileSystem* defaultFileTable() { return ProcessObject<FileDefaultOpt>::get(); }

IFileSystem* utf8FileTable() { return ProcessObject<FileDefaultOptUTF8toWchar>::get(); }

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

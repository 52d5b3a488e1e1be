// File.cpp
//
// Only POSIX code; no library logic. File streams from open(2) and fdopen(3), 64-bit positions
// through fseeko and ftello, directories, path status and file-system space.
#include "platform/File.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

void* openFileStream(const char* path, unsigned flags, const char* mode, OpenStep& failed) {
    failed = openStepNone;
    int osFlags = O_RDONLY;
    if (flags & fileReadWrite) {
        osFlags = O_RDWR;
    } else if (flags & fileWriteOnly) {
        osFlags = O_WRONLY;
    }
    if (flags & fileAppend) osFlags |= O_APPEND;
    if (flags & fileCreate) osFlags |= O_CREAT;
    if (flags & fileTruncate) osFlags |= O_TRUNC;
    if (flags & fileNoInherit) osFlags |= O_CLOEXEC;
    int fd;
    do {
        fd = ::open(path, osFlags, 0600);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        failed = openStepOpen;
        return nullptr;
    }
    FILE* stream = ::fdopen(fd, mode);
    if (stream == nullptr) {
        const int error = errno;
        ::close(fd);
        errno = error;
        failed = openStepStream;
        return nullptr;
    }
    return stream;
}

size_t writeStream(void* stream, const void* data, size_t size, size_t count, bool& failed) {
    FILE* f = static_cast<FILE*>(stream);
    ::flockfile(f);
    ::clearerr_unlocked(f);
    const size_t n = ::fwrite_unlocked(data, size, count, f);
    failed = ::ferror_unlocked(f) != 0;
    ::funlockfile(f);
    return n;
}

size_t readStream(void* stream, void* data, size_t size, size_t count, bool& failed) {
    FILE* f = static_cast<FILE*>(stream);
    ::flockfile(f);
    ::clearerr_unlocked(f);
    const size_t n = ::fread_unlocked(data, size, count, f);
    failed = ::ferror_unlocked(f) != 0;
    ::funlockfile(f);
    return n;
}

int seekStream64(void* stream, int64_t offset, int whence) {
    const int w = whence == 0 ? SEEK_SET : whence == 1 ? SEEK_CUR : SEEK_END;
    return ::fseeko(static_cast<FILE*>(stream), static_cast<off_t>(offset), w) == 0 ? 0 : -1;
}

int64_t tellStream64(void* stream) {
    const off_t position = ::ftello(static_cast<FILE*>(stream));
    return position < 0 ? -1 : static_cast<int64_t>(position);
}

int makeDirectory(const char* path) { return ::mkdir(path, 0777) == 0 ? 0 : -1; }

int removeDirectory(const char* path) { return ::rmdir(path) == 0 ? 0 : -1; }

int removeFile(const char* path) { return ::unlink(path) == 0 ? 0 : -1; }

int renamePath(const char* from, const char* to) { return ::rename(from, to) == 0 ? 0 : -1; }

int accessPath(const char* path, int mode) { return ::access(path, mode) == 0 ? 0 : -1; }

namespace {

void fillStatus(const struct stat& st, PathStatus& status) {
    status.mode = static_cast<uint32_t>(st.st_mode);
    status.directory = S_ISDIR(st.st_mode);
    status.ownerWritable = (st.st_mode & S_IWUSR) != 0;
    status.changeTime = static_cast<int64_t>(st.st_ctime);
    status.accessTime = static_cast<int64_t>(st.st_atime);
    status.writeTime = static_cast<int64_t>(st.st_mtime);
    status.size = static_cast<int64_t>(st.st_size);
}

}  // namespace

int statPath(const char* path, PathStatus& status) {
    struct stat st;
    if (::stat(path, &st) != 0) return -1;
    fillStatus(st, status);
    return 0;
}

int statEntry(const char* path, PathStatus& status) {
    struct stat st;
    if (::lstat(path, &st) != 0) return -1;
    if (S_ISLNK(st.st_mode)) {
        struct stat target;
        if (::stat(path, &target) == 0) st = target;
        fillStatus(st, status);
        status.directory = false;
        return 0;
    }
    fillStatus(st, status);
    return 0;
}

int fileSystemSpace(const char* path, uint64_t& available, uint64_t& total, uint64_t& free) {
    struct statvfs vfs;
    if (::statvfs(path, &vfs) != 0) return -1;
    const uint64_t unit = vfs.f_frsize != 0 ? vfs.f_frsize : vfs.f_bsize;
    available = static_cast<uint64_t>(vfs.f_bavail) * unit;
    total = static_cast<uint64_t>(vfs.f_blocks) * unit;
    free = static_cast<uint64_t>(vfs.f_bfree) * unit;
    return 0;
}

int listDirectory(const char* path, std::vector<std::string>& names) {
    DIR* dir = ::opendir(path);
    if (dir == nullptr) return -1;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(dir);
        if (entry == nullptr) break;
        names.push_back(entry->d_name);
    }
    const int error = errno;
    ::closedir(dir);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return 0;
}

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

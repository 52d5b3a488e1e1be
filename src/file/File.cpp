// File.cpp
//
// CFile: the 32-bit file object over the record of FileObject.h, and the operations on paths
// that CFile and CLfsFile share, each through the table of its path.
#include "kerna/kerna3/File.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "base/Log.h"
#include "file/FileObject.h"
#include "file/FileTables.h"
#include "kerna/kerna3/FileFind.h"

namespace Tessaran {
namespace Kerna {

class FileInternal : public Detail::FileObject<Detail::SmallFileTraits> {
public:
    FileInternal() : FileObject(Detail::defaultFileTable()) {}
};

namespace Detail {

void fileOpenMode(unsigned flags, bool direct, char (&mode)[8]) {
    const char* access = "";
    switch (flags & 0xF) {
        case openRead:
            access = "rb";
            break;
        case openWrite:
            access = (flags & openKeep) ? "ab" : "wb";
            break;
        case openReadWrite:
            access = !(flags & openCreate) ? "rb+" : (flags & openKeep) ? "ab+" : "wb+";
            break;
        default:
            break;  // no letters for other access values
    }
    std::snprintf(mode, sizeof mode, "%s%s%s", access, (flags & openNoInherit) ? "e" : "",
                  (direct && (flags & openDirect)) ? "d" : "");
}

}  // namespace Detail

CFile::CFile() : m_internal(new FileInternal) {}

CFile::~CFile() { delete m_internal; }

bool CFile::open(const char* path, unsigned int flags) {
    return m_internal->open(this, path, flags);
}

void CFile::close() { m_internal->close(); }

char* CFile::load(const char* path) { return m_internal->load(this, path); }

void CFile::unload() { m_internal->close(); }

int32_t CFile::read(void* buffer, int32_t size) { return m_internal->read(this, buffer, size); }

int32_t CFile::write(const void* buffer, int32_t size) {
    return m_internal->write(this, buffer, size);
}

void CFile::flush() { m_internal->flush(); }

uint32_t CFile::seek(int32_t offset, SeekPosition from) { return m_internal->seek(offset, from); }

uint32_t CFile::getPosition() const { return m_internal->position(); }

uint32_t CFile::getLength() { return m_internal->length(); }

char* CFile::gets(char* buffer, int32_t size) { return m_internal->gets(this, buffer, size); }

int32_t CFile::puts(const char* text) { return m_internal->puts(this, text); }

bool CFile::isOpen() const { return m_internal->isOpen(); }

int32_t CFile::writev(const io_vec* vec, int count) { return m_internal->writev(vec, count); }

bool CFile::setvbuf(char* buffer, IOMode mode, size_t size) {
    return m_internal->setvbuf(buffer, mode, size);
}

bool CFile::fallocate(int mode, int64_t offset, int64_t length) {
    return m_internal->fallocate(mode, offset, length);
}

bool CFile::fstat(FileInfoEx& info) { return m_internal->fstat(info); }

bool CFile::resv3() { return false; }

bool CFile::resv4() { return false; }

bool CFile::rename(const char* oldPath, const char* newPath) {
    return Detail::selectFileTable(oldPath)->rename(oldPath, newPath) == 0;
}

bool CFile::remove(const char* path) { return Detail::selectFileTable(path)->remove(path) == 0; }

bool CFile::makeDirectory(const char* path) {
    return Detail::selectFileTable(path)->mkdir(path) == 0;
}

bool CFile::removeDirectory(const char* path) {
    return Detail::selectFileTable(path)->rmdir(path) == 0;
}

bool CFile::statFS(const char* path, uint64_t& freeToCaller, uint64_t& total, uint64_t& totalFree) {
    return Detail::selectFileTable(path)->statfs(path, &freeToCaller, &total, &totalFree) == 0;
}

bool CFile::access(const char* path, int mode) {
    return Detail::selectFileTable(path)->access(path, mode) == 0;
}

bool CFile::stat(const char* path, FileInfo& info) {
    return Detail::selectFileTable(path)->stat(path, &info) == 0;
}

bool CFile::makeDirectoryRecursively(const char* path) {
    if (path == nullptr || path[0] == '\0') {
        KERNA_LOG(3, "the path is unvalid");
        return false;
    }
    std::string whole(path);
    if (whole.size() > 1 && whole.back() == '/') whole.pop_back();
    // Every directory in front of the last part, from the start: made when missing.
    for (size_t slash = whole.find('/'); slash != std::string::npos;
         slash = whole.find('/', slash + 1)) {
        const std::string part = whole.substr(0, slash);
        if (part.empty() || access(part.c_str(), 0)) continue;
        if (!makeDirectory(part.c_str())) {
            KERNA_LOG(2, "make directory failed.");
            return false;
        }
    }
    return makeDirectory(whole.c_str());
}

bool CFile::removeDirectoryRecursively(const char* path, bool removeSelf) {
    if (path == nullptr || path[0] == '\0') {
        KERNA_LOG(3, "the path is unvalid");
        return false;
    }
    // "dir/" and "dir/*" are searched as they are; "dir" as "dir/*". A pattern that does not
    // fit is refused: cut short, it would name another directory.
    const size_t length = std::strlen(path);
    const char* format = "%s/*";
    if (path[length - 1] == '/') {
        format = "%s*";
    } else if (length >= 2 && path[length - 2] == '/' && path[length - 1] == '*') {
        format = "%s";
    }
    char pattern[1025];
    const int n = std::snprintf(pattern, sizeof pattern, format, path);
    if (n < 0 || static_cast<size_t>(n) >= sizeof pattern) {
        KERNA_LOG(3, "the path is unvalid");
        return false;
    }
    CFileFind find;
    if (!find.findFile(pattern)) {
        KERNA_LOG(3, "the path does not exist");
        return false;
    }
    do {
        const std::string name = find.getFileName();
        if (name == "." || name == "..") continue;
        const std::string entry = find.getFilePath();
        if (find.isDirectory()) {
            removeDirectoryRecursively(entry.c_str(), true);
        } else {
            remove(entry.c_str());
        }
    } while (find.findNextFile());
    find.close();
    if (!removeSelf) return true;
    pattern[n - 1] = '\0';  // the directory with its final "/"
    return removeDirectory(pattern);
}

bool CFile::changeFileFlags(const char*, bool, unsigned int) { return false; }

}  // namespace Kerna
}  // namespace Tessaran

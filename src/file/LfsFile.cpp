// LfsFile.cpp
//
// CLfsFile: the 64-bit file object over the record of FileObject.h. Copies share one record
// with a count; the last object that lets go of it closes the file. The operations on paths are
// CFile's.
#include "kerna/kerna3/LfsFile.h"

#include <atomic>

#include "file/FileObject.h"
#include "file/FileTables.h"

namespace Tessaran {
namespace Kerna {

class LfsFileInternal : public Detail::FileObject<Detail::LargeFileTraits> {
public:
    explicit LfsFileInternal(PathEncoding encoding)
        : FileObject(encoding == pathUtf8 ? Detail::utf8FileTable() : Detail::defaultFileTable()) {}
    std::atomic<int> m_references{1};
};

namespace {

LfsFileInternal* share(LfsFileInternal* record) {
    record->m_references.fetch_add(1, std::memory_order_relaxed);
    return record;
}

void release(LfsFileInternal* record) {
    if (record->m_references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete record;
}

}  // namespace

CLfsFile::CLfsFile() : m_internal(new LfsFileInternal(pathNative)) {}

CLfsFile::CLfsFile(PathEncoding encoding) : m_internal(new LfsFileInternal(encoding)) {}

CLfsFile::CLfsFile(const CLfsFile& other) : m_internal(share(other.m_internal)) {}

CLfsFile& CLfsFile::operator=(const CLfsFile& other) {
    LfsFileInternal* previous = m_internal;
    m_internal = share(other.m_internal);
    release(previous);
    return *this;
}

CLfsFile::~CLfsFile() { release(m_internal); }

bool CLfsFile::open(const char* path, unsigned int flags) {
    return m_internal->open(this, path, flags);
}

void CLfsFile::close() { m_internal->close(); }

char* CLfsFile::load(const char* path) { return m_internal->load(this, path); }

void CLfsFile::unload() { m_internal->close(); }

int64_t CLfsFile::read(void* buffer, int64_t size) { return m_internal->read(this, buffer, size); }

int64_t CLfsFile::write(const void* buffer, int64_t size) {
    return m_internal->write(this, buffer, size);
}

void CLfsFile::flush() { m_internal->flush(); }

int64_t CLfsFile::seek(int64_t offset, SeekPosition from) { return m_internal->seek(offset, from); }

int64_t CLfsFile::getPosition() const { return m_internal->position(); }

int64_t CLfsFile::getLength() { return m_internal->length(); }

char* CLfsFile::gets(char* buffer, int64_t size) { return m_internal->gets(this, buffer, size); }

int64_t CLfsFile::puts(const char* text) { return m_internal->puts(this, text); }

bool CLfsFile::isOpen() const { return m_internal->isOpen(); }

int64_t CLfsFile::writev(const io_vec* vec, int count) { return m_internal->writev(vec, count); }

bool CLfsFile::setvbuf(char* buffer, IOMode mode, size_t size) {
    return m_internal->setvbuf(buffer, mode, size);
}

bool CLfsFile::fallocate(int mode, int64_t offset, int64_t length) {
    return m_internal->fallocate(mode, offset, length);
}

bool CLfsFile::fstat(FileInfoEx& info) { return m_internal->fstat(info); }

bool CLfsFile::resv3() { return false; }

bool CLfsFile::resv4() { return false; }

bool CLfsFile::rename(const char* oldPath, const char* newPath) {
    return CFile::rename(oldPath, newPath);
}

bool CLfsFile::remove(const char* path) { return CFile::remove(path); }

bool CLfsFile::makeDirectory(const char* path) { return CFile::makeDirectory(path); }

bool CLfsFile::removeDirectory(const char* path) { return CFile::removeDirectory(path); }

bool CLfsFile::statFS(const char* path, uint64_t& freeToCaller, uint64_t& total,
                      uint64_t& totalFree) {
    return CFile::statFS(path, freeToCaller, total, totalFree);
}

bool CLfsFile::access(const char* path, int mode) { return CFile::access(path, mode); }

bool CLfsFile::stat(const char* path, FileInfo& info) { return CFile::stat(path, info); }

}  // namespace Kerna
}  // namespace Tessaran

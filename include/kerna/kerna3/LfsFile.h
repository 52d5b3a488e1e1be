// LfsFile.h
//
// CLfsFile, the file object with 64-bit length and position for large files, which can also work
// on UTF-8 paths. It behaves as CFile (File.h) with these differences: counts and offsets are
// 64-bit signed; seek and tell use the table's fseek64 and ftell64; read and write loop until
// all bytes have come or a pass gives none; gets refuses a size of 2^31 or more; openDirect is
// ignored; the static members do not include the recursive directory operations.
//
// A file object is not locked: one object belongs to one thread at a time (copies share one
// record, see below).
#ifndef KERNA_KERNA3_LFSFILE_H_
#define KERNA_KERNA3_LFSFILE_H_

#include <cstddef>
#include <cstdint>

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/File.h"
#include "kerna/kerna3/FileSystem.h"

namespace Tessaran {
namespace Kerna {

/// How a CLfsFile reads its paths.
enum PathEncoding {
    pathNative = 0,  ///< the system's encoding (any value but 1)
    pathUtf8 = 1,    ///< UTF-8
};

class LfsFileInternal;

/// A file with 64-bit length and position.
class KERNA_API CLfsFile {
public:
    /// Native paths.
    CLfsFile();
    /// Paths in `encoding`. With pathUtf8 the object uses the default table for UTF-8 paths
    /// unless a hook takes the path.
    explicit CLfsFile(PathEncoding encoding);
    /// A copy shares the original's record (the open stream, position, length and loaded
    /// contents), counted: the record is closed and freed with the last object that shares it.
    /// Objects that share a record must be used from one thread at a time.
    CLfsFile(const CLfsFile& other);
    /// Shares `other`'s record and lets go of its own (closed and freed if it was the last).
    CLfsFile& operator=(const CLfsFile& other);
    /// Lets go of the record; the last object closes the file and frees loaded contents.
    virtual ~CLfsFile();

    /// As CFile::open; openDirect is ignored; the message names CLfsFile.
    virtual bool open(const char* path, unsigned int flags);
    virtual void close();
    /// As CFile::load; a short read logs "this:%p CLfsFile::load() length:%llu, ret:%lld".
    virtual char* load(const char* path);
    virtual void unload();
    /// Reads until `size` bytes have come or a pass of the table gives none (which logs "this:%p
    /// fread get error, ..." at level 3, also at the end of the file). The bytes read, -1 if not
    /// open. A negative size or a null buffer with a size: a line at level 2, 0.
    virtual int64_t read(void* buffer, int64_t size);
    /// Writes until all bytes have gone or a pass gives none (a line at level 3). The bytes
    /// written, -1 if not open.
    virtual int64_t write(const void* buffer, int64_t size);
    virtual void flush();
    /// As CFile::seek with 64-bit offsets.
    virtual int64_t seek(int64_t offset, SeekPosition from);
    virtual int64_t getPosition() const;
    virtual int64_t getLength();
    /// As CFile::gets; a size of 0x80000000 or more logs "this:%p Bytes need to be seeked has
    /// been over the _MAX_INT_VALUE." at level 3 and gives null.
    virtual char* gets(char* buffer, int64_t size);
    virtual int64_t puts(const char* text);
    virtual bool isOpen() const;
    virtual int64_t writev(const io_vec* vec, int count);
    virtual bool setvbuf(char* buffer, IOMode mode, size_t size);
    virtual bool fallocate(int mode, int64_t offset, int64_t length);
    virtual bool fstat(FileInfoEx& info);
    virtual bool resv3();
    virtual bool resv4();

    /// As the static members of CFile: through the table for the path, whatever the encoding.
    static bool rename(const char* oldPath, const char* newPath);
    static bool remove(const char* path);
    static bool makeDirectory(const char* path);
    static bool removeDirectory(const char* path);
    static bool statFS(const char* path, uint64_t& freeToCaller, uint64_t& total,
                       uint64_t& totalFree);
    static bool access(const char* path, int mode);
    static bool stat(const char* path, FileInfo& info);

private:
    LfsFileInternal* m_internal;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_LFSFILE_H_

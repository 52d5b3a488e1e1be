// FileSystem.h
//
// The table of file-system operations through which every file access of the library goes, in
// the manner of the C stream functions with an object in front: IFileSystem and its extension
// IFileSystem2, the records that pass through them (FileInfo, FileInfoEx, io_vec), and
// hookFileSystem, which puts an application's own table in front of every path that starts with
// a given prefix. A default table talks to the system; CFile, CLfsFile, CFileFind and
// CFileFindEx select a table per path and never call the system themselves.
//
// The default table: paths may use "/" or "\\" as separator; streams are fully buffered with
// 16384 bytes; a search lists a sorted snapshot of the directory (names compared bytewise,
// "." and ".." included) with "*" and "?" as the only wildcards ("*.*" matches every name);
// failures are reported by the result and a line at level 3 with errno and its text.
#ifndef KERNA_KERNA3_FILESYSTEM_H_
#define KERNA_KERNA3_FILESYSTEM_H_

#include <cstddef>
#include <cstdint>

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {

/// Attribute bits of a search result; all clear is a normal file.
enum FileAttribute {
    fileAttributeReadOnly = 0x01,   ///< the owner may not write it
    fileAttributeHidden = 0x02,     ///< the name begins with "."
    fileAttributeDirectory = 0x10,  ///< a directory
};

/// A directory entry (from findfirst and findnext) or the status of a path (from stat).
struct FileInfo {
    /// From stat, the path that was passed; from a search, the entry's name. At most 259
    /// characters, always terminated.
    char name[260];
    /// From a search, the attribute bits (FileAttribute); from stat, the system's file mode.
    uint16_t attrib;
    int64_t timeCreate;  ///< search: creation; stat: status change. Seconds since 1970.
    int64_t timeAccess;  ///< last access, seconds since 1970
    int64_t timeWrite;   ///< last modification, seconds since 1970
    int64_t size;        ///< bytes
};

/// Result record of IFileSystem2::fstat. The default tables do not fill it; a table that
/// implements fstat fills what it knows and zeroes the rest.
struct FileInfoEx {
    uint64_t device;
    uint64_t inode;
    uint32_t mode;
    uint32_t links;
    uint32_t uid;
    uint32_t gid;
    int64_t size;
    int64_t blockSize;
    int64_t blocks;
    int64_t timeAccess;
    int64_t timeWrite;
    int64_t timeChange;
};

/// One piece of a gather write (IFileSystem2::writev).
struct io_vec {
    const void* base;  ///< the bytes
    size_t length;     ///< how many
};

/// Buffering modes handed to a table's setvbuf as they come (the C library's values).
enum IOMode {
    ioFullBuffered = 0,  ///< written when the buffer is full
    ioLineBuffered = 1,  ///< written at each line feed
    ioUnbuffered = 2,    ///< written at once
};

/// The operations on files and directories. A file is the opaque pointer that fopen returned.
/// Tables may be called from any thread. Results follow the C stream functions: 0 or -1 for the
/// operations on paths, null for a failed fopen or fgets.
class IFileSystem {
public:
    virtual ~IFileSystem() {}
    /// Opens `path` with a mode text of the C stream functions ("rb", "wb+", "ab", ...; the
    /// letter "e" asks that the file not be inherited by child processes, "d" for direct access
    /// where the system has it). Null on failure.
    virtual void* fopen(const char* path, const char* mode) = 0;
    virtual int fclose(void* file) = 0;
    /// Items read.
    virtual size_t fread(void* buffer, size_t size, size_t count, void* file) = 0;
    /// Items written.
    virtual size_t fwrite(const void* buffer, size_t size, size_t count, void* file) = 0;
    virtual int fflush(void* file) = 0;
    /// Moves the position by a 32-bit offset (whence 0 start, 1 current, 2 end); 0 or -1.
    virtual int fseek(void* file, int32_t offset, int whence) = 0;
    /// The position as 32 bits, or -1 (also for a position that does not fit).
    virtual int32_t ftell(void* file) = 0;
    virtual char* fgets(char* buffer, int size, void* file) = 0;
    /// Not negative on success, -1 on failure.
    virtual int fputs(const char* text, void* file) = 0;
    virtual int rename(const char* oldPath, const char* newPath) = 0;
    /// Removes a file (not a directory).
    virtual int remove(const char* path) = 0;
    /// Starts a search for `pattern` (a directory part and a name with "*" and "?") and fills
    /// `info` with the first entry. Returns the search id, or -1 if nothing matches or the
    /// search cannot start.
    virtual int32_t findfirst(const char* pattern, FileInfo* info) = 0;
    /// Fills `info` with the next entry of search `id`; 0, or -1 at the end or for an unknown id.
    virtual int findnext(int32_t id, FileInfo* info) = 0;
    /// Ends search `id`; 0, or -1 for an unknown id.
    virtual int findclose(int32_t id) = 0;
    virtual int mkdir(const char* path) = 0;
    virtual int rmdir(const char* path) = 0;
    /// Space of the file system holding `path`, in bytes: available to the caller, total, free.
    virtual int statfs(const char* path, uint64_t* freeToCaller, uint64_t* total,
                       uint64_t* totalFree) = 0;
    /// 0 if `path` exists (mode 0) or allows writing (2), reading (4) or both (6); else -1.
    virtual int access(const char* path, int mode) = 0;
    /// Fills `info` with the status of `path`; 0 on success.
    virtual int stat(const char* path, FileInfo* info) = 0;
    /// A place for an operation of a later version; the library never calls it.
    virtual int64_t reservedOp(int, void*, int) { return 0; }
    /// Moves the position by a 64-bit offset; 0 or -1. This default: -1.
    virtual int fseek64(void* /*file*/, int64_t /*offset*/, int /*whence*/) { return -1; }
    /// The 64-bit position, or -1. This default: -1.
    virtual int64_t ftell64(void* /*file*/) { return -1; }
};

/// IFileSystem with four more operations, each with a default that does nothing and reports
/// success. CFile and CLfsFile test at run time whether their table is an IFileSystem2.
class IFileSystem2 : public IFileSystem {
public:
    /// Writes `count` pieces in order; bytes written or -1. This default: 0.
    virtual int64_t writev(void* /*file*/, const io_vec* /*vec*/, int /*count*/) { return 0; }
    /// Sets the stream's buffer (null: the table's own), mode and size. This default: true.
    virtual bool setvbuf(void* /*file*/, char* /*buffer*/, int /*mode*/, size_t /*size*/) {
        return true;
    }
    /// Reserves space for the file. This default: true.
    virtual bool fallocate(void* /*file*/, int /*mode*/, int64_t /*offset*/, int64_t /*length*/) {
        return true;
    }
    /// Fills `info` with the status of an open file. This default: true.
    virtual bool fstat(void* /*file*/, FileInfoEx* /*info*/) { return true; }
};

/// Hooks `table` for every path that starts with `prefix` (a plain text prefix, compared
/// bytewise: "/mnt" also selects "/mntx/a"), or unhooks `prefix` when `table` is null. Logs
/// "hookFileSystem called!, CFile/CLfsFile member function may be hooked!" at level 4 first.
/// There are 31 places: a hook beyond them is ignored without a word. A prefix is cut at 255
/// characters. Earlier hooks stand in front of later ones, whatever their lengths; hooking a
/// prefix twice takes two places, and an unhook removes the first of them. An unhook of a prefix
/// that is not hooked changes nothing. A null `prefix` is refused with a line at level 2. The
/// table is not copied or owned: it must live while it is hooked and while a file opened through
/// it is open, for a file that is open keeps the table it chose (the log file too: logCleanup
/// closes it). Hook and unhook at start-up, before other threads open files.
KERNA_API void hookFileSystem(const char* prefix, IFileSystem* table);

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_FILESYSTEM_H_

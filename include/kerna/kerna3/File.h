// File.h
//
// CFile, the library's file object with 32-bit length and position, and the open flags and seek
// origins it shares with CLfsFile. A CFile keeps a stream of the file-operation table chosen for
// its path (see FileSystem.h) and tracks length and position itself, so that asking for them
// costs no call of the table. Static members operate on paths, through the table of each path.
//
// A file object is not locked: one object belongs to one thread at a time. The static members
// may be called from any thread.
#ifndef KERNA_KERNA3_FILE_H_
#define KERNA_KERNA3_FILE_H_

#include <cstddef>
#include <cstdint>

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/FileSystem.h"

namespace Tessaran {
namespace Kerna {

/// Open flags: one access value in the low four bits, combined with the other flags.
///
///     access          openCreate  openKeep   mode    meaning
///     openRead        any         any        "rb"    must exist
///     openWrite       any         clear      "wb"    created or emptied
///     openWrite       any         set        "ab"    created or appended to
///     openReadWrite   clear       any        "rb+"   must exist
///     openReadWrite   set         clear      "wb+"   created or emptied
///     openReadWrite   set         set        "ab+"   created or appended to
enum OpenFlags : unsigned int {
    openRead = 0,          ///< read
    openWrite = 1,         ///< write
    openReadWrite = 2,     ///< read and write
    openNoInherit = 0x80,  ///< not inherited by child processes (mode letter "e")
    openCreate = 0x1000,   ///< with openReadWrite: create or empty rather than require the file
    openKeep = 0x2000,     ///< keep the contents; with a writing access, append
    openDirect = 0x10000,  ///< CFile only: direct access where the system has it (letter "d")
};

/// Origins of seek.
enum SeekPosition { seekBegin = 0, seekCurrent = 1, seekEnd = 2 };

class FileInternal;

/// A file with 32-bit length and position.
///
/// Closed (no stream), open, or open with its contents loaded. Every operation on a closed
/// object has a defined result and does nothing else: read and write -1, seek, getPosition,
/// getLength and puts 0, gets null, writev -1, setvbuf, fallocate and fstat false with a line.
class KERNA_API CFile {
public:
    CFile();
    /// Closes the file and frees loaded contents.
    virtual ~CFile();
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    /// Opens `path` with `flags` (OpenFlags) through the table for the path, closing a file that
    /// is open first (and freeing loaded contents). The position is where the stream starts; the
    /// length is 0 for a file created or emptied with openCreate, else the size the table's stat
    /// reports. Access bits above 2 without another mode letter log "this:%p CFile::open()
    /// dwFlags:%d is invalid" at level 2; false then, and when the table cannot open the file.
    virtual bool open(const char* path, unsigned int flags);
    /// Closes the stream, frees loaded contents, and goes back to the default table.
    virtual void close();
    /// Opens `path` for reading and reads it whole. Returns the contents (followed by a zero
    /// byte that the length does not count), owned by this object until unload or close; the
    /// same pointer again while loaded, whatever the path. Null if the file cannot be opened
    /// (closed then), is empty (left open) or reads short (a line at level 3; closed).
    virtual char* load(const char* path);
    /// Closes the file and frees loaded contents.
    virtual void unload();
    /// One read of the table of up to `size` bytes; the bytes read, -1 if not open. A negative
    /// size or a null buffer with a size is refused with a line at level 2 and gives 0.
    virtual int32_t read(void* buffer, int32_t size);
    /// One write of the table; the bytes written (fewer: a line at level 3), -1 if not open. The
    /// position is read back from the table afterwards and the length grows to it. A negative
    /// size or a null buffer with a size is refused with a line at level 2 and gives 0.
    virtual int32_t write(const void* buffer, int32_t size);
    /// Flushes the stream; position and length as after write. Nothing if not open.
    virtual void flush();
    /// Moves the position: `offset` from the start, the position or the length (any other
    /// origin counts as the start). Returns the new position, read back from the table; 0 if not
    /// open or if the table refuses (the position stays). A move to the current position from
    /// seekBegin or seekCurrent calls nothing. The length does not change.
    virtual uint32_t seek(int32_t offset, SeekPosition from);
    /// The position; 0 if not open. Never calls the table.
    virtual uint32_t getPosition() const;
    /// The length; 0 if not open. Calls the table only when it is not known yet.
    virtual uint32_t getLength();
    /// Reads a line of at most `size` - 1 bytes into `buffer` (fgets). The buffer, or null at
    /// the end, on failure or if not open.
    virtual char* gets(char* buffer, int32_t size);
    /// Writes `text` (fputs). Its length, -1 if the table failed, 0 if not open.
    virtual int32_t puts(const char* text);
    /// True while a stream is open.
    virtual bool isOpen() const;
    /// A gather write through an IFileSystem2 table; bytes written, -1 on failure, if not open or
    /// if the table is a plain IFileSystem (a line at level 3).
    virtual int32_t writev(const io_vec* vec, int count);
    /// Sets the stream's buffering through an IFileSystem2 table (`mode` handed on as it comes).
    /// False with a line at level 3 if not open, not an IFileSystem2 or refused.
    virtual bool setvbuf(char* buffer, IOMode mode, size_t size);
    /// Reserves space through an IFileSystem2 table. False with a line if not open (level 2),
    /// not an IFileSystem2 or refused (level 3). The default table refuses.
    virtual bool fallocate(int mode, int64_t offset, int64_t length);
    /// The status of the open file through an IFileSystem2 table; false with a line as for
    /// fallocate. The default table refuses.
    virtual bool fstat(FileInfoEx& info);
    /// Reserved places; false.
    virtual bool resv3();
    virtual bool resv4();

    /// Operations on paths, each through the table for its path (rename: for the old path),
    /// true when the table gives 0.
    static bool rename(const char* oldPath, const char* newPath);
    /// Removes a file; a directory is not removed.
    static bool remove(const char* path);
    /// Makes one directory; false also when it exists.
    static bool makeDirectory(const char* path);
    /// Removes one empty directory.
    static bool removeDirectory(const char* path);
    /// Space of the file system holding `path`, in bytes.
    static bool statFS(const char* path, uint64_t& freeToCaller, uint64_t& total,
                       uint64_t& totalFree);
    /// Mode 0 exists, 2 writable, 4 readable, 6 both.
    static bool access(const char* path, int mode);
    /// The status of `path`: name the path, attrib the system's file mode, times and size.
    static bool stat(const char* path, FileInfo& info);
    /// Makes every missing directory along `path` ("/" separates), then `path` itself. The
    /// result is that of the last directory, so false when `path` existed already. A null or
    /// empty path: "the path is unvalid" at level 3, false; a directory that cannot be made:
    /// "make directory failed." at level 2, false.
    static bool makeDirectoryRecursively(const char* path);
    /// Removes everything inside directory `path` ("dir", "dir/" or "dir/*"), and the directory
    /// itself with `removeSelf`; the result is that of the last removal (true without
    /// removeSelf). Links are removed, never followed. A null or empty path, or one whose
    /// search pattern would exceed 1024 characters: "the path is unvalid" at level 3; nothing
    /// found: "the path does not exist" at level 3; false then.
    static bool removeDirectoryRecursively(const char* path, bool removeSelf);
    /// Does nothing on this system; false.
    static bool changeFileFlags(const char* path, bool set, unsigned int flags);

private:
    FileInternal* m_internal;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_FILE_H_

// File.h
//
// Private platform interface: opening file streams, 64-bit positions, directories and the status
// of paths. The default file tables form their open flags and search snapshots from these calls;
// the stream calls of the C library (read, write, flush, close, buffering) are used directly.
// Every call returns its result and leaves errno as the system set it.
#ifndef KERNA_SRC_PLATFORM_FILE_H_
#define KERNA_SRC_PLATFORM_FILE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

/// Open flags, as the default file table forms them from the letters of a mode text.
const unsigned fileWriteOnly = 0x1;
const unsigned fileReadWrite = 0x2;
const unsigned fileAppend = 0x8;
const unsigned fileNoInherit = 0x80;
const unsigned fileCreate = 0x100;
const unsigned fileTruncate = 0x200;
const unsigned fileBinary = 0x8000;

/// Which step of openFileStream failed.
enum OpenStep { openStepNone = 0, openStepOpen = 1, openStepStream = 2 };

/// Opens `path` with `flags` (permission 0600 for a new file) and makes a stream of the
/// descriptor with `mode`. Returns the stream (a FILE*) or null with errno set and `failed`
/// naming the step; a descriptor whose stream could not be made is closed again.
void* openFileStream(const char* path, unsigned flags, const char* mode, OpenStep& failed);

/// fwrite on a stream whose error flag is cleared first, all under one lock of the stream;
/// `failed` tells whether the stream's error flag is set afterwards (errno then tells why).
size_t writeStream(void* stream, const void* data, size_t size, size_t count, bool& failed);
/// fread likewise.
size_t readStream(void* stream, void* data, size_t size, size_t count, bool& failed);

/// Moves a stream's position (whence 0 start, 1 current, 2 end); 0 or -1.
int seekStream64(void* stream, int64_t offset, int whence);
/// A stream's position, or -1.
int64_t tellStream64(void* stream);

/// mkdir with permission 0777 (less the umask); 0 or -1.
int makeDirectory(const char* path);
/// rmdir; 0 or -1.
int removeDirectory(const char* path);
/// unlink: files only, a directory gives EISDIR; 0 or -1.
int removeFile(const char* path);
/// rename, replacing an existing target; 0 or -1.
int renamePath(const char* from, const char* to);
/// access with mode 0 (exists), 2 (write), 4 (read) or 6; 0 or -1.
int accessPath(const char* path, int mode);

/// The status of a path.
struct PathStatus {
    uint32_t mode;       ///< the system's file mode (type and permission bits)
    bool directory;      ///< a directory
    bool ownerWritable;  ///< the owner may write it
    int64_t changeTime;  ///< status change, seconds since 1970
    int64_t accessTime;  ///< last access
    int64_t writeTime;   ///< last modification
    int64_t size;        ///< bytes
};

/// stat (following links); 0 or -1.
int statPath(const char* path, PathStatus& status);

/// The status of a directory entry: as statPath, but a link is never a directory (so that a
/// walk over a tree does not follow links out of it), and a link whose target is missing
/// reports the link itself; 0 or -1.
int statEntry(const char* path, PathStatus& status);

/// Space of the file system holding `path`, in bytes: available to the caller, total, free.
int fileSystemSpace(const char* path, uint64_t& available, uint64_t& total, uint64_t& free);

/// The names in directory `path`, "." and ".." included, in the system's order; 0 or -1.
int listDirectory(const char* path, std::vector<std::string>& names);

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_FILE_H_

// FileObject.h
//
// The record behind CFile and CLfsFile and the operations they share. The two classes differ in
// the width of length and position, in the table calls that seek and tell, in read and write
// (one call, or a loop until all bytes have come), and in the names their lines carry; a traits
// class gives each of these, and everything else is written once here.
//
// The record tracks length and position itself: getPosition never calls the table, getLength
// only until it knows the length, and a seek to the current position not at all.
#ifndef KERNA_SRC_FILE_FILEOBJECT_H_
#define KERNA_SRC_FILE_FILEOBJECT_H_

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/Log.h"
#include "file/FileTables.h"
#include "kerna/kerna3/File.h"
#include "kerna/kerna3/FileSystem.h"

// A line of a file object, naming the class of the object (CFile or CLfsFile) and the operation,
// as a line from that class's own member would.
#define KERNA_FILE_LOG(level, operation, ...)                                                \
    do {                                                                                     \
        if (::Tessaran::Kerna::Detail::printWouldPass(level)) {                              \
            char function_[64];                                                              \
            std::snprintf(function_, sizeof function_, "Tessaran::Kerna::%s::%s()",          \
                          Traits::className, operation);                                     \
            ::Tessaran::Kerna::Detail::logAt(level, Traits::sourceFile, function_, __LINE__, \
                                             __VA_ARGS__);                                   \
        }                                                                                    \
    } while (0)

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// CFile: 32-bit unsigned length and position, 32-bit seek and tell, one table call per read
/// and write, the mode letter "d".
struct SmallFileTraits {
    typedef uint32_t Count;
    typedef int32_t Size;
    static constexpr const char* className = "CFile";
    static constexpr const char* sourceFile = "File.cpp";
    static constexpr bool loops = false;
    static constexpr bool direct = true;
    static int seek(IFileSystem* t, void* file, Size offset, int whence) {
        return t->fseek(file, offset, whence);
    }
    static Size tell(IFileSystem* t, void* file) { return t->ftell(file); }
};

/// CLfsFile: 64-bit signed length and position, 64-bit seek and tell, read and write in a loop.
struct LargeFileTraits {
    typedef int64_t Count;
    typedef int64_t Size;
    static constexpr const char* className = "CLfsFile";
    static constexpr const char* sourceFile = "LfsFile.cpp";
    static constexpr bool loops = true;
    static constexpr bool direct = false;
    static int seek(IFileSystem* t, void* file, Size offset, int whence) {
        return t->fseek64(file, offset, whence);
    }
    static Size tell(IFileSystem* t, void* file) { return t->ftell64(file); }
};

/// The mode text of the table's fopen for `flags`, or the empty text for invalid access bits
/// without another letter.
void fileOpenMode(unsigned flags, bool direct, char (&mode)[8]);

template <class Traits>
class FileObject {
public:
    typedef typename Traits::Count Count;
    typedef typename Traits::Size Size;

    /// `home` is the table the object goes back to when closed.
    explicit FileObject(IFileSystem* home) : m_opt(home), m_home(home) {}
    ~FileObject() { close(); }
    FileObject(const FileObject&) = delete;
    FileObject& operator=(const FileObject&) = delete;

    bool isOpen() const { return m_handle != nullptr; }

    bool open(const void* owner, const char* path, unsigned flags) {
        close();
        bool hooked = false;
        IFileSystem* table = selectFileTable(path, &hooked);
        if (!hooked) table = m_home;  // the UTF-8 default table stays for UTF-8 objects
        if (table == nullptr) {
            assertionFailed("m_internal->m_opt", __PRETTY_FUNCTION__, __FILE__, __LINE__);
        }
        char mode[8];
        fileOpenMode(flags, Traits::direct, mode);
        if (mode[0] == '\0') {
            KERNA_FILE_LOG(2, "open", "this:%p %s::open() dwFlags:%d is invalid\n", owner,
                           Traits::className, static_cast<int>(flags));
            return false;
        }
        void* handle = table->fopen(path, mode);
        if (handle == nullptr) return false;
        m_handle = handle;
        m_opt = table;
        readPosition();
        m_length = 0;
        if (!((flags & openCreate) && !(flags & openKeep))) {
            FileInfo info;
            if (table->stat(path, &info) == 0) m_length = static_cast<Count>(info.size);
        }
        return true;
    }

    void close() {
        if (m_handle == nullptr) return;
        m_opt->fclose(m_handle);
        m_handle = nullptr;
        m_length = 0;
        std::free(m_buffer);
        m_buffer = nullptr;
        m_position = 0;
        m_opt = m_home;
    }

    char* load(const void* owner, const char* path) {
        if (m_buffer != nullptr) return m_buffer;
        if (!open(owner, path, openRead | openKeep)) return nullptr;
        if (m_length == 0) {
            Traits::seek(m_opt, m_handle, 0, seekEnd);
            const Size end = Traits::tell(m_opt, m_handle);
            m_length = end < 0 ? 0 : static_cast<Count>(end);
            Traits::seek(m_opt, m_handle, 0, seekBegin);
        }
        if (m_length == 0) return nullptr;
        const uint64_t length = static_cast<uint64_t>(m_length);
        char* buffer = length < SIZE_MAX ? static_cast<char*>(std::malloc(length + 1)) : nullptr;
        if (buffer == nullptr) {
            KERNA_FILE_LOG(2, "load", "this:%p %s::load() no memory for length:%llu\n", owner,
                           Traits::className, static_cast<unsigned long long>(length));
            close();
            return nullptr;
        }
        Traits::seek(m_opt, m_handle, 0, seekBegin);
        m_position = 0;
        const uint64_t got = readBytes(owner, buffer, length);
        if (got < length) {
            logShortLoad(owner, length, got);
            std::free(buffer);
            close();
            return nullptr;
        }
        buffer[length] = '\0';
        m_buffer = buffer;
        return m_buffer;
    }

    Size read(const void* owner, void* buffer, Size size) {
        if (m_handle == nullptr) return -1;
        if (!validBuffer(owner, "read", buffer, size)) return 0;
        return static_cast<Size>(readBytes(owner, buffer, static_cast<uint64_t>(size)));
    }

    Size write(const void* owner, const void* buffer, Size size) {
        if (m_handle == nullptr) return -1;
        if (!validBuffer(owner, "write", buffer, size)) return 0;
        const uint64_t wanted = static_cast<uint64_t>(size);
        const char* bytes = static_cast<const char*>(buffer);
        uint64_t done = 0;
        if (!Traits::loops) {
            done = m_opt->fwrite(bytes, 1, wanted, m_handle);
            if (done < wanted) {
                KERNA_FILE_LOG(3, "write", "fwrite failed, expected:%lu, actual:%lu\n",
                               static_cast<unsigned long>(wanted),
                               static_cast<unsigned long>(done));
            }
        } else {
            while (done < wanted) {
                const uint64_t ask = wanted - done;
                const size_t n = m_opt->fwrite(bytes + done, 1, ask, m_handle);
                if (n == 0) {
                    KERNA_FILE_LOG(3, "write",
                                   "this:%p fwrite get error, total:%lld has write:%lld, "
                                   "expected:%lu return actuallen:%lu, \n",
                                   owner, static_cast<long long>(wanted),
                                   static_cast<long long>(done), static_cast<unsigned long>(ask),
                                   static_cast<unsigned long>(n));
                    break;
                }
                done += n;
            }
        }
        readPosition();
        growLength();
        return static_cast<Size>(done);
    }

    void flush() {
        if (m_handle == nullptr) return;
        m_opt->fflush(m_handle);
        readPosition();
        growLength();
    }

    Count seek(Size offset, SeekPosition from) {
        if (m_handle == nullptr) return 0;
        Count target = 0;
        int whence = seekBegin;
        if (from == seekBegin) {
            target = static_cast<Count>(offset);
        } else if (from == seekCurrent) {
            target = advanced(m_position, offset);
            whence = seekCurrent;
        } else if (from == seekEnd) {
            target = advanced(m_length, offset);
            whence = seekEnd;
        }
        if (target == m_position && from != seekEnd) return m_position;
        if (Traits::seek(m_opt, m_handle, offset, whence) < 0) return 0;
        readPosition();
        return m_position;
    }

    Count position() const { return m_handle == nullptr ? 0 : m_position; }

    Count length() {
        if (m_handle == nullptr) return 0;
        if (m_length == 0) {
            const Count here = m_position;
            Traits::seek(m_opt, m_handle, 0, seekEnd);
            const Size end = Traits::tell(m_opt, m_handle);
            m_length = end < 0 ? 0 : static_cast<Count>(end);
            Traits::seek(m_opt, m_handle, static_cast<Size>(here), seekBegin);
        }
        return m_length;
    }

    char* gets(const void* owner, char* buffer, Size size) {
        if (m_handle == nullptr) return nullptr;
        if (Traits::loops && size >= static_cast<Size>(0x80000000LL)) {
            KERNA_FILE_LOG(3, "gets",
                           "this:%p Bytes need to be seeked has been over the _MAX_INT_VALUE.\n",
                           owner);
            return nullptr;
        }
        if (buffer == nullptr) {
            KERNA_FILE_LOG(2, "gets", "this:%p %s::gets() buffer is NULL\n", owner,
                           Traits::className);
            return nullptr;
        }
        char* result = m_opt->fgets(buffer, static_cast<int>(size), m_handle);
        if (result != nullptr)
            m_position = advanced(m_position, static_cast<int64_t>(std::strlen(buffer)));
        return result;
    }

    Size puts(const void* owner, const char* text) {
        if (m_handle == nullptr) return 0;
        if (text == nullptr) {
            KERNA_FILE_LOG(2, "puts", "this:%p %s::puts() text is NULL\n", owner,
                           Traits::className);
            return -1;
        }
        if (m_opt->fputs(text, m_handle) < 0) return -1;
        const size_t n = std::strlen(text);
        m_position = advanced(m_position, static_cast<int64_t>(n));
        growLength();
        return static_cast<Size>(n);
    }

    Size writev(const io_vec* vec, int count) {
        if (m_handle == nullptr) return -1;
        IFileSystem2* table = extendedTable("writev", 0, nullptr);
        if (table == nullptr) return -1;
        const int64_t n = table->writev(m_handle, vec, count);
        if (n > 0) {
            m_position = advanced(m_position, n);
            growLength();
        }
        return static_cast<Size>(n);
    }

    bool setvbuf(char* buffer, IOMode mode, size_t size) {
        IFileSystem2* table = extendedTable("setvbuf", 3, "setvbuf");
        if (table == nullptr) return false;
        return table->setvbuf(m_handle, buffer, mode, size) || refused("setvbuf");
    }

    bool fallocate(int mode, int64_t offset, int64_t length) {
        IFileSystem2* table = extendedTable("fallocate", 2, "getHandle");
        if (table == nullptr) return false;
        return table->fallocate(m_handle, mode, offset, length) || refused("fallocate");
    }

    bool fstat(FileInfoEx& info) {
        IFileSystem2* table = extendedTable("fstat", 2, "ftruncate");
        if (table == nullptr) return false;
        return table->fstat(m_handle, &info) || refused("fstat");
    }

private:
    // The table of the open file as an IFileSystem2 for `operation`, or null after its line: a
    // closed file is reported at `closedLevel` under the name `closedName` (the names these
    // lines have always carried), a plain IFileSystem at level 3.
    IFileSystem2* extendedTable(const char* operation, int closedLevel, const char* closedName) {
        if (m_handle == nullptr) {
            KERNA_FILE_LOG(closedLevel, operation, "%s::%s failed, file has not been opened!\n",
                           Traits::className, closedName);
            return nullptr;
        }
        IFileSystem2* table = dynamic_cast<IFileSystem2*>(m_opt);
        if (table == nullptr) {
            KERNA_FILE_LOG(3, operation, "%s::current file system does not support %s.",
                           Traits::className, operation);
        }
        return table;
    }

    bool refused(const char* operation) {
        KERNA_FILE_LOG(3, operation, "%s::%s failed\n", Traits::className, operation);
        return false;
    }

    // `base` moved by `offset`, in the width of the count (a 32-bit count wraps as 32 bits).
    static Count advanced(Count base, int64_t offset) {
        return static_cast<Count>(static_cast<uint64_t>(base) + static_cast<uint64_t>(offset));
    }

    void readPosition() {
        const Size position = Traits::tell(m_opt, m_handle);
        m_position = position < 0 ? 0 : static_cast<Count>(position);
    }

    void growLength() {
        if (m_length < m_position) m_length = m_position;
    }

    bool validBuffer(const void* owner, const char* operation, const void* buffer, Size size) {
        if (size >= 0 && (buffer != nullptr || size == 0)) return true;
        KERNA_FILE_LOG(2, operation, "this:%p %s::%s() buffer:%p size:%lld is invalid\n", owner,
                       Traits::className, operation, buffer, static_cast<long long>(size));
        return false;
    }

    // Reads into `buffer`: one table call, or passes until all has come or a pass gives none.
    // The position advances by what came.
    uint64_t readBytes(const void* owner, void* buffer, uint64_t wanted) {
        char* bytes = static_cast<char*>(buffer);
        uint64_t done = 0;
        if (!Traits::loops) {
            done = m_opt->fread(bytes, 1, wanted, m_handle);
        } else {
            while (done < wanted) {
                const uint64_t ask = wanted - done;
                const size_t n = m_opt->fread(bytes + done, 1, ask, m_handle);
                if (n == 0) {
                    KERNA_FILE_LOG(3, "read",
                                   "this:%p fread get error, total:%lld has read:%lld, "
                                   "expected:%lu return actuallen:%lu\n",
                                   owner, static_cast<long long>(wanted),
                                   static_cast<long long>(done), static_cast<unsigned long>(ask),
                                   static_cast<unsigned long>(n));
                    break;
                }
                done += n;
            }
        }
        m_position = advanced(m_position, static_cast<int64_t>(done));
        return done;
    }

    void logShortLoad(const void* owner, uint64_t length, uint64_t got) {
        if (Traits::loops) {
            KERNA_FILE_LOG(3, "load", "this:%p CLfsFile::load() length:%llu, ret:%lld\n", owner,
                           static_cast<unsigned long long>(length), static_cast<long long>(got));
        } else {
            KERNA_FILE_LOG(3, "load", "this:%p CFile::load() length:%d, ret:%d\n", owner,
                           static_cast<int>(length), static_cast<int>(got));
        }
    }

public:
    void* m_handle = nullptr;  ///< the open stream, null when closed
    char* m_buffer = nullptr;  ///< contents after load, owned
    Count m_length = 0;        ///< length as far as seen; 0: not taken yet
    Count m_position = 0;      ///< current position
    IFileSystem* m_opt;        ///< table in use, never null
    IFileSystem* m_home;       ///< the object's default table
};

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_FILE_FILEOBJECT_H_

// FileSystem.h
//
// File systems of the older interface: a plain table of 19 functions (FileSystemTable), the
// CFSOperation that turns such a table into a Tessaran::Kerna::IFileSystem, and
// hookFileSystemTable, which hooks a table for a path prefix through
// Tessaran::Kerna::hookFileSystem. The older interface keeps 32 rows of its own (row 0 unused),
// each with a prefix of at most 31 characters and the CFSOperation it made; every hook made here
// also takes one of the 31 places of hookFileSystem. A source-level interface: not exported from
// libkerna.so; it comes with the static companion library kerna_source.
#ifndef KERNA_LEGACY_FILESYSTEM_H_
#define KERNA_LEGACY_FILESYSTEM_H_

#include <cstddef>
#include <cstdint>

#include "kerna/kerna3/FileSystem.h"

using Tessaran::Kerna::FileInfo;
using Tessaran::Kerna::IFileSystem;

/// The operations of a file system as plain functions, each with the arguments of the
/// IFileSystem operation of its name and without the object. A null entry makes its operation
/// fail (null, 0 or -1) with a line at level 2.
struct FileSystemTable {
    void* (*fopen)(const char* path, const char* mode);
    int (*fclose)(void* file);
    size_t (*fread)(void* buffer, size_t size, size_t count, void* file);
    size_t (*fwrite)(const void* buffer, size_t size, size_t count, void* file);
    int (*fflush)(void* file);
    int (*fseek)(void* file, int32_t offset, int whence);
    int32_t (*ftell)(void* file);
    char* (*fgets)(char* buffer, int size, void* file);
    int (*fputs)(const char* text, void* file);
    int (*rename)(const char* oldPath, const char* newPath);
    int (*remove)(const char* path);
    int32_t (*findfirst)(const char* pattern, FileInfo* info);
    int (*findnext)(int32_t id, FileInfo* info);
    int (*findclose)(int32_t id);
    int (*mkdir)(const char* path);
    int (*rmdir)(const char* path);
    int (*statfs)(const char* path, uint64_t* freeToCaller, uint64_t* total, uint64_t* totalFree);
    int (*access)(const char* path, int mode);
    int (*stat)(const char* path, FileInfo* info);
};

/// An IFileSystem over a copy of a FileSystemTable: each operation calls the function at its
/// place. reservedOp, fseek64 and ftell64 keep the defaults of IFileSystem, so such a table
/// serves CFile, not CLfsFile.
class CFSOperation : public IFileSystem {
public:
    explicit CFSOperation(const ::FileSystemTable& table);

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

private:
    ::FileSystemTable m_table;
};

/// With a table: takes the first free row of the older interface (none free: nothing happens),
/// keeps up to 31 characters of `prefix`, makes a CFSOperation of a copy of `table` and hooks it
/// with Tessaran::Kerna::hookFileSystem for the whole `prefix`. With a null table: finds the row
/// whose prefix equals `prefix` over 32 characters (none: nothing happens; so a prefix longer than
/// 31 characters is not found by its whole text, only by its first 31 characters), unhooks the
/// prefix the row was hooked with, and frees the CFSOperation. A null or empty
/// `prefix` is refused with a line at level 2. Any thread; the rows have a lock, which is not held
/// while hookFileSystem runs.
void hookFileSystemTable(const char* prefix, const ::FileSystemTable* table);

#endif  // KERNA_LEGACY_FILESYSTEM_H_

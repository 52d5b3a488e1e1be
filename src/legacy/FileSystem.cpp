// FileSystem.cpp
//
// CFSOperation, an IFileSystem over a table of plain functions, and the older hook function with
// its rows (which live in libkerna.so: LegacyObjects.h).
#include <kerna/legacy/FileSystem.h>

#include <cstring>
#include <new>

#include "base/InterfaceLog.h"
#include "legacy/LegacyObjects.h"

namespace {

// A table entry that is null makes its operation fail.
template <typename Result>
Result missing(const char* operation, Result failure) {
    KERNA_INTERFACE_LOG(2, "FileSystem", "CFSOperation", "CFSOperation::%s has no function\n",
                        operation);
    return failure;
}

}  // namespace

#define KERNA_CALL(name, failure, ...) \
    (m_table.name != nullptr ? m_table.name(__VA_ARGS__) : missing(#name, failure))

CFSOperation::CFSOperation(const ::FileSystemTable& table) : m_table(table) {}

void* CFSOperation::fopen(const char* path, const char* mode) {
    return KERNA_CALL(fopen, static_cast<void*>(nullptr), path, mode);
}
int CFSOperation::fclose(void* file) { return KERNA_CALL(fclose, -1, file); }
size_t CFSOperation::fread(void* buffer, size_t size, size_t count, void* file) {
    return KERNA_CALL(fread, size_t(0), buffer, size, count, file);
}
size_t CFSOperation::fwrite(const void* buffer, size_t size, size_t count, void* file) {
    return KERNA_CALL(fwrite, size_t(0), buffer, size, count, file);
}
int CFSOperation::fflush(void* file) { return KERNA_CALL(fflush, -1, file); }
int CFSOperation::fseek(void* file, int32_t offset, int whence) {
    return KERNA_CALL(fseek, -1, file, offset, whence);
}
int32_t CFSOperation::ftell(void* file) { return KERNA_CALL(ftell, int32_t(-1), file); }
char* CFSOperation::fgets(char* buffer, int size, void* file) {
    return KERNA_CALL(fgets, static_cast<char*>(nullptr), buffer, size, file);
}
int CFSOperation::fputs(const char* text, void* file) { return KERNA_CALL(fputs, -1, text, file); }
int CFSOperation::rename(const char* oldPath, const char* newPath) {
    return KERNA_CALL(rename, -1, oldPath, newPath);
}
int CFSOperation::remove(const char* path) { return KERNA_CALL(remove, -1, path); }
int32_t CFSOperation::findfirst(const char* pattern, FileInfo* info) {
    return KERNA_CALL(findfirst, int32_t(-1), pattern, info);
}
int CFSOperation::findnext(int32_t id, FileInfo* info) {
    return KERNA_CALL(findnext, -1, id, info);
}
int CFSOperation::findclose(int32_t id) { return KERNA_CALL(findclose, -1, id); }
int CFSOperation::mkdir(const char* path) { return KERNA_CALL(mkdir, -1, path); }
int CFSOperation::rmdir(const char* path) { return KERNA_CALL(rmdir, -1, path); }
int CFSOperation::statfs(const char* path, uint64_t* freeToCaller, uint64_t* total,
                         uint64_t* totalFree) {
    return KERNA_CALL(statfs, -1, path, freeToCaller, total, totalFree);
}
int CFSOperation::access(const char* path, int mode) { return KERNA_CALL(access, -1, path, mode); }
int CFSOperation::stat(const char* path, FileInfo* info) {
    return KERNA_CALL(stat, -1, path, info);
}

#undef KERNA_CALL

namespace {

void hook(LegacyFileHooks& hooks, const char* prefix, const ::FileSystemTable& table) {
    int row = 0;
    ::CFSOperation* operation = nullptr;
    {
        Tessaran::Kerna::CGuard guard(hooks.lock);
        for (int i = 1; i < 32 && row == 0; ++i) {
            if (hooks.rows[i].prefix[0] == '\0' && !hooks.rows[i].pending) row = i;
        }
        if (row == 0) return;  // no row free
        LegacyFileHooks::Row& r = hooks.rows[row];
        std::strncpy(r.prefix, prefix, sizeof r.prefix - 1);
        r.prefix[sizeof r.prefix - 1] = '\0';
        std::strncpy(r.hooked, prefix, sizeof r.hooked - 1);
        r.hooked[sizeof r.hooked - 1] = '\0';
        if (hooks.fsOpts[row] != nullptr) {
            Tessaran::Kerna::Detail::assertionFailed("fsOpts[i] == NULL", __PRETTY_FUNCTION__,
                                                     __FILE__, __LINE__);
        }
        operation = new (std::nothrow)::CFSOperation(table);
        hooks.fsOpts[row] = operation;
        r.pending = true;
        r.unhookAfterHook = false;
    }
    Tessaran::Kerna::hookFileSystem(prefix, operation);
    bool unhook;
    {
        Tessaran::Kerna::CGuard guard(hooks.lock);
        LegacyFileHooks::Row& r = hooks.rows[row];
        r.pending = false;
        unhook = r.unhookAfterHook;
        if (unhook) {  // an unhook came while the hook was on its way: it is made here
            r.unhookAfterHook = false;
            hooks.fsOpts[row] = nullptr;
        }
    }
    if (unhook) {
        Tessaran::Kerna::hookFileSystem(prefix, nullptr);
        delete operation;
    }
}

void unhook(LegacyFileHooks& hooks, const char* prefix) {
    ::CFSOperation* operation = nullptr;
    char hooked[sizeof(LegacyFileHooks::Row::hooked)];
    {
        Tessaran::Kerna::CGuard guard(hooks.lock);
        int row = 0;
        for (int i = 1; i < 32 && row == 0; ++i) {
            if (hooks.rows[i].prefix[0] != '\0' &&
                std::strncmp(hooks.rows[i].prefix, prefix, 32) == 0) {
                row = i;
            }
        }
        if (row == 0) return;
        LegacyFileHooks::Row& r = hooks.rows[row];
        r.prefix[0] = '\0';
        if (r.pending) {
            r.unhookAfterHook = true;  // the hooking thread unhooks once its hook is made
            return;
        }
        operation = hooks.fsOpts[row];
        hooks.fsOpts[row] = nullptr;
        std::memcpy(hooked, r.hooked, sizeof hooked);
    }
    // Out of the library's table first (under the prefix it was hooked with), then freed: no
    // file opened later finds it.
    Tessaran::Kerna::hookFileSystem(hooked, nullptr);
    delete operation;
}

}  // namespace

void hookFileSystemTable(const char* prefix, const ::FileSystemTable* table) {
    // An empty prefix would select every path while its row looked free.
    if (prefix == nullptr || prefix[0] == '\0') {
        KERNA_INTERFACE_LOG(2, "FileSystem", "hookFileSystemTable",
                            "hookFileSystemTable prefix is NULL or empty\n");
        return;
    }
    LegacyFileHooks& hooks = *Tessaran::Kerna::Detail::olderFileHooks();
    if (table != nullptr) {
        hook(hooks, prefix, *table);
    } else {
        unhook(hooks, prefix);
    }
}

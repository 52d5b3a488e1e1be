// FileTables.h
//
// The tables of file operations inside the library: the two default tables (over the system,
// and the one that CLfsFile uses for UTF-8 paths), the selection of a table for a path through
// the hooks, and the search-pattern matcher of the default tables.
#ifndef KERNA_SRC_FILE_FILETABLES_H_
#define KERNA_SRC_FILE_FILETABLES_H_

#include "kerna/kerna3/FileSystem.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// The default table (made at first use, never freed).
IFileSystem* defaultFileTable();
/// The default table for UTF-8 paths. System file names are UTF-8 already, so it does what the
/// default table does, with its own searches.
IFileSystem* utf8FileTable();

/// The table for `path`: the first hook (in the order of hooking) whose prefix begins the path,
/// else the default table. Never null; a null path gets the default table. `hooked`, when
/// given, tells whether a hook was chosen.
IFileSystem* selectFileTable(const char* path, bool* hooked = nullptr);

/// The default tables count the position of a stream that does not append, so that ftell asks
/// the system only after what they cannot count; false makes every ftell ask (the reference,
/// for tests and measurements).
void countStreamPositions(bool on);

/// True when `name` matches `pattern`: "*" any run of bytes, "?" any one byte, every other byte
/// itself (case matters); the pattern "*.*" matches every name.
bool matchFilePattern(const char* pattern, const char* name);

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_FILE_FILETABLES_H_

// FileFind.h
//
// CFileFind walks the entries that match a search pattern ("logs/*.txt", "a\\b?"), through the
// file-operation table chosen for the pattern's path (see FileSystem.h), so that a hooked file
// system is searched like the system's own. On the default table the entries come sorted by
// name, "." and ".." included (the caller skips them).
//
// An object belongs to one thread at a time.
#ifndef KERNA_KERNA3_FILEFIND_H_
#define KERNA_KERNA3_FILEFIND_H_

#include <cstdint>
#include <string>

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {

class FileFindInternal;

/// A search over the entries matching a pattern, handing names back as std::string.
class KERNA_API CFileFind {
public:
    CFileFind();
    /// Ends an open search.
    virtual ~CFileFind();
    CFileFind(const CFileFind&) = delete;
    CFileFind& operator=(const CFileFind&) = delete;

    /// Ends any open search and starts one for `fileName`; true when it found a first entry.
    /// The directory part of the pattern is the text up to its last "/" or "\\". A null or empty
    /// pattern, or one that matches nothing, gives false (the default table logs the latter).
    virtual bool findFile(const char* fileName);
    /// Moves to the next entry; false at the end (the search stays open until close, the next
    /// findFile or the destructor) or with no search open (the table logs that).
    virtual bool findNextFile();
    /// Ends the search; the current entry stays readable. Nothing if none is open.
    virtual void close();
    /// Size of the current entry in bytes.
    virtual int64_t getLength();
    /// The current entry's name.
    virtual std::string getFileName();
    /// The pattern's directory part followed by the entry's name.
    virtual std::string getFilePath();
    /// Attribute 0x01: the owner may not write it.
    virtual bool isReadOnly();
    /// Attribute 0x10: a directory (a link to one is not).
    virtual bool isDirectory();
    /// Attribute 0x02: the name begins with ".".
    virtual bool isHidden();
    /// No attribute set.
    virtual bool isNormal();

private:
    FileFindInternal* m_internal;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_FILEFIND_H_

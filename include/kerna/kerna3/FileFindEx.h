// FileFindEx.h
//
// CFileFindEx: the search of CFileFind (FileFind.h) without virtual operations, handing names
// back as the library's String.
//
// An object belongs to one thread at a time.
#ifndef KERNA_KERNA3_FILEFINDEX_H_
#define KERNA_KERNA3_FILEFINDEX_H_

#include <cstdint>

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/FlexString.h"

namespace Tessaran {
namespace Kerna {

class FileFindInternal;

/// A search over the entries matching a pattern; as CFileFind.
class KERNA_API CFileFindEx {
public:
    CFileFindEx();
    ~CFileFindEx();
    CFileFindEx(const CFileFindEx&) = delete;
    CFileFindEx& operator=(const CFileFindEx&) = delete;

    /// As CFileFind::findFile.
    bool findFile(const char* fileName);
    /// As CFileFind::findNextFile.
    bool findNextFile();
    /// As CFileFind::close.
    void close();
    int64_t getLength();
    String getFileName();
    String getFilePath();
    bool isReadOnly();
    bool isDirectory();
    bool isHidden();
    bool isNormal();

private:
    FileFindInternal* m_internal;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_FILEFINDEX_H_

// FileFind.cpp
//
// CFileFind and CFileFindEx: one search record and its operations, behind two faces (virtual
// with std::string names, and plain with String names). A search runs on the table chosen for
// its pattern; the record keeps the pattern's directory part to build full paths, and puts it
// into the entry's name before each call so that a table sees the directory being searched.
#include "kerna/kerna3/FileFind.h"

#include <cstring>

#include "file/FileTables.h"
#include "kerna/kerna3/FileFindEx.h"
#include "kerna/kerna3/FileSystem.h"

namespace Tessaran {
namespace Kerna {

class FileFindInternal {
public:
    FileFindInternal() : m_table(Detail::defaultFileTable()) {
        std::memset(&m_info, 0, sizeof m_info);
    }
    ~FileFindInternal() { close(); }

    bool findFile(const char* fileName) {
        close();
        m_path.clear();
        if (fileName != nullptr) {
            const char* cut = nullptr;
            for (const char* p = fileName; *p != '\0'; ++p) {
                if (*p == '/' || *p == '\\') cut = p;
            }
            if (cut != nullptr) m_path.assign(fileName, static_cast<size_t>(cut - fileName) + 1);
        }
        m_table = Detail::selectFileTable(fileName);
        showDirectory();
        m_handle = m_table->findfirst(fileName, &m_info);
        return m_handle != -1;
    }

    bool findNextFile() {
        showDirectory();
        return m_table->findnext(m_handle, &m_info) != -1;
    }

    void close() {
        if (m_handle == -1) return;
        m_table->findclose(m_handle);
        m_handle = -1;
    }

    int64_t length() const { return m_info.size; }
    const char* name() const { return m_info.name; }
    const String& path() const { return m_path; }
    bool attribute(unsigned bit) const { return (m_info.attrib & bit) != 0; }
    bool normal() const { return m_info.attrib == 0; }

private:
    void showDirectory() {
        const size_t n =
            m_path.size() < sizeof m_info.name - 1 ? m_path.size() : sizeof m_info.name - 1;
        std::memcpy(m_info.name, m_path.data(), n);
        m_info.name[n] = '\0';
    }

    int32_t m_handle = -1;
    FileInfo m_info;
    IFileSystem* m_table;
    String m_path;
};

CFileFind::CFileFind() : m_internal(new FileFindInternal) {}
CFileFind::~CFileFind() { delete m_internal; }
bool CFileFind::findFile(const char* fileName) { return m_internal->findFile(fileName); }
bool CFileFind::findNextFile() { return m_internal->findNextFile(); }
void CFileFind::close() { m_internal->close(); }
int64_t CFileFind::getLength() { return m_internal->length(); }
std::string CFileFind::getFileName() { return m_internal->name(); }
std::string CFileFind::getFilePath() {
    std::string path(m_internal->path().data(), m_internal->path().size());
    return path += m_internal->name();
}
bool CFileFind::isReadOnly() { return m_internal->attribute(fileAttributeReadOnly); }
bool CFileFind::isDirectory() { return m_internal->attribute(fileAttributeDirectory); }
bool CFileFind::isHidden() { return m_internal->attribute(fileAttributeHidden); }
bool CFileFind::isNormal() { return m_internal->normal(); }

CFileFindEx::CFileFindEx() : m_internal(new FileFindInternal) {}
CFileFindEx::~CFileFindEx() { delete m_internal; }
bool CFileFindEx::findFile(const char* fileName) { return m_internal->findFile(fileName); }
bool CFileFindEx::findNextFile() { return m_internal->findNextFile(); }
void CFileFindEx::close() { m_internal->close(); }
int64_t CFileFindEx::getLength() { return m_internal->length(); }
String CFileFindEx::getFileName() { return String(m_internal->name()); }
String CFileFindEx::getFilePath() {
    String path(m_internal->path());
    return path += m_internal->name();
}
bool CFileFindEx::isReadOnly() { return m_internal->attribute(fileAttributeReadOnly); }
bool CFileFindEx::isDirectory() { return m_internal->attribute(fileAttributeDirectory); }
bool CFileFindEx::isHidden() { return m_internal->attribute(fileAttributeHidden); }
bool CFileFindEx::isNormal() { return m_internal->normal(); }

}  // namespace Kerna
}  // namespace Tessaran

// File.cpp
//
// The older global CFile and CFileFind, each on an object of the Tessaran::Kerna class of the same
// name that it owns.
#include <kerna/legacy/File.h>
#include <kerna/legacy/FileFind.h>

namespace Kerna = Tessaran::Kerna;

CFile::CFile() : m_file(new Kerna::CFile) {}
CFile::~CFile() { delete m_file; }

bool CFile::open(const char* path, unsigned int flags) { return m_file->open(path, flags); }
void CFile::close() { m_file->close(); }

uint32_t CFile::read(void* buffer, int32_t size) {
    const int32_t n = m_file->read(buffer, size);
    return n < 0 ? 0 : static_cast<uint32_t>(n);
}

uint32_t CFile::write(const void* buffer, int32_t size) {
    const int32_t n = m_file->write(buffer, size);
    return n < 0 ? 0 : static_cast<uint32_t>(n);
}

void CFile::flush() { m_file->flush(); }
uint32_t CFile::seek(int32_t offset, SeekPosition from) { return m_file->seek(offset, from); }
uint32_t CFile::getPosition() const { return m_file->getPosition(); }
uint32_t CFile::getLength() { return m_file->getLength(); }
char* CFile::gets(char* buffer, int32_t size) { return m_file->gets(buffer, size); }
int32_t CFile::puts(const char* text) { return m_file->puts(text); }
bool CFile::isOpen() const { return m_file->isOpen(); }
char* CFile::load(const char* path) { return m_file->load(path); }
void CFile::unload() { m_file->unload(); }

bool CFile::rename(const char* oldPath, const char* newPath) {
    return Kerna::CFile::rename(oldPath, newPath);
}
bool CFile::remove(const char* path) { return Kerna::CFile::remove(path); }
bool CFile::makeDirectory(const char* path) { return Kerna::CFile::makeDirectory(path); }
bool CFile::removeDirectory(const char* path) { return Kerna::CFile::removeDirectory(path); }
bool CFile::statFS(const char* path, uint64_t& freeToCaller, uint64_t& total, uint64_t& totalFree) {
    return Kerna::CFile::statFS(path, freeToCaller, total, totalFree);
}
bool CFile::access(const char* path, int mode) { return Kerna::CFile::access(path, mode); }
bool CFile::stat(const char* path, FileInfo& info) { return Kerna::CFile::stat(path, info); }

CFileFind::CFileFind() : m_find(new Kerna::CFileFind) {}
CFileFind::~CFileFind() { delete m_find; }

bool CFileFind::findFile(const char* fileName) { return m_find->findFile(fileName); }
bool CFileFind::findNextFile() { return m_find->findNextFile(); }
void CFileFind::close() { m_find->close(); }
int64_t CFileFind::getLength() { return m_find->getLength(); }
std::string CFileFind::getFileName() { return m_find->getFileName(); }
std::string CFileFind::getFilePath() { return m_find->getFilePath(); }
bool CFileFind::isReadOnly() { return m_find->isReadOnly(); }
bool CFileFind::isDirectory() { return m_find->isDirectory(); }
bool CFileFind::isHidden() { return m_find->isHidden(); }
bool CFileFind::isNormal() { return m_find->isNormal(); }

// FileFind.h
//
// The older global CFileFind: a Tessaran::Kerna::CFileFind of its own behind the older calling
// form; every operation forwards to the operation of the same name. A source-level interface:
// not exported from libkerna.so; it comes with the static companion library kerna_source.
#ifndef KERNA_LEGACY_FILEFIND_H_
#define KERNA_LEGACY_FILEFIND_H_

#include <cstdint>
#include <string>

#include "kerna/kerna3/FileFind.h"

/// A search of the older interface; see Tessaran::Kerna::CFileFind. One object belongs to one
/// thread at a time.
class CFileFind {
public:
    CFileFind();
    virtual ~CFileFind();
    CFileFind(const CFileFind&) = delete;
    CFileFind& operator=(const CFileFind&) = delete;

    virtual bool findFile(const char* fileName);
    virtual bool findNextFile();
    virtual void close();

    int64_t getLength();
    std::string getFileName();
    std::string getFilePath();
    bool isReadOnly();
    bool isDirectory();
    bool isHidden();
    bool isNormal();

private:
    Tessaran::Kerna::CFileFind* m_find;
};

#endif  // KERNA_LEGACY_FILEFIND_H_

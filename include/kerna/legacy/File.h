// File.h
//
// The older global CFile: a Tessaran::Kerna::CFile of its own behind the older calling form.
// Every operation forwards to the operation of the same name, with its arguments and result,
// except read and write, which give an unsigned count: 0 where the new class gives -1 (a closed
// file, a refused size). A source-level interface: not exported from libkerna.so; it comes with
// the static companion library kerna_source.
#ifndef KERNA_LEGACY_FILE_H_
#define KERNA_LEGACY_FILE_H_

#include <cstdint>

#include "kerna/kerna3/File.h"
#include "kerna/legacy/FileSystem.h"

using Tessaran::Kerna::openCreate;
using Tessaran::Kerna::openDirect;
using Tessaran::Kerna::OpenFlags;
using Tessaran::Kerna::openKeep;
using Tessaran::Kerna::openNoInherit;
using Tessaran::Kerna::openRead;
using Tessaran::Kerna::openReadWrite;
using Tessaran::Kerna::openWrite;
using Tessaran::Kerna::seekBegin;
using Tessaran::Kerna::seekCurrent;
using Tessaran::Kerna::seekEnd;
using Tessaran::Kerna::SeekPosition;

/// A file of the older interface; see Tessaran::Kerna::CFile for each operation. One object
/// belongs to one thread at a time.
class CFile {
public:
    CFile();
    virtual ~CFile();
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    virtual bool open(const char* path, unsigned int flags);
    virtual void close();
    /// Bytes read; 0 for a failure.
    virtual uint32_t read(void* buffer, int32_t size);
    /// Bytes written; 0 for a failure.
    virtual uint32_t write(const void* buffer, int32_t size);
    virtual void flush();
    virtual uint32_t seek(int32_t offset, SeekPosition from);
    virtual uint32_t getPosition() const;
    virtual uint32_t getLength();
    virtual char* gets(char* buffer, int32_t size);
    virtual int32_t puts(const char* text);
    virtual bool isOpen() const;

    char* load(const char* path);
    void unload();

    static bool rename(const char* oldPath, const char* newPath);
    static bool remove(const char* path);
    static bool makeDirectory(const char* path);
    static bool removeDirectory(const char* path);
    static bool statFS(const char* path, uint64_t& freeToCaller, uint64_t& total,
                       uint64_t& totalFree);
    static bool access(const char* path, int mode);
    static bool stat(const char* path, FileInfo& info);

private:
    Tessaran::Kerna::CFile* m_file;
};

#endif  // KERNA_LEGACY_FILE_H_

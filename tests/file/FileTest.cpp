// CFile as a user sees it: every operation on a hooked prefix reaches the hooked table and never
// the disk, length and position cost no table call, the access modes and their lengths, load,
// seek, the IFileSystem2 extras, and the operations on paths.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "kerna/kerna3/File.h"
#include "kerna/kerna3/FileFind.h"
#include "support/LogCapture.h"
#include "support/MemoryFileSystem.h"
#include "support/TempDir.h"

using namespace Tessaran::Kerna;
using KernaTest::LogCapture;
using KernaTest::MemoryFileSystem;

namespace {

// A table that is only an IFileSystem: forwards everything to a memory file system.
class PlainTable : public IFileSystem {
public:
    explicit PlainTable(MemoryFileSystem& fs) : m_fs(fs) {}
    void* fopen(const char* p, const char* m) override { return m_fs.fopen(p, m); }
    int fclose(void* f) override { return m_fs.fclose(f); }
    size_t fread(void* b, size_t s, size_t c, void* f) override { return m_fs.fread(b, s, c, f); }
    size_t fwrite(const void* b, size_t s, size_t c, void* f) override {
        return m_fs.fwrite(b, s, c, f);
    }
    int fflush(void* f) override { return m_fs.fflush(f); }
    int fseek(void* f, int32_t o, int w) override { return m_fs.fseek(f, o, w); }
    int32_t ftell(void* f) override { return m_fs.ftell(f); }
    char* fgets(char* b, int s, void* f) override { return m_fs.fgets(b, s, f); }
    int fputs(const char* t, void* f) override { return m_fs.fputs(t, f); }
    int rename(const char* a, const char* b) override { return m_fs.rename(a, b); }
    int remove(const char* p) override { return m_fs.remove(p); }
    int32_t findfirst(const char* p, FileInfo* i) override { return m_fs.findfirst(p, i); }
    int findnext(int32_t id, FileInfo* i) override { return m_fs.findnext(id, i); }
    int findclose(int32_t id) override { return m_fs.findclose(id); }
    int mkdir(const char* p) override { return m_fs.mkdir(p); }
    int rmdir(const char* p) override { return m_fs.rmdir(p); }
    int statfs(const char* p, uint64_t* a, uint64_t* t, uint64_t* f) override {
        return m_fs.statfs(p, a, t, f);
    }
    int access(const char* p, int m) override { return m_fs.access(p, m); }
    int stat(const char* p, FileInfo* i) override { return m_fs.stat(p, i); }

private:
    MemoryFileSystem& m_fs;
};

class MemoryFileTest : public ::testing::Test {
protected:
    void SetUp() override { hookFileSystem("mem:", &m_fs); }
    void TearDown() override { hookFileSystem("mem:", nullptr); }
    MemoryFileSystem m_fs;
};

TEST_F(MemoryFileTest, EveryOperationReachesTheHookAndLengthAndPositionAreFree) {
    KernaTest::TempDir cwd;
    char before[4096];
    ASSERT_NE(getcwd(before, sizeof before), nullptr);
    ASSERT_EQ(chdir(cwd.path().c_str()), 0);  // anything landing on the disk would land here

    CFile file;
    ASSERT_TRUE(file.open("mem:/f", openReadWrite | openCreate));
    EXPECT_EQ(m_fs.calls("stat"), 0);  // created: length 0 without asking
    EXPECT_EQ(file.write("hello world", 11), 11);
    m_fs.resetCalls();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(file.getPosition(), 11u);
        EXPECT_EQ(file.getLength(), 11u);
        EXPECT_EQ(file.seek(0, seekCurrent), 11u);
        EXPECT_EQ(file.seek(11, seekBegin), 11u);
    }
    EXPECT_EQ(m_fs.totalCalls(), 0);
    EXPECT_EQ(file.seek(-5, seekEnd), 6u);  // from the end: always a call
    EXPECT_EQ(m_fs.calls("fseek"), 1);
    char buf[8] = {};
    EXPECT_EQ(file.read(buf, 5), 5);
    EXPECT_STREQ(buf, "world");
    EXPECT_EQ(file.getPosition(), 11u);
    file.close();

    EXPECT_TRUE(CFile::makeDirectory("mem:/dir"));
    EXPECT_TRUE(CFile::rename("mem:/f", "mem:/dir/g"));
    EXPECT_TRUE(CFile::access("mem:/dir/g", 0));
    FileInfo info;
    EXPECT_TRUE(CFile::stat("mem:/dir/g", info));
    EXPECT_EQ(info.size, 11);
    uint64_t a = 0, t = 0, f = 0;
    EXPECT_TRUE(CFile::statFS("mem:/dir", a, t, f));
    EXPECT_EQ(t, 4000u);
    CFileFind find;
    EXPECT_TRUE(find.findFile("mem:/dir/*"));
    find.close();
    EXPECT_TRUE(CFile::remove("mem:/dir/g"));
    EXPECT_TRUE(CFile::removeDirectory("mem:/dir"));
    for (const char* op :
         {"mkdir", "rename", "access", "stat", "statfs", "findfirst", "remove", "rmdir"}) {
        EXPECT_GE(m_fs.calls(op), 1) << op;
    }
    CFileFind onDisk;  // the current directory stayed empty
    ASSERT_TRUE(onDisk.findFile("./*"));
    int entries = 0;
    do ++entries;
    while (onDisk.findNextFile());
    EXPECT_EQ(entries, 2);  // "." and ".."
    ASSERT_EQ(chdir(before), 0);
}

TEST_F(MemoryFileTest, AccessModesAndTheirLengths) {
    m_fs.addFile("mem:/f", "0123456789", 1);
    CFile file;
    LogCapture capture;
    EXPECT_FALSE(file.open("mem:/f", 3));  // access bits 3 give no mode
    char expected[96];
    snprintf(expected, sizeof expected, "this:%p CFile::open() dwFlags:%d is invalid\n",
             static_cast<void*>(&file), 3);
    EXPECT_EQ(capture.messages(), std::vector<std::string>{expected});
    EXPECT_FALSE(file.open("mem:/missing", openRead));
    EXPECT_FALSE(file.isOpen());

    ASSERT_TRUE(file.open("mem:/f", openReadWrite | openCreate | openKeep));  // "ab+"
    EXPECT_EQ(file.getLength(), 10u);
    EXPECT_EQ(file.write("ab", 2), 2);
    EXPECT_EQ(m_fs.contents("mem:/f"), "0123456789ab");
    EXPECT_EQ(file.getLength(), 12u);

    m_fs.resetCalls();
    ASSERT_TRUE(file.open("mem:/f", openReadWrite | openCreate));  // "wb+": closes the first
    EXPECT_EQ(m_fs.calls("fclose"), 1);
    EXPECT_EQ(m_fs.calls("stat"), 0);
    EXPECT_EQ(file.getLength(), 0u);
    EXPECT_EQ(m_fs.contents("mem:/f"), "");

    m_fs.addFile("mem:/f", "abc", 1);
    ASSERT_TRUE(file.open("mem:/f", openWrite));  // "wb" empties, whatever openCreate says
    EXPECT_EQ(m_fs.calls("stat"), 1);             // the length is still asked for: 0
    EXPECT_EQ(file.getLength(), 0u);
    EXPECT_EQ(file.puts("line\n"), 5);
    EXPECT_EQ(file.getLength(), 5u);
    ASSERT_TRUE(file.open("mem:/f", openRead));
    char line[16];
    EXPECT_EQ(file.gets(line, sizeof line), line);
    EXPECT_STREQ(line, "line\n");
    EXPECT_EQ(file.getPosition(), 5u);
    EXPECT_EQ(file.gets(line, sizeof line), nullptr);
}

TEST_F(MemoryFileTest, LoadKeepsOneBufferAndRefusesEmptyOrShortFiles) {
    m_fs.addFile("mem:/a", "contents", 1);
    m_fs.addFile("mem:/b", "other", 1);
    m_fs.addFile("mem:/empty", "", 1);
    CFile file;
    char* data = file.load("mem:/a");
    ASSERT_NE(data, nullptr);
    EXPECT_STREQ(data, "contents");
    EXPECT_EQ(file.load("mem:/b"), data);  // the same buffer, whatever the path
    file.unload();
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.load("mem:/empty"), nullptr);
    EXPECT_TRUE(file.isOpen());  // an empty file stays open
    file.close();

    // A table whose stat promises more than the file holds: the read comes short.
    class Promising : public MemoryFileSystem {
    public:
        int stat(const char* p, FileInfo* i) override {
            const int r = MemoryFileSystem::stat(p, i);
            i->size += 4;
            return r;
        }
    } promising;
    promising.addFile("lie:/x", "abc", 1);
    hookFileSystem("lie:", &promising);
    LogCapture capture;
    EXPECT_EQ(file.load("lie:/x"), nullptr);
    char expected[96];
    snprintf(expected, sizeof expected, "this:%p CFile::load() length:%d, ret:%d\n",
             static_cast<void*>(&file), 7, 3);
    EXPECT_EQ(capture.messages(), std::vector<std::string>{expected});
    EXPECT_FALSE(file.isOpen());
    hookFileSystem("lie:", nullptr);
}

TEST_F(MemoryFileTest, SeekFailureLeavesPositionAndLength) {
    CFile file;
    ASSERT_TRUE(file.open("mem:/f", openReadWrite | openCreate));
    EXPECT_EQ(file.write("0123456789", 10), 10);
    EXPECT_EQ(file.seek(4, seekBegin), 4u);
    EXPECT_EQ(file.seek(-100, seekCurrent), 0u);  // refused by the table
    EXPECT_EQ(file.getPosition(), 4u);
    EXPECT_EQ(file.getLength(), 10u);
    EXPECT_EQ(file.seek(20, seekBegin), 20u);  // past the end: the length stays
    EXPECT_EQ(file.getLength(), 10u);
    EXPECT_EQ(file.write("x", 1), 1);  // and grows with a write there
    EXPECT_EQ(file.getLength(), 21u);
    EXPECT_EQ(file.seek(3, static_cast<SeekPosition>(7)), 3u);  // an unknown origin: the start
}

TEST_F(MemoryFileTest, ExtrasNeedAnIFileSystem2) {
    CFile file;
    ASSERT_TRUE(file.open("mem:/f", openReadWrite | openCreate));
    const io_vec pieces[] = {{"ab", 2}, {"cde", 3}};
    EXPECT_EQ(file.writev(pieces, 2), 5);  // a table of this program, tested by the library
    EXPECT_EQ(file.getLength(), 5u);
    EXPECT_TRUE(file.setvbuf(nullptr, ioUnbuffered, 0));
    FileInfoEx ex;
    EXPECT_TRUE(file.fstat(ex));  // the interface's defaults report success
    EXPECT_TRUE(file.fallocate(0, 0, 100));
    file.close();

    MemoryFileSystem backing("plain:");
    PlainTable plain(backing);
    hookFileSystem("plain:", &plain);
    ASSERT_TRUE(file.open("plain:/f", openReadWrite | openCreate));
    LogCapture capture;
    EXPECT_EQ(file.writev(pieces, 2), -1);
    EXPECT_FALSE(file.setvbuf(nullptr, ioFullBuffered, 4096));
    EXPECT_FALSE(file.fallocate(0, 0, 1));
    EXPECT_FALSE(file.fstat(ex));
    EXPECT_EQ(capture.messages(),
              (std::vector<std::string>{"CFile::current file system does not support writev.",
                                        "CFile::current file system does not support setvbuf.",
                                        "CFile::current file system does not support fallocate.",
                                        "CFile::current file system does not support fstat."}));
    EXPECT_EQ(file.write("ok", 2), 2);  // everything else works
    file.close();
    EXPECT_EQ(backing.contents("plain:/f"), "ok");
    hookFileSystem("plain:", nullptr);
}

TEST(File, ClosedObjectHasDefinedResults) {
    CFile file;
    char buf[4];
    FileInfoEx ex;
    LogCapture capture;
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.read(buf, 4), -1);
    EXPECT_EQ(file.write(buf, 4), -1);
    EXPECT_EQ(file.seek(1, seekBegin), 0u);
    EXPECT_EQ(file.getPosition(), 0u);
    EXPECT_EQ(file.getLength(), 0u);
    EXPECT_EQ(file.puts("x"), 0);
    EXPECT_EQ(file.gets(buf, 4), nullptr);
    EXPECT_EQ(file.writev(nullptr, 0), -1);
    file.flush();
    file.close();
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_FALSE(file.setvbuf(nullptr, ioFullBuffered, 0));
    EXPECT_FALSE(file.fallocate(0, 0, 1));
    EXPECT_FALSE(file.fstat(ex));
    EXPECT_FALSE(file.resv3());
    EXPECT_FALSE(file.resv4());
    EXPECT_FALSE(CFile::changeFileFlags("/tmp", true, 1));
    EXPECT_EQ(capture.messages(),
              (std::vector<std::string>{"CFile::setvbuf failed, file has not been opened!\n",
                                        "CFile::getHandle failed, file has not been opened!\n",
                                        "CFile::ftruncate failed, file has not been opened!\n"}));
}

TEST(File, BadArgumentsAreRefusedWithALine) {
    KernaTest::TempDir dir;
    LogCapture capture;
    CFile file;
    EXPECT_FALSE(file.open(nullptr, openRead));
    EXPECT_FALSE(file.open("", openRead));
    EXPECT_FALSE(CFile::rename(nullptr, "x"));
    EXPECT_FALSE(CFile::remove(nullptr));
    EXPECT_FALSE(CFile::makeDirectory(nullptr));
    EXPECT_FALSE(CFile::removeDirectory(""));
    FileInfo info;
    EXPECT_FALSE(CFile::stat(nullptr, info));
    EXPECT_FALSE(CFile::access(nullptr, 0));
    EXPECT_EQ(capture.lines().size(), 7u);  // every refusal but access says so
    ASSERT_TRUE(file.open((dir / "f").c_str(), openReadWrite | openCreate));
    capture.clear();
    EXPECT_EQ(file.read(nullptr, 4), 0);
    EXPECT_EQ(file.write(nullptr, 4), 0);
    EXPECT_EQ(file.write("x", -1), 0);
    EXPECT_EQ(file.puts(nullptr), -1);
    EXPECT_EQ(file.gets(nullptr, 4), nullptr);
    EXPECT_EQ(capture.lines().size(), 5u);
    EXPECT_EQ(file.getLength(), 0u);
}

TEST(File, RecursiveDirectories) {
    KernaTest::TempDir dir;
    const std::string deep = dir / "a/b/c/";
    EXPECT_TRUE(CFile::makeDirectoryRecursively(deep.c_str()));
    EXPECT_TRUE(CFile::access((dir / "a/b/c").c_str(), 0));
    EXPECT_FALSE(CFile::makeDirectoryRecursively((dir / "a/b/c").c_str()));  // all there already
    KernaTest::writeFile(dir / "a/b/c/f", "x");
    KernaTest::writeFile(dir / "a/g", "y");
    KernaTest::TempDir outside;  // reached through a link: never emptied
    KernaTest::writeFile(outside / "keep", "z");
    ASSERT_EQ(symlink(outside.path().c_str(), (dir / "a/b/link").c_str()), 0);

    EXPECT_TRUE(CFile::removeDirectoryRecursively((dir / "a/*").c_str(), false));
    EXPECT_TRUE(CFile::access((dir / "a").c_str(), 0));  // emptied, still there
    CFileFind find;
    ASSERT_TRUE(find.findFile((dir / "a/*").c_str()));
    int entries = 0;
    do ++entries;
    while (find.findNextFile());
    EXPECT_EQ(entries, 2);
    EXPECT_EQ(KernaTest::readFile(outside / "keep"), "z");

    CFile::makeDirectoryRecursively((dir / "a/b").c_str());
    EXPECT_TRUE(CFile::removeDirectoryRecursively((dir / "a").c_str(), true));
    EXPECT_FALSE(CFile::access((dir / "a").c_str(), 0));

    LogCapture capture;
    EXPECT_FALSE(CFile::removeDirectoryRecursively(nullptr, true));
    EXPECT_FALSE(CFile::makeDirectoryRecursively(""));
    EXPECT_FALSE(CFile::removeDirectoryRecursively(std::string(1100, 'x').c_str(), true));
    capture.clear();
    EXPECT_FALSE(CFile::removeDirectoryRecursively((dir / "missing").c_str(), true));
    EXPECT_EQ(capture.messages().back(), "the path does not exist");
}

}  // namespace

// The table of hooks and the default tables: selection by prefix, the open flags of the mode
// letters, the warnings and their absence, and the searches with their 32-bit ids.
#include <fcntl.h>
#include <fnmatch.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "file/FileTables.h"
#include "kerna/kerna3/File.h"
#include "support/LogCapture.h"
#include "support/MemoryFileSystem.h"
#include "support/TempDir.h"

using namespace Tessaran::Kerna;
using KernaTest::LogCapture;
using KernaTest::MemoryFileSystem;
using KernaTest::TempDir;

namespace {

// Hooks made in a test are taken out again, whatever the test did.
class HookTableTest : public ::testing::Test {
protected:
    void TearDown() override {
        for (const std::string& p : m_prefixes) {
            for (int i = 0; i < 40; ++i) hookFileSystem(p.c_str(), nullptr);
        }
    }
    void hook(const std::string& prefix, IFileSystem* table) {
        m_prefixes.push_back(prefix);
        hookFileSystem(prefix.c_str(), table);
    }
    std::vector<std::string> m_prefixes;
};

TEST_F(HookTableTest, SelectionFollowsTheOrderOfHooking) {
    MemoryFileSystem a, b, c;
    LogCapture capture;
    hook("/mnt", &a);
    EXPECT_TRUE(capture.hasMessage(
        "hookFileSystem called!, CFile/CLfsFile member function may be hooked!\n"));
    hook("/mnt/deep", &b);  // longer, but later: the earlier row wins
    EXPECT_EQ(Detail::selectFileTable("/mnt/deep/x"), &a);
    EXPECT_EQ(Detail::selectFileTable("/mntx/a"), &a);                      // a plain text prefix
    EXPECT_EQ(Detail::selectFileTable("/mn"), Detail::defaultFileTable());  // shorter than it
    EXPECT_EQ(Detail::selectFileTable(nullptr), Detail::defaultFileTable());

    hook("/mnt", &c);  // twice: two rows; an unhook removes the first, and the second shows
    hookFileSystem("/mnt", nullptr);
    EXPECT_EQ(Detail::selectFileTable("/mnt/deep/x"), &b);
    hookFileSystem("/mnt/deep", nullptr);
    EXPECT_EQ(Detail::selectFileTable("/mnt/deep/x"), &c);
    hookFileSystem("/not-hooked", nullptr);  // changes nothing
    EXPECT_EQ(Detail::selectFileTable("/mnt/x"), &c);
    hookFileSystem("/mnt", nullptr);
    bool hooked = true;
    EXPECT_EQ(Detail::selectFileTable("/mnt/x", &hooked), Detail::defaultFileTable());
    EXPECT_FALSE(hooked);
}

TEST_F(HookTableTest, ThirtyOneRowsAndTheThirtySecondIsIgnored) {
    std::vector<MemoryFileSystem> tables(32);
    for (int i = 0; i < 32; ++i) hook("/h" + std::to_string(i) + "/", &tables[i]);
    EXPECT_EQ(Detail::selectFileTable("/h30/x"), &tables[30]);
    EXPECT_EQ(Detail::selectFileTable("/h31/x"), Detail::defaultFileTable());
    hookFileSystem("/h0/", nullptr);  // a row is free again
    hookFileSystem("/h31/", &tables[31]);
    EXPECT_EQ(Detail::selectFileTable("/h31/x"), &tables[31]);
}

TEST_F(HookTableTest, LongPrefixIsCutAndCanBeUnhooked) {
    MemoryFileSystem t;
    const std::string longPrefix = "/" + std::string(300, 'p');
    hook(longPrefix, &t);
    EXPECT_EQ(Detail::selectFileTable((longPrefix.substr(0, 255) + "zz").c_str()), &t);
    hookFileSystem(longPrefix.c_str(), nullptr);
    EXPECT_EQ(Detail::selectFileTable(longPrefix.c_str()), Detail::defaultFileTable());
    LogCapture capture;
    hookFileSystem(nullptr, &t);
    EXPECT_TRUE(capture.messages().back().find("prefix is NULL") != std::string::npos);
}

// The descriptor flags of the open file at `path` (found among this process's descriptors).
int descriptorFlags(const std::string& path) {
    for (int fd = 3; fd < 1024; ++fd) {
        char link[4096];
        const std::string proc = "/proc/self/fd/" + std::to_string(fd);
        const ssize_t n = readlink(proc.c_str(), link, sizeof link - 1);
        if (n > 0 && std::string(link, static_cast<size_t>(n)) == path) return fcntl(fd, F_GETFD);
    }
    return -1;
}

// The six access modes of the default table on real files: creation, truncation, appending,
// and which direction is refused.
TEST(FileDefaultOpt, ModeLettersFormTheOpenFlags) {
    TempDir dir;
    IFileSystem* t = Detail::defaultFileTable();
    const std::string path = dir / "f";
    LogCapture capture;
    EXPECT_EQ(t->fopen(path.c_str(), "rb"), nullptr);  // not created when absent
    EXPECT_EQ(access(path.c_str(), F_OK), -1);
    EXPECT_NE(capture.messages().back().find("_open get error, errno:2, errmsg:No such file"),
              std::string::npos);
    EXPECT_EQ(t->fopen(path.c_str(), "rb+"), nullptr);

    struct Case {
        const char* mode;
        const char* before;
        const char* written;
        const char* after;
        bool readable;
    };
    const Case cases[] = {{"wb", "old", "new", "new", false},
                          {"ab", "old", "new", "oldnew", false},
                          {"wb+", "old", "new", "new", true},
                          {"ab+", "old", "new", "oldnew", true},
                          {"rb+", "old", "N", "Nld", true}};
    for (const Case& c : cases) {
        KernaTest::writeFile(path, c.before);
        void* f = t->fopen(path.c_str(), c.mode);
        ASSERT_NE(f, nullptr) << c.mode;
        EXPECT_EQ(t->fwrite(c.written, 1, strlen(c.written), f), strlen(c.written)) << c.mode;
        EXPECT_EQ(t->fseek(f, 0, 0), 0);
        char byte;
        capture.clear();
        EXPECT_EQ(t->fread(&byte, 1, 1, f), c.readable ? 1u : 0u) << c.mode;
        EXPECT_EQ(capture.lines().empty(), c.readable) << c.mode;  // a read of a write-only file
        EXPECT_EQ(t->fclose(f), 0);
        EXPECT_EQ(KernaTest::readFile(path), c.after) << c.mode;
    }
    struct stat st;
    unlink(path.c_str());
    void* f = t->fopen(path.c_str(), "wbe");  // "e": not inherited by child processes
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(descriptorFlags(path) & FD_CLOEXEC, FD_CLOEXEC);
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);  // created with permission 0600
    t->fclose(f);
}

// Only a missing file's remove and an existing directory's mkdir pass without a warning.
TEST(FileDefaultOpt, WarningsNameErrnoAndItsText) {
    TempDir dir;
    IFileSystem* t = Detail::defaultFileTable();
    LogCapture capture;
    EXPECT_EQ(t->remove((dir / "missing").c_str()), -1);
    EXPECT_EQ(t->mkdir(dir.path().c_str()), -1);
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_EQ(t->rmdir((dir / "missing").c_str()), -1);
    EXPECT_EQ(t->remove(dir.path().c_str()), -1);  // a directory: EISDIR
    FileInfo info;
    EXPECT_NE(t->stat(nullptr, &info), 0);  // refused as a bad address
    const std::vector<std::string> m = capture.messages();
    ASSERT_EQ(m.size(), 3u);
    char expected[128];
    snprintf(expected, sizeof expected,
             "this:%p rmdir failed, errno:2, errmsg:No such file or directory\n",
             static_cast<void*>(t));
    EXPECT_EQ(m[0], expected);
    snprintf(expected, sizeof expected, "this:%p remove failed, errno:21, errmsg:Is a directory\n",
             static_cast<void*>(t));
    EXPECT_EQ(m[1], expected);
    snprintf(expected, sizeof expected, "this:%p stat failed, errno:14, errmsg:Bad address\n",
             static_cast<void*>(t));
    EXPECT_EQ(m[2], expected);
    EXPECT_EQ(t->reservedOp(0, nullptr, 0), -1);
    EXPECT_EQ(t->access(nullptr, 0), -1);
}

TEST(FileDefaultOpt, StatReportsThePathModeAndSize) {
    TempDir dir;
    KernaTest::writeFile(dir / "f", "12345");
    FileInfo info;
    ASSERT_TRUE(CFile::stat((dir / "f").c_str(), info));
    EXPECT_EQ(std::string(info.name), dir / "f");
    struct stat st;
    ASSERT_EQ(::stat((dir / "f").c_str(), &st), 0);
    EXPECT_EQ(info.attrib, st.st_mode);  // the system's mode, type bits included
    EXPECT_TRUE(S_ISREG(info.attrib));
    EXPECT_EQ(info.timeWrite, st.st_mtime);
    EXPECT_EQ(info.size, 5);
    uint64_t avail = 0, total = 0, free = 0;
    ASSERT_TRUE(CFile::statFS(dir.path().c_str(), avail, total, free));
    EXPECT_GT(total, 0u);
    EXPECT_LE(free, total);
    EXPECT_LE(avail, free);
}

// Searches: a sorted snapshot with "." and "..", attributes, ids that never clash, and the
// lines of unknown ids.
TEST(FileDefaultOpt, SearchIdsAndSnapshots) {
    TempDir dir;
    for (const char* name : {"b.txt", "a.txt", "noext", ".hidden"}) {
        KernaTest::writeFile(dir / name, "x");
    }
    ASSERT_EQ(mkdir((dir / "sub").c_str(), 0755), 0);
    chmod((dir / "a.txt").c_str(), 0444);
    ASSERT_EQ(symlink(dir.path().c_str(), (dir / "link").c_str()), 0);
    IFileSystem* t = Detail::defaultFileTable();

    FileInfo info;
    const std::string all = dir.path() + "\\*.*";  // "\\" is a separator; "*.*" matches noext
    const int32_t first = t->findfirst(all.c_str(), &info);
    ASSERT_GE(first, 0);
    std::vector<std::string> names;
    std::vector<int> attribs;
    do {
        names.push_back(info.name);
        attribs.push_back(info.attrib);
        if (names.size() == 2) unlink((dir / "b.txt").c_str());  // the snapshot has it already
    } while (t->findnext(first, &info) == 0);
    const std::vector<std::string> expected = {".",     "..",   ".hidden", "a.txt",
                                               "b.txt", "link", "noext",   "sub"};
    // b.txt, removed meanwhile, is passed over; everything else comes in byte order.
    std::vector<std::string> withoutRemoved = expected;
    withoutRemoved.erase(withoutRemoved.begin() + 4);
    EXPECT_EQ(names, withoutRemoved);
    EXPECT_EQ(attribs[0], 0x12);  // ".": directory, hidden
    EXPECT_EQ(attribs[2], 0x02);  // ".hidden"
    EXPECT_EQ(attribs[3], 0x01);  // read-only (as root too: the owner's write bit decides)
    EXPECT_EQ(attribs[4], 0x00);  // "link" to a directory is not one
    EXPECT_EQ(attribs[6], 0x10);  // "sub"

    // Two open, the first closed, a third opened: all open ids differ.
    const int32_t second = t->findfirst((dir / "*").c_str(), &info);
    EXPECT_EQ(t->findclose(first), 0);
    const int32_t third = t->findfirst((dir / "?oext").c_str(), &info);
    EXPECT_EQ(std::string(info.name), "noext");
    EXPECT_NE(second, third);
    EXPECT_NE(t->findnext(third, &info), 0);  // the only match
    EXPECT_EQ(t->findclose(second), 0);
    EXPECT_EQ(t->findclose(third), 0);

    testing::internal::CaptureStdout();
    EXPECT_EQ(t->findclose(third), -1);  // closed twice
    EXPECT_EQ(t->findnext(third, &info), -1);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("] Kerna FileDefaultOpt::findclose fail\n"), std::string::npos) << out;
    EXPECT_NE(out.find("] Kerna FileDefaultOpt::findnext fail!\n"), std::string::npos) << out;

    LogCapture capture;
    EXPECT_EQ(t->findfirst((dir / "*.none").c_str(), &info), -1);  // nothing matches: a warning
    EXPECT_NE(capture.messages().at(0).find("_findfirst failed, errno:2"), std::string::npos);
    capture.clear();
    EXPECT_EQ(t->findfirst("", &info), -1);  // refused at once, no warning
    EXPECT_EQ(t->findfirst(nullptr, &info), -1);
    EXPECT_TRUE(capture.lines().empty());
}

// The counted positions of the default table against the system's own, over random sequences
// of reads, writes, seeks and lines on one stream: every ftell and the final contents agree.
TEST(FileDefaultOpt, CountedPositionsEqualTheSystems) {
    TempDir dir;
    IFileSystem* t = Detail::defaultFileTable();
    for (int round = 0; round < 20; ++round) {
        std::vector<int64_t> told[2];
        std::string contents[2];
        for (int counted = 0; counted < 2; ++counted) {
            Detail::countStreamPositions(counted == 1);
            std::mt19937 random(static_cast<unsigned>(round));
            const std::string path = dir / ("p" + std::to_string(counted));
            void* f = t->fopen(path.c_str(), round % 3 == 2 ? "ab+" : "wb+");
            ASSERT_NE(f, nullptr);
            char buf[64];
            for (int step = 0; step < 200; ++step) {
                const unsigned op = random() % 7;
                const size_t n = random() % 40;
                if (op == 0) t->fwrite("abcdefghij\n0123456789\nABCDEFGHIJ\n0123456789", 1, n, f);
                if (op == 1) t->fread(buf, 1, n, f);
                if (op == 2) t->fseek(f, static_cast<int32_t>(n), 0);
                if (op == 3)
                    t->fseek64(f, -static_cast<int64_t>(n % 5), static_cast<int>(1 + n % 2));
                if (op == 4) t->fgets(buf, static_cast<int>(n % 20), f);
                if (op == 5) t->fputs(n % 2 ? "line\n" : "", f);
                if (op == 6) t->fflush(f);
                if (op != 6) t->fseek64(f, 0, 1);  // the switch between reading and writing
                told[counted].push_back(random() % 2 ? t->ftell64(f) : t->ftell(f));
            }
            t->fclose(f);
            contents[counted] = KernaTest::readFile(path);
        }
        EXPECT_EQ(told[0], told[1]) << "round " << round;
        EXPECT_EQ(contents[0], contents[1]) << "round " << round;
    }
    Detail::countStreamPositions(true);
}

// The matcher against glibc's fnmatch, on patterns without the characters fnmatch reads
// differently ("[" and "\\"), plus the one special pattern.
TEST(FilePattern, AgreesWithFnmatch) {
    std::mt19937 random(7);
    const char alphabet[] = "ab.*?";
    for (int i = 0; i < 20000; ++i) {
        std::string pattern, name;
        const int pl = static_cast<int>(random() % 7);
        const int nl = static_cast<int>(random() % 7);
        for (int k = 0; k < pl; ++k) pattern += alphabet[random() % 5];
        for (int k = 0; k < nl; ++k) name += alphabet[random() % 3];
        if (pattern == "*.*") continue;
        EXPECT_EQ(Detail::matchFilePattern(pattern.c_str(), name.c_str()),
                  fnmatch(pattern.c_str(), name.c_str(), 0) == 0)
            << "pattern '" << pattern << "' name '" << name << "'";
    }
    EXPECT_TRUE(Detail::matchFilePattern("*.*", "noext"));
    EXPECT_FALSE(Detail::matchFilePattern("*.txt", "A.TXT"));  // case matters
    EXPECT_TRUE(Detail::matchFilePattern("a*b*c", std::string(5000, 'a').append("bc").c_str()));
}

#if GTEST_HAS_DEATH_TEST
TEST(FileDefaultOptDeathTest, NullOrEmptyModeIsAnAssertion) {
    IFileSystem* t = Detail::defaultFileTable();
    EXPECT_DEATH(t->fopen("/tmp/x", nullptr), "assertion \\(mode != NULL\\) failed");
    EXPECT_DEATH(t->fopen("/tmp/x", ""), "assertion \\(len > 0\\) failed");
}
#endif

}  // namespace

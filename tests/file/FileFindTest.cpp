// CFileFind and CFileFindEx: the directory part of the pattern, the table of the pattern's
// path, and the life of a search.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kerna/kerna3/File.h"
#include "kerna/kerna3/FileFind.h"
#include "kerna/kerna3/FileFindEx.h"
#include "kerna/kerna3/FileSystem.h"
#include "support/LogCapture.h"
#include "support/MemoryFileSystem.h"
#include "support/TempDir.h"

using namespace Tessaran::Kerna;
using KernaTest::MemoryFileSystem;

namespace {

class FileFindTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_fs.addDirectory("mem:/d");
        m_fs.addFile("mem:/d/a.log", "12345", 100);
        m_fs.addFile("mem:/d/b.log", "", 200);
        m_fs.addDirectory("mem:/d/sub");
        hookFileSystem("mem:", &m_fs);
    }
    void TearDown() override { hookFileSystem("mem:", nullptr); }
    MemoryFileSystem m_fs;
};

TEST_F(FileFindTest, WalksTheHookedTableWithFullPaths) {
    CFileFind find;
    ASSERT_TRUE(find.findFile("mem:/d/*"));
    std::vector<std::string> paths;
    do {
        paths.push_back(find.getFilePath());
        if (find.getFileName() == "a.log") {
            EXPECT_EQ(find.getLength(), 5);
            EXPECT_TRUE(find.isNormal());
        }
        if (find.getFileName() == "sub") {
            EXPECT_TRUE(find.isDirectory());
            EXPECT_FALSE(find.isNormal());
        }
    } while (find.findNextFile());
    EXPECT_EQ(paths, (std::vector<std::string>{"mem:/d/.", "mem:/d/..", "mem:/d/a.log",
                                               "mem:/d/b.log", "mem:/d/sub"}));
    EXPECT_FALSE(find.findNextFile());  // still false, still open
    EXPECT_EQ(m_fs.calls("findclose"), 0);
    find.close();
    find.close();  // idle: nothing
    EXPECT_EQ(m_fs.calls("findclose"), 1);
    EXPECT_EQ(find.getFileName(), "mem:/d/");  // the last name the table was shown stays readable
}

TEST_F(FileFindTest, FindFileAgainClosesTheFirstSearch) {
    CFileFindEx find;
    ASSERT_TRUE(find.findFile("mem:/d/*.log"));
    EXPECT_EQ(find.getFileName(), String("a.log"));
    ASSERT_TRUE(find.findFile("mem:\\d\\b*"));  // "\\" cuts the directory part as "/" does
    EXPECT_EQ(m_fs.calls("findclose"), 1);
    EXPECT_EQ(find.getFilePath(), String("mem:\\d\\b.log"));
    EXPECT_EQ(find.getLength(), 0);
    EXPECT_FALSE(find.findNextFile());
    EXPECT_FALSE(find.findFile(nullptr));
    EXPECT_FALSE(find.findFile(""));
    EXPECT_EQ(m_fs.calls("findclose"), 2);
}

TEST(FileFind, PatternsOnTheDefaultTable) {
    KernaTest::TempDir dir;
    KernaTest::writeFile(dir / "x1", "");
    KernaTest::writeFile(dir / "x2", "abc");
    ASSERT_TRUE(CFile::makeDirectory((dir / "sub").c_str()));
    CFileFind find;
    // Both separators in one text: the last of either cuts.
    const std::string mixed = dir.path() + "/sub\\..\\x?";
    ASSERT_TRUE(find.findFile(mixed.c_str()));
    EXPECT_EQ(find.getFilePath(), dir.path() + "/sub\\..\\x1");
    ASSERT_TRUE(find.findNextFile());
    EXPECT_EQ(find.getLength(), 3);
    EXPECT_FALSE(find.findNextFile());

    KernaTest::LogCapture capture;
    EXPECT_FALSE(find.findFile((dir / "nothing*").c_str()));  // the table's warning
    EXPECT_EQ(capture.lines().size(), 1u);
}

TEST(FileFind, PatternWithoutSeparatorSearchesTheCurrentDirectory) {
    CFileFind find;
    ASSERT_TRUE(find.findFile("*"));
    do {
        EXPECT_EQ(find.getFilePath(), find.getFileName());
    } while (find.findNextFile());
}

}  // namespace

// CLfsFile: 64-bit positions on a sparse file beyond 4 GiB, the read and write loops, copies
// that share one record, and the UTF-8 default table beside hooks.
#include <gtest/gtest.h>

#include <string>

#include "kerna/kerna3/LfsFile.h"
#include "support/LogCapture.h"
#include "support/MemoryFileSystem.h"
#include "support/TempDir.h"

using namespace Tessaran::Kerna;
using KernaTest::LogCapture;
using KernaTest::MemoryFileSystem;

namespace {

TEST(LfsFile, PositionsBeyondFourGigabytesOnASparseFile) {
    KernaTest::TempDir dir;
    const std::string path = dir / "sparse";
    const int64_t far = (INT64_C(5) << 30) + 123;  // 5 GiB and a bit
    {
        CLfsFile file;
        ASSERT_TRUE(file.open(path.c_str(), openReadWrite | openCreate));
        EXPECT_EQ(file.seek(far, seekBegin), far);
        EXPECT_EQ(file.write("tail", 4), 4);
        EXPECT_EQ(file.getPosition(), far + 4);
        EXPECT_EQ(file.getLength(), far + 4);
        EXPECT_EQ(file.seek(-4, seekEnd), far);
        EXPECT_EQ(file.seek(-far, seekCurrent), 0);
    }
    CLfsFile file;
    ASSERT_TRUE(file.open(path.c_str(), openRead));
    EXPECT_EQ(file.getLength(), far + 4);  // from stat, 64 bits wide
    EXPECT_EQ(file.seek(far + 1, seekBegin), far + 1);
    char buf[8] = {};
    LogCapture capture;
    EXPECT_EQ(file.read(buf, 8), 3);  // what is left, then a pass that gives none
    EXPECT_STREQ(buf, "ail");
    EXPECT_EQ(file.getPosition(), far + 4);
    char expected[160];
    snprintf(expected, sizeof expected,
             "this:%p fread get error, total:8 has read:3, expected:5 return actuallen:0\n",
             static_cast<void*>(&file));
    EXPECT_EQ(capture.messages(), std::vector<std::string>{expected});

    capture.clear();
    EXPECT_EQ(file.gets(buf, INT64_C(0x80000000)), nullptr);
    snprintf(expected, sizeof expected,
             "this:%p Bytes need to be seeked has been over the _MAX_INT_VALUE.\n",
             static_cast<void*>(&file));
    EXPECT_EQ(capture.messages(), std::vector<std::string>{expected});
}

TEST(LfsFile, CopiesShareOneRecordAndTheLastClosesIt) {
    MemoryFileSystem fs;
    hookFileSystem("mem:", &fs);
    {
        CLfsFile first;
        ASSERT_TRUE(first.open("mem:/f", openReadWrite | openCreate));
        CLfsFile second(first);
        EXPECT_EQ(second.write("abc", 3), 3);
        EXPECT_EQ(first.getPosition(), 3);  // one record
        CLfsFile third;
        third = second;
        third = third;
        first = CLfsFile();  // lets go of its share
        EXPECT_TRUE(third.isOpen());
        EXPECT_EQ(fs.calls("fclose"), 0);
    }
    EXPECT_EQ(fs.calls("fclose"), 1);
    EXPECT_EQ(fs.openHandles(), 0);
    hookFileSystem("mem:", nullptr);
}

TEST(LfsFile, Utf8ObjectsTakeHooksAndTheirOwnDefaultTable) {
    KernaTest::TempDir dir;
    MemoryFileSystem fs;
    hookFileSystem("mem:", &fs);
    CLfsFile file(pathUtf8);
    ASSERT_TRUE(file.open("mem:/f", openWrite));
    EXPECT_EQ(fs.calls("fopen"), 1);
    const std::string name = dir / "f\xc3\xa4\xe2\x82\xac";  // UTF-8 bytes are file names here
    ASSERT_TRUE(file.open(name.c_str(), openWrite));
    EXPECT_EQ(file.puts("x"), 1);
    file.close();
    EXPECT_EQ(KernaTest::readFile(name), "x");
    EXPECT_EQ(fs.calls("fopen"), 1);
    hookFileSystem("mem:", nullptr);
}

TEST(LfsFile, WriteLoopStopsAtAPassThatGivesNothing) {
    MemoryFileSystem fs;
    hookFileSystem("mem:", &fs);
    CLfsFile file;
    ASSERT_TRUE(file.open("mem:/f", openWrite));
    fs.setWriteBudget(2);  // a disk that fills up after two bytes
    LogCapture capture;
    EXPECT_EQ(file.write("abcdef", 6), 2);
    char expected[160];
    snprintf(expected, sizeof expected,
             "this:%p fwrite get error, total:6 has write:2, expected:4 return actuallen:0, \n",
             static_cast<void*>(&file));
    EXPECT_EQ(capture.messages(), std::vector<std::string>{expected});
    EXPECT_EQ(file.getLength(), 2);
    EXPECT_EQ(fs.contents("mem:/f"), "ab");
    file.close();
    hookFileSystem("mem:", nullptr);
}

}  // namespace

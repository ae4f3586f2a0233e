#include "host/PosixFile.h"

#include <gtest/gtest.h>

#include <stdio.h>

#include <string>

#include "host/NullFile.h"
#include "tests/support/TempDir.h"

namespace {

class PosixFileTest : public ::testing::Test {
protected:
    TempDir m_dir;
};

TEST_F(PosixFileTest, ModesDecideCreationAndWritesButNeverTruncate) {
    PosixFile file;
    EXPECT_FALSE(file.open(m_dir.path("missing").c_str(), IFile::kModeRead));
    EXPECT_FALSE(file.open(m_dir.path("x").c_str(), 3));  // unknown mode
    EXPECT_FALSE(m_dir.exists("x"));
    ASSERT_TRUE(m_dir.writeFile("present", "abc"));
    ASSERT_TRUE(file.open(m_dir.path("present").c_str(), IFile::kModeRead));
    EXPECT_LT(file.write("x", 1), 0);
    file.close();
    EXPECT_EQ("abc", m_dir.readFile("present"));
    for (int mode : {IFile::kModeReadWrite, IFile::kModeLocalDisk}) {
        std::string const name = "file" + std::to_string(mode);
        ASSERT_TRUE(file.open(m_dir.path(name).c_str(), mode));
        EXPECT_EQ(5, file.write("hello", 5));
        file.close();
        ASSERT_TRUE(file.open(m_dir.path(name).c_str(), mode));
        EXPECT_EQ(5, file.getLength());
        EXPECT_EQ(1, file.write("J", 1));  // overwrites at offset 0
        file.close();
        EXPECT_EQ("Jello", m_dir.readFile(name));
    }
}

TEST_F(PosixFileTest, SeekReadAndLengthAgree) {
    PosixFile file;
    ASSERT_TRUE(file.open(m_dir.path("data").c_str(), IFile::kModeReadWrite));
    ASSERT_EQ(10, file.write("0123456789", 10));
    ASSERT_TRUE(file.seek(-4, SEEK_END));
    char buffer[16] = {0};
    EXPECT_EQ(4, file.read(buffer, 16));
    EXPECT_EQ("6789", std::string(buffer, 4));
    EXPECT_EQ(0, file.read(buffer, 16));  // at the end
    ASSERT_TRUE(file.seek(2, SEEK_SET));
    ASSERT_TRUE(file.seek(1, SEEK_CUR));
    EXPECT_EQ(2, file.read(buffer, 2));
    EXPECT_EQ("34", std::string(buffer, 2));
    EXPECT_FALSE(file.seek(-100, SEEK_SET));
    EXPECT_EQ(10, file.getLength());
    EXPECT_TRUE(file.flush());
}

TEST_F(PosixFileTest, OffsetsBeyondFourGiBWork) {
    PosixFile file;
    ASSERT_TRUE(file.open(m_dir.path("sparse").c_str(), IFile::kModeLocalDisk));
    long long const far = 5LL * 1024 * 1024 * 1024 + 7;
    ASSERT_TRUE(file.seek(far, SEEK_SET));
    ASSERT_EQ(4, file.write("tail", 4));
    EXPECT_EQ(far + 4, file.getLength());
    EXPECT_EQ(far + 4, m_dir.fileSize("sparse"));
    ASSERT_TRUE(file.seek(far, SEEK_SET));
    char buffer[4];
    ASSERT_EQ(4, file.read(buffer, 4));
    EXPECT_EQ("tail", std::string(buffer, 4));
    ASSERT_TRUE(file.truncate(0));
}

TEST(NullFileTest, ClosedPosixFileFailsWhereNullFileSwallows) {
    PosixFile closed;
    NullFile null;
    EXPECT_TRUE(null.open("/nonexistent/anything", IFile::kModeRead));
    char buffer[4];
    EXPECT_LT(closed.read(buffer, 4), 0);
    EXPECT_EQ(0, null.read(buffer, 4));
    EXPECT_LT(closed.write("a", 1), 0);
    EXPECT_EQ(7, null.write("ignored", 7));
    EXPECT_FALSE(closed.seek(0, SEEK_SET));
    EXPECT_LT(closed.getLength(), 0);
    EXPECT_EQ(0, null.getLength());
    EXPECT_FALSE(closed.flush());
    EXPECT_TRUE(null.flush());
}

}  // namespace

#include "host/PosixFile.h"

#include <gtest/gtest.h>

#include <stdio.h>

#include <string>

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

TEST_F(PosixFileTest, SeekReadAndLengthAgreeAndAClosedFileFails) {
    PosixFile file;
    char buffer[16] = {0};
    EXPECT_LT(file.read(buffer, 4), 0);
    EXPECT_LT(file.write("a", 1), 0);
    EXPECT_FALSE(file.seek(0, SEEK_SET));
    EXPECT_LT(file.getLength(), 0);
    EXPECT_FALSE(file.flush());
    ASSERT_TRUE(file.open(m_dir.path("data").c_str(), IFile::kModeReadWrite));
    ASSERT_EQ(10, file.write("0123456789", 10));
    ASSERT_TRUE(file.seek(-4, SEEK_END));
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

}  // namespace

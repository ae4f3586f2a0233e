#include "host/DiskManager.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <deque>
#include <string>
#include <vector>

#include "tests/support/TempDir.h"

namespace {

using Names = std::vector<std::string>;

class DiskManagerTest : public ::testing::Test {
protected:
    // Paths stay valid for the whole test, so two may be used in one call.
    char const* at(std::string const& rel) {
        m_paths.push_back(m_dir.path(rel));
        return m_paths.back().c_str();
    }

    TempDir m_dir;
    DiskManager m_disk;
    std::deque<std::string> m_paths;
};

TEST_F(DiskManagerTest, BornFilesAreExactAllocatedAndReplaceOldOnes) {
    long long const size = 0x80000 + 3;
    EXPECT_NE(0, m_disk.createSizedFile(at("pool/00001"), size, 0));  // folder missing
    EXPECT_NE(0, m_disk.createFilledFile(at("pool/index"), 10, 0xFF));
    EXPECT_EQ(-1, m_dir.fileSize("pool/00001"));
    for (char const* rel : {"pool/00001", "pool/index"}) ASSERT_TRUE(m_dir.writeFile(rel, std::string(700000, 'x')));
    ASSERT_EQ(0, m_disk.createSizedFile(at("pool/00001"), size, 0));
    ASSERT_EQ(0, m_disk.createFilledFile(at("pool/index"), 0x80000, 0xFF));
    struct stat info {};
    ASSERT_EQ(0, stat(at("pool/00001"), &info));
    EXPECT_GE(static_cast<long long>(info.st_blocks) * 512, size);  // not sparse
    EXPECT_EQ(std::string(static_cast<size_t>(size), '\0'), m_dir.readFile("pool/00001"));
    EXPECT_EQ(std::string(0x80000, '\xFF'), m_dir.readFile("pool/index"));
    EXPECT_TRUE(m_disk.syncDir(at("pool")));
    EXPECT_FALSE(m_disk.syncDir(at("none")));
}

TEST_F(DiskManagerTest, ListsFilterSortAndLimit) {
    for (char const* name : {"b.index", "a.ts", "c.ts.lock", "d.txt", "2_x", "1_y"}) m_dir.writeFile(name, "");
    ASSERT_TRUE(m_dir.makeDir("z.ts.folder"));
    Names list;
    EXPECT_EQ(2, m_disk.getFileList(at(""), list, "*.ts*", 0));
    EXPECT_EQ((Names{"a.ts", "c.ts.lock"}), list);
    list = {"kept"};
    EXPECT_EQ(2, m_disk.getFileList(at(""), list, "", 2));
    EXPECT_EQ((Names{"kept", "1_y", "2_x"}), list);
    EXPECT_LT(m_disk.getFileList(at("missing"), list, nullptr, 0), 0);
}

TEST_F(DiskManagerTest, FolderAndFileOperationsAnswerTheirCodes) {
    EXPECT_NE(0, m_disk.createDir(at("a/b/c")));
    EXPECT_NE(0, m_disk.createDir(at("a/b/c")));  // already there
    EXPECT_EQ(0, m_disk.isDirExist(at("a/nothing")));
    m_dir.writeFile("a/file", "x");
    EXPECT_EQ(0, m_disk.isDirExist(at("a/file")));
    EXPECT_EQ(0, m_disk.createDir(at("a/file/sub")));
    Names dirs;
    m_dir.makeDir("a/a2");
    EXPECT_EQ(2, m_disk.getDirList(at("a"), dirs));
    EXPECT_EQ((Names{"a2", "b"}), dirs);
    EXPECT_EQ(0, m_disk.removeDir(at("a/b")));  // not empty
    EXPECT_NE(0, m_disk.removeDir(at("a/b/c")));
    EXPECT_FALSE(m_disk.deleteFile(at("a/b")));  // a folder, not recursive
    EXPECT_TRUE(m_disk.deleteFile(at("a"), true));
    EXPECT_FALSE(m_dir.exists("a"));

    EXPECT_EQ(0, m_disk.isFileExist(at("f")));
    m_dir.writeFile("f", "old");
    EXPECT_NE(0, m_disk.createEmptyFile(at("f")));
    EXPECT_EQ(0, m_dir.fileSize("f"));
    EXPECT_EQ(1, m_disk.isFileExist(at("f")));
    m_dir.writeFile("g", "gg");
    EXPECT_NE(0, m_disk.renameFile(at("g"), at("f")));
    EXPECT_EQ("gg", m_dir.readFile("f"));
    EXPECT_EQ(0, m_disk.renameFile(at("g"), at("h")));
    EXPECT_TRUE(m_disk.deleteFile(at("f")));
    EXPECT_FALSE(m_disk.deleteFile(at("f")));

    long long total = -1, used = -1;
    ASSERT_EQ(0, m_disk.getDiskSpace(at(""), total, used));
    EXPECT_LT(used, total);
    EXPECT_NE(0, m_disk.getDiskSpace(at("missing"), total, used));
}

}  // namespace

#include "tests/support/FaultPlan.h"

#include <gtest/gtest.h>

#include <memory>

#include "foundation/OVRuntimeError.h"
#include "tests/support/FaultInjectingDiskManager.h"
#include "tests/support/FaultInjectingFile.h"
#include "tests/support/TempDir.h"

namespace {

class FaultPlanTest : public ::testing::Test {
protected:
    std::unique_ptr<FaultInjectingFile> openFile(std::string const& rel) {
        std::unique_ptr<FaultInjectingFile> file(new FaultInjectingFile(m_pPlan));
        EXPECT_TRUE(file->open(m_dir.path(rel).c_str(), IFile::kModeLocalDisk));
        return file;
    }

    TempDir m_dir;
    std::shared_ptr<FaultPlan> m_pPlan = std::make_shared<FaultPlan>();
};

TEST_F(FaultPlanTest, CountedWriteFaultsHitTheNthCallAcrossFiles) {
    auto a = openFile("a");
    auto b = openFile("b");
    m_pPlan->failWriteAt(2);
    m_pPlan->shortWriteAt(4, 3);
    m_pPlan->throwOnWriteAt(5);
    EXPECT_EQ(1, a->write("1", 1));
    EXPECT_EQ(-1, b->write("2", 1));  // writes nothing
    EXPECT_EQ(1, b->write("3", 1));
    EXPECT_EQ(3, a->write("abcdef", 6));
    EXPECT_THROW(a->write("x", 1), OVRuntimeError);
    EXPECT_EQ("1abc", m_dir.readFile("a"));
    EXPECT_EQ("3", m_dir.readFile("b"));
    EXPECT_EQ(5, m_pPlan->writeCalls());
}

TEST_F(FaultPlanTest, PowerCutKeepsTheLastFlushOfEveryFileAndFollowsRenames) {
    m_dir.writeFile("f", "0123456789");
    auto file = openFile("f");
    ASSERT_TRUE(file->seek(2, SEEK_SET));
    ASSERT_EQ(2, file->write("ab", 2));
    ASSERT_TRUE(file->flush());  // "01ab456789" is durable
    ASSERT_TRUE(file->seek(0, SEEK_SET));
    ASSERT_EQ(3, file->write("XYZ", 3));
    ASSERT_TRUE(file->seek(8, SEEK_SET));
    ASSERT_EQ(6, file->write("tail!!", 6));  // overwrites and extends
    ASSERT_TRUE(file->seek(1, SEEK_SET));
    ASSERT_EQ(1, file->write("Q", 1));  // same range twice
    auto second = openFile("f");  // another object on the same file
    ASSERT_EQ(2, second->write("22", 2));
    m_pPlan->failFlushAt(1);
    EXPECT_FALSE(file->flush());
    auto fresh = openFile("fresh");
    ASSERT_EQ(5, fresh->write("never", 5));
    auto moved = openFile("moved");
    ASSERT_EQ(4, moved->write("kept", 4));
    ASSERT_TRUE(moved->flush());
    ASSERT_EQ(4, moved->write("lost", 4));
    ASSERT_NE(0, DiskManager().renameFile(m_dir.path("moved").c_str(), m_dir.path("renamed").c_str()));
    m_pPlan->powerCut();
    EXPECT_EQ("01ab456789", m_dir.readFile("f"));
    EXPECT_EQ(0, m_dir.fileSize("fresh"));  // open synced its name, not its bytes
    EXPECT_EQ("kept", m_dir.readFile("renamed"));
}

TEST_F(FaultPlanTest, VanishedOrFullDiskFailsUntilRestored) {
    auto file = openFile("f");
    FaultInjectingDiskManager disk(m_pPlan);
    m_pPlan->vanish();
    char buffer[4];
    EXPECT_EQ(-1, file->write("x", 1));
    EXPECT_EQ(-1, file->read(buffer, 4));
    EXPECT_FALSE(file->flush());
    EXPECT_FALSE(FaultInjectingFile(m_pPlan).open(m_dir.path("g").c_str(), IFile::kModeLocalDisk));
    std::vector<std::string> list;
    EXPECT_LT(disk.getFileList(m_dir.root().c_str(), list, nullptr, 0), 0);
    EXPECT_EQ(0, disk.isFileExist(m_dir.path("f").c_str()));
    EXPECT_EQ(0, disk.createDir(m_dir.path("d").c_str()));
    EXPECT_NE(0, disk.createSizedFile(m_dir.path("s").c_str(), 10, 0));
    m_pPlan->restore();
    EXPECT_EQ(1, file->write("x", 1));
    EXPECT_EQ(1, disk.isFileExist(m_dir.path("f").c_str()));
    m_pPlan->setDiskFull(true);
    EXPECT_EQ(-1, file->write("x", 1));
    EXPECT_NE(0, disk.createSizedFile(m_dir.path("s").c_str(), 10, 0));
    long long total = 0, used = 0;
    ASSERT_EQ(0, disk.getDiskSpace(m_dir.root().c_str(), total, used));
    EXPECT_EQ(total, used);
}

TEST_F(FaultPlanTest, CountedDiskFaultsHitTheNthCall) {
    FaultInjectingDiskManager disk(m_pPlan);
    m_pPlan->failCreateSizedFileAt(2);
    EXPECT_EQ(0, disk.createSizedFile(m_dir.path("1").c_str(), 100, 0));
    EXPECT_NE(0, disk.createSizedFile(m_dir.path("2").c_str(), 100, 0));
    EXPECT_FALSE(m_dir.exists("2"));
    m_pPlan->failRenameAt(1);
    EXPECT_EQ(0, disk.renameFile(m_dir.path("1").c_str(), m_dir.path("3").c_str()));
    EXPECT_NE(0, disk.renameFile(m_dir.path("1").c_str(), m_dir.path("3").c_str()));
    m_pPlan->failCreateDirAt(1);
    EXPECT_EQ(0, disk.createDir(m_dir.path("d").c_str()));
    EXPECT_NE(0, disk.createDir(m_dir.path("d").c_str()));

}

}  // namespace

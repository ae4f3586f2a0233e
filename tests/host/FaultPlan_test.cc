#include "tests/support/FaultPlan.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

#include "foundation/OVRuntimeError.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "tests/support/FaultInjectingDiskManager.h"
#include "tests/support/FaultInjectingFile.h"
#include "tests/support/FaultInjection.h"
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

TEST_F(FaultPlanTest, NthWriteFailsAcrossFilesAndWritesNothing) {
    auto a = openFile("a");
    auto b = openFile("b");
    m_pPlan->failWriteAt(2);
    EXPECT_EQ(1, a->write("1", 1));
    EXPECT_EQ(-1, b->write("2", 1));
    EXPECT_EQ(1, b->write("3", 1));
    EXPECT_EQ("1", m_dir.readFile("a"));
    EXPECT_EQ("3", m_dir.readFile("b"));
    EXPECT_EQ(3, m_pPlan->writeCalls());
}

TEST_F(FaultPlanTest, ShortWriteWritesOnlyTheGivenBytes) {
    auto file = openFile("f");
    m_pPlan->shortWriteAt(1, 3);
    EXPECT_EQ(3, file->write("abcdef", 6));
    EXPECT_EQ("abc", m_dir.readFile("f"));
}

TEST_F(FaultPlanTest, ThrowingWriteRaisesTheEngineError) {
    auto file = openFile("f");
    m_pPlan->throwOnWriteAt(1);
    EXPECT_THROW(file->write("x", 1), OVRuntimeError);
    EXPECT_EQ(1, file->write("y", 1));
    EXPECT_EQ("y", m_dir.readFile("f"));
}

TEST_F(FaultPlanTest, HungWriteWaitsForRelease) {
    auto file = openFile("f");
    m_pPlan->setWriteDelay(1);
    m_pPlan->hang();
    int result = 0;
    std::thread writer([&]() { result = file->write("late", 4); });
    while (m_pPlan->hungWriters() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ("", m_dir.readFile("f"));
    m_pPlan->release();
    writer.join();
    EXPECT_EQ(4, result);
    EXPECT_EQ("late", m_dir.readFile("f"));
}

TEST_F(FaultPlanTest, PowerCutRestoresTheBytesOfTheLastFlush) {
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
    m_pPlan->failFlushAt(1);
    EXPECT_FALSE(file->flush());
    m_pPlan->powerCut();
    EXPECT_EQ("01ab456789", m_dir.readFile("f"));
}

TEST_F(FaultPlanTest, PowerCutDropsANewFileAndFollowsRenames) {
    auto fresh = openFile("fresh");
    ASSERT_EQ(5, fresh->write("never", 5));
    auto moved = openFile("moved");
    ASSERT_EQ(4, moved->write("kept", 4));
    ASSERT_TRUE(moved->flush());
    ASSERT_EQ(4, moved->write("lost", 4));
    DiskManager disk;
    ASSERT_NE(0, disk.renameFile(m_dir.path("moved").c_str(), m_dir.path("renamed").c_str()));
    m_pPlan->powerCut();
    EXPECT_FALSE(m_dir.exists("fresh"));  // its folder was never synced
    EXPECT_EQ("kept", m_dir.readFile("renamed"));
}

TEST_F(FaultPlanTest, PowerCutSeesWritesOfEveryObjectOnAFile) {
    m_dir.writeFile("f", "base");
    auto first = openFile("f");
    auto second = openFile("f");
    ASSERT_EQ(2, first->write("11", 2));
    ASSERT_TRUE(second->seek(2, SEEK_SET));
    ASSERT_EQ(4, second->write("2222", 4));
    m_pPlan->powerCut();
    EXPECT_EQ("base", m_dir.readFile("f"));
}

TEST_F(FaultPlanTest, VanishedDiskFailsEverythingUntilRestored) {
    auto file = openFile("f");
    FaultInjectingDiskManager disk(m_pPlan);
    m_pPlan->vanish();
    char buffer[4];
    EXPECT_EQ(-1, file->write("x", 1));
    EXPECT_EQ(-1, file->read(buffer, 4));
    EXPECT_FALSE(file->flush());
    EXPECT_FALSE(file->seek(0, SEEK_SET));
    EXPECT_LT(file->getLength(), 0);
    FaultInjectingFile other(m_pPlan);
    EXPECT_FALSE(other.open(m_dir.path("g").c_str(), IFile::kModeLocalDisk));
    std::vector<std::string> list;
    long long total = 0;
    long long used = 0;
    EXPECT_LT(disk.getFileList(m_dir.root().c_str(), list, nullptr, 0), 0);
    EXPECT_EQ(0, disk.isFileExist(m_dir.path("f").c_str()));
    EXPECT_EQ(0, disk.isDirExist(m_dir.root().c_str()));
    EXPECT_EQ(0, disk.createDir(m_dir.path("d").c_str()));
    EXPECT_NE(0, disk.createSizedFile(m_dir.path("s").c_str(), 10, 0));
    EXPECT_NE(0, disk.getDiskSpace(m_dir.root().c_str(), total, used));
    m_pPlan->restore();
    EXPECT_EQ(1, file->write("x", 1));
    EXPECT_EQ(1, disk.isFileExist(m_dir.path("f").c_str()));
}

TEST_F(FaultPlanTest, CountedDiskOperationFaults) {
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

TEST_F(FaultPlanTest, FullDiskRefusesWritesAndPoolFiles) {
    auto file = openFile("f");
    FaultInjectingDiskManager disk(m_pPlan);
    m_pPlan->setDiskFull(true);
    EXPECT_EQ(-1, file->write("x", 1));
    EXPECT_NE(0, disk.createSizedFile(m_dir.path("s").c_str(), 10, 0));
    long long total = 0;
    long long used = 0;
    ASSERT_EQ(0, disk.getDiskSpace(m_dir.root().c_str(), total, used));
    EXPECT_EQ(total, used);
}

TEST_F(FaultPlanTest, InstallingAPlanReplacesBothFactoriesForItsLifetime) {
    {
        FaultInjection faults(m_pPlan);
        SafePointer<IFile> file = FileFactory::createFileEx(1, 0, 1);
        EXPECT_NE(nullptr, dynamic_cast<FaultInjectingFile*>(file.get()));
        EXPECT_NE(nullptr,
                  dynamic_cast<FaultInjectingDiskManager*>(DiskManagerFactory::getDiskManager(4, 0)));
        faults.plan().failOpenAt(1);
        EXPECT_FALSE(file->open(m_dir.path("x").c_str(), IFile::kModeReadWrite));
    }
    SafePointer<IFile> real = FileFactory::createFile(1, 0);
    EXPECT_EQ(nullptr, dynamic_cast<FaultInjectingFile*>(real.get()));
    EXPECT_EQ(nullptr,
              dynamic_cast<FaultInjectingDiskManager*>(DiskManagerFactory::getDiskManager(1, 0)));
}

}  // namespace

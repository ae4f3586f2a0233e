#include "tracking/RecordLockInfoManager.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

class FileLockConfigureTest : public ::testing::Test {
protected:
    std::string configFile() const { return m_root.root() + "/mnt/mtd/code/config_file/FileLockConfigure.xml"; }
    void writeConfig(std::string const& text) {
        std::filesystem::create_directories(m_root.root() + "/mnt/mtd/code/config_file");
        std::ofstream(configFile()) << text;
    }
    HostRootGuard m_root;
    FileLockConfigureParser m_parser;
};

TEST_F(FileLockConfigureTest, ThresholdIsReadInPercentAndAMissingFileOrKeyKeepsAQuarter) {
    struct Case {
        char const* text;  // nullptr: no file
        int nParsed;
        double dThreshold;
    };
    for (Case const& c : {Case{nullptr, 0, 0.25}, Case{"OtherKey=70\n", 1, 0.25},
                          Case{"FileLockThreshold=60\n", 1, 0.6}}) {
        if (c.text != nullptr) writeConfig(c.text);
        FileLockConfigureParser parser;
        EXPECT_EQ(c.nParsed, parser.parser()) << (c.text ? c.text : "no file");
        EXPECT_DOUBLE_EQ(c.dThreshold, parser.getFileLockThreshold());
    }
}

TEST_F(FileLockConfigureTest, UpdateCreatesOrRewritesTheFileKeepingOtherLinesAndLogs) {
    auto readBack = [] {
        FileLockConfigureParser again;
        EXPECT_EQ(1, again.parser());
        return again.getFileLockThreshold();
    };
    ASSERT_TRUE(m_parser.update(10));
    EXPECT_DOUBLE_EQ(0.1, readBack());
    writeConfig("# kept\nFileLockThreshold=60\n");
    ASSERT_TRUE(m_parser.update(40));
    EXPECT_DOUBLE_EQ(0.4, m_parser.getFileLockThreshold());
    EXPECT_DOUBLE_EQ(0.4, readBack());
    std::string stored = TempDir::readWhole(configFile());
    EXPECT_NE(std::string::npos, stored.find("FileLockThreshold=40"));
    EXPECT_NE(std::string::npos, stored.find("# kept"));
    EXPECT_NE(std::string::npos,
              TempDir::readWhole(m_root.root() + "/mnt/mtd/log/fileLockConfigure.log").find("update threshold : 40"));
}

TEST_F(FileLockConfigureTest, InitReadsTheThresholdAndUpdateSetsIt) {
    RecordLockInfoManager* locks = RecordLockInfoManager::getInstance();
    writeConfig("FileLockThreshold=60\n");
    EXPECT_EQ(1, locks->init());
    EXPECT_DOUBLE_EQ(0.6, locks->getThreshold());
    std::filesystem::remove(configFile());
    EXPECT_EQ(0, locks->init());  // no file: reported, the threshold stays
    EXPECT_DOUBLE_EQ(0.6, locks->getThreshold());
    ASSERT_TRUE(locks->updateThreshold(90));
    EXPECT_DOUBLE_EQ(0.9, locks->getThreshold());
}

// The facade's answers are fixed, whatever was reported or is in the tree;
// clean() empties the tree.
TEST_F(FileLockConfigureTest, FacadeAnswersAreFixedAndCleanEmptiesTheTree) {
    RecordLockInfoManager* locks = RecordLockInfoManager::getInstance();
    RecordDirInfoEx dir;
    dir.setRecordRootDir(m_root.root());
    SafePointer<RecordDirLockInfo> tree(new RecordDirLockInfo(dir));
    tree->updateRecordDeviceLockInfo("NVR_1.2.3.4_1", "2024-01-01", 5, 0);
    locks->addRecordDirLockInfo(tree);
    locks->updateRecordDeviceLockInfo(dir, "NVR_1.2.3.4_1", "2024-01-01", 5, 0);
    int lockFileNum = -1;
    int deletedStatus = -1;
    EXPECT_EQ(1, locks->getRecordLockInfo(dir, "NVR_1.2.3.4_1", "2024-01-01", lockFileNum, deletedStatus));
    EXPECT_EQ(0, lockFileNum);
    EXPECT_EQ(2, deletedStatus);
    EXPECT_EQ(0, locks->isOverThreshold());
    EXPECT_LE(1, locks->getRecordDirLockInfoSize());
    locks->clean();
    EXPECT_EQ(0, locks->getRecordDirLockInfoSize());
}

TEST(RecordDeviceLockInfoTest, ADateMadeByOneSetterReadsTheOtherAsNothing) {
    RecordDeviceLockInfo device("NVR_1.2.3.4_1");
    EXPECT_EQ(0, device.getLockFileNum("2024-01-01"));
    EXPECT_EQ(2, device.getDeletedStatus("2024-01-01"));
    device.setLockFileNum("2024-01-01", 3);
    device.setDeletedStatus("2024-01-02", 0);
    EXPECT_EQ(3, device.getLockFileNum("2024-01-01"));
    EXPECT_EQ(2, device.getDeletedStatus("2024-01-01"));
    EXPECT_EQ(0, device.getLockFileNum("2024-01-02"));
}

// Channels are made only by an update of their counts; what is not known
// answers 0 and leaves the caller's values alone.
TEST(RecordDirLockInfoTest, ChannelsAreMadeOnlyByAnUpdateOfTheirCountsAndCountsAddUp) {
    RecordDirInfoEx dir;
    dir.setRecordRootDir("/hd1");
    RecordDirLockInfo info(dir);
    RecordDirInfoEx same;
    same.setRecordRootDir("/hd1");
    same.setFreeSpace(5);
    RecordDirInfoEx other;
    other.setRecordRootDir("/hd2");
    EXPECT_TRUE(info.equals(same));
    EXPECT_FALSE(info.equals(other));

    int num = -1;
    int status = -1;
    EXPECT_EQ(0, info.getRecordLockInfo("A_1_1", "2024-01-01", num, status));
    EXPECT_EQ(0, info.updateRecordDeviceDeleteStatus("A_1_1", "2024-01-01", 0));
    EXPECT_EQ(0, info.getRecordDeviceLockListSize());

    info.updateRecordDeviceLockInfo("A_1_1", "2024-01-01", 3, 0);
    info.updateRecordDeviceLockInfo("B_1_2", "2024-01-01", 5, 0);
    info.updateRecordDeviceLockInfo("A_1_1", "2024-01-01", 6, 0);  // replaces
    EXPECT_EQ(0, info.getRecordLockInfo("A_1_1", "2024-01-02", num, status));
    EXPECT_EQ(-1, num);
    EXPECT_EQ(-1, status);
    EXPECT_EQ(1, info.updateRecordDeviceDeleteStatus("A_1_1", "2024-01-02", 1));
    ASSERT_EQ(1, info.getRecordLockInfo("A_1_1", "2024-01-02", num, status));
    EXPECT_EQ(0, num);
    EXPECT_EQ(1, status);
    info.updateRecordDeviceLockInfo("A_1_1", "2024-01-02", 4, 0);
    ASSERT_EQ(1, info.getRecordLockInfo("A_1_1", "2024-01-02", num, status));
    EXPECT_EQ(4, num);
    EXPECT_EQ(0, status);
    EXPECT_EQ(2, info.getRecordDeviceLockListSize());
    EXPECT_EQ(15, info.getLockFileNum());
    EXPECT_EQ(1, info.rmRecordDeviceDateLockInfo("A_1_1", "2024-01-01"));
    EXPECT_EQ(0, info.rmRecordDeviceDateLockInfo("A_1_1", "2024-01-01"));
    EXPECT_EQ(0, info.rmRecordDeviceDateLockInfo("C_1_1", "2024-01-01"));
    EXPECT_EQ(9, info.getLockFileNum());
}

}  // namespace

#include "tracking/RecordLockInfoManager.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

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

TEST_F(FileLockConfigureTest, MissingFileOrKeyKeepsAQuarter) {
    EXPECT_EQ(0, m_parser.parser());
    EXPECT_DOUBLE_EQ(0.25, m_parser.getFileLockThreshold());
    writeConfig("OtherKey=70\n");
    EXPECT_EQ(1, m_parser.parser());
    EXPECT_DOUBLE_EQ(0.25, m_parser.getFileLockThreshold());
}

TEST_F(FileLockConfigureTest, ThresholdIsReadInPercent) {
    writeConfig("FileLockThreshold=60\n");
    EXPECT_EQ(1, m_parser.parser());
    EXPECT_DOUBLE_EQ(0.6, m_parser.getFileLockThreshold());
}

TEST_F(FileLockConfigureTest, UpdatePersistsAndLogsAndIsReadBack) {
    writeConfig("# kept\nFileLockThreshold=60\n");
    ASSERT_TRUE(m_parser.update(40));
    EXPECT_DOUBLE_EQ(0.4, m_parser.getFileLockThreshold());
    std::string stored = TempDir::readWhole(configFile());
    EXPECT_NE(std::string::npos, stored.find("FileLockThreshold=40"));
    EXPECT_NE(std::string::npos, stored.find("# kept"));
    EXPECT_NE(std::string::npos,
              TempDir::readWhole(m_root.root() + "/mnt/mtd/log/fileLockConfigure.log").find("update threshold : 40"));
    FileLockConfigureParser again;
    EXPECT_EQ(1, again.parser());
    EXPECT_DOUBLE_EQ(0.4, again.getFileLockThreshold());
}

TEST_F(FileLockConfigureTest, UpdateWithoutAFileCreatesIt) {
    ASSERT_TRUE(m_parser.update(10));
    FileLockConfigureParser again;
    EXPECT_EQ(1, again.parser());
    EXPECT_DOUBLE_EQ(0.1, again.getFileLockThreshold());
}

TEST_F(FileLockConfigureTest, FacadeAnswersAreFixedWhateverIsReported) {
    RecordLockInfoManager* locks = RecordLockInfoManager::getInstance();
    RecordDirInfoEx dir;
    dir.setRecordRootDir(m_root.root());
    locks->updateRecordDeviceLockInfo(dir, "NVR_1.2.3.4_1", "2024-01-01", 5, 0);
    int lockFileNum = -1;
    int deletedStatus = -1;
    EXPECT_EQ(1, locks->getRecordLockInfo(dir, "NVR_1.2.3.4_1", "2024-01-01", lockFileNum, deletedStatus));
    EXPECT_EQ(0, lockFileNum);
    EXPECT_EQ(2, deletedStatus);
    EXPECT_EQ(0, locks->isOverThreshold());
    ASSERT_TRUE(locks->updateThreshold(90));
    EXPECT_DOUBLE_EQ(0.9, locks->getThreshold());
    EXPECT_EQ(0, locks->isOverThreshold());
}

}  // namespace

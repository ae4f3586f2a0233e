#include "foundation/StorageParameterManage.h"

#include <gtest/gtest.h>

#include "foundation/RecordDiskInfoEx.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

class StorageParameterManageTest : public ::testing::Test {
protected:
    void SetUp() override { parameters()->resetStorageParameter(); }
    void TearDown() override { parameters()->resetStorageParameter(); }

    static StorageParameterManage* parameters() { return StorageParameterManage::getInstance(); }

    void writeConfig(std::string const& text) {
        ASSERT_TRUE(m_temp.writeFile("hd1/program/config/storageparam.ini", text));
    }

    TempDir m_temp;
    HostRootGuard m_root{m_temp.root()};
};

TEST_F(StorageParameterManageTest, MissingFileKeepsDefaults) {
    EXPECT_FALSE(parameters()->initStorageParameter());
    EXPECT_EQ(1, parameters()->getRecordServiceThreadMaxManageNum());
    EXPECT_EQ(1000, parameters()->getRecordServiceThreadRunTimeInterval());
    EXPECT_EQ(100, parameters()->getRecordFileUsePercent());
    EXPECT_EQ(1, parameters()->getRecordFileUseMode());
    EXPECT_EQ(2000, parameters()->getIndexReadTimeout());
    EXPECT_EQ(2000, parameters()->getRecordReadTimeout());
    EXPECT_EQ(600, parameters()->getTSFrameQueuePrintInterval());
    EXPECT_EQ(0, parameters()->getDualDiskStoragePolicyFlag());
    EXPECT_EQ(16, parameters()->getDiskReferenceCountLimit());
    EXPECT_FALSE(parameters()->getKeepSceneFlag());
}

TEST_F(StorageParameterManageTest, EveryKeyIsRead) {
    writeConfig(
        "StorageThreadMaxManagerNumber=4\n"
        "StorageThreadRunTimeInterval=250\n"
        "RecordFileUsePercent=90\n"
        "RecordFileUseMode=-1\n"
        "IndexReadTimeout=3000\n"
        "RecordReadTimeout=4000\n"
        "TSPrintInterval=60\n"
        "DualDiskStoragePolicy=1\n"
        "DiskReferenceCountLimit=2\n");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(parameters()->initStorageParameter());
    std::string const printed = testing::internal::GetCapturedStdout();
    EXPECT_NE(std::string::npos, printed.find("DiskReferenceCountLimit = 2"));
    EXPECT_NE(std::string::npos, printed.find("RecordFileUseMode = -1"));
    EXPECT_EQ(4, parameters()->getRecordServiceThreadMaxManageNum());
    EXPECT_EQ(250, parameters()->getRecordServiceThreadRunTimeInterval());
    EXPECT_EQ(90, parameters()->getRecordFileUsePercent());
    EXPECT_EQ(-1, parameters()->getRecordFileUseMode());
    EXPECT_EQ(3000, parameters()->getIndexReadTimeout());
    EXPECT_EQ(4000, parameters()->getRecordReadTimeout());
    EXPECT_EQ(60, parameters()->getTSFrameQueuePrintInterval());
    EXPECT_EQ(1, parameters()->getDualDiskStoragePolicyFlag());
    EXPECT_EQ(2, parameters()->getDiskReferenceCountLimit());
}

TEST_F(StorageParameterManageTest, AbsentOrBrokenKeysLeaveValuesAlone) {
    writeConfig("# hand-made\nRecordFileUsePercent = 80\nIndexReadTimeout=soon\nUnknownKey=5\n");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(parameters()->initStorageParameter());
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(80, parameters()->getRecordFileUsePercent());
    EXPECT_EQ(2000, parameters()->getIndexReadTimeout());
    EXPECT_EQ(16, parameters()->getDiskReferenceCountLimit());

    // A second read over a file without the key keeps what the first one set.
    writeConfig("TSPrintInterval=5\n");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(parameters()->initStorageParameter());
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(80, parameters()->getRecordFileUsePercent());
    EXPECT_EQ(5, parameters()->getTSFrameQueuePrintInterval());
}

TEST_F(StorageParameterManageTest, NoRangeChecks) {
    writeConfig("RecordFileUsePercent=250\nDiskReferenceCountLimit=0\n");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(parameters()->initStorageParameter());
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(250, parameters()->getRecordFileUsePercent());
    EXPECT_EQ(0, parameters()->getDiskReferenceCountLimit());
}

TEST_F(StorageParameterManageTest, DiskLimitReachesDiskRecords) {
    writeConfig("DiskReferenceCountLimit=2\n");
    testing::internal::CaptureStdout();
    ASSERT_TRUE(parameters()->initStorageParameter());
    testing::internal::GetCapturedStdout();
    RecordDiskInfoEx disk;
    EXPECT_EQ(16, disk.getReferenceLimit());
    disk.initDiskInfo();
    EXPECT_EQ(2, disk.getReferenceLimit());
    disk.increaseReference();
    EXPECT_FALSE(disk.isOverAccessLimit());
    disk.increaseReference();
    EXPECT_TRUE(disk.isOverAccessLimit());
}

TEST_F(StorageParameterManageTest, KeepSceneFlagIsNotInTheFile) {
    parameters()->setKeepSceneFlag(true);
    writeConfig("KeepSceneFlag=0\n");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(parameters()->initStorageParameter());
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(parameters()->getKeepSceneFlag());
    parameters()->resetStorageParameter();
    EXPECT_FALSE(parameters()->getKeepSceneFlag());
}

}  // namespace

#include "foundation/StorageParameterManage.h"

#include <gtest/gtest.h>

#include "foundation/RecordDiskInfoEx.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

class StorageParameterManageTest : public ::testing::Test {
protected:
    void SetUp() override { params()->resetStorageParameter(); }
    void TearDown() override { params()->resetStorageParameter(); }

    static StorageParameterManage* params() { return StorageParameterManage::getInstance(); }

    // Writes the file and reads it; answers what was printed.
    std::string load(std::string const& text) {
        EXPECT_TRUE(m_temp.writeFile("hd1/program/config/storageparam.ini", text));
        testing::internal::CaptureStdout();
        EXPECT_TRUE(params()->initStorageParameter());
        return testing::internal::GetCapturedStdout();
    }

    TempDir m_temp;
    HostRootGuard m_root{m_temp.root()};
};

TEST_F(StorageParameterManageTest, MissingFileKeepsDefaults) {
    EXPECT_FALSE(params()->initStorageParameter());
    EXPECT_EQ(1, params()->getRecordServiceThreadMaxManageNum());
    EXPECT_EQ(1000, params()->getRecordServiceThreadRunTimeInterval());
    EXPECT_EQ(100, params()->getRecordFileUsePercent());
    EXPECT_EQ(1, params()->getRecordFileUseMode());
    EXPECT_EQ(2000, params()->getIndexReadTimeout());
    EXPECT_EQ(2000, params()->getRecordReadTimeout());
    EXPECT_EQ(600, params()->getTSFrameQueuePrintInterval());
    EXPECT_EQ(0, params()->getDualDiskStoragePolicyFlag());
    EXPECT_EQ(16, params()->getDiskReferenceCountLimit());
    EXPECT_FALSE(params()->getKeepSceneFlag());
}

TEST_F(StorageParameterManageTest, EveryKeyIsReadAndPrinted) {
    std::string const printed = load(
        "StorageThreadMaxManagerNumber=4\nStorageThreadRunTimeInterval=250\n"
        "RecordFileUsePercent=250\nRecordFileUseMode=-1\nIndexReadTimeout=3000\n"
        "RecordReadTimeout=4000\nTSPrintInterval=60\nDualDiskStoragePolicy=1\n"
        "DiskReferenceCountLimit=0\n");
    EXPECT_NE(std::string::npos, printed.find("DiskReferenceCountLimit = 0"));
    EXPECT_EQ(4, params()->getRecordServiceThreadMaxManageNum());
    EXPECT_EQ(250, params()->getRecordServiceThreadRunTimeInterval());
    EXPECT_EQ(250, params()->getRecordFileUsePercent());  // no range checks
    EXPECT_EQ(-1, params()->getRecordFileUseMode());
    EXPECT_EQ(3000, params()->getIndexReadTimeout());
    EXPECT_EQ(4000, params()->getRecordReadTimeout());
    EXPECT_EQ(60, params()->getTSFrameQueuePrintInterval());
    EXPECT_EQ(1, params()->getDualDiskStoragePolicyFlag());
    EXPECT_EQ(0, params()->getDiskReferenceCountLimit());
}

TEST_F(StorageParameterManageTest, AbsentOrBrokenKeysLeaveValuesAlone) {
    params()->setKeepSceneFlag(true);
    load("# hand-made\nRecordFileUsePercent = 80\nIndexReadTimeout=soon\nKeepSceneFlag=0\n");
    EXPECT_EQ(80, params()->getRecordFileUsePercent());
    EXPECT_EQ(2000, params()->getIndexReadTimeout());
    EXPECT_TRUE(params()->getKeepSceneFlag());  // not a key of the file
    // A second read without the key keeps what the first one set.
    load("TSPrintInterval=5\n");
    EXPECT_EQ(80, params()->getRecordFileUsePercent());
    EXPECT_EQ(5, params()->getTSFrameQueuePrintInterval());
}

TEST_F(StorageParameterManageTest, DiskLimitReachesDiskRecords) {
    load("DiskReferenceCountLimit=2\n");
    RecordDiskInfoEx disk;
    EXPECT_EQ(16, disk.getReferenceLimit());
    disk.initDiskInfo();
    disk.increaseReference();
    EXPECT_FALSE(disk.isOverAccessLimit());
    disk.increaseReference();
    EXPECT_TRUE(disk.isOverAccessLimit());
}

}  // namespace

#include "foundation/StorageParameterManage.h"
#include "host/HostPaths.h"

#include <gtest/gtest.h>

#include "foundation/RecordDiskInfoEx.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

// Every key of the file: its getter, its default and a value to read.
struct Key {
    char const* name;
    int (StorageParameterManage::*getter)() const;
    int nDefault, nRead;
} const kKeys[] = {
    {"StorageThreadMaxManagerNumber", &StorageParameterManage::getRecordServiceThreadMaxManageNum, 1, 4},
    {"StorageThreadRunTimeInterval", &StorageParameterManage::getRecordServiceThreadRunTimeInterval, 1000, 250},
    {"RecordFileUsePercent", &StorageParameterManage::getRecordFileUsePercent, 100, 250},  // no range checks
    {"RecordFileUseMode", &StorageParameterManage::getRecordFileUseMode, 1, -1},
    {"IndexReadTimeout", &StorageParameterManage::getIndexReadTimeout, 2000, 3000},
    {"RecordReadTimeout", &StorageParameterManage::getRecordReadTimeout, 2000, 4000},
    {"TSPrintInterval", &StorageParameterManage::getTSFrameQueuePrintInterval, 600, 60},
    {"DualDiskStoragePolicy", &StorageParameterManage::getDualDiskStoragePolicyFlag, 0, 1},
    {"DiskReferenceCountLimit", &StorageParameterManage::getDiskReferenceCountLimit, 16, 0},
    {"RecordFileSegmentSize", &StorageParameterManage::getRecordFileSegmentSize, 256, 8},
};

class StorageParameterManageTest : public ::testing::Test {
protected:
    void SetUp() override { params()->resetStorageParameter(); }
    void TearDown() override { params()->resetStorageParameter(); }
    static StorageParameterManage* params() { return StorageParameterManage::getInstance(); }
    static int get(Key const& key) { return (params()->*key.getter)(); }

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

TEST_F(StorageParameterManageTest, MissingFileKeepsDefaultsAndEveryKeyIsReadAndPrinted) {
    EXPECT_FALSE(params()->initStorageParameter());
    std::string text;
    for (Key const& key : kKeys) {
        EXPECT_EQ(key.nDefault, get(key)) << key.name;
        text += std::string(key.name) + "=" + std::to_string(key.nRead) + "\n";
    }
    std::string const printed = load(text);
    for (Key const& key : kKeys) {
        EXPECT_EQ(key.nRead, get(key)) << key.name;
        EXPECT_NE(std::string::npos, printed.find(std::string(key.name) + " = " + std::to_string(key.nRead)));
    }
}

TEST_F(StorageParameterManageTest, AbsentOrBrokenKeysLeaveValuesAlone) {
    params()->setKeepSceneFlag(true);
    load("# hand-made\nRecordFileUsePercent = 80\nIndexReadTimeout=soon\nKeepSceneFlag=0\n");
    EXPECT_EQ(80, params()->getRecordFileUsePercent());
    EXPECT_EQ(2000, params()->getIndexReadTimeout());
    EXPECT_NE(std::string::npos, TempDir::readWhole(HostPaths::getLogDir() + "/ConfigError.log")
                                     .find("IndexReadTimeout=soon is not a number; default kept"));
    EXPECT_TRUE(params()->getKeepSceneFlag());  // not a key of the file
    load("TSPrintInterval=5\nDiskReferenceCountLimit=2\n");  // a second read keeps what the first set
    EXPECT_EQ(80, params()->getRecordFileUsePercent());
    EXPECT_EQ(5, params()->getTSFrameQueuePrintInterval());
    RecordDiskInfoEx disk;  // the limit reaches the disk records
    EXPECT_EQ(16, disk.getReferenceLimit());
    disk.initDiskInfo();
    EXPECT_EQ(2, disk.getReferenceLimit());
}

}  // namespace

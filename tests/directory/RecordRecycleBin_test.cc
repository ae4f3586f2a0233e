#include "directory/RecordRecycleBin.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>

#include "foundation/StorageParameterManage.h"
#include "host/HostClock.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

std::string const kDay = "record/NVR_10.0.0.7_1/2024-01-30/";
std::string const kUnnumbered = "NVR_10.0.0.7_1_20240130090000.ts";

std::string numbered(int number) {
    char name[64];
    std::snprintf(name, sizeof(name), "%05d-NVR_10.0.0.7_1_202401300%d0000.ts", number, number % 10);
    return name;
}

class RecordRecycleBinTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        ASSERT_TRUE(m_dir.makeDir("record/NVR_10.0.0.7_2/2024-01-31"));
    }
    void TearDown() override {
        StorageParameterManage::getInstance()->resetStorageParameter();
        HostClock::reset();
    }
    // A record file of the day, its bytes telling it apart, moved into the bin.
    bool reclaim(RecordRecycleBin& bin, std::string const& name) {
        return m_dir.writeFile(kDay + name, name + " bytes") && bin.deleteFile(m_dir.path(kDay + name), name);
    }
    // A new file for camera 2 at 2024-01-31 09:00:00, from the bin.
    SafePointer<RecordFileInfo> reissue(RecordRecycleBin& bin, bool expected = true) {
        SafePointer<RecordFileInfo> file(new RecordFileInfo());
        RecordDirInfoEx info;
        info.setRecordRootDir(m_dir.root());
        file->setRecordDirInfoEx(info);
        file->setDeviceId("NVR");
        file->setDeviceIP("10.0.0.7");
        file->setCameraId(2);
        file->setRecordDate("2024-01-31");
        file->setRecordBeginTime(1706691600LL);
        EXPECT_EQ(expected, bin.createFileEx(file));
        return file;
    }

    TempDir m_dir;
    HostRootGuard m_root;
};

// Each move is durable when it returns: a power cut keeps it.
TEST_F(RecordRecycleBinTest, ReclaimedFileIsReissuedByRenameUnderItsNumberWithItsBytes) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    RecordRecycleBin bin(1, m_dir.path("record"));
    ASSERT_EQ(1, bin.init(0, 1880));
    plan->failSyncDirAt(1);  // not durable: put back
    EXPECT_FALSE(reclaim(bin, numbered(12)));
    EXPECT_TRUE(m_dir.exists(kDay + numbered(12)) && bin.getFileNumber() == 0);
    ASSERT_TRUE(reclaim(bin, numbered(12)));
    plan->powerCut();
    EXPECT_FALSE(m_dir.exists(kDay + numbered(12)));
    EXPECT_EQ(1, bin.getFileNumber());
    reissue(bin, false);  // not usable yet: nothing moves
    bin.setUsableFlag(true);
    SafePointer<RecordFileInfo> file = reissue(bin);
    plan->powerCut();
    EXPECT_EQ(12, file->getFileNumber());
    EXPECT_EQ("00012-NVR_10.0.0.7_2_20240131090000.ts", file->getRecordFileName());
    EXPECT_EQ(numbered(12) + " bytes", TempDir::readWhole(file->createRecordFileName()));
    EXPECT_FALSE(bin.hasFreeFile());
    reissue(bin, false);  // empty, and still empty on the second look
    EXPECT_EQ(0, bin.getFileNumber(0));
}

TEST_F(RecordRecycleBinTest, FirstNameFixesTheStyleAndAStaleMapIsListedAgain) {
    RecordRecycleBin bin(1, m_dir.path("record"));
    ASSERT_EQ(1, bin.init(0, 0));
    ASSERT_TRUE(reclaim(bin, kUnnumbered));
    ASSERT_TRUE(reclaim(bin, numbered(3)));  // moved, but of the other style
    EXPECT_EQ(1, bin.getFileNumber());
    EXPECT_EQ(2, bin.getFileNumber(0));
    RecordRecycleBin listed(1, m_dir.path("record"));  // lists numbered names first
    ASSERT_EQ(1, listed.init(0, 0));
    EXPECT_EQ(1, listed.getFileNumber());
    listed.setUsableFlag(true);
    EXPECT_EQ(3, reissue(listed)->getFileNumber());
    ASSERT_TRUE(reclaim(bin, numbered(5)));  // behind the back of `listed`
    EXPECT_FALSE(listed.hasFreeFile());
    EXPECT_EQ(5, reissue(listed)->getFileNumber());
}

TEST_F(RecordRecycleBinTest, UseModeOnePicksTheLowestRandomModeAnyAndCleanSpaceDeletesLowestFirst) {
    HostClock::freeze();  // init seeds the random pick from the clock
    RecordRecycleBin bin(1, m_dir.path("record"));
    ASSERT_EQ(1, bin.init(0, 0));
    for (int number = 1; number <= 5; ++number) ASSERT_TRUE(reclaim(bin, numbered(number)));
    for (int mode : {1, -1}) {
        std::filesystem::create_directories(m_root.root() + "/hd1/program/config");
        std::ofstream(m_root.root() + "/hd1/program/config/storageparam.ini") << "RecordFileUseMode=" << mode << "\n";
        ASSERT_TRUE(StorageParameterManage::getInstance()->initStorageParameter());
        ASSERT_EQ(1, bin.init(0, 0));
        bin.setUsableFlag(true);
        std::set<int> picked;
        for (int round = 0; round < 8; ++round) {
            SafePointer<RecordFileInfo> file = reissue(bin);
            picked.insert(file->getFileNumber());
            ASSERT_TRUE(bin.deleteFile(file->createRecordFileName(), file->getRecordFileName()));
        }
        EXPECT_EQ(mode == 1, picked == std::set<int>{1}) << "mode " << mode;
    }
    EXPECT_EQ(3, bin.cleanSpace(3));
    EXPECT_EQ(2, bin.getFileNumber());
    EXPECT_EQ(2, bin.getFileNumber(0));
    StorageParameterManage::getInstance()->resetStorageParameter();
    ASSERT_EQ(1, bin.init(0, 0));
    EXPECT_EQ(4, reissue(bin)->getFileNumber());
}

}  // namespace

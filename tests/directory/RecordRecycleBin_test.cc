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
constexpr long long kBegin = 1706691600LL;  // 2024-01-31 09:00:00 UTC

std::string numbered(int number) {
    char name[64];
    std::snprintf(name, sizeof(name), "%05d-NVR_10.0.0.7_1_202401300%d0000.ts", number, number % 10);
    return name;
}
std::string const kUnnumbered = "NVR_10.0.0.7_1_20240130090000.ts";

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
    // A new file wanted by camera 2 today.
    SafePointer<RecordFileInfo> request() {
        SafePointer<RecordFileInfo> file(new RecordFileInfo());
        RecordDirInfoEx info;
        info.setRecordRootDir(m_dir.root());
        file->setRecordDirInfoEx(info);
        file->setDeviceId("NVR");
        file->setDeviceIP("10.0.0.7");
        file->setCameraId(2);
        file->setRecordDate("2024-01-31");
        file->setRecordBeginTime(kBegin);
        return file;
    }

    TempDir m_dir;
    HostRootGuard m_root;
};

// Each move is durable at once: a power cut keeps it.
TEST_F(RecordRecycleBinTest, ReclaimedFileIsReissuedByRenameUnderItsNumberWithItsBytes) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    RecordRecycleBin bin(1, m_dir.path("record"));
    ASSERT_EQ(1, bin.init(0, 1880));
    ASSERT_TRUE(reclaim(bin, numbered(12)));
    plan->powerCut();
    EXPECT_FALSE(m_dir.exists(kDay + numbered(12)));
    EXPECT_EQ(1, bin.getFileNumber());
    SafePointer<RecordFileInfo> file = request();
    EXPECT_FALSE(bin.createFileEx(file));  // not usable yet: nothing moves
    EXPECT_EQ(numbered(12) + " bytes", m_dir.readFile("record/recycleBin/" + numbered(12)));
    bin.setUsableFlag(true);
    ASSERT_TRUE(bin.createFileEx(file));
    plan->powerCut();
    EXPECT_EQ(12, file->getFileNumber());
    EXPECT_EQ("00012-NVR_10.0.0.7_2_20240131090000.ts", file->getRecordFileName());
    EXPECT_EQ(numbered(12) + " bytes", TempDir::readWhole(file->createRecordFileName()));
    EXPECT_FALSE(bin.hasFreeFile());
    EXPECT_FALSE(bin.createFileEx(file));  // empty, and still empty on the second look
    EXPECT_EQ(0, bin.getFileNumber(0));
}

TEST_F(RecordRecycleBinTest, FirstNameFixesTheStyleAndAStaleMapIsListedAgain) {
    RecordRecycleBin bin(1, m_dir.path("record"));
    ASSERT_EQ(1, bin.init(0, 0));
    ASSERT_TRUE(reclaim(bin, kUnnumbered));
    ASSERT_TRUE(reclaim(bin, numbered(3)));  // moved, but of the other style
    EXPECT_EQ(1, bin.getFileNumber());
    EXPECT_EQ(2, bin.getFileNumber(0));
    // A fresh bin lists numbered names first: that style wins there.
    RecordRecycleBin listed(1, m_dir.path("record"));
    ASSERT_EQ(1, listed.init(0, 0));
    EXPECT_EQ(1, listed.getFileNumber());
    listed.setUsableFlag(true);
    SafePointer<RecordFileInfo> file = request();
    ASSERT_TRUE(listed.createFileEx(file));
    EXPECT_EQ(3, file->getFileNumber());
    // Another bin object moves a file in behind this one's back.
    ASSERT_TRUE(reclaim(bin, numbered(5)));
    EXPECT_FALSE(listed.hasFreeFile());
    file = request();
    file->setRecordBeginTime(kBegin + 60);
    ASSERT_TRUE(listed.createFileEx(file));
    EXPECT_EQ(5, file->getFileNumber());
}

TEST_F(RecordRecycleBinTest, UseModeOnePicksTheLowestRandomModeAnyAndCleanSpaceDeletesLowestFirst) {
    HostClock::freeze();
    for (int mode : {1, -1}) {
        std::filesystem::create_directories(m_root.root() + "/hd1/program/config");
        std::ofstream(m_root.root() + "/hd1/program/config/storageparam.ini") << "RecordFileUseMode=" << mode << "\n";
        ASSERT_TRUE(StorageParameterManage::getInstance()->initStorageParameter());
        std::set<int> picked;
        for (int round = 0; round < 8; ++round) {
            HostClock::shift(1);  // init seeds the pick from the clock
            RecordRecycleBin bin(1, m_dir.path("record"));
            ASSERT_EQ(1, bin.init(0, 0));
            for (int number = 1; number <= 5 && bin.getFileNumber() < 5; ++number) reclaim(bin, numbered(number));
            bin.setUsableFlag(true);
            SafePointer<RecordFileInfo> file = request();
            ASSERT_TRUE(bin.createFileEx(file));
            picked.insert(file->getFileNumber());
            ASSERT_TRUE(bin.deleteFile(file->createRecordFileName(), file->getRecordFileName()));
        }
        EXPECT_EQ(mode == 1, picked == std::set<int>{1}) << "mode " << mode;
    }
    StorageParameterManage::getInstance()->resetStorageParameter();
    RecordRecycleBin bin(1, m_dir.path("record"));
    ASSERT_EQ(1, bin.init(0, 0));
    EXPECT_EQ(3, bin.cleanSpace(3));
    EXPECT_EQ(2, bin.getFileNumber());
    EXPECT_EQ(2, bin.getFileNumber(0));
    bin.setUsableFlag(true);
    SafePointer<RecordFileInfo> file = request();
    ASSERT_TRUE(bin.createFileEx(file));
    EXPECT_EQ(4, file->getFileNumber());
}

}  // namespace

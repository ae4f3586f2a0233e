#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "directory/HDDirWithIndex.h"
#include "disk/DeviceSequenceMapManager.h"
#include "disk/RecordDirGroupManager.h"
#include "disk/RecordDirStateManager.h"
#include "foundation/EncoderType.h"
#include "foundation/ReturnCode.h"
#include "foundation/StorageParameterManage.h"
#include "host/DiskStateManager.h"
#include "host/HostPaths.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestRecording.h"

namespace {

namespace fs = std::filesystem;
constexpr long long kSegment = 4096;
constexpr long long kNow = 1706698800LL;  // 2024-01-31 11:00:00 UTC

struct AlarmCollector : IRecordServiceListenerManager {
    void addListener(IAlarmListenerEx*) override {}
    void clear() override {}
    int handleMessage(AlarmInfoEx& alarm) override {
        if (alarm.getSourceName() == "disk" || alarm.getMinorType() == 2) alarms.push_back(alarm);
        return 0;
    }
    std::vector<AlarmInfoEx> alarms;  // the group's and the state manager's only
};

RecordDeviceDirPolicy policyOf(int camera, int group, int saveDays = 30, bool cycleWrite = true) {
    return RecordDeviceDirPolicy(testFileOf(camera, 0)->getRecordDeviceInfo(), cycleWrite, group, saveDays, false);
}

// Real indexed directories on disks "sd?@N" in a temporary folder, each with
// room for a few files of 4 KiB, grouped by a real group manager whose scan
// passes the tests run themselves.
class DirGroupTest : public ::testing::Test {
protected:
    RecordingClock m_clock{kNow};

    void SetUp() override {
        RecordDirStateManager::getInstance()->clear();
        RecordDirStateManager::getInstance()->setRecordStatusListener(m_alarms);
        DeviceSequenceMapManager::getInstance()->clear();
        for (int camera = 1; camera <= 2; ++camera)
            DeviceSequenceMapManager::getInstance()->updateDeviceSequence("NVR", camera, true);
        fs::create_directories(HostPaths::getConfigDir());
        ASSERT_TRUE(m_root.writeFile("host/hd1/program/config/storageparam.ini", "DualDiskStoragePolicy=1\n"));
        ASSERT_TRUE(StorageParameterManage::getInstance()->initStorageParameter());
        m_groups.reset(new RecordDirGroupManager(1));
        m_groups->setDiskStatusListener(m_alarms);
    }
    void TearDown() override {
        m_groups.reset();
        RecordDirStateManager::getInstance()->clear();
        DeviceSequenceMapManager::getInstance()->clear();
        StorageParameterManage::getInstance()->resetStorageParameter();
        DiskStateManager::getInstance()->clear();
    }
    RecordDirInfoEx dirOf(int disk, int group, int files = 4) {
        RecordDirInfoEx info;
        info.setRecordRootDir(m_root.path("hd" + std::to_string(disk)));
        info.setRecordDiskName("sd" + std::string(1, static_cast<char>('a' + disk - 1)) + "@" + std::to_string(disk));
        info.setGroupId(group);
        info.setEnableFlag(true);
        info.setFileSegmentSize(kSegment);
        info.setUseableSpace((files + 1) * kSegment * 100 / 95 + 1);
        fs::create_directories(info.getRecordRootDir());
        return info;
    }
    // The group's directory at the root of `info`, once ready (bounded wait).
    SafePointer<IRecordDir> ready(RecordDirInfoEx const& info) {
        SafePointer<RecordDirGroup> group;
        SafePointer<IRecordDir> dir;
        if (!m_groups->findRecordDirGroup(info.getGroupId(), group) || !group->findRecordDir(info, dir)) return dir;
        for (int i = 0; i < 200 && !dir->isWritable(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_TRUE(dir->isWritable()) << info.getRecordRootDir();
        return dir;
    }
    // The disk number a camera's next file goes to; 0 with the code in `code`.
    int place(int camera, int group, int* code = nullptr) {
        SafePointer<IRecordDir> dir;
        int result = m_groups->requestRecordDir(testFileOf(camera, kNow), 0, group, 0, dir);
        if (code != nullptr) *code = result;
        if (result != 0) return 0;
        return dir->getRecordDirInfoEx().getRecordDiskName().back() - '0';
    }
    void passes(int count) {
        for (int i = 0; i < count; ++i) m_groups->scanDirGroupList();
    }
    AlarmCollector& alarms() { return *static_cast<AlarmCollector*>(m_alarms.get()); }

    TempDir m_root;
    HostRootGuard m_host{m_root.path("host")};
    SafePointer<IRecordServiceListenerManager> m_alarms{new AlarmCollector()};
    std::unique_ptr<RecordDirGroupManager> m_groups;
};

TEST_F(DirGroupTest, GroupsFollowTheHostsListWithTheirPoliciesAndTheDualRule) {
    RecordDirInfoEx a = dirOf(1, 1), b = dirOf(2, 1), c = dirOf(3, 2), off = dirOf(4, 1), spare = dirOf(5, 1);
    off.setEnableFlag(false);
    spare.setAttribute(2);
    m_groups->setRecordDirInfoList({a, b, off, spare});
    ASSERT_EQ(1, m_groups->getGroupCount());
    std::vector<RecordDirInfoEx> listed;
    m_groups->getRecordDirInfoList(listed);
    ASSERT_EQ(4u, listed.size());  // the group's two, then the two left outside
    EXPECT_EQ(off.getRecordRootDir(), listed[2].getRecordRootDir());
    ready(a);
    ready(b);
    m_groups->addRecordDevicePolicy(policyOf(1, 1));
    m_groups->addRecordDevicePolicy(policyOf(2, 1));
    m_groups->addRecordDevicePolicy(policyOf(3, 7));  // no such group: dropped
    EXPECT_EQ(1, place(1, 1));
    EXPECT_EQ(2, place(2, 1));  // one group, dual rule on: the second half starts high

    m_groups->setRecordDirInfoList({a, b, c});
    ASSERT_EQ(2, m_groups->getGroupCount());
    EXPECT_EQ(1, place(2, 1));  // two groups: dual rule off
    ready(c);
    m_groups->addRecordDevicePolicy(policyOf(1, 2));  // a channel is in one group only
    SafePointer<RecordDirGroup> first, second;
    ASSERT_TRUE(m_groups->findRecordDirGroup(1, first));
    ASSERT_TRUE(m_groups->findRecordDirGroup(2, second));
    EXPECT_EQ(1u, first->getDirPolicyList().size());
    EXPECT_EQ(1u, second->getDirPolicyList().size());
    EXPECT_EQ(3, place(1, 2));

    m_groups->setRecordDirInfoList({a, b});
    EXPECT_EQ(1, m_groups->getGroupCount());
    int code = 0;
    EXPECT_EQ(0, place(1, 2, &code));
    EXPECT_EQ(OV_RECORD_GROUP_NOT_FOUND, code);
    m_groups->setRecordDirInfoList({a, b, dirOf(6, 7)});
    ASSERT_TRUE(m_groups->findRecordDirGroup(7, second));
    EXPECT_TRUE(second->getDirPolicyList().empty());  // until the policies are applied again
}

TEST_F(DirGroupTest, ADiskWhoseWritesTimeOutIsPassedOverAndAlarmsOncePerPeriod) {
    RecordDirInfoEx a = dirOf(1, 1), b = dirOf(2, 1);
    m_groups->setRecordDirInfoList({a, b});
    ready(a);
    ready(b);
    m_groups->addRecordDevicePolicy(policyOf(1, 1));
    EXPECT_EQ(1, place(1, 1));
    for (int i = 0; i < 25; ++i) RecordDirStateManager::getInstance()->addTimeout(a, 1);
    EXPECT_EQ(2, place(1, 1));
    m_groups->setScanCount(1);  // no housekeeping in the way
    passes(299);
    EXPECT_TRUE(alarms().alarms.empty());
    passes(1);
    ASSERT_EQ(1u, alarms().alarms.size());
    EXPECT_EQ(2, alarms().alarms[0].getMinorType());
    EXPECT_EQ(1, place(1, 1));  // the next period gives it another chance
}

TEST_F(DirGroupTest, EveryPassDetectsStateAndAPolicyPostponesHousekeeping) {
    RecordDirInfoEx a = dirOf(1, 1);
    m_groups->setRecordDirInfoList({a});
    ready(a);
    EXPECT_EQ(RecordDirGroupManager::kScanStart, m_groups->getScanCount());
    passes(70);
    EXPECT_EQ(10, m_groups->getScanCount());
    EXPECT_EQ(70, RecordDirStateManager::getInstance()->getPassCount());
    m_groups->addRecordDevicePolicy(policyOf(1, 1));
    EXPECT_EQ(RecordDirGroupManager::kScanStart, m_groups->getScanCount());
}

// Overdue files go at the scan's first pass of each period of 1800, not
// between; a policy added puts the first pass off again.
TEST_F(DirGroupTest, OverdueFilesGoOncePerPeriodOfPasses) {
    RecordDirInfoEx a = dirOf(1, 1, 20);
    m_groups->setRecordDirInfoList({a});
    SafePointer<IRecordDir> dir = ready(a);
    ASSERT_FALSE(dir.isNull());
    SafePointer<RecordFileInfo> old = recordTestFile(*dir, 1, kNow - 40 * 86400);
    m_groups->addRecordDevicePolicy(policyOf(1, 1, 30, false));
    m_groups->setScanCount(1799);
    passes(1);
    EXPECT_TRUE(fs::exists(old->createRecordFileName()));
    passes(1);
    EXPECT_FALSE(fs::exists(old->createRecordFileName()));
    EXPECT_TRUE(fs::exists(a.getRecordRootDir() + "/record/recycleBin/" + old->getRecordFileName()));
}

// The space alarm is looked at on every 120th pass, not between.
TEST_F(DirGroupTest, TheSpaceAlarmIsLookedAtEvery120Passes) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    RecordDirInfoEx a = dirOf(1, 1, 40);
    a.setAlarmThreshold(100);
    m_groups->setRecordDirInfoList({a});
    SafePointer<IRecordDir> dir = ready(a);
    ASSERT_FALSE(dir.isNull());
    for (long long begin = kNow; dir->hasFreeSpace(); begin += 60) recordTestFile(*dir, 1, begin);
    plan->setDiskFull(true);
    ASSERT_EQ(0, static_cast<HDDirWithIndex*>(dir.get())->detectDirSpace());
    m_groups->setScanCount(119);
    passes(1);
    EXPECT_TRUE(alarms().alarms.empty());
    passes(1);
    ASSERT_EQ(1u, alarms().alarms.size());
    EXPECT_EQ(RecordDirGroup::kDiskSpaceAlarm, alarms().alarms[0].getMinorType());
}

// A directory whose attribute changes is the same directory, restarted.
TEST_F(DirGroupTest, AnAttributeChangeRestartsTheDirectorysDetection) {
    RecordDirInfoEx a = dirOf(1, 1);
    m_groups->setRecordDirInfoList({a});
    SafePointer<IRecordDir> before = ready(a);
    a.setAttribute(kDedicatedDirAttribute);
    m_groups->setRecordDirInfoList({a});
    SafePointer<IRecordDir> after = ready(a);
    EXPECT_EQ(before.get(), after.get());
    EXPECT_EQ(kDedicatedDirAttribute, after->getRecordDirInfoEx().getAttribute());
    std::string log = TempDir::readWhole(HostPaths::getLogDir() + "/recordDir.log");
    size_t starts = 0;
    for (size_t at = log.find("startDetectionThread"); at != std::string::npos; at = log.find("startDetectionThread", at + 1))
        ++starts;
    EXPECT_EQ(2u, starts);
}

}  // namespace

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "disk/RecordDirSettingListener.h"
#include "disk/RecordDirStateManager.h"
#include "foundation/LockRank.h"
#include "foundation/OVMutexManager.h"
#include "host/DiskStateManager.h"
#include "host/HostPaths.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

// Keeps what the engine hands over, to be read on the test's thread.
struct AlarmCollector : IRecordServiceListenerManager {
    void addListener(IAlarmListenerEx*) override {}
    void clear() override { alarms.clear(); }
    int handleMessage(AlarmInfoEx& alarm) override {
        alarms.push_back(alarm);
        return 0;
    }
    std::vector<AlarmInfoEx> alarms;
};

RecordDirInfoEx dirOf(std::string const& root, std::string const& disk, int status = 1) {
    RecordDirInfoEx info;
    info.setRecordRootDir(root);
    info.setRecordDiskName(disk);
    info.setStatus(status);
    return info;
}

class DirStateTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_states->clear();
        m_states->setRecordDirListSource([this]() { return m_inService; });
        m_states->setRecordStatusListener(m_alarms);
        for (RecordDirInfoEx const& dir : m_inService) m_states->addRecordDirInfo(dir);
    }
    void TearDown() override { m_states->clear(); }
    void timeouts(RecordDirInfoEx const& dir, int count, int seconds = 1) {
        for (int i = 0; i < count; ++i) m_states->addTimeout(dir, seconds);
    }
    void passes(int count) {
        for (int i = 0; i < count; ++i) m_states->detectRecordDirState();
    }
    AlarmCollector& alarms() { return *static_cast<AlarmCollector*>(m_alarms.get()); }

    TempDir m_root;
    HostRootGuard m_host{m_root.path("host")};
    RecordDirStateManager* m_states = RecordDirStateManager::getInstance();
    SafePointer<IRecordServiceListenerManager> m_alarms{new AlarmCollector()};
    std::vector<RecordDirInfoEx> m_inService{dirOf("/r/sda1", "/dev/sda1"), dirOf("/r/sdb1", "/dev/sdb1")};
};

TEST_F(DirStateTest, LimitsFollowTheChannelCountByCountAndBySeconds) {
    struct Case {
        int channels, countLimit, sumLimit;
    } const cases[] = {{16, 25, 100}, {2, 5, 20}, {3, 5, 20}, {6, 10, 40}};
    for (Case const& c : cases) {
        SCOPED_TRACE(c.channels);
        m_states->setDeviceNum(c.channels);
        RecordDirInfoEx const& dir = m_inService[0];
        m_states->resetDiskStateInfo("/dev/sda1");
        timeouts(dir, c.countLimit - 1);
        EXPECT_FALSE(m_states->isIOError(dir));
        timeouts(dir, 1);
        EXPECT_TRUE(m_states->isIOError(dir));
        m_states->resetDiskStateInfo("/dev/sda1");
        timeouts(dir, 1, c.sumLimit - 1);
        EXPECT_FALSE(m_states->isIOError(dir));
        timeouts(dir, 1, 1);
        EXPECT_TRUE(m_states->isIOError(dir));
    }
    EXPECT_FALSE(m_states->isIOError(m_inService[1]));
    EXPECT_FALSE(m_states->isIOError(dirOf("/r/unknown", "/dev/sdc1")));
}

TEST_F(DirStateTest, WithEveryGoodLocalDirectoryFailedNoneIsExcluded) {
    m_inService.push_back(dirOf("/r/dedicated", "/dev/sdc1"));
    m_inService.back().setAttribute(4);
    m_inService.push_back(dirOf("/r/nas", "nas"));
    m_inService.back().setDiskType(4);
    m_inService.push_back(dirOf("/r/sdd1", "/dev/sdd1", 3));  // not in service
    timeouts(m_inService[0], 25);
    passes(5);
    EXPECT_TRUE(m_states->isIOError(m_inService[0]));  // sdb1 still good
    timeouts(m_inService[1], 25);
    passes(4);
    EXPECT_TRUE(m_states->isIOError(m_inService[1]));  // checked every 5 passes only
    passes(1);
    EXPECT_TRUE(m_states->isAllFailed());
    EXPECT_FALSE(m_states->isIOError(m_inService[0]));
    EXPECT_FALSE(m_states->isIOError(m_inService[1]));
    m_inService[4].setStatus(31);  // counts as in service
    passes(5);
    EXPECT_TRUE(m_states->isIOError(m_inService[0]));
}

TEST_F(DirStateTest, TimeoutsDuringAFormatAreForgottenEveryCheck) {
    for (int status : {6, 14}) {
        m_inService[1].setStatus(status);
        timeouts(m_inService[0], 25);
        passes(4);
        EXPECT_TRUE(m_states->isIOError(m_inService[0]));
        passes(1);
        int sum = -1, count = -1;
        ASSERT_TRUE(m_states->getTimeoutInfo(m_inService[0], sum, count));
        EXPECT_EQ(0, count);
        EXPECT_EQ(0, sum);
    }
}

TEST_F(DirStateTest, AFailingDirectoryAlarmsOnceAtTheEndOfItsPeriodAndStartsAgain) {
    m_inService[0].setGroupId(2);
    m_inService[0].setAttribute(1);
    m_states->setRecordDirInfo(m_inService);
    timeouts(m_inService[0], 25);
    passes(299);
    EXPECT_TRUE(alarms().alarms.empty());
    passes(1);
    ASSERT_EQ(1u, alarms().alarms.size());
    AlarmInfoEx const& alarm = alarms().alarms[0];
    EXPECT_EQ(4, alarm.getMajorType());
    EXPECT_EQ(2, alarm.getMinorType());
    EXPECT_EQ("sda1", alarm.getDescription());
    EXPECT_EQ("2:1", alarm.getSourceId());
    EXPECT_GT(alarm.getAlarmTime(), 0u);
    EXPECT_FALSE(m_states->isIOError(m_inService[0]));  // a new chance
    passes(300);
    EXPECT_EQ(1u, alarms().alarms.size());  // good through the next period
    timeouts(m_inService[0], 25);
    passes(300);
    EXPECT_EQ(2u, alarms().alarms.size());
    EXPECT_NE(std::string::npos,
              TempDir::readWhole(HostPaths::getLogDir() + "/RecordDirStateManager.log").find("RecordDir(/dev/sda1) read/write abnormal"));
}

TEST_F(DirStateTest, ARepairedDiskClosesItsWritersAndAnyOtherMessageStartsItClean) {
    RecordDirSettingListener listener;
    timeouts(m_inService[0], 25);
    listener.handleDiskStateMessage("/dev/sda1", RecordDirSettingListener::kDiskRepairing);
    EXPECT_TRUE(m_states->isIOError(m_inService[0]));
    DiskStateManager::getInstance()->addDiskStateListener(&listener);
    DiskStateManager::getInstance()->reportDiskState("/dev/sda1", 5);
    DiskStateManager::getInstance()->removeDiskStateListener(&listener);
    EXPECT_FALSE(m_states->isIOError(m_inService[0]));
    std::string log = TempDir::readWhole(HostPaths::getLogDir() + "/recordDir.log");
    EXPECT_NE(std::string::npos, log.find("DiskName:/dev/sda1 DiskState:17"));
    EXPECT_NE(std::string::npos, log.find("DiskName:/dev/sda1 DiskState:5"));
}

TEST_F(DirStateTest, TheHostsListIsExpandedIntoTheRootsOfEachLocalDiskOnce) {
    DiskStateManager* disks = DiskStateManager::getInstance();
    disks->clear();
    disks->addDiskDir("/mnt/sda1/rec0", 1, 3);
    disks->addDiskDir("/mnt/sda1/rec1", 1, 3);
    disks->addDiskDir("/mnt/sdb1/rec0", 1, 3);
    RecordDirSettingListener listener;
    std::vector<std::vector<RecordDirInfo>> handed;
    listener.setRecordDirListSink([&](std::vector<RecordDirInfo> const& list) { handed.push_back(list); });
    RecordDirInfo local, nas;
    local.setDiskName("/mnt/sda1");
    local.setDiskType(1);
    local.setUsableSpace(500);
    nas.setDiskName("10.1.1.1:/share");
    nas.setDiskType(4);
    listener.setRecordDirList({local, nas});
    EXPECT_EQ(0, listener.updateRecordDir());
    EXPECT_EQ(0, listener.updateRecordDir());  // nothing new: nothing handed on
    ASSERT_EQ(1u, handed.size());
    ASSERT_EQ(3u, handed[0].size());
    EXPECT_STREQ("/mnt/sda1/rec0", handed[0][0].getDiskName());
    EXPECT_STREQ("/mnt/sda1/rec1", handed[0][1].getDiskName());
    EXPECT_EQ(0, handed[0][1].getUsableSpace());
    EXPECT_EQ(8, handed[0][1].getFileSystemFormat());
    EXPECT_STREQ("10.1.1.1:/share", handed[0][2].getDiskName());
    RecordDirInfo gone;
    gone.setDiskName("/mnt/sdb1/rec0");
    listener.removeInvlidRecordDir({local, gone});
    std::vector<std::string> left;
    disks->getDiskDirList("/mnt", 1, left);
    EXPECT_EQ((std::vector<std::string>{"/mnt/sda1/rec0", "/mnt/sda1/rec1"}), left);
    disks->clear();
}

#ifndef NDEBUG
TEST(LockRankDeathTest, AnInnerLockTakenBeforeAnOuterOneAborts) {
    OVMutex list, group;
    {
        OV_RANKED_LOCK_GUARD(outer, list, LockRank::kGroupList);
        OV_RANKED_LOCK_GUARD(inner, group, LockRank::kGroupDirs);
        OV_RANKED_LOCK_GUARD(again, list, LockRank::kGroupList);  // re-entry is no inversion
        EXPECT_EQ(3, LockRank::heldCount());
    }
    EXPECT_EQ(0, LockRank::heldCount());
    EXPECT_DEATH(
        {
            OV_RANKED_LOCK_GUARD(inner, group, LockRank::kGroupDirs);
            OV_RANKED_LOCK_GUARD(outer, list, LockRank::kGroupList);
        },
        "lock order inverted");
}
#endif

}  // namespace

#include <gtest/gtest.h>

#include <memory>
#include <typeinfo>
#include <vector>

#include "foundation/ReturnCode.h"
#include "snapshot/SnapshotDiskManager.h"
#include "snapshot/SnapshotDiskManagerImplEx.h"
#include "snapshot/SnapshotRecordDirEx.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestRecording.h"

namespace {

TEST(SnapshotDiskManager, GivesAPolicysChannelASnapshotDirectoryOfItsGroupUntilStopped) {
    RecordingClock clock(1709640000);
    HostRootGuard host;
    TempDir root;
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    plan->setDiskFull(true);  // keeps the pool from making 64 MiB files here
    SnapshotDiskManagerImplEx* disks = SnapshotDiskManagerImplEx::getInstance();
    ASSERT_EQ(1, SnapshotDiskManager::start());

    RecordDirInfo info;
    info.setDiskName(root.path("hd1").c_str());
    info.setDiskType(1);
    info.setGroupId(1);
    info.setEnableFlag(true);
    RecordDirInfo noRoot = info;
    noRoot.setDiskName("");
    ASSERT_TRUE(root.makeDir("hd1"));
    EXPECT_EQ(1, SnapshotDiskManager::setRecordDirInfoList({info, noRoot}));
    SafePointer<RecordFileInfo> file = testFileOf(1, 1709640000);
    file->setRecordMode(2);
    SafePointer<IRecordDir> dir;
    EXPECT_EQ(OV_RECORD_NO_GROUP, disks->requestRecordDir(file, 0, 0, dir));

    SnapshotDiskManager::setRecordDevicePolicy(RecordDeviceDirPolicy(file->getRecordDeviceInfo(), true, 1, 0, false));
    disks->setDirPolicyThread();
    std::vector<RecordDirInfo> dirs;
    SnapshotDiskManager::getRecordDirInfoList(dirs);
    ASSERT_EQ(1u, dirs.size());
    EXPECT_EQ(root.path("hd1"), dirs[0].getDiskName());
    ASSERT_EQ(0, disks->requestRecordDir(file, 0, 0, dir));
    EXPECT_STREQ(typeid(SnapshotRecordDirEx).name(), typeid(*dir.get()).name());
    EXPECT_TRUE(dir->isWritable());
    EXPECT_TRUE(root.exists("hd1/snapshot") && root.exists("hd1/useableDir"));
    disks->decreaseRecordDiskReference(file);

    SnapshotDiskManager::stop();
    dirs.clear();
    SnapshotDiskManager::getRecordDirInfoList(dirs);
    EXPECT_TRUE(dirs.empty());
    EXPECT_EQ(OV_RECORD_NO_GROUP, disks->requestRecordDir(file, 0, 0, dir));
}

}  // namespace

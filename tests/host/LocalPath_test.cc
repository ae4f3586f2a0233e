#include "host/LocalPath.h"

#include <gtest/gtest.h>

#include "host/NetPath.h"
#include "tests/support/HostRootGuard.h"

namespace {

TEST(LocalPathTest, SplitsAtTheDevicePartition) {
    LocalPath path;
    ASSERT_TRUE(path.create("/hd1//sdb2/rec/"));
    EXPECT_EQ("/hd1/sdb2", path.getDiskPath());
    EXPECT_EQ("sdb2", path.getDeviceName());
    EXPECT_EQ("rec", path.getRelativePath());
    EXPECT_EQ("/hd1/sdb2/rec", path.toString());
    EXPECT_EQ(1, path.getDiskIndex());
    EXPECT_EQ(2, path.getPartitionNumber());

    ASSERT_TRUE(path.create("/mnt/sda1"));
    EXPECT_EQ("/mnt/sda1", path.toString());
    EXPECT_EQ(0, path.getDiskIndex());
    ASSERT_TRUE(path.create("/mnt/sdaa"));
    EXPECT_EQ(26, path.getDiskIndex());
    EXPECT_EQ(0, path.getPartitionNumber());
    ASSERT_TRUE(path.create("/mnt/mmcblk1p3/x"));
    EXPECT_EQ("mmcblk1p3", path.getDeviceName());
    EXPECT_EQ(1, path.getDiskIndex());
    EXPECT_EQ(3, path.getPartitionNumber());
}

TEST(LocalPathTest, PathWithoutDeviceIsADiskOfItsOwn) {
    LocalPath path;
    ASSERT_TRUE(path.create("/hd1/disk0/"));  // "hd1" is no device: no letters
    EXPECT_EQ("/hd1/disk0", path.getDiskPath());
    EXPECT_EQ("", path.getDeviceName());
    EXPECT_EQ(-1, path.getDiskIndex());
    EXPECT_FALSE(path.create(""));
}

TEST(LocalPathTest, SetDiskPathMovesTheRest) {
    LocalPath path;
    ASSERT_TRUE(path.create("/mnt/sda1/record"));
    path.setDiskPath("/mnt/sdc5/");
    EXPECT_EQ("/mnt/sdc5/record", path.toString());
    EXPECT_EQ("sdc5", path.getDeviceName());
    EXPECT_EQ(2, path.getDiskIndex());
}

TEST(NetPathTest, MountPathOfEachForm) {
    HostRootGuard root("/tmp/r");
    NetPath path;
    ASSERT_TRUE(path.create("10.0.0.5:/export/video"));
    EXPECT_EQ("10.0.0.5", path.getServer());
    EXPECT_EQ("/tmp/r/mnt/nas/10.0.0.5/export_video", path.getMountPath());
    ASSERT_TRUE(path.create("//nas/share/sub/dir"));
    EXPECT_EQ("/tmp/r/mnt/nas/nas/share", path.getMountPath());
    EXPECT_EQ("sub/dir", path.getSubPath());
    ASSERT_TRUE(path.create("/mnt/nfs0//"));
    EXPECT_EQ("/mnt/nfs0", path.getMountPath());
    EXPECT_FALSE(path.create("nonsense"));
    EXPECT_FALSE(path.create("//onlyserver"));
    EXPECT_FALSE(path.create(""));
}

}  // namespace

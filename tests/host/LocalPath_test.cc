#include "host/LocalPath.h"

#include <gtest/gtest.h>

#include "host/NetPath.h"
#include "tests/support/HostRootGuard.h"

namespace {

TEST(LocalPathTest, SplitsAtTheDevicePartition) {
    struct Case {
        char const* text;
        char const* disk;
        char const* device;
        char const* relative;
        int index;
        int partition;
    };
    Case const cases[] = {
        {"/hd1//sdb2/rec/", "/hd1/sdb2", "sdb2", "rec", 1, 2},
        {"/mnt/sda1", "/mnt/sda1", "sda1", "", 0, 1},
        {"/mnt/sdaa", "/mnt/sdaa", "sdaa", "", 26, 0},
        {"/mnt/mmcblk1p3/x", "/mnt/mmcblk1p3", "mmcblk1p3", "x", 1, 3},
        {"/hd1/disk0/", "/hd1/disk0", "", "", -1, 0},  // "hd1" is no device: no letters
    };
    for (Case const& c : cases) {
        LocalPath path;
        ASSERT_TRUE(path.create(c.text)) << c.text;
        EXPECT_EQ(c.disk, path.getDiskPath()) << c.text;
        EXPECT_EQ(c.device, path.getDeviceName()) << c.text;
        EXPECT_EQ(c.relative, path.getRelativePath()) << c.text;
        EXPECT_EQ(c.index, path.getDiskIndex()) << c.text;
        EXPECT_EQ(c.partition, path.getPartitionNumber()) << c.text;
    }
    LocalPath path;
    EXPECT_FALSE(path.create(""));
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
    for (char const* text : {"nonsense", "//onlyserver", ""}) EXPECT_FALSE(path.create(text)) << text;
}

}  // namespace

#include "host/LocalPath.h"

#include <gtest/gtest.h>

namespace {

TEST(LocalPathTest, SplitsAtTheDevicePartition) {
    struct Case {
        char const *text, *disk, *device, *relative;
        int index, partition;
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
    EXPECT_FALSE(LocalPath().create(""));
}

}  // namespace

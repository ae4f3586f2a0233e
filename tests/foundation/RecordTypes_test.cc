#include <gtest/gtest.h>

#include <string>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordDiskInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/ReturnCode.h"

namespace {

TEST(RecordDiskInfoExTest, ReferenceNeverGoesBelowZeroAndLimitIsInclusive) {
    RecordDiskInfoEx disk;
    disk.decreaseReference();
    EXPECT_EQ(0, disk.getReferenceCount());
    disk.setReferenceLimit(2);
    disk.increaseReference();
    EXPECT_FALSE(disk.isOverAccessLimit());
    disk.increaseReference();
    EXPECT_TRUE(disk.isOverAccessLimit());
}

TEST(RecordDirInfoExTest, SameRootIsSameDirectoryAndSizesConvertTruncating) {
    RecordDirInfoEx a, b;
    a.setRecordRootDir("/mnt/sdb1");
    b.setRecordRootDir("/mnt/sdb1");
    a.setFreeSpace(1048575);
    a.setUseableSpace(3LL * 1048576 + 5);
    a.setGroupId(3);
    b.setDiskType(4);
    EXPECT_TRUE(a == b);
    RecordDirInfo host = RecordDirInfoEx::changeToRecordDirInfo(a);
    EXPECT_EQ(0, host.getFreeSpace());
    EXPECT_EQ(3, host.getUsableSpace());
    EXPECT_STREQ("/mnt/sdb1", host.getDiskName());
    RecordDirInfoEx back = RecordDirInfoEx::changeToRecordDirInfoEx(host);
    EXPECT_EQ(3LL * 1048576, back.getUseableSpace());
    EXPECT_EQ(3, back.getGroupId());

    b.setRecordRootDir("/mnt/sdb2/rec");
    EXPECT_FALSE(a == b);
    EXPECT_EQ(1, RecordDirInfoEx::parseDiskIndex(a));
    EXPECT_EQ(-1, RecordDirInfoEx::parseDiskIndex(b));  // not a local disk
    b.setDiskType(1);
    EXPECT_TRUE(RecordDirInfoEx::isSameDisk(a, b));
    b.setRecordRootDir("/mnt/sdc1");
    EXPECT_FALSE(RecordDirInfoEx::isSameDisk(a, b));
}

// The whole file name is checked on disk by the recording tests.
TEST(RecordFileInfoTest, FoldersFollowRootDeviceAndDate) {
    RecordFileInfo file;
    RecordDirInfoEx dir;
    dir.setRecordRootDir("/mnt/sda1");
    file.setRecordDirInfoEx(dir);
    file.setDeviceId("A1");
    file.setDeviceIP("192.168.1.5");
    file.setCameraId(3);
    file.setRecordDate("2024-01-01");
    EXPECT_EQ("/mnt/sda1/record/A1_192.168.1.5_3", file.getDeviceDir());
    EXPECT_EQ("/mnt/sda1/record/A1_192.168.1.5_3/2024-01-01", file.getDateDir());
}

TEST(ReturnCodeTest, EveryCodeOfTheTableHasItsName) {
    int named = 0;
    for (int code = -1000; code <= 1000; ++code) {
        char const* name = getReturnCodeName(code);
        if (name == nullptr) continue;
        ++named;
        EXPECT_EQ(0, std::string(name).find("OV_RECORD_")) << code;
    }
    EXPECT_EQ(47, named);
    EXPECT_STREQ("OV_RECORD_OPEN_FILE_FAILED", getReturnCodeName(-702));  // both ends of the table
    EXPECT_STREQ("OV_RECORD_CREATE_FILE_FAILED", getReturnCodeName(-771));
}

}  // namespace

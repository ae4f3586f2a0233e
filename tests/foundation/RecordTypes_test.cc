#include <gtest/gtest.h>

#include "foundation/AVStreamInfo.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordDiskInfoEx.h"
#include "foundation/RecordFileInfo.h"

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
    EXPECT_FALSE(disk.hasFreeSpace());
    disk.setUseableFileNumber(-1);
    EXPECT_TRUE(disk.hasFreeSpace());
    disk.setDiskName("sda");
    EXPECT_TRUE(disk.isSameDisk("sda"));
    EXPECT_FALSE(disk.isSameDisk("sda1"));
}

TEST(RecordDirInfoExTest, SameRootIsSameDirectoryWhateverTheFigures) {
    RecordDirInfoEx a;
    RecordDirInfoEx b;
    a.setRecordRootDir("/mnt/sda1");
    b.setRecordRootDir("/mnt/sda1");
    a.setFreeSpace(1);
    b.setFreeSpace(99);
    b.setDiskType(4);
    EXPECT_TRUE(a == b);
    b.setRecordRootDir("/mnt/sda2");
    EXPECT_FALSE(a == b);
}

TEST(RecordDirInfoExTest, SizesConvertToMiBTruncatingAndBack) {
    RecordDirInfoEx info;
    info.setRecordRootDir("/mnt/sdb1");
    info.setFreeSpace(1048575);
    info.setUseableSpace(3LL * 1048576 + 5);
    info.setGroupId(3);
    RecordDirInfo host = RecordDirInfoEx::changeToRecordDirInfo(info);
    EXPECT_EQ(0, host.getFreeSpace());
    EXPECT_EQ(3, host.getUsableSpace());
    EXPECT_STREQ("/mnt/sdb1", host.getDiskName());
    RecordDirInfoEx back = RecordDirInfoEx::changeToRecordDirInfoEx(host);
    EXPECT_EQ(3LL * 1048576, back.getUseableSpace());
    EXPECT_EQ(3, back.getGroupId());
}

TEST(RecordDirInfoExTest, DefaultsAreGroupOneLocalDisk) {
    RecordDirInfoEx info;
    EXPECT_EQ(1, info.getGroupId());
    EXPECT_EQ(1, info.getDiskType());
    EXPECT_EQ(0, info.getFileSegmentSize());
}

TEST(RecordDirInfoExTest, DiskIndexComesFromTheDevicePartOfALocalPath) {
    RecordDirInfoEx first;
    first.setRecordRootDir("/mnt/sdb1");
    RecordDirInfoEx second;
    second.setRecordRootDir("/mnt/sdb2/rec");
    RecordDirInfoEx other;
    other.setRecordRootDir("/mnt/sdc1");
    EXPECT_EQ(1, RecordDirInfoEx::parseDiskIndex(first));
    EXPECT_TRUE(RecordDirInfoEx::isSameDisk(first, second));
    EXPECT_FALSE(RecordDirInfoEx::isSameDisk(first, other));
    other.setDiskType(4);
    EXPECT_EQ(-1, RecordDirInfoEx::parseDiskIndex(other));
}

TEST(RecordFileInfoTest, PathsFollowRootDeviceDateAndNumber) {
    setenv("TZ", "UTC", 1);
    tzset();
    RecordFileInfo file;
    RecordDirInfoEx dir;
    dir.setRecordRootDir("/mnt/sda1");
    file.setRecordDirInfoEx(dir);
    file.setDeviceId("A1");
    file.setDeviceIP("192.168.1.5");
    file.setCameraId(3);
    file.setRecordBeginTime(1704110400);  // 2024-01-01 12:00:00 UTC
    file.setRecordDate("2024-01-01");
    file.setFileNumber(12);
    EXPECT_EQ("00012-A1_192.168.1.5_3_20240101120000.ts", file.createFileName());
    file.setFileNumber(-1);
    EXPECT_EQ("A1_192.168.1.5_3_20240101120000.ts", file.createFileName());
    file.setRecordFileName(file.createFileName());
    EXPECT_EQ("/mnt/sda1/record/A1_192.168.1.5_3", file.getDeviceDir());
    EXPECT_EQ("/mnt/sda1/record/A1_192.168.1.5_3/2024-01-01", file.getDateDir());
    EXPECT_EQ("/mnt/sda1/record/A1_192.168.1.5_3/2024-01-01/A1_192.168.1.5_3_20240101120000.ts",
              file.createRecordFileName());
    RecordInfo info = file.changeToRecordInfo();
    EXPECT_STREQ("A1", info.getDeviceId());
    EXPECT_EQ(1704110400u, info.getRecordBeginTime());
}

TEST(AVStreamInfoTest, TakesTheBlockFields) {
    TSAVData block;
    block.setESStreamType(1);
    block.setFrameType(1);
    block.setEncoderType(1);
    block.setImageWidth(1280);
    block.setImageHeight(720);
    block.setTimeStamp(5);
    char bytes[188] = {0x47};
    block.setData(bytes, sizeof(bytes));
    AVStreamInfo info(&block);
    EXPECT_EQ(1280, info.getImageWidth());
    EXPECT_EQ(720, info.getImageHeight());
    EXPECT_EQ(188u, info.getDataLength());
    EXPECT_EQ(1, info.getEncoderType());
}

}  // namespace

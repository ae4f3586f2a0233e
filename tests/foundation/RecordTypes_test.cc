#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
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
    EXPECT_FALSE(disk.hasFreeSpace());
    disk.setUseableFileNumber(-1);
    EXPECT_TRUE(disk.hasFreeSpace());
}

TEST(RecordDirInfoExTest, SameRootIsSameDirectoryAndSizesConvertTruncating) {
    RecordDirInfoEx a;
    RecordDirInfoEx b;
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
    file.setRecordFileName(file.createFileName());
    EXPECT_EQ("/mnt/sda1/record/A1_192.168.1.5_3", file.getDeviceDir());
    EXPECT_EQ("/mnt/sda1/record/A1_192.168.1.5_3/2024-01-01/A1_192.168.1.5_3_20240101120000.ts",
              file.createRecordFileName());
    RecordInfo info = file.changeToRecordInfo();
    EXPECT_STREQ("A1", info.getDeviceId());
    EXPECT_EQ(1704110400u, info.getRecordBeginTime());
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
    EXPECT_STREQ("OV_RECORD_OPEN_FILE_FAILED", getReturnCodeName(-702));
    EXPECT_STREQ("OV_RECORD_NO_DIR_WRITE", getReturnCodeName(-768));
    EXPECT_STREQ("OV_RECORD_CREATE_FILE_FAILED", getReturnCodeName(-771));
    EXPECT_EQ(nullptr, getReturnCodeName(-706));  // a gap of the table
}

}  // namespace

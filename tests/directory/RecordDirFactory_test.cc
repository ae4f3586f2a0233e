#include <gtest/gtest.h>

#include <sstream>
#include <typeinfo>

#include "directory/HDDirWithIndex.h"
#include "directory/NasDirWithIndex.h"
#include "directory/RecordDirEx.h"
#include "directory/RecordDirFactory.h"
#include "directory/RecordDirWithoutIndex.h"
#include "directory/RefusingRecordDir.h"
#include "foundation/ReturnCode.h"
#include "host/HostPaths.h"
#include "snapshot/SnapshotRecordDirEx.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

RecordDirInfoEx dirInfo(int diskType, std::string const& diskName, std::string const& root) {
    RecordDirInfoEx info;
    info.setDiskType(diskType);
    info.setRecordDiskName(diskName);
    info.setRecordRootDir(root);
    return info;
}

SafePointer<IRecordDir> nullDir(int diskType, std::string const& diskName, std::string const& root) {
    return SafePointer<IRecordDir>(new NullRecordDir(dirInfo(diskType, diskName, root)));
}

int countOf(std::string const& text, std::string const& word) {
    int count = 0;
    for (std::string::size_type at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++count;
    return count;
}

TEST(RecordDirFactory, ChoosesTheClassByKindThenDiskType) {
    HostRootGuard root;  // the directories log as they go
    struct Case {
        int kind;
        int diskType;
        char const* expected;
    } const cases[] = {
        {1, 0, typeid(HDDirWithIndex).name()},        {1, 1, typeid(HDDirWithIndex).name()},
        {1, 2, typeid(HDDirWithIndex).name()},        {1, 5, typeid(HDDirWithIndex).name()},
        {1, 3, typeid(RecordDirWithoutIndex).name()}, {1, 4, typeid(NasDirWithIndex).name()},
        {2, 1, typeid(SnapshotRecordDirEx).name()},   {2, 3, typeid(SnapshotRecordDirEx).name()},
        {0, 4, typeid(SnapshotRecordDirEx).name()},
    };
    RecordDirFactory factory;
    for (Case const& c : cases) {
        SafePointer<IRecordDir> dir = factory.create(c.kind, dirInfo(c.diskType, "sda@1", "/nowhere"), 7, "NVR", 2);
        ASSERT_FALSE(dir.isNull());
        EXPECT_STREQ(c.expected, typeid(*dir.get()).name()) << "kind " << c.kind << " disk type " << c.diskType;
        EXPECT_EQ("/nowhere", dir->getRecordDirInfoEx().getRecordRootDir());
    }
}

// A kind that can't record yet comes up not ready and refuses files with a
// code, logging once however often it is asked.
TEST(RecordDirFactory, KindsThatCannotRecordRefuseWithACodeAndLogOnce) {
    HostRootGuard root;
    SafePointer<IRecordDir> snapshots(new RefusingRecordDir(dirInfo(4, "nas", root.root() + "/share"), "snapshot", 7,
                                                            "NVR", 2));
    auto* refusing = dynamic_cast<RefusingRecordDir*>(snapshots.get());
    ASSERT_NE(nullptr, refusing);
    EXPECT_EQ(7, refusing->getGroupValue());
    EXPECT_EQ("NVR", refusing->getDeviceId());
    EXPECT_EQ(2, refusing->getRecordType());
    EXPECT_EQ(0, snapshots->init());
    EXPECT_FALSE(snapshots->isWritable());
    SafePointer<RecordFileInfo> file(new RecordFileInfo());
    for (int i = 0; i < 3; ++i) EXPECT_EQ(OV_RECORD_DIR_NOT_WRITABLE, snapshots->createFile(file));
    EXPECT_FALSE(snapshots->isIOError());
    std::string log = TempDir::readWhole(HostPaths::getLogDir() + "/recordDir.log");
    EXPECT_EQ(1, countOf(log, "snapshot directories cannot record"));
    EXPECT_EQ(1, countOf(log, "createFile refused"));
    EXPECT_EQ(2, countOf(log, "RecordRootDir:" + root.root() + "/share"));
}

TEST(NullRecordDir, EverythingFailsAndAWriterThereMeetsADiskFault) {
    SafePointer<IRecordDir> dir = nullDir(1, "sda@1", "/r");
    SafePointer<RecordFileInfo> file(new RecordFileInfo());
    EXPECT_EQ(-1, dir->createFile(file));
    EXPECT_TRUE(dir->isIOError());
    EXPECT_EQ(0, dir->init());
    EXPECT_FALSE(dir->isWritable() || dir->hasFreeSpace());
    int total = 5;
    int free = 5;
    EXPECT_EQ(0, dir->getDirFileNumber(total, free));
    EXPECT_EQ(0, total + free);
    EXPECT_EQ(1, dir->deleteFile(std::string("x")));

    struct Listener : IAlarmListenerEx {
        int onAlarm(AlarmInfoEx const&) override { return 0; }
    } listener;
    dir->setBackupRecordListener(&listener);
    dir->setBackupRecordListener(nullptr);
    EXPECT_EQ(&listener, dir->getBackupRecordListener());
}

TEST(IRecordDir, WriteLogKeepsOneRecordPerSourceLineInARow) {
    HostRootGuard root;
    SafePointer<IRecordDir> dir = nullDir(1, "sda@1", "/r");
    dir->writeLog("first", 10);
    dir->writeLog("second", 10);
    dir->writeLog("third", 11);
    dir->writeLog("fourth", 10);
    dir->writeLog(std::string(2000, 'x').c_str(), 12);
    std::string log = TempDir::readWhole(HostPaths::getLogDir() + "/recordDir.log");
    EXPECT_EQ(1, countOf(log, "Message:first"));
    EXPECT_EQ(0, countOf(log, "Message:second"));
    EXPECT_EQ(1, countOf(log, "Message:third"));
    EXPECT_EQ(1, countOf(log, "Message:fourth"));
    EXPECT_EQ(1, countOf(log, "DiskName:sda@1 RecordRootDir:/r Message:third"));
    std::string::size_type xs = log.find(std::string(100, 'x'));
    ASSERT_NE(std::string::npos, xs);
    EXPECT_EQ(std::string::npos, log.find(std::string(1024 - 40, 'x')));  // cut at 1023 characters in all
}

TEST(RecordDirEx, NumbersComeFromTheDiskNameAndTheRootOfLocalDisksOnly) {
    struct Case {
        int diskType;
        char const* diskName;
        char const* root;
        int disk;
        int partition;
    } const cases[] = {
        {1, "sda@3", "/mnt/hd3", 3, 3}, {1, "hd@1x", "/mnt/usb", 1, 0}, {1, "sda@", "/mnt/hd1", -1, 1},
        {1, "", "/mnt/hd1", -1, 1},     {1, "sda", "/mnt/hd1", -1, 1},  {1, "sda@x", "/mnt/hd1", -1, 1},
        {1, "sda@2", "", 2, -1},        {2, "sd@1", "/mnt/sd1", -1, -1}, {4, "nas@1", "/mnt/nas1", -1, -1},
    };
    for (Case const& c : cases) {
        SafePointer<IRecordDir> dir = nullDir(c.diskType, c.diskName, c.root);
        RecordDirEx ex;
        EXPECT_EQ(c.disk != -1 && c.partition != -1, ex.initRecordDir(dir)) << c.diskName << " " << c.root;
        EXPECT_EQ(c.disk, ex.getDiskNum()) << c.diskName;
        EXPECT_EQ(c.partition, ex.getPartitionNum()) << c.root;
        EXPECT_TRUE(ex.isSameRecordDir(dir));
    }
    SafePointer<IRecordDir> none;
    EXPECT_EQ(-1, RecordDirEx::getDiskNum(none));
    EXPECT_EQ(-1, RecordDirEx::getPartitionNum(none));
}

// Descending walks of a group still take one disk's partitions in ascending order.
TEST(RecordDirEx, GreaterPutsTheSmallerPartitionOfOneDiskFirst) {
    auto make = [](char const* diskName, char const* root) {
        SafePointer<IRecordDir> dir = nullDir(1, diskName, root);
        RecordDirEx ex;
        ex.initRecordDir(dir);
        return ex;
    };
    RecordDirEx d1p2 = make("sda@1", "/mnt/hd2");
    RecordDirEx d1p3 = make("sda@1", "/mnt/hd3");
    RecordDirEx d2p1 = make("sdb@2", "/mnt/hd1");
    EXPECT_TRUE(d1p2 < d1p3);
    EXPECT_TRUE(d1p2 > d1p3);
    EXPECT_FALSE(d1p3 > d1p2);
    EXPECT_TRUE(d1p3 < d2p1);
    EXPECT_TRUE(d2p1 > d1p3);
    EXPECT_FALSE(d1p2 < d1p2);
    EXPECT_FALSE(d1p2 > d1p2);
}

}  // namespace

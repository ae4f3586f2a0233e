#include "recording/TSRecordWriterWithIndex.h"

#include <gtest/gtest.h>

#include <cstdio>

#include <filesystem>
#include <fstream>

#include "directory/LastRecordFileInfoManager.h"
#include "directory/PlainRecordDir.h"
#include "foundation/ReturnCode.h"
#include "foundation/StorageParameterManage.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/HostClock.h"
#include "index/RecordIndexFileParserEx.h"
#include "recording/RecordFileWriterFactory.h"
#include "recording/TSRecordWriterWithoutIndex.h"
#include "tests/support/FaultInjectingDiskManager.h"
#include "tests/support/FaultInjectingFile.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestBlock.h"
#include "tracking/RecordingMarkManager.h"

namespace {

constexpr long long kBegin = 1704110400;  // 2024-01-01 12:00:00 UTC

// Blocks as the session hands them to a writer: time stamps in seconds.
struct Block : TestBlock {
    Block(int frameType, long long seconds, int length, char tag = 'x')
        : TestBlock(1, frameType, seconds, length / kPacket, tag) {}
    TSAVData const* operator&() const { return &data; }
};

class TSRecordWriterWithIndexTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        LastRecordFileInfoManager::getInstance()->clear();
        m_info.setRecordRootDir(m_disk.path("sda1"));
        m_info.setRecordDiskName("sda1");
        m_info.setFileSegmentSize(1880);
    }
    void TearDown() override {
        LastRecordFileInfoManager::getInstance()->clear();
        StorageParameterManage::getInstance()->resetStorageParameter();
        FileFactory::resetFileCreator();
        DiskManagerFactory::resetDiskManagers();
        HostClock::reset();
    }

    // Faults of the plan reach the data files of indexed directories, every
    // file of an FTP disk, and the folders (a power cut undoes unsynced ones).
    FaultPlan& faults() {
        DiskManagerFactory::setDiskManager(-1, &m_faultyDisk);
        std::shared_ptr<FaultPlan> plan = m_plan;
        FileFactory::setFileCreator([plan](int diskType, int, int flag) -> IFile* {
            return diskType == 3 || flag == 1 ? new FaultInjectingFile(plan) : nullptr;
        });
        return *m_plan;
    }

    SafePointer<RecordFileInfo> fileInfo() {
        SafePointer<RecordFileInfo> file(new RecordFileInfo());
        file->setDeviceId("NVR");
        file->setDeviceIP("10.0.0.7");
        file->setCameraId(1);
        file->setRecordDate("2024-01-01");
        file->setRecordBeginTime(kBegin);
        return file;
    }
    // A new file of the directory with its entry, as the disk layer gives it.
    SafePointer<RecordFileInfo> newFile(int requestType = 0) {
        if (!m_dir) {
            m_dir.reset(new PlainRecordDir(m_info));
            m_dir->init();
        }
        SafePointer<RecordFileInfo> file = fileInfo();
        file->setAVStreamInfo(AVStreamInfo(&Block(1, kBegin, 188)));
        m_dir->setDeviceRequetType(file->getRecordDeviceInfo(), requestType);
        EXPECT_EQ(0, m_dir->createFile(file));
        return file;
    }
    // A file of an FTP disk, which keeps no index.
    SafePointer<RecordFileInfo> ftpFile(int number, long long segmentSize) {
        m_info.setDiskType(3);
        m_info.setFileSegmentSize(segmentSize);
        SafePointer<RecordFileInfo> file = fileInfo();
        file->setRecordDirInfoEx(m_info);
        file->setFileNumber(number);
        file->setRecordFileName(file->createFileName());
        return file;
    }

    RecordIndexFileParserEx& index() {
        m_index.close();
        EXPECT_EQ(1, m_index.open(m_info, "2024-01-01", "NVR_10.0.0.7_1", 0, 0));
        return m_index;
    }
    int indexedLength() {
        int data = -1, time, interval, end;
        bool closed;
        index().getRecordFileLenAndTimeLen(data, time, interval, end, closed);
        return data;
    }
    static bool marked() { return RecordingMarkManager::getInstance()->isExistMark("NVR_10.0.0.7_1", "2024-01-01"); }

    TempDir m_disk;
    HostRootGuard m_root;
    RecordDirInfoEx m_info;
    std::unique_ptr<PlainRecordDir> m_dir;
    std::shared_ptr<FaultPlan> m_plan = std::make_shared<FaultPlan>();
    FaultInjectingDiskManager m_faultyDisk{m_plan};
    RecordIndexFileParserEx m_index;
    int m_nHeld = -1;
};
using TSRecordWriterWithoutIndexTest = TSRecordWriterWithIndexTest;

TEST_F(TSRecordWriterWithIndexTest, BlockThatWouldReachTheUsableSizeIsRefusedWhole) {
    std::filesystem::create_directories(m_root.root() + "/hd1/program/config");
    std::ofstream(m_root.root() + "/hd1/program/config/storageparam.ini") << "RecordFileUsePercent=50\n";
    ASSERT_TRUE(StorageParameterManage::getInstance()->initStorageParameter());  // 940 of 1880 bytes
    SafePointer<RecordFileInfo> file = newFile();
    TSRecordWriterWithIndex writer;
    ASSERT_EQ(0, writer.open(file, m_nHeld));
    EXPECT_EQ(0, m_nHeld);
    EXPECT_EQ(0, writer.write(&Block(1, kBegin, 564), false, 0));
    EXPECT_EQ(0, writer.write(&Block(2, kBegin, 188), false, 0));  // 752
    EXPECT_EQ(OV_RECORD_FILE_FULL, writer.write(&Block(2, kBegin, 188), false, 0));  // would make 940
    writer.close();
    EXPECT_EQ(752u, TempDir::readWhole(file->createRecordFileName()).size());
    EXPECT_EQ(752, indexedLength());
}

TEST_F(TSRecordWriterWithIndexTest, ContinuedFileTakesItsEndTimeButNotASecondLess) {
    SafePointer<RecordFileInfo> file = newFile();
    {
        TSRecordWriterWithIndex writer;
        ASSERT_EQ(0, writer.open(file, m_nHeld));
        ASSERT_EQ(0, writer.write(&Block(1, kBegin, 188), false, 0));
        ASSERT_EQ(0, writer.write(&Block(1, kBegin + 4, 188), false, 0));
    }
    // The file holds 0..4; a continuation may begin at 5 (begin + 1 + interval).
    SafePointer<RecordFileInfo> again = newFile(1);
    EXPECT_EQ(file->getRecordFileName(), again->getRecordFileName());
    TSRecordWriterWithIndex late;
    ASSERT_EQ(0, late.open(again, m_nHeld));
    EXPECT_GT(m_nHeld, 0);
    EXPECT_EQ(OV_RECORD_TIME_ROLLBACK, late.write(&Block(1, kBegin + 4, 188), false, 0));
    EXPECT_EQ(0, late.write(&Block(1, kBegin + 5, 188), false, 0));
    late.close();
    EXPECT_EQ(564, indexedLength());
}

TEST_F(TSRecordWriterWithIndexTest, OpenMarksTheRecordingAFailedWriteForgetsTheFileAndOnlyOneCloseActs) {
    FaultPlan& plan = faults();
    SafePointer<RecordFileInfo> file = newFile();
    TSRecordWriterWithIndex writer;
    EXPECT_FALSE(marked());
    ASSERT_EQ(0, writer.open(file, m_nHeld));
    EXPECT_TRUE(marked());
    ASSERT_EQ(0, writer.write(&Block(1, kBegin, 188), false, 0));
    EXPECT_EQ(1u, LastRecordFileInfoManager::getInstance()->size());
    plan.failWriteAt(1);
    EXPECT_EQ(OV_RECORD_WRITE_FAILED, writer.write(&Block(2, kBegin + 1, 188), false, 0));
    EXPECT_EQ(0u, LastRecordFileInfoManager::getInstance()->size());  // it will not be continued
    writer.close();
    EXPECT_FALSE(marked());
    TSRecordWriterWithIndex next;  // the channel goes on in a new file
    ASSERT_EQ(0, next.open(newFile(), m_nHeld));
    writer.close();  // a second close leaves the new recording alone
    EXPECT_TRUE(marked());
    EXPECT_EQ(OV_RECORD_WRITE_FAILED, writer.write(&Block(1, kBegin, 188), false, 0));
}

TEST_F(TSRecordWriterWithIndexTest, UpdateFlushesTheIndexAtOnceAndEndsTheFile) {
    EXPECT_EQ(60, TSRecordWriterWithIndex::initFlushIntervalTime(1, 0));
    EXPECT_EQ(60, TSRecordWriterWithIndex::initFlushIntervalTime(2, 6));
    EXPECT_EQ(30, TSRecordWriterWithIndex::initFlushIntervalTime(4, 0));
    EXPECT_EQ(0, TSRecordWriterWithIndex::initFlushIntervalTime(4, 6));
    m_info.setFileSegmentSize(1 << 20);
    SafePointer<RecordFileInfo> file = newFile();
    TSRecordWriterWithIndex writer;
    ASSERT_EQ(0, writer.open(file, m_nHeld));
    for (int i = 0; i < 5; ++i) ASSERT_EQ(0, writer.write(&Block(1, kBegin + 2 * i, 188), false, 0));
    EXPECT_EQ(0, indexedLength());  // within the flush interval
    // An update flushes at once and ends the file; its block is written, not indexed.
    writer.setUpdateFlag();
    EXPECT_EQ(OV_RECORD_FILE_UPDATED, writer.write(&Block(2, kBegin + 9, 188), false, 0));
    EXPECT_FALSE(writer.getUpdateFlag());
    EXPECT_EQ(4 * 188, indexedLength());
    writer.close();
    EXPECT_EQ(6u * 188, TempDir::readWhole(file->createRecordFileName()).size());
    EXPECT_EQ(5 * 188, indexedLength());
}

TEST_F(TSRecordWriterWithIndexTest, OpenFailureDropsTheIndexEntryOfAMissingDataFileOnly) {
    FaultPlan& plan = faults();
    for (bool present : {true, false}) {
        SafePointer<RecordFileInfo> file = newFile();
        if (!present) std::remove(file->createRecordFileName().c_str());
        plan.failOpenAt(1);
        TSRecordWriterWithIndex writer;
        EXPECT_EQ(OV_RECORD_OPEN_FILE_FAILED, writer.open(file, m_nHeld));
        SafePointer<RecordFileInfo> found;
        EXPECT_EQ(present ? 1 : 0, index().getRecordFileInfoByFileName(file->getRecordFileName().c_str(), found))
            << "data file present: " << present;
    }
}

TEST_F(TSRecordWriterWithIndexTest, FactoryGivesFtpDisksTheWriterWithoutIndex) {
    for (int type : {0, 1, 2, 3, 4, 5}) {
        m_info.setDiskType(type);
        SafePointer<IRecordWriter> writer = RecordFileWriterFactory::create(m_info);
        EXPECT_EQ(type == 3, writer.dynamicCast<TSRecordWriterWithoutIndex>().get() != nullptr) << type;
        EXPECT_EQ(type != 3, writer.dynamicCast<TSRecordWriterWithIndex>().get() != nullptr) << type;
    }
}

TEST_F(TSRecordWriterWithoutIndexTest, WaitsForAnIFrameAndChangesFilesOnlyAtOne) {
    SafePointer<RecordFileInfo> file = ftpFile(1, 3 * 188);
    TSRecordWriterWithoutIndex writer;
    ASSERT_EQ(0, writer.open(file, m_nHeld));
    Block p(2, kBegin, 188, 'p'), i(1, kBegin + 1, 188, 'i'), q(2, kBegin + 2, 376, 'q');
    EXPECT_EQ(0, writer.write(&p, false, 0));  // dropped: no I frame yet
    EXPECT_EQ(0, writer.write(&i, false, 0));
    EXPECT_EQ(0, writer.write(&q, false, 0));  // fills the file: a P frame still goes in
    EXPECT_EQ(OV_RECORD_FILE_FULL, writer.write(&Block(1, kBegin + 3, 188), false, 0));
    writer.close();
    EXPECT_EQ(i.text() + q.text(), TempDir::readWhole(file->createRecordFileName()));

    TSRecordWriterWithoutIndex late;
    ASSERT_EQ(0, late.open(ftpFile(2, 1 << 20), m_nHeld));
    long long midnight = kBegin + 12 * 3600;
    EXPECT_EQ(0, late.write(&Block(1, midnight, 188), false, 0));
    EXPECT_EQ(0, late.write(&Block(2, midnight + 1, 188), false, 0));  // the day ends at an I frame only
    EXPECT_EQ(OV_RECORD_DAY_OVER, late.write(&Block(1, midnight + 1, 188), false, 0));
}

TEST_F(TSRecordWriterWithoutIndexTest, FlushesOnlyWhenMoreThanAMinuteHasPassed) {
    FaultPlan& plan = faults();
    HostClock::freeze();
    SafePointer<RecordFileInfo> file = ftpFile(1, 1 << 20);
    TSRecordWriterWithoutIndex writer;
    ASSERT_EQ(0, writer.open(file, m_nHeld));
    Block a(1, kBegin, 188, 'a'), b(2, kBegin + 60, 188, 'b'), c(2, kBegin + 61, 188, 'c');
    EXPECT_EQ(0, writer.write(&a, false, 0));
    HostClock::shift(60);
    EXPECT_EQ(0, writer.write(&b, false, 0));
    HostClock::shift(0.5);
    EXPECT_EQ(0, writer.write(&c, false, 0));  // flushed with everything before it
    EXPECT_EQ(0, writer.write(&Block(2, kBegin + 62, 188, 'd'), false, 0));
    plan.powerCut();
    EXPECT_EQ(a.text() + b.text() + c.text(), TempDir::readWhole(file->createRecordFileName()));
}

}  // namespace

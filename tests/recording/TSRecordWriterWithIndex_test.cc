#include "recording/TSRecordWriterWithIndex.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "directory/LastRecordFileInfoManager.h"
#include "directory/PlainRecordDir.h"
#include "foundation/ReturnCode.h"
#include "foundation/StorageParameterManage.h"
#include "host/HostClock.h"
#include "index/RecordIndexFileParserEx.h"
#include "recording/RecordFileWriterFactory.h"
#include "recording/TSRecordWriterWithoutIndex.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestBlock.h"

namespace {

constexpr long long kBegin = 1704110400;  // 2024-01-01 12:00:00 UTC

// Blocks as the session hands them to a writer: time stamps in seconds.
struct Block : TestBlock {
    Block(int frameType, long long seconds, int length, char tag = 'x')
        : TestBlock(1, frameType, seconds, length / kPacket, tag) {}
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
        HostClock::reset();
    }

    // A new file of the directory with its entry, as the disk layer gives it.
    SafePointer<RecordFileInfo> newFile(int requestType = 0) {
        if (!m_dir) {
            m_dir.reset(new PlainRecordDir(m_info));
            m_dir->init();
        }
        SafePointer<RecordFileInfo> file(new RecordFileInfo());
        file->setDeviceId("NVR");
        file->setDeviceIP("10.0.0.7");
        file->setCameraId(1);
        file->setRecordDate("2024-01-01");
        file->setRecordBeginTime(kBegin);
        AVStreamInfo stream;
        stream.setImageWidth(640);
        stream.setImageHeight(360);
        file->setAVStreamInfo(stream);
        RecordDeviceInfo device;
        device.setDeviceId("NVR");
        device.setDeviceIP("10.0.0.7");
        device.setCameraId(1);
        m_dir->setDeviceRequetType(device, requestType);
        EXPECT_EQ(0, m_dir->createFile(file));
        return file;
    }

    void setUsePercent(int percent) {
        std::filesystem::create_directories(m_root.root() + "/hd1/program/config");
        std::ofstream(m_root.root() + "/hd1/program/config/storageparam.ini") << "RecordFileUsePercent=" << percent << "\n";
        ASSERT_TRUE(StorageParameterManage::getInstance()->initStorageParameter());
    }

    int indexedLength(SafePointer<RecordFileInfo> const& file) {
        RecordIndexFileParserEx parser;
        EXPECT_EQ(1, parser.open(m_info, "2024-01-01", file->getDeviceDirName(), 0, 0));
        int data = -1;
        int time = 0;
        int interval = 0;
        int end = 0;
        bool closed = false;
        parser.getRecordFileLenAndTimeLen(data, time, interval, end, closed);
        return data;
    }

    TempDir m_disk;
    HostRootGuard m_root;
    RecordDirInfoEx m_info;
    std::unique_ptr<PlainRecordDir> m_dir;
};

TEST_F(TSRecordWriterWithIndexTest, BlockThatWouldReachTheUsableSizeIsRefusedWhole) {
    setUsePercent(50);  // 940 of the 1880 bytes
    SafePointer<RecordFileInfo> file = newFile();
    TSRecordWriterWithIndex writer;
    int held = -1;
    ASSERT_EQ(0, writer.open(file, held));
    EXPECT_EQ(0, held);
    Block first(1, kBegin, 564);
    EXPECT_EQ(0, writer.write(&first.data, false, 0));
    Block below(2, kBegin, 188);  // makes 752
    EXPECT_EQ(0, writer.write(&below.data, false, 0));
    Block exact(2, kBegin, 188);  // would make 940: refused
    EXPECT_EQ(OV_RECORD_FILE_FULL, writer.write(&exact.data, false, 0));
    writer.close();
    EXPECT_EQ(752u, TempDir::readWhole(file->createRecordFileName()).size());
    EXPECT_EQ(752, indexedLength(file));
}

TEST_F(TSRecordWriterWithIndexTest, ContinuedFileTakesItsEndTimeButNotASecondLess) {
    SafePointer<RecordFileInfo> file = newFile();
    {
        TSRecordWriterWithIndex writer;
        int held = 0;
        ASSERT_EQ(0, writer.open(file, held));
        Block a(1, kBegin, 188);
        Block b(1, kBegin + 4, 188);
        ASSERT_EQ(0, writer.write(&a.data, false, 0));
        ASSERT_EQ(0, writer.write(&b.data, false, 0));
        writer.close();
    }
    // The file holds 0..4; a continuation may begin at 5 (begin + 1 + interval).
    SafePointer<RecordFileInfo> again = newFile(1);
    EXPECT_EQ(file->getRecordFileName(), again->getRecordFileName());
    TSRecordWriterWithIndex late;
    int held = 0;
    ASSERT_EQ(0, late.open(again, held));
    EXPECT_GT(held, 0);
    Block older(1, kBegin + 4, 188);
    EXPECT_EQ(OV_RECORD_TIME_ROLLBACK, late.write(&older.data, false, 0));
    Block onTime(1, kBegin + 5, 188);
    EXPECT_EQ(0, late.write(&onTime.data, false, 0));
    late.close();
    EXPECT_EQ(564, indexedLength(file));
}

TEST_F(TSRecordWriterWithIndexTest, UpdateWritesTheBlockFlushesAndEndsTheFileWithoutIndexingIt) {
    m_info.setFileSegmentSize(1 << 20);
    SafePointer<RecordFileInfo> file = newFile();
    TSRecordWriterWithIndex writer;
    int held = 0;
    ASSERT_EQ(0, writer.open(file, held));
    Block a(1, kBegin, 376, 'a');
    ASSERT_EQ(0, writer.write(&a.data, false, 0));
    writer.setUpdateFlag();
    EXPECT_TRUE(writer.getUpdateFlag());
    Block b(2, kBegin + 1, 188, 'b');
    EXPECT_EQ(OV_RECORD_FILE_UPDATED, writer.write(&b.data, false, 0));
    EXPECT_FALSE(writer.getUpdateFlag());
    writer.close();
    EXPECT_EQ(564u, TempDir::readWhole(file->createRecordFileName()).size());
    EXPECT_EQ(376, indexedLength(file));
}

TEST_F(TSRecordWriterWithIndexTest, CloseTwiceAndWriteAfterClose) {
    SafePointer<RecordFileInfo> file = newFile();
    TSRecordWriterWithIndex writer;
    int held = 0;
    ASSERT_EQ(0, writer.open(file, held));
    Block a(1, kBegin, 188);
    ASSERT_EQ(0, writer.write(&a.data, false, 0));
    writer.close();
    std::string index = TempDir::readWhole(RecordIndexFileParserEx::getIndexFileName(*file));
    writer.close();
    EXPECT_TRUE(index == TempDir::readWhole(RecordIndexFileParserEx::getIndexFileName(*file)));
    EXPECT_EQ(OV_RECORD_WRITE_FAILED, writer.write(&a.data, false, 0));
}

TEST_F(TSRecordWriterWithIndexTest, FlushIntervalsByDiskType) {
    EXPECT_EQ(60, TSRecordWriterWithIndex::initFlushIntervalTime(1, 0));
    EXPECT_EQ(60, TSRecordWriterWithIndex::initFlushIntervalTime(2, 6));
    EXPECT_EQ(30, TSRecordWriterWithIndex::initFlushIntervalTime(4, 0));
    EXPECT_EQ(0, TSRecordWriterWithIndex::initFlushIntervalTime(4, 6));
}

TEST_F(TSRecordWriterWithIndexTest, IndexReachesTheDiskAtTheFlushIntervalOnly) {
    m_info.setFileSegmentSize(1 << 20);
    SafePointer<RecordFileInfo> file = newFile();
    TSRecordWriterWithIndex writer;
    int held = 0;
    ASSERT_EQ(0, writer.open(file, held));
    for (int i = 0; i < 4; ++i) {
        Block block(1, kBegin + 2 * i, 188);
        ASSERT_EQ(0, writer.write(&block.data, false, 0));
        HostClock::shift(19);
    }
    EXPECT_EQ(0, indexedLength(file));  // 60 s have not passed since the first block
    HostClock::shift(5);
    Block late(1, kBegin + 8, 188);
    ASSERT_EQ(0, writer.write(&late.data, false, 0));
    EXPECT_EQ(3 * 188, indexedLength(file));  // items of the blocks before the last two
    writer.close();
    EXPECT_EQ(5 * 188, indexedLength(file));
}

TEST_F(TSRecordWriterWithIndexTest, FactoryGivesFtpDisksTheWriterWithoutIndex) {
    RecordDirInfoEx ftp;
    ftp.setDiskType(3);
    EXPECT_NE(nullptr, RecordFileWriterFactory::create(ftp).dynamicCast<TSRecordWriterWithoutIndex>().get());
    for (int type : {0, 1, 2, 4, 5}) {
        RecordDirInfoEx other;
        other.setDiskType(type);
        EXPECT_NE(nullptr, RecordFileWriterFactory::create(other).dynamicCast<TSRecordWriterWithIndex>().get());
    }
}

TEST_F(TSRecordWriterWithIndexTest, WriterWithoutIndexWaitsForAnIFrameAndEndsTheDayAtTheNextOne) {
    m_info.setDiskType(3);
    m_info.setFileSegmentSize(1 << 20);
    SafePointer<RecordFileInfo> file(new RecordFileInfo());
    file->setDeviceId("NVR");
    file->setDeviceIP("10.0.0.7");
    file->setRecordDate("2024-01-01");
    file->setRecordBeginTime(kBegin);
    file->setRecordDirInfoEx(m_info);
    file->setFileNumber(0);
    file->setRecordFileName(file->createFileName());
    TSRecordWriterWithoutIndex writer;
    int held = 0;
    ASSERT_EQ(0, writer.open(file, held));
    Block p(2, kBegin, 188, 'p');
    EXPECT_EQ(0, writer.write(&p.data, false, 0));  // dropped: no I frame yet
    Block i(1, kBegin + 1, 188, 'i');
    EXPECT_EQ(0, writer.write(&i.data, false, 0));
    long long midnight = kBegin + 12 * 3600;
    Block lateP(2, midnight + 1, 188, 'q');
    EXPECT_EQ(0, writer.write(&lateP.data, false, 0));  // the day ends at an I frame only
    Block lateI(1, midnight + 1, 188, 'j');
    EXPECT_EQ(OV_RECORD_DAY_OVER, writer.write(&lateI.data, false, 0));
    writer.close();
    std::string data = TempDir::readWhole(file->createRecordFileName());
    EXPECT_EQ(std::string(i.bytes.begin(), i.bytes.end()) + std::string(lateP.bytes.begin(), lateP.bytes.end()), data);
}

}  // namespace

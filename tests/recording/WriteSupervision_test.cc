#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>

#include "directory/LastRecordFileInfoManager.h"
#include "directory/PlainRecordDir.h"
#include "disk/RecordDirStateManager.h"
#include "disk/RecordDiskManagerImpl.h"
#include "foundation/ReturnCode.h"
#include "foundation/StorageParameterManage.h"
#include "host/FileFactory.h"
#include "host/HostClock.h"
#include "recording/RecordFileRequestManager.h"
#include "recording/RecordSpeedCalculator.h"
#include "recording/RecordStorageTSImpl.h"
#include "recording/RecordTimeOutDetector.h"
#include "recording/RecordUpdateManager.h"
#include "recording/RecordWriterCloseThread.h"
#include "recording/TSFrameQueue.h"
#include "recording/TSRecordWriterWithIndex.h"
#include "tests/support/FaultInjectingFile.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestBlock.h"

namespace {

constexpr long long kDay0 = 1704110400;  // 2024-01-01 12:00:00 UTC

struct Block : TestBlock {
    Block(int frameType, long long seconds, char tag) : TestBlock(1, frameType, seconds * 1000000, 1, tag) {}
};

bool waitFor(std::function<bool()> const& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i) usleep(5000);
    return condition();
}

// Two channels on two disks: disk type 1 ("sda1") goes through a fault plan,
// disk type 2 ("sdb1") is a plain file system.
class WriteSupervisionTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        std::shared_ptr<FaultPlan> plan = m_plan;
        FileFactory::setFileCreator([plan](int diskType, int, int) -> IFile* {
            return diskType == 1 ? new FaultInjectingFile(plan) : nullptr;
        });
        m_slow.setRecordRootDir(m_disk.path("sda1"));
        m_slow.setRecordDiskName("sda1");
        m_slow.setDiskType(1);
        m_slow.setFileSegmentSize(1 << 20);
        m_fast = m_slow;
        m_fast.setRecordRootDir(m_disk.path("sdb1"));
        m_fast.setRecordDiskName("sdb1");
        m_fast.setDiskType(2);
        LastRecordFileInfoManager::getInstance()->clear();
    }

    void TearDown() override {
        m_plan->release();
        RecordDiskManagerImpl::getInstance()->clear();
        LastRecordFileInfoManager::getInstance()->clear();
        FileFactory::resetFileCreator();
        HostClock::reset();
        RecordDirStateManager::getInstance()->clear();
    }

    std::unique_ptr<RecordStorageTSImpl> session(int camera) {
        std::unique_ptr<RecordStorageTSImpl> opened(new RecordStorageTSImpl());
        RecordInfo info;
        info.setDeviceId("NVR");
        info.setDeviceIP("10.0.0.7");
        info.setCameraId(camera);
        opened->open(info, false);
        opened->setTSFrameQueue(&m_queue);
        return opened;
    }

    std::shared_ptr<FaultPlan> m_plan = std::make_shared<FaultPlan>();
    HostRootGuard m_root;
    TempDir m_disk;
    RecordDirInfoEx m_slow;
    RecordDirInfoEx m_fast;
    TSFrameQueue m_queue;
};

TEST_F(WriteSupervisionTest, HungWriteTurnsIntoATimeOutWhileOtherDisksKeepGoing) {
    // One writer per disk, so the second channel has to take the other disk.
    std::filesystem::create_directories(m_root.root() + "/hd1/program/config");
    std::ofstream(m_root.root() + "/hd1/program/config/storageparam.ini") << "DiskReferenceCountLimit=1\n";
    ASSERT_TRUE(StorageParameterManage::getInstance()->initStorageParameter());
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_slow, m_fast});
    StorageParameterManage::getInstance()->resetStorageParameter();
    std::unique_ptr<RecordStorageTSImpl> slow = session(1);
    Block first(1, kDay0, 'A');
    ASSERT_EQ(0, slow->write(0, &first.data));
    auto* slowDir = static_cast<PlainRecordDir*>(
        RecordDiskManagerImpl::getInstance()->getRecordDir(m_slow.getRecordRootDir()).get());

    m_plan->hang();
    std::atomic<int> result{1};
    Block stuck(2, kDay0 + 1, 'B');
    std::thread writer([&]() { result = slow->write(0, &stuck.data); });
    ASSERT_TRUE(waitFor([&]() { return m_plan->hungWriters() == 1; }));
    std::unique_ptr<RecordStorageTSImpl> fast = session(2);
    for (int i = 0; i < 5; ++i) {
        Block block(i == 0 ? 1 : 2, kDay0 + i, 'F');
        EXPECT_EQ(0, fast->write(0, &block.data));
    }
    EXPECT_EQ(1, m_plan->hungWriters());

    HostClock::shift(TSRecordWriterWithIndex::kWriteTimeLimitSeconds + 1);
    m_plan->release();
    writer.join();
    // The timed-out file ended; the block went on into a fresh file.
    EXPECT_EQ(0, result.load());
    EXPECT_EQ(FileRequestWriteFailed, slow->getRequestType());
    EXPECT_EQ(1, slowDir->getLastFileState().nTimeOuts);
    int sum = 0;
    int count = 0;
    ASSERT_TRUE(RecordDirStateManager::getInstance()->getTimeoutInfo(slowDir->getRecordDirInfoEx(), sum, count));
    EXPECT_EQ(1, count);
    EXPECT_GE(sum, TSRecordWriterWithIndex::kWriteTimeLimitSeconds);
    std::string log = TempDir::readWhole(m_root.root() + "/mnt/mtd/log/recordError.log");
    EXPECT_NE(std::string::npos,
              log.find("DeviceInfo[NVR_10.0.0.7_1], RecordDir[00001-NVR_10.0.0.7_1_20240101120000.ts], Detect TimeOut["));
    EXPECT_NE(std::string::npos, log.find("], TototalDataLen[188], WritedLen[188]"));
}

// A disk event names a disk by part of its name: "sdb" reaches "sdb1".
TEST_F(WriteSupervisionTest, UpdateAndCloseRequestsReachOnlyTheWritersOfOneDisk) {
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_slow});
    std::unique_ptr<RecordStorageTSImpl> onA = session(1);
    Block a(1, kDay0, 'A');
    ASSERT_EQ(0, onA->write(0, &a.data));
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_fast});
    std::unique_ptr<RecordStorageTSImpl> onB = session(2);
    ASSERT_EQ(0, onB->write(0, &a.data));
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_slow, m_fast});

    RecordUpdateManager* updates = RecordUpdateManager::getInstance();
    ASSERT_EQ(2u, updates->getWriterCount());
    std::string nameA = onA->getRecordFileInfo()->getRecordFileName();
    std::string nameB = onB->getRecordFileInfo()->getRecordFileName();
    updates->notifyUpdateRecord("sdb");
    Block next(2, kDay0 + 1, 'N');
    EXPECT_EQ(0, onA->write(0, &next.data));
    EXPECT_EQ(0, onB->write(0, &next.data));
    EXPECT_EQ(nameA, onA->getRecordFileInfo()->getRecordFileName());
    EXPECT_NE(nameB, onB->getRecordFileInfo()->getRecordFileName());
    EXPECT_EQ(FileRequestNew, onB->getRequestType());

    updates->closeRecordWrite("sda");
    Block after(2, kDay0 + 2, 'C');
    EXPECT_EQ(0, onA->write(0, &after.data));  // closed writer: -703, then a fresh file
    EXPECT_EQ(FileRequestWriteFailed, onA->getRequestType());
    EXPECT_NE(nameA, onA->getRecordFileInfo()->getRecordFileName());
    EXPECT_EQ(2u, updates->getWriterCount());
    onA->close();
    onB->close();
    EXPECT_EQ(0u, updates->getWriterCount());
}

TEST_F(WriteSupervisionTest, CloseThreadClosesHandedWritersAndClearsTheErrorFlag) {
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_fast});
    SafePointer<RecordFileInfo> file(new RecordFileInfo());
    file->setDeviceId("NVR");
    file->setDeviceIP("10.0.0.7");
    file->setRecordDate("2024-01-01");
    file->setRecordBeginTime(kDay0);
    Block block(1, kDay0, 'x');
    file->setAVStreamInfo(AVStreamInfo(&block.data));
    SafePointer<IRecordWriter> writer;
    SafePointer<IRecordDir> dir;
    ASSERT_EQ(0, RecordDiskManagerImpl::getInstance()->createRecordFile(file, 2, 0, writer, dir));
    int held = 0;
    ASSERT_EQ(0, writer->open(file, held));

    RecordWriterCloseThread closer;
    closer.addRecordWriter(writer);
    EXPECT_TRUE(closer.isExistIOError());
    EXPECT_EQ(0, writer->write(&block.data, false, 0));  // not closed before the thread runs
    ASSERT_TRUE(closer.start());
    ASSERT_TRUE(waitFor([&]() { return !closer.isExistIOError(); }));
    EXPECT_EQ(OV_RECORD_WRITE_FAILED, writer->write(&block.data, false, 0));
    closer.stop();
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(closer.start());
        closer.stop();
    }
    RecordDiskManagerImpl::getInstance()->decreaseRecordDiskReference(file);
}

TEST(RecordTimeOutDetectorTest, ExactlyTheLimitIsNotATimeOut) {
    HostClock::freeze();
    RecordTimeOutDetector detector(3);
    HostClock::shift(3.0);
    EXPECT_FALSE(detector.isTimeOut());
    HostClock::shift(0.5);
    EXPECT_TRUE(detector.isTimeOut());
    EXPECT_EQ(3, detector.getTimeOutInterval());
    detector.resetBeginTime();
    EXPECT_FALSE(detector.isTimeOut());
    HostClock::reset();
}

TEST(RecordSpeedCalculatorTest, SpeedComesOnlyAfterMoreThanAWholePeriod) {
    HostRootGuard root;
    HostClock::freeze();
    RecordSpeedCalculator speed("sda1");
    speed.addDataLen(6000000, 0);
    HostClock::shift(600.0);
    speed.addDataLen(1000, 0);
    EXPECT_EQ(0, speed.getRecordSpeed());
    HostClock::shift(400.0);
    speed.addDataLen(7, 0);  // counts for the next period
    EXPECT_EQ(6001, speed.getRecordSpeed());
    HostClock::shift(601.0);
    speed.addDataLen(0, 0);
    EXPECT_EQ(0, speed.getRecordSpeed());
    HostClock::reset();
    std::string log = TempDir::readWhole(root.root() + "/mnt/mtd/log/WriteSpeed.log");
    EXPECT_NE(std::string::npos, log.find("sda1  write speed is 6001 B/s"));
}

TEST(RecordFileRequestManagerTest, NewDevicesContinueAndFailuresAskForNewFiles) {
    RecordFileRequestManager requests;
    RecordDeviceInfo device;
    device.setDeviceId("NVR");
    device.setCameraId(1);
    EXPECT_FALSE(requests.isRequestNewFile(device));
    requests.updateDeviceRequestType(device, FileRequestWriteFailed);
    EXPECT_TRUE(requests.isRequestNewFile(device));
    device.setDeviceIP("other ip, same channel");
    requests.updateDeviceRequestType(device, FileRequestKeep);
    EXPECT_FALSE(requests.isRequestNewFile(device));
    for (int type : {0, 2, 3, 5, 6, 7, -1}) EXPECT_TRUE(RecordFileRequestManager::isCreateNewFile(type));
    EXPECT_FALSE(RecordFileRequestManager::isCreateNewFile(1));
    EXPECT_FALSE(RecordFileRequestManager::isCreateNewFile(4));
    requests.clearAll();
    RecordDeviceInfo other;
    other.setDeviceId("NVR");
    other.setCameraId(2);
    requests.updateDeviceRequestType(other, FileRequestFileFull);
    EXPECT_TRUE(requests.isRequestNewFile(other));
    EXPECT_FALSE(requests.isRequestNewFile(device));
}

}  // namespace

#include "recording/RecordStorage.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "directory/LastRecordFileInfoManager.h"
#include "directory/PlainRecordDir.h"
#include "disk/RecordDiskManagerImpl.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/GlobalEnv.h"
#include "recording/RecordFileRequestManager.h"
#include "recording/RecordStorageTSImpl.h"
#include "recording/RecordUpdateManager.h"
#include "recording/TSFrameQueue.h"
#include "tests/support/FaultInjectingDiskManager.h"
#include "tests/support/FaultInjectingFile.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestBlock.h"
#include "tests/support/TsPacketReader.h"
#include "tracking/RecordSegmentInfoManager.h"

namespace {

constexpr long long kDay0 = 1704110400;  // 2024-01-01 12:00:00 UTC
constexpr long long kSecond = 1000000;
using Texts = std::vector<std::string>;

struct Block : TestBlock {
    Block(int esType, int frameType, long long seconds, int packets, char tag, bool discontinuity = false)
        : TestBlock(esType, frameType, seconds * kSecond, packets, tag, discontinuity) {}
    TSAVData const* operator&() const { return &data; }
};

Block iFrame(long long s, char tag, int packets = 2) { return Block(1, 1, s, packets, tag); }
Block pFrame(long long s, char tag, int packets = 1) { return Block(1, 2, s, packets, tag); }
Block audio(long long s, char tag) { return Block(2, 1, s, 1, tag); }

// A video frame as the host pushes it into the channel's queue.
AVData queuedFrame(long long microseconds) {
    AVData frame;
    std::vector<char> bytes(1000, 'I');
    frame.setData(bytes.data(), static_cast<unsigned int>(bytes.size()));
    frame.setESStreamType(1);
    frame.setFrameType(1);
    frame.setEncoderType(1);
    frame.setImageWidth(640);
    frame.setImageHeight(360);
    frame.setTimeStamp(microseconds);
    return frame;
}

class RecordStorageTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        m_dir.setRecordRootDir(m_disk.path("sda1"));
        m_dir.setRecordDiskName("sda1");
        m_dir.setFileSegmentSize(20 * TestBlock::kPacket);
        m_dir.setDiskType(1);
        LastRecordFileInfoManager::getInstance()->clear();
        RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_dir});
        m_info.setDeviceId("NVR");
        m_info.setDeviceIP("10.0.0.7");
        m_info.setCameraId(2);
    }

    void TearDown() override {
        m_session.reset();
        RecordDiskManagerImpl::getInstance()->clear();
        LastRecordFileInfoManager::getInstance()->clear();
        GlobalEnv::getInstance()->setPrintFlag(false);
        FileFactory::resetFileCreator();
        DiskManagerFactory::resetDiskManagers();
    }

    // Faults of the plan reach the record data files, or every file.
    FaultPlan& faults(bool everyFile = false) {
        std::shared_ptr<FaultPlan> plan = m_plan;
        FileFactory::setFileCreator([plan, everyFile](int, int, int flag) -> IFile* {
            return everyFile || flag == 1 ? new FaultInjectingFile(plan) : nullptr;
        });
        return *m_plan;
    }

    void openSession() {
        m_session.reset(new RecordStorageTSImpl());
        ASSERT_EQ(0, m_session->open(m_info, false));
        m_session->setTSFrameQueue(&m_queue);
    }

    int write(Block const& block) { return m_session->write(0, &block); }

    std::string dateDir(std::string const& date = "2024-01-01") const {
        return m_dir.getRecordRootDir() + "/record/NVR_" + m_info.getDeviceIP() + "_" +
               std::to_string(m_info.getCameraId()) + "/" + date;
    }
    // Names of the folder's entries; only record files with `tsOnly`.
    Texts names(std::string const& date = "2024-01-01", bool tsOnly = true) const {
        Texts found;
        if (DIR* handle = opendir(dateDir(date).c_str())) {
            while (dirent* entry = readdir(handle)) {
                std::string name = entry->d_name;
                if (name[0] != '.' && (!tsOnly || name.find(".ts") != std::string::npos)) found.push_back(name);
            }
            closedir(handle);
        }
        std::sort(found.begin(), found.end());
        return found;
    }
    Texts contents(std::string const& date = "2024-01-01") const {
        Texts found;
        for (std::string const& name : names(date)) found.push_back(TempDir::readWhole(dateDir(date) + "/" + name));
        return found;
    }
    PlainRecordDir* plainDir() {
        return static_cast<PlainRecordDir*>(
            RecordDiskManagerImpl::getInstance()->getRecordDir(m_dir.getRecordRootDir()).get());
    }
    // The queue's first block no longer begins with a sync byte.
    void breakQueue() {
        AVData first = queuedFrame(kDay0 * kSecond), second = queuedFrame(kDay0 * kSecond + 40000);
        ASSERT_EQ(0, m_queue.pushAVData(&first));
        ASSERT_EQ(0, m_queue.pushAVData(&second));
        TSAVData* front = nullptr;
        ASSERT_TRUE(m_queue.frontAVData(&front));
        const_cast<char*>(front->getData())[0] = 0;
    }
    std::string ioLog() const { return TempDir::readWhole(m_root.root() + "/mnt/mtd/log/RecordIOError.log"); }

    HostRootGuard m_root;
    TempDir m_disk;
    RecordDirInfoEx m_dir;
    RecordInfo m_info;
    TSFrameQueue m_queue{1024 * 1024};
    std::unique_ptr<RecordStorageTSImpl> m_session;
    std::shared_ptr<FaultPlan> m_plan = std::make_shared<FaultPlan>();
};

TEST_F(RecordStorageTest, FirstFileWaitsForAVideoIFrameAndAClosedSessionRefusesAll) {
    RecordStorage storage;
    AVData frame;
    EXPECT_TRUE(storage.isClosed());
    EXPECT_EQ(-1, storage.write(0, &frame));
    EXPECT_EQ(-1, storage.getWriteResult(0));
    EXPECT_EQ(0, storage.open(m_info, false));
    storage.setTSFrameQueue(&m_queue);
    Block sound = audio(kDay0, 'a'), early = pFrame(kDay0, 'p'), first = iFrame(kDay0 + 1, 'I'),
          next = pFrame(kDay0 + 2, 'P');
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, storage.write(0, &sound));
    EXPECT_EQ(0, storage.getDeviceTimeStamp());
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, storage.write(0, &early));
    EXPECT_EQ(kDay0, storage.getDeviceTimeStamp());
    EXPECT_EQ(0, storage.write(0, &first));
    EXPECT_EQ(0, storage.write(0, &sound));
    EXPECT_EQ(0, storage.write(0, &next));
    EXPECT_EQ(Texts{"00001-NVR_10.0.0.7_2_20240101120001.ts"}, names());
    EXPECT_EQ(Texts{first.text() + sound.text() + next.text()}, contents());
    EXPECT_EQ(0, storage.close());
    EXPECT_TRUE(storage.isClosed());
    EXPECT_EQ(OV_RECORD_WRITE_FAILED, storage.write(0, &iFrame(kDay0 + 50, 'B')));
    EXPECT_EQ(kDay0 + 2, storage.getDeviceTimeStamp());
    EXPECT_EQ(0, storage.close());
}

// A (8 packets) and B (8) fill 16 of the file's 20 packets; then C meets the
// cause, then an audio block and D (1) follow.
TEST_F(RecordStorageTest, EndedFileHandsTheBlockToTheNextFileInTheSameCall) {
    struct Case {
        char const* cause;
        int packetsOfC;
        std::function<void(FaultPlan&)> arm;
        int code;
        int requestType;
        Texts files;  // by block tag
    };
    Case const cases[] = {
        {"file full", 4, [](FaultPlan&) {}, 0, FileRequestFileFull, {"AB", "CaD"}},
        {"write failed", 1, [](FaultPlan& plan) { plan.failWriteAt(1); }, 0, FileRequestWriteFailed, {"AB", "CaD"}},
        {"update asked", 1, [](FaultPlan&) { RecordUpdateManager::getInstance()->notifyUpdateRecord("sda1"); },
         0, FileRequestNew, {"ABC", "CaD"}},
        {"two failures", 1, [](FaultPlan& plan) { plan.failWriteAt(1), plan.failWriteAt(2); },
         OV_RECORD_WRITE_FAILED, FileRequestWriteFailed, {"AB", "", "D"}},
    };
    FaultPlan& plan = faults();
    int camera = 10;
    for (Case const& c : cases) {
        SCOPED_TRACE(c.cause);
        m_info.setCameraId(++camera);
        openSession();
        Block a = iFrame(kDay0, 'A', 8), b = pFrame(kDay0 + 1, 'B', 8), cBlock = pFrame(kDay0 + 2, 'C', c.packetsOfC),
              sound = audio(kDay0 + 2, 'a'), d = pFrame(kDay0 + 3, 'D');
        EXPECT_EQ(0, write(a));
        EXPECT_EQ(0, write(b));
        c.arm(plan);
        EXPECT_EQ(c.code, write(cBlock));
        EXPECT_EQ(c.requestType, m_session->getRequestType());
        EXPECT_EQ(c.code == 0 ? 0 : OV_RECORD_FRAME_REFUSED, write(sound));  // between files: refused
        EXPECT_EQ(0, write(d));
        std::string const texts[] = {a.text(), b.text(), cBlock.text(), sound.text(), d.text()};
        Texts expected;
        for (std::string const& tags : c.files) {
            expected.emplace_back();
            for (char tag : tags) expected.back() += texts[std::string("ABCaD").find(tag)];
        }
        EXPECT_EQ(expected, contents());
        m_session->close();
    }
}

TEST_F(RecordStorageTest, ContinuedFileRefusesOlderTimeAndTheBlockGoesToANewFile) {
    openSession();
    Block a = iFrame(kDay0 + 100, 'A'), b = pFrame(kDay0 + 110, 'B');
    EXPECT_EQ(0, write(a));
    EXPECT_EQ(0, write(b));
    // Same day, later time: the unfinished file is joined.
    Block c(1, 1, kDay0 + 120, 2, 'C', true);
    EXPECT_EQ(0, write(c));
    EXPECT_EQ(Texts{a.text() + b.text() + c.text()}, contents());
    // A clock that went back: the joined file refuses it.
    Block d(1, 1, kDay0 + 50, 2, 'D', true);
    EXPECT_EQ(0, write(d));
    EXPECT_EQ((Texts{a.text() + b.text() + c.text(), d.text()}), contents());
    EXPECT_EQ(FileRequestTimeRollback, m_session->getRequestType());
}

TEST_F(RecordStorageTest, ReadOnlyDirectoryEndsTheFileUnlessAnUpdateIsPending) {
    openSession();
    Block a = iFrame(kDay0, 'A'), b = pFrame(kDay0 + 1, 'B'), c = pFrame(kDay0 + 2, 'C'), d = pFrame(kDay0 + 3, 'D');
    EXPECT_EQ(0, write(a));
    plainDir()->setWritable(false);
    EXPECT_EQ(OV_RECORD_NO_DIR_WRITE, write(b));
    EXPECT_EQ(FileRequestWriteFailed, m_session->getRequestType());
    plainDir()->setWritable(true);
    EXPECT_EQ(0, write(c));
    // The writer finishes its update on the read-only directory first.
    RecordUpdateManager::getInstance()->notifyUpdateRecord("sda1");
    plainDir()->setWritable(false);
    EXPECT_EQ(OV_RECORD_NO_DIR_WRITE, write(d));
    EXPECT_EQ(FileRequestNew, m_session->getRequestType());
    EXPECT_EQ((Texts{a.text(), c.text() + d.text()}), contents());
}

TEST_F(RecordStorageTest, QueueOrIndexEntryThatFailsRefusesTheBlockAndTheNextVideoGoesOn) {
    struct Case {
        char const* what;
        bool retry;  // on the fresh file after a failed write, else on the first file
        bool queue;  // the queue cannot be updated, else the index entry cannot be written
        int openCall;
        bool firstFileKept;
    };
    FaultPlan& plan = faults(true);
    int camera = 20;
    for (Case const& c : {Case{"queue, first file", false, true, 0, false}, Case{"index entry, first file", false, false, 2, false},
                          Case{"queue, retry", true, true, 0, true}, Case{"index entry, retry", true, false, 1, true}}) {
        SCOPED_TRACE(c.what);
        m_info.setCameraId(++camera);
        openSession();
        Block a = iFrame(kDay0, 'A'), b = iFrame(kDay0 + 1, 'B'), d = pFrame(kDay0 + 2, 'D');
        if (c.retry) {
            EXPECT_EQ(0, write(a));
            plan.failWriteAt(1);
        }
        if (c.queue) breakQueue();
        if (!c.queue) plan.failOpenAt(c.openCall);
        EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(b));
        EXPECT_TRUE(m_queue.isEmpty());
        EXPECT_EQ(0, write(d));
        EXPECT_EQ(c.firstFileKept ? Texts({a.text(), d.text()}) : Texts({d.text()}), contents());
        m_session->close();
    }
}

TEST_F(RecordStorageTest, LockedRecordingMarksEachDateAndCountsEachFileOnce) {
    GlobalEnv::getInstance()->setPrintFlag(true);
    for (char const* date : {"2024-01-01", "2024-01-02"}) {
        SafePointer<RecordFileInfo> day(new RecordFileInfo());
        day->setDeviceId("NVR"), day->setDeviceIP("10.0.0.7"), day->setCameraId(2), day->setRecordDate(date);
        RecordSegmentInfoManager::getInstance()->deleteDeviceDateInfo(day);
    }
    std::shared_ptr<FaultPlan> gone = std::make_shared<FaultPlan>();
    gone->vanish();
    FaultInjectingDiskManager goneDisk(gone);
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A', 8)));
    m_session->setLockFlag(true);
    testing::internal::CaptureStdout();
    DiskManagerFactory::setDiskManager(1, &goneDisk);
    EXPECT_EQ(0, write(pFrame(kDay0 + 1, 'B', 8)));  // the marker cannot be made
    DiskManagerFactory::resetDiskManagers();
    EXPECT_EQ(0, write(pFrame(kDay0 + 2, 'C', 4)));  // a second file; the marker is tried again
    EXPECT_EQ(0, write(pFrame(kDay0 + 3, 'D', 1)));
    EXPECT_EQ(0, write(Block(1, 1, kDay0 + 86400, 2, 'E', true)));
    std::istringstream out(testing::internal::GetCapturedStdout());
    std::string seen;
    for (std::string line; std::getline(out, line);)
        if (line.find("LockFlag :") != std::string::npos || line.find("LockNum,") != std::string::npos)
            seen += line + "\n";
    std::string marker1 = "createRecordFileLockFlag : " + dateDir() + "/record.lock \n";
    std::string marker2 = "createRecordFileLockFlag : " + dateDir("2024-01-02") + "/record.lock \n";
    std::string count = "RecordStorageTSImpl::updateRecordFileLockNum, NVR_10.0.0.7_2, ";
    EXPECT_EQ(marker1 + count + "2024-01-01, 1 \n" + marker1 + count + "2024-01-01, 1 \n" + marker2 + count +
                  "2024-01-02, 1 \n",
              seen);
    EXPECT_EQ(2u, names().size());
    for (char const* date : {"2024-01-01", "2024-01-02"}) {
        Texts all = names(date, false);
        EXPECT_NE(all.end(), std::find(all.begin(), all.end(), "record.lock")) << date;
    }
    // A new date records the day's first begin time; a new file of the same day does not.
    long long begin = 0;
    EXPECT_TRUE(RecordSegmentInfoManager::getInstance()->getDeviceRecordTime("NVR_10.0.0.7_2", "2024-01-01", begin));
    EXPECT_EQ(kDay0, begin);
    EXPECT_TRUE(RecordSegmentInfoManager::getInstance()->getDeviceRecordTime("NVR_10.0.0.7_2", "2024-01-02", begin));
    EXPECT_EQ(kDay0 + 86400, begin);
}

TEST_F(RecordStorageTest, EndedFileReportsItsSlowestBlockAndItsAverageSpeed) {
    FaultPlan& plan = faults();
    m_dir.setFileSegmentSize(4 << 20);
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_dir});
    constexpr int kPackets = 1400;
    constexpr long long kBytes = kPackets * TestBlock::kPacket;
    constexpr long long kDelay = 20000;  // microseconds
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A', kPackets)));
    plan.setWriteDelay(kDelay / 1000);
    EXPECT_EQ(0, write(pFrame(kDay0 + 1, 'B', kPackets)));
    EXPECT_EQ(0, plainDir()->getLastFileState().nReports);
    m_session->close();
    PlainRecordDir::FileState state = plainDir()->getLastFileState();
    EXPECT_EQ(1, state.nReports);
    EXPECT_EQ(1, state.nFileNumber);
    EXPECT_EQ(0, state.nTimeOuts);
    // Bytes per microsecond: the slow block is the slowest, the file as a whole is faster.
    EXPECT_GE(state.nMinSpeed, 1);
    EXPECT_LE(state.nMinSpeed, kBytes / kDelay);
    EXPECT_GT(state.nAverageSpeed, state.nMinSpeed);
    EXPECT_LE(state.nAverageSpeed, 2 * kBytes / kDelay);
}

TEST_F(RecordStorageTest, IOExceptionHandsTheWriterToTheDirectoryAndLogsItsText) {
    FaultPlan& plan = faults();
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A')));
    plainDir()->stopDetectionThread();  // hold the close until we have looked
    plan.throwOnWriteAt(1);
    EXPECT_EQ(OV_RECORD_IO_ERROR, write(pFrame(kDay0 + 1, 'B')));
    EXPECT_TRUE(plainDir()->isIOError());
    EXPECT_EQ(0u, RecordUpdateManager::getInstance()->getWriterCount());
    EXPECT_NE(std::string::npos, ioLog().find("injected write fault"));
    plainDir()->startDetectionThread();
    for (int i = 0; i < 1000 && plainDir()->isIOError(); ++i) usleep(10000);
    EXPECT_FALSE(plainDir()->isIOError());
    Block c = pFrame(kDay0 + 2, 'C');
    EXPECT_EQ(0, write(c));
    EXPECT_EQ(c.text(), contents()[1]);
}

TEST_F(RecordStorageTest, WriterOpenFailureKeepsWaitingWithRequestTypeOpenFailed) {
    FaultPlan& plan = faults();
    openSession();
    plan.failOpenAt(1);
    EXPECT_EQ(OV_RECORD_OPEN_FILE_FAILED, write(iFrame(kDay0, 'A')));
    EXPECT_EQ(FileRequestOpenFailed, m_session->getRequestType());
    EXPECT_NE(std::string::npos, ioLog().find("device(NVR,10.0.0.7,2),open RecordWrite failed,nRet = -702"));
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(pFrame(kDay0 + 1, 'p')));  // still waiting for an I frame
    Block b = iFrame(kDay0 + 2, 'B');
    EXPECT_EQ(0, write(b));
    EXPECT_EQ(Texts{b.text()}, contents());
}

TEST_F(RecordStorageTest, DirectoryConditionPicksDedicatedDirectoriesAndNoneLeavesTheSessionWaiting) {
    m_session.reset(new RecordStorageTSImpl());
    m_session->open(m_info, true);
    m_session->setTSFrameQueue(&m_queue);
    EXPECT_EQ(OV_RECORD_NO_DIR_WRITE, write(iFrame(kDay0, 'A')));
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(pFrame(kDay0 + 1, 'p')));
    RecordDirInfoEx dedicated = m_dir;
    dedicated.setRecordRootDir(m_disk.path("sdb1"));
    dedicated.setAttribute(4);
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_dir, dedicated});
    EXPECT_EQ(0, write(iFrame(kDay0 + 2, 'B')));
    EXPECT_TRUE(names().empty());
    m_dir = dedicated;
    EXPECT_EQ(Texts{"00001-NVR_10.0.0.7_2_20240101120002.ts"}, names());
}

TEST_F(RecordStorageTest, ContinuedFileMovesTheQueueTimeLineToItsEnd) {
    AVData first = queuedFrame(kDay0 * kSecond), second = queuedFrame(kDay0 * kSecond + 40000);
    ASSERT_EQ(0, m_queue.pushAVData(&first));
    ASSERT_EQ(0, m_queue.pushAVData(&second));
    // PTS of the queue's front block, in 90 kHz ticks.
    auto frontPts = [this]() {
        TSAVData* front = nullptr;
        if (!m_queue.frontAVData(&front)) return -1LL;
        TsPacketReader in(std::string(front->getData(), front->getDataLength()));
        return in.getPes().empty() ? -1LL : static_cast<long long>(in.getPes()[0].nPts);
    };
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0 + 100, 'A')));
    EXPECT_EQ(0, frontPts());  // a new file leaves the queued time line alone
    for (int s = 1; s <= 10; ++s) EXPECT_EQ(0, write(iFrame(kDay0 + 100 + s, 'B', 1)));
    EXPECT_EQ(0, write(Block(1, 1, kDay0 + 140, 2, 'C', true)));
    // The joined file holds ten one-second steps and the second of its first item.
    EXPECT_EQ(1u, names().size());
    EXPECT_EQ(11 * 90000, frontPts());
}

TEST_F(RecordStorageTest, IPv6AddressBecomesFileNameSafe) {
    m_info.setDeviceIP("fe80::1");
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A')));
    m_info.setDeviceIP("fe80--1");
    EXPECT_EQ((Texts{"00001-NVR_fe80--1_2_20240101120000.ts", "NVR_fe80--1_2_2024-01-01.index"}),
              names("2024-01-01", false));
}

TEST_F(RecordStorageTest, SessionHoldsItsDiskAndGivesBackItsMemoryAtClose) {
    openSession();
    SafePointer<RecordFileInfo> channel(new RecordFileInfo(*m_session->getRecordFileInfo()));
    channel->setRecordDirInfoEx(m_dir);
    LastRecordFileInfoManager::getInstance()->setLastRecordFileInfo(channel, 2, nullptr, 0, 0);
    EXPECT_EQ(1u, LastRecordFileInfoManager::getInstance()->size());
    m_session->close();
    EXPECT_EQ(0u, LastRecordFileInfoManager::getInstance()->size());
    EXPECT_FALSE(m_disk.exists("sda1/record/NVR_10.0.0.7_2"));  // no block, no folder
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A', 19)));
    EXPECT_EQ(0, write(pFrame(kDay0 + 1, 'B', 2)));  // a second file, same disk
    EXPECT_EQ(1, RecordDiskManagerImpl::getInstance()->getDiskReferenceCount("sda1"));
    m_session->close();
    EXPECT_EQ(0, RecordDiskManagerImpl::getInstance()->getDiskReferenceCount("sda1"));
}

using RecordStorageDeathTest = RecordStorageTest;

TEST_F(RecordStorageDeathTest, MissingFrameQueueAbortsAtTheFirstFile) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    m_session.reset(new RecordStorageTSImpl());
    m_session->open(m_info, false);
    EXPECT_DEATH(write(iFrame(kDay0, 'A')), "m_TSFrameQueue != __null");
}

}  // namespace

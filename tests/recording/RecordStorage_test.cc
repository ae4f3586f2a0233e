#include "recording/RecordStorage.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "directory/LastRecordFileInfoManager.h"
#include "directory/PlainRecordDir.h"
#include "disk/RecordDiskManagerImpl.h"
#include "foundation/ReturnCode.h"
#include "host/GlobalEnv.h"
#include "recording/RecordFileRequestManager.h"
#include "recording/RecordStorageTSImpl.h"
#include "recording/RecordUpdateManager.h"
#include "recording/TSFrameQueue.h"
#include "host/FileFactory.h"
#include "tests/support/FaultInjectingFile.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestBlock.h"
#include "tests/support/TsPacketReader.h"

namespace {

constexpr int kPacket = 188;
constexpr long long kDay0 = 1704110400;  // 2024-01-01 12:00:00 UTC
constexpr long long kSecond = 1000000;

// A queue block of whole TS packets whose payload bytes carry a tag, so that
// a file's content shows which blocks went into it.
struct Block : TestBlock {
    Block(int esType, int frameType, long long seconds, int packets, char tag, bool discontinuity = false)
        : TestBlock(esType, frameType, seconds * kSecond, packets, tag, discontinuity) {}
    TSAVData const* operator&() const { return &data; }
};

Block iFrame(long long s, char tag, int packets = 2) { return Block(1, 1, s, packets, tag); }
Block pFrame(long long s, char tag, int packets = 1) { return Block(1, 2, s, packets, tag); }
Block audio(long long s, char tag) { return Block(2, 1, s, 1, tag); }

std::vector<std::string> listNames(std::string const& dir) {
    std::vector<std::string> names;
    if (DIR* handle = opendir(dir.c_str())) {
        while (dirent* entry = readdir(handle)) {
            std::string name = entry->d_name;
            if (name != "." && name != "..") names.push_back(name);
        }
        closedir(handle);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Faults of the plan reach the record data files only, not their index.
class DataFileFaults {
public:
    explicit DataFileFaults(std::shared_ptr<FaultPlan> plan) {
        FileFactory::setFileCreator([plan](int, int, int flag) -> IFile* {
            return flag == 1 ? new FaultInjectingFile(plan) : nullptr;
        });
    }
    ~DataFileFaults() { FileFactory::resetFileCreator(); }
};

class RecordStorageTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        m_dir.setRecordRootDir(m_disk.path("sda1"));
        m_dir.setRecordDiskName("sda1");
        m_dir.setFileSegmentSize(20 * kPacket);
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
    }

    void openSession() {
        m_session.reset(new RecordStorageTSImpl());
        ASSERT_EQ(0, m_session->open(m_info, false));
        m_session->setTSFrameQueue(&m_queue);
    }

    int write(Block const& block) { return m_session->write(0, &block); }

    std::string dateDir(std::string const& date = "2024-01-01") const {
        return m_dir.getRecordRootDir() + "/record/NVR_10.0.0.7_2/" + date;
    }
    std::vector<std::string> files(std::string const& date = "2024-01-01") const {
        std::vector<std::string> names = listNames(dateDir(date));
        names.erase(std::remove_if(names.begin(), names.end(),
                                   [](std::string const& name) {
                                       return name.size() < 3 || name.compare(name.size() - 3, 3, ".ts") != 0;
                                   }),
                    names.end());
        return names;
    }
    std::string content(size_t n, std::string const& date = "2024-01-01") const {
        std::vector<std::string> names = files(date);
        return n < names.size() ? TempDir::readWhole(dateDir(date) + "/" + names[n]) : std::string("<none>");
    }
    PlainRecordDir* plainDir() {
        return static_cast<PlainRecordDir*>(
            RecordDiskManagerImpl::getInstance()->getRecordDir(m_dir.getRecordRootDir()).get());
    }

    HostRootGuard m_root;
    TempDir m_disk;
    RecordDirInfoEx m_dir;
    RecordInfo m_info;
    TSFrameQueue m_queue{1024 * 1024};
    std::unique_ptr<RecordStorageTSImpl> m_session;
};

TEST_F(RecordStorageTest, WaitsForAVideoIFrameBeforeTheFirstFile) {
    openSession();
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(audio(kDay0, 'a')));
    EXPECT_EQ(0, m_session->getDeviceTimeStamp());
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(pFrame(kDay0, 'p')));
    EXPECT_EQ(kDay0, m_session->getDeviceTimeStamp());
    EXPECT_TRUE(files().empty());

    Block first = iFrame(kDay0 + 1, 'I');
    Block sound = audio(kDay0 + 1, 'a');
    Block next = pFrame(kDay0 + 2, 'P');
    EXPECT_EQ(0, write(first));
    EXPECT_EQ(0, write(sound));
    EXPECT_EQ(0, write(next));
    ASSERT_EQ(std::vector<std::string>{"00001-NVR_10.0.0.7_2_20240101120001.ts"}, files());
    EXPECT_EQ(first.text() + sound.text() + next.text(), content(0));
}

TEST_F(RecordStorageTest, FullFileIsAnsweredInTheSameCallWithTheNextFile) {
    openSession();
    Block a = iFrame(kDay0, 'A', 8);
    Block b = pFrame(kDay0 + 1, 'B', 8);
    Block c = pFrame(kDay0 + 2, 'C', 4);  // 20 packets would fill the file exactly
    EXPECT_EQ(0, write(a));
    EXPECT_EQ(0, write(b));
    EXPECT_EQ(0, write(c));
    ASSERT_EQ(2u, files().size());
    EXPECT_EQ(a.text() + b.text(), content(0));
    EXPECT_EQ(c.text(), content(1));
    EXPECT_EQ(FileRequestFileFull, m_session->getRequestType());
}

TEST_F(RecordStorageTest, AudioThatFillsTheFileIsDroppedAndAPFrameOpensTheNext) {
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A', 19)));
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(audio(kDay0, 'a')));
    EXPECT_EQ(1u, files().size());
    Block p = pFrame(kDay0 + 1, 'P');
    EXPECT_EQ(0, write(p));
    ASSERT_EQ(2u, files().size());
    EXPECT_EQ(p.text(), content(1));
}

TEST_F(RecordStorageTest, FailedWriteIsRetriedOnceOnAFreshFile) {
    auto plan = std::make_shared<FaultPlan>();
    DataFileFaults faults(plan);
    openSession();
    Block a = iFrame(kDay0, 'A');
    Block b = pFrame(kDay0 + 1, 'B');
    EXPECT_EQ(0, write(a));
    plan->failWriteAt(1);
    EXPECT_EQ(0, write(b));
    ASSERT_EQ(2u, files().size());
    EXPECT_EQ(a.text(), content(0));
    EXPECT_EQ(b.text(), content(1));
    EXPECT_EQ(FileRequestWriteFailed, m_session->getRequestType());
}

TEST_F(RecordStorageTest, TwoFailuresInOneCallLoseTheBlockAndTheNextVideoGoesOn) {
    auto plan = std::make_shared<FaultPlan>();
    DataFileFaults faults(plan);
    openSession();
    Block a = iFrame(kDay0, 'A');
    EXPECT_EQ(0, write(a));
    plan->failWriteAt(1);
    plan->failWriteAt(2);
    EXPECT_EQ(OV_RECORD_WRITE_FAILED, write(pFrame(kDay0 + 1, 'B')));
    EXPECT_EQ(FileRequestWriteFailed, m_session->getRequestType());
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(audio(kDay0 + 1, 'a')));
    Block c = pFrame(kDay0 + 2, 'C');
    EXPECT_EQ(0, write(c));
    std::vector<std::string> names = files();
    ASSERT_EQ(3u, names.size());
    EXPECT_EQ(a.text(), content(0));
    EXPECT_EQ("", content(1));
    EXPECT_EQ(c.text(), content(2));
}

TEST_F(RecordStorageTest, DiscontinuityOnVideoStartsAFileOfTheNewDay) {
    openSession();
    Block a = iFrame(kDay0, 'A');
    EXPECT_EQ(0, write(a));
    Block b(1, 1, kDay0 + 86400, 2, 'B', true);
    EXPECT_EQ(0, write(b));
    EXPECT_EQ(a.text(), content(0));
    ASSERT_EQ(1u, files("2024-01-02").size());
    EXPECT_EQ(b.text(), content(0, "2024-01-02"));
    EXPECT_EQ(FileRequestContinue, m_session->getRequestType());
}

TEST_F(RecordStorageTest, DiscontinuityOnAudioClosesTheFileAndWaitsForVideo) {
    openSession();
    Block a = iFrame(kDay0, 'A');
    EXPECT_EQ(0, write(a));
    EXPECT_EQ(1u, RecordUpdateManager::getInstance()->getWriterCount());
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(Block(2, 1, kDay0 + 1, 1, 'x', true)));
    EXPECT_EQ(0u, RecordUpdateManager::getInstance()->getWriterCount());
    // Between files, plain audio is refused too.
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(audio(kDay0 + 1, 'y')));
    EXPECT_EQ(FileRequestNew, m_session->getRequestType());
    Block p = pFrame(kDay0 + 2, 'P');
    EXPECT_EQ(0, write(p));
    ASSERT_EQ(2u, files().size());
    EXPECT_EQ(p.text(), content(1));
}

TEST_F(RecordStorageTest, ContinuedFileRefusesOlderTimeAndTheBlockGoesToANewFile) {
    openSession();
    Block a = iFrame(kDay0 + 100, 'A');
    Block b = pFrame(kDay0 + 110, 'B');
    EXPECT_EQ(0, write(a));
    EXPECT_EQ(0, write(b));
    // Same day, later time: the unfinished file is joined.
    Block c(1, 1, kDay0 + 120, 2, 'C', true);
    EXPECT_EQ(0, write(c));
    ASSERT_EQ(1u, files().size());
    EXPECT_EQ(a.text() + b.text() + c.text(), content(0));
    // A clock that went back: the joined file refuses it.
    Block d(1, 1, kDay0 + 50, 2, 'D', true);
    EXPECT_EQ(0, write(d));
    ASSERT_EQ(2u, files().size());
    EXPECT_EQ(a.text() + b.text() + c.text(), content(0));
    EXPECT_EQ(d.text(), content(1));
    EXPECT_EQ(FileRequestTimeRollback, m_session->getRequestType());
}

TEST_F(RecordStorageTest, RequestedUpdateEndsTheFileAndTheBlockIsRewritten) {
    openSession();
    Block a = iFrame(kDay0, 'A');
    Block b = pFrame(kDay0 + 1, 'B');
    EXPECT_EQ(0, write(a));
    RecordUpdateManager::getInstance()->notifyUpdateRecord("sda1");
    EXPECT_EQ(0, write(b));
    ASSERT_EQ(2u, files().size());
    EXPECT_EQ(a.text() + b.text(), content(0));
    EXPECT_EQ(b.text(), content(1));
    EXPECT_EQ(FileRequestNew, m_session->getRequestType());
}

TEST_F(RecordStorageTest, DirectoryGoneReadOnlyEndsTheFileUntilItComesBack) {
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A')));
    plainDir()->setWritable(false);
    EXPECT_EQ(OV_RECORD_NO_DIR_WRITE, write(pFrame(kDay0 + 1, 'B')));
    EXPECT_EQ(FileRequestWriteFailed, m_session->getRequestType());
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(audio(kDay0 + 1, 'a')));
    plainDir()->setWritable(true);
    Block c = pFrame(kDay0 + 2, 'C');
    EXPECT_EQ(0, write(c));
    ASSERT_EQ(2u, files().size());
    EXPECT_EQ(c.text(), content(1));
}

TEST_F(RecordStorageTest, IOExceptionHandsTheWriterToTheDirectoryAndIsLogged) {
    auto plan = std::make_shared<FaultPlan>();
    DataFileFaults faults(plan);
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A')));
    plainDir()->stopDetectionThread();  // hold the close until we have looked
    plan->throwOnWriteAt(1);
    EXPECT_EQ(OV_RECORD_IO_ERROR, write(pFrame(kDay0 + 1, 'B')));
    EXPECT_TRUE(plainDir()->isIOError());
    EXPECT_EQ(0u, RecordUpdateManager::getInstance()->getWriterCount());
    plainDir()->startDetectionThread();
    for (int i = 0; i < 1000 && plainDir()->isIOError(); ++i) usleep(10000);
    EXPECT_FALSE(plainDir()->isIOError());
    std::string log = TempDir::readWhole(m_root.root() + "/mnt/mtd/log/RecordIOError.log");
    EXPECT_NE(std::string::npos, log.find("RecordIOError"));
    Block c = pFrame(kDay0 + 2, 'C');
    EXPECT_EQ(0, write(c));
    EXPECT_EQ(c.text(), content(1));
}

TEST_F(RecordStorageTest, WriterOpenFailureKeepsWaitingWithRequestTypeOpenFailed) {
    auto plan = std::make_shared<FaultPlan>();
    DataFileFaults faults(plan);
    openSession();
    plan->failOpenAt(1);
    EXPECT_EQ(OV_RECORD_OPEN_FILE_FAILED, write(iFrame(kDay0, 'A')));
    EXPECT_EQ(FileRequestOpenFailed, m_session->getRequestType());
    std::string log = TempDir::readWhole(m_root.root() + "/mnt/mtd/log/RecordIOError.log");
    EXPECT_NE(std::string::npos, log.find("device(NVR,10.0.0.7,2),open RecordWrite failed,nRet = -702"));
    // Still waiting for the first I frame.
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(pFrame(kDay0 + 1, 'p')));
    Block b = iFrame(kDay0 + 2, 'B');
    EXPECT_EQ(0, write(b));
    ASSERT_EQ(2u, files().size());  // the directory made the first before its entry named it
    EXPECT_EQ(b.text(), content(1));
}

TEST_F(RecordStorageTest, NoDirectoryLeavesTheSessionWaitingWithTheDiskLayersCode) {
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({});
    openSession();
    EXPECT_EQ(OV_RECORD_NO_DIR_WRITE, write(iFrame(kDay0, 'A')));
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(pFrame(kDay0 + 1, 'p')));
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_dir});
    EXPECT_EQ(0, write(iFrame(kDay0 + 2, 'B')));
}

TEST_F(RecordStorageTest, DedicatedConditionUsesOnlyDedicatedDirectories) {
    m_session.reset(new RecordStorageTSImpl());
    m_session->open(m_info, true);
    m_session->setTSFrameQueue(&m_queue);
    EXPECT_EQ(OV_RECORD_NO_DIR_WRITE, write(iFrame(kDay0, 'A')));
    RecordDirInfoEx dedicated = m_dir;
    dedicated.setRecordRootDir(m_disk.path("sdb1"));
    dedicated.setAttribute(4);
    RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_dir, dedicated});
    EXPECT_EQ(0, write(iFrame(kDay0 + 1, 'B')));
    std::vector<std::string> names = listNames(m_disk.path("sdb1/record/NVR_10.0.0.7_2/2024-01-01"));
    EXPECT_NE(names.end(), std::find(names.begin(), names.end(), "00001-NVR_10.0.0.7_2_20240101120001.ts"));
}

// A video frame as the host pushes it into the channel's queue.
AVData queuedFrame(int frameType, long long microseconds) {
    AVData frame;
    std::vector<char> bytes(1000, frameType == 1 ? 'I' : 'P');
    frame.setData(bytes.data(), static_cast<unsigned int>(bytes.size()));
    frame.setESStreamType(1);
    frame.setFrameType(frameType);
    frame.setEncoderType(1);
    frame.setImageWidth(640);
    frame.setImageHeight(360);
    frame.setTimeStamp(microseconds);
    return frame;
}

// PTS of the queue's front block, in 90 kHz ticks; -1 without one.
long long frontBlockPts(TSFrameQueue& queue) {
    TSAVData* front = nullptr;
    if (!queue.frontAVData(&front) || front == nullptr) return -1;
    TsPacketReader in(std::string(front->getData(), front->getDataLength()));
    return in.getPes().empty() ? -1 : in.getPes()[0].nPts;
}

TEST_F(RecordStorageTest, QueueThatCannotBeUpdatedRefusesTheBlockButKeepsTheFile) {
    openSession();
    AVData first = queuedFrame(1, kDay0 * kSecond);
    AVData second = queuedFrame(1, kDay0 * kSecond + 40000);
    ASSERT_EQ(0, m_queue.pushAVData(&first));
    ASSERT_EQ(0, m_queue.pushAVData(&second));
    TSAVData* front = nullptr;
    ASSERT_TRUE(m_queue.frontAVData(&front));
    const_cast<char*>(front->getData())[0] = 0;  // the ring no longer begins with a sync byte
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(iFrame(kDay0, 'A')));
    EXPECT_TRUE(m_queue.isEmpty());
    Block b = pFrame(kDay0 + 1, 'B');
    EXPECT_EQ(0, write(b));
    ASSERT_EQ(1u, files().size());
    EXPECT_EQ(b.text(), content(0));
}

TEST_F(RecordStorageTest, ContinuedFileMovesTheQueueTimeLineToItsEnd) {
    AVData first = queuedFrame(1, kDay0 * kSecond);
    AVData second = queuedFrame(1, kDay0 * kSecond + 40000);
    ASSERT_EQ(0, m_queue.pushAVData(&first));
    ASSERT_EQ(0, m_queue.pushAVData(&second));
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0 + 100, 'A')));
    EXPECT_EQ(0, frontBlockPts(m_queue));  // a new file leaves the queued time line alone
    for (int second = 1; second <= 10; ++second) EXPECT_EQ(0, write(iFrame(kDay0 + 100 + second, 'B', 1)));
    EXPECT_EQ(0, write(Block(1, 1, kDay0 + 140, 2, 'C', true)));
    // The joined file holds ten one-second steps and the second of its first item.
    EXPECT_EQ(1u, files().size());
    EXPECT_EQ(11 * 90000, frontBlockPts(m_queue));
}

TEST_F(RecordStorageTest, LockedBlocksMarkTheDateOnceAndCountOncePerFile) {
    GlobalEnv::getInstance()->setPrintFlag(true);
    openSession();
    m_session->setLockFlag(true);
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A', 8)));
    EXPECT_EQ(0, write(pFrame(kDay0 + 1, 'B', 8)));
    EXPECT_EQ(0, write(pFrame(kDay0 + 2, 'C', 8)));  // fills: second file
    EXPECT_EQ(0, write(pFrame(kDay0 + 3, 'D', 1)));
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(std::ifstream(dateDir() + "/record.lock").good());
    size_t counts = 0;
    for (size_t at = out.find("updateRecordFileLockNum"); at != std::string::npos;
         at = out.find("updateRecordFileLockNum", at + 1))
        ++counts;
    EXPECT_EQ(2u, counts);
    size_t markers = 0;
    for (size_t at = out.find("createRecordFileLockFlag"); at != std::string::npos;
         at = out.find("createRecordFileLockFlag", at + 1))
        ++markers;
    EXPECT_EQ(1u, markers);
    EXPECT_TRUE(m_session->getRecordFileInfo()->getLockFlag());
}

TEST_F(RecordStorageTest, IPv6AddressBecomesFileNameSafe) {
    m_info.setDeviceIP("fe80::1");
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A')));
    std::vector<std::string> names =
        listNames(m_dir.getRecordRootDir() + "/record/NVR_fe80--1_2/2024-01-01");
    std::vector<std::string> expected = {"00001-NVR_fe80--1_2_20240101120000.ts",
                                         "NVR_fe80--1_2_2024-01-01.index"};
    EXPECT_EQ(expected, names);
}

TEST_F(RecordStorageTest, WriteAfterCloseIsRefusedAndChangesNothing) {
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A')));
    EXPECT_EQ(0, m_session->close());
    EXPECT_TRUE(m_session->isClosed());
    EXPECT_EQ(OV_RECORD_WRITE_FAILED, write(iFrame(kDay0 + 50, 'B')));
    EXPECT_EQ(kDay0, m_session->getDeviceTimeStamp());
    EXPECT_EQ(0, m_session->close());
}

TEST_F(RecordStorageTest, SessionWithoutBlocksTouchesNoDirectoryButGivesBackItsMemory) {
    openSession();
    SafePointer<RecordFileInfo> channel(new RecordFileInfo(*m_session->getRecordFileInfo()));
    channel->setRecordDirInfoEx(m_dir);
    LastRecordFileInfoManager::getInstance()->setLastRecordFileInfo(channel, 2, nullptr, 0, 0);
    EXPECT_EQ(1u, LastRecordFileInfoManager::getInstance()->size());
    m_session->close();
    EXPECT_EQ(0u, LastRecordFileInfoManager::getInstance()->size());
    EXPECT_TRUE(listNames(m_dir.getRecordRootDir() + "/record").empty());
}

TEST_F(RecordStorageTest, SessionHoldsItsDiskUntilClose) {
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A', 19)));
    EXPECT_EQ(0, write(pFrame(kDay0 + 1, 'B', 2)));  // a second file, same disk
    EXPECT_EQ(1, RecordDiskManagerImpl::getInstance()->getDiskReferenceCount("sda1"));
    m_session->close();
    EXPECT_EQ(0, RecordDiskManagerImpl::getInstance()->getDiskReferenceCount("sda1"));
}

TEST_F(RecordStorageTest, EndedFileReportsItsWriteFigures) {
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A', 4)));
    EXPECT_EQ(0, write(pFrame(kDay0 + 1, 'B', 4)));
    EXPECT_EQ(0, plainDir()->getLastFileState().nReports);
    m_session->close();
    PlainRecordDir::FileState state = plainDir()->getLastFileState();
    EXPECT_EQ(1, state.nReports);
    EXPECT_EQ(1, state.nFileNumber);
    EXPECT_GT(state.nMinSpeed, 0);
    EXPECT_GE(state.nAverageSpeed, 0);
}

TEST_F(RecordStorageTest, FacadeRefusesWholeFramesAndForwardsBlocks) {
    RecordStorage storage;
    EXPECT_TRUE(storage.isClosed());
    AVData frame;
    EXPECT_EQ(-1, storage.write(0, &frame));
    EXPECT_EQ(-1, storage.getWriteResult(0));
    EXPECT_EQ(0, storage.open(m_info, false));
    storage.setTSFrameQueue(&m_queue);
    Block a = iFrame(kDay0, 'A');
    EXPECT_EQ(0, storage.write(0, &a));
    EXPECT_EQ(kDay0, storage.getDeviceTimeStamp());
    EXPECT_EQ(a.text(), content(0));
}

using RecordStorageDeathTest = RecordStorageTest;

TEST_F(RecordStorageDeathTest, MissingFrameQueueAbortsAtTheFirstFile) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    m_session.reset(new RecordStorageTSImpl());
    m_session->open(m_info, false);
    Block a = iFrame(kDay0, 'A');
    EXPECT_DEATH(m_session->write(0, &a), "m_TSFrameQueue != __null");
}

}  // namespace

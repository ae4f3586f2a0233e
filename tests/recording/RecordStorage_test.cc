#include "recording/RecordStorage.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <thread>

#include "directory/LastRecordFileInfoManager.h"
#include "directory/PlainRecordDir.h"
#include "directory/RecordDirFactory.h"
#include "disk/RecordDirStateManager.h"
#include "disk/RecordDiskManagerImpl.h"
#include "foundation/ReturnCode.h"
#include "foundation/StorageParameterManage.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/GlobalEnv.h"
#include "host/HostClock.h"
#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexFileParserEx.h"
#include "index/RecordIndexParserImplEx.h"
#include "recording/RecordFileRequestManager.h"
#include "recording/RecordStorageTSImpl.h"
#include "recording/RecordUpdateManager.h"
#include "recording/TSFrameQueue.h"
#include "recording/TSRecordWriterWithIndex.h"
#include "tests/support/FaultInjectingDiskManager.h"
#include "tests/support/FaultInjectingFile.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/IndexedDirs.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestBlock.h"
#include "tests/support/TsPacketReader.h"
#include "tracking/RecordSegmentInfoManager.h"
#include "tracking/RecordingMarkManager.h"

namespace {

constexpr long long kDay0 = 1704110400;  // 2024-01-01 12:00:00 UTC
constexpr long long kSecond = 1000000;
constexpr char const* kDate = "2024-01-01";
constexpr char const* kDeviceDir = "NVR_10.0.0.7_2";
using Texts = std::vector<std::string>;

struct Block : TestBlock {
    Block(int esType, int frameType, long long seconds, int packets, char tag, bool discontinuity = false)
        : TestBlock(esType, frameType, seconds * kSecond, packets, tag, discontinuity) {}
    TSAVData const* operator&() const { return &data; }
};

Block iFrame(long long s, char tag, int packets = 2) { return Block(1, 1, s, packets, tag); }
Block pFrame(long long s, char tag, int packets = 1) { return Block(1, 2, s, packets, tag); }
Block audio(long long s, char tag) { return Block(2, 1, s, 1, tag); }

bool waitFor(std::function<bool()> const& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i) usleep(5000);
    return condition();
}

// Sessions on an indexed disk "sda1" (type 1, where faults are injected) and
// a second one "sdb1"; each holds 64 record files of 20 packets, and index
// files (one per ten record files) for six channel days.
class RecordStorageTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        m_disk.makeDir("sda1");
        m_disk.makeDir("sdb1");
        m_dir.setRecordRootDir(m_disk.path("sda1"));
        m_dir.setRecordDiskName("sda1");
        m_dir.setFileSegmentSize(20 * TestBlock::kPacket);
        m_dir.setDiskType(1);
        boundRecordSpace(m_dir, 64);
        m_other = m_dir;
        m_other.setRecordRootDir(m_disk.path("sdb1"));
        m_other.setRecordDiskName("sdb1");
        LastRecordFileInfoManager::getInstance()->clear();
        // Shares (type 4) stand for plain folders here, which remember the
        // state of the files they gave out.
        RecordDirFactory::setCreator([](int kind, RecordDirInfoEx const& info) -> IRecordDir* {
            return kind == RecordDirFactory::kRecordDirKind && info.getDiskType() == 4 ? new PlainRecordDir(info)
                                                                                       : nullptr;
        });
        ASSERT_TRUE(serveRecordDirs({m_dir}));
        m_info.setDeviceId("NVR");
        m_info.setDeviceIP("10.0.0.7");
        m_info.setCameraId(2);
        recordChannel(m_info);
    }

    void TearDown() override {
        m_plan->release();
        m_session.reset();
        stopRecordDirs();
        RecordDirFactory::setCreator(nullptr);
        LastRecordFileInfoManager::getInstance()->clear();
        RecordDirStateManager::getInstance()->clear();
        GlobalEnv::getInstance()->setPrintFlag(false);
        FileFactory::resetFileCreator();
        DiskManagerFactory::resetDiskManagers();
        HostClock::reset();
    }

    // Faults of the plan reach the record data files of one disk type, or every file.
    FaultPlan& faults(bool everyFile = false, int faultyType = 1) {
        std::shared_ptr<FaultPlan> plan = m_plan;
        FileFactory::setFileCreator([plan, everyFile, faultyType](int diskType, int, int flag) -> IFile* {
            return everyFile || (diskType == faultyType && flag == 1) ? new FaultInjectingFile(plan) : nullptr;
        });
        return *m_plan;
    }

    // Records on a fresh folder of the given disk type and file system, with
    // room for one channel day.
    void useDisk(std::string const& folder, int diskType, int format) {
        m_disk.makeDir(folder);
        boundRecordSpace(m_dir, 12);
        m_dir.setRecordRootDir(m_disk.path(folder));
        m_dir.setDiskType(diskType);
        m_dir.setFileSystemFormat(format);
        ASSERT_TRUE(serveRecordDirs({m_dir}));
    }

    std::unique_ptr<RecordStorageTSImpl> newSession(int camera, bool dedicated = false, int group = 1) {
        std::unique_ptr<RecordStorageTSImpl> session(new RecordStorageTSImpl());
        m_info.setCameraId(camera);
        recordChannel(m_info, group);
        EXPECT_EQ(0, session->open(m_info, dedicated));
        session->setTSFrameQueue(&m_queue);
        return session;
    }
    void openSession() { m_session = newSession(m_info.getCameraId()); }
    int write(Block const& block) { return m_session->write(0, &block); }

    std::string dateDir(std::string const& date = "2024-01-01") const {
        return m_dir.getRecordRootDir() + "/record/NVR_" + m_info.getDeviceIP() + "_" +
               std::to_string(m_info.getCameraId()) + "/" + date;
    }
    // Names in the date folder, sorted.
    Texts names(std::string const& date = "2024-01-01") const {
        Texts found;
        std::error_code missing;
        for (auto const& entry : std::filesystem::directory_iterator(dateDir(date), missing))
            found.push_back(entry.path().filename().string());
        std::sort(found.begin(), found.end());
        return found;
    }
    // The record files of the date folder, in name order, each up to the
    // length its index items cover: files are preallocated at full size.
    Texts contents(std::string const& date = "2024-01-01") {
        std::map<std::string, int> lengths;
        for (Item const& item : indexedItems(date))
            lengths[item.strFile] = std::max(lengths[item.strFile], item.nPos + item.nLength);
        Texts found;
        for (std::string const& name : names(date))
            if (name.find(".ts") != std::string::npos)
                found.push_back(TempDir::readWhole(dateDir(date) + "/" + name).substr(0, lengths[name]));
        return found;
    }
    // A directory that remembers the state of the files it gave out: a share,
    // which records into a plain folder.
    void usePlainDir() {
        stopRecordDirs();  // a kept root keeps its class
        m_dir.setDiskType(4);
        ASSERT_TRUE(serveRecordDirs({m_dir}));
    }
    // A directory not enabled refuses to be written.
    void enable(bool enabled) {
        SafePointer<IRecordDir> dir = RecordDiskManagerImpl::getInstance()->getRecordDir(m_dir.getRecordRootDir());
        RecordDirInfoEx info = dir->getRecordDirInfoEx();
        info.setEnableFlag(enabled);
        dir->setRecordDirInfoEx(info);
    }
    PlainRecordDir* plainDir() {
        return static_cast<PlainRecordDir*>(
            RecordDiskManagerImpl::getInstance()->getRecordDir(m_dir.getRecordRootDir()).get());
    }
    std::string log(char const* name) const { return TempDir::readWhole(m_root.root() + "/mnt/mtd/log/" + name); }

    // Every item of every entry in the session's index of the day, as (file, position,
    // length); nothing when there is no readable index.
    struct Item {
        std::string strFile;
        int nPos;
        int nLength;
    };
    std::vector<Item> indexedItems(std::string const& date = kDate) {
        std::vector<Item> items;
        std::string const device = std::string("NVR_") + m_info.getDeviceIP() + "_" + std::to_string(m_info.getCameraId());
        RecordIndexFileParserEx parser;
        if (parser.open(m_dir, date, device, 0, 0) != 1) return items;
        int length = 0;
        char* image = parser.getIndexInfo(length);
        RecordIndexParserImplEx entries;
        entries.setIndexInfo(m_dir, date, device, image, length, 0);
        RecordIndexParserImplEx::FileList files;
        entries.getRecordFileInfoList(0, LLONG_MAX, files);
        for (SafePointer<RecordFileInfo> const& file : files) {
            RecordFileIndexNodeInfo nodes;
            entries.getRecordFileIndexNodeInfoList(file->getRecordFileName().c_str(), nodes);
            items.push_back(Item{file->getRecordFileName(), 0, 0});  // the entry names the file
            for (RecordIndexNode const& node : nodes.getRecordIndexNodeList())
                items.push_back(Item{file->getRecordFileName(), node.getFilePos(), node.getDataLength()});
        }
        parser.close();
        return items;
    }

    // Two video frames wait in the queue; answers its first block.
    TSAVData* queueTwoFrames() {
        AVData frame;
        std::string bytes(1000, 'I');
        frame.setData(bytes.data(), 1000);
        frame.setESStreamType(1), frame.setFrameType(1), frame.setEncoderType(1);
        for (long long at : {kDay0 * kSecond, kDay0 * kSecond + 40000}) {
            frame.setTimeStamp(at);
            EXPECT_EQ(0, m_queue.pushAVData(&frame));
        }
        TSAVData* front = nullptr;
        EXPECT_TRUE(m_queue.frontAVData(&front));
        return front;
    }

    HostRootGuard m_root;
    TempDir m_disk;
    RecordDirInfoEx m_dir;
    RecordDirInfoEx m_other;
    RecordInfo m_info;
    TSFrameQueue m_queue{1024 * 1024};
    std::unique_ptr<RecordStorageTSImpl> m_session;
    std::shared_ptr<FaultPlan> m_plan = std::make_shared<FaultPlan>();
};

TEST_F(RecordStorageTest, FirstFileWaitsForAVideoIFrameAndEachSessionGivesItsDiskBackOnce) {
    RecordDiskManagerImpl* disks = RecordDiskManagerImpl::getInstance();
    RecordStorage storage;
    EXPECT_EQ(-1, storage.write(0, static_cast<AVData const*>(nullptr)));
    EXPECT_EQ(-1, storage.getWriteResult(0));
    EXPECT_EQ(0, storage.open(m_info, false));
    storage.setTSFrameQueue(&m_queue);
    Block sound = audio(kDay0, 'a'), early = pFrame(kDay0, 'p'), first = iFrame(kDay0 + 1, 'I'),
          next = pFrame(kDay0 + 2, 'P');
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, storage.write(0, &sound));
    EXPECT_EQ(0, storage.getDeviceTimeStamp());
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, storage.write(0, &early));
    EXPECT_EQ(kDay0, storage.getDeviceTimeStamp());
    EXPECT_FALSE(m_disk.exists("sda1/record/NVR_10.0.0.7_2"));  // no file yet, no folder
    EXPECT_EQ(0, storage.write(0, &first));
    EXPECT_EQ(0, storage.write(0, &sound));
    EXPECT_EQ(0, storage.write(0, &next));
    EXPECT_EQ((Texts{"00001-NVR_10.0.0.7_2_20240101120001.ts", "NVR_10.0.0.7_2_2024-01-01.index"}), names());
    std::unique_ptr<RecordStorageTSImpl> other = newSession(3);
    EXPECT_EQ(0, other->write(0, &first));
    EXPECT_EQ(2, disks->getDiskReferenceCount("sda1"));
    EXPECT_EQ(2u, LastRecordFileInfoManager::getInstance()->size());
    EXPECT_EQ(0, storage.close());
    m_info.setCameraId(2);
    EXPECT_EQ(Texts{first.text() + sound.text() + next.text()}, contents());
    EXPECT_EQ(0, storage.close());
    EXPECT_TRUE(storage.isClosed());
    EXPECT_EQ(1, disks->getDiskReferenceCount("sda1"));
    EXPECT_EQ(1u, LastRecordFileInfoManager::getInstance()->size());
    other.reset();  // closes on the way out
    EXPECT_EQ(0, disks->getDiskReferenceCount("sda1"));
    EXPECT_EQ(0u, LastRecordFileInfoManager::getInstance()->size());
    EXPECT_EQ(OV_RECORD_WRITE_FAILED, storage.write(0, &iFrame(kDay0 + 50, 'B')));
    EXPECT_EQ(kDay0 + 2, storage.getDeviceTimeStamp());
}

// A (8 packets) and B (8) fill 16 of the file's 20 packets; then C meets the
// cause, then an audio block and D (1) follow.
TEST_F(RecordStorageTest, EndedFileHandsTheBlockToTheNextFileInTheSameCall) {
    // packetsOfC 0: C is audio with the discontinuity indicator; files by block tag.
    struct Case { char const* cause; int packetsOfC; std::function<void(FaultPlan&)> arm; int code, requestType; Texts files; };
    Case const cases[] = {
        {"file full", 4, [](FaultPlan&) {}, 0, FileRequestFileFull, {"AB", "CaD"}},
        {"write failed", 1, [](FaultPlan& plan) { plan.failWriteAt(1); }, 0, FileRequestWriteFailed, {"AB", "CaD"}},
        // The block that finishes an update is written but not indexed there.
        {"update asked", 1, [](FaultPlan&) { RecordUpdateManager::getInstance()->notifyUpdateRecord("sda1"); },
         0, FileRequestNew, {"AB", "CaD"}},
        {"update, then a failed write", 1,
         [](FaultPlan& plan) { RecordUpdateManager::getInstance()->notifyUpdateRecord("sda1"), plan.failWriteAt(2); },
         OV_RECORD_WRITE_FAILED, FileRequestWriteFailed, {"AB", "", "D"}},
        {"audio discontinuity", 0, [](FaultPlan&) {}, OV_RECORD_FRAME_REFUSED, FileRequestContinue, {"AB", "D"}},
    };
    FaultPlan& plan = faults();
    int camera = 10;
    for (Case const& c : cases) {
        SCOPED_TRACE(c.cause);
        m_info.setCameraId(++camera);
        openSession();
        Block a = iFrame(kDay0, 'A', 8), b = pFrame(kDay0 + 1, 'B', 8), sound = audio(kDay0 + 2, 'a'),
              cBlock = c.packetsOfC ? pFrame(kDay0 + 2, 'C', c.packetsOfC) : Block(2, 1, kDay0 + 2, 1, 'C', true),
              d = pFrame(kDay0 + 3, 'D');
        EXPECT_EQ(0, write(a));
        EXPECT_EQ(0, write(b));
        c.arm(plan);
        EXPECT_EQ(c.code, write(cBlock));
        EXPECT_EQ(c.requestType, m_session->getRequestType());
        EXPECT_EQ(c.code == 0 ? 0 : OV_RECORD_FRAME_REFUSED, write(sound));  // between files: refused
        if (c.code != 0) {
            EXPECT_EQ(FileRequestNew, m_session->getRequestType());
        }
        EXPECT_EQ(0, write(d));
        std::string const texts[] = {a.text(), b.text(), cBlock.text(), sound.text(), d.text()};
        Texts expected;
        for (std::string const& tags : c.files) {
            expected.emplace_back();
            for (char tag : tags) expected.back() += texts[std::string("ABCaD").find(tag)];
        }
        m_session->close();
        EXPECT_EQ(expected, contents());
    }
}

TEST_F(RecordStorageTest, ContinuedFileMovesTheQueueToItsEndAndRefusesOlderTime) {
    queueTwoFrames();
    auto frontPts = [this]() {  // 90 kHz ticks
        TSAVData* front = nullptr;
        EXPECT_TRUE(m_queue.frontAVData(&front));
        return TsPacketReader(std::string(front->getData(), front->getDataLength())).getPes().at(0).nPts;
    };
    openSession();
    Block a = iFrame(kDay0 + 100, 'A'), b = pFrame(kDay0 + 110, 'B');
    EXPECT_EQ(0, write(a));
    EXPECT_EQ(0, frontPts());  // a new file leaves the queued time line alone
    EXPECT_EQ(0, write(b));
    // Same day, later time: the unfinished file is joined, and the queue's
    // time line goes on from its end (ten seconds and the second of B).
    Block c(1, 1, kDay0 + 120, 2, 'C', true);
    EXPECT_EQ(0, write(c));
    EXPECT_EQ(11 * 90000, frontPts());
    // A clock that went back: the joined file refuses it.
    Block d(1, 1, kDay0 + 50, 2, 'D', true);
    EXPECT_EQ(0, write(d));
    EXPECT_EQ(FileRequestTimeRollback, m_session->getRequestType());
    m_session->close();
    EXPECT_EQ((Texts{a.text() + b.text() + c.text(), d.text()}), contents());
}

TEST_F(RecordStorageTest, ReadOnlyDirectoryEndsTheFileUnlessAnUpdateIsPending) {
    openSession();
    Block a = iFrame(kDay0, 'A'), b = pFrame(kDay0 + 1, 'B'), c = pFrame(kDay0 + 2, 'C'), d = pFrame(kDay0 + 3, 'D');
    EXPECT_EQ(0, write(a));
    enable(false);
    EXPECT_EQ(OV_RECORD_NO_DIR_WRITE, write(b));
    EXPECT_EQ(FileRequestWriteFailed, m_session->getRequestType());
    enable(true);
    EXPECT_EQ(0, write(c));
    // The writer finishes its update on the read-only directory first.
    RecordUpdateManager::getInstance()->notifyUpdateRecord("sda1");
    enable(false);
    EXPECT_EQ(OV_RECORD_NO_DIR_WRITE, write(d));
    EXPECT_EQ(FileRequestNew, m_session->getRequestType());
    m_session->close();
    // D went into C's file with the update, unindexed: no reader finds it.
    EXPECT_EQ((Texts{a.text(), c.text()}), contents());
}

TEST_F(RecordStorageTest, QueueOrIndexEntryThatFailsRefusesTheBlockAndTheNextVideoGoesOn) {
    // retry: on the fresh file after a failed write. openCall: the open that fails, the index
    // entry's (a first file looks for one to join before); 0: the queue cannot be updated.
    struct Case { char const* what; bool retry; int openCall; };
    FaultPlan& plan = faults(true);
    usePlainDir();  // the opens counted are the session's own
    int camera = 20;
    for (Case const& c : {Case{"queue, first file", false, 0}, Case{"index entry, first file", false, 2},
                          Case{"queue, retry", true, 0}, Case{"index entry, retry", true, 1}}) {
        SCOPED_TRACE(c.what);
        m_info.setCameraId(++camera);
        openSession();
        Block a = iFrame(kDay0, 'A'), d = pFrame(kDay0 + 2, 'D');
        if (c.retry) {
            EXPECT_EQ(0, write(a));
            plan.failWriteAt(1);
        }
        if (c.openCall == 0) const_cast<char*>(queueTwoFrames()->getData())[0] = 0;  // no sync byte
        if (c.openCall != 0) plan.failOpenAt(c.openCall);
        EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(iFrame(kDay0 + 1, 'B')));
        EXPECT_TRUE(m_queue.isEmpty());
        EXPECT_EQ(0, write(d));
        m_session->close();
        EXPECT_EQ(c.retry ? Texts({a.text(), d.text()}) : Texts({d.text()}), contents());
    }
}

TEST_F(RecordStorageTest, LockedRecordingMarksEachDateAndCountsEachFileOnce) {
    GlobalEnv::getInstance()->setPrintFlag(true);
    std::shared_ptr<FaultPlan> gone = std::make_shared<FaultPlan>();
    gone->vanish();
    FaultInjectingDiskManager goneDisk(gone);
    openSession();
    SafePointer<RecordFileInfo> day(new RecordFileInfo(*m_session->getRecordFileInfo()));
    for (char const* date : {"2024-01-01", "2024-01-02"})
        day->setRecordDate(date), RecordSegmentInfoManager::getInstance()->deleteDeviceDateInfo(day);
    EXPECT_EQ(0, write(iFrame(kDay0, 'A', 8)));
    m_session->setLockFlag(true);
    testing::internal::CaptureStdout();
    DiskManagerFactory::setDiskManager(1, &goneDisk);
    EXPECT_EQ(0, write(pFrame(kDay0 + 1, 'B', 8)));  // the marker cannot be made
    DiskManagerFactory::resetDiskManagers();
    EXPECT_EQ(0, write(pFrame(kDay0 + 2, 'C', 4)));  // a second file; the marker is tried again
    EXPECT_EQ(0, write(pFrame(kDay0 + 3, 'D', 1)));
    // A new date notes the day's first begin time; a new file of the same day does not.
    long long begin = 0;
    EXPECT_TRUE(RecordSegmentInfoManager::getInstance()->getDeviceRecordTime("NVR_10.0.0.7_2", "2024-01-01", begin));
    EXPECT_EQ(kDay0, begin);
    Block e(1, 1, kDay0 + 86400, 2, 'E', true);
    EXPECT_EQ(0, write(e));
    std::istringstream out(testing::internal::GetCapturedStdout());
    std::string seen;
    for (std::string line; std::getline(out, line);)
        if (line.find("LockFlag :") != std::string::npos || line.find("LockNum,") != std::string::npos)
            seen += line + "\n";
    std::string day1 = "createRecordFileLockFlag : " + dateDir() + "/record.lock \n" +
                       "RecordStorageTSImpl::updateRecordFileLockNum, NVR_10.0.0.7_2, 2024-01-01, 1 \n";
    EXPECT_EQ(day1 + day1 + "createRecordFileLockFlag : " + dateDir("2024-01-02") + "/record.lock \n" +
                  "RecordStorageTSImpl::updateRecordFileLockNum, NVR_10.0.0.7_2, 2024-01-02, 1 \n",
              seen);
    m_session->close();
    EXPECT_EQ(Texts{e.text()}, contents("2024-01-02"));
    EXPECT_TRUE(m_disk.exists("sda1/record/NVR_10.0.0.7_2/2024-01-01/record.lock"));
    EXPECT_TRUE(m_disk.exists("sda1/record/NVR_10.0.0.7_2/2024-01-02/record.lock"));
    EXPECT_TRUE(RecordSegmentInfoManager::getInstance()->getDeviceRecordTime("NVR_10.0.0.7_2", "2024-01-02", begin));
    EXPECT_EQ(kDay0 + 86400, begin);
}

TEST_F(RecordStorageTest, EndedFileReportsItsSlowestBlockAndItsAverageSpeed) {
    FaultPlan& plan = faults(false, 4);
    m_dir.setFileSegmentSize(4 << 20);
    usePlainDir();
    constexpr int kPackets = 1400;
    constexpr long long kBytes = kPackets * TestBlock::kPacket, kDelay = 20000;  // microseconds
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A', kPackets)));
    plan.setWriteDelay(kDelay / 1000);
    EXPECT_EQ(0, write(pFrame(kDay0 + 1, 'B', kPackets)));
    EXPECT_EQ(0, plainDir()->getLastFileState().nReports);
    m_session->close();
    PlainRecordDir::FileState state = plainDir()->getLastFileState();
    EXPECT_EQ(1, state.nReports);
    EXPECT_EQ(1, state.nFileNumber);
    // Bytes per microsecond: the slow block is the slowest, the file as a whole is faster.
    EXPECT_GE(state.nMinSpeed, 1);
    EXPECT_LE(state.nMinSpeed, kBytes / kDelay);
    EXPECT_GT(state.nAverageSpeed, state.nMinSpeed);
    EXPECT_LE(state.nAverageSpeed, 2 * kBytes / kDelay);
}

// The writer of a file that threw goes to its directory's close thread. Closed
// late, after the next file is open, it leaves that file's mark and entry
// alone, and the given-up entry stays as its last flush left it. The next
// file goes to the group's other directory while the first one is failing.
TEST_F(RecordStorageTest, IOExceptionHandsTheWriterToTheCloseThreadWhichLeavesTheNextFileAlone) {
    FaultPlan& plan = faults(false, 4);
    usePlainDir();
    m_other.setDiskType(4);
    ASSERT_TRUE(serveRecordDirs({m_dir, m_other}));
    openSession();
    EXPECT_EQ(0, write(iFrame(kDay0, 'A')));
    plainDir()->stopDetectionThread();
    plan.throwOnWriteAt(1);
    EXPECT_EQ(OV_RECORD_IO_ERROR, write(pFrame(kDay0 + 1, 'B')));
    EXPECT_EQ(0u, RecordUpdateManager::getInstance()->getWriterCount());
    EXPECT_NE(std::string::npos, log("RecordIOError.log").find("injected write fault"));
    plainDir()->startDetectionThread();
    ASSERT_TRUE(waitFor([this]() { return !plainDir()->isIOError(); }));
    EXPECT_FALSE(RecordingMarkManager::getInstance()->isExistMark(kDeviceDir, kDate));
    EXPECT_EQ(0, write(iFrame(kDay0 + 2, 'C', 1)));
    plainDir()->stopDetectionThread();
    plan.throwOnWriteAt(1);
    EXPECT_EQ(OV_RECORD_IO_ERROR, write(pFrame(kDay0 + 3, 'D')));
    EXPECT_TRUE(plainDir()->isIOError());
    Block e = iFrame(kDay0 + 4, 'E');
    EXPECT_EQ(0, write(e));
    SafePointer<RecordFileInfo> next = m_session->getRecordFileInfo();
    LastRecordFileInfoManager* last = LastRecordFileInfoManager::getInstance();
    int data = 0, time = 0, interval = 0, end = 0, endBefore = 0;
    bool closed = false;
    ASSERT_TRUE(last->getRecordValidLength(next, data, time, interval, endBefore, closed));
    plainDir()->startDetectionThread();
    ASSERT_TRUE(waitFor([this]() { return !plainDir()->isIOError(); }));
    EXPECT_TRUE(RecordingMarkManager::getInstance()->isExistMark(kDeviceDir, kDate));
    ASSERT_TRUE(last->getRecordValidLength(next, data, time, interval, end, closed));
    EXPECT_EQ(endBefore, end);
    m_session->close();
    EXPECT_FALSE(RecordingMarkManager::getInstance()->isExistMark(kDeviceDir, kDate));
    std::vector<Item> items = indexedItems();  // the two entries of the failing directory
    ASSERT_EQ(2u, items.size());
    EXPECT_EQ("0000100002", items[0].strFile.substr(0, 5) + items[1].strFile.substr(0, 5));
    m_dir = m_other;
    EXPECT_EQ(Texts{e.text()}, contents());
    items = indexedItems();  // E's entry and its item
    ASSERT_EQ(2u, items.size());
    EXPECT_EQ(2 * TestBlock::kPacket, items[1].nLength);
}

// Neither a missing directory nor a writer that cannot open ends the wait
// for an I frame.
TEST_F(RecordStorageTest, NoFileToBeHadKeepsTheSessionWaitingForAnIFrame) {
    FaultPlan& plan = faults();
    m_info.setDeviceIP("fe80::1");
    m_session = newSession(2, true);  // dedicated directories only
    m_info.setDeviceIP("fe80--1");    // as the session makes it file-name safe
    EXPECT_EQ(OV_RECORD_NO_DIR_WRITE, write(iFrame(kDay0, 'A')));
    m_other.setAttribute(4);
    ASSERT_TRUE(serveRecordDirs({m_dir, m_other}));
    plan.failOpenAt(1);
    EXPECT_EQ(OV_RECORD_OPEN_FILE_FAILED, write(iFrame(kDay0 + 1, 'B')));
    EXPECT_EQ(FileRequestOpenFailed, m_session->getRequestType());
    EXPECT_NE(std::string::npos,
              log("RecordIOError.log").find("device(NVR,fe80--1,2),open RecordWrite failed,nRet = -702"));
    EXPECT_EQ(OV_RECORD_FRAME_REFUSED, write(pFrame(kDay0 + 2, 'p')));
    Block c = iFrame(kDay0 + 3, 'C');
    EXPECT_EQ(0, write(c));
    EXPECT_TRUE(names().empty());
    m_session->close();
    m_dir = m_other;
    // The file made for the writer that could not open stays, empty, as a
    // directory hands out files before their writers open them.
    EXPECT_EQ((Texts{"", c.text()}), contents());
}

// A hung write turns into a time-out while the other disk goes on. Disk
// events name a disk by part of its name ("sdb" reaches "sdb1").
TEST_F(RecordStorageTest, HungWriteTimesOutAndDiskEventsReachOnlyTheirDisk) {
    // The second channel records in a group of its own, on the other disk.
    stopRecordDirs();
    std::filesystem::create_directories(m_root.root() + "/hd1/program/config");
    std::ofstream(m_root.root() + "/hd1/program/config/storageparam.ini") << "DiskReferenceCountLimit=1\n";
    ASSERT_TRUE(StorageParameterManage::getInstance()->initStorageParameter());
    m_dir.setDiskType(4);  // a plain folder, which counts its time-outs
    m_other.setGroupId(2);
    stopRecordDirs();
    ASSERT_TRUE(serveRecordDirs({m_dir, m_other}));
    StorageParameterManage::getInstance()->resetStorageParameter();
    FaultPlan& plan = faults(false, 4);
    openSession();
    ASSERT_EQ(0, write(iFrame(kDay0, 'A')));
    plan.hang();
    std::atomic<int> result{1};
    std::thread writer([&]() { result = write(pFrame(kDay0 + 1, 'B')); });
    ASSERT_TRUE(waitFor([&]() { return plan.hungWriters() == 1; }));
    std::unique_ptr<RecordStorageTSImpl> fast = newSession(3, false, 2);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(0, fast->write(0, &Block(1, i == 0 ? 1 : 2, kDay0 + i, 1, 'F')));
    EXPECT_EQ(1, plan.hungWriters());

    HostClock::shift(TSRecordWriterWithIndex::kWriteTimeLimitSeconds + 1);
    plan.release();
    writer.join();
    // The timed-out file ended; the block went on into a fresh file.
    EXPECT_EQ(0, result.load());
    EXPECT_EQ(FileRequestWriteFailed, m_session->getRequestType());
    EXPECT_EQ(1, plainDir()->getLastFileState().nTimeOuts);
    int sum = 0, count = 0;
    ASSERT_TRUE(RecordDirStateManager::getInstance()->getTimeoutInfo(plainDir()->getRecordDirInfoEx(), sum, count));
    EXPECT_EQ(1, count);
    EXPECT_GE(sum, TSRecordWriterWithIndex::kWriteTimeLimitSeconds);
    std::string line = "DeviceInfo[NVR_10.0.0.7_2], RecordDir[00001-NVR_10.0.0.7_2_20240101120000.ts], Detect TimeOut[";
    EXPECT_NE(std::string::npos, log("recordError.log").find(line));
    EXPECT_NE(std::string::npos, log("recordError.log").find("], TototalDataLen[188], WritedLen[188]"));

    RecordUpdateManager* updates = RecordUpdateManager::getInstance();
    ASSERT_EQ(2u, updates->getWriterCount());
    std::string slowName = m_session->getRecordFileInfo()->getRecordFileName();
    std::string fastName = fast->getRecordFileInfo()->getRecordFileName();
    updates->notifyUpdateRecord("sdb");
    EXPECT_EQ(0, write(pFrame(kDay0 + 6, 'N')));
    EXPECT_EQ(0, fast->write(0, &pFrame(kDay0 + 6, 'N')));
    EXPECT_EQ(slowName, m_session->getRecordFileInfo()->getRecordFileName());
    EXPECT_NE(fastName, fast->getRecordFileInfo()->getRecordFileName());
    EXPECT_EQ(FileRequestNew, fast->getRequestType());
    updates->closeRecordWrite("sda");
    EXPECT_EQ(0, write(pFrame(kDay0 + 7, 'C')));  // closed writer: -703, then a fresh file
    EXPECT_EQ(FileRequestWriteFailed, m_session->getRequestType());
    EXPECT_NE(slowName, m_session->getRecordFileInfo()->getRecordFileName());
    EXPECT_EQ(2u, updates->getWriterCount());
    m_session->close();
    fast->close();
    EXPECT_EQ(0u, updates->getWriterCount());
}

// With a flush interval (local disk, share) the index waits for it, then data
// and index are synced; a share without cache indexes every block, syncs at close.
TEST_F(RecordStorageTest, FlushesSyncOnlyWhereTheyAreCheap) {
    struct Case {
        int nDiskType;
        int nFormat;
        int nItemsWithinAMinute;
        int nSyncsAfterAMinute;
    };
    for (Case const& test : {Case{1, 0, 0, 2}, Case{4, 0, 0, 2}, Case{4, 6, 1, 0}}) {
        SCOPED_TRACE(test.nDiskType * 10 + test.nFormat);
        auto plan = std::make_shared<FaultPlan>();
        FaultInjection faults(plan);
        useDisk("nas" + std::to_string(test.nDiskType * 10 + test.nFormat), test.nDiskType, test.nFormat);
        openSession();
        int syncs = plan->flushCalls();
        for (int i = 0; i < 3; ++i) {
            HostClock::shift(0.001);
            ASSERT_EQ(0, write(iFrame(kDay0 + i, static_cast<char>('A' + i))));
        }
        EXPECT_EQ(1 + test.nItemsWithinAMinute, static_cast<int>(indexedItems().size()));
        EXPECT_EQ(1, plan->flushCalls() - syncs);  // the new entry's head
        syncs = plan->flushCalls();
        HostClock::shift(61);
        ASSERT_EQ(0, write(iFrame(kDay0 + 3, 'D')));
        EXPECT_EQ(3u, indexedItems().size());
        EXPECT_EQ(test.nSyncsAfterAMinute, plan->flushCalls() - syncs);
        syncs = plan->flushCalls();
        m_session->close();
        EXPECT_EQ(2, plan->flushCalls() - syncs);  // data, then index with its seal
        EXPECT_EQ(5u, indexedItems().size());
        stopRecordDirs();
        HostClock::reset();
    }
}

// A power cut before each disk call in turn, from a restart that joins the day's
// file through the next file, a flush and the close, with or without unsynced
// index bytes surviving: every index item names record bytes that survived, and
// a cut after the close loses nothing.
TEST_F(RecordStorageTest, FailedDataSyncAtCloseAddsNoItemsToTheIndex) {
    auto plan = std::make_shared<FaultPlan>();
    {
        FaultInjection faults(plan);
        plan->spareUnsyncedBytesOf(".index");  // worst case: the index reached the disk
        openSession();
        ASSERT_EQ(0, write(iFrame(kDay0, 'A', 4)));
        ASSERT_EQ(0, write(pFrame(kDay0 + 1, 'B', 4)));
        plan->failFlushAt(1);  // the data sync of the close
        m_session->close();
        plan->powerCut();
    }
    std::vector<Item> items = indexedItems();
    ASSERT_FALSE(items.empty());  // the entry is there, with no item
    for (Item const& item : items) EXPECT_EQ(0, item.nLength) << item.strFile;
}

TEST_F(RecordStorageTest, PowerCutBeforeAnyCallLeavesNoIndexItemWithoutItsData) {
    std::vector<Block> before = {iFrame(kDay0, 'A', 8)};
    // E ends D's item before the flush at F, whose item G joins before the close.
    std::vector<Block> blocks = {iFrame(kDay0 + 10, 'B', 4), pFrame(kDay0 + 11, 'C', 4),
                                 iFrame(kDay0 + 12, 'D', 4), iFrame(kDay0 + 13, 'E', 4),
                                 iFrame(kDay0 + 14, 'F'), pFrame(kDay0 + 15, 'G', 2)};
    std::string expected[2] = {"AAAAAAAABBBBCCCC", "DDDDEEEEFFGG"};  // per file, a letter a packet
    int cuts = 0;
    int runs = 0;
    int withItems = 0;
    for (char const* spared : {"", ".index"}) {
        for (int cut = 1;; ++cut) {
            SCOPED_TRACE(std::string(spared) + " cut " + std::to_string(cut));
            bool fired = false;
            {
                auto plan = std::make_shared<FaultPlan>();
                FaultInjection faults(plan);
                if (*spared != '\0') plan->spareUnsyncedBytesOf(spared);
                useDisk("run" + std::to_string(++runs), 1, 0);
                LastRecordFileInfoManager::getInstance()->clear();
                openSession();
                for (Block const& block : before) ASSERT_EQ(0, write(block));
                m_session->close();
                plan->powerCutAtCall(cut);
                openSession();
                for (Block const& block : blocks) {
                    if (block.bytes[1] == 'F') HostClock::shift(61);
                    write(block);
                }
                m_session->close();
                fired = plan->hasPowerCutFired();
                if (!fired) plan->powerCut();
                // Not rebuilt behind the reader's back once the disk is back.
                stopRecordDirs();
            }
            HostClock::reset();
            if (!fired) {
                std::map<std::string, int> indexed;  // by file number
                for (Item const& item : indexedItems()) indexed[item.strFile.substr(0, 5)] += item.nLength;
                EXPECT_EQ(16 * TestBlock::kPacket, indexed["00001"]);
                EXPECT_EQ(12 * TestBlock::kPacket, indexed["00002"]);
                break;
            }
            ++cuts;
            std::vector<std::string> files;
            for (Item const& item : indexedItems()) {
                if (files.empty() || files.back() != item.strFile) files.push_back(item.strFile);
                std::string content = TempDir::readWhole(dateDir() + "/" + item.strFile);
                ASSERT_EQ(0, access((dateDir() + "/" + item.strFile).c_str(), F_OK)) << item.strFile;
                ASSERT_LE(static_cast<size_t>(item.nPos + item.nLength), content.size()) << item.strFile;
                ASSERT_LE(files.size(), 2u);
                for (int at = item.nPos; at < item.nPos + item.nLength; at += TestBlock::kPacket)
                    ASSERT_EQ(expected[files.size() - 1][static_cast<size_t>(at / TestBlock::kPacket)],
                              content[static_cast<size_t>(at) + 1])
                        << item.strFile << " at " << at;
                if (files.size() == 2 && item.nLength > 0) ++withItems;
            }
        }
    }
    EXPECT_GT(cuts, 40);
    EXPECT_GT(withItems, 0);  // some cuts came after the second file's items were made durable
}

using RecordStorageDeathTest = RecordStorageTest;

TEST_F(RecordStorageDeathTest, MissingFrameQueueAbortsAtTheFirstFile) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    m_session.reset(new RecordStorageTSImpl());
    m_session->open(m_info, false);
    EXPECT_DEATH(write(iFrame(kDay0, 'A')), "m_TSFrameQueue != __null");
}

}  // namespace

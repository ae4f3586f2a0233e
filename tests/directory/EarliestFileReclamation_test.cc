#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <map>
#include <thread>

#include "directory/EarliestFileCollector.h"
#include "directory/EarliestFileDeleteHandler.h"
#include "directory/EarliestFileInfoList.h"
#include "directory/PlainRecordDir.h"
#include "directory/RecordOutDateFileHandler.h"
#include "foundation/BasicTool.h"
#include "index/RecordIndexFileParserEx.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestRecording.h"

namespace {

constexpr long long kDay = 86400;
constexpr long long kNow = 1706698800LL;                  // 2024-01-31 11:00:00 UTC
constexpr long long kEight = kNow - kDay - 3 * 3600;      // 2024-01-30 08:00:00

// "Now" stands at kNow; directories are real folders with real recordings.
class EarliestFileTest : public ::testing::Test {
protected:
    RecordingClock m_clock{kNow};

    // A directory on folder `name`, reclaiming into its own recycle bin.
    SafePointer<PlainRecordDir> disk(std::string const& name) {
        RecordDirInfoEx info;
        info.setRecordRootDir(m_dir.path(name));
        info.setFileSegmentSize(1 << 20);
        SafePointer<PlainRecordDir> dir(new PlainRecordDir(info));
        EXPECT_EQ(1, dir->init());
        m_bins[name] = SafePointer<RecordRecycleBin>(new RecordRecycleBin(1, m_dir.path(name + "/record")));
        EXPECT_EQ(1, m_bins[name]->init(0, 0));
        dir->setRecycleBin(m_bins[name]);
        return dir;
    }
    static SafePointer<RecordFileInfo> record(PlainRecordDir& dir, int camera, long long begin, bool lock = false) {
        return recordTestFile(dir, camera, begin, lock);
    }
    // One reclaiming pass over a device's day; the file's own index, opened afresh.
    static int reclaimDay(SafePointer<PlainRecordDir> const& dir, SafePointer<RecordFileInfo> const& file,
                          SafePointer<EarliestFileDeleteHandler>* used = nullptr) {
        RecordDirInfoEx info = dir->getRecordDirInfoEx();
        SafePointer<RecordRecycleBin> bin(new RecordRecycleBin(1, info.getRecordRootDir() + "/record"));
        bin->init(0, 0);
        SafePointer<EarliestFileDeleteHandler> handler(new EarliestFileDeleteHandler(bin, info));
        if (used != nullptr) *used = handler;
        RecordIndexFileParserEx index;
        bool open = index.open(info, file->getRecordDate(), file->getDeviceDirName(), 0, RecordIndexFileParserEx::kModeChange);
        return open ? index.deleteEarliestRecordFile(handler) : -1;
    }
    static int entries(SafePointer<RecordFileInfo> const& file) {
        RecordIndexFileParserEx index;
        if (index.open(file->getRecordDirInfoEx(), file->getRecordDate(), file->getDeviceDirName(), 0, 0) != 1) return -1;
        return index.getFileNumber();
    }
    bool inBin(std::string const& disk, SafePointer<RecordFileInfo> const& file) const {
        return m_dir.exists(disk + "/record/recycleBin/" + file->getRecordFileName());
    }
    static bool inPlace(SafePointer<RecordFileInfo> const& file) {
        return !TempDir::readWhole(file->createRecordFileName()).empty();
    }

    TempDir m_dir;
    HostRootGuard m_root;
    std::map<std::string, SafePointer<RecordRecycleBin>> m_bins;
};

TEST_F(EarliestFileTest, OneRunFreesTwoHoursFromItsFirstFileAndNeverTodaysLastTwo) {
    SafePointer<PlainRecordDir> dir = disk("sda");
    std::vector<SafePointer<RecordFileInfo>> files;
    for (long long offset : {0, 3600, 7200, 7201}) files.push_back(record(*dir, 1, kEight + offset));
    SafePointer<EarliestFileDeleteHandler> handler;
    ASSERT_EQ(1, reclaimDay(dir, files[0], &handler));
    EXPECT_TRUE(handler->isTimeToDelInterval());
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(inBin("sda", files[i]) && !inPlace(files[i])) << i;
    // 10:00:01 is spared with -2: its file and its entry stay.
    EXPECT_TRUE(inPlace(files[3]));
    RecordFileInfo left;
    RecordIndexFileParserEx index;
    ASSERT_EQ(1, index.open(dir->getRecordDirInfoEx(), "2024-01-30", "NVR_10.0.0.7_1", 0, 0));
    EXPECT_TRUE(index.getFileNumber() == 1 && index.getEarliestRecordFileInfo(left) == 1);
    EXPECT_EQ(files[3]->getRecordFileName(), left.getRecordFileName());

    SafePointer<RecordFileInfo> today = record(*dir, 2, kNow - 3600);  // its day's only file
    ASSERT_EQ(1, reclaimDay(dir, today, &handler));
    EXPECT_EQ(-1, handler->deleteFile("2024-01-31", kNow - 3600, today->getDateDir(), today->getRecordFileName()));
    EXPECT_TRUE(inPlace(today));
    EXPECT_EQ(1, entries(today));
    // A damaged entry naming the day's index file: nothing moves.
    EXPECT_EQ(-1, handler->deleteFile("2024-01-30", kEight, files[3]->getDateDir(), "NVR_10.0.0.7_1_2024-01-30.index"));
    EXPECT_EQ(1, entries(files[3]));
}

// The move into the bin is durable before the entry is painted; a cut in
// between leaves an entry whose file is gone, which the next pass drops.
TEST_F(EarliestFileTest, PowerCutBetweenMoveAndIndexLosesNothingAndCountsNothingTwice) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    SafePointer<PlainRecordDir> dir = disk("sda");
    // Cut at the index write (after the rename and the syncs of both
    // folders), or after the pass;
    // the next pass goes through the handler or through the directory.
    struct Run {
        int cutAt;
        bool byDirectory;
    } runs[] = {{4, false}, {4, true}, {0, false}};
    for (int camera = 1; camera <= 3; ++camera) {
        Run const& run = runs[camera - 1];
        SafePointer<RecordFileInfo> file = record(*dir, camera, kEight);
        if (run.cutAt != 0) plan->powerCutAtCall(run.cutAt);
        reclaimDay(dir, file);
        EXPECT_EQ(run.cutAt != 0, plan->isVanished()) << camera;  // the cut has fired
        if (run.cutAt == 0) plan->powerCut();
        plan->restore();
        RecordRecycleBin restarted(1, m_dir.path("sda/record"));
        ASSERT_EQ(1, restarted.init(0, 0));
        EXPECT_EQ(camera, restarted.getFileNumber()) << camera;
        EXPECT_TRUE(inBin("sda", file) && !inPlace(file)) << camera;
        EXPECT_EQ(run.cutAt != 0 ? 1 : 0, entries(file)) << camera;
        EXPECT_EQ(run.byDirectory ? 0 : 1, run.byDirectory ? dir->deleteFile(file) : reclaimDay(dir, file));
        EXPECT_EQ(0, entries(file)) << camera;
        ASSERT_EQ(1, restarted.init(0, 0));
        EXPECT_EQ(camera, restarted.getFileNumber()) << camera;
    }
}

TEST_F(EarliestFileTest, OldestUnlockedFileOfAllDirectoriesIsAlwaysTheOneReclaimed) {
    std::vector<SafePointer<PlainRecordDir>> dirs{disk("sda"), disk("sdb")};
    std::map<long long, SafePointer<PlainRecordDir>> unlocked;
    long long locked = kEight - 3 * kDay;  // the oldest of all
    record(*dirs[0], 1, locked, true);
    // 24 files over five days, two cameras and two directories, in time
    // order: more than one list holds, so lists run low and are refilled.
    for (int slot = 1; slot <= 24; ++slot) {
        long long begin = locked + slot * 14400;
        SafePointer<PlainRecordDir> dir = dirs[(slot * 3 % 5) % 2];
        record(*dir, 1 + slot / 3 % 2, begin);
        unlocked[begin] = dir;
    }
    EarliestFileCollector collector(10, 5);
    ASSERT_TRUE(collector.addRecordDir(dirs[0]));
    ASSERT_TRUE(collector.addRecordDir(dirs[1]));
    EXPECT_FALSE(collector.addRecordDir(dirs[0]));
    std::vector<std::string> roots{m_dir.path("sda"), m_dir.path("sdb")};
    for (auto const& expected : unlocked) {
        EXPECT_EQ(1, collector.scanEarliestFile({}, true));
        SafePointer<RecordFileInfo> file;
        ASSERT_TRUE(collector.getEarliestFileInfo(roots, file, true));
        ASSERT_EQ(expected.first, file->getRecordBeginTime());
        EXPECT_FALSE(file->getLockFlag());
        EXPECT_EQ(1, expected.second->deleteFile(file));
    }
    EXPECT_EQ(24, m_bins["sda"]->getFileNumber() + m_bins["sdb"]->getFileNumber());
    collector.scanEarliestFile({}, true);
    SafePointer<RecordFileInfo> last;
    ASSERT_TRUE(collector.getEarliestFileInfo(roots, last, false));  // locked: offered only now
    EXPECT_TRUE(last->getLockFlag());
    EXPECT_EQ(locked, last->getRecordBeginTime());
    collector.removeRecordDir(roots[0]);
    EXPECT_FALSE(collector.getEarliestFileInfo(roots, last, false));
}

TEST_F(EarliestFileTest, ListTakesTheOldestFilesThePoliciesLetGoAndSortsLockedLast) {
    RecordDeviceInfo camera1 = testFileOf(1, 0)->getRecordDeviceInfo();
    RecordDeviceInfo camera2 = testFileOf(2, 0)->getRecordDeviceInfo();
    std::vector<RecordDeviceDirPolicy> policies{{camera1, true, 1, 30, false}, {camera2, false, 1, 3, false}};
    struct { int camera; long long age; bool offered; } cases[] = {
        {1, 60, true}, {2, 3 * kDay, false}, {2, 3 * kDay + 1, true}, {3, 30 * kDay, false}};
    for (auto const& test : cases) {
        EarliestFileInfoList list(10);
        list.setRecordDirPolicyList(policies);
        list.update(testFileOf(test.camera, kNow - test.age));
        EXPECT_EQ(test.offered ? 1 : 0, list.getFileCount()) << test.camera << " " << test.age;
    }
    EarliestFileInfoList list(10);  // no policies: every file
    list.update(testFileOf(1, 100, true));
    for (int i = 1; i < 10; ++i) list.update(testFileOf(1, 100 + i));
    SafePointer<RecordFileInfo> same = testFileOf(2, 109);
    list.update(same);  // not earlier than the latest of a full list: dropped
    std::vector<SafePointer<RecordFileInfo>> held = list.getFileInfoList();
    EXPECT_EQ(held.end(), std::find(held.begin(), held.end(), same));
    list.update(testFileOf(1, 50));  // takes the place of 109
    EXPECT_EQ(108, list.getLatestTime());
    list.sort();
    SafePointer<RecordFileInfo> first;
    ASSERT_TRUE(list.removeEaliestFileInfo(first));
    EXPECT_EQ(50, first->getRecordBeginTime());
    EXPECT_TRUE(list.getFileInfoList().back()->getLockFlag());  // the oldest, locked, last
}

// Its getEarliestFileList holds the first call until released.
class BlockingDir : public PlainRecordDir {
public:
    using PlainRecordDir::PlainRecordDir;
    int getEarliestFileList(std::vector<RecordDeviceDirPolicy> const&, EarliestFileInfoList&, bool, int) override {
        if (++m_nCalls == 1) {
            m_entered.set_value();
            m_release.wait();
        }
        return -1;
    }
    std::atomic<int> m_nCalls{0};
    std::promise<void> m_entered;
    std::shared_future<void> m_release;
};

TEST_F(EarliestFileTest, SecondScanReturnsAtOnceWhileOneRuns) {
    RecordDirInfoEx info;
    info.setRecordRootDir(m_dir.path("slow"));
    SafePointer<BlockingDir> slow(new BlockingDir(info));
    std::promise<void> release;
    slow->m_release = release.get_future().share();
    EarliestFileCollector collector(10, 5);
    collector.addRecordDir(slow);
    std::thread first([&] { EXPECT_EQ(1, collector.scanEarliestFile({}, false)); });
    slow->m_entered.get_future().wait();
    EXPECT_EQ(0, collector.scanEarliestFile({}, false));
    EXPECT_EQ(1, slow->m_nCalls.load());
    release.set_value();
    first.join();
    EXPECT_EQ(1, collector.scanEarliestFile({}, false));  // the flag went with the first scan
    collector.clearAll();
    collector.scanEarliestFile({}, false);
    EXPECT_EQ(2, slow->m_nCalls.load());
}

TEST_F(EarliestFileTest, OutDateHandlerEndsAtTheDeleteTime) {
    RecordDirInfoEx info;
    info.setRecordRootDir(m_dir.root());
    SafePointer<RecordRecycleBin> bin(new RecordRecycleBin(1, m_dir.root() + "/record"));
    ASSERT_EQ(1, bin->init(0, 0));
    RecordOutDateFileHandler handler(bin, info);
    EXPECT_FALSE(handler.isOutDate("1970-01-01"));  // no save days: nothing is out of date
    handler.setFileDeleteTime(kNow);
    EXPECT_TRUE(handler.isOutDate("2024-01-30"));
    ASSERT_TRUE(m_dir.writeFile("day/a.ts", "ts"));
    handler.staticBegin();
    EXPECT_EQ(0, handler.deleteFile(kNow, m_dir.path("day"), "a.ts"));
    EXPECT_EQ(1, handler.deleteFile(kNow - 1, m_dir.path("day"), "a.ts"));
    EXPECT_FALSE(m_dir.exists("day/a.ts"));
    EXPECT_TRUE(m_dir.exists("record/recycleBin/a.ts"));
    EXPECT_EQ(1, handler.getDeletedFileNum());
    handler.setDeleteFileFlag(false);
    ASSERT_TRUE(m_dir.writeFile("day/b.ts", "ts"));
    EXPECT_EQ(1, handler.deleteFile(kNow - 1, m_dir.path("day"), "b.ts"));
    EXPECT_TRUE(m_dir.exists("day/b.ts"));
}

}  // namespace

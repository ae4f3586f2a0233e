#include <gtest/gtest.h>

#include <cstdio>
#include <utility>
#include <vector>

#include "directory/EarliestFileDeleteHandler.h"
#include "directory/HDRecordDirOperatorWithIndex.h"
#include "directory/PlainRecordDir.h"
#include "directory/RecordRecycleBin.h"
#include "foundation/BasicTool.h"
#include "foundation/ReturnCode.h"
#include "index/RecordIndexFileParserEx.h"
#include "retrieval/RecordRetriever.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestRecording.h"
#include "tracking/RecordingMarkManager.h"

namespace {

constexpr long long kDay = 86400;
constexpr long long kD1 = 1706659200LL;  // 2024-01-31 00:00:00 UTC
constexpr long long kD2 = kD1 + kDay;
constexpr long long kNow = kD2 + 3600;

using Spans = std::vector<std::pair<long long, long long>>;

// Camera 1 on two disks over two days, camera 2 on disk B:
//   A: [100,160) [300,330) [5330,5340)  [D2-60,D2)   B: [160,220) [222,232)
//   A, day 2: [D2,D2+60)                              B, camera 2: [500,510)
// All directories take changes (attribute 1).
class RecordQueryTest : public ::testing::Test {
protected:
    RecordingClock m_clock{kNow};

    void SetUp() override {
        m_disks = retrieverDisks(m_dir, {"a", "b"});
        PlainRecordDir& a = *m_disks[0];
        PlainRecordDir& b = *m_disks[1];
        m_files = {recordTestSpan(a, 1, kD1 + 100, 60), recordTestSpan(b, 1, kD1 + 160, 60),
                   recordTestSpan(b, 1, kD1 + 222, 10), recordTestSpan(a, 1, kD1 + 300, 30),
                   recordTestSpan(a, 1, kD1 + 5330, 10), recordTestSpan(a, 1, kD2 - 60, 60),
                   recordTestSpan(a, 1, kD2, 60),       recordTestSpan(b, 2, kD1 + 500, 10)};
    }
    void TearDown() override { RecordRetriever::setRecordDirList({}); }

    static void setDirs(std::vector<RecordDirInfoEx> const& dirs) {
        std::vector<RecordDirInfo> list;
        for (RecordDirInfoEx const& dir : dirs) list.push_back(RecordDirInfoEx::changeToRecordDirInfo(dir));
        RecordRetriever::setRecordDirList(list);
    }
    static RecordQueryCondition condition(int camera, long long begin, long long end, int precision = 0) {
        return testCondition(camera, begin, end, precision);
    }
    static RecordInfo range(int camera, long long begin, long long end) { return testRange(camera, begin, end); }
    // Segments relative to day 1, or -1 as a failure code.
    Spans spans(RecordQueryCondition const& c) {
        std::vector<RecordQueryResult> results;
        int nRet = m_retriever.query(c, results);
        if (nRet != 0) return {{nRet, nRet}};
        Spans out;
        for (RecordQueryResult const& result : results) {
            for (RecordTimeSegment const& s : result.getRecordTimeSegmentList())
                out.emplace_back(s.getRecordBeginTime() - kD1, s.getRecordEndTime() - kD1);
        }
        return out;
    }
    static int entries(SafePointer<RecordFileInfo> const& file) {
        RecordIndexFileParserEx index;
        if (index.open(file->getRecordDirInfoEx(), file->getRecordDate(), file->getDeviceDirName(), 0, 0) != 1)
            return -1;
        return index.getFileNumber();
    }
    bool inBin(SafePointer<RecordFileInfo> const& file) const {
        return m_dir.exists(file->getRecordDirInfoEx().getRecordRootDir().substr(m_dir.root().size() + 1) +
                            "/record/recycleBin/" + file->getRecordFileName());
    }

    HostRootGuard m_root;
    TempDir m_dir;
    std::vector<std::unique_ptr<PlainRecordDir>> m_disks;
    std::vector<SafePointer<RecordFileInfo>> m_files;
    RecordRetriever m_retriever;
};

TEST_F(RecordQueryTest, SegmentsMergeAcrossDisksByPrecisionAndNeverAcrossMidnight) {
    long long const d2 = kD2 - kD1;
    // Precision 0 acts as 3: the 2-second gap at 220 closes, the 68 s one
    // at 232 does not; the two files meeting at midnight stay apart.
    EXPECT_EQ((Spans{{100, 232}, {300, 330}, {5330, 5340}, {d2 - 60, d2}, {d2, d2 + 60}}),
              spans(condition(1, kD1, 0, 0)));
    // 7200 acts as 3600: the gap of 5000 at 330 stays open.
    EXPECT_EQ((Spans{{100, 330}, {5330, 5340}, {d2 - 60, d2}, {d2, d2 + 60}}),
              spans(condition(1, kD1, 0, 7200)));
    // Ends on the window's begin, or begins on its end: dropped; the rest clipped.
    EXPECT_EQ(Spans{}, spans(condition(1, kD1 + 232, kD1 + 300)));
    EXPECT_EQ((Spans{{231, 232}, {300, 301}}), spans(condition(1, kD1 + 231, kD1 + 301)));
    // With data lengths: every block holds two packets.
    std::vector<RecordQueryResult> withData;
    ASSERT_EQ(0, m_retriever.queryRecordWithDataLen(condition(1, kD1, kD1 + 300), withData));
    ASSERT_EQ(1u, withData.size());
    ASSERT_EQ(1u, withData[0].getRecordTimeSegmentList().size());
    EXPECT_EQ(130u * 2 * 188, withData[0].getRecordTimeSegmentList()[0].getRecordDataLength());
    // Any camera: one result per device, camera 2 from disk B only.
    EXPECT_EQ((Spans{{100, 232}, {300, 330}, {5330, 5340}, {500, 510}}), spans(condition(-1, kD1, kD1 + 6000)));
}

TEST_F(RecordQueryTest, BadInputAndMissingDirectoriesGiveTheirCodes) {
    RecordQueryCondition badId = condition(1, kD1, 0);
    badId.setDeviceId("NV_R");
    RecordQueryCondition badIP = condition(1, kD1, 0);
    badIP.setDeviceIP("../etc");
    EXPECT_EQ((Spans{{OV_RECORD_BAD_DEVICE_KEY, OV_RECORD_BAD_DEVICE_KEY}}), spans(badId));
    EXPECT_EQ((Spans{{OV_RECORD_BAD_DEVICE_KEY, OV_RECORD_BAD_DEVICE_KEY}}), spans(badIP));
    std::set<std::string> dates;
    EXPECT_EQ(OV_RECORD_NO_MATCH_DEVICE, m_retriever.getMatchRecordDateList({range(1, kD1, kD2), RecordInfo()}, dates));
    RecordSummaryInfo summary;
    EXPECT_EQ(OV_RECORD_NO_MATCH_DEVICE, m_retriever.getRecordSummaryInfo(summary));
    summary.setDeviceId("NVR");
    summary.setCameraId(7);
    EXPECT_EQ(OV_RECORD_NO_RECORD_TIME, m_retriever.getRecordSummaryInfo(summary));
    // An unknown device is no failure: nothing found.
    EXPECT_EQ(Spans{}, spans(condition(9, kD1, 0)));

    setDirs({});
    EXPECT_EQ((Spans{{OV_RECORD_NO_DIR, OV_RECORD_NO_DIR}}), spans(condition(1, kD1, 0)));
    EXPECT_EQ(OV_RECORD_NO_DIR, m_retriever.lockRecordFile(range(1, kD1, kD2)));
    // A disk that is gone contributes nothing; the other still answers.
    setDirs({m_disks[1]->getRecordDirInfoEx(), m_disks[0]->getRecordDirInfoEx()});
    ASSERT_EQ(0, std::rename(m_dir.path("a").c_str(), m_dir.path("gone").c_str()));
    EXPECT_EQ((Spans{{160, 232}, {500, 510}}), spans(condition(-1, kD1, kD1 + 6000)));
}

TEST_F(RecordQueryTest, DateDeviceAndSummaryListsAnswerFromEveryDisk) {
    std::string const day1 = BasicTool::getDateString(kD1);
    std::string const day2 = BasicTool::getDateString(kD2);
    std::set<std::string> dates;
    EXPECT_EQ(0, m_retriever.getMatchRecordDateList(range(1, kD1, 0), dates));
    EXPECT_EQ((std::set<std::string>{day1, day2}), dates);
    dates.clear();
    EXPECT_EQ(0, m_retriever.getMatchRecordDateList({range(2, kD1, kD2 + 10)}, dates));
    EXPECT_EQ(std::set<std::string>{day1}, dates);

    std::vector<RecordInfo> devices;
    EXPECT_EQ(0, m_retriever.getDeviceList(day2, devices));
    ASSERT_EQ(1u, devices.size());
    EXPECT_EQ(1, devices[0].getCameraId());
    devices.clear();
    EXPECT_EQ(0, m_retriever.getHistoryDeviceList(devices));
    ASSERT_EQ(2u, devices.size());
    EXPECT_EQ(static_cast<unsigned long>(kD1), devices[0].getRecordBeginTime());

    RecordSummaryInfo summary;
    summary.setDeviceId("NVR");
    summary.setDeviceIP("10.0.0.7");
    summary.setCameraId(1);
    EXPECT_EQ(0, m_retriever.getRecordSummaryInfo(summary));
    EXPECT_EQ(static_cast<unsigned long>(kD1 + 100), summary.getRecordBeginTime());
    EXPECT_EQ(static_cast<unsigned long>(kD2 + 60), summary.getRecordEndTime());
    unsigned long last = 0;
    EXPECT_EQ(0, m_retriever.getLastRecordTime(range(1, 0, 0), last));
    EXPECT_EQ(static_cast<unsigned long>(kD2 + 60), last);

    // Wiping renames at once: the device is gone for every query.
    EXPECT_EQ(0, m_retriever.clearDeviceRecord("NVR"));
    EXPECT_EQ(Spans{}, spans(condition(-1, kD1, 0)));
    devices.clear();
    EXPECT_EQ(0, m_retriever.getHistoryDeviceList(devices));
    EXPECT_TRUE(devices.empty());
    EXPECT_EQ(0, m_retriever.getDeviceList(day2, devices));
    EXPECT_TRUE(devices.empty());
    EXPECT_TRUE(m_dir.exists("a/record/NVR_10.0.0.7_1_move/" + day2));
}

TEST_F(RecordQueryTest, LockedRangeSurvivesReclamationWhileUnlockedNeighboursGo) {
    RecordQueryCondition lockedOnly = condition(1, kD1, 0);
    lockedOnly.setLockFlag(true);
    EXPECT_EQ(0, m_retriever.lockRecordFile(range(1, kD1 + 100, kD1 + 232)));
    EXPECT_EQ((Spans{{100, 232}}), spans(lockedOnly));
    // A device on one disk only: the other has nothing to lock.
    EXPECT_EQ(0, m_retriever.lockRecordFile(range(2, kD1, kD2)));

    // A reclaiming pass over disk A's day takes every unlocked file of it.
    RecordDirInfoEx a = m_disks[0]->getRecordDirInfoEx();
    SafePointer<RecordRecycleBin> bin(new RecordRecycleBin(1, a.getRecordRootDir() + "/record"));
    ASSERT_EQ(1, bin->init(0, 0));
    SafePointer<EarliestFileDeleteHandler> handler(new EarliestFileDeleteHandler(bin, a));
    RecordIndexFileParserEx index;
    ASSERT_EQ(1, index.open(a, BasicTool::getDateString(kD1), m_files[0]->getDeviceDirName(), 0,
                            RecordIndexFileParserEx::kModeChange));
    index.deleteEarliestRecordFile(handler);
    index.close();
    long long const d2 = kD2 - kD1;
    // The last file of the day lies beyond the pass's two-hour reach.
    EXPECT_EQ((Spans{{100, 232}, {d2 - 60, d2}, {d2, d2 + 60}}), spans(condition(1, kD1, 0)));

    EXPECT_EQ(0, m_retriever.unlockRecordFile(range(1, kD1, kD1 + 300)));
    EXPECT_EQ(Spans{}, spans(lockedOnly));
    // A device with no folder anywhere.
    EXPECT_EQ(OV_RECORD_DIR_OPEN_FAILED, m_retriever.lockRecordFile(range(9, kD1, kD2)));
}

TEST_F(RecordQueryTest, DeleteRecordTakesWholeUnlockedFilesOfTheRangeOnly) {
    EXPECT_EQ(0, m_retriever.lockRecordFile(range(1, kD1 + 5330, kD1 + 5340)));
    // The file being recorded stays too.
    RecordingMarkManager::getInstance()->addMark(m_files[6]->getDeviceDirName(), m_files[6]->getRecordDate());
    // [222,232) and [300,330) lie wholly inside, [160,220) only partly.
    EXPECT_EQ(0, m_retriever.deleteRecord(range(1, kD1 + 200, kD1 + 6000)));
    EXPECT_EQ(0, m_retriever.deleteRecord(range(1, kD2, kD2 + 60)));
    RecordingMarkManager::getInstance()->delMark(m_files[6]->getDeviceDirName());
    long long const d2 = kD2 - kD1;
    EXPECT_EQ((Spans{{100, 220}, {5330, 5340}, {d2 - 60, d2}, {d2, d2 + 60}}), spans(condition(1, kD1, 0)));
    EXPECT_TRUE(inBin(m_files[2]) && inBin(m_files[3]));
    EXPECT_FALSE(inBin(m_files[1]));
    EXPECT_EQ(3, entries(m_files[0]));

    // A directory that does not take changes (attribute 0) keeps everything.
    RecordDirInfoEx b = m_disks[1]->getRecordDirInfoEx();
    b.setAttribute(0);
    setDirs({b});
    EXPECT_EQ(OV_RECORD_DIR_OPEN_FAILED, m_retriever.deleteRecord(range(1, kD1, kD2)));
    EXPECT_EQ(1, entries(m_files[1]));
}

TEST_F(RecordQueryTest, SpaceListCountsTheNumberedFilesNotWaitingInPoolOrBin) {
    // Disk A cut into files 1..10 of 4096 bytes: 9 and 10 in the pool, 8 in
    // the bin; the host's description tells no segment size.
    std::string const pool(4096, '\0');
    m_dir.writeFile("a/record/empty/NVR_00009", pool);
    m_dir.writeFile("a/record/empty/NVR_00010", pool);
    m_dir.writeFile("a/record/recycleBin/00008-NVR_10.0.0.7_1_20240131000140.ts", pool);
    // Disk B has no pool: its three files in use, at the bin file's size.
    m_dir.writeFile("b/record/recycleBin/00009-NVR_10.0.0.7_1_20240131000140.ts", pool);
    std::vector<RecordDirSpaceInfo> list;
    EXPECT_EQ(0, m_retriever.getRecordDirSpaceInfoList(list));
    ASSERT_EQ(2u, list.size());
    EXPECT_GT(list[0].getTotalSpace(), 0);
    EXPECT_EQ(7 * 4096, list[0].getRecordFileSize());
    EXPECT_EQ(3 * 4096, list[1].getRecordFileSize());
}

}  // namespace

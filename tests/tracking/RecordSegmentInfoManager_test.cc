#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "directory/EarliestFileDeleteHandler.h"
#include "directory/PlainRecordDir.h"
#include "directory/RecordDirHandler.h"
#include "directory/RecordRecycleBin.h"
#include "foundation/BasicTool.h"
#include "host/HostClock.h"
#include "host/LocalPath.h"
#include "index/RecordIndexFileParserEx.h"
#include "retrieval/RecordRetriever.h"
#include "retrieval/SingleDeviceRecordQuery.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestRecording.h"
#include "tracking/RecordSegmentInfoElement.h"
#include "tracking/RecordSegmentInfoManager.h"
#include "tracking/RecordSegmentQuery.h"
#include "tracking/RecordingMarkManager.h"

namespace {

constexpr long long kDay = 86400;
constexpr long long kD1 = 1706659200LL;  // 2024-01-31 00:00:00 UTC
constexpr long long kNow = kD1 + 2 * kDay;
char const* const kCamera1 = "NVR_10.0.0.7_1";

using Spans = std::vector<std::pair<long long, long long>>;

// Camera 1 on two disks over two days, with alarm-free, lock-free spans of
// several files; the table is driven round by round, its thread not running.
class SegmentTableTest : public ::testing::Test {
protected:
    RecordingClock m_clock{kNow};
    RecordSegmentInfoManager* m_table = RecordSegmentInfoManager::getInstance();

    void SetUp() override {
        m_table->clear();
        m_disks = retrieverDisks(m_dir, {"a", "b"});
        for (long long begin : {100, 160, 400, 3000}) m_files.push_back(recordTestSpan(*m_disks[0], 1, kD1 + begin, 60));
        m_files.push_back(recordTestSpan(*m_disks[1], 1, kD1 + 220, 60));
        m_files.push_back(recordTestSpan(*m_disks[0], 1, kD1 + kDay + 50, 60));
    }
    void TearDown() override {
        RecordRetriever::setRecordDirList({});
        m_table->clear();
    }

    RecordDirInfoEx disk(int n) const { return m_disks[n]->getRecordDirInfoEx(); }
    static RecordQueryCondition condition(int precision, bool lockOnly = false) {
        RecordQueryCondition c = testCondition(1, kD1, 0, precision);
        c.setLockFlag(lockOnly);
        return c;
    }
    static Spans spansOf(RecordQueryResult const& result) {
        Spans out;
        for (RecordTimeSegment const& s : result.getRecordTimeSegmentList())
            out.emplace_back(s.getRecordBeginTime() - kD1, s.getRecordEndTime() - kD1);
        return out;
    }
    // What the retriever answers: from the table where it holds the date.
    Spans viaRetriever(RecordQueryCondition const& c) {
        std::vector<RecordQueryResult> results;
        EXPECT_EQ(0, m_retriever.query(c, results));
        return results.empty() ? Spans{} : spansOf(results[0]);
    }
    // The same query read from the index files alone.
    Spans viaIndex(RecordQueryCondition c) {
        c.setRecordQueryTimePrecision(std::max(3, std::min(3600, c.getRecordQueryTimePrecision())));
        RecordQueryResult result;
        SingleDeviceRecordQuery query(result, c);
        for (long long day : {kD1, kD1 + kDay}) {
            query.setDate(BasicTool::getDateString(day));
            for (int n : {0, 1}) {
                RecordIndexFileParserEx index;
                if (index.open(disk(n), BasicTool::getDateString(day), kCamera1, 0, 0) == 1)
                    index.queryRecordSegmentList(&query, false);
            }
        }
        query.clear();
        return spansOf(result);
    }
    // Whether the table holds the day of disk n.
    bool held(int n, long long day) {
        RecordQueryResult result;
        SingleDeviceRecordQuery query(result, condition(3));
        return RecordSegmentQuery::query(kCamera1, BasicTool::getDateString(day), disk(n), query) == 1;
    }
    // Both ways agree at every precision, and the table held what it answered.
    void expectAgreement() {
        EXPECT_TRUE(held(0, kD1) && held(1, kD1) && held(0, kD1 + kDay));
        for (int precision : {0, 3, 60, 300, 7200}) {
            EXPECT_EQ(viaIndex(condition(precision)), viaRetriever(condition(precision))) << precision;
            EXPECT_EQ(viaIndex(condition(precision, true)), viaRetriever(condition(precision, true))) << precision;
        }
    }

    HostRootGuard m_root;
    TempDir m_dir;
    std::vector<std::unique_ptr<PlainRecordDir>> m_disks;
    std::vector<SafePointer<RecordFileInfo>> m_files;
    RecordRetriever m_retriever;
};

TEST_F(SegmentTableTest, AnswersAsTheIndexAfterEveryChangeThatReachesTheDisk) {
    EXPECT_FALSE(held(0, kD1));  // nothing read yet: the index answers
    EXPECT_EQ((Spans{{100, 280}, {400, 460}, {3000, 3060}, {kDay + 50, kDay + 110}}), viaRetriever(condition(3)));
    m_table->handleRecordSegmentInfo();
    expectAgreement();

    // Each change takes the date out at once; the next round reads it anew.
    auto const rounds = [&](char const* what) {
        EXPECT_FALSE(held(0, kD1)) << what;
        m_table->handleRecordSegmentInfo();
        expectAgreement();
    };
    RecordInfo range = testRange(1, kD1 + 150, kD1 + 250);
    EXPECT_EQ(0, m_retriever.lockRecordFile(range));
    rounds("lock");
    EXPECT_EQ(0, m_retriever.unlockRecordFile(range));
    rounds("unlock");
    range.setRecordBeginTime(kD1 + 390);
    range.setRecordEndTime(kD1 + 470);
    EXPECT_EQ(0, m_retriever.deleteRecord(range));
    rounds("delete");
    // Unlocking spares an item that straddles the range's end.
    EXPECT_EQ((Spans{{100, 280}, {250, 251}, {3000, 3060}, {kDay + 50, kDay + 110}}), viaRetriever(condition(3)));

    // Reclamation: the oldest files of the oldest date go.
    RecordDirHandler handler(disk(0), m_dir.path("a/record"));
    ASSERT_EQ(1, handler.init(0));
    SafePointer<RecordRecycleBin> bin(new RecordRecycleBin(1, m_dir.path("a/record")));
    ASSERT_EQ(1, bin->init(0, 0));
    SafePointer<EarliestFileDeleteHandler> reclaim(new EarliestFileDeleteHandler(bin, disk(0)));
    RecordDeviceInfo device = m_files[0]->getRecordDeviceInfo();
    EXPECT_EQ(0, handler.deleteEarliestFileList({RecordDeviceDirPolicy(device, true, 1, 30, false)}, reclaim));
    rounds("reclaim");

    // A new recording of the date: while marked, never from the table.
    m_files.push_back(recordTestSpan(*m_disks[0], 1, kD1 + 5000, 30));
    RecordingMarkManager::getInstance()->addMark(kCamera1, BasicTool::getDateString(kD1));
    m_table->handleRecordSegmentInfo();
    EXPECT_FALSE(held(0, kD1));
    RecordingMarkManager::getInstance()->delMark(kCamera1);
    m_table->handleRecordSegmentInfo();
    expectAgreement();

    // Cutting the date up to a time of day, as a full disk does.
    m_files.push_back(recordTestSpan(*m_disks[0], 1, kD1 + 6000, 30));
    m_table->handleRecordSegmentInfo();
    Spans const before = viaIndex(condition(3));
    EXPECT_EQ(1, handler.deleteSpecialTimeSegmentFile(bin, {RecordDeviceDirPolicy(device, true, 1, 30, false)},
                                                      BasicTool::getDateString(kD1), kD1 + 5010));
    EXPECT_NE(before, viaIndex(condition(3)));
    rounds("cut");

    // A restart: the table is rebuilt from the disks alone.
    m_table->clear();
    m_table->setRecordDirList({disk(0), disk(1)});
    m_table->handleRecordSegmentInfo();
    expectAgreement();
}

TEST_F(SegmentTableTest, DiskAlarmsTakeTheDiskOutUntilItIsReadAgain) {
    m_table->handleRecordSegmentInfo();
    ASSERT_TRUE(held(0, kD1) && held(1, kD1));
    for (int minor : {4, 6}) {
        AlarmInfoEx ignored;
        ignored.setMajorType(4);
        ignored.setMinorType(minor);
        ignored.setDescription(LocalPath::getDiskAlarmDescription(disk(0).getRecordRootDir()));
        m_table->handleAlarm(ignored);
    }
    m_table->handleRecordSegmentInfo();
    EXPECT_TRUE(held(0, kD1));

    AlarmInfoEx error;
    error.setMajorType(4);
    error.setMinorType(2);
    error.setDescription(LocalPath::getDiskAlarmDescription(disk(0).getRecordRootDir()));
    m_table->handleAlarm(error);
    m_table->handleRecordSegmentInfo();
    // Both folders lie on the disk the alarm names.
    EXPECT_FALSE(held(0, kD1) || held(1, kD1));
    // Read again 600 s on, or at once when the clock went back further.
    HostClock::shift(599);
    m_table->deleteDeviceDateInfo(kCamera1, BasicTool::getDateString(kD1), disk(0));
    m_table->handleRecordSegmentInfo();
    EXPECT_FALSE(held(0, kD1));
    HostClock::shift(-1300);
    m_table->deleteDeviceDateInfo(kCamera1, BasicTool::getDateString(kD1), disk(0));
    m_table->handleRecordSegmentInfo();
    EXPECT_TRUE(held(0, kD1));
    expectAgreement();

    // A disk taken out of the list leaves the table (the tree is locked
    // after the queue is let go: a change holds the tree, then the queue).
    m_table->setRecordDirList({disk(1)});
    m_table->handleRecordSegmentInfo();
    EXPECT_FALSE(held(0, kD1));
    EXPECT_TRUE(held(1, kD1));
}

TEST(SegmentTreeTest, EqualChildrenAreRefusedAndElementsCompareByDirectoryAndStorageType) {
    RecordSegmentInfoNode root(RecordSegmentInfoNode::kRoot, "");
    auto* date = new RecordSegmentInfoNode(RecordSegmentInfoNode::kDate, "2024-01-31");
    ASSERT_EQ(1, root.insertChildNode(date));
    RecordSegmentInfoNode twin(RecordSegmentInfoNode::kDate, "2024-01-31");
    EXPECT_EQ(0, root.insertChildNode(&twin));
    RecordDirInfoEx a;
    a.setRecordRootDir("/a");
    RecordDirInfoEx b;
    b.setRecordRootDir("/b");
    EXPECT_EQ(1, date->insertChildNode(new RecordSegmentInfoElement(a, 0, {})));
    RecordSegmentInfoElement sameDir(a, 0, {});
    RecordSegmentInfoElement backup(a, 1, {});
    EXPECT_EQ(0, date->insertChildNode(&sameDir));
    EXPECT_EQ(1, date->insertChildNode(new RecordSegmentInfoElement(b, 0, {})));
    EXPECT_FALSE(sameDir.isEqual(date));  // a node of another class
    EXPECT_FALSE(sameDir.isEqual(&backup));
    EXPECT_EQ(2, date->getChildCount());
    EXPECT_TRUE(root.clear(date));
    EXPECT_FALSE(root.hasChildNode());
}

}  // namespace

#include <gtest/gtest.h>

#include "directory/EarliestFileDeleteHandler.h"
#include "directory/EarliestFileInfoList.h"
#include "directory/RecordOutDateFileHandler.h"
#include "host/HostClock.h"
#include "host/OrvaneTime.h"
#include "tests/support/TempDir.h"

namespace {

constexpr long long kNoon = 1706702400LL;  // 2024-01-31 12:00:00 UTC

// The host clock stands at a fixed noon for each test.
class EarliestFileDeleteHandlerTest : public ::testing::Test {
protected:
    void SetUp() override {
        HostClock::shift(static_cast<double>(kNoon - OrvaneTime::currentTime().getSeconds()));
        m_info.setRecordRootDir(m_dir.root());
        m_info.setDiskType(1);
    }
    void TearDown() override { HostClock::reset(); }
    bool make(std::string const& name) { return m_dir.writeFile("day/" + name, "ts"); }

    TempDir m_dir;
    RecordDirInfoEx m_info;
};

TEST_F(EarliestFileDeleteHandlerTest, FreesAtMostTwoHoursAndNeverTheRecentPast) {
    EarliestFileDeleteHandler handler(m_info);
    std::string dir = m_dir.path("day");
    for (char const* name : {"a.ts", "b.ts", "c.ts", "d.ts"}) ASSERT_TRUE(make(name));
    EXPECT_EQ(-1, handler.deleteFile(m_info.getRecordRootDir(), kNoon - 3600, dir, "a.ts"));
    EXPECT_TRUE(m_dir.exists("day/a.ts"));
    long long first = kNoon - 86400;  // yesterday, 12:00
    EXPECT_EQ(0, handler.deleteFile(m_info.getRecordRootDir(), first, dir, "b.ts"));
    EXPECT_EQ(0, handler.deleteFile(m_info.getRecordRootDir(), first + 7200, dir, "c.ts"));
    EXPECT_EQ(0, handler.deleteFile(m_info.getRecordRootDir(), first + 7200, dir, "gone.ts"));
    EXPECT_FALSE(handler.isTimeToDelInterval());
    EXPECT_EQ(-2, handler.deleteFile(m_info.getRecordRootDir(), first + 7201, dir, "d.ts"));
    EXPECT_TRUE(handler.isTimeToDelInterval());
    EXPECT_FALSE(m_dir.exists("day/b.ts") || m_dir.exists("day/c.ts"));
    EXPECT_TRUE(m_dir.exists("day/d.ts"));
}

TEST_F(EarliestFileDeleteHandlerTest, OutDateHandlerEndsAtTheDeleteTime) {
    RecordOutDateFileHandler handler(m_info);
    EXPECT_FALSE(handler.isOutDate("1970-01-01"));  // no save days: nothing is out of date
    handler.setFileDeleteTime(kNoon);
    EXPECT_TRUE(handler.isOutDate("2024-01-30"));
    ASSERT_TRUE(make("a.ts"));
    handler.staticBegin();
    EXPECT_EQ(0, handler.deleteFile(kNoon, m_dir.path("day"), "a.ts"));
    EXPECT_EQ(1, handler.deleteFile(kNoon - 1, m_dir.path("day"), "a.ts"));
    EXPECT_FALSE(m_dir.exists("day/a.ts"));
    EXPECT_EQ(1, handler.getDeletedFileNum());
    handler.setDeleteFileFlag(false);
    ASSERT_TRUE(make("b.ts"));
    EXPECT_EQ(1, handler.deleteFile(kNoon - 1, m_dir.path("day"), "b.ts"));
    EXPECT_TRUE(m_dir.exists("day/b.ts"));
}

SafePointer<RecordFileInfo> fileAt(long long begin, bool locked) {
    SafePointer<RecordFileInfo> file(new RecordFileInfo());
    file->setRecordBeginTime(begin);
    file->setLockFlag(locked);
    return file;
}

TEST(EarliestFileInfoListTest, KeepsTheOldestAndSortsLockedLast) {
    EarliestFileInfoList list(2);
    list.update(fileAt(300, false));
    list.update(fileAt(100, true));
    EXPECT_EQ(300, list.getLatestTime());
    list.update(fileAt(300, false));  // not earlier than the latest: dropped
    list.update(fileAt(200, false));  // takes the place of 300
    EXPECT_EQ(2, list.getFileCount());
    EXPECT_EQ(200, list.getLatestTime());
    list.sort();
    SafePointer<RecordFileInfo> first;
    ASSERT_TRUE(list.removeEaliestFileInfo(first));
    EXPECT_EQ(200, first->getRecordBeginTime());  // unlocked before the older locked one
    EXPECT_EQ(100, list.getLatestTime());
}

}  // namespace

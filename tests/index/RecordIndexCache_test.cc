#include <gtest/gtest.h>

#include <vector>

#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexCache.h"

namespace {

// Four I-frames: at 0 s (byte 0), 2 s (100), 4 s (200) and 10 s (500).
RecordIndexCache fourPoints() {
    RecordIndexCache cache;
    cache.addRecordIndexInfo(0, 0);
    cache.addRecordIndexInfo(2, 100);
    cache.addRecordIndexInfo(4, 200);
    cache.addRecordIndexInfo(10, 500);
    return cache;
}

TEST(RecordIndexCacheTest, EmptyCacheAnswersMinusOneOrZero) {
    RecordIndexCache cache;
    EXPECT_EQ(-1, cache.getFilePos(3, true));
    EXPECT_EQ(-1, cache.getFilePos(3, false));
    EXPECT_EQ(-1, cache.getPreFilePos(3));
    EXPECT_EQ(0, cache.getTimeStamp(10, true));
    EXPECT_EQ(0, cache.getTimeStamp(10, false));
    EXPECT_EQ(-1, cache.getLastIFrameTime());
    EXPECT_EQ(-1, cache.getLastIFramePos());
    EXPECT_EQ(-1, cache.getFirstIFramePos());
}

TEST(RecordIndexCacheTest, TimeBetweenTwoIFramesGivesLaterOrEarlier) {
    RecordIndexCache cache = fourPoints();
    EXPECT_EQ(200, cache.getFilePos(3, true));
    EXPECT_EQ(100, cache.getFilePos(3, false));
    EXPECT_EQ(500, cache.getFilePos(7, true));
    EXPECT_EQ(200, cache.getFilePos(7, false));
    EXPECT_EQ(100, cache.getFilePos(2, true));
    EXPECT_EQ(100, cache.getFilePos(2, false));
    EXPECT_EQ(-1, cache.getFilePos(11, true));
    EXPECT_EQ(500, cache.getFilePos(11, false));  // beyond all: the last
    EXPECT_EQ(-1, cache.getFilePos(-1, false));
    EXPECT_EQ(0, cache.getFilePos(-1, true));
}

TEST(RecordIndexCacheTest, PreviousPositionIsStrictlyBefore) {
    RecordIndexCache cache = fourPoints();
    EXPECT_EQ(-1, cache.getPreFilePos(0));  // the exact time of the first
    EXPECT_EQ(100, cache.getPreFilePos(4));
    EXPECT_EQ(200, cache.getPreFilePos(5));
    EXPECT_EQ(500, cache.getPreFilePos(1000));
}

TEST(RecordIndexCacheTest, TimeStampOfPositionLooksStrictlyBeforeOrAfter) {
    RecordIndexCache cache = fourPoints();
    EXPECT_EQ(2, cache.getTimeStamp(150, false));
    EXPECT_EQ(2, cache.getTimeStamp(200, false));
    EXPECT_EQ(-1, cache.getTimeStamp(0, false));
    EXPECT_EQ(10, cache.getTimeStamp(9000, false));
    EXPECT_EQ(4, cache.getTimeStamp(150, true));
    EXPECT_EQ(4, cache.getTimeStamp(100, true));
    EXPECT_EQ(0, cache.getTimeStamp(-5, true));
    EXPECT_EQ(-1, cache.getTimeStamp(500, true));
    EXPECT_EQ(10, cache.getLastIFrameTime());
    EXPECT_EQ(500, cache.getLastIFramePos());
    EXPECT_EQ(0, cache.getFirstIFramePos());
}

// The start index is a guess (one point per 2 s, position in proportion to
// time); spacing far from it must not change an answer.
TEST(RecordIndexCacheTest, AnswersDoNotDependOnTheStartGuess) {
    for (int spacing : {1, 2, 7, 40}) {
        RecordIndexCache cache;
        std::vector<int> times;
        for (int i = 0; i < 300; ++i) {
            times.push_back(i * spacing + (i % 3 == 0 ? 0 : spacing / 2));  // ascending
            cache.addRecordIndexInfo(times.back(), i * 1000 + (i % 5) * 10);
        }
        for (int t = -3; t < 300 * spacing + 5; t += 1 + spacing / 3) {
            int ceil = -1, floor = -1, pre = -1;
            for (int i = 0; i < 300; ++i) {
                int pos = i * 1000 + (i % 5) * 10;
                if (ceil < 0 && times[i] >= t) ceil = pos;
                if (times[i] <= t) floor = pos;
                if (times[i] < t) pre = pos;
            }
            ASSERT_EQ(ceil, cache.getFilePos(t, true)) << spacing << " " << t;
            ASSERT_EQ(floor, cache.getFilePos(t, false)) << spacing << " " << t;
            ASSERT_EQ(pre, cache.getPreFilePos(t)) << spacing << " " << t;
        }
        for (int pos = -10; pos < 301000; pos += 777) {
            int next = -1, before = -1;
            for (int i = 0; i < 300; ++i) {
                int p = i * 1000 + (i % 5) * 10;
                if (next < 0 && p > pos) next = times[i];
                if (p < pos) before = times[i];
            }
            ASSERT_EQ(next, cache.getTimeStamp(pos, true)) << spacing << " " << pos;
            ASSERT_EQ(before, cache.getTimeStamp(pos, false)) << spacing << " " << pos;
        }
    }
}

TEST(RecordFileIndexNodeInfoTest, SeekStopsOnFirstNodeAtOrAfterTime) {
    RecordFileIndexNodeInfo info;
    RecordIndexNode node;
    EXPECT_EQ(0, info.seekIndexNode(0));
    EXPECT_EQ(0, info.getCurrentNodeInfo(node));
    for (int i = 0; i < 5; ++i) info.addRecordIndexNode(RecordIndexNode(i * 4, i * 100, 3, 100, i % 2 == 0));
    ASSERT_EQ(1, info.seekIndexNode(5));
    ASSERT_EQ(1, info.getCurrentNodeInfo(node));
    EXPECT_EQ(8, node.getTimeOffset());
    EXPECT_EQ(0, info.seekIndexNode(17));  // all before: cursor left alone
    EXPECT_EQ(2, info.getCursor());
    EXPECT_EQ(1, info.seekNext());
    EXPECT_EQ(1, info.seekNext());
    EXPECT_EQ(0, info.seekNext());
    EXPECT_EQ(0, info.getCurrentNodeInfo(node));
}

}  // namespace

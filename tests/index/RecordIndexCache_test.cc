#include <gtest/gtest.h>

#include <vector>

#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexCache.h"

namespace {

TEST(RecordIndexCacheTest, LookupsByTimeAndPositionAtTheEdges) {
    RecordIndexCache empty;
    EXPECT_EQ(-1, empty.getFilePos(3, true));
    EXPECT_EQ(-1, empty.getFilePos(3, false));
    EXPECT_EQ(-1, empty.getPreFilePos(3));
    EXPECT_EQ(0, empty.getTimeStamp(10, true));
    EXPECT_EQ(0, empty.getTimeStamp(10, false));
    EXPECT_EQ(-1, empty.getLastIFrameTime());
    EXPECT_EQ(-1, empty.getLastIFramePos());
    EXPECT_EQ(-1, empty.getFirstIFramePos());

    RecordIndexCache cache;  // I-frames at 0 s (byte 0), 2 s (100), 4 s (200), 10 s (500)
    int const points[][2] = {{0, 0}, {2, 100}, {4, 200}, {10, 500}};
    for (auto const& point : points) cache.addRecordIndexInfo(point[0], point[1]);
    // time, at or after, at or before, strictly before
    int const byTime[][4] = {{3, 200, 100, 100}, {7, 500, 200, 200}, {2, 100, 100, 0},
                             {11, -1, 500, 500}, {-1, 0, -1, -1},    {0, 0, 0, -1}};
    for (auto const& row : byTime) {
        EXPECT_EQ(row[1], cache.getFilePos(row[0], true)) << row[0];
        EXPECT_EQ(row[2], cache.getFilePos(row[0], false)) << row[0];
        EXPECT_EQ(row[3], cache.getPreFilePos(row[0])) << row[0];
    }
    // position, time of the first after, time of the last before
    int const byPosition[][3] = {{150, 4, 2}, {200, 10, 2}, {100, 4, 0}, {0, 2, -1}, {-5, 0, -1}, {500, -1, 4}, {9000, -1, 10}};
    for (auto const& row : byPosition) {
        EXPECT_EQ(row[1], cache.getTimeStamp(row[0], true)) << row[0];
        EXPECT_EQ(row[2], cache.getTimeStamp(row[0], false)) << row[0];
    }
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
        std::vector<int> positions;
        for (int i = 0; i < 300; ++i) {
            times.push_back(i * spacing + (i % 3 == 0 ? 0 : spacing / 2));  // ascending
            positions.push_back(i * 1000 + (i % 5) * 10);
            cache.addRecordIndexInfo(times.back(), positions.back());
        }
        for (int t = -3; t < 300 * spacing + 5; t += 1 + spacing / 3) {
            int ceil = -1, floor = -1, pre = -1;
            for (int i = 0; i < 300; ++i) {
                if (ceil < 0 && times[i] >= t) ceil = positions[i];
                if (times[i] <= t) floor = positions[i];
                if (times[i] < t) pre = positions[i];
            }
            ASSERT_EQ(ceil, cache.getFilePos(t, true)) << spacing << " " << t;
            ASSERT_EQ(floor, cache.getFilePos(t, false)) << spacing << " " << t;
            ASSERT_EQ(pre, cache.getPreFilePos(t)) << spacing << " " << t;
        }
        for (int pos = -10; pos < 301000; pos += 777) {
            int next = -1, before = -1;
            for (int i = 0; i < 300; ++i) {
                if (next < 0 && positions[i] > pos) next = times[i];
                if (positions[i] < pos) before = times[i];
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

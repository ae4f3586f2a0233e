#include <gtest/gtest.h>

#include <vector>

#include "index/RecordIndexCache.h"

namespace {

TEST(RecordIndexCacheTest, EmptyCacheFindsNothing) {
    RecordIndexCache empty;
    EXPECT_EQ(-1, empty.getFilePos(3, true));
    EXPECT_EQ(-1, empty.getFilePos(3, false));
    EXPECT_EQ(-1, empty.getPreFilePos(3));
    EXPECT_EQ(0, empty.getTimeStamp(10, true));
    EXPECT_EQ(0, empty.getTimeStamp(10, false));
    EXPECT_EQ(-1, empty.getLastIFrameTime());
    EXPECT_EQ(-1, empty.getLastIFramePos());
    EXPECT_EQ(-1, empty.getFirstIFramePos());
}

// Checked against a plain scan, from before the first point to past the
// last: the start index is only a guess (one point per 2 s, position in
// proportion to time), and spacing far from it must not change an answer.
TEST(RecordIndexCacheTest, LookupsMatchAPlainScanWhateverTheSpacing) {
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
        EXPECT_EQ(times.back(), cache.getLastIFrameTime());
        EXPECT_EQ(positions.back(), cache.getLastIFramePos());
        EXPECT_EQ(positions.front(), cache.getFirstIFramePos());
    }
}

}  // namespace

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <tuple>
#include <vector>

#include "foundation/RecordQuery.h"
#include "index/RecordIndexParserImplEx.h"
#include "retrieval/SingleDeviceRecordQuery.h"
#include "tests/index/RecordIndexImageBuilder.h"
#include "tests/support/HostRootGuard.h"

namespace {

constexpr long long kT0 = 1706688000LL;

RecordQueryCondition window(long long begin, long long end, int precision = 3) {
    RecordQueryCondition condition;
    condition.setRecordBeginTime(static_cast<unsigned long>(begin));
    condition.setRecordEndTime(static_cast<unsigned long>(end));
    condition.setRecordQueryTimePrecision(precision);
    return condition;
}

using Segment = std::tuple<long long, long long, unsigned long>;  // begin, end, data length

std::vector<Segment> segmentsOf(RecordQueryResult const& result) {
    std::vector<Segment> segments;
    for (auto const& s : result.getRecordTimeSegmentList()) {
        segments.emplace_back(s.getRecordBeginTime(), s.getRecordEndTime(), s.getRecordDataLength());
    }
    return segments;
}

// A segment holds 32-bit times on the recorder: index times beyond them
// are cut off, never wrapped.
TEST(SingleDeviceRecordQueryTest, SpansAreClippedToTheWindowAndTo32Bits) {
    RecordQueryResult result;
    SingleDeviceRecordQuery query(result, window(kT0 + 100, kT0 + 200));
    EXPECT_EQ(0, query.handle(kT0, kT0 + 100, 0, false, false));        // ends on the begin
    EXPECT_EQ(0, query.handle(kT0 + 200, kT0 + 300, 0, false, false));  // begins on the end
    EXPECT_EQ(1, query.handle(kT0 + 50, kT0 + 150, 0, false, false));
    query.clear();
    EXPECT_EQ((std::vector<Segment>{{kT0 + 100, kT0 + 150, 0}}), segmentsOf(result));

    RecordQueryResult open;
    SingleDeviceRecordQuery all(open, window(0, 0));
    EXPECT_EQ(0, all.handle(-100, -10, 0, false, false));
    EXPECT_EQ(0, all.handleRecordSegment(1LL << 32, (1LL << 32) + 10, 188, false, false));
    EXPECT_EQ(1, all.handle(-10, 10, 0, false, false));
    EXPECT_EQ(1, all.handle(0xFFFFFF00LL, LLONG_MAX, 0, false, false));
    all.clear();
    EXPECT_EQ((std::vector<Segment>{{0, 10, 0}, {0xFFFFFF00LL, 0xFFFFFFFFLL, 0}}), segmentsOf(open));
}

TEST(SingleDeviceRecordQueryTest, ShortPieceBehindAlarmIsAbsorbed) {
    for (int length : {19, 20}) {
        RecordQueryResult result;
        SingleDeviceRecordQuery query(result, window(0, 0));
        query.handle(kT0, kT0 + 60, 0, false, true);
        query.handle(kT0 + 61, kT0 + 61 + length, 0, false, false);
        query.clear();
        auto const& segments = result.getRecordTimeSegmentList();
        ASSERT_EQ(length == 19 ? 1u : 2u, segments.size()) << length;
        EXPECT_EQ(static_cast<unsigned long>(kT0 + 61 + length), segments.back().getRecordEndTime());
        EXPECT_EQ(length == 19, segments.back().getRecordAlarmFlag());
    }
}

TEST(SingleDeviceRecordQueryTest, MergesOnlyAlikeSpansAndNeverAcrossEncoderChange) {
    RecordQueryResult result;
    SingleDeviceRecordQuery query(result, window(0, 0));
    query.updataVideoEncoderType(1);
    query.handleRecordSegment(kT0, kT0 + 10, 100, false, false);
    query.handleRecordSegment(kT0 + 11, kT0 + 20, 50, false, false);   // merged
    query.handleRecordSegment(kT0 + 20, kT0 + 30, 10, true, false);    // locked: apart
    query.updataVideoEncoderType(2);
    query.handleRecordSegment(kT0 + 30, kT0 + 40, 10, true, false);    // new encoder: apart
    query.clear();
    EXPECT_EQ((std::vector<Segment>{{kT0, kT0 + 20, 150}, {kT0 + 20, kT0 + 30, 10}, {kT0 + 30, kT0 + 40, 10}}),
              segmentsOf(result));
    auto const& segments = result.getRecordTimeSegmentList();
    EXPECT_EQ(1, segments[0].getVideoEncoderType());
    EXPECT_EQ(2, segments[2].getVideoEncoderType());
}

TEST(SingleDeviceRecordQueryTest, NewDateClosesTheListOfTheDayBefore) {
    RecordQueryResult result;
    SingleDeviceRecordQuery query(result, window(0, 0));
    query.setDate("2024-01-30");
    query.handle(kT0 - 100, kT0, 0, false, true);  // an alarm span is held open: it must go too
    query.setDate("2024-01-31");
    query.handle(kT0, kT0 + 100, 0, false, false);
    EXPECT_EQ(1u, result.getRecordTimeSegmentList().size());  // first day delivered
    query.clear();
    EXPECT_EQ(2u, result.getRecordTimeSegmentList().size());  // not merged over midnight
}

TEST(SingleDeviceRecordQueryTest, OnlyFiltersKeepAlarmOrLockedSpans) {
    RecordQueryCondition condition = window(0, 0);
    condition.setAlarmFlag(true);
    RecordQueryResult result;
    SingleDeviceRecordQuery query(result, condition);
    EXPECT_EQ(0, query.handle(kT0, kT0 + 10, 0, true, false));
    EXPECT_EQ(1, query.handle(kT0 + 20, kT0 + 30, 0, false, true));
    query.clear();
    EXPECT_EQ(1u, result.getRecordTimeSegmentList().size());
}

// ---- what a query sees of the index walks ----

using Builder = RecordIndexImageBuilder;

class RecordIndexQueryTest : public ::testing::Test {
protected:
    void add(long long begin, std::vector<RecordIndexCodec::ItemInfo> const& items) {
        m_builder.addEntry(std::to_string(begin) + ".ts", begin, items);
    }
    std::vector<Segment> query(long long begin, long long end, int interval, bool withData) {
        std::string image = m_builder.image(8192, '\0');
        RecordIndexParserImplEx parser;
        parser.setIndexInfo(RecordDirInfoEx(), "2024-01-31", "NVR_10.0.0.2_1", &image[0],
                            static_cast<int>(image.size()), 0);
        RecordQueryCondition condition = window(begin, end);
        condition.setRecordSegmentInterval(interval);
        RecordQueryResult result;
        SingleDeviceRecordQuery query(result, condition);
        EXPECT_EQ(1, parser.queryRecordSegmentList(&query, withData));
        query.clear();
        return segmentsOf(result);
    }

    HostRootGuard m_root;  // parser logs stay in a folder of the test's own
    Builder m_builder;
};

TEST_F(RecordIndexQueryTest, TouchingEntriesMergeAndOnlyItemsInTheWindowCount) {
    add(kT0, Builder::steadyItems(300));  // 2 s and 400 packets each
    add(kT0 + 600, Builder::steadyItems(300));
    add(kT0 + 3600, Builder::steadyItems(40));
    unsigned long const item = 400ul * 188;
    EXPECT_EQ((std::vector<Segment>{{kT0, kT0 + 1200, 0}, {kT0 + 3600, kT0 + 3680, 0}}),
              query(kT0 - 100, kT0 + 86400, 0, false));
    EXPECT_EQ((std::vector<Segment>{{kT0, kT0 + 1200, 600 * item}, {kT0 + 3600, kT0 + 3680, 40 * item}}),
              query(kT0 - 100, kT0 + 86400, 0, true));
    EXPECT_EQ((std::vector<Segment>{{kT0 + 100, kT0 + 200, 50 * item}}), query(kT0 + 100, kT0 + 200, 0, true));
}

// Segments are cut at the interval; the first of an entry fills up the last
// segment handed over, unless less than 30 s of it would be left.
TEST_F(RecordIndexQueryTest, SegmentsAreCutAtTheIntervalAndFillUpTheLastOneFirst) {
    for (int before : {270, 271}) {
        SCOPED_TRACE(before);
        m_builder = Builder();
        add(kT0, Builder::steadyItems(before, 1, 1));
        add(kT0 + 1000, Builder::steadyItems(400, 1, 1));
        long long first = before == 270 ? 30 : 300;  // what is left of 300 s, if 30 s or more
        std::vector<Segment> expected{{kT0, kT0 + before, before * 188ul},
                                      {kT0 + 1000, kT0 + 1000 + first, first * 188ul}};
        if (first == 30) expected.emplace_back(kT0 + 1030, kT0 + 1330, 300 * 188ul);
        long long lastBegin = first == 30 ? 1330 : 1300;
        expected.emplace_back(kT0 + lastBegin, kT0 + 1400, (1400 - lastBegin) * 188ul);
        EXPECT_EQ(expected, query(0, 0, 300, true));
    }
}

// Where the lock state changes, a hole of 1 s up to the precision (3 s) is
// hidden: the segment before it ends where the next begins.
TEST_F(RecordIndexQueryTest, SmallHolesAtAChangeOfStateAreHidden) {
    std::vector<RecordIndexCodec::ItemInfo> items = Builder::steadyItems(7);  // 2 s each
    items[3].nTimeInterval = 3;                                               // hole of 1 s
    items[5].nTimeInterval = 5;                                               // hole of 3 s
    items[3].bLocked = items[4].bLocked = true;
    add(kT0, items);
    EXPECT_EQ((std::vector<Segment>{{kT0, kT0 + 7, 0}, {kT0 + 7, kT0 + 14, 0}, {kT0 + 14, kT0 + 18, 0}}),
              query(0, 0, 0, false));
}

}  // namespace

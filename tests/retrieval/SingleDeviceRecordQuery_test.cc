#include <gtest/gtest.h>

#include <vector>

#include "foundation/RecordQuery.h"
#include "retrieval/SingleDeviceRecordQuery.h"

namespace {

constexpr long long kT0 = 1706688000LL;

RecordQueryCondition window(long long begin, long long end, int precision = 3) {
    RecordQueryCondition condition;
    condition.setRecordBeginTime(static_cast<unsigned long>(begin));
    condition.setRecordEndTime(static_cast<unsigned long>(end));
    condition.setRecordQueryTimePrecision(precision);
    return condition;
}

std::vector<std::pair<long long, long long>> spans(RecordQueryResult const& result) {
    std::vector<std::pair<long long, long long>> out;
    for (auto const& segment : result.getRecordTimeSegmentList()) {
        out.emplace_back(static_cast<long long>(segment.getRecordBeginTime()),
                         static_cast<long long>(segment.getRecordEndTime()));
    }
    return out;
}

TEST(SingleDeviceRecordQueryTest, SpansTouchingTheWindowEdgeAreDropped) {
    RecordQueryResult result;
    SingleDeviceRecordQuery query(result, window(kT0 + 100, kT0 + 200));
    EXPECT_EQ(0, query.handle(kT0, kT0 + 100, 0, false, false));        // ends on the begin
    EXPECT_EQ(0, query.handle(kT0 + 200, kT0 + 300, 0, false, false));  // begins on the end
    EXPECT_EQ(1, query.handle(kT0 + 50, kT0 + 150, 0, false, false));
    query.clear();
    EXPECT_EQ((std::vector<std::pair<long long, long long>>{{kT0 + 100, kT0 + 150}}), spans(result));
}

TEST(SingleDeviceRecordQueryTest, ShortPieceBehindAlarmIsAbsorbed) {
    for (int length : {19, 20}) {
        RecordQueryResult result;
        SingleDeviceRecordQuery query(result, window(0, 0));
        query.handle(kT0, kT0 + 60, 0, false, true);
        query.handle(kT0 + 61, kT0 + 61 + length, 0, false, false);
        query.clear();
        auto const& segments = result.getRecordTimeSegmentList();
        if (length == 19) {
            ASSERT_EQ(1u, segments.size());
            EXPECT_EQ(static_cast<unsigned long>(kT0 + 80), segments[0].getRecordEndTime());
            EXPECT_TRUE(segments[0].getRecordAlarmFlag());
        } else {
            ASSERT_EQ(2u, segments.size());
            EXPECT_FALSE(segments[1].getRecordAlarmFlag());
        }
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
    auto const& segments = result.getRecordTimeSegmentList();
    ASSERT_EQ(3u, segments.size());
    EXPECT_EQ(static_cast<unsigned long>(kT0 + 20), segments[0].getRecordEndTime());
    EXPECT_EQ(150ul, segments[0].getRecordDataLength());
    EXPECT_EQ(1, segments[0].getVideoEncoderType());
    EXPECT_EQ(2, segments[2].getVideoEncoderType());
}

TEST(SingleDeviceRecordQueryTest, NewDateClosesTheListOfTheDayBefore) {
    RecordQueryResult result;
    SingleDeviceRecordQuery query(result, window(0, 0));
    query.setDate("2024-01-30");
    query.handle(kT0 - 100, kT0, 0, false, false);
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

}  // namespace

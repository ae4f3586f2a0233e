#include "host/TimeConverter.h"

#include <gtest/gtest.h>

#include <stdlib.h>
#include <time.h>

#include <string>
#include <vector>

#include "host/HostClock.h"
#include "host/OVTime.h"
#include "host/OrvaneTime.h"
#include "host/PerformanceTest.h"

namespace {

// A fixed zone eight hours east of UTC without daylight saving.
class LocalTimeTest : public ::testing::Test {
protected:
    void SetUp() override { zone("CST-8"); }
    void TearDown() override {
        zone("UTC");
        HostClock::reset();
    }
    static void zone(char const* name) {
        setenv("TZ", name, 1);
        tzset();
    }
};

TEST_F(LocalTimeTest, TextSecondsAndStructRoundTripInLocalTime) {
    unsigned long seconds = 0;
    ASSERT_TRUE(TimeConverter::strToLong("2024-01-31 00:00:00", seconds));
    EXPECT_EQ(1706630400UL, seconds);  // 2024-01-30 16:00:00 UTC
    std::string text;
    TimeConverter::longToStr(seconds + 86399, text);
    EXPECT_EQ("2024-01-31 23:59:59", text);
    OVDateTime time;
    ASSERT_TRUE(TimeConverter::longToStruct(1706630400UL + 3661, time));
    EXPECT_EQ((std::vector<int>{31, 1, 1, 1, 3}),  // 01:01:01 on a Wednesday
              (std::vector<int>{time.day, time.hour, time.minute, time.second, time.weekday}));
    unsigned long back = 0;
    ASSERT_TRUE(OrvaneTime::getLongTime(back, time));
    EXPECT_EQ(1706630400UL + 3661, back);
}

TEST_F(LocalTimeTest, BadDateTextIsRefused) {
    OVDateTime time;
    for (char const* text : {"2024-02-30", "2023-02-29", "2024-13-01", "2024-01-01 24:00:00",
                             "2024-1-01", "2024-01-01T00:00:00", "2024-01-01 00:00", "", "abc"})
        EXPECT_FALSE(TimeConverter::getSTDate(text, time)) << text;
    EXPECT_FALSE(TimeConverter::getSTDate(nullptr, time));
    ASSERT_TRUE(TimeConverter::getSTDate("2024-12-31 23:59:59", time));
    EXPECT_EQ(59, time.second);
}

TEST_F(LocalTimeTest, HostClockShiftMovesEveryReadingButNoMeasurement) {
    OrvaneTime before = OrvaneTime::currentTime();
    double wall = OVTime::getSeconds();
    double up = OVTime::getUpTime();
    PerformanceTest test;
    for (int i = 0; i < 1000; ++i) {  // back to back, below the clock's grain: still 1
        test.begin();
        test.end();
        ASSERT_GE(test.getWasteTime(), 1);
    }
    test.begin();
    HostClock::shift(86400.5);
    test.end();
    EXPECT_LT(test.getWasteTime(), 3600LL * 1000000);  // microseconds: the shift did not reach it
    EXPECT_GE(OrvaneTime::currentTime().getSeconds() - before.getSeconds(), 86400);
    EXPECT_GE(OVTime::getSeconds() - wall, 86400.5);
    EXPECT_GE(OVTime::getUpTime() - up, 86400.5);
    HostClock::reset();
    EXPECT_LT(OVTime::getSeconds() - wall, 86400.0);
}

}  // namespace

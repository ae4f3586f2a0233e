#include "foundation/TimeConvert.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "host/TimeStruct.h"

namespace {

unsigned long const kLastSecondOf2023 = 1704067199UL;  // 2023-12-31 23:59:59 UTC

class TimeConvertTest : public ::testing::Test {
protected:
    void SetUp() override { useZone("UTC"); }
    void TearDown() override { useZone("UTC"); }

    static void useZone(char const* zone) {
        setenv("TZ", zone, 1);
        tzset();
        TimeConvert::clearCache();
    }
};

TEST_F(TimeConvertTest, NameTimeRoundTrips) {
    EXPECT_EQ("20231231235959", TimeConvert::getStrTime(kLastSecondOf2023));
    EXPECT_EQ("20240101000000", TimeConvert::getStrTime(kLastSecondOf2023 + 1));
    std::string text;
    EXPECT_TRUE(TimeConvert::timeToStr(kLastSecondOf2023, text));
    EXPECT_EQ("20231231235959", text);

    unsigned long seconds = 0;
    EXPECT_TRUE(TimeConvert::strToTime(std::string("20231231235959"), seconds));
    EXPECT_EQ(kLastSecondOf2023, seconds);
    EXPECT_TRUE(TimeConvert::strToTime("20240101000000.ts", seconds));
    EXPECT_EQ(kLastSecondOf2023 + 1, seconds);
}

TEST_F(TimeConvertTest, NameTimeIsLocal) {
    useZone("UTC-8");
    EXPECT_EQ("20240101075959", TimeConvert::getStrTime(kLastSecondOf2023));
    unsigned long seconds = 0;
    EXPECT_TRUE(TimeConvert::strToTime("20240101075959", seconds));
    EXPECT_EQ(kLastSecondOf2023, seconds);
}

TEST_F(TimeConvertTest, CacheFollowsAZoneChangeWhenCleared) {
    EXPECT_EQ("20231231235959", TimeConvert::getStrTime(kLastSecondOf2023));
    useZone("UTC+1");
    EXPECT_EQ("20231231225959", TimeConvert::getStrTime(kLastSecondOf2023));
}

TEST_F(TimeConvertTest, MalformedTextLeavesValueAlone) {
    unsigned long seconds = 77;
    EXPECT_FALSE(TimeConvert::strToTime("2023123123595", seconds));    // 13 digits
    EXPECT_FALSE(TimeConvert::strToTime("202312312359590", seconds));  // 15 digits
    EXPECT_FALSE(TimeConvert::strToTime("2023123123595x", seconds));
    EXPECT_FALSE(TimeConvert::strToTime("20231331235959", seconds));   // month 13
    EXPECT_FALSE(TimeConvert::strToTime("20231231245959", seconds));   // hour 24
    EXPECT_FALSE(TimeConvert::strToTime(static_cast<char const*>(nullptr), seconds));
    EXPECT_FALSE(TimeConvert::strToTime(std::string(""), seconds));
    EXPECT_EQ(77u, seconds);
}

TEST_F(TimeConvertTest, StructConversionsCarryTheZone) {
    TimeStruct time;
    ASSERT_TRUE(TimeConvert::getTimeStruct(time, kLastSecondOf2023, 480));
    EXPECT_EQ(TimeStruct(2023, 12, 31, 23, 59, 59, 480), time);
    EXPECT_EQ(kLastSecondOf2023, TimeConvert::getLongTime(time, 480));

    OVDateTime dateTime;
    dateTime.year = 2024;
    dateTime.month = 1;
    dateTime.day = 1;
    EXPECT_EQ(kLastSecondOf2023 + 1, TimeConvert::getLongTime(dateTime));
}

TEST_F(TimeConvertTest, DifferenceOnlyWithinOneMonth) {
    OVDateTime a;
    a.year = 2024;
    a.month = 2;
    a.day = 28;
    a.hour = 23;
    OVDateTime b = a;
    b.day = 29;
    b.hour = 1;
    b.second = 5;
    EXPECT_TRUE(TimeConvert::isSameMonth(a, b));
    EXPECT_EQ(2 * 3600 + 5, TimeConvert::timeDiff(a, b));
    EXPECT_EQ(-(2 * 3600 + 5), TimeConvert::timeDiff(b, a));

    OVDateTime c = b;
    c.month = 3;
    EXPECT_FALSE(TimeConvert::isSameMonth(a, c));
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, TimeConvert::timeDiff(a, c));
    EXPECT_EQ("Month is not same\n", testing::internal::GetCapturedStdout());
    c.year = 2025;
    c.month = 2;
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, TimeConvert::timeDiff(a, c));
    EXPECT_EQ("Year is not same\n", testing::internal::GetCapturedStdout());

    EXPECT_TRUE(TimeConvert::isSameMonth(kLastSecondOf2023 - 86400, kLastSecondOf2023));
    EXPECT_FALSE(TimeConvert::isSameMonth(kLastSecondOf2023, kLastSecondOf2023 + 1));
}

}  // namespace

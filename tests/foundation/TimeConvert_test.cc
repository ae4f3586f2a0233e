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

TEST_F(TimeConvertTest, NameTimeRoundTripsInLocalTimeAndRefusesMalformedText) {
    EXPECT_EQ("20231231235959", TimeConvert::getStrTime(kLastSecondOf2023));
    unsigned long seconds = 0;
    EXPECT_TRUE(TimeConvert::strToTime("20240101000000.ts", seconds));
    EXPECT_EQ(kLastSecondOf2023 + 1, seconds);
    TimeStruct time;
    ASSERT_TRUE(TimeConvert::getTimeStruct(time, kLastSecondOf2023, 480));
    EXPECT_EQ(TimeStruct(2023, 12, 31, 23, 59, 59, 480), time);
    EXPECT_EQ(kLastSecondOf2023, TimeConvert::getLongTime(time, 480));

    useZone("UTC-8");
    EXPECT_EQ("20240101075959", TimeConvert::getStrTime(kLastSecondOf2023));
    EXPECT_TRUE(TimeConvert::strToTime(std::string("20240101075959"), seconds));
    EXPECT_EQ(kLastSecondOf2023, seconds);

    for (char const* text : {"2023123123595", "202312312359590", "2023123123595x", "20231331235959",
                             "20231231245959", ""})
        EXPECT_FALSE(TimeConvert::strToTime(text, seconds)) << text;
    EXPECT_FALSE(TimeConvert::strToTime(static_cast<char const*>(nullptr), seconds));
    EXPECT_EQ(kLastSecondOf2023, seconds);
}

TEST_F(TimeConvertTest, DifferenceOnlyWithinOneMonth) {
    OVDateTime a{2024, 2, 28, 23};
    OVDateTime b{2024, 2, 29, 1, 0, 5};
    EXPECT_EQ(2 * 3600 + 5, TimeConvert::timeDiff(a, b));
    EXPECT_EQ(-(2 * 3600 + 5), TimeConvert::timeDiff(b, a));
    EXPECT_FALSE(TimeConvert::isSameMonth(kLastSecondOf2023, kLastSecondOf2023 + 1));
    for (char const* said : {"Month is not same\n", "Year is not same\n"}) {
        ++(said[0] == 'M' ? b.month : b.year);
        EXPECT_FALSE(TimeConvert::isSameMonth(a, b));
        testing::internal::CaptureStdout();
        EXPECT_EQ(0, TimeConvert::timeDiff(a, b));
        EXPECT_EQ(said, testing::internal::GetCapturedStdout());
    }
}

}  // namespace

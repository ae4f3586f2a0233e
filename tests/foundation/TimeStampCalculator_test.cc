#include "foundation/TimeStampCalculator.h"

#include <gtest/gtest.h>

#include "foundation/AVData.h"

namespace {

TEST(TimeStampCalculatorTest, VideoRunsFromBaseAndAudioRidesOnLastVideo) {
    TimeStampCalculator calculator;
    calculator.start(5000000, 25);
    // Stream type, camera time, result. Audio before any video gets the base.
    long long const frames[][3] = {{2, 123, 5000000}, {1, 1000000000, 5000000}, {1, 1000040000, 5040000},
                                   {2, 1000060000, 5040000}};
    for (auto const& row : frames) {
        AVData data;
        data.setESStreamType(static_cast<int>(row[0]));
        data.setTimeStamp(row[1]);
        EXPECT_EQ(row[2], calculator.getTimeStamp(&data)) << row[1];
    }
    // A new run starts on the new base even when the camera's clock went back.
    calculator.start(10000, 25);
    AVDataEX piece;
    piece.setESStreamType(1);
    piece.setTimeStamp(50);
    EXPECT_EQ(10000, calculator.getTimeStamp(&piece));
    piece.setTimeStamp(80);
    EXPECT_EQ(10030, calculator.getTimeStamp(&piece));
}

}  // namespace

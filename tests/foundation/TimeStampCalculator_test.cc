#include "foundation/TimeStampCalculator.h"

#include <gtest/gtest.h>

#include "foundation/AVData.h"

namespace {

AVData frame(int streamType, long long timeStamp) {
    AVData data;
    data.setESStreamType(streamType);
    data.setTimeStamp(timeStamp);
    return data;
}

TEST(TimeStampCalculatorTest, VideoRunsFromBaseAndAudioRidesOnLastVideo) {
    TimeStampCalculator calculator;
    calculator.start(5000000, 25);
    AVData frames[] = {frame(2, 123), frame(1, 1000000000), frame(1, 1000040000), frame(2, 1000060000)};
    EXPECT_EQ(5000000, calculator.getTimeStamp(&frames[0]));  // no video yet: the base
    EXPECT_EQ(5000000, calculator.getTimeStamp(&frames[1]));
    EXPECT_EQ(5040000, calculator.getTimeStamp(&frames[2]));
    EXPECT_EQ(5040000, calculator.getTimeStamp(&frames[3]));

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

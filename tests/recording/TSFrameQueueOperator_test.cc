#include "recording/TSFrameQueueOperator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/CircleQueue.h"
#include "host/HostPaths.h"
#include "recording/MarkData.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

TEST(TSFrameQueueOperatorTest, KeepsTheStartOfEveryIFrameBlockAndLogsTheFill) {
    HostRootGuard root;
    CircleQueue data(10000, false);
    CircleQueue marks(36000, false);
    // Frame type, first frame length, total length and frames of three blocks.
    for (std::vector<int> const& block :
         {std::vector<int>{1, 1000, 3000, 5}, {2, 500, 2000, 4}, {1, 800, 1600, 3}}) {
        MarkData mark;
        mark.setFrameType(block[0]);
        mark.setOffset(data.getWritePtr());
        mark.setFirstFrameLen(block[1]);
        mark.setFrameNum(block[3]);
        mark.setFrameTotalLength(block[2]);
        ASSERT_TRUE(data.push(std::string(block[2], static_cast<char>('a' + block[3] % 3)).data(), block[2]));
        char record[MarkData::kSize];
        mark.writeTo(record);
        ASSERT_TRUE(marks.push(record, MarkData::kSize));
    }
    TSFrameQueueOperator(100000, "NVR", 2).discardPFrame(&data, &marks);
    // Each kept block is its first frame length plus getFirstPFrameLen(),
    // which reads the frame count.
    EXPECT_EQ(std::string(1005, 'c') + std::string(803, 'a'), std::string(data.peek(1808), 1808));
    ASSERT_EQ(2 * MarkData::kSize, marks.getDataSize());
    MarkData const first = MarkData::readFrom(marks.peek(MarkData::kSize));
    MarkData const second = MarkData::readFrom(marks.peek(2 * MarkData::kSize) + MarkData::kSize);
    EXPECT_EQ((std::vector<int>{0, 2, 1005, 1005, 2, 803}),
              (std::vector<int>{first.getOffset(), first.getFrameNum(), first.getFrameTotalLength(),
                                second.getOffset(), second.getFrameNum(), second.getFrameTotalLength()}));
    EXPECT_NE(std::string::npos, TempDir::readWhole(HostPaths::getLogDir() + "/CompressTSFrameQueue.log")
                                     .find("nPercent1:66  nPercent2:18"));
}

}  // namespace

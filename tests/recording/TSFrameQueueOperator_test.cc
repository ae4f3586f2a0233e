#include "recording/TSFrameQueueOperator.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "host/CircleQueue.h"
#include "host/HostPaths.h"
#include "recording/MarkData.h"
#include "tests/support/HostRootGuard.h"

namespace {

void pushBlock(CircleQueue& data, CircleQueue& marks, int frameType, int firstLength, int total, int frames,
               char fill) {
    MarkData mark;
    mark.setFrameType(frameType);
    mark.setOffset(data.getWritePtr());
    mark.setFirstFrameLen(firstLength);
    mark.setFrameNum(frames);
    mark.setFrameTotalLength(total);
    std::string bytes(static_cast<size_t>(total), fill);
    ASSERT_TRUE(data.push(bytes.data(), total));
    char record[MarkData::kSize];
    mark.writeTo(record);
    ASSERT_TRUE(marks.push(record, MarkData::kSize));
}

TEST(TSFrameQueueOperatorTest, KeepsTheStartOfEveryIFrameBlockAndLogsTheFill) {
    HostRootGuard root;
    CircleQueue data(10000, false);
    CircleQueue marks(36000, false);
    pushBlock(data, marks, 1, 1000, 3000, 5, 'a');
    pushBlock(data, marks, 2, 500, 2000, 4, 'b');
    pushBlock(data, marks, 1, 800, 1600, 3, 'c');
    TSFrameQueueOperator compressor(100000, "NVR", 2);
    compressor.discardPFrame(&data, &marks);
    // Each kept block is its first frame length plus getFirstPFrameLen(),
    // which reads the frame count.
    EXPECT_EQ(1005 + 803, data.getDataSize());
    EXPECT_EQ(2 * MarkData::kSize, marks.getDataSize());
    marks.resetIterateOffset();
    int got = 0;
    MarkData first = MarkData::readFrom(marks.iterate(MarkData::kSize, got));
    MarkData second = MarkData::readFrom(marks.iterate(MarkData::kSize, got));
    EXPECT_EQ(0, first.getOffset());
    EXPECT_EQ(2, first.getFrameNum());
    EXPECT_EQ(1005, first.getFrameTotalLength());
    EXPECT_EQ(1005, second.getOffset());
    EXPECT_EQ('c', *data.getAddress(1005));
    std::ifstream in(HostPaths::getLogDir() + "/CompressTSFrameQueue.log");
    std::stringstream log;
    log << in.rdbuf();
    EXPECT_NE(std::string::npos, log.str().find("nPercent1:66  nPercent2:18"));
}

}  // namespace

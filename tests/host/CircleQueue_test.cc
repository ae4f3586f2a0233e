#include "host/CircleQueue.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string bytes(char const* data, int n) { return std::string(data, static_cast<size_t>(n)); }

TEST(CircleQueueTest, PushAndPopKeepOrderAndCount) {
    CircleQueue ring(16, false);
    EXPECT_TRUE(ring.push("abcd", 4));
    EXPECT_TRUE(ring.push("ef", 2));
    EXPECT_EQ(6, ring.getDataSize());
    EXPECT_EQ(10, ring.getTailSpaceSize());
    EXPECT_EQ(0, ring.getHeadSpaceSize());
    EXPECT_DOUBLE_EQ(6.0 / 16, ring.getUsePercent());
    int got = 0;
    char* front = ring.iterate(100, got);
    EXPECT_EQ("abcdef", bytes(front, got));
    EXPECT_TRUE(ring.pop(4));
    EXPECT_EQ(4, ring.getReadPtr());
    EXPECT_EQ(4, ring.getHeadSpaceSize());
    EXPECT_FALSE(ring.pop(3));
    EXPECT_EQ(2, ring.getDataSize());
}

TEST(CircleQueueTest, PushThatDoesNotFitBeforeTheEndFailsWithoutWrapping) {
    CircleQueue ring(16, false);
    EXPECT_TRUE(ring.push("0123456789ab", 12));
    EXPECT_TRUE(ring.pop(8));
    // 8 bytes are free in all, but only 4 of them in one run.
    EXPECT_FALSE(ring.push("ABCDEF", 6));
    EXPECT_EQ(4, ring.getDataSize());
    EXPECT_EQ(12, ring.getWritePtr());
    // Giving up the end moves the writer to the start.
    EXPECT_TRUE(ring.pushInvalid(ring.getTailSpaceSize()));
    EXPECT_EQ(0, ring.getWritePtr());
    EXPECT_EQ(8, ring.getTailSpaceSize());  // up to the reader
    EXPECT_EQ(0, ring.getHeadSpaceSize());  // the data runs over the end
    EXPECT_TRUE(ring.push("ABCDEF", 6));
    EXPECT_EQ(std::string("ABCDEF"), bytes(ring.getAddress(0), 6));
    EXPECT_FALSE(ring.push("xyz", 3));
}

TEST(CircleQueueTest, IterationStopsAtTheEndOfTheRingAndGoesOnAtTheStart) {
    CircleQueue ring(8, false);
    EXPECT_TRUE(ring.push("012345", 6));
    EXPECT_TRUE(ring.pop(4));
    EXPECT_TRUE(ring.push("67", 2));
    EXPECT_TRUE(ring.push("89", 2));
    ring.resetIterateOffset();
    EXPECT_EQ(4, ring.getIterateOffset());
    int got = 0;
    char* part = ring.iterate(10, got);
    EXPECT_EQ("4567", bytes(part, got));
    part = ring.iterate(10, got);
    EXPECT_EQ("89", bytes(part, got));
    ring.iterate(10, got);
    EXPECT_EQ(0, got);
}

TEST(CircleQueueTest, InPlaceWritesBecomeDataThroughPushInvalid) {
    CircleQueue ring(8, true);
    char* at = ring.getWriteAddress();
    at[0] = 'x';
    at[1] = 'y';
    EXPECT_TRUE(ring.pushInvalid(2));
    int got = 0;
    char* front = ring.iterate(8, got);
    EXPECT_EQ("xy", bytes(front, got));
    EXPECT_FALSE(ring.pushInvalid(7));
    ring.clear();
    EXPECT_EQ(0, ring.getDataSize());
    EXPECT_EQ(0, ring.getWritePtr());
    EXPECT_EQ(8, ring.getTailSpaceSize());
}

TEST(CircleQueueTest, FullRingHasNoSpaceAnywhere) {
    CircleQueue ring(8, false);
    EXPECT_TRUE(ring.push("abcdefgh", 8));
    EXPECT_EQ(0, ring.getTailSpaceSize());
    EXPECT_EQ(0, ring.getHeadSpaceSize());
    EXPECT_DOUBLE_EQ(1.0, ring.getUsePercent());
    EXPECT_TRUE(ring.pop(8));
    EXPECT_EQ(8, ring.getTailSpaceSize());
}

}  // namespace

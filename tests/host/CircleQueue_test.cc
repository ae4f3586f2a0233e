#include "host/CircleQueue.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string bytes(char const* data, int n) { return data == nullptr ? "(null)" : std::string(data, n); }

TEST(CircleQueueTest, DataIsNeverWrappedTheEndIsGivenUpInstead) {
    CircleQueue ring(16, true);
    EXPECT_TRUE(ring.push("0123456789ab", 12));
    EXPECT_TRUE(ring.pop(8));
    EXPECT_FALSE(ring.pop(5));
    EXPECT_DOUBLE_EQ(4.0 / 16, ring.getUsePercent());
    // 12 bytes are free in all, but only 4 of them in one run.
    EXPECT_EQ(4, ring.getTailSpaceSize());
    EXPECT_EQ(8, ring.getHeadSpaceSize());
    EXPECT_FALSE(ring.push("ABCDEF", 6));
    EXPECT_TRUE(ring.pushInvalid(4));
    EXPECT_EQ(0, ring.getWritePtr());
    EXPECT_EQ(8, ring.getTailSpaceSize());  // up to the reader
    EXPECT_EQ(0, ring.getHeadSpaceSize());  // the data runs over the end
    char* at = ring.getWriteAddress();      // written in place
    at[0] = 'A';
    at[1] = 'B';
    EXPECT_TRUE(ring.pushInvalid(2));
    EXPECT_FALSE(ring.push("CDEFGHI", 7));
    EXPECT_TRUE(ring.push("CDEFGH", 6));
    EXPECT_EQ(0, ring.getTailSpaceSize());
    EXPECT_DOUBLE_EQ(1.0, ring.getUsePercent());
    // The front in place only while it is one run; the iterator stops at the end.
    EXPECT_EQ("89ab", bytes(ring.peek(4), 4));
    EXPECT_EQ(nullptr, ring.peek(9));
    ring.resetIterateOffset();
    int got = 0;
    EXPECT_EQ("89ab", bytes(ring.iterate(100, got), 4));
    EXPECT_EQ(8, got);  // given-up bytes included
    EXPECT_EQ("ABCDEFGH", bytes(ring.iterate(100, got), 8));
    EXPECT_EQ(8, got);
    ring.clear();
    EXPECT_EQ(0, ring.getDataSize());
    EXPECT_EQ(16, ring.getTailSpaceSize());
    EXPECT_EQ(nullptr, ring.peek(1));
}

}  // namespace

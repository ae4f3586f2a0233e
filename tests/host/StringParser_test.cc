#include "host/StringParser.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(StringParserTest, KeepsEmptyPiecesSoCountsAreExact) {
    StringParser parser;
    EXPECT_EQ(3, parser.Split("NVR_192.168.1.2_1", "_"));
    EXPECT_EQ(3, parser.Getcount());
    EXPECT_STREQ("192.168.1.2", parser.getItem(1));
    EXPECT_EQ(nullptr, parser.getItem(3));
    EXPECT_EQ(4, parser.Split("NVR_192.168.1.2_1_move", "_"));
    EXPECT_EQ(3, parser.Split("a__b", "_"));
    EXPECT_STREQ("", parser.getItem(1));
    EXPECT_EQ(2, parser.Split("a::b", "::"));
    EXPECT_EQ(0, parser.Split("", "_"));
    EXPECT_EQ(0, parser.Split(nullptr, "_"));
    EXPECT_EQ(1, parser.Split("whole", nullptr));
}

}  // namespace

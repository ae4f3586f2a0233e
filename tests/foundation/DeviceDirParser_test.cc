#include "foundation/DeviceDirParser.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(DeviceDirParserTest, ReadsThePiecesAtTheFirstTwoSeparators) {
    DeviceDirParser parser("A_b_1");
    ASSERT_TRUE(parser.parse("CMS_fe80--1-2_12"));
    EXPECT_EQ("CMS", parser.getDeviceId());
    EXPECT_EQ("fe80--1-2", parser.getDeviceIP());
    EXPECT_EQ(12, parser.getCameraId());
    // An id with "_" shifts every piece; the camera is then no number.
    ASSERT_TRUE(parser.parse("MY_NVR_1.2.3.4_1"));
    EXPECT_EQ("NVR", parser.getDeviceIP());
    EXPECT_EQ(-1, parser.getCameraId());
    for (char const* name : {"A_1.2.3.4_", "A_1.2.3.4_1x", "A_1.2.3.4_99999999999"}) {
        ASSERT_TRUE(parser.parse(name));
        EXPECT_EQ(-1, parser.getCameraId()) << name;
    }
    EXPECT_FALSE(parser.parse("NVR_192.168.1.5"));
    EXPECT_FALSE(parser.isParsed());  // the earlier parse is forgotten
    EXPECT_EQ(-1, parser.getCameraId());
    EXPECT_FALSE(parser.parse(nullptr));
}

}  // namespace

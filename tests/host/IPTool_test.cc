#include "host/IPTool.h"

#include <gtest/gtest.h>

namespace {

TEST(IPToolTest, KnowsBothFamiliesAndRefusesGarbage) {
    int family = 0;
    EXPECT_TRUE(IPTool::checkIPAddress("192.168.1.10", family));
    EXPECT_EQ(4, family);
    EXPECT_TRUE(IPTool::checkIPAddress("fe80::1", family));
    EXPECT_EQ(6, family);
    EXPECT_TRUE(IPTool::checkIPAddress("::ffff:10.0.0.1", family));
    EXPECT_EQ(6, family);
    family = 0;
    for (char const* text : {"256.1.1.1", "1.2.3", "1.2.3.4.5", "abc", "", " 1.2.3.4", "1::2::3"})
        EXPECT_FALSE(IPTool::checkIPAddress(text, family)) << text;
    EXPECT_FALSE(IPTool::checkIPAddress(nullptr, family));
    EXPECT_EQ(0, family);
    EXPECT_TRUE(IPTool::checkIPAddress("10.0.0.1"));
}

}  // namespace

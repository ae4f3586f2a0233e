#include "host/DataConverter.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(DataConverterTest, BytesAreBigEndian) {
    unsigned char bytes[8] = {0};
    DataConverter::toBytes(bytes, 0x0102030405LL, 5);
    unsigned char const expected[5] = {0x01, 0x02, 0x03, 0x04, 0x05};
    EXPECT_EQ(0, memcmp(expected, bytes, 5));
    EXPECT_EQ(0x0102030405LL, DataConverter::toInt(bytes, 5));
    DataConverter::toBytes(bytes, -1, 8);
    EXPECT_EQ(-1, DataConverter::toInt(bytes, 8));
    unsigned char high[2] = {0xFF, 0xFE};
    EXPECT_EQ(0xFFFE, DataConverter::toInt(high, 2));  // unsigned below 8 bytes
    EXPECT_EQ(0, DataConverter::toInt(high, 0));
    EXPECT_EQ(0, DataConverter::toInt(nullptr, 2));
}

TEST(DataConverterTest, TextToNumberNeedsTheWholeText) {
    int value = 9;
    EXPECT_TRUE(DataConverter::convert(std::string(" -42 "), value));
    EXPECT_EQ(-42, value);
    for (char const* text : {"", "4x", "x4", "99999999999", "1.5"})
        EXPECT_FALSE(DataConverter::convert(std::string(text), value)) << text;
    EXPECT_EQ(-42, value);
    unsigned int positive = 3;
    EXPECT_FALSE(DataConverter::convert(std::string("-1"), positive));
    double real = 0;
    EXPECT_TRUE(DataConverter::convert(std::string("2.5"), real));
    EXPECT_EQ(2.5, real);
    std::string text;
    EXPECT_TRUE(DataConverter::convert(-7, text));
    EXPECT_EQ("-7", text);
}

}  // namespace

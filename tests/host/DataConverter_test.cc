#include "host/DataConverter.h"

#include <gtest/gtest.h>

namespace {

TEST(DataConverterTest, BytesAreBigEndianAndTextMustBeAWholeNumber) {
    unsigned char bytes[8] = {0};
    DataConverter::toBytes(bytes, 0x0102030405LL, 5);
    EXPECT_EQ(0x01, bytes[0]);
    EXPECT_EQ(0x0102030405LL, DataConverter::toInt(bytes, 5));
    unsigned char high[2] = {0xFF, 0xFE};
    EXPECT_EQ(0xFFFE, DataConverter::toInt(high, 2));  // unsigned below 8 bytes
    EXPECT_EQ(0, DataConverter::toInt(nullptr, 2));

    int value = 9;
    EXPECT_TRUE(DataConverter::convert(std::string(" -42 "), value));
    EXPECT_EQ(-42, value);
    for (char const* text : {"", "4x", "x4", "99999999999", "1.5"})
        EXPECT_FALSE(DataConverter::convert(std::string(text), value)) << text;
    EXPECT_EQ(-42, value);
    unsigned int positive = 3;
    EXPECT_FALSE(DataConverter::convert(std::string("-1"), positive));
}

}  // namespace

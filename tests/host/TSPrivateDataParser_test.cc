#include "host/TSPrivateDataParser.h"

#include <gtest/gtest.h>

namespace {

TEST(TSPrivateDataParserTest, RecordIsBigEndianAndReadsBack) {
    ST_TS_PRIVATE_DATA data;
    data.nSequenceId = 0x01020304;
    data.nImageFormatId = 0x0506;
    data.nImageHeight = 720;
    data.nImageWidth = 1280;
    data.nFrameRate = 25;
    data.nBitRate = 4000000;
    data.nTimeStamp = 1704110400123456LL;
    char out[32] = {};
    ASSERT_EQ(28, TSPrivateDataParser::packetTSPrivateData(data, out));
    unsigned char const* p = reinterpret_cast<unsigned char const*>(out);
    EXPECT_EQ('R', p[0]);
    EXPECT_EQ('S', p[1]);
    EXPECT_EQ(1, p[2]);
    EXPECT_EQ(28, p[3]);
    EXPECT_EQ(0x01, p[4]);
    EXPECT_EQ(0x04, p[7]);
    EXPECT_EQ(0x02, p[10]);  // 720 = 0x02D0
    EXPECT_EQ(0xD0, p[11]);
    EXPECT_EQ(0x00, p[20]);  // time stamp, most significant byte first
    EXPECT_EQ(0x40, p[27]);  // ...456 = 0x...40
    ST_TS_PRIVATE_DATA back;
    ASSERT_TRUE(TSPrivateDataParser::parseTSPrivateData(out, 28, back));
    EXPECT_EQ(data.nSequenceId, back.nSequenceId);
    EXPECT_EQ(data.nImageFormatId, back.nImageFormatId);
    EXPECT_EQ(data.nImageHeight, back.nImageHeight);
    EXPECT_EQ(data.nImageWidth, back.nImageWidth);
    EXPECT_EQ(data.nFrameRate, back.nFrameRate);
    EXPECT_EQ(data.nBitRate, back.nBitRate);
    EXPECT_EQ(data.nTimeStamp, back.nTimeStamp);
}

TEST(TSPrivateDataParserTest, ShortOrForeignRecordIsRefused) {
    char out[28];
    TSPrivateDataParser::packetTSPrivateData(ST_TS_PRIVATE_DATA(), out);
    ST_TS_PRIVATE_DATA back;
    EXPECT_FALSE(TSPrivateDataParser::parseTSPrivateData(out, 27, back));
    out[0] = 'X';
    EXPECT_FALSE(TSPrivateDataParser::parseTSPrivateData(out, 28, back));
}

}  // namespace

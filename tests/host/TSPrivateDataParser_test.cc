#include "host/TSPrivateDataParser.h"

#include <gtest/gtest.h>

#include <string>

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
    unsigned char const expected[28] = {'R',  'S',  1,    28,                // tag, version, length
                                        0x01, 0x02, 0x03, 0x04, 0x05, 0x06,  // sequence, format
                                        0x02, 0xD0, 0x05, 0x00, 0x00, 0x19,  // 720, 1280, 25
                                        0x00, 0x3D, 0x09, 0x00,              // 4000000
                                        0x00, 0x06, 0x0D, 0xE1, 0x1F, 0x0E, 0xB2, 0x40};  // time stamp
    EXPECT_EQ(std::string(reinterpret_cast<char const*>(expected), 28), std::string(out, 28));
    ST_TS_PRIVATE_DATA back;
    ASSERT_TRUE(TSPrivateDataParser::parseTSPrivateData(out, 28, back));
    char again[28];
    TSPrivateDataParser::packetTSPrivateData(back, again);
    EXPECT_EQ(std::string(out, 28), std::string(again, 28));  // every field read back
    EXPECT_FALSE(TSPrivateDataParser::parseTSPrivateData(out, 27, back));
    out[0] = 'X';
    EXPECT_FALSE(TSPrivateDataParser::parseTSPrivateData(out, 28, back));
}

}  // namespace

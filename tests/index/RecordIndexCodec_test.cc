#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "index/RecordCrc32.h"
#include "index/RecordIndexCodec.h"
#include "index/RecordIndexInfoParserV1.h"
#include "index/RecordIndexInfoParserV2.h"
#include "index/RecordIndexInfoParserV3.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Codec = RecordIndexCodec;

Codec::HeadInfo exampleHead(int version) {
    Codec::HeadInfo head;
    head.strFileName = "00001-NVR.ts";
    head.nTimeZone = 8;
    head.nDst = 0;
    head.nBeginTime = 1706702400LL;  // 0x65BA3640
    head.nWidth = 1920;
    head.nHeight = 1080;
    head.nEncodeType = 1;
    head.nIndexVersion = version;
    return head;
}

Bytes encodeHead(Codec::HeadInfo const& head) {
    char buffer[Codec::kHeadBufferSize];
    int length = Codec::encodeHead(head, buffer, sizeof(buffer));
    EXPECT_GT(length, 0);
    if (length <= 0) return Bytes();
    return Bytes(buffer, buffer + length);
}

// The three items of the worked example in docs/record-index.md.
std::vector<Codec::ItemInfo> exampleItems() {
    Codec::ItemInfo first;
    first.nTimeInterval = 0;
    first.nIndexType = 1;
    first.nTimeLength = 2;
    first.nDataLength = 100 * 188;
    Codec::ItemInfo second;
    second.nTimeInterval = 2;
    second.nIndexType = 1;
    second.nTimeLength = 2;
    second.nDataLength = 90 * 188;
    second.bAlarm = true;
    Codec::ItemInfo third;
    third.nTimeInterval = 20;  // above 14: long, from the begin time
    third.nIndexType = 1;
    third.nTimeLength = 1;
    third.nDataLength = 120 * 188;
    return {first, second, third};
}

Bytes encodeItems(int version, std::vector<Codec::ItemInfo> const& items) {
    Bytes out;
    for (auto const& item : items) {
        unsigned char buffer[8];
        int length = Codec::encodeItem(version, item, buffer);
        out.insert(out.end(), buffer, buffer + length);
    }
    return out;
}

Bytes crcItem(Bytes const& covered) {
    unsigned char buffer[Codec::kCrcItemSize];
    Codec::encodeCrcItem(buffer, static_cast<int>(covered.size()),
                         RecordCrc32::getInstance()->getCrc32(covered.data(), static_cast<int>(covered.size())));
    return Bytes(buffer, buffer + sizeof(buffer));
}

void append(Bytes& to, Bytes const& from) { to.insert(to.end(), from.begin(), from.end()); }

// Head of the example as it stands in the file; only the version byte
// differs between the versions.
Bytes goldenHead(unsigned char version) {
    return Bytes{
        0x00, 0x00, 0x00, 0x01,                                      // start code
        '0', '0', '0', '0', '1', '-', 'N', 'V', 'R', '.', 't', 's',  // file name
        0x2C,                                                        // comma
        0x80,                                                        // zone 8, DST 0
        0x40, 0x36, 0xBA, 0x65, 0x00, 0x00, 0x00, 0x00,              // begin time 1706702400
        0x80, 0x07,                                                  // width 1920
        0x38, 0x04,                                                  // height 1080
        0x01,                                                        // encode type
        version,                                                     // index version
        0x00, 0x00, 0x00, 0x00, 0x00,                                // reserved
        0x00, 0x00, 0x00, 0x02,                                      // end code
    };
}

TEST(RecordIndexCodecTest, Version3EntryMatchesGoldenBytes) {
    Bytes head = encodeHead(exampleHead(Codec::kIndexVersion3));
    ASSERT_EQ(goldenHead(0x02), head);
    Bytes entry = head;
    append(entry, crcItem(head));
    Bytes items = encodeItems(Codec::kIndexVersion3, exampleItems());
    append(entry, items);
    append(entry, crcItem(items));

    Bytes golden = goldenHead(0x02);
    Bytes rest{
        0xF1, 0xE0, 0x29, 0x00, 0xD9, 0x8D, 0xE4, 0xA0,  // head CRC item: 41 bytes, CRC 0xA0E48DD9
        0x06, 0xE0, 0x64, 0x00,  // short: interval 0, I-frame, 2 s; no alarm; 100 packets
        0x26, 0xE1, 0x5A, 0x00,  // short: interval 2, I-frame, 2 s; alarm; 90 packets
        0xF0, 0x14, 0x00, 0x00,  // long: 20 s from the begin time
        0xE5, 0xE0, 0x78, 0x00,  //   I-frame, 1 s; no alarm; 120 packets
        0xF1, 0xE0, 0x10, 0x00, 0xDE, 0x5B, 0x90, 0x40,  // CRC item: 16 bytes, CRC 0x40905BDE
    };
    append(golden, rest);
    EXPECT_EQ(golden, entry);
}

TEST(RecordIndexCodecTest, Version1And2EntriesMatchGoldenBytes) {
    Bytes v1 = encodeHead(exampleHead(Codec::kIndexVersion1));
    append(v1, encodeItems(Codec::kIndexVersion1, exampleItems()));
    Bytes golden1 = goldenHead(0x00);
    append(golden1, Bytes{
                        0x06, 0x64, 0x00,                    // short: no alarm byte in V1
                        0x26, 0x5A, 0x00,                    // the alarm is lost
                        0xF0, 0x14, 0x00, 0x00, 0x05 | 0xE0, 0x78, 0x00,  // long
                    });
    EXPECT_EQ(golden1, v1);

    Bytes v2 = encodeHead(exampleHead(Codec::kIndexVersion2));
    append(v2, encodeItems(Codec::kIndexVersion2, exampleItems()));
    Bytes golden2 = goldenHead(0x01);
    append(golden2, Bytes{0x06, 0xE0, 0x64, 0x00, 0x26, 0xE1, 0x5A, 0x00,
                          0xF0, 0x14, 0x00, 0x00, 0xE5, 0xE0, 0x78, 0x00});
    EXPECT_EQ(golden2, v2);
}

TEST(RecordIndexCodecTest, HeadDecodesToWhatWasEncoded) {
    for (int version : {0, 1, 2}) {
        Codec::HeadInfo in = exampleHead(version);
        in.nTimeZone = 13;
        in.nDst = 1;
        in.nBeginTime = -5;  // signed 64 bits
        Bytes raw = encodeHead(in);
        Codec::HeadInfo out;
        ASSERT_TRUE(Codec::decodeHead(reinterpret_cast<char const*>(raw.data()), static_cast<int>(raw.size()), out));
        EXPECT_EQ(in.strFileName, out.strFileName);
        EXPECT_EQ(13, out.nTimeZone);
        EXPECT_EQ(1, out.nDst);
        EXPECT_EQ(-5, out.nBeginTime);
        EXPECT_EQ(1920, out.nWidth);
        EXPECT_EQ(1080, out.nHeight);
        EXPECT_EQ(1, out.nEncodeType);
        EXPECT_EQ(version, out.nIndexVersion);
        EXPECT_EQ(version, Codec::getRawIndexVersion(reinterpret_cast<char const*>(raw.data()), static_cast<int>(raw.size())));
    }
}

TEST(RecordIndexCodecTest, ZoneWiderThanANibbleIsTruncated) {
    Codec::HeadInfo in = exampleHead(2);
    in.nTimeZone = 0x1A;
    in.nDst = 0x13;
    Bytes raw = encodeHead(in);
    EXPECT_EQ(0xA3, raw[17]);
}

// Width 768 is 00 03 behind the four zero upper bytes of the begin time: the
// head gains an escape byte, the version stays at raw length - 10, and only
// the unescaped copy has the tail at comma + 15.
TEST(RecordIndexCodecTest, Width768GainsEscapeByte) {
    Codec::HeadInfo in = exampleHead(2);
    in.nWidth = 768;
    Bytes raw = encodeHead(in);
    ASSERT_EQ(goldenHead(2).size() + 1, raw.size());
    Bytes expected{0x40, 0x36, 0xBA, 0x65, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x03, 0x38, 0x04};
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), raw.begin() + 18));
    int length = static_cast<int>(raw.size());
    char const* text = reinterpret_cast<char const*>(raw.data());
    EXPECT_EQ(2, Codec::getRawIndexVersion(text, length));
    EXPECT_NE(2, raw[16 + Codec::kTailVersionOffset]);  // comma + 15 is off by the escape

    std::vector<char> copy(text, text + length);
    int filtered = Codec::filter(copy.data(), length);
    EXPECT_EQ(length - 1, filtered);
    EXPECT_EQ(2, copy[16 + Codec::kTailVersionOffset]);

    Codec::HeadInfo out;
    ASSERT_TRUE(Codec::decodeHead(text, length, out));
    EXPECT_EQ(768, out.nWidth);
    EXPECT_EQ(1080, out.nHeight);
}

TEST(RecordIndexCodecTest, EscapingHidesEveryCodeAndFilterUndoesIt) {
    unsigned seed = 12345;
    auto next = [&seed]() {
        seed = seed * 1103515245u + 12345u;
        return (seed >> 16) & 0xFFFF;
    };
    for (int round = 0; round < 500; ++round) {
        int length = static_cast<int>(next() % 60);
        std::vector<char> payload(length);
        // Mostly zeros and 1..3, where the escapes happen.
        for (auto& b : payload) b = static_cast<char>(next() % 3 == 0 ? next() % 5 : 0);
        std::vector<char> buffer(payload);
        buffer.resize(length * 2 + Codec::kFramingSize);
        int framed = Codec::fillRecordFileInfo(buffer.data(), length, static_cast<int>(buffer.size()));
        ASSERT_GE(framed, length + Codec::kFramingSize);

        int begin = -1;
        int headLength = -1;
        ASSERT_TRUE(Codec::findHead(buffer.data(), framed, 0, begin, headLength));
        EXPECT_EQ(0, begin);
        EXPECT_EQ(framed, headLength) << "a code inside the escaped payload, round " << round;

        int filtered = Codec::filter(buffer.data(), framed);
        ASSERT_EQ(length + Codec::kFramingSize, filtered);
        EXPECT_TRUE(std::equal(payload.begin(), payload.end(), buffer.begin() + Codec::kStartCodeSize));
    }
}

TEST(RecordIndexCodecTest, HeadThatDoesNotFitIsRefusedAndBufferKept) {
    Codec::HeadInfo in = exampleHead(2);
    in.nWidth = 1;  // no zero runs in front of a 1..3 apart from those of the time
    in.nBeginTime = 0x7172737475767778LL;
    in.strFileName = std::string(Codec::kHeadBufferSize - Codec::kTailSize - Codec::kFramingSize, 'n');
    char buffer[Codec::kHeadBufferSize];
    EXPECT_EQ(Codec::kHeadBufferSize, Codec::encodeHead(in, buffer, sizeof(buffer)));
    in.strFileName += "n";
    EXPECT_EQ(-1, Codec::encodeHead(in, buffer, sizeof(buffer)));
    in.strFileName = "a,b.ts";
    EXPECT_EQ(-1, Codec::encodeHead(in, buffer, sizeof(buffer)));

    // 00 00 00 01 needs one escape byte: 4 payload bytes become 13.
    char small[12] = {0, 0, 0, 1};
    EXPECT_EQ(-1, Codec::fillRecordFileInfo(small, 4, sizeof(small)));
    EXPECT_EQ(0, std::memcmp(small, "\0\0\0\x01", 4));
}

TEST(RecordIndexCodecTest, DamagedHeadsAreNotDecoded) {
    Codec::HeadInfo out;
    Bytes raw = goldenHead(2);
    char const* text = reinterpret_cast<char const*>(raw.data());
    EXPECT_FALSE(Codec::decodeHead(text, 5, out));
    EXPECT_FALSE(Codec::decodeHead(nullptr, 40, out));
    // Cut so that comma + 15 is the last byte.
    EXPECT_FALSE(Codec::decodeHead(text, 16 + Codec::kTailVersionOffset + 1, out));
    EXPECT_TRUE(Codec::decodeHead(text, 16 + Codec::kTailVersionOffset + 2, out));
    Bytes noComma(raw);
    noComma[16] = '_';
    EXPECT_FALSE(Codec::decodeHead(reinterpret_cast<char const*>(noComma.data()), static_cast<int>(noComma.size()), out));
    EXPECT_EQ(-1, Codec::getRawIndexVersion(text, 9));
}

TEST(RecordIndexCodecTest, FindHeadSkipsFillerAndNeedsBothCodes) {
    Bytes image(10, 0xFF);
    append(image, goldenHead(2));
    image.insert(image.end(), 6, 0x00);
    append(image, goldenHead(1));
    char const* text = reinterpret_cast<char const*>(image.data());
    int length = static_cast<int>(image.size());
    int begin = 0;
    int headLength = 0;
    ASSERT_TRUE(Codec::findHead(text, length, 0, begin, headLength));
    EXPECT_EQ(10, begin);
    EXPECT_EQ(41, headLength);
    ASSERT_TRUE(Codec::findHead(text, length, begin + headLength, begin, headLength));
    EXPECT_EQ(10 + 41 + 6, begin);
    EXPECT_EQ(41, headLength);
    // A head whose end code is cut off is no head.
    EXPECT_FALSE(Codec::findHead(text, length - 1, 10 + 41, begin, headLength));
    EXPECT_FALSE(Codec::findHead(text, length, length, begin, headLength));
}

TEST(RecordIndexCodecTest, IntervalOf14IsShortAnd15IsLongFromBeginTime) {
    unsigned char out[8];
    Codec::ItemInfo item;
    item.nTimeInterval = 14;
    item.nDataLength = 188;
    ASSERT_EQ(4, Codec::encodeItem(2, item, out));
    EXPECT_EQ(0xE0, out[0]);  // never 0xFx
    item.nTimeInterval = 15;
    ASSERT_EQ(8, Codec::encodeItem(2, item, out));
    EXPECT_EQ((Bytes{0xF0, 0x0F, 0x00, 0x00, 0xE0, 0xE0, 0x01, 0x00}), Bytes(out, out + 8));
    item.nTimeInterval = 0x123456;  // three bytes of absolute offset
    item.nTimeLength = 9;            // capped at 3
    item.bLocked = true;
    ASSERT_EQ(7, Codec::encodeItem(0, item, out));
    EXPECT_EQ((Bytes{0xF0, 0x56, 0x34, 0x12, 0xEB, 0x01, 0x00}), Bytes(out, out + 7));
    Codec::ItemInfo back;
    ASSERT_EQ(7, Codec::decodeItem(0, out, 7, back));
    EXPECT_TRUE(back.bLong);
    EXPECT_EQ(0x123456, back.nTimeInterval);
    EXPECT_EQ(3, back.nTimeLength);
    EXPECT_TRUE(back.bLocked);
}

TEST(RecordIndexCodecTest, DataLengthCountsPacketsAndWrapsAt65536) {
    unsigned char out[8];
    Codec::ItemInfo item;
    item.nDataLength = 65536 * 188;
    ASSERT_EQ(4, Codec::encodeItem(2, item, out));
    EXPECT_EQ(0x00, out[2]);
    EXPECT_EQ(0x00, out[3]);
    Codec::ItemInfo back;
    ASSERT_EQ(4, Codec::decodeItem(2, out, 4, back));
    EXPECT_EQ(0, back.nDataLength);

    item.nDataLength = 65537 * 188 + 187;  // remainder dropped
    Codec::encodeItem(2, item, out);
    Codec::decodeItem(2, out, 4, back);
    EXPECT_EQ(188, back.nDataLength);
    item.nDataLength = 65535 * 188;
    Codec::encodeItem(2, item, out);
    Codec::decodeItem(2, out, 4, back);
    EXPECT_EQ(65535 * 188, back.nDataLength);
}

TEST(RecordIndexCodecTest, NegativeIntervalKeepsItsLowBits) {
    unsigned char out[8];
    Codec::ItemInfo item;
    item.nTimeInterval = -1;  // the clock stepped back
    ASSERT_EQ(4, Codec::encodeItem(2, item, out));
    EXPECT_EQ(0xF0, out[0] & 0xF0);
}

TEST(RecordIndexCodecTest, StoredCrcNeverEndsInFF) {
    unsigned char out[8];
    EXPECT_TRUE(Codec::encodeCrcItem(out, 0x1234, 0xFF010203u));
    EXPECT_EQ((Bytes{0xF1, 0xE0, 0x34, 0x12, 0x03, 0x02, 0x01, 0xEE}), Bytes(out, out + 8));
    EXPECT_FALSE(Codec::encodeCrcItem(out, 4, 0xFE010203u));
    EXPECT_EQ(0xFE, out[7]);
    EXPECT_EQ(0x12EEFFFFu, Codec::toStoredCrc(0x12EEFFFFu));
}

TEST(RecordCrc32Test, MatchesPublishedCheckValue) {
    RecordCrc32* crc = RecordCrc32::getInstance();
    EXPECT_EQ(0x0376E6E7u, crc->getCrc32("123456789", 9));
    EXPECT_EQ(0xFFFFFFFFu, crc->getCrc32("", 0));
    EXPECT_EQ(0xFFFFFFFFu, crc->getCrc32(static_cast<char const*>(nullptr), 10));
    // No final XOR and no reflection: a zero byte shifts the register.
    EXPECT_EQ(0x4E08BFB4u, crc->getCrc32("\0", 1));
}

// Every parser reads back what the encoder wrote.
TEST(RecordIndexCodecTest, EncodedEntryReadsBackInEveryVersion) {
    std::vector<Codec::ItemInfo> items = exampleItems();
    for (int version : {0, 1, 2}) {
        Bytes area;
        if (version == 2) append(area, crcItem(encodeHead(exampleHead(2))));
        Bytes encoded = encodeItems(version, items);
        append(area, encoded);
        if (version == 2) append(area, crcItem(encoded));

        RecordIndexInfoParserV1 v1;
        RecordIndexInfoParserV2 v2;
        RecordIndexInfoParserV3 v3;
        IRecordIndexInfoParser* parsers[] = {&v1, &v2, &v3};
        IRecordIndexInfoParser& parser = *parsers[version];
        parser.setIndexInfo(reinterpret_cast<char*>(area.data()), static_cast<int>(area.size()), 1000);
        IRecordIndexInfoParser::WalkItem walk;
        int expectedTime = 0;
        int expectedPos = 0;
        for (auto const& item : items) {
            ASSERT_TRUE(parser.nextItem(walk)) << "version " << version;
            expectedTime = item.nTimeInterval > 14 ? item.nTimeInterval : expectedTime + item.nTimeInterval;
            EXPECT_EQ(expectedTime, walk.nTime);
            EXPECT_EQ(expectedPos, walk.nFilePos);
            EXPECT_EQ(item.nTimeInterval, walk.nTimeInterval);
            EXPECT_EQ(item.nDataLength, walk.nDataLength);
            EXPECT_EQ(item.nTimeLength, walk.nTimeLength);
            EXPECT_EQ(item.nIndexType, walk.nIndexType);
            EXPECT_EQ(version != 0 && item.bAlarm, walk.bAlarm);
            expectedPos += item.nDataLength;
        }
        EXPECT_FALSE(parser.nextItem(walk));
        int result = -1;
        EXPECT_EQ(static_cast<int>(area.size()) - 1,
                  parser.getIndexEndPos(reinterpret_cast<char*>(area.data()), static_cast<int>(area.size()), result));
        EXPECT_EQ(1, result);
        EXPECT_EQ(0, parser.isIndexInfoNeedRepaire(static_cast<int>(area.size())));
    }
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "index/RecordCrc32.h"
#include "index/RecordIndexCodec.h"
#include "tests/index/RecordIndexImageBuilder.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Codec = RecordIndexCodec;
using Builder = RecordIndexImageBuilder;

Codec::HeadInfo exampleHead(int version) {
    Codec::HeadInfo head;
    head.strFileName = "00001-NVR.ts";
    head.nTimeZone = 8;
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
    return length > 0 ? Bytes(buffer, buffer + length) : Bytes();
}

Codec::ItemInfo makeItem(int interval, int timeLength, int packets, bool alarm = false) {
    Codec::ItemInfo item;
    item.nTimeInterval = interval;
    item.nIndexType = 1;
    item.nTimeLength = timeLength;
    item.nDataLength = packets * 188;
    item.bAlarm = alarm;
    return item;
}

// The three items of the worked example in docs/record-index.md; the third
// (above 14 s) is long, from the begin time.
std::vector<Codec::ItemInfo> exampleItems() { return {makeItem(0, 2, 100), makeItem(2, 2, 90, true), makeItem(20, 1, 120)}; }

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

// The worked example of docs/record-index.md in each version.
TEST(RecordIndexCodecTest, EntriesMatchGoldenBytes) {
    Bytes const rest[] = {
        {0x06, 0x64, 0x00, 0x26, 0x5A, 0x00, 0xF0, 0x14, 0x00, 0x00, 0xE5, 0x78, 0x00},  // V1: no alarm byte
        {0x06, 0xE0, 0x64, 0x00, 0x26, 0xE1, 0x5A, 0x00, 0xF0, 0x14, 0x00, 0x00, 0xE5, 0xE0, 0x78, 0x00},
        {
            0xF1, 0xE0, 0x29, 0x00, 0xD9, 0x8D, 0xE4, 0xA0,  // head CRC item: 41 bytes, CRC 0xA0E48DD9
            0x06, 0xE0, 0x64, 0x00,  // short: interval 0, I-frame, 2 s; no alarm; 100 packets
            0x26, 0xE1, 0x5A, 0x00,  // short: interval 2, I-frame, 2 s; alarm; 90 packets
            0xF0, 0x14, 0x00, 0x00,  // long: 20 s from the begin time
            0xE5, 0xE0, 0x78, 0x00,  //   I-frame, 1 s; no alarm; 120 packets
            0xF1, 0xE0, 0x10, 0x00, 0xDE, 0x5B, 0x90, 0x40,  // CRC item: 16 bytes, CRC 0x40905BDE
        }};
    for (int version : {0, 1, 2}) {
        Bytes head = encodeHead(exampleHead(version));
        ASSERT_EQ(goldenHead(static_cast<unsigned char>(version)), head);
        Bytes entry = head;
        Bytes items = Builder::encodeItems(version, exampleItems());
        if (version == 2) append(entry, Builder::crcItem(head));
        append(entry, items);
        if (version == 2) append(entry, Builder::crcItem(items));
        Bytes golden = goldenHead(static_cast<unsigned char>(version));
        append(golden, rest[version]);
        EXPECT_EQ(golden, entry) << version;
    }
}

// Every signed 64-bit begin time is a begin time; 2^32 needs an escape.
TEST(RecordIndexCodecTest, HeadDecodesToWhatWasEncoded) {
    for (long long begin : {-5LL, 0LL, 1LL << 32, LLONG_MIN, LLONG_MAX}) {
        for (int version : {0, 1, 2}) {
            Codec::HeadInfo in = exampleHead(version);
            in.nTimeZone = 13;
            in.nDst = 1;
            in.nBeginTime = begin;
            Bytes raw = encodeHead(in);
            char const* text = reinterpret_cast<char const*>(raw.data());
            Codec::HeadInfo out;
            ASSERT_TRUE(Codec::decodeHead(text, static_cast<int>(raw.size()), out));
            EXPECT_EQ(std::make_tuple(in.strFileName, 13, 1, begin, 1920, 1080, 1, version),
                      std::tie(out.strFileName, out.nTimeZone, out.nDst, out.nBeginTime, out.nWidth, out.nHeight,
                               out.nEncodeType, out.nIndexVersion));
            EXPECT_EQ(version, Codec::getRawIndexVersion(text, static_cast<int>(raw.size())));
        }
    }
    Codec::HeadInfo in = exampleHead(2);
    in.nTimeZone = 0x1A;  // wider than a nibble: truncated
    in.nDst = 0x13;
    EXPECT_EQ(0xA3, encodeHead(in)[17]);
    // Sums over a begin time are held at the ends of the range.
    EXPECT_EQ(LLONG_MAX, Codec::addSeconds(LLONG_MAX - 10, 40));
    EXPECT_EQ(LLONG_MIN, Codec::addSeconds(LLONG_MIN + 1, -2));
    EXPECT_EQ(-1706687960LL, Codec::addSeconds(-1706688000LL, 40));
}

// Width 768 (00 03 behind the time's zero bytes) gains an escape byte: the
// version stays at raw length - 10, the tail at comma + 15 only unescaped.
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
    EXPECT_EQ(length - 1, Codec::filter(copy.data(), length));
    EXPECT_EQ(2, copy[16 + Codec::kTailVersionOffset]);
    Codec::HeadInfo out;
    ASSERT_TRUE(Codec::decodeHead(text, length, out));
    EXPECT_EQ(768, out.nWidth);
    EXPECT_EQ(1080, out.nHeight);
}

TEST(RecordIndexCodecTest, EscapingHidesEveryCodeAndFilterUndoesIt) {
    std::mt19937 random(12345);
    for (int round = 0; round < 500; ++round) {
        std::vector<char> payload(random() % 60);
        // Mostly zeros and 1..3, where the escapes happen.
        for (auto& b : payload) b = static_cast<char>(random() % 3 == 0 ? random() % 5 : 0);
        int length = static_cast<int>(payload.size());
        std::vector<char> buffer(payload);
        buffer.resize(length * 2 + Codec::kFramingSize);
        int framed = Codec::fillRecordFileInfo(buffer.data(), length, static_cast<int>(buffer.size()));
        int begin = -1;
        int headLength = -1;
        ASSERT_TRUE(Codec::findHead(buffer.data(), framed, 0, begin, headLength));
        EXPECT_EQ(0, begin);
        EXPECT_EQ(framed, headLength) << "a code inside the escaped payload, round " << round;
        ASSERT_EQ(length + Codec::kFramingSize, Codec::filter(buffer.data(), framed));
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

TEST(RecordIndexCodecTest, HeadsAreFoundAndDecodedOnlyWhole) {
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
    EXPECT_FALSE(Codec::findHead(text, length - 1, 10 + 41, begin, headLength));  // end code cut
    EXPECT_FALSE(Codec::findHead(text, length, length, begin, headLength));

    Codec::HeadInfo out;
    char const* head = text + 10;
    EXPECT_FALSE(Codec::decodeHead(head, 5, out));
    EXPECT_FALSE(Codec::decodeHead(nullptr, 40, out));
    EXPECT_FALSE(Codec::decodeHead(head, 16 + Codec::kTailVersionOffset + 1, out));  // comma + 15 is last
    EXPECT_TRUE(Codec::decodeHead(head, 16 + Codec::kTailVersionOffset + 2, out));
    image[10 + 16] = '_';  // no comma
    EXPECT_FALSE(Codec::decodeHead(head, 41, out));
    EXPECT_EQ(-1, Codec::getRawIndexVersion(head, 9));
}

// 15 s makes a long item; packets count modulo 65536; a negative interval
// keeps its low bits; the time length is capped at 3.
TEST(RecordIndexCodecTest, ItemsAreEncodedAsWritten) {
    struct Case {
        int version;
        Codec::ItemInfo item;
        Bytes bytes;
        int decodedLength;
    } cases[] = {
        {2, makeItem(14, 0, 1), {0xE4, 0xE0, 0x01, 0x00}, 188},
        {2, makeItem(15, 0, 1), {0xF0, 0x0F, 0x00, 0x00, 0xE4, 0xE0, 0x01, 0x00}, 188},
        {0, makeItem(0x123456, 9, 1), {0xF0, 0x56, 0x34, 0x12, 0xEF, 0x01, 0x00}, 188},  // locked
        {2, makeItem(1, 1, 65536), {0x15, 0xE0, 0x00, 0x00}, 0},
        {2, makeItem(1, 1, 65535), {0x15, 0xE0, 0xFF, 0xFF}, 65535 * 188},
        {1, makeItem(-1, 1, 65537), {0xF5, 0xE0, 0x01, 0x00}, 188},
    };
    cases[0].item.nDataLength += 187;
    cases[2].item.bLocked = true;
    for (auto const& c : cases) {
        unsigned char out[8];
        int length = Codec::encodeItem(c.version, c.item, out);
        EXPECT_EQ(c.bytes, Bytes(out, out + length));
        Codec::ItemInfo back;
        ASSERT_EQ(length, Codec::decodeItem(c.version, out, length, back));
        EXPECT_EQ(c.decodedLength, back.nDataLength);
        EXPECT_EQ(std::min(c.item.nTimeLength, 3), back.nTimeLength);
        EXPECT_EQ(0, Codec::decodeItem(c.version, out, length - 1, back));
    }
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

}  // namespace

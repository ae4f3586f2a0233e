#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "index/RecordIndexCrcItemParser.h"
#include "index/RecordIndexItemParserV1.h"
#include "index/RecordIndexItemParserV2.h"
#include "index/RecordIndexItemParserV3.h"

namespace {

using Bytes = std::vector<unsigned char>;

char* text(Bytes& bytes) { return reinterpret_cast<char*>(bytes.data()); }

// An exact-size heap copy, so that a read past the end is caught by ASan.
std::unique_ptr<char[]> exactCopy(Bytes const& bytes, int length) {
    std::unique_ptr<char[]> copy(new char[length > 0 ? length : 1]);
    for (int i = 0; i < length; ++i) copy[i] = static_cast<char>(bytes[i]);
    return copy;
}

TEST(RecordIndexItemParserTest, ShortAndLongItemsOfEachVersion) {
    Bytes v1{0x9E, 0x02, 0x01, 0xF0, 0x20, 0x01, 0x00, 0xE1, 0xFF, 0xFF};
    RecordIndexItemParserV1 p1;
    int length = 0;
    ASSERT_EQ(1, p1.parse(text(v1), length));
    EXPECT_EQ(3, length);
    EXPECT_EQ(9, p1.getTimeInterval());
    EXPECT_TRUE(p1.isLocked());
    EXPECT_EQ(1, p1.getIndexType());
    EXPECT_EQ(2, p1.getTimeLength());
    EXPECT_EQ(0x0102 * 188, p1.getDataLength());
    ASSERT_EQ(1, p1.parse(text(v1) + 3, length));
    EXPECT_EQ(7, length);
    EXPECT_EQ(0x120, p1.getTimeInterval());
    EXPECT_FALSE(p1.isLocked());
    EXPECT_EQ(0, p1.getIndexType());
    EXPECT_EQ(1, p1.getTimeLength());
    EXPECT_EQ(0xFFFF * 188, p1.getDataLength());

    Bytes v2{0x13, 0xE1, 0x05, 0x00, 0xF0, 0x10, 0x00, 0x00, 0xEC, 0xE0, 0x00, 0x01};
    RecordIndexItemParserV2 p2;
    ASSERT_EQ(1, p2.parse(text(v2), length));
    EXPECT_EQ(4, length);
    EXPECT_EQ(1, p2.getTimeInterval());
    EXPECT_EQ(3, p2.getTimeLength());
    EXPECT_TRUE(p2.isAlarm());
    EXPECT_EQ(5 * 188, p2.getDataLength());
    ASSERT_EQ(1, p2.parse(text(v2) + 4, length));
    EXPECT_EQ(8, length);
    EXPECT_EQ(16, p2.getTimeInterval());
    EXPECT_TRUE(p2.isLocked());
    EXPECT_EQ(1, p2.getIndexType());
    EXPECT_FALSE(p2.isAlarm());
    EXPECT_EQ(256 * 188, p2.getDataLength());
    // V1 and V2 have no bounded parse.
    EXPECT_EQ(0, p2.parse(text(v2), 4, length));
    EXPECT_EQ(0, p1.parse(text(v1), 10, length));
}

TEST(RecordIndexItemParserTest, BoundedParseOfV3NeedsTheWholeItem) {
    Bytes shortItem{0x24, 0xE0, 0x01, 0x00};
    Bytes longItem{0xF0, 0x10, 0x00, 0x00, 0xE4, 0xE1, 0x02, 0x00};
    RecordIndexItemParserV3 parser;
    int length = 0;
    for (int cut = 0; cut <= 4; ++cut) {
        auto copy = exactCopy(shortItem, cut);
        EXPECT_EQ(cut == 4 ? 1 : 0, parser.parse(copy.get(), cut, length)) << cut;
    }
    EXPECT_EQ(4, length);
    EXPECT_EQ(2, parser.getTimeInterval());
    for (int cut = 0; cut <= 8; ++cut) {
        auto copy = exactCopy(longItem, cut);
        EXPECT_EQ(cut == 8 ? 1 : 0, parser.parse(copy.get(), cut, length)) << cut;
    }
    EXPECT_EQ(8, length);
    EXPECT_EQ(16, parser.getTimeInterval());
    EXPECT_TRUE(parser.isAlarm());
    EXPECT_EQ(0, parser.parse(nullptr, 8, length));
}

TEST(RecordIndexItemParserTest, LockAndUnlockChangeOnlyBit3OfTheFlagByte) {
    Bytes area{0x26, 0xE1, 0x5A, 0x00, 0xF0, 0x14, 0x00, 0x00, 0xE5, 0xE0, 0x78, 0x00};
    Bytes original = area;
    RecordIndexItemParserV3 parser;
    parser.lock(text(area));
    parser.lock(text(area) + 4);
    Bytes locked = original;
    locked[0] |= 0x08;
    locked[8] |= 0x08;
    EXPECT_EQ(locked, area);
    int length = 0;
    parser.parse(text(area) + 4, 8, length);
    EXPECT_TRUE(parser.isLocked());
    parser.unLock(text(area));
    parser.unLock(text(area) + 4);
    EXPECT_EQ(original, area);

    Bytes v1{0xF0, 0x14, 0x00, 0x00, 0xE5, 0x78, 0x00};
    RecordIndexItemParserV1 p1;
    p1.lock(text(v1));
    EXPECT_EQ(0xED, v1[4]);
    EXPECT_EQ(0xF0, v1[0]);
}

TEST(RecordIndexCrcItemParserTest, ReadsOnlyWholeCrcItems) {
    Bytes item{0xF1, 0xE0, 0x10, 0x00, 0xDE, 0x5B, 0x90, 0x40};
    RecordIndexCrcItemParser parser;
    int length = -1;
    for (int cut = 1; cut < 8; ++cut) {
        auto copy = exactCopy(item, cut);
        EXPECT_EQ(0, parser.parse(copy.get(), cut, length));
    }
    EXPECT_EQ(-1, length);
    auto whole = exactCopy(item, 8);
    ASSERT_EQ(1, parser.parse(whole.get(), 8, length));
    EXPECT_EQ(8, length);
    EXPECT_EQ(16, parser.getCrcIndexInfoLength());
    EXPECT_EQ(0x40905BDEu, parser.getCrcCode());

    // Not a CRC item: success, nothing touched.
    Bytes other{0x24, 0xE0, 0x01, 0x00};
    length = -1;
    EXPECT_EQ(1, parser.parse(text(other), 4, length));
    EXPECT_EQ(-1, length);
    EXPECT_EQ(16, parser.getCrcIndexInfoLength());
    EXPECT_EQ(0, parser.parse(text(other), 0, length));
}

}  // namespace

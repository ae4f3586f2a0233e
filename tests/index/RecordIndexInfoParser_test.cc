#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <vector>

#include "index/RecordCrc32.h"
#include "index/RecordIndexCodec.h"
#include "index/RecordIndexInfoParserV1.h"
#include "index/RecordIndexInfoParserV2.h"
#include "index/RecordIndexInfoParserV3.h"
#include "index/RecordIndexParserFactory.h"
#include "tests/support/HostRootGuard.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Codec = RecordIndexCodec;
using Item = Codec::ItemInfo;

Item makeItem(int interval, int timeLength, int packets, bool iFrame, bool locked = false,
              bool alarm = false) {
    Item item;
    item.nTimeInterval = interval;
    item.nTimeLength = timeLength;
    item.nDataLength = packets * Codec::kTsPacketSize;
    item.nIndexType = iFrame ? 1 : 0;
    item.bLocked = locked;
    item.bAlarm = alarm;
    return item;
}

Bytes encode(int version, std::vector<Item> const& items) {
    Bytes out;
    for (auto const& item : items) {
        unsigned char buffer[8];
        int length = Codec::encodeItem(version, item, buffer);
        out.insert(out.end(), buffer, buffer + length);
    }
    return out;
}

Bytes crcItem(Bytes const& covered, int coveredLength = -1) {
    unsigned char buffer[Codec::kCrcItemSize];
    int length = static_cast<int>(covered.size());
    Codec::encodeCrcItem(buffer, coveredLength < 0 ? length : coveredLength,
                         RecordCrc32::getInstance()->getCrc32(covered.data(), length));
    return Bytes(buffer, buffer + sizeof(buffer));
}

void append(Bytes& to, Bytes const& from) { to.insert(to.end(), from.begin(), from.end()); }

// A head CRC item that covers a 41-byte head.
Bytes headCrc() { return Bytes{0xF1, 0xE0, 0x29, 0x00, 0xD9, 0x8D, 0xE4, 0xA0}; }

// Head CRC, then one closed group per list.
Bytes v3Area(std::vector<std::vector<Item>> const& groups) {
    Bytes area = headCrc();
    for (auto const& group : groups) {
        Bytes items = encode(2, group);
        append(area, items);
        append(area, crcItem(items));
    }
    return area;
}

std::unique_ptr<char[]> exactCopy(Bytes const& bytes, int length) {
    std::unique_ptr<char[]> copy(new char[length > 0 ? length : 1]);
    if (length > 0) std::memcpy(copy.get(), bytes.data(), length);
    return copy;
}

char* text(Bytes& bytes) { return reinterpret_cast<char*>(bytes.data()); }
int size(Bytes const& bytes) { return static_cast<int>(bytes.size()); }

std::vector<IRecordIndexInfoParser::WalkItem> walkAll(IRecordIndexInfoParser& parser) {
    std::vector<IRecordIndexInfoParser::WalkItem> items;
    IRecordIndexInfoParser::WalkItem item;
    while (parser.nextItem(item)) items.push_back(item);
    return items;
}

// The items used by most walks below: t = 3, 5, 20, 21 and data at 0, 188,
// 564, 1316.
std::vector<Item> fourItems() {
    return {makeItem(3, 2, 1, false), makeItem(2, 3, 2, true), makeItem(20, 1, 4, true),
            makeItem(1, 2, 8, false)};
}

// Parsers log what they find odd; the logs go to a folder of the test's own.
class RecordIndexInfoParserTest : public ::testing::Test {
protected:
    HostRootGuard m_root;
};

TEST(RecordIndexParserFactoryTest, VersionSelectsParserAndUnknownMeansV3) {
    EXPECT_NE(nullptr, dynamic_cast<RecordIndexInfoParserV1*>(RecordIndexParserFactory::createParser(0).get()));
    EXPECT_NE(nullptr, dynamic_cast<RecordIndexInfoParserV2*>(RecordIndexParserFactory::createParser(1).get()));
    EXPECT_NE(nullptr, dynamic_cast<RecordIndexInfoParserV3*>(RecordIndexParserFactory::createParser(2).get()));
    EXPECT_NE(nullptr, dynamic_cast<RecordIndexInfoParserV3*>(RecordIndexParserFactory::createParser(7).get()));
    EXPECT_NE(nullptr, dynamic_cast<RecordIndexInfoParserV3*>(RecordIndexParserFactory::createParser(-1).get()));
}

TEST_F(RecordIndexInfoParserTest, WalkGivesTimeAndPositionOfEveryItem) {
    for (int version : {0, 1, 2}) {
        Bytes area = version == 2 ? v3Area({fourItems()}) : encode(version, fourItems());
        auto parser = RecordIndexParserFactory::createParser(version);
        parser->setIndexInfo(text(area), size(area), 5000);
        auto items = walkAll(*parser);
        ASSERT_EQ(4u, items.size()) << version;
        int times[] = {3, 5, 20, 21};
        int positions[] = {0, 188, 564, 1316};
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(times[i], items[i].nTime);
            EXPECT_EQ(positions[i], items[i].nFilePos);
        }
        EXPECT_TRUE(items[2].bLong);
        EXPECT_EQ(15 * 188, parser->getValidDataLength());
        EXPECT_EQ(23, parser->getRecordFileTimeInterval());
        EXPECT_EQ(0, parser->checkFileIsLocked());
    }
}

TEST_F(RecordIndexInfoParserTest, SizeAndTimeInfoCountsLongItemsAndGaps) {
    Bytes area = v3Area({fourItems()});
    RecordIndexInfoParserV3 parser;
    parser.setIndexInfo(text(area), size(area), 0);
    int data = 0, time = 0, interval = 0;
    parser.getRecordFileSizeAndTimeInfo(data, time, interval);
    EXPECT_EQ(15 * 188, data);
    // shorts 3 + 2 + 1, before the long item 3, c = 2, last length 2
    EXPECT_EQ(6 + 3 + 2 + 2, time);
    EXPECT_EQ(23, interval);

    parser.setIndexInfo(text(area), 8, 0);  // head CRC only
    parser.getRecordFileSizeAndTimeInfo(data, time, interval);
    EXPECT_EQ(0, data);
    EXPECT_EQ(0, time);
    EXPECT_EQ(0, interval);
}

TEST_F(RecordIndexInfoParserTest, TimeSegmentsStartAtIFramesAndBreakAtLongItems) {
    Bytes area = v3Area({{makeItem(0, 1, 1, false), makeItem(1, 1, 1, true), makeItem(2, 2, 1, false),
                          makeItem(20, 1, 1, true), makeItem(1, 2, 1, false)}});
    RecordIndexInfoParserV3 parser;
    parser.setIndexInfo(text(area), size(area), 0);
    std::map<int, int> segments;
    int interval = 0, data = 0;
    parser.getRecordFileTimeSegmentList(segments, interval, data);
    EXPECT_EQ((std::map<int, int>{{1, 5}, {20, 23}}), segments);
    EXPECT_EQ(23, interval);
    EXPECT_EQ(5 * 188, data);

    // One I-frame item of no length: no span, and no time at all.
    Bytes single = v3Area({{makeItem(4, 0, 1, true)}});
    parser.setIndexInfo(text(single), size(single), 0);
    segments.clear();
    parser.getRecordFileTimeSegmentList(segments, interval, data);
    EXPECT_TRUE(segments.empty());
    EXPECT_EQ(0, interval);
}

TEST_F(RecordIndexInfoParserTest, LockCoversStraddlingItemButUnlockDoesNot) {
    // Items begin at 1000, 1002 and 1005; each lasts 3 s but the first (2 s).
    std::vector<Item> items{makeItem(0, 2, 1, true), makeItem(2, 3, 1, true), makeItem(3, 3, 1, false)};
    for (int version : {0, 1, 2}) {
        Bytes area = version == 2 ? v3Area({items}) : encode(version, items);
        Bytes original = area;
        auto parser = RecordIndexParserFactory::createParser(version);
        parser->setIndexInfo(text(area), size(area), 1000);
        EXPECT_EQ(2, parser->lockFile(1002, 1005));
        auto walked = walkAll(*parser);
        ASSERT_EQ(3u, walked.size());
        EXPECT_FALSE(walked[0].bLocked);
        EXPECT_TRUE(walked[1].bLocked);
        EXPECT_TRUE(walked[2].bLocked);
        EXPECT_EQ(1, parser->checkFileIsLocked());
        // Nothing but the lock bits changed.
        for (size_t i = 0; i < area.size(); ++i) {
            EXPECT_EQ(original[i], area[i] & ~(static_cast<int>(i) == walked[1].nOffset ||
                                                       static_cast<int>(i) == walked[2].nOffset
                                                   ? 0x08
                                                   : 0x00))
                << "byte " << i;
        }

        EXPECT_EQ(1, parser->unLockFile(1002, 1005));
        walked = walkAll(*parser);
        EXPECT_FALSE(walked[1].bLocked);
        EXPECT_TRUE(walked[2].bLocked);  // 1005 + 3 > 1005
        EXPECT_EQ(3, parser->unLockFile(1000, 1008));
        EXPECT_EQ(original, area);
    }
}

TEST_F(RecordIndexInfoParserTest, V1AndV2EndPosStepsOverItems) {
    RecordIndexInfoParserV1 v1;
    RecordIndexInfoParserV2 v2;
    int result = 0;
    Bytes items1 = encode(0, fourItems());  // 3 + 3 + 7 + 3 = 16 bytes
    Bytes withFiller = items1;
    withFiller.insert(withFiller.end(), 10, 0xFF);
    EXPECT_EQ(15, v1.getIndexEndPos(text(withFiller), size(withFiller), result));
    EXPECT_EQ(1, result);
    EXPECT_EQ(15, v1.getIndexEndPos(text(items1), size(items1), result));
    Bytes nextHead = items1;
    append(nextHead, Bytes{0x00, 0x00, 0x00, 0x01, 0x30});
    EXPECT_EQ(15, v1.getIndexEndPos(text(nextHead), size(nextHead), result));
    Bytes shortZeros = items1;
    append(shortZeros, Bytes{0x00, 0x00, 0x00});
    EXPECT_EQ(15, v1.getIndexEndPos(text(shortZeros), size(shortZeros), result));
    // A long item cut by the end: the area ends before it.
    Bytes cut(items1.begin(), items1.begin() + 9);
    EXPECT_EQ(5, v1.getIndexEndPos(text(cut), size(cut), result));

    Bytes items2 = encode(1, fourItems());  // 4 + 4 + 8 + 4 = 20 bytes
    Bytes filler2 = items2;
    filler2.insert(filler2.end(), 4, 0xFF);
    EXPECT_EQ(19, v2.getIndexEndPos(text(filler2), size(filler2), result));
    EXPECT_EQ(1, result);
    // Zeros with room for a start code are stepped over like items.
    Bytes zeros2 = items2;
    zeros2.insert(zeros2.end(), 8, 0x00);
    EXPECT_EQ(27, v2.getIndexEndPos(text(zeros2), size(zeros2), result));

    EXPECT_EQ(-1, v2.getIndexEndPos(text(items2), 0, result));
    EXPECT_EQ(1, result);
}

TEST_F(RecordIndexInfoParserTest, V3EndPosAndClosedFlag) {
    RecordIndexInfoParserV3 parser;
    int result = -1;
    Bytes closed = v3Area({fourItems()});
    int length = size(closed);

    Bytes ff = closed;
    ff.insert(ff.end(), 16, 0xFF);
    EXPECT_EQ(length - 1, parser.getIndexEndPos(text(ff), size(ff), result));
    EXPECT_EQ(1, result);

    Bytes zeros = closed;
    zeros.insert(zeros.end(), 16, 0x00);
    EXPECT_EQ(length - 1, parser.getIndexEndPos(text(zeros), size(zeros), result));
    EXPECT_EQ(1, result);

    Bytes nextHead = closed;
    append(nextHead, Bytes{0x00, 0x00, 0x00, 0x01, 0x41, 0x2C});
    EXPECT_EQ(length - 1, parser.getIndexEndPos(text(nextHead), size(nextHead), result));
    EXPECT_EQ(1, result);

    // Head CRC alone is a properly closed entry.
    Bytes fresh = headCrc();
    fresh.insert(fresh.end(), 8, 0xFF);
    EXPECT_EQ(7, parser.getIndexEndPos(text(fresh), size(fresh), result));
    EXPECT_EQ(1, result);

    // Items that the power cut left without their CRC item.
    Bytes open = headCrc();
    append(open, encode(2, fourItems()));
    int openLength = size(open);
    open.insert(open.end(), 8, 0xFF);
    EXPECT_EQ(openLength - 1, parser.getIndexEndPos(text(open), size(open), result));
    EXPECT_EQ(0, result);

    // A CRC item whose length does not lead back to the previous one.
    Bytes wrongLength = headCrc();
    Bytes items = encode(2, fourItems());
    append(wrongLength, items);
    append(wrongLength, crcItem(items, size(items) + 4));
    wrongLength.insert(wrongLength.end(), 4, 0xFF);
    parser.getIndexEndPos(text(wrongLength), size(wrongLength), result);
    EXPECT_EQ(0, result);

    result = 0;
    EXPECT_EQ(-1, parser.getIndexEndPos(text(closed), 0, result));
    EXPECT_EQ(1, result);
}

TEST_F(RecordIndexInfoParserTest, V3ZerosOffTheItemGridAreCrcDataNotTheEnd) {
    RecordIndexInfoParserV3 parser;
    Bytes area{0xF1, 0xE0, 0x00, 0x00, 0x00, 0x00, 0x12, 0x34,  // length 0, CRC 0x34120000
               0x24, 0xE0, 0x01, 0x00};
    int result = 0;
    EXPECT_EQ(11, parser.getIndexEndPos(text(area), size(area), result));
    EXPECT_EQ(1, result);
}

// The area of a V3 entry cut at every byte: nothing is read past the cut,
// complete items stand, and only the whole entry (or the head CRC alone)
// counts as closed and undamaged.
TEST_F(RecordIndexInfoParserTest, V3AreaCutAtEveryOffset) {
    std::vector<Item> group1 = fourItems();
    std::vector<Item> group2{makeItem(2, 1, 3, true), makeItem(1, 1, 5, false)};
    Bytes whole = v3Area({group1, group2});
    int full = size(whole);

    RecordIndexInfoParserV3 reference;
    reference.setIndexInfo(text(whole), full, 100);
    auto expected = walkAll(reference);
    ASSERT_EQ(6u, expected.size());
    int group1End = 8 + size(encode(2, group1)) + 8;

    for (int cut = 0; cut <= full; ++cut) {
        SCOPED_TRACE(cut);
        auto copy = exactCopy(whole, cut);
        RecordIndexInfoParserV3 parser;
        int result = -1;
        EXPECT_EQ(cut - 1, parser.getIndexEndPos(copy.get(), cut, result));
        EXPECT_EQ(1, result);

        parser.setIndexInfo(copy.get(), cut, 100);
        EXPECT_EQ(cut - cut % 4, parser.getUsableLength());
        auto items = walkAll(parser);
        ASSERT_LE(items.size(), expected.size());
        for (size_t i = 0; i < items.size(); ++i) {
            EXPECT_EQ(expected[i].nTime, items[i].nTime);
            EXPECT_EQ(expected[i].nFilePos, items[i].nFilePos);
            EXPECT_LE(items[i].nOffset + items[i].nItemLength, cut);
        }
        parser.getValidDataLength();
        parser.getRecordFileTimeInterval();
        bool boundary = cut == 0 || cut == 8 || cut == group1End || cut == full;
        EXPECT_EQ(boundary ? 0 : 1, parser.isIndexInfoNeedRepaire(cut));

        // The same cut followed by the FF filler, as a power cut leaves it.
        Bytes filled(whole.begin(), whole.begin() + cut);
        filled.insert(filled.end(), 4, 0xFF);
        auto filledCopy = exactCopy(filled, size(filled));
        EXPECT_EQ(cut - 1, parser.getIndexEndPos(filledCopy.get(), size(filled), result));
        bool closed = cut == 0 || cut == 8 || cut == group1End || cut == full;
        if (cut == 0) closed = false;  // FF at 0: no CRC item before it
        EXPECT_EQ(closed ? 1 : 0, result);
    }
}

TEST_F(RecordIndexInfoParserTest, V3DamageCheckFindsBadCrcAndTrailingItems) {
    std::vector<Item> group{makeItem(1, 1, 1, true), makeItem(1, 1, 1, false)};
    Bytes good = v3Area({group, group});
    RecordIndexInfoParserV3 parser;
    parser.setIndexInfo(text(good), size(good), 0);
    EXPECT_EQ(0, parser.isIndexInfoNeedRepaire(size(good)));
    EXPECT_EQ(1, parser.isIndexInfoNeedRepaire(size(good) + 4));

    Bytes flipped = good;
    flipped[9] ^= 0x01;  // the alarm bit of the first item
    parser.setIndexInfo(text(flipped), size(flipped), 0);
    EXPECT_EQ(1, parser.isIndexInfoNeedRepaire(size(flipped)));

    Bytes trailing = good;
    append(trailing, encode(2, group));
    parser.setIndexInfo(text(trailing), size(trailing), 0);
    EXPECT_EQ(1, parser.isIndexInfoNeedRepaire(size(trailing)));
    EXPECT_EQ(6u, walkAll(parser).size());  // still readable

    RecordIndexInfoParserV2 v2;
    v2.setIndexInfo(text(trailing), size(trailing), 0);
    EXPECT_EQ(0, v2.isIndexInfoNeedRepaire(size(trailing)));
}

// The writer stores 0xEE for a top CRC byte of 0xFF and no reader undoes
// it: such a group checks as damaged.
TEST_F(RecordIndexInfoParserTest, GroupWhoseCrcWasChangedChecksAsDamaged) {
    Bytes items;
    for (int packets = 1; packets < 65536; ++packets) {
        items = encode(2, {makeItem(1, 1, packets, true)});
        if ((RecordCrc32::getInstance()->getCrc32(items.data(), 4) >> 24) == 0xFF) break;
    }
    ASSERT_EQ(0xFFu, RecordCrc32::getInstance()->getCrc32(items.data(), 4) >> 24);
    Bytes area = headCrc();
    append(area, items);
    Bytes crc = crcItem(items);
    EXPECT_EQ(0xEE, crc[7]);
    append(area, crc);
    RecordIndexInfoParserV3 parser;
    parser.setIndexInfo(text(area), size(area), 0);
    EXPECT_EQ(1, parser.isIndexInfoNeedRepaire(size(area)));
    EXPECT_EQ(1u, walkAll(parser).size());
}

TEST_F(RecordIndexInfoParserTest, V3WalkIgnoresBytesBeyondLastWordAndSkipsCrcItems) {
    Bytes area = v3Area({{makeItem(1, 1, 1, true)}});
    area.push_back(0x24);  // a stray byte off the word grid
    area.push_back(0xE0);
    RecordIndexInfoParserV3 parser;
    parser.setIndexInfo(text(area), size(area), 0);
    EXPECT_EQ(size(area) - 2, parser.getUsableLength());
    EXPECT_EQ(1u, walkAll(parser).size());

    char* p = text(area);
    int left = size(area);
    EXPECT_EQ(8, parser.filterCrcItem(p, left, left));
    EXPECT_EQ(text(area) + 8, p);
    EXPECT_EQ(size(area) - 8, left);
    EXPECT_EQ(0, parser.filterCrcItem(p, left, left));
}

TEST_F(RecordIndexInfoParserTest, V1AndV2WalksStopAtCutItemsAndFiller) {
    Bytes v1 = encode(0, fourItems());
    for (int cut = 0; cut <= size(v1); ++cut) {
        auto copy = exactCopy(v1, cut);
        RecordIndexInfoParserV1 parser;
        parser.setIndexInfo(copy.get(), cut, 0);
        auto items = walkAll(parser);
        int expected = cut >= 16 ? 4 : cut >= 13 ? 3 : cut >= 6 ? 2 : cut >= 3 ? 1 : 0;
        EXPECT_EQ(static_cast<size_t>(expected), items.size()) << cut;
        int result = 0;
        parser.getIndexEndPos(copy.get(), cut, result);
    }
    Bytes v2 = encode(1, fourItems());
    v2.push_back(0xFF);
    append(v2, encode(1, fourItems()));
    RecordIndexInfoParserV2 parser;
    parser.setIndexInfo(text(v2), size(v2), 0);
    EXPECT_EQ(4u, walkAll(parser).size());
}

}  // namespace

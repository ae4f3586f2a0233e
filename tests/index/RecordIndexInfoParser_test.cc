#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <vector>

#include "index/RecordIndexCrcItemParser.h"
#include "index/RecordIndexInfoParserV1.h"
#include "index/RecordIndexInfoParserV2.h"
#include "index/RecordIndexInfoParserV3.h"
#include "index/RecordIndexItemParserV1.h"
#include "index/RecordIndexItemParserV2.h"
#include "index/RecordIndexItemParserV3.h"
#include "index/RecordIndexParserFactory.h"
#include "tests/index/RecordIndexImageBuilder.h"
#include "tests/support/HostRootGuard.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Codec = RecordIndexCodec;
using Item = Codec::ItemInfo;
using Builder = RecordIndexImageBuilder;

Item makeItem(int interval, int timeLength, int packets, bool iFrame, bool locked = false) {
    Item item;
    item.nTimeInterval = interval;
    item.nTimeLength = timeLength;
    item.nDataLength = packets * Codec::kTsPacketSize;
    item.nIndexType = iFrame ? 1 : 0;
    item.bLocked = locked;
    return item;
}

Bytes encode(int version, std::vector<Item> const& items) { return Builder::encodeItems(version, items); }
Bytes crcItem(Bytes const& covered, int length = -1) { return Builder::crcItem(covered, length); }

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

// t = 3, 5, 20 (long), 21; data at 0, 188, 564, 1316.
std::vector<Item> fourItems() {
    return {makeItem(3, 2, 1, false), makeItem(2, 3, 2, true), makeItem(20, 1, 4, true), makeItem(1, 2, 8, false)};
}

// Parser logs go to a folder of the test's own.
class RecordIndexInfoParserTest : public ::testing::Test {
protected:
    HostRootGuard m_root;
};

TEST(RecordIndexItemParserTest, ItemParsersReadEachVersionAndEditOnlyTheLockBit) {
    Bytes v1{0x9E, 0x02, 0x01, 0xF0, 0x20, 0x01, 0x00, 0xE1, 0xFF, 0xFF};
    RecordIndexItemParserV1 p1;
    int length = 0;
    ASSERT_EQ(1, p1.parse(text(v1) + 3, length));
    EXPECT_TRUE(length == 7 && p1.getTimeInterval() == 0x120 && p1.getDataLength() == 0xFFFF * 188);
    ASSERT_EQ(1, p1.parse(text(v1), length));
    EXPECT_TRUE(length == 3 && p1.isLocked() && p1.getIndexType() == 1 && p1.getTimeLength() == 2);
    EXPECT_EQ(0, p1.parse(text(v1), 10, length));  // no bounded form in V1 and V2
    Bytes v2{0x13, 0xE1, 0x05, 0x00, 0xF0, 0x10, 0x00, 0x00, 0xEC, 0xE0, 0x00, 0x01};
    RecordIndexItemParserV2 p2;
    ASSERT_EQ(1, p2.parse(text(v2), length));
    EXPECT_TRUE(length == 4 && p2.isAlarm() && p2.getTimeLength() == 3 && p2.getDataLength() == 5 * 188);
    ASSERT_EQ(1, p2.parse(text(v2) + 4, length));
    EXPECT_TRUE(length == 8 && !p2.isAlarm() && p2.isLocked() && p2.getTimeInterval() == 16);
    EXPECT_EQ(0, p2.parse(text(v2), 4, length));
    RecordIndexItemParserV3 p3;
    EXPECT_EQ(0, p3.parse(text(v2) + 4, 7, length));  // a long item needs 8 bytes
    p3.unLock(text(v2) + 4);                           // byte 4 behind F0
    p3.lock(text(v2));
    EXPECT_EQ((Bytes{0x1B, 0xE1, 0x05, 0x00, 0xF0, 0x10, 0x00, 0x00, 0xE4, 0xE0, 0x00, 0x01}), v2);
    RecordIndexCrcItemParser crc;
    Bytes item{0xF1, 0xE0, 0x10, 0x00, 0xDE, 0x5B, 0x90, 0x40};
    EXPECT_EQ(0, crc.parse(exactCopy(item, 7).get(), 7, length));
    ASSERT_EQ(1, crc.parse(text(item), 8, length));
    EXPECT_TRUE(length == 8 && crc.getCrcIndexInfoLength() == 16 && crc.getCrcCode() == 0x40905BDEu);
    length = -1;
    EXPECT_EQ(1, crc.parse(text(v1), 4, length));  // not a CRC item: nothing read
    EXPECT_EQ(-1, length);
}

// The factory's parser of each version walks what the encoder wrote.
TEST_F(RecordIndexInfoParserTest, WalkGivesTimeAndPositionOfEveryItem) {
    for (int version : {7, -1}) {  // unknown versions are read as V3
        EXPECT_NE(nullptr, dynamic_cast<RecordIndexInfoParserV3*>(RecordIndexParserFactory::createParser(version).get()));
    }
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
        int data = 0, time = 0, interval = 0;
        parser->getRecordFileSizeAndTimeInfo(data, time, interval);
        // shorts 3 + 2 + 1, before the long item 3, c = 2, last length 2
        EXPECT_EQ(15 * 188, data);
        EXPECT_EQ(6 + 3 + 2 + 2, time);
        EXPECT_EQ(23, interval);
        parser->setIndexInfo(text(area), version == 2 ? 8 : 0, 0);  // no item
        parser->getRecordFileSizeAndTimeInfo(data, time, interval);
        EXPECT_EQ(0, data + time + interval);
    }
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

// Lock takes an item that begins in the range, unlock one that also ends
// in it; V3 renews the CRC items, so the area stays intact.
TEST_F(RecordIndexInfoParserTest, LockCoversStraddlingItemButUnlockDoesNot) {
    // Items begin at 1000, 1002 and 1005; each lasts 3 s but the first (2 s).
    auto items = [](bool second, bool third) {
        return std::vector<Item>{makeItem(0, 2, 1, true), makeItem(2, 3, 1, true, second),
                                 makeItem(3, 3, 1, false, third)};
    };
    auto area = [](int version, std::vector<Item> const& list) {
        return version == 2 ? v3Area({list}) : encode(version, list);
    };
    for (int version : {0, 1, 2}) {
        SCOPED_TRACE(version);
        Bytes bytes = area(version, items(false, false));
        auto parser = RecordIndexParserFactory::createParser(version);
        parser->setIndexInfo(text(bytes), size(bytes), 1000);
        EXPECT_EQ(2, parser->lockFile(1002, 1005));
        EXPECT_EQ(area(version, items(true, true)), bytes);
        EXPECT_EQ(1, parser->checkFileIsLocked());
        EXPECT_EQ(0, parser->isIndexInfoNeedRepaire(size(bytes)));
        EXPECT_EQ(1, parser->unLockFile(1002, 1005));
        EXPECT_EQ(area(version, items(false, true)), bytes);  // 1005 + 3 > 1005
        EXPECT_EQ(3, parser->unLockFile(1000, 1008));
        EXPECT_EQ(area(version, items(false, false)), bytes);
        EXPECT_EQ(0, parser->isIndexInfoNeedRepaire(size(bytes)));
    }
}

// Both step item by item; a walk stops at FF or at an item cut by the end.
TEST_F(RecordIndexInfoParserTest, V1AndV2EndPosAndWalkStepOverItems) {
    RecordIndexInfoParserV1 v1;
    RecordIndexInfoParserV2 v2;
    int result = 0;
    Bytes items1 = encode(0, fourItems());  // 3 + 3 + 7 + 3 = 16 bytes
    for (int cut = 0; cut <= size(items1); ++cut) {
        auto copy = exactCopy(items1, cut);
        v1.setIndexInfo(copy.get(), cut, 0);
        int expected = cut >= 16 ? 4 : cut >= 13 ? 3 : cut >= 6 ? 2 : cut >= 3 ? 1 : 0;
        EXPECT_EQ(static_cast<size_t>(expected), walkAll(v1).size()) << cut;
    }
    for (Bytes tail : {Bytes(10, 0xFF), Bytes{}, Bytes{0x00, 0x00, 0x00, 0x01, 0x30}, Bytes{0x00, 0x00, 0x00}}) {
        Bytes bytes = items1;
        append(bytes, tail);
        EXPECT_EQ(15, v1.getIndexEndPos(text(bytes), size(bytes), result));
        EXPECT_EQ(1, result);
    }
    Bytes cut(items1.begin(), items1.begin() + 9);  // a long item cut: the area ends before it
    EXPECT_EQ(5, v1.getIndexEndPos(text(cut), size(cut), result));
    Bytes items2 = encode(1, fourItems());  // 4 + 4 + 8 + 4 = 20 bytes
    Bytes filler2 = items2;
    filler2.insert(filler2.end(), 4, 0xFF);
    EXPECT_EQ(19, v2.getIndexEndPos(text(filler2), size(filler2), result));
    append(filler2, items2);
    v2.setIndexInfo(text(filler2), size(filler2), 0);
    EXPECT_EQ(4u, walkAll(v2).size());
    // Zeros with room for a start code are stepped over like items.
    Bytes zeros2 = items2;
    zeros2.insert(zeros2.end(), 8, 0x00);
    EXPECT_EQ(27, v2.getIndexEndPos(text(zeros2), size(zeros2), result));
    EXPECT_EQ(-1, v2.getIndexEndPos(text(items2), 0, result));
    EXPECT_EQ(1, result);
}

TEST_F(RecordIndexInfoParserTest, V3EndPosAndClosedFlag) {
    RecordIndexInfoParserV3 parser;
    Bytes closed = v3Area({fourItems()});
    Bytes items = encode(2, fourItems());
    Bytes open = headCrc();  // items that a power cut left without their CRC item
    append(open, items);
    Bytes wrongLength = headCrc();  // a CRC item whose length does not lead back
    append(wrongLength, items);
    append(wrongLength, crcItem(items, size(items) + 4));
    struct Case {
        Bytes area;
        Bytes tail;
        int flag;
    } cases[] = {
        {closed, Bytes(16, 0xFF), 1},
        {closed, Bytes(16, 0x00), 1},
        {closed, Bytes{0x00, 0x00, 0x00, 0x01, 0x41, 0x2C}, 1},  // the next head
        {headCrc(), Bytes(8, 0xFF), 1},                          // head CRC alone
        {open, Bytes(8, 0xFF), 0},
        {wrongLength, Bytes(4, 0xFF), 0},
        // Zeros off the item grid lie inside a CRC item: not the end.
        {Bytes{0xF1, 0xE0, 0x00, 0x00, 0x00, 0x00, 0x12, 0x34, 0x24, 0xE0, 0x01, 0x00}, Bytes{}, 1},
    };
    for (auto& c : cases) {
        Bytes bytes = c.area;
        append(bytes, c.tail);
        int result = -1;
        EXPECT_EQ(size(c.area) - 1, parser.getIndexEndPos(text(bytes), size(bytes), result));
        EXPECT_EQ(c.flag, result);
    }
    int result = 0;
    EXPECT_EQ(-1, parser.getIndexEndPos(text(closed), 0, result));
    EXPECT_EQ(1, result);
}

// CRC items must state length and CRC of the items before and cover every
// byte: trailing items are damage, though they read; a stray byte is ignored.
TEST_F(RecordIndexInfoParserTest, V3DamageCheckFindsBadCrcAndTrailingItems) {
    std::vector<Item> group{makeItem(1, 1, 1, true), makeItem(1, 1, 1, false)};
    Bytes good = v3Area({group, group});
    Bytes flipped = good;
    flipped[9] ^= 0x01;  // the alarm bit of the first item
    Bytes trailing = good;
    append(trailing, encode(2, group));
    RecordIndexInfoParserV3 parser;
    for (auto* area : {&good, &flipped, &trailing}) {
        area->push_back(0x24);
        parser.setIndexInfo(text(*area), size(*area), 0);
        EXPECT_EQ(size(*area) - 1, parser.getUsableLength());
        EXPECT_EQ(area == &good ? 0 : 1, parser.isIndexInfoNeedRepaire(size(*area) - 1));
    }
    EXPECT_EQ(6u, walkAll(parser).size());
    char* p = text(trailing);
    int left = size(trailing);
    EXPECT_EQ(8, parser.filterCrcItem(p, left, left));
    EXPECT_EQ(size(trailing) - 8, left);
    EXPECT_EQ(0, parser.filterCrcItem(p, left, left));
    RecordIndexInfoParserV2 v2;
    v2.setIndexInfo(text(trailing), size(trailing), 0);
    EXPECT_EQ(0, v2.isIndexInfoNeedRepaire(size(trailing)));
}

// A top CRC byte of FF is stored as EE, never undone: damage, also after a lock.
TEST_F(RecordIndexInfoParserTest, GroupWhoseCrcWasChangedChecksAsDamaged) {
    Bytes items;
    for (int packets = 1; packets < 65536; ++packets) {
        items = encode(2, {makeItem(1, 1, packets, true, true)});
        if ((RecordCrc32::getInstance()->getCrc32(items.data(), 4) >> 24) == 0xFF) break;
    }
    Bytes crc = crcItem(items);
    ASSERT_EQ(0xEE, crc[7]);
    Bytes area = headCrc();
    append(area, items);
    append(area, crc);
    RecordIndexInfoParserV3 parser;
    parser.setIndexInfo(text(area), size(area), 0);
    EXPECT_EQ(1, parser.isIndexInfoNeedRepaire(size(area)));
    EXPECT_EQ(1u, walkAll(parser).size());
    Bytes unlockedItems = items;
    unlockedItems[0] &= ~Codec::kFlagLocked;
    Bytes unlocked = headCrc();
    append(unlocked, unlockedItems);
    append(unlocked, crcItem(unlockedItems));
    parser.setIndexInfo(text(unlocked), size(unlocked), 0);
    ASSERT_EQ(0, parser.isIndexInfoNeedRepaire(size(unlocked)));
    EXPECT_EQ(1, parser.lockFile(0, 10));
    EXPECT_EQ(area, unlocked);  // EE, as the writer stores it
    EXPECT_EQ(1, parser.isIndexInfoNeedRepaire(size(unlocked)));

    // A checker may tell such a run from damage, also once an unlock changed
    // its items under the old CRC; any other CRC still is damage.
    parser.setAcceptReplacedCrc(true);
    EXPECT_EQ(0, parser.isIndexInfoNeedRepaire(size(unlocked)));
    EXPECT_EQ(1, parser.unLockFile(0, 10));
    EXPECT_NE(area, unlocked);
    EXPECT_EQ(0, parser.isIndexInfoNeedRepaire(size(unlocked)));
    unlocked.back() = 0xED;
    EXPECT_EQ(1, parser.isIndexInfoNeedRepaire(size(unlocked)));
}

}  // namespace

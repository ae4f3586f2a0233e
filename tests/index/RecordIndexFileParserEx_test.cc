#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "directory/EarliestFileDeleteHandler.h"
#include "host/HostPaths.h"
#include "directory/EarliestFileInfoList.h"
#include "directory/RecordOutDateFileHandler.h"
#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexCache.h"
#include "index/RecordIndexFileParserEx.h"
#include "retrieval/SingleDeviceRecordQuery.h"
#include "tests/index/RecordIndexImageBuilder.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

using Builder = RecordIndexImageBuilder;
using Codec = RecordIndexCodec;
using FileList = RecordIndexParserImplEx::FileList;

constexpr long long kT0 = 1706688000LL;  // 2024-01-31 08:00:00 UTC
char const* const kDate = "2024-01-31";
char const* const kDevice = "NVR_10.0.0.2_1";

std::string fileName(int number) {
    char name[64];
    std::snprintf(name, sizeof(name), "%05d-NVR_10.0.0.2_1_20240131%02d0000.ts", number,
                  8 + number);
    return name;
}

std::set<std::string> namesOf(FileList const& list) {
    std::set<std::string> names;
    for (auto const& file : list) names.insert(file->getRecordFileName());
    return names;
}

// Three entries as a day of one channel writes them: two of ten minutes
// back to back, then one of 80 s after a gap.
Builder standardImage() {
    Builder builder;
    builder.addEntry(fileName(1), kT0, Builder::steadyItems(300));
    builder.addEntry(fileName(2), kT0 + 600, Builder::steadyItems(300));
    builder.addEntry(fileName(3), kT0 + 3600, Builder::steadyItems(40));
    return builder;
}

class RecordIndexFileParserExTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_info.setRecordRootDir(m_dir.root());
        m_info.setDiskType(1);
    }

    std::string relIndex(int storageType = 0) const {
        std::string whole =
            RecordIndexFileParserEx::getIndexFileName(m_dir.root(), kDate, kDevice, storageType);
        return whole.substr(m_dir.root().size() + 1);
    }
    void writeIndex(std::string const& bytes, int storageType = 0) const {
        ASSERT_TRUE(m_dir.writeFile(relIndex(storageType), bytes));
    }
    std::string readIndex(int storageType = 0) const { return m_dir.readFile(relIndex(storageType)); }
    std::string dateDir() const {
        return std::string("record/") + kDevice + "/" + kDate;
    }
    int open(RecordIndexFileParserEx& parser, int mode = 0, int storageType = 0) const {
        return parser.open(m_info, kDate, kDevice, storageType, mode);
    }
    FileList intact(RecordIndexFileParserEx& parser) const {
        FileList list;
        parser.getParser().getRepairedRecordFileInfoList(list);
        return list;
    }
    FileList damaged(RecordIndexFileParserEx& parser) const {
        FileList list;
        parser.getIndexDemagedFileList(list);
        return list;
    }

    HostRootGuard m_logRoot;  // parser logs stay in a folder of the test's own
    TempDir m_dir;
    RecordDirInfoEx m_info;
};

TEST_F(RecordIndexFileParserExTest, IndexFileNamesFollowStorageType) {
    std::string base = "/r/record/NVR_10.0.0.2_1/2024-01-31/";
    EXPECT_EQ(base + "NVR_10.0.0.2_1_2024-01-31.index",
              RecordIndexFileParserEx::getIndexFileName("/r", kDate, kDevice, 0));
    EXPECT_EQ(base + "NVR_10.0.0.2_1_2024-01-31.bakindex",
              RecordIndexFileParserEx::getIndexFileName("/r", kDate, kDevice, 1));
    EXPECT_EQ(base + "NVR_10.0.0.2_1_2024-01-31.reindex",
              RecordIndexFileParserEx::getIndexFileName("/r", kDate, kDevice, 3));
    EXPECT_EQ("/r/record/NVR_10.0.0.2_1_x/2024-01-31/NVR_10.0.0.2_1_2024-01-31.index",
              RecordIndexFileParserEx::getIndexFileName("/r", kDate, "NVR_10.0.0.2_1_x", 4));
    EXPECT_EQ("", RecordIndexFileParserEx::getIndexFileName("/r", kDate, "NVR_1", 4));
}

TEST_F(RecordIndexFileParserExTest, OpensFreshFileAndListsEveryEntry) {
    Builder builder = standardImage();
    ASSERT_FALSE(builder.isCrcAltered());
    for (char fill : {'\0', '\xFF'}) {
        writeIndex(builder.image(Codec::kFreshIndexFileSize, fill));
        RecordIndexFileParserEx parser;
        ASSERT_EQ(1, open(parser));
        int length = 0;
        EXPECT_NE(nullptr, parser.getIndexInfo(length));
        EXPECT_EQ(Codec::kFreshIndexFileSize, length);
        EXPECT_EQ(3, parser.getFileNumber());
        EXPECT_TRUE(damaged(parser).empty());

        FileList all;
        parser.getRecordFileInfoList(0, kT0 + 86400, all);
        ASSERT_EQ(3u, all.size());
        EXPECT_EQ(fileName(2), all[1]->getRecordFileName());
        EXPECT_EQ(kT0 + 600, all[1]->getRecordBeginTime());
        EXPECT_EQ(kT0 + 1200, all[1]->getRecordEndTime());
        EXPECT_EQ("NVR", all[1]->getDeviceId());
        EXPECT_EQ("10.0.0.2", all[1]->getDeviceIP());
        EXPECT_EQ(1, all[1]->getCameraId());
        EXPECT_EQ(kDate, all[1]->getRecordDate());
        FileList window;
        parser.getRecordFileInfoList(kT0 + 600, kT0 + 1200, window);
        EXPECT_EQ(std::set<std::string>{fileName(2)}, namesOf(window));

        RecordFileInfo first;
        RecordFileInfo last;
        int version = -1;
        ASSERT_EQ(1, parser.getEarliestRecordFileInfo(first));
        ASSERT_EQ(1, parser.getLastestFileInfo(last, version));
        EXPECT_EQ(fileName(1), first.getRecordFileName());
        EXPECT_EQ(fileName(3), last.getRecordFileName());
        EXPECT_EQ(3, last.getFileNumber());
        EXPECT_EQ(1920, last.getAVStreamInfo().getImageWidth());
        EXPECT_EQ(8, last.getAVStreamInfo().getTimeZone());
        EXPECT_EQ(Codec::kIndexVersion3, version);

        int data = 0, time = 0, interval = 0, end = 0;
        bool closed = false;
        ASSERT_EQ(1, parser.getRecordFileLenAndTimeLen(data, time, interval, end, closed));
        EXPECT_EQ(40 * 400 * 188, data);
        EXPECT_EQ(80, interval);
        EXPECT_EQ(builder.entries()[2].nEnd - 1, end);
        EXPECT_TRUE(closed);
        int headLength = 0;
        char* head = parser.getLastestIndexInfo(headLength);
        EXPECT_EQ(builder.entries()[2].nHeadLength, headLength);
        EXPECT_EQ(parser.getIndexInfo(length) + builder.entries()[2].nBegin, head);
    }
}

TEST_F(RecordIndexFileParserExTest, SizeLimitsAreZeroUpToOneMebibyte) {
    writeIndex("");
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    EXPECT_EQ(0, parser.getFileNumber());
    RecordFileInfo file;
    EXPECT_EQ(0, parser.getLastestFileInfo(file));
    int data = 1, time = 1, interval = 1, end = 0;
    bool closed = true;
    EXPECT_EQ(1, parser.getRecordFileLenAndTimeLen(data, time, interval, end, closed));
    EXPECT_EQ(0, data + time + interval);
    EXPECT_EQ(-1, end);

    Builder builder = standardImage();
    writeIndex(builder.image(Codec::kMaxIndexFileSize, '\xFF'));
    EXPECT_EQ(Codec::kMaxIndexFileSize,
              RecordIndexFileParserEx::getIndexFileLen(m_info, kDate, kDevice, 0));
    ASSERT_EQ(1, open(parser));
    EXPECT_EQ(3, parser.getFileNumber());

    writeIndex(builder.image(Codec::kMaxIndexFileSize + 1, '\xFF'));
    EXPECT_EQ(0, open(parser));
    EXPECT_EQ(0, parser.getFileNumber());
    std::ifstream log(HostPaths::getLogDir() + "/parserIndexLog.log");
    std::string text((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
    EXPECT_NE(std::string::npos, text.find("fileLength:1048577  open failed"));
}

TEST_F(RecordIndexFileParserExTest, MissingFileFailsAndIsNotCreatedByWritingMode) {
    RecordIndexFileParserEx parser;
    EXPECT_EQ(0, open(parser, RecordIndexFileParserEx::kModeChange));
    EXPECT_FALSE(m_dir.exists(relIndex()));
    EXPECT_EQ(-1, RecordIndexFileParserEx::getIndexFileLen(m_info, kDate, kDevice, 0));
}

// A power cut while the last entry was being written leaves the file cut at
// any byte of it. What came before stays whole; the last entry is gone (head
// incomplete), whole (cut where the writer had closed a group) or damaged.
TEST_F(RecordIndexFileParserExTest, CutAtEveryByteOfLastEntryKeepsTheOthers) {
    Builder builder = standardImage();
    auto const& last = builder.entries()[2];
    std::set<int> wholeCuts(last.groupEnds.begin(), last.groupEnds.end());
    wholeCuts.insert(last.nBegin + last.nHeadLength);                          // head only
    wholeCuts.insert(last.nBegin + last.nHeadLength + Codec::kCrcItemSize);  // and its CRC
    for (int cut = last.nBegin + 1; cut <= last.nEnd; ++cut) {
        SCOPED_TRACE(cut);
        writeIndex(builder.bytes().substr(0, cut));
        RecordIndexFileParserEx parser;
        ASSERT_EQ(1, open(parser));
        std::set<std::string> whole = namesOf(intact(parser));
        std::set<std::string> broken = namesOf(damaged(parser));
        EXPECT_TRUE(whole.count(fileName(1)) && !broken.count(fileName(1)));
        // One to three bytes of the next start code at the very end are fewer
        // zeros than end an item area, so they count as items of the entry
        // before, which then checks as damaged. Its items all read.
        bool startCodeCut = cut < last.nBegin + Codec::kStartCodeSize;
        EXPECT_EQ(!startCodeCut, whole.count(fileName(2)) > 0);
        EXPECT_EQ(startCodeCut, broken.count(fileName(2)) > 0);
        bool headComplete = cut >= last.nBegin + last.nHeadLength;
        EXPECT_EQ(headComplete ? 3 : 2, parser.getFileNumber());
        if (headComplete) {
            bool expectWhole = wholeCuts.count(cut) > 0;
            EXPECT_EQ(expectWhole, whole.count(fileName(3)) > 0);
            EXPECT_EQ(!expectWhole, broken.count(fileName(3)) > 0);
        }
        RecordQueryCondition condition;
        condition.setRecordQueryTimePrecision(3);
        RecordQueryResult result;
        SingleDeviceRecordQuery query(result, condition);
        query.setDate(kDate);
        EXPECT_EQ(1, parser.queryRecordSegmentList(&query, false));
        query.clear();
        ASSERT_FALSE(result.getRecordTimeSegmentList().empty());
        EXPECT_EQ(static_cast<unsigned long>(kT0), result.getRecordTimeSegmentList()[0].getRecordBeginTime());
        EXPECT_LE(result.getRecordTimeSegmentList().back().getRecordEndTime(),
                  static_cast<unsigned long>(kT0 + 3680));
    }
}

// A torn write: the last 512-byte sector holds new bytes up to some point
// and the old filler behind it.
TEST_F(RecordIndexFileParserExTest, TornLastSectorDamagesOnlyTheLastEntry) {
    Builder builder;
    builder.addEntry(fileName(1), kT0, Builder::steadyItems(300));
    builder.addEntry(fileName(2), kT0 + 600, Builder::steadyItems(300));
    auto const& last = builder.entries()[1];
    int sector = (last.nEnd - 1) / 512 * 512;
    ASSERT_GT(sector, last.nBegin + last.nHeadLength + Codec::kCrcItemSize);
    std::set<int> wholeCuts(last.groupEnds.begin(), last.groupEnds.end());
    for (char fill : {'\0', '\xFF'}) {
        std::string fresh = builder.image(Codec::kFreshIndexFileSize, fill);
        for (int torn = sector; torn <= last.nEnd; ++torn) {
            SCOPED_TRACE(torn);
            std::string image = fresh;
            std::fill(image.begin() + torn, image.begin() + sector + 512, fill);
            writeIndex(image);
            RecordIndexFileParserEx parser;
            ASSERT_EQ(1, open(parser));
            EXPECT_EQ(2, parser.getFileNumber());
            std::set<std::string> whole = namesOf(intact(parser));
            EXPECT_TRUE(whole.count(fileName(1)));
            bool expectWhole = wholeCuts.count(torn) > 0;
            EXPECT_EQ(expectWhole, whole.count(fileName(2)) > 0);
            EXPECT_EQ(!expectWhole, namesOf(damaged(parser)).count(fileName(2)) > 0);
        }
    }
}

TEST_F(RecordIndexFileParserExTest, RandomBytesInAGroupDamageOnlyThatEntry) {
    Builder builder = standardImage();
    auto const& victim = builder.entries()[1];
    std::mt19937 random(20240131);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        std::string image = builder.image(Codec::kFreshIndexFileSize, '\0');
        // Items of the third group only, never its CRC item; no zero byte, so
        // no start code can arise (zeros are the torn-tail case above).
        int groupBegin = victim.groupEnds[1];
        int itemsEnd = victim.groupEnds[2] - Codec::kCrcItemSize;
        int count = 1 + static_cast<int>(random() % 6);
        for (int i = 0; i < count; ++i) {
            int at = groupBegin + static_cast<int>(random() % (itemsEnd - groupBegin));
            char value = static_cast<char>(1 + random() % 255);
            if (value == image[at]) value = static_cast<char>(value ^ 0x40);
            image[at] = value;
        }
        writeIndex(image);
        RecordIndexFileParserEx parser;
        ASSERT_EQ(1, open(parser));
        std::set<std::string> whole = namesOf(intact(parser));
        EXPECT_EQ((std::set<std::string>{fileName(1), fileName(3)}), whole);
        EXPECT_EQ(std::set<std::string>{fileName(2)}, namesOf(damaged(parser)));
        RecordQueryCondition condition;
        condition.setRecordQueryTimePrecision(3);
        RecordQueryResult result;
        SingleDeviceRecordQuery query(result, condition);
        parser.queryRecordSegmentList(&query, true);
        query.clear();
    }
}

TEST_F(RecordIndexFileParserExTest, PaintedEntryIsInvisibleAndNotDamage) {
    Builder builder = standardImage();
    std::string image = builder.image(Codec::kFreshIndexFileSize, '\0');
    auto const& middle = builder.entries()[1];
    std::fill(image.begin() + middle.nBegin, image.begin() + middle.nEnd, '\xFF');
    writeIndex(image);
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    EXPECT_EQ(2, parser.getFileNumber());
    EXPECT_EQ((std::set<std::string>{fileName(1), fileName(3)}), namesOf(intact(parser)));
    EXPECT_TRUE(damaged(parser).empty());
}

TEST_F(RecordIndexFileParserExTest, HeadWithoutWidthOrWithImpossibleTimeIsNoEntry) {
    Builder builder;
    builder.addEntry(fileName(1), kT0, Builder::steadyItems(20));
    builder.addEntry(fileName(2), kT0 + 40, Builder::steadyItems(20), Codec::kIndexVersion3, 16,
                     true, 0, 1080);
    builder.addEntry(fileName(3), kT0 + 80, Builder::steadyItems(20));
    builder.addEntry(fileName(4), -kT0, Builder::steadyItems(20));  // a time no one records
    writeIndex(builder.image(4096, '\0'));
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    EXPECT_EQ(2, parser.getFileNumber());
    SafePointer<RecordFileInfo> file;
    EXPECT_EQ(0, parser.getRecordFileInfoByFileName(fileName(2).c_str(), file));
    EXPECT_EQ(1, parser.getRecordFileInfoByFileName(fileName(3).c_str(), file));
    EXPECT_EQ(kT0 + 80, file->getRecordBeginTime());
}

TEST_F(RecordIndexFileParserExTest, OpenLastGroupIsDamageButStillQueried) {
    Builder builder;
    builder.addEntry(fileName(1), kT0, Builder::steadyItems(40));
    builder.addEntry(fileName(2), kT0 + 600, Builder::steadyItems(20), Codec::kIndexVersion3, 16,
                     false);
    writeIndex(builder.image(Codec::kFreshIndexFileSize, '\xFF'));
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    EXPECT_EQ(std::set<std::string>{fileName(2)}, namesOf(damaged(parser)));
    int data = 0, time = 0, interval = 0, end = 0;
    bool closed = true;
    parser.getRecordFileLenAndTimeLen(data, time, interval, end, closed);
    EXPECT_FALSE(closed);
    EXPECT_EQ(40, interval);

    RecordQueryCondition condition;
    condition.setRecordQueryTimePrecision(3);
    RecordQueryResult result;
    SingleDeviceRecordQuery query(result, condition);
    parser.queryRecordSegmentList(&query, false);
    query.clear();
    auto const& segments = result.getRecordTimeSegmentList();
    ASSERT_EQ(2u, segments.size());
    EXPECT_EQ(static_cast<unsigned long>(kT0 + 600), segments[1].getRecordBeginTime());
    EXPECT_EQ(static_cast<unsigned long>(kT0 + 640), segments[1].getRecordEndTime());
}

TEST_F(RecordIndexFileParserExTest, OlderVersionsReadAndAreNeverDamage) {
    Builder builder;
    builder.addEntry(fileName(1), kT0, Builder::steadyItems(30), Codec::kIndexVersion1);
    builder.addEntry(fileName(2), kT0 + 60, Builder::steadyItems(30), Codec::kIndexVersion2);
    builder.addEntry(fileName(3), kT0 + 120, Builder::steadyItems(30));
    writeIndex(builder.image(8192, '\xFF'));
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    ASSERT_EQ(3, parser.getFileNumber());
    EXPECT_TRUE(damaged(parser).empty());
    FileList all;
    parser.getRecordFileInfoList(0, kT0 + 1000, all);
    ASSERT_EQ(3u, all.size());
    for (int i = 0; i < 3; ++i) EXPECT_EQ(kT0 + 60 * i + 60, all[i]->getRecordEndTime());
}

TEST_F(RecordIndexFileParserExTest, QueryMergesTouchingEntriesAndCountsData) {
    writeIndex(standardImage().image(Codec::kFreshIndexFileSize, '\0'));
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    for (bool withData : {false, true}) {
        RecordQueryCondition condition;
        condition.setRecordBeginTime(kT0 - 100);
        condition.setRecordEndTime(kT0 + 86400);
        condition.setRecordQueryTimePrecision(3);
        RecordQueryResult result;
        SingleDeviceRecordQuery query(result, condition);
        query.setDate(kDate);
        parser.queryRecordSegmentList(&query, withData);
        query.clear();
        auto const& segments = result.getRecordTimeSegmentList();
        ASSERT_EQ(2u, segments.size()) << withData;
        EXPECT_EQ(static_cast<unsigned long>(kT0), segments[0].getRecordBeginTime());
        EXPECT_EQ(static_cast<unsigned long>(kT0 + 1200), segments[0].getRecordEndTime());
        EXPECT_EQ(static_cast<unsigned long>(kT0 + 3600), segments[1].getRecordBeginTime());
        EXPECT_EQ(static_cast<unsigned long>(kT0 + 3680), segments[1].getRecordEndTime());
        unsigned long expected = withData ? 600ul * 400 * 188 : 0;
        EXPECT_EQ(expected, segments[0].getRecordDataLength());
    }
}

TEST_F(RecordIndexFileParserExTest, QueryWindowClipsAndCountsOnlyItemsInside) {
    writeIndex(standardImage().image(Codec::kFreshIndexFileSize, '\0'));
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    RecordQueryCondition condition;
    condition.setRecordBeginTime(kT0 + 100);
    condition.setRecordEndTime(kT0 + 200);
    condition.setRecordQueryTimePrecision(3);
    RecordQueryResult result;
    SingleDeviceRecordQuery query(result, condition);
    parser.queryRecordSegmentList(&query, true);
    query.clear();
    auto const& segments = result.getRecordTimeSegmentList();
    ASSERT_EQ(1u, segments.size());
    EXPECT_EQ(static_cast<unsigned long>(kT0 + 100), segments[0].getRecordBeginTime());
    EXPECT_EQ(static_cast<unsigned long>(kT0 + 200), segments[0].getRecordEndTime());
    EXPECT_EQ(50ul * 400 * 188, segments[0].getRecordDataLength());
}

TEST_F(RecordIndexFileParserExTest, QueryCutsSegmentsAtTheSegmentInterval) {
    writeIndex(standardImage().image(Codec::kFreshIndexFileSize, '\0'));
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    RecordQueryCondition condition;
    condition.setRecordQueryTimePrecision(3);
    condition.setRecordSegmentInterval(300);
    RecordQueryResult result;
    SingleDeviceRecordQuery query(result, condition);
    parser.queryRecordSegmentList(&query, true);
    query.clear();
    auto const& segments = result.getRecordTimeSegmentList();
    ASSERT_EQ(5u, segments.size());
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(static_cast<unsigned long>(kT0 + 300 * i), segments[i].getRecordBeginTime());
        EXPECT_EQ(static_cast<unsigned long>(kT0 + 300 * i + 300), segments[i].getRecordEndTime());
        EXPECT_EQ(150ul * 400 * 188, segments[i].getRecordDataLength());
    }
}

TEST_F(RecordIndexFileParserExTest, SeekPointsAndNodesOfOneEntry) {
    Builder builder;
    std::vector<Codec::ItemInfo> items = Builder::steadyItems(10);
    items[3].nIndexType = 0;
    items[7].nTimeInterval = 100;  // a long item after a gap, not an I-frame
    items[7].nIndexType = 0;
    builder.addEntry(fileName(1), kT0, items);
    writeIndex(builder.image(4096, '\0'));
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    auto const& entry = builder.entries()[0];
    RecordIndexCache all;
    RecordIndexCache iFrames;
    int headEnd = entry.nBegin + entry.nHeadLength;
    ASSERT_EQ(1, parser.getParser().getRecordFileIndexList(entry.nBegin, headEnd, entry.nEnd - 1,
                                                           all, false));
    ASSERT_EQ(1, parser.getParser().getRecordFileIndexList(entry.nBegin, headEnd, entry.nEnd - 1,
                                                           iFrames, true));
    EXPECT_EQ(10, all.getSize());
    EXPECT_EQ(9, iFrames.getSize());  // the long item stays, item 3 goes
    EXPECT_EQ(100, all.getRecordIndexInfoList()[7].getTimeStamp());
    EXPECT_EQ(7 * 400 * 188, all.getRecordIndexInfoList()[7].getFilePos());
    EXPECT_EQ(0, parser.getParser().getRecordFileIndexList(entry.nBegin, headEnd, 1 << 20, all,
                                                           false));

    RecordFileIndexNodeInfo nodes;
    ASSERT_EQ(1, parser.getParser().getRecordFileIndexNodeInfoList(fileName(1).c_str(), nodes));
    EXPECT_EQ(kT0, nodes.getFileBeginTime());
    EXPECT_EQ(1920, nodes.getImageWidth());
    ASSERT_EQ(10, nodes.getNodeCount());
    EXPECT_FALSE(nodes.getRecordIndexNodeList()[3].isIFrame());
    ASSERT_EQ(1, nodes.seekIndexNode(15));
    RecordIndexNode node;
    ASSERT_EQ(1, nodes.getCurrentNodeInfo(node));
    EXPECT_EQ(100, node.getTimeOffset());
}

TEST_F(RecordIndexFileParserExTest, ForwardAndBackwardFileSearch) {
    writeIndex(standardImage().image(Codec::kFreshIndexFileSize, '\0'));
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    RecordInfo info;
    SafePointer<RecordFileInfo> file;
    info.setRecordBeginTime(kT0 + 700);
    ASSERT_EQ(1, parser.getRecordFileInfo(info, file, true));
    EXPECT_EQ(fileName(2), file->getRecordFileName());
    info.setRecordBeginTime(kT0 + 2000);  // in the gap
    ASSERT_EQ(1, parser.getRecordFileInfo(info, file, true));
    EXPECT_EQ(fileName(3), file->getRecordFileName());
    ASSERT_EQ(1, parser.getRecordFileInfo(info, file, false));
    EXPECT_EQ(fileName(2), file->getRecordFileName());
    info.setRecordBeginTime(kT0 + 9000);
    EXPECT_EQ(0, parser.getRecordFileInfo(info, file, true));
}

// ---- changes, checked on disk byte for byte ----

TEST_F(RecordIndexFileParserExTest, DeleteFilePaintsTheEntryOnDisk) {
    Builder builder = standardImage();
    std::string image = builder.image(Codec::kFreshIndexFileSize, '\0');
    writeIndex(image);
    RecordFileInfo victim;
    victim.setRecordFileName(fileName(2));

    RecordIndexFileParserEx reader;
    ASSERT_EQ(1, open(reader));
    EXPECT_EQ(0, reader.deleteFile(victim));  // opened for reading: no write-back
    EXPECT_EQ(image, readIndex());

    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser, RecordIndexFileParserEx::kModeChange));
    ASSERT_EQ(1, parser.deleteFile(victim));
    EXPECT_EQ(2, parser.getFileNumber());
    EXPECT_EQ(0, parser.deleteFile(victim));
    auto const& middle = builder.entries()[1];
    std::fill(image.begin() + middle.nBegin, image.begin() + middle.nEnd, '\xFF');
    EXPECT_EQ(image, readIndex());

    RecordIndexFileParserEx again;
    ASSERT_EQ(1, open(again));
    EXPECT_EQ((std::set<std::string>{fileName(1), fileName(3)}), namesOf(intact(again)));
}

TEST_F(RecordIndexFileParserExTest, LockAndUnlockWriteOnlyLockBits) {
    Builder builder = standardImage();
    std::string image = builder.image(Codec::kFreshIndexFileSize, '\xFF');
    writeIndex(image);
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser, RecordIndexFileParserEx::kModeChange));
    long long lockBegin = kT0 + 590, lockEnd = kT0 + 611;
    ASSERT_EQ(1, parser.lockFile(lockBegin, lockEnd));
    for (auto const& entry : builder.entries()) {
        for (auto const& item : entry.items) {
            if (item.nBegin < lockBegin || item.nBegin > lockEnd) continue;
            image[item.nOffset + (item.bLong ? 4 : 0)] |= Codec::kFlagLocked;
        }
    }
    EXPECT_EQ(image, readIndex());
    int count = 0;
    parser.getLockFileInfo(count);
    EXPECT_EQ(2, count);
    std::vector<std::string> locked;
    parser.getLockFileList(locked);
    EXPECT_EQ((std::vector<std::string>{fileName(1), fileName(2)}), locked);

    // An item that straddles the end of the range stays locked.
    long long unlockBegin = kT0 + 590, unlockEnd = kT0 + 611;
    ASSERT_EQ(1, parser.unLockFile(unlockBegin, unlockEnd));
    for (auto const& entry : builder.entries()) {
        for (auto const& item : entry.items) {
            if (item.nBegin < unlockBegin || item.nBegin + item.nTimeLength > unlockEnd) continue;
            image[item.nOffset + (item.bLong ? 4 : 0)] &= ~Codec::kFlagLocked;
        }
    }
    EXPECT_EQ(image, readIndex());
    parser.getLockFileInfo(count);
    EXPECT_EQ(1, count);
}

TEST_F(RecordIndexFileParserExTest, FailedWriteBackReportsFailure) {
    writeIndex(standardImage().image(Codec::kFreshIndexFileSize, '\0'));
    std::string before = readIndex();
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser, RecordIndexFileParserEx::kModeChange));
    plan->failWriteAt(1);
    RecordFileInfo victim;
    victim.setRecordFileName(fileName(1));
    EXPECT_EQ(0, parser.deleteFile(victim));
    EXPECT_EQ(before, readIndex());
    plan->vanish();
    RecordIndexFileParserEx gone;
    EXPECT_EQ(0, open(gone));
}

TEST_F(RecordIndexFileParserExTest, EarliestDeletionFreesTwoHoursAndSkipsLocked) {
    Builder builder;
    long long begins[] = {kT0, kT0 + 3600, kT0 + 5400, kT0 + 7200, kT0 + 7201, kT0 + 9000};
    for (int i = 0; i < 6; ++i) {
        auto items = Builder::steadyItems(30);
        if (i == 2) items[5].bLocked = true;
        builder.addEntry(fileName(i + 1), begins[i], items);
        ASSERT_TRUE(m_dir.writeFile(dateDir() + "/" + fileName(i + 1), "ts"));
    }
    std::string image = builder.image(Codec::kFreshIndexFileSize, '\0');
    writeIndex(image);

    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser, RecordIndexFileParserEx::kModeChange));
    SafePointer<EarliestFileDeleteHandler> handler(new EarliestFileDeleteHandler(m_info));
    ASSERT_EQ(1, parser.deleteEarliestRecordFile(handler));
    EXPECT_TRUE(handler->isTimeToDelInterval());
    // 1, 2 and 4 removed; 3 locked; 5 is past the two hours: spared, but its
    // entry goes with the stop; 6 untouched.
    for (int i : {0, 1, 3, 4}) {
        auto const& entry = builder.entries()[i];
        std::fill(image.begin() + entry.nBegin, image.begin() + entry.nEnd, '\xFF');
    }
    EXPECT_EQ(image, readIndex());
    EXPECT_FALSE(m_dir.exists(dateDir() + "/" + fileName(1)));
    EXPECT_FALSE(m_dir.exists(dateDir() + "/" + fileName(4)));
    EXPECT_TRUE(m_dir.exists(dateDir() + "/" + fileName(3)));
    EXPECT_TRUE(m_dir.exists(dateDir() + "/" + fileName(5)));
    EXPECT_EQ(2, parser.getFileNumber());
}

TEST_F(RecordIndexFileParserExTest, OutDateDeletionStopsAtTheDeleteTime) {
    Builder builder;
    for (int i = 0; i < 4; ++i) {
        auto items = Builder::steadyItems(30);
        if (i == 1) items[0].bLocked = true;
        builder.addEntry(fileName(i + 1), kT0 + 1000 * i, items);
        ASSERT_TRUE(m_dir.writeFile(dateDir() + "/" + fileName(i + 1), "ts"));
    }
    std::string image = builder.image(Codec::kFreshIndexFileSize, '\xFF');
    writeIndex(image);
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser, RecordIndexFileParserEx::kModeChange));
    SafePointer<RecordOutDateFileHandler> handler(new RecordOutDateFileHandler(m_info));
    handler->setFileDeleteTime(kT0 + 2500);
    ASSERT_EQ(1, parser.deleteOutDateFile(handler));
    for (int i : {0, 2}) {
        auto const& entry = builder.entries()[i];
        std::fill(image.begin() + entry.nBegin, image.begin() + entry.nEnd, '\xFF');
    }
    EXPECT_EQ(image, readIndex());
    EXPECT_FALSE(m_dir.exists(dateDir() + "/" + fileName(3)));
    EXPECT_TRUE(m_dir.exists(dateDir() + "/" + fileName(2)));
    EXPECT_TRUE(m_dir.exists(dateDir() + "/" + fileName(4)));

    // A device wipe ignores locks.
    ASSERT_EQ(1, parser.deleteDeviceFile(handler));
    EXPECT_EQ(0, parser.getFileNumber());
    EXPECT_FALSE(m_dir.exists(dateDir() + "/" + fileName(2)));
}

TEST_F(RecordIndexFileParserExTest, EarliestListTakesOldestUnlockedFiles) {
    Builder builder;
    for (int i = 0; i < 5; ++i) {
        auto items = Builder::steadyItems(10);
        if (i == 0) items[0].bLocked = true;
        builder.addEntry(fileName(i + 1), kT0 + 100 * i, items);
    }
    writeIndex(builder.image(8192, '\0'));
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    EarliestFileInfoList list(2);
    parser.getEarliestRecordFileInfo(list, 2, false);
    auto files = list.getFileInfoList();
    ASSERT_EQ(2u, files.size());
    EXPECT_EQ(fileName(2), files[0]->getRecordFileName());
    EXPECT_EQ(fileName(3), files[1]->getRecordFileName());

    EarliestFileInfoList withLocked(3);
    parser.getEarliestRecordFileInfo(withLocked, 3, true);
    withLocked.sort();
    files = withLocked.getFileInfoList();
    ASSERT_EQ(3u, files.size());
    EXPECT_EQ(fileName(1), files[2]->getRecordFileName());  // locked sorts last
    EXPECT_TRUE(files[2]->getLockFlag());
}

// ---- repair ----

TEST_F(RecordIndexFileParserExTest, RepairFoldsRebuiltEntriesInWithoutChangingFiles) {
    Builder builder = standardImage();
    std::string image = builder.image(Codec::kFreshIndexFileSize, '\0');
    auto const& broken = builder.entries()[1];
    image[broken.groupEnds[0] + 1] ^= 0x11;  // a bit error in the second group
    writeIndex(image);
    Builder rebuilt;
    rebuilt.addEntry(fileName(2), kT0 + 600, Builder::steadyItems(300));
    rebuilt.addEntry("00009-NVR_10.0.0.2_1_20240131230000.ts", kT0 + 40000,
                     Builder::steadyItems(20), Codec::kIndexVersion3, 16, false);  // damaged
    std::string reindex = rebuilt.image(4096, '\xFF');
    writeIndex(reindex, RecordIndexFileParserEx::kStorageTypeRebuilt);

    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    EXPECT_EQ(std::set<std::string>{fileName(2)}, namesOf(damaged(parser)));
    ASSERT_EQ(1, parser.repairIndex(m_info, kDate, kDevice, 0));
    int length = 0;
    char* merged = parser.getIndexInfo(length);
    ASSERT_EQ(static_cast<int>(image.size() + reindex.size()), length);
    EXPECT_EQ(reindex, std::string(merged + image.size(), reindex.size()));
    EXPECT_TRUE(damaged(parser).size() == 1 &&
                damaged(parser)[0]->getRecordFileName() != fileName(2));
    FileList all;
    parser.getRecordFileInfoList(0, kT0 + 86400, all);
    ASSERT_EQ(4u, all.size());
    EXPECT_EQ(fileName(3), all[1]->getRecordFileName());  // the rebuilt ones follow
    EXPECT_EQ(fileName(2), all[2]->getRecordFileName());
    EXPECT_EQ(image, readIndex());
    EXPECT_EQ(reindex, readIndex(RecordIndexFileParserEx::kStorageTypeRebuilt));
}

TEST_F(RecordIndexFileParserExTest, RepairWithNothingRebuiltKeepsTheView) {
    writeIndex(standardImage().image(Codec::kFreshIndexFileSize, '\0'));
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    EXPECT_EQ(0, parser.repairIndex(m_info, kDate, kDevice, 0));  // no sibling
    writeIndex(std::string(512, '\xFF'), RecordIndexFileParserEx::kStorageTypeRebuilt);
    EXPECT_EQ(1, parser.repairIndex(m_info, kDate, kDevice, 0));
    int length = 0;
    parser.getIndexInfo(length);
    EXPECT_EQ(Codec::kFreshIndexFileSize, length);
    EXPECT_EQ(3, parser.getFileNumber());
}

}  // namespace

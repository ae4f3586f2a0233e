#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <future>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "directory/EarliestFileDeleteHandler.h"
#include "directory/EarliestFileInfoList.h"
#include "directory/RecordOutDateFileHandler.h"
#include "host/HostPaths.h"
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
using Names = std::set<std::string>;
using Segment = std::tuple<long long, long long, unsigned long>;  // begin, end, data length

constexpr long long kT0 = 1706688000LL;  // 2024-01-31 08:00:00 UTC
char const* const kDate = "2024-01-31";
char const* const kDevice = "NVR_10.0.0.2_1";

std::string fileName(int number) {
    char name[64];
    std::snprintf(name, sizeof(name), "%05d-NVR_10.0.0.2_1_20240131%02d0000.ts", number, 8 + number);
    return name;
}

Names namesOf(FileList const& list) {
    Names names;
    for (auto const& file : list) names.insert(file->getRecordFileName());
    return names;
}

// count items of 2 s from begin, those beginning in [lockBegin, lockEnd] locked.
std::vector<Codec::ItemInfo> items(int count, long long begin, long long lockBegin, long long lockEnd) {
    auto items = Builder::steadyItems(count);
    for (int i = 0; i < count; ++i) items[i].bLocked = begin + 2 * i >= lockBegin && begin + 2 * i <= lockEnd;
    return items;
}

// Two entries of ten minutes back to back, then one of 80 s after a gap.
Builder standardImage(long long lockBegin = 0, long long lockEnd = -1) {
    Builder builder;
    long long begins[] = {kT0, kT0 + 600, kT0 + 3600};
    for (int i = 0; i < 3; ++i) {
        builder.addEntry(fileName(i + 1), begins[i], items(i < 2 ? 300 : 40, begins[i], lockBegin, lockEnd));
    }
    return builder;
}

void paint(std::string& image, Builder::BuiltEntry const& entry) {
    std::fill(image.begin() + entry.nBegin, image.begin() + entry.nEnd, '\xFF');
}

class RecordIndexFileParserExTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_info.setRecordRootDir(m_dir.root());
        m_info.setDiskType(1);
    }
    std::string relIndex(int storageType = 0) const {
        return RecordIndexFileParserEx::getIndexFileName(m_dir.root(), kDate, kDevice, storageType)
            .substr(m_dir.root().size() + 1);
    }
    void writeIndex(std::string const& bytes, int storageType = 0) const {
        ASSERT_TRUE(m_dir.writeFile(relIndex(storageType), bytes));
    }
    std::string readIndex(int storageType = 0) const { return m_dir.readFile(relIndex(storageType)); }
    std::string dateDir() const { return std::string("record/") + kDevice + "/" + kDate; }
    int open(RecordIndexFileParserEx& parser, int mode = 0) const {
        return parser.open(m_info, kDate, kDevice, 0, mode);
    }
    static Names intact(RecordIndexFileParserEx& parser) {
        FileList list;
        parser.getParser().getRepairedRecordFileInfoList(list);
        return namesOf(list);
    }
    static Names damaged(RecordIndexFileParserEx& parser) {
        FileList list;
        parser.getIndexDemagedFileList(list);
        return namesOf(list);
    }
    static Names locked(RecordIndexFileParserEx& parser) {
        std::vector<std::string> list;
        parser.getLockFileList(list);
        return Names(list.begin(), list.end());
    }
    bool exists(int number) const { return m_dir.exists(dateDir() + "/" + fileName(number)); }
    void writeRecordFiles(int count) const {
        for (int i = 1; i <= count; ++i) ASSERT_TRUE(m_dir.writeFile(dateDir() + "/" + fileName(i), "ts"));
    }
    // Time segments of an open query, precision 3 s.
    static std::vector<Segment> query(RecordIndexFileParserEx& parser) {
        RecordQueryCondition condition;
        condition.setRecordQueryTimePrecision(3);
        RecordQueryResult result;
        SingleDeviceRecordQuery query(result, condition);
        EXPECT_EQ(1, parser.queryRecordSegmentList(&query, false));
        query.clear();
        std::vector<Segment> segments;
        for (auto const& s : result.getRecordTimeSegmentList()) {
            segments.emplace_back(s.getRecordBeginTime(), s.getRecordEndTime(), s.getRecordDataLength());
        }
        return segments;
    }

    HostRootGuard m_logRoot;  // parser logs stay in a folder of the test's own
    TempDir m_dir;
    RecordDirInfoEx m_info;
};

TEST_F(RecordIndexFileParserExTest, IndexFileNamesFollowStorageType) {
    std::string base = "/r/record/NVR_10.0.0.2_1/2024-01-31/NVR_10.0.0.2_1_2024-01-31";
    for (auto type : {std::make_pair(0, ".index"), std::make_pair(1, ".bakindex"), std::make_pair(3, ".reindex")}) {
        EXPECT_EQ(base + type.second, RecordIndexFileParserEx::getIndexFileName("/r", kDate, kDevice, type.first));
    }
    // Type 4: ".index" named after the first three fields of the device dir.
    EXPECT_EQ("/r/record/NVR_10.0.0.2_1_x/2024-01-31/NVR_10.0.0.2_1_2024-01-31.index",
              RecordIndexFileParserEx::getIndexFileName("/r", kDate, "NVR_10.0.0.2_1_x", 4));
    EXPECT_EQ("", RecordIndexFileParserEx::getIndexFileName("/r", kDate, "NVR_1", 4));
}

TEST_F(RecordIndexFileParserExTest, OpensFreshOrFullFileAndListsEveryEntry) {
    Builder builder = standardImage();
    int const fresh = Codec::kFreshIndexFileSize;
    std::pair<int, char> const files[] = {{fresh, '\0'}, {fresh, '\xFF'}, {Codec::kMaxIndexFileSize, '\xFF'}};
    for (auto const& file : files) {
        writeIndex(builder.image(file.first, file.second));
        EXPECT_EQ(file.first, RecordIndexFileParserEx::getIndexFileLen(m_info, kDate, kDevice, 0));
        RecordIndexFileParserEx parser;
        ASSERT_EQ(1, open(parser));
        int length = 0;
        char* image = parser.getIndexInfo(length);
        ASSERT_EQ(file.first, length);
        EXPECT_EQ(3, parser.getFileNumber());
        EXPECT_TRUE(damaged(parser).empty());
        FileList all;
        parser.getRecordFileInfoList(0, kT0 + 86400, all);
        ASSERT_EQ(3u, all.size());
        EXPECT_EQ(fileName(2), all[1]->getRecordFileName());
        EXPECT_EQ(kT0 + 600, all[1]->getRecordBeginTime());
        EXPECT_EQ(kT0 + 1200, all[1]->getRecordEndTime());
        EXPECT_EQ("10.0.0.2", all[1]->getDeviceIP());
        EXPECT_EQ(kDate, all[1]->getRecordDate());
        FileList window;
        parser.getRecordFileInfoList(kT0 + 600, kT0 + 1200, window);
        EXPECT_EQ(Names{fileName(2)}, namesOf(window));
        RecordFileInfo first;
        RecordFileInfo last;
        int version = -1;
        ASSERT_EQ(1, parser.getEarliestRecordFileInfo(first));
        ASSERT_EQ(1, parser.getLastestFileInfo(last, version));
        EXPECT_EQ(fileName(1), first.getRecordFileName());
        EXPECT_EQ(std::make_tuple(3, 1920, 8, Codec::kIndexVersion3),
                  std::make_tuple(last.getFileNumber(), last.getAVStreamInfo().getImageWidth(),
                                  last.getAVStreamInfo().getTimeZone(), version));
        int data = 0, time = 0, interval = 0, end = 0;
        bool closed = false;
        ASSERT_EQ(1, parser.getRecordFileLenAndTimeLen(data, time, interval, end, closed));
        EXPECT_EQ(40 * 400 * 188, data);
        EXPECT_EQ(80, interval);
        EXPECT_EQ(builder.entries()[2].nEnd - 1, end);
        EXPECT_TRUE(closed);
        EXPECT_EQ(image + builder.entries()[2].nBegin, parser.getLastestIndexInfo(length));
    }
}

TEST_F(RecordIndexFileParserExTest, OpensFilesOfZeroUpToOneMebibyteOnly) {
    RecordIndexFileParserEx parser;
    EXPECT_EQ(0, open(parser, RecordIndexFileParserEx::kModeChange));
    EXPECT_FALSE(m_dir.exists(relIndex()));  // the writing mode creates nothing
    EXPECT_EQ(-1, RecordIndexFileParserEx::getIndexFileLen(m_info, kDate, kDevice, 0));
    writeIndex("");
    ASSERT_EQ(1, open(parser));
    EXPECT_EQ(0, parser.getFileNumber());
    int data = 1, time = 1, interval = 1, end = 0;
    bool closed = true;
    EXPECT_EQ(1, parser.getRecordFileLenAndTimeLen(data, time, interval, end, closed));
    EXPECT_EQ(std::make_tuple(0, 0, 0, -1), std::make_tuple(data, time, interval, end));
    writeIndex(standardImage().image(Codec::kMaxIndexFileSize + 1, '\xFF'));
    EXPECT_EQ(0, open(parser));
    EXPECT_EQ(0, parser.getFileNumber());
    EXPECT_NE(std::string::npos, TempDir::readWhole(HostPaths::getLogDir() + "/parserIndexLog.log")
                                     .find("fileLength:1048577  open failed"));
}

// A power cut leaves the last entry cut at any byte, with or without filler
// behind: it is gone (head cut), whole (cut at a group's end) or damaged.
TEST_F(RecordIndexFileParserExTest, PowerCutAnywhereInTheLastEntryKeepsTheOthers) {
    Builder builder = standardImage();
    auto const& last = builder.entries()[2];
    std::set<int> wholeCuts(last.groupEnds.begin(), last.groupEnds.end());
    wholeCuts.insert(last.nBegin + last.nHeadLength);                        // head only
    wholeCuts.insert(last.nBegin + last.nHeadLength + Codec::kCrcItemSize);  // and its CRC
    for (std::string fill : {std::string(), std::string(1, '\xFF'), std::string(1, '\0')}) {
        for (int cut = last.nBegin + 1; cut <= last.nEnd; ++cut) {
            SCOPED_TRACE(std::to_string(cut) + " filler " + std::to_string(fill.empty() ? -1 : fill[0] & 0xFF));
            writeIndex(builder.bytes().substr(0, cut) + std::string(fill.empty() ? 0 : 4096, fill[0]));
            RecordIndexFileParserEx parser;
            ASSERT_EQ(1, open(parser));
            Names whole = intact(parser);
            Names broken = damaged(parser);
            EXPECT_TRUE(whole.count(fileName(1)) && !broken.count(fileName(1)));
            // One to three bytes of a start code, no zeros behind, are
            // items of the entry before, which then checks as damaged.
            bool startCodeCut = cut < last.nBegin + Codec::kStartCodeSize && (fill.empty() || fill[0] != '\0');
            EXPECT_EQ(!startCodeCut, whole.count(fileName(2)) > 0);
            EXPECT_EQ(startCodeCut, broken.count(fileName(2)) > 0);
            bool headComplete = cut >= last.nBegin + last.nHeadLength;
            EXPECT_EQ(headComplete ? 3 : 2, parser.getFileNumber());
            if (headComplete) {
                EXPECT_EQ(wholeCuts.count(cut) > 0, whole.count(fileName(3)) > 0);
                EXPECT_EQ(wholeCuts.count(cut) == 0, broken.count(fileName(3)) > 0);
                // Only FF filler shows a group left open: never to be continued.
                int data = 0, time = 0, interval = 0, end = 0;
                bool closed = false;
                parser.getRecordFileLenAndTimeLen(data, time, interval, end, closed);
                bool headOnly = cut == last.nBegin + last.nHeadLength;
                EXPECT_EQ(fill != "\xFF" || (wholeCuts.count(cut) > 0 && !headOnly), closed);
            }
            auto segments = query(parser);
            EXPECT_TRUE(!segments.empty() && std::get<0>(segments[0]) == kT0 &&
                        std::get<1>(segments.back()) <= kT0 + 3680);
        }
    }
}

// Whatever is hit, head or items, the damage check names that entry only.
TEST_F(RecordIndexFileParserExTest, DamageToHeadOrItemsIsFoundInThatEntryOnly) {
    Builder builder = standardImage();
    auto const& victim = builder.entries()[1];
    int headCrc = victim.nBegin + victim.nHeadLength;
    std::mt19937 random(20240131);
    std::vector<std::pair<int, char>> hits{
        {victim.nBegin + 6, 'X'},                           // a letter of the name
        {victim.nBegin + victim.nHeadLength - 11, '\x07'},  // the encode type
        {headCrc + 2, '\x28'},                              // length in the head CRC item
        {headCrc + 5, '\x00'},                              // the head CRC
        {victim.groupEnds[0] - 1, '\x11'},                  // a group CRC
    };
    // Random non-zero bytes among the items of the third group.
    for (int round = 0; round < 40; ++round) {
        int from = victim.groupEnds[1];
        int span = victim.groupEnds[2] - Codec::kCrcItemSize - from;
        hits.emplace_back(from + static_cast<int>(random() % span), static_cast<char>(1 + random() % 255));
    }
    for (auto const& hit : hits) {
        SCOPED_TRACE(hit.first);
        std::string image = builder.image(Codec::kFreshIndexFileSize, '\0');
        if (image[hit.first] == hit.second) continue;
        image[hit.first] = hit.second;
        writeIndex(image);
        RecordIndexFileParserEx parser;
        ASSERT_EQ(1, open(parser));
        ASSERT_EQ(3, parser.getFileNumber());
        EXPECT_EQ((Names{fileName(1), fileName(3)}), intact(parser));
        EXPECT_EQ(1u, damaged(parser).size());
    }
}

// An entry has a head with a size and any 64-bit begin time; painted ones are gone.
TEST_F(RecordIndexFileParserExTest, WhatCountsAsAnEntry) {
    Builder builder;
    long long begins[] = {kT0, kT0 + 40, kT0 + 80, -kT0, 1LL << 32, LLONG_MAX - 10};
    for (int i = 0; i < 6; ++i) {
        builder.addEntry(fileName(i + 1), begins[i], Builder::steadyItems(20), Codec::kIndexVersion3, 16, true,
                         i == 1 ? 0 : 1920, 1080);
    }
    builder.addEntry(fileName(7), kT0 + 120, Builder::steadyItems(20), Codec::kIndexVersion1);
    builder.addEntry(fileName(8), kT0 + 160, Builder::steadyItems(20), Codec::kIndexVersion2);
    std::string image = builder.image(8192, '\xFF');  // V2 would take 00 filler for items
    paint(image, builder.entries()[2]);
    writeIndex(image);
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    EXPECT_EQ(6, parser.getFileNumber());  // no width: no entry; painted: gone
    EXPECT_TRUE(damaged(parser).empty());  // older versions are never damaged
    FileList all;
    parser.getRecordFileInfoList(LLONG_MIN, LLONG_MAX, all);
    std::vector<std::pair<long long, long long>> times;
    for (auto const& entry : all) times.emplace_back(entry->getRecordBeginTime(), entry->getRecordEndTime());
    EXPECT_EQ((std::vector<std::pair<long long, long long>>{
                  {kT0, kT0 + 40}, {-kT0, -kT0 + 40}, {1LL << 32, (1LL << 32) + 40},
                  {LLONG_MAX - 10, LLONG_MAX},  // held, not wrapped
                  {kT0 + 120, kT0 + 160}, {kT0 + 160, kT0 + 200}}),
              times);
    // A query result holds 32-bit times: what lies outside is cut away.
    EXPECT_EQ((std::vector<Segment>{{kT0, kT0 + 40, 0}, {kT0 + 120, kT0 + 200, 0}}), query(parser));
}

TEST_F(RecordIndexFileParserExTest, SeekPointsNodesAndFileSearch) {
    Builder builder = standardImage();
    std::vector<Codec::ItemInfo> items = Builder::steadyItems(10);
    items[3].nIndexType = 0;
    items[7].nTimeInterval = 100;  // a long item after a gap, not an I-frame
    items[7].nIndexType = 0;
    auto const& entry = builder.addEntry(fileName(4), kT0 + 5000, items);
    writeIndex(builder.image(Codec::kFreshIndexFileSize, '\0'));
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    RecordIndexParserImplEx& impl = parser.getParser();
    RecordIndexCache all;
    RecordIndexCache iFrames;
    int headEnd = entry.nBegin + entry.nHeadLength;
    ASSERT_EQ(1, impl.getRecordFileIndexList(entry.nBegin, headEnd, entry.nEnd - 1, all, false));
    ASSERT_EQ(1, impl.getRecordFileIndexList(entry.nBegin, headEnd, entry.nEnd - 1, iFrames, true));
    EXPECT_EQ(10, all.getSize());
    EXPECT_EQ(9, iFrames.getSize());  // the long item stays, item 3 goes
    EXPECT_EQ(100, all.getRecordIndexInfoList()[7].getTimeStamp());
    EXPECT_EQ(7 * 400 * 188, all.getRecordIndexInfoList()[7].getFilePos());
    EXPECT_EQ(0, impl.getRecordFileIndexList(entry.nBegin, headEnd, 1 << 20, all, false));
    RecordFileIndexNodeInfo nodes;
    ASSERT_EQ(1, impl.getRecordFileIndexNodeInfoList(fileName(4).c_str(), nodes));
    EXPECT_EQ(kT0 + 5000, nodes.getFileBeginTime());
    ASSERT_EQ(10, nodes.getNodeCount());
    EXPECT_EQ(100, nodes.getRecordIndexNodeList()[7].getTimeOffset());
    EXPECT_FALSE(nodes.getRecordIndexNodeList()[3].isIFrame());
    RecordIndexNode node;
    ASSERT_EQ(1, nodes.seekIndexNode(102));  // the first node at or after the time
    ASSERT_EQ(1, nodes.getCurrentNodeInfo(node));
    EXPECT_EQ(102, node.getTimeOffset());
    EXPECT_EQ(0, nodes.seekIndexNode(105));  // none: the cursor stays
    EXPECT_EQ(1, nodes.seekNext());
    EXPECT_EQ(0, nodes.seekNext());
    EXPECT_EQ(0, nodes.getCurrentNodeInfo(node));

    // Forward: the entry holding the time, or the next one; backward: the one before.
    std::vector<std::tuple<long long, bool, int>> searches{
        {kT0 + 700, true, 2}, {kT0 + 2000, true, 3}, {kT0 + 2000, false, 2}, {kT0 + 9000, true, 0}};
    for (auto const& search : searches) {
        RecordInfo info;
        info.setRecordBeginTime(static_cast<unsigned long>(std::get<0>(search)));
        SafePointer<RecordFileInfo> file;
        ASSERT_EQ(std::get<2>(search) != 0 ? 1 : 0, parser.getRecordFileInfo(info, file, std::get<1>(search)));
        EXPECT_TRUE(std::get<2>(search) == 0 || fileName(std::get<2>(search)) == file->getRecordFileName());
    }
}

TEST_F(RecordIndexFileParserExTest, DeleteFilePaintsTheEntryOnDiskOrReportsFailure) {
    Builder builder = standardImage();
    std::string image = builder.image(Codec::kFreshIndexFileSize, '\0');
    writeIndex(image);
    RecordFileInfo victim;
    victim.setRecordFileName(fileName(2));
    RecordIndexFileParserEx reader;
    ASSERT_EQ(1, open(reader));
    EXPECT_EQ(0, reader.deleteFile(victim));  // opened for reading: no write-back
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser, RecordIndexFileParserEx::kModeChange));
    plan->failWriteAt(1);
    EXPECT_EQ(0, parser.deleteFile(victim));
    EXPECT_EQ(image, readIndex());
    ASSERT_EQ(1, open(parser, RecordIndexFileParserEx::kModeChange));
    ASSERT_EQ(1, parser.deleteFile(victim));
    EXPECT_EQ(2, parser.getFileNumber());
    EXPECT_EQ(0, parser.deleteFile(victim));
    paint(image, builder.entries()[1]);
    EXPECT_EQ(image, readIndex());
    ASSERT_EQ(1, open(reader));
    EXPECT_EQ((Names{fileName(1), fileName(3)}), intact(reader));
    plan->vanish();
    EXPECT_EQ(0, open(reader));
}

// Two objects change one index file from two threads, as a user's lock and
// a reclaiming pass do: the second waits until the first closed, so neither
// write-back undoes the other's change.
TEST_F(RecordIndexFileParserExTest, ChangesFromTwoThreadsBothReachTheFile) {
    writeIndex(standardImage().image(Codec::kFreshIndexFileSize, '\0'));
    RecordIndexFileParserEx locker;
    ASSERT_EQ(1, open(locker, RecordIndexFileParserEx::kModeChange));
    std::promise<void> deleted;
    std::future<void> done = deleted.get_future();
    std::thread other([&] {
        RecordIndexFileParserEx deleter;
        RecordFileInfo victim;
        victim.setRecordFileName(fileName(2));
        if (open(deleter, RecordIndexFileParserEx::kModeChange) == 1) deleter.deleteFile(victim);
        deleter.close();
        deleted.set_value();
    });
    // Unguarded, the deletion lands meanwhile and the lock's write-back,
    // which spans entry 2, brings it back.
    done.wait_for(std::chrono::milliseconds(300));
    ASSERT_EQ(1, locker.lockFile(kT0, kT0 + 7200));
    locker.close();
    other.join();
    RecordIndexFileParserEx reader;
    ASSERT_EQ(1, open(reader));
    EXPECT_EQ((Names{fileName(1), fileName(3)}), intact(reader));
    EXPECT_EQ((Names{fileName(1), fileName(3)}), locked(reader));
}

// Lock and unlock write what the writer makes of items locked so, CRC items
// renewed; a group damaged before keeps its CRC item.
TEST_F(RecordIndexFileParserExTest, LockAndUnlockKeepEntriesIntactInEveryVersion) {
    auto everyVersion = [](long long lockBegin, long long lockEnd) {
        Builder builder;
        for (int version : {0, 1, 2}) {
            long long begin = kT0 + 100 * version;
            builder.addEntry(fileName(version + 1), begin, items(40, begin, lockBegin, lockEnd), version);
        }
        return builder;
    };
    std::string image = everyVersion(0, -1).image(4096, '\xFF');
    writeIndex(image);
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser, RecordIndexFileParserEx::kModeChange));
    ASSERT_EQ(1, parser.lockFile(kT0 + 60, kT0 + 230));
    EXPECT_EQ(everyVersion(kT0 + 60, kT0 + 230).image(4096, '\xFF'), readIndex());
    EXPECT_EQ((Names{fileName(1), fileName(2), fileName(3)}), locked(parser));
    RecordIndexFileParserEx reader;
    ASSERT_EQ(1, open(reader));
    EXPECT_EQ((Names{fileName(1), fileName(2), fileName(3)}), intact(reader));
    ASSERT_EQ(1, parser.unLockFile(kT0 + 180, kT0 + 1000));
    EXPECT_EQ(everyVersion(kT0 + 60, kT0 + 178).image(4096, '\xFF'), readIndex());
    ASSERT_EQ(1, parser.unLockFile(kT0, kT0 + 1000));
    EXPECT_EQ(image, readIndex());
    EXPECT_TRUE(locked(parser).empty());

    // A bit error in the last group of the V3 entry: locking does not bless it.
    Builder plain = everyVersion(0, -1);
    auto const& v3 = plain.entries()[2];
    image[v3.groupEnds[1] + 2] ^= 0x40;
    writeIndex(image);
    ASSERT_EQ(1, open(parser, RecordIndexFileParserEx::kModeChange));
    ASSERT_EQ(1, parser.lockFile(kT0, kT0 + 1000));
    EXPECT_EQ(image.substr(v3.groupEnds[2] - 8, 8), readIndex().substr(v3.groupEnds[2] - 8, 8));
    ASSERT_EQ(1, open(reader));
    EXPECT_EQ(Names{fileName(3)}, damaged(reader));
}

// Entry 3 is locked; entry 5 begins two hours and a second after the first.
TEST_F(RecordIndexFileParserExTest, DeletionByTimeSkipsLockedEntriesAndStopsAtTheLimit) {
    Builder builder;
    long long begins[] = {kT0, kT0 + 3600, kT0 + 5400, kT0 + 7200, kT0 + 7201, kT0 + 9000};
    for (int i = 0; i < 6; ++i) {
        auto items = Builder::steadyItems(30);
        items[5].bLocked = i == 2;
        builder.addEntry(fileName(i + 1), begins[i], items);
    }
    std::string image = builder.image(Codec::kFreshIndexFileSize, '\0');
    writeRecordFiles(6);
    writeIndex(image);
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser, RecordIndexFileParserEx::kModeChange));
    SafePointer<RecordRecycleBin> bin(new RecordRecycleBin(1, m_info.getRecordRootDir() + "/record"));
    ASSERT_EQ(1, bin->init(0, 0));
    SafePointer<EarliestFileDeleteHandler> handler(new EarliestFileDeleteHandler(bin, m_info));
    ASSERT_EQ(1, parser.deleteEarliestRecordFile(handler));
    EXPECT_TRUE(handler->isTimeToDelInterval());
    // Two hours freed, into the bin: 5 is past them and keeps its file and its entry.
    std::string earliest = image;
    for (int i : {0, 1, 3}) paint(earliest, builder.entries()[i]);
    EXPECT_EQ(earliest, readIndex());
    EXPECT_FALSE(exists(4));
    EXPECT_TRUE(m_dir.exists("record/recycleBin/" + fileName(4)));
    EXPECT_TRUE(exists(3));
    EXPECT_TRUE(exists(5));
    EXPECT_EQ(3, parser.getFileNumber());
    EarliestFileInfoList unlocked(2);
    EarliestFileInfoList all(2);
    parser.getEarliestRecordFileInfo(unlocked, 2, false);
    parser.getEarliestRecordFileInfo(all, 2, true);
    all.sort();
    EXPECT_EQ(2u, unlocked.getFileInfoList().size());
    ASSERT_EQ(2u, all.getFileInfoList().size());
    EXPECT_TRUE(all.getFileInfoList()[1]->getLockFlag());  // locked sorts last

    writeRecordFiles(6);
    writeIndex(image);
    ASSERT_EQ(1, open(parser, RecordIndexFileParserEx::kModeChange));
    SafePointer<RecordOutDateFileHandler> outDated(new RecordOutDateFileHandler(bin, m_info));
    outDated->setFileDeleteTime(kT0 + 7201);
    ASSERT_EQ(1, parser.deleteOutDateFile(outDated));
    for (int i : {0, 1, 3}) paint(image, builder.entries()[i]);
    EXPECT_EQ(image, readIndex());
    EXPECT_FALSE(exists(4));
    EXPECT_TRUE(exists(3));
    EXPECT_TRUE(exists(5));
    ASSERT_EQ(1, parser.deleteDeviceFile(outDated));  // locks don't count
    EXPECT_EQ(0, parser.getFileNumber());
    EXPECT_FALSE(exists(3));
}

// Entry 2 damaged; the ".reindex" has it rebuilt, and a damaged stranger.
class RecordIndexRepairTest : public RecordIndexFileParserExTest {
protected:
    void SetUp() override {
        RecordIndexFileParserExTest::SetUp();
        m_image = damage(standardImage().image(4096, '\xFF'));
        writeIndex(m_image);
        Builder rebuilt;
        rebuilt.addEntry(fileName(2), kT0 + 600, Builder::steadyItems(300));
        rebuilt.addEntry(fileName(9), kT0 + 40000, Builder::steadyItems(20), Codec::kIndexVersion3, 16, false);
        m_reindex = rebuilt.image(4096, '\xFF');
        writeIndex(m_reindex, RecordIndexFileParserEx::kStorageTypeRebuilt);
    }
    static std::string damage(std::string image) {
        return image.replace(standardImage().entries()[1].groupEnds[0] + 1, 1, 1, '\xF1');  // E0 -> F1
    }
    std::string m_image;
    std::string m_reindex;
};

TEST_F(RecordIndexRepairTest, RepairFoldsRebuiltEntriesInWithoutChangingFiles) {
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser));
    EXPECT_EQ(Names{fileName(2)}, damaged(parser));
    for (int round = 0; round < 2; ++round) {  // a second repair folds in the same
        ASSERT_EQ(1, parser.repairIndex(m_info, kDate, kDevice, 0));
        int length = 0;
        char* view = parser.getIndexInfo(length);
        ASSERT_EQ(static_cast<int>(m_image.size() + m_reindex.size()), length);
        EXPECT_EQ(m_reindex, std::string(view + m_image.size(), m_reindex.size()));
        EXPECT_EQ(Names{fileName(9)}, damaged(parser));
        FileList all;
        parser.getRecordFileInfoList(0, kT0 + 86400, all);
        ASSERT_EQ(4u, all.size());
        EXPECT_EQ(fileName(3), all[1]->getRecordFileName());  // the rebuilt ones follow
        EXPECT_EQ(fileName(2), all[2]->getRecordFileName());
    }
    EXPECT_EQ(m_image, readIndex());
    EXPECT_EQ(m_reindex, readIndex(RecordIndexFileParserEx::kStorageTypeRebuilt));
    writeIndex(std::string(512, '\xFF'), RecordIndexFileParserEx::kStorageTypeRebuilt);
    ASSERT_EQ(1, open(parser));
    EXPECT_EQ(1, parser.repairIndex(m_info, kDate, kDevice, 0));  // nothing rebuilt
    EXPECT_EQ(3, parser.getFileNumber());
    ASSERT_EQ(0, std::remove(m_dir.path(relIndex(3)).c_str()));
    EXPECT_EQ(0, parser.repairIndex(m_info, kDate, kDevice, 0));  // no sibling
    writeIndex("");  // an empty main file: the rebuilt entries are all the view has
    writeIndex(m_reindex, RecordIndexFileParserEx::kStorageTypeRebuilt);
    ASSERT_EQ(1, open(parser, RecordIndexFileParserEx::kModeChange));
    ASSERT_EQ(1, parser.repairIndex(m_info, kDate, kDevice, 0));
    EXPECT_EQ(1, parser.lockFile(kT0, kT0 + 1000));
    EXPECT_EQ("", readIndex());
}

// After a repair, changes reach the file as they would without it; the rebuilt tail never does.
TEST_F(RecordIndexRepairTest, ChangesAfterRepairWriteOnlyWhatTheySay) {
    writeRecordFiles(3);
    RecordIndexFileParserEx parser;
    ASSERT_EQ(1, open(parser, RecordIndexFileParserEx::kModeChange));
    ASSERT_EQ(1, parser.repairIndex(m_info, kDate, kDevice, 0));
    ASSERT_EQ(1, parser.lockFile(kT0 + 590, kT0 + 611));
    Builder lockedImage = standardImage(kT0 + 590, kT0 + 611);
    std::string expected = damage(lockedImage.image(4096, '\xFF'));
    EXPECT_EQ(expected, readIndex());
    EXPECT_EQ((Names{fileName(1), fileName(2)}), locked(parser));  // the rebuilt copy too
    RecordFileInfo victim;
    victim.setRecordFileName(fileName(3));
    ASSERT_EQ(1, parser.deleteFile(victim));
    paint(expected, lockedImage.entries()[2]);
    EXPECT_EQ(expected, readIndex());

    // A handler's walk sees the file's entries; the view loses them as well.
    ASSERT_EQ(1, parser.unLockFile(kT0, kT0 + 1000));
    SafePointer<RecordRecycleBin> bin(new RecordRecycleBin(1, m_info.getRecordRootDir() + "/record"));
    ASSERT_EQ(1, bin->init(0, 0));
    SafePointer<RecordOutDateFileHandler> handler(new RecordOutDateFileHandler(bin, m_info));
    handler->setFileDeleteTime(kT0 + 700);
    ASSERT_EQ(1, parser.deleteOutDateFile(handler));
    std::string empty = m_image;
    for (int i = 0; i < 3; ++i) paint(empty, lockedImage.entries()[i]);
    EXPECT_EQ(empty, readIndex());
    EXPECT_FALSE(exists(2));
    EXPECT_EQ(Names{fileName(9)}, damaged(parser));
    EXPECT_EQ(1, parser.getFileNumber());
    EXPECT_EQ(m_reindex, readIndex(RecordIndexFileParserEx::kStorageTypeRebuilt));
}

}  // namespace

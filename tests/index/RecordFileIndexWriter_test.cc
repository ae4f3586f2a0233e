#include "index/RecordFileIndexWriter.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <fstream>
#include <memory>
#include <vector>

#include "directory/IndexDirManager.h"
#include "directory/LastRecordFileInfoManager.h"
#include "host/HostPaths.h"
#include "index/RecordCrc32.h"
#include "index/RecordFileIndexCreator.h"
#include "index/RecordIndexCodec.h"
#include "index/RecordIndexFileParserEx.h"
#include "index/RecordIndexInfo.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

using Codec = RecordIndexCodec;
constexpr long long kBegin = 1704110400;  // 2024-01-01 12:00:00 UTC
constexpr int kVideo = 1;
constexpr int kAudio = 2;

// Entries made as a directory makes them, written by the writer, read back
// from the bytes of the index file. Each test day has its own index file.
class RecordFileIndexWriterTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        LastRecordFileInfoManager::getInstance()->clear();
        m_info.setRecordRootDir(m_disk.path("sda1"));
        m_info.setFileSegmentSize(1 << 20);
        m_file = entry(1);
        ASSERT_EQ(0, m_writer.open(m_file, false));
    }

    void TearDown() override { LastRecordFileInfoManager::getInstance()->clear(); }

    // What the channel asks for on a day of January 2024, at noon.
    SafePointer<RecordFileInfo> request(int day, int width = 640) const {
        SafePointer<RecordFileInfo> file(new RecordFileInfo());
        file->setDeviceId("NVR");
        file->setDeviceIP("10.0.0.7");
        file->setCameraId(1);
        char date[24];
        std::snprintf(date, sizeof(date), "2024-01-%02d", day);
        file->setRecordDate(date);
        file->setRecordBeginTime(kBegin + (day - 1) * 86400LL);
        AVStreamInfo stream;
        stream.setImageWidth(width);
        stream.setImageHeight(360);
        stream.setEncoderType(1);
        file->setAVStreamInfo(stream);
        file->setRecordDirInfoEx(m_info);
        return file;
    }

    // A new entry for file `number`, begun `offset` seconds after noon.
    SafePointer<RecordFileInfo> entry(int day, int number = 1, long long offset = 0) const {
        SafePointer<RecordFileInfo> file = request(day);
        file->setRecordBeginTime(file->getRecordBeginTime() + offset);
        file->setFileNumber(number);
        RecordFileIndexCreator creator(m_info);
        EXPECT_EQ(0, creator.createIndexFile(file));
        EXPECT_EQ(0, creator.createNewFileIndexSegment(file));
        return file;
    }

    // A sealed run of one-second I-frame items of one packet each.
    static void run(SafePointer<RecordFileInfo> const& file, long long from, int count) {
        RecordFileIndexWriter writer;
        ASSERT_EQ(0, writer.open(file, false));
        writer.setFirstTSIndex(from, 1, 188, 1, false, 0);
        for (int i = 1; i < count; ++i) writer.addTSIndex(from + i, kVideo, 1, 188, 1, false, 0);
        ASSERT_EQ(1, writer.writeLastTSIndex());
        writer.close();
    }

    static std::string indexBytes(SafePointer<RecordFileInfo> const& file) {
        return TempDir::readWhole(RecordIndexFileParserEx::getIndexFileName(*file));
    }

    // "name@seconds" of each entry of the day as a reader lists them, and
    // how many of them fail the CRC check.
    std::vector<std::string> listed(int day, int& damaged) const {
        RecordIndexFileParserEx parser;
        std::vector<std::string> found;
        damaged = -1;
        if (parser.open(m_info, request(day)->getRecordDate(), "NVR_10.0.0.7_1", 0, 0) != 1) return found;
        RecordIndexParserImplEx::FileList files;
        parser.getRecordFileInfoList(0, LLONG_MAX, files);
        for (SafePointer<RecordFileInfo> const& file : files)
            found.push_back(file->getRecordFileName() + "@" +
                            std::to_string(file->getRecordEndTime() - file->getRecordBeginTime()));
        files.clear();
        damaged = parser.getIndexDemagedFileList(files) >= 0 ? static_cast<int>(files.size()) : -1;
        return found;
    }

    // Items of the first entry, walked over the raw bytes; CRC items counted.
    std::vector<Codec::ItemInfo> items(int& crcItems) const {
        std::string bytes = indexBytes(m_file);
        auto const* p = reinterpret_cast<unsigned char const*>(bytes.data());
        int begin = 0;
        int headLength = 0;
        std::vector<Codec::ItemInfo> found;
        crcItems = 0;
        if (!Codec::findHead(bytes.data(), static_cast<int>(bytes.size()), 0, begin, headLength)) return found;
        for (size_t at = static_cast<size_t>(begin + headLength); at + 4 <= bytes.size() && p[at] != 0xFF;) {
            if (p[at] == 0 && p[at + 1] == 0 && p[at + 2] == 0 && p[at + 3] == 0) break;
            Codec::ItemInfo item;
            int size = p[at] == Codec::kCrcItemMark
                           ? Codec::kCrcItemSize
                           : Codec::decodeItem(Codec::kIndexVersion3, p + at, static_cast<int>(bytes.size() - at), item);
            if (size == 0) break;
            if (p[at] == Codec::kCrcItemMark) ++crcItems;
            else found.push_back(item);
            at += static_cast<size_t>(size);
        }
        return found;
    }

    TempDir m_disk;
    HostRootGuard m_root;
    RecordDirInfoEx m_info;
    SafePointer<RecordFileInfo> m_file;
    RecordFileIndexWriter m_writer;
};

TEST_F(RecordFileIndexWriterTest, ItemsEndAtIFramesAndAfterThreeSecondsButNeverOnAudio) {
    m_writer.setFirstTSIndex(kBegin, 1, 1880, 1, false, 0);
    m_writer.addTSIndex(kBegin, kVideo, 0, 188, 1, false, 0);      // second I frame within the second
    m_writer.addTSIndex(kBegin + 1, kVideo, 1, 376, 0, false, 0);  // P frames join
    m_writer.addTSIndex(kBegin + 6, kAudio, 0, 188, 1, false, 0);  // audio never ends an item
    m_writer.addTSIndex(kBegin + 6, kVideo, 5, 564, 0, true, 0);   // more than 3 s: a new item
    m_writer.addTSIndex(kBegin + 7, kVideo, 0, 188, 1, false, 2);  // an I frame: a new item
    ASSERT_EQ(1, m_writer.writeLastTSIndex());
    m_writer.close();

    int crcItems = 0;
    std::vector<Codec::ItemInfo> found = items(crcItems);
    ASSERT_EQ(3u, found.size());
    EXPECT_EQ(0, found[0].nTimeInterval);
    EXPECT_EQ(1880 + 188 + 376 + 188, found[0].nDataLength);
    EXPECT_EQ(2, found[0].nTimeLength);
    EXPECT_EQ(1, found[0].nIndexType);
    EXPECT_EQ(6, found[1].nTimeInterval);
    EXPECT_EQ(3, found[1].nTimeLength);  // five seconds, capped
    EXPECT_TRUE(found[1].bLocked);
    EXPECT_EQ(0, found[1].nIndexType);
    EXPECT_EQ(1, found[2].nTimeInterval);
    EXPECT_TRUE(found[2].bAlarm);
    EXPECT_EQ(2, crcItems);  // the head's and the run's
}

TEST_F(RecordFileIndexWriterTest, FourteenSecondsIsShortAndFifteenIsLongWithTheOffsetFromTheBegin) {
    m_writer.setFirstTSIndex(kBegin + 2, 0, 188, 1, false, 0);
    m_writer.addTSIndex(kBegin + 16, kVideo, 0, 188, 1, false, 0);
    m_writer.addTSIndex(kBegin + 31, kVideo, 0, 188, 1, false, 0);
    m_writer.writeLastTSIndex();
    m_writer.close();
    int crcItems = 0;
    std::vector<Codec::ItemInfo> found = items(crcItems);
    ASSERT_EQ(3u, found.size());
    EXPECT_FALSE(found[0].bLong);
    EXPECT_EQ(2, found[0].nTimeInterval);
    EXPECT_FALSE(found[1].bLong);
    EXPECT_EQ(14, found[1].nTimeInterval);
    EXPECT_TRUE(found[2].bLong);
    EXPECT_EQ(31, found[2].nTimeInterval);
}

TEST_F(RecordFileIndexWriterTest, NothingPendingWritesNoItemAndNoSeal) {
    std::string before = indexBytes(m_file);
    EXPECT_EQ(1, m_writer.writeLastTSIndex());
    m_writer.close();
    EXPECT_TRUE(before == indexBytes(m_file));
}

// What a power cut leaves of a run is its flushed items, readable, without
// a seal; the next start must not append to it. Index files the engine makes
// are born 0xFF, which tells an open run from a closed one; a zero tail made
// elsewhere can't tell, but is read all the same.
TEST_F(RecordFileIndexWriterTest, RunCutByPowerIsReadButNeverContinued) {
    for (char fill : {'\xFF', '\0'}) {
        SCOPED_TRACE(static_cast<int>(fill));
        SafePointer<RecordFileInfo> file = entry(fill == '\0' ? 3 : 2);
        if (fill == '\0') {
            std::string bytes = indexBytes(file);
            size_t used = std::min(bytes.find("\xFF\xFF\xFF\xFF"), bytes.size());
            std::fill(bytes.begin() + static_cast<long>(used), bytes.end(), '\0');
            std::ofstream(RecordIndexFileParserEx::getIndexFileName(*file), std::ios::binary) << bytes;
        }
        long long begin = file->getRecordBeginTime();
        auto plan = std::make_shared<FaultPlan>();
        {
            FaultInjection faults(plan);
            RecordFileIndexWriter writer;
            ASSERT_EQ(0, writer.open(file, false));
            writer.setFirstTSIndex(begin, 1, 376, 1, false, 0);
            writer.addTSIndex(begin + 2, kVideo, 1, 188, 1, false, 0);
            ASSERT_EQ(1, writer.writeIndex(true));
            writer.addTSIndex(begin + 4, kVideo, 1, 188, 1, false, 0);
            ASSERT_EQ(1, writer.writeIndex(false));  // in the file, never made durable
            plan->powerCut();
            plan->vanish();  // the process is gone: its close reaches nothing
        }
        LastRecordFileInfoManager::getInstance()->clear();
        int data = 0;
        int time = 0;
        int interval = 0;
        int end = 0;
        bool closed = true;
        ASSERT_TRUE(RecordFileIndexWriter::getRecordValidLength(file, data, time, interval, end, closed));
        EXPECT_EQ(376, data);
        if (fill == '\0') continue;
        EXPECT_FALSE(closed);
        RecordFileIndexWriter again;
        EXPECT_EQ(-705, again.open(file, false));
        EXPECT_EQ(0, again.open(file, true));
    }
}

// After a restart the day's last entry is continued from what the disk
// holds, wherever it lies and however long it is (longer than the memory
// keeps), and the next entry goes behind it: no entry loses head or items.
TEST_F(RecordFileIndexWriterTest, ContinuedLastEntryKeepsItsPlaceAndTheNextGoesBehindIt) {
    using Runs = std::vector<int>;  // items per sealed run of one entry
    std::vector<std::vector<Runs>> const days = {{{2}}, {{2}, {1, 3}}, {{15000, 15000}}};
    for (size_t d = 0; d < days.size(); ++d) {
        int day = static_cast<int>(d) + 2;
        SCOPED_TRACE(day);
        std::vector<std::string> expected;
        SafePointer<RecordFileInfo> last;
        long long at = 0;  // seconds from the last entry's begin
        for (size_t e = 0; e < days[d].size(); ++e) {
            last = entry(day, static_cast<int>(e) + 1, 100 * static_cast<long long>(e));
            at = 0;
            for (int count : days[d][e]) {
                run(last, last->getRecordBeginTime() + at, count);
                at += count + 10;
            }
            expected.push_back(last->getRecordFileName() + "@" + std::to_string(at - 10));
        }
        std::ofstream(last->createRecordFileName()) << "ts";
        LastRecordFileInfoManager::getInstance()->clear();

        SafePointer<RecordFileInfo> joining = request(day);
        ASSERT_EQ(0, RecordFileIndexCreator(m_info).togetherRecordFile(joining));
        ASSERT_EQ(last->getRecordFileName(), joining->getRecordFileName());
        run(joining, joining->getRecordBeginTime() + at, 2);
        expected.back() = last->getRecordFileName() + "@" + std::to_string(at + 2);
        SafePointer<RecordFileInfo> next = entry(day, 9, 50000);
        run(next, next->getRecordBeginTime(), 1);
        expected.push_back(next->getRecordFileName() + "@1");
        int damaged = 0;
        EXPECT_EQ(expected, listed(day, damaged));
        EXPECT_EQ(0, damaged);
    }
}

// A channel joins its last file of the day only when that file is there,
// sealed, unlocked (locking renames it ".ts&") and of the same picture; a
// gone file's entry is removed, a locked one's is kept. A directory that
// names its own files (network) decides the same way.
TEST_F(RecordFileIndexWriterTest, LastFileIsJoinedOnlyWhenItIsThereUnlockedAndTheSame) {
    struct Case {
        char const* what;
        int width;
        char const* file;  // how the record file is found: "" as written, "&" locked, "-" gone
        int together;
        size_t entries;
    };
    Case const cases[] = {{"same", 640, "", 0, 1},
                          {"picture changed", 704, "", -2, 1},
                          {"file gone", 640, "-", -3, 0},
                          {"file locked", 640, "&", -1, 1}};
    int day = 2;
    for (Case const& c : cases) {
        for (bool network : {false, true}) {
            SCOPED_TRACE(std::string(c.what) + (network ? ", network" : ""));
            SafePointer<RecordFileInfo> last = entry(day);
            run(last, last->getRecordBeginTime(), 2);
            if (*c.file != '-') std::ofstream(last->createRecordFileName() + c.file) << "ts";
            LastRecordFileInfoManager::getInstance()->clear();
            SafePointer<RecordFileInfo> next = request(day, c.width);
            next->setRecordBeginTime(next->getRecordBeginTime() + 60);
            RecordFileIndexCreator creator(m_info);
            bool isNew = false;
            if (network) {
                EXPECT_EQ(0, creator.createFileIndex(next, false, isNew));
                EXPECT_EQ(c.together != 0, isNew);
            } else {
                EXPECT_EQ(c.together, creator.togetherRecordFile(next));
            }
            int damaged = 0;
            EXPECT_EQ(c.entries + (isNew ? 1 : 0), listed(day++, damaged).size());
            EXPECT_EQ(c.together == 0, next->getRecordFileName() == last->getRecordFileName());
        }
    }
}

}  // namespace

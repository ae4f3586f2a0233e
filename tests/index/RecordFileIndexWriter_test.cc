#include "index/RecordFileIndexWriter.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
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

// Entries made as a directory makes them, read back from the index file's
// bytes; each test day has its own index file.
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
        file->setRecordDate("2024-01-0" + std::to_string(day));
        file->setRecordBeginTime(kBegin + (day - 1) * 86400LL);
        AVStreamInfo stream;
        stream.setImageWidth(width);
        stream.setImageHeight(360);
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

    // "name@seconds" of each entry of the day as a reader lists them, with
    // a "!" behind those that fail the CRC check.
    std::vector<std::string> listed(int day) const {
        RecordIndexFileParserEx parser;
        std::vector<std::string> found;
        if (parser.open(m_info, request(day)->getRecordDate(), "NVR_10.0.0.7_1", 0, 0) != 1) return found;
        RecordIndexParserImplEx::FileList files, damaged;
        parser.getRecordFileInfoList(0, LLONG_MAX, files);
        parser.getIndexDemagedFileList(damaged);
        for (SafePointer<RecordFileInfo> const& file : files) {
            found.push_back(file->getRecordFileName() + "@" +
                            std::to_string(file->getRecordEndTime() - file->getRecordBeginTime()));
            for (SafePointer<RecordFileInfo> const& bad : damaged)
                if (bad->getRecordFileName() == file->getRecordFileName()) found.back() += "!";
        }
        return found;
    }

    // Items of the first entry, walked over the raw bytes: "S|L interval
    // bytes seconds [I] [lock] [alarm]", and "CRC" for a CRC item.
    std::vector<std::string> items() const {
        std::string bytes = indexBytes(m_file);
        auto const* p = reinterpret_cast<unsigned char const*>(bytes.data());
        int at = 0;
        int head = 0;
        std::vector<std::string> found;
        if (!Codec::findHead(bytes.data(), static_cast<int>(bytes.size()), 0, at, head)) return found;
        for (at += head; at + 4 <= static_cast<int>(bytes.size()) && p[at] != 0xFF;) {
            Codec::ItemInfo i;
            int size = Codec::decodeItem(Codec::kIndexVersion3, p + at, static_cast<int>(bytes.size()) - at, i);
            bool crc = p[at] == Codec::kCrcItemMark;
            found.push_back(crc ? "CRC"
                                : (i.bLong ? "L" : "S") + std::to_string(i.nTimeInterval) + " " +
                                      std::to_string(i.nDataLength) + " " + std::to_string(i.nTimeLength) +
                                      (i.nIndexType == 1 ? " I" : "") + (i.bLocked ? " lock" : "") +
                                      (i.bAlarm ? " alarm" : ""));
            at += crc ? Codec::kCrcItemSize : size;
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
    EXPECT_EQ(1, m_writer.writeLastTSIndex());  // nothing pending: no item, and no seal at close
    m_writer.close();
    ASSERT_EQ(0, m_writer.open(m_file, false));
    m_writer.setFirstTSIndex(kBegin, 1, 1880, 1, false, 0);
    m_writer.addTSIndex(kBegin, kVideo, 0, 188, 1, false, 0);      // second I frame within the second
    m_writer.addTSIndex(kBegin + 1, kVideo, 1, 376, 0, false, 0);  // P frames join
    m_writer.addTSIndex(kBegin + 6, kAudio, 0, 188, 1, false, 0);  // audio never ends an item
    m_writer.addTSIndex(kBegin + 6, kVideo, 5, 564, 0, true, 0);   // more than 3 s: a new item
    m_writer.addTSIndex(kBegin + 7, kVideo, 0, 188, 1, false, 2);  // an I frame: a new item
    m_writer.addTSIndex(kBegin + 21, kVideo, 1, 188, 1, false, 0);  // 14 s on: still short
    m_writer.addTSIndex(kBegin + 36, kVideo, 1, 188, 1, false, 0);  // 15 s on: long, from the begin
    ASSERT_EQ(1, m_writer.writeLastTSIndex());
    m_writer.close();
    EXPECT_EQ((std::vector<std::string>{"CRC", "S0 2632 2 I", "S6 564 3 lock", "S1 188 0 I alarm",
                                        "S14 188 1 I", "L36 188 1 I", "CRC"}),
              items());
}

// A lock over the entry being written: items the writer adds after the lock
// read the index stay, and the seal covers the locked bytes as they are.
TEST_F(RecordFileIndexWriterTest, ALockOfTheEntryBeingWrittenLeavesItWholeAndSealed) {
    m_writer.setFirstTSIndex(kBegin, 1, 188, 1, false, 0);
    m_writer.addTSIndex(kBegin + 1, kVideo, 1, 188, 1, false, 0);
    ASSERT_EQ(1, m_writer.writeIndex(false));
    RecordIndexFileParserEx locker;
    ASSERT_EQ(1, locker.open(m_info, "2024-01-01", "NVR_10.0.0.7_1", 0, RecordIndexFileParserEx::kModeChange));
    m_writer.addTSIndex(kBegin + 2, kVideo, 1, 188, 1, false, 0);
    m_writer.addTSIndex(kBegin + 3, kVideo, 1, 188, 1, false, 0);
    ASSERT_EQ(1, m_writer.writeIndex(false));
    ASSERT_EQ(1, locker.lockFile(kBegin, kBegin));
    locker.close();
    ASSERT_EQ(1, m_writer.writeLastTSIndex());
    m_writer.close();
    EXPECT_EQ((std::vector<std::string>{"CRC", "S0 188 1 I lock", "S1 188 1 I", "S1 188 1 I", "S1 188 1 I", "CRC"}),
              items());
    EXPECT_EQ(std::vector<std::string>{"00001-NVR_10.0.0.7_1_20240101120000.ts@4"}, listed(1));
}

TEST_F(RecordFileIndexWriterTest, OlderPairTakesTheTimeLengthFromTheTimeStamps) {
    m_writer.setFirstIndex(kBegin, 188, 1, false, 0);
    m_writer.addIndex(kBegin + 1, kVideo, 188, 0, false, 0);   // joins: the item reaches 1 s
    m_writer.addIndex(kBegin + 2, kVideo, 376, 1, true, 2);    // an I frame: a new item
    m_writer.addIndex(kBegin + 4, kAudio, 188, 0, true, 2);    // audio joins and moves the time
    m_writer.addIndex(kBegin + 22, kVideo, 188, 1, false, 0);  // 20 s on: long
    ASSERT_EQ(1, m_writer.writeLastIndex());
    m_writer.close();
    EXPECT_EQ((std::vector<std::string>{"CRC", "S0 376 1 I", "S2 564 2 I lock alarm", "L22 188 0 I", "CRC"}),
              items());
}

// A power cut leaves a run's flushed items unsealed in a file born 0xFF:
// readable, and never continued.
TEST_F(RecordFileIndexWriterTest, RunCutByPowerIsReadButNeverContinued) {
    auto plan = std::make_shared<FaultPlan>();
    {
        FaultInjection faults(plan);
        RecordFileIndexWriter writer;
        ASSERT_EQ(0, writer.open(m_file, false));
        writer.setFirstTSIndex(kBegin, 1, 376, 1, false, 0);
        writer.addTSIndex(kBegin + 2, kVideo, 1, 188, 1, false, 0);
        ASSERT_EQ(1, writer.writeIndex(true));
        writer.addTSIndex(kBegin + 4, kVideo, 1, 188, 1, false, 0);
        ASSERT_EQ(1, writer.writeIndex(false));  // in the file, never made durable
        plan->powerCut();
        plan->vanish();  // the process is gone: its close reaches nothing
    }
    LastRecordFileInfoManager::getInstance()->clear();
    EXPECT_EQ((std::vector<std::string>{"CRC", "S0 376 1 I"}), items());
    EXPECT_EQ(std::vector<std::string>{m_file->getRecordFileName() + "@1!"}, listed(1));
    RecordFileIndexWriter again;
    EXPECT_EQ(-705, again.open(m_file, false));
    EXPECT_EQ(0, again.open(m_file, true));
}

// After a restart the day's last entry, however long, is continued from the
// disk, and the next entry goes behind it.
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
        EXPECT_EQ(d == 2 ? 0u : 1u, LastRecordFileInfoManager::getInstance()->size());  // too long to hold
        run(joining, joining->getRecordBeginTime() + at, 2);
        expected.back() = last->getRecordFileName() + "@" + std::to_string(at + 2);
        SafePointer<RecordFileInfo> next = entry(day, 9, 50000);
        run(next, next->getRecordBeginTime(), 1);
        expected.push_back(next->getRecordFileName() + "@1");
        EXPECT_EQ(expected, listed(day));
    }
}

// The last file is joined only when there, unlocked (".ts&") and of the same
// picture; a gone file's entry is removed. Network directories decide alike.
TEST_F(RecordFileIndexWriterTest, LastFileIsJoinedOnlyWhenItIsThereUnlockedAndTheSame) {
    // file: how the record file is found: "" as written, "&" locked, "-" gone
    struct Case { char const* what; int width; char const* file; int together; size_t entries; };
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
            RecordFileIndexCreator creator(m_info);
            bool isNew = false;
            if (network) {
                EXPECT_EQ(0, creator.createFileIndex(next, false, isNew));
                EXPECT_EQ(c.together != 0, isNew);
            } else {
                EXPECT_EQ(c.together, creator.togetherRecordFile(next));
            }
            EXPECT_EQ(c.entries + (isNew ? 1 : 0), listed(day++).size());
            EXPECT_EQ(c.together == 0, next->getRecordFileName() == last->getRecordFileName());
        }
    }
}

// The seal covers the items in the file, not those whose write failed; a
// failed seal leaves the run open, never joined; FF is stored as EE, logged.
TEST_F(RecordFileIndexWriterTest, SealCoversTheItemsInTheFileAndNeverEndsInFF) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    SafePointer<RecordFileInfo> file = entry(2);
    RecordFileIndexWriter writer;
    ASSERT_EQ(0, writer.open(file, false));
    writer.setFirstTSIndex(file->getRecordBeginTime(), 1, 188, 1, false, 0);
    for (int i = 1; i <= 3; ++i) {
        writer.addTSIndex(file->getRecordBeginTime() + 2 * i, kVideo, 1, 188, 1, false, 0);
        if (i == 2) plan->failWriteAt(1);
        EXPECT_EQ(i == 2 ? 0 : 1, writer.writeIndex(true));
    }
    ASSERT_EQ(1, writer.writeLastTSIndex());
    writer.close();
    EXPECT_EQ(std::vector<std::string>{file->getRecordFileName() + "@5"}, listed(2));

    Codec::ItemInfo item;  // the first item of a run, of as many packets as make its CRC end in FF
    item.nTimeLength = item.nIndexType = 1;
    unsigned char bytes[8];
    int size = 0;
    do {
        item.nDataLength += 188;
        size = Codec::encodeItem(Codec::kIndexVersion3, item, bytes);
    } while (RecordCrc32::getInstance()->getCrc32(bytes, size) >> 24 != 0xFF);
    for (int day : {3, 4}) {
        file = entry(day);
        ASSERT_EQ(0, writer.open(file, false));
        writer.setFirstTSIndex(file->getRecordBeginTime(), 1, item.nDataLength, 1, false, 0);
        ASSERT_EQ(1, writer.writeLastTSIndex());
        if (day == 4) plan->failWriteAt(1);
        writer.close();
    }
    std::string index = indexBytes(request(3));
    EXPECT_EQ('\xEE', index[index.find("\xFF\xFF\xFF\xFF") - 1]);
    std::string log = TempDir::readWhole(HostPaths::getLogDir() + "/writeIndex.log");
    EXPECT_NE(std::string::npos, log.find("write crc failed"));
    SafePointer<RecordFileInfo> joining = request(4);
    EXPECT_EQ(-1, RecordFileIndexCreator(m_info).togetherRecordFile(joining));
}

// Index files are born 0xFF, from the pool or, when it has run dry, made in
// place; -767 only when the disk can't take one. A taken name is refused.
TEST_F(RecordFileIndexWriterTest, IndexFilesAreBornFFAndNewEntriesNeedAFreeName) {
    SafePointer<IndexDirManager> pool(
        new IndexDirManager(Codec::kFreshIndexFileSize, 1, m_info.getRecordRootDir() + "/record"));
    ASSERT_TRUE(pool->init(0));
    ASSERT_EQ(1, pool->allocateIndexFile(10));  // a tenth of the record files: one
    RecordFileIndexCreator creator(m_info);
    creator.setIndexDirManager(pool);
    SafePointer<RecordFileInfo> file = request(2);
    SafePointer<RecordFileInfo> other = request(3);
    ASSERT_EQ(0, creator.createIndexFile(file));
    EXPECT_TRUE(std::string(Codec::kFreshIndexFileSize, '\xFF') == indexBytes(file));
    EXPECT_EQ(0, creator.createIndexFile(file));  // there already: the dry pool isn't asked
    {
        auto plan = std::make_shared<FaultPlan>();
        FaultInjection faults(plan);
        plan->setDiskFull(true);
        EXPECT_EQ(-767, RecordFileIndexCreator(m_info).createIndexFile(other));
    }
    EXPECT_EQ(0, creator.createIndexFile(other));
    EXPECT_TRUE(std::string(Codec::kFreshIndexFileSize, '\xFF') == indexBytes(other));

    ASSERT_EQ(0, creator.createNewFileIndex(file));
    std::ofstream(file->createRecordFileName()) << "ts";
    EXPECT_EQ(-757, creator.createNewFileIndex(file));
    EXPECT_EQ(1u, listed(2).size());
}

TEST(RecordIndexInfoTest, PacksTimeThenPositionInEightBytesOfTheHostsOrder) {
    RecordIndexInfo info(-7, 0x12345678);
    RecordIndexInfo back;
    std::int32_t halves[2] = {0, 0};
    info.combineRecordIndexInfo(reinterpret_cast<char*>(halves));
    back.parseRecordIndexInfo(reinterpret_cast<char const*>(halves));
    EXPECT_EQ(info, back);
    EXPECT_EQ(-7, halves[0]);
    EXPECT_EQ(0x12345678, halves[1]);
    std::uint64_t whole = info.getRecordIndexInfo();
    EXPECT_EQ(0, std::memcmp(halves, &whole, sizeof(whole)));
}

}  // namespace

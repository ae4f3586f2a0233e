#include "index/RecordFileIndexWriter.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <vector>

#include "directory/LastRecordFileInfoManager.h"
#include "directory/PlainRecordDir.h"
#include "index/RecordIndexCodec.h"
#include "index/RecordIndexFileParserEx.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

namespace {

constexpr long long kBegin = 1704110400;  // 2024-01-01 12:00:00 UTC
constexpr int kVideo = 1;
constexpr int kAudio = 2;

// An entry of the day's index made as a directory makes one, and a writer
// on it; the items are read back from the bytes in the index file.
class RecordFileIndexWriterTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        LastRecordFileInfoManager::getInstance()->clear();
        RecordDirInfoEx info;
        info.setRecordRootDir(m_disk.path("sda1"));
        info.setFileSegmentSize(1 << 20);
        m_dir.reset(new PlainRecordDir(info));
        ASSERT_EQ(1, m_dir->init());
        m_file = SafePointer<RecordFileInfo>(new RecordFileInfo());
        m_file->setDeviceId("NVR");
        m_file->setDeviceIP("10.0.0.7");
        m_file->setCameraId(1);
        m_file->setRecordDate("2024-01-01");
        m_file->setRecordBeginTime(kBegin);
        AVStreamInfo stream;
        stream.setImageWidth(640);
        stream.setImageHeight(360);
        stream.setEncoderType(1);
        m_file->setAVStreamInfo(stream);
        m_dir->setDeviceRequetType(RecordDeviceInfo(), 0);
        ASSERT_EQ(0, m_dir->createFile(m_file));
        ASSERT_EQ(0, m_writer.open(m_file, false));
    }

    void TearDown() override { LastRecordFileInfoManager::getInstance()->clear(); }

    std::string indexBytes() const {
        return TempDir::readWhole(RecordIndexFileParserEx::getIndexFileName(*m_file));
    }

    // Items behind the head and its CRC item, up to the zero filler.
    std::vector<RecordIndexCodec::ItemInfo> items(int& crcItems) const {
        std::string bytes = indexBytes();
        int begin = 0;
        int headLength = 0;
        std::vector<RecordIndexCodec::ItemInfo> found;
        crcItems = 0;
        if (!RecordIndexCodec::findHead(bytes.data(), static_cast<int>(bytes.size()), 0, begin, headLength))
            return found;
        size_t at = static_cast<size_t>(begin + headLength);
        auto const* p = reinterpret_cast<unsigned char const*>(bytes.data());
        while (at + 4 <= bytes.size() && !(p[at] == 0 && p[at + 1] == 0 && p[at + 2] == 0 && p[at + 3] == 0)) {
            if (p[at] == RecordIndexCodec::kCrcItemMark) {
                ++crcItems;
                at += RecordIndexCodec::kCrcItemSize;
                continue;
            }
            RecordIndexCodec::ItemInfo item;
            int size = RecordIndexCodec::decodeItem(RecordIndexCodec::kIndexVersion3, p + at,
                                                    static_cast<int>(bytes.size() - at), item);
            if (size == 0) break;
            found.push_back(item);
            at += static_cast<size_t>(size);
        }
        return found;
    }

    TempDir m_disk;
    HostRootGuard m_root;
    std::unique_ptr<PlainRecordDir> m_dir;
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
    std::vector<RecordIndexCodec::ItemInfo> found = items(crcItems);
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
    std::vector<RecordIndexCodec::ItemInfo> found = items(crcItems);
    ASSERT_EQ(3u, found.size());
    EXPECT_FALSE(found[0].bLong);
    EXPECT_EQ(2, found[0].nTimeInterval);
    EXPECT_FALSE(found[1].bLong);
    EXPECT_EQ(14, found[1].nTimeInterval);
    EXPECT_TRUE(found[2].bLong);
    EXPECT_EQ(31, found[2].nTimeInterval);
}

TEST_F(RecordFileIndexWriterTest, NothingPendingWritesNoItemAndNoSeal) {
    std::string before = indexBytes();
    EXPECT_EQ(1, m_writer.writeLastTSIndex());
    m_writer.close();
    EXPECT_TRUE(before == indexBytes());
}

TEST_F(RecordFileIndexWriterTest, ContinuingStartsWithALongItemAndKeepsTheOldRun) {
    m_writer.setFirstTSIndex(kBegin, 1, 376, 1, false, 0);
    m_writer.addTSIndex(kBegin + 2, kVideo, 1, 376, 1, false, 0);
    m_writer.writeLastTSIndex();
    m_writer.close();

    RecordFileIndexWriter again;
    ASSERT_EQ(0, again.open(m_file, false));
    EXPECT_EQ(752, again.getRecordFileLength());
    EXPECT_EQ(3, again.getRecordTimeInterval());
    again.setFirstTSIndex(kBegin + 5, 1, 188, 1, false, 0);
    again.writeLastTSIndex();
    again.close();

    int crcItems = 0;
    std::vector<RecordIndexCodec::ItemInfo> found = items(crcItems);
    ASSERT_EQ(3u, found.size());
    EXPECT_TRUE(found[2].bLong);
    EXPECT_EQ(5, found[2].nTimeInterval);
    EXPECT_EQ(3, crcItems);
    int data = 0;
    int time = 0;
    int interval = 0;
    int end = 0;
    bool closed = false;
    ASSERT_TRUE(RecordFileIndexWriter::getRecordValidLength(m_file, data, time, interval, end, closed));
    EXPECT_EQ(940, data);
    EXPECT_TRUE(closed);
    // The memory agrees with what a fresh reader of the disk finds.
    LastRecordFileInfoManager::getInstance()->clear();
    int diskData = 0;
    int diskEnd = 0;
    ASSERT_TRUE(RecordFileIndexWriter::getRecordValidLength(m_file, diskData, time, interval, diskEnd, closed));
    EXPECT_EQ(data, diskData);
    EXPECT_EQ(end, diskEnd);
}

TEST_F(RecordFileIndexWriterTest, UnsealedRunIsNotContinued) {
    m_writer.setFirstTSIndex(kBegin, 1, 376, 1, false, 0);
    m_writer.addTSIndex(kBegin + 2, kVideo, 1, 376, 1, false, 0);
    ASSERT_EQ(1, m_writer.writeIndex(true));  // on disk, but no CRC item: as a power cut leaves it
    LastRecordFileInfoManager::getInstance()->clear();
    // Fill the tail as a pool file is filled, so the reader sees the run open.
    {
        std::string name = RecordIndexFileParserEx::getIndexFileName(*m_file);
        std::string bytes = TempDir::readWhole(name);
        size_t used = bytes.find(std::string(8, '\0'));
        std::fill(bytes.begin() + static_cast<long>(used), bytes.end(), '\xFF');
        std::ofstream(name, std::ios::binary | std::ios::trunc) << bytes;
    }
    RecordFileIndexWriter again;
    EXPECT_EQ(-705, again.open(m_file, false));
    EXPECT_EQ(0, again.open(m_file, true));
    again.close();
}

}  // namespace

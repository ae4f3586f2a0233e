// Index bytes written while a real stream is recorded, read back by the
// index reader; and what is left of them after a power cut.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "directory/LastRecordFileInfoManager.h"
#include "disk/RecordDiskManagerImpl.h"
#include "host/DiskManagerFactory.h"
#include "host/HostClock.h"
#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexCache.h"
#include "index/RecordIndexFileParserEx.h"
#include "index/RecordIndexParserImplEx.h"
#include "recording/RecordStorageTSImpl.h"
#include "recording/TSFrameQueue.h"
#include "retrieval/SingleDeviceRecordQuery.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestStreams.h"
#include "tracking/RecordingMarkManager.h"

namespace {

constexpr long long kDay0 = 1704110400;  // 2024-01-01 12:00:00 UTC
char const* const kDeviceDir = "NVR_10.0.0.7_2";
char const* const kDate = "2024-01-01";

// One block as the session took it.
struct Written {
    std::string file;
    long long offset = 0;  // in the record file
    std::string bytes;
    bool iFrame = false;
    long long seconds = 0;
};

// A channel from frames to record files: the frame queue, the session and
// the plain directory of the disk manager, on a temporary folder.
class Channel {
public:
    explicit Channel(RecordDirInfoEx const& dir) : m_dir(dir), m_queue(8 << 20) {
        RecordInfo info;
        info.setDeviceId("NVR");
        info.setDeviceIP("10.0.0.7");
        info.setCameraId(2);
        m_session.open(info, false);
        m_session.setTSFrameQueue(&m_queue);
        m_queue.setDeviceInfo("NVR", 2);
    }

    // Pushes frames and writes every block that becomes ready; after each
    // block `between` runs (to move the clock, say).
    void record(std::vector<AVData> const& frames, std::function<void(Written const&)> const& between = {}) {
        for (AVData const& frame : frames) {
            m_queue.pushAVData(&frame);
            drain(between);
        }
    }

    void drain(std::function<void(Written const&)> const& between) {
        TSAVData* block = nullptr;
        while (m_queue.frontAVData(&block)) {
            if (block != nullptr) {
                Written written;
                written.iFrame = block->getFrameType() == 1;
                written.seconds = block->getTimeStamp() / 1000000;
                int code = m_session.write(0, block);
                // After the write: joining a file moves the time line of the
                // queued blocks, this one included.
                written.bytes.assign(block->getData(), block->getDataLength());
                SafePointer<RecordFileInfo> file = m_session.getRecordFileInfo();
                if (code == 0) {
                    written.file = file->getRecordFileName();
                    written.offset = m_fileLength[written.file];
                    m_fileLength[written.file] += static_cast<long long>(written.bytes.size());
                    m_blocks.push_back(written);
                    if (between) between(m_blocks.back());
                }
                block = nullptr;
            }
            m_queue.popAVData();
        }
    }

    void close() { m_session.close(); }
    std::vector<Written> const& blocks() const { return m_blocks; }
    TSFrameQueue& queue() { return m_queue; }

private:
    RecordDirInfoEx m_dir;
    TSFrameQueue m_queue;
    RecordStorageTSImpl m_session;
    std::vector<Written> m_blocks;
    std::map<std::string, long long> m_fileLength;
};

class RecordIndexWritingTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        m_dir.setRecordRootDir(m_disk.path("sda1"));
        m_dir.setRecordDiskName("sda1");
        m_dir.setFileSegmentSize(64LL << 20);
        restart();
        TestStreams::VideoOptions video;
        video.nWidth = 640;
        video.nHeight = 360;
        m_video = TestStreams::readH264(std::string(RECSTORE_TESTDATA_DIR) + "/cif25_gop50_20s.h264", video);
        m_audio = TestStreams::readALaw(std::string(RECSTORE_TESTDATA_DIR) + "/tone8k_20s.alaw");
        ASSERT_FALSE(m_video.empty());
    }

    void TearDown() override {
        RecordDiskManagerImpl::getInstance()->clear();
        LastRecordFileInfoManager::getInstance()->clear();
        HostClock::reset();
    }

    // What a new process starts with: no memory, the folders as they are.
    void restart() {
        RecordDiskManagerImpl::getInstance()->clear();
        LastRecordFileInfoManager::getInstance()->clear();
        RecordingMarkManager::getInstance()->delMark(kDeviceDir);
        RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_dir});
    }

    // The CIF stream again, from a later second of the day.
    static std::vector<AVData> videoFrom(long long seconds) {
        TestStreams::VideoOptions options;
        options.nFirstTime = seconds * 1000000;
        options.nWidth = 640;
        options.nHeight = 360;
        return TestStreams::readH264(std::string(RECSTORE_TESTDATA_DIR) + "/cif25_gop50_20s.h264", options);
    }

    std::string dateDir() const { return m_dir.getRecordRootDir() + "/record/" + kDeviceDir + "/" + kDate; }

    // Segments of the day as a query sees them.
    std::vector<RecordTimeSegment> segments() {
        RecordIndexFileParserEx parser;
        EXPECT_EQ(1, parser.open(m_dir, kDate, kDeviceDir, 0, 0));
        RecordQueryResult result;
        RecordQueryCondition condition;
        condition.setRecordBeginTime(static_cast<unsigned long>(kDay0 - 3600));
        condition.setRecordEndTime(static_cast<unsigned long>(kDay0 + 7200));
        condition.setRecordQueryTimePrecision(2);
        SingleDeviceRecordQuery query(result, condition);
        query.setDate(kDate);
        parser.queryRecordSegmentList(&query, false);
        query.clear();
        return result.getRecordTimeSegmentList();
    }

    // I-frame seek positions of one file's entry, and its valid length (the
    // sum of its items' data lengths).
    std::vector<int> iFramePositions(std::string const& name, int& dataLength) {
        RecordIndexFileParserEx parser;
        EXPECT_EQ(1, parser.open(m_dir, kDate, kDeviceDir, 0, 0));
        RecordIndexParserImplEx& entries = parser.getParser();
        int begin = 0;
        int headEnd = 0;
        int end = 0;
        std::vector<int> positions;
        RecordFileIndexNodeInfo nodes;
        dataLength = -1;
        if (entries.getIndexPosByFileName(name.c_str(), begin, headEnd, end) != 1 ||
            entries.getRecordFileIndexNodeInfoList(name.c_str(), nodes) != 1)
            return positions;
        RecordIndexCache cache;
        entries.getRecordFileIndexList(begin, headEnd, end, cache, true);
        for (RecordIndexInfo const& info : cache.getRecordIndexInfoList()) positions.push_back(info.getFilePos());
        dataLength = 0;
        for (RecordIndexNode const& node : nodes.getRecordIndexNodeList()) dataLength += node.getDataLength();
        return positions;
    }

    TempDir m_disk;
    HostRootGuard m_root;
    RecordDirInfoEx m_dir;
    std::vector<AVData> m_video;
    std::vector<AVData> m_audio;
};

TEST_F(RecordIndexWritingTest, RealStreamReadsBackAsItsSegmentsAndIFramePositions) {
    Channel channel(m_dir);
    channel.record(TestStreams::interleave(m_video, m_audio));
    channel.close();
    ASSERT_GE(channel.blocks().size(), 8u);

    std::string name = channel.blocks().front().file;
    std::string data = TempDir::readWhole(dateDir() + "/" + name);
    std::vector<int> expected;
    std::string joined;
    for (Written const& block : channel.blocks()) {
        ASSERT_EQ(name, block.file);
        if (block.iFrame) expected.push_back(static_cast<int>(block.offset));
        joined += block.bytes;
    }
    EXPECT_TRUE(joined == data);
    int dataLength = 0;
    EXPECT_EQ(expected, iFramePositions(name, dataLength));
    EXPECT_EQ(static_cast<int>(data.size()), dataLength);

    std::vector<RecordTimeSegment> found = segments();
    ASSERT_EQ(1u, found.size());
    EXPECT_EQ(static_cast<unsigned long>(channel.blocks().front().seconds), found[0].getRecordBeginTime());
    EXPECT_GE(found[0].getRecordEndTime(), static_cast<unsigned long>(channel.blocks().back().seconds));
}

TEST_F(RecordIndexWritingTest, FileJoinedAfterARestartKeepsItsTimeLine) {
    std::vector<AVData> first(m_video.begin(), m_video.begin() + 250);
    std::vector<AVData> later = videoFrom(kDay0 + 600);
    {
        Channel channel(m_dir);
        channel.record(first);
        channel.close();
    }
    restart();
    Channel again(m_dir);
    again.record(later);
    again.close();

    ASSERT_FALSE(again.blocks().empty());
    std::string name = again.blocks().front().file;
    std::vector<std::string> names;
    DiskManagerFactory::getDiskManager(1, 0)->getFileList(dateDir().c_str(), names, "*.ts", 0);
    ASSERT_EQ(1u, names.size());
    EXPECT_EQ(name, names[0]);
    int dataLength = 0;
    iFramePositions(name, dataLength);
    EXPECT_EQ(static_cast<int>(TempDir::readWhole(dateDir() + "/" + name).size()), dataLength);
    std::vector<RecordTimeSegment> found = segments();
    ASSERT_EQ(2u, found.size());
    EXPECT_EQ(static_cast<unsigned long>(kDay0), found[0].getRecordBeginTime());
    EXPECT_EQ(static_cast<unsigned long>(kDay0 + 600), found[1].getRecordBeginTime());
}

TEST_F(RecordIndexWritingTest, PowerCutAtEveryBlockLeavesEverythingUpToTheLastFlush) {
    std::vector<AVData> frames(m_video.begin(), m_video.begin() + 450);  // nine groups of pictures
    for (size_t cut = 1; cut <= 8; ++cut) {
        SCOPED_TRACE(cut);
        TempDir disk;
        m_dir.setRecordRootDir(disk.path("sda1"));
        restart();
        auto plan = std::make_shared<FaultPlan>();
        std::vector<Written> written;
        {
            FaultInjection faults(plan);
            Channel channel(m_dir);
            // 25 s of wall time per block: the writer flushes with blocks 4, 7, ...
            // The cut ends the process: nothing reaches the disk after it.
            channel.record(frames, [&](Written const& block) {
                written.push_back(block);
                HostClock::shift(25);
                if (written.size() == cut) {
                    plan->powerCut();
                    plan->vanish();
                }
            });
        }
        HostClock::reset();
        ASSERT_EQ(cut, written.size());
        // A flush with block j writes the items of blocks before j - 1: the
        // item of j - 1 is closed only by block j's own, after the flush.
        size_t indexed = 0;
        for (size_t flush = 4; flush <= cut; flush += 3) indexed = flush - 2;
        std::string name = written.front().file;
        int dataLength = -1;
        iFramePositions(name, dataLength);
        long long expected = 0;
        for (size_t block = 0; block < indexed; ++block) expected += written[block].bytes.size();
        EXPECT_EQ(expected, dataLength);
        std::string data = TempDir::readWhole(dateDir() + "/" + name);
        ASSERT_GE(static_cast<long long>(data.size()), expected);
        std::string flushed;
        for (size_t block = 0; block < indexed; ++block) flushed += written[block].bytes;
        EXPECT_TRUE(flushed == data.substr(0, static_cast<size_t>(expected)));

        // The next start the same day never appends to a run the cut left
        // unsealed: a new file takes the recording. An entry that had no item
        // yet is joined at its start. The old entry's bytes stay as they were.
        std::string indexName = RecordIndexFileParserEx::getIndexFileName(m_dir.getRecordRootDir(), kDate, kDeviceDir, 0);
        std::string index = TempDir::readWhole(indexName);
        size_t entryLength = std::min(index.find("\xFF\xFF\xFF\xFF"), index.find(std::string(16, '\0')));
        ASSERT_LT(entryLength, index.size());
        restart();
        Channel next(m_dir);
        next.record(videoFrom(kDay0 + 600));
        next.close();
        ASSERT_FALSE(next.blocks().empty());
        std::string recorded;
        for (Written const& block : next.blocks()) recorded += block.bytes;
        std::string appended = indexed == 0 ? recorded : "";
        EXPECT_EQ(indexed == 0, next.blocks().front().file == name);
        EXPECT_EQ(0, TempDir::readWhole(indexName).compare(0, entryLength, index, 0, entryLength));
        int oldLength = -1;
        iFramePositions(name, oldLength);
        EXPECT_EQ(expected + static_cast<long long>(appended.size()), oldLength);
        std::string old = TempDir::readWhole(dateDir() + "/" + name);
        EXPECT_TRUE(flushed == old.substr(0, static_cast<size_t>(expected)));
        EXPECT_TRUE(appended == old.substr(static_cast<size_t>(expected), appended.size()));
        int newLength = -1;
        iFramePositions(next.blocks().back().file, newLength);
        EXPECT_EQ(static_cast<long long>(indexed == 0 ? oldLength : recorded.size()), newLength);
    }
}

}  // namespace

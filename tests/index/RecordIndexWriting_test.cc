// Index bytes of a real stream as a reader finds them, and after power cuts.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "directory/LastRecordFileInfoManager.h"
#include "disk/RecordDiskManagerImpl.h"
#include "host/HostClock.h"
#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexFileParserEx.h"
#include "recording/RecordStorageTSImpl.h"
#include "recording/TSFrameQueue.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/IndexedDirs.h"
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
};

// Frame queue, session and the disk manager's indexed directory.
class Channel {
public:
    Channel() : m_queue(8 << 20) {
        RecordInfo info;
        info.setDeviceId("NVR");
        info.setDeviceIP("10.0.0.7");
        info.setCameraId(2);
        recordChannel(info);
        m_session.open(info, false);
        m_session.setTSFrameQueue(&m_queue);
        m_queue.setDeviceInfo("NVR", 2);
    }

    // Writes every block that becomes ready, running `between` after each.
    void record(std::vector<AVData> const& frames, std::function<void(Written const&)> const& between = {}) {
        for (AVData const& frame : frames) {
            m_queue.pushAVData(&frame);
            TSAVData* block = nullptr;
            for (; m_queue.frontAVData(&block); m_queue.popAVData()) {
                if (block == nullptr) continue;
                Written written;
                written.iFrame = block->getFrameType() == 1;
                int code = m_session.write(0, block);
                // Read after the write: joining a file moves the block's time line.
                written.bytes.assign(block->getData(), block->getDataLength());
                block = nullptr;
                if (code != 0) continue;
                written.file = m_session.getRecordFileInfo()->getRecordFileName();
                written.offset = m_fileLength[written.file];
                m_fileLength[written.file] += static_cast<long long>(written.bytes.size());
                m_blocks.push_back(written);
                if (between) between(m_blocks.back());
            }
        }
    }

    void close() { m_session.close(); }
    std::vector<Written> const& blocks() const { return m_blocks; }

private:
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
        m_dir.setRecordDiskName("sda1");
        m_dir.setFileSegmentSize(8LL << 20);
        boundRecordSpace(m_dir, 12);
    }

    void TearDown() override {
        stopRecordDirs();
        LastRecordFileInfoManager::getInstance()->clear();
        HostClock::reset();
    }

    // What a new process starts with: no memory, the folders as they are.
    void restart() {
        stopRecordDirs();
        LastRecordFileInfoManager::getInstance()->clear();
        RecordingMarkManager::getInstance()->delMark(kDeviceDir);
        ASSERT_TRUE(serveRecordDirs({m_dir}));
    }

    // The CIF stream, from a second of the day.
    static std::vector<AVData> videoFrom(long long seconds) {
        TestStreams::VideoOptions options;
        options.nFirstTime = seconds * 1000000;
        options.nWidth = 640;
        options.nHeight = 360;
        return TestStreams::readH264(std::string(RECSTORE_TESTDATA_DIR) + "/cif25_gop50_20s.h264", options);
    }

    std::string dateDir() const { return m_dir.getRecordRootDir() + "/record/" + kDeviceDir + "/" + kDate; }

    // Items of one file's entry as a reader finds them, and their data length.
    std::vector<RecordIndexNode> nodes(std::string const& name) {
        RecordIndexFileParserEx parser;
        RecordFileIndexNodeInfo info;
        EXPECT_EQ(1, parser.open(m_dir, kDate, kDeviceDir, 0, 0));
        parser.getParser().getRecordFileIndexNodeInfoList(name.c_str(), info);
        return info.getRecordIndexNodeList();
    }
    static size_t length(std::vector<RecordIndexNode> const& items) {
        size_t sum = 0;
        for (RecordIndexNode const& item : items) sum += static_cast<size_t>(item.getDataLength());
        return sum;
    }

    RecordDirInfoEx m_dir;
    HostRootGuard m_root;
};

// Power cut at any block (0: closed, with audio), then a restart the same
// day: what the index covered reads back byte for byte; a sealed or empty
// entry is joined on its time line, an unsealed run never is.
TEST_F(RecordIndexWritingTest, PowerCutAtAnyBlockNeverLetsAnEntryBeAppendedToUnsealed) {
    std::vector<AVData> video = videoFrom(kDay0);
    std::vector<AVData> frames(video.begin(), video.begin() + 450);  // nine groups of pictures
    std::vector<AVData> audio = TestStreams::readALaw(std::string(RECSTORE_TESTDATA_DIR) + "/tone8k_20s.alaw");
    RecordingMarkManager* marks = RecordingMarkManager::getInstance();
    for (size_t cut = 0; cut <= 8; ++cut) {
        SCOPED_TRACE(cut);
        TempDir disk;
        disk.makeDir("sda1");
        m_dir.setRecordRootDir(disk.path("sda1"));
        restart();
        auto plan = std::make_shared<FaultPlan>();
        std::vector<Written> written;
        {
            FaultInjection faults(plan);
            Channel channel;
            // 25 s per block: flushes come with blocks 4, 7, ...
            channel.record(cut == 0 ? TestStreams::interleave(frames, audio) : frames, [&](Written const& block) {
                written.push_back(block);
                EXPECT_TRUE(marks->isExistMark(kDeviceDir, kDate));
                HostClock::shift(25);
                if (written.size() == cut) {
                    plan->powerCut();
                    plan->vanish();
                }
            });
            if (cut == 0) channel.close();
            // Not rebuilt behind the reader's back once the disk is back.
            stopRecordDirs();
        }
        HostClock::reset();
        // A flush with block j writes the items of the blocks before j - 1.
        size_t indexed = cut == 0 ? written.size() : 0;
        for (size_t flush = 4; flush <= cut; flush += 3) indexed = flush - 2;
        ASSERT_FALSE(written.empty());
        std::string name = written.front().file;
        std::string flushed;
        std::vector<long long> iFrames;
        for (size_t block = 0; block < indexed; ++block) {
            if (written[block].iFrame) iFrames.push_back(written[block].offset);
            flushed += written[block].bytes;
        }
        std::vector<RecordIndexNode> items = nodes(name);
        std::vector<long long> found;
        for (RecordIndexNode const& item : items)
            if (item.isIFrame()) found.push_back(item.getFilePos());
        EXPECT_EQ(iFrames, found);
        EXPECT_EQ(flushed.size(), length(items));
        std::string indexName =
            RecordIndexFileParserEx::getIndexFileName(m_dir.getRecordRootDir(), kDate, kDeviceDir, 0);
        std::string index = TempDir::readWhole(indexName);
        size_t entryLength = std::min(index.find("\xFF\xFF\xFF\xFF"), index.find(std::string(16, '\0')));
        ASSERT_LT(entryLength, index.size());
        restart();
        Channel next;
        next.record(videoFrom(kDay0 + 600));
        next.close();
        EXPECT_FALSE(marks->isExistMark(kDeviceDir, kDate));
        ASSERT_FALSE(next.blocks().empty());
        bool joins = cut == 0 || indexed == 0;
        std::string recorded;
        for (Written const& block : next.blocks()) recorded += block.bytes;
        std::string appended = joins ? recorded : "";
        EXPECT_EQ(joins, next.blocks().front().file == name);
        EXPECT_EQ(0, TempDir::readWhole(indexName).compare(0, entryLength, index, 0, entryLength));
        items = nodes(name);
        EXPECT_EQ(flushed.size() + appended.size(), length(items));
        std::string old = TempDir::readWhole(dateDir() + "/" + name);  // preallocated: read what is indexed
        EXPECT_TRUE(flushed + appended == old.substr(0, flushed.size() + appended.size()));
        EXPECT_EQ(joins ? length(items) : recorded.size(), length(nodes(next.blocks().back().file)));
        // Joined, the file keeps its time line: the new run starts 600 s in.
        auto run = std::find_if(items.begin(), items.end(), [&](RecordIndexNode const& item) {
            return item.getFilePos() == static_cast<int>(flushed.size());
        });
        EXPECT_TRUE(!joins || (run != items.end() && run->getTimeOffset() == 600));
    }
}

}  // namespace

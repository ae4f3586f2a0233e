// Playback of a real recording: several files on two disks across midnight,
// read back as one stream, seeks, a live recording, files and disks that go.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "directory/LastRecordFileInfoManager.h"
#include "directory/PlainRecordDir.h"
#include "foundation/ReturnCode.h"
#include "host/HostClock.h"
#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexFileParserEx.h"
#include "recording/RecordStorageTSImpl.h"
#include "recording/TSFrameQueue.h"
#include "retrieval/RecordRetriever.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/FfprobeCheck.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/IndexedDirs.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestRecording.h"
#include "tests/support/TestStreams.h"
#include "tests/support/TsPacketReader.h"
#include "tracking/RecordingMarkManager.h"

namespace {

namespace fs = std::filesystem;
constexpr long long kMidnight = 1704153600;  // 2024-01-02 00:00:00 UTC
constexpr long long kStart = kMidnight - 9;
char const* const kDeviceDir = "NVR_10.0.0.7_2";
constexpr int kChunk = 188 * 40;

// One indexed record file as the index and the disk tell it, apart from the
// code under test.
struct IndexedFile {
    long long nBegin = 0;
    std::string strDate;
    std::string strDisk;
    std::string strPath;
    std::string strBytes;  // up to what the index covers
    std::vector<RecordIndexNode> items;
    // Offset in seconds of the first I-frame item (where the playable span
    // starts), and where reading the file begins: the first item from then.
    int firstIFrameTime() const {
        for (RecordIndexNode const& item : items)
            if (item.isIFrame()) return item.getTimeOffset();
        return -1;
    }
    int spanBegin() const {
        for (RecordIndexNode const& item : items)
            if (item.getTimeOffset() >= firstIFrameTime()) return item.getFilePos();
        return 0;
    }
    long long end() const { return nBegin + items.back().getTimeOffset() + items.back().getTimeLength(); }
};

class PlaybackTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (char const* disk : {"sda1", "sdb1"}) {
            m_disk.makeDir(disk);
            RecordDirInfoEx dir;
            dir.setRecordRootDir(m_disk.path(disk));
            dir.setRecordDiskName(disk);
            dir.setFileSegmentSize(512 << 10);
            boundRecordSpace(dir, 30);
            m_dirs.push_back(dir);
        }
        m_channel.setDeviceId("NVR");
        m_channel.setDeviceIP("10.0.0.7");
        m_channel.setCameraId(2);
        std::vector<RecordDirInfo> list;
        for (RecordDirInfoEx const& dir : m_dirs) list.push_back(RecordDirInfoEx::changeToRecordDirInfo(dir));
        RecordRetriever::setRecordDirList(list);
    }
    void TearDown() override {
        m_session.reset();
        stopRecordDirs();
        RecordingMarkManager::getInstance()->delMark(kDeviceDir);
    }

    // The 20 s CIF stream from kStart, recorded as a session does: frames up
    // to `switchAt` on the first disk, the rest on the second; the host clock
    // moves 2 s a frame, so the index is flushed as it goes.
    void startSession(int disk) {
        ASSERT_TRUE(serveRecordDirs({m_dirs[disk]}));
        recordChannel(m_channel);
        m_session.reset(new RecordStorageTSImpl());
        ASSERT_EQ(0, m_session->open(m_channel, false));
        m_session->setTSFrameQueue(&m_queue);
    }
    void record(size_t from, size_t to) {
        for (size_t i = from; i < to && i < m_frames.size(); ++i) {
            m_queue.pushAVData(&m_frames[i]);
            TSAVData* block = nullptr;
            for (; m_queue.frontAVData(&block); m_queue.popAVData())
                if (block != nullptr) m_session->write(0, block);
            HostClock::shift(2);
        }
    }
    void recordAcrossMidnight(size_t switchAt = 125) {
        startSession(0);
        record(0, switchAt);
        ASSERT_TRUE(serveRecordDirs({m_dirs[1]}));
        record(switchAt, m_frames.size());
        m_session->close();
    }

    // Every indexed file of the channel on both disks, in time order.
    std::vector<IndexedFile> indexedFiles() {
        std::vector<IndexedFile> files;
        for (RecordDirInfoEx const& dir : m_dirs) {
            std::string const device = dir.getRecordRootDir() + "/record/" + kDeviceDir;
            std::vector<std::string> dates;
            if (fs::is_directory(device))
                for (auto const& entry : fs::directory_iterator(device)) dates.push_back(entry.path().filename());
            for (std::string const& date : dates) {
                RecordIndexFileParserEx parser;
                if (parser.open(dir, date, kDeviceDir, 0, 0) != 1) continue;
                RecordIndexParserImplEx::FileList list;
                parser.getRecordFileInfoList(0, LLONG_MAX, list);
                for (SafePointer<RecordFileInfo> const& info : list) {
                    IndexedFile file;
                    file.nBegin = info->getRecordBeginTime();
                    file.strDate = date;
                    file.strDisk = dir.getRecordDiskName();
                    RecordFileIndexNodeInfo nodes;
                    parser.getParser().getRecordFileIndexNodeInfoList(info->getRecordFileName().c_str(), nodes);
                    file.items = nodes.getRecordIndexNodeList();
                    if (file.items.empty()) continue;
                    size_t length = file.items.back().getFilePos() + file.items.back().getDataLength();
                    file.strPath = device + "/" + date + "/" + info->getRecordFileName();
                    file.strBytes = TempDir::readWhole(file.strPath).substr(0, length);
                    files.push_back(file);
                }
            }
        }
        std::sort(files.begin(), files.end(),
                  [](IndexedFile const& a, IndexedFile const& b) { return a.nBegin < b.nBegin; });
        return files;
    }
    static std::string playable(std::vector<IndexedFile> const& files) {
        std::string stream;
        for (IndexedFile const& file : files) stream += file.strBytes.substr(file.spanBegin());
        return stream;
    }

    int open(RecordRetriever& reader, long long begin, long long end = 0) {
        RecordInfo window = m_channel;
        window.setRecordBeginTime(static_cast<unsigned long>(begin));
        window.setRecordEndTime(static_cast<unsigned long>(end));
        return reader.open(window, false);
    }
    // Reads until a code other than data; the last code in `code`.
    static std::string readAll(RecordRetriever& reader, int& code) {
        std::string stream;
        std::vector<char> buffer(kChunk);
        while ((code = reader.read(buffer.data(), kChunk)) > 0) stream.append(buffer.data(), code);
        return stream;
    }
    static std::string readChunk(RecordRetriever& reader) {
        std::vector<char> buffer(kChunk);
        int got = reader.read(buffer.data(), kChunk);
        return got > 0 ? std::string(buffer.data(), got) : std::string();
    }

    HostRootGuard m_root;
    RecordingClock m_clock{kStart};
    TempDir m_disk;
    std::vector<RecordDirInfoEx> m_dirs;
    RecordInfo m_channel;
    // The 20 s CIF stream twice over, from kStart.
    std::vector<AVData> m_frames = [] {
        std::vector<AVData> frames;
        TestStreams::VideoOptions options;
        options.nWidth = 640;
        options.nHeight = 360;
        for (long long copy = 0; copy < 2; ++copy) {
            options.nFirstTime = (kStart + 20 * copy) * 1000000;
            std::vector<AVData> part =
                TestStreams::readH264(std::string(RECSTORE_TESTDATA_DIR) + "/cif25_gop50_20s.h264", options);
            frames.insert(frames.end(), part.begin(), part.end());
        }
        return frames;
    }();
    TSFrameQueue m_queue{8 << 20};
    std::unique_ptr<RecordStorageTSImpl> m_session;
};

// The bytes of a window as the index and the disk give them: from the first
// item at or after the window's begin (or the file's start), up to the item
// at or before its end.
std::string windowBytes(std::vector<IndexedFile> const& files, long long begin, long long end) {
    std::string stream;
    for (IndexedFile const& file : files) {
        if ((end != 0 && file.nBegin >= end) || file.end() <= begin) continue;
        size_t from = file.spanBegin();
        if (file.nBegin < begin) {
            from = 0;
            for (RecordIndexNode const& item : file.items)
                if (item.getTimeOffset() >= begin - file.nBegin) {
                    from = item.getFilePos();
                    break;
                }
        }
        size_t to = file.strBytes.size();
        if (end != 0 && end < file.end()) {
            to = 0;
            for (RecordIndexNode const& item : file.items)
                if (item.getTimeOffset() <= end - file.nBegin) to = item.getFilePos();
        }
        if (to > from) stream += file.strBytes.substr(from, to - from);
    }
    return stream;
}

// A chunk that starts a picture: whole packets whose first video PES begins
// with the first packet of that stream and holds an IDR slice.
::testing::AssertionResult startsIFrame(std::string const& chunk) {
    TsPacketReader packets(chunk);
    if (!packets.getErrors().empty()) return ::testing::AssertionFailure() << packets.getErrors().front();
    for (TsPacketReader::Pes const& pes : packets.getPes()) {
        if (pes.nStreamId != 0xE0) continue;
        std::string const es(pes.payload.begin(), pes.payload.end());
        for (size_t at = es.find(std::string("\0\0\1", 3)); at != std::string::npos && at + 3 < es.size();
             at = es.find(std::string("\0\0\1", 3), at + 3))
            if ((es[at + 3] & 0x1F) == 5) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "first video PES has no IDR slice";
    }
    return ::testing::AssertionFailure() << "no video PES";
}

TEST_F(PlaybackTest, OneStreamAcrossFilesDisksAndMidnightAsTheIndexHasItAndFfmpegDecodes) {
    recordAcrossMidnight();
    std::vector<IndexedFile> const files = indexedFiles();
    // Files on both disks; one of the first date runs past midnight.
    ASSERT_GE(files.size(), 5u);
    EXPECT_EQ("sda1", files.front().strDisk);
    EXPECT_EQ("sdb1", files.back().strDisk);
    EXPECT_TRUE(std::any_of(files.begin(), files.end(), [](IndexedFile const& file) {
        return file.strDate == "2024-01-01" && file.nBegin < kMidnight && file.end() > kMidnight;
    }));
    struct Window {
        long long nBegin, nEnd;
    };
    // The whole; from inside the midnight file to inside a later one; from
    // midnight, which only the day-before entry of the new date holds.
    for (Window const& window : {Window{kStart - 60, 0}, Window{kMidnight - 4, kMidnight + 10},
                                 Window{kMidnight, kMidnight + 4}, Window{kMidnight + 3, kMidnight + 3 + 60}}) {
        SCOPED_TRACE(window.nBegin - kMidnight);
        RecordRetriever reader;
        ASSERT_EQ(0, open(reader, window.nBegin, window.nEnd));
        int code = 1;
        std::string const stream = readAll(reader, code);
        EXPECT_EQ(0, code);
        std::string const expected = windowBytes(files, window.nBegin, window.nEnd);
        ASSERT_FALSE(expected.empty());
        EXPECT_EQ(expected.size(), stream.size());
        EXPECT_TRUE(expected == stream);
        EXPECT_TRUE(startsIFrame(stream.substr(0, kChunk)));
        if (window.nEnd != 0) continue;
        EXPECT_EQ(playable(files), stream);
        if (!FfprobeCheck::available()) continue;
        ASSERT_TRUE(m_disk.writeFile("played.ts", stream));
        EXPECT_EQ("", FfprobeCheck::decodeErrors(m_disk.path("played.ts")));
        EXPECT_EQ(20u * 2 * 25 - 50, FfprobeCheck::packetTimes(m_disk.path("played.ts"), 0).size());
    }
}

// Steps over every I-frame of the recording forward, then back; a set of
// times; each landing reads the bytes at its item.
TEST_F(PlaybackTest, SeeksLandOnEveryIFrameAndOnTheItemOfATime) {
    recordAcrossMidnight();
    std::vector<IndexedFile> const files = indexedFiles();
    struct Landing {
        size_t nFile;
        int nPos;
    };
    std::vector<Landing> iFrames;
    for (size_t f = 0; f < files.size(); ++f)
        for (RecordIndexNode const& item : files[f].items)
            if (item.isIFrame()) iFrames.push_back(Landing{f, item.getFilePos()});
    RecordRetriever reader;
    ASSERT_EQ(0, open(reader, kStart - 60));
    auto landsOn = [&](Landing const& at) {
        std::string const chunk = readChunk(reader);
        EXPECT_TRUE(startsIFrame(chunk));
        return chunk == files[at.nFile].strBytes.substr(at.nPos, kChunk);
    };
    ASSERT_TRUE(landsOn(iFrames[0]));
    for (size_t i = 1; i < iFrames.size(); ++i) {
        ASSERT_EQ(0, reader.locateNextIFrame()) << i;
        ASSERT_TRUE(landsOn(iFrames[i])) << i;
    }
    EXPECT_EQ(OV_RECORD_NO_PREVIOUS_FILE, reader.locateNextIFrame());
    for (size_t i = iFrames.size() - 1; i-- > 0;) {
        ASSERT_EQ(0, reader.locatePreIFrame()) << i;
        ASSERT_TRUE(landsOn(iFrames[i])) << i;
    }
    EXPECT_EQ(OV_RECORD_NO_PREVIOUS_I_FRAME, reader.locatePreIFrame());
    EXPECT_EQ(OV_RECORD_NO_PREVIOUS_I_FRAME, reader.locatePreIFrame(static_cast<unsigned long>(kStart - 60)));
    // Steps with no read between them go one I-frame each.
    for (size_t i = 1; i < iFrames.size(); ++i) ASSERT_EQ(0, reader.locateNextIFrame()) << i;
    for (size_t i = 1; i + 1 < iFrames.size(); ++i) ASSERT_EQ(0, reader.locatePreIFrame()) << i;
    EXPECT_TRUE(landsOn(iFrames[1]));

    // Times inside each file, and midnight, held by a file of the day before.
    std::vector<long long> times{kMidnight};
    for (IndexedFile const& file : files) times.insert(times.end(), {file.nBegin + 1, file.nBegin + 3});
    for (long long time : times) {
        SCOPED_TRACE(time - kMidnight);
        auto holder = std::find_if(files.begin(), files.end(), [&](IndexedFile const& file) {
            return file.nBegin + file.firstIFrameTime() <= time && time < file.end();
        });
        ASSERT_NE(files.end(), holder);
        int pos = 0;
        for (RecordIndexNode const& item : holder->items)
            if (item.getTimeOffset() <= time - holder->nBegin) pos = item.getFilePos();
        ASSERT_EQ(0, reader.locateTime(static_cast<unsigned long>(time)));
        EXPECT_TRUE(landsOn(Landing{static_cast<size_t>(holder - files.begin()), pos}));
    }
}

// After a clock jump the session went on in its file begun at 00:00:21 and
// ran past midnight; the new date has no folder (nor a later one, whose
// day-before entry would carry the file). Each second that the query
// finds opens and reads as the index has it.
TEST_F(PlaybackTest, AJoinedFileRunningPastMidnightServesTheNextDateThatHasNoFolder) {
    PlainRecordDir disk(m_dirs[0]);
    ASSERT_EQ(1, disk.init());
    SafePointer<RecordFileInfo> const first = recordTestFile(disk, 2, kMidnight - 86400 + 21);
    SafePointer<RecordFileInfo> const joined = recordTestSpan(disk, 2, kStart, 35, false, true);
    EXPECT_EQ(first->getRecordFileName(), joined->getRecordFileName());
    std::vector<IndexedFile> const files = indexedFiles();
    ASSERT_EQ(1u, files.size());
    ASSERT_FALSE(fs::exists(m_dirs[0].getRecordRootDir() + "/record/" + kDeviceDir + "/2024-01-02"));
    std::vector<RecordQueryResult> results;
    ASSERT_EQ(0, RecordRetriever().query(testCondition(2, kStart, kMidnight + 26), results));
    ASSERT_EQ(1u, results.size());
    std::vector<long long> seconds;
    for (RecordTimeSegment const& segment : results[0].getRecordTimeSegmentList())
        for (long long t = segment.getRecordBeginTime(); t < static_cast<long long>(segment.getRecordEndTime()); ++t)
            seconds.push_back(t);
    EXPECT_EQ(35u, seconds.size());
    for (long long t : seconds) {
        SCOPED_TRACE(t - kMidnight);
        RecordRetriever reader;
        ASSERT_EQ(0, open(reader, t, t + 4));
        int code = 1;
        std::string const stream = readAll(reader, code);
        EXPECT_EQ(0, code);
        EXPECT_FALSE(stream.empty());
        EXPECT_TRUE(windowBytes(files, t, t + 4) == stream);
    }
}

// A block of under a second leaves a span of no length. The file to play
// next is the one whose data comes first, not the one that began first: a
// channel back on a disk joins its file there over what it recorded elsewhere.
TEST_F(PlaybackTest, ASpanOfNoLengthRanksItsFileByItsTime) {
    long long const t = kMidnight + 3600;
    PlainRecordDir first(m_dirs[0]);
    PlainRecordDir second(m_dirs[1]);
    ASSERT_EQ(1, first.init());
    ASSERT_EQ(1, second.init());
    recordTestFile(first, 2, t);
    recordTestSpan(second, 2, t + 60, 10);
    recordTestFile(first, 2, t + 100, false, true);
    recordTestSpan(first, 2, t + 200, 10, false, true);
    std::vector<IndexedFile> const files = indexedFiles();
    ASSERT_EQ(2u, files.size());
    ASSERT_EQ(12u, files[0].items.size());  // joined: spans (0, 0), (100, 100) and (200, 210)
    RecordRetriever reader;
    ASSERT_EQ(0, open(reader, t + 59, t + 70));
    int code = 1;
    std::string const stream = readAll(reader, code);
    EXPECT_EQ(0, code);
    EXPECT_FALSE(stream.empty());
    EXPECT_TRUE(windowBytes(files, t + 59, t + 70) == stream);
}

// A window open to now on a channel that records: -9 at the live end while
// the mark stands, the new part once it is indexed, 0 when it is closed.
TEST_F(PlaybackTest, ReadingTheLiveEndWaitsWithMinusNineAndGoesOnWithWhatIsAdded) {
    startSession(0);
    // The live file is left with items not yet in the index: reading stops
    // inside it and goes on in it.
    record(0, 301);
    RecordRetriever reader;
    ASSERT_EQ(0, open(reader, kStart - 60));
    int code = 0;
    std::string stream = readAll(reader, code);
    EXPECT_EQ(-9, code);
    EXPECT_FALSE(stream.empty());
    EXPECT_EQ("", readAll(reader, code));
    EXPECT_EQ(-9, code);
    record(300, 700);
    std::string const more = readAll(reader, code);
    EXPECT_EQ(-9, code);
    EXPECT_FALSE(more.empty());
    m_session->close();
    std::string const rest = readAll(reader, code);
    EXPECT_EQ(0, code);
    EXPECT_FALSE(rest.empty());
    EXPECT_TRUE(stream + more + rest == playable(indexedFiles()));
    EXPECT_EQ(0, reader.read(&stream[0], kChunk));
}

// A record file gone between the query and the read: -101 at the step to
// it, and its entry leaves the index.
TEST_F(PlaybackTest, ARecordFileGoneUnderTheReaderGivesMinus101AndItsEntryGoes) {
    recordAcrossMidnight();
    std::vector<IndexedFile> files = indexedFiles();
    RecordRetriever reader;
    ASSERT_EQ(0, open(reader, kStart - 60));
    ASSERT_FALSE(readChunk(reader).empty());
    IndexedFile const gone = files[2];
    ASSERT_TRUE(fs::remove(gone.strPath));
    int code = 0;
    std::string const stream = readAll(reader, code);
    EXPECT_EQ(-101, code);
    files.resize(2);
    EXPECT_EQ(playable(files).substr(kChunk), stream);
    std::vector<IndexedFile> const left = indexedFiles();
    EXPECT_TRUE(std::none_of(left.begin(), left.end(), [&](IndexedFile const& file) { return file.nBegin == gone.nBegin; }));
    char buffer[188];
    EXPECT_EQ(OV_RECORD_NOT_OPEN, reader.read(buffer, 188));
}

// What each call answers when the reader is closed, the disk has gone, or
// the channel is not there.
TEST_F(PlaybackTest, CodesOfAClosedReaderAVanishedDiskAndAnUnknownChannel) {
    recordAcrossMidnight();
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    RecordRetriever reader;
    ASSERT_EQ(0, open(reader, kStart - 60));
    ASSERT_FALSE(readChunk(reader).empty());
    plan->vanish();
    char buffer[188];
    EXPECT_EQ(OV_RECORD_FILE_UPDATED, reader.read(buffer, 188));
    plan->restore();
    EXPECT_EQ(188, reader.read(buffer, 188));
    EXPECT_EQ(0, reader.close());
    for (int code : {reader.read(buffer, 188), reader.locateTime(static_cast<unsigned long>(kStart)),
                     reader.locateNextIFrame(), reader.locatePreIFrame(),
                     reader.locatePreIFrame(static_cast<unsigned long>(kStart))})
        EXPECT_EQ(OV_RECORD_NOT_OPEN, code);
    m_channel.setCameraId(3);
    EXPECT_EQ(OV_RECORD_DIR_OPEN_FAILED, open(reader, kStart));
    m_channel.setDeviceId("");
    EXPECT_EQ(OV_RECORD_NO_MATCH_DEVICE, open(reader, kStart));
}

}  // namespace

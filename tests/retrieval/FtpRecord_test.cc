// A real recording on an FTP disk (a folder of disk type 3): sessions write
// growing files named by channel and begin time, a new one at the first I
// frame after midnight; the host finds them by name and reads them back.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "directory/RecordDirWithoutIndex.h"
#include "disk/RecordDiskManagerImpl.h"
#include "foundation/ReturnCode.h"
#include "host/HostClock.h"
#include "recording/RecordStorageTSImpl.h"
#include "recording/TSFrameQueue.h"
#include "retrieval/RecordRetriever.h"
#include "tests/support/FfprobeCheck.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/IndexedDirs.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestRecording.h"
#include "tests/support/TestStreams.h"

namespace {

namespace fs = std::filesystem;
constexpr long long kMidnight = 1704153600;  // 2024-01-02 00:00:00 UTC
constexpr long long kStart = kMidnight - 9;
constexpr int kChunk = 188 * 40;

class FtpRecordTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_disk.makeDir("ftp");
        m_dir.setRecordRootDir(m_disk.path("ftp"));
        m_dir.setRecordDiskName("ftp");
        m_dir.setDiskType(3);
        m_dir.setEnableFlag(true);
        m_dir.setFileSegmentSize(2 << 20);  // the day ends before a file fills
        m_dir.setUseableSpace(8 << 20);
        m_channel.setDeviceId("NVR");
        m_channel.setDeviceIP("10.0.0.7");
        m_channel.setCameraId(2);
        RecordRetriever::setRecordDirList({RecordDirInfoEx::changeToRecordDirInfo(m_dir)});
    }
    void TearDown() override {
        stopRecordDirs();
        RecordRetriever::setRecordDirList({});
    }

    // The 20 s CIF stream from kStart, as a session writes it; the host clock
    // moves 2 s a frame.
    void record() {
        ASSERT_TRUE(serveRecordDirs({m_dir}));
        recordChannel(m_channel);
        TestStreams::VideoOptions options;
        options.nWidth = 640;
        options.nHeight = 360;
        options.nFirstTime = kStart * 1000000;
        std::vector<AVData> frames =
            TestStreams::readH264(std::string(RECSTORE_TESTDATA_DIR) + "/cif25_gop50_20s.h264", options);
        TSFrameQueue queue(8 << 20);
        RecordStorageTSImpl session;
        ASSERT_EQ(0, session.open(m_channel, false));
        session.setTSFrameQueue(&queue);
        for (AVData& frame : frames) {
            queue.pushAVData(&frame);
            TSAVData* block = nullptr;
            for (; queue.frontAVData(&block); queue.popAVData()) {
                if (block == nullptr) continue;
                EXPECT_EQ(0, session.write(0, block));
            }
            HostClock::shift(2);
        }
        session.close();
    }
    // The names of the channel's files for a window, as the query gives them.
    std::vector<std::string> query(long long begin, long long end, int camera = 2) {
        std::vector<RecordFileEx> files;
        EXPECT_EQ(0, m_reader.queryFtpRecord(testCondition(camera, begin, end), files));
        std::vector<std::string> names;
        for (RecordFileEx const& file : files) names.push_back(file.getRecordFileName());
        return names;
    }
    std::string path(std::string const& date, std::string const& name) const {
        return m_dir.getRecordRootDir() + "/record/NVR_10.0.0.7_2/" + date + "/" + name;
    }
    // Reads until a code other than data; the last code in `code`.
    std::string readAll(int& code) {
        std::string stream;
        std::vector<char> buffer(kChunk);
        while ((code = m_reader.read(buffer.data(), kChunk)) > 0) stream.append(buffer.data(), code);
        return stream;
    }

    HostRootGuard m_root;
    RecordingClock m_clock{kStart};
    TempDir m_disk;
    RecordDirInfoEx m_dir;
    RecordInfo m_channel;
    RecordRetriever m_reader;
};

TEST_F(FtpRecordTest, RecordsAcrossMidnightIntoNamedFilesThatReadBackWholeAndDecode) {
    record();
    char const* const first = "NVR_10.0.0.7_2_20240101235951.ts";
    char const* const second = "NVR_10.0.0.7_2_20240102000001.ts";  // the first I frame after midnight
    // Not a record file's name: never listed, read or reclaimed.
    std::ofstream(path("2024-01-02", "NVR_10.0.0.7_2_2024.ts")) << "stray";
    struct Window { long long begin, end; std::vector<std::string> names; } const windows[] = {
        {kStart - 60, 0, {first, second}},
        {kMidnight, kMidnight + 1, {first}},       // the window ends as the second file begins
        {kMidnight + 5, 0, {second}},              // the second began before and runs on
        {kMidnight + 60, kMidnight + 70, {second}},
    };
    for (Window const& window : windows)
        EXPECT_EQ(window.names, query(window.begin, window.end)) << window.begin - kMidnight;
    EXPECT_TRUE(query(kStart, 0, 3).empty());

    std::string whole;
    for (std::string const date : {"2024-01-01", "2024-01-02"}) {
        std::string const name = date == "2024-01-01" ? first : second;
        ASSERT_EQ(0, m_reader.openFtpRecord(name.c_str())) << name;
        std::string const bytes = TempDir::readWhole(path(date, name));
        long long length = -1;
        EXPECT_EQ(0, m_reader.getFtpFileLength(length));
        EXPECT_EQ(static_cast<long long>(bytes.size()), length);
        EXPECT_EQ(0, m_reader.locateTime(static_cast<unsigned long>(kMidnight)) + m_reader.locateNextIFrame() +
                         m_reader.locatePreIFrame());
        int code = 1;
        std::string const read = readAll(code);
        EXPECT_EQ(0, code);
        EXPECT_TRUE(!read.empty() && read == bytes) << name;  // byte for byte
        whole += read;
    }
    if (!FfprobeCheck::available()) GTEST_SKIP() << "ffprobe is not installed";
    std::string const file = m_disk.path("played.ts");
    std::ofstream(file, std::ios::binary) << whole;
    EXPECT_EQ((std::vector<std::string>{"h264", "bin_data"}), FfprobeCheck::codecNames(file));
    EXPECT_EQ("", FfprobeCheck::decodeErrors(file));
}

TEST_F(FtpRecordTest, ReclaimsTheOldestFileByItsNameAndAnswersEveryFailureWithItsCode) {
    record();
    SafePointer<IRecordDir> served = RecordDiskManagerImpl::getInstance()->getRecordDir(m_dir.getRecordRootDir());
    auto* dir = dynamic_cast<RecordDirWithoutIndex*>(served.get());
    ASSERT_NE(nullptr, dir);
    long long const used = dir->getSpaceRecord().getRecordFileSize();
    EXPECT_EQ(1, dir->cleanSpace(used - 1));
    std::vector<std::string> const left = query(kStart - 60, 0);
    ASSERT_EQ(std::vector<std::string>{"NVR_10.0.0.7_2_20240102000001.ts"}, left);
    EXPECT_FALSE(fs::exists(path("2024-01-01", "NVR_10.0.0.7_2_20240101235951.ts")));

    std::vector<char> buffer(kChunk);
    long long length = 0;
    // A name that does not read, and one of no file here.
    for (char const* name : {"NVR_10.0.0.7_2.ts", "NVR_10.0.0.7_2_20240101235951.ts"}) {
        EXPECT_EQ(OV_RECORD_FTP_OPEN_FAILED, m_reader.openFtpRecord(name)) << name;
        EXPECT_EQ(OV_RECORD_FTP_NOT_OPEN, m_reader.read(buffer.data(), kChunk));
        EXPECT_EQ(OV_RECORD_FTP_NOT_OPEN, m_reader.getFtpFileLength(length));
    }
    ASSERT_EQ(0, m_reader.openFtpRecord(left[0].c_str()));
    EXPECT_EQ(kChunk, m_reader.read(buffer.data(), kChunk));
    EXPECT_EQ(0, m_reader.close());
    EXPECT_EQ(OV_RECORD_FTP_NOT_OPEN, m_reader.read(buffer.data(), kChunk));
    RecordRetriever::setRecordDirList({});
    std::vector<RecordFileEx> none;
    EXPECT_EQ(OV_RECORD_NO_DIR, m_reader.queryFtpRecord(RecordQueryCondition(), none));
}

}  // namespace

#include "directory/RecordDirWithoutIndex.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "directory/RecordFileCheckerWithoutIndex.h"
#include "foundation/BasicTool.h"
#include "foundation/ReturnCode.h"
#include "recording/TSRecordWriterWithoutIndex.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestBlock.h"
#include "tests/support/TestRecording.h"

namespace {

namespace fs = std::filesystem;
constexpr long long kNoon = 1704110400;          // 2024-01-01 12:00:00 UTC
constexpr long long kMidnight = kNoon + 43200;   // 2024-01-02 00:00:00
constexpr long long kSegment = 10 * TestBlock::kPacket;
char const* const kDeviceDir = "/record/NVR_10.0.0.7_2/";

TEST(RecordFileCheckerWithoutIndex, ReadsChannelAndTimeFromTheNameAndRefusesOthers) {
    struct Case {
        char const* name;
        bool ok;
        char const* ip;
        int camera;
        long long begin;
    } const cases[] = {
        {"NVR_10.0.0.7_2_20240101120000.ts", true, "10.0.0.7", 2, kNoon},
        {"NVR_fe80--1_12_20240102000000.ts", true, "fe80--1", 12, kMidnight},
        {"NVR_10.0.0.7_20240101120000.ts", false, "", 0, 0},       // two underscores
        {"NVR_10.0.0.7_2_20240101120000.mp4", false, "", 0, 0},    // no ".ts"
        {"NVR_10.0.0.7_2_20240101120000.ts&", false, "", 0, 0},    // something behind ".ts"
        {"NVR_10.0.0.7_2_20240101120000.ts.part", false, "", 0, 0},
        {"NVR_10.0.0.7_x_20240101120000.ts", false, "", 0, 0},     // camera not a number
        {"NVR_10.0.0.7_2_2024010112000.ts", false, "", 0, 0},      // 13 digits
        {"NVR_10.0.0.7_2_20241301120000.ts", false, "", 0, 0},     // month 13
        {"_10.0.0.7_2_20240101120000.ts", false, "", 0, 0},        // no device id
    };
    for (Case const& c : cases) {
        RecordFileCheckerWithoutIndex checker;
        ASSERT_EQ(c.ok, checker.checkFileName(c.name)) << c.name;
        if (!c.ok) continue;
        EXPECT_EQ("NVR", checker.getDeviceID());
        EXPECT_EQ(c.ip, checker.getDeviceIP());
        EXPECT_EQ(c.camera, checker.getCameraID());
        EXPECT_EQ(c.begin, checker.getBeginTime());
    }
    RecordingClock clock(kNoon);
    std::string name;
    SafePointer<RecordFileInfo> file = testFileOf(2, kNoon);
    file->setDeviceIP("fe80::1");
    ASSERT_TRUE(RecordFileCheckerWithoutIndex::createRecordFileName(*file, name));
    EXPECT_EQ("NVR_fe80--1_2_20240101120000.ts", name);
    file->setDeviceId("N_VR");  // would read back as another channel
    EXPECT_FALSE(RecordFileCheckerWithoutIndex::createRecordFileName(*file, name));
}

// An FTP directory "ftp" of a temporary root, files of 10 packets.
class FtpDirTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_info.setRecordRootDir(m_root.root() + "/ftp");
        m_info.setRecordDiskName("ftp");
        m_info.setDiskType(3);
        m_info.setEnableFlag(true);
        m_info.setFileSegmentSize(kSegment);
        m_info.setUseableSpace(100 * kSegment);
        fs::create_directories(m_info.getRecordRootDir());
    }
    // A record file of `size` bytes under its name's device and date folders.
    void put(std::string const& name, long long size) {
        RecordFileCheckerWithoutIndex checker;
        ASSERT_TRUE(checker.checkFileName(name.c_str()));
        SafePointer<RecordFileInfo> file = checker.createRecordFileInfo(m_info, BasicTool::getDateString(checker.getBeginTime()));
        fs::create_directories(file->getDateDir());
        std::ofstream(file->createRecordFileName()) << std::string(static_cast<size_t>(size), 'x');
    }
    bool exists(std::string const& name) const {
        return fs::exists(m_info.getRecordRootDir() + kDeviceDir + BasicTool::getDateString(name) + "/" + name);
    }
    RecordDirWithoutIndex& dir() {
        if (!m_dir) m_dir.reset(new RecordDirWithoutIndex(m_info, 0));
        return *m_dir;
    }
    static RecordDeviceDirPolicy policy(int camera, bool cycle, int days = 0) {
        RecordDeviceInfo device;
        device.setDeviceId("NVR");
        device.setDeviceIP("10.0.0.7");
        device.setCameraId(camera);
        return RecordDeviceDirPolicy(device, cycle, 1, days, false);
    }
    // A writer on the file of camera 2 that begins at `begin`.
    std::unique_ptr<TSRecordWriterWithoutIndex> openWriter(long long begin) {
        SafePointer<RecordFileInfo> file = testFileOf(2, begin);
        EXPECT_EQ(0, dir().createFile(file));
        m_path = file->createRecordFileName();
        std::unique_ptr<TSRecordWriterWithoutIndex> writer(new TSRecordWriterWithoutIndex());
        int timeLength = -1;
        EXPECT_EQ(0, writer->open(file, timeLength));
        EXPECT_EQ(-1, timeLength);
        return writer;
    }

    RecordingClock m_clock{kNoon + 3600};
    HostRootGuard m_root;
    RecordDirInfoEx m_info;
    std::unique_ptr<RecordDirWithoutIndex> m_dir;
    std::string m_path;
};

// Blocks in seconds as a session hands them: video 1 (I frame 1, P 2), audio 2.
struct Step {
    int es;
    int frame;
    long long time;
    int packets;
    char tag;
    int code;
    bool stored;
};

TEST_F(FtpDirTest, WriterStartsAtAnIFrameGrowsItsFileAndEndsItOnlyAtAnIFrame) {
    ASSERT_EQ(1, dir().init());
    struct Run {
        long long begin;
        std::vector<Step> steps;
    } const runs[] = {
        // At the segment size: refused on an I frame only, so a file may
        // run past its size until the next one.
        {kNoon, {{1, 2, kNoon, 1, 'z', 0, false},     {1, 1, kNoon, 2, 'a', 0, true},
                 {1, 2, kNoon, 5, 'b', 0, true},      {1, 1, kNoon + 1, 3, 'c', OV_RECORD_FILE_FULL, false},
                 {1, 1, kNoon + 1, 2, 'd', 0, true},  {1, 2, kNoon + 2, 3, 'e', 0, true},
                 {1, 1, kNoon + 3, 1, 'f', OV_RECORD_FILE_FULL, false}}},
        // The day ends at the first I frame after midnight.
        {kMidnight - 10, {{1, 1, kMidnight - 10, 2, 'a', 0, true}, {2, 1, kMidnight + 1, 1, 'b', 0, true},
                          {1, 2, kMidnight + 1, 1, 'c', 0, true},  {1, 1, kMidnight, 1, 'd', 0, true},
                          {1, 1, kMidnight + 1, 1, 'e', OV_RECORD_DAY_OVER, false}}},
    };
    for (Run const& run : runs) {
        std::unique_ptr<TSRecordWriterWithoutIndex> writer = openWriter(run.begin);
        std::string expected;
        for (Step const& step : run.steps) {
            TestBlock block(step.es, step.frame, step.time, step.packets, step.tag);
            EXPECT_EQ(step.code, writer->write(&block.data, false, 0)) << step.tag;
            if (step.stored) expected += block.text();
            EXPECT_EQ(expected, TempDir::readWhole(m_path)) << step.tag;
        }
        writer->close();
        writer->close();
        TestBlock late(1, 1, run.begin, 1, 'q');
        EXPECT_EQ(OV_RECORD_WRITE_FAILED, writer->write(&late.data, false, 0));
    }
}

TEST_F(FtpDirTest, AFileOfTheSameNameIsContinuedNotCutAndAFailedWriteEndsTheFile) {
    ASSERT_EQ(1, dir().init());
    TestBlock first(1, 1, kNoon, 2, 'a');
    TestBlock second(1, 1, kNoon + 1, 1, 'b');
    EXPECT_EQ(0, openWriter(kNoon)->write(&first.data, false, 0));
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    std::unique_ptr<TSRecordWriterWithoutIndex> writer = openWriter(kNoon);
    EXPECT_EQ(0, writer->write(&second.data, false, 0));
    plan->failWriteAt(1);
    EXPECT_EQ(OV_RECORD_WRITE_FAILED, writer->write(&second.data, false, 0));
    EXPECT_EQ(first.text() + second.text(), TempDir::readWhole(m_path));
}

TEST_F(FtpDirTest, CreateFileAnswersEachFailureWithItsOwnCode) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    SafePointer<RecordFileInfo> file = testFileOf(2, kNoon);
    EXPECT_EQ(OV_RECORD_DIR_NOT_WRITABLE, dir().createFile(file));
    EXPECT_FALSE(dir().isWritable());
    ASSERT_EQ(1, dir().init());
    EXPECT_TRUE(dir().isWritable());
    file->setDeviceId("N_VR");
    EXPECT_EQ(OV_RECORD_FILE_NAME_FAILED, dir().createFile(file));
    file = testFileOf(2, kNoon);
    plan->failCreateDirAt(1);
    EXPECT_EQ(OV_RECORD_FILE_DIR_FAILED, dir().createFile(file));
    plan->failCreateEmptyFileAt(1);
    EXPECT_EQ(OV_RECORD_CREATE_FILE_FAILED, dir().createFile(file));
    EXPECT_FALSE(exists("NVR_10.0.0.7_2_20240101120000.ts"));
    EXPECT_EQ(0, dir().createFile(file));
    EXPECT_EQ(m_info.getRecordRootDir() + kDeviceDir + "2024-01-01/NVR_10.0.0.7_2_20240101120000.ts",
              file->createRecordFileName());
    EXPECT_EQ(0, fs::file_size(file->createRecordFileName()));
    EXPECT_EQ(3, file->getRecordDirInfoEx().getDiskType());
}

TEST_F(FtpDirTest, FreeSpaceOfExactlyOneSegmentIsNone) {
    put("NVR_10.0.0.7_2_20240101120000.ts", 5000);
    // Free space is 99 % of what the files leave: 1899 bytes give 1880.
    for (long long left : {1899LL, 1900LL}) {
        m_dir.reset();
        m_info.setUseableSpace(5000 + left);
        dir().setDirPolicyList({policy(9, true)});  // nothing of camera 9 to reclaim
        ASSERT_EQ(1, dir().init());
        EXPECT_EQ(left == 1900, dir().hasFreeSpace()) << left;
        EXPECT_EQ(5000, dir().getSpaceRecord().getRecordFileSize());
    }
    EXPECT_TRUE(exists("NVR_10.0.0.7_2_20240101120000.ts"));
    // Full, with nothing it may reclaim: not ready.
    m_dir.reset();
    m_info.setUseableSpace(5000 + 1899);
    EXPECT_EQ(0, dir().init());
    EXPECT_FALSE(dir().hasFreeSpace());
}

TEST_F(FtpDirTest, ReclaimsTheOldestByTheTimeInTheNameButNotAFileBeingWritten) {
    struct File {
        int camera;
        char const* date;
        char const* time;
        bool kept;
    } const files[] = {
        {2, "2024-01-01", "110000", true},  {2, "2023-12-31", "230000", false},
        {2, "2024-01-01", "100000", true},  // being written
        {3, "2023-12-31", "220000", false},  // the oldest
        {4, "2023-12-20", "000000", false},  // 12 days old, keeps 10
        {5, "2024-01-01", "123000", true},   // keeps for ever
    };
    auto path = [&](File const& f) {
        std::string const day = f.date;
        std::string const compact = day.substr(0, 4) + day.substr(5, 2) + day.substr(8, 2);
        std::string const device = "NVR_10.0.0.7_" + std::to_string(f.camera);
        return m_info.getRecordRootDir() + "/record/" + device + "/" + f.date + "/" + device + "_" + compact + f.time + ".ts";
    };
    for (File const& f : files) put(fs::path(path(f)).filename().string(), kSegment);
    m_info.setUseableSpace(7 * kSegment);
    dir().setDirPolicyList({policy(2, true), policy(3, true), policy(4, false, 10), policy(5, false, 0)});
    ASSERT_EQ(1, dir().init());  // 6 segments used: room for one, with 99 % none
    SafePointer<RecordFileInfo> recording = testFileOf(2, kNoon - 7200);  // the 10:00 file, continued
    ASSERT_EQ(0, dir().createFile(recording));
    EXPECT_EQ(0, dir().deleteFile(recording));
    EXPECT_EQ(1, dir().cleanSpace(4 * kSegment));
    for (File const& f : files) EXPECT_EQ(f.kept, fs::exists(path(f))) << path(f);
    // With room to spare, age alone: 10 days and an hour go, 9 days stay.
    File const older{4, "2023-12-22", "120000", false}, younger{4, "2023-12-23", "130000", true};
    for (File const& f : {older, younger}) put(fs::path(path(f)).filename().string(), 1);
    EXPECT_EQ(1, dir().deleteOutDateFile({policy(4, false, 10)}));
    for (File const& f : {older, younger}) EXPECT_EQ(f.kept, fs::exists(path(f))) << path(f);
}

}  // namespace

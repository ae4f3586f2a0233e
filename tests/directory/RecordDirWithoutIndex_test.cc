#include "directory/RecordDirWithoutIndex.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

#include "directory/RecordFileCheckerWithoutIndex.h"
#include "disk/IRecordServiceListenerManager.h"
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
constexpr long long kNoon = 1704110400;         // 2024-01-01 12:00:00 UTC
constexpr long long kMidnight = kNoon + 43200;  // 2024-01-02 00:00:00
constexpr long long kSegment = 10 * TestBlock::kPacket;
char const* const kName = "NVR_10.0.0.7_2_20240101120000.ts";

// Each disk alarm handed over, as "minor source-name source-id".
class AlarmLog : public IRecordServiceListenerManager {
public:
    void addListener(IAlarmListenerEx*) override {}
    void clear() override {}
    int handleMessage(AlarmInfoEx& alarm) override {
        m_lines.push_back(std::to_string(alarm.getMinorType()) + " " + alarm.getSourceName() + " " +
                          alarm.getSourceId());
        return 0;
    }
    std::vector<std::string> m_lines;
};

TEST(RecordFileCheckerWithoutIndex, ReadsChannelAndTimeFromTheNameAndRefusesOthers) {
    struct Case {
        char const* name;
        char const* read;  // id, IP, camera, begin time; "" when refused
    } const cases[] = {
        {"NVR_10.0.0.7_2_20240101120000.ts", "NVR 10.0.0.7 2 1704110400"},
        {"NVR_fe80--1_12_20240102000000.ts", "NVR fe80--1 12 1704153600"},
        {"NVR_10.0.0.7_20240101120000.ts", ""},     // two underscores
        {"NVR_10.0.0.7_2_20240101120000.mp4", ""},  // no ".ts"
        {"NVR_10.0.0.7_2_20240101120000.ts&", ""},  // something behind ".ts"
        {"NVR_10.0.0.7_x_20240101120000.ts", ""},   // camera not a number
        {"NVR_10.0.0.7_2_2024010112000.ts", ""},    // 13 digits
        {"NVR_10.0.0.7_2_20241301120000.ts", ""},   // month 13
        {"_10.0.0.7_2_20240101120000.ts", ""},      // no device id
        {"../../NVR_10.0.0.7_2_20240101120000.ts", ""},  // outside the tree
    };
    for (Case const& c : cases) {
        RecordFileCheckerWithoutIndex checker;
        std::string read;
        if (checker.checkFileName(c.name))
            read = checker.getDeviceID() + " " + checker.getDeviceIP() + " " + std::to_string(checker.getCameraID()) +
                   " " + std::to_string(checker.getBeginTime());
        EXPECT_EQ(c.read, read) << c.name;
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
    // Where a record file of that name lies; `size` bytes are put there.
    std::string pathOf(std::string const& name, long long size = -1) {
        RecordFileCheckerWithoutIndex checker;
        EXPECT_TRUE(checker.checkFileName(name.c_str())) << name;
        SafePointer<RecordFileInfo> file = checker.createRecordFileInfo(m_info, BasicTool::getDateString(name));
        if (size < 0) return file->createRecordFileName();
        fs::create_directories(file->getDateDir());
        std::ofstream(file->createRecordFileName()) << std::string(static_cast<size_t>(size), 'x');
        return file->createRecordFileName();
    }
    RecordDirWithoutIndex& dir() {
        if (!m_dir) m_dir.reset(new RecordDirWithoutIndex(m_info, 0));
        return *m_dir;
    }
    static RecordDeviceDirPolicy policy(int camera, bool cycle, int days = 0) {
        return RecordDeviceDirPolicy(testFileOf(camera, 0)->getRecordDeviceInfo(), cycle, 1, days, false);
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

TEST_F(FtpDirTest, WriterStartsAtAnIFrameGrowsItsFileAndEndsItOnlyAtAnIFrame) {
    ASSERT_EQ(1, dir().init());
    // Blocks in seconds as a session hands them: video 1 (I frame 1, P 2), audio 2.
    struct Step { int es, frame; long long time; int packets; char tag; int code; bool stored; };
    struct Run { long long begin; std::vector<Step> steps; } const runs[] = {
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
        writer->close();  // nothing the second time
        TestBlock late(1, 1, run.begin, 1, 'q');
        EXPECT_EQ(OV_RECORD_WRITE_FAILED, writer->write(&late.data, false, 0));
    }
}

TEST_F(FtpDirTest, CreateFileAnswersEachFailureWithItsOwnCode) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    ASSERT_EQ(1, dir().init());
    SafePointer<RecordFileInfo> file = testFileOf(2, kNoon);
    file->setDeviceId("N_VR");
    EXPECT_EQ(OV_RECORD_FILE_NAME_FAILED, dir().createFile(file));
    file = testFileOf(2, kNoon);
    plan->failCreateDirAt(1);
    EXPECT_EQ(OV_RECORD_FILE_DIR_FAILED, dir().createFile(file));
    plan->failCreateEmptyFileAt(1);
    EXPECT_EQ(OV_RECORD_CREATE_FILE_FAILED, dir().createFile(file));
    std::string const path = m_info.getRecordRootDir() + "/record/NVR_10.0.0.7_2/2024-01-01/" + kName;
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(0, dir().createFile(file));
    EXPECT_EQ(path, file->createRecordFileName());
    EXPECT_EQ(0u, fs::file_size(path));
    // A file of a name that exists is continued, never cut; a failed write
    // ends it with what was whole.
    TestBlock first(1, 1, kNoon, 2, 'a'), second(1, 1, kNoon + 1, 1, 'b');
    EXPECT_EQ(0, openWriter(kNoon)->write(&first.data, false, 0));
    std::unique_ptr<TSRecordWriterWithoutIndex> writer = openWriter(kNoon);
    EXPECT_EQ(0, writer->write(&second.data, false, 0));
    plan->failWriteAt(1);
    EXPECT_EQ(OV_RECORD_WRITE_FAILED, writer->write(&second.data, false, 0));
    EXPECT_EQ(first.text() + second.text(), TempDir::readWhole(path));
}

TEST_F(FtpDirTest, FreeSpaceOfExactlyOneSegmentIsNone) {
    pathOf(kName, 5000);
    // Free space is 99 % of what the files leave: 1899 bytes give 1880.
    for (long long left : {1899LL, 1900LL}) {
        m_dir.reset();
        m_info.setUseableSpace(5000 + left);
        dir().setDirPolicyList({policy(9, true)});  // nothing of camera 9 to reclaim
        ASSERT_EQ(1, dir().init());
        EXPECT_EQ(left == 1900, dir().hasFreeSpace()) << left;
        EXPECT_EQ(5000, dir().getSpaceRecord().getRecordFileSize());
    }
    EXPECT_TRUE(fs::exists(pathOf(kName)));
    // Full, with nothing it may reclaim: not ready.
    m_dir.reset();
    m_info.setUseableSpace(5000 + 1899);
    EXPECT_EQ(0, dir().init());
    EXPECT_FALSE(dir().hasFreeSpace());
    // Full, with an older file of the channel: init reclaims until a whole
    // segment fits, however little that file holds.
    std::string const older = pathOf("NVR_10.0.0.7_2_20240101110000.ts", 10);
    m_info.setUseableSpace(5010 + 1899);
    m_dir.reset();
    dir().setDirPolicyList({policy(2, true)});
    ASSERT_EQ(1, dir().init());
    EXPECT_TRUE(dir().hasFreeSpace());
    EXPECT_FALSE(fs::exists(older));
    EXPECT_TRUE(fs::exists(pathOf(kName)));
}

TEST_F(FtpDirTest, ReclaimsTheOldestByTheTimeInTheNameButNotAFileBeingWritten) {
    struct File {
        char const* name;
        bool kept;
    } const files[] = {
        {"NVR_10.0.0.7_2_20240101110000.ts", true}, {"NVR_10.0.0.7_2_20231231230000.ts", false},
        {"NVR_10.0.0.7_2_20240101100000.ts", true},   // being written
        {"NVR_10.0.0.7_3_20231231220000.ts", false},  // the oldest
        {"NVR_10.0.0.7_4_20231220000000.ts", false},  // 12 days old, keeps 10
        {"NVR_10.0.0.7_5_20240101123000.ts", true},   // keeps for ever
    };
    for (File const& f : files) pathOf(f.name, kSegment);
    m_info.setUseableSpace(7 * kSegment);
    dir().setDirPolicyList({policy(2, true), policy(3, true), policy(4, false, 10), policy(5, false, 0)});
    ASSERT_EQ(1, dir().init());  // 6 segments used: room for one, with 99 % none
    SafePointer<RecordFileInfo> recording = testFileOf(2, kNoon - 7200);  // the 10:00 file, continued
    ASSERT_EQ(0, dir().createFile(recording));
    EXPECT_EQ(0, dir().deleteFile(recording));
    EXPECT_EQ(1, dir().cleanSpace(4 * kSegment));
    for (File const& f : files) EXPECT_EQ(f.kept, fs::exists(pathOf(f.name))) << f.name;
    // With room to spare, age alone: 10 days and an hour go, 9 days stay.
    File const aged[] = {{"NVR_10.0.0.7_4_20231222120000.ts", false}, {"NVR_10.0.0.7_4_20231223130000.ts", true}};
    for (File const& f : aged) pathOf(f.name, 1);
    EXPECT_EQ(1, dir().deleteOutDateFile({policy(4, false, 10)}));
    for (File const& f : aged) EXPECT_EQ(f.kept, fs::exists(pathOf(f.name))) << f.name;
}

TEST_F(FtpDirTest, OperatorDeletesByTimeRangeAndClearsOneDeviceOnly) {
    for (char const* name : {"NVR_10.0.0.7_2_20231231230000.ts", "NVR_10.0.0.7_2_20240101100000.ts",
                             "NVR_10.0.0.7_2_20240101110000.ts", "NVR_10.0.0.7_3_20240101100000.ts"})
        pathOf(name, 1);
    ASSERT_EQ(1, dir().init());
    RecordInfo range = testFileOf(2, 0)->changeToRecordInfo();
    range.setRecordBeginTime(kNoon - 7200);  // [10:00, 11:00): one file
    range.setRecordEndTime(kNoon - 3600);
    EXPECT_EQ(1, dir().getOperator()->deleteRecordFile(range));
    std::map<std::string, int> dates;
    EXPECT_EQ(0, dir().getOperator()->queryDateList("NVR", "10.0.0.7", "2", dates));
    EXPECT_EQ((std::map<std::string, int>{{"2023-12-31", 1}, {"2024-01-01", 1}}), dates);
    EXPECT_FALSE(fs::exists(pathOf("NVR_10.0.0.7_2_20240101100000.ts")));
    EXPECT_TRUE(fs::exists(pathOf("NVR_10.0.0.7_2_20240101110000.ts")));
    EXPECT_TRUE(dir().clearRecordDir("NVR_10.0.0.7_2"));
    EXPECT_FALSE(fs::exists(m_info.getRecordRootDir() + "/record/NVR_10.0.0.7_2"));
    EXPECT_TRUE(fs::exists(pathOf("NVR_10.0.0.7_3_20240101100000.ts")));
}

// A disk that goes takes the directory out of service with one alarm; back,
// it is made ready again.
TEST_F(FtpDirTest, ADiskThatGoesAndComesBackRaisesOneAlarmEachWay) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    AlarmLog* alarms = new AlarmLog();
    dir().setDiskStatusListener(SafePointer<IRecordServiceListenerManager>(alarms));
    dir().detectDirStatus();
    EXPECT_TRUE(dir().isWritable());
    plan->vanish();
    for (int round = 0; round < 2; ++round) dir().detectDirStatus();
    SafePointer<RecordFileInfo> file = testFileOf(2, kNoon);
    EXPECT_EQ(OV_RECORD_DIR_NOT_WRITABLE, dir().createFile(file));
    plan->restore();
    dir().detectDirStatus();
    EXPECT_EQ(0, dir().createFile(file));
    EXPECT_EQ((std::vector<std::string>{"1 FtpDisk 1:0", "3 FtpDisk 1:0", "1 FtpDisk 1:0"}), alarms->m_lines);
}

}  // namespace

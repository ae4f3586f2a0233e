#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/BasicTool.h"
#include "foundation/ReturnCode.h"
#include "snapshot/SnapshotFileChecker.h"
#include "snapshot/SnapshotFileIndexWriterEx.h"
#include "snapshot/SnapshotIndexFileParserEx.h"
#include "snapshot/SnapshotRecordDirEx.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestRecording.h"

namespace {

long long const kNow = 1709640000;  // 2024-03-05 12:00:00 UTC
long long const kPoolFile = 4096;
std::string const kDevice = "snapshot/NVR_10.0.0.7_1/";

TEST(SnapshotFileChecker, ReadsFourUnderscoresAndSeventeenDigits) {
    RecordingClock clock(kNow);
    struct Case {
        char const* name;
        bool accepted;
    } const cases[] = {
        {"NVR_10.0.0.7_3_20240305120001042_2.jpg", true}, {"NVR_10.0.0.7_3_20240305120001042_2.jpg&", true},
        {"NVR_10.0.0.7_3_2024030512000104_2.jpg", false},  // 16 characters of time
        {"NVR_10.0.0.7_3_20240305120001042.jpg", false},   // three underscores
        {"NVR_10.0.0.7_3_20240305120001042_2.png", false}, {"NVR_10.0.0.7_3_2024030512000104x_2.jpg", false},
    };
    for (Case const& c : cases) EXPECT_EQ(c.accepted, SnapshotFileChecker().checkFileName(c.name)) << c.name;
    std::string deviceDir, date;
    long long time = 0;
    ASSERT_TRUE(SnapshotRecordDirEx::parseImageInfo(cases[0].name, deviceDir, date, time));
    EXPECT_EQ("NVR_10.0.0.7_3", deviceDir);
    EXPECT_EQ("2024-03-05", date);
    EXPECT_EQ((kNow + 1) * 1000 + 42, time);
}

class SnapshotDirTest : public ::testing::Test {
protected:
    RecordingClock clock{kNow};
    TempDir root;
    std::unique_ptr<SnapshotRecordDirEx> dir;

    void SetUp() override { open(); }
    void open() {
        RecordDirInfoEx info;
        info.setRecordRootDir(root.root());
        dir.reset(new SnapshotRecordDirEx(info, 1, "NVR", 1, kPoolFile));
        ASSERT_EQ(1, dir->init());
    }
    // A data file for a camera from `begin`, with one picture of `length`.
    SafePointer<RecordFileInfo> fileOf(long long begin, int burst = 1, int camera = 1) {
        SafePointer<RecordFileInfo> file(new RecordFileInfo());
        file->setDeviceId("NVR");
        file->setDeviceIP("10.0.0.7");
        file->setCameraId(camera);
        file->setBurstMode(burst);
        file->setRecordBeginTime(begin);
        file->setRecordDate(BasicTool::getDateString(begin));
        return file;
    }
    SafePointer<RecordFileInfo> take(long long begin, int burst = 1, bool newFile = true, int length = 100,
                                     int camera = 1) {
        SafePointer<RecordFileInfo> file = fileOf(begin, burst, camera);
        dir->setDeviceRequetType(file->getRecordDeviceInfo(), newFile ? FileRequestFileFull : FileRequestContinue);
        EXPECT_TRUE(dir->hasFreeSpace());
        EXPECT_EQ(0, dir->createFile(file));
        SnapshotFileIndexWriterEx writer;
        EXPECT_EQ(0, writer.open(*file, false));
        EXPECT_TRUE(writer.addIndex(begin * 1000 + 5, burst, length));
        return file;
    }
    std::string pathOf(SafePointer<RecordFileInfo> const& file) {
        return "snapshot/" + file->getDeviceDirName() + "/" + file->getRecordDate() + "/" + file->getRecordFileName();
    }
    std::vector<RecordDeviceDirPolicy> policy(bool cycle, int days, int cameras = 1) {
        std::vector<RecordDeviceDirPolicy> policies;
        for (int camera = 1; camera <= cameras; ++camera) {
            RecordDeviceInfo device;
            device.setDeviceId("NVR");
            device.setDeviceIP("10.0.0.7");
            device.setCameraId(camera);
            policies.emplace_back(device, cycle, 1, days, false);
        }
        return policies;
    }
};

TEST_F(SnapshotDirTest, PoolPreparesFiveFilesARunAndHandsThemOutUnderTheirNames) {
    std::vector<std::string> names;
    for (int i = 0; i < 5; ++i) names.push_back(pathOf(take(kNow + 10 * i)));
    EXPECT_EQ(5, dir->getCreatedFileCount());
    EXPECT_FALSE(dir->hasFreeSpace());
    EXPECT_EQ(kDevice + "2024-03-05/NVR_10.0.0.7_1_20240305120000.mjpeg", names[0]);
    for (std::string const& name : names) EXPECT_EQ(kPoolFile, root.fileSize(name));

    // A continue request goes on in the last file; another burst mode or a
    // new file within the same second gets a name one second earlier.
    open();  // a new run may prepare again
    EXPECT_EQ(root.root() + "/" + names[4], SnapshotDirOperatorEx::getSnapshotFilePath(*take(kNow + 45, 1, false)));
    SafePointer<RecordFileInfo> burst = take(kNow + 40, 2, false);
    EXPECT_EQ(kDevice + "2024-03-05/NVR_10.0.0.7_1_20240305120039.mjpeg", pathOf(burst));
    SnapshotIndexFileParserEx parser;
    ASSERT_EQ(1, parser.open(burst->getRecordDirInfoEx(), "2024-03-05", "NVR_10.0.0.7_1"));
    EXPECT_EQ(6, parser.getFileNum());
    EXPECT_EQ(kNow + 39, parser.getSnapshotFileBeginTime());
}

TEST_F(SnapshotDirTest, AFileThePoolCannotGiveLeavesNoEntry) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    open();
    plan->failCreateSizedFileAt(1);
    SafePointer<RecordFileInfo> file = fileOf(kNow);
    EXPECT_TRUE(dir->hasFreeSpace());
    EXPECT_EQ(0, dir->getCreatedFileCount());
    EXPECT_EQ(OV_RECORD_CREATE_FILE_FAILED, dir->createFile(file));
    EXPECT_FALSE(root.exists(kDevice + "2024-03-05"));
}

TEST_F(SnapshotDirTest, DeletedAndOutdatedFilesGoBackToThePool) {
    SafePointer<RecordFileInfo> old = take(kNow - 3 * 86400);
    SafePointer<RecordFileInfo> recent = take(kNow - 86400);
    SafePointer<RecordFileInfo> today = take(kNow);
    EXPECT_EQ(0, dir->getUseableFileDir()->getFileNumber());

    EXPECT_EQ(1, dir->deleteFile(recent));
    EXPECT_FALSE(root.exists(kDevice + "2024-03-04"));
    EXPECT_EQ(1, dir->getUseableFileDir()->getFileNumber());

    EXPECT_EQ(1, dir->deleteOutDateFile(policy(false, 2)));
    EXPECT_FALSE(root.exists(kDevice + "2024-03-02"));
    EXPECT_TRUE(root.exists(pathOf(today)));
    int total = 0, free = 0;
    dir->getDirFileNumber(total, free);
    EXPECT_EQ(3, total);
    SnapshotUseableFileDir reread(root.root(), 1, kPoolFile);  // what the folder holds, at full size
    ASSERT_EQ(1, reread.init(0));
    EXPECT_EQ(2, reread.getFileNumber());
}

TEST_F(SnapshotDirTest, SpaceComesFromPoolFilesThenTheOldestOfCycleWritersNeverTheNewest) {
    SafePointer<RecordFileInfo> gone = take(kNow - 7200);
    SafePointer<RecordFileInfo> oldest = take(kNow - 3600);
    SafePointer<RecordFileInfo> spare = take(kNow - 1800);
    SafePointer<RecordFileInfo> newest = take(kNow);
    ASSERT_TRUE(dir->hasFreeSpace());  // one unused pool file
    ASSERT_EQ(0, std::remove(root.path(pathOf(gone)).c_str()));
    dir->setDirPolicyList(policy(false, 0));
    EXPECT_EQ(1, dir->cleanSpace(2));  // a channel that keeps by days offers nothing
    dir->setDirPolicyList(policy(true, 0));
    EXPECT_EQ(0, dir->cleanSpace(1));  // the entry of a file already gone is dropped
    EXPECT_EQ(1, dir->cleanSpace(1));
    EXPECT_FALSE(root.exists(pathOf(oldest)));
    // The group's way: files of a date back to the pool, the session's own kept.
    EXPECT_EQ(1, dir->deleteEarliestDateFile(policy(true, 0), "2024-03-05", 5));
    EXPECT_EQ(1, dir->getUseableFileDir()->getFileNumber());
    EXPECT_FALSE(root.exists(pathOf(spare)));
    SnapshotIndexFileParserEx parser;
    ASSERT_EQ(1, parser.open(newest->getRecordDirInfoEx(), "2024-03-05", "NVR_10.0.0.7_1"));
    EXPECT_EQ(1, parser.getFileNum());
    EXPECT_TRUE(root.exists(pathOf(newest)));
}

// Every channel of a date is asked before the list counts as full: the
// oldest file of the date goes first, whichever channel's it is.
TEST_F(SnapshotDirTest, TheOldestFileOfADateGoesFirstWhicheverChannelHoldsIt) {
    SafePointer<RecordFileInfo> later = take(kNow - 3600);
    SafePointer<RecordFileInfo> older = take(kNow - 7200, 1, true, 100, 2);
    take(kNow, 1, true, 100, 1);  // each channel's newest is its session's own
    take(kNow, 1, true, 100, 2);
    EXPECT_EQ(1, dir->deleteEarliestDateFile(policy(true, 0, 2), "2024-03-05", 1));
    EXPECT_FALSE(root.exists(pathOf(older)));
    EXPECT_TRUE(root.exists(pathOf(later)));
}

TEST_F(SnapshotDirTest, AChannelsFileIsReclaimedOnceItsSessionWritesOnAnotherDisk) {
    SafePointer<RecordFileInfo> here = take(kNow);
    EXPECT_EQ(0, dir->deleteEarliestDateFile(policy(true, 0), "2024-03-05", 5));  // it may be open
    TempDir otherRoot;
    RecordDirInfoEx info;
    info.setRecordRootDir(otherRoot.root());
    SnapshotRecordDirEx other(info, 1, "NVR", 1, kPoolFile);
    ASSERT_EQ(1, other.init());
    SafePointer<RecordFileInfo> there = fileOf(kNow + 10);
    ASSERT_TRUE(other.hasFreeSpace());
    ASSERT_EQ(0, other.createFile(there));
    EXPECT_EQ(1, dir->deleteEarliestDateFile(policy(true, 0), "2024-03-05", 5));
    EXPECT_FALSE(root.exists(pathOf(here)));
}

}  // namespace

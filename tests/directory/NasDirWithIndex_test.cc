#include "directory/NasDirWithIndex.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>

#include "disk/RecordDeviceDirPolicy.h"
#include "disk/RecordDiskManagerImpl.h"
#include "foundation/ReturnCode.h"
#include "recording/RecordStorageTSImpl.h"
#include "recording/TSFrameQueue.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/IndexedDirs.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestBlock.h"
#include "tests/support/TestRecording.h"

namespace {

namespace fs = std::filesystem;
constexpr long long kSegment = 20 * TestBlock::kPacket;
constexpr long long kDay = 1704110400;  // 2024-01-01 12:00 UTC
constexpr long long kGiBMiB = 1024;

bool waitFor(std::function<bool()> const& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i) usleep(5000);
    return condition();
}

RecordDeviceDirPolicy policyOf(int camera) {
    return RecordDeviceDirPolicy(testFileOf(camera, 0)->getRecordDeviceInfo(), true, 1, 0, false);
}

// A share "nas" in a temporary root, standing for a 50 GiB disk with room to
// spare, that holds `files` record files of 20 packets.
class NasDirWithIndexTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_info.setRecordRootDir(m_root.root() + "/nas");
        m_info.setRecordDiskName("nas1");
        m_info.setDiskType(4);
        m_info.setFileSegmentSize(kSegment);
        boundRecordSpace(m_info, 8);
        fs::create_directories(m_info.getRecordRootDir());
        m_plan->setReportedSpace(50 * kGiBMiB, 40 * kGiBMiB);
    }
    void TearDown() override { stopRecordDirs(); }
    // A recorder of the share with device id `id`, recording `camera`, ready.
    std::unique_ptr<NasDirWithIndex> recorder(std::string const& id, int camera) {
        std::unique_ptr<NasDirWithIndex> dir(new NasDirWithIndex(m_info, 1, id, 1));
        dir->setDirPolicyList({policyOf(camera)});
        EXPECT_EQ(0, dir->detectDirStatus());
        EXPECT_TRUE(dir->isWritable());
        return dir;
    }
    int create(NasDirWithIndex& dir, int camera, long long begin) {
        SafePointer<RecordFileInfo> file = testFileOf(camera, begin);
        dir.setDeviceRequetType(file->getRecordDeviceInfo(), 0);
        return dir.createFile(file);
    }
    // Files under record/ by folder: "empty:NVR", "empty:CMS", "recycleBin",
    // or "<camera> <date>" for record files, each with its bytes.
    std::multimap<std::string, std::string> tree() const {
        std::multimap<std::string, std::string> found;
        for (auto const& entry : fs::recursive_directory_iterator(m_info.getRecordRootDir() + "/record")) {
            std::string const name = entry.path().filename(), folder = entry.path().parent_path().filename();
            if (folder == "empty") found.emplace("empty:" + name.substr(0, name.find('_')), "");
            else if (folder == "recycleBin") found.emplace(folder, "");
            else if (entry.path().extension() == ".ts")
                found.emplace(camera(entry.path().parent_path().parent_path().filename()) + " " + folder,
                              TempDir::readWhole(entry.path()));
        }
        return found;
    }
    static std::string camera(std::string const& deviceDir) { return deviceDir.substr(deviceDir.rfind('_') + 1); }
    std::string log() const { return TempDir::readWhole(m_root.root() + "/mnt/mtd/log/naslog.log"); }

    HostRootGuard m_root;
    RecordingClock m_clock{kDay};
    std::shared_ptr<FaultPlan> m_plan = std::make_shared<FaultPlan>();
    FaultInjection m_faults{m_plan};
    RecordDirInfoEx m_info;
};

TEST_F(NasDirWithIndexTest, ReserveFollowsTheDiskSizeAndFreeSpaceAtTheReserveIsFull) {
    struct Row {
        int nDiskType;
        long long nTotalMiB;
        long long nReserve;
    } const rows[] = {
        {4, 50 * kGiBMiB, 1LL << 30},                  // 1 % is 0.5 GiB: the floor
        {4, 100 * kGiBMiB, 1LL << 30},                 // 1 % is the floor exactly
        {4, 1024 * kGiBMiB, (1LL << 40) / 100},        // about 10.24 GiB
        {4, 10000 * kGiBMiB, 100LL << 30},             // 1 % is the ceiling exactly
        {4, 20 * 1024 * kGiBMiB, 100LL << 30},         // 204.8 GiB: the ceiling
        {1, 20 * 1024 * kGiBMiB, 3 * kSegment},        // not a share: three files
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.nReserve, NasEmptyDirManager::getDiskReserve(row.nDiskType, row.nTotalMiB << 20, kSegment));
        NasEmptyDirManager pool(kSegment, row.nDiskType, m_info.getRecordRootDir() + "/record", "NVR");
        ASSERT_EQ(1, pool.init(0));
        long long const reserveMiB = row.nReserve >> 20;
        m_plan->setReportedSpace(row.nTotalMiB, reserveMiB);
        EXPECT_EQ(0, pool.isDiskSpaceFull()) << row.nTotalMiB;
        m_plan->setReportedSpace(row.nTotalMiB, reserveMiB + 1);
        EXPECT_EQ(1, pool.isDiskSpaceFull()) << row.nTotalMiB;
    }
    m_plan->vanish();
    NasEmptyDirManager pool(kSegment, 4, m_info.getRecordRootDir() + "/record", "NVR");
    EXPECT_EQ(0, pool.isDiskSpaceFull());  // space that can't be read counts as none
}

// The pool grows in rounds, bounded by its max empty file number (10 per
// channel + 1), by the share's useable space and by the reserve; the full
// disk is logged once.
TEST_F(NasDirWithIndexTest, PoolGrowsRoundByRoundWithinItsBounds) {
    boundRecordSpace(m_info, 30);
    std::unique_ptr<NasDirWithIndex> dir = recorder("NVR", 1);
    EXPECT_EQ(11u, tree().count("empty:NVR"));
    for (int i = 0; i < 3; ++i) ASSERT_EQ(0, create(*dir, 1, kDay + i));
    EXPECT_EQ(8u, tree().count("empty:NVR"));
    dir->detectShare();
    EXPECT_EQ(11u, tree().count("empty:NVR"));
    EXPECT_EQ(64u, fs::file_size(m_info.getRecordRootDir() + "/stat/NVR_10.0.0.7_1"));

    m_plan->setReportedSpace(50 * kGiBMiB, kGiBMiB);  // free space at the reserve
    ASSERT_EQ(0, create(*dir, 1, kDay + 10));
    dir->detectShare();
    dir->detectShare();
    EXPECT_EQ(10u, tree().count("empty:NVR"));
    std::string const full = "disk is full TotalDiskSpace(51200)MB DiskFreeSpace(1024) MB";
    EXPECT_TRUE(log().find(full) != std::string::npos && log().find(full) == log().rfind(full));

    m_plan->setReportedSpace(50 * kGiBMiB, 40 * kGiBMiB);
    for (int i = 0; i < 9; ++i) ASSERT_EQ(0, create(*dir, 1, kDay + 20 + i));
    dir->detectShare();
    dir->detectShare();  // 13 dated: the share's 30 files leave 17 to the pool
    EXPECT_EQ(11u, tree().count("empty:NVR"));
    int total = 0, free = 0;
    ASSERT_EQ(0, dir->getDirFileNumber(total, free));
    EXPECT_EQ(30, total);
    EXPECT_EQ(17, free);
}

// Through the engine: the share disappears while a channel records, the
// directory goes not ready and the channel is refused; when it returns the
// directory is rebuilt and recording goes on, and every block written
// before is still in its file.
TEST_F(NasDirWithIndexTest, ShareLostWhileRecordingComesBackWithEverythingRecorded) {
    ASSERT_TRUE(serveRecordDirs({m_info}));
    SafePointer<IRecordDir> dir = RecordDiskManagerImpl::getInstance()->getRecordDir(m_info.getRecordRootDir());
    ASSERT_NE(nullptr, dynamic_cast<NasDirWithIndex*>(dir.get()));
    RecordInfo channel;
    channel.setDeviceId("NVR");
    channel.setDeviceIP("10.0.0.7");
    channel.setCameraId(1);
    recordChannel(channel);
    ASSERT_TRUE(waitFor([&]() { return dir->hasFreeSpace(); }));  // the pool grows for the channel
    TSFrameQueue queue(1024 * 1024);
    RecordStorageTSImpl session;
    ASSERT_EQ(0, session.open(channel, false));
    session.setTSFrameQueue(&queue);
    std::vector<TestBlock> blocks;
    auto write = [&](int second) {
        blocks.emplace_back(1, 1, (kDay + second) * 1000000, 8, static_cast<char>('A' + second));
        return session.write(0, &blocks.back().data);
    };
    for (int second = 0; second < 4; ++second) ASSERT_EQ(0, write(second));

    m_plan->vanish();
    EXPECT_NE(0, write(4));
    ASSERT_TRUE(waitFor([&]() { return !dir->isWritable(); }));
    EXPECT_NE(0, write(5));
    m_plan->restore();
    ASSERT_TRUE(waitFor([&]() { return dir->isWritable(); }));
    ASSERT_EQ(0, write(6));
    EXPECT_EQ(0, session.close());

    std::string recorded;
    for (auto const& file : tree()) recorded += file.second;
    for (int second : {0, 1, 2, 3, 6})
        EXPECT_NE(std::string::npos, recorded.find(blocks[second].text())) << second;
    EXPECT_NE(std::string::npos, log().find("detectDirStatus state is failed"));
    EXPECT_NE(std::string::npos, log().find(m_info.getRecordRootDir() + " state is ok"));
    ASSERT_TRUE(waitFor([&]() { return fs::exists(m_info.getRecordRootDir() + "/stat/NVR_10.0.0.7_1"); }));
    stopRecordDirs();
    EXPECT_FALSE(fs::exists(m_info.getRecordRootDir() + "/stat/NVR_10.0.0.7_1"));
}

// Two recorders on one share of 8 files. Alone, the first fills it and
// keeps all it recorded. When a second one appears with nothing, the first,
// holding more days, gives way with its oldest recordings, and only those.
TEST_F(NasDirWithIndexTest, RecorderWithMoreDaysGivesWayToAnotherOnTheShare) {
    std::unique_ptr<NasDirWithIndex> first = recorder("NVR", 1);
    for (long long begin : {kDay, kDay + 60, kDay + 120, kDay + 86400, kDay + 86460, kDay + 172800, kDay + 172860})
        recordTestFile(*first, 1, begin);
    first->detectShare();
    first->detectShare();
    std::multimap<std::string, std::string> alone = tree();
    EXPECT_EQ(3u, alone.count("1 2024-01-01"));
    EXPECT_EQ(1u, alone.count("empty:NVR"));
    EXPECT_EQ(OV_RECORD_HD_NO_FILE, create(*first, 1, kDay + 172920));  // the top file is kept

    std::unique_ptr<NasDirWithIndex> second = recorder("CMS", 2);
    EXPECT_EQ(OV_RECORD_HD_NO_FILE, create(*second, 2, kDay + 172900));
    EXPECT_EQ(-1, second->deleteEarliestFile({policyOf(2)}));  // nothing of its own to give
    second->detectShare();
    // Rounds until the first recorder's next scan finds the second: it gives
    // way in that round, and the second grows into the room in its next...
    for (int i = 0; i < NasDirWithIndex::kScanRounds && first->getRecordStatDir().getScanList().empty(); ++i)
        first->detectShare();
    first->detectShare();  // nor does it grow again into the room it gave
    second->detectShare();
    EXPECT_EQ(0, create(*second, 2, kDay + 172900));

    std::multimap<std::string, std::string> shared = tree();
    EXPECT_EQ(1u, shared.count("1 2024-01-01"));
    for (auto const& file : alone)
        if (file.first != "1 2024-01-01") {
            EXPECT_EQ(alone.count(file.first), shared.count(file.first)) << file.first;
        }
    EXPECT_EQ(1u, shared.count("2 2024-01-03"));
    EXPECT_NE(std::string::npos, log().find("checkRecycleBinDir gave way with 2 of 2 files"));

    // Alone on a full share a recorder recycles its own oldest file.
    second.reset();
    EXPECT_EQ(0, first->deleteEarliestFile({policyOf(1)}));
    EXPECT_EQ(1u, tree().count("recycleBin"));
}

// Giving way deletes what holds no recording first: the bin, then spare
// empty files (the top one kept); a disk at its reserve asks for one more.
TEST_F(NasDirWithIndexTest, GivingWayTakesTheBinAndSpareFilesBeforeAnyRecording) {
    std::unique_ptr<NasDirWithIndex> first = recorder("NVR", 1);
    std::vector<SafePointer<RecordFileInfo>> files;
    for (long long begin : {kDay, kDay + 60, kDay + 86400, kDay + 86460, kDay + 172800})
        files.push_back(recordTestFile(*first, 1, begin));
    ASSERT_EQ(1, first->deleteFile(files[0]));
    std::unique_ptr<NasDirWithIndex> second = recorder("CMS", 2);
    second->detectShare();
    for (int i = 0; i <= NasDirWithIndex::kScanRounds && first->getRecordStatDir().getScanList().empty(); ++i)
        first->detectShare();
    std::multimap<std::string, std::string> left = tree();
    EXPECT_EQ(0u, left.count("recycleBin"));
    EXPECT_EQ(2u, left.count("empty:NVR"));
    EXPECT_EQ(6u, left.size());  // with the four recordings
    m_plan->setReportedSpace(50 * kGiBMiB, kGiBMiB);
    first->detectShare();
    EXPECT_EQ(1u, tree().count("empty:NVR"));
    EXPECT_EQ(5u, tree().size());
}

}  // namespace

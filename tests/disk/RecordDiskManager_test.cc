#include "disk/RecordDiskManagerImpl.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>

#include "directory/LastRecordFileInfoManager.h"
#include "disk/RecordDirStateManager.h"
#include "disk/RecordDiskManager.h"
#include "foundation/ReturnCode.h"
#include "host/HostClock.h"
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
constexpr long long kDay0 = 1704110400;  // 2024-01-01 12:00:00 UTC
constexpr int kPoolFiles = 30;  // three index files, one per channel day

// Indexed directories "hd<n>" on disks "sd?" in a temporary folder, each with
// a pool of a few files of 20 packets, served by the process's disk manager.
class RecordDiskManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        LastRecordFileInfoManager::getInstance()->clear();
        ASSERT_EQ(1, m_disks->start());
    }
    void TearDown() override {
        m_disks->stop();
        m_disks->setRecordType(1);
        m_disks->setDeviceId("NVR");
        LastRecordFileInfoManager::getInstance()->clear();
        RecordDirStateManager::getInstance()->clear();
        HostClock::reset();
    }
    RecordDirInfoEx dirOf(int disk, int group) {
        RecordDirInfoEx info;
        info.setRecordRootDir(m_root.path("hd" + std::to_string(disk)));
        info.setRecordDiskName("sd" + std::string(1, static_cast<char>('a' + disk - 1)));
        info.setDiskType(1);
        info.setGroupId(group);
        info.setFileSegmentSize(20 * TestBlock::kPacket);
        boundRecordSpace(info, kPoolFiles);
        fs::create_directories(info.getRecordRootDir());
        return info;
    }
    int groups() { return m_disks->getRecordDirGroupManager().getGroupCount(); }
    // The policies that group `id` holds; -1 when there is no such group.
    int policiesOf(int id) {
        SafePointer<RecordDirGroup> group;
        if (!m_disks->getRecordDirGroupManager().findRecordDirGroup(id, group)) return -1;
        return static_cast<int>(group->getDirPolicyList().size());
    }
    static RecordDeviceDirPolicy policyOf(int camera, int group) {
        return RecordDeviceDirPolicy(testFileOf(camera, 0)->getRecordDeviceInfo(), true, group, 0, false);
    }
    // Record files under a root by place: "pool", "bin" or "dated", sizes apart.
    std::map<std::string, int> filesOn(RecordDirInfoEx const& dir, std::vector<long long>& sizes) {
        std::map<std::string, int> found;
        for (auto const& entry : fs::recursive_directory_iterator(dir.getRecordRootDir() + "/record")) {
            if (!entry.is_regular_file()) continue;
            std::string const folder = entry.path().parent_path().filename().string();
            bool const dated = entry.path().extension() == ".ts";
            if (!dated && folder != "empty" && folder != "recycleBin") continue;
            ++found[folder == "empty" ? "pool" : folder == "recycleBin" ? "bin" : "dated"];
            sizes.push_back(static_cast<long long>(entry.file_size()));
        }
        return found;
    }

    TempDir m_root;
    HostRootGuard m_host{m_root.path("host")};
    RecordDiskManagerImpl* m_disks = RecordDiskManagerImpl::getInstance();
};

TEST_F(RecordDiskManagerTest, EmptyListClearsAtOnceAndAnotherWaitsForThePass) {
    RecordDirInfoEx a = dirOf(1, 1), b = dirOf(2, 2);
    EXPECT_EQ(1, m_disks->setRecordDirInfoList({a, b}));
    // The thread passes once a second: what was just set is still pending.
    EXPECT_EQ(0, groups());
    m_disks->setDirPolicyThread();
    EXPECT_EQ(2, groups());
    EXPECT_EQ(2u, m_disks->getRecordDirInfoList().size());
    EXPECT_EQ(1, m_disks->setRecordDirInfoList({}));
    EXPECT_EQ(0, groups());
    EXPECT_TRUE(m_disks->getRecordDirInfoList().empty());
}

TEST_F(RecordDiskManagerTest, EveryKnownPolicyGoesAgainAfterAnyDirectoryList) {
    m_disks->setRecordDevicePolicy(policyOf(1, 1));
    m_disks->setRecordDevicePolicy(policyOf(2, 2));
    ASSERT_TRUE(serveRecordDirs({dirOf(1, 1)}));
    EXPECT_EQ(1, policiesOf(1));
    EXPECT_EQ(-1, policiesOf(2));  // its group did not exist: dropped there
    ASSERT_TRUE(serveRecordDirs({dirOf(1, 1), dirOf(2, 2)}));
    EXPECT_EQ(1, policiesOf(1));
    EXPECT_EQ(1, policiesOf(2));  // no policy changed, yet it arrived
    EXPECT_EQ(2, m_disks->getDeviceGroupId(policyOf(2, 2).getRecordDeviceInfo()));
}

TEST_F(RecordDiskManagerTest, CmsOfRecordTypeTwoKeepsItsDirectories) {
    ASSERT_TRUE(serveRecordDirs({dirOf(1, 1)}));
    m_disks->setDeviceId("CMS");
    EXPECT_EQ(1, m_disks->setRecordDirInfoList({dirOf(1, 1), dirOf(2, 2)}));  // record type 1
    m_disks->setRecordType(2);
    EXPECT_EQ(0, m_disks->setRecordDirInfoList({}));
    EXPECT_EQ(0, m_disks->setRecordDirInfoList({dirOf(3, 3)}));
    m_disks->setDirPolicyThread();
    EXPECT_EQ(2, groups());  // the list taken while type 1 is all that changed
    m_disks->setDeviceId("NVR");
    EXPECT_EQ(1, m_disks->setRecordDirInfoList({}));
    EXPECT_EQ(0, groups());
}

TEST_F(RecordDiskManagerTest, RemovingAPolicyTouchesOnlyAKnownChannelAndStopForgetsThemAll) {
    RecordDiskManager::setRecordDevicePolicy(policyOf(1, 1).getRecordDeviceInfo(), 1, true, 0, false);
    ASSERT_TRUE(serveRecordDirs({dirOf(1, 1)}));
    ASSERT_EQ(1, policiesOf(1));
    EXPECT_EQ(0, RecordDiskManager::removeRecordDevicePolicy(policyOf(2, 1).getRecordDeviceInfo()));
    EXPECT_EQ(1, policiesOf(1));
    EXPECT_EQ(1, RecordDiskManager::getDeviceGroupId(policyOf(1, 1).getRecordDeviceInfo()));
    EXPECT_EQ(1, RecordDiskManager::removeRecordDevicePolicy(policyOf(1, 1).getRecordDeviceInfo()));
    EXPECT_EQ(0, policiesOf(1));
    EXPECT_EQ(-1, RecordDiskManager::getDeviceGroupId(policyOf(1, 1).getRecordDeviceInfo()));

    m_disks->setRecordDevicePolicy(policyOf(3, 1));
    m_disks->setDirPolicyThread();
    m_disks->stop();
    ASSERT_EQ(1, m_disks->start());
    std::vector<RecordDeviceDirPolicy> left;
    m_disks->getRecordDevicePolicyList(left);
    EXPECT_TRUE(left.empty());
    ASSERT_TRUE(serveRecordDirs({dirOf(1, 1)}));
    EXPECT_EQ(0, policiesOf(1));
    EXPECT_EQ(0, RecordDiskManager::formatDisk(nullptr, 0));
}

TEST_F(RecordDiskManagerTest, CreateRecordFileCodesAndAFailedFileGivesItsDiskBack) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    ASSERT_TRUE(serveRecordDirs({dirOf(1, 1)}));
    SafePointer<IRecordWriter> writer;
    SafePointer<IRecordDir> dir;
    SafePointer<RecordFileInfo> file = testFileOf(1, kDay0);
    EXPECT_EQ(-751, m_disks->createRecordFile(file, 0, 0, writer, dir));  // no policy
    m_disks->setRecordDevicePolicy(policyOf(1, 9));
    m_disks->setDirPolicyThread();
    EXPECT_EQ(-755, m_disks->createRecordFile(file, 0, 0, writer, dir));  // no group 9
    m_disks->setRecordDevicePolicy(policyOf(1, 1));
    m_disks->setDirPolicyThread();
    plan->failCreateDirAt(1);  // the date folder of the index cannot be made
    EXPECT_EQ(OV_RECORD_CREATE_INDEX_FAILED, m_disks->createRecordFile(file, 0, 0, writer, dir));
    EXPECT_TRUE(writer.isNull());
    EXPECT_EQ(0, m_disks->getDiskReferenceCount("sda"));
    ASSERT_EQ(0, m_disks->createRecordFile(file, 0, 0, writer, dir));
    EXPECT_FALSE(writer.isNull());
    EXPECT_EQ(dirOf(1, 1).getRecordRootDir(), dir->getRecordDirInfoEx().getRecordRootDir());
    EXPECT_EQ(1, m_disks->getDiskReferenceCount("sda"));
    m_disks->decreaseRecordDiskReference(file);
    EXPECT_EQ(0, m_disks->getDiskReferenceCount("sda"));
}

// The host's view: an entry without a root is never opened but still
// reported, and the per-disk view sums the partitions of a disk.
TEST_F(RecordDiskManagerTest, RefusedEntriesAreReportedAndPartitionsMergeByDisk) {
    std::vector<RecordDirInfo> host;
    for (char const* partition : {"sda1", "sda2", "sdb1", ""}) {
        RecordDirInfoEx info = dirOf(1, 1);
        info.setRecordRootDir(*partition == '\0' ? "" : m_root.path(partition));
        info.setFileSegmentSize(1 << 20);
        info.setUseableSpace(4LL << 20);  // three files of 1 MiB and the reserve
        if (*partition != '\0') fs::create_directories(info.getRecordRootDir());
        host.push_back(RecordDirInfoEx::changeToRecordDirInfo(info));
    }
    host[1].setUsableSpace(5);
    ASSERT_EQ(1, RecordDiskManager::setRecordDirInfoList(host));
    m_disks->setDirPolicyThread();
    std::vector<RecordDirInfo> listed;
    RecordDiskManager::getRecordDirInfoList(listed);
    ASSERT_EQ(4u, listed.size());
    EXPECT_EQ(m_root.path("sda1"), listed[0].getDiskName());
    EXPECT_EQ(std::string(), listed[3].getDiskName());  // the refused one, last
    std::vector<RecordDirInfo> merged;
    RecordDiskManager::getRecordDirInfoListEx(merged);
    ASSERT_EQ(2u, merged.size());
    EXPECT_EQ(std::string("disk0"), merged[0].getDiskName());
    EXPECT_EQ(9, merged[0].getUsableSpace());
    EXPECT_EQ(std::string("disk1"), merged[1].getDiskName());
    EXPECT_EQ(4, merged[1].getUsableSpace());
}

// Three channels on two small disks: both fill, the oldest files go through
// the recycle bin, every block is taken, and the number of record files on
// each disk stays that of its pool, each of the segment size.
TEST_F(RecordDiskManagerTest, TwoSmallDisksFillAndReclaimWhileEveryChannelRecords) {
    RecordDirInfoEx disks[2] = {dirOf(1, 1), dirOf(2, 1)};
    ASSERT_TRUE(serveRecordDirs({disks[0], disks[1]}));
    TSFrameQueue queue(1024 * 1024);
    std::vector<std::unique_ptr<RecordStorageTSImpl>> sessions;
    for (int camera = 1; camera <= 3; ++camera) {
        RecordInfo info;
        info.setDeviceId("NVR");
        info.setDeviceIP("10.0.0.7");
        info.setCameraId(camera);
        recordChannel(info);
        sessions.emplace_back(new RecordStorageTSImpl());
        ASSERT_EQ(0, sessions.back()->open(info, false));
        sessions.back()->setTSFrameQueue(&queue);
    }
    int binned = 0;
    for (int second = 0; second < 90; ++second) {
        for (auto& session : sessions) {
            TestBlock block(1, 1, (kDay0 + second) * 1000000, 8, static_cast<char>('A' + second % 26));
            ASSERT_EQ(0, session->write(0, &block.data)) << "second " << second;
        }
        for (RecordDirInfoEx const& disk : disks) {
            std::vector<long long> sizes;
            std::map<std::string, int> files = filesOn(disk, sizes);
            ASSERT_EQ(kPoolFiles, files["pool"] + files["bin"] + files["dated"]) << "second " << second;
            for (long long size : sizes) ASSERT_EQ(disk.getFileSegmentSize(), size);
            binned += files["bin"];
        }
    }
    for (auto& session : sessions) EXPECT_EQ(0, session->close());
    // 270 blocks, two to a file, on sixty files: the earliest were reclaimed.
    EXPECT_GT(binned, 0);
    std::string const first = "NVR_10.0.0.7_1_20240101120000.ts";
    for (RecordDirInfoEx const& disk : disks)
        for (auto const& entry : fs::recursive_directory_iterator(disk.getRecordRootDir() + "/record"))
            EXPECT_EQ(std::string::npos, entry.path().string().find(first)) << entry.path();
}

// A disk taken off the list while a channel records: its next files go to
// the disk left; a stop while recording refuses the next file, and what was
// written stays.
TEST_F(RecordDiskManagerTest, ADiskTakenOffTheListWhileRecordingAndAStop) {
    RecordDirInfoEx disks[2] = {dirOf(1, 1), dirOf(2, 1)};
    ASSERT_TRUE(serveRecordDirs({disks[0], disks[1]}));
    TSFrameQueue queue(1024 * 1024);
    RecordInfo info;
    info.setDeviceId("NVR");
    info.setDeviceIP("10.0.0.7");
    info.setCameraId(1);
    recordChannel(info);
    RecordStorageTSImpl session;
    ASSERT_EQ(0, session.open(info, false));
    session.setTSFrameQueue(&queue);
    auto write = [&](int second) {
        TestBlock block(1, 1, (kDay0 + second) * 1000000, 8, static_cast<char>('A' + second % 26));
        return session.write(0, &block.data);
    };
    auto dated = [&](RecordDirInfoEx const& disk) {
        std::vector<long long> sizes;
        return filesOn(disk, sizes)["dated"];
    };
    for (int second = 0; second < 4; ++second) ASSERT_EQ(0, write(second));
    int const used = dated(disks[0]) > 0 ? 0 : 1;
    int const before = dated(disks[used]);
    ASSERT_GT(before, 0);
    ASSERT_TRUE(serveRecordDirs({disks[1 - used]}));
    for (int second = 4; second < 12; ++second) ASSERT_EQ(0, write(second)) << second;
    EXPECT_EQ(before, dated(disks[used]));
    EXPECT_GE(dated(disks[1 - used]), 3);

    m_disks->stop();
    int code = 0;
    for (int second = 12; second < 16 && code == 0; ++second) code = write(second);
    EXPECT_NE(0, code);
    session.close();
    EXPECT_EQ(before, dated(disks[used]));
    EXPECT_GE(dated(disks[1 - used]), 3);
}

}  // namespace

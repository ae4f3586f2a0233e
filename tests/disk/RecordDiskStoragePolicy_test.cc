#include <gtest/gtest.h>

#include <filesystem>

#include "directory/HDDirWithIndex.h"
#include "disk/DeviceSequenceMapManager.h"
#include "disk/RecordDiskStoragePolicy.h"
#include "disk/RecordOtherStoragePolicy.h"
#include "foundation/StorageParameterManage.h"
#include "host/DiskStateManager.h"
#include "host/HostClock.h"
#include "host/HostPaths.h"
#include "tracking/RecordingMarkManager.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestRecording.h"

namespace {

namespace fs = std::filesystem;
constexpr long long kSegment = 4096;
constexpr long long kDay = 86400;
constexpr long long kNow = 1706698800LL;  // 2024-01-31 11:00:00 UTC

RecordDeviceDirPolicy policyOf(int camera, bool cycleWrite) {
    return RecordDeviceDirPolicy(testFileOf(camera, 0)->getRecordDeviceInfo(), cycleWrite, 1, 30, false);
}

// Three ready local directories on disks 1 to 3, each with room for
// `files` record files handed out (the pool keeps its top file; a tenth as
// many index files), and channels 1 to 4 in sequences 1, 2, 1, 2.
class StoragePolicyTest : public ::testing::Test {
protected:
    RecordingClock m_clock{kNow};

    void SetUp() override {
        DeviceSequenceMapManager::getInstance()->clear();
        for (int camera = 1; camera <= 4; ++camera)
            DeviceSequenceMapManager::getInstance()->updateDeviceSequence("NVR", camera, true);
    }
    void TearDown() override {
        m_dirs.clear();
        DeviceSequenceMapManager::getInstance()->clear();
        StorageParameterManage::getInstance()->resetStorageParameter();
        DiskStateManager::getInstance()->clear();
    }
    void makeDisks(int files, int referenceLimit = 16) {
        ASSERT_TRUE(m_root.writeFile("cfg/storageparam.ini", "DiskReferenceCountLimit=" + std::to_string(referenceLimit) + "\n"));
        fs::create_directories(HostPaths::getConfigDir());
        fs::copy_file(m_root.path("cfg/storageparam.ini"), HostPaths::getConfigDir() + "/storageparam.ini",
                      fs::copy_options::overwrite_existing);
        ASSERT_TRUE(StorageParameterManage::getInstance()->initStorageParameter());
        for (int disk = 1; disk <= 3; ++disk) {
            RecordDirInfoEx info;
            info.setRecordRootDir(m_root.path("hd" + std::to_string(disk)));
            info.setRecordDiskName("sd" + std::string(1, static_cast<char>('a' + disk - 1)) + "@" + std::to_string(disk));
            info.setEnableFlag(true);
            info.setFileSegmentSize(kSegment);
            info.setUseableSpace((files + 1) * kSegment * 100 / 95 + 1);
            fs::create_directories(info.getRecordRootDir());
            SafePointer<IRecordDir> dir(new HDDirWithIndex(info, 1, "NVR", 1));
            EXPECT_EQ(0, static_cast<HDDirWithIndex*>(dir.get())->detectDirStatus());
            ASSERT_TRUE(dir->isWritable());
            m_dirs.push_back(dir);
        }
    }
    template <typename Policy>
    void fill(Policy& policy, std::vector<RecordDeviceDirPolicy> const& policies) {
        for (SafePointer<IRecordDir> const& dir : m_dirs) policy.insertRecordDir(dir);
        policy.updateRecordDeviceDirPolicy(policies);
    }
    // Which disk (1 to 3) a camera's next file is placed on; 0 with the code in `code`.
    template <typename Policy>
    int place(Policy& policy, int camera, int* code = nullptr, SafePointer<RecordFileInfo>* out = nullptr) {
        SafePointer<RecordFileInfo> file = testFileOf(camera, kNow);
        SafePointer<IRecordDir> dir;
        int result = policy.getUsableDir(file, 0, dir);
        if (code != nullptr) *code = result;
        if (out != nullptr) *out = file;
        if (result != 0) return 0;
        for (size_t i = 0; i < m_dirs.size(); ++i)
            if (m_dirs[i].get() == dir.get()) return static_cast<int>(i) + 1;
        return -1;
    }
    // A real recording on every file each disk can hand out, oldest first.
    std::vector<SafePointer<RecordFileInfo>> recordUntilFull(long long begin) {
        std::vector<SafePointer<RecordFileInfo>> files;
        for (SafePointer<IRecordDir> const& dir : m_dirs)
            while (dir->hasFreeSpace()) files.push_back(recordTestFile(*dir, 1, begin += 60));
        return files;
    }
    static bool inBin(SafePointer<RecordFileInfo> const& file) {
        return fs::exists(file->getRecordDirInfoEx().getRecordRootDir() + "/record/recycleBin/" + file->getRecordFileName());
    }

    TempDir m_root;
    HostRootGuard m_host{m_root.path("host")};
    std::vector<SafePointer<IRecordDir>> m_dirs;
};

TEST_F(StoragePolicyTest, DualOrderPutsTheSecondHalfOnTheHighestDiskAndTheLimitIsAPreference) {
    makeDisks(10, 1);
    RecordDiskStoragePolicy policy;
    fill(policy, {});
    EXPECT_EQ(1, place(policy, 1));  // sequence 1: lowest disk first
    EXPECT_EQ(3, place(policy, 2));  // sequence 2: highest disk first
    EXPECT_EQ(2, place(policy, 3));  // disk 1 is at its limit of one writer
    EXPECT_EQ(1, policy.getDiskReference("1"));
    policy.disablePolicy();
    EXPECT_EQ(1, place(policy, 4));  // sequence 2 takes the lowest now; all at their limit, the first with room
}

TEST_F(StoragePolicyTest, AReferenceIsGivenBackOnceWhateverTheCalls) {
    makeDisks(10);
    RecordDiskStoragePolicy policy;
    fill(policy, {});
    SafePointer<RecordFileInfo> file;
    ASSERT_EQ(1, place(policy, 1, nullptr, &file));
    ASSERT_EQ(0, m_dirs[0]->createFile(file));
    EXPECT_EQ(1, policy.getDiskReference("1"));
    policy.decreaseRecordDiskReference(file);
    policy.decreaseRecordDiskReference(file);
    EXPECT_EQ(0, policy.getDiskReference("1"));
    SafePointer<RecordFileInfo> other;
    ASSERT_EQ(1, place(policy, 1, nullptr, &other));
    ASSERT_EQ(0, m_dirs[0]->createFile(other));
    policy.decreaseRecordDiskReference(file);  // the first file's reference went already
    EXPECT_EQ(1, policy.getDiskReference("1"));
}

// A full group: without cycle write -756 at once and nothing deleted; with
// it nothing either for the first 300 s; then the oldest date goes to the
// bin and recording goes on in a reclaimed file under its old number.
TEST_F(StoragePolicyTest, FullGroupReclaimsItsOldestDateOnlyForCycleWritersAndNotInTheFirstFiveMinutes) {
    makeDisks(20);
    std::vector<SafePointer<RecordFileInfo>> old = recordUntilFull(kNow - 3 * kDay);
    ASSERT_EQ(60u, old.size());
    RecordDiskStoragePolicy policy;
    fill(policy, {policyOf(1, true), policyOf(2, false)});
    int code = 0;
    EXPECT_EQ(0, place(policy, 2, &code));
    EXPECT_EQ(-756, code);
    EXPECT_EQ(0, place(policy, 1, &code));
    EXPECT_EQ(-761, code);
    HostClock::shift(299);
    EXPECT_EQ(0, place(policy, 1, &code));
    EXPECT_EQ(-761, code);
    for (SafePointer<RecordFileInfo> const& file : old) ASSERT_FALSE(inBin(file));
    HostClock::shift(2);
    SafePointer<RecordFileInfo> next;
    EXPECT_EQ(1, place(policy, 1, &code, &next));
    ASSERT_EQ(0, code);
    // Its only date is the newest: the oldest file goes, as each pool's last
    // empty file counts as useable, and one more can now be handed out.
    for (size_t i = 0; i < old.size(); ++i) EXPECT_EQ(i < 1, inBin(old[i])) << i;
    ASSERT_EQ(0, m_dirs[0]->createFile(next));
    EXPECT_TRUE(fs::exists(next->createRecordFileName()));
    bool reissued = old[0]->getFileNumber() == next->getFileNumber();
    EXPECT_TRUE(reissued);
}

// Disks full of today, the newest on disk 1, and two files of yesterday on
// disk 2: yesterday goes whole, then today's oldest unlocked files across
// all disks, only as many as make one useable file per policy (seven: three
// pools' last files, yesterday's two, two of today).
TEST_F(StoragePolicyTest, ForegroundTakesOlderDatesWholeThenTodaysOldestAcrossAllDisks) {
    makeDisks(6);
    long long const today = kNow - 11 * 3600 + 3600;
    long long begin = today;
    int camera = 0;
    auto next = [&](size_t disk, bool lock = false) {
        camera = camera % 4 + 1;
        return recordTestFile(*m_dirs[disk], camera, begin += 60, lock);
    };
    SafePointer<RecordFileInfo> locked = next(2, true);
    std::vector<SafePointer<RecordFileInfo>> todays;
    while (m_dirs[2]->hasFreeSpace()) todays.push_back(next(2));
    std::vector<SafePointer<RecordFileInfo>> yesterdays = {recordTestFile(*m_dirs[1], 1, today - kDay),
                                                          recordTestFile(*m_dirs[1], 2, today - kDay + 60)};
    for (size_t disk : {1, 0})
        while (m_dirs[disk]->hasFreeSpace()) todays.push_back(next(disk));
    ASSERT_EQ(15u, todays.size());
    RecordDiskStoragePolicy policy;
    std::vector<RecordDeviceDirPolicy> policies;
    for (int channel = 1; channel <= 7; ++channel) policies.push_back(policyOf(channel, true));
    fill(policy, policies);
    int code = 0;
    ASSERT_EQ(0, place(policy, 1, &code));
    ASSERT_EQ(-761, code);
    HostClock::shift(301);
    EXPECT_NE(0, place(policy, 1, &code));
    EXPECT_EQ(0, code);
    for (SafePointer<RecordFileInfo> const& file : yesterdays) EXPECT_TRUE(inBin(file));
    EXPECT_FALSE(inBin(locked));
    for (size_t i = 0; i < todays.size(); ++i) EXPECT_EQ(i < 2, inBin(todays[i])) << i;
}

// Nothing of today may go (locked, and the last file being recorded): the
// clean ends, the channel gets -756.
TEST_F(StoragePolicyTest, ForegroundGivesUpWhenTodayHoldsOnlyLockedAndGrowingFiles) {
    makeDisks(2);
    std::vector<SafePointer<RecordFileInfo>> files;
    long long begin = kNow - 3600;
    for (SafePointer<IRecordDir> const& dir : m_dirs)
        while (dir->hasFreeSpace()) files.push_back(recordTestFile(*dir, 1, begin += 60, true));
    ASSERT_EQ(1, m_dirs[2]->deleteFile(files.back()));
    files.back() = recordTestFile(*m_dirs[2], 2, begin += 60);
    ASSERT_FALSE(m_dirs[2]->hasFreeSpace());
    RecordingMarkManager::getInstance()->addMark(files.back()->getDeviceDirName(), files.back()->getRecordDate());
    RecordDiskStoragePolicy policy;
    fill(policy, {policyOf(1, true), policyOf(2, true)});
    int code = 0;
    place(policy, 1, &code);
    HostClock::shift(301);
    EXPECT_EQ(0, place(policy, 1, &code));
    EXPECT_EQ(-756, code);
    RecordingMarkManager::getInstance()->delMark(files.back()->getDeviceDirName());
    for (SafePointer<RecordFileInfo> const& file : files) EXPECT_FALSE(inBin(file));
}

// Today alone on disk: the sweep cuts it in slices of a quarter of the day
// so far (now 11:00, first cut 05:30) and stops once there is room.
TEST_F(StoragePolicyTest, BackgroundSweepCutsALoneDateInQuartersAndStopsWithRoom) {
    makeDisks(20);
    long long const midnight = kNow - 11 * 3600;
    std::vector<SafePointer<RecordFileInfo>> files;
    long long begin = midnight + 3600;
    for (SafePointer<IRecordDir> const& dir : m_dirs)
        for (; dir->hasFreeSpace(); begin += 600) files.push_back(recordTestFile(*dir, 1, begin));
    RecordDiskStoragePolicy policy;
    fill(policy, {policyOf(1, true)});
    EXPECT_EQ(1, policy.cleanSpace(m_dirs));
    for (SafePointer<RecordFileInfo> const& file : files)
        EXPECT_EQ(file->getRecordBeginTime() < midnight + 5 * 3600 + 1800, inBin(file)) << file->getRecordFileName();
}

TEST_F(StoragePolicyTest, OtherPolicyRotatesAndReclaimsTheOldestUnlockedFileOfTheGroup) {
    makeDisks(20);
    RecordOtherStoragePolicy policy(1);
    fill(policy, {policyOf(1, true)});
    EXPECT_EQ(1, place(policy, 1));
    EXPECT_EQ(2, place(policy, 1));
    EXPECT_EQ(3, place(policy, 1));
    EXPECT_EQ(1, place(policy, 1));
    SafePointer<RecordFileInfo> locked = recordTestFile(*m_dirs[1], 1, kNow - 5 * kDay, true);
    std::vector<SafePointer<RecordFileInfo>> rest = recordUntilFull(kNow - 4 * kDay);
    int code = 0;
    EXPECT_EQ(1, place(policy, 1, &code));
    EXPECT_EQ(0, code);
    EXPECT_FALSE(inBin(locked));
    EXPECT_TRUE(inBin(rest[0]));
    EXPECT_FALSE(inBin(rest[1]));
}

}  // namespace

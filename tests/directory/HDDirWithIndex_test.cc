#include "directory/HDDirWithIndex.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>

#include "disk/DataVersionInfoManager.h"
#include "disk/IRecordServiceListenerManager.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/DiskStateManager.h"
#include "host/HostClock.h"
#include "host/HostPaths.h"
#include "index/RecordIndexFileParserEx.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestRecording.h"
#include "tracking/RecordingMarkManager.h"

namespace {

namespace fs = std::filesystem;
constexpr long long kSegment = 4096;
constexpr long long kDay = 1704110400;  // 2024-01-01 12:00 UTC

// Keeps the minor type of every disk alarm handed over.
class AlarmLog : public IRecordServiceListenerManager {
public:
    void addListener(IAlarmListenerEx*) override {}
    void clear() override { m_types.clear(); }
    int handleMessage(AlarmInfoEx& alarm) override {
        m_types.push_back(alarm.getMinorType());
        return 0;
    }
    std::vector<int> m_types;
};

// A directory on sda1 of a temporary root whose disk is the plan's: room
// for `files` record files of 4 KiB (the pool's top one never handed out).
class HDDirWithIndexTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        m_info.setRecordRootDir(m_root.root() + "/sda1");
        m_info.setRecordDiskName("sda1");
        m_info.setDiskType(1);
        m_info.setEnableFlag(true);
        m_info.setFileSegmentSize(kSegment);
        room(40);
        fs::create_directories(m_info.getRecordRootDir());
    }
    void TearDown() override {
        m_dir.reset();
        HostClock::reset();
        DiskStateManager::getInstance()->clear();
        DataVersionInfoManager::getInstance()->setChannelAbility(0);
    }
    // The useable space that gives `files` files after the 5 % kept back.
    void room(long long files) { m_info.setUseableSpace(files * kSegment * 100 / 95 + 1); }
    HDDirWithIndex& open() {
        m_dir.reset();
        m_dir.reset(new HDDirWithIndex(m_info, 1, "NVR", 1));
        m_dir->setDiskStatusListener(m_alarmOwner);
        m_alarms->m_types.clear();
        return *m_dir;
    }
    HDDirWithIndex& ready() {
        open();
        EXPECT_EQ(0, m_dir->detectDirStatus());
        EXPECT_TRUE(m_dir->isWritable());
        return *m_dir;
    }
    // A new file for a camera at kDay + second.
    int create(int camera, int second, SafePointer<RecordFileInfo>* out = nullptr) {
        SafePointer<RecordFileInfo> file(new RecordFileInfo());
        file->setRecordDirInfoEx(m_info);
        file->setDeviceId("NVR");
        file->setDeviceIP("10.0.0.7");
        file->setCameraId(camera);
        file->setRecordDate("2024-01-01");
        file->setRecordBeginTime(kDay + second);
        m_dir->setDeviceRequetType(file->getRecordDeviceInfo(), FileRequestNew);
        int code = m_dir->createFile(file);
        if (out != nullptr) *out = file;
        return code;
    }
    // Number -> where each record file of the tree lies: the pool, the bin
    // or a date folder. A number found twice is kept as "twice".
    std::map<int, std::string> tree() const {
        std::map<int, std::string> found;
        for (auto const& entry : fs::recursive_directory_iterator(m_info.getRecordRootDir() + "/record")) {
            std::string const name = entry.path().filename();
            std::string const folder = entry.path().parent_path().filename();
            if (!entry.is_regular_file() || name == "filling" || folder == "Index") continue;
            int number = -1;
            if (folder == "empty") number = std::stoi(name.substr(name.rfind('_') + 1));
            else if (name.find(".ts") != std::string::npos) number = std::stoi(name);
            else continue;
            std::string& place = found[number];
            place = place.empty() ? folder : "twice";
        }
        return found;
    }
    // Every number from 1 to `count` once, none beside.
    static void expectEveryNumberOnce(std::map<int, std::string> const& found, int count) {
        EXPECT_EQ(static_cast<size_t>(count), found.size());
        for (int n = 1; n <= count; ++n) {
            ASSERT_EQ(1u, found.count(n)) << n;
            EXPECT_NE("twice", found.at(n)) << n;
        }
    }

    HostRootGuard m_root;
    std::shared_ptr<FaultPlan> m_plan = std::make_shared<FaultPlan>();
    FaultInjection m_faults{m_plan};
    RecordDirInfoEx m_info;
    AlarmLog* m_alarms = new AlarmLog();  // owned by m_alarmOwner
    SafePointer<IRecordServiceListenerManager> m_alarmOwner{m_alarms};
    std::unique_ptr<HDDirWithIndex> m_dir;
};

TEST_F(HDDirWithIndexTest, DiskThatVanishesGoesNotReadyAlarmsOnceAndComesBackWhole) {
    HDDirWithIndex& dir = ready();
    EXPECT_EQ(1, DiskStateManager::getInstance()->getPreallocateFinishCount(m_info.getRecordRootDir() + "/record"));
    SafePointer<RecordFileInfo> first;
    ASSERT_EQ(0, create(1, 0, &first));
    std::string const bytes(kSegment, 'A');
    { std::ofstream(first->createRecordFileName(), std::ios::binary | std::ios::in) << bytes; }
    ASSERT_EQ(0, create(2, 0));

    m_plan->vanish();
    EXPECT_EQ(-1, dir.detectDirStatus());
    EXPECT_EQ(-1, dir.detectDirStatus());
    EXPECT_FALSE(dir.isWritable());
    EXPECT_FALSE(dir.hasFreeSpace());
    EXPECT_EQ(OV_RECORD_DIR_NOT_READY, create(1, 10));
    int total = 0, free = 0;
    EXPECT_EQ(-6, dir.getDirFileNumber(total, free));
    EXPECT_EQ(3, dir.getRecordDirInfoEx().getStatus());
    EXPECT_EQ((std::vector<int>{1, 5}), m_alarms->m_types);

    m_plan->restore();
    EXPECT_EQ(0, dir.detectDirStatus());
    EXPECT_TRUE(dir.isWritable());
    EXPECT_EQ(1, dir.getRecordDirInfoEx().getStatus());
    EXPECT_EQ((std::vector<int>{1, 5, 1}), m_alarms->m_types);
    EXPECT_EQ(bytes, TempDir::readWhole(first->createRecordFileName()));
    ASSERT_EQ(0, create(1, 10));
    ASSERT_EQ(0, create(3, 20));
    std::map<int, std::string> found = tree();
    expectEveryNumberOnce(found, 40);
    int handedOut = 0;
    for (auto const& entry : found) handedOut += entry.second == "2024-01-01";
    EXPECT_EQ(4, handedOut);
    EXPECT_EQ(0, dir.getDirFileNumber(total, free));
    EXPECT_EQ(40, total);
    EXPECT_EQ(36, free);
}

// What a run left is read back as it was: the pool, the bin and the
// numbering; a power cut at any step of handing out a file loses no number
// and gives none twice.
TEST_F(HDDirWithIndexTest, TreeLeftByAnEarlierRunIsRebuiltAfterARestartOrAPowerCut) {
    ready();
    SafePointer<RecordFileInfo> gone;
    ASSERT_EQ(0, create(1, 0, &gone));
    ASSERT_EQ(0, create(1, 60));
    m_dir->deleteFile(gone);
    std::map<int, std::string> before = tree();
    EXPECT_EQ("recycleBin", before.at(gone->getFileNumber()));
    EXPECT_EQ(39 * kSegment, m_dir->getFreeSize());

    ready();
    EXPECT_EQ(before, tree());
    int total = 0, free = 0;
    EXPECT_EQ(0, m_dir->getDirFileNumber(total, free));
    EXPECT_EQ(40, total);
    EXPECT_EQ(39, free);

    for (int cut = 1; cut <= 12; ++cut) {
        m_plan->powerCutAtCall(cut);
        create(2, 100 + cut);
        bool const fired = m_plan->hasPowerCutFired();
        m_plan->restore();
        ready();
        expectEveryNumberOnce(tree(), 40);
        if (!fired) break;
    }
}

TEST_F(HDDirWithIndexTest, LostFileLeavesTheIndexAndAMissingDiskRefuses) {
    ready();
    SafePointer<RecordFileInfo> file = recordTestFile(*m_dir, 1, kDay);
    SafePointer<RecordFileInfo> kept = recordTestFile(*m_dir, 1, kDay + 10);
    auto indexed = [&](SafePointer<RecordFileInfo> const& f) {
        RecordIndexFileParserEx index;
        SafePointer<RecordFileInfo> entry;
        EXPECT_EQ(1, index.open(m_info, f->getRecordDate(), f->getDeviceDirName(), 0, 0));
        return index.getRecordFileInfoByFileName(f->getRecordFileName().c_str(), entry) == 1;
    };
    ASSERT_TRUE(indexed(file));
    fs::remove(file->createRecordFileName());
    EXPECT_EQ(0, m_dir->deleteFile(file));
    EXPECT_EQ(0u, tree().count(file->getFileNumber()));
    EXPECT_FALSE(indexed(file));
    EXPECT_TRUE(indexed(kept));

    m_info.setRecordRootDir(m_root.root() + "/sdb1");
    open();
    EXPECT_EQ(-1, m_dir->detectDirStatus());
    EXPECT_EQ(OV_RECORD_DIR_NOT_READY, create(1, 0));
    EXPECT_EQ(3, m_dir->getRecordDirInfoEx().getStatus());
}

// Reclaiming may reach a day's newest file; while a recording writes it,
// it stays where it is.
TEST_F(HDDirWithIndexTest, TheFileBeingRecordedIsNeverTakenOutOfService) {
    ready();
    SafePointer<RecordFileInfo> done = recordTestFile(*m_dir, 1, kDay);
    SafePointer<RecordFileInfo> growing = recordTestFile(*m_dir, 1, kDay + 10);
    RecordingMarkManager::getInstance()->addMark(growing->getDeviceDirName(), growing->getRecordDate());
    EXPECT_EQ(0, m_dir->deleteFile(growing));
    EXPECT_EQ(growing->getRecordDate(), tree().at(growing->getFileNumber()));
    EXPECT_EQ(1, m_dir->deleteFile(done));
    RecordingMarkManager::getInstance()->delMark(growing->getDeviceDirName());
    EXPECT_EQ(1, m_dir->deleteFile(growing));
    EXPECT_EQ("recycleBin", tree().at(growing->getFileNumber()));
}

// A file handed out and not yet opened by its writer is a recording's all
// the same: reclaimed, its writer would make a new file of its number beside
// the one the bin hands out again.
TEST_F(HDDirWithIndexTest, FileHandedOutBeforeItsWriterOpensIsNotReclaimed) {
    room(10);
    ready();
    std::vector<RecordDeviceDirPolicy> const all;
    std::function<void()> const passes[] = {
        [&] { m_dir->deleteEarliestDateFile(all, "2024-01-01", -1); },
        [&] { m_dir->deleteSpecialTimeSegmentFile(all, "2024-01-01", kDay + 86400); },
    };
    int camera = 0;
    for (auto const& pass : passes) {
        SafePointer<RecordFileInfo> file;
        ASSERT_EQ(0, create(++camera, 0, &file));
        pass();
        EXPECT_EQ("2024-01-01", tree().at(file->getFileNumber())) << camera;
        EXPECT_TRUE(fs::exists(file->createRecordFileName())) << camera;
        RecordingMarkManager::getInstance()->delMark(file->getDeviceDirName());
    }
    expectEveryNumberOnce(tree(), 10);
}

TEST_F(HDDirWithIndexTest, LastPoolFileIsKeptWhenTheBinIsEmpty) {
    room(10);
    ready();
    for (int i = 0; i < 9; ++i) ASSERT_EQ(0, create(1, i * 60)) << i;
    EXPECT_FALSE(m_dir->hasFreeSpace());
    RecordingMarkManager::getInstance()->delMark("NVR_10.0.0.7_1");
    EXPECT_EQ(OV_RECORD_HD_NO_FILE, create(1, 600));
    EXPECT_FALSE(RecordingMarkManager::getInstance()->isExistMark("NVR_10.0.0.7_1", "2024-01-01"));
    EXPECT_EQ("empty", tree().at(10));
}

TEST_F(HDDirWithIndexTest, LostPoolWithThousandRecordsGetsATopFileAboveThem) {
    std::string const date = m_info.getRecordRootDir() + "/record/NVR_10.0.0.7_9/2024-01-01";
    fs::create_directories(date);
    for (int n = 1; n <= 1000; ++n) std::ofstream(date + "/" + std::to_string(100000 + n) + ".ts");
    room(1003);
    ready();
    std::map<int, std::string> found = tree();
    EXPECT_EQ("empty", found.at(1001));
    EXPECT_EQ("empty", found.at(1003));
    SafePointer<RecordFileInfo> file;
    ASSERT_EQ(0, create(1, 0, &file));
    EXPECT_LE(1001, file->getFileNumber());
}

// Useable space 0: the files follow from the disk's free space. The disk
// takes only the index pool, so nothing of that size is written.
TEST_F(HDDirWithIndexTest, NoUseableSpaceCountsFilesFromTheFreeSpace) {
    constexpr long long kBig = 1LL << 30;
    m_info.setFileSegmentSize(kBig);
    m_info.setUseableSpace(0);
    long long totalMiB = 0, usedMiB = 0;
    ASSERT_EQ(0, DiskManagerFactory::getDiskManager(1, 0)->getDiskSpace(m_root.root().c_str(), totalMiB, usedMiB));
    long long const expected = ((totalMiB - usedMiB) << 20) * 95 / 100 / kBig;
    m_plan->setDiskFullAfter((expected / 10 + 1) * IndexDirManager::kIndexFileSize);
    ready();
    int total = 0, free = 0;
    EXPECT_EQ(0, m_dir->getDirFileNumber(total, free));
    EXPECT_NEAR(expected, total, 1);
    EXPECT_EQ(total, free);
}

TEST_F(HDDirWithIndexTest, RepeatedAlarmWaitsForTheIntervalOfUpTime) {
    struct Case {
        int interval;
        bool enabled;
        std::vector<int> alarms;
    } const cases[] = {{0, true, {5}}, {60, true, {5, 5, 5}}, {60, false, {5}}};
    // Frozen, so that the second repeat lands on the interval exactly.
    HostClock::freeze();
    for (Case const& c : cases) {
        HDDirWithIndex& dir = ready();
        dir.setDiskAlarmInterval(c.interval);
        m_alarms->m_types.clear();
        RecordDirInfoEx info = dir.getRecordDirInfoEx();
        info.setEnableFlag(c.enabled);
        dir.setRecordDirInfoEx(info);
        m_plan->vanish();
        dir.detectDirStatus();
        HostClock::shift(59);
        dir.detectDirStatus();
        HostClock::shift(1);
        dir.detectDirStatus();
        HostClock::shift(60);
        dir.detectDirStatus();
        EXPECT_EQ(c.alarms, m_alarms->m_types) << c.interval << " " << c.enabled;
        m_plan->restore();
    }
}

// A disk of a data layout this system can't record on stays not ready and
// raises the alarm of its version status; a readable one of a known layout
// records.
TEST_F(HDDirWithIndexTest, DiskOfAnUnusableDataVersionStaysNotReadyAndAlarms) {
    auto xml = [](char const* version, char const* compatible) {
        std::string known;
        if (compatible != nullptr)
            known = std::string("<DataVersion><Value Value=\"") + version +
                    "\"/><MaxAccessAbility Value=\"64\"/><CompatibleDataVersion Value=\"" + compatible +
                    "\"/></DataVersion>";
        return std::string("<?xml version=\"1.0\"?>\n<DataVersionInfoConfigure><CurrentDataVersion Value=\"") +
               version + "\" MaxAccessAbility=\"64\"/>" + known + "</DataVersionInfoConfigure>\n";
    };
    struct Case {
        std::string file;  // empty: this system's own
        int channels;
        std::vector<int> alarms;  // 1 when it became ready
    } const cases[] = {
        {xml("3.0", nullptr), 0, {10}},    {"", 64, {11}},   {xml("0.5", nullptr), 0, {9}},
        {"<DataVersionInfoConfigure>", 0, {}}, {xml("1.0", nullptr), 16, {1}}, {xml("3.0", "2.0"), 0, {1}},
        {"", 32, {1}}};
    std::string const log = HostPaths::getLogDir() + "/recordDir.log";
    std::string const record = m_info.getRecordRootDir() + "/record";
    fs::create_directories(record);
    for (Case const& c : cases) {
        if (c.file.empty())
            ASSERT_TRUE(DataVersionInfoManager::getInstance()->updateDiskDataVersionInfo(record));
        else
            std::ofstream(record + "/DiskDataVersionInfo.xml") << c.file;
        DataVersionInfoManager::getInstance()->setChannelAbility(c.channels);
        size_t const logged = TempDir::readWhole(log).size();
        open().setDiskAlarmInterval(60);  // a repeat of "no alarm" would go out
        bool const good = c.alarms == std::vector<int>{1};
        EXPECT_EQ(good ? 0 : -1, m_dir->detectDirStatus()) << c.file;
        EXPECT_EQ(good, m_dir->isWritable());
        EXPECT_EQ(good ? 1 : 2, m_dir->getRecordDirInfoEx().getStatus());
        EXPECT_EQ(c.alarms, m_alarms->m_types) << c.file;
        EXPECT_EQ(!good, TempDir::readWhole(log).find("checkDataVersion failed", logged) != std::string::npos);
    }
}

// An SD card alarms when its record files pass the threshold of its total,
// once per threshold.
TEST_F(HDDirWithIndexTest, SdCardAlarmsOncePerThreshold) {
    constexpr long long kBig = 1LL << 30;
    m_info.setDiskType(2);
    m_info.setFileSegmentSize(kBig);
    m_plan->setDiskFullAfter(4 * IndexDirManager::kIndexFileSize);
    HDDirWithIndex& dir = ready();
    RecordDirSpaceInfo space;
    ASSERT_EQ(1, dir.getRecordDirSpaceInfo(space));
    EXPECT_EQ(space.getTotalSpace() - HDDirWithIndex::kSdCardReserve, dir.getRecordDirInfoEx().getUseableSpace());
    long long const files = space.getTotalSpace() * 80 / 100 / kBig + 1;
    std::string const date = m_info.getRecordRootDir() + "/record/NVR_10.0.0.7_1/2024-01-01";
    fs::create_directories(date);
    for (long long n = 0; n < files; ++n) std::ofstream(date + "/" + std::to_string(100000 + n) + ".ts");
    m_alarms->m_types.clear();
    for (int threshold : {0, 80, 80, 70, 95}) {
        RecordDirInfoEx info = dir.getRecordDirInfoEx();
        info.setAlarmThreshold(threshold);
        dir.setRecordDirInfoEx(info);
        EXPECT_EQ(0, dir.detectDirSpace());
    }
    EXPECT_EQ((std::vector<int>{6, 6}), m_alarms->m_types);
}

TEST_F(HDDirWithIndexTest, StatusThreadMakesTheDirectoryReady) {
    open();
    EXPECT_EQ(OV_RECORD_DIR_NOT_READY, create(1, 0));
    EXPECT_EQ(1, m_dir->startDetectionThread());
    for (int i = 0; i < 1000 && !m_dir->isWritable(); ++i) usleep(10000);
    ASSERT_TRUE(m_dir->isWritable());
    EXPECT_EQ(0, create(1, 0));
    m_dir->stopDetectionThread();
    EXPECT_FALSE(m_dir->isWritable());
}

}  // namespace

#include "directory/EmptyDirManager.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <set>

#include "directory/EmptyDirStat.h"
#include "foundation/StorageParameterManage.h"
#include "host/HostPaths.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"

namespace {

namespace fs = std::filesystem;
constexpr long long kSize = 16384;

unsigned long long inode(std::string const& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_ino : 0;
}

// Pools on real folders of a temporary disk sda1, device id "NVR".
class EmptyDirManagerTest : public ::testing::Test {
protected:
    void TearDown() override { StorageParameterManage::getInstance()->resetStorageParameter(); }

    std::unique_ptr<EmptyDirManager> pool(int diskType = 1, int maxFiles = 0) {
        std::unique_ptr<EmptyDirManager> made(new EmptyDirManager(kSize, diskType, m_strRecord, "NVR", 1, 16));
        EXPECT_EQ(1, made->init(0));
        made->setMaxFileNumber(maxFiles);
        return made;
    }
    void put(std::string const& name) const { std::ofstream(m_strPool + "/" + name) << "x"; }
    std::set<std::string> names() const {
        std::set<std::string> found;
        for (auto const& entry : fs::directory_iterator(m_strPool)) found.insert(entry.path().filename());
        return found;
    }
    // A request of camera 1 on 2024-01-01, its date folder made as the index side makes it.
    SafePointer<RecordFileInfo> request() const {
        SafePointer<RecordFileInfo> file(new RecordFileInfo());
        RecordDirInfoEx dir;
        dir.setRecordRootDir(m_root.root() + "/sda1");
        file->setRecordDirInfoEx(dir);
        file->setDeviceId("NVR");
        file->setDeviceIP("10.0.0.7");
        file->setCameraId(1);
        file->setRecordDate("2024-01-01");
        file->setRecordBeginTime(1704110400);
        fs::create_directories(file->getDateDir());
        return file;
    }

    HostRootGuard m_root;
    std::string m_strRecord = m_root.root() + "/sda1/record";
    std::string m_strPool = m_strRecord + "/empty";
};

// Map {1, 2}, max id 2: the first request gets 1 by a rename, the top file
// stays, the next request gets nothing.
TEST_F(EmptyDirManagerTest, FilledPoolGivesEveryFileButTheTopOneByRename) {
    std::unique_ptr<EmptyDirManager> empty = pool(1, 2);
    EXPECT_EQ(1, empty->allocRecordSpace());
    EXPECT_EQ((std::set<std::string>{"NVR_00001", "NVR_00002"}), names());
    EXPECT_EQ(kSize, static_cast<long long>(fs::file_size(m_strPool + "/NVR_00002")));
    EXPECT_FALSE(empty->isCreatingEmptyFile());
    EXPECT_EQ(0, empty->createEmptyFile(1));  // below max id: no hole is filled
    EXPECT_EQ(2 * kSize, empty->getTotalFileSize());

    unsigned long long before = inode(m_strPool + "/NVR_00001");
    SafePointer<RecordFileInfo> file = request();
    ASSERT_EQ(1, empty->createFileEx(file));
    EXPECT_EQ(1, file->getFileNumber());
    EXPECT_EQ("00001-NVR_10.0.0.7_1_20240101120000.ts", file->getRecordFileName());
    EXPECT_EQ(before, inode(file->createRecordFileName()));
    EXPECT_EQ(kSize, static_cast<long long>(fs::file_size(file->createRecordFileName())));
    EXPECT_EQ(0, empty->createFileEx(file));
    EXPECT_FALSE(empty->hasFreeSpace());
    EXPECT_EQ((std::set<std::string>{"NVR_00002"}), names());
    EXPECT_EQ(0, empty->allocRecordSpace());  // max file number reached: one file, none to give
}

// On an SD card a file of another prefix is deleted at init; on a hard disk
// it is handed out, unnumbered. Names that don't parse stay on both.
TEST_F(EmptyDirManagerTest, ForeignPrefixesGoOnCardsAndServeUnnumberedOnDisks) {
    struct Case {
        int diskType;
        bool foreignKept;
        int given;
        int number;
    } const cases[] = {{2, false, 0, 0}, {1, true, 1, -1}};
    for (Case const& c : cases) {
        SCOPED_TRACE(c.diskType);
        fs::remove_all(m_strRecord);
        fs::create_directories(m_strPool);
        for (char const* name : {"CAM_7", "NVR_00009", "junk", "NVR_x", "a_b_1", "NVR_"}) put(name);
        std::unique_ptr<EmptyDirManager> empty = pool(c.diskType);
        EXPECT_EQ(c.foreignKept, names().count("CAM_7") == 1);
        EXPECT_EQ(9, empty->getMaxFileId());
        SafePointer<RecordFileInfo> file = request();
        ASSERT_EQ(c.given, empty->createFileEx(file));
        if (c.given == 0) continue;
        EXPECT_EQ(c.number, file->getFileNumber());
        EXPECT_TRUE(fs::exists(file->getDateDir() + "/NVR_10.0.0.7_1_20240101120000.ts"));
        EXPECT_EQ((std::set<std::string>{"NVR_00009", "junk", "NVR_x", "a_b_1", "NVR_"}), names());
    }
}

// RecordFileUseMode -1 hands files out in random order, each once, never the top.
TEST_F(EmptyDirManagerTest, RandomUseModeGivesEachFileOnceNeverTheTop) {
    fs::create_directories(HostPaths::getConfigDir());
    std::ofstream(StorageParameterManage::getConfigFileName()) << "RecordFileUseMode=-1\n";
    ASSERT_TRUE(StorageParameterManage::getInstance()->initStorageParameter());
    std::unique_ptr<EmptyDirManager> empty = pool(1, 30);
    ASSERT_EQ(29, empty->allocRecordSpace());
    std::vector<int> given;
    for (int call = 0; call < 2000 && empty->hasFreeSpace(); ++call) {
        SafePointer<RecordFileInfo> file = request();
        file->setRecordBeginTime(1704110400 + call);
        if (empty->createFileEx(file) == 1) given.push_back(file->getFileNumber());
    }
    ASSERT_EQ(29u, given.size());
    EXPECT_EQ(29u, std::set<int>(given.begin(), given.end()).size());
    EXPECT_FALSE(std::is_sorted(given.begin(), given.end()));
    EXPECT_EQ((std::set<std::string>{"NVR_00030"}), names());
}

// The disk fills in the fourth file: the fill stops at three whole files and
// leaves no part of the fourth. A restart goes on from 4; a part its clean-up
// could not delete is no pool file, and the next init removes it. A stopped
// fill makes nothing.
TEST_F(EmptyDirManagerTest, FillThatRunsOutOfDiskStopsCleanAndARestartGoesOn) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    plan->setDiskFullAfter(3 * kSize + kSize / 2);
    std::unique_ptr<EmptyDirManager> empty = pool(1, 6);
    EXPECT_EQ(2, empty->allocRecordSpace());
    EXPECT_FALSE(empty->isCreatingEmptyFile());
    EXPECT_EQ((std::set<std::string>{"NVR_00001", "NVR_00002", "NVR_00003"}), names());

    plan->setDiskFull(false);
    plan->setDiskFullAfter(kSize + kSize / 2);
    plan->failDeleteAt(2);  // the first goes to a part left by an older run
    empty = pool(1, 6);
    EXPECT_EQ(3, empty->getMaxFileId());
    EXPECT_EQ(3, empty->allocRecordSpace());
    EXPECT_EQ((std::set<std::string>{"NVR_00001", "NVR_00002", "NVR_00003", "NVR_00004", "filling"}), names());

    plan->setDiskFull(false);
    plan->setDiskFullAfter(-1);
    empty = pool(1, 6);
    empty->stopEmptyFileCreate();
    EXPECT_EQ(0, empty->allocRecordSpace());
    EXPECT_TRUE(empty->isCreatingEmptyFile());
    empty->startEmptyFileCreate();
    EXPECT_EQ(5, empty->allocRecordSpace());
    EXPECT_EQ(6, empty->getMaxFileId());
    std::set<std::string> made = names();
    EXPECT_EQ(6u, made.size());
    for (std::string const& name : made) EXPECT_EQ(kSize, static_cast<long long>(fs::file_size(m_strPool + "/" + name)));
}

// A fill, a file handed out and a new top file survive a power cut; a file
// whose folder could not be synced went back to the pool, and the next was
// given. A pool folder that can't be made fails init.
TEST_F(EmptyDirManagerTest, FilledAndHandedOutFilesSurviveAPowerCut) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    std::unique_ptr<EmptyDirManager> empty = pool(1, 3);
    ASSERT_EQ(2, empty->allocRecordSpace());
    plan->powerCut();
    EXPECT_EQ((std::set<std::string>{"NVR_00001", "NVR_00002", "NVR_00003"}), names());
    SafePointer<RecordFileInfo> file = request();
    plan->failSyncDirAt(1);
    ASSERT_EQ(1, empty->createFileEx(file));
    EXPECT_EQ(2, file->getFileNumber());
    plan->powerCut();
    EXPECT_TRUE(fs::exists(file->createRecordFileName()));
    EXPECT_EQ((std::set<std::string>{"NVR_00001", "NVR_00003"}), names());
    ASSERT_EQ(1, empty->createEmptyFile(4));
    plan->powerCut();
    EXPECT_EQ((std::set<std::string>{"NVR_00001", "NVR_00003", "NVR_00004"}), names());

    fs::remove_all(m_strPool);
    plan->failCreateDirAt(1);
    EXPECT_EQ(0, EmptyDirManager(kSize, 1, m_strRecord, "NVR", 1, 16).init(0));
}

// Renumbering closes numbers up below a maximum, order kept, other prefixes
// untouched; the valid list leaves out each prefix's top file.
TEST_F(EmptyDirManagerTest, StatRenumbersDownInOrderAndListsAllButTheTops) {
    fs::create_directories(m_strPool);
    for (char const* name : {"NVR_00002", "NVR_00009", "NVR_5", "CAM_4", "NVR_x", "NVR2_1"}) put(name);
    EmptyDirStat stat(1, m_strPool);
    std::vector<std::string> list;
    int total = 0;
    EXPECT_EQ(0, stat.getMaxFileId("NVR"));  // no disk manager before init
    ASSERT_EQ(1, stat.init(0));
    EXPECT_EQ(3, stat.getEmptyFileList("NVR", list));
    EXPECT_EQ((std::vector<std::string>{"NVR_00002", "NVR_5", "NVR_00009"}), list);
    EXPECT_EQ(9, stat.getMaxFileId("NVR"));
    EXPECT_FALSE(stat.updateMaxFileId("NVR", 2));
    EXPECT_TRUE(stat.updateMaxFileId("NVR", 4));
    EXPECT_EQ((std::set<std::string>{"NVR_00002", "NVR_3", "NVR_00004", "CAM_4", "NVR_x", "NVR2_1"}), names());
    EXPECT_FALSE(stat.moveFile("NVR", 9, 1));
    list.clear();
    EXPECT_EQ(1, stat.getValidEmptyFileList(list, "", total));
    EXPECT_EQ(5, total);
    EXPECT_EQ((std::vector<std::string>{"NVR_00002", "NVR_3"}), list);
    EXPECT_EQ(9, stat.getTotalFileNumber());  // 4 + 4 + 1
    EXPECT_EQ(6, stat.getTotalEmptyFileNumber());
}

}  // namespace

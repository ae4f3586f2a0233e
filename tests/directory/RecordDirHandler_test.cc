#include <gtest/gtest.h>


#include "directory/EarliestFileInfoList.h"
#include "directory/PlainRecordDir.h"
#include "directory/RecordDirHandler.h"
#include "disk/DataVersionInfoManager.h"
#include "index/RecordIndexFileParserEx.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestRecording.h"
#include "tracking/RecordingMarkManager.h"

namespace {

constexpr long long kDay = 86400;
constexpr long long kNow = 1706698800LL;  // 2024-01-31 11:00:00 UTC
constexpr long long kOld = kNow - 40 * kDay;
constexpr long long kMid = kNow - 10 * kDay;

RecordDeviceDirPolicy policyOf(int camera, bool cycleWrite, int saveDays) {
    RecordDeviceInfo device;
    device.setDeviceId("NVR");
    device.setDeviceIP("10.0.0.7");
    device.setCameraId(camera);
    return RecordDeviceDirPolicy(device, cycleWrite, 1, saveDays, false);
}

// Camera 1 keeps 30 days, camera 2 cycles, camera 3 has no policy. Files
// are recorded for real into one directory whose handler has its index pool
// and recycle bin.
class RecordDirHandlerTest : public ::testing::Test {
protected:
    RecordingClock m_clock{kNow};

    void SetUp() override {
        m_info.setRecordRootDir(m_dir.root());
        m_info.setFileSegmentSize(1 << 20);
        m_handler.reset(new RecordDirHandler(m_info, record("")));
        ASSERT_EQ(1, m_handler->init(0));  // first, as on a fresh disk
        m_recorder.reset(new PlainRecordDir(m_info));
        ASSERT_EQ(1, m_recorder->init());
        m_bin = SafePointer<RecordRecycleBin>(new RecordRecycleBin(1, record("")));
        ASSERT_EQ(1, m_bin->init(0, 1 << 20));
        m_pool = SafePointer<IndexDirManager>(new IndexDirManager(0x80000, 1, record("")));
        ASSERT_TRUE(m_pool->init(0));
        m_handler->setIndexDirManager(m_pool);
    }
    std::string record(std::string const& rel) const { return m_dir.root() + "/record" + (rel.empty() ? "" : "/" + rel); }
    SafePointer<RecordFileInfo> recorded(int camera, long long begin, bool lock = false) {
        return recordTestFile(*m_recorder, camera, begin, lock);
    }
    bool inBin(SafePointer<RecordFileInfo> const& file) const {
        return m_dir.exists("record/recycleBin/" + file->getRecordFileName()) && !m_dir.exists(relPath(file));
    }
    bool inPlace(SafePointer<RecordFileInfo> const& file) const { return m_dir.exists(relPath(file)); }
    std::string relPath(SafePointer<RecordFileInfo> const& file) const {
        return file->createRecordFileName().substr(m_dir.root().size() + 1);
    }
    bool dateDirExists(SafePointer<RecordFileInfo> const& file) const {
        return m_dir.exists("record/" + file->getDeviceDirName() + "/" + file->getRecordDate());
    }
    int entries(SafePointer<RecordFileInfo> const& file) const {
        RecordIndexFileParserEx index;
        if (index.open(m_info, file->getRecordDate(), file->getDeviceDirName(), 0, 0) != 1) return -1;
        return index.getFileNumber();
    }
    std::string indexOf(SafePointer<RecordFileInfo> const& file) const {
        return file->getDeviceDirName() + "_" + file->getRecordDate() + ".index";
    }

    HostRootGuard m_root;
    TempDir m_dir;
    RecordDirInfoEx m_info;
    std::unique_ptr<PlainRecordDir> m_recorder;
    SafePointer<RecordRecycleBin> m_bin;
    SafePointer<IndexDirManager> m_pool;
    std::unique_ptr<RecordDirHandler> m_handler;
    std::vector<RecordDeviceDirPolicy> m_policies{policyOf(1, false, 30), policyOf(2, true, 30)};
};

TEST_F(RecordDirHandlerTest, OverduePassCutsOnlyDevicesThatKeepByDaysAndSaveDaysZeroKeepsAll) {
    SafePointer<RecordFileInfo> old1 = recorded(1, kOld);
    SafePointer<RecordFileInfo> mid1 = recorded(1, kMid);
    SafePointer<RecordFileInfo> old2 = recorded(2, kOld);
    SafePointer<RecordFileInfo> old3 = recorded(3, kOld);
    SafePointer<RecordOutDateFileHandler> keepAll(new RecordOutDateFileHandler(m_bin, m_info));
    ASSERT_EQ(1, m_handler->deleteOutDateFile({policyOf(1, false, 0)}, keepAll));
    EXPECT_TRUE(inPlace(old1));

    SafePointer<RecordOutDateFileHandler> handler(new RecordOutDateFileHandler(m_bin, m_info));
    ASSERT_EQ(1, m_handler->deleteOutDateFile(m_policies, handler));
    EXPECT_TRUE(inBin(old1));
    EXPECT_FALSE(dateDirExists(old1));
    EXPECT_TRUE(m_dir.exists("record/Index/" + indexOf(old1)));  // the index went back to the pool
    for (auto const& kept : {mid1, old2, old3}) {
        EXPECT_TRUE(inPlace(kept)) << kept->getRecordFileName();
        EXPECT_EQ(1, entries(kept));
    }
}

TEST_F(RecordDirHandlerTest, ALostIndexSendsTheDateToTheBinByNameAndALockedNameStays) {
    SafePointer<RecordFileInfo> first = recorded(1, kOld);
    SafePointer<RecordFileInfo> second = recorded(1, kOld + 600);
    SafePointer<RecordFileInfo> other = recorded(1, kOld - kDay);
    ASSERT_TRUE(std::remove((record(first->getDeviceDirName() + "/" + first->getRecordDate()) + "/" + indexOf(first)).c_str()) == 0);
    std::string otherDir = "record/" + other->getDeviceDirName() + "/" + other->getRecordDate();
    ASSERT_TRUE(std::remove((m_dir.path(otherDir) + "/" + indexOf(other)).c_str()) == 0);
    ASSERT_TRUE(m_dir.writeFile(otherDir + "/00099-kept.ts&", "locked"));
    SafePointer<RecordOutDateFileHandler> handler(new RecordOutDateFileHandler(m_bin, m_info));
    ASSERT_EQ(1, m_handler->deleteOutDateFile(m_policies, handler));
    EXPECT_TRUE(inBin(first));
    EXPECT_TRUE(inBin(second));
    EXPECT_FALSE(dateDirExists(first));
    EXPECT_TRUE(inBin(other));
    EXPECT_TRUE(m_dir.exists(otherDir + "/00099-kept.ts&"));
}

TEST_F(RecordDirHandlerTest, EarliestDatePassSparesKeepByDaysDevicesAndLockedFiles) {
    SafePointer<RecordFileInfo> kept1 = recorded(1, kOld);
    SafePointer<RecordFileInfo> locked2 = recorded(2, kOld, true);
    SafePointer<RecordFileInfo> free2 = recorded(2, kOld + 600);
    SafePointer<RecordFileInfo> only3 = recorded(3, kOld);
    EXPECT_EQ(2, m_handler->deleteEarliestDateFile(m_bin, m_policies, only3->getRecordDate(), 0));
    EXPECT_TRUE(inPlace(kept1));
    EXPECT_TRUE(inPlace(locked2));
    EXPECT_TRUE(inBin(free2));
    EXPECT_EQ(1, entries(locked2));
    EXPECT_TRUE(inBin(only3));
    EXPECT_FALSE(m_dir.exists("record/" + only3->getDeviceDirName()));  // its last date went with it
}

// Whatever a pass may cut, the file a recording is writing stays: its writer
// would go on into a file the bin hands out again.
TEST_F(RecordDirHandlerTest, NoPassTakesTheFileBeingRecorded) {
    SafePointer<RecordFileInfo> done = recorded(2, kOld);
    SafePointer<RecordFileInfo> growing = recorded(2, kOld + 600);
    RecordingMarkManager::getInstance()->addMark(growing->getDeviceDirName(), growing->getRecordDate());
    EXPECT_EQ(1, m_handler->deleteEarliestDateFile(m_bin, m_policies, growing->getRecordDate(), 0));
    EXPECT_TRUE(inBin(done));
    EXPECT_TRUE(inPlace(growing));
    EXPECT_EQ(1, m_handler->deleteSpecialTimeSegmentFile(m_bin, m_policies, growing->getRecordDate(), kNow));
    RecordingMarkManager::getInstance()->delMark(growing->getDeviceDirName());
    EXPECT_TRUE(inPlace(growing));
    EXPECT_EQ(1, entries(growing));
    EXPECT_EQ(1, m_handler->deleteSpecialTimeSegmentFile(m_bin, m_policies, growing->getRecordDate(), kNow));
    EXPECT_TRUE(inBin(growing));
}

TEST_F(RecordDirHandlerTest, IndexOnlyPassLeavesTheFilesForTheNextPass) {
    SafePointer<RecordFileInfo> file = recorded(2, kOld);
    EXPECT_EQ(1, m_handler->deleteEarliestDateIndexFile(m_bin, m_policies, file->getRecordDate()));
    EXPECT_EQ(-1, entries(file));
    EXPECT_TRUE(inPlace(file));
    EXPECT_EQ(1, m_handler->deleteEarliestDateFile(m_bin, m_policies, file->getRecordDate(), 0));
    EXPECT_TRUE(inBin(file));
    EXPECT_FALSE(dateDirExists(file));
}

TEST_F(RecordDirHandlerTest, EarliestFilesComeOldestDateFirstAndAGrowingOnlyFileIsNotOffered) {
    SafePointer<RecordFileInfo> oldest = recorded(3, kOld - kDay);
    SafePointer<RecordFileInfo> old2 = recorded(2, kOld);
    recorded(2, kMid);
    RecordingMarkManager::getInstance()->addMark(oldest->getDeviceDirName(), oldest->getRecordDate());
    EarliestFileInfoList list(10);
    ASSERT_EQ(0, m_handler->getEarliestFileList(list, {}, false, 1));
    RecordingMarkManager::getInstance()->delMark(oldest->getDeviceDirName());
    ASSERT_EQ(1, list.getFileCount());
    EXPECT_EQ(old2->getRecordFileName(), list.getFileInfoList()[0]->getRecordFileName());
    EarliestFileInfoList unmarked(10);
    ASSERT_EQ(0, m_handler->getEarliestFileList(unmarked, {}, false, 1));
    EXPECT_EQ(oldest->getRecordFileName(), unmarked.getFileInfoList()[0]->getRecordFileName());
}

TEST_F(RecordDirHandlerTest, AFreshTreeIsOfThisLayoutAndOneWithoutAVersionFileOfTheFirst) {
    DataVersionInfoManager* versions = DataVersionInfoManager::getInstance();
    versions->setChannelAbility(32);
    EXPECT_TRUE(m_dir.exists("record/DiskDataVersionInfo.xml"));
    EXPECT_EQ(DataVersion_OK, m_handler->checkDataVersion());
    ASSERT_EQ(0, std::remove(m_dir.path("record/DiskDataVersionInfo.xml").c_str()));
    EXPECT_EQ(DataVersion_ACCESS_ABLILITY, m_handler->checkDataVersion());
    versions->setChannelAbility(16);
    EXPECT_EQ(DataVersion_Low_OK, m_handler->checkDataVersion());
    ASSERT_TRUE(m_dir.writeFile("DiskDataVersionInfo.xml", "<DataVersionInfoConfigure>"));
    EXPECT_EQ(-1, m_handler->checkDataVersion());  // the root's file comes first
    versions->setChannelAbility(0);
}

}  // namespace

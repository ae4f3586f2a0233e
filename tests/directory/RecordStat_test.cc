#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "directory/DeviceRecordDiskStatReport.h"
#include "directory/RecordStatDir.h"
#include "disk/RecordDeviceDirPolicy.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/TempDir.h"

namespace {

NasDirDeviceRecordStatInfo channel(std::string const& id, int camera, int saveDays, int days) {
    NasDirDeviceRecordStatInfo info(id, camera);
    info.setSaveDays(saveDays);
    info.setUseableRecordDays(days);
    return info;
}

// One share's stat folder and the recorders that keep their files in it.
class RecordStatTest : public ::testing::Test {
protected:
    RecordStatDir& recorder(std::vector<NasDirDeviceRecordStatInfo> own) {
        m_recorders.emplace_back(new RecordStatDir(m_share.root()));
        RecordStatDir& dir = *m_recorders.back();
        EXPECT_TRUE(dir.init(4, 0));
        EXPECT_EQ(0, dir.updateStatFile(own));
        return dir;
    }
    std::string bytes(std::string const& name) const { return m_share.readFile("stat/" + name); }
    static std::vector<std::string> names(std::vector<RecordDeviceInfo> const& devices) {
        std::vector<std::string> found;
        for (RecordDeviceInfo const& device : devices)
            found.push_back(device.getDeviceId() + "_" + device.getDeviceIP() + "_" +
                            std::to_string(device.getCameraId()));
        return found;
    }

    TempDir m_share;
    std::shared_ptr<FaultPlan> m_plan = std::make_shared<FaultPlan>();
    FaultInjection m_faults{m_plan};
    std::vector<std::unique_ptr<RecordStatDir>> m_recorders;
};

TEST_F(RecordStatTest, FileIsSixtyFourLittleEndianBytesWithTheCounterMovedOn) {
    NasDirDeviceRecordStatInfo info = channel("NVR_10.0.0.7", 2, 30, 5);
    info.setUpdateTime(0x0807060504030201ULL);
    char buffer[RecordStatFile::kFileSize] = {0};
    ASSERT_EQ(0, RecordStatFile::persistStatData(info, buffer, sizeof buffer));
    std::string expected("\x02\x02\x03\x04\x05\x06\x07\x08", 8);  // update time + 1, low byte first
    expected += std::string("\x1e\x00" "\x05\x00", 4);             // save days 30, days 5
    expected += std::string(52, '\0');
    EXPECT_EQ(expected, std::string(buffer, sizeof buffer));

    NasDirDeviceRecordStatInfo read("NVR_10.0.0.7", 2);
    ASSERT_EQ(0, RecordStatFile::parseStatData(buffer, RecordStatFile::kDataSize, read));
    EXPECT_EQ(0x0807060504030202ULL, read.getUpdateTime());
    EXPECT_EQ(30, read.getSaveDays());
    EXPECT_EQ(5, read.getUseableRecordDays());
    // Too short to hold the fields: refused, the record unchanged.
    EXPECT_EQ(-1, RecordStatFile::parseStatData(buffer, 11, info));
    EXPECT_EQ(0x0807060504030201ULL, info.getUpdateTime());
    EXPECT_EQ(-1, RecordStatFile::persistStatData(info, buffer, 11));

    // Written through the folder: a new channel counts from 1 and stores 2, its
    // file made under the temp name and renamed; a rewrite goes in place.
    recorder({channel("NVR_10.0.0.7", 2, 30, 5)});
    EXPECT_EQ(std::string("\x02\0\0\0\0\0\0\0\x1e\0\x05\0", 12) + std::string(52, '\0'), bytes("NVR_10.0.0.7_2"));
    EXPECT_FALSE(m_share.exists("stat/NVR_10.0.0.7_2_bak"));
    m_recorders.back()->updateStatFileId();
    ASSERT_EQ(0, m_recorders.back()->refreshStatFile());
    EXPECT_EQ('\x03', bytes("NVR_10.0.0.7_2")[0]);
}

// What a scan reads: the other recorders' channels, never a half-written
// temp file nor a name without a camera; a channel whose counter stands
// still turns inactive and stops counting against this recorder.
TEST_F(RecordStatTest, ScanReadsOthersAndDropsARecorderWhoseCounterStandsStill) {
    RecordStatDir& other = recorder({channel("CMS_10.0.0.9", 1, 7, 9)});
    RecordStatDir& self = recorder({channel("NVR_10.0.0.7", 2, 30, 9), channel("NVR_10.0.0.7", 3, 30, 4)});
    ASSERT_TRUE(m_share.writeFile("stat/XYZ_10.0.0.1_1_bak", std::string(64, '\x7f')));
    ASSERT_TRUE(m_share.writeFile("stat/XYZ_10.0.0.1_cam", std::string(64, '\x7f')));
    self.scanStatDir();
    std::vector<NasDirDeviceRecordStatInfo> seen = self.getScanList();
    ASSERT_EQ(1u, seen.size());
    EXPECT_EQ("CMS_10.0.0.9", seen[0].getDeviceId());
    EXPECT_EQ(9, seen[0].getUseableRecordDays());
    EXPECT_TRUE(seen[0].isDeviceActive());
    EXPECT_EQ(3, self.getDeviceCount());

    // Only the channel with at least the other's 9 days gives way.
    std::vector<RecordDeviceInfo> give;
    self.getNeedDelRecordDeviceList(give);
    EXPECT_EQ(std::vector<std::string>{"NVR_10.0.0.7_2"}, names(give));

    // The other recorder goes on writing: still active. Then it stops.
    other.updateStatFileId();
    ASSERT_EQ(0, other.refreshStatFile());
    self.scanStatDir();
    EXPECT_TRUE(self.getScanList()[0].isDeviceActive());
    self.scanStatDir();
    EXPECT_FALSE(self.getScanList()[0].isDeviceActive());
    give.clear();
    self.getNeedDelRecordDeviceList(give);
    EXPECT_EQ((std::vector<std::string>{"NVR_10.0.0.7_2", "NVR_10.0.0.7_3"}), names(give));
}

TEST_F(RecordStatTest, OwnListFollowsThePoliciesAndLeavesNoFileBehind) {
    RecordStatDir& self = recorder({channel("NVR_10.0.0.7", 2, 30, 0)});
    // No days in hand: nothing to give, even alone on the share.
    std::vector<RecordDeviceInfo> give;
    self.getNeedDelRecordDeviceList(give);
    EXPECT_TRUE(give.empty());

    RecordDeviceInfo device;
    device.setDeviceId("NVR");
    device.setDeviceIP("10.0.0.7");
    device.setCameraId(2);
    std::vector<RecordDeviceDirPolicy> policies{RecordDeviceDirPolicy(device, true, 1, 30, false)};
    EXPECT_FALSE(self.isDevicePolicyChanged(policies));
    policies[0] = RecordDeviceDirPolicy(device, true, 1, 31, false);
    EXPECT_TRUE(self.isDevicePolicyChanged(policies));
    device.setCameraId(3);
    policies.push_back(RecordDeviceDirPolicy(device, true, 1, 30, false));
    EXPECT_TRUE(self.isDevicePolicyChanged(policies));

    // A new channel starts at 1, a kept one counts on; one that left loses its file.
    EXPECT_EQ(1u, RecordStatDir::generateUpdateId(channel("NVR_10.0.0.7", 3, 0, 0), self.getOwnList()));
    std::vector<NasDirDeviceRecordStatInfo> next{channel("NVR_10.0.0.7", 3, 30, 1)};
    ASSERT_EQ(0, self.updateStatFile(next));
    EXPECT_FALSE(m_share.exists("stat/NVR_10.0.0.7_2"));
    EXPECT_EQ('\x02', bytes("NVR_10.0.0.7_3")[0]);
    next = {channel("NVR_10.0.0.7", 3, 30, 2)};
    ASSERT_EQ(0, self.updateStatFile(next));
    EXPECT_EQ('\x03', bytes("NVR_10.0.0.7_3")[0]);
    self.uninit();
    EXPECT_FALSE(m_share.exists("stat/NVR_10.0.0.7_3"));
    EXPECT_EQ(0, self.getDeviceCount());
}

// A write that fails leaves the file as it was and is made at the next
// round; a crash between temp file and rename leaves only the temp, which
// no scan reads and the next creation replaces.
TEST_F(RecordStatTest, FailedWritesAreMadeUpAtTheNextRound) {
    RecordStatDir& self = recorder({channel("NVR_10.0.0.7", 2, 30, 5)});
    std::string const before = bytes("NVR_10.0.0.7_2");
    self.updateStatFileId();
    m_plan->failWriteAt(1);
    EXPECT_NE(0, self.refreshStatFile());
    EXPECT_EQ(before, bytes("NVR_10.0.0.7_2"));
    EXPECT_EQ(0, self.refreshStatFile());
    EXPECT_EQ('\x03', bytes("NVR_10.0.0.7_2")[0]);

    m_plan->failRenameAt(1);
    std::vector<NasDirDeviceRecordStatInfo> more{channel("NVR_10.0.0.7", 2, 30, 5), channel("NVR_10.0.0.7", 4, 30, 1)};
    EXPECT_NE(0, self.updateStatFile(more));
    EXPECT_FALSE(m_share.exists("stat/NVR_10.0.0.7_4"));
    EXPECT_EQ(64, m_share.fileSize("stat/NVR_10.0.0.7_4_bak"));
    RecordStatDir& other = recorder({});
    other.scanStatDir();
    ASSERT_EQ(1u, other.getScanList().size());  // the temp file is not read
    EXPECT_EQ(2, other.getScanList()[0].getCameraId());
    EXPECT_EQ(0, self.refreshStatFile());
    EXPECT_EQ(64, m_share.fileSize("stat/NVR_10.0.0.7_4"));
    EXPECT_FALSE(m_share.exists("stat/NVR_10.0.0.7_4_bak"));
}

TEST(DeviceRecordDiskStatReportTest, DatesAreKeptOnceEach) {
    DeviceRecordDiskStatReport report("NVR", 2);
    report.addRecordDate("2024-01-01");
    report.addRecordDate("2024-01-02");
    report.addRecordDate("2024-01-01");
    EXPECT_EQ((std::vector<std::string>{"2024-01-01", "2024-01-02"}), report.getRecordDateList());
    report.clearDateList();
    EXPECT_TRUE(report.getRecordDateList().empty());
}

}  // namespace

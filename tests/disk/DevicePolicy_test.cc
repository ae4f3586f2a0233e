#include <gtest/gtest.h>

#include "disk/DeviceSequenceMapManager.h"
#include "disk/RecordDeviceDirPolicyManager.h"

namespace {

RecordDeviceInfo channel(char const* id, int camera, int mode = 1) {
    RecordDeviceInfo device;
    device.setDeviceId(id);
    device.setDeviceIP("10.0.0.1");
    device.setCameraId(camera);
    device.setRecordMode(mode);
    return device;
}

TEST(RecordDeviceDirPolicyManagerTest, OneEntryPerChannelLookedUpAndListedByGroup) {
    RecordDeviceDirPolicyManager store;
    store.addRecordDevicePolicy(RecordDeviceDirPolicy(channel("A", 1), true, 1, 7, false));
    store.addRecordDevicePolicy(RecordDeviceDirPolicy(channel("A", 2), false, 2, 30, false));
    store.addRecordDevicePolicy(RecordDeviceDirPolicy(channel("B", 1, 2), true, 1, 7, false));
    store.addRecordDevicePolicy(RecordDeviceDirPolicy(channel("A", 1), false, 2, 3, true));

    std::vector<RecordDeviceDirPolicy> all;
    store.getAllDirPolicy(all);
    EXPECT_EQ(3u, all.size());
    RecordDeviceDirPolicy found;
    ASSERT_NE(0, store.getRecordDeviceDirPolicy(channel("A", 1), found));
    EXPECT_FALSE(found.isCycleWrite());
    EXPECT_EQ(2, found.getGroupID());
    EXPECT_EQ(3, found.getRecordSaveDays());
    EXPECT_TRUE(found.getRedundancyFlag());
    EXPECT_EQ(0, store.getRecordDeviceDirPolicy(channel("A", 1, 2), found));

    std::vector<RecordInfo> group2;
    store.getRecordDirPolicyListByGroupID(1, 2, group2);
    ASSERT_EQ(2u, group2.size());
    EXPECT_EQ(1, group2[0].getCameraId());
    EXPECT_EQ(2, group2[1].getCameraId());
    std::vector<RecordInfo> group1;
    store.getRecordDirPolicyListByGroupID(1, 1, group1);
    EXPECT_TRUE(group1.empty());  // B records in mode 2

    store.removeAllRecordDevicePolicy(9);
    store.getAllDirPolicy(all);
    EXPECT_EQ(3u, all.size());
    store.removeAllRecordDevicePolicy(1);
    store.getAllDirPolicy(all);
    ASSERT_EQ(1u, all.size());
    EXPECT_EQ("B", all[0].getRecordDeviceInfo().getDeviceId());
    store.removeRecordDevicePolicy(channel("B", 1, 2));
    store.getAllDirPolicy(all);
    EXPECT_TRUE(all.empty());
}

class DeviceSequenceTest : public ::testing::Test {
protected:
    void SetUp() override { DeviceSequenceMapManager::getInstance()->clear(); }
    void TearDown() override { DeviceSequenceMapManager::getInstance()->clear(); }
    DeviceSequenceMapManager& sequences = *DeviceSequenceMapManager::getInstance();
};

TEST_F(DeviceSequenceTest, ChannelsAlternateAndRegisteringTwiceChangesNothing) {
    sequences.updateDeviceSequence("a", 1, true);
    sequences.updateDeviceSequence("b", 1, true);
    sequences.updateDeviceSequence("c", 1, true);
    sequences.updateDeviceSequence("a", 1, true);
    EXPECT_EQ(3, sequences.getDeviceNum());
    EXPECT_EQ(1, sequences.getDeviceSequence("a", 1));
    EXPECT_EQ(2, sequences.getDeviceSequence("b", 1));
    EXPECT_EQ(1, sequences.getDeviceSequence("c", 1));
    EXPECT_EQ(-1, sequences.getDeviceSequence("a", 2));
    EXPECT_FALSE(sequences.isExist("z", 1));
}

TEST_F(DeviceSequenceTest, RemovalMovesTheOldestChannelOfTheLongerHalf) {
    sequences.updateDeviceSequence("a", 1, true);
    sequences.updateDeviceSequence("b", 1, true);
    sequences.updateDeviceSequence("c", 1, true);
    sequences.updateDeviceSequence("b", 1, false);
    EXPECT_EQ(2, sequences.getDeviceSequence("a", 1));
    EXPECT_EQ(1, sequences.getDeviceSequence("c", 1));
    EXPECT_EQ(2, sequences.getDeviceNum());
    // A new channel goes to the half that is not longer.
    sequences.updateDeviceSequence("d", 1, true);
    EXPECT_EQ(1, sequences.getDeviceSequence("d", 1));
}

TEST_F(DeviceSequenceTest, DifferenceOfOneIsLeftAlone) {
    sequences.updateDeviceSequence("a", 1, true);
    sequences.updateDeviceSequence("b", 1, true);
    sequences.updateDeviceSequence("a", 1, false);
    EXPECT_EQ(2, sequences.getDeviceSequence("b", 1));
    sequences.updateDeviceSequence("x", 9, false);
    EXPECT_EQ(2, sequences.getDeviceSequence("b", 1));
}

TEST_F(DeviceSequenceTest, SecondHalfLongerMovesBackToTheFirst) {
    for (char const* id : {"a", "b", "c", "d", "e", "f"}) sequences.updateDeviceSequence(id, 1, true);
    // halves: 1 = a c e, 2 = b d f
    sequences.updateDeviceSequence("a", 1, false);
    sequences.updateDeviceSequence("c", 1, false);
    EXPECT_EQ(1, sequences.getDeviceSequence("b", 1));
    EXPECT_EQ(1, sequences.getDeviceSequence("e", 1));
    EXPECT_EQ(2, sequences.getDeviceSequence("d", 1));
    EXPECT_EQ(2, sequences.getDeviceSequence("f", 1));
}

}  // namespace

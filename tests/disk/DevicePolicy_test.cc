#include <gtest/gtest.h>

#include <string>
#include <vector>

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
    // An IPv6 camera named by the host with ":" is the session's with "-".
    RecordDeviceInfo host = channel("C", 1);
    host.setDeviceIP("fe80::1");
    store.addRecordDevicePolicy(RecordDeviceDirPolicy(host, true, 4, 7, false));
    RecordDeviceInfo session = host;
    session.setDeviceIP("fe80--1");
    ASSERT_NE(0, store.getRecordDeviceDirPolicy(session, found));
    EXPECT_EQ(4, found.getGroupID());
    store.removeRecordDevicePolicy(session);

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

// Channels alternate between the two halves of a group; registering twice
// changes nothing; a removal that leaves one half longer by two moves that
// half's oldest channel to the other.
TEST(DeviceSequenceTest, ChannelsAlternateAndRemovalsRebalanceTheHalves) {
    struct Case {
        char const* added;    // in this order, camera 1
        char const* removed;  // then these
        char const* added2;   // then these
        std::vector<std::pair<char const*, int>> halves;  // channel, its half (-1: none)
        int nCount;
    };
    Case const cases[] = {
        {"abca", "", "", {{"a", 1}, {"b", 2}, {"c", 1}, {"z", -1}}, 3},
        {"abc", "b", "d", {{"a", 2}, {"c", 1}, {"d", 1}}, 3},
        {"ab", "ax", "", {{"a", -1}, {"b", 2}}, 1},
        {"abcdef", "ac", "", {{"b", 1}, {"e", 1}, {"d", 2}, {"f", 2}}, 4},
    };
    DeviceSequenceMapManager& sequences = *DeviceSequenceMapManager::getInstance();
    auto apply = [&](char const* ids, bool add) {
        for (char const* id = ids; *id != '\0'; ++id) {
            sequences.updateDeviceSequence(std::string(1, *id), 1, add);
        }
    };
    for (Case const& c : cases) {
        sequences.clear();
        apply(c.added, true);
        apply(c.removed, false);
        apply(c.added2, true);
        for (auto const& half : c.halves) {
            EXPECT_EQ(half.second, sequences.getDeviceSequence(half.first, 1)) << c.added << half.first;
        }
        EXPECT_EQ(c.nCount, sequences.getDeviceNum()) << c.added;
    }
    EXPECT_EQ(-1, sequences.getDeviceSequence("b", 2));
    EXPECT_FALSE(sequences.isExist("z", 1));
    sequences.clear();
}

}  // namespace

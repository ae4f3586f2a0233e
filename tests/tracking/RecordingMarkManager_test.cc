#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tracking/RecordingMarkManager.h"

namespace {

// The manager is process-wide: every test uses device dirs of its own.
RecordingMarkManager& marks() { return *RecordingMarkManager::getInstance(); }

TEST(RecordingMarkManagerTest, OneMarkPerDeviceDirCountsOnlyForItsExactDate) {
    marks().addMark("NVR_10.0.0.1_1", "2024-01-31");
    EXPECT_TRUE(marks().isExistMark("NVR_10.0.0.1_1", "2024-01-31"));
    EXPECT_FALSE(marks().isExistMark("NVR_10.0.0.1_1", "2024-01-30"));
    EXPECT_FALSE(marks().isExistMark("NVR_10.0.0.1_1", "2024-01-31 "));
    EXPECT_FALSE(marks().isExistMark("NVR_10.0.0.1_10", "2024-01-31"));
    EXPECT_FALSE(marks().isExistMark("NVR_10.0.0.1_", "2024-01-31"));

    // Crossing midnight moves the mark: the day before no longer counts.
    marks().addMark("NVR_10.0.0.1_1", "2024-02-01");
    EXPECT_FALSE(marks().isExistMark("NVR_10.0.0.1_1", "2024-01-31"));
    EXPECT_TRUE(marks().isExistMark("NVR_10.0.0.1_1", "2024-02-01"));
    // Two disks recording the channel set the same mark; the first writer to
    // close clears it for both.
    marks().addMark("NVR_10.0.0.1_1", "2024-02-01");
    marks().delMark("NVR_10.0.0.1_1");
    EXPECT_FALSE(marks().isExistMark("NVR_10.0.0.1_1", "2024-02-01"));
    marks().delMark("NVR_10.0.0.1_1");  // nothing left: no error
    marks().delMark("never-marked");
}

TEST(RecordingMarkManagerTest, ChannelsDoNotDisturbEachOtherAcrossThreads) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t]() {
            std::string dir = "NVR_10.0.1." + std::to_string(t) + "_1";
            for (int i = 0; i < 2000; ++i) {
                marks().addMark(dir, "2024-01-31");
                EXPECT_TRUE(marks().isExistMark(dir, "2024-01-31"));
                marks().delMark(dir);
                EXPECT_FALSE(marks().isExistMark(dir, "2024-01-31"));
            }
            marks().addMark(dir, "2024-02-01");
        });
    }
    for (auto& thread : threads) thread.join();
    for (int t = 0; t < 4; ++t) {
        EXPECT_TRUE(marks().isExistMark("NVR_10.0.1." + std::to_string(t) + "_1", "2024-02-01"));
    }
}

}  // namespace

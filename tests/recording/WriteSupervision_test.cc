#include <gtest/gtest.h>

#include "host/HostClock.h"
#include "recording/RecordFileRequestManager.h"
#include "recording/RecordSpeedCalculator.h"
#include "recording/RecordTimeOutDetector.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"

// How supervision meets the session (time-outs of a hung disk, update and
// close requests, the close thread) is tested with the session.
namespace {

TEST(RecordTimeOutDetectorTest, ExactlyTheLimitIsNotATimeOut) {
    HostClock::freeze();
    RecordTimeOutDetector detector(3);
    HostClock::shift(3.0);
    EXPECT_FALSE(detector.isTimeOut());
    HostClock::shift(0.5);
    EXPECT_TRUE(detector.isTimeOut());
    EXPECT_EQ(3, detector.getTimeOutInterval());
    detector.resetBeginTime();
    EXPECT_FALSE(detector.isTimeOut());
    HostClock::reset();
}

TEST(RecordSpeedCalculatorTest, SpeedComesOnlyAfterMoreThanAWholePeriod) {
    HostRootGuard root;
    HostClock::freeze();
    RecordSpeedCalculator speed("sda1");
    speed.addDataLen(6000000, 0);
    HostClock::shift(600.0);
    speed.addDataLen(1000, 0);
    EXPECT_EQ(0, speed.getRecordSpeed());
    HostClock::shift(400.0);
    speed.addDataLen(7, 0);  // counts for the next period
    EXPECT_EQ(6001, speed.getRecordSpeed());
    HostClock::shift(601.0);
    speed.addDataLen(0, 0);
    EXPECT_EQ(0, speed.getRecordSpeed());
    HostClock::reset();
    std::string log = TempDir::readWhole(root.root() + "/mnt/mtd/log/WriteSpeed.log");
    EXPECT_NE(std::string::npos, log.find("sda1  write speed is 6001 B/s"));
}

TEST(RecordFileRequestManagerTest, NewDevicesContinueAndFailuresAskForNewFiles) {
    for (int type : {-1, 0, 1, 2, 3, 4, 5, 6, 7})
        EXPECT_EQ(type != 1 && type != 4, RecordFileRequestManager::isCreateNewFile(type)) << type;
    RecordFileRequestManager requests;
    RecordDeviceInfo device, other;
    device.setDeviceId("NVR"), device.setCameraId(1);
    other.setDeviceId("NVR"), other.setCameraId(2);
    EXPECT_FALSE(requests.isRequestNewFile(device));
    requests.updateDeviceRequestType(device, FileRequestWriteFailed);
    requests.updateDeviceRequestType(other, FileRequestFileFull);
    device.setDeviceIP("other ip, same channel");
    EXPECT_TRUE(requests.isRequestNewFile(device));
    EXPECT_TRUE(requests.isRequestNewFile(other));
    requests.clearAll();
    EXPECT_FALSE(requests.isRequestNewFile(other));
}

}  // namespace

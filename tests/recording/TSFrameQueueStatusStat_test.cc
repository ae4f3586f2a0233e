#include "recording/TSFrameQueueStatusStat.h"

#include <gtest/gtest.h>

#include <vector>

#include "host/IAlarmListenerEx.h"

namespace {

class Listener : public IAlarmListenerEx {
public:
    int onAlarm(AlarmInfoEx const& info) override {
        alarms.push_back(info);
        return 0;
    }
    std::vector<AlarmInfoEx> alarms;
};

AVData frame(int es, int type) {
    AVData f;
    f.setESStreamType(es);
    f.setFrameType(type);
    return f;
}

TEST(TSFrameQueueStatusStatTest, AlarmsOnlyOnTheSecondIFrameInARowWithoutRoom) {
    Listener listener;
    TSFrameQueueStatusStat stat(&listener, "NVR", "10.0.0.7", 6);
    AVData i = frame(1, 1);
    AVData p = frame(1, 2);
    AVData a = frame(2, 1);
    stat.statDropFrame(&i, -2);
    stat.statDropFrame(&p, -2);   // P frames do not count
    stat.statDropFrame(&a, 0);    // nor audio
    stat.statDropFrame(&p, -1);
    EXPECT_TRUE(listener.alarms.empty());
    stat.statDropFrame(&i, -2);
    ASSERT_EQ(1u, listener.alarms.size());
    AlarmInfoEx const& alarm = listener.alarms[0];
    EXPECT_EQ(5, alarm.getMajorType());
    EXPECT_EQ("NVR", alarm.getDeviceId());
    EXPECT_EQ("10.0.0.7", alarm.getDeviceIP());
    EXPECT_EQ("6", alarm.getSourceId());
    EXPECT_EQ("TSFrameQueueAlarm", alarm.getSourceName());
    // The pair starts again; a stored video frame in between breaks it.
    stat.statDropFrame(&i, -2);
    stat.statDropFrame(&p, 0);
    stat.statDropFrame(&i, -2);
    EXPECT_EQ(1u, listener.alarms.size());
    stat.statDropFrame(&i, -2);
    EXPECT_EQ(2u, listener.alarms.size());
}

}  // namespace

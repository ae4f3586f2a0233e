#include "recording/TSFrameQueueStatusStat.h"

#include <gtest/gtest.h>

#include <string>
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

TEST(TSFrameQueueStatusStatTest, AlarmsOnlyOnTheSecondIFrameInARowWithoutRoom) {
    Listener listener;
    TSFrameQueueStatusStat stat(&listener, "NVR", "10.0.0.7", 6);
    // Stream, frame type, push result, alarms after it: P frames and audio
    // neither count nor break a pair, a stored video frame does.
    struct Push {
        int es, type, result;
        size_t alarms;
    } const pushes[] = {{1, 1, -2, 0}, {1, 2, -2, 0}, {2, 1, 0, 0},  {1, 2, -1, 0}, {1, 1, -2, 1},
                        {1, 1, -2, 1}, {1, 2, 0, 1},  {1, 1, -2, 1}, {1, 1, -1, 1}, {1, 1, -2, 2}};
    for (Push const& push : pushes) {
        AVData f;
        f.setESStreamType(push.es);
        f.setFrameType(push.type);
        stat.statDropFrame(&f, push.result);
        EXPECT_EQ(push.alarms, listener.alarms.size()) << (&push - pushes);
    }
    AlarmInfoEx const& alarm = listener.alarms.at(0);
    EXPECT_EQ(5, alarm.getMajorType());
    EXPECT_EQ((std::vector<std::string>{"NVR", "10.0.0.7", "6", "TSFrameQueueAlarm"}),
              (std::vector<std::string>{alarm.getDeviceId(), alarm.getDeviceIP(), alarm.getSourceId(),
                                        alarm.getSourceName()}));
}

}  // namespace

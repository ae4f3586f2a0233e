#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "disk/RecordServiceListenerManager.h"

namespace {

AlarmInfoEx alarmOf(int major, int minor, std::string const& disk = "sda@1") {
    AlarmInfoEx alarm;
    alarm.setMajorType(major);
    alarm.setMinorType(minor);
    alarm.setDescription(disk);
    return alarm;
}

// Records what it hears as "name:major.minor" or "state device/camera=state".
struct Journal : IAlarmListenerEx, IRecordStateListener {
    Journal(std::vector<std::string>& lines, std::string name) : m_lines(lines), m_name(std::move(name)) {}
    int onAlarm(AlarmInfoEx const& alarm) override {
        m_lines.push_back(m_name + ":" + std::to_string(alarm.getMajorType()) + "." +
                          std::to_string(alarm.getMinorType()));
        return 0;
    }
    int onRecordState(char const* device, int camera, int state) override {
        m_lines.push_back("state " + std::string(device) + "/" + std::to_string(camera) + "=" + std::to_string(state));
        return 0;
    }
    std::vector<std::string>& m_lines;
    std::string m_name;
};

void drain(RecordServiceListenerManager& manager) {
    while (manager.getQueueSize() > 0) manager.handleAlarmInfo();
}

TEST(RecordServiceListenerManager, DeliversInOrderToListenersInTheirOrderAndHoldsBackOnlyWhatIsSilent) {
    RecordServiceListenerManager manager;
    std::vector<std::string> lines;
    Journal first(lines, "a");
    Journal second(lines, "b");
    AlarmInfoEx before = alarmOf(4, 1);
    manager.handleMessage(before);  // no listener yet: taken off and dropped
    drain(manager);
    EXPECT_TRUE(lines.empty());
    EXPECT_EQ(1, manager.getDiskAlarmState("sda@1"));

    manager.addListener(&first);
    manager.addListener(&second);
    manager.addListener(nullptr);
    for (AlarmInfoEx alarm : {alarmOf(4, 2), alarmOf(5, 9), alarmOf(5, 8), alarmOf(4, 3, "sdb@2")})
        manager.handleMessage(alarm);
    drain(manager);
    EXPECT_EQ((std::vector<std::string>{"a:4.2", "b:4.2", "a:5.8", "b:5.8", "a:4.3", "b:4.3"}), lines);
    EXPECT_EQ(2, manager.getDiskAlarmState("sda@1"));
    EXPECT_EQ(3, manager.getDiskAlarmState("sdb@2"));
    EXPECT_EQ(-1, manager.getDiskAlarmState("sdc@3"));

    manager.clear();
    lines.clear();
    AlarmInfoEx after = alarmOf(4, 4);
    manager.handleMessage(after);
    drain(manager);
    EXPECT_TRUE(lines.empty());
}

TEST(RecordServiceListenerManager, ARecordStateReachesTheListenerOnlyWhenItChanges) {
    RecordServiceListenerManager manager;
    std::vector<std::string> lines;
    Journal journal(lines, "s");
    manager.setRecordStateListener(&journal);
    manager.handleRecordState("NVR", 1, 1);
    manager.handleRecordState("NVR", 1, 1);
    manager.handleRecordState("NVR", 2, 1);
    manager.handleRecordState("NVR", 1, 0);
    manager.handleRecordState("IPC", 1, 0);
    manager.handleRecordState("NVR", 1, 0);
    manager.handleRecordState("NVR", 1, 1);
    drain(manager);
    EXPECT_EQ((std::vector<std::string>{"state NVR/1=1", "state NVR/2=1", "state NVR/1=0", "state IPC/1=0",
                                        "state NVR/1=1"}),
              lines);
}

// A listener that blocks must not block whoever raises an alarm.
TEST(RecordServiceListenerManager, ASlowListenerStallsNoProducer) {
    struct Slow : IAlarmListenerEx {
        int onAlarm(AlarmInfoEx const& alarm) override {
            std::unique_lock<std::mutex> lock(mutex);
            heard.push_back(alarm.getMinorType());
            changed.notify_all();
            changed.wait(lock, [this] { return released; });
            return 0;
        }
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<int> heard;
        bool released = false;
    } slow;
    RecordServiceListenerManager manager;
    manager.addListener(&slow);
    ASSERT_TRUE(manager.start());
    AlarmInfoEx first = alarmOf(4, 1);
    manager.handleMessage(first);
    {
        std::unique_lock<std::mutex> lock(slow.mutex);
        ASSERT_TRUE(slow.changed.wait_for(lock, std::chrono::seconds(10), [&] { return slow.heard.size() == 1; }));
    }
    auto producer = std::async(std::launch::async, [&] {
        for (int minor = 2; minor <= 4; ++minor) {
            AlarmInfoEx alarm = alarmOf(4, minor);
            manager.handleMessage(alarm);
        }
    });
    EXPECT_EQ(std::future_status::ready, producer.wait_for(std::chrono::seconds(10)));
    {
        std::unique_lock<std::mutex> lock(slow.mutex);
        slow.released = true;
        slow.changed.notify_all();
        ASSERT_TRUE(slow.changed.wait_for(lock, std::chrono::seconds(10), [&] { return slow.heard.size() == 4; }));
    }
    manager.stop();
    EXPECT_EQ((std::vector<int>{1, 2, 3, 4}), slow.heard);
}

}  // namespace

namespace {

// Starting and stopping while producers keep raising alarms loses none that
// the thread took, and delivers each at most once.
TEST(RecordServiceListenerManager, StartsAndStopsManyTimesWhileAlarmsFlow) {
    struct Counter : IAlarmListenerEx {
        int onAlarm(AlarmInfoEx const&) override { return ++heard; }
        std::atomic<int> heard{0};
    } counter;
    RecordServiceListenerManager manager;
    manager.addListener(&counter);
    std::atomic<bool> done{false};
    auto producer = std::async(std::launch::async, [&] {
        for (int i = 0; i < 2000; ++i) {
            AlarmInfoEx alarm = alarmOf(4, i);
            manager.handleMessage(alarm);
        }
        done = true;
    });
    for (int round = 0; round < 50 || !done; ++round) {
        ASSERT_TRUE(manager.start());
        manager.stop();
    }
    producer.wait();
    while (manager.getQueueSize() > 0) manager.handleAlarmInfo();
    EXPECT_EQ(2000, counter.heard.load());
}

}  // namespace

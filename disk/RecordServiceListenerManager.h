#ifndef DISK_RECORDSERVICELISTENERMANAGER_H
#define DISK_RECORDSERVICELISTENERMANAGER_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "disk/IRecordServiceListenerManager.h"
#include "disk/RecordStateInfo.h"
#include "disk/RecordStateListenerHandler.h"
#include "host/OVMutex.h"
#include "host/OVThread.h"

// Delivers queued alarms and channel record states to the host on the
// "RecordAlarmInfoHandleThread". Producers take only the queue mutex, so a
// slow listener stalls no writer and no scan.
//
// Listeners run on the thread with the listener mutex held: a listener must
// not call addListener, clear or setRecordStateListener.
class RecordServiceListenerManager : public IRecordServiceListenerManager {
public:
    RecordServiceListenerManager();
    ~RecordServiceListenerManager() override;

    void addListener(IAlarmListenerEx* listener) override;
    void clear() override;
    int handleMessage(AlarmInfoEx& alarm) override;

    void setRecordStateListener(IRecordStateListener* listener);
    // Queues a channel's state; the listener hears only changes.
    void handleRecordState(char const* deviceId, int cameraId, int state);

    bool start();
    void stop();

    // One round of the thread: delivers the oldest queued item; 1 keeps the
    // thread going. An empty queue makes the thread wait before the next look.
    int handleAlarmInfo();
    // The last minor type a disk alarm (major type 4) reported for the disk
    // its description names; -1 when none came.
    int getDiskAlarmState(std::string const& disk);
    int getQueueSize();

    static constexpr int kDiskAlarm = 4;

private:
    void handleAlarmInfo(AlarmInfoEx const& alarm);

    OVMutex m_listenerMutex;
    std::vector<IAlarmListenerEx*> m_listeners;  // not owned; guarded by m_listenerMutex
    RecordStateListenerHandler m_stateHandler;   // guarded by m_listenerMutex
    std::map<std::string, int> m_diskStates;     // guarded by m_listenerMutex
    OVMutex m_queueMutex;
    std::vector<AlarmInfoEx> m_alarms;           // guarded by m_queueMutex
    std::vector<RecordStateInfo> m_states;       // guarded by m_queueMutex
    std::unique_ptr<OVThread> m_pThread;
};

#endif

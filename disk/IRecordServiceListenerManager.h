#ifndef DISK_IRECORDSERVICELISTENERMANAGER_H
#define DISK_IRECORDSERVICELISTENERMANAGER_H

#include "host/AlarmInfoEx.h"
#include "host/IAlarmListenerEx.h"

// The one road by which alarms leave the engine: a caller hands its alarm
// over and returns at once; the host's listeners get it on another thread.
class IRecordServiceListenerManager {
public:
    virtual ~IRecordServiceListenerManager() = default;
    // Listeners are not owned and are called in the order they were added.
    virtual void addListener(IAlarmListenerEx* listener) = 0;
    virtual void clear() = 0;
    // Queues a copy; 0.
    virtual int handleMessage(AlarmInfoEx& alarm) = 0;
};

#endif

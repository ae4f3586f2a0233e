#ifndef HOST_IALARMLISTENEREX_H
#define HOST_IALARMLISTENEREX_H

#include "host/AlarmInfoEx.h"

// The host's receiver of alarms. Called on the engine's notification thread;
// must not block for long.
class IAlarmListenerEx {
public:
    virtual ~IAlarmListenerEx() = default;
    // The result is the listener's own; the engine ignores it.
    virtual int onAlarm(AlarmInfoEx const& info) = 0;
};

#endif

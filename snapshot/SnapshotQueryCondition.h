#ifndef SNAPSHOT_SNAPSHOTQUERYCONDITION_H
#define SNAPSHOT_SNAPSHOTQUERYCONDITION_H

#include <string>

#include "foundation/Field.h"

// What the host asks for: a channel, [begin, end) in milliseconds, and the
// burst-mode bits wanted (0: every picture).
class SnapshotQueryCondition {
    OV_STRING_FIELD(DeviceId)
    OV_STRING_FIELD(DeviceIP)
    OV_FIELD(int, CameraId, -1)
    OV_FIELD(long long, BeginTime, 0)
    OV_FIELD(long long, EndTime, 0)
    OV_FIELD(int, SnapshotType, 0)
    OV_FIELD(int, PolicyType, 0)
};

#endif

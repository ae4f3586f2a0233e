#ifndef SNAPSHOT_SNAPSHOTFILE_H
#define SNAPSHOT_SNAPSHOTFILE_H

#include <string>

#include "foundation/Field.h"

// One picture as a query answers it: its handle name, time in
// milliseconds and length in bytes.
class SnapshotFile {
    OV_STRING_FIELD(FileName)
    OV_STRING_FIELD(DeviceId)
    OV_STRING_FIELD(DeviceIP)
    OV_FIELD(int, CameraId, 0)
    OV_FIELD(long long, Time, 0)
    OV_FIELD(int, Length, 0)
    OV_FIELD(int, PolicyType, 0)
};

#endif

#ifndef FOUNDATION_RECORDINFO_H
#define FOUNDATION_RECORDINFO_H

#include <string>

#include "foundation/Field.h"

// Identifies a recording: a channel and a span of time in seconds.
class RecordInfo {
    OV_CSTRING_FIELD(DeviceId)
    OV_CSTRING_FIELD(DeviceIP)
    OV_FIELD(int, CameraId, 0)
    OV_FIELD(unsigned long, RecordBeginTime, 0)
    OV_FIELD(unsigned long, RecordEndTime, 0)
    OV_FIELD(bool, LockFlag, false)
};

// A channel as the disk policies know it.
class RecordDeviceInfo {
    OV_STRING_FIELD(DeviceId)
    OV_STRING_FIELD(DeviceIP)
    OV_FIELD(int, CameraId, 0)
    OV_FIELD(int, RecordMode, 0)

public:
    // The same channel. An IP is compared in its file-name form: the host
    // may name an IPv6 camera with ":" where sessions and folders use "-".
    bool equals(RecordDeviceInfo const& other) const;
};

#endif

#ifndef FOUNDATION_CHUNNELDISKINFO_H
#define FOUNDATION_CHUNNELDISKINFO_H

#include <string>

#include "foundation/Field.h"

// The disk a channel last wrote to, as the scene log would keep it.
class ChunnelDiskInfo {
    OV_STRING_FIELD(DeviceId)
    OV_FIELD(int, CameraId, 0)
    OV_STRING_FIELD(DiskName)
};

#endif

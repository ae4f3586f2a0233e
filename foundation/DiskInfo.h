#ifndef FOUNDATION_DISKINFO_H
#define FOUNDATION_DISKINFO_H

#include <string>

#include "foundation/Field.h"

// A disk as the host's disk watch reports it.
class DiskInfo {
    OV_STRING_FIELD(DiskRootDir)
    OV_FIELD(long, DiskTotalSpace, 0)
    OV_FIELD(long, DiskUsedSpace, 0)
    OV_FIELD(long, DiskFreeSpace, 0)
    OV_FIELD(int, DiskStatus, 0)
    OV_FIELD(int, DiskType, 0)
};

// Figures of one directory group.
class DeviceGroupInfo {
    OV_FIELD(int, GroupId, 0)
    OV_FIELD(long, GroupDataSpeed, 0)
    OV_FIELD(long, FileNumber, 0)
    OV_FIELD(long, UseableNumber, 0)
};

#endif

#ifndef FOUNDATION_RECORDDIRINFO_H
#define FOUNDATION_RECORDDIRINFO_H

#include <string>

#include "foundation/Field.h"

// The host's view of a record directory; sizes in MiB.
class RecordDirInfo {
    OV_CSTRING_FIELD(DiskName)
    OV_FIELD(int, GroupId, 0)
    OV_FIELD(int, DiskType, 0)
    OV_FIELD(int, Attribute, 0)
    OV_FIELD(int, FreeSpace, 0)
    OV_FIELD(int, UsableSpace, 0)
    OV_FIELD(int, AlarmThreshold, 0)
    OV_FIELD(int, FileSystemFormat, 0)
    OV_FIELD(int, Status, 0)
    OV_FIELD(bool, EnableFlag, false)
};

#endif

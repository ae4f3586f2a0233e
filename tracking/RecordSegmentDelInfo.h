#ifndef TRACKING_RECORDSEGMENTDELINFO_H
#define TRACKING_RECORDSEGMENTDELINFO_H

#include <string>

#include "foundation/Field.h"
#include "foundation/RecordDirInfoEx.h"

// One device date the segment table must read anew; with an empty root, on
// every directory.
class RecordSegmentDelInfo {
    OV_STRING_FIELD(DeviceInfo)
    OV_STRING_FIELD(Date)

public:
    RecordDirInfoEx const& getRecordDirInfo() const { return m_dirInfo; }
    void setRecordDirInfo(RecordDirInfoEx const& dir) { m_dirInfo = dir; }

private:
    RecordDirInfoEx m_dirInfo;
};

#endif

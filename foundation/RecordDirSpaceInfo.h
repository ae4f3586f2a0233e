#ifndef FOUNDATION_RECORDDIRSPACEINFO_H
#define FOUNDATION_RECORDDIRSPACEINFO_H

#include "foundation/Field.h"
#include "foundation/RecordDirInfo.h"

// Space figures of a directory, in bytes.
class RecordDirSpaceInfo {
    OV_FIELD(long long, TotalSpace, 0)
    OV_FIELD(long long, FreeSpace, 0)
    OV_FIELD(long long, RecordFileSize, 0)
    OV_FIELD(long long, ActualUseableSpace, 0)

public:
    RecordDirInfo const& getRecordDirInfo() const { return m_dirInfo; }
    void setRecordDirInfo(RecordDirInfo const& info) { m_dirInfo = info; }

private:
    RecordDirInfo m_dirInfo;
};

#endif

#ifndef SNAPSHOT_SNAPSHOTRECORDDIREX_H
#define SNAPSHOT_SNAPSHOTRECORDDIREX_H

#include <string>

#include "directory/RefusingRecordDir.h"

// A directory for snapshots. Storing snapshots is not supported yet: it
// refuses every file.
class SnapshotRecordDirEx : public RefusingRecordDir {
public:
    SnapshotRecordDirEx(RecordDirInfoEx const& info, int groupValue, std::string const& deviceId, int recordType)
        : RefusingRecordDir(info, "snapshot", groupValue, deviceId, recordType) {}
};

#endif

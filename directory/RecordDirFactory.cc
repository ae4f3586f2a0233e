#include "directory/RecordDirFactory.h"

#include "directory/PlainRecordDir.h"
#include "directory/RecordDirWithoutIndex.h"
#include "foundation/EncoderType.h"
#include "snapshot/SnapshotRecordDirEx.h"

SafePointer<IRecordDir> RecordDirFactory::create(int dirKind, RecordDirInfoEx const& info, int groupValue,
                                                 std::string const& deviceId, int recordType) {
    if (dirKind != kRecordDirKind)
        return SafePointer<IRecordDir>(new SnapshotRecordDirEx(info, groupValue, deviceId, recordType));
    switch (info.getDiskType()) {
        case DiskKind::kFtp: return SafePointer<IRecordDir>(new RecordDirWithoutIndex(info, recordType));
        // Local disks, SD cards and mounted shares record into the plain
        // folder until the sessions' tests, the tool and the benchmark bound
        // the indexed directory's preallocation and wait for it to be ready.
        default: return SafePointer<IRecordDir>(new PlainRecordDir(info));
    }
}

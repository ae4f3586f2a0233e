#include "directory/RecordDirFactory.h"

#include "directory/HDDirWithIndex.h"
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
        // Network-attached shares keep the plain folder until they get a
        // directory of their own.
        case DiskKind::kNas: return SafePointer<IRecordDir>(new PlainRecordDir(info));
        default:
            return SafePointer<IRecordDir>(new HDDirWithIndex(info, groupValue, deviceId, recordType));
    }
}

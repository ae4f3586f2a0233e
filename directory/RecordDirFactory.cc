#include "directory/RecordDirFactory.h"

#include <mutex>

#include "directory/HDDirWithIndex.h"
#include "directory/NasDirWithIndex.h"
#include "directory/RecordDirWithoutIndex.h"
#include "foundation/EncoderType.h"
#include "snapshot/SnapshotRecordDirEx.h"

namespace NS_RecordDirFactory {

std::mutex& creatorMutex() {
    static std::mutex mutex;
    return mutex;
}

RecordDirFactory::Creator& creator() {
    static RecordDirFactory::Creator made;  // guarded by creatorMutex
    return made;
}

}  // namespace NS_RecordDirFactory

void RecordDirFactory::setCreator(Creator made) {
    std::lock_guard<std::mutex> lock(NS_RecordDirFactory::creatorMutex());
    NS_RecordDirFactory::creator() = std::move(made);
}

SafePointer<IRecordDir> RecordDirFactory::create(int dirKind, RecordDirInfoEx const& info, int groupValue,
                                                 std::string const& deviceId, int recordType) {
    {
        std::lock_guard<std::mutex> lock(NS_RecordDirFactory::creatorMutex());
        IRecordDir* made = NS_RecordDirFactory::creator() ? NS_RecordDirFactory::creator()(dirKind, info) : nullptr;
        if (made != nullptr) return SafePointer<IRecordDir>(made);
    }
    if (dirKind != kRecordDirKind)
        return SafePointer<IRecordDir>(new SnapshotRecordDirEx(info, groupValue, deviceId, recordType));
    switch (info.getDiskType()) {
        case DiskKind::kFtp: return SafePointer<IRecordDir>(new RecordDirWithoutIndex(info, recordType));
        case DiskKind::kNas:
            return SafePointer<IRecordDir>(new NasDirWithIndex(info, groupValue, deviceId, recordType));
        default:
            return SafePointer<IRecordDir>(new HDDirWithIndex(info, groupValue, deviceId, recordType));
    }
}

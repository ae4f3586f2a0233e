#ifndef DISK_IRECORDSTORAGEPOLICY_H
#define DISK_IRECORDSTORAGEPOLICY_H

#include <vector>

#include "directory/IRecordDir.h"
#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"

class SceneLogManager;

// The placement brain of a directory group: which directory a new record
// file goes to, and what is deleted when none has room.
class IRecordStoragePolicy {
public:
    virtual ~IRecordStoragePolicy() = default;

    virtual void setRecordMode(int mode) = 0;
    virtual void insertRecordDir(SafePointer<IRecordDir> const& dir) = 0;
    virtual void deleteRecordDir(SafePointer<IRecordDir> const& dir) = 0;
    // 0 with `dir` set and the file given the directory's description;
    // -768 no directory, -761 not yet ready to delete, -756 full and nothing
    // to be done.
    virtual int getUsableDir(SafePointer<RecordFileInfo> file, int condition, SafePointer<IRecordDir>& dir) = 0;
    virtual void updateRecordDeviceDirPolicy(std::vector<RecordDeviceDirPolicy> const& policies) = 0;
    virtual void enablePolicy() = 0;
    virtual void disablePolicy() = 0;
    virtual bool getPolicyEnableFlag() = 0;
    virtual void increateRecordDiskReference(SafePointer<RecordFileInfo> const& file) = 0;
    virtual void decreaseRecordDiskReference(SafePointer<RecordFileInfo> const& file) = 0;
    // Files past their keeping days of the devices that keep by days.
    virtual int deleteOutDateFile() = 0;
    // The background sweep when the group runs low.
    virtual int deleteEarliestDateFile() = 0;
    // Forgets what is known of the oldest files.
    virtual int clearEarliestFile() = 0;
    virtual void setSceneLogManager(SceneLogManager* manager) = 0;
};

#endif

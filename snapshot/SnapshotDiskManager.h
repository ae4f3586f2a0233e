#ifndef SNAPSHOT_SNAPSHOTDISKMANAGER_H
#define SNAPSHOT_SNAPSHOTDISKMANAGER_H

#include <vector>

#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/RecordDirInfo.h"
#include "foundation/RecordInfo.h"

// The host's door to the snapshot disks, in the host's value types. Every
// operation forwards to SnapshotDiskManagerImplEx; none lets an exception
// out (those that answer an int give -739). Any thread.
class SnapshotDiskManager {
public:
    static int start();
    static void stop();
    static void setRecordDevicePolicy(RecordDeviceDirPolicy const& policy);
    static int removeRecordDevicePolicy(RecordDeviceInfo const& device);
    static void removeAllRecordDevicePolicy();
    static void getRecordDirInfoList(std::vector<RecordDirInfo>& dirs);
    // Entries without a root are never opened. 1.
    static int setRecordDirInfoList(std::vector<RecordDirInfo> const& dirs);
};

#endif

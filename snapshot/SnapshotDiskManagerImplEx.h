#ifndef SNAPSHOT_SNAPSHOTDISKMANAGERIMPLEX_H
#define SNAPSHOT_SNAPSHOTDISKMANAGERIMPLEX_H

#include <memory>
#include <string>
#include <vector>

#include "directory/IRecordDir.h"
#include "disk/RecordDeviceDirPolicy.h"
#include "disk/RecordDeviceDirPolicyManager.h"
#include "disk/RecordDirGroupManager.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "foundation/Singlton.h"
#include "host/OVMutex.h"
#include "host/OVThread.h"

// The snapshot side's disk manager: owns the groups of snapshot directories
// (a group manager of kind 2) and the snapshot channels' policies, and
// gives a snapshot session its directory.
//
// As for recordings, directory lists and policies wait in pending lists for
// the next pass of "setDirPolicyThread" (1 s), which opens the disks off
// the caller's thread. requestRecordDir runs on sessions' threads under the
// creation mutex, the outermost lock of this manager.
class SnapshotDiskManagerImplEx : public Singlton<SnapshotDiskManagerImplEx> {
public:
    // 1 once running (also when it already was), 0 when the thread did not start.
    int start();
    // Stops and empties the groups and forgets every policy.
    void stop();
    // An empty list clears every group at once; another waits for the pass. 1.
    int setRecordDirInfoList(std::vector<RecordDirInfoEx> const& dirs);
    void getRecordDirInfoList(std::vector<RecordDirInfoEx>& dirs);
    void setRecordDevicePolicy(RecordDeviceDirPolicy const& policy);
    // 1 when the channel had a policy, else 0.
    int removeRecordDevicePolicy(RecordDeviceInfo const& device);
    void removeAllRecordDevicePolicy();
    int getRecordDeviceDirPolicy(RecordDeviceInfo const& device, RecordDeviceDirPolicy& policy);
    // A directory of the channel's group for the file: 0 with dir set, -751
    // without a policy, else the group manager's code.
    int requestRecordDir(SafePointer<RecordFileInfo> file, int requestType, int condition,
                         SafePointer<IRecordDir>& dir);
    void decreaseRecordDiskReference(SafePointer<RecordFileInfo> file);
    int deleteFileList(std::vector<std::string> const& names);
    // One pass of "setDirPolicyThread"; 1 keeps it going. Tests call it to
    // apply what is pending without waiting for the thread.
    int setDirPolicyThread();
    RecordDirGroupManager& getRecordDirGroupManager() { return m_groupManager; }

private:
    friend class Singlton<SnapshotDiskManagerImplEx>;
    SnapshotDiskManagerImplEx();
    ~SnapshotDiskManagerImplEx() override;

    RecordDirGroupManager m_groupManager{2};
    RecordDeviceDirPolicyManager m_policyManager;
    std::vector<RecordDirInfoEx> m_pendingDirs;  // guarded by m_pendingDirMutex
    OVMutex m_pendingDirMutex;
    std::vector<RecordDeviceDirPolicy> m_pendingPolicies;  // guarded by m_pendingPolicyMutex
    OVMutex m_pendingPolicyMutex;
    std::unique_ptr<OVThread> m_pThread;
    OVMutex m_startMutex;  // serialises start and stop
    OVMutex m_createMutex;
    OVMutex m_passMutex;   // one pass at a time
};

#endif

#ifndef DISK_RECORDDISKMANAGERIMPL_H
#define DISK_RECORDDISKMANAGERIMPL_H

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "directory/IRecordDir.h"
#include "disk/IRecordServiceListenerManager.h"
#include "disk/RecordDeviceDirPolicy.h"
#include "disk/RecordDeviceDirPolicyManager.h"
#include "disk/RecordDirGroupManager.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/RecordInfo.h"
#include "foundation/SafePointer.h"
#include "foundation/Singlton.h"
#include "host/IAlarmListenerEx.h"
#include "host/OVMutex.h"
#include "host/OVThread.h"
#include "recording/IRecordWriter.h"

class DeviceRecordDiskStatReport;

// The engine's front desk for storage: owns the record directory groups and
// the channel policies, and hands sessions a file and its writer.
//
// The host's threads set directories and policies; both wait in a pending
// list until the next pass of "setDirPolicyThread" (1 s), which opens the
// disks off the caller's thread. Sessions call createRecordFile on their own
// threads; its creation mutex is the outermost lock of the disk layer, so at
// most one file is being placed at any moment.
class RecordDiskManagerImpl : public Singlton<RecordDiskManagerImpl> {
public:
    // 1 once running (also when it already was); 0 when the thread or the
    // host's disk watch did not start.
    int start();
    // Stops and empties the groups and forgets every policy: the host sets
    // them again before the next start.
    void stop();

    // 0 and nothing changed for a CMS of record type 2, whose directories are
    // never replaced from here; else 1. An empty list clears every group at
    // once, on the caller's thread; another waits for the next pass.
    int setRecordDirInfoList(std::vector<RecordDirInfoEx> const& dirs);
    // Every group's directories, then those kept outside the groups.
    void getRecordDirInfoList(std::vector<RecordDirInfoEx>& dirs);
    std::vector<RecordDirInfoEx> getRecordDirInfoList();

    // Stored at once, reaches the groups on the next pass.
    void setRecordDevicePolicy(RecordDeviceDirPolicy const& policy);
    // 1 when the channel had a policy (then gone from the groups too), else 0.
    int removeRecordDevicePolicy(RecordDeviceInfo const& device);
    void removeAllRecordDevicePolicy(int recordMode);
    int getRecordDeviceDirPolicy(RecordDeviceInfo const& device, RecordDeviceDirPolicy& policy);
    void getRecordDevicePolicyList(std::vector<RecordDeviceDirPolicy>& policies);
    void getDeviceListByGroupId(int groupId, std::vector<RecordInfo>& channels);
    // The group of the channel's policy, -1 without one.
    int getDeviceGroupId(RecordDeviceInfo const& device);
    int getGroupId(SafePointer<RecordFileInfo> const& file);

    void setRecordType(int recordType);
    int getRecordType();
    void setDeviceId(std::string const& deviceId);
    std::string getDeviceId();

    int deleteFileListNoIndex(std::vector<std::string> const& names);
    void setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const& listener);
    void setBackupRecordListener(IAlarmListenerEx* listener);
    void setDiskAlarmInterval(int seconds);
    void scanDeviceRecordDisk(DeviceRecordDiskStatReport& report);
    void getDiskFileNumber(int groupId, long& total, long& useable);

    // Gives the session a file in a directory of its channel's group and a
    // writer for it (not yet opened). 0, -751 without a policy, the group
    // manager's code, or createFile's (the disk reference then given back).
    int createRecordFile(SafePointer<RecordFileInfo> file, int requestType, int condition,
                         SafePointer<IRecordWriter>& writer, SafePointer<IRecordDir>& dir);
    // Gives back the session's reference on its disk.
    void decreaseRecordDiskReference(SafePointer<RecordFileInfo> file);

    // One pass of "setDirPolicyThread" without its pause; 1 keeps it going.
    // Tests call it to apply what is pending without waiting for the thread.
    int setDirPolicyThread();

    // The directory in service with this root; null when none.
    SafePointer<IRecordDir> getRecordDir(std::string const& root);
    // Sessions holding the disk, summed over the groups.
    int getDiskReferenceCount(std::string const& diskName);
    RecordDirGroupManager& getRecordDirGroupManager() { return m_groupManager; }

private:
    friend class Singlton<RecordDiskManagerImpl>;
    RecordDiskManagerImpl();
    ~RecordDiskManagerImpl() override;

    RecordDirGroupManager m_groupManager{1};
    RecordDeviceDirPolicyManager m_policyManager;
    std::atomic<int> m_nRecordType{1};
    std::string m_strDeviceId = "NVR";  // guarded by m_idMutex
    OVMutex m_idMutex;
    std::atomic<bool> m_bStop{false};
    std::vector<RecordDirInfoEx> m_pendingDirs;  // guarded by m_pendingDirMutex
    OVMutex m_pendingDirMutex;
    std::vector<RecordDeviceDirPolicy> m_pendingPolicies;  // guarded by m_pendingPolicyMutex
    OVMutex m_pendingPolicyMutex;
    std::unique_ptr<OVThread> m_pThread;
    OVMutex m_startMutex;  // serialises start and stop
    OVMutex m_createMutex;
    // One pass at a time: a pass driven from outside returns only once what
    // was pending before it, taken by the thread or by itself, is applied.
    OVMutex m_passMutex;
};

#endif

#ifndef DISK_RECORDDIRGROUP_H
#define DISK_RECORDDIRGROUP_H

#include <string>
#include <vector>

#include "directory/IRecordDir.h"
#include "directory/RecordDirFactory.h"
#include "disk/IRecordServiceListenerManager.h"
#include "disk/IRecordStoragePolicy.h"
#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "host/IAlarmListenerEx.h"
#include "host/OVMutex.h"

class DeviceRecordDiskStatReport;
class SceneLogManager;

// Space figures of one disk summed over a group's directories on it.
class DiskAlarmThresholdInfo {
public:
    long long getActualUseableSpace() const { return m_nActualUseableSpace; }
    void setActualUseableSpace(long long space) { m_nActualUseableSpace = space; }
    long long getFreeSpace() const { return m_nFreeSpace; }
    void setFreeSpace(long long space) { m_nFreeSpace = space; }
    int getThresholdAlarm() const { return m_nThresholdAlarm; }
    void setThresholdAlarm(int threshold) { m_nThresholdAlarm = threshold; }

private:
    long long m_nActualUseableSpace = 0;
    long long m_nFreeSpace = 0;
    int m_nThresholdAlarm = 0;
};

// One numbered group: its directories, its copy of the channel policies and
// the storage policy that places files among the directories. A channel's
// files go only into the directories of its group.
//
// The group manager calls in under its list mutex (rebuilds, policies, the
// scan), sessions call requestRecordDir without it. Lock order: m_dirMutex,
// m_policyMutex, then the storage policy's own. Directories are stopped with
// no lock of the group held, since a stop waits for a running init.
class RecordDirGroup {
public:
    RecordDirGroup(int groupId, std::string const& deviceId, int recordType, int kind);
    ~RecordDirGroup();

    RecordDirGroup(RecordDirGroup const&) = delete;
    RecordDirGroup& operator=(RecordDirGroup const&) = delete;

    void setGroupId(int groupId) { m_nGroupId = groupId; }
    int getGroupId() const { return m_nGroupId; }

    // Makes the group's directories those of `list`, by root: new ones are
    // made and started, gone ones stopped, kept ones take the new figures
    // (and restart when their attribute changed).
    void updateRecordDirList(std::vector<RecordDirInfoEx> const& list);
    void clearDirList();
    bool findRecordDir(RecordDirInfoEx const& info, SafePointer<IRecordDir>& dir);
    static bool isExistDir(SafePointer<IRecordDir> const& dir, std::vector<RecordDirInfoEx> const& list);

    void addRecordDirPolicy(RecordDeviceDirPolicy const& policy);
    void rmRecordDirPolicy(RecordDeviceDirPolicy const& policy);
    // Drops the policies of one record mode.
    void clearDirPolicyList(int recordMode);
    void updateDirPolicy();
    std::vector<RecordDeviceDirPolicy> getDirPolicyList();

    // The storage policy's choice, among directories that are not failing
    // by their write time-outs; 0 or its failure code.
    int requestRecordDir(SafePointer<RecordFileInfo> file, int condition, SafePointer<IRecordDir>& dir);
    void setDirRequestFlag(SafePointer<RecordFileInfo> const& file, int requestType);
    void decreaseRecordDiskReference(SafePointer<RecordFileInfo> const& file);
    // Sessions of this group holding the disk; -1 when the group has no such disk.
    int getDiskReference(std::string const& diskName);
    // Non-zero when a directory took it.
    int deleteFile(std::string const& name);
    int deleteOutDateFile();
    int deleteEarliestDateFile();
    int clearEarliestFile();
    void enablePolicy();
    void disablePolicy();
    // Alarms (minor type 6) for each local disk whose free space is below
    // its threshold; -1 without a writable local directory, else 0.
    int detectDiskSpace();
    void touchoffDiskStatusListener(std::string const& diskName, int minorType, bool alarm);

    // The directories' own descriptions, status included.
    void getRecordDirInfoList(std::vector<RecordDirInfoEx>& list);
    void getDiskFileNumber(long& total, long& free);
    void scanDeviceRecordDisk(DeviceRecordDiskStatReport& report);
    void setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const& listener);
    void setBackupRecordListener(IAlarmListenerEx* listener);
    void setDiskAlarmInterval(int seconds);
    void setSceneLogManager(SceneLogManager* manager);

    static constexpr int kDiskSpaceAlarm = 6;

private:
    std::vector<SafePointer<IRecordDir>> copyDirList();
    // Keeps failing directories out of the storage policy; m_dirMutex held.
    void excludeFailingDirs();
    void forgetDir(SafePointer<IRecordDir> const& dir);  // m_dirMutex held

    int m_nGroupId;
    int m_nSelectIndex = -1;  // guarded by m_dirMutex
    std::vector<SafePointer<IRecordDir>> m_dirs;  // guarded by m_dirMutex
    // Taken out of the storage policy while failing; guarded by m_dirMutex.
    std::vector<SafePointer<IRecordDir>> m_excludedDirs;
    OVMutex m_dirMutex;
    RecordDirFactory m_factory;
    std::vector<RecordDeviceDirPolicy> m_policies;  // guarded by m_policyMutex
    OVMutex m_policyMutex;
    std::string m_strDeviceId;
    int m_nRecordType;
    int m_nKind;
    SafePointer<IRecordServiceListenerManager> m_listener;  // guarded by m_dirMutex
    double m_dAlarmData = -1.0;
    SafePointer<IRecordStoragePolicy> m_storagePolicy;
    // Handed to every directory (setMutex), which holds it around its init;
    // kept apart from m_dirMutex so that a long init blocks no request.
    OVMutex m_dirShareMutex;
    SceneLogManager* m_pSceneLog = nullptr;  // not owned
};

#endif

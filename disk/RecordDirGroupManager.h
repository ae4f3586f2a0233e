#ifndef DISK_RECORDDIRGROUPMANAGER_H
#define DISK_RECORDDIRGROUPMANAGER_H

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "disk/IRecordServiceListenerManager.h"
#include "disk/RecordDeviceDirPolicy.h"
#include "disk/RecordDirGroup.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "foundation/SceneLogManager.h"
#include "host/IAlarmListenerEx.h"
#include "host/OVMutex.h"
#include "host/OVThread.h"

class DeviceRecordDiskStatReport;

// The numbered groups of record directories, rebuilt from the host's list,
// and the engine's housekeeping on "DirGroupListScanThread": state detection
// every pass, clearing every 60, earliest-date deletion and the space alarm
// every 120, overdue deletion every 1800. The counter starts at -60 and goes
// back there whenever a policy arrives, so housekeeping waits a minute after
// start and after each change.
//
// The list mutex (m_mutex) guards the groups, the outside list and the
// stored listeners; it comes after the disk manager's creation mutex and
// before every group's. Requests let it go before they reach the group.
class RecordDirGroupManager {
public:
    // kind 1 records, 2 snapshots: the kind every group makes its directories of.
    explicit RecordDirGroupManager(int kind);
    ~RecordDirGroupManager();

    RecordDirGroupManager(RecordDirGroupManager const&) = delete;
    RecordDirGroupManager& operator=(RecordDirGroupManager const&) = delete;

    bool start();
    void stop();
    void clearAll();
    void setRecordType(int recordType);
    void setDeviceId(std::string const& deviceId);
    // Splits the host's list into groups and the directories left outside
    // (disabled ones other than SD cards, attributes 2 and 3), and rebuilds.
    void setRecordDirInfoList(std::vector<RecordDirInfoEx> const& list);
    void getRecordDirInfoList(std::vector<RecordDirInfoEx>& list);
    // A channel is in at most one group; a policy for a group that does not
    // exist is dropped until the policies are applied again.
    void addRecordDevicePolicy(RecordDeviceDirPolicy const& policy);
    void removeRecordDevicePolicy(RecordDeviceDirPolicy const& policy);
    void removeAllRecordDevicePolicy(int recordMode);
    // 0 with `dir` set; -755 no such group, -739 an exception, else the
    // storage policy's code.
    int requestRecordDir(SafePointer<RecordFileInfo> file, int requestType, int groupId, int condition,
                         SafePointer<IRecordDir>& dir);
    void decreaseRecordDiskReference(SafePointer<RecordFileInfo> file);
    int deleteFileList(std::vector<std::string> const& names);
    void getDiskFileNumber(int groupId, long& total, long& free);
    void scanDeviceRecordDisk(DeviceRecordDiskStatReport& report);
    void setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const& listener);
    void setBackupRecordListener(IAlarmListenerEx* listener);
    void setDiskAlarmInterval(int seconds);
    bool findRecordDirGroup(int groupId, SafePointer<RecordDirGroup>& group);
    int getGroupCount();

    // One pass of the scan thread; 1 keeps the thread going.
    int scanDirGroupList();
    int getScanCount() const { return m_nScanCount.load(); }
    // Housekeeping by counter value, so tests can land on a period.
    void setScanCount(int count) { m_nScanCount = count; }

    static constexpr int kStopMarker = 0x11223344;
    static constexpr int kScanStart = -60;
    static constexpr int kClearPasses = 60;
    static constexpr int kEarliestPasses = 120;
    static constexpr int kOutDatePasses = 1800;

private:
    void updateDirGuoupList(std::map<int, std::vector<RecordDirInfoEx>> const& groups);  // m_mutex held
    SafePointer<RecordDirGroup> findGroup(int groupId);  // m_mutex held
    void updateDiskStatusListener();                     // m_mutex held
    void updateBackupRecordListener();                   // m_mutex held
    void updateRecordDiskStoragePolicy();                // m_mutex held
    void updateDiskAlarmInterval();                      // m_mutex held
    std::vector<SafePointer<RecordDirGroup>> copyGroupList();

    std::vector<SafePointer<RecordDirGroup>> m_groups;  // guarded by m_mutex
    OVMutex m_mutex;
    std::unique_ptr<OVThread> m_pThread;
    std::atomic<int> m_nStopMarker{0};
    std::vector<RecordDirInfoEx> m_outsideDirs;  // guarded by m_mutex
    int m_nRecordType = 1;                       // guarded by m_mutex
    std::string m_strDeviceId = "NVR";           // guarded by m_mutex
    std::atomic<int> m_nScanCount{kScanStart};
    int m_nKind;
    SafePointer<IRecordServiceListenerManager> m_listener;  // guarded by m_mutex
    IAlarmListenerEx* m_pBackupListener = nullptr;          // not owned; guarded by m_mutex
    std::unique_ptr<SceneLogManager> m_pSceneLog;
    int m_nDiskAlarmInterval = 0;  // guarded by m_mutex
};

#endif

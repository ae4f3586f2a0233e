#ifndef DISK_RECORDDISKSTORAGEPOLICY_H
#define DISK_RECORDDISKSTORAGEPOLICY_H

#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "directory/RecordDirEx.h"
#include "disk/IRecordStoragePolicy.h"
#include "disk/RecordDeviceDirPolicyList.h"
#include "foundation/RecordDiskInfoEx.h"
#include "host/OVMutex.h"
#include "host/OVThread.h"

// The storage policy every group builds. Channels spread over disks by
// reference counts per disk (a preference, not a wall); with the dual
// policy, the second half of the channels fills the disks from the highest
// number down while the first fills them from the lowest up. When no
// directory has room, a cycle-writing channel's group deletes its oldest
// dates, and of the day being recorded only its oldest files across all
// disks; but not in the first 300 s after start, so that slow disks can come
// up first.
//
// Sessions call getUsableDir under the engine's creation mutex; the scan
// thread and the "RecordDiskStoragePolicy" thread run beside them. Lock
// order: m_dirMutex, then the policy list's. Long deletions run on copies with
// neither held.
class RecordDiskStoragePolicy : public IRecordStoragePolicy {
public:
    RecordDiskStoragePolicy();
    ~RecordDiskStoragePolicy() override;

    void setRecordMode(int mode) override { m_nRecordMode = mode; }
    void insertRecordDir(SafePointer<IRecordDir> const& dir) override;
    void deleteRecordDir(SafePointer<IRecordDir> const& dir) override;
    int getUsableDir(SafePointer<RecordFileInfo> file, int condition, SafePointer<IRecordDir>& dir) override;
    void updateRecordDeviceDirPolicy(std::vector<RecordDeviceDirPolicy> const& policies) override;
    void enablePolicy() override { m_bDualPolicyEnable = true; }
    void disablePolicy() override { m_bDualPolicyEnable = false; }
    bool getPolicyEnableFlag() override { return m_bReady; }
    void increateRecordDiskReference(SafePointer<RecordFileInfo> const& file) override;
    void decreaseRecordDiskReference(SafePointer<RecordFileInfo> const& file) override;
    int deleteOutDateFile() override;
    int deleteEarliestDateFile() override;
    int clearEarliestFile() override { return 0; }
    void setSceneLogManager(SceneLogManager* manager) override { m_pSceneLog = manager; }

    void resetDiskReference();
    int getDiskReference(std::string const& diskName);
    // Counters are per physical disk: the part of a local disk name behind
    // its first "@", else the whole name.
    static std::string getDiskName(RecordDirInfoEx const& info);
    // Candidates for a file, in the order they are tried.
    void getDirListInCondition(SafePointer<RecordFileInfo> const& file, int condition,
                               std::vector<SafePointer<IRecordDir>>& out);
    void stopCleanSpaceThread();
    // The background sweep over `dirs`: 1 once there is room enough.
    int cleanSpace(std::vector<SafePointer<IRecordDir>> const& dirs);

private:
    bool isInCondition(int condition, SafePointer<IRecordDir> const& dir);
    bool isOverAccessLimit(SafePointer<IRecordDir> const& dir);
    bool getFreeRecordDir(std::vector<SafePointer<IRecordDir>> const& candidates, SafePointer<IRecordDir>& dir);
    bool needWaitDiskReady();
    bool getUsableDirAfterClean(std::vector<SafePointer<IRecordDir>> const& candidates, SafePointer<IRecordDir>& dir);
    bool cleanSpace(std::vector<SafePointer<IRecordDir>> const& candidates, SafePointer<IRecordDir>& dir);
    bool clearEarliestFile(std::vector<SafePointer<IRecordDir>> const& candidates, SafePointer<IRecordDir>& dir);
    // Cuts the date oldest first across the local candidates until they
    // hold `wanted` useable files; false when nothing more may go.
    bool cutNewestDate(std::vector<SafePointer<IRecordDir>> const& candidates,
                       std::vector<RecordDeviceDirPolicy> const& policies, std::string const& date, int wanted);
    static int getUseableFileSum(std::vector<SafePointer<IRecordDir>> const& dirs);
    bool getEarliestDateList(std::vector<SafePointer<IRecordDir>> const& dirs,
                             std::vector<RecordDeviceDirPolicy> const& policies, std::set<std::string>& dates);
    static int getDirUseableFileNum(SafePointer<IRecordDir> const& dir);
    void getRecordDirListInCondition(int condition, std::vector<SafePointer<IRecordDir>>& dirs);
    int detectCycleWriteDeviceCount();
    int detectRecordDirSpaceInfo(std::vector<SafePointer<IRecordDir>> const& dirs);
    bool checkRecordDiskInConditon(int n);
    bool hasRoomEnough(std::vector<SafePointer<IRecordDir>> const& dirs, int cycleWriters);
    int cleanLastDateDirSpace(std::vector<SafePointer<IRecordDir>> const& dirs,
                              std::vector<RecordDeviceDirPolicy> const& policies, std::string const& date);
    int startCleanSpaceThread();
    int cleanSpaceThreadBody();
    RecordDiskInfoEx* findDisk(std::string const& diskName);  // m_dirMutex held
    void insertRecordDisk(std::string const& diskName);       // m_dirMutex held

    // Read by sessions, the scan thread and the sweep alike.
    std::atomic<bool> m_bReady{false};
    std::atomic<bool> m_bDualPolicyEnable{true};
    std::atomic<bool> m_bWaiting{false};
    std::atomic<double> m_dFirstWaitTime{0.0};  // up-time of the first wait
    std::atomic<int> m_nRecordMode{1};
    std::vector<RecordDiskInfoEx> m_disks;           // guarded by m_dirMutex
    std::vector<RecordDirEx> m_ascDirs;              // guarded by m_dirMutex
    std::vector<RecordDirEx> m_decDirs;              // guarded by m_dirMutex
    std::vector<SafePointer<IRecordDir>> m_otherDirs;  // no disk number; guarded by m_dirMutex
    OVMutex m_dirMutex;
    RecordDeviceDirPolicyList m_policies;
    std::unique_ptr<OVThread> m_pThread;
    SceneLogManager* m_pSceneLog = nullptr;          // not owned
};

#endif

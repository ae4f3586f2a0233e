#ifndef DISK_RECORDOTHERSTORAGEPOLICY_H
#define DISK_RECORDOTHERSTORAGEPOLICY_H

#include <atomic>
#include <string>
#include <vector>

#include "directory/EarliestFileCollector.h"
#include "disk/IRecordStoragePolicy.h"
#include "disk/RecordDeviceDirPolicyList.h"
#include "host/OVMutex.h"

// A storage policy that takes its directories in rotation and makes room
// file by file from the earliest-file collector: the oldest unlocked file of
// the group goes first. No reference counts and no wait at start.
//
// Lock order: m_dirMutex, then the policy list's; the collector's own locks are
// taken with neither held.
class RecordOtherStoragePolicy : public IRecordStoragePolicy {
public:
    // Record type 2 (many devices in one folder) keeps longer lists.
    explicit RecordOtherStoragePolicy(int recordType);

    void setRecordMode(int mode) override { m_nRecordMode = mode; }
    void insertRecordDir(SafePointer<IRecordDir> const& dir) override;
    void deleteRecordDir(SafePointer<IRecordDir> const& dir) override;
    int getUsableDir(SafePointer<RecordFileInfo> file, int condition, SafePointer<IRecordDir>& dir) override;
    void updateRecordDeviceDirPolicy(std::vector<RecordDeviceDirPolicy> const& policies) override;
    void enablePolicy() override {}
    void disablePolicy() override {}
    bool getPolicyEnableFlag() override { return false; }
    void increateRecordDiskReference(SafePointer<RecordFileInfo> const&) override {}
    void decreaseRecordDiskReference(SafePointer<RecordFileInfo> const&) override {}
    int deleteOutDateFile() override;
    int deleteEarliestDateFile() override;
    int clearEarliestFile() override;
    void setSceneLogManager(SceneLogManager*) override {}

    void getDirListInCondition(int condition, std::vector<SafePointer<IRecordDir>>& out);
    // Makes room from the oldest files of the named directories; true with
    // the directory that then has room.
    bool cleanSpace(std::vector<std::string> const& rootDirs, SafePointer<IRecordDir>& dir);
    void scanEarliestFile();

    // A directory writing faster than this is busy enough not to be chosen.
    static constexpr long long kBusyWriteSpeed = 31457280;

private:
    bool getFreeRecordDir(std::vector<SafePointer<IRecordDir>> const& list, SafePointer<IRecordDir>& dir);
    bool getUsableDirAfterClean(std::vector<SafePointer<IRecordDir>> const& list, SafePointer<IRecordDir>& dir);
    bool clearEarliestFile(SafePointer<IRecordDir>& dir);
    SafePointer<IRecordDir> findRecordDir(std::string const& rootDir);
    std::vector<SafePointer<IRecordDir>> copyDirs();

    std::atomic<int> m_nRecordMode{1};
    int m_nRotation = -1;  // position of the last directory chosen; under the engine's creation mutex
    EarliestFileCollector m_collector;
    std::vector<SafePointer<IRecordDir>> m_dirs;   // guarded by m_dirMutex
    OVMutex m_dirMutex;
    RecordDeviceDirPolicyList m_policies;
};

#endif

#ifndef SNAPSHOT_SNAPSHOTRECORDDIREX_H
#define SNAPSHOT_SNAPSHOTRECORDDIREX_H

#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "directory/IRecordDir.h"
#include "recording/RecordFileRequestManager.h"
#include "recording/RecordSpeedCalculator.h"
#include "snapshot/SnapshotDirOperatorEx.h"
#include "snapshot/SnapshotUseableFileDir.h"

class OVThread;

// A snapshot directory: the tree <root>/snapshot of data files and their
// indexes, and the pool <root>/useableDir of preallocated data files. A
// data file is taken from the pool for a new index entry, and goes back to
// it when retention or the host deletes its pictures; only reclaiming space
// (cleanSpace) deletes files, and the pool makes at most 5 new ones a run.
//
// Sessions call createFile, addDataLen and the getters; the group's threads
// the rest. The policy list is guarded by m_policyMutex.
class SnapshotRecordDirEx : public IRecordDir {
public:
    // 5 files of 64 MiB, as the limit is written: "at most 300 MiB".
    static constexpr long long kCreateLimitBytes = 314572800;

    // Data files are of the directory's segment size, 64 MiB when it has
    // none (a host's list gives none), or poolFileSize when that is given;
    // the size is kept as the segment size, which writers fill up to. The
    // limit of 5 prepared files holds whatever the size.
    SnapshotRecordDirEx(RecordDirInfoEx const& info, int groupValue, std::string const& deviceId, int recordType,
                        long long poolFileSize = 0);
    ~SnapshotRecordDirEx() override;

    // Space figures, the folder "snapshot", the operator and the pool:
    // 1, or 0 (not ready; the status thread tries again).
    int init() override;
    bool isWritable() override { return m_bInit; }
    bool hasFreeSpace() override;
    int getRecordDirSpaceInfo(RecordDirSpaceInfo& info) override;
    // An index entry and, for a new data file, a pool file under its name:
    // 0, -766 not ready, -767 the entry failed, -771 the pool had none.
    int createFile(SafePointer<RecordFileInfo>& file) override;
    void addDataLen(int length) override { m_speed.addDataLen(length, 0); }
    long long getWriteSpeed() override { return m_speed.getRecordSpeed(); }
    int getEarliestFileList(std::vector<RecordDeviceDirPolicy> const& policies, EarliestFileInfoList& list,
                            bool bIncludeLocked, int nCount) override;
    // The dates that deleteEarliestDateFile can free files of.
    int getEarliestDateList(std::vector<RecordDeviceDirPolicy> const& policies, std::set<std::string>& dates) override;
    // Up to n of the date's oldest data files go back to the pool, where
    // the next request finds them: the number moved.
    int deleteEarliestDateFile(std::vector<RecordDeviceDirPolicy> const& policies, std::string const& date,
                               int n) override;
    // Frees one file: 0, or -1 when none could be.
    int deleteEarliestFile(std::vector<RecordDeviceDirPolicy> const& policies) override;
    // The data file goes back to the pool, then its entry leaves the index:
    // 1, or 0 when the file could not be moved.
    int deleteFile(SafePointer<RecordFileInfo> const& file) override;
    using IRecordDir::deleteFile;
    int startDetectionThread() override;
    void stopDetectionThread() override;
    int deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const& policies) override;
    void getRecordDirStatus(RecordDirInfoEx& info) override { info = getRecordDirInfoEx(); }
    void setDirPolicyList(std::vector<RecordDeviceDirPolicy> const& policies) override;
    void setDeviceRequetType(RecordDeviceInfo const& device, int nType) override {
        m_requests.updateDeviceRequestType(device, nType);
    }
    void setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const&) override {}
    // Data files in use and in the pool; free: the pool's.
    int getDirFileNumber(int& total, int& free) override;

    // Frees n files: first unused pool files, then the oldest data files of
    // cycle-writing channels, deleted outright. The number freed.
    int cleanSpace(int n);
    // Deletes the data file and then its entry: true when the file was
    // deleted. A file already gone loses its entry all the same, so that
    // it cannot stand first among the oldest for ever.
    bool deleteFileWithOutRecycle(SafePointer<RecordFileInfo> const& file);
    // Device dir, date folder and time (ms) of a picture's handle.
    static bool parseImageInfo(std::string const& name, std::string& deviceDir, std::string& date, long long& time);

    // One round of the status thread: init while not ready, the space
    // figures every 600 rounds. Answers 1 (keep running).
    int detectDirStatusThread();
    bool isTimeToDetectDirSpace() const { return m_nDetectCount % kDetectSpaceRounds == 0; }
    int getCreatedFileCount() const { return m_nCreatedFileCount; }
    SafePointer<SnapshotUseableFileDir> getUseableFileDir() const { return m_pool; }
    SafePointer<SnapshotDirOperatorEx> getDirOperator() const { return m_operator; }

    static constexpr int kDetectSpaceRounds = 600;

private:
    explicit SnapshotRecordDirEx(RecordDirInfoEx const& info);
    bool initDiskSpaceInfo();
    int initDirs();
    void detectDirSpace();
    std::vector<RecordDeviceDirPolicy> copyPolicies();

    std::atomic<bool> m_bInit{false};
    RecordFileRequestManager m_requests;
    SafePointer<SnapshotDirOperatorEx> m_operator;  // made once: sessions read it
    SafePointer<SnapshotUseableFileDir> m_pool;     // made once: sessions read it
    std::atomic<int> m_nCreatedFileCount{0};
    int m_nDetectCount = 0;  // status thread only
    long long m_nPoolFileSize;
    std::unique_ptr<OVThread> m_pThread;
    RecordSpeedCalculator m_speed;
    OVMutex m_policyMutex;
    std::vector<RecordDeviceDirPolicy> m_policies;  // guarded by m_policyMutex
    OVMutex m_initMutex;  // one init at a time: the group's and the status thread's
};

#endif

#ifndef DIRECTORY_RECORDDIRWITHOUTINDEX_H
#define DIRECTORY_RECORDDIRWITHOUTINDEX_H

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "directory/IRecordDir.h"
#include "directory/RecordDirWithoutIndexOperator.h"
#include "foundation/RecordDirSpaceInfo.h"
#include "host/GThread.h"
#include "host/IDiskManager.h"
#include "host/OVMutex.h"

// The directory of an FTP disk (a mounted folder here): no index, no pools.
// A record file is made empty under its name "<id>_<ip>_<camera>_<time>.ts"
// when a session asks for it and grows as it is written; the time in the
// name is the only order, and reclamation deletes the oldest by it.
//
// Space is the configured useable space; the record files' bytes are
// counted by a walk at init and every kSpaceRounds rounds, and in between
// each file handed out counts a whole segment, so that a directory never
// promises room its growing files will take.
//
// Threads: its status thread (init, detectDirStatus, reclamation),
// sessions (createFile), reclaiming threads of the group (getEarliestFileList,
// deleteFile, deleteOutDateFile) and queries (getRecordDirStatus).
class RecordDirWithoutIndex : public IRecordDir {
public:
    // Touches no disk.
    RecordDirWithoutIndex(RecordDirInfoEx const& info, int recordType);
    ~RecordDirWithoutIndex() override;

    int init() override;
    bool isWritable() override;
    // A whole segment must fit: free space of exactly one segment is none.
    bool hasFreeSpace() override;
    int getRecordDirSpaceInfo(RecordDirSpaceInfo& info) override;
    // 0, or -766 not initialised, -769 no name, -770 no folder, -771 no file.
    int createFile(SafePointer<RecordFileInfo>& file) override;
    void addDataLen(int) override {}
    long long getWriteSpeed() override { return 0; }
    // The oldest files by the time in their names, of the policies' devices
    // (none: every device); 0, or -6 not initialised, -1 unreadable.
    int getEarliestFileList(std::vector<RecordDeviceDirPolicy> const& policies, EarliestFileInfoList& list,
                            bool bIncludeLocked, int nCount) override;
    // Removes the file: 1. The file a channel was last given may still be
    // growing and is kept: 0, as for a file that can't be removed.
    int deleteFile(SafePointer<RecordFileInfo> const& file) override;
    using IRecordDir::deleteFile;
    int startDetectionThread() override;
    void stopDetectionThread() override;
    // Deletes the files of keep-by-days devices past their days; 1.
    int deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const& policies) override;
    void getRecordDirStatus(RecordDirInfoEx& info) override;
    void setDirPolicyList(std::vector<RecordDeviceDirPolicy> const& policies) override;
    void setDeviceRequetType(RecordDeviceInfo const&, int) override {}
    void setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const& listener) override;

    // Brings the record files' bytes down to `target`, oldest first, at most
    // one list of kEarliestListSize files a call: 1 when reached or the list
    // ran out, 0 without policies or on a failure.
    int cleanSpace(long long target);
    // Removes a device folder with all its files.
    bool clearRecordDir(std::string const& deviceDir);
    // One round of status detection.
    void detectDirStatus();
    // The status thread's body: 1 goes on, 0 ends the thread.
    int detectDirStatusThread();
    // The space figures of the last count and what was handed out or freed since.
    RecordDirSpaceInfo getSpaceRecord() const;
    bool isInit() const { return m_bInit.load(); }
    int getDetectCount() const { return m_nDetectCount.load(); }
    SafePointer<RecordDirWithoutIndexOperator> getOperator() const;

    static constexpr int kSpaceRounds = 1800;
    static constexpr int kEmptyDirRounds = 600;
    static constexpr int kEarliestListSize = 50;
    static constexpr int kFtpDiskAlarmMajorType = 4;

private:
    bool initDirs();
    // The work of the like-named calls, also for init while not initialised.
    int collectEarliestFiles(std::vector<RecordDeviceDirPolicy> const& policies, EarliestFileInfoList& list);
    int removeFile(SafePointer<RecordFileInfo> const& file);
    void deleteOverdueFiles(std::vector<RecordDeviceDirPolicy> const& policies);
    // Counts the record files' bytes; reclaims when a segment does not fit.
    bool initDiskSpaceInfo();
    bool isTimeToDetectDirSpace() const { return m_nDetectCount % kSpaceRounds == 0; }
    bool isTimeToDeleteEmptyDir() const;
    // The bytes that cleanSpace must reach for hasFreeSpace to hold again.
    long long getCleanTarget() const;
    // Files deleted: their bytes leave the count.
    void updateRecordDirSpaceInfo(long long length);
    void touchoffDiskStatusListener(RecordDirInfoEx const& info, int errorCode);
    std::set<std::string> getRecordingFiles();

    std::atomic<bool> m_bInit{false};
    SafePointer<RecordDirWithoutIndexOperator> m_operator;  // replaced by init only while not initialised
    mutable OVMutex m_mutex;
    RecordDirSpaceInfo m_space;                      // guarded by m_mutex
    std::vector<RecordDeviceDirPolicy> m_policies;   // guarded by m_mutex
    // Device folder -> whole path of the file it was given last.
    std::map<std::string, std::string> m_recording;  // guarded by m_mutex
    SafePointer<IRecordServiceListenerManager> m_listener;  // guarded by m_mutex
    std::atomic<IDiskManager*> m_pDiskManager{nullptr};    // process-lived, not owned
    std::atomic<int> m_nDetectCount{0};
    std::atomic<bool> m_bStopFlag{true};
    int m_nRecordType;
    std::unique_ptr<GThread> m_pStatusThread;
};

#endif

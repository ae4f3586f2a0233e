#ifndef DIRECTORY_HDDIRWITHINDEX_H
#define DIRECTORY_HDDIRWITHINDEX_H

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "directory/EmptyDirManager.h"
#include "directory/IRecordDir.h"
#include "directory/IndexDirManager.h"
#include "directory/RecordDirHandler.h"
#include "directory/RecordRecycleBin.h"
#include "foundation/RecordDirSpaceInfo.h"
#include "host/GThread.h"
#include "host/IDiskManager.h"
#include "host/OVMutex.h"
#include "recording/RecordFileRequestManager.h"
#include "recording/RecordSpeedCalculator.h"
#include "recording/RecordWriterCloseThread.h"

// The directory of a local disk partition or an SD card: preallocated record
// files in record/empty, reclaimed ones in record/recycleBin, index files in
// record/Index, all rebuilt from the folders by init. It is created not
// ready and makes itself ready on its own "dirStatusDetectionThread"; when
// the disk goes, it goes not ready as a whole and the next successful init
// rebuilds it.
//
// Threads: the status thread (init, detectDirStatus, detectDirSpace,
// clearDeviceRecord), the close thread, sessions (createFile, addDataLen,
// closeRecordWriter), reclaiming threads (getEarliestFileList, deleteFile)
// and queries (getRecordDirStatus). The pools lock themselves.
class HDDirWithIndex : public IRecordDir {
public:
    // Touches no disk.
    HDDirWithIndex(RecordDirInfoEx const& info, int groupValue, std::string const& deviceId, int recordType);
    ~HDDirWithIndex() override;

    int init() override;
    bool isWritable() override;
    bool hasFreeSpace() override;
    int getRecordDirSpaceInfo(RecordDirSpaceInfo& info) override;
    // 0, or -713 not ready, the index's code, -759 no file left, -763 scene log.
    int createFile(SafePointer<RecordFileInfo>& file) override;
    void addDataLen(int length) override;
    long long getWriteSpeed() override;
    int getEarliestFileList(std::vector<RecordDeviceDirPolicy> const& policies, EarliestFileInfoList& list,
                            bool bIncludeLocked, int nCount) override;
    // Into the bin, then out of the index: 1. A file that can't be moved
    // and is gone loses its entry all the same: 0.
    int deleteFile(SafePointer<RecordFileInfo> const& file) override;
    using IRecordDir::deleteFile;
    int startDetectionThread() override;
    void stopDetectionThread() override;
    int deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const& policies) override;
    void getRecordDirStatus(RecordDirInfoEx& info) override;
    void setDirPolicyList(std::vector<RecordDeviceDirPolicy> const& policies) override;
    void setDeviceRequetType(RecordDeviceInfo const& device, int nType) override;
    void setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const& listener) override;
    void closeRecordWriter(SafePointer<IRecordWriter> const& writer) override;
    bool isIOError() override;
    int scanDeviceRecordDisk(DeviceRecordDiskStatReport& report) override;
    int getDirFileNumber(int& total, int& free) override;
    int getEarliestDateList(std::vector<RecordDeviceDirPolicy> const& policies, std::set<std::string>& dates) override;
    int deleteEarliestDateFile(std::vector<RecordDeviceDirPolicy> const& policies, std::string const& date,
                               int n) override;
    int deleteEarliestDateIndexFile(std::vector<RecordDeviceDirPolicy> const& policies,
                                    std::string const& date) override;
    int deleteSpecialTimeSegmentFile(std::vector<RecordDeviceDirPolicy> const& policies, std::string const& date,
                                     long long time) override;
    void setDiskAlarmInterval(int seconds) override;
    // The begin times of the date's oldest files that a cut may take, at
    // most `wanted` per device (RecordDirHandler::getDeletableBeginTimes);
    // nothing while not writable.
    void getDeletableBeginTimes(std::vector<RecordDeviceDirPolicy> const& policies, std::string const& date,
                                int wanted, std::vector<long long>& begins);
    int updateFileState(int, int, int, int) override { return 1; }

    // Bytes of files that can be handed out without preallocating: the
    // bin's, and the pool's except on an SD card.
    long long getFreeSize();

    // One round of status detection: 0 ready or not answered, -1 not ready.
    virtual int detectDirStatus();
    // The status thread's body: 1 goes on, 0 ends the thread.
    int detectDirStatusThread();
    // Space figures and, on an SD card, the alarm threshold; 0, -1 on failure.
    int detectDirSpace();
    // Sends alarm `alarmType` unless it repeats the last one within the
    // alarm interval (up-time); with notify false only remembers it.
    void touchoffDiskStatusListener(RecordDirInfoEx const& info, int alarmType, bool notify);
    // Which alarm a disk state raises and whether it is sent.
    static int getAlarmType(int diskState, bool& notify);
    // The alarm of a data version that can't be recorded on; 0 for none.
    static int getDataVersionAlarmType(int status);

    // init has succeeded and the disk has not gone since.
    bool isReady() const { return m_bReady.load(); }
    int getDetectCount() const { return m_nDetectCount.load(); }
    RecordDirSpaceInfo getSpaceRecord();

    static constexpr int kHeartbeatLimitSeconds = 3600;
    static constexpr long long kSdCardReserve = 314572800;  // 300 MiB
    static constexpr int kIndexFileSize = 0x80000;
    static constexpr int kSpaceRounds = 600;
    static constexpr int kClearRounds = 1800;
    static constexpr int kSdCardSpaceAlarm = 6;

protected:
    // What a directory of another disk kind changes; the defaults are the
    // local disk's. Each runs on the thread its caller runs on.
    virtual int initDirs(int fileSystemFormat);
    // 0, -1 on failure.
    virtual int initRecordSpace();
    // The pool of empty files: init (1 on success), whether one can be
    // given, giving one (1 when given), its count, and starting or stopping
    // a fill.
    virtual int initEmptyPool(int fileSystemFormat) { return m_emptyDir->init(fileSystemFormat); }
    virtual bool poolHasFreeSpace() { return m_emptyDir->hasFreeSpace(); }
    virtual int takeEmptyFile(SafePointer<RecordFileInfo>& file) { return m_emptyDir->createFileEx(file); }
    virtual int getPoolFileNumber() { return m_emptyDir->getEmptyFileNumber(); }
    virtual void setPoolRunning(bool running);
    // Each round of the status thread while ready, after the space check.
    virtual void onReadyRound() {}
    void failInit(char const* message, int line);
    IDiskManager* diskManager() const { return m_pDiskManager.load(); }
    // 95 % of `base` as the actual useable space, index files for the files
    // it holds; answers that number of files (segment size > 0).
    int applyUseableSpace(long long base);
    void openFillUnlessClosing();

    // The class named in printed lines.
    char const* m_pszPrintName = "HDDirWithIndex";
    SafePointer<EmptyDirManager> m_emptyDir;
    SafePointer<RecordRecycleBin> m_recycleBin;
    SafePointer<IndexDirManager> m_indexDir;
    SafePointer<RecordDirHandler> m_handler;
    std::string m_strRecordPath;
    std::string m_strDeviceId;
    // Set by stopDetectionThread until the next start: a fill must not begin.
    std::atomic<bool> m_bClosing{false};

private:
    void clearDeviceRecord();
    // A device folder "<device>_move...": its files to the bin, then it goes.
    bool clearMovedDevice(std::string const& name);
    void setStatus(int status);

    SafePointer<RecordSpeedCalculator> m_speed;
    std::atomic<bool> m_bReady{false};
    OVMutex m_spaceMutex;
    RecordDirSpaceInfo m_space;  // guarded by m_spaceMutex
    // Process-lived, not owned; set by init while sessions read it.
    std::atomic<IDiskManager*> m_pDiskManager{nullptr};
    std::vector<RecordDeviceDirPolicy> m_policies;  // guarded by m_policyMutex
    OVMutex m_policyMutex;
    RecordFileRequestManager m_requests;
    std::atomic<bool> m_bStopFlag{true};
    std::unique_ptr<GThread> m_pStatusThread;
    int m_nGroupValue;
    int m_nRecordType;
    std::atomic<int> m_nDetectCount{0};
    OVMutex m_listenerMutex;
    SafePointer<IRecordServiceListenerManager> m_listener;  // guarded by m_listenerMutex
    int m_nLastAlarmType = 0;          // guarded by m_listenerMutex
    int m_nLastAlarmThreshold = 0;     // guarded by m_listenerMutex
    int m_nDiskAlarmInterval = 0;      // guarded by m_listenerMutex
    double m_dLastAlarmTime = 0;       // up-time; guarded by m_listenerMutex
    SafePointer<RecordWriterCloseThread> m_closeThread;
};

#endif

#ifndef DIRECTORY_IRECORDDIR_H
#define DIRECTORY_IRECORDDIR_H

#include <atomic>
#include <set>
#include <string>
#include <vector>

#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordDirSpaceInfo.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/RecordInfo.h"
#include "foundation/SafePointer.h"
#include "host/IAlarmListenerEx.h"
#include "host/OVMutex.h"
#include "recording/IRecordWriter.h"

class DeviceRecordDiskStatReport;
class EarliestFileInfoList;
class IRecordServiceListenerManager;
class SceneLogManager;

// The write side of one record directory. The description is copied in and
// out under its own mutex; change it as read, modify, setRecordDirInfoEx.
class IRecordDir {
public:
    explicit IRecordDir(RecordDirInfoEx const& info) : m_dirInfo(info) {}
    virtual ~IRecordDir() = default;

    virtual int init() = 0;
    virtual bool isWritable() = 0;
    virtual bool hasFreeSpace() = 0;
    virtual int getRecordDirSpaceInfo(RecordDirSpaceInfo& info) = 0;
    // Gives the request a record file on disk; 0 or a failure code.
    virtual int createFile(SafePointer<RecordFileInfo>& file) = 0;
    virtual void addDataLen(int length) = 0;
    virtual long long getWriteSpeed() = 0;
    // Adds the oldest files of the policies' devices to `list`, at most
    // nCount per index walk; bIncludeLocked offers locked files as well.
    virtual int getEarliestFileList(std::vector<RecordDeviceDirPolicy> const& policies,
                                    EarliestFileInfoList& list, bool bIncludeLocked, int nCount) = 0;
    virtual int deleteEarliestFile(std::vector<RecordDeviceDirPolicy> const&) { return 0; }
    // Takes one record file out of service.
    virtual int deleteFile(SafePointer<RecordFileInfo> const& file) = 0;
    virtual int deleteFile(std::string const&) { return 1; }
    virtual int startDetectionThread() = 0;
    virtual void stopDetectionThread() = 0;
    virtual int deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const& policies) = 0;
    virtual void getRecordDirStatus(RecordDirInfoEx& info) = 0;
    virtual void setDirPolicyList(std::vector<RecordDeviceDirPolicy> const& policies) = 0;
    // How the device's next file is to be had (a FileRequestType).
    virtual void setDeviceRequetType(RecordDeviceInfo const& device, int nType) = 0;
    virtual void setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const& listener) = 0;
    // Takes a writer whose close may block on a failing disk.
    virtual void closeRecordWriter(SafePointer<IRecordWriter> const&) {}
    virtual bool isIOError() { return false; }
    virtual int scanDeviceRecordDisk(DeviceRecordDiskStatReport&) { return -1; }
    virtual int getDirFileNumber(int& total, int& free) {
        total = 0;
        free = 0;
        return 0;
    }
    virtual int getEarliestDateList(std::vector<RecordDeviceDirPolicy> const&, std::set<std::string>&) {
        return 0;
    }
    virtual int deleteEarliestDateFile(std::vector<RecordDeviceDirPolicy> const&, std::string const&, int) {
        return 0;
    }
    virtual int deleteEarliestDateIndexFile(std::vector<RecordDeviceDirPolicy> const&, std::string const&) {
        return 0;
    }
    // Deletes the record files of one date that began up to nTime.
    virtual int deleteSpecialTimeSegmentFile(std::vector<RecordDeviceDirPolicy> const&, std::string const&,
                                             long long) {
        return 0;
    }
    // Seconds between repeated alarms of one kind.
    virtual void setDiskAlarmInterval(int) {}
    virtual int updateFileState(int, int, int, int) { return 0; }

    // One record per failing source line, to "recordDir.log".
    void writeLog(char const* message, int line);
    // A line of "recordDir.log" under `tag`, for anyone who reports on directories.
    static void writeDirectoryLog(char const* tag, char const* text, int line);

    RecordDirInfoEx getRecordDirInfoEx() const;
    void setRecordDirInfoEx(RecordDirInfoEx const& info);
    void setBackupRecordListener(IAlarmListenerEx* listener) {
        if (listener != nullptr) m_pBackupListener = listener;
    }
    IAlarmListenerEx* getBackupRecordListener() const { return m_pBackupListener; }
    void setSceneLogManager(SceneLogManager* manager) { m_pSceneLog = manager; }
    void setMutex(OVMutex* mutex) { m_pGroupMutex = mutex; }

protected:
    IAlarmListenerEx* m_pBackupListener = nullptr;  // not owned
    SceneLogManager* m_pSceneLog = nullptr;         // not owned
    OVMutex* m_pGroupMutex = nullptr;               // the group's, shared by its directories

private:
    RecordDirInfoEx m_dirInfo;       // guarded by m_infoMutex
    mutable OVMutex m_infoMutex;
    std::atomic<int> m_nLastLogLine{0};  // sessions and the directory's threads all log
};

// Stands wherever a directory is required and none exists: everything fails,
// and a writer that lands here is treated as having met a disk fault.
class NullRecordDir : public IRecordDir {
public:
    explicit NullRecordDir(RecordDirInfoEx const& info) : IRecordDir(info) {}

    int init() override { return 0; }
    bool isWritable() override { return false; }
    bool hasFreeSpace() override { return false; }
    int getRecordDirSpaceInfo(RecordDirSpaceInfo&) override { return 0; }
    int createFile(SafePointer<RecordFileInfo>&) override { return -1; }
    void addDataLen(int) override {}
    long long getWriteSpeed() override { return 0; }
    int getEarliestFileList(std::vector<RecordDeviceDirPolicy> const&, EarliestFileInfoList&, bool,
                            int) override {
        return -1;
    }
    int deleteFile(SafePointer<RecordFileInfo> const&) override { return 0; }
    using IRecordDir::deleteFile;
    int startDetectionThread() override { return 0; }
    void stopDetectionThread() override {}
    int deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const&) override { return 0; }
    void getRecordDirStatus(RecordDirInfoEx&) override {}
    void setDirPolicyList(std::vector<RecordDeviceDirPolicy> const&) override {}
    void setDeviceRequetType(RecordDeviceInfo const&, int) override {}
    void setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const&) override {}
    bool isIOError() override { return true; }
};

#endif

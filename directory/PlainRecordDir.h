#ifndef DIRECTORY_PLAINRECORDDIR_H
#define DIRECTORY_PLAINRECORDDIR_H

#include <atomic>
#include <memory>

#include "directory/IRecordDir.h"
#include "directory/RecordRecycleBin.h"
#include "recording/RecordFileRequestManager.h"
#include "recording/RecordWriterCloseThread.h"

// A record directory on a local folder without file pools: each record file
// is made where its device and date put it, numbered in order of creation,
// with its entry in the day's index. A channel that may go on in its last
// file of the day joins it.
class PlainRecordDir : public IRecordDir {
public:
    explicit PlainRecordDir(RecordDirInfoEx const& info);
    ~PlainRecordDir() override;

    int init() override;
    bool isWritable() override { return m_bReady && m_bWritable; }
    bool hasFreeSpace() override { return true; }
    int getRecordDirSpaceInfo(RecordDirSpaceInfo& info) override;
    int createFile(SafePointer<RecordFileInfo>& file) override;
    void addDataLen(int) override {}
    long long getWriteSpeed() override { return 0; }
    // The policies' device folders (none: every device folder), date by
    // date from the oldest, each day's index feeding the list, until it
    // holds nCount files. 0, or -1 when the folders cannot be listed.
    int getEarliestFileList(std::vector<RecordDeviceDirPolicy> const& policies, EarliestFileInfoList& list,
                            bool bIncludeLocked, int nCount) override;
    int deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const&) override { return 0; }
    // With a recycle bin: the file moves into it and its entry leaves the
    // day's index (1); a file found gone loses its entry all the same (0).
    // Without one the file is deleted and its entry stays.
    int deleteFile(SafePointer<RecordFileInfo> const& file) override;
    using IRecordDir::deleteFile;
    int startDetectionThread() override;
    void stopDetectionThread() override;
    void getRecordDirStatus(RecordDirInfoEx& info) override { info = getRecordDirInfoEx(); }
    void setDeviceRequetType(RecordDeviceInfo const& device, int nType) override {
        m_requests.updateDeviceRequestType(device, nType);
    }
    void setDirPolicyList(std::vector<RecordDeviceDirPolicy> const&) override {}
    void setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const&) override {}
    void closeRecordWriter(SafePointer<IRecordWriter> const& writer) override;
    bool isIOError() override { return m_closeThread.isExistIOError(); }
    int updateFileState(int fileNumber, int minSpeed, int averageSpeed, int timeOuts) override;

    // Set before the directory is shared.
    void setRecycleBin(SafePointer<RecordRecycleBin> const& bin) { m_recycleBin = bin; }
    // Takes the directory in and out of service, as a disk fault would.
    void setWritable(bool writable) { m_bWritable = writable; }

    struct FileState {
        int nFileNumber = -1;
        int nMinSpeed = 0;
        int nAverageSpeed = 0;
        int nTimeOuts = 0;
        int nReports = 0;
    };
    // The last write figures a session reported for a file.
    FileState getLastFileState() const { return m_lastState; }

private:
    RecordWriterCloseThread m_closeThread;
    RecordFileRequestManager m_requests;
    SafePointer<RecordRecycleBin> m_recycleBin;
    FileState m_lastState;
    int m_nNextFileNumber = 1;
    std::atomic<bool> m_bReady{false};     // read by sessions, set by init
    std::atomic<bool> m_bWritable{true};
};

#endif

#ifndef DIRECTORY_PLAINRECORDDIR_H
#define DIRECTORY_PLAINRECORDDIR_H

#include <atomic>
#include <memory>

#include "directory/IRecordDir.h"
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
    // This folder keeps no reclaiming lists: nothing is offered or deleted.
    int getEarliestFileList(std::vector<RecordDeviceDirPolicy> const&, EarliestFileInfoList&, bool,
                            int) override {
        return -1;
    }
    int deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const&) override { return 0; }
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
    FileState m_lastState;
    int m_nNextFileNumber = 1;
    std::atomic<bool> m_bReady{false};     // read by sessions, set by init
    std::atomic<bool> m_bWritable{true};
};

#endif

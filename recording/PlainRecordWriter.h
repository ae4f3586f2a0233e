#ifndef RECORDING_PLAINRECORDWRITER_H
#define RECORDING_PLAINRECORDWRITER_H

#include <string>

#include "foundation/SafePointer.h"
#include "host/IFile.h"
#include "host/OVMutex.h"
#include "recording/IRecordWriter.h"

// Writes a record file without an index: blocks go to the file whole, the
// file ends when the next block would reach its usable size, a continued
// file refuses a first block older than what it holds, and another thread
// may ask it to end its file. What a file holds is remembered in the
// last-file memory, so a channel can join it again.
class PlainRecordWriter : public IRecordWriter {
public:
    PlainRecordWriter() = default;
    ~PlainRecordWriter() override;

    int open(SafePointer<RecordFileInfo> const& info, int& nTimeLength) override;
    int write(AVData const*, bool, int) override { return -1; }
    int write(TSAVData const* data, bool bLock, int nParam) override;
    int getDirectIOoffset() override;
    void close() override;
    bool isSameDisk(std::string const& diskName) override;
    void setUpdateFlag() override { m_bUpdateFlag = true; }
    bool getUpdateFlag() override { return m_bUpdateFlag; }

    static constexpr int kWriteTimeLimitSeconds = 3;

private:
    int needChangeFile(TSAVData const* data) const;
    int writeData(char const* data, int length, long long timeStamp);

    SafePointer<IFile> m_recordFile;
    SafePointer<RecordFileInfo> m_recordFileInfo;  // shared with the session
    bool m_bClosed = true;                          // guarded by m_mutex
    long long m_nFileLength = 0;
    unsigned long long m_nFileSegmentSize = 0;
    double m_dLastFlushTime = 0;
    bool m_bFirstFrame = true;
    long long m_nMinTimeStamp = 0;  // seconds
    int m_nDiskType = 1;
    int m_nFlushInterval = 60;      // seconds
    volatile bool m_bUpdateFlag = false;  // set by other threads without a lock
    int m_nUsePercent = 100;
    OVMutex m_mutex;  // serialises write and close
};

#endif

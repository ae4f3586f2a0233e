#ifndef RECORDING_IRECORDWRITER_H
#define RECORDING_IRECORDWRITER_H

#include <atomic>
#include <string>

#include "foundation/AVData.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "foundation/TSAVData.h"

// Writer of one open record file. Opened once by the disk layer, written by
// one session; other threads may ask it to end its file (setUpdateFlag) or
// close it (the update manager, a directory's close thread).
class IRecordWriter {
public:
    virtual ~IRecordWriter() = default;

    // Opens the file the descriptor names; `nTimeLength` receives the seconds
    // the file already holds when it is continued. 0 or a failure code.
    virtual int open(SafePointer<RecordFileInfo> const& info, int& nTimeLength) = 0;
    virtual int write(AVData const* data, bool bLock, int nParam) = 0;
    virtual int write(TSAVData const* data, bool bLock, int nParam) = 0;
    virtual int getWriteResult(int) { return 0; }
    virtual void writeLeftData() {}
    virtual void clearRecordingMark() {}
    virtual int getDirectIOoffset() = 0;
    virtual void close() = 0;
    virtual bool isSameDisk(std::string const& diskName) = 0;
    virtual void setUpdateFlag() = 0;
    virtual bool getUpdateFlag() = 0;

    // Set by the session before each block; no writer reads it.
    bool m_bWriteFlag = false;
    // Write time-outs on the current file. Atomic: the session reads it while
    // the close thread or the update manager may be closing the writer.
    std::atomic<int> m_nTimeOutCount{0};
};

#endif

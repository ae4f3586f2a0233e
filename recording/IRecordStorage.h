#ifndef RECORDING_IRECORDSTORAGE_H
#define RECORDING_IRECORDSTORAGE_H

#include "foundation/AVData.h"
#include "foundation/RecordInfo.h"
#include "foundation/TSAVData.h"

class TSFrameQueue;

// The write side of one channel, as the host drives it from its own loop.
class IRecordStorage {
public:
    virtual ~IRecordStorage() = default;

    virtual int open(RecordInfo const& info, bool condition) = 0;
    virtual int write(int nParam, AVData const* data) = 0;
    virtual int write(int nParam, TSAVData const* data) = 0;
    virtual int close() = 0;
    virtual void setLockFlag(bool lock) = 0;
    virtual long long getDeviceTimeStamp() = 0;
    virtual int getWriteResult(int nParam) = 0;
    virtual void setTSFrameQueue(TSFrameQueue* queue) = 0;
};

#endif

#ifndef RECORDING_RECORDSTORAGE_H
#define RECORDING_RECORDSTORAGE_H

#include "recording/IRecordStorage.h"

class RecordStorageTSImpl;

// The recording session of one channel: the host opens it with the channel,
// gives it the channel's frame queue, and writes each queue block with
// write(). Frames reach it only as TS blocks. One thread at a time.
class RecordStorage : public IRecordStorage {
public:
    RecordStorage();
    ~RecordStorage() override;

    RecordStorage(RecordStorage const&) = delete;
    RecordStorage& operator=(RecordStorage const&) = delete;

    int open(RecordInfo const& info, bool condition) override;
    int write(int nParam, AVData const* data) override;  // always -1
    int write(int nParam, TSAVData const* data) override;
    int close() override;
    void setLockFlag(bool lock) override;
    long long getDeviceTimeStamp() override;
    int getWriteResult(int nParam) override;  // always -1
    void setTSFrameQueue(TSFrameQueue* queue) override;
    bool isClosed() const;

private:
    RecordStorageTSImpl* m_pImpl;  // owned
};

#endif

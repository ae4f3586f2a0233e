#ifndef SNAPSHOT_SNAPSHOTSTORAGEEX_H
#define SNAPSHOT_SNAPSHOTSTORAGEEX_H

#include <cstdint>

#include "directory/IRecordDir.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/RecordInfo.h"
#include "foundation/SafePointer.h"
#include "recording/IRecordStorage.h"

class SnapshotWriterEx;

// The snapshot session of one channel: the host opens it, and for each
// picture that its frame queue (in snapshot mode) hands out calls
// write(burst mode, picture). It asks the snapshot disks for a data file
// at the first picture, after a discontinuity, at the first picture of a
// new date and when the writer refuses one, and offers the refused picture
// once to the next file. Every picture may begin a file.
//
// One thread at a time, by contract: no lock. The writer is closed on the
// caller's thread, also after a failure.
class SnapshotStorageEx : public IRecordStorage {
public:
    // pictures of this many bytes and more are refused
    static constexpr unsigned int kMaxPictureLength = 0xA00000;

    SnapshotStorageEx();
    ~SnapshotStorageEx() override;
    SnapshotStorageEx(SnapshotStorageEx const&) = delete;
    SnapshotStorageEx& operator=(SnapshotStorageEx const&) = delete;

    // Always 0; touches no disk.
    int open(RecordInfo const& info, bool condition) override;
    int write(int, AVData const*) override { return -1; }
    // A picture, its time in microseconds: 0 stored; -703 session closed, a
    // picture of 10 MiB or more, or the writer failed again on a new file;
    // -707 / -737 the new file refused it too; -739 an I/O exception; or
    // the disks' code when no file could be had.
    int write(int nBurstMode, TSAVData const* data) override;
    int close() override;
    void setLockFlag(bool) override {}
    // Milliseconds: the last picture's time.
    long long getDeviceTimeStamp() override { return m_nDeviceTimeStamp; }
    int getWriteResult(int) override { return -1; }
    void setTSFrameQueue(TSFrameQueue*) override {}

    int getRequestType() const { return m_nRequestType; }
    SafePointer<RecordFileInfo> getRecordFileInfo() const { return m_recordFileInfo; }

private:
    static int getRequestType(int code);
    int createFile();
    int writeData(TSAVData const* data);
    void baseClose();

    bool m_bWriterOpen = false;
    bool m_bFirstFile = true;
    bool m_bOpened = false;
    int32_t m_nRequestType = 1;
    int64_t m_nDeviceTimeStamp = 0;  // milliseconds
    RecordInfo m_recordInfo;         // as opened, the device IP made file-name safe
    SafePointer<RecordFileInfo> m_recordFileInfo;
    SafePointer<IRecordDir> m_recordDir;
    SnapshotWriterEx* m_pWriter;  // owned
};

#endif

#ifndef RECORDING_TSRECORDWRITERWITHINDEX_H
#define RECORDING_TSRECORDWRITERWITHINDEX_H

#include <atomic>
#include <string>

#include "foundation/SafePointer.h"
#include "host/IFile.h"
#include "host/OVMutex.h"
#include "index/RecordFileIndexWriter.h"
#include "recording/IRecordWriter.h"

// Writes one record file of an indexed directory and keeps its entry in the
// day's index. A block that would reach the file's usable size is refused
// whole; a continued file refuses a first block older than what it holds;
// another thread may ask it to end its file at the next block.
//
// Reached by the session's thread (write), a directory's close thread and
// the update manager (close, setUpdateFlag, isSameDisk); m_mutex serialises
// write and close. The writer keeps its own copy of the file descriptor:
// after an I/O error the session hands it to a close thread and goes on
// rewriting its descriptor for the next file.
//
// Durability has one order: record data written, record data synced, then
// the index bytes that name it, index synced. A power cut therefore loses
// at most what came after the last flush, and never leaves an index item
// pointing at data that did not reach the disk.
class TSRecordWriterWithIndex : public IRecordWriter {
public:
    TSRecordWriterWithIndex() = default;
    ~TSRecordWriterWithIndex() override;

    int open(SafePointer<RecordFileInfo> const& info, int& nTimeLength) override;
    int write(AVData const*, bool, int) override { return -1; }
    int write(TSAVData const* data, bool bLock, int nParam) override;
    int getWriteResult(int) override { return 0; }
    void writeLeftData() override;
    void clearRecordingMark() override;
    int getDirectIOoffset() override;
    void close() override;
    bool isSameDisk(std::string const& diskName) override;
    void setUpdateFlag() override;
    bool getUpdateFlag() override { return m_bUpdateFlag.load(); }

    static constexpr int kWriteTimeLimitSeconds = 3;
    static int initFlushIntervalTime(int nDiskType, int nFormat);

private:
    int needChangeFile(TSAVData const* data) const;
    int writeData(char const* data, int length);
    // The data file is missing: its entry goes from the index.
    void deleteFile();
    // After an I/O exception the session hands this writer to a close thread
    // and opens its next file at once: this file is not to be continued, and
    // its late close must touch neither the index nor the channel's memory,
    // which by then belong to the next file.
    void giveUpFile();

    RecordFileIndexWriter m_indexWriter;
    SafePointer<IFile> m_recordFile;
    bool m_bClosed = true;
    bool m_bGivenUp = false;  // an I/O exception ended the file; guarded by m_mutex
    int m_nFileLength = 0;
    SafePointer<RecordFileInfo> m_recordFileInfo;  // own copy, fixed at open
    unsigned long long m_nFileSegmentSize = 0;
    double m_dLastFlushTime = 0;
    bool m_bFirstFrame = true;
    long long m_nMinTimeStamp = 0;  // seconds
    int m_nDiskType = 1;
    int m_nFlushInterval = 60;
    std::atomic<bool> m_bUpdateFlag{false};  // set from other threads without the lock
    int m_nUsePercent = 100;
    bool m_bMarked = false;  // this file's recording mark is set; guarded by m_mutex
    OVMutex m_mutex;
};

#endif

#ifndef SNAPSHOT_SNAPSHOTWRITEREX_H
#define SNAPSHOT_SNAPSHOTWRITEREX_H

#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "foundation/TSAVData.h"
#include "host/IFile.h"
#include "snapshot/SnapshotFileIndexWriterEx.h"

// Appends pictures to one snapshot data file and their items to its index
// entry, which the directory wrote before (SnapshotFileIndexCreator). The
// file takes pictures up to its segment size; a picture's place in it is
// the sum of the lengths indexed before it, so only whole, indexed pictures
// move the file length.
//
// Durability: data synced, then the items that name it; every 20 s, when
// the item buffer is full, and at close.
//
// Owned and used by one snapshot session, on its thread: no lock.
class SnapshotWriterEx {
public:
    static constexpr int kWriteTimeLimitSeconds = 60;
    static constexpr double kFlushIntervalSeconds = 20.0;

    SnapshotWriterEx() = default;
    ~SnapshotWriterEx();
    SnapshotWriterEx(SnapshotWriterEx const&) = delete;
    SnapshotWriterEx& operator=(SnapshotWriterEx const&) = delete;

    // Opens the entry of the file's data file and the data file behind its
    // last indexed picture: 0, the index writer's code, or -705.
    int open(SafePointer<RecordFileInfo> const& fileInfo);
    // One picture with its time in milliseconds and its burst mode in the
    // frame type: 0; -707 the file is full; -737 the time lies before the
    // last picture's (or the entry's begin); -703 closed, or the data or
    // its index item could not be written.
    int write(TSAVData const* data, int nBurstMode);
    void close();
    bool isClosed() const { return m_bClosed; }
    int getFileLength() const { return m_nFileLength; }

private:
    int needChangeFile(TSAVData const* data) const;
    int writeData(char const* data, int nLength);
    // Data synced, then the buffered items: false when either failed.
    bool flushAll();
    void deleteFile();

    bool m_bClosed = true;
    long long m_nFileSizeLimit = 0;  // the segment size
    int m_nFileLength = 0;
    double m_dLastFlushTime = 0;     // monotonic seconds
    long long m_nLastTimeStamp = 0;  // milliseconds
    SafePointer<IFile> m_file;
    SafePointer<RecordFileInfo> m_fileInfo;  // the writer's own copy
    SnapshotFileIndexWriterEx m_indexWriter;
};

#endif

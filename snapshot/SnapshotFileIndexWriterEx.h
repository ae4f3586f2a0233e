#ifndef SNAPSHOT_SNAPSHOTFILEINDEXWRITEREX_H
#define SNAPSHOT_SNAPSHOTFILEINDEXWRITEREX_H

#include <string>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "host/IFile.h"
#include "snapshot/SnapshotIndexItemEx.h"

// Appends to the data-file snapshot index of a file's device dir and date:
// a head for a new data file, then one 9-byte item per picture, buffered up
// to 1024 bytes. Only the last entry of an index is ever written to.
//
// Durability is the caller's first half: the pictures' data is synced
// before writeIndex makes their items durable. One session thread.
class SnapshotFileIndexWriterEx {
public:
    static constexpr int kItemBufferSize = 1024;

    SnapshotFileIndexWriterEx() = default;
    ~SnapshotFileIndexWriterEx() { close(); }
    SnapshotFileIndexWriterEx(SnapshotFileIndexWriterEx const&) = delete;
    SnapshotFileIndexWriterEx& operator=(SnapshotFileIndexWriterEx const&) = delete;

    // Opens (and makes) the index of the file's date. With bNewEntry a head
    // naming the file's RecordFileName and begin time is appended and
    // synced; otherwise the last entry must name that file, and items go on
    // behind it. Bytes behind the last whole entry (a write a power cut
    // tore) are painted FF first, so no walk can take them for an entry.
    // 0, -705 when the index can't be opened or its last entry is another
    // file's, -704 when the head was not written.
    int open(RecordFileInfo const& file, bool bNewEntry);
    // Buffers the item of a picture at nTime (ms); writes the buffer first
    // when it is full. False when that write failed, or the picture lies
    // before the begin time, more than 2^32 ms behind it, or is longer
    // than 16 MiB - 1.
    bool addIndex(long long nTime, int nBurstMode, int nLength);
    // Writes and syncs the buffered items: 0, or -704 (the items stay
    // buffered, so a later write cannot leave a gap that would shift the
    // position of every picture behind it).
    int writeIndex();
    void close();
    bool isOpen() const { return !m_file.isNull(); }
    // Whether one more item fits the buffer without a write: a writer syncs
    // its data first, so that no item reaches the disk before its picture.
    bool canBufferItem() const { return m_nItemFill + SnapshotIndexItemEx::indexItemLength() <= kItemBufferSize; }
    // Forgets the buffered items, for pictures whose data was not made
    // durable; the entry ends with what is already written.
    void discardItems() { m_nItemFill = 0; }

    // Data bytes the entry's items count, and the last item's time stamp.
    int getSnapshotFileLength() const { return m_nSnapshotFileLength; }
    int getTimeInterval() const { return static_cast<int>(m_nTimeInterval); }
    long long getBeginTime() const { return m_nBeginTime; }

    // Escapes the nLength payload bytes at buffer in place and frames them
    // between 00 00 00 01 and 00 00 00 02: the new length, or -1 if it would
    // pass nCapacity.
    static int fillSnapIndexHeadInfo(char* buffer, int nLength, int nCapacity);

private:
    int writeIndexHead(RecordFileInfo const& file);
    bool writeAt(long long nOffset, char const* data, int nLength);

    SafePointer<IFile> m_file;
    RecordDirInfoEx m_dirInfo;
    long long m_nWritePos = 0;       // where the next byte of the entry goes
    long long m_nFileLength = 0;     // of the index file
    int m_nSnapshotFileLength = 0;
    unsigned int m_nTimeInterval = 0;
    long long m_nBeginTime = 0;      // seconds
    char m_szItems[kItemBufferSize];
    int m_nItemFill = 0;
};

#endif

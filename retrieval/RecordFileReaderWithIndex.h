#ifndef RETRIEVAL_RECORDFILEREADERWITHINDEX_H
#define RETRIEVAL_RECORDFILEREADERWITHINDEX_H

#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "host/IFile.h"
#include "index/RecordIndexCache.h"

// Reads one record file between a begin and an end position, with the index
// entry of the file as its map: the I-frame items for stepping, all items
// for time lookups. Positions are bytes in the record file; the current
// position is relative to the begin position.
//
// Owns its file. One playback's thread only; no locks.
class RecordFileReaderWithIndex {
public:
    RecordFileReaderWithIndex() = default;
    ~RecordFileReaderWithIndex();
    RecordFileReaderWithIndex(RecordFileReaderWithIndex const&) = delete;
    RecordFileReaderWithIndex& operator=(RecordFileReaderWithIndex const&) = delete;

    // 0; -101 when the record file is gone (its index entry is removed
    // then), -739 when the disk cannot tell, -702 when it does not open.
    int open(RecordFileInfo const& info);
    void setRecordIndexList(RecordIndexCache const& cache) { m_iFrameList = cache; }
    void setRecordWholeIndexList(RecordIndexCache const& cache) { m_wholeList = cache; }
    // Bytes read, 0 at the end position, -1 without a file, negative when
    // the read failed.
    int read(char* buffer, int nLength);
    // Seeks within [begin, end]; 1, or 0 when the seek failed.
    int setFilePos(int nPos);
    void setFileBeginPos(int nPos);
    void setFileEndPos(int nPos);
    // What can be read of the file: its length in whole TS packets, and never
    // more than its index entry covers (a preallocated or reused file holds
    // old bytes behind that).
    int getLength() const { return m_nFileLength; }
    int getCurrentFilePos() const { return m_nCurrentPos; }
    int getBeginPos() const { return m_nBeginPos; }
    int getEndPos() const { return m_nEndPos; }
    // Position of an offset in seconds from the file's begin time: ceiling
    // or floor over all items; the end position beyond the file's time.
    int getFilePosByTimeStamp(int nOffset, bool bCeil) const;
    // The same over the I-frame items only, for steps that must land on one.
    int getIFramePosByTimeStamp(int nOffset, bool bCeil) const { return m_iFrameList.getFilePos(nOffset, bCeil); }
    // Time (seconds since the epoch) of the I-frame before the current
    // position.
    long long getCurrentTimeStamp() const;
    int getFirstTimeStamp() const;
    int getRecordTimeLen() const;
    // Stepping over I-frames; -1 when there is none.
    int getNextIFramePos() const;
    int getPreIFramePos() const;
    int getPreIFramePos(int nOffset) const;
    int getFirstIFrameFilePos() const { return m_iFrameList.getFirstIFramePos(); }
    int getLastIFramePos() const { return m_iFrameList.getLastIFramePos(); }
    int getLastIFrameTime() const { return m_iFrameList.getLastIFrameTime(); }
    // Removes the file's entry from its date's index.
    static void deleteFile(RecordFileInfo const& info);
    void close();

    RecordFileInfo const& getRecordFileInfo() const { return m_fileInfo; }

private:
    SafePointer<IFile> m_RecordFile;
    RecordFileInfo m_fileInfo;
    RecordIndexCache m_iFrameList;
    RecordIndexCache m_wholeList;
    int m_nCurrentPos = 0;  // relative to m_nBeginPos
    int m_nValidLength = 0;  // m_nEndPos - m_nBeginPos
    int m_nPreReadPos = 0;  // m_nCurrentPos before the last read
    int m_nFileLength = 0;
    int m_nBeginPos = 0;
    int m_nEndPos = 0;
};

#endif

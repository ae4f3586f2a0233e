#ifndef DIRECTORY_LASTRECORDFILEINFO_H
#define DIRECTORY_LASTRECORDFILEINFO_H

#include <memory>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"

// What a channel last wrote into its record file in service: the file's
// description, the raw bytes of its index entry, where that entry begins in
// the day's index file, and the lengths a reader finds in those bytes.
// No lock of its own: the manager's mutex guards every entry.
class LastRecordFileInfo : public RecordFileInfo {
public:
    LastRecordFileInfo();

    static constexpr int kIndexBufferSize = 102400;

    // Data length, time length, time interval, last byte of the entry in the
    // index file, and whether the entry is closed by a CRC item.
    void setRecordValidLength(int dataLength, int timeLength, int timeInterval, int endPos, bool closed);
    int getRecordValidLength(int& dataLength, int& timeLength, int& timeInterval, int& endPos,
                             bool& closed) const;

    // Replaces the entry bytes; false when they do not fit.
    bool setIndexInfo(char const* data, int length);
    // Appends to them; false when they would not fit (nothing changes).
    bool addIndexInfo(char const* data, int length);
    char const* getIndexInfo() const { return m_pIndexBuffer.get(); }
    int getIndexLength() const { return m_nIndexLength; }

    // `oldIndex` is the index version of the entry, -1 when there is none.
    void setRecordFileInfo(RecordFileInfo const& file, int oldIndex);
    // 0 while there is no entry; else fills the target and answers 1.
    int getRecordFileInfo(RecordFileInfo& file, int& oldIndex) const;
    void setEntryBegin(long long begin) { m_nEntryBegin = begin; }
    long long getEntryBegin() const { return m_nEntryBegin; }

    // Same directory, channel, date and storage type.
    bool isEqual(RecordFileInfo const& file) const;
    bool isSameDevice(RecordFileInfo const& file) const;
    bool isSameRecordDir(RecordDirInfoEx const& dir) const { return getRecordDirInfoEx() == dir; }

    // A new entry's head: bytes, fields and where the entry begins. A failure
    // leaves the object as it was.
    bool setLastRecordFileInfo(SafePointer<RecordFileInfo> const& file, int oldIndex, char const* data,
                               int length, long long entryBegin);
    // Items of the entry, appended; the lengths are read again from the bytes
    // by the reader's own parser, so they cannot drift from the file.
    bool addLastRecordFileInfo(char const* data, int length);

private:
    // Reads the lengths again from the entry bytes.
    bool refreshValidLength();

    int m_nOldFileIndex = -1;
    int m_nRecordLength = 0;
    int m_nTimeLength = 0;
    int m_nTimeInterval = 0;
    int m_nEndPos = -1;
    bool m_bFinished = true;
    long long m_nEntryBegin = 0;
    std::unique_ptr<char[]> m_pIndexBuffer;
    int m_nIndexLength = 0;
};

#endif

#ifndef DIRECTORY_LASTRECORDFILEINFOMANAGER_H
#define DIRECTORY_LASTRECORDFILEINFOMANAGER_H

#include <vector>

#include "directory/LastRecordFileInfo.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "foundation/Singlton.h"
#include "host/OVMutex.h"

// For each channel with a record file in service, a copy of its index entry,
// so that a channel going on in its unfinished file needs no disk read. Lives
// in memory only: after a restart the first request of a channel fills its
// entry from the index file, which stays the only truth. At most one entry
// per channel. One mutex for all, taken on the write path per index group.
class LastRecordFileInfoManager : public Singlton<LastRecordFileInfoManager> {
public:
    // The channel's last entry of the file's directory and date, into the
    // file, with its index version. False when none is known.
    bool getOldFileIndex(SafePointer<RecordFileInfo>& file, int& version);
    bool getRecordValidLength(SafePointer<RecordFileInfo> const& file, int& dataLength, int& timeLength,
                              int& timeInterval, int& endPos, bool& closed);
    // Reads the channel's entry from the day's index file on disk and keeps
    // it, unless its bytes don't fit in memory. Answers the entry read, kept
    // or not, for the caller's thread; null when the index can't be read.
    SafePointer<LastRecordFileInfo> initLastRecordFileInfo(SafePointer<RecordFileInfo> const& file);

    // A new entry's head was written at entryBegin of the index file.
    void setLastRecordFileInfo(SafePointer<RecordFileInfo> const& file, int version, char const* data,
                               int length, long long entryBegin);
    // Items (and CRC items) were appended to the entry.
    void addLastRecordFileInfo(SafePointer<RecordFileInfo> const& file, char const* data, int length);

    void eraseLastRecordFileInfo(SafePointer<RecordFileInfo> const& file);
    // Every entry of a directory whose disk failed.
    void eraseLastRecordFileInfo(RecordDirInfoEx const& dir);
    void eraseLastRecordFileInfo(SafePointer<LastRecordFileInfo> const& entry);
    void insertLastRecordFileInfo(SafePointer<LastRecordFileInfo> const& entry);
    void clear();
    size_t size();

private:
    friend class Singlton<LastRecordFileInfoManager>;
    LastRecordFileInfoManager() = default;

    // Called with m_mutex held.
    SafePointer<LastRecordFileInfo> findEqual(RecordFileInfo const& file);
    SafePointer<LastRecordFileInfo> findDevice(RecordFileInfo const& file);
    void eraseDevice(RecordFileInfo const& file);

    std::vector<SafePointer<LastRecordFileInfo>> m_entries;  // guarded by m_mutex
    OVMutex m_mutex;
};

#endif

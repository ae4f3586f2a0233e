#ifndef DIRECTORY_LASTRECORDFILEINFOMANAGER_H
#define DIRECTORY_LASTRECORDFILEINFOMANAGER_H

#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "foundation/Singlton.h"
#include "host/OVMutex.h"

// For each channel with a file in service, a copy of what it last wrote, so
// that a channel that starts again can join its unfinished file without
// reading the disk. Memory only: a restart begins empty. At most one entry
// per channel (device id, IP, camera).
class LastRecordFileInfoManager : public Singlton<LastRecordFileInfoManager> {
public:
    // Replaces the channel's entry with a copy of the file's description.
    void setLastRecordFileInfo(SafePointer<RecordFileInfo> const& file);
    // The channel's entry, if it lies in the file's directory; false when none.
    bool getLastRecordFileInfo(SafePointer<RecordFileInfo> const& channel, RecordFileInfo& last);

    // Drops the channel's entry, so the file will not be continued.
    void eraseLastRecordFileInfo(SafePointer<RecordFileInfo> const& file);
    // Drops every entry of a directory whose disk failed.
    void eraseLastRecordFileInfo(RecordDirInfoEx const& dir);
    void clear();
    size_t size();

private:
    friend class Singlton<LastRecordFileInfoManager>;
    LastRecordFileInfoManager() = default;

    std::vector<RecordFileInfo>::iterator find(RecordFileInfo const& channel);

    std::vector<RecordFileInfo> m_entries;  // guarded by m_mutex
    OVMutex m_mutex;
};

#endif

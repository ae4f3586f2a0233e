#ifndef SNAPSHOT_SNAPSHOTDIROPERATOREX_H
#define SNAPSHOT_SNAPSHOTDIROPERATOREX_H

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "directory/IRecordDirOperator.h"
#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"

class EarliestFileInfoList;
class IDiskManager;
class SnapshotUseableFileDir;

// Works on the snapshot tree of one directory, <root>/snapshot/<device
// dir>/<date>, from its bare description: index entries for new data files,
// retention by save days, the oldest data files of cycle-writing channels,
// and the device and date lists. Keeps nothing between calls; any thread,
// one call on a date at a time (the directory's sessions and its status
// thread meet only on different dates or through whole-entry changes).
class SnapshotDirOperatorEx : public IRecordDirOperator {
public:
    explicit SnapshotDirOperatorEx(RecordDirInfoEx const& info) : IRecordDirOperator(info) {}

    // SnapshotFileIndexCreator::createFileIndex on this directory.
    int createFileIndex(SafePointer<RecordFileInfo>& file, bool bNewFile, bool& needFile);
    // Removes the entry of the file's data file from its date's index and
    // clears the date if it is left empty. 1 removed, 0 none, -1 not written.
    int deleteFileIndex(RecordFileInfo const& file);
    // For each policy with save days: the entries of its channel that ended
    // before now - days go back to the pool, date by date up to that date.
    int deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const& policies, SafePointer<SnapshotUseableFileDir>& pool);
    // The channels of cycle-writing policies, their dates oldest first (only
    // `date` when one is given), each date's entries offered to the list
    // until it is full. The data file a channel's session was last given
    // (SnapshotFileIndexCreator::getWritingFile) is never offered: it may be
    // open. 0, or -1 when the folder can't be listed.
    int getEarliestFileList(EarliestFileInfoList& list, std::vector<RecordDeviceDirPolicy> const& policies,
                            bool bIncludeLocked, int nCount, std::string const& date = std::string());
    // The dates of the cycle-writing channels; 0, or -1 as above.
    int getEarliestDateList(std::vector<RecordDeviceDirPolicy> const& policies, std::set<std::string>& dates);
    // Data files in the date folders.
    int getTotalFileNumber();
    // A policy of the device dir's channel that writes cyclically.
    static bool isInContion(std::string const& deviceDir, std::vector<RecordDeviceDirPolicy> const& policies);
    // Deletes the date's index and folder when no entry is left, then the
    // device folder when no date is left.
    void clearRecordDir(std::string const& deviceDir, std::string const& date);
    // The path of the file's data file.
    static std::string getSnapshotFilePath(RecordFileInfo const& file);

    int lockRecordFile(RecordInfo const& record) override;
    int unlockRecordFile(RecordInfo const& record) override;
    int queryDeviceList(std::map<std::string, int>& devices) override;
    int queryDateList(std::string const& deviceId, std::string const& deviceIP, std::string const& camera,
                      std::map<std::string, int>& dates) override;
    // Marks the channel's pictures in the record's seconds deleted; data
    // files left with none go back to the pool when one is set.
    int deleteRecordFile(RecordInfo const& record) override;
    int getRecordDirSpaceInfo(RecordDirSpaceInfo& space) override;

    void setUseableFileDir(SafePointer<SnapshotUseableFileDir> const& pool) { m_pool = pool; }

private:
    IDiskManager* disk() const;
    std::vector<std::string> getDeviceDirList();
    // (date, device dir) of the cycle-writing channels, oldest first; false
    // when the folder can't be listed.
    bool getCycleWriteDays(std::vector<RecordDeviceDirPolicy> const& policies,
                           std::vector<std::pair<std::string, std::string>>& days);

    SafePointer<SnapshotUseableFileDir> m_pool;
};

#endif

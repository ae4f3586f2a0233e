#ifndef DIRECTORY_HDRECORDDIROPERATORWITHINDEX_H
#define DIRECTORY_HDRECORDDIROPERATORWITHINDEX_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "directory/IFileOperator.h"
#include "directory/IRecordDirOperator.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"

// The query and administering side of an indexed directory (local disk, SD
// card, share): device and date folders, locks over a time range, space,
// deletion and wiping a device. Works from the bare description, also for a
// disk no group holds; owns no thread and keeps nothing between calls.
// Handlers and bins it needs are private to the call.
//
// No lock of its own: index write-backs, the lock table and renames keep
// shared state whole.
class HDRecordDirOperatorWithIndex : public IRecordDirOperator {
public:
    explicit HDRecordDirOperatorWithIndex(RecordDirInfoEx const& info)
        : IRecordDirOperator(info) {}

    int lockRecordFile(RecordInfo const& record) override;
    int unlockRecordFile(RecordInfo const& record) override;
    // Folders of the record path named "<id>_<ip>_<camera>" or "<id>_<ip>".
    int queryDeviceList(std::map<std::string, int>& devices) override;
    int queryDateList(std::string const& deviceId, std::string const& deviceIP,
                      std::string const& camera, std::map<std::string, int>& dates) override;
    // Moves the unlocked files that lie wholly in the range into the bin and
    // takes their index entries out; the file being recorded stays.
    int deleteRecordFile(RecordInfo const& record) override;
    int getRecordDirSpaceInfo(RecordDirSpaceInfo& space) override;

    // Whole paths of the date folders of the device in the record's range;
    // for a list, only folders that hold a ".ts" file.
    virtual int getMatchDateDirList(RecordInfo const& record, std::set<std::string>& dateDirs);
    virtual int getMatchDateDirList(std::vector<RecordInfo> const& records,
                                    std::set<std::string>& dateDirs);
    // The file of the date that ends last (begins first) over the device's
    // folders; 0 when there is none, else 1.
    virtual int getLastestFileInfo(RecordInfo const& record, std::string const& date,
                                   SafePointer<RecordFileInfo>& file);
    virtual int getEarliestFileInfo(RecordInfo const& record, std::string const& date,
                                    SafePointer<RecordFileInfo>& file);
    // One RecordInfo per device folder of three parts with a valid IP, begun
    // at its first date.
    virtual int getHistoryDeviceList(std::vector<RecordInfo>& devices);
    // Renames the device's folders out of sight ("_move"); the directory
    // reclaims their files later.
    virtual int clearDeviceRecord(std::string const& deviceId);

    // Calls op->doActionEx(date, deviceDir) for every date folder of the
    // record's range in every matching device folder; the first answer
    // other than 0 ends the walk. -735 no device folder, -736 a date folder
    // that cannot be listed.
    int handleRecordFile(RecordInfo const& record, IFileOperator* op);

private:
    // An SD card whose file system is unknown: nothing may be read or changed.
    bool isUnformattedCard() const;
    // The description's, or the length of a pool or bin file; 0 if unknown.
    long long getFileSegmentSize() const;
    int getMatchDeviceDirs(RecordInfo const& record, std::vector<std::string>& deviceDirs) const;
    int getMatchDateDirs(RecordInfo const& record, bool bWithRecordFile,
                         std::set<std::string>& dateDirs);
    int findFileOfDate(RecordInfo const& record, std::string const& date, bool bLastest,
                       SafePointer<RecordFileInfo>& file);
    // Device folder names under the record path; false if it can't be listed.
    bool listRecordPath(std::vector<std::string>& names) const;
};

// Locks (or unlocks) the items of one device's date in the range, in the
// main and the backup index.
class RecordFileLock : public IFileOperator {
public:
    RecordFileLock(RecordInfo const& record, RecordDirInfoEx const& dirInfo, bool bLock = true)
        : m_record(record), m_dirInfo(dirInfo), m_bLock(bLock) {}

    int doAction(std::string const&, std::string const&) override { return 1; }
    // 0, -763 too many locks, -764 (-765 unlocking) a write-back failed.
    int doActionEx(std::string const& date, std::string const& deviceDir) override;

private:
    RecordInfo m_record;
    RecordDirInfoEx m_dirInfo;
    bool m_bLock;
};

class RecordFileUnLock : public RecordFileLock {
public:
    RecordFileUnLock(RecordInfo const& record, RecordDirInfoEx const& dirInfo)
        : RecordFileLock(record, dirInfo, false) {}
};

// Collects the files of one device's date that lie wholly in the range,
// from the main and the backup index.
class RecordFileDeleter : public IFileOperator {
public:
    RecordFileDeleter(RecordInfo const& record, RecordDirInfoEx const& dirInfo,
                      std::vector<SafePointer<RecordFileInfo>>& files)
        : m_record(record), m_dirInfo(dirInfo), m_files(files) {}

    // 1, or 0 when a listing failed.
    int doAction(std::string const& date, std::string const& deviceDir) override;
    // The walk's form; 0 so that the walk goes on.
    int doActionEx(std::string const& date, std::string const& deviceDir) override;

private:
    RecordInfo m_record;
    RecordDirInfoEx m_dirInfo;
    std::vector<SafePointer<RecordFileInfo>>& m_files;
};

#endif

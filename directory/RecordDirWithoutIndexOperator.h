#ifndef DIRECTORY_RECORDDIRWITHOUTINDEXOPERATOR_H
#define DIRECTORY_RECORDDIRWITHOUTINDEXOPERATOR_H

#include <map>
#include <string>
#include <vector>

#include "directory/IRecordDirOperator.h"
#include "directory/IRecordFileWithoutIndexHandler.h"
#include "foundation/RecordQuery.h"
#include "foundation/SafePointer.h"
#include "host/IDiskManager.h"

// The query side of a directory without index, and its walk: device folders
// of root/record that match a channel, their date folders in a range,
// ascending, and the "*.ts" files of each, handed to a handler. Names are
// all there is: no file is opened for a walk.
//
// Keeps nothing between calls but its description and disk manager; any
// thread once init has run.
class RecordDirWithoutIndexOperator : public IRecordDirOperator {
public:
    explicit RecordDirWithoutIndexOperator(RecordDirInfoEx const& info) : IRecordDirOperator(info) {}

    // Takes the description and the disk manager (not owned, process-lived);
    // false when root/record cannot be listed.
    bool init(RecordDirInfoEx const& info, IDiskManager* disk);

    // Hands each file of the channel's device folders (empty id or ip, or a
    // camera < 0, match any) dated in [beginDate, endDate] to the handler;
    // endDate "1970-01-01" is open. Answers the number of files handed over,
    // -1 when root/record cannot be listed.
    int walk(SafePointer<IRecordFileWithoutIndexHandler> const& handler, std::string const& deviceId,
             std::string const& deviceIP, int camera, std::string const& beginDate, std::string const& endDate);
    // The same over one device folder.
    int walkDevice(SafePointer<IRecordFileWithoutIndexHandler> const& handler, std::string const& deviceDir,
                   int camera, std::string const& beginDate, std::string const& endDate);

    // Sum of the lengths of the record files under every device folder;
    // false when a folder cannot be listed or a length read.
    bool getDirFileTotalSize(long long& used);
    // The channel's files that hold time of the condition's window (see
    // RecordFileWithoutIndexQuery). -1 when root/record cannot be listed.
    int queryRecordFile(RecordQueryCondition const& condition, std::vector<RecordFileEx>& files);
    // The whole path of a record file of this directory, from its name; false
    // when the name does not read or no such file is here.
    bool findRecordFile(std::string const& fileName, std::string& path);
    // Removes every file and date folder of a device folder, and the folder.
    bool clearRecordDir(std::string const& deviceDir);
    // Removes the empty date and device folders.
    void deleteEmptyDir();

    // Length of a file on this kind of disk; -1 when it cannot be read.
    static long long getFileLength(RecordDirInfoEx const& dir, std::string const& path);

    // FTP files cannot be locked: -764 and -765.
    int lockRecordFile(RecordInfo const& record) override;
    int unlockRecordFile(RecordInfo const& record) override;
    int queryDeviceList(std::map<std::string, int>& devices) override;
    int queryDateList(std::string const& deviceId, std::string const& deviceIP, std::string const& camera,
                      std::map<std::string, int>& dates) override;
    // Deletes the channel's files that began in the record's time range
    // (end 0: open); the number deleted, -1 when nothing could be listed.
    int deleteRecordFile(RecordInfo const& record) override;
    // Total and free bytes of the file system that holds the root; 1, or 0.
    int getRecordDirSpaceInfo(RecordDirSpaceInfo& space) override;

private:
    std::string recordPath() const;

    IDiskManager* m_pDiskManager = nullptr;  // not owned
};

#endif

#ifndef DIRECTORY_IRECORDDIROPERATOR_H
#define DIRECTORY_IRECORDDIROPERATOR_H

#include <map>
#include <string>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordDirSpaceInfo.h"
#include "foundation/RecordInfo.h"

// The query and administering side of a directory. It works from the bare
// description, also for a disk that no group holds, and keeps nothing
// between calls.
class IRecordDirOperator {
public:
    explicit IRecordDirOperator(RecordDirInfoEx const& info) : m_dirInfo(info) {}
    virtual ~IRecordDirOperator() = default;

    // Lock and unlock the files of a device over the record's time range.
    virtual int lockRecordFile(RecordInfo const& record) = 0;
    virtual int unlockRecordFile(RecordInfo const& record) = 0;
    // Device folder -> a count, for every device that recorded here.
    virtual int queryDeviceList(std::map<std::string, int>& devices) = 0;
    // Date -> a count, for the dates of one device.
    virtual int queryDateList(std::string const& deviceId, std::string const& deviceIP, std::string const& camera,
                              std::map<std::string, int>& dates) = 0;
    virtual int deleteRecordFile(RecordInfo const& record) = 0;
    virtual int getRecordDirSpaceInfo(RecordDirSpaceInfo& space) = 0;

    RecordDirInfoEx const& getRecordDirInfo() const { return m_dirInfo; }

protected:
    RecordDirInfoEx m_dirInfo;
};

#endif

#ifndef TRACKING_RECORDDEVICELOCKINFO_H
#define TRACKING_RECORDDEVICELOCKINFO_H

#include <string>
#include <vector>

#include "foundation/SafePointer.h"
#include "host/OVMutex.h"
#include "tracking/RecordDeviceDateLockInfo.h"

// The lock counts of one channel (device dir) of one directory, per date.
// Any thread; every operation takes the object's mutex, which is inner to
// the mutex of the RecordDirLockInfo that holds this channel.
class RecordDeviceLockInfo {
public:
    explicit RecordDeviceLockInfo(std::string const& deviceDir);

    bool equals(std::string const& deviceDir) const { return m_strDeviceDir == deviceDir; }
    int getRecordDateLockListSize();
    // The sum over all dates.
    int getLockFileNum();
    // 0 for a date not known.
    int getLockFileNum(std::string const& date);
    // RecordDeviceDateLockInfo::kDeletedStatusUnknown for a date not known.
    int getDeletedStatus(std::string const& date);
    // 1 with both values of a known date; 0 and nothing touched otherwise.
    int getLockInfo(std::string const& date, int& nLockFileNum, int& nDeletedStatus);
    // The setters make the date when it is not known yet; the value not
    // given then starts at 0 files, or the unknown status.
    void setLockInfo(std::string const& date, int nLockFileNum, int nDeletedStatus);
    void setLockFileNum(std::string const& date, int nLockFileNum);
    void setDeletedStatus(std::string const& date, int nDeletedStatus);
    // 1 when the date was there.
    int rmRecordDateLockInfo(std::string const& date);

private:
    // The date's record or null; m_mutex must be held.
    SafePointer<RecordDeviceDateLockInfo> find(std::string const& date);
    SafePointer<RecordDeviceDateLockInfo> findOrAdd(std::string const& date);

    std::string const m_strDeviceDir;
    std::vector<SafePointer<RecordDeviceDateLockInfo>> m_dateLockInfoList;  // guarded by m_mutex
    OVMutex m_mutex;
};

#endif

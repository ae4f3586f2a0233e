#ifndef TRACKING_RECORDDIRLOCKINFO_H
#define TRACKING_RECORDDIRLOCKINFO_H

#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/SafePointer.h"
#include "host/OVMutex.h"
#include "tracking/RecordDeviceLockInfo.h"

// The lock counts of one record directory, per channel and date, and the
// directory's number of files that the lock threshold is a share of.
// Any thread; every operation takes the object's mutex, and then, inside it,
// the mutex of one channel.
class RecordDirLockInfo {
public:
    explicit RecordDirLockInfo(RecordDirInfoEx const& dirInfo);

    // The same directory: the same root.
    bool equals(RecordDirInfoEx const& dirInfo) const { return m_dirInfo == dirInfo; }
    RecordDirInfoEx const& getRecordDirInfo() const { return m_dirInfo; }
    void setMaxFileNum(int nMaxFileNum);
    int getMaxFileNum();
    // The sum over all channels and dates.
    int getLockFileNum();
    // 1 with the values of a known channel and date; 0 leaves them alone,
    // so a caller's deleted status of 2 stays 2 for a channel not known.
    int getRecordLockInfo(std::string const& deviceDir, std::string const& date, int& nLockFileNum,
                          int& nDeletedStatus);
    // Makes the channel (and the date) when it is not known.
    void updateRecordDeviceLockInfo(std::string const& deviceDir, std::string const& date,
                                    int nLockFileNum, int nDeletedStatus);
    // For a known channel only: 1, or 0 when the channel is not known.
    int updateRecordDeviceDeleteStatus(std::string const& deviceDir, std::string const& date,
                                       int nDeletedStatus);
    int rmRecordDeviceDateLockInfo(std::string const& deviceDir, std::string const& date);
    int getRecordDeviceLockListSize();

private:
    // The channel's record or null; m_mutex must be held.
    SafePointer<RecordDeviceLockInfo> find(std::string const& deviceDir);

    RecordDirInfoEx const m_dirInfo;
    std::vector<SafePointer<RecordDeviceLockInfo>> m_deviceLockInfoList;  // guarded by m_mutex
    int m_nMaxFileNum = 0;                                                // guarded by m_mutex
    OVMutex m_mutex;
};

#endif

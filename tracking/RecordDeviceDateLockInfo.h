#ifndef TRACKING_RECORDDEVICEDATELOCKINFO_H
#define TRACKING_RECORDDEVICEDATELOCKINFO_H

#include <string>

// The lock count of one date of one channel, and how far that date has been
// deleted. Plain values: the owning RecordDeviceLockInfo's mutex guards them.
class RecordDeviceDateLockInfo {
public:
    // The status a date has when nothing is known of it.
    static constexpr int kDeletedStatusUnknown = 2;

    explicit RecordDeviceDateLockInfo(std::string const& date, int nLockFileNum = 0,
                                      int nDeletedStatus = kDeletedStatusUnknown);

    bool equals(std::string const& date) const { return m_strDate == date; }
    std::string const& getDate() const { return m_strDate; }
    void setLockFileNum(int nLockFileNum) { m_nLockFileNum = nLockFileNum; }
    int getLockFileNum() const { return m_nLockFileNum; }
    void setDeletedStatus(int nDeletedStatus) { m_nDeletedStatus = nDeletedStatus; }
    int getDeletedStatus() const { return m_nDeletedStatus; }

private:
    std::string m_strDate;
    int m_nLockFileNum;
    int m_nDeletedStatus;
};

#endif

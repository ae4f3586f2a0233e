#include "tracking/RecordDeviceDateLockInfo.h"

RecordDeviceDateLockInfo::RecordDeviceDateLockInfo(std::string const& date, int nLockFileNum,
                                                   int nDeletedStatus)
    : m_strDate(date), m_nLockFileNum(nLockFileNum), m_nDeletedStatus(nDeletedStatus) {}

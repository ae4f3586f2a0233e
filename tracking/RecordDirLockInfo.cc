#include "tracking/RecordDirLockInfo.h"

#include "foundation/OVMutexManager.h"

RecordDirLockInfo::RecordDirLockInfo(RecordDirInfoEx const& dirInfo) : m_dirInfo(dirInfo) {}

SafePointer<RecordDeviceLockInfo> RecordDirLockInfo::find(std::string const& deviceDir) {
    for (auto const& info : m_deviceLockInfoList) {
        if (info->equals(deviceDir)) return info;
    }
    return SafePointer<RecordDeviceLockInfo>();
}

void RecordDirLockInfo::setMaxFileNum(int nMaxFileNum) {
    OV_LOCK_GUARD(guard, m_mutex);
    m_nMaxFileNum = nMaxFileNum;
}

int RecordDirLockInfo::getMaxFileNum() {
    OV_LOCK_GUARD(guard, m_mutex);
    return m_nMaxFileNum;
}

int RecordDirLockInfo::getLockFileNum() {
    OV_LOCK_GUARD(guard, m_mutex);
    int sum = 0;
    for (auto const& info : m_deviceLockInfoList) sum += info->getLockFileNum();
    return sum;
}

int RecordDirLockInfo::getRecordLockInfo(std::string const& deviceDir, std::string const& date,
                                         int& nLockFileNum, int& nDeletedStatus) {
    OV_LOCK_GUARD(guard, m_mutex);
    SafePointer<RecordDeviceLockInfo> info = find(deviceDir);
    return info.get() == nullptr ? 0 : info->getLockInfo(date, nLockFileNum, nDeletedStatus);
}

void RecordDirLockInfo::updateRecordDeviceLockInfo(std::string const& deviceDir, std::string const& date,
                                                   int nLockFileNum, int nDeletedStatus) {
    OV_LOCK_GUARD(guard, m_mutex);
    SafePointer<RecordDeviceLockInfo> info = find(deviceDir);
    if (info.get() == nullptr) {
        info = SafePointer<RecordDeviceLockInfo>(new RecordDeviceLockInfo(deviceDir));
        m_deviceLockInfoList.push_back(info);
    }
    info->setLockInfo(date, nLockFileNum, nDeletedStatus);
}

int RecordDirLockInfo::updateRecordDeviceDeleteStatus(std::string const& deviceDir, std::string const& date,
                                                      int nDeletedStatus) {
    OV_LOCK_GUARD(guard, m_mutex);
    SafePointer<RecordDeviceLockInfo> info = find(deviceDir);
    if (info.get() == nullptr) return 0;
    info->setDeletedStatus(date, nDeletedStatus);
    return 1;
}

int RecordDirLockInfo::rmRecordDeviceDateLockInfo(std::string const& deviceDir, std::string const& date) {
    OV_LOCK_GUARD(guard, m_mutex);
    SafePointer<RecordDeviceLockInfo> info = find(deviceDir);
    return info.get() == nullptr ? 0 : info->rmRecordDateLockInfo(date);
}

int RecordDirLockInfo::getRecordDeviceLockListSize() {
    OV_LOCK_GUARD(guard, m_mutex);
    return static_cast<int>(m_deviceLockInfoList.size());
}

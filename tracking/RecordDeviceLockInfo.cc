#include "tracking/RecordDeviceLockInfo.h"

#include "foundation/OVMutexManager.h"

RecordDeviceLockInfo::RecordDeviceLockInfo(std::string const& deviceDir) : m_strDeviceDir(deviceDir) {}

SafePointer<RecordDeviceDateLockInfo> RecordDeviceLockInfo::find(std::string const& date) {
    for (auto const& info : m_dateLockInfoList) {
        if (info->equals(date)) return info;
    }
    return SafePointer<RecordDeviceDateLockInfo>();
}

SafePointer<RecordDeviceDateLockInfo> RecordDeviceLockInfo::findOrAdd(std::string const& date) {
    SafePointer<RecordDeviceDateLockInfo> info = find(date);
    if (info.get() != nullptr) return info;
    info = SafePointer<RecordDeviceDateLockInfo>(new RecordDeviceDateLockInfo(date));
    m_dateLockInfoList.push_back(info);
    return info;
}

int RecordDeviceLockInfo::getRecordDateLockListSize() {
    OV_LOCK_GUARD(guard, m_mutex);
    return static_cast<int>(m_dateLockInfoList.size());
}

int RecordDeviceLockInfo::getLockFileNum() {
    OV_LOCK_GUARD(guard, m_mutex);
    int sum = 0;
    for (auto const& info : m_dateLockInfoList) sum += info->getLockFileNum();
    return sum;
}

int RecordDeviceLockInfo::getLockFileNum(std::string const& date) {
    OV_LOCK_GUARD(guard, m_mutex);
    SafePointer<RecordDeviceDateLockInfo> info = find(date);
    return info.get() == nullptr ? 0 : info->getLockFileNum();
}

int RecordDeviceLockInfo::getDeletedStatus(std::string const& date) {
    OV_LOCK_GUARD(guard, m_mutex);
    SafePointer<RecordDeviceDateLockInfo> info = find(date);
    return info.get() == nullptr ? RecordDeviceDateLockInfo::kDeletedStatusUnknown : info->getDeletedStatus();
}

int RecordDeviceLockInfo::getLockInfo(std::string const& date, int& nLockFileNum, int& nDeletedStatus) {
    OV_LOCK_GUARD(guard, m_mutex);
    SafePointer<RecordDeviceDateLockInfo> info = find(date);
    if (info.get() == nullptr) return 0;
    nLockFileNum = info->getLockFileNum();
    nDeletedStatus = info->getDeletedStatus();
    return 1;
}

void RecordDeviceLockInfo::setLockInfo(std::string const& date, int nLockFileNum, int nDeletedStatus) {
    OV_LOCK_GUARD(guard, m_mutex);
    SafePointer<RecordDeviceDateLockInfo> info = findOrAdd(date);
    info->setLockFileNum(nLockFileNum);
    info->setDeletedStatus(nDeletedStatus);
}

void RecordDeviceLockInfo::setLockFileNum(std::string const& date, int nLockFileNum) {
    OV_LOCK_GUARD(guard, m_mutex);
    findOrAdd(date)->setLockFileNum(nLockFileNum);
}

void RecordDeviceLockInfo::setDeletedStatus(std::string const& date, int nDeletedStatus) {
    OV_LOCK_GUARD(guard, m_mutex);
    findOrAdd(date)->setDeletedStatus(nDeletedStatus);
}

int RecordDeviceLockInfo::rmRecordDateLockInfo(std::string const& date) {
    OV_LOCK_GUARD(guard, m_mutex);
    for (auto it = m_dateLockInfoList.begin(); it != m_dateLockInfoList.end(); ++it) {
        if (!(*it)->equals(date)) continue;
        m_dateLockInfoList.erase(it);
        return 1;
    }
    return 0;
}

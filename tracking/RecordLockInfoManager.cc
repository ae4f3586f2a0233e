#include "tracking/RecordLockInfoManager.h"

#include "foundation/OVMutexManager.h"

int RecordLockInfoManager::getRecordLockInfo(RecordDirInfoEx const&, std::string const&,
                                             std::string const&, int& lockFileNum,
                                             int& deletedStatus) {
    lockFileNum = 0;
    deletedStatus = RecordDeviceDateLockInfo::kDeletedStatusUnknown;
    return 1;
}

void RecordLockInfoManager::addRecordDirLockInfo(SafePointer<RecordDirLockInfo> const& info) {
    OV_LOCK_GUARD(guard, m_mutex);
    m_dirLockInfoList.push_back(info);
}

int RecordLockInfoManager::getRecordDirLockInfoSize() {
    OV_LOCK_GUARD(guard, m_mutex);
    return static_cast<int>(m_dirLockInfoList.size());
}

void RecordLockInfoManager::clean() {
    OV_LOCK_GUARD(guard, m_mutex);
    m_dirLockInfoList.clear();
}

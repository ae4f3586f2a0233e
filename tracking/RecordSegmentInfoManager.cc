#include "tracking/RecordSegmentInfoManager.h"

#include "foundation/OVMutexManager.h"

namespace NS_RecordSegmentInfoManager {
std::string key(std::string const& deviceDir, std::string const& date) {
    return deviceDir + "/" + date;
}
}  // namespace NS_RecordSegmentInfoManager

void RecordSegmentInfoManager::updateDeviceRecordTime(SafePointer<RecordFileInfo> const& file) {
    if (file.isNull()) return;
    std::string key = NS_RecordSegmentInfoManager::key(file->getDeviceDirName(), file->getRecordDate());
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_latestBegin[key] = file->getRecordBeginTime();
}

void RecordSegmentInfoManager::deleteDeviceDateInfo(SafePointer<RecordFileInfo> const& file) {
    if (!file.isNull()) deleteDeviceDateInfo(file->getDeviceDirName(), file->getRecordDate());
}

void RecordSegmentInfoManager::deleteDeviceDateInfo(std::string const& deviceDir, std::string const& date) {
    std::string key = NS_RecordSegmentInfoManager::key(deviceDir, date);
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_latestBegin.erase(key);
}

bool RecordSegmentInfoManager::getDeviceRecordTime(std::string const& deviceDir,
                                                   std::string const& date, long long& beginTime) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    auto found = m_latestBegin.find(NS_RecordSegmentInfoManager::key(deviceDir, date));
    if (found == m_latestBegin.end()) return false;
    beginTime = found->second;
    return true;
}

#include "recording/RecordFileRequestManager.h"

#include "foundation/OVMutexManager.h"

DeviceRequestType* RecordFileRequestManager::find(RecordDeviceInfo const& device) {
    for (DeviceRequestType& entry : m_devices) {
        if (entry.device.getDeviceId() == device.getDeviceId() &&
            entry.device.getCameraId() == device.getCameraId())
            return &entry;
    }
    return nullptr;
}

bool RecordFileRequestManager::isRequestNewFile(RecordDeviceInfo const& device) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    DeviceRequestType* entry = find(device);
    if (entry != nullptr) return isCreateNewFile(entry->nRequestType);
    DeviceRequestType added;
    added.device = device;
    added.nRequestType = FileRequestContinue;
    m_devices.push_back(added);
    return false;
}

void RecordFileRequestManager::updateDeviceRequestType(RecordDeviceInfo const& device, int nType) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    DeviceRequestType* entry = find(device);
    if (entry != nullptr) {
        entry->nRequestType = nType;
        return;
    }
    DeviceRequestType added;
    added.device = device;
    added.nRequestType = nType;
    m_devices.push_back(added);
}

bool RecordFileRequestManager::isCreateNewFile(int nType) {
    return !(nType == FileRequestContinue || nType == FileRequestKeep);
}

void RecordFileRequestManager::clearAll() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_devices.clear();
}

#include "disk/RecordDeviceDirPolicyManager.h"

#include <algorithm>

#include "foundation/OVMutexManager.h"

void RecordDeviceDirPolicyManager::addRecordDevicePolicy(RecordDeviceDirPolicy const& policy) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    for (RecordDeviceDirPolicy& entry : m_policies) {
        if (entry.getRecordDeviceInfo().equals(policy.getRecordDeviceInfo())) {
            entry = policy;
            return;
        }
    }
    m_policies.push_back(policy);
}

void RecordDeviceDirPolicyManager::removeRecordDevicePolicy(RecordDeviceInfo const& device) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_policies.erase(std::remove_if(m_policies.begin(), m_policies.end(),
                                    [&](RecordDeviceDirPolicy const& entry) {
                                        return entry.getRecordDeviceInfo().equals(device);
                                    }),
                     m_policies.end());
}

void RecordDeviceDirPolicyManager::removeAllRecordDevicePolicy(int recordMode) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_policies.erase(std::remove_if(m_policies.begin(), m_policies.end(),
                                    [&](RecordDeviceDirPolicy const& entry) {
                                        return entry.getRecordDeviceInfo().getRecordMode() == recordMode;
                                    }),
                     m_policies.end());
}

int RecordDeviceDirPolicyManager::getRecordDeviceDirPolicy(RecordDeviceInfo const& device,
                                                           RecordDeviceDirPolicy& policy) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    for (RecordDeviceDirPolicy const& entry : m_policies) {
        if (entry.getRecordDeviceInfo().equals(device)) {
            policy = entry;
            return 1;
        }
    }
    return 0;
}

void RecordDeviceDirPolicyManager::getAllDirPolicy(std::vector<RecordDeviceDirPolicy>& policies) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    policies = m_policies;
}

void RecordDeviceDirPolicyManager::getRecordDirPolicyListByGroupID(int recordMode, int groupId,
                                                                   std::vector<RecordInfo>& channels) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    for (RecordDeviceDirPolicy const& entry : m_policies) {
        RecordDeviceInfo const& device = entry.getRecordDeviceInfo();
        if (entry.getGroupID() != groupId || device.getRecordMode() != recordMode) continue;
        RecordInfo channel;
        channel.setDeviceId(device.getDeviceId());
        channel.setDeviceIP(device.getDeviceIP());
        channel.setCameraId(device.getCameraId());
        channels.push_back(channel);
    }
}

void RecordDeviceDirPolicyManager::clear() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_policies.clear();
}

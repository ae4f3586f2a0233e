#include "disk/RecordDeviceDirPolicyList.h"

#include "foundation/OVMutexManager.h"

void RecordDeviceDirPolicyList::set(std::vector<RecordDeviceDirPolicy> const& policies) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_policies = policies;
}

std::vector<RecordDeviceDirPolicy> RecordDeviceDirPolicyList::copy() const {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return m_policies;
}

std::vector<RecordDeviceDirPolicy> RecordDeviceDirPolicyList::copy(bool cycleWrite) const {
    std::vector<RecordDeviceDirPolicy> chosen;
    for (RecordDeviceDirPolicy const& policy : copy())
        if (policy.isCycleWrite() == cycleWrite) chosen.push_back(policy);
    return chosen;
}

bool RecordDeviceDirPolicyList::isCycleWrite(RecordFileInfo const& file) const {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    RecordDeviceDirPolicy const* policy =
        RecordDeviceDirPolicy::find(m_policies, file.getDeviceId(), file.getDeviceIP(), file.getCameraId());
    return policy != nullptr && policy->isCycleWrite();
}

#ifndef DISK_RECORDDEVICEDIRPOLICYMANAGER_H
#define DISK_RECORDDEVICEDIRPOLICYMANAGER_H

#include <vector>

#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/RecordInfo.h"
#include "host/OVMutex.h"

// The store of channel policies. It outlives directory changes so that they
// can be applied anew. One entry per channel (RecordDeviceInfo::equals).
class RecordDeviceDirPolicyManager {
public:
    void addRecordDevicePolicy(RecordDeviceDirPolicy const& policy);
    void removeRecordDevicePolicy(RecordDeviceInfo const& device);
    void removeAllRecordDevicePolicy(int recordMode);
    // Non-zero when found, with a copy in `policy`.
    int getRecordDeviceDirPolicy(RecordDeviceInfo const& device, RecordDeviceDirPolicy& policy);
    void getAllDirPolicy(std::vector<RecordDeviceDirPolicy>& policies);
    // Appends the channels of one record mode that record to `groupId`.
    void getRecordDirPolicyListByGroupID(int recordMode, int groupId, std::vector<RecordInfo>& channels);
    void clear();

private:
    std::vector<RecordDeviceDirPolicy> m_policies;  // guarded by m_mutex
    OVMutex m_mutex;
};

#endif

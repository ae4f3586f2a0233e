#ifndef DISK_RECORDDEVICEDIRPOLICYLIST_H
#define DISK_RECORDDEVICEDIRPOLICYLIST_H

#include <vector>

#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/RecordFileInfo.h"
#include "host/OVMutex.h"

// The channel policies a storage policy works for. Long work runs on a copy,
// with no lock held. Any thread.
class RecordDeviceDirPolicyList {
public:
    void set(std::vector<RecordDeviceDirPolicy> const& policies);
    std::vector<RecordDeviceDirPolicy> copy() const;
    // The policies that cycle (true) or keep by days (false).
    std::vector<RecordDeviceDirPolicy> copy(bool cycleWrite) const;
    // The file's channel may overwrite its oldest recordings; false without a policy.
    bool isCycleWrite(RecordFileInfo const& file) const;

private:
    mutable OVMutex m_mutex;
    std::vector<RecordDeviceDirPolicy> m_policies;  // guarded by m_mutex
};

#endif

#ifndef DISK_RECORDDEVICEDIRPOLICY_H
#define DISK_RECORDDEVICEDIRPOLICY_H

#include <string>
#include <vector>

#include "foundation/RecordInfo.h"

// A channel's storage settings: whether it may overwrite its oldest
// recordings, which group it records to, how long it keeps them, and whether
// it records twice.
class RecordDeviceDirPolicy {
public:
    RecordDeviceDirPolicy() = default;
    RecordDeviceDirPolicy(RecordDeviceInfo const& device, bool cycleWrite, int groupId,
                          int recordSaveDays, bool redundancy)
        : m_device(device),
          m_bCycleWrite(cycleWrite),
          m_nGroupId(groupId),
          m_nRecordSaveDays(recordSaveDays),
          m_bRedundancy(redundancy) {}

    RecordDeviceInfo const& getRecordDeviceInfo() const { return m_device; }
    void setRecordDeviceInfo(RecordDeviceInfo const& device) { m_device = device; }
    bool isCycleWrite() const { return m_bCycleWrite; }
    void setCycleWrite(bool cycleWrite) { m_bCycleWrite = cycleWrite; }
    int getGroupID() const { return m_nGroupId; }
    void setGroupID(int groupId) { m_nGroupId = groupId; }
    int getRecordSaveDays() const { return m_nRecordSaveDays; }
    void setRecordSaveDays(int days) { m_nRecordSaveDays = days; }
    bool getRedundancyFlag() const { return m_bRedundancy; }
    void setRedundancyFlag(bool redundancy) { m_bRedundancy = redundancy; }

    // The policy is this channel's: same id and camera, and the same IP (in
    // its file-name form) unless the policy leaves it empty.
    bool isForDevice(std::string const& deviceId, std::string const& deviceIP, int cameraId) const;
    // The channel's policy in `policies`, from position `from` round; null
    // when it has none. `found` (may be null) receives the position.
    static RecordDeviceDirPolicy const* find(std::vector<RecordDeviceDirPolicy> const& policies,
                                             std::string const& deviceId, std::string const& deviceIP, int cameraId,
                                             size_t from = 0, size_t* found = nullptr);

private:
    RecordDeviceInfo m_device;
    bool m_bCycleWrite = false;
    int m_nGroupId = 0;
    int m_nRecordSaveDays = 0;
    bool m_bRedundancy = false;
};

#endif

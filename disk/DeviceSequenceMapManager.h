#ifndef DISK_DEVICESEQUENCEMAPMANAGER_H
#define DISK_DEVICESEQUENCEMAPMANAGER_H

#include <string>
#include <vector>

#include "foundation/Singlton.h"
#include "host/OVMutex.h"

// A channel's half: sequence 1 walks the disk list upwards, sequence 2
// downwards, so two halves of the channels start on different disks.
class RecordDeviceSequence {
public:
    bool isEqual(std::string const& deviceId, int cameraId) const {
        return m_strDeviceId == deviceId && m_nCameraId == cameraId;
    }
    void setSequenceId(int sequenceId) { m_nSequenceId = sequenceId; }
    int getSequenceId() const { return m_nSequenceId; }
    void setRecordDeviceInfo(std::string const& deviceId, int cameraId) {
        m_strDeviceId = deviceId;
        m_nCameraId = cameraId;
    }
    std::string const& getDeviceId() const { return m_strDeviceId; }
    int getCameraId() const { return m_nCameraId; }

private:
    std::string m_strDeviceId;
    int m_nCameraId = 0;
    int m_nSequenceId = 0;
};

// Splits the channels the host registers into two halves of equal size, in
// the order they come: 1, 2, 1, 2. A removal moves at most one channel back
// to even the halves; the move takes effect with the channel's next file.
class DeviceSequenceMapManager : public Singlton<DeviceSequenceMapManager> {
public:
    void updateDeviceSequence(std::string const& deviceId, int cameraId, bool add);
    // 1 or 2; -1 for a channel in neither half.
    int getDeviceSequence(std::string const& deviceId, int cameraId);
    int getDeviceNum();
    bool isExist(std::string const& deviceId, int cameraId);
    void clear();

private:
    friend class Singlton<DeviceSequenceMapManager>;
    DeviceSequenceMapManager() = default;

    // Called with m_mutex held.
    bool isExistLocked(std::string const& deviceId, int cameraId) const;
    void setDeviceSequence(std::string const& deviceId, int cameraId);
    void rmDeviceSequence(std::string const& deviceId, int cameraId);
    void balanceDeviceSequence();

    std::vector<RecordDeviceSequence> m_firstSequence;   // guarded by m_mutex
    std::vector<RecordDeviceSequence> m_secondSequence;  // guarded by m_mutex
    OVMutex m_mutex;
};

#endif

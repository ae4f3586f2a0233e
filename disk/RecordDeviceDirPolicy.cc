#include "disk/RecordDeviceDirPolicy.h"

#include "foundation/BasicTool.h"

bool RecordDeviceDirPolicy::isForDevice(std::string const& deviceId, std::string const& deviceIP,
                                        int cameraId) const {
    if (m_device.getDeviceId() != deviceId || m_device.getCameraId() != cameraId) return false;
    return m_device.getDeviceIP().empty() ||
           BasicTool::getFileNameIP(m_device.getDeviceIP()) == BasicTool::getFileNameIP(deviceIP);
}

RecordDeviceDirPolicy const* RecordDeviceDirPolicy::find(std::vector<RecordDeviceDirPolicy> const& policies,
                                                         std::string const& deviceId, std::string const& deviceIP,
                                                         int cameraId, size_t from, size_t* found) {
    size_t const count = policies.size();
    for (size_t step = 0; step < count; ++step) {
        size_t at = (from + step) % count;
        if (!policies[at].isForDevice(deviceId, deviceIP, cameraId)) continue;
        if (found != nullptr) *found = at;
        return &policies[at];
    }
    return nullptr;
}

#include "disk/DeviceSequenceMapManager.h"

#include <algorithm>

#include "foundation/OVMutexManager.h"

namespace NS_DeviceSequenceMapManager {
constexpr int kFirst = 1;
constexpr int kSecond = 2;

// Moves the oldest channel of `from` to the end of `to`.
void moveFirst(std::vector<RecordDeviceSequence>& from, std::vector<RecordDeviceSequence>& to,
               int sequenceId) {
    RecordDeviceSequence moved = from.front();
    moved.setSequenceId(sequenceId);
    to.push_back(moved);
    from.erase(from.begin());
}
}  // namespace NS_DeviceSequenceMapManager

using namespace NS_DeviceSequenceMapManager;

void DeviceSequenceMapManager::updateDeviceSequence(std::string const& deviceId, int cameraId, bool add) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    if (add) {
        setDeviceSequence(deviceId, cameraId);
        return;
    }
    rmDeviceSequence(deviceId, cameraId);
    balanceDeviceSequence();
}

int DeviceSequenceMapManager::getDeviceSequence(std::string const& deviceId, int cameraId) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    for (RecordDeviceSequence const& entry : m_firstSequence) {
        if (entry.isEqual(deviceId, cameraId)) return entry.getSequenceId();
    }
    for (RecordDeviceSequence const& entry : m_secondSequence) {
        if (entry.isEqual(deviceId, cameraId)) return entry.getSequenceId();
    }
    return -1;
}

int DeviceSequenceMapManager::getDeviceNum() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return static_cast<int>(m_firstSequence.size() + m_secondSequence.size());
}

bool DeviceSequenceMapManager::isExist(std::string const& deviceId, int cameraId) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return isExistLocked(deviceId, cameraId);
}

void DeviceSequenceMapManager::clear() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_firstSequence.clear();
    m_secondSequence.clear();
}

bool DeviceSequenceMapManager::isExistLocked(std::string const& deviceId, int cameraId) const {
    auto same = [&](RecordDeviceSequence const& entry) { return entry.isEqual(deviceId, cameraId); };
    return std::any_of(m_firstSequence.begin(), m_firstSequence.end(), same) ||
           std::any_of(m_secondSequence.begin(), m_secondSequence.end(), same);
}

void DeviceSequenceMapManager::setDeviceSequence(std::string const& deviceId, int cameraId) {
    if (isExistLocked(deviceId, cameraId)) return;
    RecordDeviceSequence entry;
    entry.setRecordDeviceInfo(deviceId, cameraId);
    if (m_firstSequence.size() <= m_secondSequence.size()) {
        entry.setSequenceId(kFirst);
        m_firstSequence.push_back(entry);
    } else {
        entry.setSequenceId(kSecond);
        m_secondSequence.push_back(entry);
    }
}

void DeviceSequenceMapManager::rmDeviceSequence(std::string const& deviceId, int cameraId) {
    auto same = [&](RecordDeviceSequence const& entry) { return entry.isEqual(deviceId, cameraId); };
    m_firstSequence.erase(std::remove_if(m_firstSequence.begin(), m_firstSequence.end(), same),
                          m_firstSequence.end());
    m_secondSequence.erase(std::remove_if(m_secondSequence.begin(), m_secondSequence.end(), same),
                           m_secondSequence.end());
}

void DeviceSequenceMapManager::balanceDeviceSequence() {
    if (m_firstSequence.size() >= m_secondSequence.size() + 2) {
        moveFirst(m_firstSequence, m_secondSequence, kSecond);
    } else if (m_secondSequence.size() >= m_firstSequence.size() + 2) {
        moveFirst(m_secondSequence, m_firstSequence, kFirst);
    }
}

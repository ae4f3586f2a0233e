#include "foundation/RecordInfo.h"

#include "foundation/BasicTool.h"

bool RecordDeviceInfo::equals(RecordDeviceInfo const& other) const {
    return m_DeviceId == other.m_DeviceId && m_CameraId == other.m_CameraId && m_RecordMode == other.m_RecordMode &&
           BasicTool::getFileNameIP(m_DeviceIP) == BasicTool::getFileNameIP(other.m_DeviceIP);
}

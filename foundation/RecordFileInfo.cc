#include "foundation/RecordFileInfo.h"

#include "foundation/BasicTool.h"

std::string RecordFileInfo::createFileName() const {
    return BasicTool::getRecordFileName(m_FileNumber, m_DeviceId, m_DeviceIP, m_CameraId,
                                        static_cast<unsigned long>(m_RecordBeginTime));
}

std::string RecordFileInfo::getDeviceDirName() const {
    return BasicTool::getDeviceDirString(m_DeviceId, m_DeviceIP, m_CameraId);
}

std::string RecordFileInfo::getDeviceDir() const {
    return BasicTool::getWholeDeviceDir(m_dirInfo, BasicTool::kRecordDirName, getDeviceDirName());
}

std::string RecordFileInfo::getDateDir() const {
    return BasicTool::getWholeDateDir(m_dirInfo, BasicTool::kRecordDirName, getDeviceDirName(),
                                      m_RecordDate);
}

std::string RecordFileInfo::createRecordFileName() const {
    return BasicTool::createWholeFileName(1, m_dirInfo.getRecordRootDir(), getDeviceDirName(),
                                          m_RecordDate, m_RecordFileName);
}

bool RecordFileInfo::isSameRecordSegment(RecordFileInfo const& other) const {
    return m_DeviceId == other.m_DeviceId && m_DeviceIP == other.m_DeviceIP &&
           m_CameraId == other.m_CameraId && m_RecordDate == other.m_RecordDate &&
           m_RecordFileName == other.m_RecordFileName;
}

bool RecordFileInfo::operator==(RecordFileInfo const& other) const {
    return isSameRecordSegment(other) && m_RecordBeginTime == other.m_RecordBeginTime &&
           m_dirInfo == other.m_dirInfo;
}

RecordInfo RecordFileInfo::changeToRecordInfo() const {
    RecordInfo info;
    info.setDeviceId(m_DeviceId);
    info.setDeviceIP(m_DeviceIP);
    info.setCameraId(m_CameraId);
    info.setRecordBeginTime(static_cast<unsigned long>(m_RecordBeginTime));
    info.setRecordEndTime(static_cast<unsigned long>(m_RecordEndTime));
    info.setLockFlag(m_LockFlag);
    return info;
}

RecordDeviceInfo RecordFileInfo::getRecordDeviceInfo() const {
    RecordDeviceInfo device;
    device.setDeviceId(m_DeviceId);
    device.setDeviceIP(m_DeviceIP);
    device.setCameraId(m_CameraId);
    device.setRecordMode(m_RecordMode);
    return device;
}

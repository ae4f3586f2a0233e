#ifndef HOST_CAMERAINFO_H
#define HOST_CAMERAINFO_H

#include <string>

// A camera as the host names it: the device id and the camera number on it.
class CameraInfo {
public:
    CameraInfo(char const* deviceId = "", int cameraNo = 0)
        : m_strDeviceId(deviceId ? deviceId : ""), m_nCameraNo(cameraNo) {}

    std::string const& getDeviceId() const { return m_strDeviceId; }
    int getCameraNo() const { return m_nCameraNo; }
    void setDeviceId(std::string const& value) { m_strDeviceId = value; }
    void setCameraNo(int value) { m_nCameraNo = value; }

    bool operator==(CameraInfo const& other) const {
        return m_strDeviceId == other.m_strDeviceId && m_nCameraNo == other.m_nCameraNo;
    }

private:
    std::string m_strDeviceId;
    int m_nCameraNo;
};

#endif

#ifndef DISK_RECORDSTATEINFO_H
#define DISK_RECORDSTATEINFO_H

#include <cstdio>

// The record state of one channel as last told to the host.
class RecordStateInfo {
public:
    RecordStateInfo(char const* deviceId, int cameraId, int state) : m_nCameraId(cameraId), m_nRecordState(state) {
        setDeviceId(deviceId);
    }

    void setDeviceId(char const* deviceId) {
        std::snprintf(m_szDeviceId, sizeof(m_szDeviceId), "%s", deviceId != nullptr ? deviceId : "");
    }
    char const* getDeviceId() const { return m_szDeviceId; }
    int getCameraId() const { return m_nCameraId; }
    int getRecordState() const { return m_nRecordState; }
    void setRecordState(int state) { m_nRecordState = state; }

private:
    char m_szDeviceId[64];
    int m_nCameraId;
    int m_nRecordState;
};

#endif

#ifndef DIRECTORY_NASDIRDEVICERECORDSTATINFO_H
#define DIRECTORY_NASDIRDEVICERECORDSTATINFO_H

#include <cstdint>
#include <string>

// One channel's statistics on a network-attached share, as its stat file
// carries them (docs/stat-file.md). The device id is the channel's device
// folder without its camera ("<id>_<ip>"), so two recorders' channels never
// share a name. The update time is a counter, not a clock: a reader that
// sees it unchanged between two scans knows the writer has stopped.
class NasDirDeviceRecordStatInfo {
public:
    NasDirDeviceRecordStatInfo() = default;
    NasDirDeviceRecordStatInfo(std::string const& deviceId, int cameraId) : m_strDeviceId(deviceId), m_nCameraId(cameraId) {}

    std::string const& getDeviceId() const { return m_strDeviceId; }
    void setDeviceId(std::string const& id) { m_strDeviceId = id; }
    int getCameraId() const { return m_nCameraId; }
    void setCameraId(int id) { m_nCameraId = id; }
    int getSaveDays() const { return m_nSaveDays; }
    void setSaveDays(int days) { m_nSaveDays = days; }
    int getUseableRecordDays() const { return m_nUseableRecordDays; }
    void setUseableRecordDays(int days) { m_nUseableRecordDays = days; }
    bool isDeviceActive() const { return m_bDeviceActive; }
    void setDeviceActive(bool active) { m_bDeviceActive = active; }
    // 64 bits on every target: the file holds 8 bytes.
    std::uint64_t getUpdateTime() const { return m_nUpdateTime; }
    void setUpdateTime(std::uint64_t time) { m_nUpdateTime = time; }

    bool isSameDevice(NasDirDeviceRecordStatInfo const& other) const {
        return m_strDeviceId == other.m_strDeviceId && m_nCameraId == other.m_nCameraId;
    }

private:
    std::string m_strDeviceId;
    int m_nCameraId = 0;
    int m_nSaveDays = 0;
    int m_nUseableRecordDays = 0;
    bool m_bDeviceActive = false;
    std::uint64_t m_nUpdateTime = 0;
};

#endif

#ifndef DIRECTORY_DEVICERECORDDISKSTATREPORT_H
#define DIRECTORY_DEVICERECORDDISKSTATREPORT_H

#include <algorithm>
#include <string>
#include <vector>

// What one device holds on one disk: its dates and files, and what it wants.
class DeviceRecordDiskStatReport {
public:
    DeviceRecordDiskStatReport() = default;
    DeviceRecordDiskStatReport(std::string const& deviceId, int cameraId) : m_strDeviceId(deviceId), m_nCameraId(cameraId) {}

    std::string const& getDeviceId() const { return m_strDeviceId; }
    void setDeviceId(std::string const& id) { m_strDeviceId = id; }
    int getCameraId() const { return m_nCameraId; }
    void setCameraId(int id) { m_nCameraId = id; }
    std::vector<std::string> const& getRecordDateList() const { return m_dates; }
    void setRecordDateList(std::vector<std::string> const& dates) { m_dates = dates; }
    // Appends the date unless it is there already.
    void addRecordDate(std::string const& date) {
        if (std::find(m_dates.begin(), m_dates.end(), date) == m_dates.end()) m_dates.push_back(date);
    }
    void clearDateList() { m_dates.clear(); }
    long long getRecordFileNumber() const { return m_nRecordFileNumber; }
    void setRecordFileNumber(long long number) { m_nRecordFileNumber = number; }
    int getGroupId() const { return m_nGroupId; }
    void setGroupId(int id) { m_nGroupId = id; }
    int getDataSpeed() const { return m_nDataSpeed; }
    void setDataSpeed(int speed) { m_nDataSpeed = speed; }
    int getSaveDays() const { return m_nSaveDays; }
    void setSaveDays(int days) { m_nSaveDays = days; }
    int getLeftDays() const { return m_nLeftDays; }
    void setLeftDays(int days) { m_nLeftDays = days; }
    bool isDiskSpaceEnough() const { return m_bSpaceEnough; }
    void setDiskSpaceEnough(bool enough) { m_bSpaceEnough = enough; }
    bool isCycleWrite() const { return m_bCycleWrite; }
    void setCycleWrite(bool cycle) { m_bCycleWrite = cycle; }

private:
    std::string m_strDeviceId;
    int m_nCameraId = 0;
    std::vector<std::string> m_dates;
    long long m_nRecordFileNumber = 0;  // wide on 32-bit targets as well
    int m_nGroupId = 0;
    int m_nDataSpeed = 0;
    int m_nSaveDays = 0;
    int m_nLeftDays = 0;
    bool m_bSpaceEnough = false;
    bool m_bCycleWrite = false;
};

#endif

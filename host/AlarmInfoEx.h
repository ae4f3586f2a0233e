#ifndef HOST_ALARMINFOEX_H
#define HOST_ALARMINFOEX_H

#include <string>

// One alarm handed to the host's listeners. Plain value.
class AlarmInfoEx {
public:
    AlarmInfoEx() = default;

    void setMajorType(int value) { m_nMajorType = value; }
    void setMinorType(int value) { m_nMinorType = value; }
    void setDeviceId(std::string const& value) { m_strDeviceId = value; }
    void setDeviceIP(std::string const& value) { m_strDeviceIP = value; }
    void setSourceId(std::string const& value) { m_strSourceId = value; }
    void setSourceName(std::string const& value) { m_strSourceName = value; }
    void setDescription(std::string const& value) { m_strDescription = value; }
    void setAlarmTime(unsigned long value) { m_nAlarmTime = value; }

    int getMajorType() const { return m_nMajorType; }
    int getMinorType() const { return m_nMinorType; }
    std::string const& getDeviceId() const { return m_strDeviceId; }
    std::string const& getDeviceIP() const { return m_strDeviceIP; }
    std::string const& getSourceId() const { return m_strSourceId; }
    std::string const& getSourceName() const { return m_strSourceName; }
    std::string const& getDescription() const { return m_strDescription; }
    unsigned long getAlarmTime() const { return m_nAlarmTime; }

private:
    int m_nMajorType = 0;
    int m_nMinorType = 0;
    std::string m_strDeviceId;
    std::string m_strDeviceIP;
    std::string m_strSourceId;
    std::string m_strSourceName;
    std::string m_strDescription;
    unsigned long m_nAlarmTime = 0;  // seconds since the epoch
};

#endif

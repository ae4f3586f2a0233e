#include "snapshot/SnapshotFileChecker.h"

#include <cstdio>
#include <cstdlib>

#include "foundation/BasicTool.h"
#include "host/TimeConverter.h"

bool SnapshotFileChecker::split(char const* name) {
    if (name == nullptr) return false;
    std::string const text(name);
    size_t const end = text.find(".jpg");
    if (end == std::string::npos) return false;
    size_t from = 0;
    for (int& cut : m_nCut) {
        size_t at = text.find('_', from);
        if (at == std::string::npos || at > end) return false;
        cut = static_cast<int>(at);
        from = at + 1;
    }
    m_strName = text;
    m_nEnd = static_cast<int>(end);
    return true;
}

bool SnapshotFileChecker::checkFileName(char const* name) {
    if (!split(name)) return false;
    std::string const time = getBeginTime();
    long long value = 0;
    if (m_nCut[0] < 0 || time.size() != static_cast<size_t>(kBeginTimeLength) ||
        !TimeConverter::strToINT64(time, value) || time[0] == '-')
        return false;
    m_nNameLen = static_cast<int>(m_strName.size());
    return true;
}

std::string SnapshotFileChecker::getDeviceID() const { return piece(0, m_nCut[0]); }
std::string SnapshotFileChecker::getDeviceIP() const { return piece(m_nCut[0] + 1, m_nCut[1]); }
int SnapshotFileChecker::getCameraID() const { return std::atoi(piece(m_nCut[1] + 1, m_nCut[2]).c_str()); }
std::string SnapshotFileChecker::getBeginTime() const { return piece(m_nCut[2] + 1, m_nCut[3]); }
int SnapshotFileChecker::getSnapshotType() const { return std::atoi(piece(m_nCut[3] + 1, m_nEnd).c_str()); }

long long SnapshotFileChecker::getBeginTimeMs() const {
    OVDateTime time;
    int ms = 0;
    if (std::sscanf(getBeginTime().c_str(), "%4d%2d%2d%2d%2d%2d%3d", &time.year, &time.month, &time.day, &time.hour,
                    &time.minute, &time.second, &ms) != 7)
        return -1;
    unsigned long seconds = 0;
    if (!TimeConverter::structToLong(time, seconds)) return -1;
    return static_cast<long long>(seconds) * 1000 + ms;
}

bool SnapshotFileChecker::createRecordFileInfo(RecordFileInfo& file) const {
    long long const time = getBeginTimeMs();
    if (time < 0) return false;
    file.setDeviceId(getDeviceID());
    file.setDeviceIP(getDeviceIP());
    file.setCameraId(getCameraID());
    file.setRecordBeginTime(time / 1000);
    file.setRecordDate(BasicTool::getDateString(time / 1000));
    file.setRecordFileName(m_strName);
    return true;
}

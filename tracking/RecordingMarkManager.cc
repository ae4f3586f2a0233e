#include "tracking/RecordingMarkManager.h"

#include "foundation/OVMutexManager.h"
#include "tracking/RecordSegmentInfoManager.h"

void RecordingMarkManager::addMark(std::string const& deviceDir, std::string const& date) {
    {
        OV_LOCK_GUARD(guard, m_mutex);
        m_marks[deviceDir] = date;
    }
    // The date grows from now on: the segment table must not keep what it
    // read of it before.
    RecordSegmentInfoManager::getInstance()->deleteDeviceDateInfo(deviceDir, date);
}

void RecordingMarkManager::delMark(std::string const& deviceDir) {
    OV_LOCK_GUARD(guard, m_mutex);
    m_marks.erase(deviceDir);
}

bool RecordingMarkManager::isExistMark(std::string const& deviceDir, std::string const& date) {
    OV_LOCK_GUARD(guard, m_mutex);
    auto found = m_marks.find(deviceDir);
    return found != m_marks.end() && found->second == date;
}

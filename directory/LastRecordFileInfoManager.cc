#include "directory/LastRecordFileInfoManager.h"

#include <algorithm>

#include "foundation/OVMutexManager.h"

std::vector<RecordFileInfo>::iterator LastRecordFileInfoManager::find(RecordFileInfo const& channel) {
    return std::find_if(m_entries.begin(), m_entries.end(), [&](RecordFileInfo const& entry) {
        return entry.getDeviceId() == channel.getDeviceId() &&
               entry.getDeviceIP() == channel.getDeviceIP() &&
               entry.getCameraId() == channel.getCameraId();
    });
}

void LastRecordFileInfoManager::setLastRecordFileInfo(SafePointer<RecordFileInfo> const& file) {
    if (file.isNull()) return;
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    auto found = find(*file);
    if (found != m_entries.end()) {
        *found = *file;
    } else {
        m_entries.push_back(*file);
    }
}

bool LastRecordFileInfoManager::getLastRecordFileInfo(SafePointer<RecordFileInfo> const& channel,
                                                       RecordFileInfo& last) {
    if (channel.isNull()) return false;
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    auto found = find(*channel);
    if (found == m_entries.end()) return false;
    if (!(found->getRecordDirInfoEx() == channel->getRecordDirInfoEx())) return false;
    last = *found;
    return true;
}

void LastRecordFileInfoManager::eraseLastRecordFileInfo(SafePointer<RecordFileInfo> const& file) {
    if (file.isNull()) return;
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    auto found = find(*file);
    if (found != m_entries.end()) m_entries.erase(found);
}

void LastRecordFileInfoManager::eraseLastRecordFileInfo(RecordDirInfoEx const& dir) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(),
                                   [&](RecordFileInfo const& entry) {
                                       return entry.getRecordDirInfoEx() == dir;
                                   }),
                    m_entries.end());
}

void LastRecordFileInfoManager::clear() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_entries.clear();
}

size_t LastRecordFileInfoManager::size() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return m_entries.size();
}

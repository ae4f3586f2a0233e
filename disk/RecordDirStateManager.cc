#include "disk/RecordDirStateManager.h"

#include "foundation/OVMutexManager.h"

void RecordDirStateInfo::setDeviceNum(int devices) {
    if (devices < 3) {
        m_nDeviceNum = 3;
        m_nSumLimit = 20;
        m_nCountLimit = 5;
        return;
    }
    m_nDeviceNum = devices;
    m_nCountLimit = (devices / 3) * 5;
    m_nSumLimit = (devices / 3) * 20;
}

void RecordDirStateManager::addTimeout(RecordDirInfoEx const& dir, int seconds) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    for (RecordDirStateInfo& state : m_states) {
        if (state.getRecordDirInfo() == dir) {
            state.increaseTimeout(seconds);
            return;
        }
    }
    m_states.emplace_back(dir);
    m_states.back().increaseTimeout(seconds);
}

bool RecordDirStateManager::isIOError(RecordDirInfoEx const& dir) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    for (RecordDirStateInfo const& state : m_states) {
        if (state.getRecordDirInfo() == dir) return state.isIOError();
    }
    return false;
}

bool RecordDirStateManager::getTimeoutInfo(RecordDirInfoEx const& dir, int& sum, int& count) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    for (RecordDirStateInfo const& state : m_states) {
        if (state.getRecordDirInfo() == dir) {
            sum = state.getTimeoutSum();
            count = state.getTimeoutCount();
            return true;
        }
    }
    return false;
}

void RecordDirStateManager::clear() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    m_states.clear();
}

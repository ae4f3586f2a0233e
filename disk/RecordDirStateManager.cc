#include "disk/RecordDirStateManager.h"

#include <algorithm>
#include <cstdio>

#include "disk/RecordDiskManagerImpl.h"
#include "foundation/EncoderType.h"
#include "foundation/LockRank.h"
#include "foundation/OVMutexManager.h"
#include "host/GlobalEnv.h"
#include "host/LocalPath.h"
#include "host/Logger.h"
#include "host/OrvaneTime.h"

namespace NS_RecordDirStateManager {
constexpr int kAlarmMajorType = 4;
constexpr int kAlarmMinorType = 2;
constexpr size_t kDescriptionLimit = 64;
constexpr int kResetLimit = 3;

}  // namespace NS_RecordDirStateManager

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

void RecordDirStateInfo::resetStateInfo() {
    if (m_nResetCount >= NS_RecordDirStateManager::kResetLimit) return;
    m_nTimeoutSum = 0;
    m_nTimeoutCount = 0;
    m_bAlarmFlag = true;
}

void RecordDirStateInfo::resetStateInfoEx() {
    m_nTimeoutSum = 0;
    m_nTimeoutCount = 0;
    m_nResetCount = 0;
    m_bAlarmFlag = true;
}

void RecordDirStateInfo::resetStateInfoWithLimit() {
    if (m_nResetCount >= NS_RecordDirStateManager::kResetLimit) {
        m_nTimeoutSum = m_nSumLimit;
        m_nTimeoutCount = m_nCountLimit;
        return;
    }
    ++m_nResetCount;
    m_nTimeoutSum = 0;
    m_nTimeoutCount = 0;
    m_bAlarmFlag = true;
}

RecordDirStateInfo* RecordDirStateManager::find(RecordDirInfoEx const& dir) {
    for (RecordDirStateInfo& state : m_states)
        if (state.isSameDir(dir)) return &state;
    return nullptr;
}

void RecordDirStateManager::addRecordDirInfo(RecordDirInfoEx const& dir) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    if (find(dir) != nullptr) return;
    m_states.emplace_back(dir);
    m_states.back().setDeviceNum(m_nDeviceNum);
}

void RecordDirStateManager::deleteRecordDirInfo(RecordDirInfoEx const& dir) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    m_states.erase(std::remove_if(m_states.begin(), m_states.end(),
                                  [&](RecordDirStateInfo const& state) { return state.isSameDir(dir); }),
                   m_states.end());
}

void RecordDirStateManager::setRecordDirInfo(std::vector<RecordDirInfoEx> const& dirs) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    m_states.clear();
    for (RecordDirInfoEx const& dir : dirs) {
        m_states.emplace_back(dir);
        m_states.back().setDeviceNum(m_nDeviceNum);
    }
}

void RecordDirStateManager::setDeviceNum(int devices) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    if (devices == m_nDeviceNum) return;
    m_nDeviceNum = devices;
    // The limits follow at once: directories come before the channels'
    // policies, so limits fixed at entry would always be those of 16.
    for (RecordDirStateInfo& state : m_states) {
        state.setDeviceNum(devices);
        state.setAlarmFlag(true);
    }
}

void RecordDirStateManager::addTimeout(RecordDirInfoEx const& dir, int seconds) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    RecordDirStateInfo* state = find(dir);
    if (state == nullptr) {
        m_states.emplace_back(dir);
        state = &m_states.back();
        state->setDeviceNum(m_nDeviceNum);
    }
    state->increaseTimeout(seconds);
}

bool RecordDirStateManager::isIOError(RecordDirInfoEx const& dir) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    if (m_bAllFailed) return false;
    RecordDirStateInfo const* state = find(dir);
    return state != nullptr && state->isIOError();
}

void RecordDirStateManager::resetDiskStateInfo(std::string const& diskName) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    for (RecordDirStateInfo& state : m_states)
        if (state.getRecordDirInfo().getRecordDiskName() == diskName) state.resetStateInfoEx();
}

void RecordDirStateManager::detectRecordDirState() {
    int pass = 0;
    {
        OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
        pass = ++m_nPassCount;
    }
    if (pass % kCheckPasses == 0) checkRecordDirState();
    if (pass % kPeriodPasses == 0) cleanState();
}

int RecordDirStateManager::getRecordDirStatus(RecordDirInfoEx const& dir) {
    int status = dir.getStatus();
    return status == 1 || status == 30 || status == 31 || status == 33 ? 1 : status;
}

bool RecordDirStateManager::isFormatingDisk(RecordDirInfoEx const& dir) {
    return dir.getStatus() == 6 || dir.getStatus() == 14;
}

std::vector<RecordDirInfoEx> RecordDirStateManager::readDirList() {
    OVMutexManager guard(&m_sourceMutex, __FILE__, __LINE__);
    if (m_source) return m_source();
    return RecordDiskManagerImpl::getInstance()->getRecordDirInfoList();
}

void RecordDirStateManager::setRecordDirListSource(DirListSource const& source) {
    OVMutexManager guard(&m_sourceMutex, __FILE__, __LINE__);
    m_source = source;
}

void RecordDirStateManager::checkRecordDirState() {
    // Read before m_mutex: the source takes the group list mutex, an outer lock.
    std::vector<RecordDirInfoEx> dirs = readDirList();
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    if (std::any_of(dirs.begin(), dirs.end(), isFormatingDisk)) {
        // Time-outs during a format say nothing about the disk.
        for (RecordDirStateInfo& state : m_states) state.resetStateInfo();
        return;
    }
    int good = 0;
    for (RecordDirInfoEx const& dir : dirs) {
        if (dir.getDiskType() != DiskKind::kLocal || dir.getAttribute() == kDedicatedDirAttribute) continue;
        if (getRecordDirStatus(dir) != 1) continue;
        RecordDirStateInfo const* state = find(dir);
        if (state == nullptr || !state->isIOError()) ++good;
    }
    m_bAllFailed = good == 0;
}

void RecordDirStateManager::cleanState() {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    for (RecordDirStateInfo& state : m_states) {
        if (state.isIOError() && state.getAlarmFlag()) {
            touchoffDiskAlarm(state.getRecordDirInfo());
            state.setAlarmFlag(false);
        }
        state.resetStateInfo();
    }
}

void RecordDirStateManager::touchoffDiskAlarm(RecordDirInfoEx const& dir) {
    if (m_listener.isNull()) return;
    AlarmInfoEx alarm;
    alarm.setMajorType(NS_RecordDirStateManager::kAlarmMajorType);
    alarm.setMinorType(NS_RecordDirStateManager::kAlarmMinorType);
    LocalPath path;
    if (path.create(dir.getRecordDiskName()) &&
        path.getDeviceName().size() < NS_RecordDirStateManager::kDescriptionLimit)
        alarm.setDescription(path.getDeviceName());
    char text[512];
    std::snprintf(text, sizeof text, "%d:%d", dir.getGroupId(), dir.getAttribute());
    alarm.setSourceId(text);
    alarm.setAlarmTime(static_cast<unsigned long>(OrvaneTime::currentTime().getSeconds()));
    std::snprintf(text, sizeof text, "RecordDirStateManager::touchoffDiskAlarm:%d,%d \n", dir.getGroupId(),
                  dir.getAttribute());
    GlobalEnv::print("%s", text);
    // Only queues: the listener's own thread delivers, so m_mutex stays short.
    m_listener->handleMessage(alarm);
    std::snprintf(text, sizeof text, "RecordDir(%s) read/write abnormal", dir.getRecordDiskName().c_str());
    Logger::writeLog("RecordDirStateManager", text, __FILE__, __LINE__);
}

void RecordDirStateManager::setRecordStatusListener(SafePointer<IRecordServiceListenerManager> const& listener) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    m_listener = listener;
}

bool RecordDirStateManager::getTimeoutInfo(RecordDirInfoEx const& dir, int& sum, int& count) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    RecordDirStateInfo const* state = find(dir);
    if (state == nullptr) return false;
    sum = state->getTimeoutSum();
    count = state->getTimeoutCount();
    return true;
}

bool RecordDirStateManager::getAlarmFlag(RecordDirInfoEx const& dir) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    RecordDirStateInfo const* state = find(dir);
    return state != nullptr && state->getAlarmFlag();
}

bool RecordDirStateManager::isAllFailed() {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    return m_bAllFailed;
}

int RecordDirStateManager::getPassCount() {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    return m_nPassCount;
}

void RecordDirStateManager::clear() {
    setRecordDirListSource(DirListSource());
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kDirState);
    m_states.clear();
    m_nDeviceNum = 16;
    m_nPassCount = 0;
    m_bAllFailed = false;
    m_listener = SafePointer<IRecordServiceListenerManager>();
}

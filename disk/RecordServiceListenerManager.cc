#include "disk/RecordServiceListenerManager.h"

#include "foundation/OVMutexManager.h"

namespace NS_RecordServiceListenerManager {
constexpr int kIdleWaitMs = 2000;
// Alarms of this kind are for the engine's own bookkeeping only.
constexpr int kSilentMajorType = 5;
constexpr int kSilentMinorType = 9;
}  // namespace NS_RecordServiceListenerManager

RecordServiceListenerManager::RecordServiceListenerManager()
    : m_pThread(new OVThread(bind_funcobj0(this, &RecordServiceListenerManager::handleAlarmInfo),
                             "RecordAlarmInfoHandleThread")) {}

RecordServiceListenerManager::~RecordServiceListenerManager() { stop(); }

bool RecordServiceListenerManager::start() { return m_pThread->start(); }

void RecordServiceListenerManager::stop() { m_pThread->stop(); }

void RecordServiceListenerManager::addListener(IAlarmListenerEx* listener) {
    if (listener == nullptr) return;
    OVMutexManager guard(&m_listenerMutex, __FILE__, __LINE__);
    m_listeners.push_back(listener);
}

void RecordServiceListenerManager::clear() {
    OVMutexManager guard(&m_listenerMutex, __FILE__, __LINE__);
    m_listeners.clear();
}

void RecordServiceListenerManager::setRecordStateListener(IRecordStateListener* listener) {
    OVMutexManager guard(&m_listenerMutex, __FILE__, __LINE__);
    m_stateHandler.setRecordStateListener(listener);
}

int RecordServiceListenerManager::handleMessage(AlarmInfoEx& alarm) {
    OVMutexManager guard(&m_queueMutex, __FILE__, __LINE__);
    m_alarms.push_back(alarm);
    return 0;
}

void RecordServiceListenerManager::handleRecordState(char const* deviceId, int cameraId, int state) {
    OVMutexManager guard(&m_queueMutex, __FILE__, __LINE__);
    m_states.emplace_back(deviceId, cameraId, state);
}

int RecordServiceListenerManager::getQueueSize() {
    OVMutexManager guard(&m_queueMutex, __FILE__, __LINE__);
    return static_cast<int>(m_alarms.size() + m_states.size());
}

int RecordServiceListenerManager::getDiskAlarmState(std::string const& disk) {
    OVMutexManager guard(&m_listenerMutex, __FILE__, __LINE__);
    auto found = m_diskStates.find(disk);
    return found == m_diskStates.end() ? -1 : found->second;
}

int RecordServiceListenerManager::handleAlarmInfo() {
    enum { kNothing, kAlarm, kState } taken = kNothing;
    AlarmInfoEx alarm;
    RecordStateInfo state(nullptr, 0, 0);
    {
        OVMutexManager guard(&m_queueMutex, __FILE__, __LINE__);
        if (!m_alarms.empty()) {
            alarm = m_alarms.front();
            m_alarms.erase(m_alarms.begin());
            taken = kAlarm;
        } else if (!m_states.empty()) {
            state = m_states.front();
            m_states.erase(m_states.begin());
            taken = kState;
        }
    }
    m_pThread->setPalpitationTime(taken == kNothing ? NS_RecordServiceListenerManager::kIdleWaitMs : 0);
    if (taken == kAlarm) handleAlarmInfo(alarm);
    if (taken == kState) {
        OVMutexManager guard(&m_listenerMutex, __FILE__, __LINE__);
        m_stateHandler.handleStates(state.getDeviceId(), state.getCameraId(), state.getRecordState());
    }
    return 1;
}

void RecordServiceListenerManager::handleAlarmInfo(AlarmInfoEx const& alarm) {
    using namespace NS_RecordServiceListenerManager;
    OVMutexManager guard(&m_listenerMutex, __FILE__, __LINE__);
    if (alarm.getMajorType() == kDiskAlarm) m_diskStates[alarm.getDescription()] = alarm.getMinorType();
    if (alarm.getMajorType() == kSilentMajorType && alarm.getMinorType() == kSilentMinorType) return;
    for (IAlarmListenerEx* listener : m_listeners) listener->onAlarm(alarm);
}

#include "disk/RecordStateListenerHandler.h"

#include <cstring>

namespace NS_RecordStateListenerHandler {
bool sameChannel(RecordStateInfo const& a, RecordStateInfo const& b) {
    return a.getCameraId() == b.getCameraId() && std::strcmp(a.getDeviceId(), b.getDeviceId()) == 0;
}
}  // namespace NS_RecordStateListenerHandler

bool RecordStateListenerHandler::isNewRecordState(RecordStateInfo const& state) const {
    for (RecordStateInfo const& known : m_states)
        if (NS_RecordStateListenerHandler::sameChannel(known, state))
            return known.getRecordState() != state.getRecordState();
    return true;
}

void RecordStateListenerHandler::updateRecordState(RecordStateInfo const& state) {
    for (RecordStateInfo& known : m_states) {
        if (!NS_RecordStateListenerHandler::sameChannel(known, state)) continue;
        known.setRecordState(state.getRecordState());
        return;
    }
    m_states.push_back(state);
}

bool RecordStateListenerHandler::handleStates(char const* deviceId, int cameraId, int state) {
    RecordStateInfo info(deviceId, cameraId, state);
    if (!isNewRecordState(info)) return false;
    updateRecordState(info);
    if (m_pListener != nullptr) m_pListener->onRecordState(info.getDeviceId(), cameraId, state);
    return true;
}

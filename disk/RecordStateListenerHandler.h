#ifndef DISK_RECORDSTATELISTENERHANDLER_H
#define DISK_RECORDSTATELISTENERHANDLER_H

#include <vector>

#include "disk/RecordStateInfo.h"
#include "host/IRecordStateListener.h"

// Remembers the last state told for each channel, so that the host hears of
// a channel's record state only when it changes.
//
// No lock of its own: its owner serialises the calls.
class RecordStateListenerHandler {
public:
    void setRecordStateListener(IRecordStateListener* listener) { m_pListener = listener; }
    IRecordStateListener* getRecordStateListener() const { return m_pListener; }
    // True when the channel has no state yet or another one.
    bool isNewRecordState(RecordStateInfo const& state) const;
    void updateRecordState(RecordStateInfo const& state);
    // Tells the listener of a change; true when it was a change.
    bool handleStates(char const* deviceId, int cameraId, int state);

private:
    IRecordStateListener* m_pListener = nullptr;  // not owned
    std::vector<RecordStateInfo> m_states;
};

#endif

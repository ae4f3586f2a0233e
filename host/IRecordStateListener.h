#ifndef HOST_IRECORDSTATELISTENER_H
#define HOST_IRECORDSTATELISTENER_H

// The host's receiver of channel record states (recording or not, and why).
// Called on the engine's notification thread; must not block for long.
class IRecordStateListener {
public:
    virtual ~IRecordStateListener() = default;
    // The result is the listener's own; the engine ignores it.
    virtual int onRecordState(char const* deviceId, int cameraId, int state) = 0;
};

#endif

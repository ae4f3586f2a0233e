#ifndef RECORDING_TSFRAMEQUEUESTATUSSTAT_H
#define RECORDING_TSFRAMEQUEUESTATUSSTAT_H

#include "foundation/AVData.h"

class IAlarmListenerEx;

// Watches a channel's push results and raises the "TSFrameQueueAlarm" when
// two video I frames in a row found no room. Belongs to the producer thread.
class TSFrameQueueStatusStat {
public:
    // The listener is not owned and may be null.
    TSFrameQueueStatusStat(IAlarmListenerEx* listener, char const* device, char const* ip, int camera);

    // nResult is what pushAVData answered for `frame`; only video counts.
    void statDropFrame(AVFrameFields const* frame, int nResult);
    void touchoffBufferStatusListen();

    bool getLostFlag() const { return m_bLastLost; }

private:
    IAlarmListenerEx* m_pListener;
    bool m_bLastLost;
    char m_szDeviceId[33];
    char m_szDeviceIP[49];
    int m_nCameraId;
};

#endif

#include "recording/TSFrameQueueStatusStat.h"

#include <cstdio>
#include <cstring>

#include "host/AlarmInfoEx.h"
#include "host/IAlarmListenerEx.h"

namespace NS_TSFrameQueueStatusStat {
int const kBufferAlarmMajorType = 5;
int const kNoSpace = -2;

void copyText(char* to, size_t size, char const* from) {
    std::snprintf(to, size, "%s", from != nullptr ? from : "");
}
}  // namespace NS_TSFrameQueueStatusStat

TSFrameQueueStatusStat::TSFrameQueueStatusStat(IAlarmListenerEx* listener, char const* device, char const* ip,
                                               int camera)
    : m_pListener(listener), m_bLastLost(false), m_nCameraId(camera) {
    NS_TSFrameQueueStatusStat::copyText(m_szDeviceId, sizeof(m_szDeviceId), device);
    NS_TSFrameQueueStatusStat::copyText(m_szDeviceIP, sizeof(m_szDeviceIP), ip);
}

void TSFrameQueueStatusStat::statDropFrame(AVFrameFields const* frame, int nResult) {
    if (frame == nullptr || frame->getESStreamType() != 1) return;
    if (nResult == 0) {
        m_bLastLost = false;
        return;
    }
    if (nResult != NS_TSFrameQueueStatusStat::kNoSpace || frame->getFrameType() != 1) return;
    if (!m_bLastLost) {
        m_bLastLost = true;
        return;
    }
    m_bLastLost = false;
    touchoffBufferStatusListen();
}

void TSFrameQueueStatusStat::touchoffBufferStatusListen() {
    if (m_pListener == nullptr) return;
    AlarmInfoEx info;
    info.setMajorType(NS_TSFrameQueueStatusStat::kBufferAlarmMajorType);
    info.setDeviceId(m_szDeviceId);
    info.setDeviceIP(m_szDeviceIP);
    char source[16];
    std::snprintf(source, sizeof(source), "%d", m_nCameraId);
    info.setSourceId(source);
    info.setSourceName("TSFrameQueueAlarm");
    m_pListener->onAlarm(info);
}

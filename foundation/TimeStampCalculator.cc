#include "foundation/TimeStampCalculator.h"

#include "foundation/AVData.h"

namespace NS_TimeStampCalculator {
int const kAudioStream = 2;
}  // namespace NS_TimeStampCalculator

void TimeStampCalculator::start(long long nBase, unsigned int nFrameRate) {
    m_nBaseTime = nBase;
    m_nFirstTime = 0;
    // Audio rides on the last video time: after a restart that is the base.
    m_nLastTimeStamp = nBase;
    m_nFrameRate = nFrameRate;
}

long long TimeStampCalculator::getTimeStamp(AVData* pData) {
    if (pData == nullptr) return m_nLastTimeStamp;
    return calculate(pData->getESStreamType(), pData->getTimeStamp());
}

long long TimeStampCalculator::getTimeStamp(AVDataEX* pData) {
    if (pData == nullptr) return m_nLastTimeStamp;
    return calculate(pData->getESStreamType(), pData->getTimeStamp());
}

long long TimeStampCalculator::calculate(int nESStreamType, long long nFrameTime) {
    if (nESStreamType == NS_TimeStampCalculator::kAudioStream) return m_nLastTimeStamp;
    // A frame stamped 0 cannot start a run: the first time stays unset and the
    // next frame tries again, as the host's encoders never stamp 0 in earnest.
    if (m_nFirstTime == 0) m_nFirstTime = nFrameTime;
    m_nLastTimeStamp = m_nBaseTime + nFrameTime - m_nFirstTime;
    return m_nLastTimeStamp;
}

#include "recording/RecordSpeedCalculator.h"

#include <cstdio>

#include "foundation/OVMutexManager.h"
#include "host/HostPaths.h"
#include "host/OVLogger.h"
#include "host/OVTime.h"

namespace NS_RecordSpeedCalculator {
constexpr unsigned int kLogLimit = 10240;
constexpr unsigned int kLogFiles = 3;
}  // namespace NS_RecordSpeedCalculator

RecordSpeedCalculator::RecordSpeedCalculator(std::string const& dirName)
    : m_dPeriodStart(OVTime::getSeconds()), m_strDirName(dirName) {}

void RecordSpeedCalculator::addDataLen(int nLength, long long) {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    double now = OVTime::getSeconds();
    double elapsed = now - m_dPeriodStart;
    if (elapsed > kPeriodSeconds) {
        m_nSpeed = static_cast<long long>(m_dPeriodBytes / elapsed);
        m_dPeriodStart = now;
        m_dPeriodBytes = 0;
        char text[512];
        std::snprintf(text, sizeof(text), "%s  write speed is %lld B/s", m_strDirName.c_str(), m_nSpeed);
        OVLogger logger;
        std::string file = HostPaths::getLogDir() + "/WriteSpeed.log";
        logger.init(file.c_str(), NS_RecordSpeedCalculator::kLogLimit, NS_RecordSpeedCalculator::kLogFiles);
        logger.writeLog("WriteSpeed", text);
    }
    m_dPeriodBytes += nLength;
}

long long RecordSpeedCalculator::getRecordSpeed() {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return m_nSpeed;
}

#include "recording/RecordTimeOutDetector.h"

#include <cstdio>

#include "host/HostPaths.h"
#include "host/OVLogger.h"
#include "host/OVTime.h"

namespace NS_RecordTimeOutDetector {
constexpr unsigned int kLogLimit = 51200;
constexpr unsigned int kLogFiles = 2;

void writeErrorLog(std::string const& name, char const* text) {
    OVLogger logger;
    std::string file = HostPaths::getLogDir() + "/recordError.log";
    logger.init(file.c_str(), kLogLimit, kLogFiles);
    logger.writeLog(name.c_str(), text);
}
}  // namespace NS_RecordTimeOutDetector

RecordTimeOutDetector::RecordTimeOutDetector(int nSeconds)
    : m_nTimeOut(nSeconds), m_dBeginTime(OVTime::getUpTime()) {}

int RecordTimeOutDetector::secondsSinceBegin() const {
    return static_cast<int>(OVTime::getUpTime() - m_dBeginTime);
}

bool RecordTimeOutDetector::isTimeOut() {
    double elapsed = OVTime::getUpTime() - m_dBeginTime;
    if (elapsed <= m_nTimeOut) return false;
    m_nInterval = static_cast<int>(elapsed);
    return true;
}

void RecordTimeOutDetector::resetBeginTime() { m_dBeginTime = OVTime::getUpTime(); }

void RecordTimeOutDetector::writeLog(std::string const& name, int total, int written) {
    char text[256];
    std::snprintf(text, sizeof(text), "Detect TimeOut[%d], TototalDataLen[%d], WritedLen[%d]",
                  secondsSinceBegin(), total, written);
    NS_RecordTimeOutDetector::writeErrorLog(name, text);
}

void RecordTimeOutDetector::writeLog(std::string const& name, std::string const& key,
                                     std::string const& dir, int total, int written) {
    char text[1024];
    std::snprintf(text, sizeof(text),
                  "DeviceInfo[%s], RecordDir[%s], Detect TimeOut[%d], TototalDataLen[%d], WritedLen[%d]",
                  key.c_str(), dir.c_str(), secondsSinceBegin(), total, written);
    NS_RecordTimeOutDetector::writeErrorLog(name, text);
}

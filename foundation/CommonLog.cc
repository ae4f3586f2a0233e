#include "foundation/CommonLog.h"

#include <cstdio>
#include <cstring>

#include "foundation/OVMutexManager.h"
#include "host/HostPaths.h"

namespace NS_CommonLog {

char const* const kBugLogName = "Bug";
unsigned int const kBugLogMaxSize = 102400;
unsigned int const kBugLogFiles = 2;

// Serialises bug lines of all threads, so two loggers never rotate the file at once.
OVMutex& bugLogMutex() {
    static OVMutex mutex;
    return mutex;
}

}  // namespace NS_CommonLog

CommonLog::CommonLog()
    : m_nUser(0),
      m_nCameraId(0),
      m_bInit(false),
      m_nLastKey1(0),
      m_nLastKey2(kSilentCode) {
    m_szTag[0] = '\0';
}

bool CommonLog::initLog(char const* name, int user, char const* device, int camera, int nMaxSize,
                        int nFiles) {
    if (name == nullptr || device == nullptr) return false;
    m_strLogName = name;
    m_nUser = user;
    m_strDevice = device;
    m_nCameraId = camera;
    std::snprintf(m_szTag, sizeof(m_szTag), "%s_%d", device, camera);
    std::string const file = HostPaths::getLogDir() + "/" + m_strLogName + ".log";
    m_logger.init(file.c_str(), nMaxSize < 0 ? 0u : static_cast<unsigned int>(nMaxSize),
                  nFiles < 0 ? 0u : static_cast<unsigned int>(nFiles));
    m_bInit = true;
    return true;
}

void CommonLog::write(char const* key, char const* line) { m_logger.writeLog(key, line); }

int CommonLog::writeLog(char const* text) {
    if (!m_bInit || text == nullptr) return -1;
    char line[kMaxLineLength + 1];
    std::snprintf(line, sizeof(line), "[%s] %s", m_szTag, text);
    write(m_strLogName.c_str(), line);
    return 0;
}

int CommonLog::writeLog(char const* name, int code, char const* text) {
    if (!m_bInit || name == nullptr || text == nullptr) return -1;
    char line[kMaxLineLength + 1];
    std::snprintf(line, sizeof(line), "[%s] nRet:%d %s", m_szTag, code, text);
    write(name, line);
    return 0;
}

int CommonLog::writeUnRepeatInfo(int key1, int key2, char const* text) {
    if (!m_bInit) return -1;
    if (key2 == kSilentCode || text == nullptr) return 0;
    {
        OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
        if (key1 == m_nLastKey1 && key2 == m_nLastKey2) return 0;
        m_nLastKey1 = key1;
        m_nLastKey2 = key2;
    }
    char line[kMaxLineLength + 1];
    std::snprintf(line, sizeof(line), "[%s] %s nRet:%d ", m_szTag, text, key2);
    write(m_strLogName.c_str(), line);
    return 1;
}

std::string CommonLog::getBugLogFileName() {
    return HostPaths::getLogDir() + "/" + NS_CommonLog::kBugLogName + ".log";
}

void CommonLog::writeBugLog(char const* message, char const* file, int line) {
    if (message == nullptr) return;
    char text[kMaxLineLength + 1];
    std::snprintf(text, sizeof(text), "%s (%s:%d)", message, file != nullptr ? file : "", line);
    // Bug lines are rare; a logger per line follows the log folder wherever
    // the host moves it and needs no process-wide state.
    OVMutexManager guard(&NS_CommonLog::bugLogMutex(), __FILE__, __LINE__);
    OVLogger logger;
    std::string const fileName = getBugLogFileName();
    logger.init(fileName.c_str(), NS_CommonLog::kBugLogMaxSize, NS_CommonLog::kBugLogFiles);
    logger.writeLog(NS_CommonLog::kBugLogName, text);
}

#include "foundation/DeviceDirParser.h"

#include <climits>
#include <cstring>

bool DeviceDirParser::parse(char const* pszDeviceDir) {
    m_pszText = nullptr;
    m_pszFirst = nullptr;
    m_pszSecond = nullptr;
    if (pszDeviceDir == nullptr) return false;
    char const* first = std::strchr(pszDeviceDir, '_');
    if (first == nullptr) return false;
    char const* second = std::strchr(first + 1, '_');
    if (second == nullptr) return false;
    m_pszText = pszDeviceDir;
    m_pszFirst = first;
    m_pszSecond = second;
    return true;
}

std::string DeviceDirParser::getDeviceId() const {
    if (m_pszText == nullptr) return std::string();
    return std::string(m_pszText, m_pszFirst);
}

std::string DeviceDirParser::getDeviceIP() const {
    if (m_pszText == nullptr) return std::string();
    return std::string(m_pszFirst + 1, m_pszSecond);
}

int DeviceDirParser::getCameraId() const {
    if (m_pszText == nullptr) return -1;
    char const* p = m_pszSecond + 1;
    bool negative = false;
    if (*p == '-') {
        negative = true;
        ++p;
    }
    if (*p == '\0') return -1;
    long long value = 0;
    for (; *p != '\0'; ++p) {
        if (*p < '0' || *p > '9') return -1;
        value = value * 10 + (*p - '0');
        if (value > INT_MAX) return -1;
    }
    return static_cast<int>(negative ? -value : value);
}

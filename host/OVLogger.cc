#include "host/OVLogger.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "host/DiskManager.h"
#include "host/OrvaneTime.h"

namespace NS_OVLogger {

std::string timePrefix() {
    OVDateTime now;
    OrvaneTime::getCurrentTime(now);
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%04d-%02d-%02d %02d:%02d:%02d", now.year, now.month,
                  now.day, now.hour, now.minute, now.second);
    return buffer;
}

std::string body(char const* key, char const* message) {
    std::string text = key != nullptr && *key != '\0' ? std::string(key) + ": " : std::string();
    if (message != nullptr) text += message;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    return text;
}

char const* baseName(char const* path) {
    char const* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

}  // namespace NS_OVLogger

OVLogger::~OVLogger() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_nFd >= 0) ::close(m_nFd);
    m_nFd = -1;
}

bool OVLogger::init(char const* file, unsigned int maxSize, unsigned int files) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_nFd >= 0) ::close(m_nFd);
    m_nFd = -1;
    m_bInit = file != nullptr && *file != '\0';
    if (!m_bInit) return false;
    m_strFile = file;
    m_nMaxSize = maxSize;
    m_nFiles = files == 0 ? 1 : files;
    return openLocked();
}

std::string OVLogger::getFileName() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_strFile;
}

void OVLogger::writeLog(char const* key, char const* message) {
    writeLine(NS_OVLogger::timePrefix() + " " + NS_OVLogger::body(key, message) + "\n");
}

void OVLogger::writeLog(char const* key, char const* message, char const* sourceFile,
                        unsigned int line, unsigned int level) {
    std::string text = NS_OVLogger::timePrefix() + " [" + std::to_string(level) + "] " +
                       NS_OVLogger::body(key, message);
    if (sourceFile != nullptr)
        text += std::string(" (") + NS_OVLogger::baseName(sourceFile) + ":" + std::to_string(line) + ")";
    writeLine(text + "\n");
}

bool OVLogger::openLocked() {
    if (m_nFd >= 0) return true;
    size_t slash = m_strFile.rfind('/');
    if (slash != std::string::npos && slash > 0) {
        DiskManager disk;
        disk.createDir(m_strFile.substr(0, slash).c_str());
    }
    m_nFd = ::open(m_strFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (m_nFd < 0) return false;
    struct stat info {};
    m_nSize = ::fstat(m_nFd, &info) == 0 ? static_cast<long long>(info.st_size) : 0;
    return true;
}

void OVLogger::rotateLocked() {
    if (m_nFd >= 0) ::close(m_nFd);
    m_nFd = -1;
    if (m_nFiles <= 1) {
        int fd = ::open(m_strFile.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
        if (fd >= 0) ::close(fd);
    } else {
        for (unsigned int index = m_nFiles - 1; index >= 1; --index) {
            std::string from = index == 1 ? m_strFile : m_strFile + "." + std::to_string(index - 1);
            std::string to = m_strFile + "." + std::to_string(index);
            ::rename(from.c_str(), to.c_str());
        }
    }
    openLocked();
}

void OVLogger::writeLine(std::string const& line) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_bInit) return;
    if (!openLocked()) return;
    if (m_nMaxSize > 0 && m_nSize > 0 &&
        m_nSize + static_cast<long long>(line.size()) > static_cast<long long>(m_nMaxSize)) {
        rotateLocked();
        if (m_nFd < 0) return;
    }
    size_t done = 0;
    while (done < line.size()) {
        ssize_t put = ::write(m_nFd, line.data() + done, line.size() - done);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) break;
        done += static_cast<size_t>(put);
    }
    m_nSize += static_cast<long long>(done);
}

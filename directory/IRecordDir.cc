#include "directory/IRecordDir.h"

#include <cstdint>
#include <cstdio>

#include "foundation/OVMutexManager.h"
#include "host/Logger.h"

namespace NS_IRecordDir {
constexpr unsigned int kLogLimit = 51200;
constexpr unsigned int kLogFiles = 2;
constexpr unsigned int kLogLevel = 3;
}  // namespace NS_IRecordDir

// One logger for the file, whoever writes to it: two rotating writers of one
// file would rotate it under each other.
void IRecordDir::writeDirectoryLog(char const* tag, char const* text, int line) {
    Logger::writeFileLog("recordDir.log", tag, text, NS_IRecordDir::kLogLimit, NS_IRecordDir::kLogFiles, __FILE__, line,
                         NS_IRecordDir::kLogLevel);
}

RecordDirInfoEx IRecordDir::getRecordDirInfoEx() const {
    OVMutexManager guard(&m_infoMutex, "IRecordDir", __LINE__);
    return m_dirInfo;
}

void IRecordDir::setRecordDirInfoEx(RecordDirInfoEx const& info) {
    OVMutexManager guard(&m_infoMutex, "IRecordDir", __LINE__);
    m_dirInfo = info;
}

void IRecordDir::writeLog(char const* message, int line) {
    if (m_nLastLogLine.exchange(line) == line) return;
    RecordDirInfoEx info = getRecordDirInfoEx();
    char text[1024] = {0};
    std::snprintf(text, sizeof(text), "this:%0x DiskName:%s RecordRootDir:%s Message:%s",
                  static_cast<unsigned int>(reinterpret_cast<uintptr_t>(this)),
                  info.getRecordDiskName().c_str(), info.getRecordRootDir().c_str(),
                  message ? message : "");
    writeDirectoryLog("recordDir", text, line);
}

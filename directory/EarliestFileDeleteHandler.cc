#include "directory/EarliestFileDeleteHandler.h"

#include <cstdio>

#include "foundation/BasicTool.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"
#include "host/OrvaneTime.h"

namespace NS_EarliestFileDeleteHandler {
// Two hours: the guard before now, and the most one run may free.
constexpr long long kGuardSeconds = 7200;
}  // namespace NS_EarliestFileDeleteHandler

EarliestFileDeleteHandler::EarliestFileDeleteHandler(SafePointer<RecordRecycleBin>& bin,
                                                     RecordDirInfoEx const& dirInfo)
    : m_recycleBin(bin),
      m_dirInfo(dirInfo),
      m_pDiskManager(DiskManagerFactory::getDiskManager(dirInfo.getDiskType(), dirInfo.getFileSystemFormat())) {
    long long now = OrvaneTime::currentTime().getSeconds();
    m_nGuardTime = now - NS_EarliestFileDeleteHandler::kGuardSeconds;
    m_strToday = BasicTool::getDateString(now);
    clear();
}

void EarliestFileDeleteHandler::clear() {
    m_bIntervalFlag = false;
    m_nFirstTime = 0;
}

int EarliestFileDeleteHandler::deleteFile(std::string const& date, long long nBeginTime,
                                          std::string const& dirPath, std::string const& name) {
    // An active recording and a short disk must not eat each other's present.
    if (date == m_strToday && nBeginTime > m_nGuardTime) return -1;
    if (m_nFirstTime == 0) {
        m_nFirstTime = nBeginTime;
    } else if (nBeginTime - m_nFirstTime > NS_EarliestFileDeleteHandler::kGuardSeconds) {
        m_bIntervalFlag = true;
        if (GlobalEnv::getInstance()->getPrintFlag()) {
            std::printf("EarliestFileDeleteHandler::deleteFile < 7200 \n");
        }
        return -2;
    }
    if (m_recycleBin.get() == nullptr || m_pDiskManager == nullptr) return -1;
    std::string path = dirPath + BasicTool::kSeparator + name;
    if (m_recycleBin->deleteFile(path, name)) return 0;
    // Gone already (a power cut after an earlier move into the bin, before
    // the entry was painted): the entry must go, or it holds the oldest
    // place for ever.
    return m_pDiskManager->isFileExist(path.c_str()) == 1 ? -1 : 0;
}

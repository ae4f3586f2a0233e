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

EarliestFileDeleteHandler::EarliestFileDeleteHandler(RecordDirInfoEx const& dirInfo)
    : m_dirInfo(dirInfo) {
    long long now = OrvaneTime::currentTime().getSeconds();
    m_nGuardTime = now - NS_EarliestFileDeleteHandler::kGuardSeconds;
    m_strToday = BasicTool::getDateString(now);
    clear();
}

void EarliestFileDeleteHandler::clear() {
    m_bIntervalFlag = false;
    m_nFirstTime = 0;
}

int EarliestFileDeleteHandler::deleteFile(std::string const&, long long nBeginTime,
                                          std::string const& dirPath, std::string const& name) {
    // An active recording and a short disk must not eat each other's present.
    if (BasicTool::getDateString(nBeginTime) == m_strToday && nBeginTime > m_nGuardTime) return -1;
    if (m_nFirstTime == 0) {
        m_nFirstTime = nBeginTime;
    } else if (nBeginTime - m_nFirstTime > NS_EarliestFileDeleteHandler::kGuardSeconds) {
        m_bIntervalFlag = true;
        if (GlobalEnv::getInstance()->getPrintFlag()) {
            std::printf("EarliestFileDeleteHandler::deleteFile < 7200 \n");
        }
        return -2;
    }
    IDiskManager* manager =
        DiskManagerFactory::getDiskManager(m_dirInfo.getDiskType(), m_dirInfo.getFileSystemFormat());
    if (manager == nullptr) return -1;
    std::string path = dirPath + BasicTool::kSeparator + name;
    if (manager->deleteFile(path.c_str())) return 0;
    return manager->isFileExist(path.c_str()) ? -1 : 0;
}

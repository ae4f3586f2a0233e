#include "directory/RecordOutDateFileHandler.h"

#include "foundation/BasicTool.h"
#include "host/DiskManagerFactory.h"
#include "host/OrvaneTime.h"

namespace NS_RecordOutDateFileHandler {
constexpr long long kSecondsPerDay = 86400;
}  // namespace NS_RecordOutDateFileHandler

RecordOutDateFileHandler::RecordOutDateFileHandler(SafePointer<RecordRecycleBin> const& bin,
                                                   RecordDirInfoEx const& dirInfo)
    : m_bin(bin), m_dirInfo(dirInfo), m_nNow(OrvaneTime::currentTime().getSeconds()) {}

void RecordOutDateFileHandler::setSaveDays(int nDays) {
    m_nDeleteTime = m_nNow - nDays * NS_RecordOutDateFileHandler::kSecondsPerDay;
    m_strDeleteDate = BasicTool::getDateString(m_nDeleteTime);
    m_nSaveDays = nDays;
}

void RecordOutDateFileHandler::setFileDeleteTime(long long nTime) {
    m_nDeleteTime = nTime;
    m_strDeleteDate = BasicTool::getDateString(nTime);
    m_nSaveDays = 1;
}

bool RecordOutDateFileHandler::isOutDate(std::string const& date) const {
    if (m_nSaveDays < 1) return false;
    return m_strDeleteDate >= date;
}

void RecordOutDateFileHandler::staticBegin() {
    m_bStatistics = true;
    m_nDeletedFileNum = 0;
}

int RecordOutDateFileHandler::removeFile(std::string const& dirPath, std::string const& name) {
    IDiskManager* manager =
        DiskManagerFactory::getDiskManager(m_dirInfo.getDiskType(), m_dirInfo.getFileSystemFormat());
    if (manager == nullptr || m_bin.isNull()) return 0;
    std::string path = dirPath + BasicTool::kSeparator + name;
    // A file already gone counts as moved: its entry must not hold the walk
    // at the same place for ever.
    if (!m_bin->deleteFile(path, name) && manager->isFileExist(path.c_str())) return 0;
    if (m_bStatistics) ++m_nDeletedFileNum;
    return 1;
}

int RecordOutDateFileHandler::deleteFile(long long nBeginTime, std::string const& dirPath,
                                         std::string const& name) {
    if (nBeginTime >= m_nDeleteTime) return 0;
    if (!m_bDeleteFileFlag) return 1;
    return removeFile(dirPath, name);
}

int RecordOutDateFileHandler::deleteDeviceFile(std::string const& dirPath, std::string const& name) {
    return removeFile(dirPath, name);
}

#include "directory/RecordFileWithoutIndexHandlers.h"

#include "directory/RecordDirWithoutIndexOperator.h"
#include "foundation/BasicTool.h"

void OverdueRecordFileWithoutIndexDeleter::handleFile(RecordDirInfoEx const& dir,
                                                      RecordFileCheckerWithoutIndex const& checker,
                                                      std::string const&, std::string const& dateDir,
                                                      std::string const& fileName, int) {
    if (checker.getBeginTime() > static_cast<long long>(m_nDeleteTime)) return;
    std::string const path = dateDir + BasicTool::kSeparator + fileName;
    if (m_kept.count(path) != 0) return;
    long long const length = RecordDirWithoutIndexOperator::getFileLength(dir, path);
    if (!m_pDiskManager->deleteFile(path.c_str())) return;
    if (length > 0) m_nTotalDeleteLen += length;
    ++m_nDeleteCount;
}

void EarliestRecordFileWithoutIndexQuery::handleFile(RecordDirInfoEx const& dir,
                                                     RecordFileCheckerWithoutIndex const& checker,
                                                     std::string const& date, std::string const&,
                                                     std::string const&, int) {
    m_list.update(checker.createRecordFileInfo(dir, date));
}

void RecordFileWithoutIndexQuery::handleFile(RecordDirInfoEx const& dir,
                                             RecordFileCheckerWithoutIndex const& checker, std::string const&,
                                             std::string const&, std::string const& fileName, int camera) {
    if (camera >= 0 && checker.getCameraID() != camera) return;
    long long const begin = checker.getBeginTime();
    long long const windowBegin = static_cast<long long>(m_condition.getRecordBeginTime());
    long long const windowEnd = static_cast<long long>(m_condition.getRecordEndTime());
    if (windowEnd != 0 && begin >= windowEnd) return;
    RecordFileEx file;
    file.setDeviceId(checker.getDeviceID());
    file.setDeviceIP(checker.getDeviceIP());
    file.setCameraId(checker.getCameraID());
    file.setRecordFileName(fileName);
    file.setRecordFileBeginTime(static_cast<unsigned long>(begin));
    file.setRecordDirInfo(RecordDirInfoEx::changeToRecordDirInfo(dir));
    if (begin >= windowBegin) {
        m_found.insert(std::make_pair(file.getRecordFileBeginTime(), file));
        return;
    }
    std::string const device =
        BasicTool::getDeviceDirString(checker.getDeviceID(), checker.getDeviceIP(), checker.getCameraID());
    auto known = m_before.find(device);
    if (known == m_before.end() || known->second.getRecordFileBeginTime() < file.getRecordFileBeginTime())
        m_before[device] = file;
}

void RecordFileWithoutIndexQuery::getResult(std::vector<RecordFileEx>& files) const {
    std::multimap<unsigned long, RecordFileEx> all = m_found;
    for (auto const& entry : m_before) all.insert(std::make_pair(entry.second.getRecordFileBeginTime(), entry.second));
    for (auto const& entry : all) files.push_back(entry.second);
}

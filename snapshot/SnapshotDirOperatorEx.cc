#include "snapshot/SnapshotDirOperatorEx.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "directory/EarliestFileInfoList.h"
#include "foundation/BasicTool.h"
#include "foundation/DeviceDirParser.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/OrvaneTime.h"
#include "snapshot/SnapshotFileIndexCreator.h"
#include "snapshot/SnapshotIndexFileParserEx.h"
#include "snapshot/SnapshotUseableFileDir.h"

namespace NS_SnapshotDirOperatorEx {
constexpr long long kSecondsPerDay = 86400;
}  // namespace NS_SnapshotDirOperatorEx

IDiskManager* SnapshotDirOperatorEx::disk() const {
    return DiskManagerFactory::getDiskManager(m_dirInfo.getDiskType(), m_dirInfo.getFileSystemFormat());
}

std::string SnapshotDirOperatorEx::getSnapshotFilePath(RecordFileInfo const& file) {
    return BasicTool::createWholeFileName(2, file.getRecordDirInfoEx().getRecordRootDir(), file.getDeviceDirName(),
                                          file.getRecordDate(), file.getRecordFileName());
}

std::vector<std::string> SnapshotDirOperatorEx::getDeviceDirList() {
    std::vector<std::string> devices;
    IDiskManager* manager = disk();
    std::string const root = m_dirInfo.getRecordRootDir() + BasicTool::kSeparator + BasicTool::kSnapshotDirName;
    if (manager != nullptr) manager->getDirList(root.c_str(), devices);
    return devices;
}

int SnapshotDirOperatorEx::createFileIndex(SafePointer<RecordFileInfo>& file, bool bNewFile, bool& needFile) {
    return SnapshotFileIndexCreator(m_dirInfo).createFileIndex(file, bNewFile, needFile);
}

int SnapshotDirOperatorEx::deleteFileIndex(RecordFileInfo const& file) {
    SnapshotIndexFileParserEx parser;
    if (parser.open(m_dirInfo, file.getRecordDate(), file.getDeviceDirName()) != 1) return 0;
    bool empty = false;
    int const result = parser.deleteFile(file.getRecordFileName(), empty);
    parser.close();
    if (empty) clearRecordDir(file.getDeviceDirName(), file.getRecordDate());
    return result;
}

void SnapshotDirOperatorEx::clearRecordDir(std::string const& deviceDir, std::string const& date) {
    IDiskManager* manager = disk();
    if (manager == nullptr) return;
    {
        SnapshotIndexFileParserEx parser;
        if (parser.open(m_dirInfo, date, deviceDir) == 1 && parser.getFileNum() > 0) return;
    }
    manager->deleteFile(SnapshotIndexFileParserEx::getIndexFileName(m_dirInfo, date, deviceDir).c_str());
    // Either fails while anything is left in the folder.
    manager->removeDir(BasicTool::getWholeDateDir(m_dirInfo, BasicTool::kSnapshotDirName, deviceDir, date).c_str());
    manager->removeDir(BasicTool::getWholeDeviceDir(m_dirInfo, BasicTool::kSnapshotDirName, deviceDir).c_str());
}

int SnapshotDirOperatorEx::deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const& policies,
                                             SafePointer<SnapshotUseableFileDir>& pool) {
    long long const now = OrvaneTime::currentTime().getSeconds();
    int removed = 0;
    for (RecordDeviceDirPolicy const& policy : policies) {
        if (policy.getRecordSaveDays() < 1) continue;
        long long const limit = now - policy.getRecordSaveDays() * NS_SnapshotDirOperatorEx::kSecondsPerDay;
        std::string const limitDate = BasicTool::getDateString(limit);
        RecordDeviceInfo const& device = policy.getRecordDeviceInfo();
        std::vector<std::string> deviceDirs;
        BasicTool::getMatchDeviceDirList(m_dirInfo, BasicTool::kSnapshotDirName, device.getDeviceId(),
                                         device.getDeviceIP(), device.getCameraId(), deviceDirs);
        for (std::string const& deviceDir : deviceDirs) {
            std::vector<std::string> dates;
            BasicTool::getRecordDateList(m_dirInfo, BasicTool::kSnapshotDirName, deviceDir, dates);
            for (std::string const& date : dates) {
                if (date > limitDate) continue;
                SnapshotIndexFileParserEx parser;
                bool empty = parser.open(m_dirInfo, date, deviceDir) != 1;
                if (!empty) removed += std::max(0, parser.deleteOutDateFile(pool, limit * 1000, empty));
                parser.close();
                if (empty) clearRecordDir(deviceDir, date);
            }
        }
    }
    return removed;
}

bool SnapshotDirOperatorEx::isInContion(std::string const& deviceDir, std::vector<RecordDeviceDirPolicy> const& policies) {
    DeviceDirParser parser;
    if (!parser.parse(deviceDir.c_str())) return false;
    for (RecordDeviceDirPolicy const& policy : policies)
        if (policy.isCycleWrite() && policy.isForDevice(parser.getDeviceId(), parser.getDeviceIP(), parser.getCameraId()))
            return true;
    return false;
}

bool SnapshotDirOperatorEx::getCycleWriteDays(std::vector<RecordDeviceDirPolicy> const& policies,
                                              std::vector<std::pair<std::string, std::string>>& days) {
    IDiskManager* manager = disk();
    std::string const root = m_dirInfo.getRecordRootDir() + BasicTool::kSeparator + BasicTool::kSnapshotDirName;
    std::vector<std::string> devices;
    if (manager == nullptr || manager->getDirList(root.c_str(), devices) < 0) return false;
    for (std::string const& deviceDir : devices) {
        if (!isInContion(deviceDir, policies)) continue;
        std::vector<std::string> dates;
        BasicTool::getRecordDateList(m_dirInfo, BasicTool::kSnapshotDirName, deviceDir, dates);
        for (std::string const& date : dates) days.emplace_back(date, deviceDir);
    }
    std::sort(days.begin(), days.end());
    return true;
}

int SnapshotDirOperatorEx::getEarliestDateList(std::vector<RecordDeviceDirPolicy> const& policies,
                                               std::set<std::string>& dates) {
    std::vector<std::pair<std::string, std::string>> days;
    if (!getCycleWriteDays(policies, days)) return -1;
    for (auto const& day : days) dates.insert(day.first);
    return 0;
}

int SnapshotDirOperatorEx::getEarliestFileList(EarliestFileInfoList& list,
                                               std::vector<RecordDeviceDirPolicy> const& policies,
                                               bool, int nCount, std::string const& date) {
    std::vector<std::pair<std::string, std::string>> days;
    if (!getCycleWriteDays(policies, days)) return -1;
    std::string asked;
    for (auto const& day : days) {
        // Full is checked between dates: every device of a date is asked, as
        // the list keeps the earliest and a later device's may be earlier.
        if (day.first != asked && list.getFileCount() >= list.getMaxCount()) break;
        asked = day.first;
        if (!date.empty() && day.first != date) continue;
        SnapshotIndexFileParserEx parser;
        if (parser.open(m_dirInfo, day.first, day.second) != 1) continue;
        std::string const writing = SnapshotFileIndexCreator::getWritingFile(day.second);
        std::string const dateDir =
            BasicTool::getWholeDateDir(m_dirInfo, BasicTool::kSnapshotDirName, day.second, day.first) +
            BasicTool::kSeparator;
        bool const here = writing.compare(0, dateDir.size(), dateDir) == 0;
        parser.getEarliestRecordFileInfo(list, nCount, here ? writing.substr(dateDir.size()) : std::string());
    }
    return 0;
}

int SnapshotDirOperatorEx::getTotalFileNumber() {
    IDiskManager* manager = disk();
    int count = 0;
    for (std::string const& deviceDir : getDeviceDirList()) {
        std::vector<std::string> dates;
        BasicTool::getRecordDateList(m_dirInfo, BasicTool::kSnapshotDirName, deviceDir, dates);
        for (std::string const& date : dates) {
            SnapshotFileNumSta files;
            manager->scanFiles(
                BasicTool::getWholeDateDir(m_dirInfo, BasicTool::kSnapshotDirName, deviceDir, date).c_str(), &files,
                nullptr);
            count += files.getCount();
        }
    }
    return count;
}

// Snapshots have no locked state of their own to keep.
int SnapshotDirOperatorEx::lockRecordFile(RecordInfo const&) { return OV_RECORD_LOCK_FAILED; }
int SnapshotDirOperatorEx::unlockRecordFile(RecordInfo const&) { return OV_RECORD_UNLOCK_FAILED; }

int SnapshotDirOperatorEx::queryDeviceList(std::map<std::string, int>& devices) {
    for (std::string const& deviceDir : getDeviceDirList()) {
        std::vector<std::string> dates;
        if (BasicTool::getRecordDateList(m_dirInfo, BasicTool::kSnapshotDirName, deviceDir, dates) && !dates.empty())
            devices[deviceDir] = static_cast<int>(dates.size());
    }
    return 0;
}

int SnapshotDirOperatorEx::queryDateList(std::string const& deviceId, std::string const& deviceIP,
                                         std::string const& camera, std::map<std::string, int>& dates) {
    std::string const deviceDir = BasicTool::getDeviceDirString(deviceId, deviceIP, std::atoi(camera.c_str()));
    std::vector<std::string> list;
    if (!BasicTool::getRecordDateList(m_dirInfo, BasicTool::kSnapshotDirName, deviceDir, list)) return -1;
    for (std::string const& date : list) dates[date] = 1;
    return 0;
}

int SnapshotDirOperatorEx::deleteRecordFile(RecordInfo const& record) {
    SnapshotQueryCondition condition;
    condition.setBeginTime(static_cast<long long>(record.getRecordBeginTime()) * 1000);
    condition.setEndTime(static_cast<long long>(record.getRecordEndTime()) * 1000);
    std::vector<std::string> deviceDirs;
    BasicTool::getMatchDeviceDirList(m_dirInfo, BasicTool::kSnapshotDirName, record.getDeviceId(),
                                     record.getDeviceIP(), record.getCameraId(), deviceDirs);
    int result = 0;
    for (std::string const& deviceDir : deviceDirs) {
        std::vector<std::string> dates;
        BasicTool::getMatchDateList(m_dirInfo, BasicTool::kSnapshotDirName, deviceDir,
                                    BasicTool::getDateString(static_cast<long long>(record.getRecordBeginTime())),
                                    BasicTool::getDateString(static_cast<long long>(record.getRecordEndTime())), dates);
        for (std::string const& date : dates) {
            SnapshotIndexFileParserEx parser;
            if (parser.open(m_dirInfo, date, deviceDir) != 1) continue;
            std::vector<std::string> emptied;
            if (parser.deleteFile(condition, &emptied) < 0) result = -1;
            bool empty = false;
            for (std::string const& name : emptied) {
                if (m_pool.isNull() || !m_pool->deleteFile(parser.getDateDir() + BasicTool::kSeparator + name)) continue;
                if (parser.deleteFile(name, empty) < 0) result = -1;
            }
            parser.close();
            if (empty) clearRecordDir(deviceDir, date);
        }
    }
    return result;
}

int SnapshotDirOperatorEx::getRecordDirSpaceInfo(RecordDirSpaceInfo& space) {
    IDiskManager* manager = disk();
    long long total = 0;
    long long used = 0;
    if (manager == nullptr || manager->getDiskSpace(m_dirInfo.getRecordRootDir().c_str(), total, used) != 0) return 0;
    space.setTotalSpace(total << 20);
    space.setFreeSpace((total - used) << 20);
    space.setRecordFileSize(m_dirInfo.getFileSegmentSize());
    space.setActualUseableSpace((total - used) << 20);
    space.setRecordDirInfo(RecordDirInfoEx::changeToRecordDirInfo(m_dirInfo));
    return 1;
}

#include "directory/RecordDirHandler.h"

#include <algorithm>
#include <cstdio>

#include "directory/DeviceRecordDiskStatReport.h"
#include "directory/EarliestFileDeleteHandler.h"
#include "directory/EarliestFileInfoList.h"
#include "disk/DataVersionInfoManager.h"
#include "foundation/BasicTool.h"
#include "foundation/DeviceDirParser.h"
#include "foundation/EncoderType.h"
#include "foundation/OVMutexManager.h"
#include "foundation/OVRuntimeError.h"
#include "foundation/TimeConvert.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"
#include "host/OrvaneTime.h"
#include "index/RecordIndexFileParserEx.h"
#include "tracking/RecordLockInfoManager.h"
#include "tracking/RecordSegmentInfoManager.h"
#include "tracking/RecordingMarkManager.h"

namespace NS_RecordDirHandler {
constexpr long long kSecondsPerDay = 86400;
constexpr char const* kRecordFilePattern = "*.ts*";
constexpr char const* kVersionFileName = "DiskDataVersionInfo.xml";
// A disk without a version file was written by the first layout.
constexpr double kFirstLayoutVersion = 1.0;
constexpr int kFirstLayoutAbility = 16;
constexpr int kMainIndex = 0;
constexpr int kBackupIndex = 1;
constexpr int kNothingDeleted = 2;   // delete status of a date no pass has cut
constexpr int kIndexDeleted = 1;     // a pass took the entries, the files wait

bool printing() { return GlobalEnv::getInstance()->getPrintFlag(); }

// The policy of the device folder's device, or null.
RecordDeviceDirPolicy const* findPolicy(std::string const& deviceDir, std::vector<RecordDeviceDirPolicy> const& policies) {
    DeviceDirParser parser;
    if (!parser.parse(deviceDir.c_str())) return nullptr;
    return RecordDeviceDirPolicy::find(policies, parser.getDeviceId(), parser.getDeviceIP(), parser.getCameraId());
}
}  // namespace NS_RecordDirHandler

RecordDirHandler::RecordDirHandler(RecordDirInfoEx const& info, std::string const& recordPath)
    : m_strRecordPath(recordPath), m_dirInfo(info) {}

int RecordDirHandler::init(int fileSystemFormat) {
    m_dirInfo.setFileSystemFormat(fileSystemFormat);
    m_pDiskManager = DiskManagerFactory::getDiskManager(m_dirInfo.getDiskType(), fileSystemFormat);
    m_indexCreator = SafePointer<RecordFileIndexCreator>(new RecordFileIndexCreator(m_dirInfo));
    m_indexCreator->setIndexDirManager(m_indexPool);
    bool print = NS_RecordDirHandler::printing();
    if (print) std::printf("RecordDirHandler::init 00000000000 %s \n", m_strRecordPath.c_str());
    if (m_pDiskManager == nullptr) return 0;
    if (m_pDiskManager->isDirExist(m_strRecordPath.c_str())) return 1;
    if (print) std::printf("RecordDirHandler::init %s \n", m_strRecordPath.c_str());
    if (m_pDiskManager->createDir(m_strRecordPath.c_str()) == 0) return 0;
    // A fresh tree is of this system's layout.
    bool written = DataVersionInfoManager::getInstance()->updateDiskDataVersionInfo(m_strRecordPath);
    if (print)
        std::printf("RecordDirHandler::init updateDiskDataVersionInfo %s/%s bRet:%d\n", m_strRecordPath.c_str(),
                    NS_RecordDirHandler::kVersionFileName, written ? 1 : 0);
    return 1;
}

void RecordDirHandler::setIndexDirManager(SafePointer<IndexDirManager> const& pool) {
    m_indexPool = pool;
    if (!m_indexCreator.isNull()) m_indexCreator->setIndexDirManager(pool);
}

int RecordDirHandler::createIndexFile(SafePointer<RecordFileInfo>& file) {
    if (m_indexCreator.isNull()) throw OVRuntimeError("Use NULL pointer ->");
    return m_indexCreator->createIndexFile(file);
}

int RecordDirHandler::togetherRecordFile(SafePointer<RecordFileInfo>& file) {
    if (m_indexCreator.isNull()) throw OVRuntimeError("Use NULL pointer ->");
    return m_indexCreator->togetherRecordFile(file);
}

int RecordDirHandler::createNewFileIndexSegment(SafePointer<RecordFileInfo>& file) {
    if (m_indexCreator.isNull()) throw OVRuntimeError("Use NULL pointer ->");
    return m_indexCreator->createNewFileIndexSegment(file);
}

int RecordDirHandler::createFileIndex(SafePointer<RecordFileInfo>& file, bool forceNew, bool& isNew) {
    if (m_indexCreator.isNull()) throw OVRuntimeError("Use NULL pointer ->");
    return m_indexCreator->createFileIndex(file, forceNew, isNew);
}

int RecordDirHandler::checkDataVersion() {
    std::string inRoot = m_dirInfo.getRecordRootDir() + "/" + NS_RecordDirHandler::kVersionFileName;
    if (m_pDiskManager != nullptr && m_pDiskManager->isFileExist(inRoot.c_str())) return checkDataVersion(inRoot.c_str());
    std::string inRecord = m_strRecordPath + "/" + NS_RecordDirHandler::kVersionFileName;
    return checkDataVersion(inRecord.c_str());
}

int RecordDirHandler::checkDataVersion(char const* path) {
    DataVersionInfoManager* versions = DataVersionInfoManager::getInstance();
    if (m_pDiskManager != nullptr && m_pDiskManager->isFileExist(path)) return versions->checkDataVersionValid(path);
    return versions->checkDataVersionValid(NS_RecordDirHandler::kFirstLayoutVersion,
                                           NS_RecordDirHandler::kFirstLayoutAbility);
}

bool RecordDirHandler::listDeviceDirs(std::vector<std::string>& deviceDirs) {
    if (m_pDiskManager == nullptr) return false;
    std::vector<std::string> names;
    if (m_pDiskManager->getDirList(m_strRecordPath.c_str(), names) < 0) return false;
    DeviceDirParser parser;
    for (std::string const& name : names)
        if (parser.parse(name.c_str())) deviceDirs.push_back(name);
    return true;
}

bool RecordDirHandler::listCycledDeviceDirs(std::vector<RecordDeviceDirPolicy> const& policies,
                                            std::string const& date, std::vector<std::string>& deviceDirs) {
    std::vector<std::string> all;
    if (!listDeviceDirs(all)) return false;
    for (std::string const& deviceDir : all)
        if (!isSaveDayRecordPolicy(deviceDir, policies) && m_pDiskManager->isDirExist(dateDirOf(deviceDir, date).c_str()))
            deviceDirs.push_back(deviceDir);
    return true;
}

bool RecordDirHandler::listDates(std::string const& deviceDir, std::vector<std::string>& dates) {
    return BasicTool::getRecordDateList(m_dirInfo, BasicTool::kRecordDirName, deviceDir, dates);
}

bool RecordDirHandler::listRecordFiles(std::string const& dir, std::vector<std::string>& files) {
    return m_pDiskManager != nullptr &&
           m_pDiskManager->getFileList(dir.c_str(), files, NS_RecordDirHandler::kRecordFilePattern, 0) >= 0;
}

std::string RecordDirHandler::dateDirOf(std::string const& deviceDir, std::string const& date) const {
    return m_strRecordPath + "/" + deviceDir + "/" + date;
}

void RecordDirHandler::deleteLog(char const* text) { Logger::writeLog("deletefile", text, __FILE__, __LINE__); }

int RecordDirHandler::initDirCache() {
    std::vector<std::string> names;
    if (m_pDiskManager == nullptr || m_pDiskManager->getDirList(m_dirInfo.getRecordRootDir().c_str(), names) < 0)
        return 0;
    std::vector<std::string> deviceDirs;
    if (!listDeviceDirs(deviceDirs)) return 0;
    for (std::string const& deviceDir : deviceDirs) {
        std::vector<std::string> dates;
        listDates(deviceDir, dates);
    }
    return 1;
}

int RecordDirHandler::getTotalRecordFileNumber() {
    std::vector<std::string> deviceDirs;
    if (!listDeviceDirs(deviceDirs)) return 0;
    int total = 0;
    for (std::string const& deviceDir : deviceDirs) {
        std::vector<std::string> dates;
        listDates(deviceDir, dates);
        for (std::string const& date : dates) {
            std::vector<std::string> files;
            if (listRecordFiles(dateDirOf(deviceDir, date), files)) total += static_cast<int>(files.size());
        }
    }
    return total;
}

int RecordDirHandler::deleteFile(SafePointer<RecordFileInfo> const& file) {
    RecordIndexFileParserEx parser;
    if (parser.open(m_dirInfo, file->getRecordDate(), file->getDeviceDirName(), file->getRecordStorageType(),
                    RecordIndexFileParserEx::kModeChange) == 0)
        return 0;
    int result = parser.deleteFile(*file.get());
    parser.close();
    RecordSegmentInfoManager::getInstance()->deleteDeviceDateInfo(file);
    return result;
}

int RecordDirHandler::scanDeviceRecordDisk(DeviceRecordDiskStatReport& report) {
    std::vector<std::string> deviceDirs;
    if (!listDeviceDirs(deviceDirs)) return -1;
    for (std::string const& deviceDir : deviceDirs) {
        DeviceDirParser parser(deviceDir.c_str());
        if (parser.getDeviceId() != report.getDeviceId() || parser.getCameraId() != report.getCameraId()) continue;
        std::vector<std::string> dates;
        listDates(deviceDir, dates);
        for (std::string const& date : dates) {
            RecordIndexFileParserEx index;
            if (index.open(m_dirInfo, date, deviceDir, NS_RecordDirHandler::kMainIndex, 0) == 0) continue;
            int files = index.getFileNumber();
            index.close();
            if (files <= 0) continue;
            report.setRecordFileNumber(report.getRecordFileNumber() + files);
            report.addRecordDate(date);
        }
    }
    return 0;
}

bool RecordDirHandler::isInDeviceList(std::string const& deviceDir, std::vector<RecordDeviceDirPolicy> const& policies) {
    return NS_RecordDirHandler::findPolicy(deviceDir, policies) != nullptr;
}

bool RecordDirHandler::isInCleanRecordingMarkCondition(std::string const& deviceDir,
                                                       std::vector<RecordDeviceDirPolicy> const& policies) const {
    return m_dirInfo.getDiskType() != DiskKind::kNas || isInDeviceList(deviceDir, policies);
}

bool RecordDirHandler::isInContion(std::string const& deviceDir, std::vector<RecordDeviceDirPolicy> const& policies) {
    return policies.empty() || isInDeviceList(deviceDir, policies);
}

bool RecordDirHandler::isSaveDayRecordPolicy(std::string const& deviceDir,
                                             std::vector<RecordDeviceDirPolicy> const& policies) {
    RecordDeviceDirPolicy const* policy = NS_RecordDirHandler::findPolicy(deviceDir, policies);
    return policy != nullptr && !policy->isCycleWrite();
}

int RecordDirHandler::getDeviceMaxSaveDays(std::string const& deviceDir,
                                           std::vector<RecordDeviceDirPolicy> const& policies) {
    RecordDeviceDirPolicy const* policy = NS_RecordDirHandler::findPolicy(deviceDir, policies);
    return policy == nullptr ? -1 : policy->getRecordSaveDays();
}

long long RecordDirHandler::getFileDeleteTime(std::string const& date) {
    OVDateTime midnight;
    if (!BasicTool::getDateByDateString(date, midnight)) return 0;
    midnight.hour = midnight.minute = midnight.second = 0;
    return static_cast<long long>(TimeConvert::getLongTime(midnight)) + NS_RecordDirHandler::kSecondsPerDay;
}

void RecordDirHandler::getOutdueDateList(int days, std::vector<std::string>& dates) {
    long long now = OrvaneTime::currentTime().getSeconds();
    std::string limit = BasicTool::getDateString(now - days * NS_RecordDirHandler::kSecondsPerDay);
    dates.erase(std::remove_if(dates.begin(), dates.end(), [&](std::string const& date) { return date > limit; }),
                dates.end());
}

int RecordDirHandler::mvFile2Recyclebin(SafePointer<RecordRecycleBin>& bin, std::string const& dir) {
    std::vector<std::string> files;
    if (bin.isNull() || !listRecordFiles(dir, files)) return -1;
    // Locked files stay, whatever else goes.
    files.erase(std::remove_if(files.begin(), files.end(),
                               [](std::string const& name) { return BasicTool::isFileLocked(name); }),
                files.end());
    if (files.empty()) return 0;
    return bin->deleteFile(dir, files) ? static_cast<int>(files.size()) : 0;
}

int RecordDirHandler::cutIndex(std::string const& deviceDir, std::string const& date, int storageType,
                               SafePointer<RecordOutDateFileHandler>& handler) {
    RecordIndexFileParserEx parser;
    if (RecordIndexFileParserEx::getIndexFileLen(m_dirInfo, date, deviceDir, storageType) < 0 ||
        parser.open(m_dirInfo, date, deviceDir, storageType, RecordIndexFileParserEx::kModeChange) == 0)
        return -1;
    parser.deleteOutDateFile(handler);
    int files = parser.getFileNumber();
    parser.close();
    // The segment table must read the date anew, or queries answer with what
    // was cut.
    RecordSegmentInfoManager::getInstance()->deleteDeviceDateInfo(deviceDir, date, m_dirInfo);
    return files;
}

void RecordDirHandler::removeDateIndex(std::string const& deviceDir, std::string const& date) {
    std::string name = deviceDir + "_" + date + ".index";
    std::string indexPath = dateDirOf(deviceDir, date) + "/" + name;
    if (m_pDiskManager->isFileExist(indexPath.c_str()) &&
        (m_indexPool.isNull() || !m_indexPool->deleteIndexFile(indexPath, name)))
        m_pDiskManager->deleteFile(indexPath.c_str());
    std::string backup = RecordIndexFileParserEx::getIndexFileName(m_dirInfo.getRecordRootDir(), date, deviceDir,
                                                                   RecordIndexFileParserEx::kStorageTypeBackup);
    m_pDiskManager->deleteFile(backup.c_str());
    RecordSegmentInfoManager::getInstance()->deleteDeviceDateInfo(deviceDir, date);
}

void RecordDirHandler::removeDateDir(std::string const& deviceDir, std::string const& date) {
    std::string dateDir = dateDirOf(deviceDir, date);
    removeDateIndex(deviceDir, date);
    m_pDiskManager->deleteFile(BasicTool::getLockMarkerFile(dateDir).c_str());
    if (m_pDiskManager->removeDir(dateDir.c_str()) != 0 && NS_RecordDirHandler::printing())
        std::printf("RecordDirHandler::deleteOutDateFile, rmDir(%s) \n", dateDir.c_str());
}

void RecordDirHandler::removeDeviceDirIfEmpty(std::string const& deviceDir) {
    std::vector<std::string> dates;
    if (listDates(deviceDir, dates) && dates.empty())
        m_pDiskManager->removeDir((m_strRecordPath + "/" + deviceDir).c_str());
}

int RecordDirHandler::deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const& policies,
                                        SafePointer<RecordOutDateFileHandler>& handler) {
    std::vector<std::string> deviceDirs;
    if (handler.isNull() || !listDeviceDirs(deviceDirs)) return 0;
    for (std::string const& deviceDir : deviceDirs) {
        // Only a device that keeps by days is cut by age; a cycling one never.
        RecordDeviceDirPolicy const* policy = NS_RecordDirHandler::findPolicy(deviceDir, policies);
        if (policy == nullptr || policy->isCycleWrite()) continue;
        handler->setSaveDays(policy->getRecordSaveDays());
        std::vector<std::string> dates;
        listDates(deviceDir, dates);
        for (std::string const& date : dates) {
            if (!handler->isOutDate(date)) continue;
            OV_LOCK_GUARD(guard, m_sweepMutex);
            int files = cutIndex(deviceDir, date, NS_RecordDirHandler::kMainIndex, handler);
            // Without its index the files can't be told apart: all but locked
            // ones go by name, and the folder goes once nothing is left.
            if (files < 0 && !RecordingMarkManager::getInstance()->isExistMark(deviceDir, date)) {
                SafePointer<RecordRecycleBin> bin = handler->getRecycleBin();
                mvFile2Recyclebin(bin, dateDirOf(deviceDir, date));
                std::vector<std::string> left;
                if (listRecordFiles(dateDirOf(deviceDir, date), left) && left.empty()) files = 0;
            }
            if (m_dirInfo.getDiskType() == DiskKind::kCard)
                cutIndex(deviceDir, date, NS_RecordDirHandler::kBackupIndex, handler);
            if (files == 0) removeDateDir(deviceDir, date);
            RecordSegmentInfoManager::getInstance()->deleteDeviceDateInfo(deviceDir, date);
        }
    }
    return 1;
}

int RecordDirHandler::getUnlockFileList(std::string const& deviceDir, std::string const& date,
                                        std::vector<std::string>& files) {
    std::vector<std::string> locked;
    RecordIndexFileParserEx parser;
    if (parser.open(m_dirInfo, date, deviceDir, NS_RecordDirHandler::kMainIndex, 0) != 0) {
        parser.getLockFileList(locked);
        parser.close();
    }
    std::vector<std::string> names;
    if (!listRecordFiles(dateDirOf(deviceDir, date), names)) return 0;
    for (std::string const& name : names) {
        bool isLocked = BasicTool::isFileLocked(name) ||
                        std::find(locked.begin(), locked.end(), BasicTool::getUnlockedFileName(name)) != locked.end();
        if (!isLocked) files.push_back(name);
    }
    return 1;
}

int RecordDirHandler::deleteEarliestDateFile(SafePointer<RecordRecycleBin>& bin,
                                             std::vector<RecordDeviceDirPolicy> const& policies,
                                             std::string const& date, int) {
    return deleteEarliestDate(bin, policies, date, DatePass::kFiles);
}

int RecordDirHandler::deleteEarliestDateIndexFile(SafePointer<RecordRecycleBin>& bin,
                                                  std::vector<RecordDeviceDirPolicy> const& policies,
                                                  std::string const& date) {
    return deleteEarliestDate(bin, policies, date, DatePass::kIndexOnly);
}

// The lock table may not know of every lock (it may be switched off): the
// day's index and the "&" of a locked name are asked too, so that a date
// with a locked file is never moved as a whole.
int RecordDirHandler::deleteEarliestDate(SafePointer<RecordRecycleBin>& bin,
                                         std::vector<RecordDeviceDirPolicy> const& policies, std::string const& date,
                                         DatePass pass) {
    std::vector<std::string> deviceDirs;
    if (bin.isNull() || !listCycledDeviceDirs(policies, date, deviceDirs)) return 0;
    SafePointer<RecordOutDateFileHandler> handler(new RecordOutDateFileHandler(bin, m_dirInfo));
    handler->setFileDeleteTime(getFileDeleteTime(date));
    handler->setDeleteFileFlag(pass == DatePass::kFiles);
    char text[512];
    for (std::string const& deviceDir : deviceDirs) {
        OV_LOCK_GUARD(guard, m_sweepMutex);
        std::string dateDir = dateDirOf(deviceDir, date);
        int lockCount = 0;
        int deleteStatus = NS_RecordDirHandler::kNothingDeleted;
        RecordLockInfoManager::getInstance()->getRecordLockInfo(m_dirInfo, deviceDir, date, lockCount, deleteStatus);
        std::vector<std::string> unlocked;
        std::vector<std::string> all;
        getUnlockFileList(deviceDir, date, unlocked);
        listRecordFiles(dateDir, all);
        bool anyLocked = lockCount != 0 || unlocked.size() != all.size();
        // A folder being recorded into is cut by its index, never as a whole.
        bool recording = RecordingMarkManager::getInstance()->isExistMark(deviceDir, date);
        if (!anyLocked && !recording && pass == DatePass::kFiles) {
            int moved = mvFile2Recyclebin(bin, dateDir);
            std::snprintf(text, sizeof(text), "delete file: %s , num:%d end", dateDir.c_str(), moved);
            deleteLog(text);
            std::vector<std::string> left;
            if (listRecordFiles(dateDir, left) && left.empty()) {
                if (NS_RecordDirHandler::printing())
                    std::printf("RecordDirHandler::deleteEarliestDateFile, indexfilename(%s_%s.index) \n",
                                deviceDir.c_str(), date.c_str());
                removeDateDir(deviceDir, date);
                removeDeviceDirIfEmpty(deviceDir);
            }
            continue;
        }
        if (anyLocked && !recording && deleteStatus != NS_RecordDirHandler::kNothingDeleted &&
            pass == DatePass::kFiles) {
            // An earlier pass took the entries: only the files are left to go.
            if (!unlocked.empty()) bin->deleteFile(dateDir, unlocked);
        } else {
            handler->staticBegin();
            deleteSpecialTimeSegmentFile(handler, deviceDir, date);
            handler->staticEnd();
            std::snprintf(text, sizeof(text), "%s: %s , num:%d end",
                          pass == DatePass::kFiles ? "delete file" : "delete file Index", dateDir.c_str(),
                          handler->getDeletedFileNum());
            deleteLog(text);
        }
        RecordLockInfoManager::getInstance()->updateRecordDeviceDeleteStatus(
            m_dirInfo, deviceDir, date,
            pass == DatePass::kFiles ? NS_RecordDirHandler::kNothingDeleted : NS_RecordDirHandler::kIndexDeleted);
        removeDeviceDirIfEmpty(deviceDir);
    }
    return static_cast<int>(deviceDirs.size());
}

int RecordDirHandler::deleteSpecialTimeSegmentFile(SafePointer<RecordRecycleBin>& bin,
                                                   std::vector<RecordDeviceDirPolicy> const& policies,
                                                   std::string const& date, long long time) {
    std::vector<std::string> deviceDirs;
    if (bin.isNull() || !listCycledDeviceDirs(policies, date, deviceDirs)) return 0;
    SafePointer<RecordOutDateFileHandler> handler(new RecordOutDateFileHandler(bin, m_dirInfo));
    handler->setFileDeleteTime(time);
    char text[512];
    for (std::string const& deviceDir : deviceDirs) {
        OV_LOCK_GUARD(guard, m_sweepMutex);
        std::string dateDir = dateDirOf(deviceDir, date);
        deleteSpecialTimeSegmentFile(handler, deviceDir, date);
        std::snprintf(text, sizeof(text), "delete last day file: %s , filedeletetime:%lld end", dateDir.c_str(), time);
        deleteLog(text);
        removeDeviceDirIfEmpty(deviceDir);
    }
    return static_cast<int>(deviceDirs.size());
}

bool RecordDirHandler::getRecordingFileBegin(std::string const& deviceDir, std::string const& date, long long& begin) {
    if (!RecordingMarkManager::getInstance()->isExistMark(deviceDir, date)) return false;
    RecordIndexFileParserEx parser;
    RecordFileInfo last;
    if (parser.open(m_dirInfo, date, deviceDir, NS_RecordDirHandler::kMainIndex, 0) == 0 ||
        parser.getLastestFileInfo(last) != 1)
        return false;
    begin = last.getRecordBeginTime();
    return true;
}

bool RecordDirHandler::getDeletableBeginTimes(std::vector<RecordDeviceDirPolicy> const& policies,
                                              std::string const& date, int wanted, std::vector<long long>& begins) {
    std::vector<std::string> deviceDirs;
    if (!listCycledDeviceDirs(policies, date, deviceDirs)) return false;
    if (wanted < 1) return true;
    for (std::string const& deviceDir : deviceDirs) {
        // One more than wanted: the last entry may be the growing file.
        EarliestFileInfoList oldest(wanted + 1);
        {
            RecordIndexFileParserEx parser;
            if (parser.open(m_dirInfo, date, deviceDir, NS_RecordDirHandler::kMainIndex, 0) == 0) continue;
            parser.getEarliestRecordFileInfo(oldest, wanted + 1, false);
        }
        long long recording = 0;
        bool isRecording = getRecordingFileBegin(deviceDir, date, recording);
        int taken = 0;
        for (SafePointer<RecordFileInfo> const& file : oldest.getFileInfoList()) {
            if (taken == wanted) break;
            if (isRecording && file->getRecordBeginTime() >= recording) continue;
            begins.push_back(file->getRecordBeginTime());
            ++taken;
        }
    }
    return true;
}

bool RecordDirHandler::isRecordingFile(RecordFileInfo const& file) {
    long long begin = 0;
    return getRecordingFileBegin(file.getDeviceDirName(), file.getRecordDate(), begin) &&
           begin == file.getRecordBeginTime();
}

int RecordDirHandler::moveToBinUnlessRecording(SafePointer<RecordRecycleBin>& bin, RecordFileInfo const& file) {
    OV_LOCK_GUARD(guard, m_sweepMutex);
    if (isRecordingFile(file)) return -1;
    return !bin.isNull() && bin->deleteFile(file.createRecordFileName(), file.getRecordFileName()) ? 1 : 0;
}

// Only main recordings: their writers are the ones that clear a mark.
bool RecordDirHandler::claimRecordingDate(RecordFileInfo const& file) {
    if (file.getRecordStorageType() != NS_RecordDirHandler::kMainIndex) return false;
    OV_LOCK_GUARD(guard, m_sweepMutex);
    RecordingMarkManager* marks = RecordingMarkManager::getInstance();
    if (marks->isExistMark(file.getDeviceDirName(), file.getRecordDate())) return false;
    marks->addMark(file.getDeviceDirName(), file.getRecordDate());
    return true;
}

void RecordDirHandler::releaseRecordingDate(RecordFileInfo const& file) {
    OV_LOCK_GUARD(guard, m_sweepMutex);
    RecordingMarkManager::getInstance()->delMark(file.getDeviceDirName());
}

int RecordDirHandler::deleteSpecialTimeSegmentFile(SafePointer<RecordOutDateFileHandler>& handler,
                                                   std::string const& deviceDir, std::string const& date) {
    // The file being recorded is never taken, however far the cut reaches:
    // its writer would go on writing into a file the bin hands out again.
    SafePointer<RecordOutDateFileHandler> cut = handler;
    long long recording = 0;
    if (getRecordingFileBegin(deviceDir, date, recording) && recording < handler->getFileDeleteTime()) {
        cut = SafePointer<RecordOutDateFileHandler>(new RecordOutDateFileHandler(*handler));
        cut->setFileDeleteTime(recording);
    }
    int files = cutIndex(deviceDir, date, NS_RecordDirHandler::kMainIndex, cut);
    if (m_dirInfo.getDiskType() == DiskKind::kCard)
        cutIndex(deviceDir, date, NS_RecordDirHandler::kBackupIndex, cut);
    // A marked date with no entry left has a file handed out whose entry is
    // not written yet.
    if (files != 0 || RecordingMarkManager::getInstance()->isExistMark(deviceDir, date)) return 0;
    if (!handler->getDeleteFileFlag()) {
        removeDateIndex(deviceDir, date);
        return 1;
    }
    // The index names nothing more: what is left in the folder is no one's.
    SafePointer<RecordRecycleBin> bin = handler->getRecycleBin();
    mvFile2Recyclebin(bin, dateDirOf(deviceDir, date));
    removeDateDir(deviceDir, date);
    return 1;
}

int RecordDirHandler::getEarliestDateList(std::vector<RecordDeviceDirPolicy> const& policies,
                                          std::set<std::string>& dates) {
    std::vector<std::string> deviceDirs;
    if (!listDeviceDirs(deviceDirs)) return 0;
    for (std::string const& deviceDir : deviceDirs) {
        if (isSaveDayRecordPolicy(deviceDir, policies)) continue;
        std::vector<std::string> deviceDates;
        listDates(deviceDir, deviceDates);
        dates.insert(deviceDates.begin(), deviceDates.end());
    }
    return 1;
}

int RecordDirHandler::getEarliestInfo(std::vector<RecordDeviceDirPolicy> const& policies,
                                      std::vector<std::string>& dates, std::vector<std::string>& deviceDirs) {
    std::vector<std::string> all;
    if (!listDeviceDirs(all)) return -1;
    std::set<std::string> unique;
    for (std::string const& deviceDir : all) {
        if (!isInContion(deviceDir, policies)) continue;
        deviceDirs.push_back(deviceDir);
        std::vector<std::string> deviceDates;
        listDates(deviceDir, deviceDates);
        unique.insert(deviceDates.begin(), deviceDates.end());
    }
    dates.assign(unique.begin(), unique.end());
    return 0;
}

int RecordDirHandler::getEarliestFileList(EarliestFileInfoList& list,
                                          std::vector<RecordDeviceDirPolicy> const& policies, bool includeLocked,
                                          int wanted) {
    std::vector<std::string> dates;
    std::vector<std::string> deviceDirs;
    if (getEarliestInfo(policies, dates, deviceDirs) != 0) return -1;
    for (std::string const& date : dates) {
        if (list.getFileCount() >= wanted) break;
        getEarliestFileList(date, deviceDirs, list, includeLocked, wanted);
    }
    return 0;
}

int RecordDirHandler::getEarliestFileList(std::string const& date, std::vector<std::string> const& deviceDirs,
                                          EarliestFileInfoList& list, bool includeLocked, int wanted) {
    for (std::string const& deviceDir : deviceDirs) {
        std::string dateDir = dateDirOf(deviceDir, date);
        if (!m_pDiskManager->isDirExist(dateDir.c_str())) continue;
        // A folder being recorded into whose only file is the growing one
        // offers nothing: that file is never the oldest to take.
        if (RecordingMarkManager::getInstance()->isExistMark(deviceDir, date)) {
            std::vector<std::string> files;
            if (!listRecordFiles(dateDir, files) || files.size() <= 1) continue;
        }
        RecordIndexFileParserEx parser;
        if (parser.open(m_dirInfo, date, deviceDir, NS_RecordDirHandler::kMainIndex, 0) == 0) continue;
        parser.getEarliestRecordFileInfo(list, wanted, includeLocked);
        parser.close();
    }
    return 0;
}

int RecordDirHandler::deleteEarliestFileList(std::vector<RecordDeviceDirPolicy> const& policies,
                                             SafePointer<EarliestFileDeleteHandler>& handler) {
    std::vector<std::string> dates;
    std::vector<std::string> deviceDirs;
    if (getEarliestInfo(policies, dates, deviceDirs) != 0 || dates.empty()) return -1;
    std::string const& oldest = dates.front();
    for (std::string const& deviceDir : deviceDirs) {
        if (!m_pDiskManager->isDirExist(dateDirOf(deviceDir, oldest).c_str())) continue;
        RecordIndexFileParserEx parser;
        if (parser.open(m_dirInfo, oldest, deviceDir, NS_RecordDirHandler::kMainIndex,
                        RecordIndexFileParserEx::kModeChange) == 0)
            continue;
        parser.deleteEarliestRecordFile(handler);
        parser.close();
        RecordSegmentInfoManager::getInstance()->deleteDeviceDateInfo(deviceDir, oldest);
    }
    return 0;
}

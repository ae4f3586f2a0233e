#include "directory/HDDirWithIndex.h"

#include <algorithm>
#include <cstdio>

#include "directory/LastRecordFileInfoManager.h"
#include "directory/RecordOutDateFileHandler.h"
#include "disk/DataVersionInfoManager.h"
#include "disk/IRecordServiceListenerManager.h"
#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "foundation/OVRuntimeError.h"
#include "foundation/ReturnCode.h"
#include "foundation/SceneLogManager.h"
#include "foundation/StorageParameterManage.h"
#include "host/AlarmInfoEx.h"
#include "host/DiskManagerFactory.h"
#include "host/DiskStateManager.h"
#include "host/GlobalEnv.h"
#include "host/LocalPath.h"
#include "host/Logger.h"
#include "host/OVTime.h"
#include "index/RecordIndexFileParserEx.h"
#include "tracking/RecordLockInfoManager.h"
#include "tracking/RecordSegmentInfoManager.h"

namespace NS_HDDirWithIndex {

constexpr int kStatusFailed = 2;
constexpr int kReadyRoundMs = 2000;
constexpr int kNotReadyRoundMs = 1000;
constexpr int kDiskAlarmMajorType = 4;
constexpr int kNasDiskType = 4;
constexpr int kSdCardType = 2;

}  // namespace NS_HDDirWithIndex

using namespace NS_HDDirWithIndex;

HDDirWithIndex::HDDirWithIndex(RecordDirInfoEx const& info, int groupValue, std::string const& deviceId,
                               int recordType)
    : IRecordDir(info),
      m_strRecordPath(BasicTool::getRecordDir(info.getRecordRootDir())),
      m_strDeviceId(deviceId),
      m_speed(new RecordSpeedCalculator(info.getRecordRootDir())),
      m_nGroupValue(groupValue),
      m_nRecordType(recordType) {
    m_space.setRecordDirInfo(RecordDirInfoEx::changeToRecordDirInfo(info));
    m_emptyDir = SafePointer<EmptyDirManager>(new EmptyDirManager(
        info.getFileSegmentSize(), info.getDiskType(), m_strRecordPath, deviceId, recordType, 16));
    m_recycleBin = SafePointer<RecordRecycleBin>(new RecordRecycleBin(info.getDiskType(), m_strRecordPath));
    m_indexDir = SafePointer<IndexDirManager>(new IndexDirManager(kIndexFileSize, info.getDiskType(), m_strRecordPath));
    m_handler = SafePointer<RecordDirHandler>(new RecordDirHandler(info, m_strRecordPath));
    m_handler->setIndexDirManager(m_indexDir);
    m_pStatusThread.reset(new GThread(bind_funcobj0(this, &HDDirWithIndex::detectDirStatusThread),
                                      "dirStatusDetectionThread"));
    m_closeThread = SafePointer<RecordWriterCloseThread>(new RecordWriterCloseThread());
}

HDDirWithIndex::~HDDirWithIndex() { stopDetectionThread(); }

void HDDirWithIndex::failInit(char const* message, int line) {
    m_bReady = false;
    writeLog(message, line);
}

void HDDirWithIndex::setStatus(int status) {
    RecordDirInfoEx info = getRecordDirInfoEx();
    info.setStatus(status);
    setRecordDirInfoEx(info);
}

int HDDirWithIndex::init() {
    RecordDirInfoEx info = getRecordDirInfoEx();
    m_pDiskManager = DiskManagerFactory::getDiskManager(info.getDiskType(), info.getFileSystemFormat());
    if (initDirs(info.getFileSystemFormat()) == 0) {
        failInit("init Dir failed", __LINE__);
        return 0;
    }
    int const version = m_handler->checkDataVersion();
    if (!DataVersionInfoManager::isGoodStatus(version)) {
        failInit("checkDataVersion failed", __LINE__);
        int const alarm = getDataVersionAlarmType(version);
        if (alarm != 0) touchoffDiskStatusListener(info, alarm, true);
        return 0;
    }
    if (m_handler->initDirCache() == 0) {
        failInit("init DirCache failed", __LINE__);
        return 0;
    }
    RecordDirSpaceInfo scratch;
    if (getRecordDirSpaceInfo(scratch) == 0) {
        failInit("init Disk space info failed", __LINE__);
        return 0;
    }
    if (info.getDiskType() == kSdCardType) {
        info = getRecordDirInfoEx();
        info.setUseableSpace(scratch.getTotalSpace() - kSdCardReserve);
        setRecordDirInfoEx(info);
    }
    if (initRecordSpace() != 0) {
        failInit("init Record Space failed", __LINE__);
        return 0;
    }
    m_requests.clearAll();
    m_nDetectCount = 0;
    return 1;
}

int HDDirWithIndex::initDirs(int fileSystemFormat) {
    long long const fileSize = getRecordDirInfoEx().getFileSegmentSize();
    if (m_handler->init(fileSystemFormat) == 0) {
        GlobalEnv::print("%s", "HDDirWithIndex::initDirs init failed \n");
        return 0;
    }
    if (m_recycleBin->init(fileSystemFormat, fileSize) == 0) {
        GlobalEnv::print("%s", "HDDirWithIndex::initDirs Recycle Bin init failed \n");
        return 0;
    }
    if (initEmptyPool(fileSystemFormat) == 0) {
        GlobalEnv::print("%s", "HDDirWithIndex::initDirs Empty init failed \n");
        return 0;
    }
    return m_indexDir->init(fileSystemFormat) ? 1 : 0;
}

int HDDirWithIndex::initRecordSpace() {
    RecordDirInfoEx info = getRecordDirInfoEx();
    long long const fileSize = info.getFileSegmentSize();
    if (fileSize <= 0) return -1;
    int const maxId = m_emptyDir->getMaxFileId();
    if (maxId == 0) {
        // The pool folder was lost while records survived: a new top file
        // above every number in use keeps numbering going on from there.
        int n = m_recycleBin->getFileNumber() + m_handler->getTotalRecordFileNumber();
        if (n != 0 && m_emptyDir->createEmptyFile(n + 1) == 0) return -1;
    }
    long long const claimed = m_emptyDir->getTotalFileSize();
    RecordDirSpaceInfo space = getSpaceRecord();
    long long const useable = info.getUseableSpace();
    long long base = 0;
    if (useable != 0 && useable - claimed < space.getFreeSpace())
        base = useable;
    else
        base = std::min(space.getFreeSpace() + claimed, space.getTotalSpace());
    int const maxFiles = applyUseableSpace(base);
    m_emptyDir->setMaxFileNumber(maxFiles);
    if (maxId >= maxFiles) return 0;
    char text[64];
    std::snprintf(text, sizeof text, "create empty file begin %d", maxFiles);
    writeLog(text, __LINE__);
    openFillUnlessClosing();
    m_emptyDir->allocRecordSpace();
    writeLog("create empty file end", __LINE__);
    DiskStateManager::getInstance()->preallocateFinishNotify(m_strRecordPath);
    return 0;
}

int HDDirWithIndex::applyUseableSpace(long long base) {
    long long const actual = base * 95 / 100;
    {
        OV_LOCK_GUARD(guard, m_spaceMutex);
        m_space.setActualUseableSpace(actual);
    }
    long long const files = actual / getRecordDirInfoEx().getFileSegmentSize();
    int const maxFiles = files > 0x7fffffffLL ? 0x7fffffff : static_cast<int>(files);
    m_indexDir->allocateIndexFile(maxFiles);
    return maxFiles;
}

// stopDetectionThread stops a fill by the pool's flag; checked again after
// opening it, so a stop between the two can't be missed.
void HDDirWithIndex::openFillUnlessClosing() {
    if (!m_bClosing) setPoolRunning(true);
    if (m_bClosing) setPoolRunning(false);
}

void HDDirWithIndex::setPoolRunning(bool running) {
    if (running)
        m_emptyDir->startEmptyFileCreate();
    else
        m_emptyDir->stopEmptyFileCreate();
}

bool HDDirWithIndex::isWritable() { return getRecordDirInfoEx().getEnableFlag() && m_bReady; }

bool HDDirWithIndex::hasFreeSpace() {
    if (!m_bReady) return false;
    return m_recycleBin->hasFreeFile() || poolHasFreeSpace();
}

int HDDirWithIndex::getRecordDirSpaceInfo(RecordDirSpaceInfo& out) {
    IDiskManager* disk = diskManager();
    if (disk == nullptr) return 0;
    long long total = 0;
    long long used = 0;
    if (disk->getDiskSpace(m_strRecordPath.c_str(), total, used) != 0) return 0;
    OV_LOCK_GUARD(guard, m_spaceMutex);
    m_space.setTotalSpace(total << 20);
    m_space.setFreeSpace((total - used) << 20);
    out = m_space;
    return 1;
}

RecordDirSpaceInfo HDDirWithIndex::getSpaceRecord() {
    OV_LOCK_GUARD(guard, m_spaceMutex);
    return m_space;
}

int HDDirWithIndex::createFile(SafePointer<RecordFileInfo>& file) {
    if (!m_bReady) return OV_RECORD_DIR_NOT_READY;
    RecordDirInfoEx info = getRecordDirInfoEx();
    // Index and writer find the file through the description it carries.
    file->setRecordDirInfoEx(info);
    int code = m_handler->createIndexFile(file);
    if (code != 0) return code;
    // From here the file is the recording's, though its writer marks it only
    // when it opens it.
    bool const claimed = m_handler->claimRecordingDate(*file);
    auto refuse = [&](int refusal) {
        if (claimed) m_handler->releaseRecordingDate(*file);
        return refusal;
    };
    if (StorageParameterManage::getInstance()->getKeepSceneFlag() && m_pSceneLog != nullptr) {
        if (!m_pSceneLog->createFileEx(file, diskManager())) return refuse(OV_RECORD_SCENE_OR_LOCK_LIMIT);
    } else {
        RecordDeviceInfo device = file->getRecordDeviceInfo();
        if (!m_requests.isRequestNewFile(device) && m_handler->togetherRecordFile(file) == 0) {
            if (m_pSceneLog != nullptr)
                m_pSceneLog->addChunnelDiskInfo(file->getDeviceId(), file->getCameraId(), info.getRecordRootDir());
            return 0;
        }
        if (takeEmptyFile(file) == 0 && !m_recycleBin->createFileEx(file))
            return refuse(OV_RECORD_HD_NO_FILE);
    }
    if (m_pSceneLog != nullptr) {
        m_pSceneLog->addChunnelDiskInfo(file->getDeviceId(), file->getCameraId(), info.getRecordRootDir());
        m_pSceneLog->persist();
    }
    code = m_handler->createNewFileIndexSegment(file);
    if (code != 0) return refuse(code);
    OV_LOCK_GUARD(guard, m_spaceMutex);
    m_space.setRecordFileSize(m_space.getRecordFileSize() + info.getFileSegmentSize());
    return 0;
}

int HDDirWithIndex::deleteFile(SafePointer<RecordFileInfo> const& file) {
    // An earliest-file list may offer the file a recording is writing (a
    // day's only files); its writer would go on into a file the bin hands
    // out again.
    if (!m_bReady) return 0;
    std::string path = file->createRecordFileName();
    int const moved = m_handler->moveToBinUnlessRecording(m_recycleBin, *file);
    if (moved < 0) return 0;
    if (moved == 1) {
        if (m_handler->deleteFile(file) == 0) return 0;
        OV_LOCK_GUARD(guard, m_spaceMutex);
        m_space.setRecordFileSize(m_space.getRecordFileSize() - getRecordDirInfoEx().getFileSegmentSize());
        return 1;
    }
    // A lost file must not hold the oldest position for ever.
    IDiskManager* disk = diskManager();
    if (disk != nullptr && disk->isFileExist(path.c_str()) == 0) m_handler->deleteFile(file);
    return 0;
}

void HDDirWithIndex::addDataLen(int length) { m_speed->addDataLen(length, 0); }

long long HDDirWithIndex::getWriteSpeed() { return m_speed->getRecordSpeed(); }

int HDDirWithIndex::getEarliestFileList(std::vector<RecordDeviceDirPolicy> const& policies,
                                        EarliestFileInfoList& list, bool bIncludeLocked, int nCount) {
    if (!m_bReady) return -6;
    return m_handler->getEarliestFileList(list, policies, bIncludeLocked, nCount);
}

int HDDirWithIndex::deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const& policies) {
    if (policies.empty()) return 1;
    SafePointer<RecordOutDateFileHandler> handler(new RecordOutDateFileHandler(m_recycleBin, getRecordDirInfoEx()));
    m_handler->deleteOutDateFile(policies, handler);
    return 1;
}

int HDDirWithIndex::getEarliestDateList(std::vector<RecordDeviceDirPolicy> const& policies,
                                        std::set<std::string>& dates) {
    if (!isWritable()) return 0;
    return m_handler->getEarliestDateList(policies, dates);
}

int HDDirWithIndex::deleteEarliestDateFile(std::vector<RecordDeviceDirPolicy> const& policies,
                                           std::string const& date, int n) {
    if (!isWritable()) return 0;
    return m_handler->deleteEarliestDateFile(m_recycleBin, policies, date, n);
}

int HDDirWithIndex::deleteEarliestDateIndexFile(std::vector<RecordDeviceDirPolicy> const& policies,
                                                std::string const& date) {
    if (!isWritable()) return -1;
    return m_handler->deleteEarliestDateIndexFile(m_recycleBin, policies, date);
}

int HDDirWithIndex::deleteSpecialTimeSegmentFile(std::vector<RecordDeviceDirPolicy> const& policies,
                                                 std::string const& date, long long time) {
    if (!isWritable()) return 0;
    return m_handler->deleteSpecialTimeSegmentFile(m_recycleBin, policies, date, time);
}

void HDDirWithIndex::getDeletableBeginTimes(std::vector<RecordDeviceDirPolicy> const& policies,
                                            std::string const& date, int wanted, std::vector<long long>& begins) {
    if (!isWritable()) return;
    m_handler->getDeletableBeginTimes(policies, date, wanted, begins);
}

void HDDirWithIndex::setDirPolicyList(std::vector<RecordDeviceDirPolicy> const& policies) {
    OV_LOCK_GUARD(guard, m_policyMutex);
    m_policies = policies;
    m_emptyDir->setMaxEmptyFileNumber(10 * static_cast<unsigned int>(policies.size()) + 1);
}

void HDDirWithIndex::setDeviceRequetType(RecordDeviceInfo const& device, int nType) {
    m_requests.updateDeviceRequestType(device, nType);
}

void HDDirWithIndex::setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const& listener) {
    OV_LOCK_GUARD(guard, m_listenerMutex);
    m_listener = listener;
}

void HDDirWithIndex::closeRecordWriter(SafePointer<IRecordWriter> const& writer) {
    writeLog("closeRecordWriter", __LINE__);
    m_closeThread->addRecordWriter(writer);
}

bool HDDirWithIndex::isIOError() { return m_closeThread->isExistIOError(); }

int HDDirWithIndex::scanDeviceRecordDisk(DeviceRecordDiskStatReport& report) {
    if (!m_bReady) return -6;
    try {
        return m_handler->scanDeviceRecordDisk(report);
    } catch (OVRuntimeError const&) {
        return OV_RECORD_IO_ERROR;
    }
}

int HDDirWithIndex::getDirFileNumber(int& total, int& free) {
    if (!m_bReady) return -6;
    total = m_emptyDir->getMaxFileNumber();
    // Files not yet made count as free.
    free = m_emptyDir->getEmptyFileNumber() + m_recycleBin->getFileNumber() + total - m_emptyDir->getMaxFileId();
    return 0;
}

void HDDirWithIndex::setDiskAlarmInterval(int seconds) {
    {
        OV_LOCK_GUARD(guard, m_listenerMutex);
        m_nDiskAlarmInterval = seconds;
    }
    char text[96];
    std::snprintf(text, sizeof text, "HDDirWithIndex::setDiskAlarmInterval, DiskAlarmInterval(%d) \n", seconds);
    GlobalEnv::print("%s", text);
}

long long HDDirWithIndex::getFreeSize() {
    long long files = m_recycleBin->getFileNumber();
    if (getRecordDirInfoEx().getDiskType() != kSdCardType) files += getPoolFileNumber();
    return files * getRecordDirInfoEx().getFileSegmentSize();
}

void HDDirWithIndex::getRecordDirStatus(RecordDirInfoEx& out) {
    out = getRecordDirInfoEx();
    RecordDirSpaceInfo space = getSpaceRecord();
    if (space.getTotalSpace() == 0) getRecordDirSpaceInfo(space);
    if (out.getDiskType() == 1 || out.getDiskType() == kSdCardType) out.setUseableSpace(space.getTotalSpace());
    out.setFreeSpace(std::min(out.getUseableSpace(), space.getFreeSpace() + getFreeSize()));
}

int HDDirWithIndex::getAlarmType(int diskState, bool& notify) {
    notify = true;
    switch (diskState) {
        case 3: return 5;
        case 5: return 7;
        case 7: return 5;
        case 9: return 3;
        case 11: return 5;
        default: notify = false; return 2;
    }
}

int HDDirWithIndex::getDataVersionAlarmType(int status) {
    switch (status) {
        case DataVersion_Low_Unuseable: return 9;
        case DataVersion_High_Unuseable: return 10;
        case DataVersion_ACCESS_ABLILITY: return 11;
        default: return 0;
    }
}

int HDDirWithIndex::detectDirStatus() {
    RecordDirInfoEx info = getRecordDirInfoEx();
    int state = 0;
    int format = info.getFileSystemFormat();
    if (!DiskStateManager::getInstance()->getDiskStateInfo(info.getRecordRootDir(), state, format)) {
        writeLog("get disk state info failed", __LINE__);
        m_bReady = false;
        return 0;
    }
    if (format != info.getFileSystemFormat()) {
        // Another file system: the disk was replaced, and init starts afresh.
        m_bReady = false;
        writeLog("get file system format failed", __LINE__);
        info.setFileSystemFormat(format);
        setRecordDirInfoEx(info);
    }
    if (state == DiskStateManager::kStateOk) {
        if (m_bReady) return 0;
        writeLog("init dir begin", __LINE__);
        int done = 0;
        {
            std::unique_ptr<OVMutexManager> group;
            if (m_pGroupMutex != nullptr) group.reset(new OVMutexManager(m_pGroupMutex, __FILE__, __LINE__));
            writeLog("init dir Lock begin", __LINE__);
            done = init();
        }
        writeLog("init dir Unlock end", __LINE__);
        if (done == 0) {
            setStatus(kStatusFailed);
            return -1;
        }
        char text[1024];
        std::snprintf(text, sizeof text, "%s state is ok", info.getRecordRootDir().c_str());
        writeLog(text, __LINE__);
        m_bReady = true;
        setStatus(1);
        touchoffDiskStatusListener(getRecordDirInfoEx(), 1, true);
        setPoolRunning(true);
        m_recycleBin->setUsableFlag(true);
        return 0;
    }
    setStatus(state);
    {
        OV_LOCK_GUARD(guard, m_spaceMutex);
        m_space.setTotalSpace(0);
        m_space.setFreeSpace(0);
    }
    m_bReady = false;
    setPoolRunning(false);
    m_recycleBin->setUsableFlag(false);
    writeLog("my disk status is not ok", __LINE__);
    bool notify = false;
    int alarm = getAlarmType(state, notify);
    bool firstRound = false;
    {
        OV_LOCK_GUARD(guard, m_listenerMutex);
        firstRound = alarm != m_nLastAlarmType;
    }
    if (firstRound) {
        info = getRecordDirInfoEx();
        RecordLockInfoManager::getInstance()->rmRecordDeviceLockInfo(info);
        LastRecordFileInfoManager::getInstance()->eraseLastRecordFileInfo(info);
        m_indexDir->uninit();
    }
    touchoffDiskStatusListener(getRecordDirInfoEx(), alarm, notify);
    return -1;
}

int HDDirWithIndex::detectDirStatusThread() {
    try {
        detectDirStatus();
        if (!m_bReady) {
            m_pStatusThread->setPalpitationTime(kNotReadyRoundMs);
            return 1;
        }
        if (m_bStopFlag) return 0;
        int const count = m_nDetectCount.load();
        if (count % kSpaceRounds == 0 && detectDirSpace() == -1) {
            m_pStatusThread->setPalpitationTime(kReadyRoundMs);
            return 1;
        }
        if (count % kClearRounds == 0) clearDeviceRecord();
        onReadyRound();
    } catch (OVRuntimeError const& error) {
        // The group mutex is a scope guard in detectDirStatus: already released.
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
    }
    ++m_nDetectCount;
    m_pStatusThread->setPalpitationTime(kReadyRoundMs);
    return 1;
}

int HDDirWithIndex::detectDirSpace() {
    RecordDirSpaceInfo space;
    if (getRecordDirSpaceInfo(space) == 0) {
        char text[128];
        std::snprintf(text, sizeof text,
                      "HDDirWithIndex::detectDirSpace getRecordDirSpaceInfo() failed.DetectDirStatusCount=%d \n",
                      m_nDetectCount.load());
        GlobalEnv::print("%s", text);
        return -1;
    }
    RecordDirInfoEx info = getRecordDirInfoEx();
    if (info.getDiskType() != kSdCardType) return 0;
    int const threshold = info.getAlarmThreshold();
    {
        OV_LOCK_GUARD(guard, m_listenerMutex);
        if (threshold != m_nLastAlarmThreshold) {
            m_nLastAlarmThreshold = threshold;
            m_nLastAlarmType = 0;
        }
    }
    if (threshold == 0) return 0;
    long long const count = m_handler->getTotalRecordFileNumber();
    if (space.getTotalSpace() * threshold / 100 < info.getFileSegmentSize() * count)
        touchoffDiskStatusListener(info, kSdCardSpaceAlarm, true);
    return 0;
}

void HDDirWithIndex::touchoffDiskStatusListener(RecordDirInfoEx const& info, int alarmType, bool notify) {
    AlarmInfoEx alarm;
    SafePointer<IRecordServiceListenerManager> listener;
    {
        OV_LOCK_GUARD(guard, m_listenerMutex);
        if (m_listener.isNull()) return;
        double const now = OVTime::getUpTime();
        if (alarmType == m_nLastAlarmType) {
            bool repeat = m_nDiskAlarmInterval > 0 && info.getEnableFlag() &&
                          now - m_dLastAlarmTime >= m_nDiskAlarmInterval;
            if (!repeat) return;
        }
        m_dLastAlarmTime = now;
        m_nLastAlarmType = alarmType;
        alarm.setMajorType(kDiskAlarmMajorType);
        alarm.setMinorType(alarmType);
        std::string const description = LocalPath::getDiskAlarmDescription(info.getRecordRootDir());
        if (description.size() < 64) alarm.setDescription(description);
        alarm.setSourceId(std::to_string(info.getGroupId()) + ":" + std::to_string(info.getAttribute()));
        if (info.getDiskType() == kSdCardType) alarm.setSourceName("SDCard");
        if (info.getDiskType() == kNasDiskType) alarm.setSourceName("NasDisk");
        alarm.setAlarmTime(static_cast<unsigned long>(OVTime::getSeconds()));
        listener = m_listener;
    }
    char text[1200];
    std::snprintf(text, sizeof text, "%s::touchoffDiskStatusListener:%d,%d,%s \n", m_pszPrintName, alarmType,
                  notify ? 1 : 0, info.getRecordRootDir().c_str());
    GlobalEnv::print("%s", text);
    if (!notify) return;
    // Handed over outside the lock: the manager only queues it.
    listener->handleMessage(alarm);
    if (m_pBackupListener != nullptr) m_pBackupListener->onAlarm(alarm);
}

void HDDirWithIndex::clearDeviceRecord() {
    IDiskManager* disk = diskManager();
    if (disk == nullptr) return;
    std::vector<std::string> names;
    int listed = disk->getDirList(m_strRecordPath.c_str(), names);
    char text[96];
    std::snprintf(text, sizeof text, "HDDirWithIndex::clearDeviceRecord bRet:%d \n", listed >= 0 ? 1 : 0);
    GlobalEnv::print("%s", text);
    bool cleared = false;
    for (std::string const& name : names) {
        if (name.size() < 5 || name.find(BasicTool::kMovedDeviceSuffix) == std::string::npos) continue;
        cleared = clearMovedDevice(name) || cleared;
    }
    if (!cleared) return;
    m_recycleBin->init(getRecordDirInfoEx().getFileSystemFormat(), getRecordDirInfoEx().getFileSegmentSize());
    m_nDetectCount = -60;
    writeLog("clearDeviceRecord", __LINE__);
}

bool HDDirWithIndex::clearMovedDevice(std::string const& name) {
    IDiskManager* disk = diskManager();
    RecordDirInfoEx info = getRecordDirInfoEx();
    std::string const deviceFolder = m_strRecordPath + "/" + name;
    std::string const device = name.substr(0, name.find(BasicTool::kMovedDeviceSuffix));
    std::vector<std::string> dates;
    if (disk->getDirList(deviceFolder.c_str(), dates) < 0) return false;
    for (std::string const& date : dates) {
        std::string const dateFolder = deviceFolder + "/" + date;
        SafePointer<RecordOutDateFileHandler> handler(new RecordOutDateFileHandler(m_recycleBin, info));
        RecordIndexFileParserEx parser;
        if (parser.open(info, date, name, RecordIndexFileParserEx::kStorageTypeShortDeviceDir,
                        RecordIndexFileParserEx::kModeChange) != 0) {
            parser.deleteDeviceFile(handler);
            parser.close();
        }
        // Record files the index did not name go to the bin as well: a
        // record file is never destroyed. Index files go back to the pool.
        m_handler->mvFile2Recyclebin(m_recycleBin, dateFolder);
        std::vector<std::string> rest;
        disk->getFileList(dateFolder.c_str(), rest, nullptr, 0);
        for (std::string const& file : rest) {
            std::string const path = dateFolder + "/" + file;
            if (!IndexDirManager::isIndexFile(file) || !m_indexDir->deleteIndexFile(path, name + "_" + file))
                disk->deleteFile(path.c_str());
        }
        disk->removeDir(dateFolder.c_str());
        RecordSegmentInfoManager::getInstance()->deleteDeviceDateInfo(device, date);
    }
    disk->removeDir(deviceFolder.c_str());
    return true;
}

int HDDirWithIndex::startDetectionThread() {
    m_bStopFlag = false;
    m_bClosing = false;
    if (m_pStatusThread->isRunning()) return 1;
    m_nDetectCount = 0;
    m_pStatusThread->start();
    m_closeThread->start();
    RecordDirInfoEx info = getRecordDirInfoEx();
    if (info.getDiskType() == kNasDiskType)
        DiskStateManager::getInstance()->installDevice(info.getRecordRootDir(), info.getDiskType());
    char text[64];
    std::snprintf(text, sizeof text, "startDetectionThread %d", info.getDiskType());
    writeLog(text, __LINE__);
    return 1;
}

void HDDirWithIndex::stopDetectionThread() {
    writeLog("stopDetectionThread", __LINE__);
    m_bStopFlag = true;
    m_bClosing = true;
    m_bReady = false;
    setPoolRunning(false);
    m_pStatusThread->stop();
    m_nDetectCount = 0;
    m_closeThread->stop();
    RecordDirInfoEx info = getRecordDirInfoEx();
    if (info.getDiskType() == kNasDiskType) DiskStateManager::getInstance()->removeDevice(info.getRecordRootDir());
}

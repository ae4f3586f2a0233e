#include "directory/RecordDirWithoutIndex.h"

#include <cstdio>

#include "directory/EarliestFileInfoList.h"
#include "directory/RecordFileCheckerWithoutIndex.h"
#include "directory/RecordFileWithoutIndexHandlers.h"
#include "disk/IRecordServiceListenerManager.h"
#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "foundation/OVRuntimeError.h"
#include "foundation/ReturnCode.h"
#include "host/AlarmInfoEx.h"
#include "host/DiskManagerFactory.h"
#include "host/DiskStateManager.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"
#include "host/OVDateTime.h"
#include "host/OrvaneTime.h"

namespace NS_RecordDirWithoutIndex {

constexpr int kReadyRoundMs = 2000;
constexpr int kNotReadyRoundMs = 1000;
constexpr int kAlarmDiskUp = 1;
constexpr int kAlarmDiskDown = 3;
constexpr long long kSecondsPerDay = 86400;
constexpr long long kMiB = 1024LL * 1024LL;

long long now() { return static_cast<long long>(OrvaneTime::currentTime().getSeconds()); }

}  // namespace NS_RecordDirWithoutIndex

using namespace NS_RecordDirWithoutIndex;

RecordDirWithoutIndex::RecordDirWithoutIndex(RecordDirInfoEx const& info, int recordType)
    : IRecordDir(info),
      m_operator(new RecordDirWithoutIndexOperator(info)),
      m_nRecordType(recordType) {
    m_space.setRecordDirInfo(RecordDirInfoEx::changeToRecordDirInfo(info));
    m_pStatusThread.reset(new GThread(bind_funcobj0(this, &RecordDirWithoutIndex::detectDirStatusThread),
                                      "RecordDirWithoutIndex(" + info.getRecordRootDir() + ") statusDetectThread"));
}

RecordDirWithoutIndex::~RecordDirWithoutIndex() { stopDetectionThread(); }

int RecordDirWithoutIndex::init() {
    RecordDirInfoEx const info = getRecordDirInfoEx();
    IDiskManager* disk = DiskManagerFactory::getDiskManager(info.getDiskType(), info.getFileSystemFormat());
    m_pDiskManager = disk;
    if (!initDirs()) {
        writeLog("init Dir failed", __LINE__);
        return 0;
    }
    SafePointer<RecordDirWithoutIndexOperator> fresh(new RecordDirWithoutIndexOperator(info));
    if (!fresh->init(info, disk)) {
        writeLog("init operator failed", __LINE__);
        return 0;
    }
    {
        OV_LOCK_GUARD(guard, m_mutex);
        m_operator = fresh;
    }
    if (!initDiskSpaceInfo()) {
        writeLog("init Disk space info failed", __LINE__);
        return 0;
    }
    m_nDetectCount = 0;
    m_bInit = true;
    return 1;
}

bool RecordDirWithoutIndex::initDirs() {
    IDiskManager* disk = m_pDiskManager.load();
    if (disk == nullptr) return false;
    std::string const record = BasicTool::getRecordDir(getRecordDirInfoEx().getRecordRootDir());
    return disk->createDir(record.c_str()) != 0;
}

bool RecordDirWithoutIndex::initDiskSpaceInfo() {
    RecordDirInfoEx const info = getRecordDirInfoEx();
    long long used = 0;
    if (!getOperator()->getDirFileTotalSize(used)) return false;
    long long const useable = info.getUseableSpace();
    // A directory without a configured size can promise nothing: it stays
    // not ready instead of stopping the process.
    if (useable == 0) {
        writeLog("useableSpace != 0", __LINE__);
        return false;
    }
    long long const free = (useable - used) * 99 / 100;
    {
        OV_LOCK_GUARD(guard, m_mutex);
        m_space.setTotalSpace(useable);
        m_space.setActualUseableSpace(free);
        m_space.setFreeSpace(free);
        m_space.setRecordFileSize(used);
    }
    if (free > info.getFileSegmentSize()) return true;
    return cleanSpace(getCleanTarget()) != 0;
}

long long RecordDirWithoutIndex::getCleanTarget() const {
    // Free space counts 99 % of what is left, and a segment must fit with a
    // byte to spare: bringing the files down to useable - segment alone
    // would leave the directory still without room.
    RecordDirInfoEx const info = getRecordDirInfoEx();
    long long const segment = info.getFileSegmentSize();
    return info.getUseableSpace() - (segment * 100 + 98) / 99 - 2;
}

bool RecordDirWithoutIndex::isWritable() { return getRecordDirInfoEx().getEnableFlag() && m_bInit; }

bool RecordDirWithoutIndex::hasFreeSpace() {
    if (!m_bInit) return false;
    long long const segment = getRecordDirInfoEx().getFileSegmentSize();
    OV_LOCK_GUARD(guard, m_mutex);
    return m_space.getFreeSpace() > segment;
}

int RecordDirWithoutIndex::getRecordDirSpaceInfo(RecordDirSpaceInfo& info) {
    if (!m_bInit) return 0;
    info = getSpaceRecord();
    return 1;
}

RecordDirSpaceInfo RecordDirWithoutIndex::getSpaceRecord() const {
    OV_LOCK_GUARD(guard, m_mutex);
    return m_space;
}

SafePointer<RecordDirWithoutIndexOperator> RecordDirWithoutIndex::getOperator() const {
    OV_LOCK_GUARD(guard, m_mutex);
    return m_operator;
}

int RecordDirWithoutIndex::createFile(SafePointer<RecordFileInfo>& file) {
    if (!m_bInit) return OV_RECORD_DIR_NOT_WRITABLE;
    RecordDirInfoEx const info = getRecordDirInfoEx();
    std::string name;
    if (!RecordFileCheckerWithoutIndex::createRecordFileName(*file, name)) return OV_RECORD_FILE_NAME_FAILED;
    file->setRecordDirInfoEx(info);
    file->setRecordFileName(name);
    // The folder follows the time in the name, which is what a reader and
    // reclamation go by.
    file->setRecordDate(BasicTool::getDateString(file->getRecordBeginTime()));
    std::string const path = file->createRecordFileName();
    IDiskManager* disk = m_pDiskManager.load();
    if (disk == nullptr || disk->createDir(BasicTool::getFilePath(path).c_str()) == 0)
        return OV_RECORD_FILE_DIR_FAILED;
    // A file of this name already holds a recording of that second: the
    // writer appends to it, and making it anew would cut it to nothing.
    if (disk->isFileExist(path.c_str()) != 1 && disk->createEmptyFile(path.c_str()) == 0)
        return OV_RECORD_CREATE_FILE_FAILED;
    OV_LOCK_GUARD(guard, m_mutex);
    m_recording[file->getDeviceDirName()] = path;
    m_space.setRecordFileSize(m_space.getRecordFileSize() + info.getFileSegmentSize());
    m_space.setFreeSpace((m_space.getTotalSpace() - m_space.getRecordFileSize()) * 99 / 100);
    return 0;
}

std::set<std::string> RecordDirWithoutIndex::getRecordingFiles() {
    std::set<std::string> files;
    OV_LOCK_GUARD(guard, m_mutex);
    for (auto const& entry : m_recording) files.insert(entry.second);
    return files;
}

int RecordDirWithoutIndex::deleteFile(SafePointer<RecordFileInfo> const& file) {
    return m_bInit ? removeFile(file) : 0;
}

int RecordDirWithoutIndex::removeFile(SafePointer<RecordFileInfo> const& file) {
    IDiskManager* disk = m_pDiskManager.load();
    if (disk == nullptr || file.isNull()) return 0;
    RecordFileInfo target = *file;
    target.setRecordDirInfoEx(getRecordDirInfoEx());
    std::string const path = target.createRecordFileName();
    // Unlinked under a writer, the rest of its recording would be lost.
    if (getRecordingFiles().count(path) != 0) return 0;
    long long const length = RecordDirWithoutIndexOperator::getFileLength(target.getRecordDirInfoEx(), path);
    if (!disk->deleteFile(path.c_str())) return 0;
    updateRecordDirSpaceInfo(length > 0 ? length : 0);
    return 1;
}

void RecordDirWithoutIndex::updateRecordDirSpaceInfo(long long length) {
    OV_LOCK_GUARD(guard, m_mutex);
    long long const used = m_space.getRecordFileSize() - length;
    m_space.setRecordFileSize(used < 0 ? 0 : used);
    m_space.setFreeSpace((m_space.getTotalSpace() - m_space.getRecordFileSize()) * 99 / 100);
}

int RecordDirWithoutIndex::getEarliestFileList(std::vector<RecordDeviceDirPolicy> const& policies,
                                               EarliestFileInfoList& list, bool, int) {
    return m_bInit ? collectEarliestFiles(policies, list) : -6;
}

// The list keeps its own bound.
int RecordDirWithoutIndex::collectEarliestFiles(std::vector<RecordDeviceDirPolicy> const& policies,
                                                EarliestFileInfoList& list) {
    SafePointer<RecordDirWithoutIndexOperator> walker = getOperator();
    SafePointer<IRecordFileWithoutIndexHandler> handler(new EarliestRecordFileWithoutIndexQuery(list));
    std::string const anyDate = "0000-00-00";
    if (policies.empty()) return walker->walk(handler, "", "", -1, anyDate, BasicTool::kNoEndDate) < 0 ? -1 : 0;
    for (RecordDeviceDirPolicy const& policy : policies) {
        RecordDeviceInfo const& device = policy.getRecordDeviceInfo();
        walker->walk(handler, device.getDeviceId(), device.getDeviceIP(), device.getCameraId(), anyDate,
                     BasicTool::kNoEndDate);
    }
    return 0;
}

int RecordDirWithoutIndex::deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const& policies) {
    if (m_bInit) deleteOverdueFiles(policies);
    return 1;
}

void RecordDirWithoutIndex::deleteOverdueFiles(std::vector<RecordDeviceDirPolicy> const& policies) {
    IDiskManager* disk = m_pDiskManager.load();
    if (disk == nullptr) return;
    SafePointer<RecordDirWithoutIndexOperator> walker = getOperator();
    std::set<std::string> const recording = getRecordingFiles();
    long long freed = 0;
    for (RecordDeviceDirPolicy const& policy : policies) {
        // A cycling device is never cut by age, and no days means for ever.
        if (policy.isCycleWrite() || policy.getRecordSaveDays() <= 0) continue;
        OverdueRecordFileWithoutIndexDeleter* deleter = new OverdueRecordFileWithoutIndexDeleter(disk, recording);
        SafePointer<IRecordFileWithoutIndexHandler> handler(deleter);
        long long const deleteTime = now() - policy.getRecordSaveDays() * kSecondsPerDay;
        if (deleteTime <= 0) continue;
        deleter->setDeleteTime(static_cast<unsigned long>(deleteTime));
        RecordDeviceInfo const& device = policy.getRecordDeviceInfo();
        walker->walk(handler, device.getDeviceId(), device.getDeviceIP(), device.getCameraId(), "0000-00-00",
                     BasicTool::getDateString(deleteTime));
        freed += deleter->getTotalDeleteFileLen();
    }
    if (freed > 0) updateRecordDirSpaceInfo(freed);
}

int RecordDirWithoutIndex::cleanSpace(long long target) {
    std::vector<RecordDeviceDirPolicy> policies;
    {
        OV_LOCK_GUARD(guard, m_mutex);
        policies = m_policies;
    }
    if (policies.empty()) return 0;
    deleteOverdueFiles(policies);
    if (target >= getSpaceRecord().getRecordFileSize()) return 1;
    EarliestFileInfoList list(kEarliestListSize);
    list.setRecordDirPolicyList(policies);
    if (collectEarliestFiles(policies, list) != 0) return 0;
    list.sort();
    SafePointer<RecordFileInfo> file;
    while (list.removeEaliestFileInfo(file)) {
        // The file a channel is writing can't go; the next oldest can.
        if (getRecordingFiles().count(file->createRecordFileName()) != 0) continue;
        if (removeFile(file) != 1) return 0;
        if (target >= getSpaceRecord().getRecordFileSize()) return 1;
    }
    return 1;
}

bool RecordDirWithoutIndex::clearRecordDir(std::string const& deviceDir) {
    return getOperator()->clearRecordDir(deviceDir);
}

void RecordDirWithoutIndex::setDirPolicyList(std::vector<RecordDeviceDirPolicy> const& policies) {
    OV_LOCK_GUARD(guard, m_mutex);
    m_policies = policies;
}

void RecordDirWithoutIndex::setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const& listener) {
    OV_LOCK_GUARD(guard, m_mutex);
    m_listener = listener;
}

void RecordDirWithoutIndex::getRecordDirStatus(RecordDirInfoEx& info) {
    info = getRecordDirInfoEx();
    RecordDirSpaceInfo const space = getSpaceRecord();
    info.setUseableSpace(space.getTotalSpace());
    info.setFreeSpace(space.getFreeSpace() < 0 ? 0 : space.getFreeSpace());
    // In MiB: byte counts overflow the int of the line.
    GlobalEnv::print("recordDif(%s) useableSpace=%d,freeSpace=%d\n", info.getRecordRootDir().c_str(),
                     static_cast<int>(info.getUseableSpace() / kMiB), static_cast<int>(info.getFreeSpace() / kMiB));
}

bool RecordDirWithoutIndex::isTimeToDeleteEmptyDir() const {
    if (m_nDetectCount % kEmptyDirRounds != 0) return false;
    OVDateTime local;
    OrvaneTime::getCurrentTime(local);
    return local.hour == 0 && local.minute >= 1 && local.minute <= 14;
}

void RecordDirWithoutIndex::touchoffDiskStatusListener(RecordDirInfoEx const& info, int errorCode) {
    GlobalEnv::print("RecordDirWithoutIndex::touchoffDiskStatusListener p_nErrorCode:%d \n", errorCode);
    SafePointer<IRecordServiceListenerManager> listener;
    {
        OV_LOCK_GUARD(guard, m_mutex);
        listener = m_listener;
    }
    if (listener.isNull()) return;
    AlarmInfoEx alarm;
    alarm.setMajorType(kFtpDiskAlarmMajorType);
    alarm.setMinorType(errorCode);
    alarm.setSourceName("FtpDisk");
    char sourceId[32];
    std::snprintf(sourceId, sizeof sourceId, "%d:%d", info.getGroupId(), info.getAttribute());
    alarm.setSourceId(sourceId);
    alarm.setAlarmTime(static_cast<unsigned long>(now()));
    listener->handleMessage(alarm);
    if (m_pBackupListener != nullptr) m_pBackupListener->onAlarm(alarm);
}

void RecordDirWithoutIndex::detectDirStatus() {
    RecordDirInfoEx info = getRecordDirInfoEx();
    int state = 0;
    int format = info.getFileSystemFormat();
    if (!DiskStateManager::getInstance()->getDiskStateInfo(info.getRecordRootDir(), state, format)) {
        m_bInit = false;
        return;
    }
    if (format != info.getFileSystemFormat()) {
        m_bInit = false;
        info.setFileSystemFormat(format);
        setRecordDirInfoEx(info);
    }
    if (state != DiskStateManager::kStateOk) {
        bool const wasInit = m_bInit.exchange(false);
        info = getRecordDirInfoEx();
        int const previous = info.getStatus();
        info.setStatus(state);
        setRecordDirInfoEx(info);
        // Once per fall, not every round the disk stays away.
        if (wasInit || previous != state) touchoffDiskStatusListener(info, kAlarmDiskDown);
        return;
    }
    if (m_bInit) return;
    int done = 0;
    {
        std::unique_ptr<OVMutexManager> group;
        if (m_pGroupMutex != nullptr) group.reset(new OVMutexManager(m_pGroupMutex, __FILE__, __LINE__));
        done = init();
    }
    if (done == 0) return;
    info = getRecordDirInfoEx();
    info.setStatus(state);
    setRecordDirInfoEx(info);
    touchoffDiskStatusListener(info, kAlarmDiskUp);
}

int RecordDirWithoutIndex::detectDirStatusThread() {
    try {
        detectDirStatus();
        if (!m_bInit) {
            m_pStatusThread->setPalpitationTime(kNotReadyRoundMs);
            return 1;
        }
        if (m_bStopFlag) return 0;
        if (isTimeToDetectDirSpace()) {
            initDiskSpaceInfo();
        } else if (!hasFreeSpace()) {
            cleanSpace(getCleanTarget());
        }
        if (isTimeToDeleteEmptyDir()) getOperator()->deleteEmptyDir();
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
    }
    ++m_nDetectCount;
    m_pStatusThread->setPalpitationTime(kReadyRoundMs);
    return 1;
}

int RecordDirWithoutIndex::startDetectionThread() {
    m_bStopFlag = false;
    if (m_pStatusThread->isRunning()) return 1;
    m_nDetectCount = 0;
    m_pStatusThread->start();
    writeLog("startDetectionThread", __LINE__);
    return 1;
}

void RecordDirWithoutIndex::stopDetectionThread() {
    m_bStopFlag = true;
    m_bInit = false;
    m_pStatusThread->stop();
    m_nDetectCount = 0;
}

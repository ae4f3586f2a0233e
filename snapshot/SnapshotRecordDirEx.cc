#include "snapshot/SnapshotRecordDirEx.h"

#include <cstdio>

#include "directory/EarliestFileInfoList.h"
#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "foundation/OVRuntimeError.h"
#include "foundation/ReturnCode.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"
#include "host/OVThread.h"
#include "snapshot/SnapshotFileChecker.h"

namespace NS_SnapshotRecordDirEx {
constexpr int kEarliestListSize = 10;
constexpr int kRoundMs = 2000;
RecordDirInfoEx withFileSize(RecordDirInfoEx info, long long poolFileSize);
}  // namespace NS_SnapshotRecordDirEx

RecordDirInfoEx NS_SnapshotRecordDirEx::withFileSize(RecordDirInfoEx info, long long poolFileSize) {
    if (poolFileSize > 0) info.setFileSegmentSize(poolFileSize);
    if (info.getFileSegmentSize() <= 0) info.setFileSegmentSize(SnapshotUseableFileDir::kDefaultFileSize);
    return info;
}

SnapshotRecordDirEx::SnapshotRecordDirEx(RecordDirInfoEx const& given, int, std::string const&, int,
                                         long long poolFileSize)
    : SnapshotRecordDirEx(NS_SnapshotRecordDirEx::withFileSize(given, poolFileSize)) {}

SnapshotRecordDirEx::SnapshotRecordDirEx(RecordDirInfoEx const& info)
    : IRecordDir(info),
      m_operator(new SnapshotDirOperatorEx(info)),
      m_pool(new SnapshotUseableFileDir(info.getRecordRootDir(), info.getDiskType(), info.getFileSegmentSize())),
      m_nPoolFileSize(info.getFileSegmentSize()),
      m_pThread(new OVThread(bind_funcobj0(this, &SnapshotRecordDirEx::detectDirStatusThread),
                             "SnapshotRecordDirEx(" + info.getRecordRootDir() + ") statusDetectThread")),
      m_speed(info.getRecordRootDir()) {
    m_operator->setUseableFileDir(m_pool);
    m_pThread->setPalpitationTime(NS_SnapshotRecordDirEx::kRoundMs);
}

SnapshotRecordDirEx::~SnapshotRecordDirEx() { stopDetectionThread(); }

bool SnapshotRecordDirEx::initDiskSpaceInfo() {
    RecordDirInfoEx info = getRecordDirInfoEx();
    IDiskManager* disk = DiskManagerFactory::getDiskManager(info.getDiskType(), info.getFileSystemFormat());
    long long total = 0;
    long long used = 0;
    if (disk == nullptr || disk->getDiskSpace(info.getRecordRootDir().c_str(), total, used) != 0) return false;
    info.setFreeSpace((total - used) << 20);
    setRecordDirInfoEx(info);
    return true;
}

int SnapshotRecordDirEx::initDirs() { return m_pool->init(getRecordDirInfoEx().getFileSystemFormat()); }

int SnapshotRecordDirEx::init() {
    OV_LOCK_GUARD(guard, m_initMutex);
    if (m_bInit) return 1;
    RecordDirInfoEx const info = getRecordDirInfoEx();
    char text[512];
    if (!initDiskSpaceInfo()) {
        std::snprintf(text, sizeof text, "initDiskSpaceInfo(%s) failed.", info.getRecordRootDir().c_str());
        writeLog(text, __LINE__);
        return 0;
    }
    IDiskManager* disk = DiskManagerFactory::getDiskManager(info.getDiskType(), info.getFileSystemFormat());
    std::string const snapshot = info.getRecordRootDir() + BasicTool::kSeparator + BasicTool::kSnapshotDirName;
    if (disk == nullptr || disk->createDir(snapshot.c_str()) == 0) {
        std::snprintf(text, sizeof text, "create Dir(%s) failed.", snapshot.c_str());
        writeLog(text, __LINE__);
        return 0;
    }
    if (initDirs() == 0) {
        writeLog("initDirs failed", __LINE__);
        return 0;
    }
    m_bInit = true;
    return 1;
}

bool SnapshotRecordDirEx::hasFreeSpace() {
    if (!m_bInit) return false;
    if (m_pool->getFileNumber() > 0) return true;
    // The limit counts files: a test's small pool files keep it at 5.
    if (m_nCreatedFileCount * SnapshotUseableFileDir::kDefaultFileSize >= kCreateLimitBytes) return false;
    if (m_pool->createEmptyFile() == 1) ++m_nCreatedFileCount;
    return true;
}

int SnapshotRecordDirEx::getRecordDirSpaceInfo(RecordDirSpaceInfo& info) {
    return m_operator->getRecordDirSpaceInfo(info);
}

int SnapshotRecordDirEx::createFile(SafePointer<RecordFileInfo>& file) {
    if (!m_bInit) return OV_RECORD_DIR_NOT_WRITABLE;
    bool const newFile = m_requests.isRequestNewFile(file->getRecordDeviceInfo());
    bool needFile = false;
    if (m_operator->createFileIndex(file, newFile, needFile) != 0) {
        GlobalEnv::print("SnapshotRecordDirEx::createFile() createFileIndex Failed");
        return OV_RECORD_CREATE_INDEX_FAILED;
    }
    if (needFile && m_pool->createFile(SnapshotDirOperatorEx::getSnapshotFilePath(*file)) == 0) {
        GlobalEnv::print("SnapshotRecordDirEx::createFile() : createFile Failed");
        // An entry without its data file would stand among the oldest and
        // answer every read of its pictures with a missing file.
        m_operator->deleteFileIndex(*file);
        return OV_RECORD_CREATE_FILE_FAILED;
    }
    return 0;
}

int SnapshotRecordDirEx::getEarliestFileList(std::vector<RecordDeviceDirPolicy> const& policies,
                                             EarliestFileInfoList& list, bool bIncludeLocked, int nCount) {
    if (!m_bInit) return -1;
    return m_operator->getEarliestFileList(list, policies, bIncludeLocked, nCount);
}

int SnapshotRecordDirEx::getEarliestDateList(std::vector<RecordDeviceDirPolicy> const& policies,
                                             std::set<std::string>& dates) {
    if (!m_bInit) return 0;
    return m_operator->getEarliestDateList(policies, dates);
}

int SnapshotRecordDirEx::deleteEarliestDateFile(std::vector<RecordDeviceDirPolicy> const& policies,
                                                std::string const& date, int n) {
    if (!m_bInit || n <= 0) return 0;
    EarliestFileInfoList list(n);
    list.setRecordDirPolicyList(policies);
    if (m_operator->getEarliestFileList(list, policies, false, n, date) != 0) return 0;
    list.sort();
    int moved = 0;
    for (SafePointer<RecordFileInfo> const& file : list.getFileInfoList()) moved += deleteFile(file);
    return moved;
}

int SnapshotRecordDirEx::deleteEarliestFile(std::vector<RecordDeviceDirPolicy> const& policies) {
    setDirPolicyList(policies);
    return cleanSpace(1) == 1 ? 0 : -1;
}

// The file moves first: a power cut between the two leaves an entry whose
// file is gone, which the next pass removes, never a data file that no
// entry names and no pool holds.
int SnapshotRecordDirEx::deleteFile(SafePointer<RecordFileInfo> const& file) {
    if (!m_bInit || file.isNull()) return 0;
    RecordFileInfo info = *file;
    info.setRecordDirInfoEx(getRecordDirInfoEx());
    if (!m_pool->deleteFile(SnapshotDirOperatorEx::getSnapshotFilePath(info))) return 0;
    m_operator->deleteFileIndex(info);
    return 1;
}

bool SnapshotRecordDirEx::deleteFileWithOutRecycle(SafePointer<RecordFileInfo> const& file) {
    RecordFileInfo info = *file;
    info.setRecordDirInfoEx(getRecordDirInfoEx());
    IDiskManager* disk = DiskManagerFactory::getDiskManager(info.getRecordDirInfoEx().getDiskType(),
                                                            info.getRecordDirInfoEx().getFileSystemFormat());
    if (disk == nullptr) return false;
    std::string const path = SnapshotDirOperatorEx::getSnapshotFilePath(info);
    bool const deleted = disk->isFileExist(path.c_str()) == 1 && disk->deleteFile(path.c_str());
    if (deleted || disk->isFileExist(path.c_str()) != 1) m_operator->deleteFileIndex(info);
    return deleted;
}

int SnapshotRecordDirEx::cleanSpace(int n) {
    if (!m_bInit || n <= 0) return 0;
    int const pooled = m_pool->cleanSpace(n);
    m_nCreatedFileCount -= pooled;
    int owed = n - pooled;
    while (owed > 0) {
        EarliestFileInfoList list(NS_SnapshotRecordDirEx::kEarliestListSize);
        std::vector<RecordDeviceDirPolicy> const policies = copyPolicies();
        list.setRecordDirPolicyList(policies);
        if (m_operator->getEarliestFileList(list, policies, false, NS_SnapshotRecordDirEx::kEarliestListSize) != 0)
            break;
        list.sort();
        std::vector<SafePointer<RecordFileInfo>> const files = list.getFileInfoList();
        if (files.empty()) break;
        bool failed = false;
        for (SafePointer<RecordFileInfo> const& file : files) {
            if (!deleteFileWithOutRecycle(file)) {
                failed = true;
                break;
            }
            --m_nCreatedFileCount;
            if (--owed == 0) break;
        }
        if (failed) break;
    }
    return n - owed;
}

int SnapshotRecordDirEx::deleteOutDateFile(std::vector<RecordDeviceDirPolicy> const& policies) {
    if (!m_bInit) return 0;
    return m_operator->deleteOutDateFile(policies, m_pool);
}

void SnapshotRecordDirEx::setDirPolicyList(std::vector<RecordDeviceDirPolicy> const& policies) {
    OV_LOCK_GUARD(guard, m_policyMutex);
    m_policies = policies;
}

std::vector<RecordDeviceDirPolicy> SnapshotRecordDirEx::copyPolicies() {
    OV_LOCK_GUARD(guard, m_policyMutex);
    return m_policies;
}

int SnapshotRecordDirEx::getDirFileNumber(int& total, int& free) {
    free = m_bInit ? m_pool->getFileNumber() : 0;
    total = (m_bInit ? m_operator->getTotalFileNumber() : 0) + free;
    return 0;
}

bool SnapshotRecordDirEx::parseImageInfo(std::string const& name, std::string& deviceDir, std::string& date,
                                         long long& time) {
    SnapshotFileChecker checker;
    if (!checker.checkFileName(name.c_str())) return false;
    long long const ms = checker.getBeginTimeMs();
    if (ms < 0) return false;
    deviceDir = BasicTool::getDeviceDirString(checker.getDeviceID(), checker.getDeviceIP(), checker.getCameraID());
    date = BasicTool::getDateString(ms / 1000);
    time = ms;
    return true;
}

int SnapshotRecordDirEx::startDetectionThread() { return m_pThread->start() ? 1 : 0; }

void SnapshotRecordDirEx::stopDetectionThread() { m_pThread->stop(); }

void SnapshotRecordDirEx::detectDirSpace() {
    if (!initDiskSpaceInfo()) writeLog("detectDirSpace failed", __LINE__);
}

int SnapshotRecordDirEx::detectDirStatusThread() {
    try {
        if (!m_bInit) init();
        if (isTimeToDetectDirSpace()) detectDirSpace();
        ++m_nDetectCount;
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
    }
    return 1;
}

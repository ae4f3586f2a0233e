#include "directory/NasEmptyDirManager.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "directory/EmptyDirManager.h"
#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"

namespace NS_NasEmptyDirManager {

constexpr int kNasDiskType = 4;
constexpr long long kMinReserve = NasEmptyDirManager::kGiB;
constexpr long long kMaxReserve = 100 * NasEmptyDirManager::kGiB;
constexpr unsigned int kLogLimit = 51200;
constexpr unsigned int kLogFiles = 2;
constexpr unsigned int kLogLevel = 3;

// Last log states: one line per state until another state is logged.
enum LogState {
    kCountFailed = 1,
    kAboveMaxEmpty = 2,
    kTotalFailed = 3,
    kTotalAtMax = 4,
    kDiskFull = 5,
    kFillFailed = 6,
    kAllocated = 7,
};

}  // namespace NS_NasEmptyDirManager

using namespace NS_NasEmptyDirManager;

NasEmptyDirManager::NasEmptyDirManager(long long fileSize, int diskType, std::string const& recordPath,
                                       std::string const& deviceId)
    : m_nFileSize(fileSize),
      m_strEmptyPath(recordPath + BasicTool::kSeparator + BasicTool::kEmptyDirName),
      // Not a pool name (no number after "_"), and one per recorder: two
      // recorders fill side by side in the same folder.
      m_strFillingPath(m_strEmptyPath + BasicTool::kSeparator + "filling_" + deviceId),
      m_strDeviceId(deviceId),
      m_nDiskType(diskType) {}

// One logger for the file whoever writes it: two rotating writers of one
// file would rotate it under each other.
void NasEmptyDirManager::writeLog(char const* text, int line) {
    Logger::writeFileLog("naslog.log", "NasEmptyDir", text, kLogLimit, kLogFiles, __FILE__, line, kLogLevel);
}

void NasEmptyDirManager::logOnce(int state, char const* text, int line) {
    if (m_nLastLogState.exchange(state) == state) return;
    writeLog(text, line);
}

std::string NasEmptyDirManager::createEmptyFileName(int id) const {
    char number[16];
    std::snprintf(number, sizeof number, "%05d", id);
    return m_strDeviceId + "_" + number;
}

int NasEmptyDirManager::init(int fileSystemFormat) {
    m_bReady = false;
    m_bStopFlag = false;
    m_pDiskManager = DiskManagerFactory::getDiskManager(m_nDiskType, fileSystemFormat);
    IDiskManager* disk = diskManager();
    if (disk == nullptr) return 0;
    if (disk->isDirExist(m_strEmptyPath.c_str()) == 0 && disk->createDir(m_strEmptyPath.c_str()) == 0) return 0;
    disk->deleteFile(m_strFillingPath.c_str());
    std::vector<std::string> names;
    if (disk->getFileList(m_strEmptyPath.c_str(), names, (m_strDeviceId + "_*").c_str(), 0) < 0) return 0;
    OV_LOCK_GUARD(guard, m_mutex);
    m_files.clear();
    for (std::string const& name : names) {
        std::string prefix;
        int id = 0;
        if (EmptyDirManager::splitDevice(name, prefix, id) && prefix == m_strDeviceId) m_files.insert(id);
    }
    m_bReady = true;
    return 1;
}

long long NasEmptyDirManager::getDiskReserve(int diskType, long long totalBytes, long long fileSize) {
    if (diskType != kNasDiskType) return 3 * fileSize;
    return std::min(kMaxReserve, std::max(kMinReserve, totalBytes / 100));
}

int NasEmptyDirManager::isDiskSpaceFull() {
    IDiskManager* disk = diskManager();
    long long totalMiB = 0;
    long long usedMiB = 0;
    if (disk == nullptr || disk->getDiskSpace(m_strEmptyPath.c_str(), totalMiB, usedMiB) != 0) return 0;
    long long const total = totalMiB << 20;
    long long const free = (totalMiB - usedMiB) << 20;
    if (free > getDiskReserve(m_nDiskType, total, m_nFileSize)) {
        int full = kDiskFull;
        m_nLastLogState.compare_exchange_strong(full, 0);  // a later full disk is logged again
        return 1;
    }
    char text[128];
    std::snprintf(text, sizeof text, "disk is full TotalDiskSpace(%d)MB DiskFreeSpace(%d) MB",
                  static_cast<int>(totalMiB), static_cast<int>(totalMiB - usedMiB));
    logOnce(kDiskFull, text, __LINE__);
    return 0;
}

int NasEmptyDirManager::getEmptyFileNumberByDeviceId() {
    if (!m_bReady) return -1;
    OV_LOCK_GUARD(guard, m_mutex);
    return static_cast<int>(m_files.size());
}

bool NasEmptyDirManager::hasFreeSpace() {
    if (!m_bReady) return false;
    OV_LOCK_GUARD(guard, m_mutex);
    return m_files.size() > 1;
}

int NasEmptyDirManager::getMaxFileId() {
    OV_LOCK_GUARD(guard, m_mutex);
    return m_files.empty() ? 0 : *m_files.rbegin();
}

int NasEmptyDirManager::getTotalFileNumber() {
    if (!m_bReady) return -1;
    if (m_totalCounter) return m_totalCounter();
    return getEmptyFileNumberByDeviceId();
}

int NasEmptyDirManager::allocRecordSpace() {
    char text[128];
    unsigned int const maxEmpty = getMaxEmptyFileNumber();
    int const count = getEmptyFileNumberByDeviceId();
    if (count < 0) {
        logOnce(kCountFailed, "allocRecordSpace get EmptyFileNumber failed", __LINE__);
        return 0;
    }
    if (static_cast<unsigned int>(count) >= maxEmpty) {
        std::snprintf(text, sizeof text, "emptyFileNumber(%d) is above maxEmptyFileNumber(%u)", count, maxEmpty);
        logOnce(kAboveMaxEmpty, text, __LINE__);
        return 0;
    }
    int const total = getTotalFileNumber();
    if (total < 0) {
        logOnce(kTotalFailed, "allocRecordSpace getTotalFileNumber failed", __LINE__);
        return 0;
    }
    int const limit = getMaxFileNumber() - m_nKeptForOthers.load();
    int made = 0;
    while (static_cast<unsigned int>(count + made) < maxEmpty && !m_bStopFlag) {
        if (total + made >= limit) {
            std::snprintf(text, sizeof text, "TotalNumb(%d) MaxFileNum(%d)", total + made, limit);
            logOnce(kTotalAtMax, text, __LINE__);
            break;
        }
        // Asked before every file: the other recorders fill the share too.
        if (isDiskSpaceFull() == 0) break;
        int const id = getMaxFileId() + 1;
        if (!fillEmptyFile(id)) {
            std::snprintf(text, sizeof text, "fillEmptyFile %d failed", id);
            logOnce(kFillFailed, text, __LINE__);
            break;
        }
        ++made;
    }
    if (made > 0) logOnce(kAllocated, "NasEmptyManager allocate file successfully!", __LINE__);
    return made;
}

// Made under a name no pool reads, renamed once whole, and the rename made
// durable before the number counts: a power cut leaves at most the filling
// file, which init deletes.
bool NasEmptyDirManager::fillEmptyFile(int id) {
    IDiskManager* disk = diskManager();
    if (disk == nullptr) return false;
    std::string const path = m_strEmptyPath + BasicTool::kSeparator + createEmptyFileName(id);
    if (disk->createSizedFile(m_strFillingPath.c_str(), m_nFileSize, 0) != 0 ||
        disk->renameFile(m_strFillingPath.c_str(), path.c_str()) == 0) {
        disk->deleteFile(m_strFillingPath.c_str());
        return false;
    }
    if (!disk->syncDir(m_strEmptyPath.c_str())) return false;
    OV_LOCK_GUARD(guard, m_mutex);
    m_files.insert(id);
    return true;
}

int NasEmptyDirManager::deleteOtherEmptyFile(int count) {
    IDiskManager* disk = diskManager();
    if (!m_bReady || disk == nullptr) return 0;
    writeLog("NasEmptyDirManager::deleteOtherEmptyFile begin ", __LINE__);
    int deleted = 0;
    OV_LOCK_GUARD(guard, m_mutex);
    while (deleted < count && m_files.size() > 1) {
        int const id = *m_files.begin();
        std::string const path = m_strEmptyPath + BasicTool::kSeparator + createEmptyFileName(id);
        bool const done = disk->deleteFile(path.c_str());
        GlobalEnv::print("delete %s %d \n", path.c_str(), done ? 1 : 0);
        if (!done) break;
        m_files.erase(m_files.begin());
        ++deleted;
    }
    return deleted;
}

int NasEmptyDirManager::createFileEx(SafePointer<RecordFileInfo>& file) {
    IDiskManager* disk = diskManager();
    if (file.isNull() || !m_bReady || disk == nullptr) return 0;
    OV_LOCK_GUARD(guard, m_mutex);
    while (m_files.size() > 1 && !m_bStopFlag) {
        int const id = *m_files.begin();
        m_files.erase(m_files.begin());
        file->setFileNumber(id);
        file->setRecordFileName(file->createFileName());
        std::string const target = file->createRecordFileName();
        std::string const source = m_strEmptyPath + BasicTool::kSeparator + createEmptyFileName(id);
        if (BasicTool::moveFileDurably(disk, source, target)) return 1;
        // Forgotten until the next init reads the folder again.
        char text[1100];
        std::snprintf(text, sizeof text, "NasEmptyDirManager::createFile %s getValidEmptyFileList failed\n",
                      source.c_str());
        writeLog(text, __LINE__);
    }
    char text[96];
    std::snprintf(text, sizeof text, "NasEmptyDirManager::createFile end failed   size:%d \n",
                  static_cast<int>(m_files.size()));
    GlobalEnv::print("%s", text);
    return 0;
}

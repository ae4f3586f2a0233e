#include "tests/support/FaultInjectingDiskManager.h"

#include <sys/stat.h>

#include <utility>
#include <vector>

namespace {
bool exists(char const* path) {
    struct stat info {};
    return path != nullptr && ::stat(path, &info) == 0;
}

std::string folderOf(std::string const& path) { return path.substr(0, path.find_last_of('/')); }
}  // namespace

// The real disk manager syncs every file and folder it makes into its parent;
// what such a sync makes durable (renames in that folder too) is noted.
FaultInjectingDiskManager::FaultInjectingDiskManager(std::shared_ptr<FaultPlan> plan)
    : m_pPlan(std::move(plan)) {}

int FaultInjectingDiskManager::getDiskSpace(char const* path, long long& totalMiB,
                                            long long& usedMiB) {
    if (m_pPlan->isVanished()) return -1;
    int result = m_pPlan->getReportedSpace(totalMiB, usedMiB) ? 0 : m_real.getDiskSpace(path, totalMiB, usedMiB);
    if (result == 0 && m_pPlan->isDiskFull()) usedMiB = totalMiB;
    return result;
}

int FaultInjectingDiskManager::getFileList(char const* dir, std::vector<std::string>& list,
                                           char const* filter, int limit) {
    if (m_pPlan->isVanished()) return -1;
    return m_real.getFileList(dir, list, filter, limit);
}

int FaultInjectingDiskManager::scanFiles(char const* dir, IFileScanAction* action,
                                         char const* pattern) {
    if (m_pPlan->isVanished()) return -1;
    return m_real.scanFiles(dir, action, pattern);
}

int FaultInjectingDiskManager::getDirList(char const* dir, std::vector<std::string>& list) {
    if (m_pPlan->isVanished()) return -1;
    return m_real.getDirList(dir, list);
}

int FaultInjectingDiskManager::renameFile(char const* from, char const* to) {
    if (m_pPlan->diskOpFails("rename")) return 0;
    int result = m_real.renameFile(from, to);
    if (result != 0) m_pPlan->noteRenamed(from, to);
    return result;
}

bool FaultInjectingDiskManager::deleteFile(char const* path) {
    if (m_pPlan->isVanished() || m_pPlan->deleteFails()) return false;
    return m_real.deleteFile(path);
}

int FaultInjectingDiskManager::createEmptyFile(char const* path) {
    if (m_pPlan->diskOpFails("createEmptyFile")) return 0;
    int result = m_real.createEmptyFile(path);
    if (result != 0) m_pPlan->noteFolderSynced(folderOf(path));
    return result;
}

int FaultInjectingDiskManager::removeDir(char const* path) {
    if (m_pPlan->isVanished()) return 0;
    return m_real.removeDir(path);
}

int FaultInjectingDiskManager::createDir(char const* path) {
    if (m_pPlan->diskOpFails("createDir")) return 0;
    std::vector<std::string> made;  // each level mkdir -p makes, and syncs into its parent
    for (std::string level = path == nullptr ? "" : path; !level.empty() && !exists(level.c_str());) {
        made.push_back(level);
        size_t slash = level.find_last_of('/');
        level = slash == std::string::npos || slash == 0 ? "" : level.substr(0, slash);
    }
    int result = m_real.createDir(path);
    if (result != 0)
        for (std::string const& level : made) m_pPlan->noteFolderSynced(folderOf(level));
    return result;
}

int FaultInjectingDiskManager::isFileExist(char const* path) {
    if (m_pPlan->isVanished()) return 0;
    return m_real.isFileExist(path);
}

int FaultInjectingDiskManager::createSizedFile(char const* path, long long size, int flag) {
    if (m_pPlan->diskOpFails("createSizedFile") || m_pPlan->isDiskFull()) return -1;
    long long fits = m_pPlan->takeSpace(size);
    if (fits < size) {
        if (m_real.createSizedFile(path, fits, flag) == 0 && (flag & kDeferSync) == 0)
            m_pPlan->noteFolderSynced(folderOf(path));
        return -1;
    }
    int result = m_real.createSizedFile(path, size, flag);
    if (result != 0) return result;
    if ((flag & kDeferSync) == 0) {
        m_pPlan->noteFolderSynced(folderOf(path));
    } else {
        auto lock = m_pPlan->lockShadows();
        FaultPlan::FileKey key;
        if (m_pPlan->noteOpened(path, key)) m_pPlan->noteNothingDurable(key);
    }
    return 0;
}

int FaultInjectingDiskManager::isDirExist(char const* path) {
    if (m_pPlan->isVanished()) return 0;
    return m_real.isDirExist(path);
}

int FaultInjectingDiskManager::createFilledFile(char const* path, long long size,
                                                unsigned char fill) {
    if (m_pPlan->diskOpFails("createFilledFile") || m_pPlan->isDiskFull()) return -1;
    long long fits = m_pPlan->takeSpace(size);
    if (fits < size) {
        if (m_real.createFilledFile(path, fits, fill) == 0) m_pPlan->noteFolderSynced(folderOf(path));
        return -1;
    }
    int result = m_real.createFilledFile(path, size, fill);
    if (result == 0) m_pPlan->noteFolderSynced(folderOf(path));
    return result;
}

bool FaultInjectingDiskManager::syncFile(char const* path) {
    if (m_pPlan->isVanished() || m_pPlan->diskOpFails("syncFile") || !m_real.syncFile(path)) return false;
    auto lock = m_pPlan->lockShadows();
    FaultPlan::FileKey key;
    if (m_pPlan->noteOpened(path, key)) m_pPlan->noteFlushed(key);
    return true;
}

bool FaultInjectingDiskManager::syncDir(char const* path) {
    if (m_pPlan->isVanished() || m_pPlan->diskOpFails("syncDir")) return false;
    bool synced = m_real.syncDir(path);
    if (synced) m_pPlan->noteFolderSynced(path);
    return synced;
}

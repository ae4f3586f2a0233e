#include "disk/RecordOtherStoragePolicy.h"

#include <algorithm>
#include <cstdio>

#include "foundation/EncoderType.h"
#include "foundation/OVMutexManager.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"

namespace NS_RecordOtherStoragePolicy {
constexpr int kSharedFolderRecordType = 2;
constexpr int kDualRecordMode = 2;

}  // namespace NS_RecordOtherStoragePolicy

RecordOtherStoragePolicy::RecordOtherStoragePolicy(int recordType)
    : m_collector(recordType == NS_RecordOtherStoragePolicy::kSharedFolderRecordType ? 1000 : 10,
                  recordType == NS_RecordOtherStoragePolicy::kSharedFolderRecordType ? 100 : 5) {}

void RecordOtherStoragePolicy::insertRecordDir(SafePointer<IRecordDir> const& dir) {
    if (dir.isNull()) return;
    m_collector.addRecordDir(dir);
    OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
    if (std::find(m_dirs.begin(), m_dirs.end(), dir) == m_dirs.end()) m_dirs.push_back(dir);
}

void RecordOtherStoragePolicy::deleteRecordDir(SafePointer<IRecordDir> const& dir) {
    if (dir.isNull()) return;
    m_collector.removeRecordDir(dir->getRecordDirInfoEx().getRecordRootDir());
    OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
    m_dirs.erase(std::remove(m_dirs.begin(), m_dirs.end(), dir), m_dirs.end());
}

void RecordOtherStoragePolicy::updateRecordDeviceDirPolicy(std::vector<RecordDeviceDirPolicy> const& policies) {
    m_policies.set(policies);
}

std::vector<SafePointer<IRecordDir>> RecordOtherStoragePolicy::copyDirs() {
    OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
    return m_dirs;
}

void RecordOtherStoragePolicy::getDirListInCondition(int condition, std::vector<SafePointer<IRecordDir>>& out) {
    OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
    if (m_nRecordMode == NS_RecordOtherStoragePolicy::kDualRecordMode) {
        out = m_dirs;
        return;
    }
    for (SafePointer<IRecordDir> const& dir : m_dirs) {
        RecordDirInfoEx info = dir->getRecordDirInfoEx();
        if (dir->isIOError()) {
            char text[512];
            std::snprintf(text, sizeof(text), "RecordDirGroup::getDirListInCondition %s is I/O error\n",
                          info.getRecordRootDir().c_str());
            GlobalEnv::print("%s", text);
            continue;
        }
        if ((info.getAttribute() == kDedicatedDirAttribute) == (condition == 1)) out.push_back(dir);
    }
}

bool RecordOtherStoragePolicy::getFreeRecordDir(std::vector<SafePointer<IRecordDir>> const& list,
                                                SafePointer<IRecordDir>& dir) {
    int size = static_cast<int>(list.size());
    if (size == 0) return false;
    int start = (m_nRotation + 1) % size;
    for (int i = 0; i <= size; ++i) {
        int at = (start + i) % size;
        SafePointer<IRecordDir> const& candidate = list[static_cast<size_t>(at)];
        if (!candidate->isWritable() || !candidate->hasFreeSpace() || candidate->getWriteSpeed() >= kBusyWriteSpeed)
            continue;
        dir = candidate;
        m_nRotation = at;
        return true;
    }
    return false;
}

int RecordOtherStoragePolicy::getUsableDir(SafePointer<RecordFileInfo> file, int condition,
                                           SafePointer<IRecordDir>& dir) {
    std::vector<SafePointer<IRecordDir>> list;
    getDirListInCondition(condition, list);
    if (list.empty()) return -768;
    if (!getFreeRecordDir(list, dir)) {
        if (!m_policies.isCycleWrite(*file)) {
            GlobalEnv::print("%s", "RecordDirGroup::getUsableDir is not cycle write");
            return -756;
        }
        if (!getUsableDirAfterClean(list, dir)) {
            GlobalEnv::print("%s", "RecordDirGroup::getUsableDir clean after failed ");
            return -756;
        }
    }
    file->setRecordDirInfoEx(dir->getRecordDirInfoEx());
    return 0;
}

bool RecordOtherStoragePolicy::getUsableDirAfterClean(std::vector<SafePointer<IRecordDir>> const& list,
                                                      SafePointer<IRecordDir>& dir) {
    std::vector<std::string> roots;
    for (SafePointer<IRecordDir> const& candidate : list) {
        RecordDirInfoEx info = candidate->getRecordDirInfoEx();
        if (info.getDiskType() != DiskKind::kNas && candidate->isWritable() &&
            candidate->getWriteSpeed() <= kBusyWriteSpeed)
            roots.push_back(info.getRecordRootDir());
    }
    if (roots.empty()) return clearEarliestFile(dir);
    if (cleanSpace(roots, dir)) return true;
    scanEarliestFile();
    if (cleanSpace(roots, dir)) return true;
    Logger::writeLog("cleanSpace", "cleanspace failed.", __FILE__, __LINE__);
    return clearEarliestFile(dir);
}

SafePointer<IRecordDir> RecordOtherStoragePolicy::findRecordDir(std::string const& rootDir) {
    OVMutexManager guard(&m_dirMutex, __FILE__, __LINE__);
    for (SafePointer<IRecordDir> const& dir : m_dirs)
        if (dir->getRecordDirInfoEx().getRecordRootDir() == rootDir) return dir;
    return SafePointer<IRecordDir>();
}

bool RecordOtherStoragePolicy::cleanSpace(std::vector<std::string> const& rootDirs, SafePointer<IRecordDir>& dir) {
    SafePointer<RecordFileInfo> file;
    while (m_collector.getEarliestFileInfo(rootDirs, file, true)) {
        SafePointer<IRecordDir> owner = findRecordDir(file->getRecordDirInfoEx().getRecordRootDir());
        // A locked file is offered only when nothing else is left: that is
        // where reclaiming stops.
        if (file->getLockFlag()) return false;
        if (owner.isNull() || owner->deleteFile(file) != 1 || !owner->hasFreeSpace()) continue;
        dir = owner;
        return true;
    }
    return false;
}

bool RecordOtherStoragePolicy::clearEarliestFile(SafePointer<IRecordDir>& dir) {
    std::vector<RecordDeviceDirPolicy> policies = m_policies.copy();
    for (SafePointer<IRecordDir> const& candidate : copyDirs()) {
        if (candidate->getRecordDirInfoEx().getDiskType() != DiskKind::kNas) continue;
        if (candidate->deleteEarliestFile(policies) != 0) continue;
        dir = candidate;
        return true;
    }
    return false;
}

int RecordOtherStoragePolicy::clearEarliestFile() {
    m_collector.clearAll();
    for (SafePointer<IRecordDir> const& dir : copyDirs()) m_collector.addRecordDir(dir);
    return 0;
}

void RecordOtherStoragePolicy::scanEarliestFile() {
    std::vector<RecordDeviceDirPolicy> const cycling = m_policies.copy(true);
    if (cycling.empty()) return;
    m_collector.scanEarliestFile(cycling, false);
}

int RecordOtherStoragePolicy::deleteEarliestDateFile() {
    scanEarliestFile();
    return 0;
}

int RecordOtherStoragePolicy::deleteOutDateFile() {
    std::vector<RecordDeviceDirPolicy> const keepByDays = m_policies.copy(false);
    if (keepByDays.empty()) return 0;
    for (SafePointer<IRecordDir> const& dir : copyDirs()) dir->deleteOutDateFile(keepByDays);
    return 1;
}

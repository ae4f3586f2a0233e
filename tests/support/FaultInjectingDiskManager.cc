#include "tests/support/FaultInjectingDiskManager.h"

#include <utility>

FaultInjectingDiskManager::FaultInjectingDiskManager(std::shared_ptr<FaultPlan> plan)
    : m_pPlan(std::move(plan)) {}

int FaultInjectingDiskManager::getDiskSpace(char const* path, long long& totalMiB,
                                            long long& usedMiB) {
    if (m_pPlan->isVanished()) return -1;
    int result = m_real.getDiskSpace(path, totalMiB, usedMiB);
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
    return m_real.renameFile(from, to);
}

bool FaultInjectingDiskManager::deleteFile(char const* path) {
    if (m_pPlan->isVanished()) return false;
    return m_real.deleteFile(path);
}

int FaultInjectingDiskManager::createEmptyFile(char const* path) {
    if (m_pPlan->isVanished()) return 0;
    return m_real.createEmptyFile(path);
}

int FaultInjectingDiskManager::removeDir(char const* path) {
    if (m_pPlan->isVanished()) return 0;
    return m_real.removeDir(path);
}

int FaultInjectingDiskManager::createDir(char const* path) {
    if (m_pPlan->diskOpFails("createDir")) return 0;
    return m_real.createDir(path);
}

int FaultInjectingDiskManager::isFileExist(char const* path) {
    if (m_pPlan->isVanished()) return 0;
    return m_real.isFileExist(path);
}

int FaultInjectingDiskManager::createSizedFile(char const* path, long long size, int flag) {
    if (m_pPlan->diskOpFails("createSizedFile") || m_pPlan->isDiskFull()) return -1;
    return m_real.createSizedFile(path, size, flag);
}

int FaultInjectingDiskManager::isDirExist(char const* path) {
    if (m_pPlan->isVanished()) return 0;
    return m_real.isDirExist(path);
}

int FaultInjectingDiskManager::createFilledFile(char const* path, long long size,
                                                unsigned char fill) {
    if (m_pPlan->diskOpFails("createFilledFile") || m_pPlan->isDiskFull()) return -1;
    return m_real.createFilledFile(path, size, fill);
}

bool FaultInjectingDiskManager::syncDir(char const* path) {
    if (m_pPlan->isVanished() || m_pPlan->diskOpFails("syncDir")) return false;
    return m_real.syncDir(path);
}

#include "directory/EarliestFileCollector.h"

#include <cstdio>

#include "foundation/OVMutexManager.h"
#include "foundation/OVRuntimeError.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"
#include "host/PerformanceTest.h"

namespace NS_EarliestFileCollector {
constexpr int kWantedPerWalk = 10;
constexpr long long kSlowScan = 1000000;  // PerformanceTest units (microseconds)
}  // namespace NS_EarliestFileCollector

EarliestFileCollector::EarliestFileCollector(int nMaxFileCount, int nMinFileCount)
    : m_nMaxFileCount(nMaxFileCount), m_nMinFileCount(nMinFileCount) {}

bool EarliestFileCollector::isDirAlreadyExist(std::string const& rootDir) const {
    for (SafePointer<IRecordDir> const& dir : m_dirList) {
        if (dir->getRecordDirInfoEx().getRecordRootDir() == rootDir) return true;
    }
    return false;
}

bool EarliestFileCollector::addRecordDir(SafePointer<IRecordDir> const& dir) {
    if (dir.get() == nullptr) return false;
    std::string root = dir->getRecordDirInfoEx().getRecordRootDir();
    OV_LOCK_GUARD(guard, m_mapMutex);
    if (isDirAlreadyExist(root)) return false;
    m_dirList.push_back(dir);
    return true;
}

void EarliestFileCollector::removeRecordDir(std::string const& rootDir) {
    OV_LOCK_GUARD(guard, m_mapMutex);
    for (auto it = m_dirList.begin(); it != m_dirList.end(); ++it) {
        if ((*it)->getRecordDirInfoEx().getRecordRootDir() != rootDir) continue;
        m_dirList.erase(it);
        break;
    }
    m_listMap.erase(rootDir);
}

bool EarliestFileCollector::getEarliestFileInfoList(std::string const& rootDir,
                                                    SafePointer<EarliestFileInfoList>& list) {
    OV_LOCK_GUARD(guard, m_mapMutex);
    auto it = m_listMap.find(rootDir);
    if (it == m_listMap.end()) return false;
    list = it->second;
    return true;
}

void EarliestFileCollector::setEarliestFileInfoList(std::string const& rootDir,
                                                    SafePointer<EarliestFileInfoList> const& list) {
    OV_LOCK_GUARD(guard, m_mapMutex);
    m_listMap[rootDir] = list;
}

int EarliestFileCollector::getEarliestDateList(std::vector<RecordDeviceDirPolicy> const& policies,
                                               std::set<std::string>& dates) {
    std::vector<SafePointer<IRecordDir>> dirs;
    {
        OV_LOCK_GUARD(guard, m_mapMutex);
        dirs = m_dirList;
    }
    for (SafePointer<IRecordDir> const& dir : dirs) dir->getEarliestDateList(policies, dates);
    return 0;
}

int EarliestFileCollector::scanEarliestFile(std::vector<RecordDeviceDirPolicy> const& policies,
                                            bool bIncludeLocked) {
    {
        OV_LOCK_GUARD(guard, m_scanMutex);
        if (m_bScanning) return 0;
        m_bScanning = true;
    }
    // Cleared however the scan ends.
    struct ScanEnd {
        EarliestFileCollector& owner;
        ~ScanEnd() {
            OV_LOCK_GUARD(guard, owner.m_scanMutex);
            owner.m_bScanning = false;
        }
    } scanEnd{*this};
    PerformanceTest timer;
    std::vector<SafePointer<IRecordDir>> dirs;
    {
        OV_LOCK_GUARD(guard, m_mapMutex);
        dirs = m_dirList;
    }
    try {
        for (SafePointer<IRecordDir> const& dir : dirs) {
            std::string root = dir->getRecordDirInfoEx().getRecordRootDir();
            SafePointer<EarliestFileInfoList> held;
            if (getEarliestFileInfoList(root, held) && held->getFileCount() >= m_nMinFileCount) continue;
            SafePointer<EarliestFileInfoList> fresh(new EarliestFileInfoList(m_nMaxFileCount));
            fresh->setRecordDirPolicyList(policies);
            if (dir->getEarliestFileList(policies, *fresh, bIncludeLocked,
                                         NS_EarliestFileCollector::kWantedPerWalk) != 0) {
                continue;
            }
            if (fresh->getFileCount() == 0) continue;
            fresh->sort();
            setEarliestFileInfoList(root, fresh);
        }
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
    }
    timer.end();
    if (timer.getWasteTime() > NS_EarliestFileCollector::kSlowScan && GlobalEnv::getInstance()->getPrintFlag()) {
        std::printf("EarliestFileCollector::scanEarliestFile, wasteTime = %lf (ms) \n",
                    static_cast<double>(timer.getWasteTime()) / 1000.0);
    }
    return 1;
}

bool EarliestFileCollector::getEarliestFileInfo(std::vector<std::string> const& rootDirs,
                                                SafePointer<RecordFileInfo>& file, bool bRemove) {
    OV_LOCK_GUARD(guard, m_mapMutex);
    if (m_listMap.empty() || rootDirs.empty()) return false;
    SafePointer<EarliestFileInfoList> winner;
    SafePointer<RecordFileInfo> best;
    for (std::string const& root : rootDirs) {
        auto it = m_listMap.find(root);
        SafePointer<RecordFileInfo> candidate;
        if (it == m_listMap.end() || !it->second->getEaliestFileInfo(candidate)) continue;
        if (best.get() != nullptr && EarliestFileInfoList::compare(candidate, best) >= 0) continue;
        best = candidate;
        winner = it->second;
    }
    if (best.get() == nullptr) return false;
    if (bRemove) winner->removeEaliestFileInfo(best);
    file = best;
    return true;
}

void EarliestFileCollector::clearAll() {
    OV_LOCK_GUARD(guard, m_mapMutex);
    m_listMap.clear();
    m_dirList.clear();
}

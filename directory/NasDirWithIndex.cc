#include "directory/NasDirWithIndex.h"

#include <algorithm>
#include <cstdio>

#include "directory/EarliestFileInfoList.h"
#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "foundation/OVRuntimeError.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"

namespace NS_NasDirWithIndex {

// A file of the oldest recordings that is being written is passed over;
// a few more are asked for so that one of them can go.
constexpr int kEarliestFiles = 4;

}  // namespace NS_NasDirWithIndex

NasDirWithIndex::NasDirWithIndex(RecordDirInfoEx const& info, int groupValue, std::string const& deviceId,
                                 int recordType)
    : HDDirWithIndex(info, groupValue, deviceId, recordType),
      m_nasPool(new NasEmptyDirManager(info.getFileSegmentSize(), info.getDiskType(), m_strRecordPath, deviceId)),
      m_statDir(new RecordStatDir(info.getRecordRootDir())) {
    m_pszPrintName = "NasDirWithIndex";
    m_nasPool->setTotalFileCounter([this]() { return countShareFiles(); });
}

// The base's destructor would stop its own part only: the stat files of
// this recorder must go while the share is still reachable.
NasDirWithIndex::~NasDirWithIndex() { stopDetectionThread(); }

int NasDirWithIndex::initDirs(int fileSystemFormat) {
    if (HDDirWithIndex::initDirs(fileSystemFormat) == 0) {
        char text[1100];
        std::snprintf(text, sizeof text, "initDirs RootDir: %s initDirs failed",
                      getRecordDirInfoEx().getRecordRootDir().c_str());
        NasEmptyDirManager::writeLog(text, __LINE__);
        return 0;
    }
    if (!m_statDir->init(getRecordDirInfoEx().getDiskType(), fileSystemFormat)) {
        NasEmptyDirManager::writeLog("init StatDir failed", __LINE__);
        return 0;
    }
    return 1;
}

// On a share the useable space bounds the record files of every recorder
// together; the pool only grows towards it, round by round.
int NasDirWithIndex::initRecordSpace() {
    RecordDirInfoEx info = getRecordDirInfoEx();
    if (info.getFileSegmentSize() <= 0) return -1;
    long long const total = getSpaceRecord().getTotalSpace();
    long long const useable = info.getUseableSpace();
    long long const base = useable != 0 && useable < total ? useable : total;
    m_nasPool->setMaxFileNumber(applyUseableSpace(base));
    openFillUnlessClosing();
    m_nasPool->allocRecordSpace();
    m_nShareFiles = countShareFiles();
    return 0;
}

void NasDirWithIndex::setPoolRunning(bool running) {
    if (running)
        m_nasPool->startEmptyFileCreate();
    else
        m_nasPool->stopEmptyFileCreate();
}

int NasDirWithIndex::detectDirStatus() {
    int result = 0;
    try {
        result = HDDirWithIndex::detectDirStatus();
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
        result = -1;
    }
    // Logged once per change: a share that stays away writes one line.
    int status = 0;
    char const* text = nullptr;
    if (isReady()) {
        status = 0;
    } else if (result == 0) {
        status = 1;
        text = "detectDirStatus state is failed 1!";
    } else if (getRecordDirInfoEx().getStatus() == 2) {
        status = 3;
        text = "detectDirStatus state is failed 3!";
    } else {
        status = 2;
        text = "detectDirStatus state is failed 2!";
    }
    if (m_nLastStatus.exchange(status) != status) {
        char line[1100];
        if (text == nullptr)
            std::snprintf(line, sizeof line, "%s state is ok", getRecordDirInfoEx().getRecordRootDir().c_str());
        NasEmptyDirManager::writeLog(text != nullptr ? text : line, __LINE__);
    }
    return result;
}

void NasDirWithIndex::stopDetectionThread() {
    HDDirWithIndex::stopDetectionThread();
    m_statDir->uninit();
}

void NasDirWithIndex::setDirPolicyList(std::vector<RecordDeviceDirPolicy> const& policies) {
    HDDirWithIndex::setDirPolicyList(policies);
    {
        OV_LOCK_GUARD(guard, m_nasPolicyMutex);
        m_nasPolicies = policies;
    }
    m_nasPool->setMaxEmptyFileNumber(10 * static_cast<unsigned int>(policies.size()) + 1);
}

std::vector<RecordDeviceDirPolicy> NasDirWithIndex::getPolicies() {
    OV_LOCK_GUARD(guard, m_nasPolicyMutex);
    return m_nasPolicies;
}

int NasDirWithIndex::getDirFileNumber(int& total, int& free) {
    if (!isReady()) return -6;
    total = m_nasPool->getMaxFileNumber();
    // The count of the last round: a full listing of the share is too slow
    // for the group's passes, which ask every directory.
    int const onShare = m_nShareFiles.load();
    int unmade = 0;
    if (onShare >= 0 && m_nasPool->isDiskSpaceFull() != 0) unmade = std::max(0, total - getHeadroom() - onShare);

    free = getPoolFileNumber() + m_recycleBin->getFileNumber() + unmade;
    return 0;
}

int NasDirWithIndex::countShareFiles() {
    IDiskManager* disk = diskManager();
    if (disk == nullptr) return -1;
    std::vector<std::string> pool;
    if (disk->getFileList((m_strRecordPath + BasicTool::kSeparator + BasicTool::kEmptyDirName).c_str(), pool, "*_*",
                          0) < 0)
        return -1;
    int const binned = m_recycleBin->getFileNumber(0);
    if (binned < 0) return -1;
    return static_cast<int>(pool.size()) + binned + m_handler->getTotalRecordFileNumber();
}

int NasDirWithIndex::countDays(RecordDeviceInfo const& device) {
    IDiskManager* disk = diskManager();
    if (disk == nullptr) return 0;
    std::string const folder = m_strRecordPath + BasicTool::kSeparator +
                               BasicTool::getDeviceDirString(device.getDeviceId(), device.getDeviceIP(),
                                                             device.getCameraId());
    std::vector<std::string> dates;
    return std::max(0, disk->getDirList(folder.c_str(), dates));
}

int NasDirWithIndex::updateStatFile() {
    std::vector<NasDirDeviceRecordStatInfo> own;
    for (RecordDeviceDirPolicy const& policy : getPolicies()) {
        RecordDeviceInfo const& device = policy.getRecordDeviceInfo();
        NasDirDeviceRecordStatInfo info(RecordStatDir::toStatDeviceId(device), device.getCameraId());
        info.setSaveDays(policy.getRecordSaveDays());
        info.setUseableRecordDays(countDays(device));
        own.push_back(info);
    }
    return m_statDir->updateStatFile(own);
}

std::vector<RecordDeviceDirPolicy> NasDirWithIndex::selectGivingWay(std::vector<RecordDeviceDirPolicy> const& policies) {
    std::vector<RecordDeviceInfo> devices;
    m_statDir->getNeedDelRecordDeviceList(devices);
    std::vector<RecordDeviceDirPolicy> giving;
    for (RecordDeviceDirPolicy const& policy : policies) {
        RecordDeviceInfo const& own = policy.getRecordDeviceInfo();
        for (RecordDeviceInfo const& device : devices)
            if (RecordStatDir::toStatDeviceId(own) == RecordStatDir::toStatDeviceId(device) &&
                own.getCameraId() == device.getCameraId())
                giving.push_back(policy);
    }
    return giving;
}

std::vector<RecordDeviceDirPolicy> NasDirWithIndex::getGivingWayPolicies() {
    std::vector<NasDirDeviceRecordStatInfo> const others = m_statDir->getScanList();
    bool const shared = std::any_of(others.begin(), others.end(),
                                    [](NasDirDeviceRecordStatInfo const& info) { return info.isDeviceActive(); });
    return shared ? selectGivingWay(getPolicies()) : std::vector<RecordDeviceDirPolicy>();
}

int NasDirWithIndex::getHeadroom() {
    if (getGivingWayPolicies().empty()) return 0;
    int live = 0;
    for (NasDirDeviceRecordStatInfo const& info : m_statDir->getScanList()) live += info.isDeviceActive() ? 1 : 0;
    return 2 * live;
}

void NasDirWithIndex::detectShare() {
    if (!isReady()) return;
    bool const scan = m_nShareRounds++ % kScanRounds == 0;
    if (scan || m_statDir->isDevicePolicyChanged(getPolicies())) {
        updateStatFile();
    } else {
        m_statDir->updateStatFileId();
        m_statDir->refreshStatFile();
    }
    if (scan) m_statDir->scanStatDir();
    // A recorder that gives way leaves the headroom to the others: it would
    // otherwise grow into the room it has just freed before they could.
    m_nasPool->setKeptForOthers(getHeadroom());
    if (checkRecycleBinDir() == 0) m_nasPool->allocRecordSpace();
    m_nShareFiles = countShareFiles();
}

int NasDirWithIndex::checkRecycleBinDir() {
    std::vector<RecordDeviceDirPolicy> const giving = getGivingWayPolicies();
    if (!isReady() || giving.empty()) return 0;
    int const limit = m_nasPool->getMaxFileNumber() - getHeadroom();
    int const onShare = countShareFiles();
    if (onShare < 0) return 0;
    int wanted = std::max(0, onShare - limit);
    if (wanted == 0 && m_nasPool->isDiskSpaceFull() == 0) wanted = 1;
    wanted = std::min(wanted, getHeadroom());
    if (wanted == 0) return 0;
    int freed = m_recycleBin->cleanSpace(wanted);
    if (freed < wanted) freed += m_nasPool->deleteOtherEmptyFile(wanted - freed);
    while (freed < wanted) {
        EarliestFileInfoList list(NS_NasDirWithIndex::kEarliestFiles);
        list.setRecordDirPolicyList(giving);
        m_handler->getEarliestFileList(list, giving, false, NS_NasDirWithIndex::kEarliestFiles);
        SafePointer<RecordFileInfo> file;
        bool moved = false;
        while (!moved && list.removeEaliestFileInfo(file)) moved = deleteFile(file) == 1;
        if (!moved || m_recycleBin->cleanSpace(1) == 0) break;
        ++freed;
    }
    char text[96];
    std::snprintf(text, sizeof text, "checkRecycleBinDir gave way with %d of %d files", freed, wanted);
    NasEmptyDirManager::writeLog(text, __LINE__);
    return freed;
}

int NasDirWithIndex::deleteEarliestFile(std::vector<RecordDeviceDirPolicy> const& policies) {
    GlobalEnv::print("%s", "NasDirWithIndex::deleteEarliestFile 00000000000000000");
    if (!isReady()) return -1;
    GlobalEnv::print("%s", "NasDirWithIndex::deleteEarliestFile 111111111");
    // Only own channels the share's statistics let go; an empty list would
    // let every device of the share in.
    std::vector<RecordDeviceDirPolicy> const giving = selectGivingWay(policies);
    GlobalEnv::print("%s", "NasDirWithIndex::deleteEarliestFile 222222222");
    if (giving.empty()) return -1;
    EarliestFileInfoList list(NS_NasDirWithIndex::kEarliestFiles);
    list.setRecordDirPolicyList(giving);
    if (m_handler->getEarliestFileList(list, giving, false, NS_NasDirWithIndex::kEarliestFiles) != 0) return -1;
    GlobalEnv::print("%s", "NasDirWithIndex::deleteEarliestFile 333333333");
    SafePointer<RecordFileInfo> file;
    while (list.removeEaliestFileInfo(file)) {
        GlobalEnv::print("%s", "NasDirWithIndex::deleteEarliestFile 444444444");
        if (deleteFile(file) != 1) continue;
        GlobalEnv::print("%s", "NasDirWithIndex::deleteEarliestFile 555555555");
        return hasFreeSpace() ? 0 : -1;
    }
    GlobalEnv::print("%s", "NasDirWithIndex::deleteEarliestFile 666666666");
    return -1;
}

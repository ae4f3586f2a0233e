#include "disk/RecordDirGroupManager.h"

#include <algorithm>
#include <cstdio>

#include "directory/DeviceRecordDiskStatReport.h"
#include "disk/RecordDirStateManager.h"
#include "foundation/LockRank.h"
#include "foundation/OVMutexManager.h"
#include "foundation/OVRuntimeError.h"
#include "foundation/ReturnCode.h"
#include "foundation/StorageParameterManage.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"
#include "host/PerformanceTest.h"

namespace NS_RecordDirGroupManager {
constexpr int kSdCardType = 2;

bool isOutside(RecordDirInfoEx const& info) {
    if (!info.getEnableFlag() && info.getDiskType() != kSdCardType) return true;
    return info.getAttribute() == 2 || info.getAttribute() == 3;
}
}  // namespace NS_RecordDirGroupManager

RecordDirGroupManager::RecordDirGroupManager(int kind)
    : m_pThread(new OVThread(bind_funcobj0(this, &RecordDirGroupManager::scanDirGroupList),
                             "DirGroupListScanThread")),
      m_nKind(kind),
      m_pSceneLog(new SceneLogManager()) {
    if (m_nKind == 1) {
        // Record directories are the ones whose failures count.
        RecordDirStateManager::getInstance()->setRecordDirListSource([this]() {
            std::vector<RecordDirInfoEx> list;
            getRecordDirInfoList(list);
            return list;
        });
    }
}

RecordDirGroupManager::~RecordDirGroupManager() {
    stop();
    // Waits for a running read of the list, so none outlives this object.
    if (m_nKind == 1) RecordDirStateManager::getInstance()->setRecordDirListSource(nullptr);
    clearAll();
}

bool RecordDirGroupManager::start() {
    m_nScanCount = kScanStart;
    m_nStopMarker = 0;
    m_pSceneLog->init();
    return m_pThread->start();
}

void RecordDirGroupManager::stop() {
    m_nStopMarker = kStopMarker;
    m_pThread->stop();
    m_nScanCount = kScanStart;
    std::vector<SafePointer<RecordDirGroup>> groups;
    {
        OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
        groups.swap(m_groups);
    }
}

void RecordDirGroupManager::clearAll() {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    PerformanceTest timer;
    for (SafePointer<RecordDirGroup> const& group : m_groups) group->clearDirList();
    timer.end();
    char text[256];
    std::snprintf(text, sizeof text, "RecordDirGroupManager::clearAll clearDirList %lld us\n", timer.getWasteTime());
    GlobalEnv::print("%s", text);
    timer.begin();
    m_groups.clear();
    timer.end();
    std::snprintf(text, sizeof text, "RecordDirGroupManager::clearAll groups %lld us\n", timer.getWasteTime());
    GlobalEnv::print("%s", text);
    timer.begin();
    m_outsideDirs.clear();
    timer.end();
    std::snprintf(text, sizeof text, "RecordDirGroupManager::clearAll outside %lld us\n", timer.getWasteTime());
    GlobalEnv::print("%s", text);
}

void RecordDirGroupManager::setRecordType(int recordType) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    m_nRecordType = recordType;
}

void RecordDirGroupManager::setDeviceId(std::string const& deviceId) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    m_strDeviceId = deviceId;
}

SafePointer<RecordDirGroup> RecordDirGroupManager::findGroup(int groupId) {
    for (SafePointer<RecordDirGroup> const& group : m_groups)
        if (group->getGroupId() == groupId) return group;
    return SafePointer<RecordDirGroup>();
}

bool RecordDirGroupManager::findRecordDirGroup(int groupId, SafePointer<RecordDirGroup>& group) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    group = findGroup(groupId);
    return !group.isNull();
}

int RecordDirGroupManager::getGroupCount() {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    return static_cast<int>(m_groups.size());
}

std::vector<SafePointer<RecordDirGroup>> RecordDirGroupManager::copyGroupList() {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    return m_groups;
}

void RecordDirGroupManager::setRecordDirInfoList(std::vector<RecordDirInfoEx> const& list) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    m_outsideDirs.clear();
    std::map<int, std::vector<RecordDirInfoEx>> groups;
    for (RecordDirInfoEx const& info : list) {
        if (NS_RecordDirGroupManager::isOutside(info))
            m_outsideDirs.push_back(info);
        else
            groups[info.getGroupId()].push_back(info);
    }
    updateDirGuoupList(groups);
}

void RecordDirGroupManager::updateDirGuoupList(std::map<int, std::vector<RecordDirInfoEx>> const& groups) {
    for (auto const& entry : groups) {
        SafePointer<RecordDirGroup> group = findGroup(entry.first);
        if (group.isNull()) {
            group = SafePointer<RecordDirGroup>(new RecordDirGroup(entry.first, m_strDeviceId, m_nRecordType, m_nKind));
            group->setSceneLogManager(m_pSceneLog.get());
            m_groups.push_back(group);
        }
        group->updateRecordDirList(entry.second);
    }
    for (SafePointer<RecordDirGroup> const& group : std::vector<SafePointer<RecordDirGroup>>(m_groups)) {
        if (groups.count(group->getGroupId()) != 0) continue;
        group->clearDirList();
        m_groups.erase(std::remove(m_groups.begin(), m_groups.end(), group), m_groups.end());
    }
    updateDiskStatusListener();
    updateBackupRecordListener();
    updateRecordDiskStoragePolicy();
    updateDiskAlarmInterval();
}

void RecordDirGroupManager::updateDiskStatusListener() {
    for (SafePointer<RecordDirGroup> const& group : m_groups) group->setDiskStatusListener(m_listener);
}

void RecordDirGroupManager::updateBackupRecordListener() {
    for (SafePointer<RecordDirGroup> const& group : m_groups) group->setBackupRecordListener(m_pBackupListener);
}

void RecordDirGroupManager::updateRecordDiskStoragePolicy() {
    // With two groups and more the halves of the channels are split by group already.
    bool const enable =
        m_groups.size() == 1 && StorageParameterManage::getInstance()->getDualDiskStoragePolicyFlag() != 0;
    char text[128];
    std::snprintf(text, sizeof text, "updateRecordDiskStoragePolicy, Enable=%d \n", enable ? 1 : 0);
    GlobalEnv::print("%s", text);
    for (SafePointer<RecordDirGroup> const& group : m_groups) {
        if (enable)
            group->enablePolicy();
        else
            group->disablePolicy();
    }
}

void RecordDirGroupManager::updateDiskAlarmInterval() {
    for (SafePointer<RecordDirGroup> const& group : m_groups) group->setDiskAlarmInterval(m_nDiskAlarmInterval);
}

void RecordDirGroupManager::getRecordDirInfoList(std::vector<RecordDirInfoEx>& list) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    for (SafePointer<RecordDirGroup> const& group : m_groups) group->getRecordDirInfoList(list);
    list.insert(list.end(), m_outsideDirs.begin(), m_outsideDirs.end());
}

void RecordDirGroupManager::addRecordDevicePolicy(RecordDeviceDirPolicy const& policy) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    m_nScanCount = kScanStart;
    for (SafePointer<RecordDirGroup> const& group : m_groups) group->rmRecordDirPolicy(policy);
    SafePointer<RecordDirGroup> group = findGroup(policy.getGroupID());
    if (!group.isNull()) group->addRecordDirPolicy(policy);
}

void RecordDirGroupManager::removeRecordDevicePolicy(RecordDeviceDirPolicy const& policy) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    SafePointer<RecordDirGroup> group = findGroup(policy.getGroupID());
    if (!group.isNull()) group->rmRecordDirPolicy(policy);
}

void RecordDirGroupManager::removeAllRecordDevicePolicy(int recordMode) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    for (SafePointer<RecordDirGroup> const& group : m_groups) group->clearDirPolicyList(recordMode);
}

int RecordDirGroupManager::requestRecordDir(SafePointer<RecordFileInfo> file, int requestType, int groupId,
                                            int condition, SafePointer<IRecordDir>& dir) {
    try {
        SafePointer<RecordDirGroup> group;
        if (!findRecordDirGroup(groupId, group)) {
            GlobalEnv::print("%s", "RecordDirGroupManager::requestRecordDir not find group");
            return OV_RECORD_GROUP_NOT_FOUND;
        }
        group->setDirRequestFlag(file, requestType);
        int const result = group->requestRecordDir(file, condition, dir);
        if (result != 0) {
            char text[128];
            std::snprintf(text, sizeof text, "RecordDirGroupManager::requestRecordDir not find useable directory %d \n",
                          result);
            GlobalEnv::print("%s", text);
        }
        return result;
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
        return OV_RECORD_IO_ERROR;
    }
}

void RecordDirGroupManager::decreaseRecordDiskReference(SafePointer<RecordFileInfo> file) {
    SafePointer<RecordDirGroup> group;
    if (findRecordDirGroup(file->getRecordDirInfoEx().getGroupId(), group)) group->decreaseRecordDiskReference(file);
}

int RecordDirGroupManager::deleteFileList(std::vector<std::string> const& names) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    for (std::string const& name : names) {
        for (SafePointer<RecordDirGroup> const& group : m_groups)
            if (group->deleteFile(name) != 0) break;
    }
    return 1;
}

void RecordDirGroupManager::getDiskFileNumber(int groupId, long& total, long& free) {
    SafePointer<RecordDirGroup> group;
    if (findRecordDirGroup(groupId, group)) group->getDiskFileNumber(total, free);
}

void RecordDirGroupManager::scanDeviceRecordDisk(DeviceRecordDiskStatReport& report) {
    SafePointer<RecordDirGroup> group;
    if (findRecordDirGroup(report.getGroupId(), group)) group->scanDeviceRecordDisk(report);
}

void RecordDirGroupManager::setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const& listener) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    m_listener = listener;
    updateDiskStatusListener();
}

void RecordDirGroupManager::setBackupRecordListener(IAlarmListenerEx* listener) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    m_pBackupListener = listener;
    updateBackupRecordListener();
}

void RecordDirGroupManager::setDiskAlarmInterval(int seconds) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kGroupList);
    m_nDiskAlarmInterval = seconds;
    updateDiskAlarmInterval();
}

int RecordDirGroupManager::scanDirGroupList() {
    try {
        // The groups are worked on a copy: a long deletion must not hold up
        // requests and rebuilds.
        std::vector<SafePointer<RecordDirGroup>> const groups = copyGroupList();
        int const count = m_nScanCount.load();
        if (!groups.empty() && m_nStopMarker != kStopMarker) {
            for (SafePointer<RecordDirGroup> const& group : groups) {
                if (m_nStopMarker == kStopMarker) break;
                if (count >= 0 && count % kOutDatePasses == 0) group->deleteOutDateFile();
                if (count >= 1 && count % kEarliestPasses == 0) group->deleteEarliestDateFile();
                if (count >= 0 && count % kClearPasses == 0) group->clearEarliestFile();
            }
        }
        if (count >= 1 && count % kEarliestPasses == 0 && !groups.empty())
            for (SafePointer<RecordDirGroup> const& group : groups) group->detectDiskSpace();
        RecordDirStateManager::getInstance()->detectRecordDirState();
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
    }
    ++m_nScanCount;
    return 1;
}

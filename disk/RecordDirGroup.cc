#include "disk/RecordDirGroup.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "directory/DeviceRecordDiskStatReport.h"
#include "directory/HDDirWithIndex.h"
#include "disk/RecordDirStateManager.h"
#include "disk/RecordDiskStoragePolicy.h"
#include "foundation/EncoderType.h"
#include "foundation/LockRank.h"
#include "foundation/OVMutexManager.h"
#include "host/GlobalEnv.h"
#include "host/OrvaneTime.h"

namespace NS_RecordDirGroup {
constexpr int kDiskAlarmMajorType = 4;
constexpr int kThresholdCap = 95;

}  // namespace NS_RecordDirGroup

RecordDirGroup::RecordDirGroup(int groupId, std::string const& deviceId, int recordType, int kind)
    : m_nGroupId(groupId),
      m_strDeviceId(deviceId),
      m_nRecordType(recordType),
      m_nKind(kind),
      m_storagePolicy(new RecordDiskStoragePolicy()) {
    m_storagePolicy->setRecordMode(kind);
}

RecordDirGroup::~RecordDirGroup() { clearDirList(); }

bool RecordDirGroup::isExistDir(SafePointer<IRecordDir> const& dir, std::vector<RecordDirInfoEx> const& list) {
    std::string const root = dir->getRecordDirInfoEx().getRecordRootDir();
    for (RecordDirInfoEx const& entry : list)
        if (entry.getRecordRootDir() == root) return true;
    return false;
}

bool RecordDirGroup::findRecordDir(RecordDirInfoEx const& info, SafePointer<IRecordDir>& dir) {
    OV_RANKED_LOCK_GUARD(guard, m_dirMutex, LockRank::kGroupDirs);
    for (SafePointer<IRecordDir> const& known : m_dirs) {
        if (known->getRecordDirInfoEx().getRecordRootDir() == info.getRecordRootDir()) {
            dir = known;
            return true;
        }
    }
    return false;
}

void RecordDirGroup::forgetDir(SafePointer<IRecordDir> const& dir) {
    m_storagePolicy->deleteRecordDir(dir);
    RecordDirStateManager::getInstance()->deleteRecordDirInfo(dir->getRecordDirInfoEx());
    m_dirs.erase(std::remove(m_dirs.begin(), m_dirs.end(), dir), m_dirs.end());
    m_excludedDirs.erase(std::remove(m_excludedDirs.begin(), m_excludedDirs.end(), dir), m_excludedDirs.end());
}

void RecordDirGroup::updateRecordDirList(std::vector<RecordDirInfoEx> const& list) {
    std::vector<SafePointer<IRecordDir>> stopped;
    std::vector<SafePointer<IRecordDir>> restarted;
    std::vector<RecordDeviceDirPolicy> const policies = getDirPolicyList();
    {
        OV_RANKED_LOCK_GUARD(guard, m_dirMutex, LockRank::kGroupDirs);
        for (SafePointer<IRecordDir> const& dir : std::vector<SafePointer<IRecordDir>>(m_dirs)) {
            if (isExistDir(dir, list)) continue;
            // Out of the policy before it stops, so no request can pick it.
            forgetDir(dir);
            stopped.push_back(dir);
        }
        for (RecordDirInfoEx const& entry : list) {
            SafePointer<IRecordDir> dir;
            for (SafePointer<IRecordDir> const& known : m_dirs)
                if (known->getRecordDirInfoEx().getRecordRootDir() == entry.getRecordRootDir()) dir = known;
            if (dir.isNull()) {
                dir = m_factory.create(m_nKind, entry, m_nGroupId, m_strDeviceId, m_nRecordType);
                dir->setMutex(&m_dirShareMutex);
                dir->setSceneLogManager(m_pSceneLog);
                dir->setDirPolicyList(policies);
                if (!m_listener.isNull()) dir->setDiskStatusListener(m_listener);
                // An indexed directory builds itself on its status thread;
                // any other is ready only through init.
                if (dynamic_cast<HDDirWithIndex*>(dir.get()) == nullptr) dir->init();
                dir->startDetectionThread();
                m_dirs.push_back(dir);
                RecordDirStateManager::getInstance()->addRecordDirInfo(entry);
                m_storagePolicy->insertRecordDir(dir);
                continue;
            }
            RecordDirInfoEx info = dir->getRecordDirInfoEx();
            bool const attributeChanged = info.getAttribute() != entry.getAttribute();
            info.setAlarmThreshold(entry.getAlarmThreshold());
            info.setAttribute(entry.getAttribute());
            info.setEnableFlag(entry.getEnableFlag());
            info.setFileSegmentSize(entry.getFileSegmentSize());
            info.setUseableSpace(entry.getUseableSpace());
            dir->setRecordDirInfoEx(info);
            char text[1024];
            std::snprintf(text, sizeof text, "RecordDir(%s)(%d,%d,%lld,%lld) is Exist 111111111111111111111111111111111\n",
                          info.getRecordRootDir().c_str(), info.getAttribute(), info.getAlarmThreshold(),
                          info.getFileSegmentSize(), info.getUseableSpace());
            GlobalEnv::print("%s", text);
            if (attributeChanged) restarted.push_back(dir);
        }
        m_nSelectIndex = -1;
    }
    for (SafePointer<IRecordDir> const& dir : stopped) dir->stopDetectionThread();
    for (SafePointer<IRecordDir> const& dir : restarted) {
        dir->stopDetectionThread();
        dir->startDetectionThread();
    }
}

void RecordDirGroup::clearDirList() {
    std::vector<SafePointer<IRecordDir>> stopped;
    {
        OV_RANKED_LOCK_GUARD(guard, m_dirMutex, LockRank::kGroupDirs);
        stopped = m_dirs;
        for (SafePointer<IRecordDir> const& dir : stopped) forgetDir(dir);
        m_nSelectIndex = -1;
    }
    for (SafePointer<IRecordDir> const& dir : stopped) dir->stopDetectionThread();
}

std::vector<SafePointer<IRecordDir>> RecordDirGroup::copyDirList() {
    OV_RANKED_LOCK_GUARD(guard, m_dirMutex, LockRank::kGroupDirs);
    return m_dirs;
}

std::vector<RecordDeviceDirPolicy> RecordDirGroup::getDirPolicyList() {
    OV_RANKED_LOCK_GUARD(guard, m_policyMutex, LockRank::kGroupPolicies);
    return m_policies;
}

void RecordDirGroup::addRecordDirPolicy(RecordDeviceDirPolicy const& policy) {
    {
        OV_RANKED_LOCK_GUARD(guard, m_policyMutex, LockRank::kGroupPolicies);
        auto same = std::find_if(m_policies.begin(), m_policies.end(), [&](RecordDeviceDirPolicy const& known) {
            return known.getRecordDeviceInfo().equals(policy.getRecordDeviceInfo());
        });
        if (same != m_policies.end())
            *same = policy;
        else
            m_policies.push_back(policy);
    }
    updateDirPolicy();
}

void RecordDirGroup::rmRecordDirPolicy(RecordDeviceDirPolicy const& policy) {
    {
        OV_RANKED_LOCK_GUARD(guard, m_policyMutex, LockRank::kGroupPolicies);
        m_policies.erase(std::remove_if(m_policies.begin(), m_policies.end(),
                                        [&](RecordDeviceDirPolicy const& known) {
                                            return known.getRecordDeviceInfo().equals(policy.getRecordDeviceInfo());
                                        }),
                         m_policies.end());
    }
    updateDirPolicy();
}

void RecordDirGroup::clearDirPolicyList(int recordMode) {
    {
        OV_RANKED_LOCK_GUARD(guard, m_policyMutex, LockRank::kGroupPolicies);
        m_policies.erase(std::remove_if(m_policies.begin(), m_policies.end(),
                                        [&](RecordDeviceDirPolicy const& known) {
                                            return known.getRecordDeviceInfo().getRecordMode() == recordMode;
                                        }),
                         m_policies.end());
    }
    updateDirPolicy();
}

void RecordDirGroup::updateDirPolicy() {
    OV_RANKED_LOCK_GUARD(guard, m_dirMutex, LockRank::kGroupDirs);
    std::vector<RecordDeviceDirPolicy> const policies = getDirPolicyList();
    for (SafePointer<IRecordDir> const& dir : m_dirs) dir->setDirPolicyList(policies);
    m_storagePolicy->updateRecordDeviceDirPolicy(policies);
}

void RecordDirGroup::excludeFailingDirs() {
    RecordDirStateManager* states = RecordDirStateManager::getInstance();
    for (SafePointer<IRecordDir> const& dir : m_dirs) {
        bool const failing = states->isIOError(dir->getRecordDirInfoEx());
        auto excluded = std::find(m_excludedDirs.begin(), m_excludedDirs.end(), dir);
        if (failing && excluded == m_excludedDirs.end()) {
            m_storagePolicy->deleteRecordDir(dir);
            m_excludedDirs.push_back(dir);
        } else if (!failing && excluded != m_excludedDirs.end()) {
            m_excludedDirs.erase(excluded);
            m_storagePolicy->insertRecordDir(dir);
        }
    }
}

int RecordDirGroup::requestRecordDir(SafePointer<RecordFileInfo> file, int condition, SafePointer<IRecordDir>& dir) {
    {
        OV_RANKED_LOCK_GUARD(guard, m_dirMutex, LockRank::kGroupDirs);
        excludeFailingDirs();
    }
    // Without the group's lock: a choice may reclaim space for a long time.
    return m_storagePolicy->getUsableDir(file, condition, dir);
}

void RecordDirGroup::setDirRequestFlag(SafePointer<RecordFileInfo> const& file, int requestType) {
    RecordDeviceInfo const device = file->getRecordDeviceInfo();
    std::string const root = file->getRecordDirInfoEx().getRecordRootDir();
    for (SafePointer<IRecordDir> const& dir : copyDirList()) {
        if (requestType == 1) {
            dir->setDeviceRequetType(device, 1);
        } else if (dir->getRecordDirInfoEx().getRecordRootDir() == root) {
            dir->setDeviceRequetType(device, requestType);
            break;
        }
    }
}

void RecordDirGroup::decreaseRecordDiskReference(SafePointer<RecordFileInfo> const& file) {
    m_storagePolicy->decreaseRecordDiskReference(file);
}

int RecordDirGroup::getDiskReference(std::string const& diskName) {
    RecordDiskStoragePolicy* policy = dynamic_cast<RecordDiskStoragePolicy*>(m_storagePolicy.get());
    return policy == nullptr ? -1 : policy->getDiskReference(diskName);
}

int RecordDirGroup::deleteFile(std::string const& name) {
    for (SafePointer<IRecordDir> const& dir : copyDirList())
        if (dir->deleteFile(name) > 0) return 1;
    return 0;
}

int RecordDirGroup::deleteOutDateFile() { return m_storagePolicy->deleteOutDateFile(); }

int RecordDirGroup::deleteEarliestDateFile() { return m_storagePolicy->deleteEarliestDateFile(); }

int RecordDirGroup::clearEarliestFile() { return m_storagePolicy->clearEarliestFile(); }

void RecordDirGroup::enablePolicy() { m_storagePolicy->enablePolicy(); }

void RecordDirGroup::disablePolicy() { m_storagePolicy->disablePolicy(); }

int RecordDirGroup::detectDiskSpace() {
    std::vector<SafePointer<IRecordDir>> dirs = copyDirList();
    dirs.erase(std::remove_if(dirs.begin(), dirs.end(),
                              [](SafePointer<IRecordDir> const& dir) {
                                  return !dir->isWritable() || dir->getRecordDirInfoEx().getDiskType() != DiskKind::kLocal;
                              }),
               dirs.end());
    if (dirs.empty()) return -1;
    std::map<std::string, DiskAlarmThresholdInfo> disks;
    for (SafePointer<IRecordDir> const& dir : dirs) {
        RecordDirInfoEx status;
        dir->getRecordDirStatus(status);
        auto known = disks.find(status.getRecordDiskName());
        if (known == disks.end()) {
            DiskAlarmThresholdInfo info;
            info.setActualUseableSpace(status.getUseableSpace());
            info.setFreeSpace(status.getFreeSpace());
            known = disks.emplace(status.getRecordDiskName(), info).first;
        } else {
            known->second.setActualUseableSpace(known->second.getActualUseableSpace() + status.getUseableSpace());
            known->second.setFreeSpace(known->second.getFreeSpace() + status.getFreeSpace());
        }
        if (status.getAlarmThreshold() > 0) known->second.setThresholdAlarm(status.getAlarmThreshold());
    }
    for (auto const& disk : disks) {
        int threshold = disk.second.getThresholdAlarm();
        if (threshold >= 100) threshold = NS_RecordDirGroup::kThresholdCap;
        if (threshold <= 0) continue;
        char text[512];
        std::snprintf(text, sizeof text,
                      "RecordDirGroup::detectDiskSpace diskname(%s) TotalSpace(%lld) FreeSpace(%lld) nAlarmThreshold(%d)\n",
                      disk.first.c_str(), disk.second.getActualUseableSpace(), disk.second.getFreeSpace(), threshold);
        GlobalEnv::print("%s", text);
        if (disk.second.getFreeSpace() < disk.second.getActualUseableSpace() * (100 - threshold) / 100)
            touchoffDiskStatusListener(disk.first, kDiskSpaceAlarm, true);
    }
    return 0;
}

void RecordDirGroup::touchoffDiskStatusListener(std::string const& diskName, int minorType, bool alarm) {
    SafePointer<IRecordServiceListenerManager> listener;
    {
        OV_RANKED_LOCK_GUARD(guard, m_dirMutex, LockRank::kGroupDirs);
        listener = m_listener;
    }
    if (listener.isNull()) return;
    AlarmInfoEx info;
    info.setMajorType(NS_RecordDirGroup::kDiskAlarmMajorType);
    info.setMinorType(minorType);
    info.setDescription(diskName);
    info.setSourceName("disk");
    info.setSourceId(std::to_string(m_nGroupId));
    info.setAlarmTime(static_cast<unsigned long>(OrvaneTime::currentTime().getSeconds()));
    if (alarm) listener->handleMessage(info);
}

void RecordDirGroup::getRecordDirInfoList(std::vector<RecordDirInfoEx>& list) {
    for (SafePointer<IRecordDir> const& dir : copyDirList()) list.push_back(dir->getRecordDirInfoEx());
}

void RecordDirGroup::getDiskFileNumber(long& total, long& free) {
    total = 0;
    free = 0;
    for (SafePointer<IRecordDir> const& dir : copyDirList()) {
        int dirTotal = 0;
        int dirFree = 0;
        dir->getDirFileNumber(dirTotal, dirFree);
        total += dirTotal;
        free += dirFree;
    }
}

void RecordDirGroup::scanDeviceRecordDisk(DeviceRecordDiskStatReport& report) {
    for (SafePointer<IRecordDir> const& dir : copyDirList()) dir->scanDeviceRecordDisk(report);
}

void RecordDirGroup::setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const& listener) {
    OV_RANKED_LOCK_GUARD(guard, m_dirMutex, LockRank::kGroupDirs);
    m_listener = listener;
    for (SafePointer<IRecordDir> const& dir : m_dirs) dir->setDiskStatusListener(listener);
}

void RecordDirGroup::setBackupRecordListener(IAlarmListenerEx* listener) {
    for (SafePointer<IRecordDir> const& dir : copyDirList()) dir->setBackupRecordListener(listener);
}

void RecordDirGroup::setDiskAlarmInterval(int seconds) {
    for (SafePointer<IRecordDir> const& dir : copyDirList()) dir->setDiskAlarmInterval(seconds);
}

void RecordDirGroup::setSceneLogManager(SceneLogManager* manager) {
    OV_RANKED_LOCK_GUARD(guard, m_dirMutex, LockRank::kGroupDirs);
    m_pSceneLog = manager;
    m_storagePolicy->setSceneLogManager(manager);
}

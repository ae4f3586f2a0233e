#include "disk/RecordDiskManagerImpl.h"

#include <algorithm>

#include "directory/DeviceRecordDiskStatReport.h"
#include "disk/DataVersionInfoManager.h"
#include "disk/RecordDirStateManager.h"
#include "foundation/LockRank.h"
#include "foundation/OVMutexManager.h"
#include "foundation/OVRuntimeError.h"
#include "host/DiskStateManager.h"
#include "host/Logger.h"
#include "recording/RecordFileWriterFactory.h"
#include "tracking/RecordLockInfoManager.h"
#include "tracking/RecordSegmentInfoManager.h"

namespace NS_RecordDiskManagerImpl {
constexpr int kRecordTypeCms = 2;
constexpr char const* kDeviceIdCms = "CMS";
constexpr int kNoPolicy = -751;

RecordDeviceInfo deviceOf(RecordFileInfo const& file) {
    RecordDeviceInfo device;
    device.setDeviceId(file.getDeviceId());
    device.setDeviceIP(file.getDeviceIP());
    device.setCameraId(file.getCameraId());
    device.setRecordMode(file.getRecordMode());
    return device;
}
}  // namespace NS_RecordDiskManagerImpl

RecordDiskManagerImpl::RecordDiskManagerImpl()
    : m_pThread(new OVThread(bind_funcobj0(this, &RecordDiskManagerImpl::setDirPolicyThread),
                             "setDirPolicyThread")) {
    m_groupManager.setDeviceId(m_strDeviceId);
    m_groupManager.setRecordType(m_nRecordType);
}

RecordDiskManagerImpl::~RecordDiskManagerImpl() {
    m_pThread->stop();
    m_groupManager.stop();
    m_groupManager.clearAll();
}

int RecordDiskManagerImpl::start() {
    OVMutexManager guard(&m_startMutex, __FILE__, __LINE__);
    if (m_pThread->isRunning()) return 1;
    if (!m_pThread->start()) return 0;
    m_bStop = false;
    if (DiskStateManager::getInstance()->start() != 0) return 0;
    m_groupManager.start();
    RecordLockInfoManager::getInstance()->init();
    DataVersionInfoManager::getInstance()->init();
    // The segment table follows what is recorded from now on.
    RecordSegmentInfoManager::getInstance()->startService();
    return 1;
}

void RecordDiskManagerImpl::stop() {
    RecordSegmentInfoManager::getInstance()->stopService();
    OVMutexManager guard(&m_startMutex, __FILE__, __LINE__);
    m_groupManager.stop();
    m_groupManager.clearAll();
    m_policyManager.clear();
    DiskStateManager::getInstance()->stop();
    m_bStop = true;
    m_pThread->stop();
    // What waited for the thread would otherwise come back at the next start.
    {
        OVMutexManager pending(&m_pendingDirMutex, __FILE__, __LINE__);
        m_pendingDirs.clear();
    }
    OVMutexManager pending(&m_pendingPolicyMutex, __FILE__, __LINE__);
    m_pendingPolicies.clear();
}

int RecordDiskManagerImpl::setRecordDirInfoList(std::vector<RecordDirInfoEx> const& dirs) {
    if (m_nRecordType == NS_RecordDiskManagerImpl::kRecordTypeCms &&
        getDeviceId() == NS_RecordDiskManagerImpl::kDeviceIdCms)
        return 0;
    if (dirs.empty()) {
        m_groupManager.clearAll();
        return 1;
    }
    OVMutexManager guard(&m_pendingDirMutex, __FILE__, __LINE__);
    m_pendingDirs = dirs;
    return 1;
}

void RecordDiskManagerImpl::getRecordDirInfoList(std::vector<RecordDirInfoEx>& dirs) {
    m_groupManager.getRecordDirInfoList(dirs);
}

std::vector<RecordDirInfoEx> RecordDiskManagerImpl::getRecordDirInfoList() {
    std::vector<RecordDirInfoEx> dirs;
    m_groupManager.getRecordDirInfoList(dirs);
    return dirs;
}

int RecordDiskManagerImpl::setDirPolicyThread() {
    // The pause between passes is the thread's own (1 s).
    if (m_bStop) return 1;
    OVMutexManager pass(&m_passMutex, __FILE__, __LINE__);
    try {
        std::vector<RecordDirInfoEx> dirs;
        {
            OVMutexManager guard(&m_pendingDirMutex, __FILE__, __LINE__);
            dirs.swap(m_pendingDirs);
        }
        if (!dirs.empty()) {
            m_groupManager.setRecordDirInfoList(dirs);
            // New groups know no channel yet: every policy goes again.
            std::vector<RecordDeviceDirPolicy> all;
            m_policyManager.getAllDirPolicy(all);
            OVMutexManager guard(&m_pendingPolicyMutex, __FILE__, __LINE__);
            m_pendingPolicies.swap(all);
        }
        std::vector<RecordDeviceDirPolicy> policies;
        {
            OVMutexManager guard(&m_pendingPolicyMutex, __FILE__, __LINE__);
            policies.swap(m_pendingPolicies);
        }
        if (!policies.empty()) {
            for (RecordDeviceDirPolicy const& policy : policies) m_groupManager.addRecordDevicePolicy(policy);
            RecordDirStateManager::getInstance()->setDeviceNum(static_cast<int>(policies.size()));
        }
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
    }
    return 1;
}

void RecordDiskManagerImpl::setRecordDevicePolicy(RecordDeviceDirPolicy const& policy) {
    m_policyManager.addRecordDevicePolicy(policy);
    OVMutexManager guard(&m_pendingPolicyMutex, __FILE__, __LINE__);
    m_pendingPolicies.push_back(policy);
}

int RecordDiskManagerImpl::removeRecordDevicePolicy(RecordDeviceInfo const& device) {
    RecordDeviceDirPolicy policy;
    if (m_policyManager.getRecordDeviceDirPolicy(device, policy) == 0) return 0;
    m_policyManager.removeRecordDevicePolicy(device);
    m_groupManager.removeRecordDevicePolicy(policy);
    return 1;
}

void RecordDiskManagerImpl::removeAllRecordDevicePolicy(int recordMode) {
    m_policyManager.removeAllRecordDevicePolicy(recordMode);
    m_groupManager.removeAllRecordDevicePolicy(recordMode);
}

int RecordDiskManagerImpl::getRecordDeviceDirPolicy(RecordDeviceInfo const& device, RecordDeviceDirPolicy& policy) {
    return m_policyManager.getRecordDeviceDirPolicy(device, policy);
}

void RecordDiskManagerImpl::getRecordDevicePolicyList(std::vector<RecordDeviceDirPolicy>& policies) {
    m_policyManager.getAllDirPolicy(policies);
}

void RecordDiskManagerImpl::getDeviceListByGroupId(int groupId, std::vector<RecordInfo>& channels) {
    m_policyManager.getRecordDirPolicyListByGroupID(1, groupId, channels);
}

int RecordDiskManagerImpl::getDeviceGroupId(RecordDeviceInfo const& device) {
    RecordDeviceDirPolicy policy;
    if (m_policyManager.getRecordDeviceDirPolicy(device, policy) == 0) return -1;
    return policy.getGroupID();
}

int RecordDiskManagerImpl::getGroupId(SafePointer<RecordFileInfo> const& file) {
    return getDeviceGroupId(NS_RecordDiskManagerImpl::deviceOf(*file));
}

void RecordDiskManagerImpl::setRecordType(int recordType) {
    m_nRecordType = recordType;
    m_groupManager.setRecordType(recordType);
}

int RecordDiskManagerImpl::getRecordType() { return m_nRecordType; }

void RecordDiskManagerImpl::setDeviceId(std::string const& deviceId) {
    {
        OVMutexManager guard(&m_idMutex, __FILE__, __LINE__);
        m_strDeviceId = deviceId;
    }
    m_groupManager.setDeviceId(deviceId);
}

std::string RecordDiskManagerImpl::getDeviceId() {
    OVMutexManager guard(&m_idMutex, __FILE__, __LINE__);
    return m_strDeviceId;
}

int RecordDiskManagerImpl::deleteFileListNoIndex(std::vector<std::string> const& names) {
    return m_groupManager.deleteFileList(names);
}

void RecordDiskManagerImpl::setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const& listener) {
    m_groupManager.setDiskStatusListener(listener);
}

void RecordDiskManagerImpl::setBackupRecordListener(IAlarmListenerEx* listener) {
    m_groupManager.setBackupRecordListener(listener);
}

void RecordDiskManagerImpl::setDiskAlarmInterval(int seconds) { m_groupManager.setDiskAlarmInterval(seconds); }

void RecordDiskManagerImpl::scanDeviceRecordDisk(DeviceRecordDiskStatReport& report) {
    m_groupManager.scanDeviceRecordDisk(report);
}

void RecordDiskManagerImpl::getDiskFileNumber(int groupId, long& total, long& useable) {
    m_groupManager.getDiskFileNumber(groupId, total, useable);
}

int RecordDiskManagerImpl::createRecordFile(SafePointer<RecordFileInfo> file, int requestType, int condition,
                                            SafePointer<IRecordWriter>& writer, SafePointer<IRecordDir>& dir) {
    int groupId = getGroupId(file);
    if (groupId == -1) return NS_RecordDiskManagerImpl::kNoPolicy;
    OV_RANKED_LOCK_GUARD(guard, m_createMutex, LockRank::kCreation);
    int code = m_groupManager.requestRecordDir(file, requestType, groupId, condition, dir);
    if (code != 0) return code;
    code = dir->createFile(file);
    if (code != 0) {
        file->setRecordFileName(file->createFileName());
        m_groupManager.decreaseRecordDiskReference(file);
        return code;
    }
    writer = RecordFileWriterFactory::create(file->getRecordDirInfoEx());
    return 0;
}

void RecordDiskManagerImpl::decreaseRecordDiskReference(SafePointer<RecordFileInfo> file) {
    m_groupManager.decreaseRecordDiskReference(file);
}

SafePointer<IRecordDir> RecordDiskManagerImpl::getRecordDir(std::string const& root) {
    for (RecordDirInfoEx const& info : getRecordDirInfoList()) {
        if (info.getRecordRootDir() != root) continue;
        SafePointer<RecordDirGroup> group;
        SafePointer<IRecordDir> dir;
        if (m_groupManager.findRecordDirGroup(info.getGroupId(), group) && group->findRecordDir(info, dir))
            return dir;
    }
    return SafePointer<IRecordDir>();
}

int RecordDiskManagerImpl::getDiskReferenceCount(std::string const& diskName) {
    std::vector<int> seen;
    int count = 0;
    for (RecordDirInfoEx const& info : getRecordDirInfoList()) {
        int groupId = info.getGroupId();
        bool counted = false;
        for (int id : seen) counted = counted || id == groupId;
        SafePointer<RecordDirGroup> group;
        if (counted || !m_groupManager.findRecordDirGroup(groupId, group)) continue;
        seen.push_back(groupId);
        count += std::max(0, group->getDiskReference(diskName));
    }
    return count;
}

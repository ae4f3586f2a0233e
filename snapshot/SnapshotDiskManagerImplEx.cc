#include "snapshot/SnapshotDiskManagerImplEx.h"

#include "foundation/LockRank.h"
#include "foundation/OVMutexManager.h"
#include "foundation/OVRuntimeError.h"
#include "foundation/ReturnCode.h"
#include "host/Logger.h"

SnapshotDiskManagerImplEx::SnapshotDiskManagerImplEx()
    : m_pThread(new OVThread(bind_funcobj0(this, &SnapshotDiskManagerImplEx::setDirPolicyThread),
                             "setDirPolicyThread")) {}

SnapshotDiskManagerImplEx::~SnapshotDiskManagerImplEx() {
    m_pThread->stop();
    m_groupManager.stop();
    m_groupManager.clearAll();
}

int SnapshotDiskManagerImplEx::start() {
    OV_LOCK_GUARD(guard, m_startMutex);
    if (m_pThread->isRunning()) return 1;
    if (!m_pThread->start()) return 0;
    m_groupManager.start();
    return 1;
}

void SnapshotDiskManagerImplEx::stop() {
    OV_LOCK_GUARD(guard, m_startMutex);
    m_groupManager.stop();
    m_groupManager.clearAll();
    m_policyManager.clear();
    m_pThread->stop();
    // What waited for the thread would otherwise come back at the next start.
    {
        OV_LOCK_GUARD(pending, m_pendingDirMutex);
        m_pendingDirs.clear();
    }
    OV_LOCK_GUARD(pending, m_pendingPolicyMutex);
    m_pendingPolicies.clear();
}

int SnapshotDiskManagerImplEx::setRecordDirInfoList(std::vector<RecordDirInfoEx> const& dirs) {
    if (dirs.empty()) {
        m_groupManager.clearAll();
        return 1;
    }
    OV_LOCK_GUARD(guard, m_pendingDirMutex);
    m_pendingDirs = dirs;
    return 1;
}

void SnapshotDiskManagerImplEx::getRecordDirInfoList(std::vector<RecordDirInfoEx>& dirs) {
    m_groupManager.getRecordDirInfoList(dirs);
}

int SnapshotDiskManagerImplEx::setDirPolicyThread() {
    OV_LOCK_GUARD(pass, m_passMutex);
    try {
        std::vector<RecordDirInfoEx> dirs;
        {
            OV_LOCK_GUARD(guard, m_pendingDirMutex);
            dirs.swap(m_pendingDirs);
        }
        if (!dirs.empty()) {
            m_groupManager.setRecordDirInfoList(dirs);
            // New groups know no channel yet: every policy goes again.
            std::vector<RecordDeviceDirPolicy> all;
            m_policyManager.getAllDirPolicy(all);
            OV_LOCK_GUARD(guard, m_pendingPolicyMutex);
            m_pendingPolicies.swap(all);
        }
        std::vector<RecordDeviceDirPolicy> policies;
        {
            OV_LOCK_GUARD(guard, m_pendingPolicyMutex);
            policies.swap(m_pendingPolicies);
        }
        for (RecordDeviceDirPolicy const& policy : policies) m_groupManager.addRecordDevicePolicy(policy);
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, __LINE__);
    }
    return 1;
}

void SnapshotDiskManagerImplEx::setRecordDevicePolicy(RecordDeviceDirPolicy const& policy) {
    m_policyManager.addRecordDevicePolicy(policy);
    OV_LOCK_GUARD(guard, m_pendingPolicyMutex);
    m_pendingPolicies.push_back(policy);
}

int SnapshotDiskManagerImplEx::removeRecordDevicePolicy(RecordDeviceInfo const& device) {
    RecordDeviceDirPolicy policy;
    if (m_policyManager.getRecordDeviceDirPolicy(device, policy) == 0) return 0;
    m_policyManager.removeRecordDevicePolicy(device);
    m_groupManager.removeRecordDevicePolicy(policy);
    return 1;
}

// Every snapshot channel goes, whatever record mode its policy was given.
void SnapshotDiskManagerImplEx::removeAllRecordDevicePolicy() {
    std::vector<RecordDeviceDirPolicy> all;
    m_policyManager.getAllDirPolicy(all);
    for (RecordDeviceDirPolicy const& policy : all) removeRecordDevicePolicy(policy.getRecordDeviceInfo());
}

int SnapshotDiskManagerImplEx::getRecordDeviceDirPolicy(RecordDeviceInfo const& device,
                                                        RecordDeviceDirPolicy& policy) {
    return m_policyManager.getRecordDeviceDirPolicy(device, policy);
}

int SnapshotDiskManagerImplEx::requestRecordDir(SafePointer<RecordFileInfo> file, int requestType, int condition,
                                                SafePointer<IRecordDir>& dir) {
    RecordDeviceDirPolicy policy;
    if (file.isNull() || m_policyManager.getRecordDeviceDirPolicy(file->getRecordDeviceInfo(), policy) == 0)
        return OV_RECORD_NO_GROUP;
    OV_RANKED_LOCK_GUARD(guard, m_createMutex, LockRank::kCreation);
    return m_groupManager.requestRecordDir(file, requestType, policy.getGroupID(), condition, dir);
}

void SnapshotDiskManagerImplEx::decreaseRecordDiskReference(SafePointer<RecordFileInfo> file) {
    m_groupManager.decreaseRecordDiskReference(file);
}

int SnapshotDiskManagerImplEx::deleteFileList(std::vector<std::string> const& names) {
    return m_groupManager.deleteFileList(names);
}

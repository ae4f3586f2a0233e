#include "disk/RecordDiskManager.h"

#include <map>

#include "disk/DataVersionInfoManager.h"
#include "disk/RecordDeviceDirPolicy.h"
#include "disk/RecordDiskManagerImpl.h"
#include "foundation/OVMutexManager.h"
#include "foundation/OVRuntimeError.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/StorageParameterManage.h"
#include "host/Logger.h"
#include "tracking/RecordLockInfoManager.h"

std::vector<RecordDirInfo> RecordDiskManager::m_InvalidDirList;
OVMutex RecordDiskManager::m_InvalidDirListMutex;

namespace NS_RecordDiskManager {
constexpr int kException = -739;

void logError(OVRuntimeError const& error, int line) {
    Logger::writeLog("RecordIOError", error.what(), __FILE__, line);
}

RecordDiskManagerImpl* impl() { return RecordDiskManagerImpl::getInstance(); }
}  // namespace NS_RecordDiskManager

using NS_RecordDiskManager::impl;
using NS_RecordDiskManager::kException;
using NS_RecordDiskManager::logError;

int RecordDiskManager::start() {
    try {
        return impl()->start();
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
        return kException;
    }
}

void RecordDiskManager::stop() {
    try {
        impl()->stop();
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
    }
}

void RecordDiskManager::setRecordDevicePolicy(RecordDeviceInfo const& device, int groupId, bool cycleWrite,
                                              int recordSaveDays, bool redundancy) {
    try {
        impl()->setRecordDevicePolicy(RecordDeviceDirPolicy(device, cycleWrite, groupId, recordSaveDays, redundancy));
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
    }
}

int RecordDiskManager::removeRecordDevicePolicy(RecordDeviceInfo const& device) {
    try {
        return impl()->removeRecordDevicePolicy(device);
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
        return kException;
    }
}

void RecordDiskManager::removeAllRecordDevicePolicy(int recordMode) {
    try {
        impl()->removeAllRecordDevicePolicy(recordMode);
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
    }
}

void RecordDiskManager::setRecordType(int recordType) {
    try {
        impl()->setRecordType(recordType);
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
    }
}

void RecordDiskManager::setDeviceId(std::string const& deviceId) {
    try {
        impl()->setDeviceId(deviceId);
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
    }
}

int RecordDiskManager::deleteFileListNoIndex(std::vector<std::string> const& names) {
    try {
        std::vector<std::string> copy(names);
        return impl()->deleteFileListNoIndex(copy);
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
        return kException;
    }
}

void RecordDiskManager::setDiskStatusListener(SafePointer<IRecordServiceListenerManager> const& listener) {
    try {
        impl()->setDiskStatusListener(listener);
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
    }
}

int RecordDiskManager::getDeviceGroupId(RecordDeviceInfo const& device) {
    try {
        return impl()->getDeviceGroupId(device);
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
        return kException;
    }
}

int RecordDiskManager::setChannelAbility(int channels) {
    try {
        DataVersionInfoManager::getInstance()->setChannelAbility(channels);
        return 0;
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
        return kException;
    }
}

int RecordDiskManager::isOverFileLockLimit() {
    try {
        return RecordLockInfoManager::getInstance()->isOverThreshold();
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
        return kException;
    }
}

int RecordDiskManager::updateFileLockThreshold(int percent) {
    try {
        return RecordLockInfoManager::getInstance()->updateThreshold(percent) ? 1 : 0;
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
        return kException;
    }
}

void RecordDiskManager::setDiskAlarmInterval(int seconds) {
    try {
        impl()->setDiskAlarmInterval(seconds);
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
    }
}

int RecordDiskManager::formatDisk(char*, int) { return 0; }

void RecordDiskManager::getRecordDirInfoList(std::vector<RecordDirInfo>& dirs) {
    try {
        OVMutexManager guard(&m_InvalidDirListMutex, __FILE__, __LINE__);
        for (RecordDirInfoEx const& info : impl()->getRecordDirInfoList())
            dirs.push_back(RecordDirInfoEx::changeToRecordDirInfo(info));
        dirs.insert(dirs.end(), m_InvalidDirList.begin(), m_InvalidDirList.end());
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
    }
}

int RecordDiskManager::setRecordDirInfoList(std::vector<RecordDirInfo> const& dirs) {
    try {
        OVMutexManager guard(&m_InvalidDirListMutex, __FILE__, __LINE__);
        m_InvalidDirList.clear();
        std::vector<RecordDirInfoEx> valid;
        for (RecordDirInfo const& info : dirs) {
            RecordDirInfoEx converted = RecordDirInfoEx::changeToRecordDirInfoEx(info);
            // A directory without a root cannot be opened.
            if (converted.getRecordRootDir().empty()) {
                m_InvalidDirList.push_back(info);
                continue;
            }
            // The host's entry carries no file size; a disk is cut into
            // files of the configured one.
            if (converted.getFileSegmentSize() <= 0) {
                converted.setFileSegmentSize(
                    static_cast<long long>(StorageParameterManage::getInstance()->getRecordFileSegmentSize()) << 20);
            }
            valid.push_back(converted);
        }
        return impl()->setRecordDirInfoList(valid);
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
        return kException;
    }
}

void RecordDiskManager::getRecordDirInfoListEx(std::vector<RecordDirInfo>& dirs) {
    try {
        std::map<std::string, RecordDirInfoEx> disks;
        for (RecordDirInfoEx const& info : impl()->getRecordDirInfoList()) {
            int index = RecordDirInfoEx::parseDiskIndex(info);
            if (index < 0) continue;
            std::string const key = std::to_string(index);
            auto found = disks.find(key);
            if (found == disks.end()) {
                RecordDirInfoEx entry = info;
                entry.setRecordDiskName("disk" + key);
                disks.emplace(key, entry);
                continue;
            }
            RecordDirInfoEx& disk = found->second;
            disk.setFreeSpace(disk.getFreeSpace() + info.getFreeSpace());
            disk.setUseableSpace(disk.getUseableSpace() + info.getUseableSpace());
            if (disk.getStatus() == 1 && info.getStatus() != 1) disk.setStatus(info.getStatus());
        }
        for (auto const& disk : disks) {
            RecordDirInfo merged = RecordDirInfoEx::changeToRecordDirInfo(disk.second);
            merged.setDiskName(disk.second.getRecordDiskName().c_str());
            dirs.push_back(merged);
        }
    } catch (OVRuntimeError const& error) {
        logError(error, __LINE__);
    }
}

#include "snapshot/SnapshotDiskManager.h"

#include <string>

#include "foundation/OVRuntimeError.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/ReturnCode.h"
#include "host/Logger.h"
#include "snapshot/SnapshotDiskManagerImplEx.h"

namespace NS_SnapshotDiskManager {
void logError(char const* what, OVRuntimeError const& error, int line) {
    std::string text = std::string(what) + error.what() + ")";
    Logger::writeLog("RecordIOError", text.c_str(), __FILE__, line);
}

SnapshotDiskManagerImplEx* impl() { return SnapshotDiskManagerImplEx::getInstance(); }
}  // namespace NS_SnapshotDiskManager

using NS_SnapshotDiskManager::impl;
using NS_SnapshotDiskManager::logError;

int SnapshotDiskManager::start() {
    try {
        return impl()->start();
    } catch (OVRuntimeError const& error) {
        logError("start of snapshot error(", error, __LINE__);
        return OV_RECORD_IO_ERROR;
    }
}

void SnapshotDiskManager::stop() {
    try {
        impl()->stop();
    } catch (OVRuntimeError const& error) {
        logError("stop of snapshot error(", error, __LINE__);
    }
}

void SnapshotDiskManager::setRecordDevicePolicy(RecordDeviceDirPolicy const& policy) {
    try {
        impl()->setRecordDevicePolicy(policy);
    } catch (OVRuntimeError const& error) {
        logError("setRecordDevicePolicy of snapshot error(", error, __LINE__);
    }
}

int SnapshotDiskManager::removeRecordDevicePolicy(RecordDeviceInfo const& device) {
    try {
        return impl()->removeRecordDevicePolicy(device);
    } catch (OVRuntimeError const& error) {
        logError("removeRecordDevicePolicy of snapshot error(", error, __LINE__);
        return OV_RECORD_IO_ERROR;
    }
}

void SnapshotDiskManager::removeAllRecordDevicePolicy() {
    try {
        impl()->removeAllRecordDevicePolicy();
    } catch (OVRuntimeError const& error) {
        logError("removeAllRecordDevicePolicy of snapshot error(", error, __LINE__);
    }
}

void SnapshotDiskManager::getRecordDirInfoList(std::vector<RecordDirInfo>& dirs) {
    try {
        std::vector<RecordDirInfoEx> list;
        impl()->getRecordDirInfoList(list);
        for (RecordDirInfoEx const& info : list) dirs.push_back(RecordDirInfoEx::changeToRecordDirInfo(info));
    } catch (OVRuntimeError const& error) {
        logError("getRecordDirInfoList of snapshot error(", error, __LINE__);
    }
}

int SnapshotDiskManager::setRecordDirInfoList(std::vector<RecordDirInfo> const& dirs) {
    try {
        std::vector<RecordDirInfoEx> valid;
        for (RecordDirInfo const& info : dirs) {
            RecordDirInfoEx converted = RecordDirInfoEx::changeToRecordDirInfoEx(info);
            if (!converted.getRecordRootDir().empty()) valid.push_back(converted);
        }
        return impl()->setRecordDirInfoList(valid);
    } catch (OVRuntimeError const& error) {
        logError("setRecordDirInfoList of snapshot error(", error, __LINE__);
        return OV_RECORD_IO_ERROR;
    }
}

#include "foundation/SceneLogManager.h"

#include "host/HostPaths.h"

SceneLogManager::SceneLogManager() : m_strLogFile(HostPaths::getLogDir() + "/scene.log") {}

void SceneLogManager::init() {}

void SceneLogManager::persist() {}

void SceneLogManager::addChunnelDiskInfo(ChunnelDiskInfo const& /*info*/) {}

void SceneLogManager::addChunnelDiskInfo(std::string const& /*deviceId*/, int /*cameraId*/,
                                         std::string const& /*diskName*/) {}

bool SceneLogManager::createFileEx(SafePointer<RecordFileInfo>& /*file*/,
                                   IDiskManager* /*diskManager*/) {
    return true;
}

bool SceneLogManager::getUseDiskName(std::string const& /*deviceId*/, int /*cameraId*/,
                                     std::string& /*diskName*/) {
    return true;
}

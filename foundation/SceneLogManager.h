#ifndef FOUNDATION_SCENELOGMANAGER_H
#define FOUNDATION_SCENELOGMANAGER_H

#include <string>
#include <vector>

#include "foundation/ChunnelDiskInfo.h"
#include "foundation/SafePointer.h"

class IDiskManager;
class RecordFileInfo;

// Placeholder of the keep-scene feature (each channel stays on the disk it
// used last). It must stay callable: every operation succeeds and does
// nothing, and the list of channels is never filled. Any thread.
class SceneLogManager {
public:
    SceneLogManager();

    // HostPaths::getLogDir() + "/scene.log", fixed at construction.
    std::string const& getLogFileName() const { return m_strLogFile; }

    void init();
    void persist();
    void addChunnelDiskInfo(ChunnelDiskInfo const& info);
    void addChunnelDiskInfo(std::string const& deviceId, int cameraId, std::string const& diskName);

    // True, and nothing is created.
    bool createFileEx(SafePointer<RecordFileInfo>& file, IDiskManager* diskManager);
    // True, and diskName is left alone.
    bool getUseDiskName(std::string const& deviceId, int cameraId, std::string& diskName);

    std::vector<ChunnelDiskInfo> const& getChunnelDiskInfoList() const { return m_chunnelDiskInfoList; }

private:
    std::string m_strLogFile;
    std::vector<ChunnelDiskInfo> m_chunnelDiskInfoList;  // never filled
};

#endif

#include "foundation/FrameQueueSizeManager.h"

#include <cstdio>

#include "host/GlobalEnv.h"
#include "host/HostPaths.h"
#include "host/Logger.h"
#include "host/Property.h"

char const* const FrameQueueSizeManager::kConfigFileName = "TSFrameQueueConfig.ini";

std::string FrameQueueSizeManager::getConfigFileName() {
    return HostPaths::getConfigDir() + "/" + kConfigFileName;
}

int FrameQueueSizeManager::getFrameQueueSize(int nChannels) {
    if (nChannels < 5) return getTSFrameQueueSizeByConfig("04ChunnelSize");
    if (nChannels <= 8) return getTSFrameQueueSizeByConfig("08ChunnelSize");
    if (nChannels <= 16) return getTSFrameQueueSizeByConfig("16ChunnelSize");
    if (nChannels <= 32) return getTSFrameQueueSizeByConfig("32ChunnelSize");
    return kDefaultQueueSize;
}

int FrameQueueSizeManager::getTSFrameQueueSizeByConfig(std::string const& key) {
    std::string const file = getConfigFileName();
    Property property(file);
    if (!property.open()) {
        // The file is optional, and every channel's queue asks: the log, not the console.
        std::string const text = "open " + file + " failed ";
        Logger::writeLog("FrameQueueConfig", text.c_str(), nullptr, 0);
        if (GlobalEnv::getInstance()->getPrintFlag()) std::printf("%s\n", text.c_str());
        return kDefaultQueueSize;
    }
    int nSize = 0;
    bool const found = property.get(key, nSize);
    property.close();
    if (!found) {
        // The text names the 4-channel key whatever was asked; kept as operators know it.
        std::printf("get MaxChunnelAbility04 failed  nSize:%d\n", nSize);
        return kDefaultQueueSize;
    }
    if (nSize < kMinQueueSizeMiB || nSize > kMaxQueueSizeMiB) return kDefaultQueueSize;
    return nSize * 1048576;
}

#include "tracking/FileLockConfigureParser.h"

#include <cstdio>

#include "foundation/EncoderType.h"
#include "host/DiskManagerFactory.h"
#include "host/HostPaths.h"
#include "host/OVLogger.h"
#include "host/Property.h"

namespace NS_FileLockConfigureParser {
constexpr char const* kThresholdKey = "FileLockThreshold";
constexpr unsigned int kLogLimit = 5120;
constexpr unsigned int kLogFiles = 2;
}  // namespace NS_FileLockConfigureParser

std::string FileLockConfigureParser::getConfigFileName() {
    return HostPaths::getCodeConfigDir() + "/FileLockConfigure.xml";
}

int FileLockConfigureParser::parser() {
    Property property(getConfigFileName());
    if (!property.open()) return 0;
    int percent = 0;
    if (property.get(NS_FileLockConfigureParser::kThresholdKey, percent)) m_dThreshold = percent / 100.0;
    property.close();
    return 1;
}

bool FileLockConfigureParser::update(int percent) {
    m_dThreshold = percent / 100.0;
    IDiskManager* disk = DiskManagerFactory::getDiskManager(DiskKind::kLocal, 0);
    if (disk == nullptr || !disk->createDir(HostPaths::getCodeConfigDir().c_str())) return false;
    Property property(getConfigFileName());
    property.open();
    property.set(NS_FileLockConfigureParser::kThresholdKey, percent);
    bool persisted = property.persist();
    property.close();
    if (!persisted) return false;
    OVLogger logger;
    std::string file = HostPaths::getLogDir() + "/fileLockConfigure.log";
    logger.init(file.c_str(), NS_FileLockConfigureParser::kLogLimit, NS_FileLockConfigureParser::kLogFiles);
    char text[64];
    std::snprintf(text, sizeof(text), "update threshold : %d", percent);
    logger.writeLog("FileLockConfigureParser", text);
    return true;
}

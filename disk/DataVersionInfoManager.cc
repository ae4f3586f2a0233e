#include "disk/DataVersionInfoManager.h"

#include <cstdio>

#include "disk/DataVersionConfigureParser.h"
#include "foundation/EncoderType.h"
#include "foundation/OVMutexManager.h"
#include "host/DiskManagerFactory.h"
#include "host/HostPaths.h"

namespace NS_DataVersionInfoManager {
constexpr double kSystemVersion = 2.0;
constexpr int kSystemAbility = 32;
constexpr double kFirstVersion = 1.0;
constexpr int kFirstAbility = 16;
}  // namespace NS_DataVersionInfoManager

DataVersionInfoManager::DataVersionInfoManager() { builtInTable(m_current, m_versions); }

void DataVersionInfoManager::builtInTable(DataVersionInfo& current, std::vector<DataVersionInfo>& versions) {
    using namespace NS_DataVersionInfoManager;
    DataVersionInfo second(kSystemVersion, kSystemAbility);
    second.addCompatibleDataVersion(kFirstVersion);
    versions = {second, DataVersionInfo(kFirstVersion, kFirstAbility)};
    current = second;
}

std::string DataVersionInfoManager::getConfigFileName() {
    return HostPaths::getCodeConfigDir() + "/DataVersionInfoConfigure.xml";
}

std::string DataVersionInfoManager::getDiskDataVersionFileName(std::string const& rootDir) {
    return rootDir + "/DiskDataVersionInfo.xml";
}

bool DataVersionInfoManager::init() {
    DataVersionConfigureParser::report("DataVersionInfoManager::init ", __LINE__);
    DataVersionInfo current;
    std::vector<DataVersionInfo> versions;
    builtInTable(current, versions);
    {
        OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
        m_current = current;
        m_versions = versions;
    }
    std::string file = getConfigFileName();
    DataVersionConfigureParser parser;
    DataVersionInfo written;
    std::vector<DataVersionInfo> writtenVersions;
    char text[512];
    if (!parser.parser(file, written, writtenVersions)) {
        std::snprintf(text, sizeof(text), "DataVersionInfoManager::init, parser(%s) failed, rebuild xml \n", file.c_str());
        DataVersionConfigureParser::report(text, __LINE__);
    } else if (!DataVersionInfo::isSameVersion(written.getDataVersion(), current.getDataVersion()) ||
               written.getMaxAccessAbility() != current.getMaxAccessAbility()) {
        std::snprintf(text, sizeof(text),
                      "DataVersionInfoManager::init, System DataVersion(%lf) != Xml DataVersion(%lf), System "
                      "MaxAccessAbility(%d) != Xml MaxAccessAbility(%d) \n",
                      current.getDataVersion(), written.getDataVersion(), current.getMaxAccessAbility(),
                      written.getMaxAccessAbility());
        DataVersionConfigureParser::report(text, __LINE__);
    } else {
        return true;
    }
    IDiskManager* disk = DiskManagerFactory::getDiskManager(DiskKind::kLocal, 0);
    if (disk == nullptr || disk->createDir(HostPaths::getCodeConfigDir().c_str()) == 0) return false;
    return parser.update(file, current, versions);
}

void DataVersionInfoManager::setChannelAbility(int channels) {
    {
        OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
        m_nChannelAbility = channels;
    }
    char text[128];
    std::snprintf(text, sizeof(text), "DataVersionInfoManager::setChannelAbility, System ChannelAbility = %d \n",
                  channels);
    DataVersionConfigureParser::report(text, __LINE__);
}

int DataVersionInfoManager::getChannelAbility() const {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return m_nChannelAbility;
}

DataVersionInfo DataVersionInfoManager::getCurrentDataVersionInfo() const {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return m_current;
}

std::vector<DataVersionInfo> DataVersionInfoManager::getDataVersionInfoList() const {
    OVMutexManager guard(&m_mutex, __FILE__, __LINE__);
    return m_versions;
}

char const* DataVersionInfoManager::getStatusName(int status) {
    switch (status) {
        case DataVersion_OK: return "DataVersion_OK";
        case DataVersion_Low_OK: return "DataVersion_Low_OK";
        case DataVersion_Low_Unuseable: return "DataVersion_Low_Unuseable";
        case DataVersion_High_OK: return "DataVersion_High_OK";
        case DataVersion_High_Unuseable: return "DataVersion_High_Unuseable";
        case DataVersion_ACCESS_ABLILITY: return "DataVersion_ACCESS_ABLILITY";
        default: return "";
    }
}

bool DataVersionInfoManager::isGoodStatus(int status) {
    return status == DataVersion_OK || status == DataVersion_Low_OK || status == DataVersion_High_OK;
}

int DataVersionInfoManager::checkDataVersionValid(double diskVersion, int diskAbility) {
    return judge(diskVersion, diskAbility, getDataVersionInfoList(), false);
}

int DataVersionInfoManager::checkDataVersionValid(std::string const& file) {
    DataVersionInfo disk;
    std::vector<DataVersionInfo> diskTable;
    char text[512];
    if (!DataVersionConfigureParser().parser(file, disk, diskTable)) {
        std::snprintf(text, sizeof(text), "DataVersionInfoManager::checkDataVersionValid, parser(%s) failed \n",
                      file.c_str());
        DataVersionConfigureParser::report(text, __LINE__);
        return -1;
    }
    std::snprintf(text, sizeof(text), "DataVersionInfoManager, DataVersion(%lf), CurDataVersion(%lf) \n",
                  disk.getDataVersion(), getCurrentDataVersionInfo().getDataVersion());
    DataVersionConfigureParser::report(text, __LINE__);
    return judge(disk.getDataVersion(), disk.getMaxAccessAbility(), diskTable, true);
}

// `table` says what a version newer than ours can read: ours for a bare
// number, the disk's own for a disk that brought its file.
int DataVersionInfoManager::judge(double diskVersion, int diskAbility, std::vector<DataVersionInfo> const& table,
                                  bool fromDisk) {
    DataVersionInfo current = getCurrentDataVersionInfo();
    int channels = getChannelAbility();
    double system = current.getDataVersion();
    bool channelsFit = channels <= diskAbility;
    int status = DataVersion_OK;
    bool higher = false;
    if (DataVersionInfo::isSameVersion(diskVersion, system)) {
        status = channelsFit ? DataVersion_OK : DataVersion_ACCESS_ABLILITY;
    } else if (diskVersion < system) {
        if (!current.isInCompatibleList(diskVersion))
            status = DataVersion_Low_Unuseable;
        else
            status = channelsFit ? DataVersion_Low_OK : DataVersion_ACCESS_ABLILITY;
    } else {
        higher = true;
        bool compatible = false;
        for (DataVersionInfo const& info : table)
            if (DataVersionInfo::isSameVersion(info.getDataVersion(), diskVersion) && info.isInCompatibleList(system))
                compatible = true;
        if (!compatible)
            status = DataVersion_High_Unuseable;
        else
            status = channelsFit ? DataVersion_High_OK : DataVersion_ACCESS_ABLILITY;
    }
    char text[512];
    if (fromDisk && higher && status != DataVersion_High_Unuseable)
        std::snprintf(text, sizeof(text),
                      "DataVersionInfoManager::checkDataVersionValid, Disk DataVersion(%lf) > System DataVersion(%lf), "
                      "%s \n",
                      diskVersion, system,
                      status == DataVersion_High_OK ? "DataVersion_OK" : "DataVersion_Access_Ability_UnMatch");
    else
        std::snprintf(text, sizeof(text), "DataVersionInfoManager::checkDataVersionValid,  %s", getStatusName(status));
    DataVersionConfigureParser::report(text, __LINE__);
    return status;
}

bool DataVersionInfoManager::updateDiskDataVersionInfo(std::string const& rootDir) {
    return DataVersionConfigureParser().update(getDiskDataVersionFileName(rootDir), getCurrentDataVersionInfo(),
                                               getDataVersionInfoList());
}

bool DataVersionInfoManager::getDiskDataVersionInfo(std::string const& rootDir, DataVersionInfo& current,
                                                    std::vector<DataVersionInfo>& versions) const {
    return DataVersionConfigureParser().parser(getDiskDataVersionFileName(rootDir), current, versions);
}

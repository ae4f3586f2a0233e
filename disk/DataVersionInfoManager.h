#ifndef DISK_DATAVERSIONINFOMANAGER_H
#define DISK_DATAVERSIONINFOMANAGER_H

#include <string>
#include <vector>

#include "disk/DataVersionInfo.h"
#include "foundation/Singlton.h"
#include "host/OVMutex.h"

// How a disk's data version stands against the system's.
enum DataVersionStatus {
    DataVersion_OK = 30,
    DataVersion_Low_OK = 31,
    DataVersion_Low_Unuseable = 32,
    DataVersion_High_OK = 33,
    DataVersion_High_Unuseable = 34,
    DataVersion_ACCESS_ABLILITY = 35
};

// The system's table of data versions, and the judge of a disk's version
// against it. The built-in table always wins over the file: the file only
// tells the world what this system writes.
//
// Any thread: directories check their disks on their own threads.
class DataVersionInfoManager : public Singlton<DataVersionInfoManager> {
public:
    // Builds the built-in table and brings DataVersionInfoConfigure.xml in
    // line with it; false only when the file could not be written.
    bool init();
    void setChannelAbility(int channels);
    int getChannelAbility() const;
    DataVersionInfo getCurrentDataVersionInfo() const;
    std::vector<DataVersionInfo> getDataVersionInfoList() const;

    // 30 to 35 for a disk of `diskVersion` whose layout serves `diskAbility`
    // channels; a higher version's compatibility comes from the system's
    // table of known versions.
    int checkDataVersionValid(double diskVersion, int diskAbility);
    // The same for the disk whose version file is `file`, a higher version's
    // compatibility coming from that file's own table; -1 when the file
    // cannot be read.
    int checkDataVersionValid(std::string const& file);

    // Writes DiskDataVersionInfo.xml into an existing root with the system's table.
    bool updateDiskDataVersionInfo(std::string const& rootDir);
    bool getDiskDataVersionInfo(std::string const& rootDir, DataVersionInfo& current,
                                std::vector<DataVersionInfo>& versions) const;

    static std::string getConfigFileName();
    static std::string getDiskDataVersionFileName(std::string const& rootDir);
    // The status's name as logs give it; "" for any other value.
    static char const* getStatusName(int status);
    // Whether a disk of this status may be recorded on.
    static bool isGoodStatus(int status);

private:
    friend class Singlton<DataVersionInfoManager>;
    DataVersionInfoManager();

    static void builtInTable(DataVersionInfo& current, std::vector<DataVersionInfo>& versions);
    int judge(double diskVersion, int diskAbility, std::vector<DataVersionInfo> const& table, bool fromDisk);

    mutable OVMutex m_mutex;
    int m_nChannelAbility = 0;                // guarded by m_mutex; 0: not told yet
    DataVersionInfo m_current;                // guarded by m_mutex
    std::vector<DataVersionInfo> m_versions;  // guarded by m_mutex
};

#endif

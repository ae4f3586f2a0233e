#include "directory/EmptyDirStat.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "directory/EmptyDirManager.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"
#include "host/IFileScanAction.h"

namespace {

// Pool names by number, whatever order the file system lists them in. With
// a device id, only that prefix: "NVR*" also matches "NVR2_5".
class EmptyFileSort : public IFileScanAction {
public:
    explicit EmptyFileSort(std::string const& deviceId) : m_strDeviceId(deviceId) {}

    void doAction(char const* name) override {
        std::string prefix;
        int id = 0;
        if (name == nullptr || !EmptyDirManager::splitDevice(name, prefix, id)) return;
        if (!m_strDeviceId.empty() && prefix != m_strDeviceId) return;
        m_files.emplace(id, name);
    }

    std::multimap<int, std::string> m_files;

private:
    std::string m_strDeviceId;
};

std::string numbered(std::string const& deviceId, char const* format, int id) {
    char number[16];
    std::snprintf(number, sizeof(number), format, id);
    return deviceId + "_" + number;
}

}  // namespace

EmptyDirStat::EmptyDirStat(int diskType, std::string const& poolPath)
    : m_strPoolPath(poolPath), m_nDiskType(diskType) {}

int EmptyDirStat::init(int format) {
    m_pDiskManager = DiskManagerFactory::getDiskManager(m_nDiskType, format);
    return 1;
}

int EmptyDirStat::getEmptyFileList(std::string const& deviceId, std::vector<std::string>& out) {
    if (m_pDiskManager == nullptr) return 0;
    EmptyFileSort sort(deviceId);
    if (m_pDiskManager->scanFiles(m_strPoolPath.c_str(), &sort, (deviceId + "*").c_str()) < 0) return -1;
    for (auto const& file : sort.m_files) out.push_back(file.second);
    return static_cast<int>(sort.m_files.size());
}

int EmptyDirStat::getEmptyFileNumber(std::string const& deviceId) {
    if (m_pDiskManager == nullptr) return 0;
    std::vector<std::string> names;
    if (m_pDiskManager->getFileList(m_strPoolPath.c_str(), names, (deviceId + "_*").c_str(), 0) < 0) return 0;
    return static_cast<int>(names.size());
}

int EmptyDirStat::getTotalEmptyFileNumber() {
    if (m_pDiskManager == nullptr) return 0;
    std::vector<std::string> names;
    int count = m_pDiskManager->getFileList(m_strPoolPath.c_str(), names, "*", 0);
    return count < 0 ? 0 : count;
}

int EmptyDirStat::getMaxFileId(std::string const& deviceId) {
    if (m_pDiskManager == nullptr) return 0;
    EmptyFileSort sort(deviceId);
    if (m_pDiskManager->scanFiles(m_strPoolPath.c_str(), &sort, (deviceId + "*").c_str()) < 0) return -1;
    return sort.m_files.empty() ? 0 : sort.m_files.rbegin()->first;
}

bool EmptyDirStat::moveFile(std::string const& deviceId, int fromId, int toId) {
    if (m_pDiskManager == nullptr) return false;
    for (char const* format : {"%05d", "%d"}) {
        std::string from = m_strPoolPath + "/" + numbered(deviceId, format, fromId);
        if (m_pDiskManager->isFileExist(from.c_str()) != 1) continue;
        std::string to = m_strPoolPath + "/" + numbered(deviceId, format, toId);
        return m_pDiskManager->renameFile(from.c_str(), to.c_str()) != 0;
    }
    return false;
}

// File j of k (ascending) goes to min(its number, maxId - (k - j)): numbers
// only fall, stay ascending, and the slot a file moves into was left by a
// lower file earlier in the same walk.
bool EmptyDirStat::updateMaxFileId(std::string const& deviceId, int maxId) {
    if (m_pDiskManager == nullptr) return false;
    EmptyFileSort sort(deviceId);
    if (m_pDiskManager->scanFiles(m_strPoolPath.c_str(), &sort, (deviceId + "*").c_str()) < 0) return false;
    int const count = static_cast<int>(sort.m_files.size());
    if (count > maxId) return false;
    int j = 0;
    for (auto const& file : sort.m_files) {
        ++j;
        int target = std::min(file.first, maxId - (count - j));
        if (target != file.first && !moveFile(deviceId, file.first, target)) return false;
    }
    return true;
}

int EmptyDirStat::getValidEmptyFileList(std::vector<std::string>& out, std::string const& deviceId,
                                        int& p_TotalNumber) {
    std::vector<std::string> names;
    p_TotalNumber = getEmptyFileList(deviceId, names);
    if (m_pDiskManager == nullptr || p_TotalNumber < 0) {
        if (GlobalEnv::getInstance()->getPrintFlag())
            std::printf("enter getValidEmptyFileList() failed ,p_TotalNumber=%d\n", p_TotalNumber);
        return 0;
    }
    std::map<std::string, int> tops;
    for (std::string const& name : names) {
        std::string prefix;
        int id = 0;
        EmptyDirManager::splitDevice(name, prefix, id);
        int& top = tops[prefix];
        if (id > top) top = id;
    }
    for (std::string const& name : names) {
        std::string prefix;
        int id = 0;
        EmptyDirManager::splitDevice(name, prefix, id);
        if (id != tops[prefix]) out.push_back(name);
    }
    return 1;
}

int EmptyDirStat::getTotalFileNumber() {
    if (m_pDiskManager == nullptr) return 0;
    EmptyFileSort sort("");
    if (m_pDiskManager->scanFiles(m_strPoolPath.c_str(), &sort, "*") < 0) return -1;
    std::map<std::string, int> tops;
    for (auto const& file : sort.m_files) {
        std::string prefix;
        int id = 0;
        EmptyDirManager::splitDevice(file.second, prefix, id);
        int& top = tops[prefix];
        if (id > top) top = id;
    }
    int total = 0;
    for (auto const& top : tops) total += top.second;
    return total;
}

#include "directory/RecordStatDir.h"

#include <algorithm>
#include <cstring>

#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "host/DataConverter.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"

namespace {

char const* const kStatDirName = "stat";

// Reads the stat file of every name "<device id>_<camera>" the scan passes,
// leaving out this recorder's own channels and temp files a crash left.
class StatFileScanner : public IFileScanAction {
public:
    StatFileScanner(SafePointer<RecordStatFile> const& file, std::vector<NasDirDeviceRecordStatInfo> const& own,
                    std::vector<NasDirDeviceRecordStatInfo>& found)
        : m_file(file), m_own(own), m_found(found) {}

    void doAction(char const* name) override {
        std::string const text(name);
        if (text.find(RecordStatFile::kTempSuffix) != std::string::npos) return;
        size_t const cut = text.rfind('_');
        if (cut == std::string::npos || cut == 0) return;
        int camera = 0;
        if (!DataConverter::convert<int>(text.substr(cut + 1), camera)) return;
        NasDirDeviceRecordStatInfo info(text.substr(0, cut), camera);
        for (NasDirDeviceRecordStatInfo const& mine : m_own)
            if (mine.isSameDevice(info)) return;
        if (m_file->getDeviceStatInfo(info) == 0) m_found.push_back(info);
    }

private:
    SafePointer<RecordStatFile> m_file;
    std::vector<NasDirDeviceRecordStatInfo> const& m_own;
    std::vector<NasDirDeviceRecordStatInfo>& m_found;
};

}  // namespace

RecordStatDir::RecordStatDir(std::string const& path)
    : m_strStatPath(path + BasicTool::kSeparator + kStatDirName), m_statFile(new RecordStatFile(m_strStatPath)) {}

std::string RecordStatDir::toStatDeviceId(RecordDeviceInfo const& device) {
    return device.getDeviceId() + "_" + BasicTool::getFileNameIP(device.getDeviceIP());
}

bool RecordStatDir::init(int diskType, int format) {
    m_nDiskType = diskType;
    m_nFormat = format;
    IDiskManager* disk = DiskManagerFactory::getDiskManager(diskType, format);
    if (disk == nullptr) return false;
    if (disk->isDirExist(m_strStatPath.c_str()) == 0 && disk->createDir(m_strStatPath.c_str()) == 0) return false;
    return m_statFile->init(diskType, format) == 1;
}

void RecordStatDir::uninit() {
    std::vector<NasDirDeviceRecordStatInfo> own;
    {
        OV_LOCK_GUARD(guard, m_ownMutex);
        own.swap(m_ownList);
    }
    {
        OV_LOCK_GUARD(guard, m_scanMutex);
        m_scanList.clear();
    }
    for (NasDirDeviceRecordStatInfo const& info : own) m_statFile->deleteStatFile(info);
}

void RecordStatDir::scanStatDir() {
    std::vector<NasDirDeviceRecordStatInfo> const own = getOwnList();
    std::vector<NasDirDeviceRecordStatInfo> found;
    IDiskManager* disk = DiskManagerFactory::getDiskManager(m_nDiskType, m_nFormat);
    if (disk == nullptr) return;
    StatFileScanner scanner(m_statFile, own, found);
    // A folder that can't be listed changes nothing: the others keep their
    // last state rather than all turning inactive at once.
    if (disk->scanFiles(m_strStatPath.c_str(), &scanner, "*_*") < 0) return;
    GlobalEnv::print("RecordStatDir::scanStatDir1111111111111111:%d \n", static_cast<int>(found.size()));
    updateDeviceStatInfoList(found);
}

void RecordStatDir::updateDeviceStatInfoList(std::vector<NasDirDeviceRecordStatInfo> const& found) {
    OV_LOCK_GUARD(guard, m_scanMutex);
    for (NasDirDeviceRecordStatInfo& entry : m_scanList) entry.setDeviceActive(false);
    for (NasDirDeviceRecordStatInfo const& info : found) {
        auto entry = std::find_if(m_scanList.begin(), m_scanList.end(),
                                  [&](NasDirDeviceRecordStatInfo const& known) { return known.isSameDevice(info); });
        if (entry == m_scanList.end()) {
            m_scanList.push_back(info);
            m_scanList.back().setDeviceActive(true);
        } else if (entry->getUpdateTime() != info.getUpdateTime()) {
            *entry = info;
            entry->setDeviceActive(true);
        }
    }
}

int RecordStatDir::refreshStatFile() {
    std::vector<NasDirDeviceRecordStatInfo> const own = getOwnList();
    for (NasDirDeviceRecordStatInfo const& info : own) {
        int const code = m_statFile->updateDeviceStatInfo(info);
        if (code != 0) return code;
    }
    return 0;
}

std::uint64_t RecordStatDir::generateUpdateId(NasDirDeviceRecordStatInfo const& info,
                                              std::vector<NasDirDeviceRecordStatInfo> const& list) {
    for (NasDirDeviceRecordStatInfo const& known : list)
        if (known.isSameDevice(info)) return known.getUpdateTime() + 1;
    return 1;
}

int RecordStatDir::updateStatFile(std::vector<NasDirDeviceRecordStatInfo>& list) {
    std::vector<NasDirDeviceRecordStatInfo> left;
    {
        OV_LOCK_GUARD(guard, m_ownMutex);
        for (NasDirDeviceRecordStatInfo& info : list) info.setUpdateTime(generateUpdateId(info, m_ownList));
        for (NasDirDeviceRecordStatInfo const& old : m_ownList) {
            bool kept = std::any_of(list.begin(), list.end(),
                                    [&](NasDirDeviceRecordStatInfo const& info) { return info.isSameDevice(old); });
            if (!kept) left.push_back(old);
        }
        m_ownList = list;
    }
    for (NasDirDeviceRecordStatInfo const& info : left) m_statFile->deleteStatFile(info);
    return refreshStatFile();
}

void RecordStatDir::updateStatFileId() {
    OV_LOCK_GUARD(guard, m_ownMutex);
    for (NasDirDeviceRecordStatInfo& info : m_ownList) info.setUpdateTime(info.getUpdateTime() + 1);
}

bool RecordStatDir::isDevicePolicyChanged(std::vector<RecordDeviceDirPolicy> const& policies) {
    OV_LOCK_GUARD(guard, m_ownMutex);
    if (policies.size() != m_ownList.size()) return true;
    for (RecordDeviceDirPolicy const& policy : policies) {
        NasDirDeviceRecordStatInfo wanted(toStatDeviceId(policy.getRecordDeviceInfo()),
                                          policy.getRecordDeviceInfo().getCameraId());
        auto entry = std::find_if(m_ownList.begin(), m_ownList.end(),
                                  [&](NasDirDeviceRecordStatInfo const& info) { return info.isSameDevice(wanted); });
        if (entry == m_ownList.end() || entry->getSaveDays() != policy.getRecordSaveDays()) return true;
    }
    return false;
}

int RecordStatDir::getDeviceCount() {
    size_t count = 0;
    {
        OV_LOCK_GUARD(guard, m_scanMutex);
        count += m_scanList.size();
    }
    OV_LOCK_GUARD(guard, m_ownMutex);
    return static_cast<int>(count + m_ownList.size());
}

void RecordStatDir::getNeedDelRecordDeviceList(std::vector<RecordDeviceInfo>& out) {
    int best = 0;
    {
        OV_LOCK_GUARD(guard, m_scanMutex);
        for (NasDirDeviceRecordStatInfo const& info : m_scanList)
            if (info.isDeviceActive()) best = std::max(best, info.getUseableRecordDays());
    }
    OV_LOCK_GUARD(guard, m_ownMutex);
    for (NasDirDeviceRecordStatInfo const& info : m_ownList) {
        if (info.getUseableRecordDays() == 0 || info.getUseableRecordDays() < best) continue;
        std::string const& id = info.getDeviceId();
        size_t const cut = id.find('_');
        RecordDeviceInfo device;
        device.setDeviceId(id.substr(0, cut));
        if (cut != std::string::npos) device.setDeviceIP(id.substr(cut + 1));
        device.setCameraId(info.getCameraId());
        out.push_back(device);
    }
}

std::vector<NasDirDeviceRecordStatInfo> RecordStatDir::getScanList() {
    OV_LOCK_GUARD(guard, m_scanMutex);
    return m_scanList;
}

std::vector<NasDirDeviceRecordStatInfo> RecordStatDir::getOwnList() {
    OV_LOCK_GUARD(guard, m_ownMutex);
    return m_ownList;
}

void RecordFileNumberStat::doAction(char const* name) {
    if (name != nullptr && std::strstr(name, ".ts") != nullptr) ++m_nCount;
}

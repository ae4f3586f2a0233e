#include "directory/EmptyDirManager.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "foundation/StorageParameterManage.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"

namespace NS_EmptyDirManager {

// A pool file is made under this name and renamed to its own once it has
// all its blocks: a fill cut short by a power cut or a full disk can then
// never leave a short file under a pool name, which would be handed out as
// a whole segment. The name does not parse as a pool file.
char const* const kFillingName = "filling";
// Pool files made between two syncs: few enough that a power cut costs little
// refilling, enough that a fill pays one commit per batch, not per file.
constexpr int kSyncBatch = 16;

}  // namespace NS_EmptyDirManager

EmptyDirManager::EmptyDirManager(long long fileSize, int diskType, std::string const& recordPath,
                                 std::string const& deviceId, int recordType, int)
    : m_nFileSize(fileSize),
      m_strEmptyPath(recordPath + BasicTool::kSeparator + BasicTool::kEmptyDirName),
      m_strDeviceId(deviceId),
      m_nRecordType(recordType),
      m_nDiskType(diskType) {}

// Decimal digits alone behind the first "_": a name of three parts never parses.
bool EmptyDirManager::splitDevice(std::string const& name, std::string& prefix, int& id) {
    size_t cut = name.find('_');
    if (cut == std::string::npos || !BasicTool::getNumber(name.substr(cut + 1), id)) return false;
    prefix = name.substr(0, cut);
    return true;
}

std::string EmptyDirManager::createEmptyFileName(std::string const& prefix, int id) const {
    char number[16];
    std::snprintf(number, sizeof(number), isNVRVersionEmptyFile(prefix) ? "%05d" : "%d", id);
    return prefix + "_" + number;
}

int EmptyDirManager::init(int fileSystemFormat) {
    m_bReady = false;
    m_bStopFlag = false;
    m_pDiskManager = DiskManagerFactory::getDiskManager(m_nDiskType, fileSystemFormat);
    if (diskManager() == nullptr) return 0;
    char const* pool = m_strEmptyPath.c_str();
    if (diskManager()->isDirExist(pool) == 0 && diskManager()->createDir(pool) == 0) return 0;
    diskManager()->deleteFile((m_strEmptyPath + "/" + NS_EmptyDirManager::kFillingName).c_str());
    deleteOtherEmptyFile();
    std::vector<std::string> names;
    if (diskManager()->getFileList(pool, names, "*", 0) < 0) return 0;

    OV_LOCK_GUARD(guard, m_mutex);
    GlobalEnv::print("EmptyDirManager::init 1111 ");
    m_files.clear();
    for (std::string const& name : names) {
        std::string prefix;
        int id = 0;
        if (splitDevice(name, prefix, id)) m_files[id] = prefix;
    }
    m_nMaxFileId = calcMaxFileId(m_files);
    m_nUseMode = StorageParameterManage::getInstance()->getRecordFileUseMode();
    std::srand(static_cast<unsigned int>(std::time(nullptr)));
    m_bReady = true;
    return 1;
}

// An SD card may come from another recorder: its files would be numbered in
// another recorder's count.
int EmptyDirManager::deleteOtherEmptyFile() {
    if (m_nDiskType != 2 || diskManager() == nullptr) return 0;
    GlobalEnv::print("EmptyDirManager::deleteOtherEmptyFile begin ");
    std::vector<std::string> names;
    if (diskManager()->getFileList(m_strEmptyPath.c_str(), names, "*", 0) < 0) return 0;
    for (std::string const& name : names) {
        std::string prefix;
        int id = 0;
        if (!splitDevice(name, prefix, id) || prefix == m_strDeviceId) continue;
        std::string path = m_strEmptyPath + "/" + name;
        GlobalEnv::print("delete %s \n", path.c_str());
        bool deleted = diskManager()->deleteFile(path.c_str());
        GlobalEnv::print("delete %s %d \n", path.c_str(), deleted ? 1 : 0);
    }
    return 1;
}

int EmptyDirManager::getEmptyFileNumber() {
    if (!m_bReady) return 0;
    OV_LOCK_GUARD(guard, m_mutex);
    return static_cast<int>(m_files.size());
}

int EmptyDirManager::getEmptyFileNumberByDeviceId() { return getEmptyFileNumber(); }

int EmptyDirManager::getValidEmptyFileNumber() {
    OV_LOCK_GUARD(guard, m_mutex);
    return static_cast<int>(m_files.size());
}

int EmptyDirManager::getCurrentDeviceFileNumber(std::string const&) { return getValidEmptyFileNumber(); }

bool EmptyDirManager::isExistEmptyFile() {
    if (!m_bReady) return false;
    OV_LOCK_GUARD(guard, m_mutex);
    return !m_files.empty();
}

bool EmptyDirManager::hasFreeSpace() {
    OV_LOCK_GUARD(guard, m_mutex);
    return m_files.size() > 1;
}

int EmptyDirManager::getMaxFileId() {
    OV_LOCK_GUARD(guard, m_mutex);
    return m_nMaxFileId;
}

int EmptyDirManager::getTotalFileNumber() {
    if (!m_bReady) return 0;
    return m_nRecordType == 2 ? getTotalFileNumber_Privite() : getMaxFileId();
}

long long EmptyDirManager::getTotalFileSize() { return getTotalFileNumber() * m_nFileSize; }

// Several devices share the folder: each prefix counts up to its own top.
int EmptyDirManager::getTotalFileNumber_Privite() {
    if (diskManager() == nullptr) return -1;
    std::vector<std::string> names;
    if (diskManager()->getFileList(m_strEmptyPath.c_str(), names, "*", 0) < 0) return -1;
    std::map<std::string, int> tops;
    for (std::string const& name : names) {
        std::string prefix;
        int id = 0;
        if (!splitDevice(name, prefix, id)) continue;
        int& top = tops[prefix];
        if (id > top) top = id;
    }
    int total = 0;
    for (auto const& top : tops) total += top.second;
    return total;
}

int EmptyDirManager::calcMaxFileId(std::map<int, std::string> const& files) {
    return files.empty() ? 0 : files.rbegin()->first;
}

int EmptyDirManager::getRandomIndexFromMap(std::map<int, std::string>& files) {
    if (files.empty()) return -1;
    std::vector<int> keys;
    keys.reserve(files.size());
    for (auto const& file : files) keys.push_back(file.first);
    return keys[static_cast<size_t>(std::rand()) % keys.size()];
}

int EmptyDirManager::allocRecordSpace() {
    int done = getEmptyFileNumber() - 1;
    int total = getTotalFileNumber();
    int const maxNumber = m_nMaxFileNumber.load();
    if (maxNumber <= total) {
        m_bCreating = false;
        return done;
    }
    int const first = getMaxFileId();
    int const n = maxNumber - first;
    int made = 0;
    int synced = 0;
    bool durable = true;
    while (made < n && !m_bStopFlag && fillEmptyFile(first + made + 1) == 1) {
        ++made;
        if (made - synced == NS_EmptyDirManager::kSyncBatch) {
            durable = syncFilled(first + synced + 1, first + made) && durable;
            synced = made;
        }
    }
    if (made > synced) durable = syncFilled(first + synced + 1, first + made) && durable;
    if (!durable) Logger::writeLog("EmptyDirManager", "pool files made but not synced", __FILE__, __LINE__);
    if (made < n && m_bStopFlag) return 0;
    m_bCreating = false;
    return done + made;
}

// One commit for a batch: the files' blocks, then the folder with their
// names. Lost at a power cut, a batch leaves at most "filling" and a lower
// max id, from which the next init numbers on.
bool EmptyDirManager::syncFilled(int from, int to) {
    IDiskManager* disk = diskManager();
    if (disk == nullptr) return false;
    bool ok = true;
    for (int id = from; id <= to; ++id)
        ok = disk->syncFile((m_strEmptyPath + "/" + createEmptyFileName(m_strDeviceId, id)).c_str()) && ok;
    return disk->syncDir(m_strEmptyPath.c_str()) && ok;
}

int EmptyDirManager::createEmptyFile(int id) {
    if (!m_bReady || id < getMaxFileId() || fillEmptyFile(id) == 0) return 0;
    syncFilled(id, id);
    return 1;
}

// The pool mutex is not held while the blocks are reserved: handing out a
// file must not wait for a fill. Neither the blocks nor the rename are synced
// here but by batch (syncFilled): lost at a power cut, a file leaves
// "filling", which the next init deletes, and the number is made again.
int EmptyDirManager::fillEmptyFile(int id) {
    IDiskManager* disk = m_pDiskManager;
    if (disk == nullptr) return 0;
    std::string path = m_strEmptyPath + "/" + createEmptyFileName(m_strDeviceId, id);
    std::string filling = m_strEmptyPath + "/" + NS_EmptyDirManager::kFillingName;
    if (disk->createSizedFile(filling.c_str(), m_nFileSize, IDiskManager::kDeferSync) != 0 ||
        disk->renameFile(filling.c_str(), path.c_str()) == 0) {
        disk->deleteFile(filling.c_str());
        return 0;
    }
    OV_LOCK_GUARD(guard, m_mutex);
    m_files[id] = m_strDeviceId;
    m_nMaxFileId = calcMaxFileId(m_files);
    return 1;
}

// The writer's frames would follow a rename that a power cut undoes back into
// the pool, and be handed out again as empty.
bool EmptyDirManager::moveOut(int key, std::string const& target) {
    std::string source = m_strEmptyPath + "/" + createEmptyFileName(m_files[key], key);
    return BasicTool::moveFileDurably(diskManager(), source, target);
}

int EmptyDirManager::createFileEx(SafePointer<RecordFileInfo>& file) {
    if (file.isNull()) return 0;
    OV_LOCK_GUARD(guard, m_mutex);
    auto entry = m_files.begin();
    if (m_nUseMode == -1) {
        int pick = getRandomIndexFromMap(m_files);
        if (pick > 0) entry = m_files.find(pick);
    }
    return handOut(entry, [&](int key, std::string const& prefix) {
        file->setFileNumber(isNVRVersionEmptyFile(prefix) ? key : -1);
        file->setRecordFileName(file->createFileName());
        return file->createRecordFileName();
    });
}

int EmptyDirManager::createFile(std::string const& target) {
    OV_LOCK_GUARD(guard, m_mutex);
    return handOut(m_files.begin(), [&](int, std::string const&) { return target; });
}

int EmptyDirManager::handOut(std::map<int, std::string>::iterator entry,
                             std::function<std::string(int, std::string const&)> const& targetOf) {
    if (!m_bReady || diskManager() == nullptr) return 0;
    while (entry != m_files.end() && !m_bStopFlag) {
        // With a random pick, a pick of the top file fails the request though
        // lower files are left; the caller then takes one from the bin.
        if (entry->first == m_nMaxFileId) return 0;
        std::string target = targetOf(entry->first, entry->second);
        if (moveOut(entry->first, target)) {
            GlobalEnv::print("EmptyDirManager::createFile erase 1111 %s \n", target.c_str());
            m_files.erase(entry);
            return 1;
        }
        // Forgotten until the next init reads the folder again.
        GlobalEnv::print("EmptyDirManager::createFile erase 2222 %s \n", target.c_str());
        entry = m_files.erase(entry);
    }
    return 0;
}

#include "directory/IndexDirManager.h"

#include <cerrno>
#include <cstdio>

#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"

namespace NS_IndexDirManager {

// Pool files are made under this name and renamed once whole, so that a
// listing never takes a file still being filled. Not an index file.
char const* const kFillingName = "filling";

}  // namespace NS_IndexDirManager

IndexDirManager::IndexDirManager(int fileSize, int diskType, std::string const& recordPath)
    : m_nFileSize(fileSize),
      m_strIndexPath(recordPath + BasicTool::kSeparator + BasicTool::kIndexDirName),
      m_nDiskType(diskType) {}

std::string IndexDirManager::createFileName(int n) {
    char name[32];
    std::snprintf(name, sizeof(name), "%05d.index", n);
    return name;
}

bool IndexDirManager::isIndexFile(std::string const& name) {
    size_t dot = name.rfind('.');
    return dot != std::string::npos && name.compare(dot + 1, std::string::npos, "index") == 0;
}

bool IndexDirManager::init(int fileSystemFormat) {
    m_pDiskManager = DiskManagerFactory::getDiskManager(m_nDiskType, fileSystemFormat);
    if (diskManager() == nullptr) return false;
    char const* pool = m_strIndexPath.c_str();
    if (diskManager()->isDirExist(pool) == 0 && diskManager()->createDir(pool) == 0) {
        GlobalEnv::print("IndexDirManager::init createDir: %s failed!\n", pool);
        return false;
    }
    deleteOtherFile();
    diskManager()->deleteFile((m_strIndexPath + "/" + NS_IndexDirManager::kFillingName).c_str());
    OV_LOCK_GUARD(guard, m_mutex);
    m_fileList.clear();
    m_bReady = fillFilelist();
    if (!m_bReady) GlobalEnv::print("%s\n", "IndexDirManager::init get validFileList failede!");
    return m_bReady;
}

int IndexDirManager::uninit() {
    OV_LOCK_GUARD(guard, m_mutex);
    m_fileList.clear();
    return 1;
}

bool IndexDirManager::fillFilelist() {
    if (diskManager() == nullptr) return false;
    return diskManager()->getFileList(m_strIndexPath.c_str(), m_fileList, "*.index", kListLimit) >= 0;
}

bool IndexDirManager::isNeedAllocateEmptyIndex() {
    OV_LOCK_GUARD(guard, m_mutex);
    return m_fileList.empty();
}

int IndexDirManager::deleteOtherFile() {
    if (m_nDiskType != 2 || diskManager() == nullptr) return 1;
    GlobalEnv::print("%s\n", "delete otherIndexFile begin");
    std::vector<std::string> names;
    diskManager()->getFileList(m_strIndexPath.c_str(), names, "*", 0);
    for (std::string const& name : names) {
        if (isIndexFile(name)) continue;
        std::string path = m_strIndexPath + "/" + name;
        GlobalEnv::print("IndexDirManager::deleteOtherFile %s\n", path.c_str());
        diskManager()->deleteFile(path.c_str());
    }
    return 1;
}

int IndexDirManager::allocateIndexFile(int maxFiles) {
    {
        OV_LOCK_GUARD(guard, m_mutex);
        if (!m_bReady) return -1;
        if (!m_fileList.empty()) return -2;
    }
    if (maxFiles < 0) return -3;
    // One index file serves a device's whole day on a hard disk; an SD card
    // gets one per record file.
    int const wanted = m_nDiskType == 2 ? maxFiles : maxFiles / 10;
    int made = 0;
    while (made < wanted && fillEmptyIndexFile(made)) ++made;
    if (made == 0) return 0;
    // The renames of the fill are made durable once, before any file of it
    // is listed and handed out.
    diskManager()->syncDir(m_strIndexPath.c_str());
    OV_LOCK_GUARD(guard, m_mutex);
    if (m_fileList.empty()) fillFilelist();
    return made;
}

bool IndexDirManager::fillEmptyIndexFile(int n) {
    if (diskManager() == nullptr) return false;
    std::string filling = m_strIndexPath + "/" + NS_IndexDirManager::kFillingName;
    std::string path = m_strIndexPath + "/" + createFileName(n);
    if (diskManager()->createFilledFile(filling.c_str(), m_nFileSize, kIndexFileFill) == 0 &&
        diskManager()->renameFile(filling.c_str(), path.c_str()) != 0)
        return true;
    diskManager()->deleteFile(filling.c_str());
    return false;
}

int IndexDirManager::createIndexFile(std::string const& target) {
    OV_LOCK_GUARD(guard, m_mutex);
    if (!m_bReady) return 0;
    if (createFile(target)) {
        GlobalEnv::print("%s\n", "IndexDirManager::createIndexFile successfully!");
        return 1;
    }
    if (!m_fileList.empty()) return 0;
    // A listing takes at most kListLimit names: the folder may hold more.
    if (!fillFilelist()) {
        GlobalEnv::print("%s\n", "IndexDirManager::createIndexFile Failed for fillFileList failed!");
        return 0;
    }
    bool made = createFile(target);
    GlobalEnv::print("%s\n", made ? "IndexDirManager::createIndexFile reFilled valid filelist and create indexfile successfully!"
                                  : "IndexDirManager::createIndexFile reFilled valid filelist but create indexfile failed!");
    return made ? 1 : 0;
}

bool IndexDirManager::createFile(std::string const& target) {
    if (diskManager() == nullptr) return false;
    while (!m_fileList.empty()) {
        std::string path = m_strIndexPath + "/" + m_fileList.front();
        m_fileList.erase(m_fileList.begin());
        // Made anew, all 0xFF: a file that came back holds a reclaimed day.
        if (diskManager()->createFilledFile(path.c_str(), m_nFileSize, kIndexFileFill) != 0) continue;
        // The day's entries go into it at once: a rename lost at a power cut
        // would put them back in the pool, to be blanked for another day.
        if (!BasicTool::moveFileDurably(diskManager(), path, target)) continue;
        GlobalEnv::print("IndexDirManager::createFile:%s move to %s successfully!\n", path.c_str(), target.c_str());
        return true;
    }
    return false;
}

bool IndexDirManager::deleteIndexFile(std::string const& sourcePath, std::string const& name) {
    if (diskManager() == nullptr) return false;
    std::string target = m_strIndexPath + "/" + name;
    if (diskManager()->renameFile(sourcePath.c_str(), target.c_str()) == 0) {
        GlobalEnv::print("move %s to %s fialed and nErrno =%d\n", sourcePath.c_str(), target.c_str(), errno);
        return false;
    }
    // Back in the pool for good before its date folder goes: after a power
    // cut it must not stand in both, or in a folder that is gone.
    diskManager()->syncDir(m_strIndexPath.c_str());
    OV_LOCK_GUARD(guard, m_mutex);
    m_fileList.push_back(name);
    return true;
}

#include "directory/IndexDirManager.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"

namespace NS_IndexDirManager {

// Pool files are made under this name and renamed once whole, so that a
// listing never takes a file still being filled. Not an index file.
char const* const kFillingName = "filling";

void print(char const* format, ...) {
    if (!GlobalEnv::getInstance()->getPrintFlag()) return;
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
}

void printLine(char const* text) { print("%s\n", text); }

std::string folderOf(std::string const& path) { return path.substr(0, path.rfind('/')); }

}  // namespace NS_IndexDirManager

using NS_IndexDirManager::print;

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
    if (m_pDiskManager == nullptr) return false;
    char const* pool = m_strIndexPath.c_str();
    if (m_pDiskManager->isDirExist(pool) == 0 && m_pDiskManager->createDir(pool) == 0) {
        print("IndexDirManager::init createDir: %s failed!\n", pool);
        return false;
    }
    deleteOtherFile();
    m_pDiskManager->deleteFile((m_strIndexPath + "/" + NS_IndexDirManager::kFillingName).c_str());
    OV_LOCK_GUARD(guard, m_mutex);
    m_fileList.clear();
    m_bReady = fillFilelist();
    if (!m_bReady) NS_IndexDirManager::printLine("IndexDirManager::init get validFileList failede!");
    return m_bReady;
}

int IndexDirManager::uninit() {
    OV_LOCK_GUARD(guard, m_mutex);
    m_fileList.clear();
    return 1;
}

bool IndexDirManager::fillFilelist() {
    if (m_pDiskManager == nullptr) return false;
    return m_pDiskManager->getFileList(m_strIndexPath.c_str(), m_fileList, "*.index", kListLimit) >= 0;
}

bool IndexDirManager::isNeedAllocateEmptyIndex() {
    OV_LOCK_GUARD(guard, m_mutex);
    return m_fileList.empty();
}

int IndexDirManager::deleteOtherFile() {
    if (m_nDiskType != 2 || m_pDiskManager == nullptr) return 1;
    NS_IndexDirManager::printLine("delete otherIndexFile begin");
    std::vector<std::string> names;
    m_pDiskManager->getFileList(m_strIndexPath.c_str(), names, "*", 0);
    for (std::string const& name : names) {
        if (isIndexFile(name)) continue;
        std::string path = m_strIndexPath + "/" + name;
        print("IndexDirManager::deleteOtherFile %s\n", path.c_str());
        m_pDiskManager->deleteFile(path.c_str());
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
    m_pDiskManager->syncDir(m_strIndexPath.c_str());
    OV_LOCK_GUARD(guard, m_mutex);
    if (m_fileList.empty()) fillFilelist();
    return made;
}

bool IndexDirManager::fillEmptyIndexFile(int n) {
    if (m_pDiskManager == nullptr) return false;
    std::string filling = m_strIndexPath + "/" + NS_IndexDirManager::kFillingName;
    std::string path = m_strIndexPath + "/" + createFileName(n);
    if (m_pDiskManager->createFilledFile(filling.c_str(), m_nFileSize, kIndexFileFill) == 0 &&
        m_pDiskManager->renameFile(filling.c_str(), path.c_str()) != 0)
        return true;
    m_pDiskManager->deleteFile(filling.c_str());
    return false;
}

int IndexDirManager::createIndexFile(std::string const& target) {
    OV_LOCK_GUARD(guard, m_mutex);
    if (!m_bReady) return 0;
    if (createFile(target)) {
        NS_IndexDirManager::printLine("IndexDirManager::createIndexFile successfully!");
        return 1;
    }
    if (!m_fileList.empty()) return 0;
    // A listing takes at most kListLimit names: the folder may hold more.
    if (!fillFilelist()) {
        NS_IndexDirManager::printLine("IndexDirManager::createIndexFile Failed for fillFileList failed!");
        return 0;
    }
    bool made = createFile(target);
    NS_IndexDirManager::printLine(made ? "IndexDirManager::createIndexFile reFilled valid filelist and create indexfile successfully!"
                                  : "IndexDirManager::createIndexFile reFilled valid filelist but create indexfile failed!");
    return made ? 1 : 0;
}

bool IndexDirManager::createFile(std::string const& target) {
    if (m_pDiskManager == nullptr) return false;
    while (!m_fileList.empty()) {
        std::string path = m_strIndexPath + "/" + m_fileList.front();
        m_fileList.erase(m_fileList.begin());
        // Made anew, all 0xFF: a file that came back holds a reclaimed day.
        if (m_pDiskManager->createFilledFile(path.c_str(), m_nFileSize, kIndexFileFill) != 0) continue;
        if (m_pDiskManager->renameFile(path.c_str(), target.c_str()) == 0) continue;
        // The day's entries go into it at once: a rename lost at a power cut
        // would put them back in the pool, to be blanked for another day, and
        // a file system without a journal could keep both names. A file that
        // can't be made durable in its folder goes back.
        if (m_pDiskManager->syncDir(NS_IndexDirManager::folderOf(target).c_str()) &&
            m_pDiskManager->syncDir(m_strIndexPath.c_str())) {
            print("IndexDirManager::createFile:%s move to %s successfully!\n", path.c_str(), target.c_str());
            return true;
        }
        m_pDiskManager->renameFile(target.c_str(), path.c_str());
    }
    return false;
}

bool IndexDirManager::deleteIndexFile(std::string const& sourcePath, std::string const& name) {
    if (m_pDiskManager == nullptr) return false;
    std::string target = m_strIndexPath + "/" + name;
    if (m_pDiskManager->renameFile(sourcePath.c_str(), target.c_str()) == 0) {
        print("move %s to %s fialed and nErrno =%d\n", sourcePath.c_str(), target.c_str(), errno);
        return false;
    }
    // Back in the pool for good before its date folder goes: after a power
    // cut it must not stand in both, or in a folder that is gone.
    m_pDiskManager->syncDir(m_strIndexPath.c_str());
    OV_LOCK_GUARD(guard, m_mutex);
    m_fileList.push_back(name);
    return true;
}

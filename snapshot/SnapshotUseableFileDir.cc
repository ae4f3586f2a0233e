#include "snapshot/SnapshotUseableFileDir.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/GlobalEnv.h"
#include "host/OrvaneTime.h"
#include "host/TimeConverter.h"

namespace NS_SnapshotUseableFileDir {
char const* const kExtension = ".mjpeg";
// Holds a file while its blocks are reserved; not a pool name.
char const* const kFillingName = "filling";
// Names are made from the clock, which two calls may read alike.
constexpr int kNameTries = 100000;
}  // namespace NS_SnapshotUseableFileDir

using namespace NS_SnapshotUseableFileDir;

void SnapshotFileNumSta::doAction(char const* fileName) {
    if (fileName == nullptr || std::strstr(fileName, kExtension) == nullptr) return;
    ++m_nCount;
    m_names.push_back(fileName);
}

SnapshotUseableFileDir::SnapshotUseableFileDir(std::string const& root, int diskType, long long fileSize)
    : m_strRoot(root), m_strPath(root + BasicTool::kSeparator + kDirName), m_nDiskType(diskType),
      m_nFileSize(fileSize) {}

int SnapshotUseableFileDir::init(int fileSystemFormat) {
    IDiskManager* disk = DiskManagerFactory::getDiskManager(m_nDiskType, fileSystemFormat);
    m_pDisk = disk;
    if (disk == nullptr) return 0;
    if (disk->isDirExist(m_strPath.c_str()) == 0 && disk->createDir(m_strPath.c_str()) == 0) return 0;
    disk->deleteFile((m_strPath + BasicTool::kSeparator + kFillingName).c_str());
    OV_LOCK_GUARD(guard, m_mutex);
    if (!readFolder()) return 0;
    initFileLength();
    return 1;
}

bool SnapshotUseableFileDir::attach(int fileSystemFormat) {
    m_pDisk = DiskManagerFactory::getDiskManager(m_nDiskType, fileSystemFormat);
    return m_pDisk != nullptr;
}

bool SnapshotUseableFileDir::readFolder() {
    IDiskManager* disk = m_pDisk;
    SnapshotFileNumSta names;
    if (disk == nullptr || disk->scanFiles(m_strPath.c_str(), &names, nullptr) < 0) return false;
    m_files = names.getNames();
    return true;
}

void SnapshotUseableFileDir::initFileLength() {
    IDiskManager* disk = m_pDisk;
    auto shortFile = [&](std::string const& name) {
        std::string const path = m_strPath + BasicTool::kSeparator + name;
        SafePointer<IFile> file = FileFactory::createFile(m_nDiskType, 0);
        bool const isShort = file->open(path.c_str(), IFile::kModeRead) && file->getLength() < m_nFileSize;
        file->close();
        if (isShort) GlobalEnv::print("SnapshotUseableFileDir: short pool file %s deleted\n", path.c_str());
        return isShort && disk->deleteFile(path.c_str());
    };
    m_files.erase(std::remove_if(m_files.begin(), m_files.end(), shortFile), m_files.end());
}

int SnapshotUseableFileDir::getFileNumber() {
    OV_LOCK_GUARD(guard, m_mutex);
    return static_cast<int>(m_files.size());
}

std::string SnapshotUseableFileDir::freshName() {
    IDiskManager* disk = m_pDisk;
    OrvaneTime const now = OrvaneTime::currentTime();
    long long const ms = static_cast<long long>(now.getSeconds()) * 1000 + now.getMicroseconds() / 1000;
    for (int k = 0; k < kNameTries; ++k) {
        long long const t = ms + k;
        OVDateTime date;
        TimeConverter::longToStruct(static_cast<unsigned long>(t / 1000), date);
        char name[64];
        std::snprintf(name, sizeof name, "%04d%02d%02d%02d%02d%02d%03d%s", date.year, date.month, date.day, date.hour,
                      date.minute, date.second, static_cast<int>(t % 1000), kExtension);
        if (std::find(m_files.begin(), m_files.end(), name) == m_files.end() &&
            disk->isFileExist((m_strPath + BasicTool::kSeparator + name).c_str()) != 1)
            return name;
    }
    return std::string();
}

int SnapshotUseableFileDir::createEmptyFile() {
    IDiskManager* disk = m_pDisk;
    if (disk == nullptr) return 0;
    std::string const filling = m_strPath + BasicTool::kSeparator + kFillingName;
    OV_LOCK_GUARD(guard, m_mutex);
    std::string const name = freshName();
    std::string const path = m_strPath + BasicTool::kSeparator + name;
    if (name.empty() || disk->createSizedFile(filling.c_str(), m_nFileSize, IDiskManager::kDeferSync) != 0 ||
        !disk->syncFile(filling.c_str()) || !BasicTool::moveFileDurably(disk, filling, path) ||
        disk->isFileExist(path.c_str()) != 1) {
        disk->deleteFile(filling.c_str());
        return 0;
    }
    m_files.push_back(name);
    return 1;
}

int SnapshotUseableFileDir::createFile(std::string const& path) {
    IDiskManager* disk = m_pDisk;
    if (disk == nullptr) return 0;
    OV_LOCK_GUARD(guard, m_mutex);
    if (m_files.empty()) readFolder();
    while (!m_files.empty()) {
        std::string const name = m_files.front();
        m_files.erase(m_files.begin());
        // A file that does not move is forgotten until the folder is read again.
        if (BasicTool::moveFileDurably(disk, m_strPath + BasicTool::kSeparator + name, path)) return 1;
    }
    return 0;
}

int SnapshotUseableFileDir::cleanSpace(int n) {
    IDiskManager* disk = m_pDisk;
    if (disk == nullptr || n <= 0) return 0;
    OV_LOCK_GUARD(guard, m_mutex);
    if (!readFolder()) return 0;
    int deleted = 0;
    while (deleted < n && !m_files.empty()) {
        std::string const name = m_files.back();
        m_files.pop_back();
        if (disk->deleteFile((m_strPath + BasicTool::kSeparator + name).c_str())) ++deleted;
    }
    return deleted;
}

bool SnapshotUseableFileDir::deleteFile(std::string const& path) {
    IDiskManager* disk = m_pDisk;
    if (disk == nullptr) return false;
    OV_LOCK_GUARD(guard, m_mutex);
    std::string const name = freshName();
    if (name.empty() || !BasicTool::moveFileDurably(disk, path, m_strPath + BasicTool::kSeparator + name)) return false;
    m_files.push_back(name);
    return true;
}

int SnapshotUseableFileDir::getCurrentDeviceFileNumber(std::string const& deviceDir) {
    IDiskManager* disk = m_pDisk;
    if (disk == nullptr) return 0;
    std::string const device =
        m_strRoot + BasicTool::kSeparator + BasicTool::kSnapshotDirName + BasicTool::kSeparator + deviceDir;
    std::vector<std::string> dates;
    if (disk->getDirList(device.c_str(), dates) < 0) return 0;
    int count = 0;
    for (std::string const& date : dates) {
        SnapshotFileNumSta files;
        disk->scanFiles((device + BasicTool::kSeparator + date).c_str(), &files, nullptr);
        count += files.getCount();
    }
    return count;
}

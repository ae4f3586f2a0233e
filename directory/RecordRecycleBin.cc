#include "directory/RecordRecycleBin.h"

#include <cstdio>
#include <cstdlib>

#include "foundation/BasicTool.h"
#include "foundation/OVMutexManager.h"
#include "foundation/StorageParameterManage.h"
#include "host/DataConverter.h"
#include "host/DiskManagerFactory.h"
#include "host/GlobalEnv.h"
#include "host/OrvaneTime.h"

RecordRecycleBin::RecordRecycleBin(int nDiskType, std::string const& recordPath)
    : m_strBinPath(recordPath + BasicTool::kSeparator + BasicTool::kRecycleBinDirName),
      m_nDiskType(nDiskType) {}

int RecordRecycleBin::init(int nFileSystemFormat, long long nFileLength) {
    IDiskManager* disk = DiskManagerFactory::getDiskManager(m_nDiskType, nFileSystemFormat);
    m_pDiskManager = disk;
    if (disk == nullptr) return 0;
    if (disk->isDirExist(m_strBinPath.c_str()) == 0 && disk->createDir(m_strBinPath.c_str()) == 0) return 0;
    OV_LOCK_GUARD(guard, m_binMutex);
    m_listBuffer.clear();
    m_fileMap.clear();
    if (disk->getFileList(m_strBinPath.c_str(), m_listBuffer, "*", 0) < 0) m_listBuffer.clear();
    m_nFileLength = nFileLength;
    fillFileMapByFileVector(m_listBuffer, m_fileMap);
    countMap();
    m_nUseMode = StorageParameterManage::getInstance()->getRecordFileUseMode();
    std::srand(static_cast<unsigned int>(OrvaneTime::currentTime().getSeconds()));
    return 1;
}

int RecordRecycleBin::getFileNumber() {
    OV_LOCK_GUARD(guard, m_binMutex);
    return static_cast<int>(m_fileMap.size());
}

int RecordRecycleBin::getFileNumber(int nLimit) {
    IDiskManager* disk = m_pDiskManager;
    std::vector<std::string> list;
    if (disk == nullptr || disk->getFileList(m_strBinPath.c_str(), list, "*", nLimit) < 0) return -1;
    return static_cast<int>(list.size());
}

bool RecordRecycleBin::isNumberedFile(std::string const& name) {
    return !name.empty() && name.find('-') != std::string::npos;
}

bool RecordRecycleBin::isRecordFileName(std::string const& name) {
    std::string const& extension = BasicTool::kRecordFileExtension;
    std::string::size_type at = name.rfind(extension);
    if (at == std::string::npos || at == 0 || name.find('/') != std::string::npos) return false;
    std::string tail = name.substr(at + extension.size());
    return tail.empty() || tail == BasicTool::kLockedSuffix;
}

bool RecordRecycleBin::getNumberOf(std::string const& name, int& number) {
    std::string::size_type dash = name.find('-');
    return dash != std::string::npos && DataConverter::convert<int>(name.substr(0, dash), number);
}

bool RecordRecycleBin::deleteFile(std::string const& sourcePath, std::string const& name) {
    if (!isRecordFileName(name)) return false;
    std::string target = m_strBinPath + BasicTool::kSeparator + name;
    if (!BasicTool::moveFileDurably(m_pDiskManager, sourcePath, target)) return false;
    OV_LOCK_GUARD(guard, m_binMutex);
    insertFileToMap(name);
    countMap();
    return true;
}

bool RecordRecycleBin::deleteFile(std::string const& dir, std::vector<std::string> const& names) {
    IDiskManager* disk = m_pDiskManager;
    if (disk == nullptr) return false;
    std::vector<std::string> moved;
    for (std::string const& name : names) {
        std::string from = dir + BasicTool::kSeparator + name;
        std::string to = m_strBinPath + BasicTool::kSeparator + name;
        if (isRecordFileName(name) && disk->renameFile(from.c_str(), to.c_str()) != 0) moved.push_back(name);
    }
    // One folder sync for the batch; without it the moves are put back, as
    // BasicTool::moveFileDurably does for one file.
    if (!moved.empty() && !disk->syncDir(m_strBinPath.c_str())) {
        for (std::string const& name : moved) {
            std::string from = dir + BasicTool::kSeparator + name;
            std::string to = m_strBinPath + BasicTool::kSeparator + name;
            disk->renameFile(to.c_str(), from.c_str());
        }
        return false;
    }
    OV_LOCK_GUARD(guard, m_binMutex);
    for (std::string const& name : moved) insertFileToMap(name);
    countMap();
    return moved.size() == names.size();
}

bool RecordRecycleBin::moveOut(std::string const& name, std::string const& target) {
    std::string source = m_strBinPath + BasicTool::kSeparator + name;
    bool moved = BasicTool::moveFileDurably(m_pDiskManager, source, target);
    if (GlobalEnv::getInstance()->getPrintFlag()) {
        std::printf(moved ? "RecordRecycleBin::createFile %s succeed\n" : "RecordRecycleBin::createFile %s  failed\n",
                    target.c_str());
    }
    return moved;
}

bool RecordRecycleBin::createFileImp(SafePointer<RecordFileInfo>& file) {
    int pick = m_nUseMode == -1 ? getRandomIndexFromMap() : -1;
    auto it = m_fileMap.begin();
    if (it == m_fileMap.end() || !m_bUsable) return false;
    if (pick >= 1) it = m_fileMap.find(pick);
    int number = -1;
    if (m_bNumbered && !getNumberOf(it->second, number)) number = -1;
    file->setFileNumber(number);
    file->setRecordFileName(file->createFileName());
    bool moved = moveOut(it->second, file->createRecordFileName());
    // A file that would not move is forgotten until the next listing.
    m_fileMap.erase(it);
    return moved;
}

bool RecordRecycleBin::createFileEx(SafePointer<RecordFileInfo>& file) {
    if (file.get() == nullptr) return false;
    OV_LOCK_GUARD(guard, m_binMutex);
    bool created = createFileImp(file);
    IDiskManager* disk = m_pDiskManager;
    if (!created && m_bUsable && disk != nullptr) {
        // The map may be stale: another bin object, or a reader, may have
        // moved files in without telling this one.
        m_listBuffer.clear();
        disk->getFileList(m_strBinPath.c_str(), m_listBuffer, "*", 0);
        fillFileMapByFileVector(m_listBuffer, m_fileMap);
        created = createFileImp(file);
    }
    countMap();
    return created;
}

bool RecordRecycleBin::createFile(std::string const& target) {
    OV_LOCK_GUARD(guard, m_binMutex);
    if (m_fileMap.empty()) return false;
    auto it = m_fileMap.begin();
    bool moved = moveOut(it->second, target);
    m_fileMap.erase(it);
    countMap();
    return moved;
}

int RecordRecycleBin::cleanSpace(int nCount) {
    OV_LOCK_GUARD(guard, m_binMutex);
    IDiskManager* disk = m_pDiskManager;
    int deleted = 0;
    while (deleted < nCount && !m_fileMap.empty() && disk != nullptr) {
        std::string path = m_strBinPath + BasicTool::kSeparator + m_fileMap.begin()->second;
        if (disk->deleteFile(path.c_str())) ++deleted;
        m_fileMap.erase(m_fileMap.begin());
    }
    countMap();
    return deleted;
}

void RecordRecycleBin::fillFileMapByFileVector(std::vector<std::string> const& list,
                                               std::map<int, std::string>& map) {
    map.clear();
    if (list.empty()) return;
    if (!m_bStyleKnown) {
        m_bNumbered = isNumberedFile(list.front());
        m_bStyleKnown = true;
    }
    if (m_bNumbered) {
        fillFileMapByNumberedFileList(list, map);
    } else {
        fillFileMapByNoNumberedFileList(list, map);
    }
}

void RecordRecycleBin::fillFileMapByNumberedFileList(std::vector<std::string> const& list,
                                                     std::map<int, std::string>& map) {
    for (std::string const& name : list) {
        int number = 0;
        if (getNumberOf(name, number)) map[number] = name;
    }
}

void RecordRecycleBin::fillFileMapByNoNumberedFileList(std::vector<std::string> const& list,
                                                       std::map<int, std::string>& map) {
    int position = 0;
    for (std::string const& name : list) {
        ++position;
        if (!isNumberedFile(name)) map[position] = name;
    }
}

void RecordRecycleBin::insertFileToMap(std::string const& name) {
    if (name.empty()) return;
    if (!m_bStyleKnown) {
        m_bNumbered = isNumberedFile(name);
        m_bStyleKnown = true;
    }
    if (isNumberedFile(name) != m_bNumbered) return;
    int key = 0;
    if (m_bNumbered) {
        if (!getNumberOf(name, key)) return;
    } else {
        key = m_fileMap.empty() ? 1 : m_fileMap.rbegin()->first + 1;
    }
    m_fileMap[key] = name;
}

int RecordRecycleBin::getRandomIndexFromMap() const {
    if (m_fileMap.empty()) return -1;
    std::vector<int> keys;
    keys.reserve(m_fileMap.size());
    for (auto const& entry : m_fileMap) keys.push_back(entry.first);
    return keys[static_cast<size_t>(std::rand()) % keys.size()];
}

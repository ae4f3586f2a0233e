#include "directory/IndexDirManager.h"

#include "host/DiskManagerFactory.h"

int IndexDirManager::createIndexFile(std::string const& target) {
    IDiskManager* disk = DiskManagerFactory::getDiskManager(m_dirInfo.getDiskType(), m_dirInfo.getFileSystemFormat());
    if (disk == nullptr) return 0;
    return disk->createFilledFile(target.c_str(), kIndexFileSize, kIndexFileFill) == 0 ? 1 : 0;
}

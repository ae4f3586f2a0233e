#include "directory/IndexDirManager.h"

#include "host/DiskManagerFactory.h"

int IndexDirManager::createIndexFile(std::string const& target) {
    IDiskManager* disk = DiskManagerFactory::getDiskManager(m_dirInfo.getDiskType(), m_dirInfo.getFileSystemFormat());
    if (disk == nullptr) return 0;
    return disk->createSizedFile(target.c_str(), kIndexFileSize, 0) == 0 ? 1 : 0;
}

#include "tests/support/IndexedDirs.h"

#include <chrono>
#include <thread>

#include "disk/RecordDiskManagerImpl.h"

void boundRecordSpace(RecordDirInfoEx& dir, long long files) {
    dir.setEnableFlag(true);
    dir.setUseableSpace(files * dir.getFileSegmentSize() * 100 / 95 + 1);
}

bool serveRecordDirs(std::vector<RecordDirInfoEx> const& dirs, int seconds) {
    RecordDiskManagerImpl* manager = RecordDiskManagerImpl::getInstance();
    manager->setRecordDirInfoList(dirs);
    auto const until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    for (RecordDirInfoEx const& info : dirs) {
        SafePointer<IRecordDir> dir = manager->getRecordDir(info.getRecordRootDir());
        while (dir.isNull() || !dir->isWritable()) {
            if (std::chrono::steady_clock::now() >= until) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    return true;
}

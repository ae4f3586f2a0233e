#include "tests/support/IndexedDirs.h"

#include <chrono>
#include <thread>

#include "disk/RecordDeviceDirPolicy.h"
#include "disk/RecordDiskManagerImpl.h"

void boundRecordSpace(RecordDirInfoEx& dir, long long files) {
    dir.setEnableFlag(true);
    dir.setUseableSpace(files * dir.getFileSegmentSize() * 100 / 95 + 1);
}

bool serveRecordDirs(std::vector<RecordDirInfoEx> const& dirs, int seconds) {
    RecordDiskManagerImpl* manager = RecordDiskManagerImpl::getInstance();
    if (manager->start() != 1) return false;
    manager->setRecordDirInfoList(dirs);
    manager->setDirPolicyThread();
    auto const until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    for (RecordDirInfoEx const& info : dirs) {
        for (;;) {
            SafePointer<IRecordDir> dir = manager->getRecordDir(info.getRecordRootDir());
            if (!dir.isNull() && dir->isWritable()) break;
            if (std::chrono::steady_clock::now() >= until) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    return true;
}

void recordChannel(RecordInfo const& channel, int groupId, bool cycleWrite) {
    RecordDeviceInfo device;
    device.setDeviceId(channel.getDeviceId());
    std::string ip = channel.getDeviceIP();
    for (char& c : ip)
        if (c == ':') c = '-';
    device.setDeviceIP(ip);
    device.setCameraId(channel.getCameraId());
    device.setRecordMode(1);
    RecordDiskManagerImpl* manager = RecordDiskManagerImpl::getInstance();
    manager->setRecordDevicePolicy(RecordDeviceDirPolicy(device, cycleWrite, groupId, 0, false));
    manager->setDirPolicyThread();
}

void stopRecordDirs() { RecordDiskManagerImpl::getInstance()->stop(); }

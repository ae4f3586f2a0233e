#include "disk/RecordDirSettingListener.h"

#include <cstdio>

#include "directory/IRecordDir.h"
#include "disk/RecordDirStateManager.h"
#include "foundation/LockRank.h"
#include "foundation/OVMutexManager.h"
#include "host/GlobalEnv.h"
#include "host/LocalPath.h"
#include "recording/RecordUpdateManager.h"

namespace NS_RecordDirSettingListener {

}  // namespace NS_RecordDirSettingListener

RecordDirSettingListener::RecordDirSettingListener()
    : m_pThread(new OVThread(bind_funcobj0(this, &RecordDirSettingListener::settingThreadBody),
                             "RecordDirSettingThread")) {}

RecordDirSettingListener::~RecordDirSettingListener() { uninit(); }

int RecordDirSettingListener::init() {
    if (m_pThread->isRunning()) return 1;
    m_bStopFlag = false;
    DiskStateManager::getInstance()->addDiskStateListener(this);
    return m_pThread->start() ? 0 : -1;
}

void RecordDirSettingListener::uninit() {
    DiskStateManager::getInstance()->removeDiskStateListener(this);
    m_bStopFlag = true;
    m_pThread->stop();
}

void RecordDirSettingListener::writeLog(char const* text) {
    IRecordDir::writeDirectoryLog("RecordDirSettingListener", text, __LINE__);
}

int RecordDirSettingListener::handleDiskStateMessage(std::string diskName, int diskState) {
    char text[512];
    std::snprintf(text, sizeof text, "DiskName:%s DiskState:%d", diskName.c_str(), diskState);
    writeLog(text);
    if (diskState == kDiskRepairing) {
        std::snprintf(text, sizeof text,
                      "RecordDirSettingListener::handleDiskStateMessage, DiskName(%s), DISKSTATUS_DISK_ISREPAIRING \n",
                      diskName.c_str());
        GlobalEnv::print("%s", text);
        RecordUpdateManager::getInstance()->notifyUpdateRecord(diskName);
        RecordUpdateManager::getInstance()->closeRecordWrite(diskName);
    } else {
        RecordDirStateManager::getInstance()->resetDiskStateInfo(diskName);
    }
    return 0;
}

void RecordDirSettingListener::getRecordDirList(std::vector<RecordDirInfo>& list) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kSettingCurrent);
    list = m_currentList;
}

void RecordDirSettingListener::setRecordDirList(std::vector<RecordDirInfo> const& list) {
    {
        OV_RANKED_LOCK_GUARD(guard, m_pendingMutex, LockRank::kSettingPending);
        m_pendingList = list;
    }
    char text[128];
    std::snprintf(text, sizeof text, "RecordDirSettingListener::setRecordDirList %d \n\n\n",
                  static_cast<int>(list.size()));
    GlobalEnv::print("%s", text);
}

void RecordDirSettingListener::setRecordDirListSink(RecordDirListSink const& sink) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kSettingCurrent);
    m_sink = sink;
}

int RecordDirSettingListener::settingThreadBody() {
    updateRecordDir();
    // A round with nothing queued ends only the round, not the thread.
    return m_bStopFlag ? 0 : 1;
}

int RecordDirSettingListener::updateRecordDir() {
    std::vector<RecordDirInfo> current;
    {
        OV_RANKED_LOCK_GUARD(guard, m_pendingMutex, LockRank::kSettingPending);
        if (m_pendingList.empty()) return 0;
        current.swap(m_pendingList);
    }
    std::vector<RecordDirInfo> expanded;
    RecordDirListSink sink;
    {
        OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kSettingCurrent);
        m_currentList = current;
        for (RecordDirInfo const& entry : current) addRecordDir(entry, expanded);
        sink = m_sink;
    }
    char text[128];
    std::snprintf(text, sizeof text, "RecordDirSettingListener::updateRecordDir %d \n",
                  static_cast<int>(expanded.size()));
    GlobalEnv::print("%s", text);
    // Outside m_mutex: the disk manager takes its creation mutex, the outermost.
    if (sink) sink(expanded);
    return 0;
}

void RecordDirSettingListener::addRecordDir(RecordDirInfo const& entry, std::vector<RecordDirInfo>& out) {
    if (entry.getDiskType() != 1) {
        out.push_back(entry);
        return;
    }
    LocalPath disk;
    disk.create(entry.getDiskName());
    char text[1024];
    std::snprintf(text, sizeof text, "RecordDirSettingListener::addRecordDir %s \n", disk.getDiskPath().c_str());
    GlobalEnv::print("%s", text);
    std::vector<std::string> dirs;
    DiskStateManager::getInstance()->getDiskDirList(disk.getDiskPath(), entry.getDiskType(), dirs);
    for (std::string const& dir : dirs) {
        LocalPath path = disk;
        path.setDiskPath(dir);
        RecordDirInfo copy = entry;
        copy.setDiskName(path.toString().c_str());
        copy.setUsableSpace(0);
        copy.setFileSystemFormat(kExpandedFormat);
        std::snprintf(text, sizeof text, "RecordDirSettingListener::addRecordDir:%s,%s\n", entry.getDiskName(),
                      copy.getDiskName());
        GlobalEnv::print("%s", text);
        out.push_back(copy);
    }
}

bool RecordDirSettingListener::isInList(RecordDirInfo const& entry) {
    OV_RANKED_LOCK_GUARD(guard, m_mutex, LockRank::kSettingCurrent);
    for (RecordDirInfo const& known : m_currentList)
        if (std::string(known.getDiskName()) == entry.getDiskName()) return true;
    return false;
}

void RecordDirSettingListener::removeInvlidRecordDir(std::vector<RecordDirInfo> const& list) {
    for (RecordDirInfo const& entry : list) {
        if (isInList(entry)) continue;
        LocalPath path;
        if (path.create(entry.getDiskName())) DiskStateManager::getInstance()->removeDiskDir(path.toString());
    }
}

#ifndef DISK_RECORDDIRSETTINGLISTENER_H
#define DISK_RECORDDIRSETTINGLISTENER_H

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "foundation/RecordDirInfo.h"
#include "host/DiskStateManager.h"
#include "host/OVMutex.h"
#include "host/OVThread.h"

// Follows the host's disks. Disk state messages close the writers of a disk
// under repair and give any other disk a clean slate of time-outs; directory
// lists from the host are expanded on "RecordDirSettingThread" (a local disk
// into the record roots the host keeps on it) and handed on once a second.
//
// The host's message thread, its setting thread and our own thread call in;
// m_pendingMutex comes before m_mutex.
class RecordDirSettingListener : public IDiskStateListener {
public:
    // Where an expanded list goes: the disk manager and retrieval.
    using RecordDirListSink = std::function<void(std::vector<RecordDirInfo> const&)>;

    RecordDirSettingListener();
    ~RecordDirSettingListener() override;

    // Starts the thread and listens to DiskStateManager; 1 when already running.
    int init();
    void uninit();
    int handleDiskStateMessage(std::string diskName, int diskState) override;
    void getRecordDirList(std::vector<RecordDirInfo>& list);
    // Queues the host's list for the thread.
    void setRecordDirList(std::vector<RecordDirInfo> const& list);
    // One round of the thread: expands and hands on a queued list; 0.
    int updateRecordDir();
    // Appends the entry, or for a local disk one entry per record root on it.
    void addRecordDir(RecordDirInfo const& entry, std::vector<RecordDirInfo>& out);
    bool isInList(RecordDirInfo const& entry);
    // Takes the roots of the entries no longer in the current list off the
    // host's list.
    void removeInvlidRecordDir(std::vector<RecordDirInfo> const& list);
    void setRecordDirListSink(RecordDirListSink const& sink);

    static constexpr int kDiskRepairing = 17;
    static constexpr int kExpandedFormat = 8;

private:
    int settingThreadBody();
    void writeLog(char const* text);

    std::atomic<bool> m_bStopFlag{false};
    OVMutex m_mutex;
    std::vector<RecordDirInfo> m_currentList;  // guarded by m_mutex
    RecordDirListSink m_sink;                  // guarded by m_mutex
    std::vector<RecordDirInfo> m_pendingList;  // guarded by m_pendingMutex
    OVMutex m_pendingMutex;
    std::unique_ptr<OVThread> m_pThread;
};

#endif

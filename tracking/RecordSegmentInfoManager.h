#ifndef TRACKING_RECORDSEGMENTINFOMANAGER_H
#define TRACKING_RECORDSEGMENTINFOMANAGER_H

#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "foundation/Singlton.h"
#include "host/AlarmInfoEx.h"
#include "host/OVMutex.h"
#include "tracking/RecordSegmentDelInfo.h"

class GThread;
class RecordSegmentInfoNode;
class SingleDeviceRecordQuery;

// The time segments of every device, date and directory, kept in memory so
// that a query need not read index files. Rebuilt from the indexes after
// each start ("RecordSegmentInfoManagerThread"); not stored.
//
// The table answers only what the index would answer right now. A date that
// changes leaves the table at once, on the caller's thread (a short hold of
// the tree mutex, no disk access), and is read anew in the background: a
// deletion, a lock, a file begun, a recording mark set. A date being
// recorded is never answered from here, as its index grows by the second.
// A read that a change overtook is thrown away (a version per date).
//
// Any thread. Lock order: m_treeMutex, then m_queueMutex; index files are
// read with neither held.
class RecordSegmentInfoManager : public Singlton<RecordSegmentInfoManager> {
public:
    static constexpr int kMainIndex = 0;

    bool startService();
    void stopService();

    // Hands the device's segments of the date on that directory to the
    // query: 1. 0 when the table holds no such answer; the caller reads the
    // index instead.
    int query(std::string const& deviceKey, std::string const& date, RecordDirInfoEx const& dir,
              int storageType, SingleDeviceRecordQuery& out);

    // A channel began a file of a new date; its writer's recording mark
    // takes the date out of the table.
    void updateDeviceRecordTime(SafePointer<RecordFileInfo> const& file);
    void updateDeviceRecordTime(std::vector<SafePointer<RecordFileInfo>> const& files);
    // The date changed on disk: it leaves the table now and is read anew.
    void deleteDeviceDateInfo(SafePointer<RecordFileInfo> const& file);
    void deleteDeviceDateInfo(std::string const& deviceDir, std::string const& date);
    void deleteDeviceDateInfo(std::string const& deviceDir, std::string const& date,
                              RecordDirInfoEx const& dir);
    // Disk alarms of minor type 1, 2, 3 or 5 take the disk's directories out
    // of the table until they are read again, 600 s on. Answers 0.
    int handleAlarm(AlarmInfoEx& alarm);
    // The directories to keep; applied by the next round.
    void setRecordDirList(std::vector<RecordDirInfoEx> const& list);

    // Begin time of the channel's latest file, when it is of that date.
    bool getDeviceRecordTime(std::string const& deviceDir, std::string const& date,
                             long long& beginTime);

    // One round of the thread: the directory list, alarms, the dates to read
    // again, and every 900 s a look for devices and dates not yet held.
    // Answers 1.
    int handleRecordSegmentInfo();
    // Forgets the table, the queues and the directories.
    void clear();

private:
    friend class Singlton<RecordSegmentInfoManager>;
    RecordSegmentInfoManager();
    ~RecordSegmentInfoManager();

    struct Pending {
        std::string strDeviceDir;
        std::string strDate;
        std::string strRoot;  // empty: every directory
        bool operator<(Pending const& other) const {
            return std::tie(strDeviceDir, strDate, strRoot) <
                   std::tie(other.strDeviceDir, other.strDate, other.strRoot);
        }
    };
    struct DirState {
        RecordDirInfoEx dir;
        double dUpdateTime = 0;  // when an alarm took it out; 0 when in
    };

    static std::string dateKey(std::string const& deviceDir, std::string const& date) {
        return deviceDir + "/" + date;
    }
    // Drops the date's elements (of one directory, or all); a read of it
    // under way is overtaken. m_treeMutex held.
    void dropLocked(std::string const& deviceDir, std::string const& date, std::string const& root);
    void dropDirectoryLocked(std::string const& root);
    // Reads one directory's index of the device date and enters it, unless
    // the date is recorded or changed meanwhile; false when it must wait.
    bool readDate(RecordDirInfoEx const& dir, std::string const& deviceDir, std::string const& date);
    // Every device date of the directories in service that the table lacks.
    void detectRecordDeviceInfo();
    void handleDiskAlarm(std::vector<AlarmInfoEx> const& alarms);
    bool isInService(DirState const& state, double now) const;
    static void writeLog(std::string const& text);

    OVMutex m_treeMutex;
    std::unique_ptr<RecordSegmentInfoNode> m_pRoot;  // guarded by m_treeMutex
    std::string m_strReading;                        // date key being read; m_treeMutex
    bool m_bReadOvertaken = false;                   // guarded by m_treeMutex

    OVMutex m_queueMutex;
    bool m_bDirListPending = false;                  // guarded by m_queueMutex
    bool m_bDetectSoon = false;                      // guarded by m_queueMutex
    std::vector<RecordDirInfoEx> m_pendingDirs;      // guarded by m_queueMutex
    std::set<Pending> m_rereads;                     // guarded by m_queueMutex
    std::vector<AlarmInfoEx> m_alarms;               // guarded by m_queueMutex
    // device dir -> date and begin of its latest file; guarded by m_queueMutex
    std::map<std::string, std::pair<std::string, long long>> m_latestBegin;

    // The thread's own.
    std::vector<DirState> m_dirs;
    std::set<Pending> m_waiting;  // recorded dates, read when the mark goes
    double m_dLastDetectTime = -1;

    std::unique_ptr<GThread> m_pThread;
};

#endif

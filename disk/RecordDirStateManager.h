#ifndef DISK_RECORDDIRSTATEMANAGER_H
#define DISK_RECORDDIRSTATEMANAGER_H

#include <functional>
#include <string>
#include <vector>

#include "disk/IRecordServiceListenerManager.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/SafePointer.h"
#include "foundation/Singlton.h"
#include "host/OVMutex.h"

// Write time-outs of one directory in the current period, and the limits
// past which the directory counts as failing. The limits grow with the
// number of channels, since each write then waits longer for its turn.
class RecordDirStateInfo {
public:
    explicit RecordDirStateInfo(RecordDirInfoEx const& dir) : m_dirInfo(dir) { setDeviceNum(16); }

    void setDeviceNum(int devices);
    void increaseTimeout(int seconds) {
        m_nTimeoutSum += seconds;
        ++m_nTimeoutCount;
    }
    bool isIOError() const { return m_nTimeoutSum >= m_nSumLimit || m_nTimeoutCount >= m_nCountLimit; }
    // Starts a new period unless the directory was given up for good.
    void resetStateInfo();
    // A clean start, the give-up count included.
    void resetStateInfoEx();
    // Like resetStateInfo, but after three resets the directory stays failed.
    void resetStateInfoWithLimit();
    bool isSameDir(RecordDirInfoEx const& dir) const { return m_dirInfo == dir; }
    RecordDirInfoEx const& getRecordDirInfo() const { return m_dirInfo; }
    void setRecordDirInfo(RecordDirInfoEx const& dir) { m_dirInfo = dir; }
    void setAlarmFlag(bool alarm) { m_bAlarmFlag = alarm; }
    bool getAlarmFlag() const { return m_bAlarmFlag; }
    int getTimeoutLen() const { return m_nTimeoutSum; }
    int getTimeoutSum() const { return m_nTimeoutSum; }
    int getTimeoutCount() const { return m_nTimeoutCount; }
    int getDeviceNum() const { return m_nDeviceNum; }

private:
    int m_nTimeoutSum = 0;
    int m_nTimeoutCount = 0;
    int m_nDeviceNum = 16;
    int m_nSumLimit = 0;
    int m_nCountLimit = 0;
    int m_nResetCount = 0;
    bool m_bAlarmFlag = true;  // an alarm is still due in this period
    RecordDirInfoEx m_dirInfo;
};

// Decides which directories count as failing from the write time-outs the
// writers report, and alarms once per period for each. A period is 300
// passes of detectRecordDirState (the group scan's one-second passes); the
// check runs every 5. When no good local directory is left, none counts as
// failing: recording on a doubtful disk beats not recording at all.
//
// Writers (addTimeout, isIOError), the scan thread, the settings thread and
// the host's message thread all call in; m_mutex guards the entries and is
// the innermost lock of the disk layer.
class RecordDirStateManager : public Singlton<RecordDirStateManager> {
public:
    // Where checkRecordDirState reads the directories in service and their
    // status. Called with no lock of this class held.
    using DirListSource = std::function<std::vector<RecordDirInfoEx>()>;

    void addRecordDirInfo(RecordDirInfoEx const& dir);
    void deleteRecordDirInfo(RecordDirInfoEx const& dir);
    void setRecordDirInfo(std::vector<RecordDirInfoEx> const& dirs);
    void setDeviceNum(int devices);
    // Counts a time-out of `seconds` against the directory.
    void addTimeout(RecordDirInfoEx const& dir, int seconds);
    bool isIOError(RecordDirInfoEx const& dir);
    // Every directory of the disk starts clean.
    void resetDiskStateInfo(std::string const& diskName);
    // One pass of the scan thread.
    void detectRecordDirState();
    void setRecordStatusListener(SafePointer<IRecordServiceListenerManager> const& listener);
    // Replaces the source; an empty one restores the disk manager's list.
    // Waits for a running read of the old source to end, so an owner may
    // reset it and then go away.
    void setRecordDirListSource(DirListSource const& source);

    // 1 for the status values that mean "in service" (1, 30, 31, 33); others as they are.
    static int getRecordDirStatus(RecordDirInfoEx const& dir);
    static bool isFormatingDisk(RecordDirInfoEx const& dir);

    // Time-out seconds and count of the directory; false when it has none.
    bool getTimeoutInfo(RecordDirInfoEx const& dir, int& sum, int& count);
    bool getAlarmFlag(RecordDirInfoEx const& dir);
    bool isAllFailed();
    int getPassCount();
    // Forgets entries, counters, listener and source (tests, restart).
    void clear();

    static constexpr int kCheckPasses = 5;
    static constexpr int kPeriodPasses = 300;

private:
    friend class Singlton<RecordDirStateManager>;
    RecordDirStateManager() = default;

    void checkRecordDirState();
    void cleanState();
    void touchoffDiskAlarm(RecordDirInfoEx const& dir);  // m_mutex held
    RecordDirStateInfo* find(RecordDirInfoEx const& dir);  // m_mutex held
    std::vector<RecordDirInfoEx> readDirList();

    int m_nDeviceNum = 16;                     // guarded by m_mutex
    std::vector<RecordDirStateInfo> m_states;  // guarded by m_mutex
    OVMutex m_mutex;
    int m_nPassCount = 0;       // guarded by m_mutex
    bool m_bAllFailed = false;  // guarded by m_mutex
    SafePointer<IRecordServiceListenerManager> m_listener;  // guarded by m_mutex
    // Outside the lock order: held only while the source runs, which may take
    // the group manager's list mutex.
    OVMutex m_sourceMutex;
    DirListSource m_source;  // guarded by m_sourceMutex
};

#endif

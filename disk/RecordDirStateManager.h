#ifndef DISK_RECORDDIRSTATEMANAGER_H
#define DISK_RECORDDIRSTATEMANAGER_H

#include <vector>

#include "foundation/RecordDirInfoEx.h"
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
    RecordDirInfoEx const& getRecordDirInfo() const { return m_dirInfo; }
    int getTimeoutSum() const { return m_nTimeoutSum; }
    int getTimeoutCount() const { return m_nTimeoutCount; }

private:
    int m_nTimeoutSum = 0;
    int m_nTimeoutCount = 0;
    int m_nDeviceNum = 16;
    int m_nSumLimit = 0;
    int m_nCountLimit = 0;
    RecordDirInfoEx m_dirInfo;
};

// Collects write time-outs per directory from the writers' threads.
class RecordDirStateManager : public Singlton<RecordDirStateManager> {
public:
    // Counts a time-out of `seconds` against the directory.
    void addTimeout(RecordDirInfoEx const& dir, int seconds);
    bool isIOError(RecordDirInfoEx const& dir);
    // Time-out seconds and count of the directory; false when it has none.
    bool getTimeoutInfo(RecordDirInfoEx const& dir, int& sum, int& count);
    void clear();

private:
    friend class Singlton<RecordDirStateManager>;
    RecordDirStateManager() = default;

    std::vector<RecordDirStateInfo> m_states;  // guarded by m_mutex
    OVMutex m_mutex;
};

#endif

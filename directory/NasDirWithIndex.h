#ifndef DIRECTORY_NASDIRWITHINDEX_H
#define DIRECTORY_NASDIRWITHINDEX_H

#include <atomic>
#include <string>
#include <vector>

#include "directory/HDDirWithIndex.h"
#include "directory/NasEmptyDirManager.h"
#include "directory/RecordStatDir.h"

// The directory of a network-attached share (disk type 4). Layout, index,
// bin, status thread and alarms are a local disk's; what differs is that
// the share is not this recorder's alone:
//
// - Its pool (NasEmptyDirManager) grows a few files at a time instead of
//   taking the whole disk at the first init, and keeps a reserve free.
// - Every recorder keeps stat files in "stat" (RecordStatDir): how many days
//   each channel holds. When the share is full, a recorder whose channels
//   hold at least as many days as the best of the other live recorders gives
//   way: it leaves room for the others to grow into, and frees room by
//   deleting for good, first what holds no recording (its bin, its spare
//   empty files), then its own oldest recordings. It never touches another
//   recorder's channels.
// - A lost mount is a vanished disk: not ready until the share answers
//   again, then init rebuilds everything from the folders. A mount point
//   left bare holds no pool, and the reserve (at least 1 GiB) keeps a small
//   local disk under it from being filled.
//
// Threads as a local disk's; the share's rounds (detectShare) run on the
// status thread. Its log is "naslog.log".
class NasDirWithIndex : public HDDirWithIndex {
public:
    NasDirWithIndex(RecordDirInfoEx const& info, int groupValue, std::string const& deviceId, int recordType);
    ~NasDirWithIndex() override;

    int detectDirStatus() override;
    void stopDetectionThread() override;
    void setDirPolicyList(std::vector<RecordDeviceDirPolicy> const& policies) override;
    // Files not yet made count as free while the share has room for them
    // (as counted at the last round).
    int getDirFileNumber(int& total, int& free) override;
    // The last resort of a full group: one of the oldest files of the own
    // channels that must give way goes to the bin. 0 when a file is free
    // here, -1 when this recorder has nothing to give (the others give way
    // first) or is not ready.
    int deleteEarliestFile(std::vector<RecordDeviceDirPolicy> const& policies) override;

    // One round of the share's work: own stat files written (and every
    // kScanRounds rounds rebuilt and the others' read), then either room
    // given way or the pool grown.
    void detectShare();
    // When this recorder must give way and the share is full: deletes files
    // for good until the others have room. The number deleted.
    int checkRecycleBinDir();
    // Rebuilds the own stat list from the policies and the days each channel
    // holds here; 0, or the failed write's code.
    int updateStatFile();
    // Record files on the share, every recorder's: empty, in the bin and
    // dated; -1 when the share can't be listed.
    int countShareFiles();
    // The channels of this recorder that must give way now, as policies;
    // empty when no other live recorder shares the disk.
    std::vector<RecordDeviceDirPolicy> getGivingWayPolicies();

    NasEmptyDirManager& getNasEmptyDirManager() { return *m_nasPool; }
    RecordStatDir& getRecordStatDir() { return *m_statDir; }

    static constexpr int kScanRounds = 5;

protected:
    int initDirs(int fileSystemFormat) override;
    int initRecordSpace() override;
    int initEmptyPool(int fileSystemFormat) override { return m_nasPool->init(fileSystemFormat); }
    bool poolHasFreeSpace() override { return m_nasPool->hasFreeSpace(); }
    int takeEmptyFile(SafePointer<RecordFileInfo>& file) override { return m_nasPool->createFileEx(file); }
    int getPoolFileNumber() override { return std::max(0, m_nasPool->getEmptyFileNumberByDeviceId()); }
    void setPoolRunning(bool running) override;
    void onReadyRound() override { detectShare(); }

private:
    std::vector<RecordDeviceDirPolicy> getPolicies();
    // The policies among these whose channels hold at least the best of the
    // other live recorders' days (all with days in hand, alone).
    std::vector<RecordDeviceDirPolicy> selectGivingWay(std::vector<RecordDeviceDirPolicy> const& policies);
    // Files kept free for the others while giving way: two per live channel
    // of theirs (a pool keeps its top file).
    int getHeadroom();
    int countDays(RecordDeviceInfo const& device);

    SafePointer<NasEmptyDirManager> m_nasPool;
    SafePointer<RecordStatDir> m_statDir;
    OVMutex m_nasPolicyMutex;
    std::vector<RecordDeviceDirPolicy> m_nasPolicies;  // guarded by m_nasPolicyMutex
    std::atomic<int> m_nShareRounds{0};
    std::atomic<int> m_nShareFiles{-1};  // countShareFiles of the last round
    std::atomic<int> m_nLastStatus{0};  // the last failed status logged; 0 ok
};

#endif

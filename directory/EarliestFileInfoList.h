#ifndef DIRECTORY_EARLIESTFILEINFOLIST_H
#define DIRECTORY_EARLIESTFILEINFOLIST_H

#include <map>
#include <vector>

#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "host/OVMutex.h"

// A bounded slice of the oldest record files of one directory, filled by the
// index walks (RecordIndexParserImplEx::getEarliestRecordFileInfo) and read by
// whoever must reclaim space. Unlocked files sort before locked ones, then by
// begin time. Only files the policies let go are taken in: with policies,
// a cycle-write device offers every file, a keep-by-days device only files
// past their days, and a device without a policy none.
//
// Any thread. Lock order: m_listMutex, then m_timeMutex.
class EarliestFileInfoList {
public:
    // Reads the clock: "past their days" is judged against this moment.
    explicit EarliestFileInfoList(int nMaxCount);

    // An empty list of policies lets every file in.
    void setRecordDirPolicyList(std::vector<RecordDeviceDirPolicy> const& policies);

    int getFileCount() const;
    int getMaxCount() const { return m_nMaxCount; }
    // -1, 0, 1: an unlocked file before a locked one, then by begin time.
    static int compare(SafePointer<RecordFileInfo> const& a, SafePointer<RecordFileInfo> const& b);
    // Same device, camera, date and file name.
    static bool isSameFileInfo(SafePointer<RecordFileInfo> const& a, SafePointer<RecordFileInfo> const& b);
    // Whether the policies let this file be reclaimed.
    bool isInContion(SafePointer<RecordFileInfo> const& file);
    // Orders the list by compare; equal files keep their order.
    void sort();
    // A file that passes isInContion is appended while the list has room;
    // when full, a file earlier than the latest time takes the place of the
    // last file with that time, and any other file is dropped. A null file
    // is ignored.
    void update(SafePointer<RecordFileInfo> const& file);
    // First and last begin time held; 0 for an empty list.
    long long getEarliestTime() const;
    long long getLatestTime() const;
    // The first file without taking it; false when empty.
    bool getEaliestFileInfo(SafePointer<RecordFileInfo>& file) const;
    // The first file, taken out; false when empty.
    bool removeEaliestFileInfo(SafePointer<RecordFileInfo>& file);
    std::vector<SafePointer<RecordFileInfo>> getFileInfoList() const;

private:
    void increase(long long nTime);
    void decrease(long long nTime);
    bool isInContionLocked(RecordFileInfo const& file);  // m_listMutex held

    int const m_nMaxCount;
    mutable OVMutex m_listMutex;
    std::vector<SafePointer<RecordFileInfo>> m_fileList;  // guarded by m_listMutex
    std::vector<RecordDeviceDirPolicy> m_policyList;      // guarded by m_listMutex
    size_t m_nPolicyCursor = 0;  // last policy matched; guarded by m_listMutex
    long long const m_nNow;      // seconds
    mutable OVMutex m_timeMutex;
    std::map<long long, int> m_timeMap;  // begin time -> files; guarded by m_timeMutex
};

#endif

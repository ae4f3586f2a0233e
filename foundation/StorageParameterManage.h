#ifndef FOUNDATION_STORAGEPARAMETERMANAGE_H
#define FOUNDATION_STORAGEPARAMETERMANAGE_H

#include <atomic>
#include <string>

#include "foundation/Singlton.h"

// The storage engine's tunables, read from HostPaths::getConfigDir() +
// "/storageparam.ini" (key=value integers). A key that is absent leaves its
// value alone; there are no range checks, the file is trusted as written.
//
// Getters may be called from any thread at any time; each value is read and
// written whole. initStorageParameter is meant for start-up but may run again
// (tests, a reload by the host): readers then see old or new values per key.
class StorageParameterManage : public Singlton<StorageParameterManage> {
    friend class Singlton<StorageParameterManage>;

public:
    static char const* const kConfigFileName;  // "storageparam.ini"

    // Reads the file and prints every value. False if the file cannot be
    // opened; the values held so far stand.
    bool initStorageParameter();
    // Back to the built-in defaults; the keep-scene flag too.
    void resetStorageParameter();
    // One line per key to standard output.
    void printStorageParameter() const;
    // Whole path of the file read by initStorageParameter.
    static std::string getConfigFileName();

    int getRecordServiceThreadMaxManageNum() const { return m_nThreadMaxManageNum.load(); }
    int getRecordServiceThreadRunTimeInterval() const { return m_nThreadRunTimeInterval.load(); }
    int getRecordFileUsePercent() const { return m_nRecordFileUsePercent.load(); }
    int getRecordFileUseMode() const { return m_nRecordFileUseMode.load(); }
    int getIndexReadTimeout() const { return m_nIndexReadTimeout.load(); }
    int getRecordReadTimeout() const { return m_nRecordReadTimeout.load(); }
    int getTSFrameQueuePrintInterval() const { return m_nTSPrintInterval.load(); }
    int getDualDiskStoragePolicyFlag() const { return m_nDualDiskStoragePolicy.load(); }
    int getDiskReferenceCountLimit() const { return m_nDiskReferenceCountLimit.load(); }
    // MiB of a record file on a disk the host lists without one.
    int getRecordFileSegmentSize() const { return m_nRecordFileSegmentSize.load(); }

    // Not in the file: the host turns it on to keep each channel on its disk.
    void setKeepSceneFlag(bool flag) { m_bKeepSceneFlag.store(flag); }
    bool getKeepSceneFlag() const { return m_bKeepSceneFlag.load(); }

private:
    struct Parameter {
        char const* pszKey;
        int nDefault;
        std::atomic<int>* pValue;
    };
    static int const kParameterCount = 10;

    StorageParameterManage();
    // Every key with its default and its value, in the order they are printed.
    void getParameters(Parameter (&parameters)[kParameterCount]) const;

    std::atomic<int> m_nThreadMaxManageNum;       // "StorageThreadMaxManagerNumber", directories
    std::atomic<int> m_nThreadRunTimeInterval;    // "StorageThreadRunTimeInterval", ms
    std::atomic<int> m_nRecordFileUsePercent;     // "RecordFileUsePercent", %
    std::atomic<int> m_nRecordFileUseMode;        // "RecordFileUseMode", -1 random pick
    std::atomic<int> m_nIndexReadTimeout;         // "IndexReadTimeout", ms
    std::atomic<int> m_nRecordReadTimeout;        // "RecordReadTimeout", ms
    std::atomic<int> m_nTSPrintInterval;          // "TSPrintInterval", s
    std::atomic<int> m_nDualDiskStoragePolicy;    // "DualDiskStoragePolicy", 0 off
    std::atomic<int> m_nDiskReferenceCountLimit;  // "DiskReferenceCountLimit", writers per disk
    std::atomic<int> m_nRecordFileSegmentSize;    // "RecordFileSegmentSize", MiB
    std::atomic<bool> m_bKeepSceneFlag;
};

#endif

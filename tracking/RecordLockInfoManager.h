#ifndef TRACKING_RECORDLOCKINFOMANAGER_H
#define TRACKING_RECORDLOCKINFOMANAGER_H

#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/SafePointer.h"
#include "foundation/Singlton.h"
#include "host/OVMutex.h"
#include "tracking/FileLockConfigureParser.h"
#include "tracking/RecordDirLockInfo.h"

// The one place where every caller reports and asks about locks. The lock
// itself lives on disk (index items, record.lock markers); this memory of
// lock counts is switched off, so the answers are fixed and reclamation goes
// by what lies on disk. The tree of RecordDirLockInfo is kept for a host
// that feeds it; the facade neither feeds nor consults it.
//
// Process-wide. The threshold is read and changed from one thread (the
// disk manager's start, the host); the tree may be touched from any.
class RecordLockInfoManager : public Singlton<RecordLockInfoManager> {
public:
    // Reads the threshold from FileLockConfigure.xml (the disk manager's
    // start calls it): FileLockConfigureParser::parser.
    int init() { return m_parser.parser(); }
    bool updateThreshold(int percent) { return m_parser.update(percent); }
    double getThreshold() const { return m_parser.getFileLockThreshold(); }
    // The limit never refuses a lock.
    int isOverThreshold() { return 0; }

    // 0 locked files and deleted status 2 (nothing known), whatever was
    // reported; answers 1.
    int getRecordLockInfo(RecordDirInfoEx const& dir, std::string const& deviceDir,
                          std::string const& date, int& lockFileNum, int& deletedStatus);
    void updateRecordDeviceLockInfo(RecordDirInfoEx const&, std::string const&, std::string const&,
                                    int, int) {}
    void updateRecordDeviceDeleteStatus(RecordDirInfoEx const&, std::string const&,
                                        std::string const&, int) {}
    void rmRecordDeviceLockInfo(RecordDirInfoEx const&) {}
    void rmRecordDeviceDateLockInfo(RecordDirInfoEx const&, std::string const&, std::string const&) {}
    void setRecordDirMaxFileNum(RecordDirInfoEx const&, int) {}

    // The tree of directories.
    void addRecordDirLockInfo(SafePointer<RecordDirLockInfo> const& info);
    int getRecordDirLockInfoSize();
    // Empties the tree.
    void clean();

private:
    friend class Singlton<RecordLockInfoManager>;
    RecordLockInfoManager() = default;

    FileLockConfigureParser m_parser;
    std::vector<SafePointer<RecordDirLockInfo>> m_dirLockInfoList;  // guarded by m_mutex
    OVMutex m_mutex;
};

#endif

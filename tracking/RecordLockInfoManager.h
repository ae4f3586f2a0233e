#ifndef TRACKING_RECORDLOCKINFOMANAGER_H
#define TRACKING_RECORDLOCKINFOMANAGER_H

#include <string>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/Singlton.h"
#include "host/OVMutex.h"

// The share of a directory's files that may be locked, kept in
// FileLockConfigure.xml under the code configuration folder.
class FileLockConfigureParser {
public:
    // Reads the threshold; 0 when the file cannot be opened, else 1.
    int parser();
    // Stores a new threshold in percent; false when it could not be persisted.
    bool update(int percent);
    double getFileLockThreshold() const { return m_dThreshold; }

    static std::string getConfigFileName();

private:
    double m_dThreshold = 0.25;
};

// The one place where every caller reports and asks about locks. The lock
// itself lives on disk (index items, record.lock markers); this memory of
// lock counts is switched off, so the answers are fixed and reclamation goes
// by what lies on disk.
class RecordLockInfoManager : public Singlton<RecordLockInfoManager> {
public:
    void init() { m_parser.parser(); }
    bool updateThreshold(int percent) { return m_parser.update(percent); }
    double getThreshold() const { return m_parser.getFileLockThreshold(); }
    int isOverThreshold() { return 0; }

    int getRecordLockInfo(RecordDirInfoEx const& dir, std::string const& deviceDir,
                          std::string const& date, int& lockFileNum, int& deletedStatus);
    void updateRecordDeviceLockInfo(RecordDirInfoEx const&, std::string const&, std::string const&,
                                    int, int) {}
    void updateRecordDeviceDeleteStatus(RecordDirInfoEx const&, std::string const&,
                                        std::string const&, int) {}
    void rmRecordDeviceLockInfo(RecordDirInfoEx const&) {}
    void rmRecordDeviceDateLockInfo(RecordDirInfoEx const&, std::string const&, std::string const&) {}
    void setRecordDirMaxFileNum(RecordDirInfoEx const&, int) {}
    void clean() {}

private:
    friend class Singlton<RecordLockInfoManager>;
    RecordLockInfoManager() = default;

    FileLockConfigureParser m_parser;
};

#endif

#ifndef DIRECTORY_RECORDFILEWITHOUTINDEXHANDLERS_H
#define DIRECTORY_RECORDFILEWITHOUTINDEXHANDLERS_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "directory/EarliestFileInfoList.h"
#include "directory/IRecordFileWithoutIndexHandler.h"
#include "foundation/RecordQuery.h"
#include "host/IDiskManager.h"

// The walkers of a directory without index. Each serves one walk on one
// thread.

// Deletes the files that began at or before the delete time, except those
// named in the kept set (files a recording may still be writing).
class OverdueRecordFileWithoutIndexDeleter : public IRecordFileWithoutIndexHandler {
public:
    OverdueRecordFileWithoutIndexDeleter(IDiskManager* disk, std::set<std::string> const& kept)
        : m_pDiskManager(disk), m_kept(kept) {}

    void setDeleteTime(unsigned long nTime) { m_nDeleteTime = nTime; }
    // Bytes of the files deleted so far.
    long long getTotalDeleteFileLen() const { return m_nTotalDeleteLen; }
    int getDeleteFileCount() const { return m_nDeleteCount; }

    void handleFile(RecordDirInfoEx const& dir, RecordFileCheckerWithoutIndex const& checker,
                    std::string const& date, std::string const& dateDir, std::string const& fileName,
                    int camera) override;

private:
    IDiskManager* m_pDiskManager;  // not owned
    std::set<std::string> m_kept;
    unsigned long m_nDeleteTime = 0;
    long long m_nTotalDeleteLen = 0;
    int m_nDeleteCount = 0;
};

// Offers every file to an earliest-file list, which keeps the oldest.
class EarliestRecordFileWithoutIndexQuery : public IRecordFileWithoutIndexHandler {
public:
    explicit EarliestRecordFileWithoutIndexQuery(EarliestFileInfoList& list) : m_list(list) {}

    void handleFile(RecordDirInfoEx const& dir, RecordFileCheckerWithoutIndex const& checker,
                    std::string const& date, std::string const& dateDir, std::string const& fileName,
                    int camera) override;

private:
    EarliestFileInfoList& m_list;  // outlives the walk
};

// Collects the files of a channel that hold time of the condition's window:
// those that began in it, and the last one that began before it, which runs
// on into the window unless it ended first (the name does not tell).
class RecordFileWithoutIndexQuery : public IRecordFileWithoutIndexHandler {
public:
    explicit RecordFileWithoutIndexQuery(RecordQueryCondition const& condition) : m_condition(condition) {}

    void handleFile(RecordDirInfoEx const& dir, RecordFileCheckerWithoutIndex const& checker,
                    std::string const& date, std::string const& dateDir, std::string const& fileName,
                    int camera) override;

    // What was found, by begin time; files of equal begin time (one channel
    // on two disks) in walk order.
    void getResult(std::vector<RecordFileEx>& files) const;

private:
    RecordQueryCondition m_condition;
    std::multimap<unsigned long, RecordFileEx> m_found;
    // Per device folder: the latest file that began before the window.
    std::map<std::string, RecordFileEx> m_before;
};

#endif

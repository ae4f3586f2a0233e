#ifndef DIRECTORY_EARLIESTFILEDELETEHANDLER_H
#define DIRECTORY_EARLIESTFILEDELETEHANDLER_H

#include <string>

#include "directory/RecordRecycleBin.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/SafePointer.h"
#include "host/IDiskManager.h"

// Decides, entry by entry, how much of one device's day the full-disk pass
// may reclaim, and moves the record files it allows into the recycle bin.
// The index walk (RecordIndexParserImplEx::deleteEarliestRecordFile) paints
// the entries of the files moved. One run frees at most two hours of
// recording, and never the last two hours of today.
//
// A local object of one reclaiming pass; no locks.
class EarliestFileDeleteHandler {
public:
    // Reads the clock: the guard time is now - 7200 s.
    EarliestFileDeleteHandler(SafePointer<RecordRecycleBin>& bin, RecordDirInfoEx const& dirInfo);

    // For the entry of record file `name` in the whole date dir `dirPath`
    // of date `date`, begun at nBeginTime:
    //   -1  the entry stays (too recent, or its file could not be moved)
    //    0  the file is in the bin, or was gone already: paint the entry
    //   -2  more than two hours past the run's first file: the file is
    //       spared and the walk must stop
    int deleteFile(std::string const& date, long long nBeginTime, std::string const& dirPath,
                   std::string const& name);
    // Whether the last run stopped at its two hours rather than at the day's end.
    bool isTimeToDelInterval() const { return m_bIntervalFlag; }
    // A new run.
    void clear();

private:
    SafePointer<RecordRecycleBin> m_recycleBin;
    RecordDirInfoEx m_dirInfo;
    IDiskManager* m_pDiskManager;  // process-lived, not owned
    long long m_nFirstTime = 0;    // 0 until the first file of a run
    long long m_nGuardTime = 0;
    std::string m_strToday;
    bool m_bIntervalFlag = false;
};

#endif

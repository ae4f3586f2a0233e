#ifndef RETRIEVAL_RETRIEVERFILEQUERY_H
#define RETRIEVAL_RETRIEVERFILEQUERY_H

#include <set>
#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "index/RecordIndexCache.h"
#include "retrieval/RecordRetrieverCache.h"

// Finds, over every record directory and device dir of one playback, the
// record file that serves a time: one RecordRetrieverCache per pair.
//
// Part of one RecordRetrieverImpl; its thread only, no locks.
class RetrieverFileQuery {
public:
    void setIFrameFlag(bool bFlag) { m_bIFrameFlag = bFlag; }
    void setDeviceList(std::set<std::string> const& deviceDirs) { m_deviceList = deviceDirs; }
    // One cache per directory and device dir; a cache of the same pair is
    // kept with what it loaded.
    void setRecordDirInfo(std::vector<RecordDirInfoEx> const& dirs);
    // 1 with the file that holds the time, or else the nearest after it
    // (forward) or before it over all caches; 0 when there is none.
    int getRecordFileInfo(long long nTime, SafePointer<RecordFileInfo>& file, bool bForward);
    // The file's seek points, all items or I-frame items; 1, or 0 when its
    // entry is not found.
    int getRecordFileIndexList(SafePointer<RecordFileInfo>& file, RecordIndexCache& cache, bool bIFrameOnly);
    // The file is gone: forgotten by its cache, its index entry removed.
    void deleteFile(SafePointer<RecordFileInfo>& file);
    // Every cache reloads at its next search.
    void updateRecordCache();

private:
    static bool isSameRetrieverCache(RecordRetrieverCache const& cache, RecordDirInfoEx const& dir,
                                     std::string const& deviceDir, int nStorageType);
    SafePointer<RecordRetrieverCache> findCache(RecordFileInfo const& file);

    std::set<std::string> m_deviceList;
    std::vector<RecordDirInfoEx> m_dirList;
    std::vector<SafePointer<RecordRetrieverCache>> m_cacheList;
    bool m_bIFrameFlag = false;
};

#endif

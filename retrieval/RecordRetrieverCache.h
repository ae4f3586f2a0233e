#ifndef RETRIEVAL_RECORDRETRIEVERCACHE_H
#define RETRIEVAL_RECORDRETRIEVERCACHE_H

#include <list>
#include <map>
#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "index/RecordIndexCache.h"
#include "index/RecordIndexParserImplEx.h"
#include "retrieval/RecordFileInfoWithIndex.h"

// The record files of one device dir on one record directory, for playback:
// the index image of one date, with the last entry of the day before in
// front of it (a file begun before midnight serves the first minutes of the
// date), and the descriptors found around the last answer.
//
// Owns the image. Used by one playback's thread; no locks.
class RecordRetrieverCache {
public:
    RecordRetrieverCache(RecordDirInfoEx const& dirInfo, std::string const& deviceDir, int nStorageType);
    ~RecordRetrieverCache();
    RecordRetrieverCache(RecordRetrieverCache const&) = delete;
    RecordRetrieverCache& operator=(RecordRetrieverCache const&) = delete;

    // 0: the file holds the time; 1: the nearest file after it (forward) or
    // before it; -1: none. The file's actual begin and end offsets are set
    // to the span found.
    int getRecordFileInfo(long long nTime, SafePointer<RecordFileInfo>& file, bool bForward);
    // A descriptor for the time from the index: 0 on the date loaded, 1 when
    // another date had to be loaded, -1 when no date has one.
    int updateRecordFileInfo(long long nTime, SafePointer<RecordFileInfoWithIndex>& file, bool bForward);
    // Keeps the descriptors in begin-time order; one per file name.
    void addRecordFileInfo(SafePointer<RecordFileInfoWithIndex> const& file);
    // Loads the day-before entry and the date's index; false, with the cache
    // empty, when the date has no readable index.
    bool updateIndexCache(std::string const& date);
    // Seek points of the file's entry; 1, or 0 when it has none.
    int getRecordFileIndexList(RecordFileInfo const& file, RecordIndexCache& cache, bool bIFrameOnly);
    // Forgets the file and removes its entry from the image and its index.
    void deleteFile(RecordFileInfo const& file);
    // The next search reloads the index (a live recording added to it).
    void setUpdateFlag(bool bFlag) { m_bUpdateFlag = bFlag; }
    std::list<std::string> const& getDateList();
    // The known date before `date`; empty when there is none.
    std::string getPreDateDir(std::string const& date);
    RecordDirInfoEx const& getRecordDirInfo() const { return m_dirInfo; }
    int getRecordStorageType() const { return m_nRecordStorageType; }
    std::string const& getDeviceInfo() const { return m_strDeviceDir; }

private:
    // 0 when the offset of time lies in one of the spans, else 1; the
    // file's actual offsets take the span found.
    static int checkFileTimeRange(long long nTime, RecordFileInfo& file, std::map<int, int> const& spans,
                                  bool bForward);
    static bool isInTimeRange(long long nOffset, std::map<int, int> const& spans, bool bForward, int& nBegin,
                              int& nEnd);
    // The entry of the time on the image loaded, as a descriptor.
    bool findInImage(long long nTime, SafePointer<RecordFileInfoWithIndex>& file, bool bForward);
    void dropImage();
    void noteIndexListUse(SafePointer<RecordFileInfoWithIndex> const& file);

    RecordDirInfoEx m_dirInfo;
    RecordIndexParserImplEx m_parser;  // over m_szIndexCache
    char* m_szIndexCache = nullptr;    // owned: day-before entry, then the date's index
    int m_nIndexCacheLen = 0;
    int m_nLastUpdateTime = -1;
    std::vector<SafePointer<RecordFileInfoWithIndex>> m_fileList;
    // The files whose seek points are kept, the latest used first; a few
    // only, as a day of seek points for every file would not fit a small
    // recorder.
    std::list<SafePointer<RecordFileInfoWithIndex>> m_indexListUse;
    std::string m_strDeviceDir;
    std::string m_strCurrentDate;
    std::list<std::string> m_dateList;
    bool m_bUpdateFlag = false;
    bool m_bNewDataFlag = false;
    int m_nRecordStorageType;
    int m_nMainIndexLen = 0;
    // The day-before entry: its length at the front of the image, its date.
    int m_nPreDayLen = 0;
    std::string m_strPreDate;
    bool m_bDateListLoaded = false;
};

#endif

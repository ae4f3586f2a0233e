#ifndef INDEX_RECORDINDEXPARSERIMPLEX_H
#define INDEX_RECORDINDEXPARSERIMPLEX_H

#include <map>
#include <string>
#include <vector>

#include "foundation/DeviceDirParser.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/RecordInfo.h"
#include "foundation/SafePointer.h"
#include "index/RecordIndexFilePosParser.h"

class EarliestFileDeleteHandler;
class EarliestFileInfoList;
class RecordFileIndexNodeInfo;
class RecordIndexCache;
class RecordOutDateFileHandler;
class SingleDeviceRecordQuery;
struct RecordTimeRun;

// Walks the entries of one index image: every operation scans (lazily) for
// the entries, then steps through them in file order. The image is not
// owned; changes (lock, unlock, delete) are made in it, and the offsets of
// the bytes changed are handed back so that the owner can write them to the
// file. Deletion paints an entry with 0xFF and never moves another.
//
// Record file descriptors made here carry the channel of the device dir, the
// entry's name and times, the directory and the storage type.
//
// A local object of one caller (usually inside RecordIndexFileParserEx); not
// copyable, as the device dir parser points into its own string. No locks.
class RecordIndexParserImplEx {
public:
    using FileList = std::vector<SafePointer<RecordFileInfo>>;

    RecordIndexParserImplEx() = default;
    RecordIndexParserImplEx(RecordIndexParserImplEx const&) = delete;
    RecordIndexParserImplEx& operator=(RecordIndexParserImplEx const&) = delete;

    // Takes the image (not owned, may be null with length 0) and what it
    // describes; the entry scan is due.
    void setIndexInfo(RecordDirInfoEx const& dirInfo, std::string const& date,
                      std::string const& deviceDir, char* pszImage, int nLength,
                      int nStorageType);
    // A new image for the same directory, date and device.
    void setIndexInfo(char* pszImage, int nLength, int nStorageType);
    void setInitIndexPosInfoFlag() { m_posParser.setInitIndexPosInfoFlag(); }
    char* getIndexInfo(int& nLength) const;
    int getRecordStorageType() const { return m_nStorageType; }

    // ---- reading ----
    // Hands the time segments of every entry to the query, with data length
    // or not; ends quietly at the first entry whose head does not parse.
    int queryRecordSegmentList(SingleDeviceRecordQuery* query, bool bWithDataLength);
    // The runs of every entry, up to the same first unparsed head; what
    // queryRecordSegmentList hands a query without data length.
    int getRecordTimeRuns(std::vector<RecordTimeRun>& runs);
    int getFileNumber();
    // Number of entries with a locked item.
    int getLockFileInfo(int& nCount);
    int getLockFileList(std::vector<std::string>& list);
    // Entries that begin at or after nBegin and end at or before nEnd.
    int getRecordFileInfoList(long long nBegin, long long nEnd, FileList& list);
    // Entries that pass, or fail, the CRC check (runs sealed with a
    // replaced CRC pass on request: see IRecordIndexInfoParser).
    int getRepairedRecordFileInfoList(FileList& list);
    int getIndexDemagedFileList(FileList& list, bool bAcceptReplacedCrc = false);
    // Feeds the list in file order until it holds nCount files older than
    // the next entry; locked entries only with bIncludeLocked.
    int getEarliestRecordFileInfo(EarliestFileInfoList& list, int nCount, bool bIncludeLocked);
    // First or last entry; 0 when there is none.
    int getEarliestRecordFileInfo(RecordFileInfo& file);
    int getLastestFileInfo(RecordFileInfo& file);
    // Also the file number (from the name), stream values and index version.
    int getLastestFileInfo(RecordFileInfo& file, int& nVersion);
    // Address and head length of the last entry; null and 0 when none.
    char* getLastestIndexInfo(int& nLength);
    // Lengths of the last entry (getRecordFileSizeAndTimeInfo), the offset
    // of its last byte and whether its last group is closed. With no entry
    // all 0, end -1, answer 1; 0 when its head does not parse.
    int getRecordFileLenAndTimeLen(int& nDataLength, int& nTimeLength, int& nInterval, int& nEnd,
                                   bool& bClosed);
    // The first entry of that exact name: address, head and total length.
    char* getIndexFileInfoByFileName(char const* name, int& nHeadLength, int& nTotalLength);
    // Its offsets in the image (head begin, head end, last byte); 1 or 0.
    int getIndexPosByFileName(char const* name, int& nBegin, int& nHeadEnd, int& nEnd);
    int getRecordFileInfoByFileName(char const* name, SafePointer<RecordFileInfo>& file);
    // The entry that holds the begin time of info, or else the nearest one
    // after it (bForward) or before it; its offsets and playable spans.
    // 1, or 0 when there is none.
    int getRecordFileInfo(RecordInfo const& info, SafePointer<RecordFileInfo>& file, int& nBegin,
                          int& nHeadEnd, int& nEnd, std::map<int, int>& spans, bool bForward);
    // The seek points of the entry at the given offsets (as getCurIndexPos
    // gives them): I-frame items only, or all. 1, or 0 for bad offsets.
    int getRecordFileIndexList(int nBegin, int nHeadEnd, int nEnd, RecordIndexCache& cache,
                               bool bIFrameOnly);
    // Every item of the named entry; 1, or 0 when there is none.
    int getRecordFileIndexNodeInfoList(char const* name, RecordFileIndexNodeInfo& nodeInfo);

    // ---- changes in the image; first/last span the bytes changed (-1: none) ----
    // Lock (unlock) the items of every entry in the range; answers the
    // number of items changed.
    int lockFile(long long nBegin, long long nEnd, int& nFirst, int& nLast);
    int unLockFile(long long nBegin, long long nEnd, int& nFirst, int& nLast);
    // Paints the entry of the file's name: 1, or 0 when there is none.
    int deleteFile(RecordFileInfo const& file, int& nBegin, int& nEnd);
    int deleteFile(char const* name, int& nBegin, int& nEnd);
    // Offers each unlocked entry to the handler, in file order; its answer
    // 0 ends the walk, any other paints the entry. Without a handler every
    // unlocked entry is painted. Answers the number painted.
    int deleteOutDateFile(SafePointer<RecordOutDateFileHandler>& handler, int& nFirst, int& nLast);
    // Every entry, locked or not; the handler's 0 keeps an entry.
    int deleteDeviceFile(SafePointer<RecordOutDateFileHandler>& handler, int& nFirst, int& nLast);
    // Each unlocked entry to the handler: -1 keeps it, -2 keeps it and ends
    // the walk, any other answer paints it. Without a handler every
    // unlocked entry is painted.
    int deleteEarliestRecordFile(SafePointer<EarliestFileDeleteHandler>& handler, int& nFirst,
                                 int& nLast);

private:
    // Steps the item parser to the next entry whose head parses; false at
    // the end.
    bool nextEntry();
    bool nextEntry(bool& bParsed);
    // The first entry of that exact name (names are compared whole, so a
    // damaged name holding a 00 byte is found too).
    char* findByName(std::string const& name, int& nHeadLength, int& nTotalLength);
    SafePointer<RecordFileInfo> createRecordFileInfo();
    void fillRecordFileInfo(RecordFileInfo& file);
    void paintCurrent(int& nFirst, int& nLast);
    std::string getWholeDateDir() const;

    RecordDirInfoEx m_dirInfo;
    std::string m_strDate;
    std::string m_strDeviceDir;
    DeviceDirParser m_deviceDirParser;  // points into m_strDeviceDir
    char* m_pszImage = nullptr;         // not owned
    int m_nLength = 0;
    int m_nStorageType = 0;
    RecordIndexFilePosParser m_posParser;
    RecordIndexFileItemParserEx m_itemParser;
};

#endif

#ifndef INDEX_IRECORDINDEXINFOPARSER_H
#define INDEX_IRECORDINDEXINFOPARSER_H

#include <map>
#include <vector>

#include "index/RecordIndexCodec.h"

class RecordFileIndexNodeInfo;
class RecordIndexCache;
class SingleDeviceRecordQuery;
struct RecordTimeRun;

// Reads the item area of one entry of a record index (docs/record-index.md):
// the bytes behind the head, up to the end that getIndexEndPos finds. One
// implementation per index version, made by RecordIndexParserFactory.
//
// The parser does not own the area; it must outlive every call after
// setIndexInfo. Lock and unlock change the area in place. Bad data never
// throws: a walk ends at the first item that does not parse or fit, and what
// it met before stands. A local object of one caller; no locks.
class IRecordIndexInfoParser {
public:
    // One item as a walk meets it; also the state of the walk. Start a walk
    // with a default-constructed WalkItem.
    struct WalkItem {
        int nOffset = 0;      // of the item in the area
        int nItemLength = 0;  // raw bytes of the item
        bool bLong = false;
        int nTimeInterval = 0;  // as stored
        int nTime = 0;          // seconds from the entry's begin time (t)
        int nFilePos = 0;       // where the item's data starts in the record file
        int nDataLength = 0;    // bytes
        int nTimeLength = 0;    // seconds
        bool bLocked = false;
        int nIndexType = 0;     // 1: begins with an I-frame
        bool bAlarm = false;    // always false in V1
        int nCount = 0;         // items met so far, this one included
        int nNext = 0;          // offset at which the walk resumes
    };

    virtual ~IRecordIndexInfoParser() = default;

    // Sum of the data lengths of all items, in bytes.
    virtual int getValidDataLength();
    // t of the last item plus its time length; 0 without items.
    virtual int getRecordFileTimeInterval();
    // Appends every item to the cache as (t, data position). Room is
    // reserved by a counting pass first, so the walk allocates nothing per
    // item. Answers 1.
    virtual int getRecordIndexItemList(RecordIndexCache& cache);
    // The same for the items that begin with an I-frame, and for every long
    // item whatever its type (it follows a gap, so playback starts there).
    virtual int getRecordIFrameIndexList(RecordIndexCache& cache);
    // Time segments with data length for a query: cut where the items leave
    // a hole over the query's precision, where lock or alarm state changes,
    // and where a segment reaches the query's segment interval (the first
    // one only what is left of the last segment's interval, unless that is
    // below 30 s). Only items wholly inside the query window count towards
    // the data length; segments without data are not handed over. Answers
    // 1, or 0 for a null query.
    virtual int queryRecordWithDataLen(SingleDeviceRecordQuery* query);
    // Time segments for a query: cut where the items leave a hole over the
    // query's precision, or where lock or alarm state changes; a hole of 1 s
    // up to the precision is hidden by moving the end up to the next begin.
    // Answers 1, or 0 for a null query.
    virtual int getRecordTimeSegment(SingleDeviceRecordQuery* query);
    // Appends the items as runs (RecordTimeRun), the first one marked as an
    // entry's; answers the number appended.
    int getRecordTimeRuns(std::vector<RecordTimeRun>& runs);
    // Playable spans as start offset -> end offset, each starting at an
    // I-frame item after a gap (start of the area or a long item). interval
    // as getRecordFileTimeInterval, set to 0 when the only span would be
    // empty; dataLength as getValidDataLength. Answers 1.
    virtual int getRecordFileTimeSegmentList(std::map<int, int>& segments, int& nInterval,
                                             int& nDataLength);
    // data: sum of data lengths; interval: as getRecordFileTimeInterval;
    // time: sum of the short intervals, plus the time length of the item
    // before each long item, plus 1 + the number of long items (0 without
    // items), plus the last item's time length. Answers 1.
    virtual int getRecordFileSizeAndTimeInfo(int& nDataLength, int& nTime, int& nInterval);
    // Takes the area (not owned) and the entry's begin time in seconds. A
    // null area or a negative length is taken as empty. Answers 1.
    virtual int setIndexInfo(char* pszIndexInfo, int nLength, long long nBeginTime);
    // 1 if any item is locked.
    virtual int checkFileIsLocked();
    // Last byte of the item area among the nLength bytes behind a head, -1
    // for none. nResult: 1, or for V3 0 when the last run of items has no
    // closing CRC item (the entry must not be continued). Does not use the
    // area given to setIndexInfo.
    virtual int getIndexEndPos(char* buffer, int nLength, int& nResult) = 0;
    // Appends a node for every item (t, data position, time length, data
    // length, I-frame); room is reserved first. Answers 1.
    virtual int getRecordFileIndexNodeInfoList(RecordFileIndexNodeInfo& nodeInfo);
    // Sets the lock bit of every item whose begin (begin time + t) lies in
    // [nBegin, nEnd]. Answers the number of such items.
    virtual int lockFile(long long nBegin, long long nEnd);
    // Clears the lock bit of every item with begin >= nBegin and begin + time
    // length <= nEnd: an item straddling nEnd is locked but not unlocked.
    // Answers the number of such items.
    virtual int unLockFile(long long nBegin, long long nEnd);
    // 1 when the CRC items do not account for the nLength bytes of the area.
    // V1 and V2 have no CRC items and are never found damaged: 0.
    virtual int isIndexInfoNeedRepaire(int nLength);
    // Runs sealed with a replaced CRC (RecordIndexCodec::isReplacedCrc) pass
    // the damage check: for checkers that tell them from damage. The engine
    // itself never sets it.
    void setAcceptReplacedCrc(bool bAccept) { m_bAcceptReplacedCrc = bAccept; }

    // Moves item to the next item of the area; false at the end of the data
    // or at the first item that does not parse or fit.
    bool nextItem(WalkItem& item);

    char* getIndexInfo() const { return m_pszIndexInfo; }
    int getIndexInfoLength() const { return m_nIndexInfoLen; }
    long long getBeginTime() const { return m_nBeginTime; }

protected:
    enum ReadResult { kEndOfWalk = 0, kItem = 1, kSkip = 2 };
    // Reads what lies at p with nRemaining bytes left before the walk limit:
    // an item (item and nLength filled), bytes to skip (nLength), or the end.
    virtual ReadResult readItem(char* p, int nRemaining, RecordIndexCodec::ItemInfo& item,
                                int& nLength) = 0;
    // Where walks stop.
    virtual int getWalkLimit() const { return m_nIndexInfoLen; }
    // The begin time plus an offset of the walk, held at the ends of the
    // 64-bit range (any begin time is valid).
    long long absoluteTime(long long nOffset) const {
        return RecordIndexCodec::addSeconds(m_nBeginTime, nOffset);
    }
    // getIndexEndPos of V1 and V2, which differ in their item sizes only.
    static int getIndexEndPosByStep(char const* buffer, int nLength, int nShortSize, int nLongSize,
                                    int& nResult);
    // Rotating log of the index parsers; never fails its caller.
    static void writeLog(char const* text, char const* file, int line);

    char* m_pszIndexInfo = nullptr;  // not owned
    int m_nIndexInfoLen = 0;
    long long m_nBeginTime = 0;
    bool m_bAcceptReplacedCrc = false;
};

#endif

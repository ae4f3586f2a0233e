#ifndef INDEX_RECORDINDEXFILEITEMPARSEREX_H
#define INDEX_RECORDINDEXFILEITEMPARSEREX_H

#include <map>
#include <string>

#include "index/RecordIndexCrcItemParser.h"
#include "index/RecordIndexInfoParserV1.h"
#include "index/RecordIndexInfoParserV2.h"
#include "index/RecordIndexInfoParserV3.h"

class RecordFileIndexNodeInfo;
class RecordIndexCache;
class SingleDeviceRecordQuery;
struct RecordTimeRun;

// One entry of an index image: its head (read from a private, unescaped
// copy) and, through the parser of the version the head names, its item
// area. The entry's bytes are not owned: they belong to the image and must
// stay put while this object looks at them. Lock, unlock and deleteFile
// change them in place.
//
// Reused from entry to entry by the walks: the head copy keeps its buffer,
// so a walk allocates only when a head is longer than any before it.
// A local object of one caller; no locks.
class RecordIndexFileItemParserEx {
public:
    RecordIndexFileItemParserEx() = default;
    ~RecordIndexFileItemParserEx();
    RecordIndexFileItemParserEx(RecordIndexFileItemParserEx const&) = delete;
    RecordIndexFileItemParserEx& operator=(RecordIndexFileItemParserEx const&) = delete;

    // The entry at p: nHeadLength raw head bytes (start code to end code),
    // nTotalLength bytes with the head CRC and the item area. Copies and
    // unescapes the head, reads the version, and notes the head CRC item.
    // Answers 1, or 0 for a null entry or a head longer than the entry.
    int setIndexFileInfo(char* p, int nHeadLength, int nTotalLength);
    // The same for a head without item area.
    int setIndexHeadInfo(char* p, int nHeadLength);
    // Reads name and tail from the unescaped head (RecordIndexCodec, so any
    // signed 64-bit begin time is taken): 1, or 0 for a head too short for
    // them (the fields are then left as they were).
    int parseFileInfo();

    std::string const& getFileName() const { return m_head.strFileName; }
    long long getBeginTime() const { return m_head.nBeginTime; }
    int getAVWidth() const { return m_head.nWidth; }
    int getAVHeight() const { return m_head.nHeight; }
    int getEncodeType() const { return m_head.nEncodeType; }
    int getTimeZone() const { return m_head.nTimeZone; }
    int getDst() const { return m_head.nDst; }
    int getIndexVersion() const { return m_nIndexVersion; }
    int getIndexHeaderLen() const { return m_nIndexHeaderLen; }
    int getIndexFileInfoLen() const { return m_nIndexFileInfoLen; }
    char* getIndexFileInfo() const { return m_pszIndexFileInfo; }
    // 8 when a head CRC item follows the head of a V3 entry, else 0.
    int getHeadCrcLen() const { return m_nHeadCrcLen; }

    // Forwarded to the version parser of the entry; 0 when the entry has no
    // item area, except the two query walks, which then answer 1.
    int getRecordFileTimeInterval();
    int getRecordTimeSegment(SingleDeviceRecordQuery* query);
    // The entry's runs, the first carrying the head's encoder type.
    int getRecordTimeRuns(std::vector<RecordTimeRun>& runs);
    int queryRecordWithDataLen(SingleDeviceRecordQuery* query);
    int getRecordFileSizeAndTimeInfo(int& nDataLength, int& nTime, int& nInterval);
    int getRecordIFrameIndexList(RecordIndexCache& cache);
    // Also gives the node record the entry's begin time, size and encoder.
    int getRecordFileIndexNodeInfoList(RecordFileIndexNodeInfo& nodeInfo);
    int getRecordIndexItemList(RecordIndexCache& cache);
    int getValidDataLength();
    int getRecordFileTimeSegmentList(std::map<int, int>& segments, int& nInterval,
                                     int& nDataLength);
    int checkFileIsLocked();
    int lockFile(long long nBegin, long long nEnd);
    int unLockFile(long long nBegin, long long nEnd);

    // Damaged head or item area (V3 only; older versions are never damaged).
    bool isIndexInfoNeedRepaire();
    // The head CRC item of a V3 entry does not match the raw head.
    bool isIndexHeaderNeedRepaire();
    // See IRecordIndexInfoParser::setAcceptReplacedCrc; covers the head too.
    void setAcceptReplacedCrc(bool bAccept) { m_bAcceptReplacedCrc = bAccept; }
    // Paints the whole entry, head included, with 0xFF.
    void deleteFile();

private:
    // The version parser over the item area, or null when there is none.
    IRecordIndexInfoParser* initRecordIndexInfoParser();
    bool copyHeader(char const* p, int nHeadLength);
    void resetFields();

    char* m_pszIndexFileInfo = nullptr;    // not owned: the entry in the image
    char* m_pszIndexFileHeader = nullptr;  // owned: unescaped head copy
    int m_nHeaderCapacity = 0;
    int m_nHeaderLen = 0;                  // of the unescaped copy
    int m_nIndexHeaderLen = 0;             // raw
    int m_nIndexFileInfoLen = 0;
    int m_nIndexVersion = 0;
    int m_nHeadCrcLen = 0;
    bool m_bAcceptReplacedCrc = false;
    // The parsed head. Its index version is not used: the one read from the
    // raw bytes (m_nIndexVersion) is the one the position scan went by.
    RecordIndexCodec::HeadInfo m_head;

    RecordIndexInfoParserV1 m_parserV1;
    RecordIndexInfoParserV2 m_parserV2;
    RecordIndexInfoParserV3 m_parserV3;
    RecordIndexCrcItemParser m_crcParser;
};

#endif

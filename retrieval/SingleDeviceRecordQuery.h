#ifndef RETRIEVAL_SINGLEDEVICERECORDQUERY_H
#define RETRIEVAL_SINGLEDEVICERECORDQUERY_H

#include <string>
#include <vector>

#include "foundation/RecordQuery.h"

// Turns the raw time spans of one channel's index entries into a sorted list
// of RecordTimeSegment, one list per date, and hands the lists to a
// RecordQueryResult. The index walks call handle (time segments) or
// handleRecordSegment (segments with data length, cut by length); the query
// clips each span to its window, filters alarm-only and lock-only queries and
// merges spans that touch.
//
// A local object of one query job; the result must outlive it. No locks.
class SingleDeviceRecordQuery {
public:
    // Spans closer than this (seconds) are one segment; the window, the
    // precision, the segment interval and the alarm/lock filters come from
    // the condition as given.
    SingleDeviceRecordQuery(RecordQueryResult& result, RecordQueryCondition const& condition);

    // The date whose entries come next; a new date closes the list of the
    // previous one at the next span.
    void setDate(std::string const& date);
    std::string const& getDate() const { return m_strDate; }

    // A time span [nBegin, nEnd) of one entry with the states of its items.
    // Short pieces next to an alarm span are fused into it. Answers 1, or 0
    // when the span was filtered out.
    int handle(long long nBegin, long long nEnd, int nDataLength, bool bLocked, bool bAlarm);
    // The same with the span's data length, without the alarm fusing.
    int handleRecordSegment(long long nBegin, long long nEnd, int nDataLength, bool bLocked,
                            bool bAlarm);
    // The encoder type of the entries that follow; a change keeps the next
    // span from merging with the one before.
    void updataVideoEncoderType(int nType);
    // Delivers what is pending and the current list to the result.
    void clear();

    int getQueryTimePrecision() const { return m_nPrecision; }
    // 0: segments are not cut by length.
    int getSegmentTimeInterval() const { return m_nSegmentInterval; }
    // Length of the segment last inserted or grown, when cutting by length.
    int getLastSegmentTimeLen() const { return m_nLastSegmentTimeLen; }
    long long getQueryBeginTime() const { return m_nQueryBeginTime; }
    // 0: open to now.
    long long getQueryEndTime() const { return m_nQueryEndTime; }
    bool getAlarmFlag() const { return m_bAlarmOnly; }
    bool getLockFlag() const { return m_bLockOnly; }
    // The list of the current date, not yet delivered.
    std::vector<RecordTimeSegment> const& getRecordTimeSegmentList() const { return m_segmentList; }

private:
    // Clips to the window and to 0..0xFFFFFFFF, the times a segment can
    // carry; false when nothing is left.
    bool isMatchQueryTime(long long& nBegin, long long& nEnd) const;
    bool isFilteredOut(bool bLocked, bool bAlarm) const;
    void fillSegment(RecordTimeSegment& segment, long long nBegin, long long nEnd, int nDataLength,
                     bool bLocked, bool bAlarm) const;
    // Inserts in time order, merging with a neighbour that touches it.
    void updateSegmentRecord(RecordTimeSegment const& segment, std::vector<RecordTimeSegment>& list);
    // Moves the list to the result (the pending span is not touched).
    void deliverList();
    void convertStructTime(RecordTimeSegment& segment) const;

    RecordQueryResult& m_result;
    std::vector<RecordTimeSegment> m_segmentList;
    int m_nHint = -1;  // index of the last insertion
    int m_nPrecision = 0;
    RecordTimeSegment m_scratch;
    RecordTimeSegment m_pending;
    long long m_nQueryBeginTime = 0;
    long long m_nQueryEndTime = 0;
    std::string m_strDevice;
    std::string m_strDate;
    bool m_bDateChanged = false;
    bool m_bAlarmOnly = false;
    bool m_bLockOnly = false;
    bool m_bNoPending = true;
    int m_nSegmentInterval = 0;
    int m_nLastSegmentTimeLen = 0;
    int m_nEncoderType = -1;
    bool m_bEncoderChanged = false;
};

#endif

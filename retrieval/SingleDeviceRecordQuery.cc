#include "retrieval/SingleDeviceRecordQuery.h"

#include "foundation/TimeConvert.h"

namespace NS_SingleDeviceRecordQuery {
// A non-alarm piece shorter than this, right behind an alarm span, is taken
// into the alarm span.
constexpr long long kShortPieceLength = 20;
// Segments cut by length may grow this far past the interval when merged.
constexpr long long kIntervalSlack = 10;
// The largest time a RecordTimeSegment holds on a 32-bit recorder.
constexpr long long kMaxSegmentTime = 0xFFFFFFFFLL;
}  // namespace NS_SingleDeviceRecordQuery

SingleDeviceRecordQuery::SingleDeviceRecordQuery(RecordQueryResult& result,
                                                 RecordQueryCondition const& condition)
    : m_result(result),
      m_nPrecision(condition.getRecordQueryTimePrecision()),
      m_nQueryBeginTime(static_cast<long long>(condition.getRecordBeginTime())),
      m_nQueryEndTime(static_cast<long long>(condition.getRecordEndTime())),
      m_strDevice(condition.getDeviceId()),
      m_bAlarmOnly(condition.getAlarmFlag()),
      m_bLockOnly(condition.getLockFlag()),
      m_nSegmentInterval(condition.getRecordSegmentInterval()) {}

void SingleDeviceRecordQuery::setDate(std::string const& date) {
    if (date == m_strDate) return;
    if (!m_strDate.empty()) m_bDateChanged = true;
    m_strDate = date;
}

void SingleDeviceRecordQuery::updataVideoEncoderType(int nType) {
    if (nType != m_nEncoderType) m_bEncoderChanged = true;
    m_nEncoderType = nType;
}

bool SingleDeviceRecordQuery::isFilteredOut(bool bLocked, bool bAlarm) const {
    return (m_bAlarmOnly && !bAlarm) || (m_bLockOnly && !bLocked);
}

bool SingleDeviceRecordQuery::isMatchQueryTime(long long& nBegin, long long& nEnd) const {
    // Index times are signed 64 bits; a segment carries 32 unsigned bits on
    // the recorder, so what lies above is cut here rather than wrapped (the
    // window's begin, never negative, cuts what lies below).
    if (nEnd > NS_SingleDeviceRecordQuery::kMaxSegmentTime) {
        nEnd = NS_SingleDeviceRecordQuery::kMaxSegmentTime;
    }
    if (nEnd <= m_nQueryBeginTime) return false;
    if (m_nQueryEndTime != 0 && nBegin >= m_nQueryEndTime) return false;
    if (nBegin < m_nQueryBeginTime) nBegin = m_nQueryBeginTime;
    if (m_nQueryEndTime != 0 && nEnd > m_nQueryEndTime) nEnd = m_nQueryEndTime;
    return nBegin < nEnd;
}

void SingleDeviceRecordQuery::fillSegment(RecordTimeSegment& segment, long long nBegin,
                                          long long nEnd, int nDataLength, bool bLocked,
                                          bool bAlarm) const {
    segment.setRecordBeginTime(static_cast<unsigned long>(nBegin));
    segment.setRecordEndTime(static_cast<unsigned long>(nEnd));
    segment.setRecordDataLength(static_cast<unsigned long>(nDataLength < 0 ? 0 : nDataLength));
    segment.setRecordLockFlag(bLocked);
    segment.setRecordAlarmFlag(bAlarm);
    segment.setVideoEncoderType(m_nEncoderType);
}

void SingleDeviceRecordQuery::convertStructTime(RecordTimeSegment& segment) const {
    TimeStruct begin;
    TimeStruct end;
    TimeConvert::getTimeStruct(begin, segment.getRecordBeginTime(), 0);
    TimeConvert::getTimeStruct(end, segment.getRecordEndTime(), 0);
    segment.setBeginTimeStruct(begin);
    segment.setEndTimeStruct(end);
}

void SingleDeviceRecordQuery::deliverList() {
    for (auto& segment : m_segmentList) convertStructTime(segment);
    if (m_nSegmentInterval > 0) {
        for (auto const& segment : m_segmentList) m_result.addRecordTimeSegment(segment);
    } else {
        m_result.addNextDateSegmentList(m_segmentList);
    }
    m_segmentList.clear();
    m_nHint = -1;
}

int SingleDeviceRecordQuery::handleRecordSegment(long long nBegin, long long nEnd, int nDataLength,
                                                 bool bLocked, bool bAlarm) {
    if (m_bDateChanged) {
        deliverList();
        m_bDateChanged = false;
    }
    if (isFilteredOut(bLocked, bAlarm) || !isMatchQueryTime(nBegin, nEnd)) return 0;
    fillSegment(m_scratch, nBegin, nEnd, nDataLength, bLocked, bAlarm);
    updateSegmentRecord(m_scratch, m_segmentList);
    return 1;
}

int SingleDeviceRecordQuery::handle(long long nBegin, long long nEnd, int nDataLength,
                                    bool bLocked, bool bAlarm) {
    if (m_bDateChanged) {
        if (!m_bNoPending) updateSegmentRecord(m_pending, m_segmentList);
        m_bNoPending = true;
        deliverList();
        m_bDateChanged = false;
    }
    if (isFilteredOut(bLocked, bAlarm) || !isMatchQueryTime(nBegin, nEnd)) return 0;

    long long pendingEnd = static_cast<long long>(m_pending.getRecordEndTime());
    long long gap = nBegin - pendingEnd;
    if (bAlarm) {
        if (m_bNoPending) {
            fillSegment(m_pending, nBegin, nEnd, nDataLength, bLocked, true);
            m_bNoPending = false;
            return 1;
        }
        if (gap >= 0 && gap <= m_nPrecision) {
            if (nEnd > pendingEnd) m_pending.setRecordEndTime(static_cast<unsigned long>(nEnd));
            return 1;
        }
    } else if (!m_bNoPending && gap >= 0 && gap < m_nPrecision &&
               nEnd - nBegin < NS_SingleDeviceRecordQuery::kShortPieceLength) {
        if (nEnd > pendingEnd) m_pending.setRecordEndTime(static_cast<unsigned long>(nEnd));
        return 1;
    }

    fillSegment(m_scratch, nBegin, nEnd, nDataLength, bLocked, bAlarm);
    if (!m_bNoPending) {
        updateSegmentRecord(m_pending, m_segmentList);
        m_bNoPending = true;
        if (bAlarm) {
            m_pending = m_scratch;
            m_bNoPending = false;
            return 1;
        }
    }
    updateSegmentRecord(m_scratch, m_segmentList);
    return 1;
}

void SingleDeviceRecordQuery::updateSegmentRecord(RecordTimeSegment const& segment,
                                                  std::vector<RecordTimeSegment>& list) {
    long long const begin = static_cast<long long>(segment.getRecordBeginTime());
    long long const end = static_cast<long long>(segment.getRecordEndTime());
    long long const precision = m_nPrecision;
    int n = static_cast<int>(list.size());

    int start = (m_nHint < 0 || m_nHint >= n) ? n - 1 : m_nHint;
    while (start >= 0 &&
           begin - static_cast<long long>(list[start].getRecordEndTime()) < precision) {
        --start;
    }
    int insertAt = n;
    int placed = -1;
    long long placedLength = end - begin;
    for (int i = start + 1; i < n; ++i) {
        RecordTimeSegment& element = list[i];
        long long b = static_cast<long long>(element.getRecordBeginTime());
        long long e = static_cast<long long>(element.getRecordEndTime());
        if (b >= end + precision) {
            insertAt = i;
            break;
        }
        if (e <= begin - precision) continue;
        bool overlap = b < end && begin < e;
        bool sameKind = element.getRecordLockFlag() == segment.getRecordLockFlag() &&
                        element.getRecordAlarmFlag() == segment.getRecordAlarmFlag() &&
                        !m_bEncoderChanged;
        if (!overlap && !sameKind) {
            m_bEncoderChanged = false;
            continue;
        }
        long long mergedBegin = begin < b ? begin : b;
        long long mergedEnd = end > e ? end : e;
        if (m_nSegmentInterval > 0 &&
            mergedEnd - mergedBegin > m_nSegmentInterval + NS_SingleDeviceRecordQuery::kIntervalSlack) {
            insertAt = i + 1;
            break;
        }
        element.setRecordBeginTime(static_cast<unsigned long>(mergedBegin));
        element.setRecordEndTime(static_cast<unsigned long>(mergedEnd));
        element.setRecordDataLength(element.getRecordDataLength() + segment.getRecordDataLength());
        placed = i;
        placedLength = mergedEnd - mergedBegin;
        break;
    }
    if (placed < 0) {
        RecordTimeSegment inserted = segment;
        inserted.setVideoEncoderType(m_nEncoderType);
        list.insert(list.begin() + insertAt, inserted);
        placed = insertAt;
    }
    m_bEncoderChanged = false;
    m_nHint = placed;
    if (m_nSegmentInterval > 0) m_nLastSegmentTimeLen = static_cast<int>(placedLength);
}

void SingleDeviceRecordQuery::clear() {
    if (!m_bNoPending) updateSegmentRecord(m_pending, m_segmentList);
    m_bNoPending = true;
    deliverList();
    m_bDateChanged = false;
}

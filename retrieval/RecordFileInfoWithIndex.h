#ifndef RETRIEVAL_RECORDFILEINFOWITHINDEX_H
#define RETRIEVAL_RECORDFILEINFOWITHINDEX_H

#include <map>
#include <string>

#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "index/RecordIndexCache.h"

// A record file and where its entry lies in the index image of the cache
// that found it: offsets of the head begin, the head end and the entry's
// last byte, and the playable spans (seconds from the file's begin time,
// start to end). Valid while that image is, and so are the seek points it
// keeps once they were asked for: a file met again is not walked again.
class RecordFileInfoWithIndex {
public:
    RecordFileInfoWithIndex(SafePointer<RecordFileInfo> const& file, int nHeadBegin, int nHeadEnd, int nEnd,
                            std::map<int, int> const& spans)
        : m_pRecordFileInfo(file), m_nHeadBegin(nHeadBegin), m_nHeadEnd(nHeadEnd), m_nEnd(nEnd), m_timeList(spans) {}

    void getIndexPosInfo(int& nHeadBegin, int& nHeadEnd, int& nEnd) const {
        nHeadBegin = m_nHeadBegin;
        nHeadEnd = m_nHeadEnd;
        nEnd = m_nEnd;
    }
    std::map<int, int> const& getTimeList() const { return m_timeList; }
    long long getRecordBeginTime() const { return m_pRecordFileInfo->getRecordBeginTime(); }
    std::string const& getRecordFileName() const { return m_pRecordFileInfo->getRecordFileName(); }
    void getRecordFileInfo(SafePointer<RecordFileInfo>& file) const { file = m_pRecordFileInfo; }

    // The seek points kept for one kind (I-frame items or all); false when
    // not yet.
    bool getIndexList(bool bIFrameOnly, RecordIndexCache& cache) const {
        if (!m_bListKept[bIFrameOnly]) return false;
        cache = m_lists[bIFrameOnly];
        return true;
    }
    void keepIndexList(bool bIFrameOnly, RecordIndexCache const& cache) {
        m_lists[bIFrameOnly] = cache;
        m_bListKept[bIFrameOnly] = true;
    }
    void dropIndexLists() {
        for (int kind = 0; kind < 2; ++kind) {
            m_lists[kind] = RecordIndexCache();
            m_bListKept[kind] = false;
        }
    }

private:
    SafePointer<RecordFileInfo> m_pRecordFileInfo;
    int m_nHeadBegin;
    int m_nHeadEnd;
    int m_nEnd;
    std::map<int, int> m_timeList;
    RecordIndexCache m_lists[2];  // all items, I-frame items
    bool m_bListKept[2] = {false, false};
};

#endif

#ifndef RETRIEVAL_RECORDFILEINFOWITHINDEX_H
#define RETRIEVAL_RECORDFILEINFOWITHINDEX_H

#include <map>
#include <string>

#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"

// A record file and where its entry lies in the index image of the cache
// that found it: offsets of the head begin, the head end and the entry's
// last byte, and the playable spans (seconds from the file's begin time,
// start to end). Valid while that image is.
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

private:
    SafePointer<RecordFileInfo> m_pRecordFileInfo;
    int m_nHeadBegin;
    int m_nHeadEnd;
    int m_nEnd;
    std::map<int, int> m_timeList;
};

#endif

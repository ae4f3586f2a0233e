#ifndef INDEX_RECORDINDEXCACHE_H
#define INDEX_RECORDINDEXCACHE_H

#include <vector>

#include "index/RecordIndexInfo.h"

// Seek points of one record file, (seconds from the entry's begin time, byte
// position in the record file), in the order the index lists them: time and
// position both ascending. In practice one per I-frame item, or one per item.
//
// Lookups start where the data suggests (one point every two seconds, or
// position in proportion to time) and walk from there; for ascending data
// the answer does not depend on that start. Filled by the version parsers,
// read by the playback reader. A value of one owner; no locks.
class RecordIndexCache {
public:
    void clear() { m_indexList.clear(); }
    // Room for nCount more points, so a walk that knows its item count
    // appends without reallocating.
    void reserve(int nCount);
    void addRecordIndexInfo(int nTimeStamp, int nFilePos) {
        m_indexList.emplace_back(nTimeStamp, nFilePos);
    }
    int getSize() const { return static_cast<int>(m_indexList.size()); }
    bool isEmpty() const { return m_indexList.empty(); }
    std::vector<RecordIndexInfo> const& getRecordIndexInfoList() const { return m_indexList; }

    // bCeil: position of the first point at or after nTime, -1 if none.
    // !bCeil: position of the last point at or before nTime (the last point
    // when nTime lies beyond all), -1 if nTime lies before the first.
    // -1 for an empty cache.
    int getFilePos(int nTime, bool bCeil) const;
    // Position of the last point strictly before nTime; -1 if none.
    int getPreFilePos(int nTime) const;
    // bNext: time of the first point strictly after nPos, -1 if none.
    // !bNext: time of the last point strictly before nPos, -1 if nPos is at
    // or before the first. 0 for an empty cache.
    int getTimeStamp(int nPos, bool bNext) const;
    // From the ends of the list; -1 for an empty cache.
    int getLastIFrameTime() const;
    int getLastIFramePos() const;
    int getFirstIFramePos() const;

private:
    int getTimeStartIndex(int nTime) const;
    int getPosStartIndex(int nPos) const;

    std::vector<RecordIndexInfo> m_indexList;
};

#endif

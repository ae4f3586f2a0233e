#include "index/RecordIndexCache.h"

#include <cstddef>

namespace NS_RecordIndexCache {
// The writer makes an I-frame item about every two seconds.
constexpr int kSecondsPerPoint = 2;
}  // namespace NS_RecordIndexCache

void RecordIndexCache::reserve(int nCount) {
    if (nCount > 0) m_indexList.reserve(m_indexList.size() + static_cast<std::size_t>(nCount));
}

int RecordIndexCache::getTimeStartIndex(int nTime) const {
    int last = getSize() - 1;
    int start = nTime / NS_RecordIndexCache::kSecondsPerPoint;
    if (start < 0) return 0;
    return start < last ? start : last;
}

int RecordIndexCache::getPosStartIndex(int nPos) const {
    int last = getSize() - 1;
    long long lastPos = m_indexList[last].getFilePos();
    if (lastPos <= 0 || nPos <= 0) return 0;
    long long start = static_cast<long long>(nPos) * m_indexList[last].getTimeStamp() / lastPos;
    if (start < 0) return 0;
    return start < last ? static_cast<int>(start) : last;
}

int RecordIndexCache::getFilePos(int nTime, bool bCeil) const {
    int n = getSize();
    if (n == 0) return -1;
    int i = getTimeStartIndex(nTime);
    if (bCeil) {
        if (m_indexList[i].getTimeStamp() >= nTime) {
            while (i > 0 && m_indexList[i - 1].getTimeStamp() >= nTime) --i;
            return m_indexList[i].getFilePos();
        }
        while (i < n && m_indexList[i].getTimeStamp() < nTime) ++i;
        return i < n ? m_indexList[i].getFilePos() : -1;
    }
    if (m_indexList[i].getTimeStamp() <= nTime) {
        while (i + 1 < n && m_indexList[i + 1].getTimeStamp() <= nTime) ++i;
        return m_indexList[i].getFilePos();
    }
    while (i >= 0 && m_indexList[i].getTimeStamp() > nTime) --i;
    return i >= 0 ? m_indexList[i].getFilePos() : -1;
}

int RecordIndexCache::getPreFilePos(int nTime) const {
    int n = getSize();
    if (n == 0) return -1;
    int i = getTimeStartIndex(nTime);
    if (m_indexList[i].getTimeStamp() < nTime) {
        while (i + 1 < n && m_indexList[i + 1].getTimeStamp() < nTime) ++i;
        return m_indexList[i].getFilePos();
    }
    while (i >= 0 && m_indexList[i].getTimeStamp() >= nTime) --i;
    return i >= 0 ? m_indexList[i].getFilePos() : -1;
}

int RecordIndexCache::getTimeStamp(int nPos, bool bNext) const {
    int n = getSize();
    if (n == 0) return 0;
    int i = getPosStartIndex(nPos);
    if (bNext) {
        if (m_indexList[i].getFilePos() > nPos) {
            while (i > 0 && m_indexList[i - 1].getFilePos() > nPos) --i;
            return m_indexList[i].getTimeStamp();
        }
        while (i < n && m_indexList[i].getFilePos() <= nPos) ++i;
        return i < n ? m_indexList[i].getTimeStamp() : -1;
    }
    if (m_indexList[i].getFilePos() < nPos) {
        while (i + 1 < n && m_indexList[i + 1].getFilePos() < nPos) ++i;
        return m_indexList[i].getTimeStamp();
    }
    while (i >= 0 && m_indexList[i].getFilePos() >= nPos) --i;
    return i >= 0 ? m_indexList[i].getTimeStamp() : -1;
}

int RecordIndexCache::getLastIFrameTime() const {
    return m_indexList.empty() ? -1 : m_indexList.back().getTimeStamp();
}

int RecordIndexCache::getLastIFramePos() const {
    return m_indexList.empty() ? -1 : m_indexList.back().getFilePos();
}

int RecordIndexCache::getFirstIFramePos() const {
    return m_indexList.empty() ? -1 : m_indexList.front().getFilePos();
}

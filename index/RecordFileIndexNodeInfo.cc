#include "index/RecordFileIndexNodeInfo.h"

#include <cstddef>

void RecordFileIndexNodeInfo::reserve(int nCount) {
    if (nCount > 0) m_nodeList.reserve(m_nodeList.size() + static_cast<std::size_t>(nCount));
}

void RecordFileIndexNodeInfo::clear() {
    m_nodeList.clear();
    m_nCursor = 0;
}

int RecordFileIndexNodeInfo::seekIndexNode(int nTime) {
    int count = getNodeCount();
    for (int i = 0; i < count; ++i) {
        if (m_nodeList[i].getTimeOffset() >= nTime) {
            m_nCursor = i;
            return 1;
        }
    }
    return 0;
}

int RecordFileIndexNodeInfo::seekNext() {
    if (m_nCursor < getNodeCount()) ++m_nCursor;
    return m_nCursor >= 0 && m_nCursor < getNodeCount() ? 1 : 0;
}

int RecordFileIndexNodeInfo::getCurrentNodeInfo(RecordIndexNode& node) const {
    if (m_nCursor < 0 || m_nCursor >= getNodeCount()) return 0;
    node = m_nodeList[m_nCursor];
    return 1;
}

#ifndef INDEX_RECORDFILEINDEXNODEINFO_H
#define INDEX_RECORDFILEINDEXNODEINFO_H

#include <vector>

#include "index/RecordIndexNode.h"

// Every item of one record file as a node list, with the stream values of
// its index head, and a cursor for stepping through it. The writer keeps its
// open file in this form; the version parsers fill it from an index entry.
// A value of one owner; no locks.
class RecordFileIndexNodeInfo {
public:
    void setFileBeginTime(long long nTime) { m_nFileBeginTime = nTime; }
    long long getFileBeginTime() const { return m_nFileBeginTime; }
    void setImageWidth(int nWidth) { m_nImageWidth = nWidth; }
    int getImageWidth() const { return m_nImageWidth; }
    void setImageHeight(int nHeight) { m_nImageHeight = nHeight; }
    int getImageHeight() const { return m_nImageHeight; }
    void setEncodeType(int nType) { m_nEncodeType = nType; }
    int getEncodeType() const { return m_nEncodeType; }

    void reserve(int nCount);
    void addRecordIndexNode(RecordIndexNode const& node) { m_nodeList.push_back(node); }
    // Drops the nodes and puts the cursor back; the stream values stay.
    void clear();
    int getNodeCount() const { return static_cast<int>(m_nodeList.size()); }
    std::vector<RecordIndexNode> const& getRecordIndexNodeList() const { return m_nodeList; }

    // Cursor on the first node whose time offset is at or after nTime: 1.
    // 0, cursor left alone, when every node lies before it or there is none.
    int seekIndexNode(int nTime);
    // Moves the cursor on; 1 while it stands on a node.
    int seekNext();
    // The node under the cursor; 0 when the cursor is outside the list.
    int getCurrentNodeInfo(RecordIndexNode& node) const;
    int getCursor() const { return m_nCursor; }

private:
    long long m_nFileBeginTime = 0;
    int m_nImageWidth = 0;
    int m_nImageHeight = 0;
    int m_nEncodeType = 0;
    std::vector<RecordIndexNode> m_nodeList;
    int m_nCursor = 0;
};

#endif

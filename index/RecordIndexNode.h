#ifndef INDEX_RECORDINDEXNODE_H
#define INDEX_RECORDINDEXNODE_H

// One index item as a node list holds it: where its stretch of frames starts
// in time and in the record file, and how long it is.
class RecordIndexNode {
public:
    RecordIndexNode() = default;
    RecordIndexNode(int nTimeOffset, int nFilePos, int nTimeLength, int nDataLength, bool bIFrame)
        : m_nTimeOffset(nTimeOffset),
          m_nFilePos(nFilePos),
          m_nTimeLength(nTimeLength),
          m_nDataLength(nDataLength),
          m_bIFrame(bIFrame) {}

    int getTimeOffset() const { return m_nTimeOffset; }  // seconds from the entry's begin time
    int getFilePos() const { return m_nFilePos; }        // bytes into the record file
    int getTimeLength() const { return m_nTimeLength; }  // seconds, 0 to 3
    int getDataLength() const { return m_nDataLength; }  // bytes
    bool isIFrame() const { return m_bIFrame; }
    void setTimeOffset(int nValue) { m_nTimeOffset = nValue; }
    void setFilePos(int nValue) { m_nFilePos = nValue; }
    void setTimeLength(int nValue) { m_nTimeLength = nValue; }
    void setDataLength(int nValue) { m_nDataLength = nValue; }
    void setIFrame(bool bValue) { m_bIFrame = bValue; }

private:
    int m_nTimeOffset = 0;
    int m_nFilePos = 0;
    int m_nTimeLength = 0;
    int m_nDataLength = 0;
    bool m_bIFrame = false;
};

#endif

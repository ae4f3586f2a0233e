#ifndef TRACKING_RECORDSEGMENTINFONODE_H
#define TRACKING_RECORDSEGMENTINFONODE_H

#include <string>

// A node of the segment table's tree: root (1), device (2, value the device
// key), date (3, value the date); the leaves under a date are
// RecordSegmentInfoElement. A node owns its children, kept in a doubly
// linked list in insertion order. Guarded by the table's mutex.
class RecordSegmentInfoNode {
public:
    static constexpr int kRoot = 1;
    static constexpr int kDevice = 2;
    static constexpr int kDate = 3;
    static constexpr int kElement = 4;

    RecordSegmentInfoNode(int type, std::string const& value) : m_nType(type), m_strValue(value) {}
    virtual ~RecordSegmentInfoNode() { clear(); }
    RecordSegmentInfoNode(RecordSegmentInfoNode const&) = delete;
    RecordSegmentInfoNode& operator=(RecordSegmentInfoNode const&) = delete;

    // Takes the child, last in the list; 0 (the caller keeps and deletes
    // it) when an equal child is there, else 1.
    virtual int insertChildNode(RecordSegmentInfoNode* node);
    // Same type and value.
    virtual bool isEqual(RecordSegmentInfoNode* node);

    int getType() const { return m_nType; }
    std::string const& getValue() const { return m_strValue; }
    void setValue(std::string const& value) { m_strValue = value; }
    bool hasChildNode() const { return m_pFirstChild != nullptr; }
    int getChildCount() const { return m_nChildCount; }
    RecordSegmentInfoNode* getParent() const { return m_pParent; }
    RecordSegmentInfoNode* getPre() const { return m_pPre; }
    RecordSegmentInfoNode* getNext() const { return m_pNext; }
    RecordSegmentInfoNode* getFirstChild() const { return m_pFirstChild; }

    // Deletes every child.
    void clear();
    // Unlinks and deletes one child; false if it is not a child.
    bool clear(RecordSegmentInfoNode* node);
    // Unlinks one child without deleting it.
    bool removeChildNode(RecordSegmentInfoNode* node);
    bool isChildNodeExist(RecordSegmentInfoNode* node);
    // The child of that type and value; null if none.
    RecordSegmentInfoNode* isChildNodeExist(int type, std::string const& value);

protected:
    // Links the child last, without the equality test.
    void appendChild(RecordSegmentInfoNode* node);

private:
    int m_nType;
    std::string m_strValue;
    RecordSegmentInfoNode* m_pParent = nullptr;
    RecordSegmentInfoNode* m_pPre = nullptr;
    RecordSegmentInfoNode* m_pNext = nullptr;
    RecordSegmentInfoNode* m_pFirstChild = nullptr;  // owned, with its siblings
    RecordSegmentInfoNode* m_pLastChild = nullptr;
    int m_nChildCount = 0;
};

#endif

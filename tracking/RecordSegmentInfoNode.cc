#include "tracking/RecordSegmentInfoNode.h"

int RecordSegmentInfoNode::insertChildNode(RecordSegmentInfoNode* node) {
    if (node == nullptr) return 0;
    for (RecordSegmentInfoNode* child = m_pFirstChild; child != nullptr; child = child->m_pNext) {
        if (child->isEqual(node)) return 0;
    }
    appendChild(node);
    return 1;
}

bool RecordSegmentInfoNode::isEqual(RecordSegmentInfoNode* node) {
    return node != nullptr && node->m_nType == m_nType && node->m_strValue == m_strValue;
}

void RecordSegmentInfoNode::appendChild(RecordSegmentInfoNode* node) {
    node->m_pParent = this;
    node->m_pPre = m_pLastChild;
    node->m_pNext = nullptr;
    if (m_pLastChild != nullptr) {
        m_pLastChild->m_pNext = node;
    } else {
        m_pFirstChild = node;
    }
    m_pLastChild = node;
    ++m_nChildCount;
}

void RecordSegmentInfoNode::clear() {
    while (m_pFirstChild != nullptr) clear(m_pFirstChild);
}

bool RecordSegmentInfoNode::clear(RecordSegmentInfoNode* node) {
    if (!removeChildNode(node)) return false;
    delete node;
    return true;
}

bool RecordSegmentInfoNode::removeChildNode(RecordSegmentInfoNode* node) {
    if (node == nullptr || node->m_pParent != this) return false;
    if (node->m_pPre != nullptr) {
        node->m_pPre->m_pNext = node->m_pNext;
    } else {
        m_pFirstChild = node->m_pNext;
    }
    if (node->m_pNext != nullptr) {
        node->m_pNext->m_pPre = node->m_pPre;
    } else {
        m_pLastChild = node->m_pPre;
    }
    node->m_pParent = node->m_pPre = node->m_pNext = nullptr;
    --m_nChildCount;
    return true;
}

bool RecordSegmentInfoNode::isChildNodeExist(RecordSegmentInfoNode* node) {
    return node != nullptr && node->m_pParent == this;
}

RecordSegmentInfoNode* RecordSegmentInfoNode::isChildNodeExist(int type, std::string const& value) {
    for (RecordSegmentInfoNode* child = m_pFirstChild; child != nullptr; child = child->m_pNext) {
        if (child->m_nType == type && child->m_strValue == value) return child;
    }
    return nullptr;
}

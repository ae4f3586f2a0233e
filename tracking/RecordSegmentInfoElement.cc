#include "tracking/RecordSegmentInfoElement.h"

#include <cstdio>

bool RecordSegmentInfoElement::isEqual(RecordSegmentInfoNode* node) {
    RecordSegmentInfoElement* other = dynamic_cast<RecordSegmentInfoElement*>(node);
    if (other == nullptr) {
        std::printf("RecordSegmentInfoElement::isEqual, bad cast, 1111111 \n");
        return false;
    }
    return other->isEqual(getType(), m_nStorageType, m_dirInfo);
}

#include "index/RecordIndexInfoParserV1.h"

int RecordIndexInfoParserV1::getIndexEndPos(char* buffer, int nLength, int& nResult) {
    return getIndexEndPosByStep(buffer, nLength, RecordIndexCodec::kShortItemSizeV1,
                                RecordIndexCodec::kLongItemSizeV1, nResult);
}

IRecordIndexInfoParser::ReadResult RecordIndexInfoParserV1::readItem(
    char* p, int nRemaining, RecordIndexCodec::ItemInfo& item, int& nLength) {
    if (nRemaining < 1) return kEndOfWalk;
    unsigned char first = static_cast<unsigned char>(p[0]);
    if (first == RecordIndexCodec::kEndOfData) return kEndOfWalk;
    // This version has only the unbounded parse: check the size first.
    if (nRemaining < RecordIndexCodec::getItemSize(RecordIndexCodec::kIndexVersion1, first)) {
        return kEndOfWalk;
    }
    m_itemParser.parse(p, nLength);
    item.bLong = m_itemParser.isLongItem();
    item.nTimeInterval = m_itemParser.getTimeInterval();
    item.nDataLength = m_itemParser.getDataLength();
    item.nTimeLength = m_itemParser.getTimeLength();
    item.bLocked = m_itemParser.isLocked();
    item.nIndexType = m_itemParser.getIndexType();
    item.bAlarm = false;
    return kItem;
}

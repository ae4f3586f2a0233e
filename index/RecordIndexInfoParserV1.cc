#include "index/RecordIndexInfoParserV1.h"

int RecordIndexInfoParserV1::getIndexEndPos(char* buffer, int nLength, int& nResult) {
    return getIndexEndPosByStep(buffer, nLength, RecordIndexCodec::kShortItemSizeV1,
                                RecordIndexCodec::kLongItemSizeV1, nResult);
}

IRecordIndexInfoParser::ReadResult RecordIndexInfoParserV1::readItem(
    char* p, int nRemaining, RecordIndexCodec::ItemInfo& item, int& nLength) {
    if (nRemaining < 1 || static_cast<unsigned char>(p[0]) == RecordIndexCodec::kEndOfData) return kEndOfWalk;
    nLength = RecordIndexCodec::decodeItem(RecordIndexCodec::kIndexVersion1, reinterpret_cast<unsigned char const*>(p),
                                           nRemaining, item);
    return nLength == 0 ? kEndOfWalk : kItem;
}

#include "index/RecordIndexInfoParserV2.h"

int RecordIndexInfoParserV2::getIndexEndPos(char* buffer, int nLength, int& nResult) {
    return getIndexEndPosByStep(buffer, nLength, RecordIndexCodec::kShortItemSizeV2,
                                RecordIndexCodec::kLongItemSizeV2, nResult);
}

IRecordIndexInfoParser::ReadResult RecordIndexInfoParserV2::readItem(
    char* p, int nRemaining, RecordIndexCodec::ItemInfo& item, int& nLength) {
    if (nRemaining < 1 || static_cast<unsigned char>(p[0]) == RecordIndexCodec::kEndOfData) return kEndOfWalk;
    nLength = RecordIndexCodec::decodeItem(RecordIndexCodec::kIndexVersion2, reinterpret_cast<unsigned char const*>(p),
                                           nRemaining, item);
    return nLength == 0 ? kEndOfWalk : kItem;
}

#include "index/RecordIndexItemParserV3.h"

#include "index/RecordIndexCodec.h"

int RecordIndexItemParserV3::parse(char* p, int& nItemLength) {
    nItemLength = decode(RecordIndexCodec::kIndexVersion3, p);
    return 1;
}

int RecordIndexItemParserV3::parse(char* p, int nLength, int& nItemLength) {
    if (p == nullptr || nLength < 1) return 0;
    int size = RecordIndexCodec::getItemSize(RecordIndexCodec::kIndexVersion3,
                                             static_cast<unsigned char>(p[0]));
    if (nLength < size) return 0;
    nItemLength = decode(RecordIndexCodec::kIndexVersion3, p);
    return 1;
}

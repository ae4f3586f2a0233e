#include "index/RecordIndexItemParserV1.h"

#include "index/RecordIndexCodec.h"

int RecordIndexItemParserV1::parse(char* p, int& nItemLength) {
    nItemLength = decode(RecordIndexCodec::kIndexVersion1, p);
    return 1;
}


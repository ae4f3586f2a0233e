#include "index/RecordIndexItemParserV2.h"

#include "index/RecordIndexCodec.h"

int RecordIndexItemParserV2::parse(char* p, int& nItemLength) {
    nItemLength = decode(RecordIndexCodec::kIndexVersion2, p);
    return 1;
}


#ifndef INDEX_RECORDINDEXITEMPARSERV1_H
#define INDEX_RECORDINDEXITEMPARSERV1_H

#include "index/IRecordIndexItemParser.h"

// Items of index version 1: 3 or 7 bytes.
class RecordIndexItemParserV1 : public IRecordIndexItemParser {
public:
    using IRecordIndexItemParser::parse;
    int parse(char* p, int& nItemLength) override;
};

#endif

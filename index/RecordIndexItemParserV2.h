#ifndef INDEX_RECORDINDEXITEMPARSERV2_H
#define INDEX_RECORDINDEXITEMPARSERV2_H

#include "index/IRecordIndexItemParser.h"

// Items of index version 2: 4 or 8 bytes.
class RecordIndexItemParserV2 : public IRecordIndexItemParser {
public:
    using IRecordIndexItemParser::parse;
    int parse(char* p, int& nItemLength) override;
    bool isAlarm() { return m_bAlarm; }
};

#endif

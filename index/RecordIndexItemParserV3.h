#ifndef INDEX_RECORDINDEXITEMPARSERV3_H
#define INDEX_RECORDINDEXITEMPARSERV3_H

#include "index/IRecordIndexItemParser.h"

// Items of index version 3: 4 or 8 bytes.
class RecordIndexItemParserV3 : public IRecordIndexItemParser {
public:
    using IRecordIndexItemParser::parse;
    int parse(char* p, int& nItemLength) override;
    // At most nLength bytes are read: 0 when a short item has fewer than 4
    // bytes, or a long one fewer than 8.
    int parse(char* p, int nLength, int& nItemLength) override;
    bool isAlarm() { return m_bAlarm; }
};

#endif

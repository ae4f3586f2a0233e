#ifndef INDEX_RECORDINDEXINFOPARSERV2_H
#define INDEX_RECORDINDEXINFOPARSERV2_H

#include "index/IRecordIndexInfoParser.h"
#include "index/RecordIndexItemParserV2.h"

// Item area of index version 2: 4-byte short and 8-byte long items, no CRC items.
// A walk ends at a 0xFF or at an item cut by the end of the area.
class RecordIndexInfoParserV2 : public IRecordIndexInfoParser {
public:
    // Steps item by item: 0xF0 by 8, 0xFF ends, 0x00 ends when fewer than 4
    // bytes remain or a start code begins there, anything else by 4.
    // nResult is always 1.
    int getIndexEndPos(char* buffer, int nLength, int& nResult) override;

protected:
    ReadResult readItem(char* p, int nRemaining, RecordIndexCodec::ItemInfo& item,
                        int& nLength) override;

private:
    RecordIndexItemParserV2 m_itemParser;
};

#endif

#ifndef INDEX_RECORDINDEXINFOPARSERV1_H
#define INDEX_RECORDINDEXINFOPARSERV1_H

#include "index/IRecordIndexInfoParser.h"
#include "index/RecordIndexItemParserV1.h"

// Item area of index version 1: 3-byte short and 7-byte long items, no alarm and no CRC items.
// A walk ends at a 0xFF or at an item cut by the end of the area.
class RecordIndexInfoParserV1 : public IRecordIndexInfoParser {
public:
    // Steps item by item: 0xF0 by 7, 0xFF ends, 0x00 ends when fewer than 4
    // bytes remain or a start code begins there, anything else by 3.
    // nResult is always 1.
    int getIndexEndPos(char* buffer, int nLength, int& nResult) override;

protected:
    ReadResult readItem(char* p, int nRemaining, RecordIndexCodec::ItemInfo& item,
                        int& nLength) override;

private:
    RecordIndexItemParserV1 m_itemParser;
};

#endif

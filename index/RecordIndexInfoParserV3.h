#ifndef INDEX_RECORDINDEXINFOPARSERV3_H
#define INDEX_RECORDINDEXINFOPARSERV3_H

#include <vector>

#include "index/IRecordIndexInfoParser.h"
#include "index/RecordIndexCrcItemParser.h"
#include "index/RecordIndexItemParserV3.h"

// Item area of index version 3: items of version 2 in groups, each group
// closed by a CRC item; the area may begin with the head's CRC item. Walks
// stop at the usable length (the length rounded down to a multiple of 4),
// step over CRC items by their 8 bytes and read items with the bounded parse.
class RecordIndexInfoParserV3 : public IRecordIndexInfoParser {
public:
    int setIndexInfo(char* pszIndexInfo, int nLength, long long nBeginTime) override;
    // Looks at every byte, as CRC items may hold any value: a start code
    // ends the area before it; 00 00 00 00 at a multiple of 4 ends it; four
    // FF end it, and nResult then tells whether the last group is closed by
    // a CRC item whose length leads back to the previous CRC item (always 1
    // when only the head's CRC item precedes the FF). Otherwise the area runs
    // to the last byte, nResult 1.
    int getIndexEndPos(char* buffer, int nLength, int& nResult) override;
    // Walks the usable length: each CRC item must state the length and CRC
    // of the raw items since the previous one, and the CRC items together
    // must cover all nLength bytes. Leading CRC items (the head's) count as
    // covered. Items behind the last CRC item or a cut area are damage: 1.
    int isIndexInfoNeedRepaire(int nLength) override;
    // As the base, and then every group that checked intact before and had
    // a lock bit changed gets its CRC item renewed in place, so that a
    // locked entry reads exactly as if the writer had written it locked. A
    // group that was damaged keeps its old CRC item: locking hides no damage.
    int lockFile(long long nBegin, long long nEnd) override;
    int unLockFile(long long nBegin, long long nEnd) override;

    // Moves p past the leading run of CRC items, by at most nMaxSkip bytes,
    // and takes what it skipped off nLength. Answers the bytes skipped.
    int filterCrcItem(char*& p, int& nLength, int nMaxSkip);

    int getUsableLength() const { return m_nUsableLen; }

protected:
    ReadResult readItem(char* p, int nRemaining, RecordIndexCodec::ItemInfo& item,
                        int& nLength) override;
    int getWalkLimit() const override { return m_nUsableLen; }

private:
    // The flag of getIndexEndPos for four FF at position i.
    static int isGroupClosed(unsigned char const* p, int nLength, int i);
    // Offset behind the leading CRC items (the head's).
    int skipLeadingCrcItems() const;
    // The next group closed by a CRC item, from nOffset on: its items'
    // offset and raw length, and the CRC item's offset; nOffset moves behind
    // the CRC item. False at the end of the usable length, at an item that
    // does not parse or a cut CRC item (nOffset then stays at the group).
    bool nextGroup(int& nOffset, int& nBegin, int& nLength, int& nCrcOffset);
    // The CRC item at nCrcOffset states the length and CRC of those bytes;
    // a mismatch is logged when bLog is set.
    bool isGroupIntact(int nBegin, int nLength, int nCrcOffset, bool bLog);
    void noteIntactGroups();
    void renewIntactGroups();

    int m_nUsableLen = 0;
    // CRC item offsets of the groups found intact before a change; the room
    // is kept between calls.
    std::vector<int> m_intactGroups;
    RecordIndexItemParserV3 m_itemParser;
    RecordIndexCrcItemParser m_crcParser;
};

#endif

#ifndef INDEX_RECORDINDEXFILEPOSPARSER_H
#define INDEX_RECORDINDEXFILEPOSPARSER_H

#include <vector>

#include "index/RecordIndexFileItemParserEx.h"

// Finds where the entries of an index image are: there is no table, so the
// image is scanned for heads, and each entry's item area ends where its
// version parser says. Entries whose head does not parse, or names a width
// or height of 0, are left out. The scan is lazy: it runs at the first use
// after setIndexInfo or setInitIndexPosInfoFlag (a deletion), not before.
//
// Also a cursor over the entries found. The image is not owned. A local
// object of one caller; no locks.
class RecordIndexFilePosParser {
public:
    struct IndexPosInfo {
        int nHeadBegin = 0;    // offset of the start code in the image
        int nHeadLength = 0;   // raw, start code to end code
        int nTotalLength = 0;  // head, head CRC item and item area
        bool bClosed = true;   // the last group of items has its CRC item
    };

    // A new image (may be null with length 0); the scan is due.
    void setIndexInfo(char* pszImage, int nLength);
    // The image changed under the entries found: scan again before next use.
    void setInitIndexPosInfoFlag() { m_bNeedScan = true; }
    // Runs the scan if it is due, and puts the cursor before the first
    // entry. Answers the number of entries.
    int initFileIndexPosInfo();

    // The next entry (its head length and total length), or null at the end;
    // it becomes the current one.
    char* getNext(int& nHeadLength, int& nTotalLength);
    // Moves to the last entry, or answers null when there is none.
    char* getLast(int& nHeadLength, int& nTotalLength);
    // Offsets of the current entry in the image; end is its last byte.
    // False when there is no current entry.
    bool getCurIndexPos(int& nBegin, int& nHeadEnd, int& nEnd) const;
    bool getCurIndexPos(int& nBegin, int& nEnd, bool& bClosed) const;
    int getCurIndex() const { return m_nCurIndex; }

    int getIndexPosCount();
    std::vector<IndexPosInfo> const& getIndexPosInfoList();

private:
    // Keeps the entry when its head parses with a size.
    void insertIndexPosInfo(int nHeadBegin, int nHeadLength, int nTotalLength, bool bClosed);

    char* m_pszImage = nullptr;  // not owned
    int m_nLength = 0;
    int m_nCurIndex = -1;
    int m_nNextIndex = 0;
    bool m_bNeedScan = true;
    std::vector<IndexPosInfo> m_posInfoList;
    RecordIndexFileItemParserEx m_headParser;
    RecordIndexInfoParserV1 m_endParserV1;
    RecordIndexInfoParserV2 m_endParserV2;
    RecordIndexInfoParserV3 m_endParserV3;
};

#endif

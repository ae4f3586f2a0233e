#ifndef INDEX_IRECORDINDEXITEMPARSER_H
#define INDEX_IRECORDINDEXITEMPARSER_H

// Reads one index item of an entry (docs/record-index.md) and edits its lock
// bit in place. One implementation per index version; made by the entry
// parsers. A local object of one caller.
class IRecordIndexItemParser {
public:
    virtual ~IRecordIndexItemParser() = default;

    // Parses the item at p and sets nItemLength to its size. No bounds
    // check: the caller must know that a whole item of the size the first
    // byte announces lies at p. Answers 1.
    virtual int parse(char* p, int& nItemLength) = 0;
    // Bounded form: at most nLength bytes are read. 0 when the item does not
    // fit or the version has no bounded form (V1, V2).
    virtual int parse(char* p, int nLength, int& nItemLength);

    // Of the item parsed last. Time interval: seconds from the previous item
    // (short) or from the entry's begin time (long). Data length in bytes.
    virtual int getTimeInterval() { return m_nTimeInterval; }
    virtual int getDataLength() { return m_nDataLength; }
    virtual int getTimeLength() { return m_nTimeLength; }
    virtual bool isLocked() { return m_bLocked; }
    virtual int getIndexType() { return m_nIndexType; }
    // Not a virtual of the family: true when the item parsed last was long.
    bool isLongItem() const { return m_bLong; }

    // Sets or clears the lock bit of the raw item at p, in place: bit 3 of
    // byte 0, or of byte 4 behind a 0xF0. p must hold the whole item.
    virtual void lock(char* p);
    virtual void unLock(char* p);

protected:
    // Takes the decoded values of an item of nVersion at p, which must hold
    // the whole item; answers its size.
    int decode(int nVersion, char const* p);

    int m_nTimeInterval = 0;
    int m_nDataLength = 0;
    int m_nTimeLength = 0;
    bool m_bLocked = false;
    int m_nIndexType = 0;
    bool m_bLong = false;
    bool m_bAlarm = false;  // read by V2 and V3 only
};

#endif

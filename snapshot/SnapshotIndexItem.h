#ifndef SNAPSHOT_SNAPSHOTINDEXITEM_H
#define SNAPSHOT_SNAPSHOTINDEXITEM_H

// One 10-byte item of the old snapshot index (one image file per item):
// valid byte (FF, 00 once deleted), time stamp in milliseconds since the
// date's midnight, burst mode, image file size. Little-endian. A value type.
class SnapshotIndexItem {
public:
    static constexpr unsigned char kValid = 0xFF;
    static constexpr unsigned char kDeleted = 0x00;

    SnapshotIndexItem();
    SnapshotIndexItem(unsigned int nTimeStamp, int nBurstMode, unsigned int nFileSize);

    // Also marks the item valid.
    void setTimeStamp(unsigned int nTimeStamp);
    unsigned int getTimeStamp() const;
    void setBurstMode(int nBurstMode);
    int getBurstMode() const;
    void setFileSize(unsigned int nFileSize);
    unsigned int getFileSize() const;
    unsigned char const* getData() const { return m_data; }
    static int indexItemLength() { return kLength; }
    // 1 with the item copied when nLength holds one and it is valid, else 0.
    int parse(unsigned char const* p, int nLength);

private:
    static constexpr int kLength = 10;
    unsigned char m_data[kLength];
};

#endif

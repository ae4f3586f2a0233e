#ifndef SNAPSHOT_SNAPSHOTINDEXITEMEX_H
#define SNAPSHOT_SNAPSHOTINDEXITEMEX_H

// One 9-byte item of the data-file snapshot index: mask (F0 valid, F1
// deleted), time stamp in milliseconds from the entry's begin time, burst
// byte (E0 | low 5 bits; read back as the low 4), image length (3 bytes).
// Little-endian. A value type.
class SnapshotIndexItemEx {
public:
    static constexpr unsigned char kValid = 0xF0;
    static constexpr unsigned char kDeleted = 0xF1;
    static constexpr int kMaxDataLength = 0xFFFFFF;

    SnapshotIndexItemEx();
    SnapshotIndexItemEx(unsigned int nTimeStamp, int nBurstMode, int nFileSize);

    // Also marks the item valid.
    void setTimeStamp(unsigned int nTimeStamp);
    unsigned int getTimeStamp() const;
    void setBurstMode(int nBurstMode);
    int getBurstMode() const;
    // The low 24 bits are kept.
    void setFileSize(int nFileSize);
    int getFileSize() const;
    int getMask() const { return m_data[getMaskPos()]; }
    static int getMaskPos() { return 0; }
    unsigned char const* getData() const { return m_data; }
    static int indexItemLength() { return kLength; }
    // Copies any 9 bytes, whatever the mask: 1, or 0 when fewer are given.
    int parse(unsigned char const* p, int nLength);

private:
    static constexpr int kLength = 9;
    unsigned char m_data[kLength];
};

#endif

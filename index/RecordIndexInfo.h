#ifndef INDEX_RECORDINDEXINFO_H
#define INDEX_RECORDINDEXINFO_H

#include <cstdint>

// One seek point of a record file: seconds from the entry's begin time and
// the byte position of the item's data in the record file. The 8-byte
// packing below is in the host's byte order and for memory only; no file
// holds it.
class RecordIndexInfo {
public:
    static constexpr int kPackedSize = 8;

    RecordIndexInfo() = default;
    RecordIndexInfo(int nTimeStamp, int nFilePos) : m_nTimeStamp(nTimeStamp), m_nFilePos(nFilePos) {}

    int getTimeStamp() const { return m_nTimeStamp; }
    int getFilePos() const { return m_nFilePos; }
    void setTimeStamp(int nTimeStamp) { m_nTimeStamp = nTimeStamp; }
    void setFilePos(int nFilePos) { m_nFilePos = nFilePos; }

    // Reads the pair from kPackedSize bytes.
    void parseRecordIndexInfo(char const* bytes);
    // Writes the pair to kPackedSize bytes.
    void combineRecordIndexInfo(char* bytes) const;
    // The packed bytes as one value.
    std::uint64_t getRecordIndexInfo() const;

    bool operator==(RecordIndexInfo const& other) const {
        return m_nTimeStamp == other.m_nTimeStamp && m_nFilePos == other.m_nFilePos;
    }

private:
    int m_nTimeStamp = 0;
    int m_nFilePos = 0;
};

#endif

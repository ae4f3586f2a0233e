#ifndef INDEX_RECORDINDEXCRCITEMPARSER_H
#define INDEX_RECORDINDEXCRCITEMPARSER_H

#include <cstdint>

// Reads one CRC item (F1 E0, covered length, CRC; docs/record-index.md).
// A local object of one caller.
class RecordIndexCrcItemParser {
public:
    // 1 and nothing touched when the first byte is not 0xF1; 0 when the item
    // does not fit in nLength bytes (or buffer is null); otherwise the fields
    // are stored, nItemLength is set to 8 and the answer is 1.
    int parse(char const* buffer, int nLength, int& nItemLength);

    int getCrcIndexInfoLength() const { return m_nCrcIndexInfoLength; }
    std::uint32_t getCrcCode() const { return m_nCrcCode; }

private:
    int m_nCrcIndexInfoLength = 0;  // bytes covered by the CRC
    std::uint32_t m_nCrcCode = 0;   // as stored, after the 0xEE rule
};

#endif

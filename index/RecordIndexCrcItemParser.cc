#include "index/RecordIndexCrcItemParser.h"

#include "index/RecordIndexCodec.h"

int RecordIndexCrcItemParser::parse(char const* buffer, int nLength, int& nItemLength) {
    if (buffer == nullptr || nLength < 1) return 0;
    unsigned char const* p = reinterpret_cast<unsigned char const*>(buffer);
    if (p[0] != RecordIndexCodec::kCrcItemMark) return 1;
    if (nLength < RecordIndexCodec::kCrcItemSize) return 0;
    m_nCrcIndexInfoLength = static_cast<int>(RecordIndexCodec::readLE(p + 2, 2));
    m_nCrcCode = static_cast<std::uint32_t>(RecordIndexCodec::readLE(p + RecordIndexCodec::kCrcFieldOffset, 4));
    nItemLength = RecordIndexCodec::kCrcItemSize;
    return 1;
}

#include "index/RecordIndexInfoParserV3.h"

#include <cstdio>

#include "index/RecordCrc32.h"

namespace NS_RecordIndexInfoParserV3 {
constexpr int kWordSize = 4;

bool isRun(unsigned char const* p, unsigned char value) {
    return p[0] == value && p[1] == value && p[2] == value && p[3] == value;
}
}  // namespace NS_RecordIndexInfoParserV3

int RecordIndexInfoParserV3::setIndexInfo(char* pszIndexInfo, int nLength, long long nBeginTime) {
    IRecordIndexInfoParser::setIndexInfo(pszIndexInfo, nLength, nBeginTime);
    m_nUsableLen = m_nIndexInfoLen - m_nIndexInfoLen % NS_RecordIndexInfoParserV3::kWordSize;
    return 1;
}

IRecordIndexInfoParser::ReadResult RecordIndexInfoParserV3::readItem(
    char* p, int nRemaining, RecordIndexCodec::ItemInfo& item, int& nLength) {
    if (nRemaining < 1) return kEndOfWalk;
    if (static_cast<unsigned char>(p[0]) == RecordIndexCodec::kCrcItemMark) {
        nLength = RecordIndexCodec::kCrcItemSize;
        return kSkip;
    }
    if (m_itemParser.parse(p, nRemaining, nLength) == 0) return kEndOfWalk;
    item.bLong = m_itemParser.isLongItem();
    item.nTimeInterval = m_itemParser.getTimeInterval();
    item.nDataLength = m_itemParser.getDataLength();
    item.nTimeLength = m_itemParser.getTimeLength();
    item.bLocked = m_itemParser.isLocked();
    item.nIndexType = m_itemParser.getIndexType();
    item.bAlarm = m_itemParser.isAlarm();
    return kItem;
}

int RecordIndexInfoParserV3::filterCrcItem(char*& p, int& nLength, int nMaxSkip) {
    int skipped = 0;
    while (p != nullptr && nLength > 0 && skipped < nMaxSkip &&
           static_cast<unsigned char>(p[0]) == RecordIndexCodec::kCrcItemMark) {
        int step = RecordIndexCodec::kCrcItemSize;
        if (step > nLength) step = nLength;
        if (step > nMaxSkip - skipped) step = nMaxSkip - skipped;
        p += step;
        nLength -= step;
        skipped += step;
    }
    return skipped;
}

int RecordIndexInfoParserV3::isGroupClosed(unsigned char const* p, int nLength, int i) {
    int const crcSize = RecordIndexCodec::kCrcItemSize;
    if (i == crcSize) return 1;
    if (i < crcSize) return 0;
    unsigned char const* crc = p + i - crcSize;
    if (crc[0] != RecordIndexCodec::kCrcItemMark || crc[1] != RecordIndexCodec::kCrcItemSecond) {
        return 0;
    }
    int covered = static_cast<int>(RecordIndexCodec::readLE(crc + 2, 2));
    int previous = i - 2 * crcSize - covered;
    if (previous < 0 || previous + 1 >= nLength) return 0;
    return p[previous] == RecordIndexCodec::kCrcItemMark &&
                   p[previous + 1] == RecordIndexCodec::kCrcItemSecond
               ? 1
               : 0;
}

int RecordIndexInfoParserV3::getIndexEndPos(char* buffer, int nLength, int& nResult) {
    nResult = 1;
    if (buffer == nullptr || nLength <= 0) return -1;
    unsigned char const* p = reinterpret_cast<unsigned char const*>(buffer);
    for (int i = 0; i < nLength; ++i) {
        unsigned char b = p[i];
        bool fourLeft = nLength - i >= NS_RecordIndexInfoParserV3::kWordSize;
        if (b == RecordIndexCodec::kStartCodeLast && i >= 3 && p[i - 1] == 0 && p[i - 2] == 0 &&
            p[i - 3] == 0) {
            return i - 4;
        }
        if (b == 0x00 && fourLeft && NS_RecordIndexInfoParserV3::isRun(p + i, 0x00)) {
            if (i % NS_RecordIndexInfoParserV3::kWordSize == 0) return i - 1;
            // Zeros off the item grid lie inside a CRC item.
            char text[64];
            std::snprintf(text, sizeof(text), "getIndexEndPos, nPos(%d) %% 4 != 0", i);
            writeLog(text, __FILE__, __LINE__);
            continue;
        }
        if (b == RecordIndexCodec::kEndOfData && fourLeft &&
            NS_RecordIndexInfoParserV3::isRun(p + i, RecordIndexCodec::kEndOfData)) {
            nResult = isGroupClosed(p, nLength, i);
            return i - 1;
        }
    }
    return nLength - 1;
}

int RecordIndexInfoParserV3::isIndexInfoNeedRepaire(int nLength) {
    int const limit = m_nUsableLen;
    int offset = 0;
    // The head's CRC item covers the head, which is not in the area.
    while (limit - offset >= RecordIndexCodec::kCrcItemSize &&
           static_cast<unsigned char>(m_pszIndexInfo[offset]) == RecordIndexCodec::kCrcItemMark) {
        offset += RecordIndexCodec::kCrcItemSize;
    }
    int covered = offset;
    int groupStart = offset;
    int groupLength = 0;
    while (offset < limit) {
        char* p = m_pszIndexInfo + offset;
        int itemLength = 0;
        if (static_cast<unsigned char>(p[0]) == RecordIndexCodec::kCrcItemMark) {
            if (m_crcParser.parse(p, limit - offset, itemLength) == 0) break;
            char text[128];
            if (groupLength != m_crcParser.getCrcIndexInfoLength()) {
                std::snprintf(text, sizeof(text),
                              "RecordIndexInfoParserV3::isIndexInfoNeedRepaire, "
                              "CurIndexInfoLen(%d) != CrcIndexLen(%d)",
                              groupLength, m_crcParser.getCrcIndexInfoLength());
                writeLog(text, __FILE__, __LINE__);
                return 1;
            }
            std::uint32_t calculated =
                RecordCrc32::getInstance()->getCrc32(m_pszIndexInfo + groupStart, groupLength);
            if (calculated != m_crcParser.getCrcCode()) {
                std::snprintf(text, sizeof(text),
                              "RecordIndexInfoParserV3::isIndexInfoNeedRepaire, "
                              "CrcCode(%u) != CalcCrcCode(%u)",
                              static_cast<unsigned>(m_crcParser.getCrcCode()),
                              static_cast<unsigned>(calculated));
                writeLog(text, __FILE__, __LINE__);
                return 1;
            }
            covered += groupLength + itemLength;
            offset += itemLength;
            groupStart = offset;
            groupLength = 0;
            continue;
        }
        if (m_itemParser.parse(p, limit - offset, itemLength) == 0) break;
        groupLength += itemLength;
        offset += itemLength;
    }
    return covered != nLength ? 1 : 0;
}

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
    nLength = RecordIndexCodec::decodeItem(RecordIndexCodec::kIndexVersion3,
                                           reinterpret_cast<unsigned char const*>(p), nRemaining, item);
    return nLength == 0 ? kEndOfWalk : kItem;
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

int RecordIndexInfoParserV3::skipLeadingCrcItems() const {
    int offset = 0;
    while (m_nUsableLen - offset >= RecordIndexCodec::kCrcItemSize &&
           static_cast<unsigned char>(m_pszIndexInfo[offset]) == RecordIndexCodec::kCrcItemMark) {
        offset += RecordIndexCodec::kCrcItemSize;
    }
    return offset;
}

bool RecordIndexInfoParserV3::nextGroup(int& nOffset, int& nBegin, int& nLength, int& nCrcOffset) {
    int const limit = m_nUsableLen;
    int offset = nOffset;
    while (offset < limit) {
        char* p = m_pszIndexInfo + offset;
        int itemLength = 0;
        if (static_cast<unsigned char>(p[0]) == RecordIndexCodec::kCrcItemMark) {
            if (m_crcParser.parse(p, limit - offset, itemLength) == 0) return false;
            nBegin = nOffset;
            nLength = offset - nOffset;
            nCrcOffset = offset;
            nOffset = offset + itemLength;
            return true;
        }
        if (m_itemParser.parse(p, limit - offset, itemLength) == 0) return false;
        offset += itemLength;
    }
    return false;
}

bool RecordIndexInfoParserV3::isGroupIntact(int nBegin, int nLength, int nCrcOffset, bool bLog) {
    int itemLength = 0;
    m_crcParser.parse(m_pszIndexInfo + nCrcOffset, m_nUsableLen - nCrcOffset, itemLength);
    char text[128];
    if (nLength != m_crcParser.getCrcIndexInfoLength()) {
        if (!bLog) return false;
        std::snprintf(text, sizeof(text),
                      "RecordIndexInfoParserV3::isIndexInfoNeedRepaire, "
                      "CurIndexInfoLen(%d) != CrcIndexLen(%d)",
                      nLength, m_crcParser.getCrcIndexInfoLength());
        writeLog(text, __FILE__, __LINE__);
        return false;
    }
    std::uint32_t calculated = RecordCrc32::getInstance()->getCrc32(m_pszIndexInfo + nBegin, nLength);
    if (calculated != m_crcParser.getCrcCode() &&
        !(m_bAcceptReplacedCrc && RecordIndexCodec::isReplacedCrc(m_crcParser.getCrcCode()))) {
        if (!bLog) return false;
        std::snprintf(text, sizeof(text),
                      "RecordIndexInfoParserV3::isIndexInfoNeedRepaire, "
                      "CrcCode(%u) != CalcCrcCode(%u)",
                      static_cast<unsigned>(m_crcParser.getCrcCode()),
                      static_cast<unsigned>(calculated));
        writeLog(text, __FILE__, __LINE__);
        return false;
    }
    return true;
}

int RecordIndexInfoParserV3::isIndexInfoNeedRepaire(int nLength) {
    // The head's CRC item covers the head, which is not in the area.
    int offset = skipLeadingCrcItems();
    int covered = offset;
    int begin = 0;
    int length = 0;
    int crcOffset = 0;
    while (nextGroup(offset, begin, length, crcOffset)) {
        if (!isGroupIntact(begin, length, crcOffset, true)) return 1;
        covered += length + RecordIndexCodec::kCrcItemSize;
    }
    return covered != nLength ? 1 : 0;
}

void RecordIndexInfoParserV3::noteIntactGroups() {
    m_intactGroups.clear();
    int offset = skipLeadingCrcItems();
    int begin = 0;
    int length = 0;
    int crcOffset = 0;
    while (nextGroup(offset, begin, length, crcOffset)) {
        if (isGroupIntact(begin, length, crcOffset, false)) m_intactGroups.push_back(crcOffset);
    }
}

void RecordIndexInfoParserV3::renewIntactGroups() {
    int offset = skipLeadingCrcItems();
    int begin = 0;
    int length = 0;
    int crcOffset = 0;
    size_t next = 0;
    while (next < m_intactGroups.size() && nextGroup(offset, begin, length, crcOffset)) {
        // Offsets only grow; a CRC item the walk no longer meets (a lock bit
        // can turn a stray F8 or F9 into F0 or F1) is not renewed.
        while (next < m_intactGroups.size() && m_intactGroups[next] < crcOffset) ++next;
        if (next == m_intactGroups.size()) break;
        if (m_intactGroups[next] != crcOffset) continue;
        ++next;
        // Only the CRC field changes. A CRC whose top byte is FF is stored as
        // EE, as by the writer, and then checks as damaged like any group the
        // writer stored so.
        std::uint32_t crc = RecordCrc32::getInstance()->getCrc32(m_pszIndexInfo + begin, length);
        unsigned char* field = reinterpret_cast<unsigned char*>(m_pszIndexInfo + crcOffset);
        RecordIndexCodec::writeLE(field + RecordIndexCodec::kCrcFieldOffset, RecordIndexCodec::toStoredCrc(crc), 4);
    }
}

int RecordIndexInfoParserV3::lockFile(long long nBegin, long long nEnd) {
    noteIntactGroups();
    int changed = IRecordIndexInfoParser::lockFile(nBegin, nEnd);
    if (changed > 0) renewIntactGroups();
    return changed;
}

int RecordIndexInfoParserV3::unLockFile(long long nBegin, long long nEnd) {
    noteIntactGroups();
    int changed = IRecordIndexInfoParser::unLockFile(nBegin, nEnd);
    if (changed > 0) renewIntactGroups();
    return changed;
}

#include "index/RecordIndexFileItemParserEx.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "foundation/CommonLog.h"
#include "foundation/OVRuntimeError.h"
#include "index/RecordCrc32.h"
#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexFileParserEx.h"
#include "index/RecordTimeRun.h"
#include "retrieval/SingleDeviceRecordQuery.h"

RecordIndexFileItemParserEx::~RecordIndexFileItemParserEx() { delete[] m_pszIndexFileHeader; }

void RecordIndexFileItemParserEx::resetFields() {
    m_head = RecordIndexCodec::HeadInfo();
    m_nHeadCrcLen = 0;
}

bool RecordIndexFileItemParserEx::copyHeader(char const* p, int nHeadLength) {
    if (nHeadLength > m_nHeaderCapacity) {
        delete[] m_pszIndexFileHeader;
        m_pszIndexFileHeader = new (std::nothrow) char[nHeadLength];
        m_nHeaderCapacity = m_pszIndexFileHeader == NULL ? 0 : nHeadLength;
        if (m_pszIndexFileHeader == NULL) {
            std::fprintf(stderr, "%s:%d: assertion \"m_pszIndexFileHeader != __null\" failed\n",
                         __FILE__, __LINE__);
            std::abort();
        }
    }
    if (nHeadLength > 0) std::memcpy(m_pszIndexFileHeader, p, nHeadLength);
    m_nHeaderLen = RecordIndexCodec::filter(m_pszIndexFileHeader, nHeadLength);
    return true;
}

int RecordIndexFileItemParserEx::setIndexFileInfo(char* p, int nHeadLength, int nTotalLength) {
    resetFields();
    m_pszIndexFileInfo = nullptr;
    m_nIndexHeaderLen = 0;
    m_nIndexFileInfoLen = 0;
    m_nHeaderLen = 0;
    m_nIndexVersion = -1;
    if (p == nullptr || nHeadLength < 0 || nTotalLength < nHeadLength) return 0;
    m_pszIndexFileInfo = p;
    m_nIndexHeaderLen = nHeadLength;
    m_nIndexFileInfoLen = nTotalLength;
    copyHeader(p, nHeadLength);
    // The tail ends in five 00 bytes, so the version stands at a fixed
    // distance from the end of the raw head, escaped or not.
    m_nIndexVersion = RecordIndexCodec::getRawIndexVersion(p, nHeadLength);
    if (m_nIndexVersion == RecordIndexCodec::kIndexVersion3 &&
        nTotalLength - nHeadLength >= RecordIndexCodec::kCrcItemSize &&
        static_cast<unsigned char>(p[nHeadLength]) == RecordIndexCodec::kCrcItemMark) {
        m_nHeadCrcLen = RecordIndexCodec::kCrcItemSize;
    }
    return 1;
}

int RecordIndexFileItemParserEx::setIndexHeadInfo(char* p, int nHeadLength) {
    return setIndexFileInfo(p, nHeadLength, nHeadLength);
}

int RecordIndexFileItemParserEx::parseFileInfo() {
    // A head that does not decode leaves the fields as they were.
    return RecordIndexCodec::decodeFilteredHead(m_pszIndexFileHeader, m_nHeaderLen, m_head) ? 1 : 0;
}

IRecordIndexInfoParser* RecordIndexFileItemParserEx::initRecordIndexInfoParser() {
    if (m_pszIndexFileInfo == nullptr || m_nIndexHeaderLen >= m_nIndexFileInfoLen) return nullptr;
    IRecordIndexInfoParser* parser = &m_parserV3;
    if (m_nIndexVersion == RecordIndexCodec::kIndexVersion1) parser = &m_parserV1;
    if (m_nIndexVersion == RecordIndexCodec::kIndexVersion2) parser = &m_parserV2;
    parser->setIndexInfo(m_pszIndexFileInfo + m_nIndexHeaderLen,
                         m_nIndexFileInfoLen - m_nIndexHeaderLen, m_head.nBeginTime);
    parser->setAcceptReplacedCrc(m_bAcceptReplacedCrc);
    return parser;
}

int RecordIndexFileItemParserEx::getRecordFileTimeInterval() {
    IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
    return parser == nullptr ? 0 : parser->getRecordFileTimeInterval();
}

int RecordIndexFileItemParserEx::getRecordTimeSegment(SingleDeviceRecordQuery* query) {
    if (query != nullptr) query->updataVideoEncoderType(m_head.nEncodeType);
    IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
    return parser == nullptr ? 1 : parser->getRecordTimeSegment(query);
}

int RecordIndexFileItemParserEx::getRecordTimeRuns(std::vector<RecordTimeRun>& runs) {
    IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
    size_t const first = runs.size();
    if (parser == nullptr || parser->getRecordTimeRuns(runs) == 0) return 0;
    runs[first].nEncoderType = m_head.nEncodeType;
    return static_cast<int>(runs.size() - first);
}

int RecordIndexFileItemParserEx::queryRecordWithDataLen(SingleDeviceRecordQuery* query) {
    if (query != nullptr) query->updataVideoEncoderType(m_head.nEncodeType);
    IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
    return parser == nullptr ? 1 : parser->queryRecordWithDataLen(query);
}

int RecordIndexFileItemParserEx::getRecordFileSizeAndTimeInfo(int& nDataLength, int& nTime,
                                                              int& nInterval) {
    IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
    if (parser == nullptr) {
        nDataLength = 0;
        nTime = 0;
        nInterval = 0;
        return 0;
    }
    return parser->getRecordFileSizeAndTimeInfo(nDataLength, nTime, nInterval);
}

int RecordIndexFileItemParserEx::getRecordIFrameIndexList(RecordIndexCache& cache) {
    IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
    return parser == nullptr ? 0 : parser->getRecordIFrameIndexList(cache);
}

int RecordIndexFileItemParserEx::getRecordFileIndexNodeInfoList(RecordFileIndexNodeInfo& nodeInfo) {
    nodeInfo.setFileBeginTime(m_head.nBeginTime);
    nodeInfo.setImageWidth(m_head.nWidth);
    nodeInfo.setImageHeight(m_head.nHeight);
    nodeInfo.setEncodeType(m_head.nEncodeType);
    IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
    return parser == nullptr ? 0 : parser->getRecordFileIndexNodeInfoList(nodeInfo);
}

int RecordIndexFileItemParserEx::getRecordIndexItemList(RecordIndexCache& cache) {
    IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
    return parser == nullptr ? 0 : parser->getRecordIndexItemList(cache);
}

int RecordIndexFileItemParserEx::getValidDataLength() {
    IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
    return parser == nullptr ? 0 : parser->getValidDataLength();
}

int RecordIndexFileItemParserEx::getRecordFileTimeSegmentList(std::map<int, int>& segments,
                                                              int& nInterval, int& nDataLength) {
    IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
    if (parser == nullptr) {
        nInterval = 0;
        nDataLength = 0;
        return 0;
    }
    return parser->getRecordFileTimeSegmentList(segments, nInterval, nDataLength);
}

int RecordIndexFileItemParserEx::checkFileIsLocked() {
    IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
    return parser == nullptr ? 0 : parser->checkFileIsLocked();
}

int RecordIndexFileItemParserEx::lockFile(long long nBegin, long long nEnd) {
    IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
    return parser == nullptr ? 0 : parser->lockFile(nBegin, nEnd);
}

int RecordIndexFileItemParserEx::unLockFile(long long nBegin, long long nEnd) {
    IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
    return parser == nullptr ? 0 : parser->unLockFile(nBegin, nEnd);
}

bool RecordIndexFileItemParserEx::isIndexHeaderNeedRepaire() {
    if (m_pszIndexFileInfo == nullptr || m_nIndexHeaderLen >= m_nIndexFileInfoLen) return false;
    char text[160];
    if (m_nIndexVersion != RecordIndexCodec::kIndexVersion3) {
        std::snprintf(text, sizeof(text),
                      "RecordIndexFileItemParserEx::isIndexHeaderNeedRepaire, "
                      "IndexVersion(%d) != INDEX_VERSION_3",
                      m_nIndexVersion);
        RecordIndexFileParserEx::writeParserLog(text, __FILE__, __LINE__);
        return false;
    }
    char const* crcItem = m_pszIndexFileInfo + m_nIndexHeaderLen;
    int remaining = m_nIndexFileInfoLen - m_nIndexHeaderLen;
    if (static_cast<unsigned char>(crcItem[0]) != RecordIndexCodec::kCrcItemMark) return false;
    int itemLength = 0;
    // A head CRC item cut by the end of the entry checks nothing: damage.
    if (m_crcParser.parse(crcItem, remaining, itemLength) == 0) return true;
    if (m_crcParser.getCrcIndexInfoLength() != m_nIndexHeaderLen) {
        std::snprintf(text, sizeof(text),
                      "RecordIndexFileItemParserEx::isIndexHeaderNeedRepaire, "
                      "IndexHeadLen(%d) != CrcIndexLen(%d)",
                      m_nIndexHeaderLen, m_crcParser.getCrcIndexInfoLength());
        RecordIndexFileParserEx::writeParserLog(text, __FILE__, __LINE__);
        return true;
    }
    std::uint32_t calculated =
        RecordCrc32::getInstance()->getCrc32(m_pszIndexFileInfo, m_nIndexHeaderLen);
    if (calculated != m_crcParser.getCrcCode() &&
        !(m_bAcceptReplacedCrc && RecordIndexCodec::isReplacedCrc(m_crcParser.getCrcCode()))) {
        std::snprintf(text, sizeof(text),
                      "RecordIndexFileItemParserEx::isIndexHeaderNeedRepaire, "
                      "CrcCode(%u) != CalcCrcCode(%u)",
                      static_cast<unsigned>(m_crcParser.getCrcCode()),
                      static_cast<unsigned>(calculated));
        RecordIndexFileParserEx::writeParserLog(text, __FILE__, __LINE__);
        return true;
    }
    return false;
}

bool RecordIndexFileItemParserEx::isIndexInfoNeedRepaire() {
    try {
        if (isIndexHeaderNeedRepaire()) return true;
        IRecordIndexInfoParser* parser = initRecordIndexInfoParser();
        if (parser == nullptr) return false;
        return parser->isIndexInfoNeedRepaire(m_nIndexFileInfoLen - m_nIndexHeaderLen) != 0;
    } catch (OVRuntimeError const& error) {
        CommonLog::writeBugLog(error.what(), __FILE__, __LINE__);
        return false;
    }
}

void RecordIndexFileItemParserEx::deleteFile() {
    if (m_pszIndexFileInfo == nullptr || m_nIndexFileInfoLen <= 0) return;
    std::memset(m_pszIndexFileInfo, RecordIndexCodec::kEndOfData, m_nIndexFileInfoLen);
}

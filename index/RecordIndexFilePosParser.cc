#include "index/RecordIndexFilePosParser.h"

void RecordIndexFilePosParser::setIndexInfo(char* pszImage, int nLength) {
    m_pszImage = pszImage;
    m_nLength = (pszImage == nullptr || nLength < 0) ? 0 : nLength;
    m_posInfoList.clear();
    m_nCurIndex = -1;
    m_nNextIndex = 0;
    m_bNeedScan = true;
}

void RecordIndexFilePosParser::insertIndexPosInfo(int nHeadBegin, int nHeadLength,
                                                  int nTotalLength, bool bClosed) {
    m_headParser.setIndexHeadInfo(m_pszImage + nHeadBegin, nHeadLength);
    if (m_headParser.parseFileInfo() == 0) return;
    if (m_headParser.getAVWidth() == 0 || m_headParser.getAVHeight() == 0) return;
    IndexPosInfo info;
    info.nHeadBegin = nHeadBegin;
    info.nHeadLength = nHeadLength;
    info.nTotalLength = nTotalLength;
    info.bClosed = bClosed;
    m_posInfoList.push_back(info);
}

int RecordIndexFilePosParser::initFileIndexPosInfo() {
    m_nCurIndex = -1;
    m_nNextIndex = 0;
    if (!m_bNeedScan) return static_cast<int>(m_posInfoList.size());
    m_bNeedScan = false;
    m_posInfoList.clear();
    int from = 0;
    int begin = 0;
    int headLength = 0;
    while (from < m_nLength - 1 &&
           RecordIndexCodec::findHead(m_pszImage, m_nLength, from, begin, headLength)) {
        int version = RecordIndexCodec::getRawIndexVersion(m_pszImage + begin, headLength);
        IRecordIndexInfoParser* parser = &m_endParserV3;
        if (version == RecordIndexCodec::kIndexVersion1) parser = &m_endParserV1;
        if (version == RecordIndexCodec::kIndexVersion2) parser = &m_endParserV2;
        int areaBegin = begin + headLength;
        int closed = 1;
        int end = parser->getIndexEndPos(m_pszImage + areaBegin, m_nLength - areaBegin, closed);
        if (end < -1) end = -1;
        insertIndexPosInfo(begin, headLength, headLength + end + 1, closed != 0);
        from = areaBegin + end + 1;
    }
    return static_cast<int>(m_posInfoList.size());
}

char* RecordIndexFilePosParser::getNext(int& nHeadLength, int& nTotalLength) {
    if (m_bNeedScan) initFileIndexPosInfo();
    if (m_nNextIndex < 0 || m_nNextIndex >= static_cast<int>(m_posInfoList.size())) {
        m_nCurIndex = -1;
        return nullptr;
    }
    m_nCurIndex = m_nNextIndex++;
    IndexPosInfo const& info = m_posInfoList[m_nCurIndex];
    nHeadLength = info.nHeadLength;
    nTotalLength = info.nTotalLength;
    return m_pszImage + info.nHeadBegin;
}

char* RecordIndexFilePosParser::getLast(int& nHeadLength, int& nTotalLength) {
    if (m_bNeedScan) initFileIndexPosInfo();
    if (m_posInfoList.empty()) {
        m_nCurIndex = -1;
        return nullptr;
    }
    m_nCurIndex = static_cast<int>(m_posInfoList.size()) - 1;
    m_nNextIndex = m_nCurIndex + 1;
    IndexPosInfo const& info = m_posInfoList[m_nCurIndex];
    nHeadLength = info.nHeadLength;
    nTotalLength = info.nTotalLength;
    return m_pszImage + info.nHeadBegin;
}

bool RecordIndexFilePosParser::getCurIndexPos(int& nBegin, int& nHeadEnd, int& nEnd) const {
    if (m_nCurIndex < 0 || m_nCurIndex >= static_cast<int>(m_posInfoList.size())) return false;
    IndexPosInfo const& info = m_posInfoList[m_nCurIndex];
    nBegin = info.nHeadBegin;
    nHeadEnd = info.nHeadBegin + info.nHeadLength;
    nEnd = info.nHeadBegin + info.nTotalLength - 1;
    return true;
}

bool RecordIndexFilePosParser::getCurIndexPos(int& nBegin, int& nEnd, bool& bClosed) const {
    if (m_nCurIndex < 0 || m_nCurIndex >= static_cast<int>(m_posInfoList.size())) return false;
    IndexPosInfo const& info = m_posInfoList[m_nCurIndex];
    nBegin = info.nHeadBegin;
    nEnd = info.nHeadBegin + info.nTotalLength - 1;
    bClosed = info.bClosed;
    return true;
}

int RecordIndexFilePosParser::getIndexPosCount() {
    if (m_bNeedScan) initFileIndexPosInfo();
    return static_cast<int>(m_posInfoList.size());
}

std::vector<RecordIndexFilePosParser::IndexPosInfo> const&
RecordIndexFilePosParser::getIndexPosInfoList() {
    if (m_bNeedScan) initFileIndexPosInfo();
    return m_posInfoList;
}

#include "index/RecordIndexParserImplEx.h"

#include <cstring>

#include "directory/EarliestFileDeleteHandler.h"
#include "directory/EarliestFileInfoList.h"
#include "directory/RecordOutDateFileHandler.h"
#include "foundation/BasicTool.h"
#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexCache.h"

void RecordIndexParserImplEx::setIndexInfo(RecordDirInfoEx const& dirInfo, std::string const& date,
                                           std::string const& deviceDir, char* pszImage,
                                           int nLength, int nStorageType) {
    m_dirInfo = dirInfo;
    m_strDate = date;
    m_strDeviceDir = deviceDir;
    m_deviceDirParser = DeviceDirParser();
    m_deviceDirParser.parse(m_strDeviceDir.c_str());
    setIndexInfo(pszImage, nLength, nStorageType);
}

void RecordIndexParserImplEx::setIndexInfo(char* pszImage, int nLength, int nStorageType) {
    m_pszImage = pszImage;
    m_nLength = (pszImage == nullptr || nLength < 0) ? 0 : nLength;
    m_nStorageType = nStorageType;
    m_posParser.setIndexInfo(m_pszImage, m_nLength);
}

char* RecordIndexParserImplEx::getIndexInfo(int& nLength) const {
    nLength = m_nLength;
    return m_pszImage;
}

bool RecordIndexParserImplEx::nextEntry(bool& bParsed) {
    int headLength = 0;
    int totalLength = 0;
    char* entry = m_posParser.getNext(headLength, totalLength);
    if (entry == nullptr) return false;
    m_itemParser.setIndexFileInfo(entry, headLength, totalLength);
    bParsed = m_itemParser.parseFileInfo() != 0;
    return true;
}

bool RecordIndexParserImplEx::nextEntry() {
    bool parsed = false;
    while (nextEntry(parsed)) {
        if (parsed) return true;
    }
    return false;
}

std::string RecordIndexParserImplEx::getWholeDateDir() const {
    return BasicTool::getWholeDateDir(m_dirInfo, BasicTool::kRecordDirName, m_strDeviceDir,
                                      m_strDate);
}

void RecordIndexParserImplEx::fillRecordFileInfo(RecordFileInfo& file) {
    if (m_deviceDirParser.isParsed()) {
        file.setDeviceId(m_deviceDirParser.getDeviceId());
        file.setDeviceIP(m_deviceDirParser.getDeviceIP());
        file.setCameraId(m_deviceDirParser.getCameraId());
    }
    file.setRecordFileName(m_itemParser.getFileName());
    file.setRecordDate(m_strDate);
    file.setRecordBeginTime(m_itemParser.getBeginTime());
    file.setRecordEndTime(RecordIndexCodec::addSeconds(m_itemParser.getBeginTime(),
                                                     m_itemParser.getRecordFileTimeInterval()));
    file.setRecordDirInfoEx(m_dirInfo);
    file.setRecordStorageType(m_nStorageType);
}

SafePointer<RecordFileInfo> RecordIndexParserImplEx::createRecordFileInfo() {
    SafePointer<RecordFileInfo> file(new RecordFileInfo());
    fillRecordFileInfo(*file);
    return file;
}

int RecordIndexParserImplEx::queryRecordSegmentList(SingleDeviceRecordQuery* query,
                                                    bool bWithDataLength) {
    if (query == nullptr) return 0;
    m_posParser.initFileIndexPosInfo();
    bool parsed = false;
    while (nextEntry(parsed)) {
        if (!parsed) break;
        if (bWithDataLength) {
            m_itemParser.queryRecordWithDataLen(query);
        } else {
            m_itemParser.getRecordTimeSegment(query);
        }
    }
    return 1;
}

int RecordIndexParserImplEx::getRecordTimeRuns(std::vector<RecordTimeRun>& runs) {
    m_posParser.initFileIndexPosInfo();
    bool parsed = false;
    while (nextEntry(parsed) && parsed) m_itemParser.getRecordTimeRuns(runs);
    return 1;
}

int RecordIndexParserImplEx::getFileNumber() { return m_posParser.getIndexPosCount(); }

int RecordIndexParserImplEx::getLockFileInfo(int& nCount) {
    nCount = 0;
    m_posParser.initFileIndexPosInfo();
    while (nextEntry()) {
        if (m_itemParser.checkFileIsLocked()) ++nCount;
    }
    return 1;
}

int RecordIndexParserImplEx::getLockFileList(std::vector<std::string>& list) {
    m_posParser.initFileIndexPosInfo();
    while (nextEntry()) {
        if (m_itemParser.checkFileIsLocked()) list.push_back(m_itemParser.getFileName());
    }
    return 1;
}

int RecordIndexParserImplEx::getRecordFileInfoList(long long nBegin, long long nEnd,
                                                   FileList& list) {
    m_posParser.initFileIndexPosInfo();
    while (nextEntry()) {
        long long begin = m_itemParser.getBeginTime();
        long long end = RecordIndexCodec::addSeconds(begin, m_itemParser.getRecordFileTimeInterval());
        if (begin < nBegin || end > nEnd) continue;
        list.push_back(createRecordFileInfo());
        list.back()->setLockFlag(m_itemParser.checkFileIsLocked() != 0);
    }
    return 1;
}

int RecordIndexParserImplEx::getRepairedRecordFileInfoList(FileList& list) {
    m_posParser.initFileIndexPosInfo();
    while (nextEntry()) {
        if (!m_itemParser.isIndexInfoNeedRepaire()) list.push_back(createRecordFileInfo());
    }
    return 1;
}

int RecordIndexParserImplEx::getIndexDemagedFileList(FileList& list, bool bAcceptReplacedCrc) {
    m_posParser.initFileIndexPosInfo();
    m_itemParser.setAcceptReplacedCrc(bAcceptReplacedCrc);
    while (nextEntry()) {
        if (m_itemParser.isIndexInfoNeedRepaire()) list.push_back(createRecordFileInfo());
    }
    m_itemParser.setAcceptReplacedCrc(false);
    return 1;
}

int RecordIndexParserImplEx::getEarliestRecordFileInfo(EarliestFileInfoList& list, int nCount,
                                                       bool bIncludeLocked) {
    m_posParser.initFileIndexPosInfo();
    while (nextEntry()) {
        // Entries are in time order: nothing behind this one is older.
        if (list.getFileCount() >= nCount && list.getLatestTime() < m_itemParser.getBeginTime()) {
            break;
        }
        bool locked = m_itemParser.checkFileIsLocked() != 0;
        if (locked && !bIncludeLocked) continue;
        SafePointer<RecordFileInfo> file = createRecordFileInfo();
        file->setLockFlag(locked);
        list.update(file);
    }
    return 1;
}

int RecordIndexParserImplEx::getEarliestRecordFileInfo(RecordFileInfo& file) {
    m_posParser.initFileIndexPosInfo();
    if (!nextEntry()) return 0;
    fillRecordFileInfo(file);
    return 1;
}

int RecordIndexParserImplEx::getLastestFileInfo(RecordFileInfo& file) {
    int headLength = 0;
    int totalLength = 0;
    char* entry = m_posParser.getLast(headLength, totalLength);
    if (entry == nullptr) return 0;
    m_itemParser.setIndexFileInfo(entry, headLength, totalLength);
    if (m_itemParser.parseFileInfo() == 0) return 0;
    fillRecordFileInfo(file);
    return 1;
}

int RecordIndexParserImplEx::getLastestFileInfo(RecordFileInfo& file, int& nVersion) {
    if (getLastestFileInfo(file) == 0) return 0;
    int number = -1;
    BasicTool::getFileNumber(m_itemParser.getFileName(), number);
    file.setFileNumber(number);
    AVStreamInfo stream;
    stream.setEncoderType(m_itemParser.getEncodeType());
    stream.setImageWidth(m_itemParser.getAVWidth());
    stream.setImageHeight(m_itemParser.getAVHeight());
    stream.setTimeZone(m_itemParser.getTimeZone());
    stream.setDaylightSavingTime(m_itemParser.getDst());
    file.setAVStreamInfo(stream);
    nVersion = m_itemParser.getIndexVersion();
    return 1;
}

char* RecordIndexParserImplEx::getLastestIndexInfo(int& nLength) {
    int totalLength = 0;
    nLength = 0;
    char* entry = m_posParser.getLast(nLength, totalLength);
    if (entry == nullptr) nLength = 0;
    return entry;
}

int RecordIndexParserImplEx::getRecordFileLenAndTimeLen(int& nDataLength, int& nTimeLength,
                                                        int& nInterval, int& nEnd,
                                                        bool& bClosed) {
    nDataLength = 0;
    nTimeLength = 0;
    nInterval = 0;
    nEnd = -1;
    bClosed = false;
    int headLength = 0;
    int totalLength = 0;
    char* entry = m_posParser.getLast(headLength, totalLength);
    if (entry == nullptr) return 1;
    m_itemParser.setIndexFileInfo(entry, headLength, totalLength);
    if (m_itemParser.parseFileInfo() == 0) return 0;
    m_itemParser.getRecordFileSizeAndTimeInfo(nDataLength, nTimeLength, nInterval);
    int begin = 0;
    m_posParser.getCurIndexPos(begin, nEnd, bClosed);
    return 1;
}

char* RecordIndexParserImplEx::getIndexFileInfoByFileName(char const* name, int& nHeadLength,
                                                          int& nTotalLength) {
    if (name == nullptr) return nullptr;
    return findByName(std::string(name), nHeadLength, nTotalLength);
}

char* RecordIndexParserImplEx::findByName(std::string const& name, int& nHeadLength,
                                          int& nTotalLength) {
    m_posParser.initFileIndexPosInfo();
    while (nextEntry()) {
        if (m_itemParser.getFileName() != name) continue;
        nHeadLength = m_itemParser.getIndexHeaderLen();
        nTotalLength = m_itemParser.getIndexFileInfoLen();
        return m_itemParser.getIndexFileInfo();
    }
    return nullptr;
}

int RecordIndexParserImplEx::getIndexPosByFileName(char const* name, int& nBegin, int& nHeadEnd,
                                                   int& nEnd) {
    int headLength = 0;
    int totalLength = 0;
    if (getIndexFileInfoByFileName(name, headLength, totalLength) == nullptr) return 0;
    return m_posParser.getCurIndexPos(nBegin, nHeadEnd, nEnd) ? 1 : 0;
}

int RecordIndexParserImplEx::getRecordFileInfoByFileName(char const* name,
                                                         SafePointer<RecordFileInfo>& file) {
    int headLength = 0;
    int totalLength = 0;
    if (getIndexFileInfoByFileName(name, headLength, totalLength) == nullptr) return 0;
    file = createRecordFileInfo();
    return 1;
}

int RecordIndexParserImplEx::getRecordFileInfo(RecordInfo const& info,
                                               SafePointer<RecordFileInfo>& file, int& nBegin,
                                               int& nHeadEnd, int& nEnd,
                                               std::map<int, int>& spans, bool bForward) {
    long long const time = static_cast<long long>(info.getRecordBeginTime());
    int candidate = -1;
    // Unsigned, as a span far from the time is more than 2^63 s away.
    unsigned long long bestDistance = 0;
    int answer = -1;
    std::map<int, int> entrySpans;
    m_posParser.initFileIndexPosInfo();
    while (answer < 0 && nextEntry()) {
        entrySpans.clear();
        int interval = 0;
        int dataLength = 0;
        m_itemParser.getRecordFileTimeSegmentList(entrySpans, interval, dataLength);
        if (interval == 0) continue;
        long long base = m_itemParser.getBeginTime();
        if (bForward) {
            for (auto const& span : entrySpans) {
                long long spanBegin = RecordIndexCodec::addSeconds(base, span.first);
                if (spanBegin <= time && time < RecordIndexCodec::addSeconds(base, span.second)) {
                    answer = m_posParser.getCurIndex();
                    break;
                }
                if (spanBegin <= time) continue;
                unsigned long long distance = static_cast<unsigned long long>(spanBegin) -
                                              static_cast<unsigned long long>(time);
                if (candidate < 0 || distance < bestDistance) {
                    candidate = m_posParser.getCurIndex();
                    bestDistance = distance;
                }
            }
            continue;
        }
        if (!entrySpans.empty() &&
            RecordIndexCodec::addSeconds(base, entrySpans.begin()->first) >= time) {
            break;
        }
        candidate = m_posParser.getCurIndex();
        if (RecordIndexCodec::addSeconds(base, interval) >= time) answer = candidate;
    }
    if (answer < 0) answer = candidate;
    if (answer < 0) return 0;

    auto const& entry = m_posParser.getIndexPosInfoList()[answer];
    m_itemParser.setIndexFileInfo(m_pszImage + entry.nHeadBegin, entry.nHeadLength,
                                  entry.nTotalLength);
    if (m_itemParser.parseFileInfo() == 0) return 0;
    spans.clear();
    int interval = 0;
    int dataLength = 0;
    m_itemParser.getRecordFileTimeSegmentList(spans, interval, dataLength);
    file = createRecordFileInfo();
    file->setRecordFileLength(dataLength);
    nBegin = entry.nHeadBegin;
    nHeadEnd = entry.nHeadBegin + entry.nHeadLength;
    nEnd = entry.nHeadBegin + entry.nTotalLength - 1;
    return 1;
}

int RecordIndexParserImplEx::getRecordFileIndexList(int nBegin, int nHeadEnd, int nEnd,
                                                    RecordIndexCache& cache, bool bIFrameOnly) {
    if (m_pszImage == nullptr || nBegin < 0 || nHeadEnd < nBegin || nEnd < nHeadEnd - 1 ||
        nEnd >= m_nLength) {
        return 0;
    }
    m_itemParser.setIndexFileInfo(m_pszImage + nBegin, nHeadEnd - nBegin, nEnd - nBegin + 1);
    if (m_itemParser.parseFileInfo() == 0) return 0;
    return bIFrameOnly ? m_itemParser.getRecordIFrameIndexList(cache)
                       : m_itemParser.getRecordIndexItemList(cache);
}

int RecordIndexParserImplEx::getRecordFileIndexNodeInfoList(char const* name,
                                                            RecordFileIndexNodeInfo& nodeInfo) {
    int headLength = 0;
    int totalLength = 0;
    if (getIndexFileInfoByFileName(name, headLength, totalLength) == nullptr) return 0;
    m_itemParser.getRecordFileIndexNodeInfoList(nodeInfo);
    return 1;
}

int RecordIndexParserImplEx::lockFile(long long nBegin, long long nEnd, int& nFirst, int& nLast) {
    nFirst = -1;
    nLast = -1;
    int changed = 0;
    m_posParser.initFileIndexPosInfo();
    while (nextEntry()) {
        changed += m_itemParser.lockFile(nBegin, nEnd);
        int begin = 0;
        int end = 0;
        bool closed = false;
        m_posParser.getCurIndexPos(begin, end, closed);
        if (nFirst < 0) nFirst = begin;
        nLast = end;
    }
    return changed;
}

int RecordIndexParserImplEx::unLockFile(long long nBegin, long long nEnd, int& nFirst,
                                        int& nLast) {
    nFirst = -1;
    nLast = -1;
    int changed = 0;
    m_posParser.initFileIndexPosInfo();
    while (nextEntry()) {
        changed += m_itemParser.unLockFile(nBegin, nEnd);
        int begin = 0;
        int end = 0;
        bool closed = false;
        m_posParser.getCurIndexPos(begin, end, closed);
        if (nFirst < 0) nFirst = begin;
        nLast = end;
    }
    return changed;
}

void RecordIndexParserImplEx::paintCurrent(int& nFirst, int& nLast) {
    int begin = 0;
    int end = 0;
    bool closed = false;
    if (!m_posParser.getCurIndexPos(begin, end, closed)) return;
    m_itemParser.deleteFile();
    if (nFirst < 0 || begin < nFirst) nFirst = begin;
    if (end > nLast) nLast = end;
}

int RecordIndexParserImplEx::deleteFile(char const* name, int& nBegin, int& nEnd) {
    if (name == nullptr) return 0;
    RecordFileInfo file;
    file.setRecordFileName(std::string(name));
    return deleteFile(file, nBegin, nEnd);
}

int RecordIndexParserImplEx::deleteFile(RecordFileInfo const& file, int& nBegin, int& nEnd) {
    nBegin = -1;
    nEnd = -1;
    int headLength = 0;
    int totalLength = 0;
    if (findByName(file.getRecordFileName(), headLength, totalLength) == nullptr) return 0;
    paintCurrent(nBegin, nEnd);
    m_posParser.setInitIndexPosInfoFlag();
    return 1;
}

// The walks below paint while they step: the entry list stays valid, as
// painting moves nothing, and the scan is renewed only when they are done.
int RecordIndexParserImplEx::deleteOutDateFile(SafePointer<RecordOutDateFileHandler>& handler,
                                               int& nFirst, int& nLast) {
    nFirst = -1;
    nLast = -1;
    int painted = 0;
    std::string dateDir = getWholeDateDir();
    m_posParser.initFileIndexPosInfo();
    while (nextEntry()) {
        if (m_itemParser.checkFileIsLocked()) continue;
        int result = 1;
        if (handler.get() != nullptr) {
            result = handler->deleteFile(m_itemParser.getBeginTime(), dateDir,
                                         m_itemParser.getFileName());
        }
        if (result == 0) break;
        paintCurrent(nFirst, nLast);
        ++painted;
    }
    if (painted > 0) m_posParser.setInitIndexPosInfoFlag();
    return painted;
}

int RecordIndexParserImplEx::deleteDeviceFile(SafePointer<RecordOutDateFileHandler>& handler,
                                              int& nFirst, int& nLast) {
    nFirst = -1;
    nLast = -1;
    int painted = 0;
    std::string dateDir = getWholeDateDir();
    m_posParser.initFileIndexPosInfo();
    while (nextEntry()) {
        int result = 1;
        if (handler.get() != nullptr) {
            result = handler->deleteDeviceFile(dateDir, m_itemParser.getFileName());
        }
        if (result == 0) continue;
        paintCurrent(nFirst, nLast);
        ++painted;
    }
    if (painted > 0) m_posParser.setInitIndexPosInfoFlag();
    return painted;
}

int RecordIndexParserImplEx::deleteEarliestRecordFile(
    SafePointer<EarliestFileDeleteHandler>& handler, int& nFirst, int& nLast) {
    nFirst = -1;
    nLast = -1;
    int painted = 0;
    std::string dateDir = getWholeDateDir();
    m_posParser.initFileIndexPosInfo();
    while (nextEntry()) {
        if (m_itemParser.checkFileIsLocked()) continue;
        int result = 0;
        if (handler.get() != nullptr) {
            result = handler->deleteFile(m_strDate, m_itemParser.getBeginTime(), dateDir,
                                         m_itemParser.getFileName());
        }
        // -2 spares its file: painting that entry would leave the file in
        // the date folder, named by no index and never reclaimed.
        if (result == -2) break;
        if (result == -1) continue;
        paintCurrent(nFirst, nLast);
        ++painted;
    }
    if (painted > 0) m_posParser.setInitIndexPosInfoFlag();
    return painted;
}

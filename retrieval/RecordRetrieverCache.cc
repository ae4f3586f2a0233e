#include "retrieval/RecordRetrieverCache.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "foundation/BasicTool.h"
#include "host/GlobalEnv.h"
#include "host/OVTime.h"
#include "index/RecordIndexFileParserEx.h"

namespace NS_RecordRetrieverCache {

char const* const kLowestDate = "1970-01-01";
// Whole-second file times and a capped last item leave up to two seconds
// between the end of a span and the time that still belongs to it.
constexpr long long kSpanSlack = 2;
constexpr size_t kKeptIndexLists = 4;

}  // namespace NS_RecordRetrieverCache

using namespace NS_RecordRetrieverCache;

RecordRetrieverCache::RecordRetrieverCache(RecordDirInfoEx const& dirInfo, std::string const& deviceDir,
                                           int nStorageType)
    : m_dirInfo(dirInfo), m_strDeviceDir(deviceDir), m_nRecordStorageType(nStorageType) {}

RecordRetrieverCache::~RecordRetrieverCache() { dropImage(); }

void RecordRetrieverCache::dropImage() {
    m_parser.setIndexInfo(nullptr, 0, m_nRecordStorageType);
    delete[] m_szIndexCache;
    m_szIndexCache = nullptr;
    m_nIndexCacheLen = 0;
    m_nMainIndexLen = 0;
    m_nPreDayLen = 0;
    m_strPreDate.clear();
    m_fileList.clear();
    m_indexListUse.clear();
}

void RecordRetrieverCache::noteIndexListUse(SafePointer<RecordFileInfoWithIndex> const& file) {
    m_indexListUse.remove(file);
    m_indexListUse.push_front(file);
    if (m_indexListUse.size() <= kKeptIndexLists) return;
    m_indexListUse.back()->dropIndexLists();
    m_indexListUse.pop_back();
}

std::list<std::string> const& RecordRetrieverCache::getDateList() {
    if (m_bDateListLoaded) return m_dateList;
    std::vector<std::string> dates;
    if (!BasicTool::getRecordDateList(m_dirInfo, BasicTool::kRecordDirName, m_strDeviceDir, dates)) return m_dateList;
    std::sort(dates.begin(), dates.end());
    m_dateList.clear();
    for (std::string const& date : dates) {
        if (date >= kLowestDate) m_dateList.push_back(date);
    }
    m_bDateListLoaded = true;
    return m_dateList;
}

std::string RecordRetrieverCache::getPreDateDir(std::string const& date) {
    std::string before;
    for (std::string const& known : getDateList()) {
        if (known >= date) break;
        before = known;
    }
    return before;
}

bool RecordRetrieverCache::isInTimeRange(long long nOffset, std::map<int, int> const& spans, bool bForward,
                                         int& nBegin, int& nEnd) {
    if (bForward) {
        for (auto const& span : spans) {
            if (span.first > nOffset || span.second > nOffset) {
                nBegin = span.first;
                nEnd = span.second;
                return span.first <= nOffset;
            }
        }
        return false;
    }
    for (auto span = spans.rbegin(); span != spans.rend(); ++span) {
        if (nOffset - span->second > kSpanSlack || nOffset - span->first > 0) {
            nBegin = span->first;
            nEnd = span->second;
            return nOffset - span->second <= kSpanSlack;
        }
    }
    return false;
}

int RecordRetrieverCache::checkFileTimeRange(long long nTime, RecordFileInfo& file, std::map<int, int> const& spans,
                                             bool bForward) {
    // A span of no length (a block of under a second) is a span all the
    // same: its bounds rank this file among the candidates.
    int begin = -1;
    int end = -1;
    bool inside = isInTimeRange(nTime - file.getRecordBeginTime(), spans, bForward, begin, end);
    if (begin >= 0) {
        file.setActualBeginTimeOffset(begin);
        file.setActualEndTimeOffset(end);
    }
    return inside ? 0 : 1;
}

int RecordRetrieverCache::getRecordFileInfo(long long nTime, SafePointer<RecordFileInfo>& file, bool bForward) {
    getDateList();
    // Copies go out: the playback keeps its current file while it searches,
    // and a search must not move that file's offsets.
    for (SafePointer<RecordFileInfoWithIndex> const& kept : m_fileList) {
        int begin = 0;
        int end = 0;
        if (!isInTimeRange(nTime - kept->getRecordBeginTime(), kept->getTimeList(), bForward, begin, end)) continue;
        SafePointer<RecordFileInfo> known;
        kept->getRecordFileInfo(known);
        SafePointer<RecordFileInfo> copy(new RecordFileInfo(*known));
        copy->setActualBeginTimeOffset(begin);
        copy->setActualEndTimeOffset(end);
        file = copy;
        return 0;
    }
    SafePointer<RecordFileInfoWithIndex> found;
    int nRet = updateRecordFileInfo(nTime, found, bForward);
    if (nRet < 0) return -1;
    if (nRet == 1) {
        m_fileList.clear();
        m_indexListUse.clear();
    }
    addRecordFileInfo(found);
    SafePointer<RecordFileInfo> known;
    found->getRecordFileInfo(known);
    SafePointer<RecordFileInfo> copy(new RecordFileInfo(*known));
    file = copy;
    return checkFileTimeRange(nTime, *copy, found->getTimeList(), bForward);
}

void RecordRetrieverCache::addRecordFileInfo(SafePointer<RecordFileInfoWithIndex> const& file) {
    for (auto kept = m_fileList.begin(); kept != m_fileList.end(); ++kept) {
        if ((*kept)->getRecordFileName() == file->getRecordFileName()) {
            m_indexListUse.remove(*kept);
            m_fileList.erase(kept);
            break;
        }
    }
    auto at = std::upper_bound(m_fileList.begin(), m_fileList.end(), file->getRecordBeginTime(),
                               [](long long begin, SafePointer<RecordFileInfoWithIndex> const& kept) {
                                   return begin < kept->getRecordBeginTime();
                               });
    m_fileList.insert(at, file);
}

bool RecordRetrieverCache::findInImage(long long nTime, SafePointer<RecordFileInfoWithIndex>& file, bool bForward) {
    if (m_szIndexCache == nullptr) return false;
    RecordInfo request;
    request.setRecordBeginTime(static_cast<unsigned long>(nTime));
    SafePointer<RecordFileInfo> found;
    int begin = 0;
    int headEnd = 0;
    int end = 0;
    std::map<int, int> spans;
    if (m_parser.getRecordFileInfo(request, found, begin, headEnd, end, spans, bForward) == 0) return false;
    // The day-before entry describes a file in the folder of that date.
    if (begin < m_nPreDayLen) found->setRecordDate(m_strPreDate);
    file = SafePointer<RecordFileInfoWithIndex>(new RecordFileInfoWithIndex(found, begin, headEnd, end, spans));
    return true;
}

int RecordRetrieverCache::updateRecordFileInfo(long long nTime, SafePointer<RecordFileInfoWithIndex>& file,
                                               bool bForward) {
    std::string const date = BasicTool::getDateString(nTime);
    if (!m_strCurrentDate.empty()) {
        long long length = RecordIndexFileParserEx::getIndexFileLen(m_dirInfo, m_strCurrentDate, m_strDeviceDir,
                                                                    m_nRecordStorageType);
        if (length > m_nMainIndexLen || m_bUpdateFlag) m_bNewDataFlag = true;
        if (!m_bNewDataFlag && date == m_strCurrentDate && findInImage(nTime, file, bForward)) return 0;
    }
    if (m_bUpdateFlag) {
        // A live recording may have opened a new date since the list was read.
        m_bDateListLoaded = false;
        getDateList();
    }
    std::vector<std::string> dates;
    if (bForward) {
        // A file runs on past midnight in the folder of the day it began, and
        // the time's date may have no folder to carry it as a day-before
        // entry: then the known date before is searched first.
        std::string const before = getPreDateDir(date);
        if (!before.empty() && std::find(m_dateList.begin(), m_dateList.end(), date) == m_dateList.end())
            dates.push_back(before);
        for (std::string const& known : m_dateList)
            if (known >= date) dates.push_back(known);
    } else {
        for (auto known = m_dateList.rbegin(); known != m_dateList.rend(); ++known)
            if (*known <= date) dates.push_back(*known);
    }
    for (std::string const& candidate : dates) {
        if (candidate == m_strCurrentDate && !m_bNewDataFlag) {
            // Searched above when it was the date of the time.
            if (candidate == date) continue;
            if (findInImage(nTime, file, bForward)) return 0;
            continue;
        }
        int const before = m_nLastUpdateTime;
        if (!updateIndexCache(candidate)) continue;
        if (m_nLastUpdateTime != before) {
            GlobalEnv::print("CurrentIndexFileUpdateTime:%ld CurrentIndexUpdateTime:%ld \n",
                             static_cast<long>(m_nLastUpdateTime), static_cast<long>(before));
        }
        if (findInImage(nTime, file, bForward)) return 1;
    }
    GlobalEnv::print("RecordRetrieverCache::updateRecordFileInfo not query index \n");
    return -1;
}

bool RecordRetrieverCache::updateIndexCache(std::string const& date) {
    dropImage();
    m_strCurrentDate = date;
    m_bNewDataFlag = false;
    m_bUpdateFlag = false;
    std::string preEntry;
    std::string const preDate = getPreDateDir(date);
    if (!preDate.empty()) {
        RecordIndexFileParserEx before;
        if (before.open(m_dirInfo, preDate, m_strDeviceDir, m_nRecordStorageType, 0) == 1) {
            int headLength = 0;
            char* last = before.getLastestIndexInfo(headLength);
            int dataLength = 0;
            int timeLength = 0;
            int interval = 0;
            int end = -1;
            bool closed = false;
            int imageLength = 0;
            char* image = before.getIndexInfo(imageLength);
            // getLastestIndexInfo tells the head only; the whole entry runs to
            // the last byte of its item area.
            if (last != nullptr &&
                before.getRecordFileLenAndTimeLen(dataLength, timeLength, interval, end, closed) == 1 &&
                end >= 0 && end < imageLength && image + end >= last) {
                preEntry.assign(last, static_cast<size_t>(image + end + 1 - last));
            }
        }
    }
    RecordIndexFileParserEx current;
    if (current.open(m_dirInfo, date, m_strDeviceDir, m_nRecordStorageType, 0) != 1) return false;
    int mainLength = 0;
    char* mainImage = current.getIndexInfo(mainLength);
    if (mainImage == nullptr || mainLength < 0) mainLength = 0;
    m_nIndexCacheLen = static_cast<int>(preEntry.size()) + mainLength;
    m_szIndexCache = new char[m_nIndexCacheLen > 0 ? m_nIndexCacheLen : 1];
    if (!preEntry.empty()) std::memcpy(m_szIndexCache, preEntry.data(), preEntry.size());
    if (mainLength > 0) std::memcpy(m_szIndexCache + preEntry.size(), mainImage, static_cast<size_t>(mainLength));
    m_nPreDayLen = static_cast<int>(preEntry.size());
    m_strPreDate = preDate;
    m_nMainIndexLen = mainLength;
    m_parser.setIndexInfo(m_dirInfo, date, m_strDeviceDir, m_szIndexCache, m_nIndexCacheLen, m_nRecordStorageType);
    m_nLastUpdateTime = static_cast<int>(OVTime::getSeconds());
    return true;
}

int RecordRetrieverCache::getRecordFileIndexList(RecordFileInfo const& file, RecordIndexCache& cache,
                                                 bool bIFrameOnly) {
    int begin = 0;
    int headEnd = 0;
    int end = 0;
    for (SafePointer<RecordFileInfoWithIndex> const& kept : m_fileList) {
        if (kept->getRecordFileName() != file.getRecordFileName()) continue;
        if (kept->getIndexList(bIFrameOnly, cache)) {
            noteIndexListUse(kept);
            return 1;
        }
        kept->getIndexPosInfo(begin, headEnd, end);
        int nRet = m_parser.getRecordFileIndexList(begin, headEnd, end, cache, bIFrameOnly);
        if (nRet != 1) return nRet;
        kept->keepIndexList(bIFrameOnly, cache);
        noteIndexListUse(kept);
        return 1;
    }
    RecordIndexFileParserEx parser;
    if (parser.open(m_dirInfo, file.getRecordDate(), m_strDeviceDir, m_nRecordStorageType, 0) != 1) return 0;
    RecordIndexParserImplEx& entries = parser.getParser();
    if (entries.getIndexPosByFileName(file.getRecordFileName().c_str(), begin, headEnd, end) != 1) return 0;
    return entries.getRecordFileIndexList(begin, headEnd, end, cache, bIFrameOnly);
}

void RecordRetrieverCache::deleteFile(RecordFileInfo const& file) {
    for (auto kept = m_fileList.begin(); kept != m_fileList.end(); ++kept) {
        if ((*kept)->getRecordFileName() == file.getRecordFileName()) {
            m_indexListUse.remove(*kept);
            m_fileList.erase(kept);
            break;
        }
    }
    int begin = -1;
    int end = -1;
    if (m_szIndexCache != nullptr) m_parser.deleteFile(file.getRecordFileName().c_str(), begin, end);
    RecordIndexFileParserEx parser;
    if (parser.open(m_dirInfo, file.getRecordDate(), m_strDeviceDir, m_nRecordStorageType,
                    RecordIndexFileParserEx::kModeChange) != 1) {
        return;
    }
    parser.deleteFile(file);
    parser.close();
}

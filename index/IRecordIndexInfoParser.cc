#include "index/IRecordIndexInfoParser.h"

#include <climits>

#include "host/Logger.h"
#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexCache.h"
#include "index/RecordTimeRun.h"
#include "retrieval/SingleDeviceRecordQuery.h"

namespace NS_IRecordIndexInfoParser {
char const* const kLogName = "RecordIndexInfoParser";
// A segment cut by length is not begun with a remainder shorter than this.
constexpr int kMinSegmentRemainder = 30;

// Byte counts of a damaged area can pass 2 GiB; they stop at the largest
// int instead of overflowing.
int addLength(int nSum, int nLength) {
    long long sum = static_cast<long long>(nSum) + nLength;
    return sum > INT_MAX ? INT_MAX : static_cast<int>(sum);
}

bool isIFramePoint(IRecordIndexInfoParser::WalkItem const& item) {
    return item.nIndexType == 1 || item.bLong;
}
}  // namespace NS_IRecordIndexInfoParser

bool IRecordIndexInfoParser::nextItem(WalkItem& item) {
    int limit = getWalkLimit();
    int offset = item.nNext;
    while (offset >= 0 && offset < limit) {
        RecordIndexCodec::ItemInfo info;
        int length = 0;
        ReadResult result = readItem(m_pszIndexInfo + offset, limit - offset, info, length);
        if (result == kEndOfWalk || length <= 0) break;
        if (result == kSkip) {
            offset += length;
            continue;
        }
        item.nFilePos = NS_IRecordIndexInfoParser::addLength(item.nFilePos, item.nDataLength);
        item.nTime = info.bLong ? info.nTimeInterval : item.nTime + info.nTimeInterval;
        item.nOffset = offset;
        item.nItemLength = length;
        item.bLong = info.bLong;
        item.nTimeInterval = info.nTimeInterval;
        item.nDataLength = info.nDataLength;
        item.nTimeLength = info.nTimeLength;
        item.bLocked = info.bLocked;
        item.nIndexType = info.nIndexType;
        item.bAlarm = info.bAlarm;
        item.nCount += 1;
        item.nNext = offset + length;
        return true;
    }
    item.nNext = limit;
    return false;
}

int IRecordIndexInfoParser::getValidDataLength() {
    int total = 0;
    WalkItem item;
    while (nextItem(item)) total = NS_IRecordIndexInfoParser::addLength(total, item.nDataLength);
    return total;
}

int IRecordIndexInfoParser::getRecordFileTimeInterval() {
    WalkItem item;
    while (nextItem(item)) {
    }
    return item.nCount == 0 ? 0 : item.nTime + item.nTimeLength;
}

int IRecordIndexInfoParser::getRecordIndexItemList(RecordIndexCache& cache) {
    WalkItem item;
    while (nextItem(item)) {
    }
    cache.reserve(item.nCount);
    item = WalkItem();
    while (nextItem(item)) cache.addRecordIndexInfo(item.nTime, item.nFilePos);
    return 1;
}

int IRecordIndexInfoParser::getRecordIFrameIndexList(RecordIndexCache& cache) {
    int count = 0;
    WalkItem item;
    while (nextItem(item)) {
        if (NS_IRecordIndexInfoParser::isIFramePoint(item)) ++count;
    }
    cache.reserve(count);
    item = WalkItem();
    while (nextItem(item)) {
        if (NS_IRecordIndexInfoParser::isIFramePoint(item)) {
            cache.addRecordIndexInfo(item.nTime, item.nFilePos);
        }
    }
    return 1;
}

int IRecordIndexInfoParser::getRecordFileIndexNodeInfoList(RecordFileIndexNodeInfo& nodeInfo) {
    WalkItem item;
    while (nextItem(item)) {
    }
    nodeInfo.reserve(item.nCount);
    item = WalkItem();
    while (nextItem(item)) {
        nodeInfo.addRecordIndexNode(RecordIndexNode(item.nTime, item.nFilePos, item.nTimeLength,
                                                    item.nDataLength, item.nIndexType == 1));
    }
    return 1;
}

int IRecordIndexInfoParser::getRecordTimeSegment(SingleDeviceRecordQuery* query) {
    if (query == nullptr) return 0;
    // The same runs the segment table keeps, so both answer alike.
    std::vector<RecordTimeRun> runs;
    getRecordTimeRuns(runs);
    RecordTimeRun::handleEntry(runs.data(), runs.data() + runs.size(), query);
    return 1;
}

int IRecordIndexInfoParser::getRecordTimeRuns(std::vector<RecordTimeRun>& runs) {
    WalkItem item;
    if (!nextItem(item)) return 0;
    size_t const first = runs.size();
    RecordTimeRun run;
    run.nBegin = absoluteTime(item.nTime);
    run.bLocked = item.bLocked;
    run.bAlarm = item.bAlarm;
    run.bEntry = true;
    int cur = item.nTime;
    int prevLength = item.nTimeLength;
    while (nextItem(item)) {
        // A long item's interval is an absolute offset, so one far into the
        // entry always splits.
        int const split = item.nTimeInterval - prevLength;
        if (split > 0 || item.bLocked != run.bLocked || item.bAlarm != run.bAlarm) {
            run.nEnd = absoluteTime(cur + prevLength);
            runs.push_back(run);
            run = RecordTimeRun();
            run.nBegin = absoluteTime(item.nTime);
            run.nSplit = split;
            run.bLocked = item.bLocked;
            run.bAlarm = item.bAlarm;
        }
        cur = item.nTime;
        prevLength = item.nTimeLength;
    }
    run.nEnd = absoluteTime(cur + prevLength);
    runs.push_back(run);
    return static_cast<int>(runs.size() - first);
}

int IRecordIndexInfoParser::queryRecordWithDataLen(SingleDeviceRecordQuery* query) {
    if (query == nullptr) return 0;
    WalkItem item;
    if (!nextItem(item)) return 1;
    long long const precision = query->getQueryTimePrecision();
    long long const queryBegin = query->getQueryBeginTime();
    long long const queryEnd = query->getQueryEndTime();
    int const interval = query->getSegmentTimeInterval();
    // The first segment fills up the last one handed over before this entry.
    long long limit = interval - query->getLastSegmentTimeLen();
    if (limit < NS_IRecordIndexInfoParser::kMinSegmentRemainder) limit = interval;

    auto inWindow = [&](WalkItem const& walked) {
        long long begin = absoluteTime(walked.nTime);
        return begin >= queryBegin &&
               (queryEnd == 0 || absoluteTime(walked.nTime + walked.nTimeLength) <= queryEnd);
    };
    long long segmentBegin = absoluteTime(item.nTime);
    bool locked = item.bLocked;
    bool alarm = item.bAlarm;
    int cur = item.nTime;
    int prevLength = item.nTimeLength;
    int dataLength = inWindow(item) ? item.nDataLength : 0;
    while (nextItem(item)) {
        bool ends = item.nTimeInterval - prevLength > precision || item.bLocked != locked ||
                    item.bAlarm != alarm ||
                    (interval > 0 && absoluteTime(item.nTime) - segmentBegin >= limit);
        if (ends) {
            if (dataLength != 0) {
                query->handleRecordSegment(segmentBegin, absoluteTime(cur + prevLength),
                                           dataLength, locked, alarm);
            }
            cur = item.nTime;
            segmentBegin = absoluteTime(cur);
            locked = item.bLocked;
            alarm = item.bAlarm;
            dataLength = 0;
            limit = interval;
        } else {
            cur = item.nTime;
        }
        if (inWindow(item)) {
            dataLength = NS_IRecordIndexInfoParser::addLength(dataLength, item.nDataLength);
        }
        prevLength = item.nTimeLength;
    }
    if (dataLength != 0) {
        query->handleRecordSegment(segmentBegin, absoluteTime(cur + prevLength), dataLength,
                                   locked, alarm);
    }
    return 1;
}

int IRecordIndexInfoParser::getRecordFileTimeSegmentList(std::map<int, int>& segments,
                                                          int& nInterval, int& nDataLength) {
    bool running = false;
    int start = 0;
    int dataLength = 0;
    WalkItem item;
    int prevEnd = 0;  // t + time length of the previous item
    while (nextItem(item)) {
        dataLength = NS_IRecordIndexInfoParser::addLength(dataLength, item.nDataLength);
        if (item.bLong) {
            // A long item follows a gap of unknown content: the span so far
            // ends with the previous item.
            if (running) segments.insert(std::make_pair(start, prevEnd));
            running = item.nIndexType == 1;
            start = item.nTime;
        } else if (!running && item.nIndexType == 1) {
            running = true;
            start = item.nTime;
        }
        prevEnd = item.nTime + item.nTimeLength;
    }
    int interval = item.nCount == 0 ? 0 : prevEnd;
    // An empty last span is not a span; an entry with nothing else then has
    // no playable time at all.
    if (running && start != interval) segments.insert(std::make_pair(start, interval));
    if (running && start == interval && segments.empty()) interval = 0;
    nInterval = interval;
    nDataLength = dataLength;
    return 1;
}

int IRecordIndexInfoParser::getRecordFileSizeAndTimeInfo(int& nDataLength, int& nTime,
                                                          int& nInterval) {
    int dataLength = 0;
    int time = 0;
    int longItems = 0;
    int prevTimeLength = 0;
    WalkItem item;
    while (nextItem(item)) {
        dataLength = NS_IRecordIndexInfoParser::addLength(dataLength, item.nDataLength);
        if (item.bLong) {
            ++longItems;
            if (item.nCount > 1) time += prevTimeLength;
        } else {
            time += item.nTimeInterval;
        }
        prevTimeLength = item.nTimeLength;
    }
    if (item.nCount > 0) time += 1 + longItems + item.nTimeLength;
    nDataLength = dataLength;
    nTime = time;
    nInterval = item.nCount == 0 ? 0 : item.nTime + item.nTimeLength;
    return 1;
}

int IRecordIndexInfoParser::setIndexInfo(char* pszIndexInfo, int nLength, long long nBeginTime) {
    m_pszIndexInfo = pszIndexInfo;
    m_nIndexInfoLen = (pszIndexInfo == nullptr || nLength < 0) ? 0 : nLength;
    m_nBeginTime = nBeginTime;
    return 1;
}

int IRecordIndexInfoParser::checkFileIsLocked() {
    WalkItem item;
    while (nextItem(item)) {
        if (item.bLocked) return 1;
    }
    return 0;
}

int IRecordIndexInfoParser::lockFile(long long nBegin, long long nEnd) {
    int count = 0;
    WalkItem item;
    while (nextItem(item)) {
        long long begin = absoluteTime(item.nTime);
        if (begin < nBegin || begin > nEnd) continue;
        RecordIndexCodec::setLockBit(reinterpret_cast<unsigned char*>(m_pszIndexInfo + item.nOffset), true);
        ++count;
    }
    return count;
}

int IRecordIndexInfoParser::unLockFile(long long nBegin, long long nEnd) {
    int count = 0;
    WalkItem item;
    while (nextItem(item)) {
        if (absoluteTime(item.nTime) < nBegin ||
            absoluteTime(item.nTime + item.nTimeLength) > nEnd) {
            continue;
        }
        RecordIndexCodec::setLockBit(reinterpret_cast<unsigned char*>(m_pszIndexInfo + item.nOffset), false);
        ++count;
    }
    return count;
}

int IRecordIndexInfoParser::isIndexInfoNeedRepaire(int) { return 0; }

int IRecordIndexInfoParser::getIndexEndPosByStep(char const* buffer, int nLength, int nShortSize,
                                                 int nLongSize, int& nResult) {
    nResult = 1;
    if (buffer == nullptr || nLength <= 0) return -1;
    unsigned char const* p = reinterpret_cast<unsigned char const*>(buffer);
    int pos = 0;
    int end = 0;
    while (true) {
        unsigned char b = p[pos];
        if (b == RecordIndexCodec::kEndOfData) {
            end = pos;
            break;
        }
        if (b == 0x00) {
            bool nextHead = nLength - pos >= 4 && p[pos + 1] == 0 && p[pos + 2] == 0 &&
                            p[pos + 3] == RecordIndexCodec::kStartCodeLast;
            if (nLength - pos < 4 || nextHead) {
                end = pos;
                break;
            }
        }
        int step = b == RecordIndexCodec::kLongItemMark ? nLongSize : nShortSize;
        if (pos + step >= nLength) {
            end = pos + step == nLength ? nLength : pos;
            break;
        }
        pos += step;
    }
    return end - 1;
}

void IRecordIndexInfoParser::writeLog(char const* text, char const* file, int line) {
    Logger::writeLog(NS_IRecordIndexInfoParser::kLogName, text, file, line);
}

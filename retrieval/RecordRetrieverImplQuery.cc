#include <algorithm>
#include <cstdio>
#include <map>

#include "directory/HDRecordDirOperatorWithIndex.h"
#include "foundation/BasicTool.h"
#include "foundation/DeviceDirParser.h"
#include "foundation/ReturnCode.h"
#include "foundation/TimeConvert.h"
#include "index/RecordIndexFileParserEx.h"
#include "retrieval/RecordRetrieverImpl.h"
#include "retrieval/SingleDeviceRecordQuery.h"
#include "tracking/RecordSegmentQuery.h"

namespace NS_RecordRetrieverImplQuery {

constexpr int kMinPrecision = 3;
constexpr int kMaxPrecision = 3600;
constexpr int kMainIndex = 0;
constexpr int kChangingAttribute = 1;  // only such directories take locks and deletions

// The directories an operation that changes records may touch.
std::vector<RecordDirInfoEx> changeableDirs(std::vector<RecordDirInfoEx> const& dirs) {
    std::vector<RecordDirInfoEx> out;
    for (RecordDirInfoEx const& dir : dirs) {
        if (dir.getAttribute() == kChangingAttribute) out.push_back(dir);
    }
    return out;
}

RecordInfo withFileNameIP(RecordInfo const& info) {
    RecordInfo out = info;
    out.setDeviceIP(BasicTool::getFileNameIP(info.getDeviceIP()).c_str());
    return out;
}

std::string dateOfDir(std::string const& dateDir) {
    std::string::size_type const slash = dateDir.rfind('/');
    return slash == std::string::npos ? dateDir : dateDir.substr(slash + 1);
}

// Dates of the device dirs on one directory, ascending.
std::vector<std::string> datesOf(RecordDirInfoEx const& dir, std::set<std::string> const& deviceDirs) {
    std::set<std::string> dates;
    for (std::string const& deviceDir : deviceDirs) {
        std::vector<std::string> found;
        BasicTool::getRecordDateList(dir, BasicTool::kRecordDirName, deviceDir, found);
        dates.insert(found.begin(), found.end());
    }
    return std::vector<std::string>(dates.begin(), dates.end());
}

TimeStruct timeStructOf(unsigned long seconds) {
    TimeStruct time;
    TimeConvert::getTimeStruct(time, seconds, 0);
    return time;
}

// A directory operation over the list: a directory where the device has no
// folder has nothing to do; any other failure ends the walk. -735 when no
// directory had the device.
template <typename Operation>
int forEachDeviceDir(std::vector<RecordDirInfoEx> const& dirs, Operation operation) {
    int nRet = OV_RECORD_DIR_OPEN_FAILED;
    for (RecordDirInfoEx const& dir : dirs) {
        HDRecordDirOperatorWithIndex op(dir);
        int const one = operation(op);
        if (one == OV_RECORD_DIR_OPEN_FAILED) continue;
        if (one != 0) return one;
        nRet = 0;
    }
    return nRet;
}

// Locks, unlocks or deletes over the directories that take changes.
int changeRecords(RecordInfo const& info,
                  int (HDRecordDirOperatorWithIndex::*change)(RecordInfo const&)) {
    std::vector<RecordDirInfoEx> dirs;
    int nRet = RecordRetrieverImpl::getRecordDirList(dirs);
    if (nRet != 0) return nRet;
    if (!RecordRetrieverImpl::isDeviceKeyValid(info.getDeviceId(), info.getDeviceIP()))
        return OV_RECORD_BAD_DEVICE_KEY;
    RecordInfo const record = withFileNameIP(info);
    return forEachDeviceDir(changeableDirs(dirs), [&](HDRecordDirOperatorWithIndex& op) {
        return (op.*change)(record);
    });
}

// The segments of one device dir over the dates of the condition, from
// every directory's index of each date.
void queryBase(std::vector<RecordDirInfoEx> const& dirs, std::string const& deviceDir,
               RecordQueryCondition const& condition, RecordQueryResult& result,
               bool bWithDataLength) {
    result.setDeviceID(condition.getDeviceId());
    result.setDeviceIP(BasicTool::getFileNameIP(condition.getDeviceIP()));
    result.setCameraID(condition.getCameraId());
    std::string const beginDate = BasicTool::getDateString(condition.getRecordBeginTime());
    std::string const endDate = BasicTool::getEndDateString(condition.getRecordEndTime());
    std::set<std::string> dates;
    for (RecordDirInfoEx const& dir : dirs) {
        std::vector<std::string> found;
        BasicTool::getMatchDateList(dir, BasicTool::kRecordDirName, deviceDir, beginDate, endDate,
                                    found);
        dates.insert(found.begin(), found.end());
    }
    if (dates.empty()) {
        std::printf(" RecordRetrieverImpl::queryBase data list is empty \n");
        return;
    }
    SingleDeviceRecordQuery query(result, condition);
    for (std::string const& date : dates) {
        query.setDate(date);
        for (RecordDirInfoEx const& dir : dirs) {
            if (!bWithDataLength && RecordSegmentQuery::query(deviceDir, date, dir, query) == 1) continue;
            // A day this disk cannot give is no failure: it has nothing.
            RecordIndexFileParserEx index;
            if (index.open(dir, date, deviceDir, kMainIndex, 0) == 0) continue;
            index.queryRecordSegmentList(&query, bWithDataLength);
        }
    }
    query.clear();
}

}  // namespace NS_RecordRetrieverImplQuery

using namespace NS_RecordRetrieverImplQuery;

RecordRetrieverImpl::RecordRetrieverImpl() = default;
RecordRetrieverImpl::~RecordRetrieverImpl() { close(); }

int RecordRetrieverImpl::query(RecordQueryCondition const& condition,
                               std::vector<RecordQueryResult>& results, bool bWithDataLength) {
    std::vector<RecordDirInfoEx> dirs;
    int nRet = getRecordDirList(dirs);
    if (nRet != 0) return nRet;
    if (!isDeviceKeyValid(condition.getDeviceId(), condition.getDeviceIP()))
        return OV_RECORD_BAD_DEVICE_KEY;

    std::set<std::string> deviceDirs;
    getMatchDeviceList(dirs, condition.getDeviceId(), condition.getDeviceIP(),
                       condition.getCameraId(), deviceDirs);
    if (deviceDirs.empty()) {
        std::printf("RecordRetrieverImpl::query device list is empty \n");
        return 0;
    }
    RecordQueryCondition bounded = condition;
    bounded.setRecordQueryTimePrecision(
        std::min(std::max(condition.getRecordQueryTimePrecision(), kMinPrecision), kMaxPrecision));
    for (std::string const& deviceDir : deviceDirs) {
        DeviceDirParser parser(deviceDir.c_str());
        bounded.setDeviceId(parser.getDeviceId());
        bounded.setDeviceIP(parser.getDeviceIP());
        bounded.setCameraId(parser.getCameraId());
        RecordQueryResult result;
        queryBase(dirs, deviceDir, bounded, result, bWithDataLength);
        results.push_back(result);
    }
    return 0;
}

int RecordRetrieverImpl::deleteRecord(RecordInfo const& info) {
    return changeRecords(info, &HDRecordDirOperatorWithIndex::deleteRecordFile);
}

int RecordRetrieverImpl::lockRecordFile(RecordInfo const& info) {
    return changeRecords(info, &HDRecordDirOperatorWithIndex::lockRecordFile);
}

int RecordRetrieverImpl::unlockRecordFile(RecordInfo const& info) {
    return changeRecords(info, &HDRecordDirOperatorWithIndex::unlockRecordFile);
}

int RecordRetrieverImpl::getRecordDirSpaceInfoList(std::vector<RecordDirSpaceInfo>& list) {
    std::vector<RecordDirInfoEx> dirs;
    int nRet = getRecordDirList(dirs);
    if (nRet != 0) return nRet;
    for (RecordDirInfoEx const& dir : dirs) {
        RecordDirSpaceInfo space;
        HDRecordDirOperatorWithIndex op(dir);
        if (op.getRecordDirSpaceInfo(space) != 1) continue;
        space.setRecordDirInfo(RecordDirInfoEx::changeToRecordDirInfo(dir));
        list.push_back(space);
    }
    return 0;
}

int RecordRetrieverImpl::getMatchRecordDateList(RecordInfo const& info, std::set<std::string>& dates) {
    std::vector<RecordDirInfoEx> dirs;
    int nRet = getRecordDirList(dirs);
    if (nRet != 0) return nRet;
    if (!isDeviceKeyValid(info.getDeviceId(), info.getDeviceIP())) return OV_RECORD_BAD_DEVICE_KEY;
    RecordInfo const record = withFileNameIP(info);
    std::set<std::string> dateDirs;
    for (RecordDirInfoEx const& dir : dirs) {
        HDRecordDirOperatorWithIndex(dir).getMatchDateDirList(record, dateDirs);
    }
    for (std::string const& dateDir : dateDirs) dates.insert(dateOfDir(dateDir));
    return 0;
}

int RecordRetrieverImpl::getMatchRecordDateList(std::vector<RecordInfo> const& infos,
                                                std::set<std::string>& dates) {
    std::vector<RecordInfo> records;
    for (RecordInfo const& info : infos) {
        if (*info.getDeviceId() == '\0' || info.getCameraId() < 0) return OV_RECORD_NO_MATCH_DEVICE;
        if (!isDeviceKeyValid(info.getDeviceId(), info.getDeviceIP()))
            return OV_RECORD_BAD_DEVICE_KEY;
        records.push_back(withFileNameIP(info));
    }
    std::vector<RecordDirInfoEx> dirs;
    int nRet = getRecordDirList(dirs);
    if (nRet != 0) return nRet;
    std::set<std::string> dateDirs;
    for (RecordDirInfoEx const& dir : dirs) {
        HDRecordDirOperatorWithIndex(dir).getMatchDateDirList(records, dateDirs);
    }
    for (std::string const& dateDir : dateDirs) dates.insert(dateOfDir(dateDir));
    return 0;
}

int RecordRetrieverImpl::getDeviceList(std::string const& date, std::vector<RecordInfo>& devices) {
    std::vector<RecordDirInfoEx> dirs;
    int nRet = getRecordDirList(dirs);
    if (nRet != 0) return nRet;
    std::set<std::string> deviceDirs;
    getMatchDeviceList(dirs, "", "", -1, deviceDirs);
    for (std::string const& deviceDir : deviceDirs) {
        bool recorded = false;
        for (RecordDirInfoEx const& dir : dirs) {
            std::vector<std::string> dates;
            BasicTool::getRecordDateList(dir, BasicTool::kRecordDirName, deviceDir, dates);
            recorded = recorded || std::find(dates.begin(), dates.end(), date) != dates.end();
        }
        if (!recorded) continue;
        DeviceDirParser parser(deviceDir.c_str());
        RecordInfo device;
        device.setDeviceId(parser.getDeviceId().c_str());
        device.setDeviceIP(parser.getDeviceIP().c_str());
        device.setCameraId(parser.getCameraId());
        devices.push_back(device);
    }
    return 0;
}

int RecordRetrieverImpl::getRecordSummaryInfo(RecordSummaryInfo& summary) {
    if (summary.getDeviceId().empty() || summary.getCameraId() < 0) return OV_RECORD_NO_MATCH_DEVICE;
    if (!isDeviceKeyValid(summary.getDeviceId(), summary.getDeviceIP()))
        return OV_RECORD_BAD_DEVICE_KEY;
    std::vector<RecordDirInfoEx> dirs;
    int nRet = getRecordDirList(dirs);
    if (nRet != 0) return nRet;
    RecordInfo device;
    device.setDeviceId(summary.getDeviceId().c_str());
    device.setDeviceIP(BasicTool::getFileNameIP(summary.getDeviceIP()).c_str());
    device.setCameraId(summary.getCameraId());

    bool found = false;
    long long earliest = 0;
    long long latest = 0;
    for (RecordDirInfoEx const& dir : dirs) {
        std::set<std::string> deviceDirs;
        getMatchDeviceList({dir}, device.getDeviceId(), device.getDeviceIP(), device.getCameraId(),
                           deviceDirs);
        std::vector<std::string> const dates = datesOf(dir, deviceDirs);
        HDRecordDirOperatorWithIndex op(dir);
        for (std::string const& date : dates) {
            SafePointer<RecordFileInfo> file;
            if (op.getEarliestFileInfo(device, date, file) != 1) continue;
            if (!found || file->getRecordBeginTime() < earliest) earliest = file->getRecordBeginTime();
            found = true;
            break;
        }
        for (auto date = dates.rbegin(); date != dates.rend(); ++date) {
            SafePointer<RecordFileInfo> file;
            if (op.getLastestFileInfo(device, *date, file) != 1) continue;
            latest = std::max(latest, file->getRecordEndTime());
            break;
        }
    }
    if (!found) return OV_RECORD_NO_RECORD_TIME;
    summary.setRecordBeginTime(static_cast<unsigned long>(earliest));
    summary.setRecordEndTime(static_cast<unsigned long>(latest));
    summary.setBeginTimeStruct(timeStructOf(static_cast<unsigned long>(earliest)));
    summary.setEndTimeStruct(timeStructOf(static_cast<unsigned long>(latest)));
    return 0;
}

int RecordRetrieverImpl::getLastRecordTime(RecordInfo const& info, unsigned long& nTime) {
    std::vector<RecordDirInfoEx> dirs;
    int nRet = getRecordDirList(dirs);
    if (nRet != 0) return nRet;
    if (!isDeviceKeyValid(info.getDeviceId(), info.getDeviceIP())) return OV_RECORD_BAD_DEVICE_KEY;
    std::set<std::string> deviceDirs;
    getMatchDeviceList(dirs, info.getDeviceId(), info.getDeviceIP(), info.getCameraId(), deviceDirs);
    std::set<std::string> dates;
    for (RecordDirInfoEx const& dir : dirs) {
        std::vector<std::string> const found = datesOf(dir, deviceDirs);
        dates.insert(found.begin(), found.end());
    }
    // The newest date with an entry anywhere holds the end.
    for (auto date = dates.rbegin(); date != dates.rend(); ++date) {
        long long end = -1;
        for (RecordDirInfoEx const& dir : dirs) {
            for (std::string const& deviceDir : deviceDirs) {
                RecordIndexFileParserEx index;
                if (index.open(dir, *date, deviceDir, kMainIndex, 0) == 0) continue;
                RecordFileInfo last;
                int dataLength = 0, timeLength = 0, interval = 0, lastByte = 0;
                bool closed = false;
                if (index.getLastestFileInfo(last) == 0 ||
                    index.getRecordFileLenAndTimeLen(dataLength, timeLength, interval, lastByte,
                                                     closed) == 0) {
                    continue;
                }
                end = std::max(end, last.getRecordBeginTime() + interval);
            }
        }
        if (end >= 0) {
            nTime = static_cast<unsigned long>(end);
            return 0;
        }
    }
    return OV_RECORD_NO_RECORD_TIME;
}

int RecordRetrieverImpl::getHistoryDeviceList(std::vector<RecordInfo>& devices) {
    std::vector<RecordDirInfoEx> dirs;
    int nRet = getRecordDirList(dirs);
    if (nRet != 0) return nRet;
    for (RecordDirInfoEx const& dir : dirs) {
        std::vector<RecordInfo> found;
        HDRecordDirOperatorWithIndex(dir).getHistoryDeviceList(found);
        for (RecordInfo const& device : found) {
            auto same = std::find_if(devices.begin(), devices.end(), [&](RecordInfo const& known) {
                return std::string(known.getDeviceId()) == device.getDeviceId() &&
                       known.getCameraId() == device.getCameraId();
            });
            if (same == devices.end()) {
                devices.push_back(device);
            } else if (device.getRecordBeginTime() < same->getRecordBeginTime()) {
                same->setRecordBeginTime(device.getRecordBeginTime());
            }
        }
    }
    return 0;
}

int RecordRetrieverImpl::clearDeviceRecord(std::string const& deviceId) {
    std::vector<RecordDirInfoEx> dirs;
    int nRet = getRecordDirList(dirs);
    if (nRet != 0) return nRet;
    if (!isDeviceKeyValid(deviceId, "")) return OV_RECORD_BAD_DEVICE_KEY;
    std::printf("RecordRetrieverImpl::clearDeviceRecord 1111111111 \n");
    for (RecordDirInfoEx const& dir : dirs) {
        std::printf("RecordRetrieverImpl::clearDeviceRecord  %s \n\n", dir.getRecordDiskName().c_str());
        int const one = HDRecordDirOperatorWithIndex(dir).clearDeviceRecord(deviceId);
        if (one != 0) {
            char text[256];
            std::snprintf(text, sizeof(text),
                          " DeviceId(%s)clearDeviceRecord %s failed clearDeviceRecord nRet = %d",
                          deviceId.c_str(), dir.getRecordDiskName().c_str(), one);
            writeQueryLog(text);
        }
    }
    return 0;
}

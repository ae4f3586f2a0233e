// recstore ls: devices, a device's dates, or a date's merged segments.

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "retrieval/RecordRetriever.h"
#include "tools/recstore/Recstore.h"

namespace recstore {

namespace {

char const kName[] = "ls";

void printDevices(std::vector<RecordInfo> const& devices, bool json) {
    if (json) std::fprintf(out(), "[");
    for (size_t i = 0; i < devices.size(); ++i) {
        std::string const key = deviceKey(devices[i]);
        std::string const since = timeText(devices[i].getRecordBeginTime()).substr(0, 10);
        if (json) {
            std::fprintf(out(), "%s{\"device\":\"%s\",\"first_date\":\"%s\"}", i == 0 ? "" : ",", key.c_str(), since.c_str());
        } else {
            std::fprintf(out(), "%-40s since %s\n", key.c_str(), since.c_str());
        }
    }
    if (json) std::fprintf(out(), "]\n");
}

void printDates(std::set<std::string> const& dates, bool json) {
    if (json) std::fprintf(out(), "[");
    bool first = true;
    for (std::string const& date : dates) {
        std::fprintf(out(), json ? "%s\"%s\"" : "%s%s\n", json && !first ? "," : "", date.c_str());
        first = false;
    }
    if (json) std::fprintf(out(), "]\n");
}

void printSegments(std::vector<RecordTimeSegment> const& segments, bool json) {
    if (json) {
        std::fprintf(out(), "[");
    } else {
        std::fprintf(out(), "%-19s  %-19s  %8s  %-6s  %s\n", "begin", "end", "seconds", "locked", "alarm");
    }
    for (size_t i = 0; i < segments.size(); ++i) {
        RecordTimeSegment const& s = segments[i];
        unsigned long const length = s.getRecordEndTime() - s.getRecordBeginTime();
        std::string const begin = timeText(s.getRecordBeginTime());
        std::string const end = timeText(s.getRecordEndTime());
        if (json) {
            std::fprintf(out(), "%s{\"begin\":\"%s\",\"end\":\"%s\",\"seconds\":%lu,\"locked\":%s,\"alarm\":%s}",
                        i == 0 ? "" : ",", begin.c_str(), end.c_str(), length,
                        s.getRecordLockFlag() ? "true" : "false", s.getRecordAlarmFlag() ? "true" : "false");
        } else {
            std::fprintf(out(), "%-19s  %-19s  %8lu  %-6s  %s\n", begin.c_str(), end.c_str(), length,
                        s.getRecordLockFlag() ? "yes" : "no", s.getRecordAlarmFlag() ? "yes" : "no");
        }
    }
    if (json) std::fprintf(out(), "]\n");
}

}  // namespace

int runLs(std::vector<std::string> const& argv) {
    Args args;
    std::string error;
    if (!args.parse(argv, {"--device", "--date"}, {"--json"}, error)) return fail(kName, kUsage, error);
    if (args.has("--date") && !args.has("--device")) return fail(kName, kUsage, "--date needs --device");
    RecordInfo device;
    if (args.has("--device") && !parseDeviceKey(args.get("--device"), device))
        return fail(kName, kUsage, "--device takes ID_IP_CAMERA, not " + args.get("--device"));
    unsigned long day = 0;
    if (args.has("--date") && !parseTime(args.get("--date"), day))
        return fail(kName, kUsage, "--date takes YYYY-MM-DD, not " + args.get("--date"));
    std::vector<RecordDirInfoEx> dirs;
    if (!openRoots(args.positional(), dirs, error)) return fail(kName, kFailed, error);
    bool const json = args.has("--json");
    RecordRetriever retriever;

    if (!args.has("--device")) {
        std::vector<RecordInfo> devices;
        int const code = retriever.getHistoryDeviceList(devices);
        if (code != 0) return fail(kName, kFailed, "devices could not be listed: " + std::to_string(code));
        printDevices(devices, json);
        return kOk;
    }
    std::set<std::string> dates;
    retriever.getMatchRecordDateList(device, dates);
    if (dates.empty()) return fail(kName, kFailed, "no recording of " + args.get("--device"));
    if (!args.has("--date")) {
        printDates(dates, json);
        return kOk;
    }
    RecordQueryCondition condition;
    condition.setDeviceId(device.getDeviceId());
    condition.setDeviceIP(device.getDeviceIP());
    condition.setCameraId(device.getCameraId());
    condition.setRecordBeginTime(day);
    condition.setRecordEndTime(day + 86400);
    std::vector<RecordQueryResult> results;
    int const code = retriever.query(condition, results);
    if (code != 0) return fail(kName, kFailed, "query failed: " + std::to_string(code));
    printSegments(results.empty() ? std::vector<RecordTimeSegment>() : results[0].getRecordTimeSegmentList(), json);
    return kOk;
}

}  // namespace recstore

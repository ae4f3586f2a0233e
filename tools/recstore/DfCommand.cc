// recstore df: per root, its space and record files (pool, in use, bin),
// and per device the oldest and newest recording and the days held.

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "directory/EmptyDirStat.h"
#include "directory/RecordDirHandler.h"
#include "foundation/BasicTool.h"
#include "retrieval/RecordRetriever.h"
#include "tools/recstore/Recstore.h"

namespace recstore {

namespace {

char const kName[] = "df";

}  // namespace

int runDf(std::vector<std::string> const& argv) {
    Args args;
    std::string error;
    if (!args.parse(argv, {}, {}, error)) return fail(kName, kUsage, error);
    std::vector<RecordDirInfoEx> dirs;
    if (!openRoots(args.positional(), dirs, error)) return fail(kName, kFailed, error);
    RecordRetriever retriever;
    std::vector<RecordDirSpaceInfo> spaces;
    retriever.getRecordDirSpaceInfoList(spaces);
    for (size_t i = 0; i < dirs.size(); ++i) {
        RecordDirInfoEx const& dir = dirs[i];
        std::string const root = dir.getRecordRootDir();
        EmptyDirStat pool(dir.getDiskType(), BasicTool::getRecordEmptyDir(root));
        pool.init(dir.getFileSystemFormat());
        RecordDirHandler handler(dir, BasicTool::getRecordDir(root));
        handler.init(dir.getFileSystemFormat());
        long long total = 0;
        long long free = 0;
        for (RecordDirSpaceInfo const& space : spaces) {
            if (root != space.getRecordDirInfo().getDiskName()) continue;
            total = space.getTotalSpace();
            free = space.getFreeSpace();
        }
        std::fprintf(out(), "%s\n  disk %.1f GiB, %.1f GiB free; record files: %d in the pool, %d in use, %d in the bin\n",
                    root.c_str(), total / 1073741824.0, free / 1073741824.0, pool.getTotalEmptyFileNumber(),
                    handler.getTotalRecordFileNumber(), binFiles(dir));

        // The device figures of this root alone.
        std::vector<RecordDirInfoEx> one;
        std::string ignored;
        openRoots({root}, one, ignored);
        std::vector<RecordInfo> devices;
        retriever.getHistoryDeviceList(devices);
        for (RecordInfo const& device : devices) {
            RecordSummaryInfo summary;
            summary.setDeviceId(device.getDeviceId());
            summary.setDeviceIP(device.getDeviceIP());
            summary.setCameraId(device.getCameraId());
            std::set<std::string> dates;
            retriever.getMatchRecordDateList(device, dates);
            if (retriever.getRecordSummaryInfo(summary) != 0) {
                std::fprintf(out(), "  %-36s no recording\n", deviceKey(device).c_str());
                continue;
            }
            std::fprintf(out(), "  %-36s %s .. %s, %zu day(s)\n", deviceKey(device).c_str(),
                        timeText(summary.getRecordBeginTime()).c_str(), timeText(summary.getRecordEndTime()).c_str(),
                        dates.size());
        }
    }
    return kOk;
}

}  // namespace recstore

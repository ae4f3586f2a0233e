#include "snapshot/SnapshotFileManagerEx.h"

#include "foundation/BasicTool.h"
#include "host/GlobalEnv.h"
#include "snapshot/SnapshotFileDeleterEx.h"
#include "snapshot/SnapshotFileQueryEx.h"
#include "snapshot/SnapshotIndexFileParserEx.h"
#include "snapshot/SnapshotRecordDirEx.h"

int SnapshotFileManagerEx::query(SnapshotQueryCondition const& condition, std::vector<RecordDirInfoEx> const& dirs,
                                 std::vector<SnapshotFile>& list) {
    SnapshotFileQueryEx op(list);
    return snapshotFileOperator(condition, dirs, op);
}

int SnapshotFileManagerEx::deleteSnapshotFile(SnapshotQueryCondition const& condition,
                                              std::vector<RecordDirInfoEx> const& dirs) {
    SnapshotFileDeleterEx op;
    return snapshotFileOperator(condition, dirs, op);
}

int SnapshotFileManagerEx::deleteSnapshotFile(std::vector<RecordDirInfoEx> const& dirs,
                                              std::vector<std::string> const& names) {
    int result = 0;
    for (std::string const& name : names) {
        std::string deviceDir, date;
        long long time = 0;
        if (!SnapshotRecordDirEx::parseImageInfo(name, deviceDir, date, time)) continue;
        for (RecordDirInfoEx const& dir : dirs) {
            int const code = SnapshotFileDeleterEx::deleteSnapshotFile(dir, deviceDir, date, time);
            if (code < 0) result = code;
        }
    }
    return result;
}

int SnapshotFileManagerEx::snapshotFileOperator(SnapshotQueryCondition const& condition,
                                                std::vector<RecordDirInfoEx> const& dirs, ISnapshotFileOperatorEx& op) {
    std::string const beginDate = BasicTool::getDateString(condition.getBeginTime() / 1000);
    std::string const endDate = BasicTool::getDateString(condition.getEndTime() / 1000);
    int result = 0;
    for (RecordDirInfoEx const& dir : dirs) {
        std::vector<std::string> deviceDirs;
        if (!BasicTool::getMatchDeviceDirList(dir, BasicTool::kSnapshotDirName, condition.getDeviceId(),
                                              condition.getDeviceIP(), condition.getCameraId(), deviceDirs)) {
            GlobalEnv::print("getMatchDeviceDirList() failed.");
            continue;
        }
        for (std::string const& deviceDir : deviceDirs) {
            std::vector<std::string> dates;
            BasicTool::getMatchDateList(dir, BasicTool::kSnapshotDirName, deviceDir, beginDate, endDate, dates);
            for (std::string const& date : dates) {
                SnapshotIndexFileParserEx parser;
                if (parser.open(dir, date, deviceDir) != 1) continue;
                int const code = op.handleFile(condition, dir, deviceDir, date, parser);
                if (code != 0) result = code;
            }
        }
    }
    return result;
}

#include "snapshot/SnapshotFileDeleterEx.h"

#include <algorithm>
#include <vector>

#include "foundation/BasicTool.h"
#include "foundation/ReturnCode.h"
#include "snapshot/SnapshotDirOperatorEx.h"
#include "snapshot/SnapshotFileIndexCreator.h"
#include "snapshot/SnapshotIndexFileParserEx.h"
#include "snapshot/SnapshotUseableFileDir.h"

int SnapshotFileDeleterEx::handleFile(SnapshotQueryCondition const& condition, RecordDirInfoEx const& dir,
                                      std::string const& deviceDir, std::string const& date,
                                      SnapshotIndexFileParserEx& parser) {
    std::vector<std::string> emptied;
    int result = parser.deleteFile(condition, &emptied) < 0 ? OV_RECORD_WRITE_FAILED : 0;
    if (emptied.empty()) return result;
    // The data file the channel's session was last given may be open: a
    // pool that gave it out again would have two writers on one file. Its
    // pictures stay marked; retention takes the file later.
    emptied.erase(std::remove_if(emptied.begin(), emptied.end(),
                                 [&](std::string const& name) {
                                     return SnapshotFileIndexCreator::isWritingFile(dir, deviceDir, date, name);
                                 }),
                  emptied.end());
    SnapshotUseableFileDir pool(dir.getRecordRootDir(), dir.getDiskType(), dir.getFileSegmentSize());
    if (!pool.attach(dir.getFileSystemFormat())) return result;
    bool empty = false;
    for (std::string const& name : emptied) {
        if (!pool.deleteFile(parser.getDateDir() + BasicTool::kSeparator + name)) continue;
        if (parser.deleteFile(name, empty) < 0) result = OV_RECORD_WRITE_FAILED;
    }
    parser.close();
    if (empty) SnapshotDirOperatorEx(dir).clearRecordDir(deviceDir, date);
    return result;
}

int SnapshotFileDeleterEx::deleteSnapshotFile(RecordDirInfoEx const& dir, std::string const& deviceDir,
                                              std::string const& date, long long time) {
    SnapshotIndexFileParserEx parser;
    if (parser.open(dir, date, deviceDir) != 1) return 0;
    int const result = parser.deleteImage(time);
    return result < 0 ? OV_RECORD_WRITE_FAILED : result;
}

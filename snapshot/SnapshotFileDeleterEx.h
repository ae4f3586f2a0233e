#ifndef SNAPSHOT_SNAPSHOTFILEDELETEREX_H
#define SNAPSHOT_SNAPSHOTFILEDELETEREX_H

#include <string>

#include "snapshot/ISnapshotFileOperatorEx.h"

// Deletes pictures for the host. By condition (handleFile): the pictures
// whose whole second lies in the range are marked deleted, and a data file
// left with none goes back to its directory's pool and its entry leaves the
// index. By handle (deleteSnapshotFile): the one picture of that exact time.
// Stateless; any thread.
class SnapshotFileDeleterEx : public ISnapshotFileOperatorEx {
public:
    int handleFile(SnapshotQueryCondition const& condition, RecordDirInfoEx const& dir, std::string const& deviceDir,
                   std::string const& date, SnapshotIndexFileParserEx& parser) override;
    // Marks the first picture of time (ms) not yet deleted in the channel's
    // index of `date` on `dir`: 1 done, 0 none there, -703 not written.
    static int deleteSnapshotFile(RecordDirInfoEx const& dir, std::string const& deviceDir, std::string const& date,
                                  long long time);
};

#endif

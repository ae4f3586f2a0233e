#ifndef SNAPSHOT_SNAPSHOTFILEMANAGEREX_H
#define SNAPSHOT_SNAPSHOTFILEMANAGEREX_H

#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "snapshot/ISnapshotFileOperatorEx.h"
#include "snapshot/SnapshotFile.h"
#include "snapshot/SnapshotQueryCondition.h"

// Walks the snapshot indexes that a condition reaches: directories in list
// order, then the channel's device dirs, then the dates from the begin's to
// the end's. Nothing sorts: a list comes out disk by disk. Stateless.
class SnapshotFileManagerEx {
public:
    int query(SnapshotQueryCondition const& condition, std::vector<RecordDirInfoEx> const& dirs,
              std::vector<SnapshotFile>& list);
    int deleteSnapshotFile(SnapshotQueryCondition const& condition, std::vector<RecordDirInfoEx> const& dirs);
    // By the handles a query gave; a name that does not read is passed over.
    int deleteSnapshotFile(std::vector<RecordDirInfoEx> const& dirs, std::vector<std::string> const& names);
    // Runs the operator on every opened index of the walk: 0, or the last
    // code an operator gave.
    int snapshotFileOperator(SnapshotQueryCondition const& condition, std::vector<RecordDirInfoEx> const& dirs,
                             ISnapshotFileOperatorEx& op);
};

#endif

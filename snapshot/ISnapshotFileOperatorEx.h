#ifndef SNAPSHOT_ISNAPSHOTFILEOPERATOREX_H
#define SNAPSHOT_ISNAPSHOTFILEOPERATOREX_H

#include <string>

#include "foundation/RecordDirInfoEx.h"
#include "snapshot/SnapshotQueryCondition.h"

class SnapshotIndexFileParserEx;

// What SnapshotFileManagerEx does with each index that a condition reaches:
// the index of `deviceDir` and `date` on `dir`, opened. The parser is the
// caller's and stays valid for the call only.
class ISnapshotFileOperatorEx {
public:
    virtual ~ISnapshotFileOperatorEx() = default;
    // 0, or a code that the walk keeps as its result and goes on.
    virtual int handleFile(SnapshotQueryCondition const& condition, RecordDirInfoEx const& dir,
                           std::string const& deviceDir, std::string const& date,
                           SnapshotIndexFileParserEx& parser) = 0;
};

#endif

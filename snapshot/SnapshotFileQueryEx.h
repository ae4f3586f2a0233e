#ifndef SNAPSHOT_SNAPSHOTFILEQUERYEX_H
#define SNAPSHOT_SNAPSHOTFILEQUERYEX_H

#include <vector>

#include "snapshot/ISnapshotFileOperatorEx.h"
#include "snapshot/SnapshotFile.h"

// Appends the pictures of each index that match the condition to a list the
// caller owns, in index order.
class SnapshotFileQueryEx : public ISnapshotFileOperatorEx {
public:
    explicit SnapshotFileQueryEx(std::vector<SnapshotFile>& list) : m_list(list) {}
    int handleFile(SnapshotQueryCondition const& condition, RecordDirInfoEx const& dir, std::string const& deviceDir,
                   std::string const& date, SnapshotIndexFileParserEx& parser) override;

private:
    std::vector<SnapshotFile>& m_list;
};

#endif

#ifndef TRACKING_RECORDSEGMENTINFOELEMENT_H
#define TRACKING_RECORDSEGMENTINFOELEMENT_H

#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "index/RecordTimeRun.h"
#include "tracking/RecordSegmentInfoNode.h"

// A leaf of the segment table: what one directory's index of a device and
// date holds, as the runs of its entries, so that a query gets from here
// exactly what the index would give it.
class RecordSegmentInfoElement : public RecordSegmentInfoNode {
public:
    RecordSegmentInfoElement(RecordDirInfoEx const& dir, int storageType,
                             std::vector<RecordTimeRun> runs)
        : RecordSegmentInfoNode(kElement, dir.getRecordRootDir()),
          m_dirInfo(dir),
          m_nStorageType(storageType),
          m_runs(std::move(runs)) {}

    // A leaf has no children: 0.
    int insertChildNode(RecordSegmentInfoNode*) override { return 0; }
    // Same directory and storage type.
    bool isEqual(RecordSegmentInfoNode* node) override;
    bool isEqual(int type, int storageType, RecordDirInfoEx const& dir) const {
        return type == getType() && storageType == m_nStorageType && dir == m_dirInfo;
    }

    RecordDirInfoEx const& getRecordDirInfo() const { return m_dirInfo; }
    int getRecordStorageType() const { return m_nStorageType; }
    std::vector<RecordTimeRun> const& getRecordTimeRuns() const { return m_runs; }

private:
    RecordDirInfoEx m_dirInfo;
    int m_nStorageType;
    std::vector<RecordTimeRun> m_runs;
};

#endif

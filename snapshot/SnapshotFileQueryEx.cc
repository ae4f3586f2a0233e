#include "snapshot/SnapshotFileQueryEx.h"

#include "snapshot/SnapshotIndexFileParserEx.h"

int SnapshotFileQueryEx::handleFile(SnapshotQueryCondition const& condition, RecordDirInfoEx const&,
                                    std::string const&, std::string const&, SnapshotIndexFileParserEx& parser) {
    return parser.query(condition, m_list, condition.getPolicyType());
}

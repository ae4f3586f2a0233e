#ifndef SNAPSHOT_SNAPSHOTRETRIEVERIMPL_H
#define SNAPSHOT_SNAPSHOTRETRIEVERIMPL_H

#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "snapshot/SnapshotFile.h"
#include "snapshot/SnapshotImageReader.h"
#include "snapshot/SnapshotQueryCondition.h"

// Reads disks of the old snapshot generation: one image file per picture,
// named "YYYYMMDDhhmmssmmm_cc.jpg" in its date folder, and a flat index
// (SnapshotIndexFileParser). Not behind the facade; for a host that still
// has such disks. One thread at a time.
class SnapshotRetrieverImpl {
public:
    explicit SnapshotRetrieverImpl(std::vector<RecordDirInfoEx> const& dirs) : m_dirs(dirs) {}
    ~SnapshotRetrieverImpl() { close(); }
    SnapshotRetrieverImpl(SnapshotRetrieverImpl const&) = delete;
    SnapshotRetrieverImpl& operator=(SnapshotRetrieverImpl const&) = delete;

    // The channel's pictures in [begin, end) ms, disk by disk: 0, -708 no
    // directory, -741 a format unknown.
    int query(SnapshotQueryCondition const& condition, std::vector<SnapshotFile>& list);
    // Opens the image file of a name a query gave, in the date folder of a
    // device dir of its camera: 0, -708, -741, -744 when the name does not
    // read or no such file is left (an item that names a missing file is
    // dropped from its index), -742 when it can't be opened.
    int open(char const* name);
    // Bytes of the image file, 0 at its end, -743 before open.
    int read(char* buffer, int nLength);
    void close();

private:
    int initRecordDirInfoList(std::vector<RecordDirInfoEx>& dirs) const;

    std::vector<RecordDirInfoEx> m_dirs;
    SnapshotImageReader m_reader;
};

#endif

#ifndef SNAPSHOT_SNAPSHOTIMAGEDATAINFO_H
#define SNAPSHOT_SNAPSHOTIMAGEDATAINFO_H

#include <string>

#include "foundation/Field.h"
#include "foundation/RecordDirInfoEx.h"

// Where one picture lies: its data file and the byte range in it. The
// length stays -1 until a picture is found.
class SnapshotImageDataInfo {
    OV_STRING_FIELD(SnapshotFileName)
    OV_STRING_FIELD(ImageFileName)
    OV_FIELD(int, ImageFilePos, 0)
    OV_FIELD(int, ImageDataLen, -1)

public:
    RecordDirInfoEx const& getSnapshotDirInfo() const { return m_dirInfo; }
    void setSnapshotDirInfo(RecordDirInfoEx const& info) { m_dirInfo = info; }

private:
    RecordDirInfoEx m_dirInfo;
};

#endif

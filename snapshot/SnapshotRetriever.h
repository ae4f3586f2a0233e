#ifndef SNAPSHOT_SNAPSHOTRETRIEVER_H
#define SNAPSHOT_SNAPSHOTRETRIEVER_H

#include <string>
#include <vector>

#include "foundation/RecordDirInfo.h"
#include "foundation/RecordDirInfoEx.h"
#include "snapshot/SnapshotFile.h"
#include "snapshot/SnapshotQueryCondition.h"

class SnapshotRetrieverImplEx;

// The host's door to stored pictures: list a channel's pictures of a time
// window (ms), read one by the handle a query gave, delete by window or by
// handles. No operation lets an exception out: one is logged under
// "RecordIOError" and answered with -739. An object serves one thread at a
// time; the directory list is process-wide.
class SnapshotRetriever {
public:
    SnapshotRetriever();
    ~SnapshotRetriever();
    SnapshotRetriever(SnapshotRetriever const&) = delete;
    SnapshotRetriever& operator=(SnapshotRetriever const&) = delete;

    // Directories by their enable flag: enabled ones are searched first,
    // disabled ones still give their old pictures.
    static void setSnapshotDirList(std::vector<RecordDirInfo> const& dirs);

    // Disk by disk, then by device, date and time within a data file: 0,
    // -708 no directory, -741 a format unknown.
    int query(SnapshotQueryCondition const& condition, std::vector<SnapshotFile>& list);
    // 0, -708, -741, -742 no such picture or its data file can't be opened.
    int open(char const* name);
    // Bytes of the picture, 0 at its end, -743 before open.
    int read(char* buffer, int nLength);
    int close();
    // Pictures whose whole second lies in the window; data files left with
    // none go back to their pool. 0, -708, -741, -703.
    int deleteSnapshotFile(SnapshotQueryCondition const& condition);
    int deleteSnapshotFile(std::vector<std::string> const& names);

private:
    friend class SnapshotRetrieverImplEx;
    SnapshotRetrieverImplEx* m_pImpl;  // owned
    // guarded by SnapshotRetrieverImplEx::m_DirInfoMutex
    static std::vector<RecordDirInfoEx> m_SnapshotDisableDirList;
};

#endif

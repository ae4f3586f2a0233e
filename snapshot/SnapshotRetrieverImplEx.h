#ifndef SNAPSHOT_SNAPSHOTRETRIEVERIMPLEX_H
#define SNAPSHOT_SNAPSHOTRETRIEVERIMPLEX_H

#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "host/OVMutex.h"
#include "snapshot/SnapshotFile.h"
#include "snapshot/SnapshotImageReader.h"
#include "snapshot/SnapshotQueryCondition.h"

// Lists, reads and deletes pictures of the data-file generation on the
// snapshot directories the host set. The host knows a picture only by its
// handle (SnapshotIndexFileItemParserEx::createFileName); reading follows
// it to a byte range of a data file. One thread at a time per object; the
// directory lists are process-wide.
class SnapshotRetrieverImplEx {
public:
    SnapshotRetrieverImplEx() = default;
    ~SnapshotRetrieverImplEx() { close(); }
    SnapshotRetrieverImplEx(SnapshotRetrieverImplEx const&) = delete;
    SnapshotRetrieverImplEx& operator=(SnapshotRetrieverImplEx const&) = delete;

    // Enabled directories first, then the disabled ones, whose pictures
    // stay readable; those whose disk is missing are passed over. 0, -708
    // when none is set, -741 when a format cannot be told.
    static int initRecordDirInfoList(std::vector<RecordDirInfoEx>& dirs);
    // The two process-wide lists, as the facade splits them.
    static void setDirLists(std::vector<RecordDirInfoEx> const& enabled, std::vector<RecordDirInfoEx> const& disabled);

    int query(SnapshotQueryCondition const& condition, std::vector<SnapshotFile>& list);
    // 0 with the picture ready to read; -708, -741, or -742 when the name
    // does not read, no index has its time or its data file can't be opened.
    int open(char const* name);
    // Bytes read into buffer, 0 at the picture's end, -743 without open, or
    // the file's negative answer.
    int read(char* buffer, int nLength);
    void close();
    // 0, -708, -741, or -703 when a mark was not written.
    int deleteSnapshotFile(SnapshotQueryCondition const& condition);
    int deleteSnapshotFile(std::vector<std::string> const& names);

private:
    SnapshotImageReader m_reader;

    // Also guards SnapshotRetriever::m_SnapshotDisableDirList.
    static OVMutex m_DirInfoMutex;
    static std::vector<RecordDirInfoEx> m_SnapshotDirExList;  // guarded by m_DirInfoMutex
};

#endif

#ifndef SNAPSHOT_SNAPSHOTFILEINDEXCREATOR_H
#define SNAPSHOT_SNAPSHOTFILEINDEXCREATOR_H

#include <string>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"

class IDiskManager;
class SnapshotIndexFileParserEx;

// Decides where a snapshot session's next pictures go: on in the channel's
// last data file of the date, or into a new data file whose index entry is
// written here before the file exists. A local object of the directory's
// caller; one call on a date at a time.
class SnapshotFileIndexCreator {
public:
    explicit SnapshotFileIndexCreator(RecordDirInfoEx const& dir);

    // "<id>_<ip>_<camera>_<YYYYMMDDhhmmss>.mjpeg" of the file's channel at
    // nBeginTime (s).
    static std::string createRecordFileName(RecordFileInfo const& file, long long nBeginTime);
    // Gives the file its entry. Without bNewFile the channel goes on in the
    // date's last data file when it is the same channel, record mode and
    // burst mode and the data file is still there (needFile false, name and
    // begin time taken from the entry); otherwise a head for a new data file
    // is written (needFile true). 0, the index writer's code, or -769 when
    // no free name is left.
    int createFileIndex(SafePointer<RecordFileInfo>& file, bool bNewFile, bool& needFile);

    // The data file (whole path) that the channel of a device dir was last
    // given to write, on whichever disk; "" for none since the start. It is
    // noted before its entry is written, and reclaiming passes it over: a
    // session may hold it open. Any thread.
    static std::string getWritingFile(std::string const& deviceDir);
    static bool isWritingFile(RecordDirInfoEx const& dir, std::string const& deviceDir, std::string const& date,
                              std::string const& name);

private:
    bool needCreateNewFileIndex(SnapshotIndexFileParserEx& parser, RecordFileInfo const& file,
                                RecordFileInfo& last);
    int getOldFileIndex(RecordFileInfo& file, RecordFileInfo const& last);
    int createNewFileIndex(SnapshotIndexFileParserEx& parser, RecordFileInfo& file);
    // Drops the entry of a data file that is gone, so that the name can be
    // given to a new one without its pictures pointing into it.
    bool deleteOldFileIndex(SnapshotIndexFileParserEx& parser, std::string const& name);

    RecordDirInfoEx m_dirInfo;
    IDiskManager* m_pDisk;  // process-lived, not owned
};

#endif

#ifndef INDEX_RECORDFILEINDEXCREATOR_H
#define INDEX_RECORDFILEINDEXCREATOR_H

#include <string>

#include "foundation/AVStreamInfo.h"
#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"
#include "host/IDiskManager.h"

class IndexDirManager;

// Sets up a day's index file and the head of a record file's entry before
// recording starts, and decides whether a channel that starts recording may
// join its last record file instead of taking a fresh one.
class RecordFileIndexCreator {
public:
    explicit RecordFileIndexCreator(RecordDirInfoEx const& dir);
    ~RecordFileIndexCreator();

    // Index files then come from the directory's pool; may stay unset.
    void setIndexDirManager(SafePointer<IndexDirManager> const& pool);

    // Makes the day's index file of the file's device if there is none.
    // 0, or -767.
    int createIndexFile(SafePointer<RecordFileInfo>& file);
    // A new entry for a file named here; -757 when that name is taken.
    int createNewFileIndex(SafePointer<RecordFileInfo>& file);
    // A new entry for a file that already has its name (from a pool).
    int createNewFileIndexSegment(SafePointer<RecordFileInfo>& file);
    // Joins the channel's last record file of the day: 0 (the request takes
    // over its begin time, name, stream and number), -1 no last file (or one
    // not to be joined: unsealed or locked), -2 the stream changed, -3 the
    // last file is gone (its entry is removed).
    int togetherRecordFile(SafePointer<RecordFileInfo>& file);
    // For directories that name their own files: 0, -739 or what
    // createNewFileIndex answers; isNew says whether a new entry was made.
    int createFileIndex(SafePointer<RecordFileInfo>& file, bool forceNew, bool& isNew);

    // 1 when encoder type or picture size differ.
    static int isNeedChangeFile(AVStreamInfo const& last, AVStreamInfo const& next);
    // Names a new file of a directory without a file pool; false (and a line
    // in the bug log) when a file of that name exists.
    bool getValidFileName(SafePointer<RecordFileInfo>& file);
    static std::string createRecordFileName(SafePointer<RecordFileInfo>& file);

    static constexpr long long kIndexFileSize = 0x80000;

private:
    // The channel's last entry of the day into scratch, with its index
    // version and whether its last run is sealed; from memory, else from the
    // disk. False when there is none.
    bool getOldFileIndex(SafePointer<RecordFileInfo>& scratch, int& version, bool& closed);
    enum { kLastFileThere, kLastFileLocked, kLastFileGone };
    // Looks for both spellings of the last entry's record file.
    int getLastFileState(RecordFileInfo const& last);
    int needCreateNewFileIndex(SafePointer<RecordFileInfo>& file, bool forceNew, bool& isNew);
    void deleteOldFileIndex(RecordFileInfo const& last);
    int writeNewEntry(SafePointer<RecordFileInfo>& file, std::string const& name);

    RecordDirInfoEx m_dirInfo;
    IDiskManager* m_pDiskManager;  // process-lived, not owned
    std::string m_strRootPath;
    SafePointer<IndexDirManager> m_indexPool;
};

#endif

#ifndef RETRIEVAL_RECORDRETRIEVERWITHOUTINDEXIMPL_H
#define RETRIEVAL_RECORDRETRIEVERWITHOUTINDEXIMPL_H

#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordQuery.h"
#include "foundation/SafePointer.h"
#include "host/IFile.h"
#include "host/OVMutex.h"

// Reads back the directories without index (FTP disks): which files a
// channel has in a time window, by the names alone, and the bytes of one
// file by its name. A file may still be growing: its length is asked anew
// each time, and a read at its end answers 0 until more is written.
//
// The directory list is process-wide and copied under its mutex for each
// call. One object per RecordRetriever, used by one thread at a time.
class RecordRetrieverWithoutIndexImpl {
public:
    RecordRetrieverWithoutIndexImpl() = default;
    ~RecordRetrieverWithoutIndexImpl() { closeFtpRecord(); }
    RecordRetrieverWithoutIndexImpl(RecordRetrieverWithoutIndexImpl const&) = delete;
    RecordRetrieverWithoutIndexImpl& operator=(RecordRetrieverWithoutIndexImpl const&) = delete;

    // Keeps the enabled directories of disk type 3.
    static void setRecordDirList(std::vector<RecordDirInfoEx> const& list);

    // The channel's files that hold time of the window (end 0: open), by
    // begin time. 0, -708 without an FTP directory.
    int queryFtpRecord(RecordQueryCondition const& condition, std::vector<RecordFileEx>& files);
    // Opens the file of that name "<id>_<ip>_<camera>_<time>.ts" from the
    // directory that holds it; an open file is closed first. 0, or -747.
    int openFtpRecord(char const* fileName);
    // Bytes read, 0 at the end, -712 when nothing is open, -702 on a read error.
    int readFtpRecord(char* buffer, int nLength);
    // Bytes the open file holds now; -712 when nothing is open.
    long long getFileLength();
    void closeFtpRecord();

private:
    // The list, each root present and with its file system format; -708 when
    // it is empty.
    static int getRecordDirList(std::vector<RecordDirInfoEx>& list);

    SafePointer<IFile> m_file;  // null while closed
    std::string m_strFileName;

    static std::vector<RecordDirInfoEx> m_RecordDirInfoExList;  // guarded by m_DirInfoMutex
    static OVMutex m_DirInfoMutex;
};

#endif

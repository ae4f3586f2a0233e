#ifndef DIRECTORY_RECORDDIRWITHOUTINDEX_H
#define DIRECTORY_RECORDDIRWITHOUTINDEX_H

#include <string>

#include "directory/RefusingRecordDir.h"

// A directory on an FTP disk. Recording there is not supported yet: it
// refuses every file.
class RecordDirWithoutIndex : public RefusingRecordDir {
public:
    RecordDirWithoutIndex(RecordDirInfoEx const& info, int recordType) : RefusingRecordDir(info, "FTP", 0, "", recordType) {}
};

#endif

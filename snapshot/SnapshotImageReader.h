#ifndef SNAPSHOT_SNAPSHOTIMAGEREADER_H
#define SNAPSHOT_SNAPSHOTIMAGEREADER_H

#include <string>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/SafePointer.h"
#include "host/IFile.h"

// One picture being read: its bytes [pos, pos + length) of a file, handed
// out in pieces. The old generation keeps a picture per file, the new one
// many per data file. One owner; no locks.
class SnapshotImageReader {
public:
    // Opens the file of the directory's disk at pos; a negative length is
    // the rest of the file. False when it cannot be opened or sought.
    bool open(RecordDirInfoEx const& dir, std::string const& path, long long pos, long long length);
    // Bytes read, 0 at the picture's end, -743 without an open picture.
    int read(char* buffer, int nLength);
    void close();

private:
    int m_nImageLength = 0;
    int m_nReadLength = 0;
    SafePointer<IFile> m_file;
};

#endif

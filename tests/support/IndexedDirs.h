#ifndef TESTS_SUPPORT_INDEXEDDIRS_H
#define TESTS_SUPPORT_INDEXEDDIRS_H

#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"

// An indexed directory preallocates its whole pool from the useable space of
// its description: bounded here to `files` record files of the description's
// segment size (the 5 % kept back included), and enabled for writing.
void boundRecordSpace(RecordDirInfoEx& dir, long long files);

// Gives the disk manager these directories and waits, at most `seconds`,
// until each is writable (an indexed one makes itself ready on its own
// thread); false if one is not by then.
bool serveRecordDirs(std::vector<RecordDirInfoEx> const& dirs, int seconds = 30);

#endif

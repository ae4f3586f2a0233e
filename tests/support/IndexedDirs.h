#ifndef TESTS_SUPPORT_INDEXEDDIRS_H
#define TESTS_SUPPORT_INDEXEDDIRS_H

#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordInfo.h"

// An indexed directory preallocates its whole pool from the useable space of
// its description: bounded here to `files` record files of the description's
// segment size (the 5 % kept back included), and enabled for writing.
void boundRecordSpace(RecordDirInfoEx& dir, long long files);

// Starts the disk manager when it is not running, gives it these directories,
// applies them at once (one pass of its policy thread, no waiting for the
// thread) and waits, at most `seconds`, until each is writable (an indexed
// one makes itself ready on its own thread); false if one is not by then.
bool serveRecordDirs(std::vector<RecordDirInfoEx> const& dirs, int seconds = 30);

// Gives the channel of a recording session a cycle-write policy in
// `groupId` and applies it at once. The policy names the channel as the
// session's files do: record mode 1, ':' of an IPv6 address as '-'.
void recordChannel(RecordInfo const& channel, int groupId = 1, bool cycleWrite = true);

// Stops the disk manager: every directory and policy forgotten.
void stopRecordDirs();

#endif

#ifndef TESTS_SUPPORT_TESTRECORDING_H
#define TESTS_SUPPORT_TESTRECORDING_H

#include <memory>
#include <string>
#include <vector>

#include "directory/IRecordDir.h"
#include "directory/PlainRecordDir.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/RecordQuery.h"
#include "foundation/SafePointer.h"
#include "tests/support/TempDir.h"

// Device "NVR" at 10.0.0.7, camera `camera`, a file beginning at `begin`.
SafePointer<RecordFileInfo> testFileOf(int camera, long long begin, bool locked = false);

// One block of a camera at `begin` recorded as a session would: a new file
// from the directory, written and closed by the real writer, entered in the
// day's index (locked if asked).
SafePointer<RecordFileInfo> recordTestFile(IRecordDir& dir, int camera, long long begin, bool lock = false,
                                           bool joinLast = false);
// The same with `seconds` one-second I-frame blocks from `begin` on: an
// entry that spans [begin, begin + seconds). With `joinLast` the session
// asks to go on in the device's last file of the date, as after `open`.
SafePointer<RecordFileInfo> recordTestSpan(IRecordDir& dir, int camera, long long begin, int seconds,
                                           bool lock = false, bool joinLast = false);

// Device "NVR" at 10.0.0.7, camera `camera`, over [begin, end).
RecordInfo testRange(int camera, long long begin, long long end);
RecordQueryCondition testCondition(int camera, long long begin, long long end, int precision = 0);

// Plain record directories in the named folders of `dir` (1 MiB segments,
// enabled, taking locks and deletions), the retriever's list from now on.
std::vector<std::unique_ptr<PlainRecordDir>> retrieverDisks(TempDir const& dir,
                                                           std::vector<std::string> const& names);

// For a test's lifetime: local time is UTC, the host clock stands frozen at
// `now` (seconds; shifts still move it), and the last-file memory starts and
// ends empty, so that recordings of one test don't join another's.
class RecordingClock {
public:
    explicit RecordingClock(long long now);
    ~RecordingClock();
    RecordingClock(RecordingClock const&) = delete;
    RecordingClock& operator=(RecordingClock const&) = delete;
};

#endif

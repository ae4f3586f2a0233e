#ifndef TESTS_SUPPORT_TESTRECORDING_H
#define TESTS_SUPPORT_TESTRECORDING_H

#include "directory/IRecordDir.h"
#include "foundation/RecordFileInfo.h"
#include "foundation/SafePointer.h"

// Device "NVR" at 10.0.0.7, camera `camera`, a file beginning at `begin`.
SafePointer<RecordFileInfo> testFileOf(int camera, long long begin, bool locked = false);

// One block of a camera at `begin` recorded as a session would: a new file
// from the directory, written and closed by the real writer, entered in the
// day's index (locked if asked).
SafePointer<RecordFileInfo> recordTestFile(IRecordDir& dir, int camera, long long begin, bool lock = false);

#endif

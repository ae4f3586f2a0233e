#ifndef RECORDING_RECORDFILEWRITERFACTORY_H
#define RECORDING_RECORDFILEWRITERFACTORY_H

#include "foundation/RecordDirInfoEx.h"
#include "foundation/SafePointer.h"
#include "recording/IRecordWriter.h"

// The writer a directory needs: without index on an FTP disk, with one
// everywhere else. Holds no state.
class RecordFileWriterFactory {
public:
    static SafePointer<IRecordWriter> create(RecordDirInfoEx const& dir);
};

#endif

#include "recording/RecordFileWriterFactory.h"

#include "foundation/EncoderType.h"
#include "recording/TSRecordWriterWithIndex.h"
#include "recording/TSRecordWriterWithoutIndex.h"

SafePointer<IRecordWriter> RecordFileWriterFactory::create(RecordDirInfoEx const& dir) {
    if (dir.getDiskType() == DiskKind::kFtp)
        return SafePointer<IRecordWriter>(new TSRecordWriterWithoutIndex());
    return SafePointer<IRecordWriter>(new TSRecordWriterWithIndex());
}
